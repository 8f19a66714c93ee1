#pragma once

#include "Kal/Base/KalGate.h"
#include "Kal/Base/KalThread.h"

#include <atomic>
#include <memory>
#include <type_traits>
#include <vector>

namespace kal {

/// The threads that share the work of one block. Worker 0 is the thread that calls Run; workers 1 to numThreads - 1 are
/// threads of the pool, asleep between blocks.
class ThreadPool {
public:
    /// [control] Starts numThreads - 1 threads. @param numThreads 1 or more; with 0 the first Run fails its assertion
    explicit ThreadPool(unsigned numThreads);

    /// [control] Wakes and joins the threads. No Run may be under way.
    ~ThreadPool();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// [render] Lets the workers below maxNumThreads take part in a block, whose jobs wake them and follow each other
    /// closely: until EndBlock they spin before they go to sleep again. The others take no part in it.
    void BeginBlock(unsigned maxNumThreads);
    void EndBlock();

    /// [render] Calls job(0) on the calling thread and offers job(w) to every worker w below maxNumThreads that takes
    /// part in the block. Whoever has not begun by the end of job(0) never does, and is not waited for: job(0) must be
    /// able to do all the work, whatever part of it the others take. Returns when all that have begun are done. Asserts
    /// that maxNumThreads, at least 1, is not more than the pool has.
    ///
    /// A job must not throw: what it refers to would be gone while others still use it.
    template<class Job>
    requires std::is_nothrow_invocable_v<Job&, unsigned>
    void Run(unsigned maxNumThreads, Job job)
    {
        RunTask(maxNumThreads, {[](void* context, unsigned w) { (*static_cast<Job*>(context))(w); }, &job});
    }

private:
    /// A job without its type: nothing is allocated to hand it over.
    struct Task {
        void (*run)(void* context, unsigned worker) = nullptr;
        void* context = nullptr;
    };

    /// Where a worker finds its next job. The caller of Run offers it and withdraws the offer unless the worker has
    /// taken it by then: either succeeds in one atomic step, so a late worker never sees a job that is over.
    class alignas(64) Slot {
    public:
        void Offer(Task offered);
        bool Withdraw(); ///< false: the worker was faster
        bool Take(Task& taken);
        void Finish() { state.store(State::Empty, std::memory_order_release); }
        bool HasOffer() const { return state.load(std::memory_order_relaxed) == State::Offered; }
        bool IsTaken() const { return state.load(std::memory_order_acquire) == State::Taken; }

    private:
        enum class State { Empty, Offered, Taken };

        std::atomic<State> state{State::Empty};
        Task task; ///< the caller's while Empty, the worker's while Taken
    };

    void RunTask(unsigned maxNumThreads, Task task);
    void WorkerLoop(unsigned w);
    void Stop();

    // Entry 0 of each stays empty: the calling thread needs no signals.
    std::vector<std::shared_ptr<Gate>> bgMutex1; ///< start signals: opened when there may be a job
    std::vector<std::shared_ptr<Gate>> bgMutex2; ///< done signals: opened when a job is done
    std::vector<Slot> futures;
    std::vector<std::shared_ptr<Thread>> threads;
    std::atomic<bool> stop{false};
    std::atomic<bool> inBlock{false}; ///< there may be another job in a moment
    unsigned numInBlock = 1;          ///< workers that take part in it
    bool maySpin;                     ///< there are as many processors as workers
};

} // namespace kal
