// Expressions: literals, names, members, subscripts, unary operators, casts.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

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
    if (depth_ <= maxExpressionDepth && limit_.step())
        return false;
    if (!depthReported_) {
        depthReported_ = true;
        if (depth_ > maxExpressionDepth)
            error(at, "expression is nested too deeply; split it into several statements");
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------- dispatching

Expr* Analyzer::expression(Expr* expr) {
    if (!expr)
        return errorAt(SourceLocation{});
    if (expr->type) // resolved already, as a corrected or shared node is
        return expr;
    const DepthGuard guard(depth_);
    if (tooDeep(expr->location))
        return errorAt(expr);
    return typedExpression(expr);
}

Expr* Analyzer::typedExpression(Expr* expr) {
    Expr* typed = nullptr;
    switch (expr->kind) {
    case ExprKind::intLiteral: typed = literal(static_cast<IntLiteral*>(expr)); break;
    case ExprKind::floatLiteral: {
        auto* literal = static_cast<FloatLiteral*>(expr);
        literal->type = literal->isHalf ? types_.half() : types_.float_();
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
    case ExprKind::initList:
        error(expr->location, "expected expression");
        return errorAt(expr);
    case ExprKind::sizeOf: typed = sizeOf(static_cast<SizeOf*>(expr)); break;
    case ExprKind::lambda: typed = lambda(static_cast<Lambda*>(expr)); break;
    case ExprKind::implicitCast: return expr;
    case ExprKind::error: expr->type = types_.error(); return expr;
    }
    if (typed != expr)
        typed->isParenthesized = typed->isParenthesized || expr->isParenthesized;
    return typed;
}

Expr* Analyzer::value(Expr* expr) { return load(expression(expr)); }

Expr* Analyzer::discarded(Expr* expr) { return expression(expr); }

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
    NameRef* self = arena_.make<NameRef>();
    self->isThis = true;
    self->location = at;
    self->begin = at;
    const FunctionDecl* function = context_.function;
    AddressSpace space = AddressSpace::thread;
    switch (function->thisSpace) {
    case SpaceSyntax::constant: space = AddressSpace::constant; break;
    case SpaceSyntax::device: space = AddressSpace::device; break;
    case SpaceSyntax::threadgroup: space = AddressSpace::threadgroup; break;
    default: break;
    }
    self->type = types_.pointer(function->owner->type, space, function->isConstMember);
    return self;
}

Expr* Analyzer::variableReference(NameRef* ref, VarDecl* var) {
    var->isUsed = true;
    if (var->varKind == VarKind::field) {
        if (!context_.function || !context_.function->owner || context_.function->isStatic) {
            error(ref->location, "invalid use of member '" + std::string(var->name->text) + "' in static member function");
            return errorAt(ref);
        }
        Member* node = make<Member>(ref);
        node->base = implicitThis(ref->location);
        node->isArrow = true;
        node->name = ref->name;
        node->field = var;
        node->category = ValueCategory::lvalue;
        node->space = node->base->type->space;
        node->isConst = node->base->type->pointeeConst || var->isConst;
        node->type = var->type ? var->type : types_.error();
        if (node->type->is(TypeKind::reference)) {
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
        if (!context_.function || !context_.function->owner || context_.function->isStatic) {
            error(ref->location, "invalid use of 'this' outside of a non-static member function");
            return errorAt(ref);
        }
        return implicitThis(ref->location);
    }
    if (!ref->name.identifier)
        return errorAt(ref);
    NameMeaning meaning = lookUp(ref->name, false);
    switch (meaning.kind) {
    case NameMeaning::Kind::nothing:
    case NameMeaning::Kind::failed: return errorAt(ref);
    case NameMeaning::Kind::functions:
    case NameMeaning::Kind::builtin: ref->type = types_.overload(); return ref;
    case NameMeaning::Kind::libraryConstant:
        return makeInteger(meaning.constant, meaning.constantType, ref->location);
    case NameMeaning::Kind::declaration: break;
    }
    Decl* decl = meaning.decl;
    switch (decl->kind) {
    case DeclKind::variable: return variableReference(ref, static_cast<VarDecl*>(decl));
    case DeclKind::enumerator: {
        auto* enumerator = static_cast<EnumeratorDecl*>(decl);
        ref->decl = enumerator;
        ref->type = enumerator->owner && enumerator->owner->type ? enumerator->owner->type : types_.error();
        if (enumerator->isInvalid)
            ref->type = types_.error();
        return ref;
    }
    case DeclKind::struct_:
    case DeclKind::enum_:
    case DeclKind::typeAlias:
        error(ref->location, "'" + std::string(ref->name.identifier->text) + "' does not refer to a value");
        if (decl->location)
            note(decl->location, "declared here");
        return errorAt(ref);
    default:
        error(ref->location, "unexpected namespace name '" + std::string(ref->name.identifier->text) +
                                 "': expected expression");
        return errorAt(ref);
    }
}

// ------------------------------------------------------------------------------------------- members and subscripts

namespace {

int componentNumber(char c, bool& isColour) {
    switch (c) {
    case 'x': isColour = false; return 0;
    case 'y': isColour = false; return 1;
    case 'z': isColour = false; return 2;
    case 'w': isColour = false; return 3;
    case 'r': isColour = true; return 0;
    case 'g': isColour = true; return 1;
    case 'b': isColour = true; return 2;
    case 'a': isColour = true; return 3;
    default: return -1;
    }
}

} // namespace

Expr* Analyzer::swizzle(Member* expr) {
    const TypeRef base = expr->base->type;
    const std::string_view text = expr->name.identifier->text;
    std::uint8_t components[4] = {};
    bool firstIsColour = false;
    if (text.size() > 4) {
        bool ignored = false;
        if (componentNumber(text[0], ignored) < 0)
            error(expr->location, "illegal vector component name '" + std::string(text) + "'");
        else
            error(expr->location, "vector component access has invalid length " + std::to_string(text.size()) +
                                      "; supported: 1, 2, 3, 4");
        return errorAt(expr);
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool isColour = false;
        const int number = componentNumber(text[i], isColour);
        if (i == 0)
            firstIsColour = isColour;
        if (number < 0 || isColour != firstIsColour) {
            error(expr->location, "illegal vector component name '" + std::string(1, text[i]) + "'");
            return errorAt(expr);
        }
        if (number >= base->columns) {
            error(expr->location, "vector component access exceeds type '" + typeName(base) + "'");
            return errorAt(expr);
        }
        components[i] = static_cast<std::uint8_t>(number);
    }
    expr->swizzleCount = static_cast<std::uint8_t>(text.size());
    std::copy(std::begin(components), std::end(components), expr->swizzle);
    // v.zyx.x is v.z: one step, whatever was written.
    if (expr->base->kind == ExprKind::member) {
        auto* inner = static_cast<Member*>(expr->base);
        if (inner->swizzleCount > 1) {
            for (unsigned i = 0; i < expr->swizzleCount; ++i)
                expr->swizzle[i] = inner->swizzle[expr->swizzle[i]];
            expr->base = inner->base;
        }
    }
    bool hasDuplicates = false;
    for (unsigned i = 0; i < expr->swizzleCount; ++i)
        for (unsigned j = 0; j < i; ++j)
            hasDuplicates = hasDuplicates || expr->swizzle[i] == expr->swizzle[j];
    expr->type = types_.vector(base->scalar, expr->swizzleCount);
    if (hasDuplicates || expr->base->category == ValueCategory::rvalue) {
        expr->base = load(expr->base);
        expr->category = ValueCategory::rvalue;
    } else {
        expr->category = ValueCategory::lvalue;
        expr->space = expr->base->space;
        expr->isConst = expr->base->isConst;
    }
    return expr;
}

Expr* Analyzer::structMember(Member* expr, TypeRef structType) {
    StructDecl* decl = structType->structDecl;
    const std::string_view text = expr->name.identifier->text;
    if (!requireComplete(structType, expr->location, "member access into"))
        return errorAt(expr);
    Decl* found = findMember(decl, expr->name.identifier);
    if (!found) {
        std::vector<std::string_view> names;
        for (const Decl* member : decl->members)
            if (member->name && (member->kind == DeclKind::variable || member->kind == DeclKind::function))
                names.push_back(member->name->text);
        const std::string_view suggestion = closestOf(text, names);
        std::string message = "no member named '" + std::string(text) + "' in '" + typeName(structType) + "'";
        if (suggestion.empty()) {
            error(expr->location, std::move(message));
            return errorAt(expr);
        }
        error(expr->location, message + "; did you mean '" + std::string(suggestion) + "'?");
        found = findMember(decl, identifiers_.get(suggestion));
        if (!found)
            return errorAt(expr);
        if (found->location)
            note(found->location, "'" + std::string(suggestion) + "' declared here");
    }
    if (found->kind == DeclKind::function) {
        expr->type = types_.overload();
        return expr;
    }
    if (found->kind == DeclKind::enumerator) {
        NameRef* ref = make<NameRef>(expr);
        ref->decl = found;
        ref->type = static_cast<EnumeratorDecl*>(found)->owner->type;
        return ref;
    }
    if (found->kind != DeclKind::variable) {
        error(expr->location, "cannot refer to type member '" + std::string(text) + "' with '" +
                                  (expr->isArrow ? "->" : ".") + "'");
        return errorAt(expr);
    }
    auto* var = static_cast<VarDecl*>(found);
    var->isUsed = true;
    if (var->varKind != VarKind::field) { // a static constant
        NameRef* ref = make<NameRef>(expr);
        ref->name = expr->name;
        return variableReference(ref, var);
    }
    if (!var->type || var->isInvalid)
        return errorAt(expr);
    expr->field = var;
    expr->type = var->type;
    if (expr->isArrow) {
        expr->category = ValueCategory::lvalue;
        expr->space = expr->base->type->space;
        expr->isConst = expr->base->type->pointeeConst || var->isConst;
    } else {
        expr->category = expr->base->category;
        expr->space = expr->base->space;
        expr->isConst = expr->base->isConst || var->isConst;
    }
    if (expr->type->is(TypeKind::reference)) {
        expr->category = ValueCategory::lvalue;
        expr->space = expr->type->space;
        expr->isConst = expr->type->pointeeConst;
        expr->type = expr->type->element;
    }
    return expr;
}

Expr* Analyzer::member(Member* expr) {
    expr->base = expression(expr->base);
    TypeRef base = expr->base->type;
    if (base->isError() || !expr->name.identifier)
        return errorAt(expr);
    if (base->is(TypeKind::overload)) {
        load(expr->base);
        return errorAt(expr);
    }
    if (expr->isArrow) {
        if (base->is(TypeKind::array)) {
            expr->base = makeCast(CastKind::arrayToPointer, expr->base,
                                  types_.pointer(base->element, expr->base->space, expr->base->isConst));
            base = expr->base->type;
        }
        if (!base->is(TypeKind::pointer)) {
            const bool hasMembers = base->is(TypeKind::struct_) || base->isVector();
            error(expr->location, "member reference type '" + typeName(base) + "' is not a pointer" +
                                      (hasMembers ? "; did you mean to use '.'?" : ""));
            if (!hasMembers)
                return errorAt(expr);
            expr->isArrow = false;
        } else {
            expr->base = load(expr->base);
            base = base->element;
        }
    } else if (base->is(TypeKind::pointer)) {
        error(expr->location, "member reference type '" + typeName(base) + "' is a pointer; did you mean to use '->'?");
        expr->base = load(expr->base);
        expr->isArrow = true;
        base = base->element;
    }
    if (base->is(TypeKind::struct_))
        return structMember(expr, base);
    if (base->isVector() || base->is(TypeKind::packedVector)) {
        if (expr->isArrow) {
            Unary* pointee = make<Unary>(expr);
            pointee->op = UnaryOp::dereference;
            pointee->operand = expr->base;
            pointee->category = ValueCategory::lvalue;
            pointee->space = expr->base->type->space;
            pointee->isConst = expr->base->type->pointeeConst;
            pointee->type = base;
            expr->base = pointee;
            expr->isArrow = false;
        }
        return swizzle(expr);
    }
    if (base->isMatrix() && expr->name.identifier->text == "columns") { // m.columns[i] is m[i]
        return expr->base;
    }
    if (base->is(TypeKind::texture) || base->is(TypeKind::array)) {
        expr->type = types_.overload();
        return expr;
    }
    if (!base->isError())
        error(expr->location, "member reference base type '" + typeName(base) + "' is not a structure or union");
    return errorAt(expr);
}

Expr* Analyzer::index(Index* expr) {
    expr->base = expression(expr->base);
    Expr* index = expression(expr->index);
    TypeRef base = expr->base->type;
    if (base->isError() || index->type->isError())
        return errorAt(expr);
    if (base->is(TypeKind::struct_)) {
        std::vector<Candidate> candidates;
        Expr* only[] = {index};
        const std::span<Expr*> arguments = arena_.copy(std::span<Expr* const>(only));
        for (FunctionDecl* function : findMethods(base->structDecl, identifiers_.get("operator[]"))) {
            if (expr->base->category == ValueCategory::lvalue && expr->base->isConst && !function->isConstMember)
                continue;
            Candidate candidate = consider(function, arguments, {});
            if (candidate.isViable)
                candidates.push_back(candidate);
        }
        bool isAmbiguous = false;
        const Candidate* chosen = candidates.empty() ? nullptr : best(candidates, arguments, &isAmbiguous);
        if (!chosen) {
            error(expr->location, "type '" + typeName(base) + "' does not provide a subscript operator");
            return errorAt(expr);
        }
        Call* node = make<Call>(expr);
        node->arguments = arguments;
        node->object = expr->base;
        return finishCall(node, chosen->function);
    }
    index = toArithmetic(load(index));
    if (!index->type->isScalar() || isFloating(index->type->scalar)) {
        if (index->type->is(TypeKind::pointer) && base->isScalar())
            std::swap(expr->base, index);
        if (!index->type->isError())
            error(index->begin ? index->begin : index->location, "array subscript is not an integer");
        return errorAt(expr);
    }
    expr->index = explicitConvert(index, isSigned(index->type->scalar) || byteSize(index->type->scalar) < 4
                                             ? types_.int_()
                                             : types_.uint());
    switch (base->kind) {
    case TypeKind::pointer:
        expr->base = load(expr->base);
        expr->type = base->element;
        expr->category = ValueCategory::lvalue;
        expr->space = base->space;
        expr->isConst = base->pointeeConst;
        return expr;
    case TypeKind::array:
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix:
        expr->type = base->element;
        expr->category = expr->base->category;
        expr->space = expr->base->space;
        expr->isConst = expr->base->isConst;
        if (base->count > 0 || !base->is(TypeKind::array))
            if (const ConstantValue constant = evaluate(expr->index)) {
                const std::uint64_t count = base->is(TypeKind::array) ? base->count : base->columns;
                if (constant.integer < 0 || static_cast<std::uint64_t>(constant.integer) >= count)
                    warning(expr->index->begin ? expr->index->begin : expr->location,
                            "index " + std::to_string(constant.integer) + " is past the end of '" + typeName(base) + "'");
            }
        return expr;
    default:
        error(expr->base->begin ? expr->base->begin : expr->location,
              "subscripted value is not an array, pointer, or vector");
        return errorAt(expr);
    }
}

// ---------------------------------------------------------------------------------------------- unary and assignable

void Analyzer::reportNotLvalue(Expr* expr, SourceLocation at) {
    if (expr->kind == ExprKind::member) {
        const auto* member = static_cast<Member*>(expr);
        for (unsigned i = 0; i < member->swizzleCount; ++i)
            for (unsigned j = 0; j < i; ++j)
                if (member->swizzle[i] == member->swizzle[j]) {
                    error(at, "vector is not assignable (contains duplicate components)");
                    return;
                }
    }
    error(at, "expression is not assignable");
}

bool Analyzer::checkAssignable(Expr* lvalue, SourceLocation at) {
    if (lvalue->type->isError())
        return false;
    if (lvalue->category != ValueCategory::lvalue) {
        reportNotLvalue(lvalue, at);
        return false;
    }
    if (!lvalue->isConst && lvalue->space != AddressSpace::constant)
        return true;
    // Which part of the path makes it read-only?
    for (Expr* part = lvalue; part;) {
        if (part->kind == ExprKind::member) {
            auto* member = static_cast<Member*>(part);
            if (member->field && member->field->isConst) {
                error(at, "cannot assign to non-static data member '" + std::string(member->field->name->text) +
                              "' with const-qualified type 'const " + typeName(member->field->type) + "'");
                note(member->field->location, "non-static data member '" + std::string(member->field->name->text) +
                                                  "' declared const here");
                return false;
            }
            if (member->isArrow) {
                if (member->base->kind == ExprKind::nameRef && static_cast<NameRef*>(member->base)->isThis) {
                    error(at, "cannot assign to non-static data member within const member function '" +
                                  std::string(context_.function->name ? context_.function->name->text : "operator") + "'");
                    return false;
                }
                break;
            }
            part = member->base;
        } else if (part->kind == ExprKind::index) {
            auto* index = static_cast<Index*>(part);
            if (index->base->type->is(TypeKind::pointer))
                break;
            part = index->base;
        } else if (part->kind == ExprKind::nameRef) {
            const Decl* decl = static_cast<NameRef*>(part)->decl;
            if (!decl || decl->kind != DeclKind::variable)
                break;
            const auto* var = static_cast<const VarDecl*>(decl);
            std::string shown = typeName(var->type);
            if (!shown.starts_with("const "))
                shown = "const " + shown;
            error(at, "cannot assign to variable '" + std::string(var->name ? var->name->text : "") +
                          "' with const-qualified type '" + shown + "'");
            if (var->location)
                note(var->location, "variable '" + std::string(var->name ? var->name->text : "") + "' declared const here");
            return false;
        } else {
            break;
        }
    }
    error(at, "read-only variable is not assignable");
    return false;
}

Expr* Analyzer::unary(Unary* expr) {
    expr->operand = expression(expr->operand);
    TypeRef type = expr->operand->type;
    if (type->isError())
        return errorAt(expr);
    if ((type->is(TypeKind::struct_) || type->is(TypeKind::enum_)) && expr->op != UnaryOp::addressOf) {
        bool handled = false;
        Expr* call = overloadedUnary(expr, &handled);
        if (handled)
            return call;
    }
    const auto invalid = [&] {
        error(expr->location, "invalid argument type '" + typeName(type) + "' to unary expression");
        return errorAt(expr);
    };
    switch (expr->op) {
    case UnaryOp::plus:
    case UnaryOp::minus: {
        expr->operand = toArithmetic(load(expr->operand));
        const TypeRef read = expr->operand->type;
        if (read->isError())
            return errorAt(expr);
        if (!read->isNumeric() || (read->isVector() && read->scalar == ScalarKind::bool_))
            return invalid();
        expr->operand = explicitConvert(expr->operand, promoted(read));
        expr->type = expr->operand->type;
        return expr;
    }
    case UnaryOp::bitNot: {
        expr->operand = toArithmetic(load(expr->operand));
        const TypeRef read = expr->operand->type;
        if (!read->isIntegerNumeric())
            return read->isError() ? errorAt(expr) : invalid();
        expr->operand = explicitConvert(expr->operand, promoted(read));
        expr->type = expr->operand->type;
        return expr;
    }
    case UnaryOp::logicalNot: {
        expr->operand = toArithmetic(load(expr->operand));
        const TypeRef read = expr->operand->type;
        if (read->isVector()) {
            expr->type = types_.withScalar(read, ScalarKind::bool_);
            expr->operand = explicitConvert(expr->operand, expr->type);
            return expr;
        }
        if (read->isMatrix() || read->is(TypeKind::array))
            return invalid();
        expr->operand = toBool(expr->operand);
        if (expr->operand->type->isError())
            return errorAt(expr);
        expr->type = types_.bool_();
        return expr;
    }
    case UnaryOp::preIncrement:
    case UnaryOp::preDecrement:
    case UnaryOp::postIncrement:
    case UnaryOp::postDecrement: {
        const bool isIncrement = expr->op == UnaryOp::preIncrement || expr->op == UnaryOp::postIncrement;
        const bool isPrefix = expr->op == UnaryOp::preIncrement || expr->op == UnaryOp::preDecrement;
        const bool fits = ((type->isScalar() || type->isVector()) && type->scalar != ScalarKind::bool_) ||
                          type->is(TypeKind::pointer);
        if (!fits) {
            error(expr->location, std::string("cannot ") + (isIncrement ? "increment" : "decrement") + " value of type '" +
                                      typeName(type) + "'");
            return errorAt(expr);
        }
        if (!checkAssignable(expr->operand, expr->location))
            return errorAt(expr);
        expr->type = type;
        if (isPrefix) {
            expr->category = ValueCategory::lvalue;
            expr->space = expr->operand->space;
        }
        return expr;
    }
    case UnaryOp::dereference:
        if (type->is(TypeKind::array)) {
            expr->operand = makeCast(CastKind::arrayToPointer, expr->operand,
                                     types_.pointer(type->element, expr->operand->space, expr->operand->isConst));
            type = expr->operand->type;
        }
        if (!type->is(TypeKind::pointer)) {
            error(expr->location, "indirection requires pointer operand ('" + typeName(type) + "' invalid)");
            return errorAt(expr);
        }
        expr->operand = load(expr->operand);
        expr->type = type->element;
        expr->category = ValueCategory::lvalue;
        expr->space = type->space;
        expr->isConst = type->pointeeConst;
        return expr;
    case UnaryOp::addressOf:
        if (type->is(TypeKind::overload)) {
            unsupported(expr->location, "taking the address of a function");
            return errorAt(expr);
        }
        if (expr->operand->category != ValueCategory::lvalue) {
            error(expr->location, "cannot take the address of an rvalue of type '" + typeName(type) + "'");
            return errorAt(expr);
        }
        if (expr->operand->kind == ExprKind::member && static_cast<Member*>(expr->operand)->swizzleCount > 0) {
            error(expr->location, "address of vector element requested");
            return errorAt(expr);
        }
        expr->type = types_.pointer(type, expr->operand->space, expr->operand->isConst);
        return expr;
    }
    return errorAt(expr);
}

// ---------------------------------------------------------------------------------------------------------- casts

Expr* Analyzer::cast(Cast* expr) {
    const TypeRef to = resolveTypeOnly(expr->typeSyntax);
    if (expr->operand && expr->operand->kind == ExprKind::initList) {
        if (to->isError())
            return errorAt(expr);
        return initializeFromList(to, static_cast<InitList*>(expr->operand), Purpose::variable, true);
    }
    Expr* operand = expression(expr->operand);
    if (to->isError() || operand->type->isError())
        return errorAt(expr);
    const TypeRef from = operand->type;
    if (from->is(TypeKind::overload)) {
        load(operand);
        return errorAt(expr);
    }
    expr->type = to;
    if (to->is(TypeKind::reference)) { // static_cast<thread T&>(x)
        expr->operand = bindReference(operand, to, Purpose::variable, expr->location);
        if (expr->operand->type->isError())
            return errorAt(expr);
        expr->type = to->element;
        expr->category = expr->operand->category;
        expr->space = to->space;
        expr->isConst = to->pointeeConst;
        return expr;
    }
    if (expr->syntax == CastSyntax::asType) {
        const auto fits = [](TypeRef type) {
            return type->isScalar() || type->isVector() || type->is(TypeKind::packedVector);
        };
        if (!fits(to) || !fits(from) || layoutOf(to).size != layoutOf(from).size) {
            error(expr->location, "as_type cannot convert from '" + typeName(from) + "' to '" + typeName(to) +
                                      "': the sizes must be equal");
            return errorAt(expr);
        }
        expr->operand = toArithmetic(load(operand));
        expr->castKind = expr->operand->type == to ? CastKind::none : CastKind::bitcast;
        return expr;
    }
    const bool pointers = from->is(TypeKind::pointer) && to->is(TypeKind::pointer);
    if (pointers && (expr->syntax == CastSyntax::reinterpret_ || expr->syntax == CastSyntax::cStyle ||
                     expr->syntax == CastSyntax::const_)) {
        if (from->space != to->space) {
            error(expr->location, "cast from '" + typeName(from) + "' to '" + typeName(to) + "' changes address space");
            return errorAt(expr);
        }
        expr->operand = load(operand);
        expr->castKind = from->element == to->element ? CastKind::none : CastKind::bitcast;
        return expr;
    }
    if (expr->syntax == CastSyntax::reinterpret_) {
        error(expr->location, "reinterpret_cast from '" + typeName(from) + "' to '" + typeName(to) + "' is not allowed");
        return errorAt(expr);
    }
    Expr* converted = explicitConvert(operand, to);
    if (!converted)
        converted = tryConvert(operand, to);
    if (!converted) {
        const std::string_view what = expr->syntax == CastSyntax::cStyle ? "C-style cast" : "static_cast";
        error(expr->location, "cannot convert '" + typeName(from) + "' to '" + typeName(to) + "' without a conversion operator");
        (void)what;
        return errorAt(expr);
    }
    expr->operand = converted;
    expr->castKind = CastKind::none;
    return expr;
}

Expr* Analyzer::sizeOf(SizeOf* expr) {
    TypeRef type = nullptr;
    if (expr->typeSyntax) {
        type = resolveTypeOnly(expr->typeSyntax);
    } else if (expr->operand) {
        type = expression(expr->operand)->type;
    }
    if (!type || type->isError())
        return errorAt(expr);
    if (type->is(TypeKind::reference))
        type = type->element;
    if (!requireComplete(type, expr->location,
                         expr->isAlignOf ? "invalid application of 'alignof' to" : "invalid application of 'sizeof' to"))
        return errorAt(expr);
    const Layout layout = layoutOf(type);
    if (layout.size == 0 && (type->is(TypeKind::void_) || type->is(TypeKind::overload))) {
        error(expr->location, "invalid application of 'sizeof' to a type without a size, '" + typeName(type) + "'");
        return errorAt(expr);
    }
    expr->value = expr->isAlignOf ? layout.alignment : layout.size;
    return makeInteger(static_cast<std::int64_t>(expr->value), types_.scalar(ScalarKind::ulong), expr->location);
}

Expr* Analyzer::lambda(Lambda* expr) {
    unsupported(expr->location, "a lambda expression");
    return errorAt(expr);
}

} // namespace msl
