// The attributes that the language knows, by their names in [[ ]]. Static data; any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace msl {

enum class AttributeUse : std::uint8_t {
    ignored, // a hint that changes nothing
    plain,
    index,   // takes a number
    refused, // there is no way for it here: an error where an entry point has it
};

struct KnownAttribute {
    std::string_view name;
    AttributeUse use;
    std::int64_t limit = 0; // index: values from 0 to below it
};

// In the order of their names.
std::span<const KnownAttribute> knownAttributes();
// Null for a name that the table lacks.
const KnownAttribute* findAttribute(std::string_view name);

} // namespace msl
