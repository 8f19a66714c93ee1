#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace kal::tools {

/// A file that is read or written from its beginning; for "-", standard input or output. Everything throws Failure
/// "PATH cannot be read: reason." or the like.
class Stream {
public:
    enum class Way { Read, Write };

    Stream(const std::string& path, Way direction);
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Some more bytes, none at the end. They stay until the next call.
    std::string_view Read();

    void Write(std::string_view bytes);

    /// Nothing more is written; what was has arrived.
    void Finish();

private:
    [[noreturn]] void Fail() const;

    std::string name;
    Way way;
    std::FILE* file;
    bool isStandard;
    char buffer[1 << 16];
};

/// All bytes of a file, or of standard input for "-".
/// @throws Failure "PATH cannot be read: reason."
std::string ReadFile(const std::string& path);

} // namespace kal::tools
