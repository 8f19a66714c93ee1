#pragma once

#include "Kal/Base/KalGate.h"
#include "Kal/Base/KalThread.h"

#include <atomic>
#include <memory>
#include <vector>

namespace kal {

/// The threads that share the work of one block. Worker 0 is the thread that calls Run; workers 1 to numThreads - 1 are
/// threads of the pool, asleep between jobs.
class ThreadPool {
public:
    /// [control] Starts numThreads - 1 threads. @param numThreads 1 or more; with 0 the first Run fails its assertion
    explicit ThreadPool(unsigned numThreads);

    /// [control] Wakes and joins the threads. No Run may be under way.
    ~ThreadPool();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// [render] Calls job(w) once for every worker w below maxNumThreads, each on its own thread, and returns when all
    /// are done. Asserts that maxNumThreads, at least 1, is not more than the pool has.
    template<class Job>
    void Run(unsigned maxNumThreads, Job job)
    {
        RunTask(maxNumThreads, {[](void* context, unsigned w) { (*static_cast<Job*>(context))(w); }, &job});
    }

    /// [render] Wakes the workers below maxNumThreads for the jobs of a block, which will soon come and follow each
    /// other closely: until EndBlock they spin before they go to sleep.
    void BeginBlock(unsigned maxNumThreads);
    void EndBlock() { inBlock = false; }

private:
    /// A job without its type: nothing is allocated to hand it over.
    struct Task {
        void (*run)(void* context, unsigned worker) = nullptr;
        void* context = nullptr;
    };

    void SpinFor(const Gate& gate) const;
    void RunTask(unsigned maxNumThreads, Task task);
    void WorkerLoop(unsigned w);
    void Stop();

    // Entry 0 of each stays empty: the calling thread needs no signals.
    std::vector<std::shared_ptr<Gate>> bgMutex1; ///< start signals, closed while there is no job
    std::vector<std::shared_ptr<Gate>> bgMutex2; ///< done signals, closed while a job runs
    std::vector<Task> futures;
    std::vector<std::shared_ptr<Thread>> threads;
    std::atomic<bool> stop{false};
    std::atomic<bool> inBlock{false}; ///< there may be another job in a moment
    bool maySpin;                     ///< there are as many processors as workers
};

} // namespace kal
