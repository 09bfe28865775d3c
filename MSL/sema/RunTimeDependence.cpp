// What is plainly not constant.
#include "MSL/sema/Analyzer.h"

namespace msl {

// Whether a value is read that is only known at run time: a parameter, or a variable that is not constant.
bool Analyzer::dependsOnRunTime(const Expr* expr, unsigned depth) const {
    if (!expr || depth > maxExpressionDepth) return false;
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

} // namespace msl
