#pragma once

#include <cstddef>
#include <cstdint>

namespace kal::test {

/// What the calling thread has allocated through operator new so far.
struct Allocations {
    std::uint64_t count;
    std::uint64_t bytes;
};
Allocations AllocationsSoFar();

/// Lets every later allocation of more bytes than these fail, on every thread. Has no effect under the thread
/// sanitizer.
void LimitAllocations(std::size_t bytes);

} // namespace kal::test
