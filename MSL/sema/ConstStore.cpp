#include "MSL/sema/ConstStore.h"

#include "MSL/ast/Ast.h"

#include <algorithm>

namespace msl {

constant::Scalar* ConstStore::take(std::size_t count) {
    if (count > maxNumbers - top_.total) return nullptr;
    while (top_.chunk < chunks_.size() && chunks_[top_.chunk].size - top_.used < count) {
        ++top_.chunk;
        top_.used = 0;
    }
    if (top_.chunk == chunks_.size()) {
        constexpr std::size_t least = 1024;
        const std::size_t size = std::max(count, least);
        chunks_.push_back({std::make_unique<constant::Scalar[]>(size), size});
    }
    constant::Scalar* made = chunks_[top_.chunk].numbers.get() + top_.used;
    std::fill_n(made, count, constant::Scalar{});
    top_.used += count;
    top_.total += count;
    return made;
}

std::size_t ConstStore::count(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::enum_: return 1;
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix: return type->componentCount();
    case TypeKind::array: {
        const std::size_t each = count(type->element);
        return each == 0 || type->count > maxNumbers / each ? 0 : each * static_cast<std::size_t>(type->count);
    }
    case TypeKind::struct_: return shapeOf(type->structDecl).total;
    default: return 0;
    }
}

std::size_t ConstStore::fieldOffset(const StructDecl* decl, std::size_t field) {
    const Shape& shape = shapeOf(decl);
    return field < shape.offsets.size() ? shape.offsets[field] : 0;
}

const ConstStore::Shape& ConstStore::shapeOf(const StructDecl* decl) {
    static const Shape none;
    if (!decl->isComplete || decl->isUnion) return none;
    if (const auto known = shapes_.find(decl); known != shapes_.end()) return known->second;
    Shape shape;
    for (const VarDecl* field : decl->fields) {
        const std::size_t each = count(field->type);
        if (each == 0 || each > maxNumbers - shape.total) {
            shape = {};
            break;
        }
        shape.offsets.push_back(shape.total);
        shape.total += each;
    }
    return shapes_.emplace(decl, std::move(shape)).first->second;
}

} // namespace msl
