// Rvalues: literals, operators, conversions and constructors.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

Value* Lowering::value(const Expr* expr) {
    const Operand operand = rvalue(expr);
    if (operand.kind == Operand::Kind::value) return operand.value;
    if (!diagnostics_.hasErrors()) unsupported(expr->location, "a value of type '" + typeName(expr->type) + "' is");
    return module_.constantNull(isOpaque(expr->type) || expr->type->is(TypeKind::void_) ? module_.types.int_()
                                                                                        : valueType(expr->type));
}

void Lowering::effect(const Expr* expr) {
    if (expr->category == ValueCategory::lvalue)
        lvalue(expr);
    else
        rvalue(expr);
}

Operand Lowering::rvalue(const Expr* expr) {
    if (!enter(expr->location)) {
        leave();
        return errorOperand(expr->type);
    }
    builder_.location = expr->location;
    Operand result;
    const auto plain = [&](Value* value) { result = Operand::ofValue(value, expr->type); };
    switch (expr->kind) {
    case ExprKind::intLiteral: {
        const auto& literal = static_cast<const IntLiteral&>(*expr);
        if (expr->type->is(TypeKind::pointer)) {
            result = errorOperand(expr->type); // a null pointer
            break;
        }
        plain(module_.constantInt(valueType(expr->type), static_cast<std::int64_t>(literal.value)));
        break;
    }
    case ExprKind::floatLiteral:
        plain(module_.constantFloat(expr->type, static_cast<const FloatLiteral*>(expr)->value));
        break;
    case ExprKind::boolLiteral: plain(module_.constantBool(static_cast<const BoolLiteral*>(expr)->value)); break;
    case ExprKind::nameRef: {
        const auto& name = static_cast<const NameRef&>(*expr);
        if (name.isThis) {
            result = pointerTo(context_->thisAccess, expr->type);
        } else if (name.decl != nullptr && name.decl->kind == DeclKind::enumerator) {
            plain(module_.constantInt(valueType(expr->type), static_cast<const EnumeratorDecl*>(name.decl)->value));
        } else if (name.decl != nullptr && name.decl->kind == DeclKind::variable) {
            result = load(accessOf(static_cast<VarDecl*>(name.decl), expr->location), expr->location);
        } else if (name.decl != nullptr && name.decl->kind == DeclKind::templateParameter) {
            plain(module_.constantInt(valueType(expr->type),
                                      static_cast<const TemplateParameterDecl*>(name.decl)->boundValue));
        } else {
            unsupported(expr->location, "this use of a name is");
            result = errorOperand(expr->type);
        }
        break;
    }
    case ExprKind::member:
    case ExprKind::index: result = load(lvalue(expr), expr->location); break;
    case ExprKind::call: {
        const auto& call = static_cast<const Call&>(*expr);
        if (call.function != nullptr) {
            result = callFunction(call);
            if (expr->category == ValueCategory::lvalue)
                result = load(dereference(result, expr->type, expr->location), expr->location);
        } else {
            result = callBuiltin(call);
        }
        break;
    }
    case ExprKind::construct: result = construct(static_cast<const Construct&>(*expr)); break;
    case ExprKind::cast: {
        const auto& cast = static_cast<const Cast&>(*expr);
        result = castOperand(cast.castKind, cast.operand, expr->type, expr->location);
        break;
    }
    case ExprKind::implicitCast: {
        const auto& cast = static_cast<const ImplicitCast&>(*expr);
        result = castOperand(cast.castKind, cast.operand, expr->type, expr->location);
        break;
    }
    case ExprKind::unary: result = unary(static_cast<const Unary&>(*expr)); break;
    case ExprKind::binary: result = binary(static_cast<const Binary&>(*expr)); break;
    case ExprKind::conditional: {
        const auto& choice = static_cast<const Conditional&>(*expr);
        result = conditional(choice, value(choice.condition));
        break;
    }
    case ExprKind::sizeOf:
        plain(module_.constantInt(valueType(expr->type),
                                  static_cast<std::int64_t>(static_cast<const SizeOf*>(expr)->value)));
        break;
    case ExprKind::lambda:
        unsupported(expr->location, "a lambda is");
        result = errorOperand(expr->type);
        break;
    default:
        if (!diagnostics_.hasErrors())
            diagnostics_.internalError(expr->location, "an expression of an unknown kind reached lowering");
        result = errorOperand(expr->type);
        break;
    }
    if (result.type == nullptr || result.kind == Operand::Kind::value) result.type = expr->type;
    leave();
    return result;
}

// ----------------------------------------------------------------------------------------------------- conversions

Value* Lowering::convertValue(TypeRef to, Value* value) {
    if (value->type == to) return value;
    if (!to->isMatrix()) return builder_.convert(to, value);
    Value* columns[4] = {};
    const TypeRef column = module_.types.vector(to->scalar, to->rows);
    for (unsigned i = 0; i < to->columns; ++i)
        columns[i] = builder_.convert(column, builder_.extract(value, i));
    return builder_.construct(to, {columns, to->columns});
}

Operand Lowering::castOperand(CastKind kind, const Expr* operand, TypeRef to, SourceLocation at) {
    const auto plain = [&](Value* value) { return Operand::ofValue(value, to); };
    switch (kind) {
    case CastKind::none: {
        Operand result = rvalue(operand);
        if (result.kind == Operand::Kind::value && result.value->type != valueType(to) && to->isNumeric())
            result.value = convertValue(valueType(to), result.value);
        result.type = to;
        return result;
    }
    case CastKind::lvalueToRvalue:
        return operand->kind == ExprKind::conditional ? rvalue(operand) : load(lvalue(operand), at);
    case CastKind::toDerived: return load(derivedAccess(lvalue(operand), to, at), at);
    case CastKind::scalarConversion:
    case CastKind::enumToInteger:
    case CastKind::integerToEnum:
    case CastKind::packedToVector:
    case CastKind::vectorToPacked: return plain(convertValue(valueType(to), value(operand)));
    case CastKind::splat: {
        Value* scalar = builder_.convert(module_.types.scalar(to->scalar), value(operand));
        if (to->isMatrix()) return plain(matrixFromScalar(to, scalar));
        return plain(builder_.splat(valueType(to), scalar));
    }
    case CastKind::bitcast: {
        if (!to->is(TypeKind::pointer)) return plain(builder_.bitcast(valueType(to), value(operand)));
        Operand pointer = rvalue(operand);
        pointer.type = to;
        if (pointer.kind != Operand::Kind::pointer || isNull(pointer)) return pointer;
        return pointerTo(castAccess(*pointer.access, to->element, at), to);
    }
    case CastKind::arrayToPointer: return decay(lvalue(operand), to, at);
    case CastKind::pointerToBool: {
        return plain(isSet(rvalue(operand)));
    }
    case CastKind::pointerToInteger: {
        const Operand pointer = rvalue(operand);
        if (!checkAddresses(at)) return errorOperand(to);
        Access nothing;
        nothing.kind = Access::Kind::nothing;
        return plain(builder_.convert(to, addressOf(pointer.access != nullptr ? *pointer.access : nothing, at)));
    }
    case CastKind::integerToPointer: {
        Value* address = value(operand);
        return pointerOfBits(builder_.convert(module_.types.scalar(ScalarKind::ulong), address), to, at);
    }
    case CastKind::nullToPointer: return errorOperand(to);
    case CastKind::toVoid: effect(operand); return {};
    }
    return errorOperand(to);
}

// ------------------------------------------------------------------------------------------------------- operators

namespace {

Op arithmeticOp(BinaryOp op) {
    switch (op) {
    case BinaryOp::mul:
    case BinaryOp::mulAssign: return Op::mul;
    case BinaryOp::div:
    case BinaryOp::divAssign: return Op::div;
    case BinaryOp::rem:
    case BinaryOp::remAssign: return Op::rem;
    case BinaryOp::add:
    case BinaryOp::addAssign: return Op::add;
    case BinaryOp::sub:
    case BinaryOp::subAssign: return Op::sub;
    case BinaryOp::shl:
    case BinaryOp::shlAssign: return Op::shl;
    case BinaryOp::shr:
    case BinaryOp::shrAssign: return Op::shr;
    case BinaryOp::bitAnd:
    case BinaryOp::andAssign: return Op::bitAnd;
    case BinaryOp::bitXor:
    case BinaryOp::xorAssign: return Op::bitXor;
    case BinaryOp::bitOr:
    case BinaryOp::orAssign: return Op::bitOr;
    case BinaryOp::less: return Op::less;
    case BinaryOp::greater: return Op::greater;
    case BinaryOp::lessEqual: return Op::lessEqual;
    case BinaryOp::greaterEqual: return Op::greaterEqual;
    case BinaryOp::equal: return Op::equal;
    case BinaryOp::notEqual: return Op::notEqual;
    case BinaryOp::logicalAnd: return Op::logicalAnd;
    case BinaryOp::logicalOr: return Op::logicalOr;
    default: return Op::unreachable;
    }
}

// On truth values the bit operations are the logical ones.
Op logicalForm(Op op) {
    switch (op) {
    case Op::bitAnd: return Op::logicalAnd;
    case Op::bitOr: return Op::logicalOr;
    case Op::bitXor: return Op::notEqual;
    default: return op;
    }
}

} // namespace

Value* Lowering::arithmeticByColumn(BinaryOp op, TypeRef type, Value* left, Value* right) {
    const TypeRef column = module_.types.vector(type->scalar, type->rows);
    Value* columns[4] = {};
    for (unsigned i = 0; i < type->columns; ++i) {
        Value* a = left->type->isMatrix() ? builder_.extract(left, i) : builder_.splat(column, left);
        Value* b = right->type->isMatrix() ? builder_.extract(right, i) : builder_.splat(column, right);
        columns[i] = builder_.binary(arithmeticOp(op), column, a, b);
    }
    return builder_.construct(type, {columns, type->columns});
}

Value* Lowering::arithmetic(BinaryOp operation, TypeRef type, Value* left, Value* right, SourceLocation at) {
    Op op = arithmeticOp(operation);
    builder_.location = at;
    const bool hasMatrix = left->type->isMatrix() || right->type->isMatrix();
    if (hasMatrix && op == Op::mul) {
        if (left->type->isMatrix() && right->type->isMatrix())
            return builder_.binary(Op::matrixTimesMatrix, type, left, right);
        if (left->type->isMatrix() && right->type->isVector())
            return builder_.binary(Op::matrixTimesVector, type, left, right);
        if (left->type->isVector()) return builder_.binary(Op::vectorTimesMatrix, type, left, right);
        if (left->type->isMatrix()) return builder_.binary(Op::matrixTimesScalar, type, left, right);
        return builder_.binary(Op::matrixTimesScalar, type, right, left);
    }
    if (hasMatrix) return arithmeticByColumn(operation, type, left, right);
    if (op == Op::shl || op == Op::shr) {
        const TypeRef scalar = module_.types.scalar(left->type->scalar);
        if (right->type->isScalar() && left->type->isVector())
            right = builder_.splat(left->type, builder_.convert(scalar, right));
        else
            right = builder_.convert(left->type, right);
    }
    if (left->type->isVector() && right->type->isScalar())
        right = builder_.splat(left->type, right);
    else if (right->type->isVector() && left->type->isScalar())
        left = builder_.splat(right->type, left);
    if (left->type->scalar == ScalarKind::bool_) op = logicalForm(op);
    return builder_.binary(op, type, left, right);
}

Operand Lowering::unary(const Unary& expr) {
    const auto plain = [&](Value* value) { return Operand::ofValue(value, expr.type); };
    switch (expr.op) {
    case UnaryOp::plus: return plain(value(expr.operand));
    case UnaryOp::minus: {
        Value* operand = value(expr.operand);
        if (!operand->type->isMatrix()) return plain(builder_.unary(Op::neg, operand));
        Value* columns[4] = {};
        for (unsigned i = 0; i < operand->type->columns; ++i)
            columns[i] = builder_.unary(Op::neg, builder_.extract(operand, i));
        return plain(builder_.construct(operand->type, {columns, operand->type->columns}));
    }
    case UnaryOp::logicalNot: return plain(builder_.unary(Op::logicalNot, value(expr.operand)));
    case UnaryOp::bitNot: {
        Value* operand = value(expr.operand);
        return plain(builder_.unary(operand->type->scalar == ScalarKind::bool_ ? Op::logicalNot : Op::bitNot, operand));
    }
    case UnaryOp::dereference: return load(lvalue(&expr), expr.location);
    case UnaryOp::addressOf: {
        const auto pointee = [&](const Access& access) {
            if (access.kind != Access::Kind::place || access.swizzleCount != 1) return inMemory(access, expr.location);
            return placeAccess(builder_.placeIndex(access.place, access.swizzle[0], access.type), access.type);
        };
        const Access access = lvalue(expr.operand);
        if (access.kind == Access::Kind::choice) return pointerTo(mapOptions(access, access.type, pointee), expr.type);
        return pointerTo(pointee(access), expr.type);
    }
    case UnaryOp::preIncrement:
    case UnaryOp::preDecrement:
    case UnaryOp::postIncrement:
    case UnaryOp::postDecrement: break;
    }
    const bool isDown = expr.op == UnaryOp::preDecrement || expr.op == UnaryOp::postDecrement;
    const bool isAfter = expr.op == UnaryOp::postIncrement || expr.op == UnaryOp::postDecrement;
    const Access access = lvalue(expr.operand);
    const Operand old = load(access, expr.location);
    Operand changed = old;
    if (old.kind == Operand::Kind::pointer) {
        changed = movePointer(old, module_.constantInt(module_.types.int_(), 1), isDown, expr.location);
    } else {
        const TypeRef type = old.value->type;
        Value* one = isFloating(type->scalar) ? module_.constantFloat(type, 1) : module_.constantInt(type, 1);
        changed.value = builder_.binary(isDown ? Op::sub : Op::add, type, old.value, one);
    }
    store(access, changed, expr.location);
    return isAfter ? old : changed;
}

// Comma-free access to the operand of a splat, when the multiplication can take the scalar as it is.
static const Expr* splatOperand(const Expr* expr) {
    if (expr->kind != ExprKind::implicitCast || !expr->type->isVector() || !isFloating(expr->type->scalar))
        return nullptr;
    const auto& cast = static_cast<const ImplicitCast&>(*expr);
    return cast.castKind == CastKind::splat && cast.operand->type->isScalar() &&
                   cast.operand->type->scalar == expr->type->scalar
               ? cast.operand
               : nullptr;
}

Operand Lowering::binary(const Binary& expr) {
    const auto plain = [&](Value* value) { return Operand::ofValue(value, expr.type); };
    if (isAssignment(expr.op)) return load(assign(expr), expr.location);
    switch (expr.op) {
    case BinaryOp::comma: effect(expr.left); return rvalue(expr.right);
    case BinaryOp::logicalAnd:
    case BinaryOp::logicalOr: return shortCircuit(expr);
    default: break;
    }
    const bool leftPoints = expr.left->type->is(TypeKind::pointer);
    const bool rightPoints = expr.right->type->is(TypeKind::pointer);
    if (leftPoints || rightPoints) return pointerBinary(expr);
    if (expr.op == BinaryOp::mul) {
        if (const Expr* scalar = splatOperand(expr.right)) {
            Value* vector = value(expr.left);
            Value* factor = value(scalar);
            if (!factor->isConstant())
                return plain(builder_.binary(Op::vectorTimesScalar, valueType(expr.type), vector, factor));
            return plain(arithmetic(expr.op, valueType(expr.type), vector, factor, expr.location));
        }
        if (const Expr* scalar = splatOperand(expr.left)) {
            Value* factor = value(scalar);
            Value* vector = value(expr.right);
            if (!factor->isConstant())
                return plain(builder_.binary(Op::vectorTimesScalar, valueType(expr.type), vector, factor));
            return plain(arithmetic(expr.op, valueType(expr.type), factor, vector, expr.location));
        }
    }
    Value* left = value(expr.left);
    Value* right = value(expr.right);
    return plain(arithmetic(expr.op, valueType(expr.type), left, right, expr.location));
}

Operand Lowering::pointerBinary(const Binary& expr) {
    const bool leftPoints = expr.left->type->is(TypeKind::pointer);
    const Operand left = leftPoints ? rvalue(expr.left) : Operand();
    if ((expr.op == BinaryOp::add || expr.op == BinaryOp::sub) && leftPoints &&
        !expr.right->type->is(TypeKind::pointer))
        return movePointer(left, indexValue(expr.right), expr.op == BinaryOp::sub, expr.location);
    if (expr.op == BinaryOp::add && !leftPoints) {
        Value* by = indexValue(expr.left);
        return movePointer(rvalue(expr.right), by, false, expr.location);
    }
    const Operand right = rvalue(expr.right);
    return Operand::ofValue(comparePointers(expr.op, left, right, valueType(expr.type), expr.location), expr.type);
}

static BinaryOp plainOp(BinaryOp op) {
    switch (op) {
    case BinaryOp::mulAssign: return BinaryOp::mul;
    case BinaryOp::divAssign: return BinaryOp::div;
    case BinaryOp::remAssign: return BinaryOp::rem;
    case BinaryOp::addAssign: return BinaryOp::add;
    case BinaryOp::subAssign: return BinaryOp::sub;
    case BinaryOp::shlAssign: return BinaryOp::shl;
    case BinaryOp::shrAssign: return BinaryOp::shr;
    case BinaryOp::andAssign: return BinaryOp::bitAnd;
    case BinaryOp::xorAssign: return BinaryOp::bitXor;
    case BinaryOp::orAssign: return BinaryOp::bitOr;
    default: return op;
    }
}

Access Lowering::assign(const Binary& expr) {
    const bool isPointer = expr.left->type->is(TypeKind::pointer);
    const Expr* scalar = plainOp(expr.op) == BinaryOp::mul ? splatOperand(expr.right) : nullptr;
    Operand right;
    if (expr.op == BinaryOp::assign)
        right = rvalue(expr.right);
    else if (isPointer)
        right = Operand::ofValue(indexValue(expr.right), expr.right->type);
    else
        right = Operand::ofValue(value(scalar != nullptr ? scalar : expr.right), expr.right->type);
    return assignTo(expr, expr.left, right, scalar != nullptr);
}

Access Lowering::assignTo(const Binary& expr, const Expr* target, const Operand& right, bool isScalarFactor) {
    if (target->kind == ExprKind::conditional && target->category == ValueCategory::lvalue) { // (c ? a : b) = x
        const auto& choice = static_cast<const Conditional&>(*target);
        Value* condition = value(choice.condition);
        if (condition->isConstant())
            return assignTo(expr, condition->bits != 0 ? choice.whenTrue : choice.whenFalse, right, isScalarFactor);
        const ir::Instruction* branch = builder_.if_(condition);
        ir::Block* outer = builder_.block;
        builder_.block = branch->blocks[0];
        assignTo(expr, choice.whenTrue, right, isScalarFactor);
        builder_.block = branch->blocks[1];
        assignTo(expr, choice.whenFalse, right, isScalarFactor);
        builder_.block = outer;
        return lvalue(target);
    }
    const Access left = lvalue(target);
    if (expr.op == BinaryOp::assign) {
        store(left, right, expr.location);
        return left;
    }
    if (target->type->is(TypeKind::pointer)) {
        const Operand moved =
            movePointer(load(left, expr.location), right.value, expr.op == BinaryOp::subAssign, expr.location);
        store(left, moved, expr.location);
        return left;
    }
    const BinaryOp op = plainOp(expr.op);
    Value* old = load(left, expr.location).value;
    if (old == nullptr) return left;
    const TypeRef type = valueType(target->type);
    const TypeRef computation = expr.computationType != nullptr ? valueType(expr.computationType) : type;
    Value* operand = convertValue(computation, old);
    Value* result = isScalarFactor && !right.value->isConstant() && operand->type->isVector()
                        ? builder_.binary(Op::vectorTimesScalar, computation, operand, right.value)
                        : arithmetic(op, computation, operand, right.value, expr.location);
    store(left, Operand::ofValue(convertValue(type, result), target->type), expr.location);
    return left;
}

// --------------------------------------------------------------------------------------------------------- choices

// Whether evaluating the expression needlessly costs little and does nothing: then a choice needs no branch.
bool Lowering::isCheap(const Expr* expr, unsigned& budget) {
    if (budget == 0) return false;
    --budget;
    switch (expr->kind) {
    case ExprKind::intLiteral:
    case ExprKind::floatLiteral:
    case ExprKind::boolLiteral:
    case ExprKind::nameRef:
    case ExprKind::sizeOf: return true;
    case ExprKind::member: {
        const auto& member = static_cast<const Member&>(*expr);
        return !member.isArrow && member.base != nullptr && isCheap(member.base, budget);
    }
    case ExprKind::cast: {
        const auto& cast = static_cast<const Cast&>(*expr);
        return isCheap(cast.operand, budget);
    }
    case ExprKind::implicitCast: {
        const auto& cast = static_cast<const ImplicitCast&>(*expr);
        if (cast.castKind == CastKind::lvalueToRvalue || cast.castKind == CastKind::none) ++budget;
        return isCheap(cast.operand, budget);
    }
    case ExprKind::unary: {
        const auto& unary = static_cast<const Unary&>(*expr);
        if (unary.op == UnaryOp::addressOf) return isCheapPlace(unary.operand, budget);
        return (unary.op == UnaryOp::plus || unary.op == UnaryOp::minus || unary.op == UnaryOp::logicalNot ||
                unary.op == UnaryOp::bitNot) &&
               isCheap(unary.operand, budget);
    }
    case ExprKind::binary: {
        const auto& binary = static_cast<const Binary&>(*expr);
        return !isAssignment(binary.op) && binary.op != BinaryOp::comma && isCheap(binary.left, budget) &&
               isCheap(binary.right, budget);
    }
    case ExprKind::construct: {
        const auto& construct = static_cast<const Construct&>(*expr);
        if (!expr->type->isScalar() && !expr->type->isVector()) return false;
        return std::ranges::all_of(construct.arguments, [&](const Expr* part) { return isCheap(part, budget); });
    }
    default: return false;
    }
}

// Likewise of finding out where something lies.
bool Lowering::isCheapPlace(const Expr* expr, unsigned& budget) {
    if (budget == 0) return false;
    --budget;
    switch (expr->kind) {
    case ExprKind::nameRef: return true;
    case ExprKind::member: {
        const auto& member = static_cast<const Member&>(*expr);
        return member.base != nullptr &&
               (member.isArrow ? isCheap(member.base, budget) : isCheapPlace(member.base, budget));
    }
    case ExprKind::index: {
        const auto& index = static_cast<const Index&>(*expr);
        const bool isPlace = !index.base->type->is(TypeKind::pointer);
        return (isPlace ? isCheapPlace(index.base, budget) : isCheap(index.base, budget)) &&
               isCheap(index.index, budget);
    }
    case ExprKind::implicitCast: {
        const auto& cast = static_cast<const ImplicitCast&>(*expr);
        return cast.castKind == CastKind::none && isCheapPlace(cast.operand, budget);
    }
    case ExprKind::unary: {
        const auto& unary = static_cast<const Unary&>(*expr);
        return unary.op == UnaryOp::dereference && isCheap(unary.operand, budget);
    }
    default: return false;
    }
}

Operand Lowering::shortCircuit(const Binary& expr) {
    const bool isAnd = expr.op == BinaryOp::logicalAnd;
    const Op op = isAnd ? Op::logicalAnd : Op::logicalOr;
    Value* left = value(expr.left);
    const TypeRef type = valueType(expr.type);
    unsigned budget = 12;
    if (type->isVector() || isCheap(expr.right, budget))
        return Operand::ofValue(builder_.binary(op, type, left, value(expr.right)), expr.type);
    if (left->isConstant()) {
        if ((left->bits != 0) != isAnd) return Operand::ofValue(left, expr.type);
        return Operand::ofValue(value(expr.right), expr.type);
    }
    ir::Variable* result = newLocal(type, "condition");
    builder_.store(builder_.place(result), left);
    const ir::Instruction* branch = builder_.if_(left);
    ir::Block* outer = builder_.block;
    builder_.block = branch->blocks[isAnd ? 0 : 1];
    Value* right = value(expr.right);
    builder_.store(builder_.place(result), right);
    builder_.block = outer;
    return Operand::ofValue(builder_.load(builder_.place(result)), expr.type);
}

Operand Lowering::conditional(const Conditional& expr, Value* condition) {
    if (condition->isConstant()) return rvalue(condition->bits != 0 ? expr.whenTrue : expr.whenFalse);
    if (expr.type->is(TypeKind::void_)) {
        const ir::Instruction* branch = builder_.if_(condition);
        ir::Block* outer = builder_.block;
        builder_.block = branch->blocks[0];
        effect(expr.whenTrue);
        builder_.block = branch->blocks[1];
        effect(expr.whenFalse);
        builder_.block = outer;
        return {};
    }
    unsigned budget = 16;
    if (isOpaque(expr.type)) {
        if (isCheap(expr.whenTrue, budget) && isCheap(expr.whenFalse, budget)) {
            const Operand both[2] = {rvalue(expr.whenFalse), rvalue(expr.whenTrue)};
            return chooseOperand(nullptr, condition, both, expr.type, expr.location);
        }
        Slot& slot = slots_.emplace_back();
        fillSlot(slot, expr.type, SlotUse::repointed, "chosen");
        const ir::Instruction* branch = builder_.if_(condition);
        ir::Block* outer = builder_.block;
        builder_.block = branch->blocks[0];
        storeSlot(slot, rvalue(expr.whenTrue), expr.location);
        builder_.block = branch->blocks[1];
        storeSlot(slot, rvalue(expr.whenFalse), expr.location);
        builder_.block = outer;
        return loadSlot(slot, expr.location);
    }
    const TypeRef type = valueType(expr.type);
    if ((type->isScalar() || type->isVector()) && isCheap(expr.whenTrue, budget) && isCheap(expr.whenFalse, budget)) {
        Value* whenTrue = value(expr.whenTrue);
        Value* whenFalse = value(expr.whenFalse);
        return Operand::ofValue(builder_.select(condition, whenTrue, whenFalse), expr.type);
    }
    ir::Variable* result = newLocal(type, "chosen");
    const ir::Instruction* branch = builder_.if_(condition);
    ir::Block* outer = builder_.block;
    builder_.block = branch->blocks[0];
    builder_.store(builder_.place(result), value(expr.whenTrue));
    builder_.block = branch->blocks[1];
    builder_.store(builder_.place(result), value(expr.whenFalse));
    builder_.block = outer;
    return Operand::ofValue(builder_.load(builder_.place(result)), expr.type);
}

} // namespace msl
