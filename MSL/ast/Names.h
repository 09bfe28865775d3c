// How the tree spells names, types and attributes, as the text has them; and the tree's kinds of nodes, which the other
// headers of this folder define.
#pragma once

#include "MSL/lex/Identifier.h"
#include "MSL/source/SourceLocation.h"
#include "MSL/types/Types.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace msl {

struct Expr;
struct Stmt;
struct Decl;
struct VarDecl;
struct FunctionDecl;
struct StructDecl;
struct EnumDecl;
struct TypeSyntax;
struct CompoundStmt;
struct SamplerState;

struct TemplateArgument { // exactly one is set by the parser; sema fills resolvedType or value
    TypeSyntax* typeSyntax = nullptr;
    Expr* expression = nullptr; // may also turn out to name a type when it is a bare name: then sema sets resolvedType
    TypeRef resolvedType = nullptr;
    std::int64_t value = 0;
    FunctionDecl* function = nullptr; // sema: of a parameter that takes a function
    bool isExpansion = false;         // followed by "..."
    bool isPack = false;              // what a parameter pack is bound to: the arguments in pack
    std::span<TemplateArgument> pack; // sema
};

// A possibly qualified name, "metal::fast::sin" or "array<float, 4>".
struct Name {
    std::span<const Identifier*> qualifiers; // namespaces, structs and enums before the last "::"
    bool isGlobal = false;                   // begins with "::"
    TypeSyntax* qualifierType = nullptr;     // the qualifiers when the last has template arguments, as in
                                             // "numeric_limits<float>::max"; qualifiers is empty then
    const Identifier* identifier = nullptr;
    std::span<TemplateArgument> templateArguments;
    bool hasTemplateArguments = false;
    SourceLocation location; // of the last identifier
};

enum class SpaceSyntax : std::uint8_t { none, thread, constant, device, threadgroup };

// One level of a declarator around a base type, outermost last: "float* x[3]" is base float, pointer, then array.
struct TypeModifier {
    enum class Kind : std::uint8_t { pointer, reference, rvalueReference, array } kind = Kind::pointer;
    bool isConst = false;                  // "* const"
    Expr* arraySize = nullptr;             // null with kind array: "[]"
    SpaceSyntax space = SpaceSyntax::none; // "device float* thread p": where the pointer itself lies
    SourceLocation location;
};

struct TypeSyntax {
    Name name;                          // the base type's name; built-in types are plain identifiers here
    StructDecl* inlineStruct = nullptr; // "struct { ... } x;" or "struct S { ... } x;"
    EnumDecl* inlineEnum = nullptr;
    SpaceSyntax space = SpaceSyntax::none;
    bool isConst = false;
    bool isVolatile = false;
    bool isElaborated = false;  // "struct S x"
    bool isTypename = false;    // "typename T::type"
    Expr* decltypeOf = nullptr; // "decltype(expr)"
    TypeRef fixed = nullptr;    // sema: the base type where no name stands for it, as of one element of a pack
    std::span<TypeModifier> modifiers;
    SourceLocation location;
    TypeRef resolved = nullptr; // sema
};

// "[[position]]", "[[buffer(0)]]", "[[user(locn0)]]"; __attribute__((x)) becomes the same with isGnu.
struct Attribute {
    const Identifier* scope = nullptr; // "clang" in [[clang::x]]
    const Identifier* name = nullptr;
    std::span<Expr*> arguments; // a bare word argument is a NameRef
    bool isGnu = false;
    SourceLocation location;
};

// The attributes that say how things lie in memory.
enum class LayoutAttribute : std::uint8_t { none, packed, aligned, alignas_ };
inline LayoutAttribute layoutAttribute(const Attribute& attribute) {
    if (!attribute.name) return LayoutAttribute::none;
    const std::string_view name = attribute.name->text;
    if (name == "alignas") return LayoutAttribute::alignas_;
    const bool isVendors = attribute.scope && (attribute.scope->text == "gnu" || attribute.scope->text == "clang");
    if (!attribute.isGnu && !isVendors) return LayoutAttribute::none;
    if (name == "packed" || name == "__packed__") return LayoutAttribute::packed;
    return name == "aligned" || name == "__aligned__" ? LayoutAttribute::aligned : LayoutAttribute::none;
}

} // namespace msl
