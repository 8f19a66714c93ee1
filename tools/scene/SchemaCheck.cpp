#include "SchemaCheck.h"

#include <algorithm>
#include <cmath>

namespace kalscene {

namespace {

using nlohmann::json;

// A key as part of a JSON pointer.
std::string Escaped(const std::string& key)
{
    std::string escaped;
    for (const char c : key) escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return escaped;
}

bool HasType(const json& value, const std::string& type)
{
    if (type == "integer") return value.is_number() && std::floor(value.get<double>()) == value.get<double>();
    return type == value.type_name();
}

class Checker {
public:
    explicit Checker(const json& wholeSchema) : root(wholeSchema) {}

    std::vector<Fault> Check(json schema, const json& value, const std::string& path) const
    {
        while (schema.contains("$ref")) { // what stands beside a reference comes first
            json target = root.at(json::json_pointer(schema["$ref"].get<std::string>().substr(1)));
            schema.erase("$ref");
            target.update(schema);
            schema = std::move(target);
        }
        const bool hasType = !schema.contains("type") || HasType(value, schema["type"]);
        if (!hasType || !FitsByItself(schema, value)) return {Unexpected(schema, value, path, !hasType)};

        std::vector<Fault> faults;
        if (value.is_object()) CheckProperties(schema, value, path, faults);
        if (value.is_array() && schema.contains("items")) {
            for (std::size_t i = 0; i < value.size(); ++i)
                Append(faults, Check(schema["items"], value[i], path + "/" + std::to_string(i)));
        }
        for (const char* keyword : {"anyOf", "oneOf"})
            if (schema.contains(keyword)) Append(faults, CheckAlternatives(schema, keyword, value, path));
        return faults;
    }

private:
    static void Append(std::vector<Fault>& faults, std::vector<Fault> more)
    {
        faults.insert(faults.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    }

    static Fault Unexpected(const json& schema, const json& value, const std::string& path, bool isOtherType)
    {
        return {path, "expected " + schema.value("title", "something else") + ", found " + Excerpt(value), isOtherType};
    }

    static bool FitsByItself(const json& schema, const json& value)
    {
        if (schema.contains("enum")) {
            const json& choices = schema["enum"];
            if (std::find(choices.begin(), choices.end(), value) == choices.end()) return false;
        }
        if (value.is_number()) {
            const double x = value.get<double>();
            return !(x < schema.value("minimum", x) || x > schema.value("maximum", x) ||
                     (schema.contains("exclusiveMinimum") && x <= schema["exclusiveMinimum"].get<double>()));
        }
        if (value.is_array())
            return value.size() >= schema.value("minItems", std::size_t{0}) &&
                   value.size() <= schema.value("maxItems", value.size());
        return true;
    }

    void CheckProperties(const json& schema, const json& value, const std::string& path,
                         std::vector<Fault>& faults) const
    {
        for (const json& name : schema.value("required", json::array()))
            if (!value.contains(name)) faults.push_back({path, "expected a " + name.dump() + " in it"});
        if (!schema.contains("properties")) return;
        const json& known = schema["properties"];
        for (const auto& [name, part] : value.items()) {
            const std::string place = path + "/" + Escaped(name);
            if (known.contains(name)) {
                Append(faults, Check(known[name], part, place));
                continue;
            }
            std::string names;
            for (const auto& [other, ignored] : known.items()) names += (names.empty() ? "" : ", ") + other;
            faults.push_back({place, "unknown here; expected one of " + names});
        }
    }

    // How far an alternative was missed: least by a number out of range, most by being of another type as a whole.
    static double Distance(const std::vector<Fault>& faults, const std::string& path)
    {
        double distance = 0.0;
        for (const Fault& fault : faults) distance += !fault.isOtherType ? 1.0 : fault.path == path ? 1e6 : 1e3;
        return distance;
    }

    // When nothing fits, the alternative that was missed least is meant, unless it was missed as a whole.
    std::vector<Fault> CheckAlternatives(const json& schema, const char* keyword, const json& value,
                                         const std::string& path) const
    {
        std::vector<Fault> best;
        int numFitting = 0;
        for (const json& alternative : schema[keyword]) {
            std::vector<Fault> faults = Check(alternative, value, path);
            if (faults.empty())
                ++numFitting;
            else if (best.empty() || Distance(faults, path) < Distance(best, path))
                best = std::move(faults);
        }
        if (numFitting == 1 || (numFitting > 1 && keyword == std::string("anyOf"))) return {};
        const auto here =
            std::find_if(best.begin(), best.end(), [&](const Fault& fault) { return fault.path == path; });
        if (numFitting > 1 || here != best.end())
            return {Unexpected(schema, value, path, numFitting == 0 && here->isOtherType)};
        return best;
    }

    const json& root;
};

} // namespace

std::vector<Fault> CheckSchema(const json& schema, const json& document)
{
    return Checker(schema).Check(schema, document, "");
}

std::string Excerpt(const json& value)
{
    constexpr std::size_t kLongest = 60;
    std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    if (text.size() > kLongest) text = text.substr(0, kLongest) + " ...";
    return text;
}

} // namespace kalscene
