// Binary operators, assignments and the conditional operator.
#include "MSL/parse/SmallList.h"
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {
namespace {

constexpr std::string_view spellings[] = {
    "*", "/",  "%",  "+", "-",  "<<", ">>", "<",  ">",  "<=",  ">=",  "==", "!=", "&",  "^",
    "|", "&&", "||", "=", "*=", "/=", "%=", "+=", "-=", "<<=", ">>=", "&=", "^=", "|=", ","};

std::string_view spelling(BinaryOp op) {
    return spellings[static_cast<unsigned>(op)];
}

BinaryOp withoutAssignment(BinaryOp op) {
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

bool isBitwise(BinaryOp op) {
    return op == BinaryOp::bitAnd || op == BinaryOp::bitOr || op == BinaryOp::bitXor;
}
bool isShift(BinaryOp op) {
    return op == BinaryOp::shl || op == BinaryOp::shr;
}
bool needsIntegers(BinaryOp op) {
    return isBitwise(op) || isShift(op) || op == BinaryOp::rem;
}

bool mayOverload(TypeRef type) {
    return type->is(TypeKind::struct_) || type->is(TypeKind::lambda) || type->is(TypeKind::enum_);
}

} // namespace

TypeRef Analyzer::promoted(TypeRef type) const {
    if (type->isScalar() && isInteger(type->scalar) && type->scalar < ScalarKind::int_) return types_.int_();
    return type;
}

TypeRef Analyzer::commonScalar(TypeRef a, TypeRef b) const {
    if (isFloating(a->scalar) || isFloating(b->scalar)) {
        if (a->scalar == ScalarKind::float_ || b->scalar == ScalarKind::float_) return types_.float_();
        if (!convertsUnasked(a->scalar, b->scalar)) return nullptr; // half and bfloat
        return types_.scalar(std::max(a->scalar, b->scalar));
    }
    a = promoted(a);
    b = promoted(b);
    if (a == b) return a;
    if (byteSize(a->scalar) != byteSize(b->scalar)) return byteSize(a->scalar) > byteSize(b->scalar) ? a : b;
    return isSigned(a->scalar) ? b : a;
}

TypeRef Analyzer::commonType(TypeRef a, TypeRef b) const {
    if (a->isScalar() && b->isScalar()) return commonScalar(a, b);
    if (a == b && (a->isVector() || a->isMatrix())) return a;
    if (a->isVector() && b->isScalar() && convertsUnasked(b->scalar, a->scalar)) return a;
    if (a->isScalar() && b->isVector() && convertsUnasked(a->scalar, b->scalar)) return b;
    return nullptr;
}

Expr* Analyzer::toArithmetic(Expr* rvalue) {
    const TypeRef type = rvalue->type;
    if (type->is(TypeKind::enum_) && !type->enumDecl->isScoped)
        return makeCast(CastKind::enumToInteger, rvalue, type->element);
    if (type->is(TypeKind::packedVector))
        return makeCast(CastKind::packedToVector, rvalue, types_.vector(type->scalar, type->columns));
    if (type->is(TypeKind::struct_)) { // by its conversion operator, when it has just one
        const FunctionDecl* found = nullptr;
        for (const Decl* member : type->structDecl->members)
            if (member->kind == DeclKind::function && static_cast<const FunctionDecl*>(member)->isConversion) {
                if (found) return rvalue;
                found = static_cast<const FunctionDecl*>(member);
            }
        if (found && found->returnType && found->returnType->isNumeric())
            if (Expr* converted = tryConvert(rvalue, found->returnType)) return converted;
    }
    return rvalue;
}

Expr* Analyzer::invalidOperands(Binary* expr) {
    error(expr->location, "invalid operands to binary expression ('" + typeName(expr->left->type) + "' and '" +
                              typeName(expr->right->type) + "')");
    return errorAt(expr);
}

Expr* Analyzer::binary(Binary* expr) {
    // Long sums lean to the left: walk down their spine instead of recursing.
    SmallList<Binary*> spine;
    Expr* leftmost = expr;
    while (leftmost->kind == ExprKind::binary && !leftmost->type) {
        auto* node = static_cast<Binary*>(leftmost);
        spine.add(node);
        leftmost = node->left;
        if (spine.size() > 20 * maxExpressionDepth) break;
    }
    if (spine.size() > maxExpressionDepth) {
        error(expr->location, "expression is nested too deeply; split it into several statements");
        return errorAt(expr);
    }
    Expr* left = expression(leftmost);
    for (std::size_t i = spine.size(); i > 0; --i) {
        Binary* node = spine[i - 1];
        node->left = left;
        Expr* right = node->right;
        if (isAssignment(node->op) && right->kind == ExprKind::initList) {
            if (!left->type->isError())
                right = initializeFromList(left->type, static_cast<InitList*>(right), Purpose::assignment);
            else
                right = errorAt(right);
        } else {
            right = expression(right);
        }
        node->right = right;
        if (left->type->isError() || right->type->isError()) {
            left = errorAt(node);
            continue;
        }
        if (node->op == BinaryOp::comma) {
            node->right = right;
            node->type = right->type;
            node->category = right->category;
            node->space = right->space;
            node->isConst = right->isConst;
            left = node;
            continue;
        }
        if (mayOverload(left->type) || mayOverload(right->type)) {
            bool handled = false;
            Expr* call = overloadedOperator(node->op, left, right, node->location, &handled);
            if (handled) {
                left = call;
                continue;
            }
        }
        if (isAssignment(node->op)) {
            left = assignment(node);
            continue;
        }
        node->left = toArithmetic(load(left));
        node->right = toArithmetic(load(right));
        if (node->left->type->isError() || node->right->type->isError()) {
            left = errorAt(node);
            continue;
        }
        switch (node->op) {
        case BinaryOp::less:
        case BinaryOp::greater:
        case BinaryOp::lessEqual:
        case BinaryOp::greaterEqual:
        case BinaryOp::equal:
        case BinaryOp::notEqual: left = comparison(node); break;
        case BinaryOp::logicalAnd:
        case BinaryOp::logicalOr: left = logical(node); break;
        case BinaryOp::shl:
        case BinaryOp::shr: left = shift(node); break;
        default: left = arithmetic(node); break;
        }
    }
    return left;
}

Expr* Analyzer::decayed(Expr* side) {
    if (!side->type->is(TypeKind::array)) return side;
    Expr* array = side;
    if (side->category == ValueCategory::rvalue) {
        if (side->kind != ExprKind::implicitCast) return side;
        array = static_cast<ImplicitCast*>(side)->operand;
    }
    return makeCast(CastKind::arrayToPointer, array,
                    types_.pointer(array->type->element, array->space, array->isConst));
}

Expr* Analyzer::pointerArithmetic(Binary* expr) {
    expr->left = decayed(expr->left);
    expr->right = decayed(expr->right);
    const TypeRef left = expr->left->type;
    const TypeRef right = expr->right->type;
    if (left->is(TypeKind::pointer) && right->is(TypeKind::pointer)) {
        if (expr->op != BinaryOp::sub || left->element != right->element) return invalidOperands(expr);
        expr->type = types_.scalar(ScalarKind::long_);
        return expr;
    }
    const bool isSum = expr->op == BinaryOp::add;
    if (left->is(TypeKind::pointer) && right->isScalar() && isInteger(right->scalar) &&
        (isSum || expr->op == BinaryOp::sub)) {
        expr->type = left;
        return expr;
    }
    if (isSum && right->is(TypeKind::pointer) && left->isScalar() && isInteger(left->scalar)) {
        std::swap(expr->left, expr->right);
        expr->type = right;
        return expr;
    }
    return invalidOperands(expr);
}

// Products with a matrix in them; null when it is none that exists.
Expr* Analyzer::matrixProduct(Binary* expr) {
    const TypeRef left = expr->left->type;
    const TypeRef right = expr->right->type;
    if (left->isMatrix() && right->isScalar()) {
        expr->right = explicitConvert(expr->right, types_.scalar(left->scalar));
        if (expr->op == BinaryOp::div) { // times the reciprocal
            Binary* reciprocal = make<Binary>(expr);
            FloatLiteral* one = make<FloatLiteral>(expr);
            one->value = 1;
            one->scalar = left->scalar;
            one->type = types_.scalar(left->scalar);
            reciprocal->op = BinaryOp::div;
            reciprocal->left = one;
            reciprocal->right = expr->right;
            reciprocal->type = one->type;
            expr->right = reciprocal;
            expr->op = BinaryOp::mul;
        }
        expr->type = left;
        return expr;
    }
    if (expr->op != BinaryOp::mul) return nullptr;
    if (left->isScalar() && right->isMatrix()) {
        expr->left = explicitConvert(expr->left, types_.scalar(right->scalar));
        expr->type = right;
        return expr;
    }
    if (left->scalar != right->scalar) return nullptr;
    if (left->isMatrix() && right->isMatrix() && left->columns == right->rows) {
        expr->type = types_.matrix(left->scalar, right->columns, left->rows);
        return expr;
    }
    if (left->isMatrix() && right->isVector() && left->columns == right->columns) {
        expr->type = types_.vector(left->scalar, left->rows);
        return expr;
    }
    if (left->isVector() && right->isMatrix() && left->columns == right->rows) {
        expr->type = types_.vector(left->scalar, right->columns);
        return expr;
    }
    return nullptr;
}

Expr* Analyzer::arithmetic(Binary* expr) {
    const TypeRef left = expr->left->type;
    const TypeRef right = expr->right->type;
    const auto pointerLike = [](TypeRef type) { return type->is(TypeKind::pointer) || type->is(TypeKind::array); };
    if (pointerLike(left) || pointerLike(right)) return pointerArithmetic(expr);
    if ((left->isMatrix() || right->isMatrix()) && (expr->op == BinaryOp::mul || expr->op == BinaryOp::div)) {
        Expr* product = matrixProduct(expr);
        return product ? product : invalidOperands(expr);
    }
    const TypeRef common = commonType(left, right);
    if (!common || (needsIntegers(expr->op) && isFloating(common->scalar)) ||
        (common->isMatrix() && expr->op != BinaryOp::add && expr->op != BinaryOp::sub))
        return invalidOperands(expr);
    if (common->isVector() && needsIntegers(expr->op) &&
        ((left->isScalar() && isFloating(left->scalar)) || (right->isScalar() && isFloating(right->scalar))))
        return invalidOperands(expr);
    if (common->isVector() && common->scalar == ScalarKind::bool_ && !isBitwise(expr->op)) return invalidOperands(expr);
    expr->left = explicitConvert(expr->left, common);
    expr->right = explicitConvert(expr->right, common);
    expr->type = common;
    return expr;
}

Expr* Analyzer::shift(Binary* expr) {
    const TypeRef left = expr->left->type;
    const TypeRef right = expr->right->type;
    if (!left->isIntegerNumeric() || !right->isIntegerNumeric()) return invalidOperands(expr);
    if (left->isVector() && right->isVector() && left->columns != right->columns) return invalidOperands(expr);
    TypeRef type = promoted(left);
    if (left->isScalar() && right->isVector()) type = types_.vector(type->scalar, right->columns);
    expr->left = explicitConvert(expr->left, type);
    expr->right = explicitConvert(expr->right, type);
    expr->type = type;
    return expr;
}

Expr* Analyzer::comparison(Binary* expr) {
    if (expr->left->type->is(TypeKind::pointer)) expr->right = decayed(expr->right);
    if (expr->right->type->is(TypeKind::pointer)) expr->left = decayed(expr->left);
    const TypeRef left = expr->left->type;
    const TypeRef right = expr->right->type;
    const bool isEquality = expr->op == BinaryOp::equal || expr->op == BinaryOp::notEqual;
    if (left->is(TypeKind::pointer) || right->is(TypeKind::pointer)) {
        if (left->is(TypeKind::pointer) && right->is(TypeKind::pointer) && left->element == right->element &&
            left->space == right->space) {
            expr->type = types_.bool_();
            return expr;
        }
        const TypeRef pointer = left->is(TypeKind::pointer) ? left : right;
        Expr*& other = left->is(TypeKind::pointer) ? expr->right : expr->left;
        if (isEquality && rankConversion(other, pointer) != ConversionRank::none) {
            other = tryConvert(other, pointer);
            expr->type = types_.bool_();
            return expr;
        }
        return invalidOperands(expr);
    }
    if (left->is(TypeKind::enum_) && left == right) { // scoped; the others are integers by now
        expr->left = makeCast(CastKind::enumToInteger, expr->left, left->element);
        expr->right = makeCast(CastKind::enumToInteger, expr->right, left->element);
        expr->type = types_.bool_();
        return expr;
    }
    const TypeRef common = commonType(left, right);
    if (!common || (common->isMatrix() && !isEquality)) return invalidOperands(expr);
    if (common->isMatrix()) {
        unsupported(expr->location, "comparing matrices");
        return errorAt(expr);
    }
    expr->left = explicitConvert(expr->left, common);
    expr->right = explicitConvert(expr->right, common);
    expr->type = common->isScalar() ? types_.bool_() : types_.withScalar(common, ScalarKind::bool_);
    return expr;
}

Expr* Analyzer::logical(Binary* expr) {
    const TypeRef left = expr->left->type;
    const TypeRef right = expr->right->type;
    if (left->isVector() || right->isVector()) {
        const bool fits = (left->isVector() && right->isVector() && left->columns == right->columns) ||
                          (left->isVector() && right->isScalar()) || (left->isScalar() && right->isVector());
        if (!fits) return invalidOperands(expr);
        const TypeRef type = types_.vector(ScalarKind::bool_, left->isVector() ? left->columns : right->columns);
        expr->left = explicitConvert(expr->left, type);
        expr->right = explicitConvert(expr->right, type);
        expr->type = type;
        return expr;
    }
    const auto fits = [](TypeRef type) {
        return type->isScalar() || type->is(TypeKind::pointer) || type->is(TypeKind::struct_);
    };
    if (!fits(left) || !fits(right)) return invalidOperands(expr);
    expr->left = toBool(expr->left);
    expr->right = toBool(expr->right);
    if (expr->left->type->isError() || expr->right->type->isError()) return errorAt(expr);
    expr->type = types_.bool_();
    return expr;
}

Expr* Analyzer::assignment(Binary* expr) {
    Expr* left = expr->left;
    if (!checkAssignable(left, expr->location)) return errorAt(expr);
    expr->type = left->type;
    expr->category = ValueCategory::lvalue;
    expr->space = left->space;
    if (expr->op == BinaryOp::assign) {
        const auto isPlainArray = [](const Expr* side) { // not array<T, N>, which is a value
            const VarDecl* var = nullptr;
            if (side->kind == ExprKind::nameRef && static_cast<const NameRef*>(side)->decl &&
                static_cast<const NameRef*>(side)->decl->kind == DeclKind::variable)
                var = static_cast<const VarDecl*>(static_cast<const NameRef*>(side)->decl);
            else if (side->kind == ExprKind::member)
                var = static_cast<const Member*>(side)->field;
            return var && var->typeSyntax && !var->typeSyntax->modifiers.empty() &&
                   var->typeSyntax->modifiers.back().kind == TypeModifier::Kind::array;
        };
        if (left->type->is(TypeKind::array) && (expr->right->type != left->type || isPlainArray(left))) {
            error(expr->location, "array type '" + typeName(left->type) + "' is not assignable");
            return errorAt(expr);
        }
        if (left->type->is(TypeKind::atomic)) {
            error(expr->location,
                  "an object of type '" + typeName(left->type) + "' is written with atomic functions only");
            return errorAt(expr);
        }
        expr->right = convert(expr->right, left->type, Purpose::assignment, expr->location);
        expr->computationType = left->type;
        return expr->right->type->isError() ? errorAt(expr) : expr;
    }

    // Compute on a copy of the left side's value, then see whether the result fits back.
    const BinaryOp op = withoutAssignment(expr->op);
    if (left->type->is(TypeKind::pointer)) {
        expr->right = toArithmetic(load(expr->right));
        const TypeRef right = expr->right->type;
        if ((op != BinaryOp::add && op != BinaryOp::sub) || !right->isScalar() || !isInteger(right->scalar))
            return invalidOperands(expr);
        expr->computationType = left->type;
        return expr;
    }
    Binary* computation = make<Binary>(expr);
    computation->op = op;
    computation->left = toArithmetic(load(left));
    computation->right = toArithmetic(load(expr->right));
    if (computation->left->type->isError() || computation->right->type->isError()) return errorAt(expr);
    const TypeRef readLeft = computation->left->type;
    const TypeRef readRight = computation->right->type;
    const bool isNumericPair = readLeft->isNumeric() && readRight->isNumeric();
    if (!isNumericPair) return invalidOperands(expr);
    Expr* typed = isShift(op) ? shift(computation) : arithmetic(computation);
    if (typed->type->isError()) return typed;
    const TypeRef result = typed->type;
    const bool fits = result == readLeft || rankTypes(result, left->type) < ConversionRank::splat;
    if (!fits) {
        error(expr->location,
              "assigning to '" + typeName(left->type) + "' from incompatible type '" + typeName(result) + "'");
        return errorAt(expr);
    }
    expr->right = computation->right;
    if (op == BinaryOp::div && computation->op == BinaryOp::mul)
        expr->op = BinaryOp::mulAssign; // a matrix over a scalar
    // In a product with a matrix each side keeps its own type; the left is then of the result's type.
    expr->computationType = result;
    return expr;
}

std::span<FunctionDecl*> Analyzer::operatorFunctions(std::string_view operatorSpelling,
                                                     std::span<Expr* const> operands) {
    std::string name = "operator";
    name += operatorSpelling;
    const Identifier* identifier = identifiers_.get(name);
    const NameMeaning near = lookUpWithArguments(identifier, operands);
    if (!near.functions.empty()) return near.functions;
    if (!identifier->scope) return {};
    return lookUpUnqualified(identifier).functions;
}

Expr* Analyzer::overloadedOperator(BinaryOp op, Expr* left, Expr* right, SourceLocation at, bool* handled) {
    std::vector<Candidate> candidates;
    Expr* both[] = {left, right};
    const std::span<Expr*> bothArguments = arena_.copy(std::span<Expr* const>(both));
    const std::span<Expr*> rightOnly = bothArguments.subspan(1);
    for (FunctionDecl* function : operatorFunctions(spelling(op), both)) {
        if (function->owner) continue;
        Candidate candidate = consider(function, bothArguments, {});
        if (candidate.isViable) candidates.push_back(candidate);
    }
    bool isMember = false;
    if (candidates.empty() && left->type->is(TypeKind::struct_)) {
        const std::string name = "operator" + std::string(spelling(op));
        for (FunctionDecl* function : findMethods(left->type->structDecl, identifiers_.get(name))) {
            Candidate candidate = consider(function, rightOnly, {});
            if (candidate.isViable) candidates.push_back(candidate);
        }
        isMember = !candidates.empty();
    }
    if (candidates.empty()) return nullptr;
    *handled = true;
    bool isAmbiguous = false;
    const std::span<Expr*> used = isMember ? rightOnly : bothArguments;
    const bool isLvalue = left->category == ValueCategory::lvalue;
    const Candidate* chosen = bestMethod(candidates, used, isLvalue ? left->space : AddressSpace::thread,
                                         isLvalue && left->isConst, &isAmbiguous);
    if (!chosen && isMember) {
        *handled = false;
        return nullptr;
    }
    if (!chosen || isAmbiguous) {
        error(at, "use of overloaded operator '" + std::string(spelling(op)) + "' is ambiguous (with operand types '" +
                      typeName(left->type) + "' and '" + typeName(right->type) + "')");
        return errorAt(at);
    }
    Call* node = make<Call>(left);
    node->location = at;
    node->arguments = used;
    if (isMember) node->object = left;
    return finishCall(node, chosen->function);
}

Expr* Analyzer::overloadedUnary(Unary* expr, bool* handled) {
    static constexpr std::string_view names[] = {"+", "-", "!", "~", "++", "--", "++", "--", "*", "&"};
    const std::string_view name = names[static_cast<unsigned>(expr->op)];
    const bool isPostfix = expr->op == UnaryOp::postIncrement || expr->op == UnaryOp::postDecrement;
    Expr* operands[] = {expr->operand, makeInteger(0, types_.int_(), expr->location)};
    const std::span<Expr*> all = arena_.copy(std::span<Expr* const>(operands)).first(isPostfix ? 2 : 1);
    for (const bool isMember : {false, true}) {
        std::vector<Candidate> candidates;
        const std::span<Expr*> used = isMember ? all.subspan(1) : all;
        const std::string operatorName = "operator" + std::string(name);
        const std::span<FunctionDecl*> functions =
            !isMember ? operatorFunctions(name, std::span<Expr* const>(operands).first(1))
            : expr->operand->type->is(TypeKind::struct_)
                ? findMethods(expr->operand->type->structDecl, identifiers_.get(operatorName))
                : std::span<FunctionDecl*>{};
        for (FunctionDecl* function : functions) {
            if ((function->owner != nullptr) != isMember) continue;
            Candidate candidate = consider(function, used, {});
            if (candidate.isViable) candidates.push_back(candidate);
        }
        bool isAmbiguous = false;
        const bool isLvalue = expr->operand->category == ValueCategory::lvalue;
        const Candidate* chosen = bestMethod(candidates, used, isLvalue ? expr->operand->space : AddressSpace::thread,
                                             isLvalue && expr->operand->isConst, &isAmbiguous);
        if (!chosen || isAmbiguous) continue;
        *handled = true;
        Call* node = make<Call>(expr);
        node->arguments = used;
        if (isMember) node->object = expr->operand;
        return finishCall(node, chosen->function);
    }
    return nullptr;
}

Expr* Analyzer::conditional(Conditional* expr) {
    Expr* condition = load(expression(expr->condition));
    Expr* whenTrue = expression(expr->whenTrue);
    Expr* whenFalse = expression(expr->whenFalse);
    if (condition->type->isError() || whenTrue->type->isError() || whenFalse->type->isError()) return errorAt(expr);
    const TypeRef a = whenTrue->type;
    const TypeRef b = whenFalse->type;
    if (a->is(TypeKind::void_) && b->is(TypeKind::void_) && !condition->type->isVector()) {
        expr->condition = toBool(condition);
        expr->whenTrue = whenTrue;
        expr->whenFalse = whenFalse;
        expr->type = a;
        return expr->condition->type->isError() ? errorAt(expr) : expr;
    }
    if (a == b && whenTrue->category == ValueCategory::lvalue && whenFalse->category == ValueCategory::lvalue &&
        whenTrue->space == whenFalse->space && !condition->type->isVector()) { // one of two variables; load() undoes it
        expr->condition = toBool(condition);
        if (expr->condition->type->isError()) return errorAt(expr);
        expr->whenTrue = whenTrue;
        expr->whenFalse = whenFalse;
        expr->type = a;
        expr->category = ValueCategory::lvalue;
        expr->space = whenTrue->space;
        expr->isConst = whenTrue->isConst || whenFalse->isConst;
        return expr;
    }
    if (a->is(TypeKind::array) || b->is(TypeKind::array)) {
        whenTrue = decayed(whenTrue);
        whenFalse = decayed(whenFalse);
    }
    whenTrue = load(whenTrue);
    whenFalse = load(whenFalse);
    if (whenTrue->type->isError() || whenFalse->type->isError()) return errorAt(expr);
    if (a != b) {
        whenTrue = toArithmetic(whenTrue);
        whenFalse = toArithmetic(whenFalse);
    }
    TypeRef common = whenTrue->type == whenFalse->type ? whenTrue->type : nullptr;
    if (!common) common = commonType(whenTrue->type, whenFalse->type);
    if (!common) {
        const bool forward = rankConversion(whenTrue, whenFalse->type) != ConversionRank::none;
        const bool backward = rankConversion(whenFalse, whenTrue->type) != ConversionRank::none;
        if (forward != backward) common = forward ? whenFalse->type : whenTrue->type;
    }
    if (!common) {
        error(expr->location, "incompatible operand types ('" + typeName(a) + "' and '" + typeName(b) + "')");
        return errorAt(expr);
    }
    if (condition->type->isVector() && !isFloating(condition->type->scalar)) {
        const unsigned count = condition->type->columns;
        if (common->isScalar()) common = types_.vector(common->scalar, count);
        if (!common->isVector() || common->columns != count) {
            error(expr->location, "vector condition type '" + typeName(condition->type) + "' and result type '" +
                                      typeName(common) + "' do not have the same number of elements");
            return errorAt(expr);
        }
        Expr* parts[] = {explicitConvert(whenFalse, common), explicitConvert(whenTrue, common),
                         explicitConvert(condition, types_.vector(ScalarKind::bool_, count))};
        return makeBuiltinCall(BuiltinId::select, parts, common, expr->location);
    }
    expr->condition = toBool(condition);
    if (expr->condition->type->isError()) return errorAt(expr);
    expr->whenTrue = tryConvert(whenTrue, common);
    expr->whenFalse = tryConvert(whenFalse, common);
    if (!expr->whenTrue || !expr->whenFalse) return errorAt(expr);
    expr->type = common;
    return expr;
}

} // namespace msl
