#include "MSL/Language.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/builtins/TextureMethods.h"
#include "MSL/lex/PredefinedMacros.h"
#include "MSL/sema/AttributeTable.h"
#include "MSL/sema/LibraryConstants.h"

#include <algorithm>

namespace msl::language {

namespace {

// Types made once; after that they are only read.
const TypeTable& typeTable() {
    static Arena arena;
    static const TypeTable table(arena);
    return table;
}

TypeRef typeNamed(std::string_view name) {
    return builtinType(typeTable(), name);
}

std::string textOf(TypeRef type) {
    return type != nullptr ? typeName(type) : std::string();
}

bool isVector(TypeRef type) {
    return type != nullptr && (type->is(TypeKind::vector) || type->is(TypeKind::packedVector));
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

// "texture2d<float, access::read>".
std::optional<Type> textureNamed(std::string_view text) {
    const std::size_t open = text.find('<');
    const std::size_t close = text.rfind('>');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
    const auto shape = textureShapeNamed(trimmed(text.substr(0, open)));
    if (!shape) return std::nullopt;
    const std::string_view arguments = text.substr(open + 1, close - open - 1);
    const std::size_t comma = std::min(arguments.find(','), arguments.size());
    const TypeRef scalar = typeNamed(trimmed(arguments.substr(0, comma)));
    if (scalar == nullptr || !scalar->isScalar()) return std::nullopt;
    Type texture;
    texture.kind = TypeKind::texture;
    texture.textureShape = *shape;
    texture.scalar = scalar->scalar;
    const bool isRead =
        textureTraits(*shape).isMultisample || *shape == TextureShape::buffer; // unless it says otherwise
    texture.textureAccess = isRead ? TextureAccess::read : TextureAccess::sample;
    std::string_view access = trimmed(arguments.substr(std::min(comma + 1, arguments.size())));
    if (const std::size_t colons = access.rfind("::"); colons != std::string_view::npos)
        access.remove_prefix(colons + 2);
    if (const LibraryConstant* constant = findLibraryConstant("access", access))
        texture.textureAccess = static_cast<TextureAccess>(constant->value);
    return texture;
}

Method methodOf(const TextureMethod& row, const Type& texture) {
    Arena arena;
    TypeTable types(arena);
    Method method;
    method.name = row.name;
    method.result = textOf(slotType(types, row.result, &texture));
    method.signature = method.result + ' ' + std::string(row.name) + '(';
    for (const auto& [slot, name] : row.parameters) {
        if (!hasSlot(texture.textureShape, slot) || (isOptional(slot) && slot != TextureSlot::level)) continue;
        if (method.parameterCount++ > 0) method.signature += ", ";
        method.signature += textOf(slotType(types, slot, &texture)) + ' ' + std::string(name);
        if (isOptional(slot)) method.signature += " = 0";
    }
    method.signature += ')';
    return method;
}

// Which components letters mean, in either spelling; nothing where they mean none of so many.
bool isSwizzle(std::string_view letters, unsigned count) {
    return std::ranges::any_of(std::initializer_list<std::string_view>{"xyzw", "rgba"}, [&](std::string_view names) {
        return std::ranges::all_of(letters, [&](char letter) { return names.substr(0, count).contains(letter); });
    });
}

} // namespace

std::vector<Function> functions() {
    std::vector<Function> made;
    for (const BuiltinFunction& row : builtinFunctions()) {
        if (row.name.starts_with("__")) continue; // the compiler's own
        if (!made.empty() && made.back().name == row.name) continue;
        made.push_back({row.name, signatureText(typeTable(), row, nullptr), describeTypeParameter(*row.signature),
                        row.signature->parameterCount, row.hasPrecisions});
    }
    return made;
}

std::string resultOfCall(std::string_view function, std::span<const std::string> argumentTypes) {
    const BuiltinFunction* row = findBuiltin(function);
    if (row == nullptr) return {};
    const BuiltinSignature& signature = *row->signature;
    std::string t; // the widest of the arguments that stand for it
    for (std::size_t i = 0; i < signature.parameterCount && i < argumentTypes.size(); ++i)
        if (signature.parameters[i] == BuiltinSlot::t) t = resultOfOperator(t, argumentTypes[i]);
    const TypeRef type = t.empty() ? nullptr : typeNamed(t);
    if (type == nullptr && signature.typeClass != BuiltinClass::none) return {};
    return textOf(slotType(typeTable(), signature.result, type));
}

bool isTypeName(std::string_view name) {
    return isBuiltinTypeName(name);
}

bool isTypeTemplateName(std::string_view name) {
    return isBuiltinTemplateName(name);
}

std::span<const std::string_view> textureNames() {
    return textureTemplateNames();
}

std::vector<Constant> constants() {
    std::vector<Constant> made;
    for (const LibraryConstant& constant : libraryConstants())
        made.push_back({constant.enumeration, constant.name});
    return made;
}

std::optional<std::string_view> predefinedMacro(std::string_view name) {
    return isPredefinedMacro(name) ? std::optional(predefinedMacroText(name)) : std::nullopt;
}

std::vector<Attribute> attributes() {
    std::vector<Attribute> made;
    for (const KnownAttribute& known : knownAttributes())
        if (known.use != AttributeUse::refused) made.push_back({known.name, known.use == AttributeUse::index});
    return made;
}

std::optional<std::vector<Method>> textureMethods(std::string_view type) {
    const std::optional<Type> texture = textureNamed(type);
    if (!texture) return std::nullopt;
    std::vector<Method> made;
    for (const TextureMethod& row : msl::textureMethods())
        if (whyNot(row.need, &*texture).empty()) made.push_back(methodOf(row, *texture));
    return made;
}

unsigned componentCount(std::string_view type) {
    const TypeRef vector = typeNamed(type);
    return isVector(vector) ? vector->columns : 0;
}

std::string memberType(std::string_view type, std::string_view member) {
    if (const std::optional<Type> texture = textureNamed(type)) {
        const TextureMethod* row = findTextureMethod(member);
        return row != nullptr && whyNot(row->need, &*texture).empty() ? methodOf(*row, *texture).result : std::string();
    }
    const TypeRef vector = typeNamed(type);
    if (!isVector(vector) || member.empty() || member.size() > 4 || !isSwizzle(member, vector->columns)) return {};
    return textOf(typeTable().vector(vector->scalar, static_cast<unsigned>(member.size())));
}

std::string elementType(std::string_view type) {
    const TypeRef whole = typeNamed(type);
    if (whole == nullptr) return {};
    if (whole->isMatrix()) return textOf(typeTable().vector(whole->scalar, whole->rows));
    return isVector(whole) ? textOf(typeTable().scalar(whole->scalar)) : std::string();
}

std::string resultOfOperator(std::string_view left, std::string_view right) {
    if (left.empty() || right.empty()) return std::string(left.empty() ? right : left);
    const TypeRef a = typeNamed(left);
    const TypeRef b = typeNamed(right);
    if (a == nullptr || b == nullptr) return std::string(left);
    if (a->isMatrix() != b->isMatrix()) {
        const TypeRef matrix = a->isMatrix() ? a : b;
        if (!isVector(a->isMatrix() ? b : a)) return textOf(matrix);
        return textOf(typeTable().vector(matrix->scalar, matrix == a ? matrix->rows : matrix->columns));
    }
    if (isVector(a) != isVector(b)) return std::string(isVector(a) ? left : right);
    return std::string(a->scalar >= b->scalar ? left : right);
}

} // namespace msl::language
