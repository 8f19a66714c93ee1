#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {
thread_local kal::test::Allocations allocations;
}

kal::test::Allocations kal::test::AllocationsSoFar()
{
    return allocations;
}

// The array and nothrow forms of the standard library end up here too.
void* operator new(std::size_t size)
{
    ++allocations.count;
    allocations.bytes += size;
    if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
