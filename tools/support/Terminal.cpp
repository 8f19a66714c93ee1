#include "tools/support/Terminal.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <unistd.h>

namespace kal::tools {

namespace {

std::mutex mutex;
bool hasBar = false; // guarded by mutex

void EraseBar()
{
    if (hasBar) std::fputs("\r\033[K", stderr);
    hasBar = false;
}

} // namespace

bool Terminal::IsThere()
{
    static const bool isThere = isatty(STDERR_FILENO) != 0;
    return isThere;
}

std::string Terminal::Coloured(const char* code, const std::string& text)
{
    static const bool isColoured = [] {
        const char* const wish = std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe): nothing sets it
        return IsThere() && (!wish || !*wish);
    }();
    return isColoured ? "\033[" + std::string(code) + "m" + text + "\033[0m" : text;
}

void Terminal::Print(const std::string& line)
{
    const std::lock_guard lock(mutex);
    EraseBar();
    std::fprintf(stderr, "%s\n", line.c_str());
}

void Terminal::Show(const std::string& line)
{
    const std::lock_guard lock(mutex);
    EraseBar();
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    hasBar = true;
}

} // namespace kal::tools
