#pragma once

#include <cstdint>

namespace kal::test {

/// What the calling thread has allocated through operator new so far.
struct Allocations {
    std::uint64_t count;
    std::uint64_t bytes;
};
Allocations AllocationsSoFar();

} // namespace kal::test
