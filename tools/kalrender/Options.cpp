#include "Options.h"

#include "Kal/QFFT/CpuFeature.h"

#include <filesystem>
#include <set>

namespace kalrender {

namespace {

const char* const kExamples =
    R"(kalrender scenes/walk.json -o walk.wav            a scene to a WAV file of 32-bit floats
kalrender scenes/walk.json -o walk.flac -r 96000  24 bits, at 96 kHz
kalrender scenes/walk.json --bits 16 -o - | aplay through a pipe
kalrender scenes/orchestra.json --stems -o mix.wav --report mix.json --plot mix.png
kalrender scenes/*.json -o rendered/ --jobs 4     many scenes, four at a time
kalrender scenes/walk.json --play --watch         hear it, and again whenever it changes)";

std::vector<std::string> KernelNames()
{
    std::vector<std::string> names;
    for (const auto set : qfft::cpu::UsableInstructionSets()) names.emplace_back(qfft::cpu::NameOf(set));
    return names;
}

} // namespace

void Define(CLI::App& app, Options& o)
{
    app.description("renders scenes of sounds around a listener to sound files, the same in every run");
    app.footer(kExamples);
    app.option_defaults()->take_last();

    app.add_option("SCENE", o.scenes, "Scene files (JSON)")->type_name("FILE")->take_all();
    app.add_option(
           "-o,--output", o.output,
           "Output: a file, - for a pipe, or a folder (ending in /) for one file a scene; without it the scene's "
           "name with the format's ending, in the current folder")
        ->type_name("FILE");
    app.add_option("-f,--format", o.format, "wav, flac or ogg, whatever the output's ending")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"wav", "flac", "ogg"}));
    app.add_option("-b,--bits", o.bits, "Sample format: 16, 24 or float; without it float for WAV, 24 for FLAC")
        ->type_name("BITS")
        ->check(CLI::IsMember({"16", "24", "float"}));
    app.add_option("-r,--rate", o.samplingRate, "Sampling rate, Hz; 48000 without it")
        ->type_name("HZ")
        ->check(CLI::Range(4000, 318000));
    app.add_option("--block", o.blockFrames, "Frames rendered at a time; the output does not depend on it")
        ->type_name("FRAMES")
        ->check(CLI::Range(1, 1 << 20));
    app.add_option("-t,--threads", o.numThreads, "Threads a scene; with 1, every run gives the same bits")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    app.add_option("-j,--jobs", o.numJobs, "Scenes rendered at a time")->type_name("N")->check(CLI::Range(1, 256));
    app.add_option("--hrtf", o.hrtf, "Head-related responses to use instead of those built in (.kalhrtfd)")
        ->type_name("FILE");
    app.add_option("--kernels", o.kernels, "Instruction set of the inner loops: Generic, SSE2, AVX2 or AVX512")
        ->type_name("SET")
        ->check(CLI::IsMember(KernelNames()));
    app.add_flag("--stems", o.stems, "Also write each sound alone, to OUTPUT.NAME.wav or the like");
    app.add_option("--report", o.report, "Write peaks, loudness, voices and time as JSON")->type_name("FILE");
    app.add_option("--plot", o.plot, "Draw levels, spectrogram, directions and polyphony (.png or .svg)")
        ->type_name("FILE");
    app.add_flag("--play", o.play, "Play it through the sound device, with level meters");
    app.add_flag("--watch", o.watch, "Render again whenever the scene or one of its sounds changes, until interrupted");
    app.add_flag("--progress", o.progress, "Show a line a second also when this is no terminal");
    app.add_flag("-q,--quiet", o.quiet, "Say nothing but what is wrong");
}

void CheckTogether(const Options& o)
{
    const auto refuse = [](const std::string& text) { throw CLI::ValidationError(text); };
    if (o.scenes.empty()) refuse("SCENE is required");
    const bool isPipe = o.output == "-", isFolder = o.output.ends_with('/');
    const std::string ending = std::filesystem::path(o.output).extension().string();
    if (!isPipe && !isFolder && !o.output.empty() && o.format.empty() && ending != ".wav" && ending != ".flac" &&
        ending != ".ogg")
        refuse("--output: \"" + o.output + "\" ends in neither .wav, .flac, .ogg nor /; --format says what it is");
    if (o.bits == "float" && (o.format == "flac" || (o.format.empty() && ending == ".flac")))
        refuse("--bits: FLAC holds 16 or 24 bits");
    if (!o.bits.empty() && (o.format == "ogg" || (o.format.empty() && ending == ".ogg")))
        refuse("--bits: Ogg Vorbis has no such thing");
    if (isPipe && o.stems) refuse("--stems needs a file, not a pipe");
    const std::string picture = std::filesystem::path(o.plot).extension().string();
    if (!o.plot.empty() && picture != ".png" && picture != ".svg") refuse("--plot: FILE ends in .png or .svg");
    for (const std::string& other : {o.output, o.plot})
        if (!o.report.empty() && o.report == other) refuse("--report: \"" + other + "\" is another output");
    if (o.scenes.size() == 1) return;

    if (!o.output.empty() && !isFolder) refuse("--output: several scenes need a folder, ending in /");
    if (o.play || o.watch) refuse("--play and --watch take one scene");
    if (!o.report.empty() || !o.plot.empty()) refuse("--report and --plot take one scene");
    if (o.hrtf == "-") refuse("--hrtf - takes one scene");
    std::set<std::string> names;
    for (const std::string& scene : o.scenes)
        if (!names.insert(std::filesystem::path(scene).stem().string()).second)
            refuse("two scenes are named " + std::filesystem::path(scene).stem().string());
}

} // namespace kalrender
