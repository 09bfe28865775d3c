#include "MSL/sema/ConstRun.h"

#include <algorithm>

namespace msl {
namespace {

constexpr std::uint64_t maxSteps = 1'000'000;

bool isNumber(TypeRef type) {
    return type->isScalar() || type->is(TypeKind::enum_);
}

BinaryOp plainOp(BinaryOp op) {
    switch (op) {
    case BinaryOp::mulAssign: return BinaryOp::mul;
    case BinaryOp::divAssign: return BinaryOp::div;
    case BinaryOp::remAssign: return BinaryOp::rem;
    case BinaryOp::addAssign: return BinaryOp::add;
    case BinaryOp::subAssign: return BinaryOp::sub;
    case BinaryOp::shlAssign: return BinaryOp::shl;
    case BinaryOp::shrAssign: return BinaryOp::shr;
    case BinaryOp::andAssign: return BinaryOp::bitAnd;
    case BinaryOp::xorAssign: return BinaryOp::bitXor;
    case BinaryOp::orAssign: return BinaryOp::bitOr;
    default: return op;
    }
}

TypeRef elementOf(TypeRef type, std::size_t index) {
    if (type->is(TypeKind::struct_))
        return index < type->structDecl->fields.size() ? type->structDecl->fields[index]->type : nullptr;
    return type->element;
}

std::size_t countOf(TypeRef type) {
    switch (type->kind) {
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix: return type->columns;
    case TypeKind::array: return static_cast<std::size_t>(type->count);
    case TypeKind::struct_: return type->structDecl->isUnion ? 0 : type->structDecl->fields.size();
    default: return 0;
    }
}

bool hasParts(TypeRef type) {
    return type->isVector() || type->is(TypeKind::packedVector) || type->isMatrix() || type->is(TypeKind::array) ||
           (type->is(TypeKind::struct_) && !type->structDecl->isUnion);
}

} // namespace

ConstantValue Analyzer::ConstantRun::scalar(Expr* expr) {
    frames_.emplace_back();
    Cell made;
    const bool isKnown = value(expr, made);
    frames_.pop_back();
    return isKnown ? made.number : ConstantValue{};
}

bool Analyzer::ConstantRun::step() {
    return ++analyzer_.evaluationSteps_ <= maxSteps && analyzer_.limit_.step();
}

bool Analyzer::ConstantRun::zero(TypeRef type, Cell& out) {
    out = {};
    if (isNumber(type)) {
        out.number = convertConstant({ConstantValue::Kind::integer, 0, 0}, type);
        return true;
    }
    if (!hasParts(type) || (type->is(TypeKind::struct_) && !type->structDecl->isComplete)) return false;
    const std::size_t count = countOf(type);
    parts_ += count;
    if (parts_ > maxParts || ++depth_ > maxDepth) return false;
    out.parts.resize(count);
    bool fine = true;
    for (std::size_t i = 0; i < count && fine; ++i) {
        Expr* start = type->is(TypeKind::struct_) ? type->structDecl->fields[i]->initializer : nullptr;
        fine = step() && (start ? value(start, out.parts[i]) : zero(elementOf(type, i), out.parts[i]));
    }
    --depth_;
    return fine;
}

bool Analyzer::ConstantRun::convert(const Cell& from, TypeRef to, Cell& out) {
    if (from.parts.empty()) {
        if (isNumber(to)) {
            out.parts.clear();
            out.number = convertConstant(from.number, to);
            return static_cast<bool>(out.number);
        }
        return false;
    }
    if (from.parts.size() != countOf(to)) return false;
    if (!to->isVector() && !to->is(TypeKind::packedVector) && !to->isMatrix()) {
        out = from;
        return true;
    }
    Cell made;
    made.parts.resize(from.parts.size());
    for (std::size_t i = 0; i < from.parts.size(); ++i)
        if (!convert(from.parts[i], elementOf(to, i), made.parts[i])) return false;
    out = std::move(made);
    return true;
}

bool Analyzer::ConstantRun::unary(UnaryOp op, const Cell& operand, TypeRef type, Cell& out) {
    if (operand.parts.empty()) {
        out.number = constantUnary(op, operand.number, type);
        return static_cast<bool>(out.number);
    }
    if (operand.parts.size() != countOf(type)) return false;
    out.parts.resize(operand.parts.size());
    for (std::size_t i = 0; i < operand.parts.size(); ++i)
        if (!unary(op, operand.parts[i], elementOf(type, i), out.parts[i])) return false;
    return true;
}

bool Analyzer::ConstantRun::binary(BinaryOp op, const Cell& left, const Cell& right, TypeRef operands, TypeRef type,
                                   Cell& out) {
    if (left.parts.empty() && right.parts.empty()) {
        if (!isNumber(operands) || !isNumber(type)) return false;
        out.number = constantBinary(op, left.number, right.number, operands, type);
        return static_cast<bool>(out.number);
    }
    // Vectors go component by component; products of matrices are left to run time.
    if (!type->isVector() || !operands->isVector()) return false;
    const std::size_t count = countOf(type);
    if ((!left.parts.empty() && left.parts.size() != count) || (!right.parts.empty() && right.parts.size() != count))
        return false;
    Cell made;
    made.parts.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        if (!binary(op, left.parts.empty() ? left : left.parts[i], right.parts.empty() ? right : right.parts[i],
                    operands->element, type->element, made.parts[i]))
            return false;
    out = std::move(made);
    return true;
}

bool Analyzer::ConstantRun::value(Expr* expr, Cell& out) {
    if (!expr || !expr->type || expr->type->isError() || depth_ >= maxDepth || !step()) return false;
    ++depth_;
    const bool fine = valueOf(expr, out);
    --depth_;
    return fine;
}

bool Analyzer::ConstantRun::valueOf(Expr* expr, Cell& out) {
    switch (expr->kind) {
    case ExprKind::intLiteral:
        if (!isNumber(expr->type)) return false;
        out.number = {ConstantValue::Kind::integer, static_cast<std::int64_t>(static_cast<IntLiteral*>(expr)->value),
                      0};
        return true;
    case ExprKind::floatLiteral:
        out.number =
            convertConstant({ConstantValue::Kind::floating, 0, static_cast<FloatLiteral*>(expr)->value}, expr->type);
        return true;
    case ExprKind::boolLiteral:
        out.number = {ConstantValue::Kind::integer, static_cast<BoolLiteral*>(expr)->value ? 1 : 0, 0};
        return true;
    case ExprKind::nameRef: {
        const Decl* decl = static_cast<NameRef*>(expr)->decl;
        if (decl && decl->kind == DeclKind::enumerator) {
            out.number = {ConstantValue::Kind::integer, static_cast<const EnumeratorDecl*>(decl)->value, 0};
            return true;
        }
        break;
    }
    case ExprKind::implicitCast:
    case ExprKind::cast: {
        const CastKind kind = expr->kind == ExprKind::cast ? static_cast<Cast*>(expr)->castKind
                                                           : static_cast<ImplicitCast*>(expr)->castKind;
        Expr* operand = expr->kind == ExprKind::cast ? static_cast<Cast*>(expr)->operand
                                                     : static_cast<ImplicitCast*>(expr)->operand;
        Cell inner;
        switch (kind) {
        case CastKind::none:
        case CastKind::lvalueToRvalue: return value(operand, out);
        case CastKind::scalarConversion:
        case CastKind::enumToInteger:
        case CastKind::integerToEnum:
        case CastKind::packedToVector:
        case CastKind::vectorToPacked: return value(operand, inner) && convert(inner, expr->type, out);
        case CastKind::splat: {
            if (!value(operand, inner) || expr->type->isMatrix() || !inner.parts.empty()) return false;
            Cell number;
            if (!convert(inner, expr->type->element, number)) return false;
            out.parts.assign(countOf(expr->type), number);
            return true;
        }
        case CastKind::toVoid: return value(operand, inner);
        default: return false;
        }
    }
    case ExprKind::construct: return construct(static_cast<Construct*>(expr), out);
    case ExprKind::conditional: {
        auto* node = static_cast<Conditional*>(expr);
        Cell condition;
        return value(node->condition, condition) &&
               value(condition.number.isTrue() ? node->whenTrue : node->whenFalse, out);
    }
    case ExprKind::unary: {
        auto* node = static_cast<Unary*>(expr);
        Cell operand;
        switch (node->op) {
        case UnaryOp::plus:
        case UnaryOp::minus:
        case UnaryOp::bitNot:
        case UnaryOp::logicalNot: return value(node->operand, operand) && unary(node->op, operand, expr->type, out);
        case UnaryOp::postIncrement:
        case UnaryOp::postDecrement:
        case UnaryOp::preIncrement:
        case UnaryOp::preDecrement: {
            Cell* cell = place(node->operand);
            if (!cell || !isNumber(expr->type)) return false;
            const bool isDown = node->op == UnaryOp::postDecrement || node->op == UnaryOp::preDecrement;
            const bool isAfter = node->op == UnaryOp::postIncrement || node->op == UnaryOp::postDecrement;
            const ConstantValue one = convertConstant({ConstantValue::Kind::integer, 1, 0}, expr->type);
            const ConstantValue old = cell->number;
            cell->number = constantBinary(isDown ? BinaryOp::sub : BinaryOp::add, old, one, expr->type, expr->type);
            out.number = isAfter ? old : cell->number;
            return static_cast<bool>(out.number);
        }
        default: break;
        }
        break;
    }
    case ExprKind::binary: {
        auto* node = static_cast<Binary*>(expr);
        if (isAssignment(node->op)) return assign(node, out);
        Cell left;
        Cell right;
        if (!value(node->left, left)) return false;
        if (node->op == BinaryOp::comma) return value(node->right, out);
        if (left.parts.empty() && (node->op == BinaryOp::logicalAnd || node->op == BinaryOp::logicalOr) &&
            left.number.isTrue() == (node->op == BinaryOp::logicalOr)) {
            out.number = {ConstantValue::Kind::integer, node->op == BinaryOp::logicalOr ? 1 : 0, 0};
            return true;
        }
        return value(node->right, right) && binary(node->op, left, right, node->left->type, expr->type, out);
    }
    case ExprKind::member: {
        auto* node = static_cast<Member*>(expr);
        if (expr->category == ValueCategory::lvalue || node->isArrow) break;
        Cell base;
        if (!value(node->base, base)) return false;
        if (node->field) {
            if (node->field->index >= base.parts.size()) return false;
            out = base.parts[node->field->index];
            return true;
        }
        for (unsigned i = 0; i < node->swizzleCount; ++i) {
            if (node->swizzle[i] >= base.parts.size()) return false;
            if (node->swizzleCount == 1)
                out = base.parts[node->swizzle[i]];
            else
                out.parts.push_back(base.parts[node->swizzle[i]]);
        }
        return node->swizzleCount > 0;
    }
    case ExprKind::index: {
        auto* node = static_cast<Index*>(expr);
        if (expr->category == ValueCategory::lvalue) break;
        Cell base;
        Cell index;
        if (!value(node->base, base) || !value(node->index, index) || index.number.integer < 0 ||
            static_cast<std::uint64_t>(index.number.integer) >= base.parts.size())
            return false;
        out = base.parts[static_cast<std::size_t>(index.number.integer)];
        return true;
    }
    case ExprKind::call: return call(static_cast<Call*>(expr), out);
    default: return false;
    }
    const Cell* cell = place(expr);
    if (!cell) return false;
    out = *cell;
    return true;
}

// The cell that an lvalue stands for; null when it has none. Constants of the program are computed anew.
Analyzer::ConstantRun::Cell* Analyzer::ConstantRun::place(Expr* expr) {
    if (!expr || !expr->type || depth_ >= maxDepth || !step()) return nullptr;
    Frame& frame = frames_.back();
    switch (expr->kind) {
    case ExprKind::nameRef: {
        const auto* ref = static_cast<NameRef*>(expr);
        if (!ref->decl || ref->decl->kind != DeclKind::variable) return nullptr;
        auto* var = static_cast<VarDecl*>(ref->decl);
        if (const auto bound = frame.references.find(var); bound != frame.references.end()) return bound->second;
        if (const auto known = frame.variables.find(var); known != frame.variables.end()) return &known->second;
        Cell& made = temporaries_.emplace_back();
        if (var->hasConstantValue) {
            made.number = {ConstantValue::Kind::integer, var->constantValue, 0};
            return &made;
        }
        const bool isConstant = (var->isConst || var->isConstexpr) && var->varKind != VarKind::parameter &&
                                var->initializer && var->type && var->initializer->type == var->type;
        if (!isConstant) return nullptr;
        ++depth_;
        const bool fine = value(var->initializer, made);
        --depth_;
        return fine ? &made : nullptr;
    }
    case ExprKind::member: {
        auto* node = static_cast<Member*>(expr);
        Cell* base = nullptr;
        if (node->isArrow) {
            const bool isThis = node->base->kind == ExprKind::nameRef && static_cast<NameRef*>(node->base)->isThis;
            base = isThis ? frame.self : nullptr;
        } else {
            ++depth_;
            base = place(node->base);
            --depth_;
        }
        if (!base) return nullptr;
        if (!node->field && node->swizzleCount > 1) { // several components: a value, not a cell of its own
            Cell& made = temporaries_.emplace_back();
            for (unsigned i = 0; i < node->swizzleCount; ++i) {
                if (node->swizzle[i] >= base->parts.size()) return nullptr;
                made.parts.push_back(base->parts[node->swizzle[i]]);
            }
            return &made;
        }
        const std::size_t number = node->field ? node->field->index : node->swizzle[0];
        return number < base->parts.size() ? &base->parts[number] : nullptr;
    }
    case ExprKind::index: {
        auto* node = static_cast<Index*>(expr);
        Expr* array = node->base;
        if (array->type->is(TypeKind::pointer)) {
            if (array->kind != ExprKind::implicitCast ||
                static_cast<ImplicitCast*>(array)->castKind != CastKind::arrayToPointer)
                return nullptr;
            array = static_cast<ImplicitCast*>(array)->operand;
        }
        Cell index;
        if (!value(node->index, index)) return nullptr;
        ++depth_;
        Cell* base = place(array);
        --depth_;
        if (!base || index.number.integer < 0 || static_cast<std::uint64_t>(index.number.integer) >= base->parts.size())
            return nullptr;
        return &base->parts[static_cast<std::size_t>(index.number.integer)];
    }
    case ExprKind::unary: {
        auto* node = static_cast<Unary*>(expr);
        const bool isThis = node->op == UnaryOp::dereference && node->operand->kind == ExprKind::nameRef &&
                            static_cast<NameRef*>(node->operand)->isThis;
        if (isThis) return frame.self;
        if (node->op != UnaryOp::preIncrement && node->op != UnaryOp::preDecrement) return nullptr;
        Cell ignored;
        return value(expr, ignored) ? place(node->operand) : nullptr;
    }
    case ExprKind::binary: {
        auto* node = static_cast<Binary*>(expr);
        Cell ignored;
        if (!isAssignment(node->op) || !assign(node, ignored)) return nullptr;
        return place(node->left);
    }
    case ExprKind::implicitCast:
        if (static_cast<ImplicitCast*>(expr)->castKind == CastKind::none)
            return place(static_cast<ImplicitCast*>(expr)->operand);
        return nullptr;
    default: return nullptr;
    }
}

bool Analyzer::ConstantRun::assign(Binary* node, Cell& out) {
    Cell right;
    if (!value(node->right, right)) return false;
    if (node->left->kind == ExprKind::member && static_cast<Member*>(node->left)->swizzleCount > 1) return false;
    Cell* left = place(node->left);
    if (!left) return false;
    if (node->op != BinaryOp::assign) {
        const TypeRef computation = node->computationType ? node->computationType : node->left->type;
        Cell old;
        Cell made;
        if (!convert(*left, computation, old) ||
            !binary(plainOp(node->op), old, right, computation, computation, made) ||
            !convert(made, node->left->type, right))
            return false;
    }
    *left = right;
    out = std::move(right);
    return true;
}

bool Analyzer::ConstantRun::construct(Construct* node, Cell& out) {
    const TypeRef type = node->type;
    switch (node->constructKind) {
    case ConstructKind::zero: return zero(type, out);
    case ConstructKind::convert: {
        Cell inner;
        return node->arguments.size() == 1 && value(node->arguments[0], inner) && convert(inner, type, out);
    }
    case ConstructKind::splat: {
        Cell inner;
        Cell number;
        if (type->isMatrix() || node->arguments.empty() || !value(node->arguments[0], inner) ||
            !convert(inner, type->element, number))
            return false;
        out.parts.assign(countOf(type), number);
        return true;
    }
    case ConstructKind::components:
        for (Expr* argument : node->arguments) {
            Cell part;
            if (!value(argument, part)) return false;
            if (part.parts.empty()) part.parts.push_back(Cell{part.number, {}});
            for (const Cell& one : part.parts) {
                Cell number;
                if (!convert(one, type->element, number)) return false;
                out.parts.push_back(number);
            }
        }
        return out.parts.size() == countOf(type);
    case ConstructKind::aggregate: {
        if (isNumber(type)) {
            Cell inner;
            if (node->arguments.empty()) return zero(type, out);
            return value(node->arguments[0], inner) && convert(inner, type, out);
        }
        if (!zero(type, out) || node->arguments.size() > out.parts.size()) return false;
        for (std::size_t i = 0; i < node->arguments.size(); ++i) {
            Cell part;
            if (!value(node->arguments[i], part)) return false;
            out.parts[i] = std::move(part);
        }
        return true;
    }
    case ConstructKind::constructor: return runConstructor(node, out);
    default: return false;
    }
}

bool Analyzer::ConstantRun::bindArguments(FunctionDecl* function, std::span<Expr*> arguments, Frame& frame) {
    if (arguments.size() < function->parameters.size()) return false;
    for (std::size_t i = 0; i < function->parameters.size(); ++i) {
        VarDecl* parameter = function->parameters[i];
        if (parameter->type->is(TypeKind::reference)) {
            Cell* bound = arguments[i]->category == ValueCategory::lvalue ? place(arguments[i]) : nullptr;
            if (!bound) {
                bound = &temporaries_.emplace_back();
                if (!value(arguments[i], *bound)) return false;
            }
            frame.references[parameter] = bound;
        } else if (!value(arguments[i], frame.variables[parameter])) {
            return false;
        }
    }
    return true;
}

bool Analyzer::ConstantRun::runConstructor(Construct* node, Cell& out) {
    FunctionDecl* function = node->constructor;
    if (!function || !function->isConstexpr) return false;
    analyzer_.resolveBodyNow(function);
    if (!function->body || function->isInvalid || !function->isResolved) return false;
    Frame frame;
    Cell& object = temporaries_.emplace_back();
    if (!bindArguments(function, node->arguments, frame) || !zero(node->type, object)) return false;
    frame.self = &object;
    frames_.push_back(std::move(frame));
    bool fine = true;
    for (const FunctionDecl::MemberInit& init : function->memberInits) {
        Cell part;
        fine = fine && init.value && value(init.value, part);
        if (!fine) break;
        if (!init.field)
            object = part; // a delegating constructor
        else if (init.field->index < object.parts.size())
            object.parts[init.field->index] = part;
        else
            fine = false;
    }
    if (fine) {
        const Flow flow = run(function->body);
        fine = flow == Flow::next || flow == Flow::returns;
    }
    frames_.pop_back();
    out = object;
    return fine;
}

bool Analyzer::ConstantRun::call(Call* call, Cell& out) {
    if (call->builtin != BuiltinId::none) {
        ConstantValue numbers[4];
        if (!isNumber(call->type) || call->arguments.empty() || call->arguments.size() > std::size(numbers))
            return false;
        for (std::size_t i = 0; i < call->arguments.size(); ++i) {
            Cell argument;
            if (!call->arguments[i]->type || !isNumber(call->arguments[i]->type) ||
                !value(call->arguments[i], argument))
                return false;
            numbers[i] = argument.number;
        }
        out.number = constantBuiltin(call->builtin, {numbers, call->arguments.size()}, call->type);
        return static_cast<bool>(out.number);
    }
    FunctionDecl* function = call->function;
    if (!function || !function->isConstexpr) return false;
    if (function->definition) function = function->definition;
    analyzer_.resolveBodyNow(function);
    if (!function->body || function->isInvalid || !function->isResolved || call->category == ValueCategory::lvalue)
        return false;
    Frame frame;
    if (call->object && function->owner && !function->isStatic) {
        const bool isThis = call->objectIsPointer && call->object->kind == ExprKind::nameRef &&
                            static_cast<NameRef*>(call->object)->isThis;
        if (isThis) {
            frame.self = frames_.back().self;
        } else if (!call->objectIsPointer) {
            frame.self = call->object->category == ValueCategory::lvalue ? place(call->object) : nullptr;
            if (!frame.self) {
                frame.self = &temporaries_.emplace_back();
                if (!value(call->object, *frame.self)) return false;
            }
        }
        if (!frame.self) return false;
    }
    if (!bindArguments(function, call->arguments, frame)) return false;
    frames_.push_back(std::move(frame));
    const Flow flow = run(function->body);
    out = std::move(frames_.back().result);
    frames_.pop_back();
    return flow == Flow::returns || (flow == Flow::next && function->returnType->is(TypeKind::void_));
}

// ------------------------------------------------------------------------------------------------------ statements

bool Analyzer::ConstantRun::declare(VarDecl* var) {
    if (var->isInvalid || !var->type) return false;
    Frame& frame = frames_.back();
    if (var->type->is(TypeKind::reference)) {
        Cell* bound = var->initializer ? place(var->initializer) : nullptr;
        if (!bound) return false;
        frame.references[var] = bound;
        return true;
    }
    Cell made;
    if (!(var->initializer ? value(var->initializer, made) : zero(var->type, made))) return false;
    frames_.back().variables[var] = std::move(made);
    return true;
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::loop(Expr* condition, Expr* increment, Stmt* body, bool bodyFirst) {
    for (bool isFirst = true;; isFirst = false) {
        if (!step()) return Flow::fails;
        if (condition && !(isFirst && bodyFirst)) {
            Cell goesOn;
            if (!value(condition, goesOn)) return Flow::fails;
            if (!goesOn.number.isTrue()) return Flow::next;
        }
        const Flow flow = run(body);
        if (flow == Flow::leaves) return Flow::next;
        if (flow == Flow::returns || flow == Flow::fails) return flow;
        Cell ignored;
        if (increment && !value(increment, ignored)) return Flow::fails;
    }
}

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::runSwitch(SwitchStmt* stmt) {
    Cell selector;
    if (!value(stmt->value, selector) || !stmt->body) return Flow::fails;
    const std::span<Stmt*> body = stmt->body->statements;
    std::size_t begin = body.size();
    for (std::size_t i = 0; i < body.size() && step(); ++i) {
        if (!body[i] || body[i]->kind != StmtKind::case_) continue;
        const auto* label = static_cast<CaseStmt*>(body[i]);
        if (label->value && label->constant == selector.number.integer) {
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

Analyzer::ConstantRun::Flow Analyzer::ConstantRun::run(Stmt* stmt) {
    if (!stmt) return Flow::next;
    if (depth_ >= maxDepth || !step()) return Flow::fails;
    struct Deeper {
        unsigned& depth;
        explicit Deeper(unsigned& d) : depth(d) { ++depth; }
        ~Deeper() { --depth; }
    } const deeper(depth_);
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
        Cell ignored;
        return value(static_cast<ExprStmt*>(stmt)->expression, ignored) ? Flow::next : Flow::fails;
    }
    case StmtKind::if_: {
        auto* branch = static_cast<IfStmt*>(stmt);
        if (branch->init && run(branch->init) != Flow::next) return Flow::fails;
        Cell condition;
        if (!value(branch->condition, condition)) return Flow::fails;
        return run(condition.number.isTrue() ? branch->thenBranch : branch->elseBranch);
    }
    case StmtKind::for_: {
        auto* each = static_cast<ForStmt*>(stmt);
        if (each->init && run(each->init) != Flow::next) return Flow::fails;
        return loop(each->condition, each->step, each->body, false);
    }
    case StmtKind::while_:
        return loop(static_cast<WhileStmt*>(stmt)->condition, nullptr, static_cast<WhileStmt*>(stmt)->body, false);
    case StmtKind::doWhile:
        return loop(static_cast<DoWhileStmt*>(stmt)->condition, nullptr, static_cast<DoWhileStmt*>(stmt)->body, true);
    case StmtKind::switch_: return runSwitch(static_cast<SwitchStmt*>(stmt));
    case StmtKind::break_: return Flow::leaves;
    case StmtKind::continue_: return Flow::continues;
    case StmtKind::return_: {
        Expr* result = static_cast<ReturnStmt*>(stmt)->value;
        Cell made;
        if (result && !value(result, made)) return Flow::fails;
        frames_.back().result = std::move(made);
        return Flow::returns;
    }
    default: return Flow::fails;
    }
}

} // namespace msl
