#include "Kal/Space/KalHrtfSet.h"

#include "Kal/Base/KalException.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace kal {
namespace {

static_assert(std::endian::native == std::endian::little, "Values of a data set are copied as they are");

constexpr char kSource[] = "Kal/KalHrtfSet";
constexpr std::string_view kSignature = "KALHRTFD";

/// Reads one value after another and throws where the data ends too early.
class Reader {
public:
    explicit Reader(std::string_view bytes) : left(bytes) {}

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
        if (left.size() < bytes) throw Exception("Invalid KAL HRTF data: file truncated.");
    }

    void Copy(void* to, std::uint64_t bytes)
    {
        Require(bytes);
        if (bytes == 0) return;
        std::memcpy(to, left.data(), static_cast<std::size_t>(bytes));
        left.remove_prefix(static_cast<std::size_t>(bytes));
    }

    std::string_view left;
};

// Every value as it is: of a set that is cut, none is looked at.
HrtfSet Parse(Reader reader)
{
    HrtfSet set;
    const auto ringCount = reader.Read<std::int32_t>();
    for (std::int32_t i = 0; i < ringCount; ++i) {
        HrtfRing& ring = set.emplace_back();
        ring.elevation = reader.Read<float>();
        const auto angleCount = reader.Read<std::int32_t>();
        for (std::int32_t j = 0; j < angleCount; ++j) {
            HrtfAngle& angle = ring.angles.emplace_back();
            angle.azimuth = reader.Read<float>();
            const auto length = reader.Read<std::uint32_t>();
            angle.left = reader.ReadSamples(length);
            angle.right = reader.ReadSamples(length);
        }
    }
    return set;
}

bool IsValid(const std::vector<float>& response)
{
    return std::has_single_bit(response.size()) && // all that the convolvers take
           std::all_of(response.begin(), response.end(), [](float x) { return x >= -1.0f && x <= 1.0f; });
}

bool IsValid(const HrtfRing& ring)
{
    return !std::isnan(ring.elevation) && // no direction could be told from it
           std::all_of(ring.angles.begin(), ring.angles.end(), [](const HrtfAngle& angle) {
               return !std::isnan(angle.azimuth) && IsValid(angle.left) && IsValid(angle.right);
           });
}

template<class T>
void Append(std::string& bytes, T value)
{
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void Append(std::string& bytes, const std::vector<float>& samples)
{
    bytes.append(reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float));
}

} // namespace

HrtfSet ReadHrtfSet(std::string_view bytes)
{
    if (bytes.substr(0, kSignature.size()) != kSignature) throw Exception("Invalid KAL HRTF data: wrong signature.");
    HrtfSet set = Parse(Reader(bytes.substr(kSignature.size())));
    if (!std::all_of(set.begin(), set.end(), [](const HrtfRing& ring) { return IsValid(ring); }))
        throw Exception("Invalid KAL HRTF data: bad data.");
    return set;
}

std::string WriteHrtfSet(const HrtfSet& set)
{
    std::string bytes(kSignature);
    Append(bytes, static_cast<std::int32_t>(set.size()));
    for (const HrtfRing& ring : set) {
        Append(bytes, ring.elevation);
        Append(bytes, static_cast<std::int32_t>(ring.angles.size()));
        for (const HrtfAngle& angle : ring.angles) {
            KAL_ASSERT(kSource, angle.left.size() == angle.right.size());
            Append(bytes, angle.azimuth);
            Append(bytes, static_cast<std::uint32_t>(angle.left.size()));
            Append(bytes, angle.left);
            Append(bytes, angle.right);
        }
    }
    return bytes;
}

} // namespace kal
