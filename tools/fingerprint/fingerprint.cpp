// Shows that a change of the code changes no bit of the sound.
//
//     fingerprint [--programs N] [--seed S] [--table Generic|SSE2|AVX2|AVX512] [--quick]
//
// Renders N random programs (300 by default; 30 with --quick), seeded S, S + 1, ... (1 by default), with each table of
// kernels that this processor can run, and prints a line for each: table, seed, hash of all samples. Two builds whose
// lines are the same sound the same.
#include "tools/fingerprint/program.h"

#include "Kal/QFFT/CpuFeature.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

struct Options {
    unsigned long programs = 300;
    std::uint32_t seed = 1;
    std::string table; // empty for all
};

[[noreturn]] void Usage(const char* what)
{
    std::fprintf(stderr, "fingerprint: %s\nusage: fingerprint [--programs N] [--seed S] [--table NAME] [--quick]\n",
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
        if (option == "--quick") {
            options.programs = 30;
            continue;
        }
        if (++i == argc) Usage("an option is unknown or lacks its value");
        if (option == "--programs")
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

void Print(const Options& options)
{
    bool found = false;
    for (const auto table : qfft::cpu::UsableInstructionSets()) {
        const char* const name = qfft::cpu::NameOf(table);
        if (!options.table.empty() && options.table != name) continue;
        found = true;
        qfft::cpu::SelectInstructionSet(table);
        for (std::uint32_t i = 0; i < options.programs; ++i) {
            const std::uint32_t seed = options.seed + i;
            std::printf("%s %" PRIu32 " %016" PRIx64 "\n", name, seed, Fingerprint(seed));
        }
    }
    if (!found) Usage("no such table on this processor");
}

} // namespace

int main(int argc, char** argv)
{
    try {
        Print(Parsed(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fingerprint: %s\n", error.what());
        return 1;
    }
}
