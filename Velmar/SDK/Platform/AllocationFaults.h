#pragma once

#include <cstddef>

namespace Velmar::SDK::Platform::AllocationFaults {

// Fault injection for tests: once armed, the Nth allocation from then on, through the
// toolkit's allocator or the XML parser's memory manager, fails as exhausted memory would
// (the allocations after it succeed again). Unarmed, each allocation pays one relaxed load.
void failAllocation(std::size_t n);
void disarm() noexcept;
// Whether the armed failure has happened since failAllocation.
bool failed() noexcept;

// Counts one allocation; true when this one is to fail.
bool nextFails() noexcept;

}  // namespace Velmar::SDK::Platform::AllocationFaults
