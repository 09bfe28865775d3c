#pragma once

// The methods of a texture's type, as an editor offers them. Which there are comes from the compiler's tables. Any
// thread.

#include "GlassHobCore/SymbolIndex.h"

#include <optional>
#include <vector>

namespace glasshob {

/// Of "texture2d_array<float, access::read>": those that its kind and its access allow, with their signatures. Nothing
/// for a type that is no texture with its arguments.
std::optional<std::vector<Symbol>> textureMethods(const QString& type);

} // namespace glasshob
