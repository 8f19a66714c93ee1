#include "Kal/Space/KalHrtf.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtfSet.h"
#include "Kal/Space/KalSpatializer.h"
#include "tests/support/Allocations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kal {
namespace {

constexpr char kTruncated[] = "Invalid KAL HRTF data: file truncated.";
constexpr char kSignature[] = "Invalid KAL HRTF data: wrong signature.";
constexpr char kBadData[] = "Invalid KAL HRTF data: bad data.";

std::string LoadFailure(const std::string& bytes)
{
    try {
        const Spatializer spatializer(bytes.data(), static_cast<unsigned>(bytes.size()), 44100.0);
    } catch (const Exception& failure) {
        return failure.what();
    }
    return "";
}

template<class T>
void Append(std::string& bytes, T value)
{
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

HrtfSet SmallSet()
{
    return {{-10.0f, {{0.0f, {1.0f, -1.0f}, {0.5f, 0.25f}}, {90.0f, {0.5f}, {-0.5f}}}},
            {20.0f, {{45.0f, {0.1f, 0.2f, 0.3f, 0.4f}, {0.0f, 0.0f, 0.0f, 1.0f}}}}};
}

TEST(Hrtf, ShippedSetHasTheGridItShould)
{
    ASSERT_EQ(hrtfDataSize, 379901u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(hrtfData) % 64, 0u);
    EXPECT_EQ(hrtfData[hrtfDataSize - 1], 0);

    const std::string_view bytes(reinterpret_cast<const char*>(hrtfData), hrtfDataSize - 1);
    const HrtfSet set = ReadHrtfSet(bytes);
    EXPECT_EQ(WriteHrtfSet(set), bytes);
    ASSERT_EQ(set.size(), 14u);
    for (std::size_t i = 0; i < set.size(); ++i) {
        EXPECT_EQ(set[i].elevation, -40.0f + 10.0f * static_cast<float>(i));
        EXPECT_EQ(set[i].angles.front().left.size(), 128u);
    }
    EXPECT_FALSE(Spatializer(hrtfData, hrtfDataSize, 44100.0).Empty());
}

TEST(HrtfLoader, NamesWhatIsWrongWithASet)
{
    const std::string whole = WriteHrtfSet(SmallSet());
    EXPECT_EQ(LoadFailure(whole), "");
    EXPECT_EQ(LoadFailure(whole + "more"), "");
    EXPECT_EQ(LoadFailure("KALHRTFE" + whole.substr(8)), kSignature);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_EQ(LoadFailure(whole.substr(0, size)), size < 8 ? kSignature : kTruncated);
    }

    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float bad : {std::nextafter(1.0f, 2.0f), std::nextafter(-1.0f, -2.0f), nan}) {
        for (const bool right : {false, true}) {
            HrtfSet set = SmallSet();
            (right ? set[1].angles[0].right : set[1].angles[0].left)[3] = bad;
            EXPECT_EQ(LoadFailure(WriteHrtfSet(set)), kBadData);
            const std::string cut = WriteHrtfSet(set).substr(0, whole.size() - 1);
            EXPECT_EQ(LoadFailure(cut), kTruncated) << "the cut comes before the values are looked at";
        }
    }

    const std::vector<float> one(1, 0.5f), three(3, 0.5f);
    for (const HrtfSet& set : {HrtfSet{{0.0f, {{0.0f, three, three}}}},
                               {{0.0f, {{0.0f, {}, {}}}}},
                               {{nan, {{0.0f, one, one}}}},
                               {{0.0f, {{nan, one, one}}}}}) {
        const std::string bytes = WriteHrtfSet(set), more = WriteHrtfSet({set[0], SmallSet()[0]});
        EXPECT_EQ(LoadFailure(bytes), kBadData);
        for (std::size_t size = 8; size < more.size(); ++size)
            ASSERT_EQ(LoadFailure(more.substr(0, size)), kTruncated) << size;
    }
}

TEST(HrtfLoader, DoesNotTrustCounts)
{
    constexpr auto largest = std::numeric_limits<std::int32_t>::max();
    std::string rings = "KALHRTFD";
    Append(rings, largest);
    Append(rings, 0.0f);
    std::string angles = rings;
    Append(angles, largest);
    Append(angles, 0.0f);
    std::string wraps = angles, longest = angles;
    Append(wraps, std::uint32_t{1} << 30); // four times as many bytes are 0 in 32 bits
    Append(longest, std::numeric_limits<std::uint32_t>::max());
    for (const std::string& bytes : {rings, angles, wraps, longest}) {
        const std::uint64_t before = test::AllocationsSoFar().bytes;
        EXPECT_EQ(LoadFailure(bytes), kTruncated);
        EXPECT_LT(test::AllocationsSoFar().bytes - before, 100000u);
    }
}

TEST(HrtfLoader, KnowsASetThatCannotPlaceAVoice)
{
    const auto empty = [](const std::string& bytes) {
        return Spatializer(bytes.data(), static_cast<unsigned>(bytes.size()), 44100.0).Empty();
    };
    std::string negative = "KALHRTFD";
    Append(negative, std::int32_t{-1});
    std::string negativeAngles = "KALHRTFD";
    Append(negativeAngles, std::int32_t{1});
    Append(negativeAngles, 0.0f);
    Append(negativeAngles, std::int32_t{-5});
    EXPECT_TRUE(empty(WriteHrtfSet({})));
    EXPECT_TRUE(empty(negative));
    EXPECT_TRUE(empty(negativeAngles));
    EXPECT_TRUE(empty(WriteHrtfSet({SmallSet()[0], {10.0f, {}}})));
    EXPECT_FALSE(empty(WriteHrtfSet(SmallSet())));
}

} // namespace
} // namespace kal
