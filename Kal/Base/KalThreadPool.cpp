#include "Kal/Base/KalThreadPool.h"

#include "Kal/Base/KalFlushToZero.h"
#include "Kal/QFFT/Assert.h"

#include <xmmintrin.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <utility>

namespace kal {
namespace {

constexpr std::chrono::microseconds kSpinTime(100);

} // namespace

ThreadPool::ThreadPool(unsigned numThreads)
    : bgMutex1(numThreads),
      bgMutex2(numThreads),
      futures(numThreads),
      threads(numThreads),
      maySpin(numThreads <= std::thread::hardware_concurrency())
{
    for (unsigned w = 1; w < numThreads; ++w) {
        bgMutex1[w] = std::make_shared<Gate>(false);
        bgMutex2[w] = std::make_shared<Gate>(true);
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

// Going to sleep and being woken takes as long as a small job. Spinning takes a core, so there is an end to it.
void ThreadPool::SpinFor(const Gate& gate) const
{
    using Clock = std::chrono::steady_clock;
    if (!maySpin) return;
    const auto end = Clock::now() + kSpinTime;
    while (inBlock && !gate.IsOpen() && Clock::now() < end) _mm_pause();
}

void ThreadPool::WorkerLoop(unsigned w)
{
    const ScopedFlushToZero flushToZero;
    while (!stop) {
        do {
            SpinFor(*bgMutex1[w]);
        } while (!bgMutex1[w]->LockUnlessWoken());
        if (stop) break;
        const Task task = std::exchange(futures[w], {});
        if (!task.run) throw std::future_error(std::future_errc::no_state);
        task.run(task.context, w);
        bgMutex2[w]->Unlock();
    }
}

void ThreadPool::BeginBlock(unsigned maxNumThreads)
{
    if (!maySpin) return;
    inBlock = true;
    for (unsigned w = 1; w < maxNumThreads; ++w) bgMutex1[w]->Wake();
}

void ThreadPool::RunTask(unsigned maxNumThreads, Task task)
{
    KAL_ASSERT("Kal/KalEngine", maxNumThreads <= bgMutex1.size());
    for (unsigned w = 1; w < maxNumThreads; ++w) {
        bgMutex2[w]->Lock();
        futures[w] = task;
        bgMutex1[w]->Unlock();
    }
    task.run(task.context, 0);
    for (unsigned w = 1; w < maxNumThreads; ++w) {
        SpinFor(*bgMutex2[w]);
        bgMutex2[w]->Pass();
    }
}

} // namespace kal
