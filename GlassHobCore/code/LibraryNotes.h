#pragma once

// What an editor says about the names of the language's library that do not explain themselves: attributes and the
// methods of textures. Static texts; any thread.

#include <string_view>

namespace glasshob::libraryNotes {

struct AttributeNote {
    std::string_view name;
    std::string_view text;
    std::string_view arguments = {}; // what stands in its brackets, where that is no number
};

// Null for an attribute without a note.
const AttributeNote* onAttribute(std::string_view name);
// Empty for a name that is no method.
std::string_view onTextureMethod(std::string_view name);

} // namespace glasshob::libraryNotes
