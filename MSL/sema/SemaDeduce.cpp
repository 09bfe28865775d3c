// With what a template is made: arguments that are given, deduced from a call's or left to their defaults, and which
// partial specialisation they fit best.
#include "MSL/sema/Analyzer.h"

#include "MSL/ast/Clone.h"

#include <algorithm>

namespace msl {

Analyzer::Bindings Analyzer::makeBindings(std::span<TemplateParameterDecl*> parameters) {
    return {parameters, arena_.makeArray<TemplateArgument>(parameters.size()),
            std::vector<bool>(parameters.size(), false), std::vector<bool>(parameters.size(), false)};
}

bool Analyzer::bind(Bindings& bindings, std::size_t index, TypeRef type, std::int64_t value) {
    TemplateArgument& argument = bindings.arguments[index];
    if (bindings.isExplicit[index]) return true; // the argument is converted to it
    if (bindings.isBound[index])
        return bindings.parameters[index]->isType ? argument.resolvedType == type : argument.value == value;
    if (bindings.parameters[index]->isType) {
        if (!type || type->isError()) return false;
        argument.resolvedType = type;
    } else {
        argument.value = value;
    }
    bindings.isBound[index] = true;
    return true;
}

bool Analyzer::bindFunction(Bindings& bindings, std::size_t index, FunctionDecl* function) {
    TemplateArgument& argument = bindings.arguments[index];
    if (!bindings.parameters[index]->functionType) return false;
    if (bindings.isBound[index]) return argument.function == function;
    argument.function = function;
    bindings.isBound[index] = true;
    return true;
}

bool Analyzer::bindExplicit(Bindings& bindings, std::span<TemplateArgument> given, Decl* parent, SourceLocation at,
                            bool report) {
    const bool hasPack = !bindings.parameters.empty() && bindings.parameters.back()->isPack;
    if (given.size() > bindings.parameters.size() && !hasPack) {
        if (report) error(at, "too many template arguments");
        return false;
    }
    for (std::size_t i = 0; i < given.size(); ++i) {
        const TemplateParameterDecl* parameter = bindings.parameters[i];
        if (parameter->isPack) { // takes the rest
            const std::span<TemplateArgument> pack = arena_.makeArray<TemplateArgument>(given.size() - i);
            for (std::size_t k = 0; k < pack.size(); ++k) {
                if (!limit_.step()) return false;
                if (parameter->isType) {
                    pack[k].resolvedType = templateArgumentType(given[i + k], report);
                    if (!pack[k].resolvedType || pack[k].resolvedType->isError()) return false;
                } else {
                    const std::optional<std::int64_t> value = templateArgumentValue(given[i + k], at, report);
                    if (!value) return false;
                    pack[k].value = *value;
                }
            }
            bindings.arguments[i].isPack = true;
            bindings.arguments[i].pack = pack;
            bindings.isBound[i] = true;
            bindings.isExplicit[i] = true;
            return true;
        }
        if (parameter->functionType) {
            FunctionDecl* function = templateArgumentFunction(given[i], i, bindings, parent, at, report);
            if (!function || !bindFunction(bindings, i, function)) return false;
        } else if (parameter->isType) {
            const TypeRef type = templateArgumentType(given[i], report);
            if (!type || !bind(bindings, i, type, 0)) return false;
        } else {
            const std::optional<std::int64_t> value = templateArgumentValue(given[i], at, report);
            if (!value || !bind(bindings, i, nullptr, *value)) return false;
        }
        bindings.isExplicit[i] = true;
    }
    return true;
}

bool Analyzer::completeBindings(Bindings& bindings, Decl* parent, SourceLocation at, bool report) {
    for (std::size_t i = 0; i < bindings.parameters.size(); ++i) {
        if (bindings.isBound[i]) continue;
        const TemplateParameterDecl* parameter = bindings.parameters[i];
        if (parameter->isPack) { // nothing is left for it
            bindings.arguments[i].isPack = true;
            bindings.isBound[i] = true;
            continue;
        }
        if (!parameter->defaultType && !parameter->defaultValue) {
            if (report)
                error(at, "too few template arguments: '" +
                              std::string(parameter->name ? parameter->name->text : std::string_view("parameter")) +
                              "' is missing");
            return false;
        }
        Scopes::Suspended suspended = scopes_.suspend();
        enterContext(parent);
        scopes_.open();
        pushBindings(bindings.parameters.first(i), bindings.arguments.first(i));
        bool bound = false;
        if (parameter->isType) {
            bound = bind(bindings, i, resolveTypeOnly(clone(arena_, parameter->defaultType)), 0);
        } else if (parameter->functionType) {
            TemplateArgument argument;
            argument.expression = clone(arena_, parameter->defaultValue);
            FunctionDecl* function = templateArgumentFunction(argument, i, bindings, parent, at, report);
            bound = function && bindFunction(bindings, i, function);
        } else {
            TemplateArgument argument;
            argument.expression = clone(arena_, parameter->defaultValue);
            if (parameter->valueType && resolveTypeOnly(clone(arena_, parameter->valueType))->isError())
                argument.expression = errorAt(at); // "typename enable_if<...>::type = 0" that is none
            const std::optional<std::int64_t> value = templateArgumentValue(argument, at, report);
            bound = value && bind(bindings, i, nullptr, *value);
        }
        while (scopes_.depth() > 0)
            scopes_.close();
        scopes_.resume(std::move(suspended));
        if (!bound) return false;
    }
    return true;
}

bool Analyzer::deduceArgument(const TemplateArgument& pattern, const TemplateArgument& actual, Bindings& bindings) {
    const TypeRef type = actual.resolvedType;
    if (type && pattern.typeSyntax) return deduce(pattern.typeSyntax, type, bindings);
    const Identifier* name = nullptr;
    if (pattern.expression && pattern.expression->kind == ExprKind::nameRef)
        name = static_cast<const NameRef*>(pattern.expression)->name.identifier;
    else if (pattern.typeSyntax && pattern.typeSyntax->modifiers.empty())
        name = pattern.typeSyntax->name.identifier;
    for (std::size_t i = 0; name && i < bindings.parameters.size(); ++i)
        if (bindings.parameters[i]->name == name)
            return actual.function                  ? bindFunction(bindings, i, actual.function)
                   : bindings.parameters[i]->isType ? (type && bind(bindings, i, type, 0))
                                                    : (!type && bind(bindings, i, nullptr, actual.value));
    return true; // fixed: checked when the argument is converted
}

bool Analyzer::deduce(const TypeSyntax* pattern, TypeRef from, Bindings& bindings) {
    if (!pattern || !from || from->isError()) return false;
    for (std::size_t i = pattern->modifiers.size(); i > 0; --i) {
        const TypeModifier& modifier = pattern->modifiers[i - 1];
        switch (modifier.kind) {
        case TypeModifier::Kind::reference:
        case TypeModifier::Kind::rvalueReference:
            if (from->is(TypeKind::reference)) from = from->element;
            break;
        case TypeModifier::Kind::pointer:
            if (!from->is(TypeKind::pointer) && !from->is(TypeKind::array))
                return true; // nothing to learn; the conversion will tell
            from = from->element;
            break;
        case TypeModifier::Kind::array:
            if (from->is(TypeKind::array)) {
                if (modifier.arraySize) {
                    TemplateArgument size;
                    size.expression = modifier.arraySize;
                    TemplateArgument count;
                    count.value = static_cast<std::int64_t>(from->count);
                    if (!deduceArgument(size, count, bindings)) return false;
                }
            } else if (!from->is(TypeKind::pointer)) {
                return true;
            }
            from = from->element;
            break;
        }
    }
    const Name& name = pattern->name;
    if (const TypeRef element = isListName(name) ? listElement(from) : nullptr) {
        TemplateArgument actual;
        actual.resolvedType = element;
        return deduceArgument(name.templateArguments[0], actual, bindings);
    }
    if (!name.identifier || !name.qualifiers.empty() || name.qualifierType) return true;
    if (!name.hasTemplateArguments) {
        for (std::size_t i = 0; i < bindings.parameters.size(); ++i)
            if (bindings.parameters[i]->name == name.identifier && bindings.parameters[i]->isType)
                return bind(bindings, i, from, 0);
        return true;
    }
    const std::span<const TemplateArgument> parts = name.templateArguments;
    const std::string_view text = name.identifier->text;
    const auto part = [&](std::size_t i, TypeRef type, std::int64_t value) {
        TemplateArgument actual;
        actual.resolvedType = type;
        actual.value = value;
        return i >= parts.size() || deduceArgument(parts[i], actual, bindings);
    };
    if (!name.identifier->scope) {
        if ((text == "vec" && from->isVector()) || (text == "packed_vec" && from->is(TypeKind::packedVector)))
            return part(0, types_.scalar(from->scalar), 0) && part(1, nullptr, from->columns);
        if (text == "matrix" && from->isMatrix())
            return part(0, types_.scalar(from->scalar), 0) && part(1, nullptr, from->columns) &&
                   part(2, nullptr, from->rows);
        if (text == "array" && from->is(TypeKind::array))
            return part(0, from->element, 0) && part(1, nullptr, static_cast<std::int64_t>(from->count));
        if (text == "atomic" && from->is(TypeKind::atomic)) return part(0, types_.scalar(from->scalar), 0);
        if ((text.starts_with("texture") || text.starts_with("depth")) && from->is(TypeKind::texture))
            return part(0, types_.scalar(from->scalar), 0) &&
                   part(1, nullptr, static_cast<std::int64_t>(from->textureAccess));
        return false;
    }
    if (!from->is(TypeKind::struct_) || !from->structDecl->instanceOf || from->structDecl->name != name.identifier)
        return false;
    const std::span<TemplateArgument> actual = from->structDecl->instanceArguments;
    return deduceList(parts, actual, bindings);
}

// "initializer_list<T>" against a list in braces: every item says what T is.
bool Analyzer::deduceFromList(const TypeSyntax* pattern, InitList* list, Bindings& bindings) {
    const Name& name = pattern->name;
    if (!isListName(name)) return true; // nothing to learn
    for (Initializer& item : list->initializers) {
        if (!limit_.step()) return false;
        if (item.value->kind == ExprKind::initList) continue;
        item.value = expression(item.value);
        TemplateArgument actual;
        actual.resolvedType = item.value->type;
        if (!deduceArgument(name.templateArguments[0], actual, bindings)) return false;
    }
    return true;
}

// The arguments of a template against those of an instance; the last pattern may be "T...".
bool Analyzer::deduceList(std::span<const TemplateArgument> patterns, std::span<const TemplateArgument> actual,
                          Bindings& bindings) {
    std::vector<TemplateArgument> flat;
    for (const TemplateArgument& argument : actual) {
        if (!argument.isPack)
            flat.push_back(argument);
        else
            flat.insert(flat.end(), argument.pack.begin(), argument.pack.end());
    }
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        if (patterns[i].isExpansion) {
            std::vector<const Identifier*> names;
            if (patterns[i].typeSyntax) namesIn(arena_, patterns[i].typeSyntax, names);
            if (patterns[i].expression) namesIn(arena_, patterns[i].expression, names);
            for (std::size_t p = 0; p < bindings.parameters.size(); ++p)
                if (bindings.parameters[p]->isPack &&
                    std::ranges::find(names, bindings.parameters[p]->name) != names.end() && !bindings.isBound[p]) {
                    bindings.arguments[p].isPack = true;
                    bindings.arguments[p].pack =
                        arena_.copy(std::span<const TemplateArgument>(flat).subspan(std::min(i, flat.size())));
                    bindings.isBound[p] = true;
                }
            return true;
        }
        if (i >= flat.size()) return false;
        if (!limit_.step() || !deduceArgument(patterns[i], flat[i], bindings)) return false;
    }
    return patterns.size() == flat.size();
}

// "Rest... rest" against the arguments that are left.
bool Analyzer::deducePack(const VarDecl* parameter, std::span<Expr*> given, Bindings& bindings) {
    std::vector<const Identifier*> names;
    namesIn(arena_, parameter->typeSyntax, names);
    for (std::size_t p = 0; p < bindings.parameters.size(); ++p) {
        TemplateParameterDecl* pack = bindings.parameters[p];
        if (!pack->isPack || std::ranges::find(names, pack->name) == names.end()) continue;
        if (bindings.isBound[p]) return bindings.arguments[p].pack.size() == given.size();
        const std::span<TemplateArgument> elements = arena_.makeArray<TemplateArgument>(given.size());
        for (std::size_t i = 0; i < given.size(); ++i) {
            if (!limit_.step() || given[i]->kind == ExprKind::initList) return false;
            TemplateParameterDecl* only[] = {pack};
            Bindings one = makeBindings(only);
            if (!deduce(parameter->typeSyntax, given[i]->type, one) || !one.isBound[0]) return false;
            elements[i] = one.arguments[0];
        }
        bindings.arguments[p].isPack = true;
        bindings.arguments[p].pack = elements;
        bindings.isBound[p] = true;
    }
    return true;
}

bool Analyzer::matchPartial(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> patterns,
                            std::span<TemplateArgument> actual, Bindings& bindings) {
    bindings = makeBindings(parameters);
    if (!deduceList(patterns, actual, bindings)) return false;
    for (std::size_t i = 0; i < parameters.size(); ++i)
        if (!bindings.isBound[i]) return false;
    // What the patterns are with these bindings must be what was given: deduction passes over what is fixed in them.
    std::vector<TemplateArgument> wanted;
    for (const TemplateArgument& argument : patterns) {
        wanted.push_back(argument);
        wanted.back().typeSyntax = clone(arena_, argument.typeSyntax);
        wanted.back().expression = clone(arena_, argument.expression);
    }
    const auto before = diagnostics_.mark();
    Scopes::Suspended suspended = scopes_.suspend();
    enterContext(parameters.empty() ? nullptr : parameters[0]->parent);
    scopes_.open();
    pushBindings(parameters, bindings.arguments);
    const std::span<TemplateArgument> made = expandPacks(std::span<TemplateArgument>(wanted));
    std::vector<TemplateArgument> flat;
    for (const TemplateArgument& argument : actual) {
        if (!argument.isPack)
            flat.push_back(argument);
        else
            flat.insert(flat.end(), argument.pack.begin(), argument.pack.end());
    }
    bool fits = made.size() == flat.size();
    for (std::size_t i = 0; i < made.size() && fits; ++i) {
        if (flat[i].resolvedType) {
            fits = templateArgumentType(made[i], false) == flat[i].resolvedType;
        } else if (flat[i].function) {
            fits = namesFunction(made[i], flat[i].function);
        } else {
            const std::optional<std::int64_t> value = templateArgumentValue(made[i], SourceLocation{}, false);
            fits = value && *value == flat[i].value;
        }
    }
    fits = fits && diagnostics_.errorCount() == before.errors;
    while (scopes_.depth() > 0)
        scopes_.close();
    scopes_.resume(std::move(suspended));
    diagnostics_.rollBack(before);
    return fits;
}

// How much a specialisation's patterns leave open: the more is written out, the better it fits what it fits.
int Analyzer::specificity(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> patterns) const {
    const auto isOpen = [&](const Identifier* name) {
        return std::ranges::any_of(parameters, [&](const TemplateParameterDecl* one) { return one->name == name; });
    };
    int total = -static_cast<int>(parameters.size());
    const auto count = [&](auto&& self, std::span<const TemplateArgument> list) -> void {
        for (const TemplateArgument& argument : list) {
            if (argument.isExpansion) total -= 1;
            if (argument.typeSyntax) {
                const Name& name = argument.typeSyntax->name;
                total += 2 * static_cast<int>(argument.typeSyntax->modifiers.size());
                if (!isOpen(name.identifier)) total += 2;
                self(self, name.templateArguments);
            } else if (argument.expression) {
                const bool isName = argument.expression->kind == ExprKind::nameRef;
                if (!isName || !isOpen(static_cast<const NameRef*>(argument.expression)->name.identifier)) total += 2;
            }
        }
    };
    count(count, patterns);
    return total;
}
} // namespace msl
