#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kal {

/// A thread of the library. It carries a name for debuggers and runs above the game's own threads as far as the system
/// lets it: docs/realtime.md says how far on each.
class Thread {
public:
    /// [control] Starts `run`, which must not throw, on a new thread. Throws std::system_error when there can be none.
    /// @param name at most 15 characters
    Thread(std::string name, std::function<void()> run);

    /// Join comes first.
    ~Thread() = default;

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// [control] Returns when `run` has returned; one that has not begun never will. Does not need the thread to leave
    /// the system's hands, which it cannot while the caller holds the loader's lock on Windows.
    void Join();

private:
    struct State;
    std::shared_ptr<State> state;
};

/// [any] Whether the process is ending and has taken every thread but this one, wherever it stood: the locks that they
/// held stay locked, and nobody will answer.
bool ThreadsAreGone();

} // namespace kal
