// Unary operators and casts, and what may be written to.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

void Analyzer::reportNotLvalue(Expr* expr, SourceLocation at) {
    if (expr->kind == ExprKind::member) {
        const auto* member = static_cast<Member*>(expr);
        for (unsigned i = 0; i < member->swizzleCount; ++i)
            for (unsigned j = 0; j < i; ++j)
                if (member->swizzle[i] == member->swizzle[j]) {
                    error(at, "vector is not assignable (contains duplicate components)");
                    return;
                }
    }
    error(at, "expression is not assignable");
}

bool Analyzer::checkAssignable(Expr* lvalue, SourceLocation at) {
    if (lvalue->type->isError()) return false;
    if (lvalue->category != ValueCategory::lvalue) {
        reportNotLvalue(lvalue, at);
        return false;
    }
    if (!lvalue->isConst && lvalue->space != AddressSpace::constant) return true;
    // Which part of the path makes it read-only?
    for (Expr* part = lvalue; part;) {
        if (part->kind == ExprKind::member) {
            auto* member = static_cast<Member*>(part);
            if (member->field && member->field->isConst) {
                error(at, "cannot assign to non-static data member '" + std::string(member->field->name->text) +
                              "' with const-qualified type 'const " + typeName(member->field->type) + "'");
                note(member->field->location,
                     "non-static data member '" + std::string(member->field->name->text) + "' declared const here");
                return false;
            }
            if (member->isArrow) {
                if (member->base->kind == ExprKind::nameRef && static_cast<NameRef*>(member->base)->isThis &&
                    context_.lambda) {
                    error(at, "cannot assign to a variable captured by copy in a non-mutable lambda");
                    return false;
                }
                if (member->base->kind == ExprKind::nameRef && static_cast<NameRef*>(member->base)->isThis) {
                    error(at, "cannot assign to non-static data member within const member function '" +
                                  std::string(context_.function->name ? context_.function->name->text : "operator") +
                                  "'");
                    return false;
                }
                break;
            }
            part = member->base;
        } else if (part->kind == ExprKind::index) {
            auto* index = static_cast<Index*>(part);
            if (index->base->type->is(TypeKind::pointer)) break;
            part = index->base;
        } else if (part->kind == ExprKind::nameRef) {
            const Decl* decl = static_cast<NameRef*>(part)->decl;
            if (!decl || decl->kind != DeclKind::variable) break;
            const auto* var = static_cast<const VarDecl*>(decl);
            std::string shown = typeName(var->type);
            if (!shown.starts_with("const ")) shown = "const " + shown;
            error(at, "cannot assign to variable '" + std::string(var->name ? var->name->text : "") +
                          "' with const-qualified type '" + shown + "'");
            if (var->location)
                note(var->location,
                     "variable '" + std::string(var->name ? var->name->text : "") + "' declared const here");
            return false;
        } else {
            break;
        }
    }
    error(at, "read-only variable is not assignable");
    return false;
}

Expr* Analyzer::unary(Unary* expr) {
    expr->operand = expression(expr->operand);
    TypeRef type = expr->operand->type;
    if (type->isError()) return errorAt(expr);
    if ((type->is(TypeKind::struct_) || type->is(TypeKind::enum_)) && expr->op != UnaryOp::addressOf) {
        bool handled = false;
        Expr* call = overloadedUnary(expr, &handled);
        if (handled) return call;
    }
    const auto invalid = [&] {
        error(expr->location, "invalid argument type '" + typeName(type) + "' to unary expression");
        return errorAt(expr);
    };
    switch (expr->op) {
    case UnaryOp::plus:
    case UnaryOp::minus: {
        expr->operand = toArithmetic(load(expr->operand));
        const TypeRef read = expr->operand->type;
        if (read->isError()) return errorAt(expr);
        if (!read->isNumeric() || (read->isVector() && read->scalar == ScalarKind::bool_)) return invalid();
        expr->operand = explicitConvert(expr->operand, promoted(read));
        expr->type = expr->operand->type;
        return expr;
    }
    case UnaryOp::bitNot: {
        expr->operand = toArithmetic(load(expr->operand));
        const TypeRef read = expr->operand->type;
        if (!read->isIntegerNumeric()) return read->isError() ? errorAt(expr) : invalid();
        expr->operand = explicitConvert(expr->operand, promoted(read));
        expr->type = expr->operand->type;
        return expr;
    }
    case UnaryOp::logicalNot: {
        expr->operand = toArithmetic(load(expr->operand));
        const TypeRef read = expr->operand->type;
        if (read->isVector()) {
            expr->type = types_.withScalar(read, ScalarKind::bool_);
            expr->operand = explicitConvert(expr->operand, expr->type);
            return expr;
        }
        if (read->isMatrix() || read->is(TypeKind::array)) return invalid();
        expr->operand = toBool(expr->operand);
        if (expr->operand->type->isError()) return errorAt(expr);
        expr->type = types_.bool_();
        return expr;
    }
    case UnaryOp::preIncrement:
    case UnaryOp::preDecrement:
    case UnaryOp::postIncrement:
    case UnaryOp::postDecrement: {
        const bool isIncrement = expr->op == UnaryOp::preIncrement || expr->op == UnaryOp::postIncrement;
        const bool isPrefix = expr->op == UnaryOp::preIncrement || expr->op == UnaryOp::preDecrement;
        const bool fits = ((type->isScalar() || type->isVector()) && type->scalar != ScalarKind::bool_) ||
                          type->is(TypeKind::pointer);
        if (!fits) {
            error(expr->location, std::string("cannot ") + (isIncrement ? "increment" : "decrement") +
                                      " value of type '" + typeName(type) + "'");
            return errorAt(expr);
        }
        if (!checkAssignable(expr->operand, expr->location)) return errorAt(expr);
        expr->type = type;
        if (isPrefix) {
            expr->category = ValueCategory::lvalue;
            expr->space = expr->operand->space;
        }
        return expr;
    }
    case UnaryOp::dereference:
        if (type->is(TypeKind::array)) {
            expr->operand = makeCast(CastKind::arrayToPointer, expr->operand,
                                     types_.pointer(type->element, expr->operand->space, expr->operand->isConst));
            type = expr->operand->type;
        }
        if (!type->is(TypeKind::pointer)) {
            error(expr->location, "indirection requires pointer operand ('" + typeName(type) + "' invalid)");
            return errorAt(expr);
        }
        expr->operand = load(expr->operand);
        expr->type = type->element;
        expr->category = ValueCategory::lvalue;
        expr->space = type->space;
        expr->isConst = type->pointeeConst;
        return expr;
    case UnaryOp::addressOf:
        if (type->is(TypeKind::overload)) {
            unsupported(expr->location, "taking the address of a function");
            return errorAt(expr);
        }
        if (expr->operand->category != ValueCategory::lvalue) {
            error(expr->location, "cannot take the address of an rvalue of type '" + typeName(type) + "'");
            return errorAt(expr);
        }
        if (expr->operand->kind == ExprKind::member && static_cast<Member*>(expr->operand)->swizzleCount > 0) {
            error(expr->location, "address of vector element requested");
            return errorAt(expr);
        }
        expr->type = types_.pointer(type, expr->operand->space, expr->operand->isConst);
        return expr;
    }
    return errorAt(expr);
}

Expr* Analyzer::cast(Cast* expr) {
    const TypeRef to = resolveTypeOnly(expr->typeSyntax);
    if (expr->operand && expr->operand->kind == ExprKind::initList) {
        if (to->isError()) return errorAt(expr);
        return initializeFromList(to, static_cast<InitList*>(expr->operand), Purpose::variable, true);
    }
    if (to->is(TypeKind::sampler)) {
        Expr* only[] = {expr->operand};
        return samplerValue(expr, only);
    }
    Expr* operand = expression(expr->operand);
    if (to->isError() || operand->type->isError()) return errorAt(expr);
    TypeRef from = operand->type;
    if (from->is(TypeKind::overload)) {
        load(operand);
        return errorAt(expr);
    }
    expr->type = to;
    if (to->is(TypeKind::reference) && operand->category == ValueCategory::lvalue && from != to->element &&
        derivesFrom(to->element, from) && operand->space == to->space && (to->pointeeConst || !operand->isConst)) {
        Expr* derived = toDerived(operand, to->element); // the object that a base is part of
        derived->isConst = to->pointeeConst;
        return derived;
    }
    if (from->is(TypeKind::pointer) && to->is(TypeKind::pointer) && from->space == to->space &&
        derivesFrom(to->element, from->element) && (to->pointeeConst || !from->pointeeConst)) {
        Unary* object = make<Unary>(operand);
        object->op = UnaryOp::dereference;
        object->operand = load(operand);
        object->category = ValueCategory::lvalue;
        object->space = from->space;
        object->isConst = from->pointeeConst;
        object->type = from->element;
        Unary* pointer = make<Unary>(operand);
        pointer->op = UnaryOp::addressOf;
        pointer->operand = toDerived(object, to->element);
        pointer->type = to;
        return pointer;
    }
    // reinterpret_cast<device T&>(x): the same memory as another type
    if (to->is(TypeKind::reference) &&
        (expr->syntax == CastSyntax::reinterpret_ || expr->syntax == CastSyntax::cStyle) &&
        operand->category == ValueCategory::lvalue && operand->type != to->element && operand->space == to->space) {
        expr->castKind = CastKind::bitcast;
        expr->operand = operand;
        expr->type = to->element;
        expr->category = ValueCategory::lvalue;
        expr->space = to->space;
        expr->isConst = to->pointeeConst || operand->isConst;
        return expr;
    }
    if (to->is(TypeKind::reference)) { // static_cast<thread T&>(x)
        expr->operand = bindReference(operand, to, Purpose::variable, expr->location);
        if (expr->operand->type->isError()) return errorAt(expr);
        expr->type = to->element;
        expr->category = expr->operand->category;
        expr->space = to->space;
        expr->isConst = to->pointeeConst;
        return expr;
    }
    if (expr->syntax == CastSyntax::asType) {
        const auto fits = [](TypeRef type) {
            return type->isScalar() || type->isVector() || type->is(TypeKind::packedVector);
        };
        if (!fits(to) || !fits(from) || layoutOf(to).size != layoutOf(from).size) {
            error(expr->location, "as_type cannot convert from '" + typeName(from) + "' to '" + typeName(to) +
                                      "': the sizes must be equal");
            return errorAt(expr);
        }
        expr->operand = toArithmetic(load(operand));
        expr->castKind = expr->operand->type == to ? CastKind::none : CastKind::bitcast;
        return expr;
    }
    if (to->is(TypeKind::pointer) && from->is(TypeKind::array) && operand->category == ValueCategory::lvalue) {
        operand = makeCast(CastKind::arrayToPointer, operand,
                           types_.pointer(from->element, operand->space, operand->isConst));
        expr->operand = operand;
        from = operand->type;
    }
    const bool pointers = from->is(TypeKind::pointer) && to->is(TypeKind::pointer);
    const bool isFromVoid = pointers && expr->syntax == CastSyntax::static_ && from->element->is(TypeKind::void_);
    if (pointers && (expr->syntax == CastSyntax::reinterpret_ || expr->syntax == CastSyntax::cStyle ||
                     expr->syntax == CastSyntax::const_ || isFromVoid)) {
        if (from->space != to->space) {
            error(expr->location, "cast from '" + typeName(from) + "' to '" + typeName(to) + "' changes address space");
            return errorAt(expr);
        }
        expr->operand = load(operand);
        expr->castKind = from->element == to->element ? CastKind::none : CastKind::bitcast;
        return expr;
    }
    // A pointer as the number of its address, and the other way round.
    const auto isAddress = [](TypeRef type) {
        return type->isScalar() && isInteger(type->scalar) && byteSize(type->scalar) == 8;
    };
    if ((expr->syntax == CastSyntax::reinterpret_ || expr->syntax == CastSyntax::cStyle) &&
        ((isAddress(from) && to->is(TypeKind::pointer) &&
          (operand->kind != ExprKind::intLiteral || static_cast<IntLiteral*>(operand)->value != 0)) ||
         (from->is(TypeKind::pointer) && isAddress(to)))) {
        expr->operand = load(operand);
        expr->castKind = to->is(TypeKind::pointer) ? CastKind::integerToPointer : CastKind::pointerToInteger;
        return expr;
    }
    if (expr->syntax == CastSyntax::reinterpret_) {
        error(expr->location,
              "reinterpret_cast from '" + typeName(from) + "' to '" + typeName(to) + "' is not allowed");
        return errorAt(expr);
    }
    Expr* converted = explicitConvert(operand, to);
    if (!converted) converted = tryConvert(operand, to);
    if (!converted) {
        const std::string_view what = expr->syntax == CastSyntax::cStyle ? "C-style cast" : "static_cast";
        error(expr->location,
              "cannot convert '" + typeName(from) + "' to '" + typeName(to) + "' without a conversion operator");
        (void)what;
        return errorAt(expr);
    }
    expr->operand = converted;
    expr->castKind = CastKind::none;
    return expr;
}

Expr* Analyzer::sizeOf(SizeOf* expr) {
    TypeRef type = nullptr;
    if (expr->pack) { // sizeof...(T)
        const PackDecl* pack = packNamed(expr->pack);
        if (!pack) {
            error(expr->location,
                  "'" + std::string(expr->pack->text) + "' does not refer to the name of a parameter pack");
            return errorAt(expr);
        }
        return makeInteger(static_cast<std::int64_t>(pack->elements.size()), types_.scalar(ScalarKind::ulong),
                           expr->location);
    }
    std::uint32_t alignment = 0;
    if (expr->typeSyntax) {
        const DeclaredType declared = resolveType(expr->typeSyntax);
        type = declared.type;
        alignment = declared.alignment;
    } else if (expr->operand) {
        type = expression(expr->operand)->type;
        if (expr->isAlignOf) unsupported(expr->location, "'alignof' of an expression");
    }
    if (!type || type->isError()) return errorAt(expr);
    if (type->is(TypeKind::reference)) type = type->element;
    if (!requireComplete(type, expr->location,
                         expr->isAlignOf ? "invalid application of 'alignof' to"
                                         : "invalid application of 'sizeof' to"))
        return errorAt(expr);
    Layout layout = layoutOf(type);
    if (type->is(TypeKind::struct_) && !type->structDecl->fields.empty() &&
        type->structDecl->fields.back()->isOpenArray)
        layout.size = (type->record->fields.back().offset + layout.alignment - 1) / layout.alignment * layout.alignment;
    if (layout.size == 0 && (type->is(TypeKind::void_) || type->is(TypeKind::overload))) {
        error(expr->location, "invalid application of 'sizeof' to a type without a size, '" + typeName(type) + "'");
        return errorAt(expr);
    }
    expr->value = !expr->isAlignOf ? layout.size : alignment != 0 ? alignment : layout.alignment;
    return makeInteger(static_cast<std::int64_t>(expr->value), types_.scalar(ScalarKind::ulong), expr->location);
}

} // namespace msl
