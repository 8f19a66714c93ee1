#include "Job.h"

#include "AudioFile.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Meter.h"
#include "Player.h"
#include "Plot.h"
#include "Progress.h"
#include "SoundFile.h"
#include "tools/scene/Renderer.h"
#include "tools/scene/SceneReader.h"
#include "tools/support/Cli.h"
#include "tools/support/Files.h"
#include "tools/support/PendingFile.h"
#include "tools/support/Terminal.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <optional>

namespace kalrender {

namespace fs = std::filesystem;
using kal::tools::PendingFile;
using kal::tools::Terminal;

namespace {

using Clock = std::chrono::steady_clock;
using SharedScene = std::shared_ptr<const kalscene::Scene>;
using CancelledTest = std::function<bool()>;

double SecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

AudioFormat FormatOf(const Options& options, const std::string& output)
{
    AudioFormat format{options.format, options.bits, options.samplingRate};
    const std::string ending = fs::path(output).extension().string();
    if (format.container.empty()) format.container = ending == ".flac" || ending == ".ogg" ? ending.substr(1) : "wav";
    if (format.bits.empty()) format.bits = format.container == "flac" ? "24" : "float";
    return format;
}

// Empty: there is no file to write.
std::string OutputOf(const Options& options, const std::string& scenePath)
{
    if (options.play && options.output.empty()) return {};
    if (!options.output.empty() && !options.output.ends_with('/')) return options.output;
    const std::string ending = options.format.empty() ? "wav" : options.format;
    if (!options.output.empty()) fs::create_directories(options.output);
    return (fs::path(options.output) / fs::path(scenePath).stem()).string() + "." + ending;
}

std::string StemPath(const std::string& output, const std::string& sound)
{
    const fs::path path(output);
    return (path.parent_path() / path.stem()).string() + "." + sound + path.extension().string();
}

Progress ProgressOf(const Options& options, const std::string& name, const kalscene::Scene& scene)
{
    const bool isBar = Terminal::IsThere() && !options.play && options.numJobs == 1;
    const auto way = options.quiet      ? Progress::Way::None
                     : isBar            ? Progress::Way::Bar
                     : options.progress ? Progress::Way::Lines
                                        : Progress::Way::None;
    const bool isKnown = scene.length != kalscene::kNever;
    return {way, name, isKnown ? static_cast<double>(scene.length) / scene.samplingRate : 0.0};
}

class Job {
public:
    Job(const Options& o, std::string path, const CancelledTest& cancelled)
        : options(o), scenePath(std::move(path)), isCancelled(cancelled), output(OutputOf(o, scenePath))
    {
        if (options.hrtf.empty()) return;
        hrtf = kal::tools::ReadFile(options.hrtf);
        if (hrtf.empty()) throw kal::tools::Failure(options.hrtf + " is empty.");
    }

    void Run(std::vector<std::string>& files)
    {
        const auto scene = ReadScene();
        files = scene->files;
        files.push_back(scenePath);

        Meter meter(options.samplingRate);
        std::optional<AudioFile> mix;
        if (!output.empty()) mix.emplace(output, FormatOf(options, output));
        std::optional<PendingFile> report;
        if (!options.report.empty()) report.emplace(options.report);
        std::optional<Plot> plot;
        if (!options.plot.empty()) plot.emplace(options.plot, *scene);
        RenderMix(scene, meter, mix, plot);
        if (mix) mix->Close();
        std::deque<AudioFile> stems = options.stems ? RenderStems(scene, meter.NumFrames()) : std::deque<AudioFile>();

        if (report) report->Write(Report(meter).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
        if (plot) plot->Draw();
        if (mix) mix->Commit();
        for (AudioFile& stem : stems) stem.Commit();
        if (report) report->Commit();
        if (plot) plot->Commit();
        if (!options.quiet) Summarize(meter);
    }

private:
    SharedScene ReadScene() const
    {
        kalscene::ReadParam param;
        param.samplingRate = options.samplingRate;
        param.loader = LoadSound;
        return std::make_shared<const kalscene::Scene>(kalscene::ReadSceneFile(scenePath, param));
    }

    // Renders and hands on, block by block. The time that the consumer takes is not the rendering's.
    template<class Consumer>
    kalscene::Statistics Render(const SharedScene& scene, const kalscene::Sound* only, Consumer consume)
    {
        std::optional<kalscene::Renderer> renderer;
        try {
            kalscene::RenderParam param{.numThreads = options.numThreads, .only = only};
            if (!hrtf.empty()) param.hrtf = {reinterpret_cast<const unsigned char*>(hrtf.data()), hrtf.size()};
            renderer.emplace(scene, param);
        } catch (const std::exception& error) {
            if (hrtf.empty()) throw;
            throw std::runtime_error(options.hrtf + ": " + error.what());
        }
        std::vector<float> block(2 * static_cast<std::size_t>(options.blockFrames));
        for (;;) {
            if (isCancelled()) throw Cancelled();
            const auto start = Clock::now();
            const int count = renderer->Render(block.data(), options.blockFrames);
            renderSeconds += SecondsSince(start);
            if (count == 0) return renderer->Stats();
            consume(block.data(), count, *renderer);
        }
    }

    void RenderMix(const SharedScene& scene, Meter& meter, std::optional<AudioFile>& mix, std::optional<Plot>& plot)
    {
        Progress progress = ProgressOf(options, fs::path(scenePath).filename().string(), *scene);
        std::optional<Player> player;
        if (options.play) player.emplace(options.samplingRate, !options.quiet);
        statistics = Render(scene, nullptr, [&](const float* frames, int count, const kalscene::Renderer& renderer) {
            meter.Add(frames, count);
            if (mix) mix->Write(frames, count);
            if (plot) plot->Add(frames, count, renderer);
            if (player) player->Play(frames, count, meter.TakeLevels(), isCancelled);
            progress.Update(static_cast<double>(meter.NumFrames()) / options.samplingRate);
        });
        mixSeconds = renderSeconds;
        if (player) player->Finish(isCancelled);
    }

    std::deque<AudioFile> RenderStems(const SharedScene& scene, std::int64_t length)
    {
        kalscene::Scene copy = *scene;
        copy.length = length; // the stems are as long as the mix
        const auto fixed = std::make_shared<const kalscene::Scene>(std::move(copy));
        std::deque<AudioFile> stems;
        for (const kalscene::Sound& sound : fixed->sounds) {
            AudioFile& stem = stems.emplace_back(StemPath(output, sound.name), FormatOf(options, output));
            Progress progress = ProgressOf(options, fs::path(scenePath).filename().string() + " " + sound.name, *fixed);
            std::int64_t done = 0;
            Render(fixed, &sound, [&](const float* frames, int count, const kalscene::Renderer&) {
                stem.Write(frames, count);
                progress.Update(static_cast<double>(done += count) / options.samplingRate);
            });
            stem.Close();
        }
        return stems;
    }

    nlohmann::json Report(const Meter& meter) const
    {
        const double duration = static_cast<double>(meter.NumFrames()) / options.samplingRate;
        nlohmann::json report = meter.Report();
        report["scene"] = scenePath;
        report["samplingRate"] = options.samplingRate;
        report["frames"] = meter.NumFrames();
        report["seconds"] = duration;
        report["limitedFrames"] = statistics.limitedFrames;
        report["voices"] = {{"started", statistics.startedVoices}, {"mostAtATime", statistics.mostVoices}};
        report["mostSidesAtATime"] = statistics.mostSides;
        report["threads"] = options.numThreads;
        report["kernels"] = qfft::cpu::NameOf(qfft::cpu::ActiveInstructionSet());
        report["renderSeconds"] = mixSeconds;
        report["timesRealTime"] = duration / mixSeconds;
        return report;
    }

    void Summarize(const Meter& meter) const
    {
        const double duration = static_cast<double>(meter.NumFrames()) / options.samplingRate;
        char text[160];
        std::snprintf(text, sizeof text, "%.2f s, peak %.1f dBFS, %.1f LUFS, %.0f times as fast as it plays", duration,
                      meter.PeakDb(), meter.Loudness(), duration / mixSeconds);
        const std::string name = output.empty() || output == "-" ? scenePath : output;
        Terminal::Print(Terminal::Coloured("1", name) + ": " + text);
    }

    const Options& options;
    std::string scenePath;
    const CancelledTest& isCancelled;
    std::string output;
    std::string hrtf; ///< the bytes of a data set; empty: the one built in
    kalscene::Statistics statistics;
    double renderSeconds = 0.0, mixSeconds = 0.0;
};

} // namespace

void RenderScene(const Options& options, const std::string& scenePath, const std::function<bool()>& isCancelled,
                 std::vector<std::string>& files)
{
    Job(options, scenePath, isCancelled).Run(files);
}

} // namespace kalrender
