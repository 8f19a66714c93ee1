#include "tools/support/Cli.h"

#include "tools/support/Pages.h"
#include "tools/support/Terminal.h"

#include <cstdio>

namespace kal::tools {
namespace {

/// Help that ends with the examples and what the exit codes mean.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override
    {
        if (app->get_footer().empty()) return "";
        std::string help = "Examples:\n  ";
        for (const char c : app->get_footer()) help += c == '\n' ? "\n  " : std::string(1, c);
        return help + "\n\nExit status: " + kExitStatus + "\n";
    }
};

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

int Parse(CLI::App& app, int argc, char** argv)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError& stop) {
        return stop.get_exit_code();
    } catch (const CLI::ParseError& stop) {
        if (stop.get_exit_code() != 0) {
            PrintFault(app.get_name(), std::string(stop.what()) + "\nTry: " + app.get_name() + " --help");
            return 2;
        }
        app.exit(stop);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) throw Failure("Standard output cannot be written.");
    return 0;
}

} // namespace

void PrintFault(const std::string& tool, const std::string& text)
{
    Terminal::Print(Terminal::Coloured("31", tool + ":") + " " + text);
}

int Run(int argc, char** argv, const char* name, void (*describe)(CLI::App& app)) noexcept
try {
    CLI::App app("", name);
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", std::string(name) + " " KAL_VERSION);
    AddPage(app, "--man", ManPage, "Print the manual page");
    AddPage(app, "--bash-completion", BashCompletion, "Print the completion for bash");
    describe(app);
    return Parse(app, argc, argv);
} catch (const std::exception& failure) {
    PrintFault(name, failure.what());
    return 1;
}

} // namespace kal::tools
