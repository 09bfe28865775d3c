#include "Analyzed.h"

#include <functional>

namespace msl {
namespace {

class TreeChecker {
  public:
    std::string fault;
    std::function<void(const VarDecl&)> onVariable = [](const VarDecl&) {};

    void check(const Decl* decl) {
        if (!decl) return;
        switch (decl->kind) {
        case DeclKind::variable: variable(*static_cast<const VarDecl*>(decl)); break;
        case DeclKind::function: function(*static_cast<const FunctionDecl*>(decl)); break;
        case DeclKind::struct_: {
            const auto& structure = *static_cast<const StructDecl*>(decl);
            if (structure.templateParameters.empty())
                for (const Decl* member : structure.members)
                    check(member);
            break;
        }
        case DeclKind::namespace_:
            for (const Decl* member : static_cast<const NamespaceDecl*>(decl)->members)
                check(member);
            break;
        default: break;
        }
    }

  private:
    void fail(const Expr* at, std::string_view what) {
        if (fault.empty())
            fault = std::string(what) + " at offset " + std::to_string(at->location ? at->location.offset() : 0);
    }

    void variable(const VarDecl& var) {
        onVariable(var);
        if (!var.type) fault = fault.empty() ? "a variable without a type" : fault;
        if (!var.initializer) return;
        expression(var.initializer);
        if (var.type && var.type->is(TypeKind::reference)) {
            if (var.initializer->type != var.type->element) fail(var.initializer, "a reference bound to another type");
        } else if (var.initializer->type != var.type) {
            fail(var.initializer, "an initializer of another type");
        } else if (var.initializer->category == ValueCategory::lvalue) {
            fail(var.initializer, "an initializer that was not read");
        }
    }

    void function(const FunctionDecl& decl) {
        if (!decl.templateParameters.empty() || !decl.body) return;
        for (const VarDecl* parameter : decl.parameters)
            if (!parameter->type) fault = "a parameter without a type";
        const TypeRef outer = returnType_;
        returnType_ = decl.returnType;
        statement(decl.body);
        returnType_ = outer;
    }

    void boolean(const Expr* condition) {
        expression(condition);
        if (condition && !condition->type->isBool()) fail(condition, "a condition that is no bool");
    }

    void statement(const Stmt* stmt) {
        if (!stmt) return;
        switch (stmt->kind) {
        case StmtKind::compound:
            for (const Stmt* child : static_cast<const CompoundStmt*>(stmt)->statements)
                statement(child);
            break;
        case StmtKind::declaration:
            for (const Decl* decl : static_cast<const DeclStmt*>(stmt)->declarations)
                check(decl);
            break;
        case StmtKind::expression: expression(static_cast<const ExprStmt*>(stmt)->expression); break;
        case StmtKind::if_: {
            const auto& branch = *static_cast<const IfStmt*>(stmt);
            statement(branch.init);
            boolean(branch.condition);
            statement(branch.thenBranch);
            statement(branch.elseBranch);
            break;
        }
        case StmtKind::for_: {
            const auto& loop = *static_cast<const ForStmt*>(stmt);
            statement(loop.init);
            if (loop.condition) boolean(loop.condition);
            if (loop.step) expression(loop.step);
            statement(loop.body);
            break;
        }
        case StmtKind::rangeFor: {
            const auto& loop = *static_cast<const RangeForStmt*>(stmt);
            expression(loop.range);
            variable(*loop.variable);
            statement(loop.body);
            break;
        }
        case StmtKind::while_:
            boolean(static_cast<const WhileStmt*>(stmt)->condition);
            statement(static_cast<const WhileStmt*>(stmt)->body);
            break;
        case StmtKind::doWhile:
            statement(static_cast<const DoWhileStmt*>(stmt)->body);
            boolean(static_cast<const DoWhileStmt*>(stmt)->condition);
            break;
        case StmtKind::switch_: {
            const auto& choice = *static_cast<const SwitchStmt*>(stmt);
            expression(choice.value);
            for (const Stmt* child : choice.body->statements) {
                if (child->kind == StmtKind::case_) {
                    const auto* label = static_cast<const CaseStmt*>(child);
                    if (label->value && label->value->type != choice.value->type)
                        fail(label->value, "a case of another type than the switch");
                    continue;
                }
                statement(child);
            }
            break;
        }
        case StmtKind::return_: {
            const Expr* value = static_cast<const ReturnStmt*>(stmt)->value;
            if (!value) break;
            expression(value);
            const TypeRef wanted = returnType_->is(TypeKind::reference) ? returnType_->element : returnType_;
            if (value->type != wanted) fail(value, "a returned value of another type");
            break;
        }
        default: break;
        }
    }

    void rvalue(const Expr* expr) {
        expression(expr);
        if (expr->category == ValueCategory::lvalue) fail(expr, "an operand that was not read");
    }

    void expression(const Expr* expr) {
        if (!expr) {
            fault = fault.empty() ? "a missing expression" : fault;
            return;
        }
        if (!expr->type) return fail(expr, "an expression without a type");
        if (expr->type->isError()) return fail(expr, "an expression in error");
        if (expr->type->is(TypeKind::reference) || expr->type->is(TypeKind::auto_) ||
            expr->type->is(TypeKind::overload) || expr->type->is(TypeKind::dependent))
            return fail(expr, "an expression of a type that no value has");
        switch (expr->kind) {
        case ExprKind::nameRef: {
            const auto& ref = *static_cast<const NameRef*>(expr);
            if (!ref.isThis && !ref.decl) fail(expr, "a name that stands for nothing");
            break;
        }
        case ExprKind::member: {
            const auto& member = *static_cast<const Member*>(expr);
            expression(member.base);
            if (!member.field && member.swizzleCount == 0) fail(expr, "a member that is none");
            if (member.field && !member.isArrow && member.base->type->structDecl == nullptr)
                fail(expr, "a field of no struct");
            if (member.isArrow && !member.base->type->is(TypeKind::pointer)) fail(expr, "an arrow on no pointer");
            break;
        }
        case ExprKind::index: {
            const auto& index = *static_cast<const Index*>(expr);
            expression(index.base);
            rvalue(index.index);
            if (index.index->type->scalar != ScalarKind::int_ && index.index->type->scalar != ScalarKind::uint)
                fail(expr, "an index that is neither int nor uint");
            break;
        }
        case ExprKind::call: call(*static_cast<const Call*>(expr)); break;
        case ExprKind::construct: construct(*static_cast<const Construct*>(expr)); break;
        case ExprKind::cast: expression(static_cast<const Cast*>(expr)->operand); break;
        case ExprKind::implicitCast: {
            const auto& cast = *static_cast<const ImplicitCast*>(expr);
            expression(cast.operand);
            if (cast.castKind == CastKind::lvalueToRvalue && cast.operand->category != ValueCategory::lvalue)
                fail(expr, "a read of what is no lvalue");
            if (cast.castKind != CastKind::lvalueToRvalue && cast.castKind != CastKind::arrayToPointer &&
                cast.castKind != CastKind::toVoid && cast.operand->category == ValueCategory::lvalue)
                fail(expr, "a conversion of what was not read");
            if (cast.castKind == CastKind::splat && cast.operand->type->scalar != cast.type->scalar)
                fail(expr, "a splat of another scalar");
            break;
        }
        case ExprKind::unary: expression(static_cast<const Unary*>(expr)->operand); break;
        case ExprKind::binary: binary(*static_cast<const Binary*>(expr)); break;
        case ExprKind::conditional: {
            const auto& choice = *static_cast<const Conditional*>(expr);
            boolean(choice.condition);
            expression(choice.whenTrue);
            expression(choice.whenFalse);
            if (choice.whenTrue->type != choice.type || choice.whenFalse->type != choice.type)
                fail(expr, "a conditional of unequal types");
            break;
        }
        case ExprKind::initList:
        case ExprKind::sizeOf: fail(expr, "a node that should have been replaced"); break;
        default: break;
        }
    }

    void call(const Call& expr) {
        if ((expr.function != nullptr) == (expr.builtin != BuiltinId::none))
            return fail(&expr, "a call of nothing or of two things");
        if (expr.object) expression(expr.object);
        for (const Expr* argument : expr.arguments)
            expression(argument);
        if (!expr.function) return;
        if (expr.arguments.size() != expr.function->parameters.size())
            return fail(&expr, "a call without all its arguments");
        for (std::size_t i = 0; i < expr.arguments.size(); ++i) {
            const TypeRef parameter = expr.function->parameters[i]->type;
            const bool isReference = parameter->is(TypeKind::reference);
            if (expr.arguments[i]->type != (isReference ? parameter->element : parameter))
                fail(expr.arguments[i], "an argument of another type");
            if (!isReference && expr.arguments[i]->category == ValueCategory::lvalue)
                fail(expr.arguments[i], "an argument that was not read");
        }
    }

    void construct(const Construct& expr) {
        for (const Expr* argument : expr.arguments)
            expression(argument);
        switch (expr.constructKind) {
        case ConstructKind::unresolved: fail(&expr, "a construction left open"); break;
        case ConstructKind::components: {
            unsigned count = 0;
            for (const Expr* argument : expr.arguments) {
                count += argument->type->columns;
                if (argument->type->scalar != expr.type->scalar) fail(argument, "a component of another scalar");
            }
            if (count != expr.type->columns) fail(&expr, "components that do not add up");
            break;
        }
        case ConstructKind::splat:
            if (!expr.arguments[0]->type->isScalar() || expr.arguments[0]->type->scalar != expr.type->scalar)
                fail(&expr, "a splat of another scalar");
            break;
        case ConstructKind::aggregate:
            for (std::size_t i = 0; i < expr.arguments.size(); ++i) {
                const TypeRef wanted =
                    expr.type->is(TypeKind::array) ? expr.type->element : expr.type->structDecl->fields[i]->type;
                if (!wanted->is(TypeKind::reference) && expr.arguments[i]->type != wanted)
                    fail(expr.arguments[i], "a member of another type");
            }
            break;
        default: break;
        }
    }

    void binary(const Binary& expr) {
        expression(expr.left);
        expression(expr.right);
        if (expr.op == BinaryOp::comma) return;
        if (expr.right->category == ValueCategory::lvalue) fail(&expr, "a right side that was not read");
        const TypeRef left = expr.left->type;
        const TypeRef right = expr.right->type;
        if (isAssignment(expr.op)) {
            if (expr.left->category != ValueCategory::lvalue) fail(&expr, "an assignment to no lvalue");
            if (expr.op == BinaryOp::assign && left != right) fail(&expr, "an assignment of another type");
            if (!expr.computationType)
                fail(&expr, "an assignment that does not say in which type it computes");
            else if (expr.op != BinaryOp::assign && !left->is(TypeKind::pointer) && !left->isMatrix() &&
                     !right->isMatrix() && right != expr.computationType)
                fail(&expr, "a right side that is not of the computation's type");
            return;
        }
        if (expr.left->category == ValueCategory::lvalue) fail(&expr, "a left side that was not read");
        if (!left->isMatrix() && !right->isMatrix() && !left->is(TypeKind::pointer) && left != right)
            fail(&expr, "operands of unequal types");
    }

    TypeRef returnType_ = nullptr;
};

} // namespace

std::string checkTree(const TranslationUnit& unit) {
    TreeChecker checker;
    for (const Decl* decl : unit.declarations)
        checker.check(decl);
    return checker.fault;
}

const VarDecl* Analyzed::variable(std::string_view name) const {
    const VarDecl* found = nullptr;
    TreeChecker checker;
    checker.onVariable = [&](const VarDecl& var) {
        if (var.name && var.name->text == name) found = &var;
    };
    for (const Decl* decl : unit->declarations)
        checker.check(decl);
    return found;
}

} // namespace msl
