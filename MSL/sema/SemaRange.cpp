// Range-for: over arrays, over lists in braces, and over whatever has a beginning and an end.
#include "MSL/sema/Analyzer.h"

namespace msl {

// "{1, 2, 3}" as an array of what its first item is.
Expr* Analyzer::arrayOfList(InitList* list) {
    expandPacks(list);
    const SourceLocation at = list->begin ? list->begin : list->location;
    if (list->initializers.empty() || list->initializers[0].value->kind == ExprKind::initList) {
        error(at, "cannot tell what the elements of this list are");
        return errorAt(list);
    }
    Expr* first = load(expression(list->initializers[0].value));
    list->initializers[0].value = first;
    if (first->type->isError()) return errorAt(list);
    for (Initializer& item : list->initializers) {
        if (item.value->kind != ExprKind::initList) item.value = load(expression(item.value));
        if (item.value->type && item.value->type != first->type && !item.value->type->isError()) {
            error(item.location, "the elements of this list are of different types ('" + typeName(first->type) +
                                     "' and '" + typeName(item.value->type) + "')");
            return errorAt(list);
        }
    }
    return initializeFromList(types_.array(first->type, list->initializers.size()), list, Purpose::variable);
}

Stmt* Analyzer::rangeFor(RangeForStmt* stmt) {
    scopes_.open();
    Expr* range = stmt->range->kind == ExprKind::initList && !stmt->range->type
                      ? arrayOfList(static_cast<InitList*>(stmt->range))
                      : expression(stmt->range);
    stmt->range = range;
    if (range->type->is(TypeKind::struct_))
        if (Stmt* loop = loopOver(stmt)) {
            scopes_.close();
            return loop;
        }
    VarDecl* var = stmt->variable;
    if (!range->type->isError() && !range->type->is(TypeKind::array)) {
        error(range->begin ? range->begin : stmt->location, "invalid range expression of type '" +
                                                                typeName(range->type) +
                                                                "': it is no array, and has no 'begin' and 'end'");
        range = errorAt(range);
    }
    if (var) {
        var->parent = currentParent_;
        var->varKind = VarKind::local;
        const DeclaredType declared = resolveType(var->typeSyntax);
        var->isConst = declared.isConst;
        if (range->type->isError() || declared.type->isError()) {
            var->type = types_.error();
            var->isInvalid = true;
        } else {
            // The element as an expression of its own, to convert and bind like any initialiser.
            Index* element = make<Index>(range);
            element->base = range;
            element->index = makeInteger(0, types_.int_(), range->location);
            element->type = range->type->element;
            element->category = range->category;
            element->space = range->space;
            element->isConst = range->isConst;
            TypeRef type = declared.type;
            if (type->is(TypeKind::auto_))
                type = element->type;
            else if (type->is(TypeKind::reference) && type->element->is(TypeKind::auto_))
                type = types_.reference(element->type, element->space, type->pointeeConst || element->isConst);
            var->type = type;
            var->initializer = convert(element, type, Purpose::variable, var->location);
            if (var->initializer->type->isError()) var->isInvalid = true;
        }
        declare(var);
    }
    ++context_.loops;
    scopes_.open();
    stmt->body = statement(stmt->body);
    scopes_.close();
    --context_.loops;
    scopes_.close();
    return stmt;
}

// The loop that C++ says a range-for over an object of a class is:
//     auto& range = object; auto at = range.begin(), end = range.end();
//     for (; at != end; ++at) { T variable = *at; body }
// begin and end may be functions that take the range. Null when there are none.
Stmt* Analyzer::loopOver(RangeForStmt* stmt) {
    Expr* range = stmt->range;
    const SourceLocation at = range->begin ? range->begin : stmt->location;
    const Identifier* names[] = {identifiers_.get("begin"), identifiers_.get("end")};
    Expr* given[] = {range};
    const auto hasMember = [&](const Identifier* name) { return !findMethods(range->type->structDecl, name).empty(); };
    const auto hasFunction = [&](const Identifier* name) {
        return !lookUpWithArguments(name, given).functions.empty() ||
               (name->scope && !lookUpUnqualified(name).functions.empty());
    };
    const bool areMembers = hasMember(names[0]) && hasMember(names[1]);
    if (!areMembers && (!hasFunction(names[0]) || !hasFunction(names[1]))) return nullptr;

    // Names that no text has.
    const auto reference = [&](const VarDecl* variable) {
        NameRef* ref = arena_.make<NameRef>();
        ref->name.identifier = variable->name;
        ref->name.location = ref->location = ref->begin = at;
        return ref;
    };
    const auto variable = [&](std::string_view name, Expr* initializer, bool isReference) {
        VarDecl* decl = arena_.make<VarDecl>();
        decl->name = identifiers_.get(name);
        decl->location = at;
        decl->initializer = initializer;
        decl->typeSyntax = arena_.make<TypeSyntax>();
        decl->typeSyntax->name.identifier = identifiers_.get("auto");
        decl->typeSyntax->name.location = decl->typeSyntax->location = at;
        if (isReference) {
            TypeModifier modifier;
            modifier.kind = TypeModifier::Kind::reference;
            modifier.location = at;
            decl->typeSyntax->modifiers = arena_.copy(std::span<const TypeModifier>(&modifier, 1));
        }
        return decl;
    };
    const auto list = [&](std::initializer_list<Stmt*> statements) {
        CompoundStmt* compound = arena_.make<CompoundStmt>();
        compound->location = compound->end = stmt->location;
        compound->statements = arena_.copy(std::span<Stmt* const>(statements.begin(), statements.size()));
        return compound;
    };
    const auto declared = [&](Decl* decl) {
        DeclStmt* made = arena_.make<DeclStmt>();
        made->location = stmt->location;
        made->declarations = arena_.copy(std::span<Decl* const>(&decl, 1));
        return made;
    };
    VarDecl* whole = variable("range of a loop", range, range->category == ValueCategory::lvalue);
    const auto bound = [&](const Identifier* name) {
        Call* call = arena_.make<Call>();
        call->location = call->begin = at;
        Expr* callee = nullptr;
        if (areMembers) {
            Member* member = arena_.make<Member>();
            member->base = reference(whole);
            member->name.identifier = name;
            member->name.location = at;
            callee = member;
        } else {
            NameRef* function = arena_.make<NameRef>();
            function->name.identifier = name;
            function->name.location = at;
            callee = function;
            Expr* only[] = {reference(whole)};
            call->arguments = arena_.copy(std::span<Expr* const>(only));
        }
        callee->location = callee->begin = at;
        call->callee = callee;
        return call;
    };
    VarDecl* position = variable("position of a loop", bound(names[0]), false);
    VarDecl* end = variable("end of a loop", bound(names[1]), false);

    const auto unary = [&](UnaryOp op) {
        Unary* made = arena_.make<Unary>();
        made->location = made->begin = at;
        made->op = op;
        made->operand = reference(position);
        return made;
    };
    ForStmt* loop = arena_.make<ForStmt>();
    loop->location = stmt->location;
    Binary* goesOn = arena_.make<Binary>();
    goesOn->location = goesOn->begin = at;
    goesOn->op = BinaryOp::notEqual;
    goesOn->left = reference(position);
    goesOn->right = reference(end);
    loop->condition = goesOn;
    loop->step = unary(UnaryOp::preIncrement);
    stmt->variable->initializer = unary(UnaryOp::dereference);
    stmt->variable->isUsed = true;
    loop->body = list({declared(stmt->variable), stmt->body});
    return statement(list({declared(whole), declared(position), declared(end), loop}));
}

} // namespace msl
