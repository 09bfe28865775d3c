// What lvalues stand for, and what is written to them.
#include "MSL/sema/ConstRun.h"

#include <algorithm>

namespace msl {

using constant::Scalar;

Scalar* Analyzer::ConstantRun::place(Expr* expr) {
    if (!expr || !expr->type || isTooDeep() || !step()) return nullptr;
    const Deeper deeper(state_.depth);
    if (expr->category == ValueCategory::rvalue) { // a value with a place of its own
        const Numbers made = take(expr->type);
        return !made.empty() && value(expr, made) ? made.data() : nullptr;
    }
    switch (expr->kind) {
    case ExprKind::nameRef: {
        Decl* decl = static_cast<NameRef*>(expr)->decl;
        return decl && decl->kind == DeclKind::variable ? placeOfVariable(static_cast<VarDecl*>(decl)) : nullptr;
    }
    case ExprKind::member: return placeOfMember(static_cast<Member*>(expr));
    case ExprKind::index: return placeOfElement(static_cast<Index*>(expr));
    case ExprKind::conditional: {
        auto* node = static_cast<Conditional*>(expr);
        bool isTrue = false;
        return truth(node->condition, isTrue) ? place(isTrue ? node->whenTrue : node->whenFalse) : nullptr;
    }
    case ExprKind::unary: {
        auto* node = static_cast<Unary*>(expr);
        if (node->op == UnaryOp::dereference) return placeOfTarget(node->operand);
        if (node->op != UnaryOp::preIncrement && node->op != UnaryOp::preDecrement) return nullptr;
        const Numbers ignored = take(node->type);
        return !ignored.empty() && increment(node, ignored) ? place(node->operand) : nullptr;
    }
    case ExprKind::binary: {
        auto* node = static_cast<Binary*>(expr);
        if (node->op == BinaryOp::comma)
            return cast(CastKind::toVoid, node->left, node->left->type, {}, {}) ? place(node->right) : nullptr;
        const Numbers ignored = take(node->type);
        return isAssignment(node->op) && !ignored.empty() && assign(node, ignored) ? place(node->left) : nullptr;
    }
    case ExprKind::implicitCast: {
        auto* node = static_cast<ImplicitCast*>(expr);
        return node->castKind == CastKind::none ? place(node->operand) : nullptr;
    }
    default: return nullptr;
    }
}

// A variable of the run, or a constant of the program, which is computed when it is met first.
Scalar* Analyzer::ConstantRun::placeOfVariable(VarDecl* var) {
    if (const auto known = bound_.find(var); known != bound_.end() && known->second) return known->second;
    if (!var->type) return nullptr;
    const bool isConstant = (var->isConst || var->isConstexpr) && var->varKind != VarKind::parameter &&
                            var->varKind != VarKind::field && var->initializer && var->initializer->type == var->type;
    if (!isConstant && !var->hasConstantValue) return nullptr;
    const std::size_t count = store_.count(var->type);
    Scalar* made = count > 0 && step(1 + count / numbersPerStep) ? state_.constants.take(count) : nullptr;
    if (!made) return nullptr;
    if (var->hasConstantValue)
        made[0] = Scalar::integer(kindOf(var->type), static_cast<std::uint64_t>(var->constantValue));
    else if (!value(var->initializer, {made, count}))
        return nullptr;
    bound_[var] = made;
    return made;
}

// What a pointer points at: the object of a member function, or what its address was just taken of.
Scalar* Analyzer::ConstantRun::placeOfTarget(Expr* pointer) {
    while (pointer && pointer->kind == ExprKind::implicitCast &&
           (static_cast<ImplicitCast*>(pointer)->castKind == CastKind::none ||
            static_cast<ImplicitCast*>(pointer)->castKind == CastKind::lvalueToRvalue))
        pointer = static_cast<ImplicitCast*>(pointer)->operand;
    if (!pointer) return nullptr;
    if (pointer->kind == ExprKind::nameRef && static_cast<NameRef*>(pointer)->isThis) return frame_.self;
    if (pointer->kind == ExprKind::unary && static_cast<Unary*>(pointer)->op == UnaryOp::addressOf)
        return place(static_cast<Unary*>(pointer)->operand);
    return nullptr;
}

Scalar* Analyzer::ConstantRun::placeOfMember(Member* node) {
    Scalar* base = node->isArrow ? placeOfTarget(node->base) : place(node->base);
    if (!base) return nullptr;
    if (node->field) {
        const TypeRef object = node->isArrow ? node->base->type->element : node->base->type;
        if (!object || !object->is(TypeKind::struct_) || store_.count(object) == 0) return nullptr;
        return base + store_.fieldOffset(object->structDecl, node->field->index);
    }
    if (node->swizzleCount == 1) return base + node->swizzle[0];
    const Numbers made = take(node->type); // several components: a value, not a place of its own
    if (made.size() != node->swizzleCount) return nullptr;
    for (std::size_t i = 0; i < made.size(); ++i)
        made[i] = base[node->swizzle[i]];
    return made.data();
}

Scalar* Analyzer::ConstantRun::placeOfElement(Index* node) {
    Expr* array = node->base;
    if (array->type->is(TypeKind::pointer)) {
        if (array->kind != ExprKind::implicitCast ||
            static_cast<ImplicitCast*>(array)->castKind != CastKind::arrayToPointer)
            return nullptr;
        array = static_cast<ImplicitCast*>(array)->operand;
    }
    Scalar number;
    if (!node->index->type || !isNumber(node->index->type) || !value(node->index, {&number, 1})) return nullptr;
    const std::uint64_t count = array->type->is(TypeKind::array) ? array->type->count : array->type->columns;
    if (!number.isInteger() || number.bits >= count) {
        const std::string text =
            isSigned(number.kind) ? std::to_string(number.asInteger()) : std::to_string(number.bits);
        fails(node->index->begin ? node->index->begin : node->location,
              "cannot refer to element " + text + " of array of " + std::to_string(count) +
                  (count == 1 ? " element" : " elements") + " in a constant expression");
        return nullptr;
    }
    if (Expr* element = elementOfConstant(array, number.bits)) return place(element);
    Scalar* base = place(array);
    return base ? base + number.bits * store_.count(node->type) : nullptr;
}

// What an element of a constant table is made from, so that not all of them are computed for the sake of one.
Expr* Analyzer::ConstantRun::elementOfConstant(Expr* array, std::uint64_t number) const {
    if (array->kind != ExprKind::nameRef) return nullptr;
    const Decl* decl = static_cast<NameRef*>(array)->decl;
    if (!decl || decl->kind != DeclKind::variable || bound_.contains(static_cast<const VarDecl*>(decl))) return nullptr;
    const auto* var = static_cast<const VarDecl*>(decl);
    if (!(var->isConst || var->isConstexpr) || var->varKind == VarKind::parameter || !var->initializer ||
        var->initializer->kind != ExprKind::construct || !var->type->is(TypeKind::array))
        return nullptr;
    const auto* made = static_cast<const Construct*>(var->initializer);
    if (made->constructKind != ConstructKind::aggregate || number >= made->arguments.size()) return nullptr;
    Expr* element = made->arguments[static_cast<std::size_t>(number)];
    return element && element->type == var->type->element ? element : nullptr;
}

bool Analyzer::ConstantRun::copy(Expr* expr, Numbers out) {
    const bool isPartOfValue = expr->category == ValueCategory::rvalue;
    if (out.empty() || !step(1 + out.size() / numbersPerStep)) return false;
    const Scratch scratch(store_);
    const Scalar* from = nullptr;
    if (isPartOfValue && expr->kind == ExprKind::member)
        from = placeOfMember(static_cast<Member*>(expr));
    else if (isPartOfValue && expr->kind == ExprKind::index)
        from = placeOfElement(static_cast<Index*>(expr));
    else if (!isPartOfValue)
        from = place(expr);
    if (!from) return false;
    std::copy_n(from, out.size(), out.begin());
    return true;
}

bool Analyzer::ConstantRun::assign(Binary* node, Numbers out) {
    const Scratch scratch(store_);
    const TypeRef type = node->left->type;
    const Numbers right = take(node->right->type);
    if (out.empty() || right.empty() || !value(node->right, right)) return false;
    const bool isSwizzle = node->left->kind == ExprKind::member && static_cast<Member*>(node->left)->swizzleCount > 1;
    Scalar* left = place(node->left);
    if (!left) return false;
    if (node->op == BinaryOp::assign) {
        if (right.size() != out.size()) return false;
        std::ranges::copy(right, out.begin());
    } else {
        const TypeRef computation = node->computationType ? node->computationType : type;
        const Numbers old = take(computation);
        const Numbers made = take(computation);
        if (!convert(type, {left, out.size()}, computation, node->location, old) ||
            !operation(node->op, computation, old, node->right->type, right, node->location, made) ||
            !convert(computation, made, type, node->location, out))
            return false;
    }
    if (isSwizzle) {
        const auto* swizzle = static_cast<Member*>(node->left);
        Scalar* base = swizzle->isArrow ? placeOfTarget(swizzle->base) : place(swizzle->base);
        for (std::size_t i = 0; base && i < out.size(); ++i)
            base[swizzle->swizzle[i]] = out[i];
        return base != nullptr;
    }
    std::ranges::copy(out, left);
    return true;
}

bool Analyzer::ConstantRun::increment(Unary* node, Numbers out) {
    Scalar* numbers = place(node->operand);
    const TypeRef type = node->operand->type;
    if (!numbers || out.size() != store_.count(type)) return false;
    const bool isDown = node->op == UnaryOp::postDecrement || node->op == UnaryOp::preDecrement;
    const bool isAfter = node->op == UnaryOp::postIncrement || node->op == UnaryOp::postDecrement;
    const Scalar one = constant::convert(Scalar::boolean(true), kindOf(type)).value;
    const Scratch scratch(store_);
    const Numbers made = take(type);
    if (made.empty() || !operation(isDown ? BinaryOp::sub : BinaryOp::add, type, {numbers, out.size()}, type, {&one, 1},
                                   node->location, made))
        return false;
    std::copy_n(isAfter ? numbers : made.data(), out.size(), out.begin());
    std::ranges::copy(made, numbers);
    return true;
}

} // namespace msl
