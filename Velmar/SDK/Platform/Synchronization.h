#pragma once

namespace Velmar::SDK::Platform::Synchronization {

// Atomic counter steps; each gives the counter's new value.
inline int interlockedIncrement(int& counter) noexcept {
    return __atomic_add_fetch(&counter, 1, __ATOMIC_ACQ_REL);
}
inline int interlockedDecrement(int& counter) noexcept {
    return __atomic_sub_fetch(&counter, 1, __ATOMIC_ACQ_REL);
}

}  // namespace Velmar::SDK::Platform::Synchronization
