// Looks over a function's body once, before it is lowered, and notes which variables are written after their
// declaration (those need memory; all others become plain values) and where the function returns.
#include "MSL/lower/Lowering.h"

namespace msl {

void Lowering::scan(FunctionDecl* function) {
    FunctionFacts& facts = this->facts(function);
    if (facts.isScanned) return;
    facts.isScanned = true;
    for (const VarDecl* parameter : function->parameters)
        if (parameter->initializer != nullptr) scanExpr(parameter->initializer);
    for (const FunctionDecl::MemberInit& init : function->memberInits)
        if (init.value != nullptr) scanExpr(init.value);
    if (function->body == nullptr) return;
    scanStmt(function->body, facts);
    const auto& body = function->body->statements;
    facts.endsInReturn =
        facts.returnCount == 0 || (facts.returnCount == 1 && !body.empty() && body.back()->kind == StmtKind::return_);
}

VarDecl* Lowering::rootVariable(const Expr* expr) {
    while (expr != nullptr) {
        switch (expr->kind) {
        case ExprKind::nameRef: {
            Decl* decl = static_cast<const NameRef*>(expr)->decl;
            return decl != nullptr && decl->kind == DeclKind::variable ? static_cast<VarDecl*>(decl) : nullptr;
        }
        case ExprKind::member: {
            const auto& member = static_cast<const Member&>(*expr);
            if (member.isArrow) return nullptr;
            expr = member.base;
            break;
        }
        case ExprKind::index: {
            const auto& index = static_cast<const Index&>(*expr);
            if (index.base->type->is(TypeKind::pointer)) {
                // An array that decays in place is still written through its own name.
                if (index.base->kind != ExprKind::implicitCast ||
                    static_cast<const ImplicitCast*>(index.base)->castKind != CastKind::arrayToPointer)
                    return nullptr;
                expr = static_cast<const ImplicitCast*>(index.base)->operand;
            } else {
                expr = index.base;
            }
            break;
        }
        case ExprKind::implicitCast: {
            const auto& cast = static_cast<const ImplicitCast&>(*expr);
            if (cast.castKind == CastKind::arrayToPointer || cast.castKind == CastKind::none) {
                expr = cast.operand;
                break;
            }
            return nullptr;
        }
        case ExprKind::cast: expr = static_cast<const Cast*>(expr)->operand; break;
        case ExprKind::unary: {
            const auto& unary = static_cast<const Unary&>(*expr);
            if (unary.op != UnaryOp::preIncrement && unary.op != UnaryOp::preDecrement) return nullptr;
            expr = unary.operand;
            break;
        }
        case ExprKind::binary: {
            const auto& binary = static_cast<const Binary&>(*expr);
            if (binary.op == BinaryOp::comma)
                expr = binary.right;
            else if (isAssignment(binary.op))
                expr = binary.left;
            else
                return nullptr;
            break;
        }
        default: return nullptr;
        }
    }
    return nullptr;
}

void Lowering::markWritten(const Expr* expr, bool isMoved) {
    if (expr->kind == ExprKind::conditional) {
        markWritten(static_cast<const Conditional*>(expr)->whenTrue, isMoved);
        markWritten(static_cast<const Conditional*>(expr)->whenFalse, isMoved);
        return;
    }
    if (VarDecl* variable = rootVariable(expr)) {
        facts(variable).isWritten = true;
        if (!isMoved) facts(variable).isRepointed = true;
    }
}

void Lowering::markIndexed(const Expr* expr) {
    if (VarDecl* variable = rootVariable(expr)) facts(variable).isIndexedDynamically = true;
}

void Lowering::scanLocal(const VarDecl* variable) {
    for (const Expr* argument : variable->parenArguments)
        scanExpr(argument);
    if (variable->initializer == nullptr) return;
    scanExpr(variable->initializer);
    if (variable->type->is(TypeKind::reference) && !variable->type->pointeeConst) markWritten(variable->initializer);
}

void Lowering::scanStmt(const Stmt* stmt, FunctionFacts& function) {
    if (stmt == nullptr) return;
    switch (stmt->kind) {
    case StmtKind::compound:
        for (const Stmt* one : static_cast<const CompoundStmt*>(stmt)->statements)
            scanStmt(one, function);
        break;
    case StmtKind::declaration:
        for (const Decl* decl : static_cast<const DeclStmt*>(stmt)->declarations)
            if (decl->kind == DeclKind::variable) scanLocal(static_cast<const VarDecl*>(decl));
        break;
    case StmtKind::expression: scanExpr(static_cast<const ExprStmt*>(stmt)->expression); break;
    case StmtKind::if_: {
        const auto& branch = static_cast<const IfStmt&>(*stmt);
        scanStmt(branch.init, function);
        scanExpr(branch.condition);
        scanStmt(branch.thenBranch, function);
        scanStmt(branch.elseBranch, function);
        break;
    }
    case StmtKind::for_: {
        const auto& loop = static_cast<const ForStmt&>(*stmt);
        scanStmt(loop.init, function);
        scanExpr(loop.condition);
        scanExpr(loop.step);
        scanStmt(loop.body, function);
        break;
    }
    case StmtKind::rangeFor: {
        const auto& loop = static_cast<const RangeForStmt&>(*stmt);
        scanExpr(loop.range);
        if (loop.variable->type->is(TypeKind::reference) && !loop.variable->type->pointeeConst) markWritten(loop.range);
        markIndexed(loop.range);
        scanStmt(loop.body, function);
        break;
    }
    case StmtKind::while_:
        scanExpr(static_cast<const WhileStmt*>(stmt)->condition);
        scanStmt(static_cast<const WhileStmt*>(stmt)->body, function);
        break;
    case StmtKind::doWhile:
        scanExpr(static_cast<const DoWhileStmt*>(stmt)->condition);
        scanStmt(static_cast<const DoWhileStmt*>(stmt)->body, function);
        break;
    case StmtKind::switch_: {
        const auto& branch = static_cast<const SwitchStmt&>(*stmt);
        scanExpr(branch.value);
        scanStmt(branch.body, function);
        // A variable declared between two labels is seen by the cases that follow, which its value may not reach.
        for (const Stmt* one : branch.body->statements)
            if (one->kind == StmtKind::declaration)
                for (Decl* decl : static_cast<const DeclStmt*>(one)->declarations)
                    if (decl->kind == DeclKind::variable) facts(static_cast<VarDecl*>(decl)).isWritten = true;
        break;
    }
    case StmtKind::return_: {
        ++function.returnCount;
        const Expr* value = static_cast<const ReturnStmt*>(stmt)->value;
        if (value != nullptr) {
            scanExpr(value);
            if (value->category == ValueCategory::lvalue) // returned by reference
                markWritten(value);
        }
        break;
    }
    case StmtKind::case_:
    case StmtKind::break_:
    case StmtKind::continue_:
    case StmtKind::null: break;
    }
}

void Lowering::scanExpr(const Expr* expr) {
    if (expr == nullptr) return;
    switch (expr->kind) {
    case ExprKind::member: scanExpr(static_cast<const Member*>(expr)->base); break;
    case ExprKind::index: {
        const auto& index = static_cast<const Index&>(*expr);
        scanExpr(index.base);
        scanExpr(index.index);
        if (index.index->kind != ExprKind::intLiteral) markIndexed(expr);
        break;
    }
    case ExprKind::call: {
        const auto& call = static_cast<const Call&>(*expr);
        if (call.object != nullptr) {
            scanExpr(call.object);
            if (!call.objectIsPointer && call.function != nullptr && !call.function->isConstMember)
                markWritten(call.object);
        }
        for (std::size_t i = 0; i < call.arguments.size(); ++i) {
            const Expr* argument = call.arguments[i];
            scanExpr(argument);
            const bool isBound = call.function == nullptr
                                     ? argument->category == ValueCategory::lvalue
                                     : i < call.function->parameters.size() &&
                                           call.function->parameters[i]->type->is(TypeKind::reference) &&
                                           !call.function->parameters[i]->type->pointeeConst;
            if (isBound) markWritten(argument);
        }
        break;
    }
    case ExprKind::construct: {
        const auto& construct = static_cast<const Construct&>(*expr);
        for (std::size_t i = 0; i < construct.arguments.size(); ++i) {
            scanExpr(construct.arguments[i]);
            const bool isBound = construct.constructKind == ConstructKind::constructor
                                     ? construct.constructor != nullptr &&
                                           i < construct.constructor->parameters.size() &&
                                           construct.constructor->parameters[i]->type->is(TypeKind::reference) &&
                                           !construct.constructor->parameters[i]->type->pointeeConst
                                     : construct.arguments[i]->category == ValueCategory::lvalue;
            if (isBound) markWritten(construct.arguments[i]);
        }
        break;
    }
    case ExprKind::cast: scanExpr(static_cast<const Cast*>(expr)->operand); break;
    case ExprKind::implicitCast: {
        const auto& cast = static_cast<const ImplicitCast&>(*expr);
        scanExpr(cast.operand);
        if (cast.castKind == CastKind::arrayToPointer) {
            if (expr->type->pointeeConst)
                markIndexed(cast.operand);
            else
                markWritten(cast.operand);
        }
        break;
    }
    case ExprKind::unary: {
        const auto& unary = static_cast<const Unary&>(*expr);
        scanExpr(unary.operand);
        switch (unary.op) {
        case UnaryOp::preIncrement:
        case UnaryOp::preDecrement:
        case UnaryOp::postIncrement:
        case UnaryOp::postDecrement: markWritten(unary.operand, true); break;
        case UnaryOp::addressOf: markWritten(unary.operand); break;
        default: break;
        }
        break;
    }
    case ExprKind::binary: {
        const auto& binary = static_cast<const Binary&>(*expr);
        scanExpr(binary.left);
        scanExpr(binary.right);
        if (isAssignment(binary.op)) markWritten(binary.left, binary.op != BinaryOp::assign);
        break;
    }
    case ExprKind::conditional: {
        const auto& conditional = static_cast<const Conditional&>(*expr);
        scanExpr(conditional.condition);
        scanExpr(conditional.whenTrue);
        scanExpr(conditional.whenFalse);
        break;
    }
    default: break;
    }
}

} // namespace msl
