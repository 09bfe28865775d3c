// Runs constexpr functions while compiling: walks their resolved bodies with the values of their variables in cells.
// Anything that has no value at compile time ends the run without one. Bounded in steps and depth, since the text is
// untrusted. Made for one evaluation.
#pragma once

#include "MSL/sema/Analyzer.h"

#include <deque>

namespace msl {

class Analyzer::ConstantRun {
  public:
    explicit ConstantRun(Analyzer& analyzer) : analyzer_(analyzer) {}

    // The value of an expression of scalar type; of no kind when it has none.
    ConstantValue scalar(Expr* expr);

  private:
    // One variable or value: a number, or the parts of a vector, matrix, array or struct.
    struct Cell {
        ConstantValue number;
        std::vector<Cell> parts;
    };
    struct Frame {
        std::unordered_map<const VarDecl*, Cell> variables;
        std::unordered_map<const VarDecl*, Cell*> references;
        Cell* self = nullptr;
        Cell result;
    };
    enum class Flow : std::uint8_t { next, leaves, continues, returns, fails };

    bool step();
    bool zero(TypeRef type, Cell& out);
    bool value(Expr* expr, Cell& out);
    bool valueOf(Expr* expr, Cell& out);
    bool call(Call* call, Cell& out);
    bool construct(Construct* node, Cell& out);
    bool runConstructor(Construct* node, Cell& out);
    bool bindArguments(FunctionDecl* function, std::span<Expr*> arguments, Frame& frame);
    bool convert(const Cell& from, TypeRef to, Cell& out);
    bool unary(UnaryOp op, const Cell& operand, TypeRef type, Cell& out);
    bool binary(BinaryOp op, const Cell& left, const Cell& right, TypeRef operands, TypeRef type, Cell& out);
    bool assign(Binary* node, Cell& out);
    Cell* place(Expr* expr);
    Flow run(Stmt* stmt);
    Flow loop(Expr* condition, Expr* increment, Stmt* body, bool bodyFirst);
    Flow runSwitch(SwitchStmt* stmt);
    bool declare(VarDecl* var);

    static constexpr unsigned maxDepth = 512;
    static constexpr std::size_t maxParts = 65536;

    Analyzer& analyzer_;
    std::deque<Frame> frames_;
    std::deque<Cell> temporaries_;
    unsigned depth_ = 0;
    std::size_t parts_ = 0;
};

} // namespace msl
