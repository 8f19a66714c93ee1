#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kalrender {

/// The manual page of a command line, in roff.
std::string ManualPage(const CLI::App& app);

/// What makes bash complete a command line: its options, the values of those that take few, else files.
std::string BashCompletion(const CLI::App& app);

} // namespace kalrender
