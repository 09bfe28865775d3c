// Values known while compiling: array sizes, case labels, template arguments, static assertions, constexpr numbers.
#include "MSL/sema/ConstRun.h"

#include <cmath>

namespace msl {
namespace {

constexpr std::uint64_t maxEvaluationSteps = 1'000'000;
constexpr unsigned maxEvaluationDepth = 256;

ConstantValue integerValue(std::int64_t value) {
    return {ConstantValue::Kind::integer, value, 0};
}
ConstantValue floatingValue(double value) {
    return {ConstantValue::Kind::floating, 0, value};
}

std::optional<double> mathFunction(BuiltinId id, std::span<const ConstantValue> arguments) {
    const auto at = [&](std::size_t i) { return arguments[i].asDouble(); };
    switch (id) {
    case BuiltinId::sqrt: return std::sqrt(at(0));
    case BuiltinId::floor: return std::floor(at(0));
    case BuiltinId::ceil: return std::ceil(at(0));
    case BuiltinId::round: return std::round(at(0));
    case BuiltinId::trunc: return std::trunc(at(0));
    case BuiltinId::abs:
    case BuiltinId::fabs: return std::fabs(at(0));
    case BuiltinId::sin: return std::sin(at(0));
    case BuiltinId::cos: return std::cos(at(0));
    case BuiltinId::exp: return std::exp(at(0));
    case BuiltinId::exp2: return std::exp2(at(0));
    case BuiltinId::log: return std::log(at(0));
    case BuiltinId::log2: return std::log2(at(0));
    case BuiltinId::pow: return std::pow(at(0), at(1));
    case BuiltinId::min:
    case BuiltinId::fmin: return std::min(at(0), at(1));
    case BuiltinId::max:
    case BuiltinId::fmax: return std::max(at(0), at(1));
    case BuiltinId::clamp: return std::min(std::max(at(0), at(1)), at(2));
    default: return std::nullopt;
    }
}

} // namespace

ConstantValue Analyzer::convertConstant(ConstantValue value, TypeRef to) {
    if (!value) return value;
    if (to->is(TypeKind::enum_)) to = to->element;
    if (!to->isScalar()) return {};
    if (to->isBool()) return integerValue(value.isTrue() ? 1 : 0);
    if (isFloating(to->scalar)) {
        double number =
            value.kind == ConstantValue::Kind::floating ? value.floating : static_cast<double>(value.integer);
        if (to->scalar == ScalarKind::float_) number = static_cast<double>(static_cast<float>(number));
        return floatingValue(number);
    }
    std::int64_t integer = value.integer;
    if (value.kind == ConstantValue::Kind::floating) {
        constexpr double limit = 9.2233720368547748e18;
        integer = std::isnan(value.floating) ? 0
                  : value.floating >= limit  ? INT64_MAX
                  : value.floating <= -limit ? INT64_MIN
                                             : static_cast<std::int64_t>(value.floating);
    }
    const auto bits = static_cast<std::uint64_t>(integer);
    switch (to->scalar) {
    case ScalarKind::char_: return integerValue(static_cast<std::int8_t>(bits));
    case ScalarKind::uchar: return integerValue(static_cast<std::uint8_t>(bits));
    case ScalarKind::short_: return integerValue(static_cast<std::int16_t>(bits));
    case ScalarKind::ushort: return integerValue(static_cast<std::uint16_t>(bits));
    case ScalarKind::int_: return integerValue(static_cast<std::int32_t>(bits));
    case ScalarKind::uint: return integerValue(static_cast<std::uint32_t>(bits));
    default: return integerValue(integer);
    }
}

ConstantValue Analyzer::constantUnary(UnaryOp op, ConstantValue operand, TypeRef type) {
    switch (op) {
    case UnaryOp::plus: return operand;
    case UnaryOp::minus:
        if (operand.kind == ConstantValue::Kind::floating) return floatingValue(-operand.floating);
        return convertConstant(integerValue(static_cast<std::int64_t>(0 - static_cast<std::uint64_t>(operand.integer))),
                               type);
    case UnaryOp::bitNot: return convertConstant(integerValue(~operand.integer), type);
    default: return integerValue(operand.isTrue() ? 0 : 1);
    }
}

ConstantValue Analyzer::constantBinary(BinaryOp op, ConstantValue left, ConstantValue right, TypeRef operands,
                                       TypeRef type) {
    if (left.kind == ConstantValue::Kind::floating || right.kind == ConstantValue::Kind::floating) {
        const double a = left.asDouble();
        const double b = right.asDouble();
        switch (op) {
        case BinaryOp::mul: return convertConstant(floatingValue(a * b), type);
        case BinaryOp::div: return convertConstant(floatingValue(a / b), type);
        case BinaryOp::add: return convertConstant(floatingValue(a + b), type);
        case BinaryOp::sub: return convertConstant(floatingValue(a - b), type);
        case BinaryOp::less: return integerValue(a < b);
        case BinaryOp::greater: return integerValue(a > b);
        case BinaryOp::lessEqual: return integerValue(a <= b);
        case BinaryOp::greaterEqual: return integerValue(a >= b);
        case BinaryOp::equal: return integerValue(a == b);
        case BinaryOp::notEqual: return integerValue(a != b);
        case BinaryOp::logicalAnd: return integerValue(left.isTrue() && right.isTrue());
        case BinaryOp::logicalOr: return integerValue(left.isTrue() || right.isTrue());
        default: return {};
        }
    }
    if (operands->is(TypeKind::enum_)) operands = operands->element;
    if (!operands->isScalar()) return {};
    const ScalarKind kind = operands->scalar;
    const std::int64_t a = left.integer;
    const std::int64_t b = right.integer;
    const auto ua = static_cast<std::uint64_t>(a);
    const auto ub = static_cast<std::uint64_t>(b);
    const bool isUnsigned = !isSigned(kind);
    const std::uint64_t width = byteSize(kind) * 8;
    const auto wrapped = [&](std::uint64_t value) {
        return convertConstant(integerValue(static_cast<std::int64_t>(value)), type);
    };
    switch (op) {
    case BinaryOp::mul: return wrapped(ua * ub);
    case BinaryOp::add: return wrapped(ua + ub);
    case BinaryOp::sub: return wrapped(ua - ub);
    case BinaryOp::div:
    case BinaryOp::rem:
        if (b == 0) return {};
        if (isUnsigned) return wrapped(op == BinaryOp::div ? ua / ub : ua % ub);
        if (b == -1) return op == BinaryOp::div ? wrapped(0 - ua) : integerValue(0);
        return wrapped(static_cast<std::uint64_t>(op == BinaryOp::div ? a / b : a % b));
    case BinaryOp::shl: return wrapped(ua << (ub % width));
    case BinaryOp::shr:
        return isUnsigned ? wrapped(ua >> (ub % width)) : wrapped(static_cast<std::uint64_t>(a >> (ub % width)));
    case BinaryOp::bitAnd: return wrapped(ua & ub);
    case BinaryOp::bitOr: return wrapped(ua | ub);
    case BinaryOp::bitXor: return wrapped(ua ^ ub);
    case BinaryOp::less: return integerValue(isUnsigned ? ua < ub : a < b);
    case BinaryOp::greater: return integerValue(isUnsigned ? ua > ub : a > b);
    case BinaryOp::lessEqual: return integerValue(isUnsigned ? ua <= ub : a <= b);
    case BinaryOp::greaterEqual: return integerValue(isUnsigned ? ua >= ub : a >= b);
    case BinaryOp::equal: return integerValue(a == b);
    case BinaryOp::notEqual: return integerValue(a != b);
    case BinaryOp::logicalAnd: return integerValue(a != 0 && b != 0);
    case BinaryOp::logicalOr: return integerValue(a != 0 || b != 0);
    default: return {};
    }
}

ConstantValue Analyzer::constantBuiltin(BuiltinId id, std::span<const ConstantValue> arguments, TypeRef type) {
    const std::optional<double> result = mathFunction(id, arguments);
    return result ? convertConstant(floatingValue(*result), type) : ConstantValue{};
}

ConstantValue Analyzer::evaluate(Expr* typed) {
    // What is plainly no constant is told apart at once: this runs for every subscript.
    if (typed->kind == ExprKind::call && !static_cast<Call*>(typed)->function)
        if (static_cast<Call*>(typed)->arguments.empty()) return {};
    evaluationSteps_ = 0;
    return evaluateIn(typed, 0);
}

ConstantValue Analyzer::evaluateIn(Expr* expr, unsigned depth) {
    if (!expr || !expr->type || expr->type->isError() || depth > maxEvaluationDepth ||
        ++evaluationSteps_ > maxEvaluationSteps || !limit_.step())
        return {};
    switch (expr->kind) {
    case ExprKind::intLiteral: {
        const auto* literal = static_cast<IntLiteral*>(expr);
        return integerValue(static_cast<std::int64_t>(literal->value));
    }
    case ExprKind::floatLiteral: {
        const double value = static_cast<FloatLiteral*>(expr)->value;
        return convertConstant(floatingValue(value), expr->type);
    }
    case ExprKind::boolLiteral: return integerValue(static_cast<BoolLiteral*>(expr)->value ? 1 : 0);
    case ExprKind::nameRef: {
        const Decl* decl = static_cast<NameRef*>(expr)->decl;
        if (!decl) return {};
        if (decl->kind == DeclKind::enumerator) return integerValue(static_cast<const EnumeratorDecl*>(decl)->value);
        if (decl->kind != DeclKind::variable) return {};
        const auto* var = static_cast<const VarDecl*>(decl);
        if (var->hasConstantValue) return integerValue(var->constantValue);
        if ((var->isConst || var->isConstexpr) && var->varKind != VarKind::parameter && var->type &&
            var->type->isScalar() && var->initializer && var->initializer->type == var->type)
            return evaluateIn(var->initializer, depth + 1);
        return {};
    }
    case ExprKind::implicitCast:
    case ExprKind::cast: {
        const CastKind kind = expr->kind == ExprKind::cast ? static_cast<Cast*>(expr)->castKind
                                                           : static_cast<ImplicitCast*>(expr)->castKind;
        Expr* operand = expr->kind == ExprKind::cast ? static_cast<Cast*>(expr)->operand
                                                     : static_cast<ImplicitCast*>(expr)->operand;
        switch (kind) {
        case CastKind::none:
        case CastKind::lvalueToRvalue: return evaluateIn(operand, depth + 1);
        case CastKind::scalarConversion:
        case CastKind::enumToInteger:
        case CastKind::integerToEnum: return convertConstant(evaluateIn(operand, depth + 1), expr->type);
        default: return {};
        }
    }
    case ExprKind::construct: {
        const auto* node = static_cast<Construct*>(expr);
        if (!expr->type->isScalar()) return {};
        if (node->constructKind == ConstructKind::zero) return convertConstant(integerValue(0), expr->type);
        return {};
    }
    case ExprKind::conditional: {
        const auto* node = static_cast<Conditional*>(expr);
        const ConstantValue condition = evaluateIn(node->condition, depth + 1);
        if (!condition) return {};
        return evaluateIn(condition.isTrue() ? node->whenTrue : node->whenFalse, depth + 1);
    }
    case ExprKind::unary: {
        const auto* node = static_cast<Unary*>(expr);
        if (!expr->type->isScalar()) return {};
        if (node->op != UnaryOp::plus && node->op != UnaryOp::minus && node->op != UnaryOp::bitNot &&
            node->op != UnaryOp::logicalNot)
            return {};
        const ConstantValue operand = evaluateIn(node->operand, depth + 1);
        if (!operand) return {};
        return constantUnary(node->op, operand, expr->type);
    }
    case ExprKind::binary: {
        const auto* node = static_cast<Binary*>(expr);
        if (!expr->type->isScalar() || isAssignment(node->op) || !node->left->type || !node->left->type->isScalar() ||
            !node->right->type->isScalar())
            return {};
        const ConstantValue left = evaluateIn(node->left, depth + 1);
        if (!left) return {};
        if (node->op == BinaryOp::logicalAnd && !left.isTrue()) return integerValue(0);
        if (node->op == BinaryOp::logicalOr && left.isTrue()) return integerValue(1);
        const ConstantValue right = evaluateIn(node->right, depth + 1);
        if (!right) return {};
        return constantBinary(node->op, left, right, node->left->type, expr->type);
    }
    case ExprKind::index: { // an element of a constant table
        const auto* node = static_cast<Index*>(expr);
        if (!node->base->type->is(TypeKind::array)) return {};
        const Expr* base = node->base;
        if (base->kind == ExprKind::implicitCast) base = static_cast<const ImplicitCast*>(base)->operand;
        if (base->kind != ExprKind::nameRef) return {};
        const Decl* decl = static_cast<const NameRef*>(base)->decl;
        if (!decl || decl->kind != DeclKind::variable) return {};
        const auto* var = static_cast<const VarDecl*>(decl);
        if (!(var->isConst || var->isConstexpr) || !var->initializer || var->initializer->kind != ExprKind::construct ||
            !var->initializer->type || !var->initializer->type->is(TypeKind::array))
            return {};
        const ConstantValue index = evaluateIn(node->index, depth + 1);
        const std::span<Expr*> parts = static_cast<Construct*>(var->initializer)->arguments;
        if (index.kind != ConstantValue::Kind::integer || index.integer < 0 ||
            static_cast<std::uint64_t>(index.integer) >= node->base->type->count)
            return {};
        if (static_cast<std::uint64_t>(index.integer) >= parts.size())
            return convertConstant(integerValue(0), expr->type);
        return evaluateIn(parts[static_cast<std::size_t>(index.integer)], depth + 1);
    }
    case ExprKind::call: return evaluateCall(static_cast<Call*>(expr), depth);
    case ExprKind::member: { // of a constant, or of what a constexpr function returns
        const Expr* root = expr;
        while (root->kind == ExprKind::member && !static_cast<const Member*>(root)->isArrow)
            root = static_cast<const Member*>(root)->base;
        const bool isCall = root->kind == ExprKind::call || root->kind == ExprKind::construct;
        const Decl* decl = root->kind == ExprKind::nameRef ? static_cast<const NameRef*>(root)->decl : nullptr;
        const bool isConstant = decl && decl->kind == DeclKind::variable &&
                                static_cast<const VarDecl*>(decl)->isConst &&
                                static_cast<const VarDecl*>(decl)->initializer;
        if ((!isCall && !isConstant) || !expr->type->isScalar() || isRunningConstant_) return {};
        isRunningConstant_ = true;
        const ConstantValue result = ConstantRun(*this).scalar(expr);
        isRunningConstant_ = false;
        return result;
    }
    default: return {};
    }
}

ConstantValue Analyzer::evaluateCall(Call* call, unsigned depth) {
    if (!call->type->isScalar()) return {};
    if (call->builtin != BuiltinId::none) {
        if (call->object) return {};
        ConstantValue values[4];
        if (call->arguments.empty() || call->arguments.size() > std::size(values)) return {};
        for (std::size_t i = 0; i < call->arguments.size(); ++i) {
            if (!call->arguments[i]->type || !call->arguments[i]->type->isScalar()) return {};
            values[i] = evaluateIn(call->arguments[i], depth + 1);
            if (!values[i]) return {};
        }
        return constantBuiltin(call->builtin, {values, call->arguments.size()}, call->type);
    }
    if (!call->function || !call->function->isConstexpr || isRunningConstant_) return {};
    isRunningConstant_ = true;
    const ConstantValue result = ConstantRun(*this).scalar(call);
    isRunningConstant_ = false;
    return convertConstant(result, call->type);
}

// Whether a value is read that is only known at run time: a parameter, or a variable that is not constant.
bool Analyzer::dependsOnRunTime(const Expr* expr, unsigned depth) const {
    if (!expr || depth > maxEvaluationDepth) return false;
    const auto any = [&](std::span<Expr* const> parts) {
        for (const Expr* part : parts)
            if (dependsOnRunTime(part, depth + 1)) return true;
        return false;
    };
    switch (expr->kind) {
    case ExprKind::nameRef: {
        const auto* ref = static_cast<const NameRef*>(expr);
        if (ref->isThis) return true;
        if (!ref->decl || ref->decl->kind != DeclKind::variable) return false;
        const auto* var = static_cast<const VarDecl*>(ref->decl);
        const bool isGiven = var->varKind == VarKind::global && !var->initializer && !var->samplerState;
        return !var->isInvalid &&
               (isGiven || var->varKind == VarKind::parameter || !(var->isConst || var->isConstexpr));
    }
    case ExprKind::member: return dependsOnRunTime(static_cast<const Member*>(expr)->base, depth + 1);
    case ExprKind::index:
        return dependsOnRunTime(static_cast<const Index*>(expr)->base, depth + 1) ||
               dependsOnRunTime(static_cast<const Index*>(expr)->index, depth + 1);
    case ExprKind::call: return any(static_cast<const Call*>(expr)->arguments);
    case ExprKind::construct: return any(static_cast<const Construct*>(expr)->arguments);
    case ExprKind::cast: return dependsOnRunTime(static_cast<const Cast*>(expr)->operand, depth + 1);
    case ExprKind::implicitCast: return dependsOnRunTime(static_cast<const ImplicitCast*>(expr)->operand, depth + 1);
    case ExprKind::unary: return dependsOnRunTime(static_cast<const Unary*>(expr)->operand, depth + 1);
    case ExprKind::binary:
        return dependsOnRunTime(static_cast<const Binary*>(expr)->left, depth + 1) ||
               dependsOnRunTime(static_cast<const Binary*>(expr)->right, depth + 1);
    case ExprKind::conditional: {
        const auto* choice = static_cast<const Conditional*>(expr);
        return dependsOnRunTime(choice->condition, depth + 1) || dependsOnRunTime(choice->whenTrue, depth + 1) ||
               dependsOnRunTime(choice->whenFalse, depth + 1);
    }
    default: return false;
    }
}

std::optional<std::int64_t> Analyzer::integerConstant(Expr* unresolved, std::string_view what) {
    Expr* typed = toArithmetic(load(expression(unresolved)));
    if (typed->type->isError()) return std::nullopt;
    const SourceLocation at = typed->begin ? typed->begin : typed->location;
    if (typed->type->is(TypeKind::enum_)) typed = explicitConvert(typed, typed->type->element);
    if (!typed->type->isScalar() || isFloating(typed->type->scalar)) {
        error(at, std::string(what) + " must have integral type, not '" + typeName(typed->type) + "'");
        return std::nullopt;
    }
    const ConstantValue value = evaluate(typed);
    if (value.kind != ConstantValue::Kind::integer) {
        error(at, std::string(what) + " is not an integral constant expression");
        return std::nullopt;
    }
    return value.integer;
}

} // namespace msl
