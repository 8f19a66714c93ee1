#include "tools/kalhrtf/Apart.h"

#include "tools/support/Cli.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <new>
#include <string_view>

namespace kal::hrtf {
namespace {

constexpr char kResult = 'r', kFailure = 'f';

void Limit()
{
    const auto limit = [](auto resource, rlim_t most) {
        const rlimit both{most, most};
        setrlimit(resource, &both);
    };
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, 20);
#ifndef KAL_SANITIZED // whose run-time reserves far more than it uses
    limit(RLIMIT_AS, rlim_t{4} << 30);
#endif
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); // what a library says while it dies is of no use to anyone
}

// False if the reader has gone.
bool WriteAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

[[noreturn]] void Work(int descriptor, const std::function<std::string()>& work)
{
    Limit();
    std::string answer;
    try {
        answer = kResult + work();
    } catch (const std::bad_alloc&) {
        answer = std::string(1, kFailure) + "it takes more memory than a head should.";
    } catch (const std::exception& failure) {
        answer = std::string(1, kFailure) + failure.what();
    }
    _exit(WriteAll(descriptor, answer) ? 0 : 1);
}

std::string ReadAll(int descriptor)
{
    std::string bytes;
    char some[1 << 16];
    ssize_t count = 0;
    while ((count = read(descriptor, some, sizeof some)) > 0) bytes.append(some, static_cast<std::size_t>(count));
    return bytes;
}

} // namespace

std::string RunApart(const std::function<std::string()>& work, const std::string& ifItDies)
{
    int ends[2];
    if (pipe(ends) != 0) throw tools::Failure("No pipe can be made.");
    const pid_t child = fork();
    if (child < 0) throw tools::Failure("No process can be started.");
    if (child == 0) {
        close(ends[0]);
        Work(ends[1], work);
    }
    close(ends[1]);
    const std::string answer = ReadAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || answer.empty()) throw tools::Failure(ifItDies);
    if (answer[0] == kFailure) throw tools::Failure(answer.substr(1));
    return answer.substr(1);
}

} // namespace kal::hrtf
