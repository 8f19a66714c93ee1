#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace kal::hrtf {

/// What a command found out: lines for people, or one JSON object for programs.
class Report {
public:
    /// @param text what people read of it; %s becomes the value. Empty: only programs do
    void Add(const std::string& key, nlohmann::ordered_json value, const std::string& text);

    /// Prints all to standard output, or to standard error where that carries a file.
    void Print(bool asJson, bool toStandardError = false) const;

private:
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    std::string lines;
};

} // namespace kal::hrtf
