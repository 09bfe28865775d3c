#include "MSL/sema/Suspicions.h"

#include "MSL/builtins/BuiltinTable.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace msl {
namespace {

const Expr* withoutCasts(const Expr* expr) {
    while (expr != nullptr && expr->kind == ExprKind::implicitCast)
        expr = static_cast<const ImplicitCast*>(expr)->operand;
    return expr;
}

const VarDecl* variableOf(const Expr* expr) {
    expr = withoutCasts(expr);
    if (expr == nullptr || expr->kind != ExprKind::nameRef) return nullptr;
    const Decl* decl = static_cast<const NameRef*>(expr)->decl;
    return decl != nullptr && decl->kind == DeclKind::variable ? static_cast<const VarDecl*>(decl) : nullptr;
}

// The variable that an access begins with: "v" of "v.x" and "v[2]".
const VarDecl* rootOf(const Expr* expr) {
    for (expr = withoutCasts(expr); expr != nullptr;) {
        if (expr->kind == ExprKind::member && !static_cast<const Member*>(expr)->isArrow)
            expr = withoutCasts(static_cast<const Member*>(expr)->base);
        else if (expr->kind == ExprKind::index)
            expr = withoutCasts(static_cast<const Index*>(expr)->base);
        else
            return variableOf(expr);
    }
    return nullptr;
}

// The value of a literal as it is written.
std::optional<std::int64_t> literalOf(const Expr* expr) {
    expr = withoutCasts(expr);
    if (expr == nullptr) return std::nullopt;
    if (expr->kind == ExprKind::unary && static_cast<const Unary*>(expr)->op == UnaryOp::minus) {
        const auto value = literalOf(static_cast<const Unary*>(expr)->operand);
        return value ? std::optional(-*value) : std::nullopt;
    }
    if (expr->kind != ExprKind::intLiteral) return std::nullopt;
    const auto* literal = static_cast<const IntLiteral*>(expr);
    if (literal->isNullptr || literal->value > INT64_MAX) return std::nullopt;
    return static_cast<std::int64_t>(literal->value);
}

std::string_view spelling(BinaryOp op) {
    switch (op) {
    case BinaryOp::less: return "<";
    case BinaryOp::greater: return ">";
    case BinaryOp::lessEqual: return "<=";
    case BinaryOp::greaterEqual: return ">=";
    case BinaryOp::equal: return "==";
    case BinaryOp::notEqual: return "!=";
    case BinaryOp::bitAnd: return "&";
    case BinaryOp::bitOr: return "|";
    case BinaryOp::bitXor: return "^";
    default: return "";
    }
}

bool isComparison(BinaryOp op) {
    return op >= BinaryOp::less && op <= BinaryOp::notEqual;
}

bool isOrdering(BinaryOp op) {
    return op >= BinaryOp::less && op <= BinaryOp::greaterEqual;
}

BinaryOp mirrored(BinaryOp op) {
    switch (op) {
    case BinaryOp::less: return BinaryOp::greater;
    case BinaryOp::greater: return BinaryOp::less;
    case BinaryOp::lessEqual: return BinaryOp::greaterEqual;
    case BinaryOp::greaterEqual: return BinaryOp::lessEqual;
    default: return op;
    }
}

class Walk {
  public:
    Walk(const FunctionDecl& function, Diagnostics& diagnostics) : function_(function), diagnostics_(diagnostics) {}

    void run() { statement(function_.body); }

  private:
    // A variable without a value. It is given up at the first mention that may write it, or that lies deeper in loops
    // than its declaration, where an earlier round may have written it.
    struct Unset {
        const VarDecl* variable;
        unsigned depth;
    };

    static SourceLocation beginOf(const Expr* expr) { return expr->begin ? expr->begin : expr->location; }

    void statement(const Stmt* stmt) {
        if (stmt == nullptr) return;
        switch (stmt->kind) {
        case StmtKind::compound:
            for (const Stmt* before = nullptr; const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements) {
                statement(child);
                if (child != nullptr && child->kind == StmtKind::compound) semicolonOfLoop(before);
                before = child;
            }
            break;
        case StmtKind::declaration:
            for (const Decl* decl : static_cast<const DeclStmt*>(stmt)->declarations)
                if (decl != nullptr && decl->kind == DeclKind::variable)
                    declaration(static_cast<const VarDecl&>(*decl));
            break;
        case StmtKind::expression: {
            const Expr* whole = static_cast<const ExprStmt*>(stmt)->expression;
            expression(whole);
            unusedCall(withoutCasts(whole));
            break;
        }
        case StmtKind::if_: {
            const auto& branch = static_cast<const IfStmt&>(*stmt);
            statement(branch.init);
            expression(branch.condition);
            if (branch.thenBranch != nullptr && branch.thenBranch->kind == StmtKind::null &&
                branch.elseBranch == nullptr) {
                diagnostics_.warning(branch.thenBranch->location, "if statement has empty body",
                                     WarningGroup::emptyBody);
                diagnostics_.note(branch.thenBranch->location,
                                  "put '{}' in place of the semicolon to silence this warning");
            }
            statement(branch.thenBranch);
            statement(branch.elseBranch);
            break;
        }
        case StmtKind::for_: {
            const auto& loop = static_cast<const ForStmt&>(*stmt);
            statement(loop.init);
            ++depth_;
            expression(loop.condition);
            statement(loop.body);
            expression(loop.step);
            --depth_;
            break;
        }
        case StmtKind::rangeFor: {
            const auto& loop = static_cast<const RangeForStmt&>(*stmt);
            expression(loop.range);
            ++depth_;
            statement(loop.body);
            --depth_;
            break;
        }
        case StmtKind::while_: {
            const auto& loop = static_cast<const WhileStmt&>(*stmt);
            ++depth_;
            expression(loop.condition);
            statement(loop.body);
            --depth_;
            break;
        }
        case StmtKind::doWhile: {
            const auto& loop = static_cast<const DoWhileStmt&>(*stmt);
            ++depth_;
            statement(loop.body);
            expression(loop.condition);
            --depth_;
            break;
        }
        case StmtKind::switch_: {
            const auto& choice = static_cast<const SwitchStmt&>(*stmt);
            expression(choice.value);
            ++depth_; // what one case leaves unset another may set
            statement(choice.body);
            --depth_;
            break;
        }
        case StmtKind::return_: expression(static_cast<const ReturnStmt*>(stmt)->value); break;
        default: break;
        }
    }

    // "for (...);" with a block behind it, which was to be the loop's.
    void semicolonOfLoop(const Stmt* before) {
        if (before == nullptr) return;
        const bool isFor = before->kind == StmtKind::for_;
        if (!isFor && before->kind != StmtKind::while_) return;
        const Stmt* body =
            isFor ? static_cast<const ForStmt*>(before)->body : static_cast<const WhileStmt*>(before)->body;
        if (body == nullptr || body->kind != StmtKind::null) return;
        diagnostics_.warning(body->location, isFor ? "for loop has empty body" : "while loop has empty body",
                             WarningGroup::emptyBody);
        diagnostics_.note(body->location, "put the semicolon on a separate line to silence this warning");
    }

    void declaration(const VarDecl& variable) {
        expression(variable.initializer);
        for (const Expr* argument : variable.parenArguments)
            expression(argument);
        for (const VarDecl* parameter : function_.parameters)
            if (parameter->name != nullptr && parameter->name == variable.name) {
                diagnostics_.warning(variable.location,
                                     "declaration of '" + std::string(variable.name->text) + "' shadows a parameter",
                                     WarningGroup::shadow);
                diagnostics_.note(parameter->location, "the parameter is declared here");
            }
        const bool isPlain = variable.type != nullptr && variable.type->isNumeric() &&
                             variable.space == AddressSpace::thread && !variable.isStatic;
        if (isPlain && variable.initializer == nullptr && variable.parenArguments.empty() && !variable.isBraceInit &&
            !variable.isInvalid)
            unset_.push_back({&variable, depth_});
    }

    void forget(const VarDecl* variable) {
        std::erase_if(unset_, [&](const Unset& item) { return item.variable == variable; });
    }

    void readOf(const VarDecl* variable, SourceLocation at) {
        const auto found = std::ranges::find(unset_, variable, &Unset::variable);
        if (found == unset_.end()) return;
        if (found->depth == depth_ && variable->name != nullptr) {
            const std::string name(variable->name->text);
            diagnostics_.warning(at, "variable '" + name + "' is uninitialized when used here",
                                 WarningGroup::uninitialized);
            diagnostics_.note(variable->location, "initialize the variable '" + name + "' to silence this warning");
        }
        unset_.erase(found);
    }

    void expression(const Expr* expr) {
        if (expr == nullptr) return;
        switch (expr->kind) {
        case ExprKind::implicitCast: {
            const auto& cast = static_cast<const ImplicitCast&>(*expr);
            if (cast.castKind == CastKind::lvalueToRvalue && !unset_.empty())
                if (const VarDecl* variable = rootOf(cast.operand)) readOf(variable, beginOf(cast.operand));
            if (cast.castKind == CastKind::scalarConversion && isFloating(expr->type->scalar))
                integerDivision(withoutCasts(cast.operand));
            expression(cast.operand);
            break;
        }
        case ExprKind::nameRef:
            if (!unset_.empty()) forget(variableOf(expr)); // anything may become of it
            break;
        case ExprKind::member: expression(static_cast<const Member*>(expr)->base); break;
        case ExprKind::index:
            expression(static_cast<const Index*>(expr)->index);
            expression(static_cast<const Index*>(expr)->base);
            break;
        case ExprKind::call: {
            const auto& call = static_cast<const Call&>(*expr);
            expression(call.object);
            for (const Expr* argument : call.arguments)
                expression(argument);
            break;
        }
        case ExprKind::construct:
            for (const Expr* argument : static_cast<const Construct*>(expr)->arguments)
                expression(argument);
            break;
        case ExprKind::cast: expression(static_cast<const Cast*>(expr)->operand); break;
        case ExprKind::unary: {
            const auto& unary = static_cast<const Unary&>(*expr);
            if (unary.op >= UnaryOp::preIncrement && unary.op <= UnaryOp::postDecrement && !unset_.empty())
                if (const VarDecl* variable = rootOf(unary.operand)) readOf(variable, beginOf(unary.operand));
            expression(unary.operand);
            break;
        }
        case ExprKind::binary: binary(static_cast<const Binary&>(*expr)); break;
        case ExprKind::conditional: {
            const auto& choice = static_cast<const Conditional&>(*expr);
            expression(choice.condition);
            expression(choice.whenTrue);
            expression(choice.whenFalse);
            break;
        }
        case ExprKind::lambda: unset_.clear(); break; // its body may write what it captures, whenever it runs
        default: break;
        }
    }

    void binary(const Binary& expr) {
        if (expr.left->type == nullptr || expr.right->type == nullptr) return;
        if (isAssignment(expr.op)) {
            expression(expr.right);
            const VarDecl* root = rootOf(expr.left);
            if (expr.op != BinaryOp::assign && root != nullptr) readOf(root, beginOf(expr.left));
            const VarDecl* target = variableOf(expr.left);
            if (expr.op == BinaryOp::assign && target != nullptr && target == variableOf(expr.right))
                diagnostics_.warning(expr.location,
                                     "explicitly assigning value of variable of type '" + typeName(target->type) +
                                         "' to itself",
                                     WarningGroup::selfAssign);
            expression(expr.left);
            divisor(expr);
            return;
        }
        expression(expr.left);
        expression(expr.right);
        if (isComparison(expr.op))
            comparison(expr);
        else if (expr.op == BinaryOp::bitAnd || expr.op == BinaryOp::bitOr || expr.op == BinaryOp::bitXor)
            precedence(expr);
        else if (expr.op == BinaryOp::shl || expr.op == BinaryOp::shr)
            shift(expr);
        else
            divisor(expr);
    }

    // "1 / 2" where a fraction was wanted.
    void integerDivision(const Expr* operand) {
        if (operand == nullptr || operand->kind != ExprKind::binary) return;
        const auto& division = static_cast<const Binary&>(*operand);
        if (division.op != BinaryOp::div || !division.type->isScalar() || isFloating(division.type->scalar)) return;
        const auto left = literalOf(division.left);
        const auto right = literalOf(division.right);
        if (!left || !right || *right == 0 || *left % *right == 0) return;
        const std::string text = std::to_string(*left) + " / " + std::to_string(*right);
        diagnostics_.warning(division.location,
                             "integer division: " + text + " gives " + std::to_string(*left / *right),
                             WarningGroup::integerDivision);
        diagnostics_.note(division.location,
                          "write " + std::to_string(*left) + ".0 / " + std::to_string(*right) + " for the fraction");
    }

    void divisor(const Binary& expr) {
        const bool isDivision = expr.op == BinaryOp::div || expr.op == BinaryOp::divAssign;
        const bool isRemainder = expr.op == BinaryOp::rem || expr.op == BinaryOp::remAssign;
        if ((!isDivision && !isRemainder) || isFloating(expr.right->type->scalar) || literalOf(expr.right) != 0) return;
        diagnostics_.warning(expr.location,
                             isDivision ? "division by zero is undefined" : "remainder by zero is undefined",
                             WarningGroup::divisionByZero);
    }

    void shift(const Binary& expr) {
        const auto count = literalOf(expr.right);
        if (!count || !expr.left->type->isScalar()) return;
        if (*count < 0)
            diagnostics_.warning(expr.location, "shift count is negative", WarningGroup::shiftCount);
        else if (*count >= std::int64_t(byteSize(expr.left->type->scalar)) * 8)
            diagnostics_.warning(expr.location, "shift count >= width of type", WarningGroup::shiftCount);
    }

    // "a & b == c" compares first.
    void precedence(const Binary& expr) {
        // Where both sides are truths, it is a logical "and" that evaluates both.
        const auto isTruth = [](const Expr* side) {
            side = withoutCasts(side);
            return side != nullptr && side->type != nullptr && (side->type->isScalar() || side->type->isVector()) &&
                   side->type->scalar == ScalarKind::bool_;
        };
        if (isTruth(expr.left) && isTruth(expr.right)) return;
        for (const Expr* side : {expr.left, expr.right}) {
            const Expr* inner = withoutCasts(side);
            if (inner == nullptr || inner->kind != ExprKind::binary || side->isParenthesized || inner->isParenthesized)
                continue;
            const BinaryOp op = static_cast<const Binary*>(inner)->op;
            if (!isComparison(op)) continue;
            const std::string outer(spelling(expr.op));
            const std::string first(spelling(op));
            diagnostics_.warning(expr.location,
                                 outer + " has lower precedence than " + first + "; " + first +
                                     " will be evaluated first",
                                 WarningGroup::parentheses);
            return;
        }
    }

    void comparison(const Binary& expr) {
        const Expr* first = withoutCasts(expr.left);
        const bool isOrder = isOrdering(expr.op);
        if (first != nullptr && isOrder && first->kind == ExprKind::binary && first->type->isScalar() &&
            isOrdering(static_cast<const Binary*>(first)->op) && !first->isParenthesized &&
            !expr.left->isParenthesized) { // 0 < x < 1
            diagnostics_.warning(expr.location, "comparisons like 'X<=Y<=Z' don't have their mathematical meaning",
                                 WarningGroup::parentheses);
            return;
        }
        if (first != nullptr && first->kind == ExprKind::unary && !first->isParenthesized &&
            !expr.left->isParenthesized && static_cast<const Unary*>(first)->op == UnaryOp::logicalNot) {
            const Expr* other = withoutCasts(expr.right);
            if (other != nullptr && other->type->isScalar() && !other->type->isBool()) { // !a == 3
                diagnostics_.warning(first->location,
                                     "logical not is only applied to the left hand side of this comparison",
                                     WarningGroup::parentheses);
                return;
            }
        }
        const VarDecl* left = variableOf(expr.left);
        if (left != nullptr && left == variableOf(expr.right) && left->type->isScalar() &&
            !isFloating(left->type->scalar)) { // "x != x" asks a float whether it is a number
            const bool isTrue =
                expr.op == BinaryOp::equal || expr.op == BinaryOp::lessEqual || expr.op == BinaryOp::greaterEqual;
            diagnostics_.warning(expr.location,
                                 std::string("self-comparison always evaluates to ") + (isTrue ? "true" : "false"),
                                 WarningGroup::tautologicalCompare);
            return;
        }
        constant(expr, expr.left, expr.op, expr.right);
        constant(expr, expr.right, mirrored(expr.op), expr.left);
    }

    void constant(const Binary& expr, const Expr* side, BinaryOp op, const Expr* other) {
        const auto value = literalOf(other);
        const Expr* plain = withoutCasts(side);
        if (!value || plain == nullptr || plain->type == nullptr || !plain->type->isScalar() ||
            plain->kind == ExprKind::intLiteral)
            return;
        const ScalarKind kind = plain->type->scalar;
        if (kind == ScalarKind::bool_ && *value != 0 && *value != 1 &&
            (op == BinaryOp::equal || op == BinaryOp::notEqual)) {
            diagnostics_.warning(expr.location,
                                 "comparison of constant " + std::to_string(*value) +
                                     " with expression of type 'bool' is always " +
                                     (op == BinaryOp::equal ? "false" : "true"),
                                 WarningGroup::tautologicalCompare);
            return;
        }
        if (isFloating(kind) || isSigned(kind) || kind == ScalarKind::bool_ || *value != 0 ||
            (op != BinaryOp::less && op != BinaryOp::greaterEqual))
            return;
        diagnostics_.warning(expr.location,
                             std::string("result of comparison of unsigned expression ") +
                                 (op == BinaryOp::less ? "< 0 is always false" : ">= 0 is always true"),
                             WarningGroup::tautologicalCompare);
    }

    // A function that only computes, and nobody takes what it gives.
    void unusedCall(const Expr* expr) {
        if (expr == nullptr || expr->kind != ExprKind::call) return;
        const auto& call = static_cast<const Call&>(*expr);
        if (!isNumeric(builtinFamily(call.builtin))) return;
        if (writesArgument(*builtinSignature(call.builtin))) return;
        diagnostics_.warning(beginOf(expr),
                             "the result of '" + std::string(builtinName(call.builtin)) + "' is not used",
                             WarningGroup::unusedValue);
    }

    const FunctionDecl& function_;
    Diagnostics& diagnostics_;
    unsigned depth_ = 0; // of loops and switches
    std::vector<Unset> unset_;
};

} // namespace

void warnOfSuspicions(const FunctionDecl& function, Diagnostics& diagnostics) {
    if (function.body != nullptr) Walk(function, diagnostics).run();
}

} // namespace msl
