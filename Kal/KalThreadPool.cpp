#include "Kal/KalThreadPool.h"

#include "Kal/KalInternals.h"
#include "Kal/QFFT/Assert.h"

#include <future>
#include <utility>

namespace kal {

ThreadPool::ThreadPool(unsigned numThreads)
    : bgMutex1(numThreads), bgMutex2(numThreads), futures(numThreads), threads(numThreads)
{
    for (unsigned w = 1; w < numThreads; ++w) {
        bgMutex1[w] = std::make_shared<Gate>(false);
        bgMutex2[w] = std::make_shared<Gate>(true);
    }
    try {
        for (unsigned w = 1; w < numThreads; ++w)
            threads[w] = std::make_shared<std::thread>([this, w] { WorkerLoop(w); });
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
        threads[w]->join();
    }
}

void ThreadPool::WorkerLoop(unsigned w)
{
    const ScopedFlushToZero flushToZero;
    while (!stop) {
        bgMutex1[w]->Lock();
        if (stop) break;
        const Task task = std::exchange(futures[w], {});
        if (!task.run) throw std::future_error(std::future_errc::no_state);
        task.run(task.context, w);
        bgMutex2[w]->Unlock();
    }
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
    for (unsigned w = 1; w < maxNumThreads; ++w) bgMutex2[w]->Pass();
}

} // namespace kal
