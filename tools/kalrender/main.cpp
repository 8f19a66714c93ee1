// kalrender: renders scenes to sound files. docs/kalrender.md walks through it.

#include "Job.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Options.h"
#include "Watcher.h"
#include "tools/scene/SceneReader.h"
#include "tools/support/Cli.h"

#include <atomic>
#include <csignal>
#include <exception>
#include <memory>
#include <thread>

namespace kalrender {

namespace {

volatile std::sig_atomic_t isInterrupted = 0;

void Interrupt(int)
{
    isInterrupted = 1;
}

void PrintFault(const std::string& text)
{
    kal::tools::PrintFault("kalrender", text);
}

/// @returns whether it could be rendered; says what is wrong otherwise
bool Render(const Options& options, const std::string& scene, const std::function<bool()>& isCancelled,
            std::vector<std::string>& files)
{
    try {
        RenderScene(options, scene, isCancelled, files);
        return true;
    } catch (const kalscene::SceneError& error) {
        for (const std::string& message : error.Messages()) PrintFault(message);
    } catch (const Cancelled& error) {
        if (isInterrupted) PrintFault(scene + ": " + error.what());
    } catch (const std::exception& error) {
        PrintFault(error.what());
    }
    return false;
}

bool RenderAll(const Options& options)
{
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> isGood = true;
    const auto work = [&] {
        std::vector<std::string> files;
        for (std::size_t i = next++; i < options.scenes.size() && !isInterrupted; i = next++)
            if (!Render(
                    options, options.scenes[i], [] { return isInterrupted != 0; }, files))
                isGood = false;
    };
    std::vector<std::thread> others;
    for (std::size_t i = 1; i < std::min<std::size_t>(options.numJobs, options.scenes.size()); ++i)
        others.emplace_back(work);
    work();
    for (std::thread& thread : others) thread.join();
    return isGood && !isInterrupted;
}

void Watch(const Options& options)
{
    Watcher watcher;
    std::vector<std::string> files = options.scenes;
    while (!isInterrupted) {
        watcher.Observe(files); // before they are read: a change meanwhile is one more
        Render(
            options, options.scenes[0], [&] { return isInterrupted || watcher.HasChanged(); }, files);
        watcher.Add(files);
        while (!isInterrupted && !watcher.HasChanged()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

void Work(const Options& options)
{
    CheckTogether(options);
    for (const auto set : qfft::cpu::UsableInstructionSets())
        if (options.kernels == qfft::cpu::NameOf(set)) qfft::cpu::SelectInstructionSet(set);

    struct sigaction action = {};
    action.sa_handler = Interrupt;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    if (options.watch)
        Watch(options);
    else if (!RenderAll(options))
        throw CLI::RuntimeError(1);
}

void Describe(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    Define(app, *options);
    app.callback([options] { Work(*options); });
}

} // namespace

} // namespace kalrender

int main(int argc, char** argv)
{
    return kal::tools::Run(argc, argv, "kalrender", kalrender::Describe);
}
