#include "tools/support/Files.h"

#include "tools/support/Cli.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace kal::tools {

Stream::Stream(const std::string& path, Way direction) : name(path), way(direction), isStandard(path == "-")
{
    const bool reads = way == Way::Read;
    file = isStandard ? reads ? stdin : stdout : std::fopen(path.c_str(), reads ? "rb" : "wb");
    if (isStandard) name = reads ? "Standard input" : "Standard output";
    if (!file) Fail();
}

Stream::~Stream()
{
    if (!isStandard && file) std::fclose(file);
}

std::string_view Stream::Read()
{
    const std::size_t count = std::fread(buffer, 1, sizeof buffer, file);
    if (std::ferror(file)) Fail();
    return {buffer, count};
}

void Stream::Write(std::string_view bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) Fail();
}

void Stream::Finish()
{
    if (std::fflush(file) != 0) Fail();
    if (isStandard) return;
    if (std::fclose(std::exchange(file, nullptr)) != 0) Fail();
}

void Stream::Fail() const
{
    throw Failure(name + " cannot be " + (way == Way::Read ? "read: " : "written: ") +
                  std::system_category().message(errno) + ".");
}

std::string ReadFile(const std::string& path)
{
    Stream file(path, Stream::Way::Read);
    std::string bytes;
    for (std::string_view some = file.Read(); !some.empty(); some = file.Read()) bytes += some;
    return bytes;
}

} // namespace kal::tools
