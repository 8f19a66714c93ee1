#include "tests/support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

std::atomic<std::uint64_t> count{0}, bytes{0}, releases{0}, heldBytes{0};

void Count(std::size_t size)
{
    ++count;
    bytes += size;
}

} // namespace

kal::test::Allocations kal::test::AllocationsSoFar()
{
    return {count, bytes, releases, heldBytes};
}

#if KAL_THREAD_SANITIZER
// Its operators report instead.
#include <sanitizer/allocator_interface.h>

[[maybe_unused]] static const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t size) { Count(size); }, [](const volatile void*) { ++releases; });
#else
#include <malloc.h>

static std::atomic<std::size_t> mostBytes{std::numeric_limits<std::size_t>::max()};
static std::atomic<int> untilFailure{-1};

static std::size_t SizeOf(void* memory)
{
#ifdef _WIN32
    return _msize(memory);
#else
    return malloc_usable_size(memory);
#endif
}

void kal::test::FailAllocation(int number)
{
    untilFailure = number;
}

bool kal::test::FailureIsDue()
{
    return untilFailure >= 0;
}

void kal::test::LimitAllocations(std::size_t limit)
{
    mostBytes = limit;
}

// The array forms of the standard library end up here too; so do its nothrow forms, except the address sanitizer's.
void* operator new(std::size_t size)
{
    const bool isToFail = untilFailure >= 0 && untilFailure-- == 0;
    void* const memory = size <= mostBytes && !isToFail ? std::malloc(size > 0 ? size : 1) : nullptr;
    if (!memory) throw std::bad_alloc();
    Count(size);
    heldBytes += SizeOf(memory);
    return memory;
}

// Where the block that malloc gave starts stands before the aligned one.
void* operator new(std::size_t size, std::align_val_t alignment)
{
    const auto space = static_cast<std::size_t>(alignment);
    auto* block = static_cast<char*>(::operator new(size + space + sizeof(void*)));
    char* memory = block + sizeof(void*);
    memory += (space - reinterpret_cast<std::uintptr_t>(memory) % space) % space;
    std::memcpy(memory - sizeof(void*), &block, sizeof(void*));
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete(void* memory) noexcept
{
    if (!memory) return;
    ++releases;
    heldBytes -= SizeOf(memory);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    ::operator delete(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    if (!memory) return;
    void* block;
    std::memcpy(&block, static_cast<char*>(memory) - sizeof(void*), sizeof(void*));
    ::operator delete(block);
}

void operator delete(void* memory, std::size_t, std::align_val_t alignment) noexcept
{
    ::operator delete(memory, alignment);
}
#endif
