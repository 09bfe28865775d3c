// The syntax tree as compact text, one declaration or statement a line: for tests and for reading a tree while working
// on the compiler. Shows what was written, not what sema made of it.
#pragma once

#include "MSL/ast/Ast.h"

#include <string>

namespace msl {

std::string dump(const TranslationUnit& unit);
std::string dump(const Decl& decl);
std::string dump(const Expr& expression);
std::string dump(const TypeSyntax& type);

} // namespace msl
