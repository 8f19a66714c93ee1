#include "Manual.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace kalrender {

namespace {

// Text that roff takes as it is: no line begins with a command, no hyphen becomes a dash.
std::string Roff(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        if ((c == '.' || c == '\'') && (result.empty() || result.back() == '\n')) result += "\\&";
        result += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
    }
    return result;
}

std::vector<const CLI::Option*> Shown(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<std::string> Words(const CLI::Option& option)
{
    std::vector<std::string> words;
    for (const std::string& name : option.get_snames()) words.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) words.push_back("--" + name);
    return words;
}

std::string Joined(const std::vector<std::string>& words, const std::string& between)
{
    std::string all;
    for (const std::string& word : words) all += (all.empty() ? "" : between) + word;
    return all;
}

// "{a,b,c}", as a check for membership describes itself, as words.
std::string Choices(const CLI::Option& option)
{
    std::string text = option.get_type_name();
    const auto open = text.find('{');
    if (open == std::string::npos) return {};
    text = text.substr(open + 1, text.find('}') - open - 1);
    std::ranges::replace(text, ',', ' ');
    return text;
}

} // namespace

std::string ManualPage(const CLI::App& app)
{
    std::string capitals = app.get_name();
    for (char& c : capitals) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::ostringstream page;
    page << ".TH " << capitals << " 1 \"\" \"" << app.version() << "\"\n.SH NAME\n"
         << app.get_name() << " \\- render scenes of sounds to sound files\n.SH SYNOPSIS\n.B " << app.get_name()
         << "\n[\\fIOPTION\\fR]... \\fISCENE\\fR...\n.SH DESCRIPTION\n"
         << Roff(app.get_description()) << "\n.SH OPTIONS\n";
    for (const CLI::Option* option : Shown(app)) {
        if (option->get_positional()) continue;
        const std::string type = option->get_type_name().substr(0, option->get_type_name().find(':'));
        page << ".TP\n\\fB" << Roff(Joined(Words(*option), ", ")) << "\\fR"
             << (type.empty() ? "" : " \\fI" + Roff(type) + "\\fR") << '\n'
             << Roff(option->get_description()) << '\n';
    }
    std::istringstream footer(app.get_footer());
    bool isExample = false;
    for (std::string line; std::getline(footer, line);) {
        const bool wasExample = std::exchange(isExample, line.starts_with("  "));
        if (line == "Examples:")
            page << ".SH EXAMPLES\n";
        else if (!line.empty())
            page << (isExample && !wasExample   ? ".nf\n"
                     : !isExample && wasExample ? ".fi\n"
                                                : "")
                 << Roff(line) << '\n';
        else if (wasExample)
            page << ".fi\n.SH EXIT STATUS\n";
    }
    return page.str();
}

std::string BashCompletion(const CLI::App& app)
{
    std::ostringstream script;
    std::vector<std::string> all, files;
    for (const CLI::Option* option : Shown(app))
        for (const std::string& word : Words(*option)) all.push_back(word);
    script
        << "# bash completion for " << app.get_name() << "\n_" << app.get_name()
        << "()\n{\n    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n    case $before in\n";
    for (const CLI::Option* option : Shown(app)) {
        if (option->get_positional() || option->get_type_size() == 0) continue;
        const std::string choices = Choices(*option);
        const std::string names = Joined(Words(*option), "|");
        if (!choices.empty())
            script << "    " << names << ") COMPREPLY=($(compgen -W '" << choices << "' -- \"$word\")); return ;;\n";
        else if (option->get_type_name().starts_with("FILE"))
            script << "    " << names << ") COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n";
        else
            script << "    " << names << ") return ;;\n";
    }
    script << "    esac\n    case $word in\n    -*) COMPREPLY=($(compgen -W '" << Joined(all, " ")
           << "' -- \"$word\")) ;;\n    *) COMPREPLY=($(compgen -f -- \"$word\")) ;;\n    esac\n}\ncomplete -o "
              "filenames -F _"
           << app.get_name() << ' ' << app.get_name() << '\n';
    return script.str();
}

} // namespace kalrender
