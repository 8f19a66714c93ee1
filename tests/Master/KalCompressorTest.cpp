#include "Kal/Master/KalCompressor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace kal::test {
namespace {

// A peak on either side scales its frame to full scale at once; then the gain returns as 1 - (1 - g) exp(-t / 1 s).
// Coefficient and gain are floats: each is off by 2^-25 a frame, and a second of frames adds up.
TEST(Compressor, ScalesPeaksOfEitherSideAndReturnsWithinASecond)
{
    for (const double rate : {8000.0, 44100.0, 192000.0})
        for (const unsigned block : {1u, 100u, 1u << 20}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, blocks of " << block);
            const auto second = static_cast<std::size_t>(rate);
            std::vector<float> frames(4 * second, 0.25f);
            frames[200] = -1.25f; // from rest
            frames[201] = 0.625f;
            frames[2 * second + 1] = 3.0f; // right alone, when the gain is almost back
            frames[2 * second + 200] = std::numeric_limits<float>::quiet_NaN();
            Compressor limiter(rate);
            for (std::size_t done = 0; done < 2 * second; done += block)
                limiter.Process(&frames[2 * done],
                                static_cast<unsigned>(std::min<std::size_t>(block, 2 * second - done)));

            const double tolerance = rate * 0x1p-24;
            EXPECT_EQ(frames[199], 0.25f);
            EXPECT_NEAR(frames[200], -1.0, 1e-6);
            EXPECT_NEAR(frames[201], 0.5, 1e-6);
            double gain = 0.8;
            std::size_t since = 100;
            for (std::size_t i = 101; i < 2 * second; ++i) {
                const double now = 1.0 - (1.0 - gain) * std::exp(-static_cast<double>(i - since) / rate);
                if (i == second) {
                    EXPECT_NEAR(frames[2 * i + 1], 1.0, 1e-6);
                    EXPECT_NEAR(frames[2 * i], 0.25 / 3.0, 1e-6);
                    gain = 1.0 / 3.0;
                    since = i;
                } else if (i == second + 100) {
                    EXPECT_EQ(frames[2 * i], 0.0f);
                } else {
                    ASSERT_NEAR(frames[2 * i], 0.25 * now, tolerance) << i;
                }
            }
        }
}

} // namespace
} // namespace kal::test
