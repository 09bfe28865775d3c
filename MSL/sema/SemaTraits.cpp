// <metal_type_traits>. A trait that answers yes or no is a struct with the constant "value", integral_constant; one
// that makes a type is a struct with the member "type". The short forms is_same_v and enable_if_t name what is inside.
#include "MSL/sema/Analyzer.h"

#include <algorithm>
#include <limits>

namespace msl {
namespace {

constexpr std::string_view plain(std::string_view name, std::string_view suffix) {
    return name.ends_with(suffix) ? name.substr(0, name.size() - suffix.size()) : std::string_view();
}

bool makesType(std::string_view name) {
    static constexpr std::string_view names[] = {
        "add_const",        "add_cv",          "add_volatile",    "conditional",  "decay",
        "enable_if",        "make_signed",     "make_unsigned",   "remove_const", "remove_cv",
        "remove_reference", "remove_volatile", "underlying_type", "remove_cvref", "remove_pointer",
        "type_identity",    "remove_extent"};
    for (const std::string_view one : names)
        if (one == name) return true;
    return false;
}

} // namespace

TypeRef Analyzer::integralConstant(TypeRef type, std::int64_t value) {
    TypeRef& made = traitStructs_["=" + std::to_string(type->id) + ":" + std::to_string(value)];
    if (made) return made;
    StructDecl* decl = arena_.make<StructDecl>();
    decl->name = identifiers_.get("integral_constant");
    decl->isDefinition = decl->isComplete = true;
    decl->definition = decl;
    VarDecl* constant = arena_.make<VarDecl>();
    constant->name = identifiers_.get("value");
    constant->varKind = VarKind::global;
    constant->type = type;
    constant->space = AddressSpace::constant;
    constant->isStatic = constant->isConst = constant->isConstexpr = constant->isUsed = true;
    constant->hasConstantValue = true;
    constant->constantValue = value;
    TypeAliasDecl* valueType = arena_.make<TypeAliasDecl>();
    valueType->name = identifiers_.get("value_type");
    valueType->type = type;
    TypeAliasDecl* self = arena_.make<TypeAliasDecl>();
    self->name = identifiers_.get("type");
    Decl* members[] = {constant, valueType, self};
    decl->members = arena_.copy(std::span<Decl* const>(members));
    fillEmpty(decl);
    giveType(decl);
    layOut(decl);
    self->type = decl->type;
    return made = decl->type;
}

TypeRef Analyzer::holderOf(TypeRef type) {
    TypeRef& made = traitStructs_[type ? "<" + std::to_string(type->id) : std::string("<>")];
    if (made) return made;
    StructDecl* decl = arena_.make<StructDecl>();
    decl->name = identifiers_.get(type ? "type_identity" : "enable_if<false>");
    decl->isDefinition = decl->isComplete = true;
    decl->definition = decl;
    if (type) {
        TypeAliasDecl* alias = arena_.make<TypeAliasDecl>();
        alias->name = identifiers_.get("type");
        alias->type = type;
        Decl* members[] = {alias};
        decl->members = arena_.copy(std::span<Decl* const>(members));
    }
    fillEmpty(decl);
    giveType(decl);
    layOut(decl);
    return made = decl->type;
}

std::optional<std::int64_t> Analyzer::evaluateTrait(std::string_view trait, Name& name) {
    const std::span<TemplateArgument> arguments = name.templateArguments = expandPacks(name.templateArguments);
    const bool isPair = trait == "is_same" || trait == "is_convertible" || trait == "is_base_of";
    if (arguments.size() != (isPair ? 2U : 1U)) {
        error(name.location, std::string(arguments.size() < (isPair ? 2U : 1U) ? "too few" : "too many") +
                                 " template arguments for class template '" + std::string(trait) + "'");
        return std::nullopt;
    }
    TypeRef types[2] = {};
    bool isConst = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        types[i] = templateArgumentType(arguments[i], true);
        if (!types[i] || types[i]->isError()) return std::nullopt;
    }
    if (arguments[0].typeSyntax) isConst = arguments[0].typeSyntax->isConst;
    const TypeRef type = types[0];
    const bool isNumber = type->isScalar();
    const bool isFloat = isNumber && isFloating(type->scalar);
    if (trait == "is_same") return type == types[1];
    if (trait == "is_convertible")
        return rankTypes(type, types[1]) != ConversionRank::none || derivesFrom(type, types[1]);
    if (trait == "is_base_of") return type == types[1] || derivesFrom(types[1], type);
    if (trait == "is_void") return type->is(TypeKind::void_);
    if (trait == "is_integral") return isNumber && !isFloat;
    if (trait == "is_floating_point") return isFloat;
    if (trait == "is_arithmetic" || trait == "is_fundamental") return isNumber;
    if (trait == "is_scalar") return isNumber || type->is(TypeKind::enum_) || type->is(TypeKind::pointer);
    if (trait == "is_signed") return isNumber && isSigned(type->scalar);
    if (trait == "is_unsigned") return isNumber && !isSigned(type->scalar);
    if (trait == "is_pointer") return type->is(TypeKind::pointer);
    if (trait == "is_reference" || trait == "is_lvalue_reference") return type->is(TypeKind::reference);
    if (trait == "is_array") return type->is(TypeKind::array);
    if (trait == "is_enum") return type->is(TypeKind::enum_);
    if (trait == "is_union") return type->is(TypeKind::struct_) && type->structDecl->isUnion;
    if (trait == "is_class") return type->is(TypeKind::struct_) && !type->structDecl->isUnion;
    if (trait == "is_empty")
        return type->is(TypeKind::struct_) && type->structDecl->fields.size() == 1 &&
               !type->structDecl->fields[0]->name && !type->structDecl->fields[0]->type->is(TypeKind::struct_);
    if (trait == "is_const") return isConst;
    if (trait == "is_vector") return type->isVector();
    if (trait == "is_matrix") return type->isMatrix();
    if (trait == "is_trivially_copyable" || trait == "is_trivial" || trait == "is_standard_layout") return true;
    return std::nullopt;
}

TypeRef Analyzer::traitType(Name& name) {
    const std::string_view text = name.identifier->text;
    if (!name.hasTemplateArguments) {
        if (text == "true_type" || text == "false_type") return integralConstant(types_.bool_(), text == "true_type");
        return nullptr;
    }
    if (text == "integral_constant" || text == "bool_constant") {
        const std::span<TemplateArgument> arguments = name.templateArguments = expandPacks(name.templateArguments);
        const bool isBool = text == "bool_constant";
        if (arguments.size() != (isBool ? 1U : 2U)) {
            error(name.location, "wrong number of template arguments for class template '" + std::string(text) + "'");
            return types_.error();
        }
        const TypeRef type = isBool ? types_.bool_() : templateArgumentType(arguments[0], true);
        const std::optional<std::int64_t> value = templateArgumentValue(arguments.back(), name.location);
        if (!type || type->isError() || !value) return types_.error();
        return integralConstant(type, *value);
    }
    const std::string_view bare = plain(text, "_t");
    const std::string_view trait = bare.empty() ? text : bare;
    if (makesType(trait)) {
        std::span<TemplateArgument> arguments = name.templateArguments = expandPacks(name.templateArguments);
        TypeRef made = nullptr;
        if (trait == "enable_if" || trait == "conditional") {
            const bool isChoice = trait == "conditional";
            if (arguments.empty() || arguments.size() > (isChoice ? 3U : 2U) || (isChoice && arguments.size() < 3)) {
                error(name.location,
                      "wrong number of template arguments for class template '" + std::string(trait) + "'");
                return types_.error();
            }
            const std::optional<std::int64_t> condition = templateArgumentValue(arguments[0], name.location);
            if (!condition) return types_.error();
            if (isChoice)
                made = templateArgumentType(arguments[*condition != 0 ? 1 : 2], true);
            else if (*condition != 0)
                made = arguments.size() == 2 ? templateArgumentType(arguments[1], true) : types_.void_();
            if (!made && (isChoice || *condition != 0)) return types_.error();
        } else {
            if (arguments.size() != 1) {
                error(name.location,
                      "wrong number of template arguments for class template '" + std::string(trait) + "'");
                return types_.error();
            }
            made = templateArgumentType(arguments[0], true);
            if (!made || made->isError()) return types_.error();
            if ((trait == "remove_reference" || trait == "decay" || trait == "remove_cvref") &&
                made->is(TypeKind::reference))
                made = made->element;
            if (trait == "decay" && made->is(TypeKind::array))
                made = types_.pointer(made->element, AddressSpace::thread, false);
            if (trait == "remove_pointer" && made->is(TypeKind::pointer)) made = made->element;
            if (trait == "remove_extent" && made->is(TypeKind::array)) made = made->element;
            if (trait == "underlying_type" && made->is(TypeKind::enum_)) made = made->element;
            if ((trait == "make_signed" || trait == "make_unsigned") && made->isIntegerNumeric() && !made->isBool()) {
                const auto kind = static_cast<unsigned>(made->scalar);
                // The unsigned kind of a width follows its signed one.
                const bool wantsSigned = trait == "make_signed";
                if (isSigned(made->scalar) != wantsSigned)
                    made = types_.withScalar(made, static_cast<ScalarKind>(wantsSigned ? kind - 1 : kind + 1));
            }
        }
        if (made && made->isError()) return made;
        if (bare.empty()) return holderOf(made);
        if (made) return made;
        error(name.location, "no type named 'type' in 'enable_if<false>'; 'enable_if' cannot be used to disable this "
                             "declaration");
        return types_.error();
    }
    if (!text.starts_with("is_") || text.ends_with("_v") || text.ends_with("_t")) return nullptr;
    const std::optional<std::int64_t> value = evaluateTrait(text, name);
    return value ? integralConstant(types_.bool_(), *value) : types_.error();
}

Expr* Analyzer::traitValue(const NameRef* ref) {
    const std::string_view text = ref->name.identifier->text;
    const std::string_view trait = plain(text, "_v");
    if (trait.empty() || !ref->name.hasTemplateArguments || !trait.starts_with("is_") || !isBuiltinTemplateName(text))
        return nullptr;
    Name name = ref->name;
    const std::optional<std::int64_t> value = evaluateTrait(trait, name);
    if (!value) return errorAt(ref);
    BoolLiteral* literal = make<BoolLiteral>(ref);
    literal->value = *value != 0;
    literal->type = types_.bool_();
    return literal;
}

// --------------------------------------------------------------------------------------------------- numeric_limits

namespace {

struct FloatingLimit {
    std::string_view name;
    double ofFloat;
    double ofHalf;
    double ofBfloat;
    bool isFunction;
    bool isInteger = true; // of a constant: an int, else a bool
};
constexpr FloatingLimit floatingLimits[] = {
    {"max", static_cast<double>(std::numeric_limits<float>::max()), 65504.0, 0x1.FEp127, true},
    {"lowest", static_cast<double>(std::numeric_limits<float>::lowest()), -65504.0, -0x1.FEp127, true},
    {"min", static_cast<double>(std::numeric_limits<float>::min()), 0x1p-14, 0x1p-126, true},
    {"epsilon", static_cast<double>(std::numeric_limits<float>::epsilon()), 0x1p-10, 0x1p-7, true},
    {"denorm_min", static_cast<double>(std::numeric_limits<float>::denorm_min()), 0x1p-24, 0x1p-133, true},
    {"round_error", 0.5, 0.5, 0.5, true},
    {"infinity", std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
     std::numeric_limits<double>::infinity(), true},
    {"quiet_NaN", std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN(),
     std::numeric_limits<double>::quiet_NaN(), true},
    {"signaling_NaN", std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN(),
     std::numeric_limits<double>::quiet_NaN(), true},
    {"digits", 24, 11, 8, false},
    {"digits10", 6, 3, 2, false},
    {"max_digits10", 9, 5, 4, false},
    {"radix", 2, 2, 2, false},
    {"min_exponent", -125, -13, -125, false},
    {"min_exponent10", -37, -4, -37, false},
    {"max_exponent", 128, 16, 128, false},
    {"max_exponent10", 38, 4, 38, false},
    {"is_specialized", 1, 1, 1, false, false},
    {"is_signed", 1, 1, 1, false, false},
    {"is_integer", 0, 0, 0, false, false},
    {"is_exact", 0, 0, 0, false, false},
    {"is_bounded", 1, 1, 1, false, false},
    {"is_modulo", 0, 0, 0, false, false},
    {"is_iec559", 1, 1, 1, false, false},
    {"has_infinity", 1, 1, 1, false, false},
    {"has_quiet_NaN", 1, 1, 1, false, false},
    {"has_signaling_NaN", 1, 1, 1, false, false},
};

} // namespace

// "numeric_limits<T>::name", with or without a call; null when the name is something else.
Expr* Analyzer::numericLimit(Name& name, bool isCalled) {
    const TypeSyntax* scope = name.qualifierType;
    if (!scope || !scope->name.identifier || !scope->name.hasTemplateArguments ||
        scope->name.identifier->text != "numeric_limits" || scope->name.identifier->scope)
        return nullptr;
    const std::span<TemplateArgument> limitOf = scope->name.templateArguments;
    const TypeRef type = limitOf.size() == 1 ? templateArgumentType(limitOf[0], true) : nullptr;
    if (!type || (!type->isScalar() && !type->isVector())) {
        if (type && !type->isError())
            error(name.location,
                  "numeric_limits is defined for scalar and vector types only, not for '" + typeName(type) + "'");
        return errorAt(name.location);
    }
    const TypeRef scalar = types_.scalar(type->scalar);
    Expr* limit =
        isFloating(type->scalar) ? floatingLimit(name, scalar, isCalled) : integerLimit(name, scalar, isCalled);
    if (limit == nullptr) {
        error(name.location, "no member named '" + std::string(name.identifier->text) + "' in 'numeric_limits<" +
                                 typeName(type) + ">'");
        return errorAt(name.location);
    }
    return type->isVector() && limit->type == scalar && isCalled ? makeCast(CastKind::splat, limit, type) : limit;
}

Expr* Analyzer::floatingLimit(const Name& name, TypeRef type, bool isCalled) {
    const auto found = std::ranges::find(floatingLimits, name.identifier->text, &FloatingLimit::name);
    if (found == std::end(floatingLimits) || found->isFunction != isCalled) return nullptr;
    const double value = type->scalar == ScalarKind::half     ? found->ofHalf
                         : type->scalar == ScalarKind::bfloat ? found->ofBfloat
                                                              : found->ofFloat;
    if (!found->isFunction)
        return makeInteger(static_cast<std::int64_t>(value), found->isInteger ? types_.int_() : types_.bool_(),
                           name.location);
    FloatLiteral* literal = arena_.make<FloatLiteral>();
    literal->location = literal->begin = name.location;
    literal->value = value;
    literal->scalar = type->scalar;
    literal->type = type;
    return literal;
}

Expr* Analyzer::integerLimit(const Name& name, TypeRef type, bool isCalled) {
    const std::string_view what = name.identifier->text;
    const unsigned bits = type->isBool() ? 1 : byteSize(type->scalar) * 8;
    const bool hasSign = isSigned(type->scalar);
    const unsigned digits = bits - (hasSign ? 1 : 0);
    if (isCalled) {
        if (what == "max")
            return makeInteger(static_cast<std::int64_t>(~std::uint64_t{0} >> (64 - digits)), type, name.location);
        if (what == "min" || what == "lowest")
            return makeInteger(hasSign ? -(std::int64_t{1} << (bits - 2)) * 2 : 0, type, name.location);
        constexpr std::string_view zeros[] = {"epsilon",   "round_error",   "infinity",
                                              "quiet_NaN", "signaling_NaN", "denorm_min"};
        return std::ranges::find(zeros, what) != std::end(zeros) ? makeInteger(0, type, name.location) : nullptr;
    }
    const auto number = [&](std::int64_t value) { return makeInteger(value, types_.int_(), name.location); };
    const auto flag = [&](bool value) { return makeInteger(value ? 1 : 0, types_.bool_(), name.location); };
    if (what == "digits") return number(digits);
    if (what == "digits10") return number(digits * 30103 / 100000);
    if (what == "radix") return number(2);
    if (what == "max_digits10" || what.starts_with("min_exponent") || what.starts_with("max_exponent"))
        return number(0);
    if (what == "is_signed") return flag(hasSign);
    if (what == "is_specialized" || what == "is_integer" || what == "is_exact" || what == "is_bounded")
        return flag(true);
    if (what == "is_modulo") return flag(!hasSign && !type->isBool());
    if (what == "is_iec559" || what == "has_infinity" || what.ends_with("_NaN")) return flag(false);
    return nullptr;
}

} // namespace msl
