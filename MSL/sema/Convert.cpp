// Implicit and explicit conversions: how good they are, and the nodes that make them.
#include "MSL/sema/Analyzer.h"

#include <cmath>
#include <cstdio>

namespace msl {

Expr* Analyzer::makeCast(CastKind kind, Expr* operand, TypeRef to) {
    ImplicitCast* node = make<ImplicitCast>(operand);
    node->castKind = kind;
    node->operand = operand;
    node->type = to;
    return node;
}

Expr* Analyzer::load(Expr* typed) {
    if (typed->type->is(TypeKind::overload)) {
        error(typed->location, "reference to overloaded function could not be resolved; did you mean to call it?");
        return errorAt(typed);
    }
    if (typed->category == ValueCategory::rvalue || typed->type->isError()) return typed;
    if (typed->kind == ExprKind::conditional) { // read: one of two values
        auto* choice = static_cast<Conditional*>(typed);
        choice->whenTrue = load(choice->whenTrue);
        choice->whenFalse = load(choice->whenFalse);
        choice->category = ValueCategory::rvalue;
        return choice;
    }
    return makeCast(CastKind::lvalueToRvalue, typed, typed->type);
}

namespace {

bool isNullLiteral(const Expr* expr) {
    if (expr->kind != ExprKind::intLiteral) return false;
    const auto* literal = static_cast<const IntLiteral*>(expr);
    return literal->isNullptr || (literal->value == 0 && !literal->isCharacter);
}

bool isUnscopedEnum(TypeRef type) {
    return type->is(TypeKind::enum_) && !type->enumDecl->isScoped;
}

} // namespace

ConversionRank Analyzer::rankTypes(TypeRef from, TypeRef to) {
    using Rank = ConversionRank;
    if (from == to || from->isError() || to->isError()) return Rank::exact;
    switch (from->kind) {
    case TypeKind::scalar:
        if (to->isScalar()) {
            if (isInteger(from->scalar) && from->scalar < ScalarKind::int_ && to->scalar == ScalarKind::int_)
                return Rank::promotion;
            return convertsUnasked(from->scalar, to->scalar) ? Rank::conversion : Rank::none;
        }
        if (to->isVector() || to->is(TypeKind::packedVector))
            return convertsUnasked(from->scalar, to->scalar) ? Rank::splat : Rank::none;
        return Rank::none;
    case TypeKind::vector:
        return to->is(TypeKind::packedVector) && to->scalar == from->scalar && to->columns == from->columns
                   ? Rank::promotion
                   : Rank::none;
    case TypeKind::packedVector:
        return to->isVector() && to->scalar == from->scalar && to->columns == from->columns ? Rank::promotion
                                                                                            : Rank::none;
    case TypeKind::enum_:
        if (!isUnscopedEnum(from)) return Rank::none;
        if (to->isScalar()) return to == from->element ? Rank::promotion : Rank::conversion;
        return to->isVector() ? Rank::splat : Rank::none;
    case TypeKind::pointer:
        if (to->is(TypeKind::pointer) && to->element == from->element && to->space == from->space)
            return to->pointeeConst || !from->pointeeConst ? Rank::qualification : Rank::none;
        if (to->is(TypeKind::pointer) && to->space == from->space && (to->pointeeConst || !from->pointeeConst) &&
            (derivesFrom(from->element, to->element) || to->element->is(TypeKind::void_)))
            return Rank::conversion;
        return to->isBool() ? Rank::conversion : Rank::none;
    default: return Rank::none;
    }
}

ConversionRank Analyzer::rankConversion(Expr* from, TypeRef to) {
    using Rank = ConversionRank;
    if (from->kind == ExprKind::initList) {
        auto* list = static_cast<InitList*>(from);
        if (const TypeRef element = listElement(to)) return rankList(list, element);
        if (to->isScalar() || to->is(TypeKind::enum_))
            return list->initializers.size() <= 1 ? Rank::conversion : Rank::none;
        if (to->isVector()) return list->initializers.size() <= to->columns ? Rank::userDefined : Rank::none;
        return to->isMatrix() || to->is(TypeKind::struct_) || to->is(TypeKind::array) ? Rank::userDefined : Rank::none;
    }
    const TypeRef type = from->type;
    if (type->is(TypeKind::overload) || type->is(TypeKind::void_)) return Rank::none;
    if (to->is(TypeKind::pointer)) {
        if (type->is(TypeKind::array) && from->category == ValueCategory::lvalue && type->element == to->element &&
            from->space == to->space)
            return to->pointeeConst ? (from->isConst ? Rank::exact : Rank::qualification)
                                    : (from->isConst ? Rank::none : Rank::exact);
        if (type->is(TypeKind::array) && from->category == ValueCategory::lvalue && to->element->is(TypeKind::void_) &&
            from->space == to->space && (to->pointeeConst || !from->isConst))
            return Rank::conversion;
        if (isNullLiteral(from)) return Rank::conversion;
    }
    // An array_ref refers to an array of any length.
    if (to->is(TypeKind::array) && to->count == 0 && type->is(TypeKind::array) && type->element == to->element)
        return type == to ? Rank::exact : Rank::conversion;
    const Rank rank = rankTypes(type, to);
    if (rank != Rank::none) return rank;
    if (derivesFrom(type, to)) return Rank::conversion;
    if (to->is(TypeKind::struct_)) {
        for (const FunctionDecl* constructor : constructorsOf(to->structDecl)) {
            if (constructor->parameters.empty() || !constructor->templateParameters.empty()) continue;
            if (constructor->parameters.size() > 1 && !constructor->parameters[1]->initializer) continue;
            TypeRef parameter = constructor->parameters[0]->type;
            if (parameter && parameter->is(TypeKind::reference)) parameter = parameter->element;
            if (parameter && !parameter->is(TypeKind::struct_) && rankTypes(type, parameter) != Rank::none)
                return Rank::userDefined;
        }
    }
    if (conversionFunction(from, to)) return Rank::userDefined;
    return Rank::none;
}

// The conversion operator of the object that gives the type, or what converts to it; null when there is none.
FunctionDecl* Analyzer::conversionFunction(const Expr* object, TypeRef to) {
    if (!object->type->is(TypeKind::struct_)) return nullptr;
    const AddressSpace space = object->category == ValueCategory::lvalue ? object->space : AddressSpace::thread;
    FunctionDecl* found = nullptr;
    FunctionDecl* pattern = nullptr;
    for (Decl* member : object->type->structDecl->members) {
        if (member->kind != DeclKind::function || !limit_.step()) continue;
        auto* function = static_cast<FunctionDecl*>(member);
        if (!function->isConversion) continue;
        const SpaceSyntax wanted = function->thisSpace;
        const bool fits = wanted == SpaceSyntax::none ||
                          (wanted == SpaceSyntax::thread && space == AddressSpace::thread) ||
                          (wanted == SpaceSyntax::constant && space == AddressSpace::constant) ||
                          (wanted == SpaceSyntax::device && space == AddressSpace::device) ||
                          (wanted == SpaceSyntax::threadgroup && space == AddressSpace::threadgroup);
        if (!fits) continue;
        if (!function->templateParameters.empty()) {
            pattern = function;
            continue;
        }
        if (!function->returnType || rankTypes(function->returnType, to) == ConversionRank::none) continue;
        if (function->returnType == to) return function;
        if (!found) found = function;
    }
    if (found || !pattern || to->is(TypeKind::void_) || to->is(TypeKind::reference)) return found;
    // template <typename T> operator T()
    const TypeSyntax* result = pattern->returnTypeSyntax;
    if (pattern->templateParameters.size() != 1 || !pattern->templateParameters[0]->isType || !result) return nullptr;
    Bindings bindings = makeBindings(pattern->templateParameters);
    const auto before = diagnostics_.mark();
    if (!deduce(result, to, bindings) || !bindings.isBound[0]) return nullptr;
    FunctionDecl* instance = instanceWith(pattern, bindings.arguments);
    if (!instance || instance->isInvalid || instance->returnType != to) {
        diagnostics_.rollBack(before);
        return nullptr;
    }
    return instance;
}

ConversionRank Analyzer::rankArgument(Expr* argument, TypeRef parameterType) {
    using Rank = ConversionRank;
    if (!parameterType->is(TypeKind::reference)) return rankConversion(argument, parameterType);
    const TypeRef referee = parameterType->element;
    const bool isLvalue = argument->kind != ExprKind::initList && argument->category == ValueCategory::lvalue;
    if (isLvalue && (argument->type == referee || derivesFrom(argument->type, referee))) {
        const bool sameSpace = argument->space == parameterType->space;
        const bool isBase = argument->type != referee;
        if (!parameterType->pointeeConst)
            return sameSpace && !argument->isConst ? (isBase ? Rank::conversion : Rank::exact) : Rank::none;
        if (isBase && sameSpace) return Rank::conversion;
        if (sameSpace)
            return argument->isConst || parameterType->space == AddressSpace::constant ? Rank::exact
                                                                                       : Rank::qualification;
        return parameterType->space == AddressSpace::thread ? Rank::conversion : Rank::none;
    }
    if (argument->kind != ExprKind::initList && argument->type->isError()) return Rank::exact;
    if (parameterType->pointeeConst && parameterType->space == AddressSpace::thread)
        return rankConversion(argument, referee);
    return Rank::none;
}

namespace {

std::string_view spaceWords(AddressSpace space) {
    return spaceName(space);
}

} // namespace

void Analyzer::reportConversion(Expr* from, TypeRef to, Purpose purpose, SourceLocation at) {
    const TypeRef type = from->type;
    if (type->isError() || to->isError()) return;
    if (type->is(TypeKind::overload)) {
        load(from);
        return;
    }
    const std::string target = "'" + typeName(to) + "'";
    const std::string source = "'" + typeName(type) + "'";
    const std::string_view valueWord = from->category == ValueCategory::lvalue ? "an lvalue" : "an rvalue";
    const bool hasClass = type->is(TypeKind::struct_) || to->is(TypeKind::struct_);
    if (purpose == Purpose::assignment) {
        error(at, "assigning to " + target + " from incompatible type " + source);
        return;
    }
    if (purpose == Purpose::condition) {
        error(at, "value of type " + source + " is not contextually convertible to 'bool'");
        return;
    }
    if (hasClass) {
        if (purpose == Purpose::returnValue)
            error(at,
                  "no viable conversion from returned value of type " + source + " to function return type " + target);
        else
            error(at, "no viable conversion from " + source + " to " + target);
        return;
    }
    std::string_view what = "a variable";
    switch (purpose) {
    case Purpose::parameter: what = "a parameter"; break;
    case Purpose::returnValue: what = "return object"; break;
    case Purpose::member: what = "a member subobject"; break;
    case Purpose::arrayElement: what = "an array element"; break;
    default: break;
    }
    error(at, "cannot initialize " + std::string(what) + " of type " + target + " with " + std::string(valueWord) +
                  " of type " + source);
}

Expr* Analyzer::tryConvert(Expr* from, TypeRef to) {
    const TypeRef type = from->type;
    if (type == to) return load(from);
    if (type->isError() || to->isError()) return errorAt(from);
    if (from->kind != ExprKind::initList && derivesFrom(type, to)) return load(toBase(from, to));
    switch (rankConversion(from, to)) {
    case ConversionRank::none: return nullptr;
    case ConversionRank::userDefined: {
        if (to->is(TypeKind::struct_) && !constructorsOf(to->structDecl).empty()) {
            Expr* only[] = {from};
            return callConstructor(to, arena_.copy(std::span<Expr* const>(only)), false, nullptr, from->location);
        }
        if (FunctionDecl* function = conversionFunction(from, to)) {
            Call* node = make<Call>(from);
            node->function = function;
            node->object = from;
            node->type = function->returnType;
            function->isReferenced = true;
            if (function->instanceOf && function->body && !function->isResolved) pendingBodies_.push_back(function);
            return tryConvert(node, to);
        }
        return nullptr;
    }
    default: break;
    }
    if (to->is(TypeKind::array) && to->count == 0) return makeCast(CastKind::none, load(from), to); // an array_ref
    if (to->is(TypeKind::pointer)) {
        if (to->element->is(TypeKind::void_) && (type->is(TypeKind::pointer) || type->is(TypeKind::array))) {
            const TypeRef plain = types_.pointer(type->element, to->space, to->pointeeConst);
            Expr* pointer = type->is(TypeKind::array) ? makeCast(CastKind::arrayToPointer, from, plain) : load(from);
            return type->element->is(TypeKind::void_) ? makeCast(CastKind::none, pointer, to)
                                                      : makeCast(CastKind::bitcast, pointer, to);
        }
        if (type->is(TypeKind::array)) return makeCast(CastKind::arrayToPointer, from, to);
        if (type->is(TypeKind::pointer) && type->element != to->element && derivesFrom(type->element, to->element))
            return makeCast(CastKind::none, toBase(load(from), to->element), to);
        if (type->is(TypeKind::pointer)) { // only constness differs: no work
            return makeCast(CastKind::none, load(from), to);
        }
        return makeCast(CastKind::nullToPointer, load(from), to);
    }
    if (from->kind == ExprKind::floatLiteral && to->isScalar() && isInteger(to->scalar) && !to->isBool()) {
        const double value = static_cast<FloatLiteral*>(from)->value;
        if (value != std::trunc(value) && std::abs(value) < 1e9) {
            char shown[32];
            std::snprintf(shown, sizeof shown, "%.9g", value);
            warning(from->begin ? from->begin : from->location,
                    "implicit conversion from '" + typeName(type) + "' to '" + typeName(to) + "' changes value from " +
                        shown + " to " + std::to_string(static_cast<long long>(value)),
                    WarningGroup::literalConversion);
        }
    }
    warnOfNarrowing(from, to);
    return explicitConvert(from, to);
}

// "uchar x = 300": the literal does not fit. A negative one into an unsigned type is meant to wrap.
void Analyzer::warnOfNarrowing(const Expr* from, TypeRef to) {
    if (from->kind != ExprKind::intLiteral || !to->isScalar() || isFloating(to->scalar) || to->isBool()) return;
    const unsigned bits = byteSize(to->scalar) * 8;
    const std::uint64_t value = static_cast<const IntLiteral*>(from)->value;
    // 0xFFFF for a short is a pattern of bits, 65535 is a number.
    const bool isNumber = static_cast<const IntLiteral*>(from)->isDecimal && isSigned(to->scalar);
    if (bits >= 32 || value < std::uint64_t(1) << (isNumber ? bits - 1 : bits)) return;
    warning(from->begin ? from->begin : from->location,
            "implicit conversion from '" + typeName(from->type) + "' to '" + typeName(to) + "' changes value from " +
                std::to_string(value) + " to " +
                std::to_string(constant::Scalar::integer(to->scalar, value).asInteger()),
            WarningGroup::constantConversion);
}

Expr* Analyzer::explicitConvert(Expr* from, TypeRef to) {
    const TypeRef type = from->type;
    if (type->isError() || to->isError()) return errorAt(from);
    if (type == to) return load(from);
    if (to->is(TypeKind::void_)) return makeCast(CastKind::toVoid, from, to);
    if (type->is(TypeKind::enum_)) {
        if (to->is(TypeKind::enum_))
            return explicitConvert(makeCast(CastKind::enumToInteger, load(from), type->element), to);
        if (to->isScalar() || to->isVector())
            return explicitConvert(makeCast(CastKind::enumToInteger, load(from), type->element), to);
        return nullptr;
    }
    if (to->is(TypeKind::enum_)) {
        if (!type->isScalar()) return nullptr;
        return makeCast(CastKind::integerToEnum, explicitConvert(from, to->element), to);
    }
    if (type->isScalar()) {
        if (to->isScalar()) {
            // Literals take the wanted type on the spot.
            if (from->kind == ExprKind::intLiteral && !from->isParenthesized) {
                auto* literal = static_cast<IntLiteral*>(from);
                if (isFloating(to->scalar)) {
                    FloatLiteral* made = make<FloatLiteral>(from);
                    const auto number = constant::Scalar::integer(type->scalar, literal->value);
                    made->value = constant::convert(number, to->scalar).value.asDouble();
                    made->scalar = to->scalar;
                    made->type = to;
                    if (made->scalar != ScalarKind::half || made->value <= 65504) return made;
                } else if (to->scalar != ScalarKind::bool_) {
                    const auto constant = constant::Scalar::integer(to->scalar, literal->value);
                    return makeInteger(constant.asInteger(), to, from->location);
                }
            }
            if (from->kind == ExprKind::floatLiteral && isFloating(to->scalar) && !from->isParenthesized) {
                auto* literal = static_cast<FloatLiteral*>(from);
                FloatLiteral* made = make<FloatLiteral>(from);
                made->value = constant::Scalar::floating(type->scalar, literal->value).asDouble();
                made->scalar = to->scalar;
                made->type = to;
                return made;
            }
            return makeCast(CastKind::scalarConversion, load(from), to);
        }
        if (to->isVector()) {
            Expr* element = explicitConvert(from, to->element);
            return element ? makeCast(CastKind::splat, element, to) : nullptr;
        }
        if (to->is(TypeKind::packedVector)) {
            const TypeRef vector = types_.vector(to->scalar, to->columns);
            return makeCast(CastKind::vectorToPacked, explicitConvert(from, vector), to);
        }
        return nullptr;
    }
    if (type->isVector()) {
        if (to->isVector() && to->columns == type->columns) return makeCast(CastKind::scalarConversion, load(from), to);
        if (to->is(TypeKind::packedVector) && to->columns == type->columns) {
            Expr* vector = explicitConvert(from, types_.vector(to->scalar, to->columns));
            return makeCast(CastKind::vectorToPacked, vector, to);
        }
        return nullptr;
    }
    if (type->is(TypeKind::packedVector)) {
        const TypeRef vector = types_.vector(type->scalar, type->columns);
        Expr* unpacked = makeCast(CastKind::packedToVector, load(from), vector);
        return vector == to ? unpacked : explicitConvert(unpacked, to);
    }
    if (type->isMatrix()) {
        if (to->isMatrix() && to->columns == type->columns && to->rows == type->rows)
            return makeCast(CastKind::scalarConversion, load(from), to);
        return nullptr;
    }
    if (type->is(TypeKind::pointer) && to->isBool()) return makeCast(CastKind::pointerToBool, load(from), to);
    return nullptr;
}

Expr* Analyzer::convert(Expr* from, TypeRef to, Purpose purpose, SourceLocation at) {
    if (from->kind == ExprKind::initList) return initializeFromList(to, static_cast<InitList*>(from), purpose);
    if (to->is(TypeKind::reference)) return bindReference(from, to, purpose, at);
    if (Expr* converted = tryConvert(from, to)) return converted;
    reportConversion(from, to, purpose, at);
    return errorAt(from);
}

Expr* Analyzer::convertArgument(Expr* argument, TypeRef parameterType, SourceLocation at) {
    return parameterType->is(TypeKind::reference) ? bindReference(argument, parameterType, Purpose::parameter, at)
                                                  : convert(argument, parameterType, Purpose::parameter, at);
}

namespace {

// A component of a vector is not an object of its own.
bool isVectorElement(const Expr* expr) {
    if (expr->kind == ExprKind::member) return static_cast<const Member*>(expr)->swizzleCount > 0;
    if (expr->kind == ExprKind::index) {
        const TypeRef base = static_cast<const Index*>(expr)->base->type;
        return base->isVector() || base->is(TypeKind::packedVector);
    }
    return false;
}

} // namespace

Expr* Analyzer::bindReference(Expr* from, TypeRef referenceType, Purpose purpose, SourceLocation at) {
    const TypeRef referee = referenceType->element;
    if (from->kind == ExprKind::initList) {
        if (!referenceType->pointeeConst) {
            error(at, "non-const lvalue reference to type '" + typeName(referee) +
                          "' cannot bind to an initializer list temporary");
            return errorAt(from);
        }
        return initializeFromList(referee, static_cast<InitList*>(from), purpose);
    }
    if (from->type->isError() || referee->isError()) return errorAt(from);
    const bool isLvalue = from->category == ValueCategory::lvalue;
    if (isLvalue && derivesFrom(from->type, referee)) from = toBase(from, referee);
    if (isLvalue && from->type == referee) {
        if (from->space == referenceType->space) {
            if (from->isConst && !referenceType->pointeeConst) {
                error(at, "binding reference of type '" + typeName(referenceType) + "' to value of type 'const " +
                              typeName(from->type) + "' drops 'const' qualifier");
                return errorAt(from);
            }
            if (isVectorElement(from)) {
                if (!referenceType->pointeeConst) {
                    error(at, "non-const reference cannot bind to vector element");
                    return errorAt(from);
                }
                return load(from);
            }
            return from;
        }
        if (!referenceType->pointeeConst || referenceType->space != AddressSpace::thread) {
            error(at, "cannot bind reference in " + std::string(spaceWords(referenceType->space)) +
                          " address space to object in " + std::string(spaceWords(from->space)) + " address space");
            return errorAt(from);
        }
        return load(from);
    }
    if (!referenceType->pointeeConst) {
        if (isLvalue)
            error(at, "non-const lvalue reference to type '" + typeName(referee) +
                          "' cannot bind to a value of unrelated type '" + typeName(from->type) + "'");
        else
            error(at, "non-const lvalue reference to type '" + typeName(referee) +
                          "' cannot bind to a temporary of type '" + typeName(from->type) + "'");
        return errorAt(from);
    }
    if (referenceType->space != AddressSpace::thread) {
        error(at, "reference of type '" + typeName(referenceType) + "' cannot bind to a temporary object");
        return errorAt(from);
    }
    return convert(from, referee, purpose, at);
}

Expr* Analyzer::toBool(Expr* rvalue) {
    const TypeRef type = rvalue->type;
    if (type->isError() || type->isBool()) return load(rvalue);
    if (type->isScalar() || type->is(TypeKind::pointer) || isUnscopedEnum(type))
        return explicitConvert(rvalue, types_.bool_());
    if (type->is(TypeKind::struct_))
        if (Expr* converted = tryConvert(rvalue, types_.bool_())) return converted;
    reportConversion(rvalue, types_.bool_(), Purpose::condition, rvalue->begin ? rvalue->begin : rvalue->location);
    return errorAt(rvalue);
}

} // namespace msl
