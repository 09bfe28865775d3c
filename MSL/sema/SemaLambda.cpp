// Lambdas. A lambda is an object of a struct without a name, its closure: a field for each variable that it captures,
// and its body as the call operator. Inside the body a captured variable's name means the field.
#include "MSL/sema/LambdaScope.h"

#include "MSL/ast/Clone.h"
#include "MSL/sema/ConstRun.h"

#include <algorithm>

namespace msl {

Analyzer::~Analyzer() = default;

// A variable of the function around a lambda, seen from the lambda's body.
bool Analyzer::needsCapture(const VarDecl* var) const {
    if (!context_.lambda || var->isStatic) return false;
    const bool isTemplateValue = !var->typeSyntax && !var->initializer && var->hasConstantValue;
    if (isTemplateValue || var->space == AddressSpace::constant || var->space == AddressSpace::threadgroup)
        return false;
    switch (var->varKind) {
    case VarKind::local:
    case VarKind::parameter: return var->parent && var->parent != context_.function;
    case VarKind::field:
        return var->parent && var->parent != context_.lambda->closure && var->parent->kind == DeclKind::struct_ &&
               static_cast<const StructDecl*>(var->parent)->isLambdaClosure;
    case VarKind::global: break;
    }
    return false;
}

StructDecl* Analyzer::objectOwner() const {
    const FunctionContext* context = &context_;
    while (context->lambda)
        context = &context->lambda->outer;
    const FunctionDecl* function = context->function;
    return function && !function->isStatic ? function->owner : nullptr;
}

Expr* Analyzer::ownThis(SourceLocation at) {
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

Expr* Analyzer::closureMember(VarDecl* field, SourceLocation at) {
    Member* node = arena_.make<Member>();
    node->location = node->begin = at;
    node->base = ownThis(at);
    node->isArrow = true;
    node->name.identifier = field->name;
    node->field = field;
    node->category = ValueCategory::lvalue;
    node->space = node->base->type->space;
    node->isConst = node->base->type->pointeeConst || field->isConst;
    node->type = field->type;
    if (node->type->is(TypeKind::reference)) {
        node->space = node->type->space;
        node->isConst = node->type->pointeeConst;
        node->type = node->type->element;
    }
    return node;
}

VarDecl* Analyzer::addCapture(LambdaScope& scope, const Identifier* name, TypeRef type, Expr* value,
                              SourceLocation at) {
    VarDecl* field = arena_.make<VarDecl>();
    field->name = name;
    field->location = at;
    field->varKind = VarKind::field;
    field->parent = scope.closure;
    field->type = type;
    field->isUsed = true;
    field->index = static_cast<std::uint32_t>(scope.fields.size());
    scope.fields.push_back(field);
    scope.values.push_back(value);
    return field;
}

VarDecl* Analyzer::capture(LambdaScope& scope, VarDecl* var, const Identifier* name, bool byReference,
                           SourceLocation at) {
    const auto known = scope.captured.find(var);
    if (known != scope.captured.end()) return known->second;
    const FunctionContext inner = std::exchange(context_, scope.outer);
    NameRef* ref = arena_.make<NameRef>();
    ref->location = ref->begin = ref->name.location = at;
    ref->name.identifier = name;
    Expr* value = variableReference(ref, var);
    context_ = inner;
    TypeRef type = value->type;
    if (!type->isError()) {
        if (byReference && value->category == ValueCategory::lvalue)
            type = types_.reference(type, value->space, value->isConst);
        else
            value = load(value);
    }
    VarDecl* field = addCapture(scope, name, type, value, at);
    scope.captured.emplace(var, field);
    return field;
}

VarDecl* Analyzer::capturedThis(LambdaScope& scope, SourceLocation at) {
    if (scope.self) return scope.self;
    const FunctionContext inner = std::exchange(context_, scope.outer);
    Expr* value = implicitThis(at);
    context_ = inner;
    return scope.self = addCapture(scope, identifiers_.get("this"), value->type, value, at);
}

Expr* Analyzer::captured(NameRef* ref, VarDecl* var) {
    LambdaScope& scope = *context_.lambda;
    const auto known = scope.captured.find(var);
    if (known != scope.captured.end()) return closureMember(known->second, ref->location);
    var->isUsed = true;
    if (var->isInvalid || !var->type || var->type->isError()) return errorAt(ref);
    if (var->hasConstantValue && var->type->isScalar() && (var->isConst || var->isConstexpr)) {
        // A constant needs no capture.
        if (!var->type->isBool()) return makeInteger(var->constantValue, var->type, ref->location);
        BoolLiteral* literal = make<BoolLiteral>(ref);
        literal->value = var->constantValue != 0;
        literal->type = var->type;
        return literal;
    }
    const bool isConstant = var->isConstexpr && var->varKind == VarKind::local;
    if (scope.isComplete || (!scope.byValue && !scope.byReference && !isConstant)) {
        error(ref->location, "variable '" + std::string(var->name ? var->name->text : "") +
                                 "' cannot be implicitly captured in a lambda with no capture-default specified");
        if (var->location) note(var->location, "'" + std::string(var->name ? var->name->text : "") + "' declared here");
        return errorAt(ref);
    }
    return closureMember(capture(scope, var, var->name, scope.byReference, ref->location), ref->location);
}

// The body of a generic lambda is resolved when it is called, after the closure is made: what it may need is captured
// by the names that stand in it.
void Analyzer::captureNames(LambdaScope& scope, const FunctionDecl& function) {
    std::vector<const Identifier*> names;
    namesIn(arena_, function, names);
    std::ranges::sort(names);
    names.erase(std::ranges::unique(names).begin(), names.end());
    const FunctionContext outer = context_;
    context_.lambda = &scope;
    context_.function = scope.function;
    for (const Identifier* name : names) {
        if (!limit_.step()) break;
        if (name->text == "this") {
            if (objectOwner() && (scope.byValue || scope.byReference)) capturedThis(scope, function.location);
            continue;
        }
        if (!name->scope || name->scope->decl->kind != DeclKind::variable) continue;
        auto* var = static_cast<VarDecl*>(name->scope->decl);
        if (var->varKind == VarKind::field && objectOwner() && var->parent == objectOwner() &&
            (scope.byValue || scope.byReference))
            capturedThis(scope, function.location);
        if (!needsCapture(var) || var->isInvalid || var->hasConstantValue) continue;
        if (scope.byValue || scope.byReference || var->isConstexpr)
            capture(scope, var, name, scope.byReference, function.location);
    }
    context_ = outer;
}

void Analyzer::enterClosure(const StructDecl* closure) {
    const auto found = lambdaScopes_.find(closure);
    if (found == lambdaScopes_.end()) return;
    scopes_.open();
    for (const auto& [name, decl] : found->second->visible)
        if (limit_.step()) scopes_.add(name, decl);
}

Expr* Analyzer::lambda(Lambda* expr) {
    FunctionDecl* function = expr->function;
    if (!context_.function || !function) {
        unsupported(expr->location, "a lambda expression outside of a function");
        return errorAt(expr);
    }
    StructDecl* closure = arena_.make<StructDecl>();
    closure->location = expr->location;
    closure->parent = currentParent_;
    closure->isLambdaClosure = closure->isDefinition = closure->isComplete = true;
    closure->definition = closure;
    Decl* only[] = {function};
    closure->members = arena_.copy(std::span<Decl* const>(only));
    giveType(closure);
    function->owner = closure;
    function->parent = closure;
    function->definition = function;
    function->isConstMember = !function->isMutable;
    auto& owned = lambdaScopes_[closure];
    owned = std::make_unique<LambdaScope>();
    LambdaScope& scope = *owned;
    scope.closure = closure;
    scope.function = function;
    scope.outer = context_;
    scope.byValue = expr->capturesAllByValue;
    scope.byReference = expr->capturesAllByReference;

    const unsigned before = diagnostics_.errorCount();
    scopes_.open();
    for (Lambda::Capture& one : expr->captures) {
        if (one.isThis) {
            if (!objectOwner()) {
                error(one.location, "'this' cannot be captured in this context");
                continue;
            }
            capturedThis(scope, one.location);
            continue;
        }
        if (one.initializer) { // [n = 3]
            Expr* value = expression(one.initializer);
            TypeRef type = value->type;
            if (type->isError()) continue;
            if (one.byReference && value->category == ValueCategory::lvalue)
                type = types_.reference(type, value->space, value->isConst);
            else
                value = load(value);
            scopes_.add(one.name, addCapture(scope, one.name, type, value, one.location));
            continue;
        }
        ScopeEntry* entry = one.name->scope;
        if (!entry) {
            error(one.location, "use of undeclared identifier '" + std::string(one.name->text) + "'");
            continue;
        }
        auto* var = entry->decl->kind == DeclKind::variable ? static_cast<VarDecl*>(entry->decl) : nullptr;
        const bool isField = var && var->varKind == VarKind::field &&
                             !(var->parent && var->parent->kind == DeclKind::struct_ &&
                               static_cast<StructDecl*>(var->parent)->isLambdaClosure);
        if (!var || isField || var->varKind == VarKind::global) {
            error(one.location, "'" + std::string(one.name->text) +
                                    "' cannot be captured because it does not have automatic storage duration");
            continue;
        }
        if (scope.captured.contains(var)) {
            error(one.location, "'" + std::string(one.name->text) + "' can appear only once in a capture list");
            continue;
        }
        if (!var->isInvalid) capture(scope, var, one.name, one.byReference, one.location);
    }
    if (function->isGeneric) {
        captureNames(scope, *function);
        for (const ScopeEntry* entry : scopes_.all())
            scope.visible.emplace_back(entry->name, entry->decl);
    } else if (diagnostics_.errorCount() == before) {
        functionSignature(function);
        functionBody(function);
    }
    scopes_.close();
    scope.isComplete = true;
    if (diagnostics_.errorCount() != before) return errorAt(expr);
    for (VarDecl* field : scope.fields)
        if (!field->type || field->type->isError()) return errorAt(expr);
    closure->fields = arena_.copy(scope.fields);
    layOut(closure);
    if (closure->isInvalid) return errorAt(expr);
    Construct* made = make<Construct>(expr);
    made->constructKind = ConstructKind::aggregate;
    made->arguments = arena_.copy(scope.values);
    made->type = closure->type;
    return made;
}

} // namespace msl
