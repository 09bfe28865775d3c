// <metal_type_traits>. A trait that answers yes or no is a struct with the constant "value", integral_constant; one
// that makes a type is a struct with the member "type". The short forms is_same_v and enable_if_t name what is inside.
#include "MSL/sema/Analyzer.h"

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

} // namespace msl
