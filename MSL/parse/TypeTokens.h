// Which tokens qualify a type or point at one.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/lex/Token.h"

namespace msl {

constexpr SpaceSyntax spaceOf(TokenKind kind) {
    switch (kind) {
    case TokenKind::kwThread: return SpaceSyntax::thread;
    case TokenKind::kwConstant: return SpaceSyntax::constant;
    case TokenKind::kwDevice: return SpaceSyntax::device;
    case TokenKind::kwThreadgroup: return SpaceSyntax::threadgroup;
    default: return SpaceSyntax::none;
    }
}

constexpr bool isTypeQualifier(TokenKind kind) {
    return kind == TokenKind::kwConst || kind == TokenKind::kwVolatile || kind == TokenKind::kwRestrict ||
           spaceOf(kind) != SpaceSyntax::none;
}

constexpr bool isPointerOperator(TokenKind kind) {
    return kind == TokenKind::star || kind == TokenKind::amp || kind == TokenKind::ampamp;
}

} // namespace msl
