#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __has_feature
#define KAL_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define KAL_THREAD_SANITIZER 0
#endif

namespace kal::test {

/// What all threads have allocated and released through operator new and delete so far.
struct Allocations {
    std::uint64_t count;
    std::uint64_t bytes;
    std::uint64_t releases;
    std::uint64_t heldBytes; ///< not yet released; unknown to the thread sanitizer
};
Allocations AllocationsSoFar();

#if !KAL_THREAD_SANITIZER // whose own operators cannot be replaced
/// Lets every later allocation of more bytes than these fail, on every thread.
void LimitAllocations(std::size_t bytes);

/// Lets one later allocation fail, on whatever thread it comes: the next one for 0. None for a negative number.
void FailAllocation(int number);

/// Whether the allocation that is to fail is still to come.
bool FailureIsDue();
#endif

} // namespace kal::test
