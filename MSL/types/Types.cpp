#include "MSL/types/Types.h"

#include <algorithm>

namespace msl {
namespace {

constexpr std::uint64_t combine(std::uint64_t hash, std::uint64_t value) {
    return (hash ^ value) * 0x9E3779B97F4A7C15ULL + (hash >> 29);
}

std::uint64_t pointerBits(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

std::uint64_t hashOf(const Type& type) {
    std::uint64_t hash = combine(0x51, static_cast<std::uint64_t>(type.kind));
    hash = combine(hash, (static_cast<std::uint64_t>(type.scalar) << 40) | (std::uint64_t{type.columns} << 32) |
                             (std::uint64_t{type.rows} << 24) | (static_cast<std::uint64_t>(type.space) << 16) |
                             (static_cast<std::uint64_t>(type.textureShape) << 8) |
                             (static_cast<std::uint64_t>(type.textureAccess) << 4) | (type.hasPerspective ? 2U : 0U) |
                             static_cast<std::uint64_t>(type.pointeeConst));
    hash = combine(hash, pointerBits(type.element));
    hash = combine(hash, type.count);
    return combine(hash, pointerBits(type.parameter));
}

bool sameType(const Type& a, const Type& b) {
    return a.kind == b.kind && a.scalar == b.scalar && a.columns == b.columns && a.rows == b.rows &&
           a.space == b.space && a.pointeeConst == b.pointeeConst && a.textureShape == b.textureShape &&
           a.textureAccess == b.textureAccess && a.hasPerspective == b.hasPerspective && a.element == b.element &&
           a.count == b.count && a.parameter == b.parameter;
}

} // namespace

TypeTable::TypeTable(Arena& arena) : arena_(arena) {
    const auto simple = [&](TypeKind kind) {
        Type type;
        type.kind = kind;
        return add(type);
    };
    error_ = simple(TypeKind::error);
    void_type_ = simple(TypeKind::void_);
    auto_type_ = simple(TypeKind::auto_);
    overload_ = simple(TypeKind::overload);
    sampler_ = simple(TypeKind::sampler);
    for (unsigned k = 0; k < scalarKindCount; ++k) {
        const auto kind = static_cast<ScalarKind>(k);
        Type type;
        type.kind = TypeKind::scalar;
        type.scalar = kind;
        scalars_[k] = add(type);
        vectors_[k][1] = scalars_[k];
        for (unsigned count = 2; count <= 4; ++count) {
            type.kind = TypeKind::vector;
            type.columns = static_cast<std::uint8_t>(count);
            type.element = scalars_[k];
            vectors_[k][count] = add(type);
            type.kind = TypeKind::packedVector;
            packed_[k][count] = add(type);
        }
        Type atomic;
        atomic.kind = TypeKind::atomic;
        atomic.scalar = kind;
        atomic.element = scalars_[k];
        atomics_[k] = add(atomic);
    }
    for (unsigned isFloat = 0; isFloat < 2; ++isFloat) {
        const ScalarKind kind = isFloat ? ScalarKind::float_ : ScalarKind::half;
        for (unsigned columns = 2; columns <= 4; ++columns)
            for (unsigned rows = 2; rows <= 4; ++rows) {
                Type type;
                type.kind = TypeKind::matrix;
                type.scalar = kind;
                type.columns = static_cast<std::uint8_t>(columns);
                type.rows = static_cast<std::uint8_t>(rows);
                type.element = vectors_[static_cast<unsigned>(kind)][rows];
                matrices_[isFloat][columns][rows] = add(type);
            }
    }
}

Type* TypeTable::add(Type type) {
    type.id = nextId_++;
    return arena_.make<Type>(type);
}

TypeRef TypeTable::intern(const Type& type) {
    const std::uint64_t hash = hashOf(type);
    const auto [first, last] = interned_.equal_range(hash);
    for (auto at = first; at != last; ++at)
        if (sameType(*at->second, type)) return at->second;
    const TypeRef made = add(type);
    interned_.emplace(hash, made);
    return made;
}

TypeRef TypeTable::vector(ScalarKind kind, unsigned count) const {
    return count >= 1 && count <= 4 ? vectors_[static_cast<unsigned>(kind)][count] : error_;
}

TypeRef TypeTable::packedVector(ScalarKind kind, unsigned count) const {
    return count >= 2 && count <= 4 ? packed_[static_cast<unsigned>(kind)][count] : error_;
}

TypeRef TypeTable::matrix(ScalarKind kind, unsigned columns, unsigned rows) const {
    if (!hasMatrices(kind) || columns < 2 || columns > 4 || rows < 2 || rows > 4) return error_;
    return matrices_[kind == ScalarKind::float_ ? 1 : 0][columns][rows];
}

TypeRef TypeTable::array(TypeRef element, std::uint64_t count) {
    Type type;
    type.kind = TypeKind::array;
    type.element = element;
    type.count = count;
    return intern(type);
}

TypeRef TypeTable::pointer(TypeRef pointee, AddressSpace space, bool pointeeConst) {
    Type type;
    type.kind = TypeKind::pointer;
    type.element = pointee;
    type.space = space;
    type.pointeeConst = pointeeConst || space == AddressSpace::constant;
    return intern(type);
}

TypeRef TypeTable::reference(TypeRef referee, AddressSpace space, bool refereeConst) {
    Type type;
    type.kind = TypeKind::reference;
    type.element = referee;
    type.space = space;
    type.pointeeConst = refereeConst || space == AddressSpace::constant;
    return intern(type);
}

TypeRef TypeTable::interpolant(TypeRef value, bool hasPerspective) {
    Type type;
    type.kind = TypeKind::interpolant;
    type.element = value;
    type.scalar = value->scalar;
    type.hasPerspective = hasPerspective;
    return intern(type);
}

TypeRef TypeTable::texture(TextureShape shape, ScalarKind component, TextureAccess access) {
    Type type;
    type.kind = TypeKind::texture;
    type.textureShape = shape;
    type.scalar = component;
    type.textureAccess = access;
    return intern(type);
}

TypeRef TypeTable::struct_(StructDecl* decl, std::string_view name, Record*& record) {
    record = arena_.make<Record>();
    Type type;
    type.kind = TypeKind::struct_;
    type.name = arena_.copyText(name);
    type.record = record;
    type.structDecl = decl;
    return add(type);
}

TypeRef TypeTable::enum_(EnumDecl* decl, std::string_view name, TypeRef underlying) {
    Type type;
    type.name = arena_.copyText(name);
    type.kind = TypeKind::enum_;
    type.enumDecl = decl;
    type.element = underlying;
    type.scalar = underlying->scalar;
    return add(type);
}

TypeRef TypeTable::dependent(const TemplateParameterDecl* parameter, std::string_view name) {
    Type type;
    type.name = name;
    type.kind = TypeKind::dependent;
    type.parameter = parameter;
    return intern(type);
}

TypeRef TypeTable::withScalar(TypeRef numeric, ScalarKind kind) const {
    switch (numeric->kind) {
    case TypeKind::scalar: return scalar(kind);
    case TypeKind::vector: return vector(kind, numeric->columns);
    case TypeKind::packedVector: return packedVector(kind, numeric->columns);
    case TypeKind::matrix: return matrix(kind, numeric->columns, numeric->rows);
    default: return error_;
    }
}

Layout layoutOf(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar: return {byteSize(type->scalar), byteSize(type->scalar)};
    case TypeKind::atomic: { // an atomic_bool takes a word, the least that devices have atomic operations for
        const unsigned size = byteSize(type->scalar) < 4 ? 4 : byteSize(type->scalar);
        return {size, size};
    }
    case TypeKind::vector: {
        const unsigned size = byteSize(type->scalar) * (type->columns == 3 ? 4U : type->columns);
        return {size, size};
    }
    case TypeKind::packedVector: return {byteSize(type->scalar) * type->columns, byteSize(type->scalar)};
    case TypeKind::matrix: {
        const Layout column = layoutOf(type->element);
        return {column.size * type->columns, column.alignment};
    }
    case TypeKind::array: {
        const Layout element = layoutOf(type->element);
        return {element.size * type->count, element.alignment};
    }
    case TypeKind::struct_:
    case TypeKind::lambda: return {type->record->size, type->record->alignment};
    case TypeKind::enum_: return layoutOf(type->element);
    case TypeKind::pointer:
    case TypeKind::texture:
    case TypeKind::interpolant:
    case TypeKind::sampler: return {8, 8};
    case TypeKind::reference: return layoutOf(type->element);
    case TypeKind::error:
    case TypeKind::void_:
    case TypeKind::overload:
    case TypeKind::dependent:
    case TypeKind::auto_: break;
    }
    return {0, 1};
}

std::uint32_t scalarAlignment(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix: return byteSize(type->scalar);
    case TypeKind::array:
    case TypeKind::enum_: return scalarAlignment(type->element);
    case TypeKind::reference: return 8;
    case TypeKind::struct_: {
        std::uint32_t greatest = 1;
        for (const Field& field : type->record->fields)
            greatest = std::max(greatest, scalarAlignment(field.type));
        return greatest;
    }
    default: return layoutOf(type).alignment;
    }
}

bool isScalarAligned(TypeRef type) {
    if (type->is(TypeKind::array))
        return layoutOf(type->element).size % scalarAlignment(type->element) == 0 && isScalarAligned(type->element);
    if (!type->is(TypeKind::struct_)) return true;
    return std::ranges::all_of(type->record->fields, [](const Field& field) {
        return field.offset % scalarAlignment(field.type) == 0 && isScalarAligned(field.type);
    });
}

bool endsOpen(TypeRef type) {
    while (type->is(TypeKind::struct_) && !type->record->isUnion && !type->record->fields.empty())
        type = type->record->fields.back().type;
    return type->is(TypeKind::array) && type->count == 1;
}

} // namespace msl
