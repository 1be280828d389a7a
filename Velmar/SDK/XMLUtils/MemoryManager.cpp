#include "Velmar/SDK/XMLUtils/MemoryManager.h"

#include <cstdint>
#include <mutex>
#include <new>

#include <xercesc/util/OutOfMemoryException.hpp>

#include "Velmar/SDK/Platform/AllocationFaults.h"

namespace Velmar::SDK::XMLUtils {

namespace {

class PlainMemoryManager : public xercesc::MemoryManager {
  public:
    void* allocate(XMLSize_t size) override {
        void* p = ::operator new(size, std::nothrow);
        if (p == nullptr) {
            throw xercesc::OutOfMemoryException();
        }
        return p;
    }
    void deallocate(void* p) override { ::operator delete(p); }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
};

PlainMemoryManager& plainManager() {
    static PlainMemoryManager manager;
    return manager;
}

}  // namespace

MemoryManager& MemoryManager::instance() {
    static MemoryManager manager;
    return manager;
}

void* MemoryManager::allocate(XMLSize_t size) {
    if (Platform::AllocationFaults::nextFails()) {
        throw xercesc::OutOfMemoryException();
    }
    return plainManager().allocate(size);
}

void MemoryManager::deallocate(void* p) {
    plainManager().deallocate(p);
}

xercesc::MemoryManager* MemoryManager::getExceptionMemoryManager() {
    return &plainManager();
}

namespace {

// Enough for the engine to finish the call it is in: compiling or evaluating one query.
constexpr std::size_t kReserveSize = 256 * 1024;
constexpr std::size_t kAlignment = alignof(std::max_align_t);
alignas(kAlignment) unsigned char reserve[kReserveSize];
std::size_t reserveUsed = 0;
std::size_t reserveLive = 0;
std::mutex reserveMutex;
thread_local bool engineExhausted = false;

}  // namespace

EngineMemoryManager& EngineMemoryManager::instance() {
    static EngineMemoryManager manager;
    return manager;
}

void* EngineMemoryManager::allocate(XMLSize_t size) {
    try {
        return MemoryManager::allocate(size);
    } catch (const xercesc::OutOfMemoryException&) {
        std::lock_guard<std::mutex> lock(reserveMutex);
        const std::size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
        if (rounded < size || rounded > kReserveSize - reserveUsed) {
            throw;
        }
        void* p = reserve + reserveUsed;
        reserveUsed += rounded;
        ++reserveLive;
        engineExhausted = true;
        return p;
    }
}

bool EngineMemoryManager::inReserve(const void* p) const {
    const auto address = reinterpret_cast<std::uintptr_t>(p);
    const auto start = reinterpret_cast<std::uintptr_t>(reserve);
    return address >= start && address < start + kReserveSize;
}

void EngineMemoryManager::deallocate(void* p) {
    if (!inReserve(p)) {
        MemoryManager::deallocate(p);
        return;
    }
    // The reserve is a bump allocator, taken back whole once nothing in it is in use.
    std::lock_guard<std::mutex> lock(reserveMutex);
    if (--reserveLive == 0) {
        reserveUsed = 0;
    }
}

void EngineMemoryManager::raiseIfExhausted() {
    if (engineExhausted) {
        engineExhausted = false;
        throw xercesc::OutOfMemoryException();
    }
}

ArenaMemoryManager::~ArenaMemoryManager() {
    while (head_.next != &head_) {
        Block* block = head_.next;
        head_.next = block->next;
        ::operator delete(block);
    }
}

void* ArenaMemoryManager::allocate(XMLSize_t size) {
    if (size > static_cast<XMLSize_t>(-1) - sizeof(Block)) {
        throw xercesc::OutOfMemoryException();
    }
    auto* block = static_cast<Block*>(MemoryManager::allocate(sizeof(Block) + size));
    block->previous = &head_;
    block->next = head_.next;
    head_.next->previous = block;
    head_.next = block;
    return block + 1;
}

void ArenaMemoryManager::deallocate(void* p) {
    if (p == nullptr) {
        return;
    }
    Block* block = static_cast<Block*>(p) - 1;
    block->previous->next = block->next;
    block->next->previous = block->previous;
    ::operator delete(block);
}

}  // namespace Velmar::SDK::XMLUtils
