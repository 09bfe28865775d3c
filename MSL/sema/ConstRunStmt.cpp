// The statements of constexpr functions.
#include "MSL/sema/ConstRun.h"

#include <algorithm>

namespace msl {

using constant::Scalar;

bool Analyzer::ConstantRun::declare(VarDecl* var) {
    if (var->isInvalid || !var->type) return false;
    if (var->type->is(TypeKind::reference)) {
        Scalar* numbers = var->initializer ? place(var->initializer) : nullptr;
        if (numbers) bind(var, numbers);
        return numbers != nullptr;
    }
    const Numbers made = take(var->type);
    if (made.empty()) return false;
    const Scratch scratch(store_);
    if (!(var->initializer ? value(var->initializer, made) : zero(var->type, made))) return false;
    bind(var, made.data());
    return true;
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::run(Stmt* stmt) {
    if (!stmt) return Flow::next;
    if (isTooDeep() || !step()) return Flow::fails;
    const Deeper deeper(state_.depth);
    if (stmt->kind == StmtKind::declaration) return runStatement(stmt); // its variables outlive it
    const Scratch scratch(store_);
    const std::size_t bound = undone_.size();
    const Flow flow = runStatement(stmt);
    unbindTo(bound);
    return flow;
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::runStatement(Stmt* stmt) {
    switch (stmt->kind) {
    case StmtKind::null: return Flow::next;
    case StmtKind::compound:
        for (Stmt* child : static_cast<CompoundStmt*>(stmt)->statements)
            if (const Flow flow = run(child); flow != Flow::next) return flow;
        return Flow::next;
    case StmtKind::declaration:
        for (Decl* decl : static_cast<DeclStmt*>(stmt)->declarations)
            if (decl->kind == DeclKind::variable && !declare(static_cast<VarDecl*>(decl))) return Flow::fails;
        return Flow::next;
    case StmtKind::expression: {
        Expr* expr = static_cast<ExprStmt*>(stmt)->expression;
        return expr && expr->type && cast(CastKind::toVoid, expr, expr->type, {}, {}) ? Flow::next : Flow::fails;
    }
    case StmtKind::if_: {
        auto* branch = static_cast<IfStmt*>(stmt);
        if (branch->init && run(branch->init) != Flow::next) return Flow::fails;
        bool isTrue = false;
        if (!truth(branch->condition, isTrue)) return Flow::fails;
        return run(isTrue ? branch->thenBranch : branch->elseBranch);
    }
    case StmtKind::for_: {
        auto* each = static_cast<ForStmt*>(stmt);
        if (each->init && run(each->init) != Flow::next) return Flow::fails;
        return loop(each->condition, each->step, each->body, false);
    }
    case StmtKind::rangeFor: return rangeFor(static_cast<RangeForStmt*>(stmt));
    case StmtKind::while_:
        return loop(static_cast<WhileStmt*>(stmt)->condition, nullptr, static_cast<WhileStmt*>(stmt)->body, false);
    case StmtKind::doWhile:
        return loop(static_cast<DoWhileStmt*>(stmt)->condition, nullptr, static_cast<DoWhileStmt*>(stmt)->body, true);
    case StmtKind::switch_: return runSwitch(static_cast<SwitchStmt*>(stmt));
    case StmtKind::break_: return Flow::leaves;
    case StmtKind::continue_: return Flow::continues;
    case StmtKind::return_: {
        Expr* result = static_cast<ReturnStmt*>(stmt)->value;
        if (!result || !result->type) return Flow::returns;
        const std::size_t count = store_.count(result->type);
        return value(result, {frame_.result, frame_.result ? count : 0}) ? Flow::returns : Flow::fails;
    }
    default: return Flow::fails;
    }
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::loop(Expr* condition, Expr* increment, Stmt* body, bool bodyFirst) {
    for (bool isFirst = true;; isFirst = false) {
        if (!step()) return Flow::fails;
        if (condition && !(isFirst && bodyFirst)) {
            bool goesOn = false;
            if (!truth(condition, goesOn)) return Flow::fails;
            if (!goesOn) return Flow::next;
        }
        const Flow flow = run(body);
        if (flow == Flow::leaves) return Flow::next;
        if (flow == Flow::returns || flow == Flow::fails) return flow;
        if (increment && !cast(CastKind::toVoid, increment, increment->type, {}, {})) return Flow::fails;
    }
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::rangeFor(RangeForStmt* stmt) {
    const TypeRef array = stmt->range ? stmt->range->type : nullptr;
    VarDecl* var = stmt->variable;
    if (!array || !array->is(TypeKind::array) || !var || !var->type) return Flow::fails;
    const bool isReference = var->type->is(TypeKind::reference);
    if ((isReference ? var->type->element : var->type) != array->element) return Flow::fails;
    Scalar* range = place(stmt->range);
    const Numbers element = take(array->element);
    if (!range || element.empty()) return Flow::fails;
    const std::size_t bound = undone_.size();
    for (std::uint64_t i = 0; i < array->count; ++i) {
        Scalar* numbers = range + i * element.size();
        if (!step(1 + element.size() / numbersPerStep)) return Flow::fails;
        if (!isReference) std::copy_n(numbers, element.size(), element.begin());
        bind(var, isReference ? numbers : element.data());
        const Flow flow = run(stmt->body);
        unbindTo(bound);
        if (flow == Flow::leaves) return Flow::next;
        if (flow == Flow::returns || flow == Flow::fails) return flow;
    }
    return Flow::next;
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::runSwitch(SwitchStmt* stmt) {
    Scalar selector;
    if (!stmt->body || !stmt->value || !stmt->value->type || !isNumber(stmt->value->type) ||
        !value(stmt->value, {&selector, 1}))
        return Flow::fails;
    const std::span<Stmt*> body = stmt->body->statements;
    std::size_t begin = body.size();
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (!step()) return Flow::fails;
        if (!body[i] || body[i]->kind != StmtKind::case_) continue;
        const auto* label = static_cast<CaseStmt*>(body[i]);
        if (label->value && label->constant == selector.asInteger()) {
            begin = i;
            break;
        }
        if (!label->value) begin = i;
    }
    for (std::size_t i = begin; i < body.size(); ++i) {
        if (body[i] && body[i]->kind == StmtKind::case_) continue;
        const Flow flow = run(body[i]);
        if (flow == Flow::leaves) return Flow::next;
        if (flow != Flow::next) return flow;
    }
    return Flow::next;
}

} // namespace msl
