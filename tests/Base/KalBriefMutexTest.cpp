#include "Kal/Base/KalBriefMutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using kal::BriefMutex;

// Each thread gives way with the lock held now and then, so that the others find it taken and go to sleep.
TEST(BriefMutex, LetsInOneAtATimeAndWakesWhoeverWaits)
{
    constexpr int kThreads = 4, kRounds = 20000;
    BriefMutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                const std::lock_guard lock(mutex);
                const int before = count;
                if (i % 16 == 0) std::this_thread::yield();
                count = before + 1;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, kThreads * kRounds);
}

} // namespace
