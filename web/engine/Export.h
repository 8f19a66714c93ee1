#pragma once

#include <exception>
#include <new>
#include <string>

/// Makes a function callable from outside the module, by its own name.
#define KAL_EXPORT(name) extern "C" __attribute__((export_name(#name), used))

namespace kal::web {

/// [any] The text of what went wrong, until it is taken. One of a module.
inline std::string& Problem()
{
    static std::string problem;
    return problem;
}

/// [any] The wall of every export: what is thrown becomes the module's problem and the result the one for a failure.
template<class Result, class Action>
Result Guarded(Result failure, Action action)
{
    try {
        return action();
    } catch (const std::bad_alloc&) {
        Problem() = "There is not enough memory.";
    } catch (const std::exception& error) {
        Problem() = error.what();
    }
    return failure;
}

/// [any] The same for an export that only does something: whether it could.
template<class Action>
bool Done(Action action)
{
    return Guarded(false, [&] {
        action();
        return true;
    });
}

} // namespace kal::web
