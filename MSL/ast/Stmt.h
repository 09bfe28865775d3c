// The statements of the tree.
#pragma once

#include "MSL/ast/Names.h"

namespace msl {

enum class StmtKind : std::uint8_t {
    compound,
    declaration,
    expression,
    if_,
    for_,
    rangeFor,
    while_,
    doWhile,
    switch_,
    case_,
    break_,
    continue_,
    return_,
    null,
};

struct Stmt {
    StmtKind kind;
    SourceLocation location;

  protected:
    explicit Stmt(StmtKind k) : kind(k) {}
};

struct CompoundStmt : Stmt {
    CompoundStmt() : Stmt(StmtKind::compound) {}
    std::span<Stmt*> statements;
    SourceLocation end; // the closing brace
};
struct DeclStmt : Stmt { // variables, or a local struct, enum, typedef, using
    DeclStmt() : Stmt(StmtKind::declaration) {}
    std::span<Decl*> declarations;
};
struct ExprStmt : Stmt {
    ExprStmt() : Stmt(StmtKind::expression) {}
    Expr* expression = nullptr;
};
struct IfStmt : Stmt {
    IfStmt() : Stmt(StmtKind::if_) {}
    Stmt* init = nullptr; // "if (float x = f())" puts the declaration here; condition then reads the variable
    Expr* condition = nullptr;
    bool isConstexpr = false;
    Stmt* thenBranch = nullptr;
    Stmt* elseBranch = nullptr;
};
struct ForStmt : Stmt {
    ForStmt() : Stmt(StmtKind::for_) {}
    Stmt* init = nullptr;      // null, declaration or expression
    Expr* condition = nullptr; // null: forever
    Expr* step = nullptr;
    Stmt* body = nullptr;
};
struct RangeForStmt : Stmt { // after sema range is an array, and the variable's initializer reads or binds range[0],
                             // an Index in which the literal 0 stands for the number of the round
    RangeForStmt() : Stmt(StmtKind::rangeFor) {}
    VarDecl* variable = nullptr;
    Expr* range = nullptr;
    Stmt* body = nullptr;
};
struct WhileStmt : Stmt {
    WhileStmt() : Stmt(StmtKind::while_) {}
    Expr* condition = nullptr;
    Stmt* body = nullptr;
};
struct DoWhileStmt : Stmt {
    DoWhileStmt() : Stmt(StmtKind::doWhile) {}
    Stmt* body = nullptr;
    Expr* condition = nullptr;
};
struct SwitchStmt : Stmt { // body is a compound; its top-level statements hold the CaseStmts
    SwitchStmt() : Stmt(StmtKind::switch_) {}
    Expr* value = nullptr;
    CompoundStmt* body = nullptr;
};
struct CaseStmt : Stmt { // a label; the statements that follow it stand beside it in the switch's body
    CaseStmt() : Stmt(StmtKind::case_) {}
    Expr* value = nullptr;     // null: default
    std::int64_t constant = 0; // sema
};
struct BreakStmt : Stmt {
    BreakStmt() : Stmt(StmtKind::break_) {}
};
struct ContinueStmt : Stmt {
    ContinueStmt() : Stmt(StmtKind::continue_) {}
};
struct NullStmt : Stmt {
    NullStmt() : Stmt(StmtKind::null) {}
};
struct ReturnStmt : Stmt {
    ReturnStmt() : Stmt(StmtKind::return_) {}
    Expr* value = nullptr;
};

} // namespace msl
