// Constructors: vectors and matrices from their parts, aggregates, default values, and the user's own constructors.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

namespace {
constexpr std::uint64_t maxParts = 4096;   // of an array that is built member by member
constexpr std::uint64_t maxPointers = 256; // of an array of pointers
} // namespace

Value* Lowering::matrixFromScalar(TypeRef type, Value* scalar) {
    Value* zero = module_.constantNull(scalar->type);
    Value* columns[4] = {};
    const TypeRef column = module_.types.vector(type->scalar, type->rows);
    for (unsigned c = 0; c < type->columns; ++c) {
        Value* parts[4] = {};
        for (unsigned r = 0; r < type->rows; ++r)
            parts[r] = r == c ? scalar : zero;
        columns[c] = builder_.construct(column, {parts, type->rows});
    }
    return builder_.construct(type, {columns, type->columns});
}

Operand Lowering::construct(const Construct& expr) {
    const TypeRef type = valueType(expr.type);
    const auto plain = [&](Value* value) { return Operand::ofValue(value, expr.type); };
    switch (expr.constructKind) {
    case ConstructKind::zero: return defaultValue(expr.type, true);
    case ConstructKind::convert: {
        if (expr.arguments.size() != 1) return defaultValue(expr.type, true);
        Operand only = rvalue(expr.arguments[0]);
        if (only.kind == Operand::Kind::value && only.value->type != type && type->isNumeric())
            only.value = convertValue(type, only.value);
        return only;
    }
    case ConstructKind::splat: {
        Value* scalar = builder_.convert(module_.types.scalar(type->scalar), value(expr.arguments[0]));
        if (type->isMatrix()) return plain(matrixFromScalar(type, scalar));
        return plain(type->isScalar() ? scalar : builder_.splat(type, scalar));
    }
    case ConstructKind::components: {
        Value* parts[4] = {};
        std::size_t count = 0;
        for (const Expr* argument : expr.arguments) {
            if (count == 4) break;
            Value* part = value(argument);
            if (part->type->scalar != type->scalar)
                part = builder_.convert(module_.types.withScalar(part->type, type->scalar), part);
            parts[count++] = part;
        }
        return plain(builder_.construct(type, {parts, count}));
    }
    case ConstructKind::columns: {
        Value* columns[4] = {};
        const TypeRef column = module_.types.vector(type->scalar, type->rows);
        for (std::size_t i = 0; i < expr.arguments.size() && i < 4; ++i)
            columns[i] = builder_.convert(column, value(expr.arguments[i]));
        return plain(builder_.construct(type, {columns, expr.arguments.size()}));
    }
    case ConstructKind::scalars: {
        Value* scalars[16] = {};
        for (std::size_t i = 0; i < expr.arguments.size() && i < 16; ++i)
            scalars[i] = builder_.convert(module_.types.scalar(type->scalar), value(expr.arguments[i]));
        Value* columns[4] = {};
        const TypeRef column = module_.types.vector(type->scalar, type->rows);
        for (unsigned c = 0; c < type->columns; ++c)
            columns[c] = builder_.construct(column, {scalars + std::size_t{c} * type->rows, type->rows});
        return plain(builder_.construct(type, {columns, type->columns}));
    }
    case ConstructKind::matrix: return plain(convertValue(type, value(expr.arguments[0])));
    case ConstructKind::aggregate: return aggregate(expr);
    case ConstructKind::constructor: return runConstructor(expr.constructor, expr.arguments, expr.type, expr.location);
    case ConstructKind::unresolved: break;
    }
    if (!diagnostics_.hasErrors())
        diagnostics_.internalError(expr.location, "a constructor that was not resolved reached lowering");
    return errorOperand(expr.type);
}

Operand Lowering::aggregate(const Construct& expr) {
    const TypeRef type = expr.type;
    if (type->is(TypeKind::array)) {
        if (expr.arguments.empty()) return defaultValue(type, true);
        if (isOpaque(type)) {
            Operand result = defaultValue(type, true);
            for (std::size_t i = 0; i < expr.arguments.size() && i < result.members.size(); ++i)
                result.members[i] = rvalue(expr.arguments[i]);
            return result;
        }
        if (type->count > maxParts) {
            unsupported(expr.location, "initialising an array of more than 4096 elements is");
            return errorOperand(type);
        }
        std::vector<Value*> parts;
        parts.reserve(type->count);
        for (const Expr* argument : expr.arguments)
            parts.push_back(value(argument));
        if (parts.size() < type->count) {
            Value* rest = defaultValue(type->element, true).value;
            parts.resize(type->count, rest);
        }
        if (carrierOf(type) != nullptr) return Operand::ofValue(wordsOf(type, parts), type);
        return Operand::ofValue(builder_.construct(type, parts), type);
    }
    if (!type->is(TypeKind::struct_) && !type->is(TypeKind::lambda)) {
        if (expr.arguments.size() == 1) // "float x{1.0}"
            return rvalue(expr.arguments[0]);
        return defaultValue(type, true);
    }
    const auto fields = type->structDecl->fields;
    const bool isSplit = isOpaque(type);
    if (type->record->isUnion) return unionValue(expr);
    const std::span<Operand> members = module_.arena.makeArray<Operand>(fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const Expr* initializer =
            i < expr.arguments.size() && expr.arguments[i] != nullptr ? expr.arguments[i] : fields[i]->initializer;
        if (fields[i]->type->is(TypeKind::reference) && initializer != nullptr)
            members[i] = pointerTo(lvalue(initializer), fields[i]->type);
        else
            members[i] = initializer != nullptr ? rvalue(initializer) : defaultValue(fields[i]->type, true);
    }
    if (isSplit) {
        Operand result;
        result.kind = Operand::Kind::aggregate;
        result.type = type;
        result.members = members;
        return result;
    }
    std::vector<Value*> parts;
    parts.reserve(members.size());
    for (const Operand& member : members)
        parts.push_back(member.kind == Operand::Kind::value ? member.value
                                                            : module_.constantNull(module_.types.int_()));
    if (carrierOf(type) != nullptr) return Operand::ofValue(wordsOf(type, parts), type);
    return Operand::ofValue(builder_.construct(type, parts), type);
}

// All zero, but for the members that their struct gives a value. Without isZeroed the rest could be anything; zero is
// as good, and it keeps a program from showing what happened to lie in a register.
Operand Lowering::defaultValue(TypeRef type, bool isZeroed) {
    if (type->is(TypeKind::void_)) return {};
    if (type->is(TypeKind::array) && isOpaque(type)) {
        if (type->count > maxPointers) {
            unsupported(builder_.location, "an array of more than 256 pointers or textures is");
            return errorOperand(type);
        }
        Operand result;
        result.kind = Operand::Kind::aggregate;
        result.type = type;
        result.members = module_.arena.makeArray<Operand>(type->count);
        for (Operand& member : result.members)
            member = defaultValue(type->element, isZeroed);
        return result;
    }
    const TypeRef plainType = valueType(type);
    if ((!type->is(TypeKind::struct_) && !type->is(TypeKind::lambda)) || type->record->isUnion)
        return isOpaque(type) ? errorOperand(type) : Operand::ofValue(module_.constantNull(plainType), type);
    const auto fields = type->structDecl->fields;
    const bool isSplit = isOpaque(type);
    const std::span<Operand> members = module_.arena.makeArray<Operand>(fields.size());
    std::vector<Value*> parts;
    parts.reserve(fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
        members[i] = fields[i]->initializer != nullptr ? rvalue(fields[i]->initializer)
                                                       : defaultValue(fields[i]->type, isZeroed);
        if (members[i].kind == Operand::Kind::value) parts.push_back(members[i].value);
    }
    if (!isSplit && parts.size() == fields.size() && carrierOf(type) != nullptr)
        return Operand::ofValue(wordsOf(type, parts), type);
    if (!isSplit && parts.size() == fields.size())
        return Operand::ofValue(parts.empty() ? module_.constantNull(plainType) : builder_.construct(plainType, parts),
                                type);
    Operand result;
    result.kind = Operand::Kind::aggregate;
    result.type = type;
    result.members = members;
    return result;
}

} // namespace msl
