#include "MSL/ir/Fold.h"

#include "MSL/constant/Functions.h"

namespace msl::ir {

namespace {

using constant::Operand;
using constant::Scalar;

constexpr unsigned maxParts = 16; // of a 4x4 matrix
constexpr std::size_t maxOperands = 4;

// The components of a constant scalar, vector or matrix.
struct Parts {
    Scalar at[maxParts];
    unsigned count = 0;
    unsigned columns = 1;

    Operand operand() const { return {{at, count}, columns}; }
};

bool read(Module& module, const Value* value, Parts& parts) {
    if (!value->isConstant()) return false;
    const TypeRef type = value->type;
    if (type->isScalar()) {
        parts.at[parts.count++] = {type->scalar, value->bits};
        return true;
    }
    if (!type->isVector() && !type->isMatrix()) return false;
    for (unsigned i = 0; i < type->columns; ++i)
        if (!read(module, module.constantPart(value, i), parts)) return false;
    if (type->isMatrix()) parts.columns = type->columns;
    return true;
}

Value* write(Module& module, TypeRef type, std::span<const Scalar> parts) {
    if (type->isScalar()) return module.constantScalar(type, parts[0].bits);
    Value* made[4] = {};
    const std::size_t each = parts.size() / type->columns;
    for (unsigned i = 0; i < type->columns; ++i)
        made[i] = write(module, partType(module.types, type, i), parts.subspan(i * each, each));
    return module.constantComposite(type, {made, type->columns});
}

bool hasParts(TypeRef type) {
    return type->isScalar() || type->isVector() || type->isMatrix();
}

// Applies a function of one scalar to every component.
template <typename Function>
Value* byComponent(Module& module, TypeRef resultType, const Value* value, Function function) {
    Parts parts;
    if (!hasParts(resultType) || !read(module, value, parts) || parts.count != resultType->componentCount())
        return nullptr;
    for (unsigned i = 0; i < parts.count; ++i)
        parts.at[i] = function(parts.at[i]);
    return write(module, resultType, {parts.at, parts.count});
}

} // namespace

std::optional<constant::Op> scalarOp(Op op) {
    switch (op) {
    case Op::neg: return constant::Op::neg;
    case Op::bitNot: return constant::Op::bitNot;
    case Op::logicalNot: return constant::Op::logicalNot;
    case Op::add: return constant::Op::add;
    case Op::sub: return constant::Op::sub;
    case Op::mul:
    case Op::vectorTimesScalar: return constant::Op::mul;
    case Op::div: return constant::Op::div;
    case Op::rem: return constant::Op::rem;
    case Op::shl: return constant::Op::shl;
    case Op::shr: return constant::Op::shr;
    case Op::bitAnd: return constant::Op::bitAnd;
    case Op::bitOr: return constant::Op::bitOr;
    case Op::bitXor: return constant::Op::bitXor;
    case Op::logicalAnd: return constant::Op::logicalAnd;
    case Op::logicalOr: return constant::Op::logicalOr;
    case Op::equal: return constant::Op::equal;
    case Op::notEqual: return constant::Op::notEqual;
    case Op::less: return constant::Op::less;
    case Op::lessEqual: return constant::Op::lessEqual;
    case Op::greater: return constant::Op::greater;
    case Op::greaterEqual: return constant::Op::greaterEqual;
    default: return std::nullopt;
    }
}

Value* foldUnary(Module& module, Op op, Value* operand) {
    const auto known = scalarOp(op);
    if (!known || !operand->isConstant()) return nullptr;
    return byComponent(module, operand->type, operand,
                       [&](Scalar scalar) { return constant::compute(*known, scalar).value; });
}

Value* foldBinary(Module& module, Op op, TypeRef resultType, Value* left, Value* right) {
    if (!left->isConstant() || !right->isConstant() || !hasParts(resultType)) return nullptr;
    Parts a;
    Parts b;
    if (!read(module, left, a) || !read(module, right, b)) return nullptr;
    Scalar result[maxParts];
    const unsigned count = resultType->componentCount();
    if (op >= Op::matrixTimesMatrix && op <= Op::matrixTimesScalar) {
        if (!constant::product(a.operand(), b.operand(), {result, count})) return nullptr;
        return write(module, resultType, {result, count});
    }
    const auto known = scalarOp(op);
    if (!known || a.count != count || (b.count != count && op != Op::vectorTimesScalar)) return nullptr;
    for (unsigned i = 0; i < count; ++i)
        result[i] = constant::compute(*known, a.at[i], b.at[b.count == 1 ? 0 : i]).value;
    return write(module, resultType, {result, count});
}

Value* foldConvert(Module& module, TypeRef to, Value* value) {
    if (!value->isConstant()) return nullptr;
    return byComponent(module, to, value, [&](Scalar scalar) { return constant::convert(scalar, to->scalar).value; });
}

Value* foldBitcast(Module& module, TypeRef to, Value* value) {
    if (!value->isConstant() || byteSize(to->scalar) != byteSize(value->type->scalar)) return nullptr;
    return byComponent(module, to, value, [&](Scalar scalar) { return constant::bitcast(scalar, to->scalar); });
}

Value* foldBuiltin(Module& module, BuiltinId id, TypeRef resultType, std::span<Value* const> operands,
                   Precision precision) {
    if (operands.empty() || operands.size() > maxOperands || !hasParts(resultType)) return nullptr;
    for (const Value* operand : operands)
        if (!operand->isConstant()) return nullptr;
    Parts parts[maxOperands];
    Operand given[maxOperands];
    for (std::size_t i = 0; i < operands.size(); ++i) {
        if (!read(module, operands[i], parts[i])) return nullptr;
        given[i] = parts[i].operand();
    }
    Scalar result[maxParts];
    const std::span<Scalar> made(result, resultType->componentCount());
    if (!constant::call(id, precision, {given, operands.size()}, resultType->scalar, made)) return nullptr;
    return write(module, resultType, made);
}

} // namespace msl::ir
