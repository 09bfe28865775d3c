#pragma once

// The names that a shader can use without declaring them, as an editor offers and explains them. What the language's
// library has comes from the compiler's own tables, what the host declares from the host's own text; only the notes on
// directives are written here, those on the library's names in LibraryNotes. Lists are made once, on first use, and
// live as long as the program. Any thread.

#include "GlassHobCore/code/SymbolIndex.h"
#include "GlassHobCore/shader/ShaderAssembler.h"

#include <vector>

namespace glasshob::libraryNames {

// The library's functions, by name: "T mix(T x, T y, T a)" and what T stands for.
const std::vector<Symbol>& functions();
// What T stands for in a function's declaration; empty where it has none.
QString typeParameterOf(QStringView function);
const std::vector<Symbol>& types();
const std::vector<Symbol>& keywords();
// Constants that need no qualifier, and the library's macros with their values.
const std::vector<Symbol>& constants();
// Namespaces and enumerations, with what may follow their `::`.
const std::vector<Symbol>& spaces();
// What stands in `[[ ]]`.
const std::vector<Symbol>& attributes();
// The words of `// @word` lines.
const std::vector<Symbol>& directives();
// What follows `#`.
const std::vector<Symbol>& preprocessorWords();
// The records that the host declares: Uniforms and Trails.
const std::vector<Symbol>& hostTypes();
// The functions that the host calls in a shader of a kind, sound() included.
const std::vector<Symbol>& entryFunctions(ShaderKind kind);

// The components and the usual swizzles of a vector, the methods of a texture; empty for other types.
std::vector<Symbol> membersOf(const QString& type);
// The type of a swizzle or a method; empty where there is none.
QString memberType(const QString& type, QStringView member);
// What `[ ]` gives.
QString elementType(const QString& type);
// What a call of a library function gives for the types of its arguments; empty where it is not known.
QString resultType(QStringView function, const std::vector<QString>& arguments);
// The type of an operator's result for two operands; either may be unknown.
QString combinedType(const QString& left, const QString& right);
bool isBuiltinType(QStringView name);

} // namespace glasshob::libraryNames
