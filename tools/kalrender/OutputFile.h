#pragma once

#include <string>

namespace kalrender {

/// A file that appears under its name only when it is complete: until Commit it has a name of its own in the same
/// folder, and without Commit it goes away.
class OutputFile {
public:
    /// @param path where it is to appear; "-" is standard output, to which Commit copies it
    /// @throws std::runtime_error if it cannot be made there
    explicit OutputFile(const std::string& path);
    ~OutputFile();

    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Where to write meanwhile.
    const std::string& TemporaryPath() const { return temporary; }

    /// Lets it appear. Whoever wrote it has closed it. @throws std::runtime_error
    void Commit();

private:
    std::string target, temporary;
};

} // namespace kalrender
