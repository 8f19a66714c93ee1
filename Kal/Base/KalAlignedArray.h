#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace kal {

/// A fixed number of floats, the first on a 64-byte boundary: a cache line, and whole vectors of any width. New
/// elements have no defined value. Copies are deep. [control] to make and to copy, [render] to use.
class AlignedArray {
public:
    explicit AlignedArray(std::size_t elements)
        : allocation(new float[elements + kSlack]), data(Aligned(allocation.get())), count(elements)
    {
    }
    AlignedArray(const AlignedArray& other) : AlignedArray(other.count) { std::copy_n(other.data, count, data); }
    AlignedArray& operator=(const AlignedArray&) = delete;

    float* Data() { return data; }
    const float* Data() const { return data; }
    void Clear() { std::fill_n(data, count, 0.0f); }

    void Swap(AlignedArray& other)
    {
        std::swap(allocation, other.allocation);
        std::swap(data, other.data);
        std::swap(count, other.count);
    }

private:
    static constexpr std::size_t kAlignment = 64;
    static constexpr std::size_t kSlack = kAlignment / sizeof(float);

    static float* Aligned(float* start)
    {
        const auto past = reinterpret_cast<std::uintptr_t>(start) % kAlignment;
        return past == 0 ? start : start + (kAlignment - past) / sizeof(float);
    }

    std::unique_ptr<float[]> allocation;
    float* data;
    std::size_t count;
};

} // namespace kal
