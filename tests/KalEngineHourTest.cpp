#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "tests/support/FloatState.h"
#include "tests/support/Measure.h"
#include "tests/support/TestBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace kal {
namespace {

constexpr double kRate = 8000.0;
constexpr int kBlock = 512;

// The longest room and others take turns every block, so that lines and gains never rest.
TEST(Engine, FallsSilentForGoodWithinAnHourOfChangingRooms)
{
    const auto engine = std::make_shared<Engine>(EngineParam{kRate, 2, 1, hrtfData, hrtfDataSize});
    ChannelParam param;
    param.gain = param.reverbSendGain = 4.0f;
    param.isSpatialized = true;
    param.sourcePosition = {1.0f, 0.0f, 1.0f};
    param.referenceDistanceSq = 4.0f;
    const auto noise = test::Noise(static_cast<std::size_t>(2 * kRate), 1);
    const std::vector<double> burst(noise.begin(), noise.end());
    engine->CreateChannel(0.0, std::make_shared<test::TestBuffer>(AudioFormat::Float32, 1, kRate, burst), param);

    const ReverbSettings rooms[] = {
        {{{0.25f, 0.001f, 0.1f, 0.0f}, {0.5f, 0.013f, 4.5f, 0.0f}, {0.5f, 0.036f, 15.0f, 0.0f}}},
        {{{0.05f, 0.001f, 0.1f, 0.0f}, {0.1f, 0.013f, 0.36f, 0.0f}, {0.1f, 0.036f, 1.2f, 0.0f}}},
        {{{0.1f, 0.001f, 0.1f, 0.1f}, {0.2f, 0.013f, 0.9f, 0.2f}, {0.2f, 0.036f, 3.0f, 0.3f}}}};
    const test::FloatState usual = test::FloatState::OfThisThread();
    test::kRoundingUp.Set();

    const int numBlocks = static_cast<int>(3600.0 * kRate / kBlock);
    const int blocksAMinute = numBlocks / 60;
    std::vector<float> out(2 * kBlock), peaks(60);
    for (int block = 0; block < numBlocks; ++block) {
        engine->reverbSettings = rooms[block % 3];
        engine->Prerender();
        engine->Render(out.data(), kBlock);
        float& peak = peaks[static_cast<std::size_t>(std::min(block / blocksAMinute, 59))];
        for (const float x : out) peak = std::isfinite(x) ? std::max(peak, std::fabs(x)) : INFINITY;
    }
    EXPECT_EQ(test::FloatState::OfThisThread(), test::kRoundingUp);
    usual.Set();

    EXPECT_GT(peaks[0], 0.5f);
    EXPECT_LE(peaks[0], 1.0f);
    EXPECT_LT(peaks[2], 1e-6f); // -120 dBFS
    EXPECT_EQ(*std::max_element(peaks.begin() + 10, peaks.end()), 0.0f);
}

} // namespace
} // namespace kal
