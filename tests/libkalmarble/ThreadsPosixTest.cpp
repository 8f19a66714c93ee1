#include "libkalmarble/Context.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <thread>

namespace kalmarble::test {
namespace {

struct Standing {
    int policy, priority, nice;
    bool operator==(const Standing&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Standing& s)
{
    return out << "policy " << s.policy << ", priority " << s.priority << ", nice " << s.nice;
}

Standing StandingOf(int thread)
{
    sched_param parameters{};
    sched_getparam(thread, &parameters);
    return {sched_getscheduler(thread), parameters.sched_priority,
            getpriority(PRIO_PROCESS, static_cast<id_t>(thread))};
}

/// The threads of this process by name; a thread has its name once it has its standing.
std::map<std::string, Standing> Threads()
{
    std::map<std::string, Standing> threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "comm");
        std::string name;
        if (std::getline(file, name)) threads[name] = StandingOf(std::stoi(task.path().filename()));
    }
    return threads;
}

/// A limit at another value while this lives, if the system grants that.
class ScopedLimit {
public:
    ScopedLimit(decltype(RLIMIT_NICE) which, rlim_t value) : resource(which)
    {
        getrlimit(resource, &saved);
        const rlimit changed{value, std::max(value, saved.rlim_max)};
        isGranted = setrlimit(resource, &changed) == 0;
    }

    ~ScopedLimit() { setrlimit(resource, &saved); }

    bool isGranted;

private:
    decltype(RLIMIT_NICE) resource;
    rlimit saved{};
};

// Where the system grants none of it to the tests, the threads must get along as they are.
TEST(Threads, CarryNamesAndRunAsTheirStarterOrAsTheLimitsAllow)
{
    struct Case {
        int callerPriority;
        rlim_t priorityLimit, niceLimit;
        Standing expected;
    };
    const int nice = StandingOf(0).nice; // what the tests were started with
    for (const Case& c : {Case{0, 0, 0, {SCHED_OTHER, 0, nice}},
                          {0, 0, 25, {SCHED_OTHER, 0, -5}},
                          {0, 40, 0, {SCHED_RR, 1, nice}},
                          {3, 3, 0, {SCHED_FIFO, 3, nice}}}) {
        SCOPED_TRACE(testing::Message() << c.callerPriority << ' ' << c.priorityLimit << ' ' << c.niceLimit);
        std::thread([&] {
            const ScopedLimit priority(RLIMIT_RTPRIO, c.priorityLimit), niceness(RLIMIT_NICE, c.niceLimit);
            const sched_param parameters{c.callerPriority};
            const bool isGranted = priority.isGranted && niceness.isGranted &&
                                   (c.callerPriority == 0 || sched_setscheduler(0, SCHED_FIFO, &parameters) == 0);
            const auto context = std::make_shared<Context>(InitParam{48000, nullptr, nullptr, 2, 8, nullptr, nullptr});
            std::map<std::string, Standing> threads;
            while (!threads.contains("kal-render") || !threads.contains("kal-worker-1")) threads = Threads();
            for (const char* name : {"kal-render", "kal-worker-1"})
                EXPECT_EQ(threads[name], isGranted ? c.expected : StandingOf(0)) << name;
        }).join();
    }
}

} // namespace
} // namespace kalmarble::test
