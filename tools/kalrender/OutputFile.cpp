#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace kalrender {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void Fail(const std::string& path)
{
    throw std::runtime_error(path + ": it cannot be written: " + std::generic_category().message(errno));
}

} // namespace

OutputFile::OutputFile(const std::string& path) : target(path)
{
    if (fs::is_directory(target)) throw std::runtime_error(target + ": it cannot be written: it is a folder");
    const fs::path folder = target == "-" ? fs::temp_directory_path() : fs::path(target).parent_path();
    const std::string name = target == "-" ? "kalrender" : fs::path(target).filename().string();
    temporary = (folder / ("." + name + ".XXXXXX")).string();
    const int file = mkstemp(temporary.data());
    if (file < 0) Fail(target);
    const mode_t mask = umask(0); // what any new file may be, instead of mkstemp's private one
    umask(mask);
    fchmod(file, 0666 & ~mask);
    close(file);
}

OutputFile::~OutputFile()
{
    if (!temporary.empty()) std::remove(temporary.c_str());
}

void OutputFile::Commit()
{
    if (target == "-") {
        std::ifstream file(temporary, std::ios::binary);
        if (!(std::cout << file.rdbuf()).flush()) throw std::runtime_error("standard output cannot be written");
        return;
    }
    if (std::rename(temporary.c_str(), target.c_str()) != 0) Fail(target);
    temporary.clear();
}

} // namespace kalrender
