// The values of expressions: literals, conversions, operators, constructors.
#include "MSL/sema/ConstRun.h"

#include <algorithm>
#include <utility>

namespace msl {

using constant::Scalar;

namespace {

// Of plain and of compound operators; those that are not computed by MSL/constant never get here.
constant::Op operatorOf(BinaryOp op) {
    switch (op) {
    case BinaryOp::mul:
    case BinaryOp::mulAssign: return constant::Op::mul;
    case BinaryOp::div:
    case BinaryOp::divAssign: return constant::Op::div;
    case BinaryOp::rem:
    case BinaryOp::remAssign: return constant::Op::rem;
    case BinaryOp::sub:
    case BinaryOp::subAssign: return constant::Op::sub;
    case BinaryOp::shl:
    case BinaryOp::shlAssign: return constant::Op::shl;
    case BinaryOp::shr:
    case BinaryOp::shrAssign: return constant::Op::shr;
    case BinaryOp::bitAnd:
    case BinaryOp::andAssign: return constant::Op::bitAnd;
    case BinaryOp::bitXor:
    case BinaryOp::xorAssign: return constant::Op::bitXor;
    case BinaryOp::bitOr:
    case BinaryOp::orAssign: return constant::Op::bitOr;
    case BinaryOp::less: return constant::Op::less;
    case BinaryOp::greater: return constant::Op::greater;
    case BinaryOp::lessEqual: return constant::Op::lessEqual;
    case BinaryOp::greaterEqual: return constant::Op::greaterEqual;
    case BinaryOp::equal: return constant::Op::equal;
    case BinaryOp::notEqual: return constant::Op::notEqual;
    case BinaryOp::logicalAnd: return constant::Op::logicalAnd;
    case BinaryOp::logicalOr: return constant::Op::logicalOr;
    default: return constant::Op::add;
    }
}

unsigned columnsOf(TypeRef type) {
    return type->isMatrix() ? type->columns : 1;
}

} // namespace

bool Analyzer::ConstantRun::value(Expr* expr, Numbers out) {
    if (!expr || !expr->type || expr->type->isError() || isTooDeep() || !step()) return false;
    if (out.size() != store_.count(expr->type)) return false;
    const Deeper deeper(state_.depth);
    return valueOf(expr, out);
}

bool Analyzer::ConstantRun::valueOf(Expr* expr, Numbers out) {
    switch (expr->kind) {
    case ExprKind::intLiteral:
        if (!isNumber(expr->type) || !isInteger(kindOf(expr->type))) return false;
        out[0] = Scalar::integer(kindOf(expr->type), static_cast<IntLiteral*>(expr)->value);
        return true;
    case ExprKind::floatLiteral:
        out[0] = Scalar::floating(kindOf(expr->type), static_cast<FloatLiteral*>(expr)->value);
        return true;
    case ExprKind::boolLiteral: out[0] = Scalar::boolean(static_cast<BoolLiteral*>(expr)->value); return true;
    case ExprKind::nameRef: {
        const Decl* decl = static_cast<NameRef*>(expr)->decl;
        if (!decl || decl->kind != DeclKind::enumerator) return copy(expr, out);
        if (!isNumber(expr->type)) return false;
        out[0] = Scalar::integer(kindOf(expr->type),
                                 static_cast<std::uint64_t>(static_cast<const EnumeratorDecl*>(decl)->value));
        return true;
    }
    case ExprKind::implicitCast: {
        const auto* node = static_cast<ImplicitCast*>(expr);
        return cast(node->castKind, node->operand, expr->type, expr->location, out);
    }
    case ExprKind::cast: {
        const auto* node = static_cast<Cast*>(expr);
        return cast(node->castKind, node->operand, expr->type, expr->location, out);
    }
    case ExprKind::construct: return construct(static_cast<Construct*>(expr), out);
    case ExprKind::conditional: {
        auto* node = static_cast<Conditional*>(expr);
        bool isTrue = false;
        return truth(node->condition, isTrue) && value(isTrue ? node->whenTrue : node->whenFalse, out);
    }
    case ExprKind::unary: return unary(static_cast<Unary*>(expr), out);
    case ExprKind::binary: return binary(static_cast<Binary*>(expr), out);
    case ExprKind::member:
    case ExprKind::index: return copy(expr, out);
    case ExprKind::call: return call(static_cast<Call*>(expr), out);
    default: return false;
    }
}

bool Analyzer::ConstantRun::truth(Expr* condition, bool& out) {
    Scalar made;
    if (!condition || !condition->type || !isNumber(condition->type) || !value(condition, {&made, 1})) return false;
    out = made.isTrue();
    return true;
}

bool Analyzer::ConstantRun::zero(TypeRef type, Numbers out) {
    if (out.empty() || isTooDeep() || !step(1 + out.size() / numbersPerStep)) return false;
    const Deeper deeper(state_.depth);
    if (type->is(TypeKind::array)) {
        const std::size_t each = out.size() / static_cast<std::size_t>(type->count);
        if (!zero(type->element, out.first(each))) return false;
        for (std::size_t at = each; at < out.size(); at += each)
            std::copy_n(out.begin(), each, out.begin() + static_cast<std::ptrdiff_t>(at));
        return true;
    }
    if (!type->is(TypeKind::struct_)) {
        std::ranges::fill(out, Scalar::zero(kindOf(type)));
        return true;
    }
    for (std::size_t i = 0; i < type->structDecl->fields.size(); ++i)
        if (!memberByDefault(type, i, out)) return false;
    return true;
}

bool Analyzer::ConstantRun::memberByDefault(TypeRef object, std::size_t field, Numbers out) {
    const VarDecl* member = object->structDecl->fields[field];
    const Numbers part = out.subspan(store_.fieldOffset(object->structDecl, field), store_.count(member->type));
    Scalar* const outer = std::exchange(frame_.self, out.data());
    const bool isKnown = member->initializer ? value(member->initializer, part) : zero(member->type, part);
    frame_.self = outer;
    return isKnown;
}

bool Analyzer::ConstantRun::convertNumber(Scalar& number, ScalarKind to, SourceLocation at) {
    const constant::Result made = constant::convert(number, to);
    if (made.fault != constant::Fault::none) return fails(at, constant::conversionFaultText(number, to));
    number = made.value;
    return true;
}

bool Analyzer::ConstantRun::cast(CastKind kind, Expr* operand, TypeRef type, SourceLocation at, Numbers out) {
    if (kind == CastKind::none || kind == CastKind::lvalueToRvalue) return value(operand, out);
    if (!operand || !operand->type) return false;
    if (kind == CastKind::toVoid && operand->type->is(TypeKind::void_)) return value(operand, {});
    Scalar one;
    const Scratch scratch(store_);
    const Numbers given = isNumber(operand->type) ? Numbers(&one, 1) : take(operand->type);
    if (given.empty() || !value(operand, given)) return false;
    switch (kind) {
    case CastKind::toVoid: return true;
    case CastKind::scalarConversion:
    case CastKind::enumToInteger:
    case CastKind::integerToEnum:
    case CastKind::packedToVector:
    case CastKind::vectorToPacked: return convert(operand->type, given, type, at, out);
    case CastKind::splat:
        if (given.size() != 1 || out.empty() || type->isMatrix()) return false;
        if (!convert(operand->type, given, type->element, at, out.first(1))) return false;
        std::ranges::fill(out, out[0]);
        return true;
    case CastKind::bitcast:
        return (type->isScalar() || type->isVector()) && constant::bitcast(given, kindOf(type), out);
    default: return false;
    }
}

bool Analyzer::ConstantRun::convert(TypeRef from, Known numbers, TypeRef to, SourceLocation at, Numbers out) {
    if (numbers.size() != out.size()) return false;
    std::ranges::copy(numbers, out.begin());
    if (from == to || to->is(TypeKind::struct_) || to->is(TypeKind::array)) return true;
    return std::ranges::all_of(out, [&](Scalar& number) { return convertNumber(number, kindOf(to), at); });
}

bool Analyzer::ConstantRun::unary(Unary* node, Numbers out) {
    constant::Op op = constant::Op::neg;
    switch (node->op) {
    case UnaryOp::plus: return value(node->operand, out);
    case UnaryOp::minus: break;
    case UnaryOp::bitNot: op = constant::Op::bitNot; break;
    case UnaryOp::logicalNot: op = constant::Op::logicalNot; break;
    case UnaryOp::preIncrement:
    case UnaryOp::preDecrement:
    case UnaryOp::postIncrement:
    case UnaryOp::postDecrement: return increment(node, out);
    case UnaryOp::dereference: return copy(node, out);
    default: return false;
    }
    // A result of bools has as many numbers as its operand.
    if (out.empty() || !value(node->operand, out)) return false;
    for (Scalar& number : out) {
        const constant::Result made = constant::compute(op, number);
        if (made.fault != constant::Fault::none)
            return fails(node->location, constant::faultText(op, number, Scalar::zero(number.kind)));
        number = made.value;
    }
    return true;
}

bool Analyzer::ConstantRun::binary(Binary* node, Numbers out) {
    if (isAssignment(node->op)) return assign(node, out);
    const TypeRef leftType = node->left->type;
    const TypeRef rightType = node->right->type;
    if (!leftType || !rightType) return false;
    if (node->op == BinaryOp::comma)
        return cast(CastKind::toVoid, node->left, leftType, {}, {}) && value(node->right, out);
    Scalar one[2];
    const bool isScalar = isNumber(leftType) && isNumber(rightType);
    if (isScalar && (node->op == BinaryOp::logicalAnd || node->op == BinaryOp::logicalOr)) {
        bool isTrue = false;
        if (!truth(node->left, isTrue)) return false;
        if (isTrue == (node->op == BinaryOp::logicalAnd) && !truth(node->right, isTrue)) return false;
        out[0] = Scalar::boolean(isTrue);
        return true;
    }
    const Scratch scratch(store_);
    const Numbers left = isScalar ? Numbers(one, 1) : take(leftType);
    const Numbers right = isScalar ? Numbers(one + 1, 1) : take(rightType);
    return !left.empty() && !right.empty() && value(node->left, left) && value(node->right, right) &&
           operation(node->op, leftType, left, rightType, right, node->location, out);
}

bool Analyzer::ConstantRun::operation(BinaryOp op, TypeRef leftType, Known left, TypeRef rightType, Known right,
                                      SourceLocation at, Numbers out) {
    if (op == BinaryOp::mul || op == BinaryOp::mulAssign)
        if (leftType->isMatrix() || rightType->isMatrix())
            return constant::product({left, columnsOf(leftType)}, {right, columnsOf(rightType)}, out);
    const auto fits = [&](Known side) { return side.size() == 1 || side.size() == out.size(); };
    if (out.empty() || !fits(left) || !fits(right)) return false;
    const constant::Op computed = operatorOf(op);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const Scalar a = left[left.size() == 1 ? 0 : i];
        const Scalar b = right[right.size() == 1 ? 0 : i];
        const constant::Result made = constant::compute(computed, a, b);
        if (made.fault != constant::Fault::none) return fails(at, constant::faultText(computed, a, b));
        out[i] = made.value;
    }
    return true;
}

bool Analyzer::ConstantRun::construct(Construct* node, Numbers out) {
    const TypeRef type = node->type;
    switch (node->constructKind) {
    case ConstructKind::zero: return zero(type, out);
    case ConstructKind::convert:
    case ConstructKind::matrix:
        return node->arguments.size() == 1 &&
               cast(CastKind::scalarConversion, node->arguments[0], type, node->location, out);
    case ConstructKind::splat: {
        if (out.empty() || node->arguments.empty() || !isNumber(node->arguments[0]->type)) return false;
        Scalar number;
        if (!value(node->arguments[0], {&number, 1}) || !convertNumber(number, kindOf(type), node->location))
            return false;
        for (std::size_t i = 0; i < out.size(); ++i) // of a matrix: the diagonal
            out[i] = !type->isMatrix() || i / type->rows == i % type->rows ? number : Scalar::zero(kindOf(type));
        return true;
    }
    case ConstructKind::components:
    case ConstructKind::columns:
    case ConstructKind::scalars: {
        std::size_t at = 0;
        for (Expr* argument : node->arguments) {
            const std::size_t count = argument->type ? store_.count(argument->type) : 0;
            if (count == 0 || count > out.size() - at) return false;
            const Numbers part = out.subspan(at, count);
            if (!value(argument, part)) return false;
            for (Scalar& number : part)
                if (!convertNumber(number, kindOf(type), argument->location)) return false;
            at += count;
        }
        return at == out.size();
    }
    case ConstructKind::aggregate: return aggregate(node, out);
    case ConstructKind::constructor: return runConstructor(node, out);
    default: return false;
    }
}

bool Analyzer::ConstantRun::aggregate(Construct* node, Numbers out) {
    const TypeRef type = node->type;
    const std::span<Expr*> given = node->arguments;
    if (given.empty() && !type->is(TypeKind::struct_)) return zero(type, out);
    if (type->is(TypeKind::array)) {
        const std::size_t each = out.size() / static_cast<std::size_t>(type->count);
        if (each == 0 || given.size() > type->count) return false;
        for (std::size_t i = 0; i < given.size(); ++i)
            if (!value(given[i], out.subspan(i * each, each))) return false;
        for (std::size_t i = given.size(); i < type->count; ++i)
            if (!zero(type->element, out.subspan(i * each, each))) return false;
        return true;
    }
    if (!type->is(TypeKind::struct_)) return cast(CastKind::scalarConversion, given[0], type, node->location, out);
    const std::span<VarDecl*> fields = type->structDecl->fields;
    if (out.empty() || given.size() > fields.size()) return false;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i >= given.size() || !given[i]) {
            if (!memberByDefault(type, i, out)) return false;
        } else if (!value(given[i],
                          out.subspan(store_.fieldOffset(type->structDecl, i), store_.count(fields[i]->type)))) {
            return false;
        }
    }
    return true;
}

} // namespace msl
