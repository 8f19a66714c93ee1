#include "tools/support/Pages.h"

namespace kal::tools {
namespace {

// Text as man prints it: a hyphen that is a minus, and no line that begins as a request does.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) escaped += "\\&";
        if (c == '-' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::vector<const CLI::Option*> ShownOptions(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<const CLI::App*> Commands(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string Synopsis(const CLI::App& app)
{
    std::string line = ".B " + app.get_name() + "\n";
    if (!Commands(app).empty()) return line + ".I command\n[\\fIoption\\fR ...]\n";
    line += "[\\fIoption\\fR ...]\n";
    for (const CLI::Option* option : ShownOptions(app))
        if (option->get_positional()) line += "\\fI" + Escaped(option->get_name(true)) + "\\fR\n";
    return line;
}

std::string Options(const CLI::App& app)
{
    std::string page;
    for (const CLI::Option* option : ShownOptions(app)) {
        if (app.get_parent() && option == app.get_help_ptr()) continue; // said once
        const std::string name = option->get_name(option->get_positional(), true);
        page += ".TP\n\\fB" + Escaped(name) + "\\fR";
        if (!option->get_positional() && option->get_type_size() != 0)
            page += " \\fI" + Escaped(option->get_type_name()) + "\\fR";
        page += "\n" + Escaped(option->get_description());
        if (!option->get_default_str().empty()) page += " [" + Escaped(option->get_default_str()) + "]";
        page += "\n";
    }
    return page;
}

std::string Words(const CLI::App& app)
{
    std::string words;
    for (const CLI::Option* option : ShownOptions(app)) {
        for (const auto& name : option->get_lnames()) words += " --" + name;
        for (const auto& name : option->get_snames()) words += " -" + name;
    }
    return words;
}

} // namespace

std::string ManPage(const CLI::App& app)
{
    std::string page = ".TH " + app.get_name() + " 1 \"\" \"" KAL_VERSION "\"\n.SH NAME\n" + app.get_name() + " \\- " +
                       Escaped(app.get_description()) + "\n.SH SYNOPSIS\n" + Synopsis(app) + ".SH OPTIONS\n" +
                       Options(app);
    if (!Commands(app).empty()) page += ".SH COMMANDS\n";
    for (const CLI::App* command : Commands(app)) {
        page += ".SS \"" + command->get_name();
        for (const CLI::Option* option : ShownOptions(*command))
            if (option->get_positional()) page += " " + Escaped(option->get_name(true));
        page += "\"\n" + Escaped(command->get_description()) + "\n" + Options(*command);
    }
    page += ".SH EXIT STATUS\n0 on success, 1 when something is wrong with the input, 2 for wrong arguments.\n";
    if (!app.get_footer().empty()) page += ".SH EXAMPLES\n.nf\n" + Escaped(app.get_footer()) + "\n.fi\n";
    return page;
}

std::string BashCompletion(const CLI::App& app)
{
    const std::string& name = app.get_name();
    std::string commands, cases;
    for (const CLI::App* command : Commands(app)) {
        commands += " " + command->get_name();
        cases += "        " + command->get_name() + ") words=\"" + Words(*command) + "\" ;;\n";
    }
    return "_" + name + "()\n{\n    local words=\"" + commands + Words(app) +
           "\"\n    case \"${COMP_WORDS[1]}\" in\n        \"${COMP_WORDS[COMP_CWORD]}\") ;;\n" + cases +
           "    esac\n    COMPREPLY=($(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n}\n"
           "complete -o default -F _" +
           name + " " + name + "\n";
}

} // namespace kal::tools
