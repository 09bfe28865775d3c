// Initialisation: what stands behind "=", in braces, and in T(...).
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {

bool Analyzer::isAggregate(TypeRef type) const {
    if (type->is(TypeKind::array)) return true;
    if (!type->is(TypeKind::struct_)) return false;
    for (const Decl* member : type->structDecl->members)
        if (member->kind == DeclKind::function) {
            const auto* function = static_cast<const FunctionDecl*>(member);
            if (function->isConstructor && !function->isDefaulted && !function->isDeleted) return false;
        }
    return true;
}

Expr* Analyzer::zeroValue(TypeRef type, SourceLocation at) {
    if (type->isScalar()) {
        if (isFloating(type->scalar)) {
            FloatLiteral* zero = arena_.make<FloatLiteral>();
            zero->location = zero->begin = at;
            zero->scalar = type->scalar;
            zero->type = type;
            return zero;
        }
        if (type->isBool()) {
            BoolLiteral* zero = arena_.make<BoolLiteral>();
            zero->location = zero->begin = at;
            zero->type = type;
            return zero;
        }
        return makeInteger(0, type, at);
    }
    Construct* node = arena_.make<Construct>();
    node->location = node->begin = at;
    node->type = type;
    node->constructKind = isAggregate(type) ? ConstructKind::aggregate : ConstructKind::zero;
    return node;
}

Expr* Analyzer::initialize(TypeRef to, Expr* initializer, Purpose purpose, SourceLocation at) {
    if (initializer->kind == ExprKind::initList && !initializer->type)
        return initializeFromList(to, static_cast<InitList*>(initializer), purpose);
    Expr* typed = expression(initializer);
    if (typed->type->isError() || to->isError()) return errorAt(initializer);
    if (to->is(TypeKind::array) && typed->type != to) {
        error(at, "array initializer must be an initializer list");
        return errorAt(initializer);
    }
    return convert(typed, to, purpose, at);
}

namespace {

constexpr std::uint64_t maxSkippedElements = 65536;

Purpose elementPurpose(TypeRef aggregate) {
    return aggregate->is(TypeKind::array) ? Purpose::arrayElement : Purpose::member;
}

} // namespace

// One member or element: from a list of its own, from one expression, or (braces left out) from as many expressions of
// the enclosing list as it needs.
Expr* Analyzer::initializeElement(TypeRef to, InitCursor& cursor, Purpose purpose) {
    Initializer& item = cursor.items[cursor.next];
    if (item.value->kind == ExprKind::initList && !item.value->type) {
        ++cursor.next;
        return initializeFromList(to, static_cast<InitList*>(item.value), purpose);
    }
    item.value = expression(item.value);
    if (item.value->type->isError()) {
        ++cursor.next;
        return errorAt(item.value);
    }
    const bool takesParts = to->is(TypeKind::array) || (to->is(TypeKind::struct_) && isAggregate(to));
    if (takesParts && item.value->type != to && rankConversion(item.value, to) == ConversionRank::none)
        return initializeAggregate(to, cursor, false, item.value->location);
    ++cursor.next;
    return convert(item.value, to, purpose, item.value->begin ? item.value->begin : item.location);
}

Expr* Analyzer::initializeAggregate(TypeRef to, InitCursor& cursor, bool ownsList, SourceLocation at) {
    Construct* node = arena_.make<Construct>();
    node->location = node->begin = at;
    node->type = to;
    node->constructKind = ConstructKind::aggregate;
    const DepthGuard guard(depth_);
    if (tooDeep(at)) return errorAt(at);
    const Purpose purpose = elementPurpose(to);
    bool hasErrors = false;
    std::vector<Expr*> parts;
    if (to->is(TypeKind::array)) {
        std::uint64_t position = 0;
        while (cursor.next < cursor.items.size()) {
            Initializer& item = cursor.items[cursor.next];
            if (cursor.isDesignated()) {
                if (!ownsList) break;
                if (item.designator) {
                    error(item.location,
                          "field designator cannot initialize a non-struct, non-union type '" + typeName(to) + "'");
                    return errorAt(at);
                }
                const std::optional<std::int64_t> index = integerConstant(item.indexDesignator, "array designator");
                if (!index) return errorAt(at);
                if (*index < 0 || static_cast<std::uint64_t>(*index) >= to->count) {
                    error(item.location, "array designator index (" + std::to_string(*index) +
                                             ") exceeds array bounds (" + std::to_string(to->count) + ")");
                    return errorAt(at);
                }
                position = static_cast<std::uint64_t>(*index);
                if (position > parts.size() + maxSkippedElements) {
                    unsupported(item.location, "an array initializer that skips so many elements");
                    return errorAt(at);
                }
            }
            if (position >= to->count) break;
            if (!limit_.step()) return errorAt(at);
            const std::size_t before = cursor.next;
            cursor.placed = before;
            Expr* part = initializeElement(to->element, cursor, purpose);
            hasErrors = hasErrors || part->type->isError();
            if (cursor.next == before) break; // an element that has no parts, or a wrong one, takes nothing
            while (parts.size() < position)
                parts.push_back(zeroValue(to->element, at));
            if (position < parts.size())
                parts[position] = part;
            else
                parts.push_back(part);
            ++position;
        }
    } else {
        const std::span<VarDecl*> fields = to->structDecl->fields;
        std::vector<Expr*> byField(fields.size(), nullptr);
        std::size_t position = 0;
        std::size_t lastSet = 0;
        while (cursor.next < cursor.items.size()) {
            Initializer& item = cursor.items[cursor.next];
            if (cursor.isDesignated() && !ownsList) break;
            if (item.designator && cursor.isDesignated()) {
                VarDecl* named = findField(to->structDecl, item.designator);
                if (!named) {
                    std::vector<std::string_view> names;
                    for (const VarDecl* candidate : fields)
                        if (candidate->name) names.push_back(candidate->name->text);
                    const std::string_view suggestion = closestOf(item.designator->text, names);
                    errorOfName(item.location,
                                "field designator '" + std::string(item.designator->text) +
                                    "' does not refer to any field in type '" + typeName(to) + "'",
                                item.designator->text, suggestion);
                    return errorAt(at);
                }
                position = named->index;
            } else if (item.indexDesignator && cursor.isDesignated()) {
                error(item.location, "array designator cannot initialize non-array type '" + typeName(to) + "'");
                return errorAt(at);
            }
            if (position >= fields.size() || (to->structDecl->isUnion && position > 0 && !cursor.isDesignated())) break;
            VarDecl* target = fields[position];
            if (!target->name && !target->type->is(TypeKind::struct_)) break; // the byte of an empty struct
            if (!target->type || target->type->isError()) return errorAt(at);
            const std::size_t before = cursor.next;
            cursor.placed = before;
            Expr* part = initializeElement(target->type, cursor, purpose);
            if (cursor.next == before && part->type->isError()) return part;
            hasErrors = hasErrors || part->type->isError();
            byField[position] = part;
            lastSet = std::max(lastSet, position + 1);
            ++position;
        }
        // A union's aggregate names its member by its position; holes take what the members say.
        for (std::size_t i = 0; i < lastSet; ++i) {
            Expr* part = byField[i];
            if (!part) part = fields[i]->initializer ? fields[i]->initializer : zeroValue(fields[i]->type, at);
            parts.push_back(part);
        }
    }
    if (ownsList && cursor.next < cursor.items.size()) {
        const Initializer& extra = cursor.items[cursor.next];
        error(extra.value->begin ? extra.value->begin : extra.location,
              to->is(TypeKind::array)   ? "excess elements in array initializer"
              : to->structDecl->isUnion ? "excess elements in union initializer"
                                        : "excess elements in struct initializer");
        return errorAt(at);
    }
    if (hasErrors) return errorAt(at);
    node->arguments = arena_.copy(parts);
    return node;
}

std::uint64_t Analyzer::countArrayElements(TypeRef element, InitList* list) {
    // How many elements "T x[] = {...}" has. With the braces of aggregate elements left out, count what they swallow.
    expandPacks(list);
    std::uint64_t highest = 0;
    std::uint64_t position = 0;
    const auto leaves = [](TypeRef type) {
        std::uint64_t count = 1;
        for (; type->is(TypeKind::array); type = type->element)
            count *= type->count;
        return type->is(TypeKind::struct_) ? count * type->record->scalarCount : count;
    };
    const std::uint64_t perElement = isAggregate(element) ? std::max<std::uint64_t>(leaves(element), 1) : 1;
    std::uint64_t loose = 0;
    for (Initializer& item : list->initializers) {
        if (item.indexDesignator) {
            const std::optional<std::int64_t> index = integerConstant(item.indexDesignator, "array designator");
            if (index && *index >= 0) position = static_cast<std::uint64_t>(*index);
        }
        bool isWhole = perElement == 1 || item.value->kind == ExprKind::initList;
        if (!isWhole) {
            item.value = expression(item.value);
            isWhole = item.value->type->isError() || rankConversion(item.value, element) != ConversionRank::none;
        }
        if (isWhole) {
            ++position;
            loose = 0;
        } else {
            if (loose == 0) ++position;
            loose = loose + 1 == perElement ? 0 : loose + 1;
        }
        highest = std::max(highest, position);
    }
    return highest;
}

Expr* Analyzer::initializeFromList(TypeRef to, InitList* list, Purpose purpose, bool isBracedConstruct) {
    if (to->isError()) return errorAt(list);
    expandPacks(list);
    if (to->is(TypeKind::reference)) {
        if (list->initializers.size() == 1)
            return bindReference(expression(list->initializers[0].value), to, purpose, list->location);
        return bindReference(list, to, purpose, list->location);
    }
    const SourceLocation at = list->begin ? list->begin : list->location;
    const std::span<Initializer> items = list->initializers;
    if (listElement(to)) return listValue(to, list, at);
    if (to->is(TypeKind::array) || to->is(TypeKind::struct_)) {
        if (!requireComplete(to, at, "initialization of")) return errorAt(list);
        if (to->is(TypeKind::struct_)) {
            const bool hasDesignator = !items.empty() && items[0].designator;
            if (!isAggregate(to) && !hasDesignator) {
                if (Expr* made = constructFromList(to, list, at)) return made;
                std::vector<Expr*> arguments;
                for (Initializer& item : items)
                    arguments.push_back(item.value->kind == ExprKind::initList ? item.value : expression(item.value));
                for (const Expr* argument : arguments)
                    if (argument->type && argument->type->isError()) return errorAt(list);
                return callConstructor(to, arena_.copy(arguments), true, nullptr, at);
            }
            if (items.size() == 1 && !hasDesignator && items[0].value->kind != ExprKind::initList) {
                items[0].value = expression(items[0].value); // {x} of the same struct is a copy
                if (items[0].value->type == to) return load(items[0].value);
            }
        }
        // array<T, N> is a struct with an array in it: "{{1, 2, 3}}" is as good as "{1, 2, 3}".
        if (to->is(TypeKind::array) && items.size() == 1 && items[0].value->kind == ExprKind::initList &&
            !items[0].indexDesignator) {
            auto* inner = static_cast<InitList*>(items[0].value);
            const TypeRef element = to->element;
            const bool isOfLists =
                !inner->initializers.empty() && inner->initializers[0].value->kind == ExprKind::initList;
            const bool isDoubled = isAggregate(element)
                                       ? element->is(TypeKind::array) && !isAggregate(element->element) && isOfLists
                                       : element->isScalar() && inner->initializers.size() > 1;
            if (isDoubled) return initializeFromList(to, inner, purpose);
        }
        InitCursor cursor{items};
        Expr* made = initializeAggregate(to, cursor, true, at);
        made->begin = at;
        return made;
    }
    if (items.empty()) return zeroValue(to, at);
    for (const Initializer& item : items)
        if (item.designator || item.indexDesignator) {
            error(item.location, "designator in initializer for scalar or vector type '" + typeName(to) + "'");
            return errorAt(list);
        }
    if (to->isVector() || to->is(TypeKind::packedVector) || to->isMatrix()) {
        std::vector<Expr*> parts;
        for (Initializer& item : items) {
            if (item.value->kind == ExprKind::initList && !item.value->type) {
                if (!to->isMatrix()) {
                    error(item.location, "excess braces in vector initializer");
                    return errorAt(list);
                }
                parts.push_back(initializeFromList(to->element, static_cast<InitList*>(item.value), purpose));
            } else {
                parts.push_back(expression(item.value));
            }
            if (parts.back()->type->isError()) return errorAt(list);
        }
        return constructType(to, arena_.copy(parts), true, nullptr, at);
    }
    if (items.size() > 1) {
        error(items[1].value->begin ? items[1].value->begin : items[1].location,
              "excess elements in scalar initializer");
        return errorAt(list);
    }
    (void)isBracedConstruct;
    return initialize(to, items[0].value, purpose, items[0].value->begin ? items[0].value->begin : at);
}

// -------------------------------------------------------------------------------------------------- T(...), T{...}

Expr* Analyzer::construct(Construct* expr) {
    TypeRef type = resolveTypeOnly(expr->typeSyntax);
    expr->arguments = expandPacks(expr->arguments);
    if (type->is(TypeKind::sampler)) return samplerValue(expr, expr->arguments);
    if (expr->isBraced) {
        // T{...}: the parser's arguments are the items of a list, or one list with designators.
        if (expr->arguments.size() == 1 && expr->arguments[0]->kind == ExprKind::initList && !expr->arguments[0]->type)
            if (auto* list = static_cast<InitList*>(expr->arguments[0]);
                !list->initializers.empty() &&
                (list->initializers[0].designator || list->initializers[0].indexDesignator))
                return type->isError() ? errorAt(expr) : initializeFromList(type, list, Purpose::variable, true);
        if (type->is(TypeKind::array) || type->is(TypeKind::struct_)) {
            InitList* list = make<InitList>(expr);
            list->initializers = arena_.makeArray<Initializer>(expr->arguments.size());
            for (std::size_t i = 0; i < expr->arguments.size(); ++i) {
                list->initializers[i].value = expr->arguments[i];
                list->initializers[i].location = expr->arguments[i]->location;
            }
            Expr* made = initializeFromList(type, list, Purpose::variable, true);
            made->begin = expr->begin;
            return made;
        }
    }
    bool hasErrors = type->isError();
    for (Expr*& argument : expr->arguments) {
        if (argument->kind == ExprKind::initList && !argument->type) {
            if (!type->is(TypeKind::struct_) && !type->isMatrix() && !type->isVector()) {
                argument = expression(argument);
            } else if (type->isMatrix() || type->isVector()) {
                argument = initializeFromList(type->isMatrix() ? type->element : type, static_cast<InitList*>(argument),
                                              Purpose::variable);
            } else {
                continue;
            }
        } else {
            argument = expression(argument);
            if (argument->type->is(TypeKind::overload)) argument = load(argument);
        }
        hasErrors = hasErrors || argument->type->isError();
    }
    if (hasErrors) {
        // The type is known even so: what is done with the value can still be checked.
        return errorAt(expr);
    }
    if (type->is(TypeKind::auto_)) {
        error(expr->location, "expected expression");
        return errorAt(expr);
    }
    return constructType(type, expr->arguments, expr->isBraced, expr, expr->begin ? expr->begin : expr->location);
}

Expr* Analyzer::constructType(TypeRef type, std::span<Expr*> arguments, bool isBraced, Construct* node,
                              SourceLocation at) {
    if (type->isError()) return errorAt(at);
    if (arguments.empty()) {
        if (type->is(TypeKind::struct_) && !isAggregate(type))
            return callConstructor(type, arguments, isBraced, node, at);
        if (type->is(TypeKind::void_)) {
            Expr* zero = makeInteger(0, types_.int_(), at);
            return makeCast(CastKind::toVoid, zero, type);
        }
        if (!requireComplete(type, at, "initialization of")) return errorAt(at);
        return zeroValue(type, at);
    }
    // "float x({1})": a list in parentheses initialises as the list alone would.
    if (!type->is(TypeKind::struct_)) {
        for (Expr* argument : arguments) {
            if (argument->type || argument->kind != ExprKind::initList) continue;
            if (arguments.size() == 1)
                return initializeFromList(type, static_cast<InitList*>(argument), Purpose::variable);
            error(argument->begin ? argument->begin : at, "expected expression");
            return errorAt(at);
        }
    }
    if (type->isVector() || type->is(TypeKind::packedVector)) return constructVector(type, arguments, node, at);
    if (type->isMatrix()) return constructMatrix(type, arguments, node, at);
    if (type->is(TypeKind::struct_)) return callConstructor(type, arguments, isBraced, node, at);
    if (arguments.size() > 1) {
        error(arguments[1]->begin ? arguments[1]->begin : at, type->is(TypeKind::array)
                                                                  ? "array initializer must be an initializer list"
                                                                  : "excess elements in scalar initializer");
        return errorAt(at);
    }
    Expr* converted = explicitConvert(arguments[0], type);
    if (!converted) converted = tryConvert(arguments[0], type);
    if (!converted) {
        error(at, "no matching conversion for functional-style cast from '" + typeName(arguments[0]->type) + "' to '" +
                      typeName(type) + "'");
        return errorAt(at);
    }
    if (converted->kind == ExprKind::intLiteral || converted->kind == ExprKind::floatLiteral) converted->begin = at;
    return converted;
}

Expr* Analyzer::constructVector(TypeRef type, std::span<Expr*> arguments, Construct* node, SourceLocation at) {
    const TypeRef vector = type->isVector() ? type : types_.vector(type->scalar, type->columns);
    if (!node) {
        node = arena_.make<Construct>();
        node->location = node->begin = at;
    }
    unsigned count = 0;
    for (Expr*& argument : arguments) {
        argument = toArithmetic(load(argument));
        if (argument->type->isError()) return errorAt(at);
        if (!argument->type->isScalar() && !argument->type->isVector()) {
            if (arguments.size() == 1) {
                if (argument->type->is(TypeKind::struct_))
                    if (Expr* converted = tryConvert(argument, vector)) return converted;
                error(at, "no matching conversion for functional-style cast from '" + typeName(argument->type) +
                              "' to '" + typeName(type) + "'");
            } else {
                error(argument->begin ? argument->begin : at, "no matching constructor for initialization of '" +
                                                                  typeName(type) + "': a part of type '" +
                                                                  typeName(argument->type) + "' does not fit");
            }
            return errorAt(at);
        }
        count += argument->type->columns;
    }
    Expr* made = nullptr;
    if (arguments.size() == 1 && arguments[0]->type->isScalar()) {
        Expr* scalar = explicitConvert(arguments[0], vector->element);
        node->constructKind = ConstructKind::splat;
        node->arguments = arguments;
        node->arguments[0] = scalar;
        node->type = vector;
        made = node;
    } else if (arguments.size() == 1 && arguments[0]->type->columns == vector->columns) {
        made = explicitConvert(arguments[0], vector);
    } else if (arguments.size() == 1) {
        error(at, "no matching conversion for functional-style cast from '" + typeName(arguments[0]->type) + "' to '" +
                      typeName(type) + "'");
        return errorAt(at);
    } else if (count != vector->columns) {
        error(at, std::string(count < vector->columns ? "too few" : "too many") +
                      " elements in vector initialization (expected " + std::to_string(vector->columns) +
                      " elements, have " + std::to_string(count) + ")");
        return errorAt(at);
    } else {
        for (Expr*& argument : arguments)
            argument = explicitConvert(argument, types_.vector(vector->scalar, argument->type->columns));
        node->constructKind = ConstructKind::components;
        node->arguments = arguments;
        node->type = vector;
        made = node;
    }
    return type == vector ? made : makeCast(CastKind::vectorToPacked, made, type);
}

Expr* Analyzer::constructMatrix(TypeRef type, std::span<Expr*> arguments, Construct* node, SourceLocation at) {
    if (!node) {
        node = arena_.make<Construct>();
        node->location = node->begin = at;
    }
    if (arguments.size() == 1 && arguments[0]->type->is(TypeKind::struct_))
        if (Expr* converted = tryConvert(arguments[0], type)) return converted;
    bool allScalars = true;
    bool allColumns = true;
    for (Expr*& argument : arguments) {
        argument = toArithmetic(load(argument));
        if (argument->type->isError()) return errorAt(at);
        allScalars = allScalars && argument->type->isScalar();
        allColumns = allColumns && argument->type->isVector() && argument->type->columns == type->rows;
    }
    node->arguments = arguments;
    node->type = type;
    if (arguments.size() == 1 && arguments[0]->type->isMatrix()) {
        if (arguments[0]->type == type) return arguments[0];
        if (Expr* converted = explicitConvert(arguments[0], type)) return converted;
    } else if (arguments.size() == 1 && allScalars) {
        arguments[0] = explicitConvert(arguments[0], types_.scalar(type->scalar));
        node->constructKind = ConstructKind::splat;
        return node;
    } else if (allScalars && arguments.size() == type->componentCount()) {
        for (Expr*& argument : arguments)
            argument = explicitConvert(argument, types_.scalar(type->scalar));
        node->constructKind = ConstructKind::scalars;
        return node;
    } else if (allColumns && arguments.size() == type->columns) {
        for (Expr*& argument : arguments)
            argument = explicitConvert(argument, type->element);
        node->constructKind = ConstructKind::columns;
        return node;
    }
    if (arguments.size() == 1)
        error(at, "no matching conversion for functional-style cast from '" + typeName(arguments[0]->type) + "' to '" +
                      typeName(type) + "'");
    else
        error(at, "no matching constructor for initialization of '" + typeName(type) + "': it takes " +
                      std::to_string(type->columns) + " columns of type '" + typeName(type->element) + "' or " +
                      std::to_string(type->componentCount()) + " scalars");
    return errorAt(at);
}

Expr* Analyzer::callConstructor(TypeRef type, std::span<Expr*> arguments, bool isBraced, Construct* node,
                                SourceLocation at) {
    if (!requireComplete(type, at, "initialization of")) return errorAt(at);
    if (arguments.size() == 1 && arguments[0]->kind != ExprKind::initList && arguments[0]->type == type)
        return load(arguments[0]);
    if (arguments.size() == 1 && arguments[0]->kind != ExprKind::initList && derivesFrom(arguments[0]->type, type))
        return load(toBase(arguments[0], type));
    const std::span<FunctionDecl*> constructors = constructorsOf(type->structDecl);
    if (constructors.empty()) {
        if (arguments.size() == 1 && arguments[0]->kind == ExprKind::initList) // S({a, b}): a copy of S{a, b}
            return initializeFromList(type, static_cast<InitList*>(arguments[0]), Purpose::variable, true);
        if (arguments.size() == 1) {
            if (arguments[0]->type->is(TypeKind::struct_))
                if (Expr* converted = tryConvert(arguments[0], type)) return converted;
            error(at, "no matching conversion for functional-style cast from '" + typeName(arguments[0]->type) +
                          "' to '" + typeName(type) + "'");
        } else {
            error(at, "no matching constructor for initialization of '" + typeName(type) + "'; use '" + typeName(type) +
                          "{...}' to initialize its members");
        }
        return errorAt(at);
    }
    std::vector<Candidate> candidates;
    for (FunctionDecl* constructor : constructors)
        candidates.push_back(consider(constructor, arguments, {}));
    bool isAmbiguous = false;
    const Candidate* chosen = best(candidates, arguments, &isAmbiguous);
    if (!chosen) {
        reportNoMatch(at, "no matching constructor for initialization of", typeName(type), candidates, arguments);
        return errorAt(at);
    }
    if (isAmbiguous) {
        error(at, "call to constructor of '" + typeName(type) + "' is ambiguous");
        for (const Candidate& candidate : candidates)
            if (candidate.isViable) note(candidate.function->location, "candidate constructor");
        return errorAt(at);
    }
    (void)isBraced;
    if (chosen->function->isDeleted) {
        error(at, "call to deleted constructor of '" + typeName(type) + "'");
        note(chosen->function->location, "'" + typeName(type) + "' has been explicitly marked deleted here");
        return errorAt(at);
    }
    if (chosen->function->isDefaulted && arguments.empty()) { // the members' own initialisers
        Construct* made = arena_.make<Construct>();
        made->location = made->begin = at;
        made->type = type;
        made->constructKind = ConstructKind::aggregate;
        return made;
    }
    if (!node) {
        node = arena_.make<Construct>();
        node->location = node->begin = at;
    }
    Call* call = arena_.make<Call>();
    call->location = at;
    call->begin = at;
    call->arguments = arguments;
    Expr* finished = finishCall(call, chosen->function);
    if (finished->type->isError()) return finished;
    node->arguments = call->arguments;
    node->constructor = chosen->function;
    node->constructKind = ConstructKind::constructor;
    node->type = type;
    return node;
}

} // namespace msl
