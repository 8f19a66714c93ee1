#pragma once

#include <cstddef>
#include <memory>

namespace qfft {

/// Working memory of one call, uninitialised and 64-byte aligned: 64 KiB of it stand on the stack; more is allocated.
template<class T>
class Scratch {
public:
    explicit Scratch(std::size_t count)
    {
        if (count > kLocalCount) allocated = std::make_unique_for_overwrite<T[]>(count);
    }

    T* Get() { return allocated ? allocated.get() : local; }

private:
    static constexpr std::size_t kLocalCount = 65536 / sizeof(T);

    alignas(64) T local[kLocalCount];
    std::unique_ptr<T[]> allocated;
};

} // namespace qfft
