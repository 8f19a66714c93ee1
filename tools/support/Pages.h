#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace kal::tools {

/// The manual page, in man's own markup: the commands and options as the program's help names them. The footer of the
/// program is its section of examples, one a line.
std::string ManPage(const CLI::App& app);

/// A script for bash that completes commands, options and the names of files.
std::string BashCompletion(const CLI::App& app);

} // namespace kal::tools
