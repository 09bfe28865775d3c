// What can be told from the course of statements: functions that end without a value, variables that nothing uses.
#include "MSL/sema/Analyzer.h"

namespace msl {
namespace {

bool containsBreak(const Stmt* stmt, bool nested) {
    if (!stmt) return false;
    switch (stmt->kind) {
    case StmtKind::break_: return !nested;
    case StmtKind::compound:
        for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
            if (containsBreak(child, nested)) return true;
        return false;
    case StmtKind::if_: {
        const auto* branch = static_cast<const IfStmt*>(stmt);
        return containsBreak(branch->thenBranch, nested) || containsBreak(branch->elseBranch, nested);
    }
    default: return false; // loops and switches keep their breaks to themselves
    }
}

bool isTrue(const Expr* condition) {
    if (!condition) return true;
    if (condition->kind == ExprKind::implicitCast) return isTrue(static_cast<const ImplicitCast*>(condition)->operand);
    if (condition->kind == ExprKind::boolLiteral) return static_cast<const BoolLiteral*>(condition)->value;
    return condition->kind == ExprKind::intLiteral && static_cast<const IntLiteral*>(condition)->value != 0;
}

// Can control run past the end of the statement?
bool fallsThrough(const Stmt* stmt) {
    if (!stmt) return true;
    switch (stmt->kind) {
    case StmtKind::return_:
    case StmtKind::continue_:
    case StmtKind::break_: return false;
    case StmtKind::compound:
        for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
            if (!fallsThrough(child)) return false;
        return true;
    case StmtKind::if_: {
        const auto* branch = static_cast<const IfStmt*>(stmt);
        return !branch->elseBranch || fallsThrough(branch->thenBranch) || fallsThrough(branch->elseBranch);
    }
    case StmtKind::for_: {
        const auto* loop = static_cast<const ForStmt*>(stmt);
        return !isTrue(loop->condition) || containsBreak(loop->body, false);
    }
    case StmtKind::while_: {
        const auto* loop = static_cast<const WhileStmt*>(stmt);
        return !isTrue(loop->condition) || containsBreak(loop->body, false);
    }
    case StmtKind::doWhile: {
        const auto* loop = static_cast<const DoWhileStmt*>(stmt);
        return (fallsThrough(loop->body) && !isTrue(loop->condition)) || containsBreak(loop->body, false);
    }
    case StmtKind::switch_: {
        const auto* choice = static_cast<const SwitchStmt*>(stmt);
        bool hasDefault = false;
        for (const Stmt* child : choice->body->statements) {
            if (child->kind == StmtKind::case_ && !static_cast<const CaseStmt*>(child)->value) hasDefault = true;
            if (containsBreak(child, false)) return true;
        }
        if (!hasDefault) return true;
        for (std::size_t i = choice->body->statements.size(); i > 0; --i)
            if (choice->body->statements[i - 1]->kind != StmtKind::case_)
                return fallsThrough(choice->body->statements[i - 1]);
        return true;
    }
    default: return true;
    }
}

bool containsReturn(const Stmt* stmt) {
    if (!stmt) return false;
    switch (stmt->kind) {
    case StmtKind::return_: return true;
    case StmtKind::compound:
        for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
            if (containsReturn(child)) return true;
        return false;
    case StmtKind::if_:
        return containsReturn(static_cast<const IfStmt*>(stmt)->thenBranch) ||
               containsReturn(static_cast<const IfStmt*>(stmt)->elseBranch);
    case StmtKind::for_: return containsReturn(static_cast<const ForStmt*>(stmt)->body);
    case StmtKind::rangeFor: return containsReturn(static_cast<const RangeForStmt*>(stmt)->body);
    case StmtKind::while_: return containsReturn(static_cast<const WhileStmt*>(stmt)->body);
    case StmtKind::doWhile: return containsReturn(static_cast<const DoWhileStmt*>(stmt)->body);
    case StmtKind::switch_: return containsReturn(static_cast<const SwitchStmt*>(stmt)->body);
    default: return false;
    }
}

} // namespace

void Analyzer::checkMissingReturn(FunctionDecl* function) {
    if (!function->returnType || function->returnType->is(TypeKind::void_) || function->returnType->isError()) return;
    if (!fallsThrough(function->body)) return;
    warning(function->end ? function->end : function->body->end,
            containsReturn(function->body) ? "non-void function does not return a value in all control paths"
                                           : "non-void function does not return a value",
            WarningGroup::returnType);
}

void Analyzer::warnUnused() {
    for (const VarDecl* var : localsToWarnAbout_) {
        if (var->isUsed || !var->name || var->isInvalid) continue;
        bool isWanted = false;
        for (const Attribute& attribute : var->attributes)
            isWanted = isWanted ||
                       (attribute.name && (attribute.name->text == "maybe_unused" || attribute.name->text == "unused"));
        if (!isWanted)
            warning(var->location, "unused variable '" + std::string(var->name->text) + "'",
                    WarningGroup::unusedVariable);
    }
}

// "a == b;" and the like: most often a slip of the pen.
void Analyzer::warnUnusedResult(const Expr* expr) {
    const Expr* inner = expr;
    while (inner->kind == ExprKind::implicitCast)
        inner = static_cast<const ImplicitCast*>(inner)->operand;
    const SourceLocation at = expr->begin ? expr->begin : expr->location;
    switch (inner->kind) {
    case ExprKind::binary: {
        const BinaryOp op = static_cast<const Binary*>(inner)->op;
        if (isAssignment(op) || op == BinaryOp::comma || op == BinaryOp::logicalAnd || op == BinaryOp::logicalOr)
            return;
        if (op == BinaryOp::equal) {
            warning(inner->location, "equality comparison result unused", WarningGroup::unusedValue);
            note(inner->location, "use '=' to turn this equality comparison into an assignment");
            return;
        }
        warning(inner->location, "expression result unused", WarningGroup::unusedValue);
        return;
    }
    case ExprKind::nameRef:
    case ExprKind::member:
    case ExprKind::index:
    case ExprKind::intLiteral:
    case ExprKind::floatLiteral:
    case ExprKind::boolLiteral: warning(at, "expression result unused", WarningGroup::unusedValue); return;
    default: return;
    }
}

} // namespace msl
