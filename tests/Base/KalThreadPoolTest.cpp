#include "Kal/Base/KalThreadPool.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>

namespace kal {
namespace {

// In blocks, where workers look for jobs, and between them; right after another job and long after it.
TEST(ThreadPool, RunsEveryJobOnceOnEveryWorkerAskedFor)
{
    for (const unsigned numThreads : {1u, 2u, 5u}) {
        SCOPED_TRACE(numThreads);
        ThreadPool pool(numThreads);
        std::array<int, 5> runs{}, expected{};
        for (int i = 0; i < 300; ++i) {
            const unsigned workers = 1 + static_cast<unsigned>(i) % numThreads;
            if (i % 7 == 0) pool.BeginBlock(numThreads);
            if (i % 50 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pool.Run(workers, [&](unsigned w) { ++runs[w]; });
            for (unsigned w = 0; w < workers; ++w) ++expected[w];
            ASSERT_EQ(runs, expected) << i;
            if (i % 7 == 3) pool.EndBlock();
        }
    }
}

TEST(ThreadPool, EndsWhateverItsWorkersAreDoing)
{
    for (int i = 0; i < 100; ++i) {
        ThreadPool pool(2); // asleep, woken, looking for a job, or on the way back to sleep
        if (i % 4 > 0) pool.BeginBlock(2);
        if (i % 4 > 1) pool.Run(2, [](unsigned) {});
        if (i % 4 > 2) pool.EndBlock();
    }
}

} // namespace
} // namespace kal
