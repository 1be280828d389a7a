#include "Velmar/SDK/Platform/AllocationFaults.h"

#include <atomic>

namespace Velmar::SDK::Platform::AllocationFaults {

namespace {
std::atomic<bool> armed{false};
std::atomic<std::size_t> remaining{0};
std::atomic<bool> happened{false};
}  // namespace

void failAllocation(std::size_t n) {
    happened.store(false);
    remaining.store(n);
    armed.store(n > 0);
}

void disarm() noexcept {
    armed.store(false);
}

bool failed() noexcept {
    return happened.load();
}

bool nextFails() noexcept {
    if (!armed.load(std::memory_order_relaxed)) {
        return false;
    }
    if (remaining.fetch_sub(1) != 1) {
        return false;
    }
    armed.store(false);
    happened.store(true);
    return true;
}

}  // namespace Velmar::SDK::Platform::AllocationFaults
