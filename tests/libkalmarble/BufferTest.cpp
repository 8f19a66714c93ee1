#include "libkalmarble/Buffer.h"

#include "Kal/Base/KalException.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace kalmarble::test {
namespace {

constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();

TEST(Buffer, HoldsACopyOfItsSamples)
{
    for (const int bits : {8, 16, 32}) {
        char samples[] = "Two channels of two.", copy[sizeof samples];
        std::memcpy(copy, samples, sizeof samples);
        const auto held = Buffer({samples, bits, 2, 2, 44100}).Samples();
        std::memset(samples, 0, sizeof samples);
        EXPECT_EQ(static_cast<int>(held->GetFormat()), bits / 16);
        EXPECT_EQ(std::memcmp(held->GetData(), copy, 4 * bits / 8), 0);
    }
}

TEST(Buffer, CannotBeOfEverySize)
{
    constexpr char kLarge[] = "Buffer is too large.", kNegative[] = "Buffer size is negative.";
    struct Case {
        int bits, channels, frames;
        const char* text;
    };
    for (const Case c : {Case{8, 1, 1 << 30, "Buffer data is null."},
                         {8, 2, 1 << 30, kLarge},
                         {16, 1, 1 << 30, kLarge},
                         {32, 1, 1 << 29, kLarge},
                         {32, 1 << 16, 1 << 16, kLarge}, // 0 as 32 bits
                         {8, kMost, kMost, kLarge},
                         {8, 1, -1, kNegative},
                         {32, -2, -2, kNegative},
                         {16, 1, kLeast, kNegative},
                         {31, 1, 1, "Invalid sample bits."}}) {
        SCOPED_TRACE(testing::Message() << c.bits << ' ' << c.channels << ' ' << c.frames);
        try {
            Buffer({nullptr, c.bits, c.channels, c.frames, 48000});
            ADD_FAILURE();
        } catch (const kal::Exception& error) {
            EXPECT_STREQ(error.what(), c.text);
        }
    }
    EXPECT_EQ(Buffer({nullptr, 16, 1, 0, 48000}).Samples()->GetNumSamples(), 0);
}

} // namespace
} // namespace kalmarble::test
