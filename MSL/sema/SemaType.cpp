// From the syntax of a type to the type, and from a name to the type that it means.
#include "MSL/sema/Analyzer.h"
#include "MSL/types/TextureTraits.h"

#include <algorithm>

#include "MSL/sema/LibraryConstants.h"

namespace msl {
namespace {

std::optional<AddressSpace> spaceOf(SpaceSyntax syntax) {
    switch (syntax) {
    case SpaceSyntax::none: return std::nullopt;
    case SpaceSyntax::thread: return AddressSpace::thread;
    case SpaceSyntax::constant: return AddressSpace::constant;
    case SpaceSyntax::device: return AddressSpace::device;
    case SpaceSyntax::threadgroup: return AddressSpace::threadgroup;
    }
    return std::nullopt;
}

// Types of the language that have no counterpart here.
bool isForeignType(std::string_view name) {
    static constexpr std::string_view names[] = {
        "acceleration_structure",
        "command_buffer",
        "compute_command",
        "compute_pipeline_state",
        "imageblock",
        "instance_acceleration_structure",
        "intersection_function_table",
        "intersection_params",
        "intersection_query",
        "intersection_result",
        "intersector",
        "mesh",
        "mesh_grid_properties",
        "object_data",
        "patch_control_point",
        "primitive_acceleration_structure",
        "ray",
        "render_command",
        "render_pipeline_state",
        "simdgroup_bfloat8x8",
        "simdgroup_float8x8",
        "simdgroup_half8x8",
        "simdgroup_matrix",
        "tensor",
        "visible_function_table",
    };
    static_assert(std::ranges::is_sorted(names));
    return std::ranges::binary_search(names, name);
}

// The namespaces of the library's types. Of C++'s own it has no more than the types.
bool isLibrary(const Identifier& space) {
    return space.text == "metal" || space.text == "simd" || space.text == "std";
}

// simd_vote::vote_t
bool isVoteType(const Name& name) {
    return name.identifier->text == "vote_t" && !name.qualifiers.empty() &&
           (name.qualifiers.back()->text == "simd_vote" || name.qualifiers.back()->text == "quad_vote");
}

} // namespace

TypeRef Analyzer::reportUnknownType(const Name& name) {
    const std::string_view text = name.identifier->text;
    if (isForeignType(text)) {
        unsupported(name.location, "'" + std::string(text) + "'");
        return types_.error();
    }
    Decl* decl = nullptr;
    const std::string_view suggestion = closestName(text, TypoKind::type, &decl);
    errorOfName(name.location, "unknown type name '" + std::string(text) + "'", text, suggestion);
    if (decl && decl->location) note(decl->location, "'" + std::string(suggestion) + "' declared here");
    // Go on with what was probably meant, so that what follows is still checked.
    if (suggestion.empty()) return types_.error();
    if (decl) {
        Name corrected = name;
        corrected.identifier = identifiers_.get(suggestion);
        const TypeRef type = typeOfDecl(decl, corrected);
        return type ? type : types_.error();
    }
    const TypeRef type = builtinType(types_, suggestion);
    return type ? type : types_.error();
}

TypeRef Analyzer::typeOfDecl(Decl* decl, Name& name) {
    switch (decl->kind) {
    case DeclKind::struct_: {
        auto* structDecl = static_cast<StructDecl*>(decl);
        if (!structDecl->templateParameters.empty() && !structDecl->instanceOf) {
            if (name.hasTemplateArguments) return instantiateStructure(structDecl, name);
            error(name.location,
                  "use of class template '" + std::string(name.identifier->text) + "' requires template arguments");
            return types_.error();
        }
        if (name.hasTemplateArguments && structDecl->instanceOf) // inside an instance its name is the template's too
            return instantiateStructure(structDecl->instanceOf, name);
        return structDecl->type ? structDecl->type : types_.error();
    }
    case DeclKind::enum_: {
        const TypeRef type = static_cast<EnumDecl*>(decl)->type;
        return type ? type : types_.error();
    }
    case DeclKind::typeAlias: {
        auto* alias = static_cast<TypeAliasDecl*>(decl);
        if (!alias->templateParameters.empty())
            return name.hasTemplateArguments ? instantiateAlias(alias, name) : types_.error();
        return alias->type ? alias->type : types_.error();
    }
    default: return nullptr;
    }
}

TypeRef Analyzer::namedType(Name& name, bool reportMissing) {
    const Identifier* identifier = name.identifier;
    if (!identifier) return types_.error();
    if (isVoteType(name)) return types_.scalar(ScalarKind::ulong);
    if (name.qualifiers.empty() && !name.isGlobal && !name.qualifierType) {
        for (ScopeEntry* entry = identifier->scope; entry; entry = entry->hidden)
            if (TypeRef type = typeOfDecl(entry->decl, name)) return type;
    } else if (!name.qualifiers.empty() && !name.qualifiers[0]->scope && isLibrary(*name.qualifiers[0]) &&
               name.qualifiers.size() == 1) {
        // falls through to the library's types
    } else {
        if (name.isGlobal && name.qualifiers.empty() && !identifier->scope)
            if (TypeRef type = builtinType(types_, identifier->text)) return type;
        const NameMeaning meaning = lookUpQualified(name);
        if (meaning.kind == NameMeaning::Kind::failed) return types_.error();
        if (meaning.kind == NameMeaning::Kind::declaration)
            if (TypeRef type = typeOfDecl(meaning.decl, name)) return type;
        if (reportMissing) error(name.location, "no type named '" + std::string(identifier->text) + "' there");
        return reportMissing ? types_.error() : nullptr;
    }
    if (name.hasTemplateArguments || identifier->text.ends_with("_type"))
        if (TypeRef trait = traitType(name)) return trait;
    if (name.hasTemplateArguments) {
        if (isBuiltinTemplateName(identifier->text) && !identifier->text.starts_with("is_"))
            return builtinTemplateType(name);
    } else if (TypeRef type = builtinType(types_, identifier->text)) {
        if (!identifier->scope) { // found by its slot the next time
            TypeAliasDecl* alias = arena_.make<TypeAliasDecl>();
            alias->name = identifier;
            alias->type = type;
            scopes_.addOutermost(identifier, alias);
        }
        return type;
    } else if (textureShapeNamed(identifier->text)) { // texture2d without arguments
        return types_.texture(*textureShapeNamed(identifier->text), ScalarKind::float_, TextureAccess::sample);
    }
    if (!reportMissing) return nullptr;
    return reportUnknownType(name);
}

std::optional<TypeRef> Analyzer::tryTypeName(Name& name) {
    if (!name.identifier) return std::nullopt;
    if (isVoteType(name)) return types_.scalar(ScalarKind::ulong);
    if (name.qualifiers.empty() && !name.isGlobal && !name.qualifierType) {
        // The innermost meaning decides: a variable hides a type of its name.
        ScopeEntry* entry = name.identifier->scope;
        if (entry) {
            TypeRef type = typeOfDecl(entry->decl, name);
            return type ? std::optional(type) : std::nullopt;
        }
        TypeRef type = namedType(name, false);
        return type ? std::optional(type) : std::nullopt;
    }
    if (name.qualifiers.size() == 1 && !name.qualifiers[0]->scope && isLibrary(*name.qualifiers[0])) {
        TypeRef type = namedType(name, false);
        return type ? std::optional(type) : std::nullopt;
    }
    if (!name.qualifiers.empty() && !name.qualifiers[0]->scope && !name.qualifierType)
        return std::nullopt; // the library's
    const NameMeaning meaning = lookUpQualified(name);
    if (meaning.kind == NameMeaning::Kind::failed) return types_.error();
    if (meaning.kind != NameMeaning::Kind::declaration) return std::nullopt;
    TypeRef type = typeOfDecl(meaning.decl, name);
    return type ? std::optional(type) : std::nullopt;
}

TypeRef Analyzer::templateArgumentType(TemplateArgument& argument, bool report) {
    if (argument.isPack) return nullptr;
    if (argument.resolvedType) return argument.resolvedType;
    TypeRef type = nullptr;
    if (argument.typeSyntax) {
        type = resolveTypeOnly(argument.typeSyntax);
    } else if (argument.expression && argument.expression->kind == ExprKind::nameRef && !argument.expression->type) {
        if (const std::optional<TypeRef> named = tryTypeName(static_cast<NameRef*>(argument.expression)->name))
            type = *named;
    }
    if (type)
        argument.resolvedType = type;
    else if (report)
        error(argument.expression ? argument.expression->location : SourceLocation{},
              "template argument for template type parameter must be a type");
    return type;
}

std::optional<std::int64_t> Analyzer::templateArgumentValue(TemplateArgument& argument, SourceLocation at,
                                                            bool report) {
    if (argument.isPack) return std::nullopt;
    Expr* expression = argument.expression;
    if (!expression && argument.typeSyntax && argument.typeSyntax->modifiers.empty() &&
        argument.typeSyntax->name.identifier) {
        // A bare name that the parser took for a type.
        NameRef* ref = arena_.make<NameRef>();
        ref->name = argument.typeSyntax->name;
        ref->location = argument.typeSyntax->location;
        ref->begin = ref->location;
        expression = ref;
        argument.expression = ref;
    }
    if (!expression) {
        if (argument.resolvedType) return std::nullopt;
        return argument.value;
    }
    argument.expression = load(this->expression(expression));
    if (argument.expression->type->isError()) return std::nullopt;
    const ConstantValue value = evaluate(argument.expression);
    if (!value || !value->isInteger()) {
        if (report) {
            const SourceLocation begin = argument.expression->begin ? argument.expression->begin : at;
            error(begin, "non-type template argument is not a constant expression");
            noteFault(begin);
        }
        return std::nullopt;
    }
    argument.value = value->asInteger();
    return argument.value;
}

TypeRef Analyzer::builtinTemplateType(Name& name) {
    const std::string_view text = name.identifier->text;
    const std::span<TemplateArgument> arguments = name.templateArguments = expandPacks(name.templateArguments);
    const auto wrong = [&](std::string_view message) {
        error(name.location, std::string(message) + " '" + std::string(text) + "'");
        return types_.error();
    };
    if (const std::optional<TextureShape> shape = textureShapeNamed(text)) {
        ScalarKind kind = ScalarKind::float_;
        TextureAccess access = TextureAccess::sample;
        if (!arguments.empty()) {
            const TypeRef component = templateArgumentType(arguments[0], true);
            if (!component || component->isError()) return types_.error();
            if (component->isScalar() && byteSize(component->scalar) == 8 && isInteger(component->scalar)) {
                unsupported(name.location, "'" + std::string(text) + "' of 64-bit components");
                return types_.error();
            }
            if (!component->isScalar() || byteSize(component->scalar) == 1 || component->scalar == ScalarKind::bfloat)
                return wrong("unsupported component type for");
            kind = component->scalar;
        }
        if (arguments.size() > 1) {
            const std::optional<std::int64_t> value = templateArgumentValue(arguments[1], name.location);
            if (!value || *value < 0 || *value > 3) return value ? wrong("unsupported access for") : types_.error();
            access = static_cast<TextureAccess>(*value);
        }
        return types_.texture(*shape, kind, access);
    }
    if (text == "initializer_list") return listTemplate() ? listType(name) : types_.error();
    if (text == "numeric_limits") {
        unsupported(name.location, "'" + std::string(text) + "' as a type");
        return types_.error();
    }
    if (text == "interpolant") {
        if (arguments.empty()) return wrong("too few template arguments for class template");
        if (arguments.size() > 2) return wrong("too many template arguments for class template");
        const TypeRef value = templateArgumentType(arguments[0], true);
        if (!value || value->isError()) return types_.error();
        if ((!value->isScalar() && !value->isVector()) || !hasMatrices(value->scalar))
            return wrong("the value must be a scalar or vector of half or float in");
        bool hasPerspective = true;
        if (arguments.size() == 2) {
            const std::optional<std::int64_t> given = templateArgumentValue(arguments[1], name.location);
            if (!given) return types_.error();
            hasPerspective = *given == 0;
        }
        return types_.interpolant(value, hasPerspective);
    }
    if (text == "array_ref") {
        if (arguments.size() != 1)
            return wrong(arguments.empty() ? "too few template arguments for class template"
                                           : "too many template arguments for class template");
        const TypeRef element = templateArgumentType(arguments[0], true);
        if (!element || element->isError()) return types_.error();
        if (!element->is(TypeKind::texture) && !element->is(TypeKind::sampler)) {
            unsupported(name.location, "an 'array_ref' of anything but textures and samplers");
            return types_.error();
        }
        return types_.array(element, 0);
    }
    const std::size_t wanted = text == "matrix" ? 3 : text == "atomic" ? 1 : 2;
    if (arguments.size() < wanted) return wrong("too few template arguments for class template");
    if (arguments.size() > wanted) return wrong("too many template arguments for class template");
    const TypeRef element = templateArgumentType(arguments[0], true);
    if (!element || element->isError()) return types_.error();
    std::int64_t sizes[2] = {};
    for (std::size_t i = 1; i < wanted; ++i) {
        const std::optional<std::int64_t> value = templateArgumentValue(arguments[i], name.location);
        if (!value) return types_.error();
        sizes[i - 1] = *value;
    }
    if (text == "array") {
        if (!requireComplete(element, name.location, "array has")) return types_.error();
        if (sizes[0] <= 0) return wrong("the size must be positive in");
        const std::uint64_t elementSize = std::max<std::uint64_t>(layoutOf(element).size, 1);
        if (static_cast<std::uint64_t>(sizes[0]) > maxObjectSize / elementSize)
            return wrong("the size is too large in");
        return types_.array(element, static_cast<std::uint64_t>(sizes[0]));
    }
    if (!element->isScalar()) return wrong("the element type must be a scalar in");
    if (text == "atomic") {
        switch (element->scalar) {
        case ScalarKind::bool_:
        case ScalarKind::int_:
        case ScalarKind::uint:
        case ScalarKind::ulong:
        case ScalarKind::float_: return types_.atomic(element->scalar);
        default: return wrong("the element type must be int, uint, bool, float or ulong in");
        }
    }
    TypeRef type = types_.error();
    if (text == "matrix")
        type = types_.matrix(element->scalar, static_cast<unsigned>(sizes[0] & 0xFF),
                             static_cast<unsigned>(sizes[1] & 0xFF));
    else if (sizes[0] >= 1 && sizes[0] <= 4)
        type = text == "vec" ? types_.vector(element->scalar, static_cast<unsigned>(sizes[0]))
                             : types_.packedVector(element->scalar, static_cast<unsigned>(sizes[0]));
    return type->isError() ? wrong("the sizes must be 2 to 4 in") : type;
}

DeclaredType Analyzer::resolveType(TypeSyntax* syntax, bool isParameter) {
    DeclaredType declared;
    declared.type = types_.error();
    if (!syntax) return declared;
    const DepthGuard guard(depth_);
    if (tooDeep(syntax->location)) return declared;
    TypeRef type = nullptr;
    if (syntax->fixed) {
        type = syntax->fixed;
    } else if (syntax->inlineStruct) {
        if (!syntax->inlineStruct->type) structure(syntax->inlineStruct);
        type = syntax->inlineStruct->type;
    } else if (syntax->inlineEnum) {
        if (!syntax->inlineEnum->type) enumeration(syntax->inlineEnum);
        type = syntax->inlineEnum->type;
    } else if (syntax->decltypeOf) {
        type = expression(syntax->decltypeOf)->type;
    } else {
        type = namedType(syntax->name, true);
        declared.alignment = aliasAlignment(syntax->name);
    }
    if (!type) type = types_.error();
    if (const std::optional<AddressSpace> space = spaceOf(syntax->space)) {
        declared.space = *space;
        declared.hasSpace = true;
    }
    declared.isConst = syntax->isConst;
    const std::size_t count = syntax->modifiers.size();
    unsigned dimensions = 0;
    for (std::size_t i = 0; i < count; ++i) {
        TypeModifier& modifier = syntax->modifiers[i];
        if (type->isError()) break;
        switch (modifier.kind) {
        case TypeModifier::Kind::pointer:
        case TypeModifier::Kind::reference:
        case TypeModifier::Kind::rvalueReference:
            if (type->is(TypeKind::reference)) {
                if (modifier.kind != TypeModifier::Kind::pointer) break; // collapses
                error(modifier.location, "pointer to a reference is not allowed");
                type = types_.error();
                break;
            }
            if (type->is(TypeKind::void_) && modifier.kind != TypeModifier::Kind::pointer) {
                error(modifier.location, "cannot form a reference to 'void'");
                type = types_.error();
                break;
            }
            if (declared.alignment != 0 && declared.alignment < std::min(scalarAlignment(type), 4U)) {
                unsupported(modifier.location,
                            "a pointer or reference to a type that is aligned to less than its numbers");
                type = types_.error();
                break;
            }
            declared.alignment = 0;
            if (modifier.kind == TypeModifier::Kind::pointer)
                type = types_.pointer(type, declared.space, declared.isConst);
            else
                type = types_.reference(type, declared.space,
                                        declared.isConst || modifier.kind == TypeModifier::Kind::rvalueReference);
            declared.hasSpace = false;
            declared.space = AddressSpace::thread;
            if (const std::optional<AddressSpace> space = spaceOf(modifier.space)) {
                declared.space = *space;
                declared.hasSpace = true;
            }
            declared.isConst = modifier.isConst;
            break;
        case TypeModifier::Kind::array: {
            if (++dimensions > maxDimensions) {
                error(modifier.location, "an array can have at most " + std::to_string(maxDimensions) + " dimensions");
                type = types_.error();
                break;
            }
            if (isParameter && i + 1 == count) { // decays
                if (modifier.arraySize) integerConstant(modifier.arraySize, "array size");
                type = types_.pointer(type, declared.space, declared.isConst);
                declared.space = AddressSpace::thread;
                declared.hasSpace = false;
                declared.isConst = false;
                break;
            }
            if (!type->is(TypeKind::auto_) && !requireComplete(type, modifier.location, "array has")) {
                type = types_.error();
                break;
            }
            if (type->is(TypeKind::reference) || type->is(TypeKind::void_)) {
                error(modifier.location, "array of '" + typeName(type) + "' is not allowed");
                type = types_.error();
                break;
            }
            if (const std::uint64_t bytes = layoutOf(type).size;
                declared.alignment != 0 && bytes % declared.alignment != 0) {
                error(modifier.location, "size of array element of type '" + typeName(type) + "' (" +
                                             std::to_string(bytes) + " bytes) isn't a multiple of its alignment (" +
                                             std::to_string(declared.alignment) + " bytes)");
                type = types_.error();
                break;
            }
            std::uint64_t size = 0;
            if (modifier.arraySize) {
                const std::optional<std::int64_t> value = integerConstant(modifier.arraySize, "array size");
                const SourceLocation at = modifier.arraySize->begin ? modifier.arraySize->begin : modifier.location;
                if (!value) {
                    type = types_.error();
                    break;
                }
                if (*value <= 0) {
                    error(at, *value < 0 ? "array size is negative" : "zero-length arrays are not permitted");
                    type = types_.error();
                    break;
                }
                size = static_cast<std::uint64_t>(*value);
                if (size > maxObjectSize / std::max<std::uint64_t>(layoutOf(type).size, 1)) {
                    error(at, "array is too large (" + std::to_string(size) + " elements)");
                    type = types_.error();
                    break;
                }
            } else if (i + 1 != count) {
                error(modifier.location, "array has incomplete element type '" + typeName(type) + " []'");
                type = types_.error();
                break;
            }
            type = types_.array(type, size);
            break;
        }
        }
    }
    syntax->resolved = type;
    declared.type = type;
    return declared;
}

} // namespace msl
