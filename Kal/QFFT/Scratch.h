#pragma once

#include "Kal/QFFT/AlignedVector.h"

namespace qfft {

/// Working memory of one call, aligned to a cache line: kLocalBytes of it stand on the stack, uninitialised, which is
/// [render]; more is allocated, which is [control].
template<class T, std::size_t kLocalBytes>
class Scratch {
public:
    explicit Scratch(std::size_t count)
    {
        if (count * sizeof(T) > kLocalBytes) allocated.resize(count);
    }

    T* Get() { return allocated.empty() ? local : allocated.data(); }

private:
    alignas(kAlignment) T local[kLocalBytes / sizeof(T)];
    AlignedVector<T> allocated;
};

} // namespace qfft
