#include "libkalmarble/Context.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <windows.h>

#include <tlhelp32.h>

namespace kalmarble::test {
namespace {

/// The priorities of this process's threads by name; a thread has its name once it has its priority.
std::map<std::wstring, int> Threads()
{
    std::map<std::wstring, int> threads;
    HRESULT(WINAPI * describe)(HANDLE, PWSTR*) = nullptr;
    const FARPROC found = GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetThreadDescription");
    std::memcpy(&describe, &found, sizeof found);
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId()) continue;
        const HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID);
        PWSTR name = nullptr;
        if (SUCCEEDED(describe(thread, &name))) threads[name] = GetThreadPriority(thread);
        LocalFree(name);
        CloseHandle(thread);
    }
    CloseHandle(snapshot);
    return threads;
}

TEST(Threads, CarryNamesAndAreTimeCritical)
{
    const auto context = std::make_shared<Context>(InitParam{48000, nullptr, nullptr, 2, 8, nullptr, nullptr});
    std::map<std::wstring, int> threads;
    while (!threads.contains(L"kal-render") || !threads.contains(L"kal-worker-1")) threads = Threads();
    EXPECT_EQ(threads[L"kal-render"], THREAD_PRIORITY_TIME_CRITICAL);
    EXPECT_EQ(threads[L"kal-worker-1"], THREAD_PRIORITY_TIME_CRITICAL);
}

} // namespace
} // namespace kalmarble::test
