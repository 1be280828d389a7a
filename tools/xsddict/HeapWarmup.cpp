#include "HeapWarmup.h"

#include <malloc.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23
#endif

namespace xsddict {

namespace {
constexpr std::size_t kPage = 4096;
constexpr std::size_t kMost = 64u << 20;
}  // namespace

void warmHeap(std::size_t bytes) {
    if (bytes == 0 || bytes > kMost) {
        return;
    }
    // Served from the main heap's top and kept there when freed, rather than mapped apart and
    // given back at once.
    if (mallopt(M_MMAP_THRESHOLD, static_cast<int>(kMost)) == 0 ||
        mallopt(M_TRIM_THRESHOLD, static_cast<int>(2 * kMost)) == 0) {
        return;
    }
    void* block = std::malloc(bytes);
    if (block == nullptr) {
        return;
    }
    const auto start = (reinterpret_cast<std::uintptr_t>(block) + kPage - 1) & ~(kPage - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(kPage - 1);
    if (end > start) {
        // Old kernels lack the call; the pages then come one fault at a time as before.
        madvise(reinterpret_cast<void*>(start), end - start, MADV_POPULATE_WRITE);
    }
    std::free(block);
}

std::size_t compiledDictionaryHeap(std::size_t fileSize) {
    return fileSize < kMost / 3 ? 3 * fileSize : kMost;
}

}  // namespace xsddict
