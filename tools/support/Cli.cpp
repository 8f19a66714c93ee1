#include "tools/support/Cli.h"

#include "tools/support/Pages.h"

#include <cstdio>

namespace kal::tools {
namespace {

// What ends the program with a text instead of work.
void AddPage(CLI::App& app, const char* flag, std::string (*page)(const CLI::App&), const char* description)
{
    app.add_flag_callback(
           flag,
           [&app, page] {
               std::fputs(page(app).c_str(), stdout);
               throw CLI::Success();
           },
           description)
        ->group("");
}

} // namespace

int Run(int argc, char** argv, const char* name, void (*describe)(CLI::App& app)) noexcept
try {
    CLI::App app("", name);
    app.set_version_flag("--version", std::string(name) + " " KAL_VERSION);
    AddPage(app, "--man", ManPage, "Print the manual page");
    AddPage(app, "--bash-completion", BashCompletion, "Print the completion for bash");
    describe(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        if (stop.get_exit_code() == 0) return app.exit(stop);
        std::fprintf(stderr, "%s: %s\nTry: %s --help\n", name, stop.what(), name);
        return 2;
    }
    if (std::fflush(stdout) != 0) throw Failure("Standard output cannot be written.");
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", name, failure.what());
    return 1;
}

} // namespace kal::tools
