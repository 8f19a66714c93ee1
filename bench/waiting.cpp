// What a host's audio callback costs when the background thread has kept up: the time of one `render` whose block
// waits, most of it the hand-off of the turn to the thread that renders the next one. Prints microseconds.

#include "libkalmarble/Context.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

int main()
{
    constexpr int kFrames = 512, kBlocks = 2000;
    const auto context =
        std::make_shared<kalmarble::Context>(kalmarble::InitParam{48000.0, nullptr, nullptr, 1, 64, nullptr, nullptr});
    std::vector<float> out(2 * kFrames);
    std::vector<double> times;
    context->Render(out.data(), kFrames); // drops what was begun at the first size
    for (int block = 0; block < kBlocks; ++block) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // by far enough for a block without sounds
        const auto start = std::chrono::steady_clock::now();
        context->Render(out.data(), kFrames);
        const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
        times.push_back(elapsed.count());
    }
    std::sort(times.begin(), times.end());
    std::printf("a block of %d frames that waits: median %.1f us, 99 %% %.1f us, worst %.1f us\n", kFrames,
                times[kBlocks / 2], times[kBlocks * 99 / 100], times.back());
}
