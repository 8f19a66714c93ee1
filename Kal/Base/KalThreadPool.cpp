#include "Kal/Base/KalThreadPool.h"

#include "Kal/Base/KalFlushToZero.h"
#include "Kal/Platform/KalPlatform.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <utility>

namespace kal {
namespace {

// Going to sleep and being woken takes as long as a small job. Spinning takes a core, so there is an end to it: sooner
// for the caller of Run, whose workers are done within a claim unless they have lost their processor, maybe to this
// very thread.
constexpr std::chrono::microseconds kWorkerSpinTime(100), kCallerSpinTime(20);

/// Spins until done() or the end of the time, with rest() in between.
template<class Done, class Rest>
void SpinUntil(Done done, std::chrono::microseconds time, Rest rest)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + time;
    while (!done() && Clock::now() < end) rest();
}

} // namespace

void ThreadPool::Slot::Offer(Task offered)
{
    task = offered;
    state.store(State::Offered, std::memory_order_release);
}

bool ThreadPool::Slot::Withdraw()
{
    State expected = State::Offered;
    return state.compare_exchange_strong(expected, State::Empty, std::memory_order_relaxed);
}

bool ThreadPool::Slot::Take(Task& taken)
{
    State expected = State::Offered;
    if (!state.compare_exchange_strong(expected, State::Taken, std::memory_order_acquire, std::memory_order_relaxed))
        return false;
    taken = std::exchange(task, {});
    if (!taken.run) throw std::future_error(std::future_errc::no_state);
    return true;
}

ThreadPool::ThreadPool(unsigned numThreads)
    : bgMutex1(numThreads),
      bgMutex2(numThreads),
      futures(numThreads),
      threads(numThreads),
      maySpin(numThreads <= std::thread::hardware_concurrency())
{
    for (unsigned w = 1; w < numThreads; ++w) {
        bgMutex1[w] = std::make_shared<Gate>(false);
        bgMutex2[w] = std::make_shared<Gate>(false);
    }
    try {
        for (unsigned w = 1; w < numThreads; ++w)
            threads[w] = std::make_shared<Thread>("kal-worker-" + std::to_string(w), [this, w] { WorkerLoop(w); });
    } catch (...) {
        Stop();
        throw;
    }
}

ThreadPool::~ThreadPool()
{
    Stop();
}

void ThreadPool::Stop()
{
    stop = true;
    for (unsigned w = 1; w < threads.size() && threads[w]; ++w) {
        bgMutex1[w]->Unlock();
        threads[w]->Join();
    }
}

// A start signal may have been meant for a job that is over: then there is no offer, and the worker goes back to sleep.
void ThreadPool::WorkerLoop(unsigned w)
{
    const ScopedFlushToZero flushToZero;
    while (!stop) {
        if (maySpin)
            SpinUntil([&] { return futures[w].HasOffer() || !inBlock; }, kWorkerSpinTime, std::this_thread::yield);
        if (!futures[w].HasOffer()) bgMutex1[w]->Lock();
        Task task;
        if (!futures[w].Take(task)) continue;
        task.run(task.context, w);
        futures[w].Finish();
        bgMutex2[w]->Unlock();
    }
}

void ThreadPool::BeginBlock(unsigned maxNumThreads)
{
    numInBlock = std::min<unsigned>(maxNumThreads, bgMutex1.size());
    inBlock = true;
}

void ThreadPool::EndBlock()
{
    inBlock = false;
    numInBlock = 1;
}

void ThreadPool::RunTask(unsigned maxNumThreads, Task task)
{
    KAL_ASSERT("Kal/KalEngine", maxNumThreads <= bgMutex1.size());
    const unsigned end = std::min(maxNumThreads, numInBlock);
    for (unsigned w = 1; w < end; ++w) {
        futures[w].Offer(task);
        bgMutex1[w]->Unlock();
    }
    task.run(task.context, 0);
    for (unsigned w = 1; w < end; ++w) {
        if (futures[w].Withdraw()) continue;
        SpinUntil([&] { return !futures[w].IsTaken(); }, kCallerSpinTime, platform::PauseSpinning);
        while (futures[w].IsTaken()) bgMutex2[w]->Lock(); // which may have been opened for a job before
    }
}

} // namespace kal
