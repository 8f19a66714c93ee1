#include "tools/kalhrtf/Commands.h"

#include <bit>

namespace kal::hrtf {

const CLI::Validator& PowerOfTwo()
{
    static const CLI::Validator validator(
        [](std::string& text) {
            int value = 0;
            const bool holds = CLI::detail::lexical_cast(text, value) && value >= 16 && value <= 8192 &&
                               std::has_single_bit(static_cast<unsigned>(value));
            return holds ? std::string() : text + " is no power of two from 16 to 8192";
        },
        "");
    return validator;
}

CLI::Option* AddRate(CLI::App& command, const char* name, double& rate, const char* description)
{
    CLI::Option* option = command.add_option(name, rate, description);
    option->check(CLI::Range(4000.0, 384000.0).description(""))->type_name("HZ");
    return rate > 0.0 ? option->capture_default_str() : option;
}

} // namespace kal::hrtf
