// How long after playLocal and playAbsolute a sound is heard: beside a device that takes its blocks in time, clicks are
// started at moments spread over a block, and looked for in what `render` hands out.
//   kal_latency [STARTS]

#include "libkalmarble/Context.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kRate = 48000.0;
constexpr int kBlocksPerStart = 8; ///< after which a click has faded
constexpr float kAudible = 0.1f;   ///< of a click's loudest frame: what stands before its onset is 20 dB and more below

/// A device, whose frame 0 plays at the time of its construction.
class Device {
public:
    Device(kalmarble::Context& played, int blockFrames) : context(played), numFrames(blockFrames) {}

    /// Waits until the next block is due and returns it.
    std::vector<float> Take()
    {
        std::vector<float> block(2 * static_cast<std::size_t>(numFrames));
        WaitFor(next * numFrames);
        ++next;
        context.Render(block.data(), numFrames);
        return block;
    }

    /// The frame that plays now, with its fraction.
    double Now() const { return kRate * std::chrono::duration<double>(Clock::now() - start).count(); }

    /// To a few microseconds, which sleeping does not offer on every system.
    void WaitFor(double frame) const
    {
        constexpr double kShortSleep = 0.002 * kRate;
        while (Now() < frame)
            if (Now() < frame - kShortSleep)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            else
                std::this_thread::yield();
    }

    /// The first frame of the block that Take returns next.
    double NextFrame() const { return next * static_cast<double>(numFrames); }

private:
    kalmarble::Context& context;
    int numFrames;
    int next = 0;
    Clock::time_point start = Clock::now();
};

std::size_t OnsetIn(const std::vector<float>& signal)
{
    const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
    const float threshold = kAudible * std::abs(*std::max_element(signal.begin(), signal.end(), louder));
    return static_cast<std::size_t>(
        std::find_if(signal.begin(), signal.end(), [=](float x) { return std::abs(x) >= threshold; }) - signal.begin());
}

using Play = void (*)(kalmarble::Context&, const kalmarble::Buffer&);

/// Frames from the call to the first that is heard, of `numStarts` starts in order of length.
std::vector<double> Latencies(Play play, int numFrames, int numStarts)
{
    const auto openAir = [](const KalVector3*, float* result, void*) { *result = 1.0f; };
    kalmarble::Context context(kalmarble::InitParam{kRate, openAir, nullptr, 1, 64, nullptr, nullptr});
    context.Respatialize({0, 0, 0}, {0, 0, -1}, {0, 1, 0}, {});
    const float click = 1.0f;
    const kalmarble::Buffer buffer({&click, 32, 1, 1, static_cast<int>(kRate)});
    std::vector<double> latencies;
    std::vector<float> first(2 * static_cast<std::size_t>(numFrames));
    context.Render(first.data(), numFrames); // drops what was begun at another size
    Device device(context, numFrames);
    device.Take();
    device.Take(); // the first block whose making began in time
    for (int i = 0; i < numStarts; ++i) {
        device.WaitFor(device.NextFrame() - numFrames * (1.0 - (i + 0.5) / numStarts));
        const double call = device.Now();
        play(context, buffer);
        const double begin = device.NextFrame();
        std::vector<float> heard;
        for (int block = 0; block < kBlocksPerStart; ++block) {
            const std::vector<float> taken = device.Take();
            heard.insert(heard.end(), taken.begin(), taken.end());
        }
        latencies.push_back(begin + static_cast<double>(OnsetIn(heard) / 2) - call);
    }
    std::sort(latencies.begin(), latencies.end());
    return latencies;
}

} // namespace

int main(int argc, char** argv)
{
    const int numStarts = argc > 1 ? std::max(1, std::atoi(argv[1])) : 40;
    const std::pair<const char*, Play> plays[] = {{"playLocal",
                                                   [](auto& context, auto& buffer) {
                                                       context.PlayLocal(buffer, {1.0f, 1.0f, 1.0f});
                                                   }},
                                                  {"playAbsolute", [](auto& context, auto& buffer) {
                                                       context.PlayAbsolute(buffer, {0, 0, -1}, {1.0f, 1.0f, 1.0f});
                                                   }}};
    std::printf(
        "frames from a call to the first audible one at %.0f Hz, %d starts each\n%-12s %6s %8s %8s %8s %12s %6s\n",
        kRate, numStarts, "call", "block", "least", "median", "most", "- 2 blocks", "ms");
    for (const auto& [name, play] : plays)
        for (const int numFrames : {128, 256, 480, 512, 1024}) {
            const std::vector<double> latencies = Latencies(play, numFrames, numStarts);
            const double median = latencies[latencies.size() / 2];
            std::printf("%-12s %6d %8.1f %8.1f %8.1f %12.1f %6.1f\n", name, numFrames, latencies.front(), median,
                        latencies.back(), median - 2 * numFrames, 1000.0 * median / kRate);
            std::fflush(stdout);
        }
}
