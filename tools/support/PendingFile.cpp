#include "tools/support/PendingFile.h"

#include "tools/support/Cli.h"
#include "tools/support/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace kal::tools {
namespace {

namespace fs = std::filesystem;

/// What a signal is to remove. Entries are never freed, as a handler may stand in them at any time.
struct Removal {
    std::atomic<const char*> path;
    Removal* next = nullptr;
};
std::atomic<Removal*> removals;

// Whoever takes a path out of its entry has its file; the handler gives none back, as the program ends.
void RemoveAll(int signal)
{
    for (const Removal* entry = removals; entry; entry = entry->next)
        if (const char* path = const_cast<Removal*>(entry)->path.exchange(nullptr)) unlink(path);
    std::raise(signal); // by its own means now
}

// Leaves alone what the program itself does about a signal, and signals that are ignored.
bool WatchSignals()
{
    struct sigaction action = {}, present;
    action.sa_handler = RemoveAll;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL)
            sigaction(signal, &action, nullptr);
    return true;
}

std::atomic<const char*>* RemoveOnSignals(const char* path)
{
    [[maybe_unused]] static const bool isWatching = WatchSignals();
    for (Removal* entry = removals; entry; entry = entry->next) {
        const char* none = nullptr;
        if (entry->path.compare_exchange_strong(none, path)) return &entry->path;
    }
    auto* const added = new Removal{path};
    added->next = removals;
    while (!removals.compare_exchange_weak(added->next, added)) {
    }
    return &added->path;
}

void Take(std::atomic<const char*>& removal)
{
    if (removal.exchange(nullptr)) return;
    for (;;) pause(); // a signal was first: nothing is to be done but to end
}

[[noreturn]] void Fail(const std::string& path)
{
    throw Failure(path + " cannot be written: " + std::system_category().message(errno) + ".");
}

std::string TemporaryFor(const std::string& target, bool isCopied)
{
    const fs::path folder = isCopied ? fs::temp_directory_path() : fs::path(target).parent_path();
    constexpr std::size_t kRoom = 200; // of the 255 bytes that a name may have
    return folder / ("." + fs::path(target).filename().string().substr(0, kRoom) + ".XXXXXX");
}

} // namespace

PendingFile::PendingFile(const std::string& name) : target(name), isCopied(name == "-")
{
    struct stat status {};
    if (!isCopied && stat(name.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) throw Failure(name + " cannot be written: it is a folder.");
        isCopied = !S_ISREG(status.st_mode);
    }
    if (fs::path(target).filename().native().size() > NAME_MAX) {
        errno = ENAMETOOLONG; // said by the system at the end otherwise
        Fail(target);
    }
    path = TemporaryFor(target, isCopied);
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) Fail(isCopied ? path : target);
    removal = RemoveOnSignals(path.c_str());
    const mode_t mask = umask(0); // there is no other way to ask for it
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    close(descriptor);
}

PendingFile::~PendingFile()
{
    if (!removal) return;
    unlink(path.c_str());
    Take(*removal);
}

void PendingFile::Write(std::string_view bytes) const
{
    Stream file(path, Stream::Way::Write);
    file.Write(bytes);
    file.Finish();
}

void PendingFile::Commit()
{
    if (isCopied) {
        Stream from(path, Stream::Way::Read), to(target, Stream::Way::Write);
        for (std::string_view some = from.Read(); !some.empty(); some = from.Read()) to.Write(some);
        return to.Finish();
    }
    if (std::rename(path.c_str(), target.c_str()) != 0) Fail(target);
    Take(*removal);
    removal = nullptr;
}

void WriteFile(const std::string& path, std::string_view bytes)
{
    PendingFile pending(path);
    pending.Write(bytes);
    pending.Commit();
}

} // namespace kal::tools
