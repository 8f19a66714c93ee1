#include "tools/kalhrtf/Report.h"

#include <cmath>
#include <cstdio>

namespace kal::hrtf {
namespace {

// A number as people read it; programs get more of its digits.
std::string Plain(const nlohmann::ordered_json& value)
{
    if (value.is_string()) return value;
    if (!value.is_number_float()) return value.dump();
    const double hundredths = std::round(100.0 * value.get<double>()) / 100.0 + 0.0; // no -0
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", hundredths == std::round(hundredths) ? 0 : 2, hundredths);
    return text;
}

} // namespace

void Report::Add(const std::string& key, nlohmann::ordered_json value, const std::string& text)
{
    std::string line = text;
    if (const auto at = line.find("%s"); at != std::string::npos) line.replace(at, 2, Plain(value));
    if (!line.empty()) lines += line + "\n";
    if (value.is_number_float()) value = std::round(value.get<double>() * 1e6) / 1e6;
    object[key] = std::move(value);
}

void Report::Print(bool asJson, bool toStandardError) const
{
    std::fputs(asJson ? (object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n").c_str()
                      : lines.c_str(),
               toStandardError ? stderr : stdout);
}

} // namespace kal::hrtf
