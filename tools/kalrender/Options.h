#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kalrender {

/// What the command line asks for.
struct Options {
    std::vector<std::string> scenes;
    std::string output; ///< a file, "-", or a folder; empty: beside nothing, in the current folder
    std::string format; ///< "wav", "flac" or "ogg"; empty: by the output's ending, else "wav"
    std::string bits;   ///< "16", "24" or "float"; empty: float for WAV, 24 for FLAC
    int samplingRate = 48000;
    int blockFrames = 1024;
    unsigned numThreads = 1;
    unsigned numJobs = 1;
    std::string hrtf;    ///< a data set's file; empty: the one built in
    std::string kernels; ///< name of an instruction set; empty: the fastest
    std::string report, plot;
    bool stems = false, progress = false, quiet = false, play = false, watch = false;
};

/// The command line's definition, filling `options`: what --help, the manual page and the completion are made of.
void Define(CLI::App& app, Options& options);

/// Throws CLI::ValidationError for options that do not go together, which only all of them can tell.
void CheckTogether(const Options& options);

} // namespace kalrender
