#include "Kal/Base/KalThreadPool.h"

#include "Kal/Base/KalWorkShares.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace kal {
namespace {

using Milliseconds = std::chrono::milliseconds;

template<class Job>
concept Runs = requires(ThreadPool& pool, Job job)
{
    pool.Run(1, job);
};

static_assert(Runs<void (*)(unsigned) noexcept> && !Runs<void (*)(unsigned)>, "a job that may throw does not compile");

// In blocks, where workers look for jobs, right after another job and long after it. Some jobs are over before any
// worker can have begun: the record that such a worker would write into is gone by then.
TEST(ThreadPool, DoesAllWorkOnceHoweverLateItsWorkersAre)
{
    for (const unsigned numThreads : {1u, 2u, 5u}) {
        SCOPED_TRACE(numThreads);
        ThreadPool pool(numThreads);
        WorkShares shares(numThreads);
        std::atomic<int> current{-1}, strays{0};
        for (int i = 0; i < 2000; ++i) {
            const unsigned workers = 1 + static_cast<unsigned>(i) % numThreads, numItems = i % 3 * 100;
            if (i % 7 == 0) pool.BeginBlock(numThreads);
            if (i % 500 == 0) std::this_thread::sleep_for(Milliseconds(1));
            std::vector<std::atomic<int>> taken(numItems);
            std::array<int, 5> calls{};
            shares.Deal(numItems, workers, i % 2 ? 30 : 0);
            current = i;
            pool.Run(workers, [&, i](unsigned w) noexcept {
                if (w >= workers || current != i) return void(++strays);
                ++calls[w];
                shares.Take(w, 8, [&](unsigned first, unsigned end) noexcept {
                    for (unsigned item = first; item < end; ++item) ++taken[item];
                });
            });
            current = -1;
            ASSERT_EQ(calls[0], 1);
            ASSERT_LE(*std::max_element(calls.begin(), calls.end()), 1);
            for (const auto& times : taken) ASSERT_EQ(times, 1) << i;
            if (i % 7 == 5) pool.EndBlock();
        }
        EXPECT_EQ(strays, 0);
    }
}

// Every worker is let in, and who has begun is waited for, however long it takes.
TEST(ThreadPool, WaitsForWhoeverHasBegun)
{
    constexpr unsigned kThreads = 3;
    ThreadPool pool(kThreads);
    for (int i = 0; i < 5; ++i) {
        std::atomic<unsigned> begun{0}, done{0};
        pool.BeginBlock(kThreads);
        pool.Run(kThreads, [&](unsigned w) noexcept {
            ++begun;
            while (begun < kThreads) std::this_thread::yield();
            if (w > 0) std::this_thread::sleep_for(Milliseconds(2));
            ++done;
        });
        EXPECT_EQ(done, kThreads);
        pool.EndBlock();
    }
}

TEST(ThreadPool, EndsWhateverItsWorkersAreDoing)
{
    for (int i = 0; i < 100; ++i) {
        ThreadPool pool(2); // asleep, woken, looking for a job, or on the way back to sleep
        if (i % 4 > 0) pool.BeginBlock(2);
        if (i % 4 > 1) pool.Run(2, [](unsigned) noexcept {});
        if (i % 4 > 2) pool.EndBlock();
    }
}

// A tail that a worker renders must not end in denormals either.
TEST(ThreadPool, FlushesDenormalsOnItsWorkers)
{
    ThreadPool pool(2);
    std::atomic<float> product{1.0f};
    pool.BeginBlock(2);
    pool.Run(2, [&](unsigned w) noexcept {
        volatile float small = 1e-30f;
        if (w == 1) product = small * 1e-10f;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (w == 0 && product == 1.0f && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    });
    EXPECT_EQ(product, 0.0f);
}

} // namespace
} // namespace kal
