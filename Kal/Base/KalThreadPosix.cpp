#include "Kal/Base/KalThread.h"

#include <algorithm>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <utility>

namespace kal {
namespace {

rlim_t Limit(decltype(RLIMIT_RTPRIO) resource)
{
    rlimit limit{};
    return getrlimit(resource, &limit) == 0 ? limit.rlim_cur : 0;
}

// A real-time policy comes from the thread that starts this one. Otherwise the limits of the process say what it may
// have: the lowest real-time priority, which is above all ordinary threads and below the sound system's, or a nice
// value. Without either, this thread stays as it is.
void RunAboveTheGame()
{
    int policy = SCHED_OTHER;
    sched_param parameters{};
    if (pthread_getschedparam(pthread_self(), &policy, &parameters) != 0 || policy == SCHED_RR || policy == SCHED_FIFO)
        return;
    parameters.sched_priority = sched_get_priority_min(SCHED_RR);
    if (Limit(RLIMIT_RTPRIO) > 0 && pthread_setschedparam(pthread_self(), SCHED_RR, &parameters) == 0) return;
    const int nice = 20 - static_cast<int>(std::min<rlim_t>(Limit(RLIMIT_NICE), 40)); // as the system states that limit
    if (nice < getpriority(PRIO_PROCESS, 0)) setpriority(PRIO_PROCESS, 0, nice);      // 0: this thread alone
}

} // namespace

struct Thread::State {
    std::thread thread;
};

Thread::Thread(std::string name, std::function<void()> run) : state(std::make_shared<State>())
{
    state->thread = std::thread([threadName = std::move(name), job = std::move(run)] {
        RunAboveTheGame();
        pthread_setname_np(pthread_self(), threadName.c_str());
        job();
    });
}

void Thread::Join()
{
    state->thread.join();
}

bool ThreadsAreGone()
{
    return false;
}

} // namespace kal
