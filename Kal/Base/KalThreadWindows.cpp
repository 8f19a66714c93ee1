#include "Kal/Base/KalLock.h"
#include "Kal/Base/KalThread.h"

#include <atomic>
#include <cfloat>
#include <string>
#include <system_error>
#include <utility>
#include <windows.h>

namespace kal {
namespace {

/// How long a thread that has returned may take to leave: it does so at once, or not while the loader's lock is held.
constexpr DWORD kLeavingMilliseconds = 20;

/// A function that only later systems have, or null.
template<class Function>
Function* Find(const char* module, const char* name)
{
    const HMODULE handle = GetModuleHandleA(module);
    return handle ? reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(handle, name))) : nullptr;
}

void NameThisThread(const std::wstring& name)
{
    if (const auto describe = Find<HRESULT WINAPI(HANDLE, PCWSTR)>("kernel32.dll", "SetThreadDescription"))
        describe(GetCurrentThread(), name.c_str());
}

SRWLOCK* LockOf(void** state)
{
    static_assert(sizeof(SRWLOCK) == sizeof *state && alignof(SRWLOCK) == alignof(void*));
    return reinterpret_cast<SRWLOCK*>(state);
}

CONDITION_VARIABLE* ConditionOf(void** state)
{
    static_assert(sizeof(CONDITION_VARIABLE) == sizeof *state && alignof(CONDITION_VARIABLE) == alignof(void*));
    return reinterpret_cast<CONDITION_VARIABLE*>(state);
}

} // namespace

void Mutex::lock()
{
    AcquireSRWLockExclusive(LockOf(&state));
}

bool Mutex::try_lock()
{
    return TryAcquireSRWLockExclusive(LockOf(&state));
}

void Mutex::unlock()
{
    ReleaseSRWLockExclusive(LockOf(&state));
}

void Condition::Sleep(Mutex& mutex)
{
    SleepConditionVariableSRW(ConditionOf(&state), LockOf(&mutex.state), INFINITE, 0);
}

void Condition::notify_one()
{
    WakeConditionVariable(ConditionOf(&state));
}

/// What owner and thread share; whoever is the last to need it frees it.
struct Thread::State {
    enum class Phase { Waiting, Begun, Cancelled };

    State(const std::string& threadName, std::function<void()> job)
        : name(threadName.begin(), threadName.end()), run(std::move(job))
    {
    }

    ~State()
    {
        if (thread) CloseHandle(thread);
        if (ended) CloseHandle(ended);
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    /// Whether it is for the caller to say what becomes of a thread that has not begun.
    bool Settle(Phase next)
    {
        Phase expected = Phase::Waiting;
        return phase.compare_exchange_strong(expected, next);
    }

    void Run() noexcept
    {
        if (!Settle(Phase::Begun)) return;
        _fpreset(); // or double precision would be all that the x87 unit has
        SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
        NameThisThread(name);
        run();
        SetEvent(ended);
    }

    static DWORD WINAPI Begin(void* argument)
    {
        HMODULE held = nullptr;
        {
            const std::unique_ptr<std::shared_ptr<State>> state(static_cast<std::shared_ptr<State>*>(argument));
            (*state)->Run();
            held = (*state)->module;
        }
        FreeLibraryAndExitThread(held, 0);
    }

    std::wstring name;
    std::function<void()> run;
    std::atomic<Phase> phase{Phase::Waiting};
    HANDLE ended = CreateEventA(nullptr, TRUE, FALSE, nullptr); ///< set when run has returned
    HANDLE thread = nullptr;                                    ///< the owner's
    HMODULE module = nullptr; ///< this code, which stays loaded until the thread has left it
};

Thread::Thread(std::string name, std::function<void()> run) : state(std::make_shared<State>(name, std::move(run)))
{
    const auto fail = [] { throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again)); };
    auto shared = std::make_unique<std::shared_ptr<State>>(state);
    const auto code = reinterpret_cast<LPCSTR>(&State::Begin);
    if (!state->ended || !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, code, &state->module)) fail();
    state->thread = CreateThread(nullptr, 0, State::Begin, shared.get(), 0, nullptr);
    if (!state->thread) {
        FreeLibrary(state->module);
        fail();
    }
    static_cast<void>(shared.release()); // the thread's now
}

void Thread::Join()
{
    if (!state->Settle(State::Phase::Cancelled)) {
        const HANDLE either[] = {state->ended, state->thread};
        WaitForMultipleObjects(2, either, FALSE, INFINITE);
    }
    WaitForSingleObject(state->thread, kLeavingMilliseconds);
}

bool ThreadsAreGone()
{
    const auto isShuttingDown = Find<BOOLEAN WINAPI()>("ntdll.dll", "RtlDllShutdownInProgress");
    return isShuttingDown && isShuttingDown();
}

} // namespace kal
