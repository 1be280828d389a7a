#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <xercesc/util/OutOfMemoryException.hpp>

#include "Velmar/SDK/Platform/AllocationFaults.h"
#include "Velmar/SDK/XMLUtils/MemoryManager.h"

using Velmar::SDK::XMLUtils::ArenaMemoryManager;

namespace {

// Whether every page of [p, p + size) is present.
bool resident(void* p, std::size_t size) {
    const std::uintptr_t page = ::sysconf(_SC_PAGESIZE);
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(p) / page * page;
    const std::size_t length = reinterpret_cast<std::uintptr_t>(p) + size - start;
    std::vector<unsigned char> pages((length + page - 1) / page);
    return ::mincore(reinterpret_cast<void*>(start), length, pages.data()) == 0 &&
           std::all_of(pages.begin(), pages.end(), [](unsigned char flags) { return flags & 1; });
}

// Whether this kernel makes pages present on request.
bool populates() {
    void* probe = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const bool done = probe != MAP_FAILED && ::madvise(probe, 4096, MADV_POPULATE_WRITE) == 0;
    ::munmap(probe, 4096);
    return done;
}

}  // namespace

// Large blocks are carved from regions given back once their last block is freed; the region
// being carved from is kept and carved again from its start, and an arena made later in the
// process takes up a region an earlier one gave back. A block's pages are present before it is
// first touched (where the kernel can do that), so that building a DOM does not fault per page.
TEST(ArenaMemory, LargeBlocksComeFromRegionsGivenBackWhenEmpty) {
    ArenaMemoryManager arena;
    constexpr std::size_t kBlock = 512 * 1024;
    void* small = arena.allocate(100);
    EXPECT_EQ(arena.regionCount(), 0u);

    std::vector<void*> first;
    for (int i = 0; i < 80; ++i) {  // more than one region holds
        void* block = arena.allocate(kBlock);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
        std::memset(block, i, kBlock);
        first.push_back(block);
    }
    const std::size_t regions = arena.regionCount();
    EXPECT_GE(regions, 2u);
    for (int i = 0; i < 80; ++i) {
        EXPECT_EQ(static_cast<unsigned char*>(first[i])[kBlock - 1], i) << "blocks overlap";
    }
    void* huge = arena.allocate(100 * 1024 * 1024);  // larger than a region: one of its own
    if (populates()) {
        EXPECT_TRUE(resident(huge, 100 * 1024 * 1024))
            << "a new region's pages were not made present";
    }
    std::memset(huge, 1, 100 * 1024 * 1024);
    EXPECT_EQ(arena.regionCount(), regions + 1);
    arena.deallocate(huge);
    EXPECT_EQ(arena.regionCount(), regions) << "an emptied older region is given back";

    for (void* block : first) {
        arena.deallocate(block);
    }
    EXPECT_EQ(arena.regionCount(), 1u) << "only the newest region stays";
    void* again = arena.allocate(kBlock);
    EXPECT_EQ(arena.regionCount(), 1u) << "carved again from its start";
    arena.deallocate(again);
    arena.deallocate(small);

    void* reused = nullptr;
    {
        ArenaMemoryManager earlier;
        reused = earlier.allocate(kBlock);
        earlier.deallocate(reused);
    }
    ArenaMemoryManager later;
    void* block = later.allocate(kBlock);
    EXPECT_EQ(block, reused) << "the pages the earlier arena touched are used again";
    later.deallocate(block);

    namespace Faults = Velmar::SDK::Platform::AllocationFaults;
    Faults::failAllocation(1);
    EXPECT_THROW(arena.allocate(kBlock), xercesc::OutOfMemoryException);
    Faults::disarm();
}
