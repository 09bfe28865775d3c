// Statements.
#include "MSL/sema/Analyzer.h"

namespace msl {

void Analyzer::compound(CompoundStmt* stmt, bool opensScope) {
    if (!stmt) return;
    if (opensScope) scopes_.open();
    const bool outerMetal = metalIsVisible_;
    for (Stmt*& child : stmt->statements) {
        if (diagnostics_.isFull() || !limit_.step()) break;
        child = statement(child);
    }
    metalIsVisible_ = outerMetal;
    if (opensScope) scopes_.close();
}

Expr* Analyzer::condition(Expr* expr) {
    Expr* typed = expression(expr);
    if (typed->kind == ExprKind::binary && static_cast<Binary*>(typed)->op == BinaryOp::assign &&
        !typed->isParenthesized) {
        warning(typed->location, "using the result of an assignment as a condition without parentheses",
                WarningGroup::parentheses);
        note(typed->location, "use '==' to turn this assignment into an equality comparison");
    }
    return toBool(load(typed));
}

Stmt* Analyzer::statement(Stmt* stmt) {
    if (!stmt) return arena_.make<NullStmt>();
    const DepthGuard guard(depth_);
    if (tooDeep(stmt->location)) return stmt;
    limit_.reach(stmt->location);
    switch (stmt->kind) {
    case StmtKind::compound: compound(static_cast<CompoundStmt*>(stmt)); break;
    case StmtKind::declaration:
        for (Decl* decl : static_cast<DeclStmt*>(stmt)->declarations) {
            if (decl->kind == DeclKind::function && static_cast<FunctionDecl*>(decl)->body) {
                if (context_.function) context_.function->isInvalid = true; // the parser has said so
                continue;
            }
            declaration(decl);
        }
        break;
    case StmtKind::expression: {
        auto* statement = static_cast<ExprStmt*>(stmt);
        statement->expression = discarded(statement->expression);
        if (statement->expression->type->is(TypeKind::overload)) statement->expression = load(statement->expression);
        if (!statement->expression->type->isError()) warnUnusedResult(statement->expression);
        break;
    }
    case StmtKind::if_: ifStatement(static_cast<IfStmt*>(stmt)); break;
    case StmtKind::for_: forStatement(static_cast<ForStmt*>(stmt)); break;
    case StmtKind::rangeFor: return rangeFor(static_cast<RangeForStmt*>(stmt));
    case StmtKind::while_: {
        auto* loop = static_cast<WhileStmt*>(stmt);
        scopes_.open();
        loop->condition = condition(loop->condition);
        ++context_.loops;
        loop->body = statement(loop->body);
        --context_.loops;
        scopes_.close();
        break;
    }
    case StmtKind::doWhile: {
        auto* loop = static_cast<DoWhileStmt*>(stmt);
        ++context_.loops;
        scopes_.open();
        loop->body = statement(loop->body);
        scopes_.close();
        --context_.loops;
        loop->condition = condition(loop->condition);
        break;
    }
    case StmtKind::switch_: switchStatement(static_cast<SwitchStmt*>(stmt)); break;
    case StmtKind::case_:
        if (context_.switches == 0)
            error(stmt->location, static_cast<CaseStmt*>(stmt)->value ? "'case' statement not in switch statement"
                                                                      : "'default' statement not in switch statement");
        else
            error(stmt->location, "a case label inside a nested statement is not supported here");
        break;
    case StmtKind::break_:
        if (context_.loops == 0 && context_.switches == 0)
            error(stmt->location, "'break' statement not in loop or switch statement");
        break;
    case StmtKind::continue_:
        if (context_.loops == 0) error(stmt->location, "'continue' statement not in loop statement");
        break;
    case StmtKind::return_: returnStatement(static_cast<ReturnStmt*>(stmt)); break;
    case StmtKind::null: break;
    }
    return stmt;
}

void Analyzer::ifStatement(IfStmt* stmt) {
    scopes_.open();
    if (stmt->init) stmt->init = statement(stmt->init);
    stmt->condition = condition(stmt->condition);
    if (stmt->isConstexpr && !stmt->condition->type->isError()) {
        const ConstantValue value = evaluate(stmt->condition);
        if (!value) {
            const SourceLocation at = stmt->condition->begin ? stmt->condition->begin : stmt->location;
            error(at, "constexpr if condition is not a constant expression");
            noteFault(at);
        } else { // the branch not taken is not looked at
            (value->isTrue() ? stmt->elseBranch : stmt->thenBranch) = nullptr;
            if (!stmt->thenBranch) stmt->thenBranch = arena_.make<NullStmt>();
        }
    }
    scopes_.open();
    stmt->thenBranch = statement(stmt->thenBranch);
    scopes_.close();
    if (stmt->elseBranch) {
        scopes_.open();
        stmt->elseBranch = statement(stmt->elseBranch);
        scopes_.close();
    }
    scopes_.close();
}

void Analyzer::forStatement(ForStmt* stmt) {
    scopes_.open();
    if (stmt->init) stmt->init = statement(stmt->init);
    if (stmt->condition) stmt->condition = condition(stmt->condition);
    if (stmt->step) stmt->step = discarded(stmt->step);
    ++context_.loops;
    scopes_.open();
    stmt->body = statement(stmt->body);
    scopes_.close();
    --context_.loops;
    scopes_.close();
}

void Analyzer::caseLabel(CaseStmt* label) {
    const SwitchStmt* owner = context_.innermostSwitch;
    const TypeRef type = owner->value->type;
    if (!label->value) return;
    Expr* typed = load(expression(label->value));
    if (typed->type->isError() || type->isError()) {
        label->value = typed;
        return;
    }
    const SourceLocation at = typed->begin ? typed->begin : label->location;
    if (typed->type->is(TypeKind::enum_) && typed->type->enumDecl->isScoped)
        typed = explicitConvert(typed, typed->type->element);
    label->value = convert(typed, type, Purpose::variable, at);
    const ConstantValue value = evaluate(label->value);
    if (!value) {
        if (label->value->type->isError()) return;
        error(at, "case value is not a constant expression");
        noteFault(at);
        return;
    }
    label->constant = value->asInteger();
}

void Analyzer::switchStatement(SwitchStmt* stmt) {
    scopes_.open();
    Expr* value = load(expression(stmt->value));
    if (value->type->is(TypeKind::enum_)) value = explicitConvert(value, value->type->element);
    if (!value->type->isError()) {
        if (!value->type->isScalar() || isFloating(value->type->scalar)) {
            error(value->begin ? value->begin : stmt->location,
                  "statement requires expression of integer type ('" + typeName(value->type) + "' invalid)");
            value = errorAt(value);
        } else {
            value = explicitConvert(value, promoted(value->type));
        }
    }
    stmt->value = value;
    SwitchStmt* const outer = std::exchange(context_.innermostSwitch, stmt);
    ++context_.switches;
    scopes_.open();
    std::unordered_map<std::int64_t, const CaseStmt*> seen;
    const CaseStmt* seenDefault = nullptr;
    if (stmt->body)
        for (Stmt*& child : stmt->body->statements) {
            if (diagnostics_.isFull() || !limit_.step()) break;
            if (!child || child->kind != StmtKind::case_) {
                child = statement(child);
                continue;
            }
            auto* label = static_cast<CaseStmt*>(child);
            const unsigned before = diagnostics_.errorCount();
            caseLabel(label);
            if (!label->value) {
                if (seenDefault) {
                    error(label->location, "multiple default labels in one switch");
                    note(seenDefault->location, "previous case defined here");
                }
                seenDefault = label;
            } else if (diagnostics_.errorCount() == before && !label->value->type->isError()) {
                const auto [at, isNew] = seen.emplace(label->constant, label);
                if (!isNew) {
                    error(label->value->begin ? label->value->begin : label->location,
                          "duplicate case value '" + std::to_string(label->constant) + "'");
                    note(at->second->location, "previous case defined here");
                }
            }
        }
    scopes_.close();
    --context_.switches;
    context_.innermostSwitch = outer;
    scopes_.close();
}

void Analyzer::returnStatement(ReturnStmt* stmt) {
    FunctionDecl* function = context_.function;
    if (!function) return;
    const std::string name(function->name ? function->name->text : std::string_view("operator"));
    if (!context_.returnType) { // auto: the first return says what it is
        TypeRef type = types_.void_();
        if (stmt->value) {
            if (stmt->value->kind == ExprKind::initList) {
                error(stmt->location, "cannot deduce return type from initializer list");
                return;
            }
            stmt->value = load(expression(stmt->value));
            type = stmt->value->type;
        }
        context_.returnType = type;
        function->returnType = type;
        return;
    }
    const TypeRef type = context_.returnType;
    if (!stmt->value) {
        if (!type->is(TypeKind::void_) && !type->isError())
            error(stmt->location, "non-void function '" + name + "' should return a value");
        return;
    }
    if (type->is(TypeKind::void_)) {
        Expr* value = stmt->value->kind == ExprKind::initList ? errorAt(stmt->value) : expression(stmt->value);
        stmt->value = value;
        if (!value->type->is(TypeKind::void_) && !value->type->isError())
            error(stmt->location, function->isConstructor ? "constructor '" + name + "' should not return a value"
                                                          : "void function '" + name + "' should not return a value");
        return;
    }
    const SourceLocation at = stmt->value->begin ? stmt->value->begin : stmt->location;
    stmt->value = initialize(type, stmt->value, Purpose::returnValue, at);
    if (function->returnType->is(TypeKind::auto_)) function->returnType = type;
}

} // namespace msl
