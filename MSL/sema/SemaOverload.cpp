// Which of several functions a call means: C++'s ranking of conversions, over the user's functions and the library's
// in one set.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {
namespace {

// Which atomic operations exist for which type of value.
bool admitsAtomic(BuiltinId id, ScalarKind kind) {
    switch (id) {
    case BuiltinId::atomicMax:
    case BuiltinId::atomicMin: return kind == ScalarKind::ulong;
    case BuiltinId::atomicLoad:
    case BuiltinId::atomicStore:
    case BuiltinId::atomicExchange:
    case BuiltinId::atomicCompareExchangeWeak: return kind != ScalarKind::ulong;
    case BuiltinId::atomicFetchAdd:
    case BuiltinId::atomicFetchSub:
        return kind == ScalarKind::int_ || kind == ScalarKind::uint || kind == ScalarKind::float_;
    default: return kind == ScalarKind::int_ || kind == ScalarKind::uint;
    }
}

} // namespace

Candidate Analyzer::consider(FunctionDecl* function, std::span<Expr*> arguments,
                             std::span<TemplateArgument> explicitArguments) {
    Candidate candidate;
    candidate.function = function;
    // A text can have many overloads of one name, and every call looks at all of them.
    limit_.step(function->templateParameters.empty() ? 8 : 24);
    if (!function->templateParameters.empty()) {
        FunctionDecl* instance = instantiate(function, explicitArguments, arguments);
        if (!instance) {
            candidate.failure = Candidate::Failure::deduction;
            return candidate;
        }
        candidate.function = function = instance;
    }
    const std::size_t count = function->parameters.size();
    if (arguments.size() > count ||
        (arguments.size() < count && !function->parameters[arguments.size()]->initializer)) {
        candidate.failure = Candidate::Failure::argumentCount;
        return candidate;
    }
    candidate.ranks = arena_.makeArray<ConversionRank>(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const TypeRef parameter = function->parameters[i]->type;
        candidate.ranks[i] =
            parameter && !parameter->isError() ? rankArgument(arguments[i], parameter) : ConversionRank::exact;
        if (candidate.ranks[i] == ConversionRank::none) {
            candidate.failure = Candidate::Failure::conversion;
            candidate.failedArgument = static_cast<unsigned>(i);
            return candidate;
        }
    }
    candidate.isViable = true;
    return candidate;
}

// What T is for these arguments; null when none fits. Vectors decide; scalars meet in their common type, and an integer
// given to a function on floating-point numbers becomes a float.
TypeRef Analyzer::deduceBuiltin(const BuiltinFunction& builtin, std::span<Expr*> arguments, bool* isAmbiguous) {
    const BuiltinSignature& signature = *builtin.signature;
    TypeRef wide = nullptr;    // the vector or matrix type among the T arguments
    TypeRef scalar = nullptr;  // the common type of the scalar ones
    unsigned otherColumns = 0; // the shape of what only follows T's shape
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const BuiltinSlot slot = signature.parameters[i];
        const bool isT = slot == BuiltinSlot::t || slot == BuiltinSlot::threadT;
        const bool followsShape =
            slot == BuiltinSlot::boolOfT || slot == BuiltinSlot::intOfT || slot == BuiltinSlot::threadIntOfT;
        if (slot == BuiltinSlot::atomicPointer) {
            if (arguments[i]->kind == ExprKind::initList || !arguments[i]->type->is(TypeKind::pointer)) return nullptr;
            const TypeRef type = arguments[i]->type->element;
            return type->is(TypeKind::atomic) && admitsAtomic(builtin.id, type->scalar) ? types_.scalar(type->scalar)
                                                                                        : nullptr;
        }
        if (!isT && !followsShape) continue;
        if (arguments[i]->kind == ExprKind::initList) return nullptr;
        TypeRef type = arguments[i]->type;
        if (type->is(TypeKind::packedVector)) type = types_.vector(type->scalar, type->columns);
        if (type->is(TypeKind::enum_) && !type->enumDecl->isScoped) type = type->element;
        if (!type->isNumeric()) return nullptr;
        if (followsShape) {
            if (type->isVector()) otherColumns = type->columns;
            continue;
        }
        if (type->isScalar()) {
            if (!scalar)
                scalar = type;
            else if (scalar != type)
                scalar = commonScalar(scalar, type);
            if (!scalar) return nullptr;
        } else if (!wide) {
            wide = type;
        } else if (wide != type) {
            return nullptr;
        }
    }
    if (wide) {
        if (!admitsKind(signature.typeClass, wide->scalar)) return nullptr;
        if (!admitsShape(signature.shape, wide)) return nullptr;
        return wide;
    }
    if (!scalar) return nullptr;
    ScalarKind kind = scalar->scalar;
    if (!admitsKind(signature.typeClass, kind)) {
        switch (signature.typeClass) {
        case BuiltinClass::floating: kind = ScalarKind::float_; break;
        case BuiltinClass::boolean: kind = ScalarKind::bool_; break;
        case BuiltinClass::arithmetic: kind = ScalarKind::int_; break; // bool
        case BuiltinClass::integer:
        case BuiltinClass::integer32:
            if (isFloating(kind) || byteSize(kind) == 8) return nullptr;
            kind = ScalarKind::int_;
            break;
        default: return nullptr;
        }
    }
    TypeRef type = types_.vector(kind, otherColumns > 1 ? otherColumns : 1);
    if (!admitsShape(signature.shape, type)) {
        // length(1.0): one scalar would do for a vector of any size.
        if (isAmbiguous) *isAmbiguous = signature.shape == BuiltinShape::vector;
        return nullptr;
    }
    return type;
}

Candidate Analyzer::considerBuiltin(const BuiltinFunction& builtin, std::span<Expr*> arguments) {
    Candidate candidate;
    candidate.builtin = &builtin;
    const BuiltinSignature& signature = *builtin.signature;
    if (arguments.size() > signature.parameterCount || arguments.size() < signature.requiredCount) {
        candidate.failure = Candidate::Failure::argumentCount;
        return candidate;
    }
    TypeRef t = nullptr;
    if (signature.typeClass != BuiltinClass::none) {
        t = deduceBuiltin(builtin, arguments, &candidate.isAmbiguousBuiltin);
        if (!t) {
            candidate.failure = Candidate::Failure::conversion;
            return candidate;
        }
    }
    candidate.builtinType = t;
    candidate.ranks = arena_.makeArray<ConversionRank>(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const BuiltinSlot slot = signature.parameters[i];
        const TypeRef type = slotType(types_, slot, t);
        ConversionRank& rank = candidate.ranks[i];
        if (slot == BuiltinSlot::atomicPointer) {
            const TypeRef pointer = arguments[i]->type;
            const bool isShared = pointer->is(TypeKind::pointer) && (pointer->space == AddressSpace::device ||
                                                                     pointer->space == AddressSpace::threadgroup);
            rank = isShared && (!pointer->pointeeConst || builtin.id == BuiltinId::atomicLoad) ? ConversionRank::exact
                                                                                               : ConversionRank::none;
        } else if (isReferenceSlot(slot)) {
            TypeRef reference = types_.reference(type, AddressSpace::thread, false);
            rank = rankArgument(arguments[i], reference);
            // The atomic functions take a pointer where the others take a reference.
            if (rank == ConversionRank::none && arguments[i]->kind != ExprKind::initList &&
                arguments[i]->type->is(TypeKind::pointer) && arguments[i]->type->element == type &&
                signature.typeClass == BuiltinClass::atomic)
                rank = ConversionRank::exact;
        } else {
            rank = rankConversion(arguments[i], type);
        }
        if (rank == ConversionRank::none) {
            candidate.failure = Candidate::Failure::conversion;
            candidate.failedArgument = static_cast<unsigned>(i);
            return candidate;
        }
    }
    candidate.isViable = true;
    return candidate;
}

int Analyzer::compare(const Candidate& a, const Candidate& b, std::span<Expr*> arguments) const {
    bool aBetter = false;
    bool bBetter = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        aBetter = aBetter || a.ranks[i] < b.ranks[i];
        bBetter = bBetter || b.ranks[i] < a.ranks[i];
    }
    if (aBetter != bBetter) return aBetter ? -1 : 1;
    if (aBetter) return 0;
    // As good in every argument: the user's before the library's, a plain function before a template.
    if ((a.builtin != nullptr) != (b.builtin != nullptr)) return a.builtin ? 1 : -1;
    if (a.function && b.function) {
        const bool aIsInstance = a.function->instanceOf != nullptr;
        const bool bIsInstance = b.function->instanceOf != nullptr;
        if (aIsInstance != bIsInstance) return aIsInstance ? 1 : -1;
        if (aIsInstance) { // the template that leaves less open is the more specialised one
            const std::size_t aOpen = a.function->instanceOf->templateParameters.size();
            const std::size_t bOpen = b.function->instanceOf->templateParameters.size();
            const auto modifiers = [](const FunctionDecl* function) {
                std::size_t total = 0;
                for (const VarDecl* parameter : function->instanceOf->parameters)
                    if (parameter->typeSyntax)
                        total += parameter->typeSyntax->modifiers.size() +
                                 (parameter->typeSyntax->name.hasTemplateArguments ? 1 : 0);
                return total;
            };
            if (modifiers(a.function) != modifiers(b.function))
                return modifiers(a.function) > modifiers(b.function) ? -1 : 1;
            if (aOpen != bOpen) return aOpen < bOpen ? -1 : 1;
        }
    }
    return 0;
}

const Candidate* Analyzer::best(std::span<Candidate> candidates, std::span<Expr*> arguments, bool* isAmbiguous) const {
    const Candidate* chosen = nullptr;
    for (const Candidate& candidate : candidates)
        if (candidate.isViable && (!chosen || compare(candidate, *chosen, arguments) < 0)) chosen = &candidate;
    if (!chosen) return nullptr;
    for (const Candidate& candidate : candidates)
        if (&candidate != chosen && candidate.isViable && compare(*chosen, candidate, arguments) >= 0 &&
            candidate.function != chosen->function)
            *isAmbiguous = true;
    return chosen;
}

const Candidate* Analyzer::bestMethod(std::vector<Candidate>& candidates, std::span<Expr*> arguments,
                                      AddressSpace space, bool isConst, bool* isAmbiguous) const {
    const auto spaceOfThis = [](const FunctionDecl* function) -> std::optional<AddressSpace> {
        switch (function->thisSpace) {
        case SpaceSyntax::thread: return AddressSpace::thread;
        case SpaceSyntax::constant: return AddressSpace::constant;
        case SpaceSyntax::device: return AddressSpace::device;
        case SpaceSyntax::threadgroup: return AddressSpace::threadgroup;
        case SpaceSyntax::none: break;
        }
        return std::nullopt;
    };
    const auto hasObject = [](const Candidate& candidate) {
        return candidate.function && candidate.function->owner && !candidate.function->isStatic &&
               !candidate.function->isConstructor;
    };
    for (Candidate& candidate : candidates) {
        if (!candidate.isViable || !hasObject(candidate)) continue;
        const std::optional<AddressSpace> wanted = spaceOfThis(candidate.function);
        if ((isConst && !candidate.function->isConstMember) || (wanted && *wanted != space)) {
            candidate.isViable = false;
            candidate.failure = Candidate::Failure::object;
        }
    }
    const Candidate* chosen = best(candidates, arguments, isAmbiguous);
    if (!chosen || !*isAmbiguous) return chosen;
    // f(), f() const, f() device ...: the one made for such an object.
    const auto suits = [&](const Candidate& candidate) {
        if (!hasObject(candidate)) return 0;
        return (spaceOfThis(candidate.function) ? 2 : 0) + (candidate.function->isConstMember == isConst ? 1 : 0);
    };
    int most = 0;
    for (const Candidate& candidate : candidates)
        if (candidate.isViable) most = std::max(most, suits(candidate));
    for (Candidate& candidate : candidates)
        if (candidate.isViable && suits(candidate) < most) candidate.isViable = false;
    *isAmbiguous = false;
    return best(candidates, arguments, isAmbiguous);
}

namespace {

std::string ordinal(unsigned number) {
    const unsigned last = number % 10;
    const bool isTeen = number / 10 % 10 == 1;
    const std::string_view suffix = isTeen ? "th" : last == 1 ? "st" : last == 2 ? "nd" : last == 3 ? "rd" : "th";
    return std::to_string(number) + std::string(suffix);
}

std::string countPhrase(std::size_t least, std::size_t most, std::size_t given) {
    std::string text = "requires ";
    if (least != most) text += given < least ? "at least " : "at most ";
    const std::size_t wanted = given < least ? least : most;
    text += wanted == 0 ? "no" : std::to_string(wanted);
    text += wanted == 1 ? " argument, but " : " arguments, but ";
    text += given == 0 ? "none" : std::to_string(given);
    return text + (given == 1 ? " was provided" : " were provided");
}

} // namespace

// The form of the library's function that the arguments come closest to, and what keeps them from fitting.
void Analyzer::noteBuiltin(const BuiltinFunction& builtin, std::span<Expr*> arguments, SourceLocation at) {
    const BuiltinSignature& signature = *builtin.signature;
    TypeRef guess = nullptr;
    for (std::size_t i = 0; i < arguments.size() && i < signature.parameterCount; ++i) {
        if (signature.parameters[i] != BuiltinSlot::t || arguments[i]->kind == ExprKind::initList) continue;
        const TypeRef type = arguments[i]->type;
        const bool fits =
            type->isNumeric() && admitsKind(signature.typeClass, type->scalar) && admitsShape(signature.shape, type);
        if (fits && (!guess || type->componentCount() > guess->componentCount())) guess = type;
    }
    if (!guess) {
        const ScalarKind kind = signature.typeClass == BuiltinClass::boolean ? ScalarKind::bool_
                                : signature.typeClass == BuiltinClass::integer ||
                                        signature.typeClass == BuiltinClass::integer32 ||
                                        signature.typeClass == BuiltinClass::atomic
                                    ? ScalarKind::int_
                                    : ScalarKind::float_;
        switch (signature.shape) {
        case BuiltinShape::scalarOrVector:
        case BuiltinShape::scalar: guess = types_.scalar(kind); break;
        case BuiltinShape::vector:
        case BuiltinShape::vector3: guess = types_.vector(kind, 3); break;
        case BuiltinShape::matrix:
        case BuiltinShape::squareMatrix: guess = types_.matrix(ScalarKind::float_, 3, 3); break;
        }
    }
    std::string text = "candidate function '" + signatureText(types_, builtin, guess) + "'";
    if (arguments.size() < signature.requiredCount || arguments.size() > signature.parameterCount) {
        note(at,
             text + " not viable: " + countPhrase(signature.requiredCount, signature.parameterCount, arguments.size()));
        return;
    }
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const BuiltinSlot slot = signature.parameters[i];
        if (arguments[i]->kind == ExprKind::initList || slot == BuiltinSlot::atomicPointer) continue;
        const TypeRef type = slotType(types_, slot, guess);
        const std::string which = ordinal(static_cast<unsigned>(i) + 1) + " argument";
        if (isReferenceSlot(slot)) {
            if (arguments[i]->category == ValueCategory::rvalue || arguments[i]->type == type) {
                note(at, text + " not viable: expects a variable for " + which);
                return;
            }
            if (arguments[i]->type == type) continue;
        } else if (rankConversion(arguments[i], type) != ConversionRank::none) {
            continue;
        }
        note(at, text + " not viable: no known conversion from '" + typeName(arguments[i]->type) + "' to '" +
                     typeName(type) + "' for " + which);
        return;
    }
    const std::string what = describeTypeParameter(signature);
    note(at, what.empty() ? text : text + "; it takes any " + what.substr(what.find(' ') + 1));
}

void Analyzer::noteCandidate(const Candidate& candidate, std::span<Expr*> arguments, SourceLocation at) {
    if (candidate.builtin) {
        noteBuiltin(*candidate.builtin, arguments, at);
        return;
    }
    const FunctionDecl* function = candidate.function;
    const SourceLocation where = function->location ? function->location : at;
    const std::string_view kind = function->isConstructor ? "candidate constructor"
                                  : !function->templateParameters.empty() || function->instanceOf
                                      ? "candidate template"
                                      : "candidate function";
    switch (candidate.failure) {
    case Candidate::Failure::none: note(where, std::string(kind)); return;
    case Candidate::Failure::argumentCount: {
        std::size_t least = 0;
        while (least < function->parameters.size() && !function->parameters[least]->initializer)
            ++least;
        note(where,
             std::string(kind) + " not viable: " + countPhrase(least, function->parameters.size(), arguments.size()));
        return;
    }
    case Candidate::Failure::deduction:
        note(where, "candidate template ignored: its template arguments could not be deduced");
        return;
    case Candidate::Failure::object:
        note(where, function->isConstMember
                        ? "candidate function not viable: 'this' argument lies in another address space"
                        : "candidate function not viable: 'this' argument is const or lies in another "
                          "address space");
        return;
    case Candidate::Failure::conversion: break;
    }
    const unsigned i = candidate.failedArgument;
    const Expr* argument = arguments[i];
    const TypeRef parameter = function->parameters[i]->type;
    const std::string which = ordinal(i + 1) + " argument";
    if (argument->kind == ExprKind::initList) {
        note(where, std::string(kind) + " not viable: cannot convert initializer list argument to '" +
                        typeName(parameter) + "'");
        return;
    }
    if (parameter->is(TypeKind::reference) && argument->type == parameter->element) {
        if (argument->category == ValueCategory::rvalue) {
            note(where, std::string(kind) + " not viable: expects an lvalue for " + which);
            return;
        }
        if (argument->space != parameter->space) {
            note(where, std::string(kind) + " not viable: cannot bind reference in " +
                            std::string(spaceName(parameter->space)) + " address space to object in " +
                            std::string(spaceName(argument->space)) + " address space in " + which);
            return;
        }
        note(where, std::string(kind) + " not viable: " + which + " ('const " + typeName(argument->type) +
                        "') would lose const qualifier");
        return;
    }
    note(where, std::string(kind) + " not viable: no known conversion from '" + typeName(argument->type) + "' to '" +
                    typeName(parameter) + "' for " + which);
}

void Analyzer::reportNoMatch(SourceLocation at, std::string_view what, std::string_view name,
                             std::span<Candidate> candidates, std::span<Expr*> arguments) {
    error(at, std::string(what) + " '" + std::string(name) + "'");
    constexpr std::size_t mostNotes = 6;
    std::size_t notes = 0;
    for (const Candidate& candidate : candidates)
        if (++notes <= mostNotes) noteCandidate(candidate, arguments, at);
}

} // namespace msl
