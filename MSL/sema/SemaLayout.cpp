// How structs lie in memory: offsets, sizes and alignments, by the types' own and by what alignas,
// __attribute__((packed)), __attribute__((aligned)) and "#pragma pack" ask for.
#include "MSL/sema/Analyzer.h"

#include <algorithm>

namespace msl {
namespace {

constexpr std::int64_t mostAlignment = 65536; // that can be asked for
constexpr std::uint32_t widestAlignment = 16; // what __attribute__((aligned)) by itself stands for
constexpr const char* alignasPlaces = "'alignas' attribute only applies to variables, data members and tag types";

} // namespace

Analyzer::LayoutRequest Analyzer::layoutRequest(const Decl* decl) {
    LayoutRequest request;
    for (Attribute& attribute : decl->attributes) {
        const LayoutAttribute kind = layoutAttribute(attribute);
        if (kind == LayoutAttribute::none) {
            const std::string_view name = attribute.name ? attribute.name->text : std::string_view();
            if (decl->kind == DeclKind::struct_ && (name == "packed" || name == "aligned")) // without "gnu::"
                warning(attribute.location, "unknown attribute '" + std::string(name) + "' ignored",
                        WarningGroup::unknownAttributes);
            continue;
        }
        const bool isAlignas = kind == LayoutAttribute::alignas_;
        const std::size_t most = kind == LayoutAttribute::packed ? 0 : 1;
        if (attribute.arguments.size() > most) {
            error(attribute.location, most == 0 ? "'packed' attribute takes no arguments"
                                                : "'aligned' attribute takes no more than 1 argument");
            continue;
        }
        if (kind == LayoutAttribute::packed) {
            request.packed = attribute.location;
            continue;
        }
        std::int64_t alignment = widestAlignment;
        if (!attribute.arguments.empty()) {
            Expr*& argument = attribute.arguments[0];
            const SourceLocation at = argument->begin ? argument->begin : attribute.location;
            const std::optional<std::int64_t> value =
                integerConstant(argument, isAlignas ? "'alignas' attribute argument" : "'aligned' attribute argument");
            if (!value) continue;
            argument = makeInteger(*value, types_.int_(), argument->location);
            if (*value == 0 && isAlignas) continue;
            if (*value <= 0 || (*value & (*value - 1)) != 0) {
                error(at, "requested alignment is not a power of 2");
                continue;
            }
            if (*value > mostAlignment) {
                error(at, "requested alignment must be " + std::to_string(mostAlignment) + " bytes or smaller");
                continue;
            }
            alignment = *value;
        }
        request.alignment = std::max(request.alignment, static_cast<std::uint32_t>(alignment));
        if (!isAlignas || request.strict > alignment) continue;
        request.strict = static_cast<std::uint32_t>(alignment);
        request.strictAt = attribute.location;
    }
    return request;
}

// alignas cannot ask for less than the type has.
void Analyzer::checkStrictAlignment(const LayoutRequest& request, std::uint32_t least, TypeRef type) {
    if (request.strict != 0 && request.strict < least)
        error(request.strictAt, "requested alignment is less than minimum alignment of " + std::to_string(least) +
                                    " for type '" + typeName(type) + "'");
}

// Of what no layout depends on: variables and functions. There the attributes are checked, and change nothing.
void Analyzer::checkLayoutAttributes(const Decl* decl) {
    const LayoutRequest request = layoutRequest(decl);
    if (request.packed) warning(request.packed, "'packed' attribute ignored", WarningGroup::ignoredAttributes);
    if (request.strict == 0) return;
    if (decl->kind != DeclKind::variable) {
        error(request.strictAt, alignasPlaces);
        return;
    }
    const auto* variable = static_cast<const VarDecl*>(decl);
    if (variable->varKind == VarKind::parameter)
        error(request.strictAt, "'alignas' attribute cannot be applied to a function parameter");
    else if (variable->type && !variable->type->isError())
        checkStrictAlignment(request, layoutOf(variable->type).alignment, variable->type);
}

// __attribute__((aligned)) gives what a typedef declares another alignment than the type has, a smaller one too.
void Analyzer::alignAlias(TypeAliasDecl* alias) {
    const LayoutRequest request = layoutRequest(alias);
    if (request.packed) warning(request.packed, "'packed' attribute ignored", WarningGroup::ignoredAttributes);
    if (request.strict != 0)
        error(request.strictAt, alignasPlaces);
    else if (request.alignment != 0)
        alias->alignment = request.alignment;
    hasAlignedAliases_ = hasAlignedAliases_ || alias->alignment != 0;
}

void Analyzer::refuseLayoutAttributes(const Decl* decl, std::string_view what) {
    for (const Attribute& attribute : decl->attributes)
        if (layoutAttribute(attribute) != LayoutAttribute::none)
            unsupported(attribute.location, "'" + std::string(attribute.name->text) + "' on " + std::string(what));
}

// Of the typedef that this name is; 0: of its type.
std::uint32_t Analyzer::aliasAlignment(Name& name) {
    if (!hasAlignedAliases_ || !name.identifier) return 0;
    const Decl* decl = nullptr;
    if (!name.qualifiers.empty() || name.isGlobal || name.qualifierType) {
        const NameMeaning meaning = lookUpQualified(name);
        if (meaning.kind == NameMeaning::Kind::declaration) decl = meaning.decl;
    } else {
        const ScopeEntry* entry = name.identifier->scope;
        while (entry && entry->decl->kind != DeclKind::struct_ && entry->decl->kind != DeclKind::enum_ &&
               entry->decl->kind != DeclKind::typeAlias)
            entry = entry->hidden;
        if (entry) decl = entry->decl;
    }
    return decl && decl->kind == DeclKind::typeAlias ? static_cast<const TypeAliasDecl*>(decl)->alignment : 0;
}

std::uint32_t Analyzer::memberAlignment(const StructDecl* decl, bool isPacked, const VarDecl* member,
                                        std::uint32_t natural) {
    const LayoutRequest own = layoutRequest(member);
    if (member->alignment != 0) natural = member->alignment;
    checkStrictAlignment(own, natural, member->type);
    const std::uint32_t alignment = std::max(isPacked || own.packed ? 1 : natural, own.alignment);
    return decl->packing != 0 ? std::min(alignment, decl->packing) : alignment;
}

// The definition's attributes come on top of those of a declaration before it.
void Analyzer::takeLayoutAttributes(StructDecl* to, const StructDecl* definition) {
    std::vector<Attribute> all(to->attributes.begin(), to->attributes.end());
    all.insert(all.end(), definition->attributes.begin(), definition->attributes.end());
    to->attributes = arena_.copy(all);
    to->packing = definition->packing;
}

void Analyzer::layOut(StructDecl* decl) {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint32_t alignment = 1;
    Record& record = *decl->record;
    const LayoutRequest asked = layoutRequest(decl);
    record.isUnion = decl->isUnion;
    record.fields = types_.arena().makeArray<Field>(decl->fields.size()); // outlives the tree
    Field* out = record.fields.data();
    for (VarDecl* member : decl->fields) {
        // Each level of arrays and structs counts; an array's elements multiply what they hold.
        TypeRef inner = member->type;
        std::uint64_t count = 1;
        std::uint32_t nesting = 1;
        while (inner->is(TypeKind::array)) {
            count *= inner->count;
            ++nesting;
            inner = inner->element;
        }
        // A closure that is captured by reference is looked into as one that is captured by value.
        if (inner->is(TypeKind::reference) && inner->element->structDecl != nullptr &&
            inner->element->structDecl->isLambdaClosure)
            nesting += inner->element->record->nesting;
        if (inner->is(TypeKind::struct_)) {
            count *= inner->record->scalarCount;
            nesting += inner->record->nesting;
            decl->hasDefaultInitializers = decl->hasDefaultInitializers || inner->structDecl->hasDefaultInitializers;
        }
        record.scalarCount += count;
        decl->hasDefaultInitializers = decl->hasDefaultInitializers || member->initializer;
        if (nesting > record.nesting) record.nesting = nesting;
        if (nesting > maxTypeNesting && !decl->isInvalid) {
            error(member->location,
                  "types are nested too deeply (more than " + std::to_string(maxTypeNesting) + " levels)");
            decl->isInvalid = true;
            record.nesting = 1; // say it once
            member->type = types_.error();
        }
        Layout layout = layoutOf(member->type);
        if (member->type->is(TypeKind::reference)) layout = {8, 8};
        layout.alignment = memberAlignment(decl, static_cast<bool>(asked.packed), member, layout.alignment);
        alignment = std::max(alignment, layout.alignment);
        offset = decl->isUnion ? 0 : (offset + layout.alignment - 1) / layout.alignment * layout.alignment;
        *out++ = {member->name != nullptr ? types_.arena().copyText(member->name->text) : std::string_view(),
                  member->type, offset};
        offset += layout.size;
        size = std::max(size, offset);
        if (size > maxObjectSize) {
            error(member->location, "struct '" + std::string(decl->name ? decl->name->text : "") + "' is too large");
            decl->isInvalid = true;
            size = 0;
            break;
        }
    }
    record.fields = record.fields.first(static_cast<std::size_t>(out - record.fields.data()));
    checkStrictAlignment(asked, alignment, decl->type);
    alignment = std::max(alignment, asked.alignment);
    record.alignment = alignment;
    record.size = (std::max<std::uint64_t>(size, 1) + alignment - 1) / alignment * alignment;
}

} // namespace msl
