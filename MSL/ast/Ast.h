// The syntax tree. The parser makes it with names unresolved; sema resolves names, gives every expression its type and
// value category, and makes every conversion explicit (ImplicitCast), so that lowering never has to guess. Nodes live
// in the compile's arena, are plain structs with a kind, and are never freed or copied, except that instantiating a
// template clones a declaration and resolves the clone.
//
// Conventions after sema:
//  - Expr::type is never null; TypeTable::error() marks what could not be made out (reported already).
//  - A reference variable's NameRef is an lvalue of the referee's type: reference types never appear on expressions.
//  - An lvalue that is read has an ImplicitCast of CastKind::lvalueToRvalue over it.
//  - Literals take the type they are converted to on the spot; sizeof, numeric_limits and the values of template
//    parameters are literals (of any integer type) too.
//  - A field's bare name in a member function is a Member with isArrow on a NameRef with isThis.
//  - A swizzle of a swizzle is one swizzle; one with a repeated component, or of an rvalue, is an rvalue.
//  - A matrix divided by a scalar is multiplied by its reciprocal. In a compound assignment with a matrix in it the
//    right side keeps its own type, as in a plain product.
//  - The value and the labels of a switch are integers of one type, enumerations included.
//  - Instances of templates are FunctionDecls and StructDecls of their own, reached by the calls and types that use
//    them; TranslationUnit::declarations holds the templates, which stay unresolved and are to be skipped.
//  - Attributes that take a number have an IntLiteral; a buffer, texture or sampler of an entry point that has none has
//    been given one.
#pragma once

#include "MSL/ast/Decl.h"
#include "MSL/ast/Expr.h"
#include "MSL/ast/Stmt.h"

namespace msl {

// A whole text.
struct TranslationUnit {
    std::span<Decl*> declarations;
    std::span<Decl*> library; // what it uses of the part of the library that is written in the language
    // sema, for lowering:
    std::span<FunctionDecl*> entryPoints; // definitions with a stage and without errors, in source order
    std::span<StructDecl*> structs;       // every complete struct, in source order
};

} // namespace msl
