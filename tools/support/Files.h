#pragma once

#include <string>
#include <string_view>

namespace kal::tools {

/// All bytes of a file, or of standard input for "-".
/// @throws Failure "PATH cannot be read: reason."
std::string ReadFile(const std::string& path);

/// A file in the making: what is written to Path() appears under its own name with Commit, and never if that is not
/// reached. What is no ordinary file, such as a device, is written straight away.
class PendingFile {
public:
    /// @throws Failure "PATH cannot be written: reason."
    explicit PendingFile(const std::string& target);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& Path() const { return path; }

    /// @throws Failure as the constructor does
    void Commit();

private:
    std::string target, path;
    bool isTemporary = false;
};

/// Writes a whole file, or to standard output for "-". The file appears when all of it is there.
/// @throws Failure "PATH cannot be written: reason."
void WriteFile(const std::string& path, std::string_view bytes);

} // namespace kal::tools
