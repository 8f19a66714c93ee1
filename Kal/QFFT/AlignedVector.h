#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace qfft {

/// A cache line, and whole vectors of any width.
inline constexpr std::size_t kAlignment = 64;

/// [control] Allocates on 64-byte boundaries.
template<class T>
struct AlignedAllocator {
    using value_type = T;

    AlignedAllocator() = default;
    template<class U>
    AlignedAllocator(const AlignedAllocator<U>&)
    {
    }

    T* allocate(std::size_t count)
    {
        return static_cast<T*>(::operator new(count * sizeof(T), std::align_val_t(kAlignment)));
    }
    void deallocate(T* memory, std::size_t) { ::operator delete(memory, std::align_val_t(kAlignment)); }

    friend bool operator==(const AlignedAllocator&, const AlignedAllocator&) { return true; }
};

template<class T>
using AlignedVector = std::vector<T, AlignedAllocator<T>>;

} // namespace qfft
