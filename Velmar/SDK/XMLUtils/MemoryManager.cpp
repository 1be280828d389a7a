#include "Velmar/SDK/XMLUtils/MemoryManager.h"

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
