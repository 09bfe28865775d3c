// Expressions: the way to each kind, literals, names.
#include "MSL/sema/LambdaScope.h"

namespace msl {

// ------------------------------------------------------------------------------------------------------- helpers

Expr* Analyzer::errorAt(SourceLocation at) {
    ErrorExpr* node = arena_.make<ErrorExpr>();
    node->location = at;
    node->begin = at;
    node->type = types_.error();
    return node;
}

Expr* Analyzer::errorAt(const Expr* expr) {
    Expr* node = errorAt(expr->location);
    node->begin = expr->begin;
    return node;
}

IntLiteral* Analyzer::makeInteger(std::int64_t value, TypeRef type, SourceLocation at) {
    IntLiteral* node = arena_.make<IntLiteral>();
    node->location = at;
    node->begin = at;
    node->value = static_cast<std::uint64_t>(value);
    node->type = type;
    return node;
}

void Analyzer::unsupported(SourceLocation at, std::string_view what) {
    error(at, std::string(what) + " is not supported here");
}

bool Analyzer::tooDeep(SourceLocation at) {
    if (depth_ <= maxExpressionDepth && limit_.step()) return false;
    if (!depthReported_) {
        depthReported_ = true;
        if (depth_ > maxExpressionDepth) error(at, "expression is nested too deeply; split it into several statements");
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------- dispatching

Expr* Analyzer::expression(Expr* expr) {
    if (!expr) return errorAt(SourceLocation{});
    if (expr->type) // resolved already, as a corrected or shared node is
        return expr;
    const DepthGuard guard(depth_);
    if (tooDeep(expr->location)) return errorAt(expr);
    return typedExpression(expr);
}

Expr* Analyzer::typedExpression(Expr* expr) {
    Expr* typed = nullptr;
    switch (expr->kind) {
    case ExprKind::intLiteral: typed = literal(static_cast<IntLiteral*>(expr)); break;
    case ExprKind::floatLiteral: {
        auto* literal = static_cast<FloatLiteral*>(expr);
        literal->type = types_.scalar(literal->scalar);
        return literal;
    }
    case ExprKind::boolLiteral: expr->type = types_.bool_(); return expr;
    case ExprKind::stringLiteral:
        error(expr->location, "string literals are not supported in this language");
        return errorAt(expr);
    case ExprKind::nameRef: typed = nameReference(static_cast<NameRef*>(expr)); break;
    case ExprKind::member: typed = member(static_cast<Member*>(expr)); break;
    case ExprKind::index: typed = index(static_cast<Index*>(expr)); break;
    case ExprKind::call: typed = call(static_cast<Call*>(expr)); break;
    case ExprKind::construct: typed = construct(static_cast<Construct*>(expr)); break;
    case ExprKind::cast: typed = cast(static_cast<Cast*>(expr)); break;
    case ExprKind::unary: typed = unary(static_cast<Unary*>(expr)); break;
    case ExprKind::binary: typed = binary(static_cast<Binary*>(expr)); break;
    case ExprKind::conditional: typed = conditional(static_cast<Conditional*>(expr)); break;
    case ExprKind::initList: error(expr->location, "expected expression"); return errorAt(expr);
    case ExprKind::sizeOf: typed = sizeOf(static_cast<SizeOf*>(expr)); break;
    case ExprKind::lambda: typed = lambda(static_cast<Lambda*>(expr)); break;
    case ExprKind::packExpansion: error(expr->location, "pack expansion is not allowed here"); return errorAt(expr);
    case ExprKind::fold: typed = fold(static_cast<Fold*>(expr)); break;
    case ExprKind::implicitCast: return expr;
    case ExprKind::error: expr->type = types_.error(); return expr;
    }
    if (typed != expr) typed->isParenthesized = typed->isParenthesized || expr->isParenthesized;
    return typed;
}

Expr* Analyzer::value(Expr* expr) {
    return load(expression(expr));
}

Expr* Analyzer::discarded(Expr* expr) {
    return expression(expr);
}

// -------------------------------------------------------------------------------------------------------- leaves

Expr* Analyzer::literal(IntLiteral* literal) {
    if (literal->isCharacter) {
        literal->type = types_.scalar(ScalarKind::char_);
        return literal;
    }
    constexpr std::uint64_t intMax = 0x7FFFFFFF;
    constexpr std::uint64_t uintMax = 0xFFFFFFFF;
    constexpr std::uint64_t longMax = 0x7FFFFFFFFFFFFFFF;
    const bool mayBeUnsigned = literal->isUnsigned || !literal->isDecimal;
    const std::uint64_t value = literal->value;
    ScalarKind kind = ScalarKind::ulong;
    if (!literal->isLong && !literal->isUnsigned && value <= intMax)
        kind = ScalarKind::int_;
    else if (!literal->isLong && mayBeUnsigned && value <= uintMax)
        kind = ScalarKind::uint;
    else if (!literal->isUnsigned && value <= longMax)
        kind = ScalarKind::long_;
    literal->type = types_.scalar(kind);
    return literal;
}

Expr* Analyzer::implicitThis(SourceLocation at) {
    if (!context_.lambda) return ownThis(at);
    LambdaScope& scope = *context_.lambda;
    if (!scope.self && (scope.isComplete || (!scope.byValue && !scope.byReference))) {
        error(at, "'this' cannot be implicitly captured in this context");
        return errorAt(at);
    }
    return load(closureMember(capturedThis(scope, at), at));
}

Expr* Analyzer::variableReference(NameRef* ref, VarDecl* var) {
    var->isUsed = true;
    if (var->variableTemplate) {
        if (!ref->name.hasTemplateArguments) {
            error(ref->location,
                  "use of variable template '" + std::string(var->name->text) + "' requires template arguments");
            return errorAt(ref);
        }
        var = instantiateVariable(var, ref->name);
        if (!var) return errorAt(ref);
        var->isUsed = true;
    }
    if (needsCapture(var)) return captured(ref, var);
    if (var->varKind == VarKind::field) {
        const bool isOwn = context_.lambda && var->parent == context_.lambda->closure;
        StructDecl* owner = isOwn ? context_.lambda->closure : objectOwner();
        if (!owner) {
            error(ref->location,
                  "invalid use of member '" + std::string(var->name->text) + "' in static member function");
            return errorAt(ref);
        }
        if (!var->type || var->isInvalid) return errorAt(ref);
        Expr* object = isOwn ? ownThis(ref->location) : implicitThis(ref->location);
        if (object->type->isError()) return errorAt(ref);
        std::vector<VarDecl*> steps;
        if (var->parent && var->parent->kind == DeclKind::struct_ &&
            !findSteps(owner, static_cast<StructDecl*>(var->parent), steps)) {
            error(ref->location, "'" + std::string(var->name->text) + "' is not a member of class '" +
                                     std::string(owner->name ? owner->name->text : "") + "'");
            return errorAt(ref);
        }
        Expr* node = fieldOf(throughFields(object, steps, ref->location), var, ref->location);
        node->begin = ref->begin;
        if (node->type->is(TypeKind::reference)) {
            node->category = ValueCategory::lvalue;
            node->space = node->type->space;
            node->isConst = node->type->pointeeConst;
            node->type = node->type->element;
        }
        return node;
    }
    ref->decl = var;
    if (!var->type || var->isInvalid) {
        ref->type = types_.error();
        return ref;
    }
    if (var->type->is(TypeKind::auto_)) {
        error(ref->location, "variable '" + std::string(var->name->text) +
                                 "' declared with deduced type 'auto' cannot appear in its own initializer");
        ref->type = types_.error();
        return ref;
    }
    if (!var->typeSyntax && !var->initializer && var->hasConstantValue) { // the argument of a template
        if (var->type->isBool()) {
            BoolLiteral* literal = make<BoolLiteral>(ref);
            literal->value = var->constantValue != 0;
            literal->type = var->type;
            return literal;
        }
        return makeInteger(var->constantValue, var->type, ref->location);
    }
    ref->category = ValueCategory::lvalue;
    if (var->type->is(TypeKind::reference)) {
        ref->type = var->type->element;
        ref->space = var->type->space;
        ref->isConst = var->type->pointeeConst;
    } else {
        ref->type = var->type;
        ref->space = var->space;
        ref->isConst = var->isConst || var->space == AddressSpace::constant;
    }
    return ref;
}

Expr* Analyzer::nameReference(NameRef* ref) {
    if (ref->isThis) {
        if (!objectOwner()) {
            error(ref->location, "invalid use of 'this' outside of a non-static member function");
            return errorAt(ref);
        }
        return implicitThis(ref->location);
    }
    if (!ref->name.identifier) return errorAt(ref);
    if (!ref->name.identifier->scope && ref->name.hasTemplateArguments)
        if (Expr* trait = traitValue(ref)) return trait;
    if (Expr* limit = numericLimit(ref->name, false)) return limit;
    NameMeaning meaning = lookUp(ref->name, false);
    switch (meaning.kind) {
    case NameMeaning::Kind::nothing:
    case NameMeaning::Kind::failed: return errorAt(ref);
    case NameMeaning::Kind::functions:
    case NameMeaning::Kind::builtin: ref->type = types_.overload(); return ref;
    case NameMeaning::Kind::libraryConstant: return makeInteger(meaning.constant, meaning.constantType, ref->location);
    case NameMeaning::Kind::declaration: break;
    }
    Decl* decl = meaning.decl;
    switch (decl->kind) {
    case DeclKind::variable: return variableReference(ref, static_cast<VarDecl*>(decl));
    case DeclKind::enumerator: {
        auto* enumerator = static_cast<EnumeratorDecl*>(decl);
        ref->decl = enumerator;
        ref->type = enumerator->owner && enumerator->owner->type ? enumerator->owner->type : types_.error();
        if (enumerator->isInvalid) ref->type = types_.error();
        return ref;
    }
    case DeclKind::pack:
        error(ref->location,
              "expression contains unexpanded parameter pack '" + std::string(ref->name.identifier->text) + "'");
        return errorAt(ref);
    case DeclKind::struct_:
    case DeclKind::enum_:
    case DeclKind::typeAlias:
        error(ref->location, "'" + std::string(ref->name.identifier->text) + "' does not refer to a value");
        if (decl->location) note(decl->location, "declared here");
        return errorAt(ref);
    default:
        error(ref->location,
              "unexpected namespace name '" + std::string(ref->name.identifier->text) + "': expected expression");
        return errorAt(ref);
    }
}

} // namespace msl
