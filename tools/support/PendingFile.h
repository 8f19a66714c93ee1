#pragma once

#include <atomic>
#include <string>
#include <string_view>

namespace kal::tools {

/// A file in the making: what is written to Path() appears under its own name with Commit, and never if that is not
/// reached, not even when SIGINT, SIGTERM, SIGHUP or SIGPIPE end the program. "-" is standard output: Commit copies to
/// it, and to all else that is no ordinary file, such as a pipe.
class PendingFile {
public:
    /// @throws Failure "PATH cannot be written: reason."
    explicit PendingFile(const std::string& target);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// Where to write meanwhile: an ordinary file, of which every part can be reached.
    const std::string& Path() const { return path; }

    /// Writes all of it at once. @throws Failure as the constructor does
    void Write(std::string_view bytes) const;

    /// Whoever wrote it has closed it. Once. @throws Failure as the constructor does
    void Commit();

private:
    std::string target, path;
    bool isCopied = false;
    std::atomic<const char*>* removal = nullptr; ///< what a signal is to remove
};

/// Writes a whole file, or to standard output for "-". The file appears when all of it is there.
/// @throws Failure "PATH cannot be written: reason."
void WriteFile(const std::string& path, std::string_view bytes);

} // namespace kal::tools
