#pragma once

#include <CLI/CLI.hpp>

namespace kal::hrtf {

/// A number of taps that a set can have.
const CLI::Validator& PowerOfTwo();

/// Adds an option that is a sampling rate in hertz.
CLI::Option* AddRate(CLI::App& command, const char* name, double& rate, const char* description);

// Each adds one command and what it does to the program.
void AddImport(CLI::App& app);
void AddInfo(CLI::App& app);
void AddCheck(CLI::App& app);
void AddPlot(CLI::App& app);
void AddExport(CLI::App& app);
void AddDiff(CLI::App& app);
void AddResample(CLI::App& app);

} // namespace kal::hrtf
