#include "Kal/Space/KalSpatializer.h"

#include "Kal/Base/KalException.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kal {
namespace {

static_assert(std::endian::native == std::endian::little, "Values of a data set are copied as they are");

/// Reads one value after another and throws where the data ends too early.
class Reader {
public:
    Reader(const char* data, unsigned size) : next(data), left(size) {}

    template<class T>
    T Read()
    {
        T value;
        Copy(&value, sizeof value);
        return value;
    }

    std::vector<float> ReadSamples(std::uint32_t count)
    {
        const std::uint64_t bytes = std::uint64_t{count} * sizeof(float);
        Require(bytes); // before it is allocated: a damaged count may be anything
        std::vector<float> samples(count);
        Copy(samples.data(), bytes);
        return samples;
    }

private:
    void Require(std::uint64_t bytes) const
    {
        if (left < bytes) throw Exception("Invalid KAL HRTF data: file truncated.");
    }

    void Copy(void* to, std::uint64_t bytes)
    {
        Require(bytes);
        if (bytes == 0) return;
        std::memcpy(to, next, static_cast<std::size_t>(bytes));
        next += bytes;
        left -= static_cast<unsigned>(bytes);
    }

    const char* next;
    unsigned left; ///< bytes
};

void Check(bool valid)
{
    if (!valid) throw Exception("Invalid KAL HRTF data: bad data.");
}

void CheckResponse(const std::vector<float>& response)
{
    Check(std::all_of(response.begin(), response.end(), [](float x) { return x >= -1.0f && x <= 1.0f; }));
}

} // namespace

Spatializer::Spatializer(const void* data, unsigned size, double, unsigned workers) : numWorkers(workers)
{
    LoadData(static_cast<const char*>(data), size);
}

void Spatializer::LoadData(const char* data, unsigned size)
{
    constexpr std::string_view signature = "KALHRTFD";
    if (size < signature.size() || std::memcmp(data, signature.data(), signature.size()) != 0)
        throw Exception("Invalid KAL HRTF data: wrong signature.");
    Reader reader(data + signature.size(), size - static_cast<unsigned>(signature.size()));

    std::size_t numAngles = 0;
    const auto ringCount = reader.Read<std::int32_t>();
    for (std::int32_t i = 0; i < ringCount; ++i) {
        const auto elevation = reader.Read<float>();
        const auto angleCount = reader.Read<std::int32_t>();
        Check(!std::isnan(elevation)); // no direction could be told from it
        const auto ring = std::make_shared<Ring>(elevation);
        for (std::int32_t j = 0; j < angleCount; ++j) {
            const auto azimuth = reader.Read<float>();
            const auto length = reader.Read<std::uint32_t>();
            const std::vector<float> left = reader.ReadSamples(length), right = reader.ReadSamples(length);
            CheckResponse(left);
            CheckResponse(right);
            Check(std::has_single_bit(length)); // all that the convolvers take
            Check(!std::isnan(azimuth));
            ConvolverBank& bank = banks.try_emplace(length, static_cast<int>(length), numWorkers).first->second;
            ring->angles.push_back(std::make_shared<Angle>(azimuth, bank, left.data(), right.data()));
            ring->azimuths.AddKey(azimuth);
        }
        numAngles += ring->angles.size();
        rings.push_back(ring);
        elevations.AddKey(elevation);
    }
    enabledAngles.reserve(numAngles);
}

} // namespace kal
