// Parts of values: members, swizzles, subscripts.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

namespace {

// The operator before a member's name.
Correction correctionOfAccess(SourceLocation name, std::string_view written, std::string_view meant) {
    if (!name || name.offset() < written.size()) return {};
    return {SourceLocation::atOffset(name.offset() - static_cast<std::uint32_t>(written.size())), written, meant};
}

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
        if (i == 0) firstIsColour = isColour;
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
    if (!requireComplete(structType, expr->location, "member access into")) return errorAt(expr);
    Decl* found = nullptr;
    if (!expr->name.qualifiers.empty() || expr->name.qualifierType) { // x.Base::f()
        const NameMeaning meaning = lookUpQualified(expr->name);
        if (meaning.kind == NameMeaning::Kind::failed) return errorAt(expr);
        found = meaning.kind == NameMeaning::Kind::functions ? meaning.functions[0] : meaning.decl;
        if (found && found->kind == DeclKind::variable && found->parent && found->parent->kind == DeclKind::struct_) {
            std::vector<VarDecl*> steps;
            if (findSteps(decl, static_cast<StructDecl*>(found->parent), steps) && !steps.empty()) {
                expr->base = throughFields(expr->base, steps, expr->location);
                expr->isArrow = false;
            }
        }
    } else {
        const MemberPath path = findPath(decl, expr->name.identifier);
        found = path.found;
        if (found && found->kind == DeclKind::variable && !path.steps.empty() &&
            static_cast<VarDecl*>(found)->varKind == VarKind::field) {
            expr->base = throughFields(expr->base, path.steps, expr->location);
            expr->isArrow = false;
        }
    }
    if (!found) {
        std::vector<std::string_view> names;
        for (const Decl* member : decl->members)
            if (member->name && (member->kind == DeclKind::variable || member->kind == DeclKind::function))
                names.push_back(member->name->text);
        const std::string_view suggestion = closestOf(text, names);
        errorOfName(expr->location, "no member named '" + std::string(text) + "' in '" + typeName(structType) + "'",
                    text, suggestion);
        if (suggestion.empty()) return errorAt(expr);
        found = findMember(decl, identifiers_.get(suggestion));
        if (!found) return errorAt(expr);
        if (found->location) note(found->location, "'" + std::string(suggestion) + "' declared here");
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
        error(expr->location,
              "cannot refer to type member '" + std::string(text) + "' with '" + (expr->isArrow ? "->" : ".") + "'");
        return errorAt(expr);
    }
    auto* var = static_cast<VarDecl*>(found);
    var->isUsed = true;
    if (var->varKind != VarKind::field) { // a static constant
        NameRef* ref = make<NameRef>(expr);
        ref->name = expr->name;
        return variableReference(ref, var);
    }
    if (!var->type || var->isInvalid) return errorAt(expr);
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
    if (base->isError() || !expr->name.identifier) return errorAt(expr);
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
            const std::string message = "member reference type '" + typeName(base) + "' is not a pointer";
            if (!hasMembers) {
                error(expr->location, message);
                return errorAt(expr);
            }
            diagnostics_.error(expr->location, message + "; did you mean to use '.'?",
                               correctionOfAccess(expr->location, "->", "."));
            expr->isArrow = false;
        } else {
            expr->base = load(expr->base);
            base = base->element;
        }
    } else if (base->is(TypeKind::pointer)) {
        diagnostics_.error(expr->location,
                           "member reference type '" + typeName(base) + "' is a pointer; did you mean to use '->'?",
                           correctionOfAccess(expr->location, ".", "->"));
        expr->base = load(expr->base);
        expr->isArrow = true;
        base = base->element;
    }
    if (base->is(TypeKind::struct_)) return structMember(expr, base);
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
    if (base->is(TypeKind::texture) || base->is(TypeKind::interpolant) || base->is(TypeKind::array)) {
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
    if (base->isError() || index->type->isError()) return errorAt(expr);
    if (base->is(TypeKind::struct_)) {
        std::vector<Candidate> candidates;
        Expr* only[] = {index};
        const std::span<Expr*> arguments = arena_.copy(std::span<Expr* const>(only));
        for (FunctionDecl* function : findMethods(base->structDecl, identifiers_.get("operator[]")))
            candidates.push_back(consider(function, arguments, {}));
        const bool isLvalue = expr->base->category == ValueCategory::lvalue;
        bool isAmbiguous = false;
        const Candidate* chosen = bestMethod(candidates, arguments, isLvalue ? expr->base->space : AddressSpace::thread,
                                             isLvalue && expr->base->isConst, &isAmbiguous);
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
        if (index->type->is(TypeKind::pointer) && base->isScalar()) std::swap(expr->base, index);
        if (!index->type->isError())
            error(index->begin ? index->begin : index->location, "array subscript is not an integer");
        return errorAt(expr);
    }
    expr->index = explicitConvert(
        index, isSigned(index->type->scalar) || byteSize(index->type->scalar) < 4 ? types_.int_() : types_.uint());
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
                const std::int64_t number = constant->asInteger();
                const bool isInBuffer = expr->space == AddressSpace::device || expr->space == AddressSpace::constant;
                if (count == 1 && number > 0 && isInBuffer) return expr; // it may go on to the buffer's end
                if (number < 0 || static_cast<std::uint64_t>(number) >= count)
                    warning(expr->index->begin ? expr->index->begin : expr->location,
                            "index " + std::to_string(number) + " is past the end of '" + typeName(base) + "'",
                            WarningGroup::arrayBounds);
            }
        return expr;
    default:
        error(expr->base->begin ? expr->base->begin : expr->location,
              "subscripted value is not an array, pointer, or vector");
        return errorAt(expr);
    }
}

} // namespace msl
