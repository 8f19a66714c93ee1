#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kalscene {

/// What is wrong at one place of a document.
struct Fault {
    std::string path;         ///< JSON pointer: "/sounds/3/gain"
    std::string text;         ///< what was expected there, and what was found
    bool isOtherType = false; ///< not even the kind of value was right
};

/// Everything in which a document departs from a JSON Schema. The schema's titles say what is expected: "a time" gives
/// "expected a time, found true". Known are the keywords that scene.schema.json uses: $ref (to #/$defs), type, enum,
/// minimum, maximum, exclusiveMinimum, required, properties, additionalProperties (false), items, minItems, maxItems,
/// anyOf and oneOf.
std::vector<Fault> CheckSchema(const nlohmann::json& schema, const nlohmann::json& document);

/// A value in short, for a message.
std::string Excerpt(const nlohmann::json& value);

} // namespace kalscene
