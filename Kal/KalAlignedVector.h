#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace kal {

/// Allocates on 64-byte boundaries, one cache line and the widest vector register.
template<class T>
struct AlignedAllocator {
    using value_type = T;
    static constexpr std::align_val_t kAlignment{64};

    AlignedAllocator() = default;
    template<class U>
    AlignedAllocator(const AlignedAllocator<U>&)
    {
    }

    T* allocate(std::size_t count) { return static_cast<T*>(::operator new(count * sizeof(T), kAlignment)); }
    void deallocate(T* memory, std::size_t) { ::operator delete(memory, kAlignment); }

    friend bool operator==(const AlignedAllocator&, const AlignedAllocator&) { return true; }
};

/// A float array that the vector kernels' aligned loads may read.
using AlignedVector = std::vector<float, AlignedAllocator<float>>;

} // namespace kal
