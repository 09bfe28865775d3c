// Calls that look like others and are not: constants that ask whether they are there, logs, and what votes can be
// asked.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

// is_function_constant_defined(name): its argument is the constant itself, not its value.
Expr* Analyzer::functionConstantDefined(Call* expr) {
    const bool isName = expr->arguments.size() == 1 && expr->arguments[0]->kind == ExprKind::nameRef;
    Expr* argument = isName ? expression(expr->arguments[0]) : nullptr;
    if (argument && argument->type->isError()) return errorAt(expr);
    const Decl* decl =
        argument && argument->kind == ExprKind::nameRef ? static_cast<NameRef*>(argument)->decl : nullptr;
    const bool isConstant = decl && decl->kind == DeclKind::variable &&
                            std::ranges::any_of(decl->attributes, [](const Attribute& attribute) {
                                return attribute.name && attribute.name->text == "function_constant";
                            });
    if (!isConstant) {
        error(expr->location, "'is_function_constant_defined' takes the name of a function constant");
        return errorAt(expr);
    }
    expr->arguments[0] = argument;
    expr->builtin = BuiltinId::functionConstantDefined;
    expr->type = types_.bool_();
    return expr;
}

// Logs are accepted and mean nothing here: what would be printed is checked and not computed.
Expr* Analyzer::logCall(Call* expr) {
    for (Expr*& argument : expr->arguments)
        if (argument->kind != ExprKind::stringLiteral && argument->kind != ExprKind::initList)
            argument = load(expression(argument));
    Cast* nothing = make<Cast>(expr);
    nothing->castKind = CastKind::toVoid;
    nothing->operand = makeInteger(0, types_.int_(), expr->location);
    nothing->type = types_.void_();
    return nothing;
}

bool Analyzer::isLog(Member* callee) {
    if (callee->isArrow || !callee->name.identifier || !callee->name.identifier->text.starts_with("log") ||
        callee->base->kind != ExprKind::nameRef)
        return false;
    const Name& name = static_cast<NameRef*>(callee->base)->name;
    if (!name.identifier) return false;
    if (name.identifier->text == "os_log_default") return !name.identifier->scope;
    const ScopeEntry* entry = name.identifier->scope;
    if (!entry || entry->decl->kind != DeclKind::variable) return false;
    const TypeSyntax* written = static_cast<VarDecl*>(entry->decl)->typeSyntax;
    return written && written->name.identifier && written->name.identifier->text == "os_log";
}

// input.interpolate_at_center() and its kin.
Expr* Analyzer::interpolantMethod(Call* expr, Member* callee) {
    struct Method {
        std::string_view name;
        BuiltinId id;
        TypeRef parameter; // null: takes nothing
    };
    const Method methods[] = {
        {"interpolate_at_center", BuiltinId::interpolateAtCenter, nullptr},
        {"interpolate_at_centroid", BuiltinId::interpolateAtCentroid, nullptr},
        {"interpolate_at_offset", BuiltinId::interpolateAtOffset, types_.vector(ScalarKind::float_, 2)},
        {"interpolate_at_sample", BuiltinId::interpolateAtSample, types_.uint()},
    };
    const std::string_view text = callee->name.identifier->text;
    const auto* method = std::ranges::find(methods, text, &Method::name);
    TypeRef type = callee->base->type;
    if (callee->isArrow) type = type->element;
    if (method == std::end(methods)) {
        error(callee->location, "no member named '" + std::string(text) + "' in '" + typeName(type) + "'");
        return errorAt(expr);
    }
    if (expr->arguments.size() != (method->parameter ? 1U : 0U)) {
        error(callee->location,
              "'" + std::string(text) + "' takes " + (method->parameter ? "one argument" : "no arguments"));
        return errorAt(expr);
    }
    if (method->parameter) {
        Expr*& argument = expr->arguments[0];
        argument = convert(argument, method->parameter, Purpose::parameter,
                           argument->begin ? argument->begin : argument->location);
        if (argument->type->isError()) return errorAt(expr);
    }
    expr->object = callee->base;
    expr->objectIsPointer = callee->isArrow;
    expr->builtin = method->id;
    expr->type = type->element;
    return expr;
}

// vote.all() and vote.any(), where a vote is the mask of the lanes that said yes. Null for other calls.
Expr* Analyzer::voteMethod(Call* expr, Member* callee) {
    if (callee->isArrow || !callee->name.identifier || !expr->arguments.empty()) return nullptr;
    const bool isAll = callee->name.identifier->text == "all";
    if (!isAll && callee->name.identifier->text != "any") return nullptr;
    callee->base = expression(callee->base);
    BuiltinId active = BuiltinId::none; // gives the mask in which every lane says yes
    if (callee->base->kind == ExprKind::call) {
        switch (static_cast<Call*>(callee->base)->builtin) {
        case BuiltinId::simdBallot:
        case BuiltinId::simdActiveThreadsMask: active = BuiltinId::simdActiveThreadsMask; break;
        case BuiltinId::quadBallot:
        case BuiltinId::quadActiveThreadsMask: active = BuiltinId::quadActiveThreadsMask; break;
        default: break;
        }
    } else if (callee->base->kind == ExprKind::nameRef) {
        const Decl* decl = static_cast<NameRef*>(callee->base)->decl;
        const TypeSyntax* written =
            decl && decl->kind == DeclKind::variable ? static_cast<const VarDecl*>(decl)->typeSyntax : nullptr;
        const std::string_view type = written && written->name.identifier ? written->name.identifier->text : "";
        if (type == "simd_vote") active = BuiltinId::simdActiveThreadsMask;
        if (type == "quad_vote") active = BuiltinId::quadActiveThreadsMask;
    }
    if (active == BuiltinId::none) return nullptr;
    const TypeRef mask = types_.scalar(ScalarKind::ulong);
    Call* all = make<Call>(expr);
    all->builtin = active;
    all->type = mask;
    Binary* answer = make<Binary>(expr);
    answer->op = isAll ? BinaryOp::equal : BinaryOp::notEqual;
    answer->left = load(callee->base);
    answer->right = isAll ? static_cast<Expr*>(all) : makeInteger(0, mask, expr->location);
    answer->type = types_.bool_();
    return answer;
}

} // namespace msl
