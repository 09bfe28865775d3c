// Functions: signatures, bodies, and bodies that have to wait.
#include "MSL/sema/LambdaScope.h"
#include "MSL/sema/Suspicions.h"

#include <algorithm>

namespace msl {

void Analyzer::functionSignature(FunctionDecl* function) {
    const auto resolveReturn = [&] {
        if (function->isConstructor) {
            function->returnType = types_.void_();
        } else if (!function->returnTypeSyntax && !function->isLambda) {
            if (!function->hasSyntaxErrors)
                error(function->location, "a type specifier is required for all declarations");
            function->returnType = types_.error();
            function->isInvalid = true;
        } else if (!function->returnTypeSyntax) {
            function->returnType = types_.auto_();
        } else {
            const DeclaredType declared = resolveType(function->returnTypeSyntax);
            function->returnType = declared.type;
            if (declared.type->is(TypeKind::array) && !function->returnTypeSyntax->modifiers.empty()) {
                error(function->returnTypeSyntax->location,
                      "function cannot return array type '" + typeName(declared.type) + "'");
                function->returnType = types_.error();
            }
            function->returnSpace =
                declared.type->is(TypeKind::reference) ? declared.type->space : AddressSpace::thread;
        }
    };
    // "auto f(T x) -> decltype(x + 1)" sees the parameters.
    const bool seesParameters = function->returnTypeSyntax && function->returnTypeSyntax->decltypeOf;
    if (!seesParameters) resolveReturn();
    if (function->isVariadic) unsupported(function->location, "a function with a variable number of arguments");
    if (function->parameters.size() == 1 && !function->parameters[0]->name) { // f(void)
        VarDecl* only = function->parameters[0];
        if (only->typeSyntax && only->typeSyntax->modifiers.empty() && only->typeSyntax->name.identifier &&
            only->typeSyntax->name.identifier->text == "void")
            function->parameters = {};
    }
    std::uint32_t number = 0;
    bool hasDefault = false;
    for (VarDecl* parameter : function->parameters) {
        parameter->varKind = VarKind::parameter;
        parameter->parent = function;
        parameter->index = number++;
        const DeclaredType declared = resolveType(parameter->typeSyntax, true);
        parameter->type = declared.type;
        parameter->isConst = declared.isConst;
        parameter->space = declared.hasSpace ? declared.space : AddressSpace::thread;
        if (declared.type->is(TypeKind::void_)) {
            error(parameter->location ? parameter->location : parameter->typeSyntax->location,
                  "argument may not have 'void' type");
            parameter->type = types_.error();
        } else if (declared.type->is(TypeKind::auto_) ||
                   (declared.type->is(TypeKind::reference) && declared.type->element->is(TypeKind::auto_))) {
            error(parameter->typeSyntax->location, "'auto' not allowed in function prototype");
            parameter->type = types_.error();
        }
        if (parameter->type->isError()) parameter->isInvalid = true;
        if (parameter->initializer) {
            hasDefault = true;
            if (!parameter->type->isError())
                parameter->initializer =
                    initialize(parameter->type, parameter->initializer, Purpose::parameter, parameter->location);
            else
                parameter->initializer = errorAt(parameter->location);
        } else if (hasDefault) {
            error(parameter->location ? parameter->location : function->location,
                  "missing default argument on parameter" +
                      (parameter->name ? " '" + std::string(parameter->name->text) + "'" : std::string()));
            parameter->initializer = parameter->type->isError() ? errorAt(parameter->location)
                                                                : zeroValue(parameter->type, parameter->location);
        }
        checkAttributes(parameter);
    }
    if (!seesParameters) return;
    scopes_.open();
    for (VarDecl* parameter : function->parameters)
        if (parameter->name && !parameter->isPack) scopes_.add(parameter->name, parameter);
    resolveReturn();
    scopes_.close();
}

void Analyzer::functionDeclaration(FunctionDecl* function) {
    if (!function->name) {
        function->isInvalid = true;
        return;
    }
    if (function->scope) {
        if (!outerDefinition(function)) function->isInvalid = true;
        return;
    }
    if (!function->templateParameters.empty()) {
        declare(function);
        return;
    }
    functionSignature(function);
    if (function->isSpecialization) {
        FunctionDecl* primary = nullptr;
        for (ScopeEntry* entry = function->name->scope; entry; entry = entry->hidden)
            if (entry->decl->kind == DeclKind::function &&
                !static_cast<FunctionDecl*>(entry->decl)->templateParameters.empty()) {
                primary = static_cast<FunctionDecl*>(entry->decl);
                break;
            }
        if (!primary) {
            error(function->location, "no function template matches function template specialization '" +
                                          std::string(function->name->text) + "'");
            return;
        }
        function->definition = function->body ? function : nullptr;
        function->instanceOf = primary;
        function->instanceArguments = function->specializationArguments;
        for (std::size_t i = 0; i < function->instanceArguments.size() && i < primary->templateParameters.size(); ++i)
            if (primary->templateParameters[i]->isType)
                templateArgumentType(function->instanceArguments[i], true);
            else
                templateArgumentValue(function->instanceArguments[i], function->location);
        functionSpecializations_[primary].push_back(function);
    } else if (!declare(function)) {
        function->isInvalid = true;
    }
    checkAttributes(function);
    const unsigned before = diagnostics_.errorCount();
    if (function->stage != EntryStage::none) entryPoint(function);
    if (function->body && !function->isResolved) functionBody(function);
    if (function->stage != EntryStage::none && function->body && !function->isInvalid &&
        diagnostics_.errorCount() == before)
        entryPoints_.push_back(function);
}

void Analyzer::functionBody(FunctionDecl* function) {
    function->isResolved = true;
    const FunctionContext outer = context_;
    context_ = {};
    context_.function = function;
    if (function->isLambda)
        if (const auto found = lambdaScopes_.find(function->owner); found != lambdaScopes_.end())
            context_.lambda = found->second.get();
    context_.returnType = function->returnType->is(TypeKind::auto_) ? nullptr : function->returnType;
    context_.errorsAtStart = diagnostics_.errorCount();
    Decl* const outerParent = std::exchange(currentParent_, function);
    StructDecl* const outerStruct = std::exchange(currentStruct_, nullptr);
    const bool outerMetal = metalIsVisible_;
    std::vector<VarDecl*> outerLocals = std::exchange(localsToWarnAbout_, {});
    scopes_.open();
    if (function->returnType->is(TypeKind::struct_) && function->returnTypeSyntax)
        requireComplete(function->returnType, function->returnTypeSyntax->location, "result type is an");
    if (function->packName) { // in an instance: the parameters that a pack became
        PackDecl* pack = arena_.make<PackDecl>();
        pack->name = function->packName;
        std::vector<Decl*> elements;
        for (VarDecl* parameter : function->parameters)
            if (parameter->isPack) elements.push_back(parameter);
        pack->elements = arena_.copy(elements);
        scopes_.add(pack->name, pack);
    }
    for (VarDecl* parameter : function->parameters) {
        if (!parameter->name || parameter->isPack) continue;
        if (!requireComplete(parameter->type->is(TypeKind::reference) || parameter->type->is(TypeKind::pointer)
                                 ? types_.int_()
                                 : parameter->type,
                             parameter->location, "variable has"))
            parameter->isInvalid = true;
        if (ScopeEntry* entry = scopes_.findInInnermost(parameter->name)) {
            error(parameter->location, "redefinition of parameter '" + std::string(parameter->name->text) + "'");
            note(entry->decl->location, "previous declaration is here");
            continue;
        }
        scopes_.add(parameter->name, parameter);
    }
    if (function->isConstructor) memberInitializers(function);
    compound(function->body, false);
    if (!context_.returnType && function->returnType->is(TypeKind::auto_)) function->returnType = types_.void_();
    // isInvalid is said of a head that cannot be trusted; a fault in the body does not make calls suspect.
    // Past the last error that is told, and past the limit, the tree may be half done.
    const bool isWhole =
        !function->hasSyntaxErrors && !diagnostics_.isFull() && !limit_.exceeded() &&
        std::ranges::none_of(function->parameters, [](const VarDecl* parameter) { return parameter->type->isError(); });
    if (diagnostics_.errorCount() == context_.errorsAtStart && isWhole) {
        checkMissingReturn(function);
        if (!function->instanceOf) {
            warnUnused();
            warnOfSuspicions(*function, diagnostics_);
        }
    }
    scopes_.close();
    localsToWarnAbout_ = std::move(outerLocals);
    metalIsVisible_ = outerMetal;
    currentStruct_ = outerStruct;
    currentParent_ = outerParent;
    context_ = outer;
}

// Resolves a body that was put off, outside of whatever is being resolved now.
void Analyzer::resolveBodyNow(FunctionDecl* function) {
    if (function->isResolved || !function->body) return;
    if (instantiationDepth_ >= maxInstantiationDepth) {
        error(function->location,
              "recursive template instantiation exceeded maximum depth of " + std::to_string(maxInstantiationDepth));
        function->isResolved = true;
        return;
    }
    ++instantiationDepth_;
    Scopes::Suspended suspended = scopes_.suspend();
    const unsigned outerDepth = std::exchange(depth_, 0U);
    FunctionDecl* pattern = function->instanceOf;
    enterContext(pattern && !function->isSpecialization ? pattern->parent : function->parent);
    if (!function->outerParameters.empty() && function->owner && function->owner->instanceOf) {
        // Its definition, outside of the struct, may call the struct's parameters by other names.
        scopes_.open();
        pushBindings(function->outerParameters, function->owner->patternArguments);
    }
    if (pattern && !function->isSpecialization) {
        scopes_.open();
        pushBindings(pattern->templateParameters, function->instanceArguments);
    }
    functionBody(function);
    while (scopes_.depth() > 0)
        scopes_.close();
    depth_ = outerDepth;
    scopes_.resume(std::move(suspended));
    --instantiationDepth_;
}

} // namespace msl
