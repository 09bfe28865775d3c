// Attributes of declarations, as lowering looks for them.
#pragma once

#include "MSL/ast/Ast.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace msl {

inline const Attribute* findAttribute(std::span<const Attribute> attributes, std::string_view name) {
    for (const Attribute& attribute : attributes)
        if (attribute.name != nullptr && attribute.name->text == name) return &attribute;
    return nullptr;
}

// The number in its parentheses.
inline std::uint32_t numberOf(const Attribute* attribute) {
    if (attribute == nullptr || attribute->arguments.empty() || attribute->arguments[0]->kind != ExprKind::intLiteral)
        return 0;
    return static_cast<std::uint32_t>(static_cast<const IntLiteral*>(attribute->arguments[0])->value);
}

} // namespace msl
