#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kal::test {

inline std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A folder for one test, which goes with all that is in it.
class Folder {
public:
    Folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "kal-test-XXXXXX";
        if (!mkdtemp(name.data())) std::abort();
        path = name;
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string operator/(const std::string& name) const { return path / name; }

    std::size_t NumFiles() const
    {
        return std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
    }

private:
    std::filesystem::path path;
};

/// What a program did.
struct Outcome {
    int exitCode; ///< -1 if a signal ended it
    std::string out, error;
};

/// Runs a command line of the shell, pipes included, to its end. The exit code of a pipe is that of its last program.
inline Outcome RunProgram(const std::string& commands)
{
    const Folder folder;
    const std::string line = "{ " + commands + "\n} >" + folder / "out" + " 2>" + folder / "error";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(folder / "out"), ReadFile(folder / "error")};
}

} // namespace kal::test
