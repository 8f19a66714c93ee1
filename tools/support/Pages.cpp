#include "tools/support/Pages.h"

#include "tools/support/Cli.h"

#include <algorithm>
#include <map>

namespace kal::tools {
namespace {

// Text as man prints it: a hyphen that is a minus, and no line that begins as a request does.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) escaped += "\\&";
        escaped += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
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

// "SIDE:{left,right}", as an option describes its type and choices: the type alone.
std::string TypeOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    return type.substr(0, type.find(':'));
}

// And the choices, as words; empty: anything.
std::string ChoicesOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const auto open = type.find('{');
    if (open == std::string::npos) return {};
    std::string choices = type.substr(open + 1, type.find('}') - open - 1);
    std::replace(choices.begin(), choices.end(), ',', ' ');
    return choices;
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
            page += " \\fI" + Escaped(TypeOf(*option)) + "\\fR";
        page += "\n" + Escaped(option->get_description());
        if (!option->get_default_str().empty()) page += " [" + Escaped(option->get_default_str()) + "]";
        page += "\n";
    }
    return page;
}

std::vector<std::string> NamesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const auto& name : option.get_snames()) names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

std::string Words(const CLI::App& app)
{
    std::string words;
    for (const CLI::Option* option : ShownOptions(app))
        for (const std::string& name : NamesOf(*option)) words += (words.empty() ? "" : " ") + name;
    return words;
}

// What may follow each option that takes a value, of the program and its commands alike.
void AddValues(const CLI::App& app, std::map<std::string, std::string>& values)
{
    for (const CLI::Option* option : ShownOptions(app))
        if (option->get_type_size() != 0)
            for (const std::string& name : NamesOf(*option)) values[name] = ChoicesOf(*option);
    for (const CLI::App* command : Commands(app)) AddValues(*command, values);
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
    page += std::string(".SH EXIT STATUS\n") + kExitStatus + "\n";
    if (!app.get_footer().empty()) page += ".SH EXAMPLES\n.nf\n" + Escaped(app.get_footer()) + "\n.fi\n";
    return page;
}

std::string BashCompletion(const CLI::App& app)
{
    const std::string& name = app.get_name();
    std::string commands, cases, values;
    for (const CLI::App* command : Commands(app)) {
        commands += (commands.empty() ? "" : " ") + command->get_name();
        cases += "        " + command->get_name() + ") options=\"" + Words(*command) + "\" commands= ;;\n";
    }
    std::map<std::string, std::string> choices;
    AddValues(app, choices);
    for (const auto& [option, words] : choices) values += "        " + option + ") words=\"" + words + "\" ;;\n";
    return "_" + name + "()\n{\n    local word=${COMP_WORDS[COMP_CWORD]} words= options=\"" + Words(app) +
           "\" commands=\"" + commands + "\"\n    case ${COMP_WORDS[1]} in\n        \"$word\") ;;\n" + cases +
           "    esac\n    case ${COMP_WORDS[COMP_CWORD-1]} in\n" + values +
           "        *) case $word in -*) words=$options ;; *) words=$commands ;; esac ;;\n"
           "    esac\n    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n}\n"
           "complete -o default -F _" +
           name + " " + name + "\n";
}

} // namespace kal::tools
