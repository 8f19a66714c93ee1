#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace kal::test {

/// A data set as plain values.
struct HrtfAngle {
    float azimuth;
    std::vector<float> left, right;
};
struct HrtfRing {
    float elevation;
    std::vector<HrtfAngle> angles;
};
using HrtfSet = std::vector<HrtfRing>;

inline void AppendBytes(std::string& bytes, const void* from, std::size_t count)
{
    bytes.append(static_cast<const char*>(from), count);
}

template<class T>
void Append(std::string& bytes, T value)
{
    AppendBytes(bytes, &value, sizeof value);
}

/// The bytes of a set, as a file holds them.
inline std::string Bytes(const HrtfSet& set)
{
    std::string bytes = "KALHRTFD";
    Append(bytes, static_cast<std::int32_t>(set.size()));
    for (const HrtfRing& ring : set) {
        Append(bytes, ring.elevation);
        Append(bytes, static_cast<std::int32_t>(ring.angles.size()));
        for (const HrtfAngle& angle : ring.angles) {
            Append(bytes, angle.azimuth);
            Append(bytes, static_cast<std::uint32_t>(angle.left.size()));
            AppendBytes(bytes, angle.left.data(), angle.left.size() * sizeof(float));
            AppendBytes(bytes, angle.right.data(), angle.right.size() * sizeof(float));
        }
    }
    return bytes;
}

/// The values of a set that is known to be sound.
inline HrtfSet Values(const unsigned char* bytes)
{
    const auto read = [&](auto value) {
        std::memcpy(&value, bytes, sizeof value);
        bytes += sizeof value;
        return value;
    };
    bytes += 8;
    HrtfSet set(read(std::int32_t()));
    for (HrtfRing& ring : set) {
        ring.elevation = read(0.0f);
        ring.angles.resize(read(std::int32_t()));
        for (HrtfAngle& angle : ring.angles) {
            angle.azimuth = read(0.0f);
            angle.left.resize(read(std::uint32_t()));
            angle.right.resize(angle.left.size());
            for (auto* response : {&angle.left, &angle.right})
                for (float& x : *response) x = read(0.0f);
        }
    }
    return set;
}

} // namespace kal::test
