// What every module exports beside its own functions: memory for the caller's bytes, and what went wrong.

#include "Export.h"

#include <cstdlib>
#include <utility>

namespace kal::web {

/// Memory for so many bytes, or null. The caller fills it and gives it back.
KAL_EXPORT(allocate)
void* Allocate(std::size_t bytes)
{
    return std::malloc(bytes);
}

KAL_EXPORT(release)
void Release(void* bytes)
{
    std::free(bytes);
}

/// The text of what went wrong since the last call, or null. It stays until the next call.
KAL_EXPORT(problem)
const char* TakeProblem()
{
    static std::string taken;
    if (Problem().empty()) return nullptr;
    taken = std::exchange(Problem(), {});
    return taken.c_str();
}

} // namespace kal::web
