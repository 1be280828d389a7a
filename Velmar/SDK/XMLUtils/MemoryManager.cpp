#include "Velmar/SDK/XMLUtils/MemoryManager.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>
#include <type_traits>

#include <sys/mman.h>

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

namespace {

constexpr XMLSize_t kLargeRequest = 64 * 1024;
constexpr std::size_t kHugePage = 2 * 1024 * 1024;
constexpr std::size_t kRegionSize = 16 * kHugePage;  // address space; only what is used counts
constexpr std::size_t kRegionHeader = 64;            // keeps blocks on cache lines
constexpr std::size_t kPopulateStep = kHugePage;     // a few blocks ahead at most

std::size_t roundUp(std::size_t size, std::size_t to) {
    return (size + to - 1) / to * to;
}

// Emptied regions of the usual size, kept for the next parse in this process: a program that
// loads again would otherwise fault in and clear its DOM's pages anew on every load, where
// freed heap memory would have been reused. Bounded (an eight-times register dictionary's DOM),
// so that loads in a loop do not grow. Constant-initialised and trivially destroyed, so that an
// arena freed late at exit still finds them, and nothing of them is left on the heap.
constexpr std::size_t kKeptRegions = 8;
std::mutex keptMutex;
static_assert(std::is_trivially_destructible_v<std::mutex>, "the kept regions outlive arenas");
void* keptRegions[kKeptRegions] = {};
std::size_t keptCount = 0;

void* takeKeptRegion() {
    std::lock_guard<std::mutex> lock(keptMutex);
    return keptCount > 0 ? keptRegions[--keptCount] : nullptr;
}

bool keepRegion(void* region) {
    std::lock_guard<std::mutex> lock(keptMutex);
    if (keptCount == kKeptRegions) {
        return false;
    }
    keptRegions[keptCount++] = region;
    return true;
}

// Address space of this size starting on a huge page; null on failure. Where the system backs
// anonymous memory with huge pages unasked, an aligned region gets them from its first page.
void* mapAligned(std::size_t size) {
    // Mapped one huge page longer, then trimmed to start on a huge page.
    void* raw = ::mmap(nullptr, size + kHugePage, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (raw == MAP_FAILED) {
        return nullptr;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t aligned = roundUp(start, kHugePage);
    if (aligned > start) {
        ::munmap(raw, aligned - start);
    }
    ::munmap(reinterpret_cast<void*>(aligned + size), start + kHugePage - aligned);
    return reinterpret_cast<void*>(aligned);
}

// Makes the pages of [from, to) present in one call rather than one fault each. A hint only:
// a kernel without it, or without the memory, leaves them to be faulted in as they are touched.
void populate(char* from, char* to) {
#ifdef MADV_POPULATE_WRITE
    ::madvise(from, static_cast<std::size_t>(to - from), MADV_POPULATE_WRITE);
#else
    (void)from;
    (void)to;
#endif
}

}  // namespace

struct ArenaMemoryManager::Region {
    Region* next;           // older regions
    Region* previous;       // newer ones
    std::size_t size;       // mapped, header included
    std::size_t used;       // from the start, header included
    std::size_t live;       // blocks not yet freed
    std::size_t populated;  // from the start: pages made present
};

ArenaMemoryManager::~ArenaMemoryManager() {
    while (head_.next != &head_) {
        Block* block = head_.next;
        head_.next = block->next;
        ::operator delete(block);
    }
    while (regions_ != nullptr) {
        release(regions_);
    }
}

void* ArenaMemoryManager::allocate(XMLSize_t size) {
    if (size > static_cast<XMLSize_t>(-1) - kRegionSize) {
        throw xercesc::OutOfMemoryException();
    }
    if (size >= kLargeRequest) {
        return allocateLarge(size);
    }
    auto* block = static_cast<Block*>(MemoryManager::allocate(sizeof(Block) + size));
    block->previous = &head_;
    block->next = head_.next;
    head_.next->previous = block;
    head_.next = block;
    return block + 1;
}

void* ArenaMemoryManager::allocateLarge(XMLSize_t size) {
    static_assert(sizeof(Region) <= kRegionHeader, "a region's header fits its first line");
    if (Platform::AllocationFaults::nextFails()) {
        throw xercesc::OutOfMemoryException();
    }
    const std::size_t needed = roundUp(sizeof(Block) + size, kRegionHeader);
    Region* region = regions_;
    if (region == nullptr || region->size - region->used < needed) {
        // A request larger than a region gets one of its own.
        const std::size_t mapped =
            std::max(roundUp(kRegionHeader + needed, kHugePage), kRegionSize);
        void* memory = mapped == kRegionSize ? takeKeptRegion() : nullptr;
        // A kept region's pages are still present.
        const std::size_t populated =
            memory != nullptr ? static_cast<Region*>(memory)->populated : 0;
        if (memory == nullptr) {
            memory = mapAligned(mapped);
        }
        if (memory == nullptr) {
            throw xercesc::OutOfMemoryException();
        }
        region = static_cast<Region*>(memory);
        *region = Region{regions_, nullptr, mapped, kRegionHeader, 0, populated};
        if (regions_ != nullptr) {
            regions_->previous = region;
        }
        regions_ = region;
    }
    auto* block = reinterpret_cast<Block*>(reinterpret_cast<char*>(region) + region->used);
    region->used += needed;
    if (region->used > region->populated) {
        const std::size_t to = std::min(roundUp(region->used, kPopulateStep), region->size);
        char* const base = reinterpret_cast<char*>(region);
        populate(base + region->populated, base + to);
        region->populated = to;
    }
    ++region->live;
    block->previous = nullptr;
    block->next = reinterpret_cast<Block*>(region);
    return block + 1;
}

void ArenaMemoryManager::deallocate(void* p) {
    if (p == nullptr) {
        return;
    }
    Block* block = static_cast<Block*>(p) - 1;
    if (block->previous == nullptr) {
        deallocateLarge(reinterpret_cast<Region*>(block->next));
        return;
    }
    block->previous->next = block->next;
    block->next->previous = block->previous;
    ::operator delete(block);
}

void ArenaMemoryManager::deallocateLarge(Region* region) {
    if (--region->live > 0) {
        return;
    }
    if (region == regions_ && region->size == kRegionSize) {
        region->used = kRegionHeader;  // the one being carved from starts over
    } else {
        release(region);
    }
}

std::size_t ArenaMemoryManager::regionCount() const {
    std::size_t count = 0;
    for (const Region* region = regions_; region != nullptr; region = region->next) {
        ++count;
    }
    return count;
}

void ArenaMemoryManager::release(Region* region) {
    if (region->previous != nullptr) {
        region->previous->next = region->next;
    } else {
        regions_ = region->next;
    }
    if (region->next != nullptr) {
        region->next->previous = region->previous;
    }
    if (region->size != kRegionSize || !keepRegion(region)) {
        ::munmap(region, region->size);
    }
}

}  // namespace Velmar::SDK::XMLUtils
