// Shows that a change of the code changes no bit of the sound.
//
//     fingerprint [--programs N] [--seed S] [--table Generic|SSE2|AVX2|AVX512] [--quick] [--samples|--against]
//
// Renders N random programs (300 by default; 30 with --quick), seeded S, S + 1, ... (1 by default), with each table of
// kernels that this processor can run, and prints a line for each: table, seed, hash of all samples. Two builds whose
// lines are the same sound the same.
//
// How far others are apart: --samples writes all samples instead of the lines, floats as they are, and --against
// compares with such a file as standard input. It fails when a sample differs by more than 150 dB under full scale.
#include "tools/fingerprint/program.h"

#include "Kal/Base/KalInternals.h"
#include "Kal/QFFT/CpuFeature.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

enum class Output { Hashes, Samples, Comparison };

struct Options {
    unsigned long programs = 300;
    std::uint32_t seed = 1;
    std::string table; // empty for all
    Output output = Output::Hashes;
};

[[noreturn]] void Usage(const char* what)
{
    std::fprintf(stderr,
                 "fingerprint: %s\nusage: fingerprint [--programs N] [--seed S] [--table NAME] [--quick] "
                 "[--samples|--against]\n",
                 what);
    std::exit(2); // NOLINT(concurrency-mt-unsafe): the only thread
}

std::uint32_t Number(const char* text)
{
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0' || number > UINT32_MAX) Usage("a value is no number of 32 bits");
    return static_cast<std::uint32_t>(number);
}

Options Parsed(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--quick")
            options.programs = 30;
        else if (option == "--samples")
            options.output = Output::Samples;
        else if (option == "--against")
            options.output = Output::Comparison;
        else if (++i == argc)
            Usage("an option is unknown or lacks its value");
        else if (option == "--programs")
            options.programs = Number(argv[i]);
        else if (option == "--seed")
            options.seed = Number(argv[i]);
        else if (option == "--table")
            options.table = argv[i];
        else
            Usage("no such option");
    }
    return options;
}

/// FNV-1a, 64 bits, of the bit patterns.
std::uint64_t Hash(const std::vector<float>& samples)
{
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const float x : samples) {
        const auto bits = kal::BitCast<std::uint32_t>(x);
        for (int shift = 0; shift < 32; shift += 8) hash = (hash ^ (bits >> shift & 0xff)) * 0x100000001b3;
    }
    return hash;
}

/// The largest difference of samples from those that come next in standard input.
float DifferenceFromInput(std::vector<float> samples)
{
    std::vector<float> others(samples.size());
    if (std::fread(others.data(), sizeof(float), others.size(), stdin) != others.size())
        throw std::runtime_error("standard input has fewer samples");
    std::transform(samples.begin(), samples.end(), others.begin(), samples.begin(), std::minus<>());
    return kal::Peak(samples.size(), samples.data());
}

/// Calls played(table, seed, samples) for every program and table.
template<class Played>
void ForEachProgram(const Options& options, Played played)
{
    bool found = false;
    for (const auto table : qfft::cpu::UsableInstructionSets()) {
        const char* const name = qfft::cpu::NameOf(table);
        if (!options.table.empty() && options.table != name) continue;
        found = true;
        qfft::cpu::SelectInstructionSet(table);
        for (std::uint32_t i = 0; i < options.programs; ++i) {
            const std::uint32_t seed = options.seed + i;
            played(name, seed, Samples(seed));
        }
    }
    if (!found) Usage("no such table on this processor");
}

void PrintHashes(const Options& options)
{
    ForEachProgram(options, [](const char* table, std::uint32_t seed, const std::vector<float>& samples) {
        std::printf("%s %" PRIu32 " %016" PRIx64 "\n", table, seed, Hash(samples));
    });
}

void WriteSamples(const Options& options)
{
    ForEachProgram(options, [](const char*, std::uint32_t, const std::vector<float>& samples) {
        if (std::fwrite(samples.data(), sizeof(float), samples.size(), stdout) != samples.size())
            throw std::runtime_error("standard output does not take all samples");
    });
}

/// Whether all programs are as near to those in standard input as they are to be.
bool Compare(const Options& options)
{
    constexpr float kFarthest = 3e-8f; // 150 dB under full scale
    int numSame = 0, numOthers = 0;
    float farthest = 0.0f;
    ForEachProgram(options, [&](const char* table, std::uint32_t seed, const std::vector<float>& samples) {
        const float difference = DifferenceFromInput(samples);
        if (!(difference <= kFarthest)) std::printf("%s %" PRIu32 " differs by %g\n", table, seed, difference);
        farthest = std::max(farthest, difference);
        ++(difference == 0.0f ? numSame : numOthers);
    });
    if (std::fgetc(stdin) != EOF) throw std::runtime_error("standard input has more samples");
    std::printf("%d programs are the same; %d differ, by %g at most\n", numSame, numOthers, farthest);
    return farthest <= kFarthest;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const Options options = Parsed(argc, argv);
        switch (options.output) {
        case Output::Hashes:
            PrintHashes(options);
            return 0;
        case Output::Samples:
            WriteSamples(options);
            return 0;
        case Output::Comparison:
            return Compare(options) ? 0 : 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fingerprint: %s\n", error.what());
        return 1;
    }
}
