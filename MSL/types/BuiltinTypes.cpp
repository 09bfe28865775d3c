// The names of the built-in types, taken apart by their regular spelling: prefix, scalar name, "3" or "4x4".
#include "MSL/types/Types.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <ranges>

namespace msl {
namespace {

struct ScalarSpelling {
    std::string_view name;
    ScalarKind kind;
};
constexpr ScalarSpelling plainScalars[] = {
    {"float", ScalarKind::float_}, {"half", ScalarKind::half},     {"bfloat", ScalarKind::bfloat},
    {"int", ScalarKind::int_},     {"uint", ScalarKind::uint},     {"bool", ScalarKind::bool_},
    {"short", ScalarKind::short_}, {"ushort", ScalarKind::ushort}, {"char", ScalarKind::char_},
    {"uchar", ScalarKind::uchar},  {"long", ScalarKind::long_},    {"ulong", ScalarKind::ulong},
};
constexpr ScalarSpelling otherScalars[] = {
    {"size_t", ScalarKind::ulong},
    {"ptrdiff_t", ScalarKind::long_},
    {"int8_t", ScalarKind::char_},
    {"uint8_t", ScalarKind::uchar},
    {"int16_t", ScalarKind::short_},
    {"uint16_t", ScalarKind::ushort},
    {"int32_t", ScalarKind::int_},
    {"uint32_t", ScalarKind::uint},
    {"int64_t", ScalarKind::long_},
    {"uint64_t", ScalarKind::ulong},
    {"unsigned", ScalarKind::uint},
    {"signed", ScalarKind::int_},
    {"uintptr_t", ScalarKind::ulong},
    {"intptr_t", ScalarKind::long_},
    // votes are masks; the library's enumerations and its logs are numbers
    {"simd_vote", ScalarKind::ulong},
    {"quad_vote", ScalarKind::ulong},
    {"vote_t", ScalarKind::ulong},
    {"mem_flags", ScalarKind::uint},
    {"memory_order", ScalarKind::int_},
    {"thread_scope", ScalarKind::int_},
    {"os_log", ScalarKind::uint},
};

// Tells most names apart from those of a list by their first letter and their length.
class NameFilter {
  public:
    template <typename Names>
    explicit constexpr NameFilter(const Names& names) {
        for (const std::string_view name : names)
            lengths_[slot(name)] |= std::uint64_t{1} << name.size();
    }
    // False: the name is not in the list.
    constexpr bool mayContain(std::string_view name) const {
        return !name.empty() && name.size() < 64 && (lengths_[slot(name)] >> name.size() & 1) != 0;
    }

  private:
    static constexpr std::size_t slot(std::string_view name) { return static_cast<unsigned char>(name[0]) % 32; }
    std::uint64_t lengths_[32] = {};
};

// What a name says, without a table of types: so that isBuiltinTypeName needs none.
struct Spelling {
    enum class Form : std::uint8_t { none, void_, auto_, sampler, scalar, vector, packedVector, matrix, atomic };
    Form form = Form::none;
    ScalarKind scalar = ScalarKind::float_;
    unsigned columns = 1;
    unsigned rows = 1;
};

bool take(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

std::optional<unsigned> size(char c) {
    return c >= '2' && c <= '4' ? std::optional(static_cast<unsigned>(c - '0')) : std::nullopt;
}

Spelling spell(std::string_view name) {
    using Form = Spelling::Form;
    if (name.size() < 3 || name.size() > 24) return {};
    if (name == "void") return {.form = Form::void_};
    if (name == "auto") return {.form = Form::auto_};
    if (name == "sampler") return {.form = Form::sampler};
    static constexpr NameFilter others(otherScalars | std::views::transform(&ScalarSpelling::name));
    if (others.mayContain(name))
        for (const ScalarSpelling& other : otherScalars)
            if (other.name == name) return {.form = Form::scalar, .scalar = other.kind};

    std::string_view rest = name;
    const bool isAtomic = take(rest, "atomic_");
    bool vectorsOnly = false;
    bool matricesOnly = false;
    bool isPacked = false;
    bool hasPrefix = false;
    if (!isAtomic) {
        if (take(rest, "vector_"))
            vectorsOnly = true;
        else if (take(rest, "matrix_"))
            matricesOnly = true;
        else if (take(rest, "simd_"))
            hasPrefix = true;
        isPacked = !matricesOnly && !vectorsOnly && take(rest, "packed_");
    }
    if (rest.empty()) return {};
    // "uint" before "int" cannot clash: each is matched from the start.
    const ScalarSpelling* found = nullptr;
    for (const ScalarSpelling& plain : plainScalars)
        if (rest[0] == plain.name[0] && rest.starts_with(plain.name)) {
            found = &plain;
            break;
        }
    if (!found) return {};
    rest.remove_prefix(found->name.size());
    if (isAtomic) {
        const bool exists = found->kind == ScalarKind::int_ || found->kind == ScalarKind::uint ||
                            found->kind == ScalarKind::bool_ || found->kind == ScalarKind::float_ ||
                            found->kind == ScalarKind::ulong;
        return rest.empty() && exists ? Spelling{.form = Form::atomic, .scalar = found->kind} : Spelling{};
    }
    if (rest.empty())
        return vectorsOnly || matricesOnly || isPacked || hasPrefix
                   ? Spelling{}
                   : Spelling{.form = Form::scalar, .scalar = found->kind};
    const std::optional<unsigned> columns = size(rest[0]);
    if (!columns) return {};
    if (rest.size() == 1) {
        if (matricesOnly) return {};
        return {.form = isPacked ? Form::packedVector : Form::vector, .scalar = found->kind, .columns = *columns};
    }
    if (rest.size() != 3 || rest[1] != 'x' || isPacked || vectorsOnly || !hasMatrices(found->kind)) return {};
    const std::optional<unsigned> rows = size(rest[2]);
    return rows ? Spelling{.form = Form::matrix, .scalar = found->kind, .columns = *columns, .rows = *rows}
                : Spelling{};
}

} // namespace

TypeRef builtinType(const TypeTable& types, std::string_view name) {
    using Form = Spelling::Form;
    const Spelling spelling = spell(name);
    switch (spelling.form) {
    case Form::none: return nullptr;
    case Form::void_: return types.void_();
    case Form::auto_: return types.auto_();
    case Form::sampler: return types.sampler();
    case Form::scalar: return types.scalar(spelling.scalar);
    case Form::vector: return types.vector(spelling.scalar, spelling.columns);
    case Form::packedVector: return types.packedVector(spelling.scalar, spelling.columns);
    case Form::matrix: return types.matrix(spelling.scalar, spelling.columns, spelling.rows);
    case Form::atomic: return types.atomic(spelling.scalar);
    }
    return nullptr;
}

bool isBuiltinTypeName(std::string_view name) {
    return spell(name).form != Spelling::Form::none || name == "true_type" || name == "false_type";
}

bool isBuiltinTemplateName(std::string_view name) {
    static constexpr std::string_view names[] = {
        "add_const",
        "add_const_t",
        "add_cv",
        "add_cv_t",
        "add_volatile",
        "add_volatile_t",
        "array",
        "array_ref",
        "atomic",
        "bool_constant",
        "conditional",
        "conditional_t",
        "decay",
        "decay_t",
        "depth2d",
        "depth2d_array",
        "depth2d_ms",
        "depth2d_ms_array",
        "depthcube",
        "depthcube_array",
        "enable_if",
        "enable_if_t",
        "initializer_list",
        "integral_constant",
        "interpolant",
        "is_arithmetic",
        "is_arithmetic_v",
        "is_array",
        "is_array_v",
        "is_base_of",
        "is_base_of_v",
        "is_class",
        "is_class_v",
        "is_const",
        "is_const_v",
        "is_convertible",
        "is_convertible_v",
        "is_empty",
        "is_empty_v",
        "is_enum",
        "is_enum_v",
        "is_floating_point",
        "is_floating_point_v",
        "is_fundamental",
        "is_fundamental_v",
        "is_integral",
        "is_integral_v",
        "is_lvalue_reference",
        "is_lvalue_reference_v",
        "is_matrix",
        "is_matrix_v",
        "is_pointer",
        "is_pointer_v",
        "is_reference",
        "is_reference_v",
        "is_same",
        "is_same_v",
        "is_scalar",
        "is_scalar_v",
        "is_signed",
        "is_signed_v",
        "is_standard_layout",
        "is_standard_layout_v",
        "is_trivial",
        "is_trivial_v",
        "is_trivially_copyable",
        "is_trivially_copyable_v",
        "is_union",
        "is_union_v",
        "is_unsigned",
        "is_unsigned_v",
        "is_vector",
        "is_vector_v",
        "is_void",
        "is_void_v",
        "make_signed",
        "make_signed_t",
        "make_unsigned",
        "make_unsigned_t",
        "matrix",
        "numeric_limits",
        "packed_vec",
        "remove_const",
        "remove_const_t",
        "remove_cv",
        "remove_cv_t",
        "remove_cvref",
        "remove_cvref_t",
        "remove_extent",
        "remove_extent_t",
        "remove_pointer",
        "remove_pointer_t",
        "remove_reference",
        "remove_reference_t",
        "remove_volatile",
        "remove_volatile_t",
        "texture1d",
        "texture1d_array",
        "texture2d",
        "texture2d_array",
        "texture2d_ms",
        "texture2d_ms_array",
        "texture3d",
        "texture_buffer",
        "texturecube",
        "texturecube_array",
        "type_identity",
        "type_identity_t",
        "underlying_type",
        "underlying_type_t",
        "vec",
    };
    static_assert(std::ranges::is_sorted(names));
    static constexpr NameFilter filter(names);
    return filter.mayContain(name) && std::ranges::binary_search(names, name);
}

} // namespace msl
