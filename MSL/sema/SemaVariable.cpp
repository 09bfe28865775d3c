// Variables: where they lie, what they are initialised with, what auto stands for.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {
namespace {

bool isFunctionConstant(const VarDecl* var) {
    return var->varKind == VarKind::global && std::ranges::any_of(var->attributes, [](const Attribute& attribute) {
               return attribute.name && !attribute.scope && attribute.name->text == "function_constant";
           });
}

bool holdsAtomic(TypeRef type) {
    while (type->is(TypeKind::array))
        type = type->element;
    return type->is(TypeKind::atomic);
}

} // namespace

void Analyzer::variable(VarDecl* var) {
    if (var->scope) {
        if (!outerDefinition(var)) var->isInvalid = true;
        return;
    }
    if (var->variableTemplate) {
        var->varKind = VarKind::global;
        var->isStatic = true;
        if (!var->variableTemplate->isSpecialization) {
            declare(var);
            return;
        }
        for (ScopeEntry* entry = var->name ? var->name->scope : nullptr; entry; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::variable && static_cast<VarDecl*>(entry->decl)->variableTemplate) {
                variableSpecializations_[static_cast<VarDecl*>(entry->decl)].push_back(var);
                return;
            }
        error(var->location, "explicit specialization of undeclared variable template");
        return;
    }
    if (context_.function)
        var->varKind = VarKind::local;
    else
        var->varKind = VarKind::global;
    const DeclaredType declared = resolveType(var->typeSyntax);
    finishVariable(var, declared);
}

void Analyzer::finishVariable(VarDecl* var, const DeclaredType& declared) {
    TypeRef type = declared.type;
    var->type = type;
    var->isConst = declared.isConst || var->isConstexpr;
    var->space = AddressSpace::thread;
    const bool isReference = type->is(TypeKind::reference);
    const bool isIndirect = isReference || type->is(TypeKind::pointer);
    if (var->typeSyntax && var->typeSyntax->name.identifier && var->typeSyntax->name.identifier->text == "os_log") {
        var->isParenInit = false;
        var->isBraceInit = false;
        var->initializer = makeInteger(0, types_.uint(), var->location);
    }
    const bool isSampler = type->is(TypeKind::sampler);
    const auto invalid = [&] {
        var->type = types_.error();
        var->isInvalid = true;
    };
    checkAttributes(var);
    if (type->is(TypeKind::void_)) {
        error(var->location, "variable has incomplete type 'void'");
        invalid();
    } else if (type->isError()) {
        var->isInvalid = true;
    } else if (var->varKind == VarKind::global) {
        const bool isConstant = declared.hasSpace && declared.space == AddressSpace::constant;
        const bool isPlain = !isIndirect && !isSampler;
        if (isPlain && !isConstant) {
            if (!var->isInvalid) error(var->location, "program scope variable must reside in constant address space");
            var->isInvalid = true; // but its type is known
        }
        if (isSampler && !var->isConstexpr && !isConstant) {
            error(var->location, "a sampler at program scope must be declared constexpr");
            invalid();
        }
        var->space = AddressSpace::constant;
        var->isConst = true;
    } else {
        if (declared.hasSpace && declared.space == AddressSpace::threadgroup && !isIndirect) {
            var->space = AddressSpace::threadgroup;
            if (context_.function && context_.function->stage != EntryStage::kernel) {
                error(var->location, "threadgroup variables can be declared in kernel functions only");
                invalid();
            }
        } else if (declared.hasSpace && declared.space == AddressSpace::device && !isIndirect) {
            error(var->location, "automatic variable qualified with an address space");
            invalid();
        } else if (declared.hasSpace && declared.space == AddressSpace::constant) {
            var->isConst = true;
        }
        if (var->isStatic && !var->isConst && !isSampler) {
            error(var->location, "static local variable must be constant; declare '" +
                                     std::string(var->name ? var->name->text : std::string_view()) +
                                     "' static constexpr");
            var->isInvalid = true;
        }
    }
    if (var->varKind == VarKind::local && var->space == AddressSpace::thread && holdsAtomic(type)) {
        error(var->location,
              "variable of type '" + typeName(type) + "' must be in the device or threadgroup address space");
        invalid();
    }
    const bool isNamed = declare(var);
    const bool typeStands = !var->type->isError();
    if (typeStands)
        initializeVariable(var);
    else if (var->initializer && var->initializer->kind != ExprKind::initList)
        var->initializer = expression(var->initializer);
    if (!isNamed) var->isInvalid = true;
    if (var->varKind == VarKind::local && !var->isInvalid) localsToWarnAbout_.push_back(var);
}

void Analyzer::initializeVariable(VarDecl* var) {
    const std::string name(var->name ? var->name->text : std::string_view());
    TypeRef type = var->type;
    if (type->is(TypeKind::sampler) &&
        (var->isConstexpr || var->isParenInit || !var->initializer || var->varKind == VarKind::global) &&
        var->varKind != VarKind::parameter) {
        samplerVariable(var);
        return;
    }
    if (var->isParenInit) { // T x(a, b)
        std::span<Expr*> arguments = var->parenArguments;
        bool hasErrors = false;
        for (Expr*& argument : arguments) {
            if (argument->kind != ExprKind::initList) argument = expression(argument);
            hasErrors = hasErrors || (argument->type && argument->type->isError());
        }
        if (hasErrors) {
            var->initializer = errorAt(var->location);
        } else if (type->is(TypeKind::reference) || type->is(TypeKind::auto_)) {
            var->initializer = arguments.empty() ? nullptr : arguments[0];
        } else {
            var->initializer = constructType(type, arguments, false, nullptr, var->location);
        }
    }
    if (type->is(TypeKind::auto_) || (type->is(TypeKind::reference) && type->element->is(TypeKind::auto_)) ||
        (type->is(TypeKind::pointer) && type->element->is(TypeKind::auto_))) {
        if (!var->initializer) {
            error(var->location,
                  "declaration of variable '" + name + "' with deduced type 'auto' requires an initializer");
            var->type = types_.error();
            return;
        }
        Expr* initializer = var->initializer;
        if (initializer->kind == ExprKind::initList && var->isBraceInit &&
            static_cast<InitList*>(initializer)->initializers.size() == 1)
            initializer = static_cast<InitList*>(initializer)->initializers[0].value;
        if (initializer->kind == ExprKind::initList) {
            error(var->location,
                  "cannot deduce actual type for variable '" + name + "' with type 'auto' from initializer list");
            var->type = types_.error();
            return;
        }
        initializer = expression(initializer);
        TypeRef found = initializer->type;
        if (found->is(TypeKind::overload)) {
            initializer = load(initializer);
            found = initializer->type;
        }
        if (found->is(TypeKind::void_)) {
            error(var->location, "variable has incomplete type 'void'");
            found = types_.error();
        }
        if (found->isError()) {
            var->type = types_.error();
            return;
        }
        if (type->is(TypeKind::reference)) {
            const bool isLvalue = initializer->category == ValueCategory::lvalue;
            type = types_.reference(found, isLvalue ? initializer->space : AddressSpace::thread,
                                    type->pointeeConst || (isLvalue && initializer->isConst));
        } else if (type->is(TypeKind::pointer)) {
            if (!found->is(TypeKind::pointer)) {
                error(var->location, "variable '" + name +
                                         "' with type 'auto *' has incompatible initializer of type '" +
                                         typeName(found) + "'");
                var->type = types_.error();
                return;
            }
            type = found;
        } else if (found->is(TypeKind::array) && initializer->category == ValueCategory::lvalue &&
                   initializer->space != AddressSpace::thread) {
            type = types_.pointer(found->element, initializer->space, initializer->isConst);
        } else {
            type = found;
        }
        var->type = type;
        var->initializer = initializer;
    }
    if (type->is(TypeKind::array) && type->count == 0) {
        if (!var->initializer || var->initializer->kind != ExprKind::initList) {
            error(var->location,
                  "definition of variable '" + name + "' with array type needs an explicit size or an initializer");
            var->type = types_.error();
            return;
        }
        const std::uint64_t count = countArrayElements(type->element, static_cast<InitList*>(var->initializer));
        if (count == 0) {
            error(var->location, "zero-length arrays are not permitted");
            var->type = types_.error();
            return;
        }
        type = types_.array(type->element, count);
        var->type = type;
    }
    if (!type->is(TypeKind::reference) && !type->is(TypeKind::pointer) &&
        !requireComplete(type, var->location, "variable has")) {
        var->type = types_.error();
        return;
    }
    if (var->space == AddressSpace::thread && var->varKind == VarKind::local && !var->isConstexpr && !var->isStatic &&
        layoutOf(type).size > maxLocalSize && !type->is(TypeKind::reference)) {
        error(var->location, "variable '" + name + "' is too large for the thread address space (" +
                                 std::to_string(layoutOf(type).size) + " bytes; at most " +
                                 std::to_string(maxLocalSize) + " fit)");
        var->isInvalid = true;
    }
    if (!var->initializer) {
        if (type->is(TypeKind::reference)) {
            error(var->location, "declaration of reference variable '" + name + "' requires an initializer");
            var->isInvalid = true;
        } else if (Expr* start = defaultInitializer(type, var->location)) {
            var->initializer = start;
        } else if (var->varKind == VarKind::global && currentStruct_ && var->isStatic && !var->isConstexpr) {
            // a static member: its value stands in its definition outside of the struct
        } else if (var->varKind == VarKind::global && !var->isInvalid) {
            if (!isFunctionConstant(var)) {
                error(var->location, "variable in constant address space must be initialized");
                var->isInvalid = true;
            } else if (!type->isScalar() && !type->isVector()) {
                error(var->location, "invalid type '" + typeName(type) +
                                         "' for a function constant: it must be a scalar or vector type");
                var->isInvalid = true;
            }
        } else if (var->isConst && !type->is(TypeKind::struct_) && var->space == AddressSpace::thread) {
            error(var->location, "default initialization of an object of const type 'const " + typeName(type) + "'");
            var->isInvalid = true;
        }
        return;
    }
    if (isFunctionConstant(var)) {
        error(var->location, "function constant '" + name + "' cannot have an initializer");
        var->isInvalid = true;
        return;
    }
    if (var->space == AddressSpace::threadgroup && var->varKind == VarKind::local && !type->is(TypeKind::reference) &&
        !type->is(TypeKind::pointer)) {
        error(var->location, "variable '" + name + "' in threadgroup address space cannot have an initializer");
        var->isInvalid = true;
    }
    if (!var->initializer->type || var->initializer->type != type ||
        var->initializer->category == ValueCategory::lvalue) {
        Expr* initializer = var->initializer;
        const SourceLocation at = var->location;
        var->initializer = initialize(type, initializer, Purpose::variable, at);
    }
    if (var->initializer->type->isError())
        return; // the variable keeps its declared type, so that its uses are still checked
    if (var->isConstexpr && dependsOnRunTime(var->initializer)) {
        error(var->location, "constexpr variable '" + name + "' must be initialized by a constant expression");
        var->isInvalid = true;
        return;
    }
    const bool isInteger = type->is(TypeKind::enum_) || (type->isScalar() && msl::isInteger(type->scalar));
    if (isInteger && (var->isConst || var->isConstexpr)) {
        if (const ConstantValue value = evaluate(var->initializer)) {
            var->hasConstantValue = true;
            var->constantValue = value->asInteger();
            return;
        }
    }
    if (var->isConstexpr && !var->isInvalid && isFaulty(var->initializer)) {
        error(var->location, "constexpr variable '" + name + "' must be initialized by a constant expression");
        noteFault(var->location);
        var->isInvalid = true;
    }
}

} // namespace msl
