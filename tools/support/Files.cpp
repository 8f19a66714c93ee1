#include "tools/support/Files.h"

#include "tools/support/Cli.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>

namespace kal::tools {
namespace {

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

[[noreturn]] void Fail(const std::string& path, const char* what)
{
    throw Failure(path + " cannot be " + what + ": " + std::system_category().message(errno) + ".");
}

void Write(std::FILE* file, std::string_view bytes, const std::string& path)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() || std::fflush(file) != 0)
        Fail(path, "written");
}

} // namespace

std::string ReadFile(const std::string& path)
{
    const File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "rb"));
    std::FILE* file = path == "-" ? stdin : opened.get();
    if (!file) Fail(path, "read");
    std::string bytes;
    char some[1 << 16];
    while (const std::size_t count = std::fread(some, 1, sizeof some, file)) bytes.append(some, count);
    if (std::ferror(file)) Fail(path == "-" ? "Standard input" : path, "read");
    return bytes;
}

PendingFile::PendingFile(const std::string& name) : target(name), path(name)
{
    struct stat status {};
    if (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        if (S_ISDIR(status.st_mode)) throw Failure(name + " cannot be written: it is a folder.");
        return;
    }
    path += ".XXXXXX";
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) Fail(target, "written");
    isTemporary = true;
    const mode_t mask = umask(0); // there is no other way to ask for it
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    close(descriptor);
}

PendingFile::~PendingFile()
{
    if (isTemporary) unlink(path.c_str());
}

void PendingFile::Commit()
{
    if (!isTemporary) return;
    if (std::rename(path.c_str(), target.c_str()) != 0) Fail(target, "written");
    isTemporary = false;
}

void WriteFile(const std::string& path, std::string_view bytes)
{
    if (path == "-") return Write(stdout, bytes, "Standard output");
    PendingFile pending(path);
    {
        const File file(std::fopen(pending.Path().c_str(), "wb"));
        if (!file) Fail(path, "written");
        Write(file.get(), bytes, path);
    }
    pending.Commit();
}

} // namespace kal::tools
