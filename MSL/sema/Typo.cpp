// "Did you mean": the visible name that is closest to one that does not exist.
#include "MSL/sema/Analyzer.h"

#include <algorithm>
#include <array>

namespace msl {
namespace {

constexpr std::size_t longestName = 64;

// Levenshtein distance, or anything above limit when it is more than that.
unsigned editDistance(std::string_view a, std::string_view b, unsigned limit) {
    if (a.size() > longestName || b.size() > longestName) return limit + 1;
    const std::size_t difference = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
    if (difference > limit) return limit + 1;
    std::array<unsigned, longestName + 1> row{};
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = static_cast<unsigned>(j);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        unsigned diagonal = row[0];
        row[0] = static_cast<unsigned>(i);
        unsigned lowest = row[0];
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const unsigned replaced = diagonal + (a[i - 1] == b[j - 1] ? 0U : 1U);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
            lowest = std::min(lowest, row[j]);
        }
        if (lowest > limit) return limit + 1;
    }
    return row[b.size()];
}

// The best name so far. Names further away than a third of the typo's length are no correction.
class Closest {
  public:
    explicit Closest(std::string_view typo) : typo_(typo), limit_(static_cast<unsigned>(typo.size() + 2) / 3) {}

    bool offer(std::string_view name) {
        if (name == typo_) return false;
        const unsigned distance = editDistance(typo_, name, limit_);
        if (distance > limit_ || distance * 3 > typo_.size()) return false;
        if (!name_.empty() && (distance > distance_ || (distance == distance_ && name >= name_))) return false;
        name_ = name;
        distance_ = distance;
        limit_ = distance;
        return true;
    }
    std::string_view name() const { return name_; }

  private:
    std::string_view typo_;
    std::string_view name_;
    unsigned limit_;
    unsigned distance_ = 0;
};

constexpr std::string_view typeNames[] = {
    "float",     "float2",        "float3",        "float4",        "half",     "half2",    "half3",    "half4",
    "int",       "int2",          "int3",          "int4",          "uint",     "uint2",    "uint3",    "uint4",
    "bool",      "bool2",         "bool3",         "bool4",         "short",    "ushort",   "char",     "uchar",
    "long",      "ulong",         "void",          "float2x2",      "float3x3", "float4x4", "float2x3", "float2x4",
    "float3x2",  "float3x4",      "float4x2",      "float4x3",      "half2x2",  "half3x3",  "half4x4",  "sampler",
    "texture2d", "packed_float2", "packed_float3", "packed_float4", "auto",
};

bool isTypeDecl(const Decl* decl) {
    return decl->kind == DeclKind::struct_ || decl->kind == DeclKind::enum_ || decl->kind == DeclKind::typeAlias;
}

} // namespace

std::string_view Analyzer::nameHere(std::string_view foreign, TypoKind kind) {
    struct Pair {
        std::string_view there;
        std::string_view here;
        bool isType;
    };
    static constexpr Pair pairs[] = {
        {"vec2", "float2", true},     {"vec3", "float3", true},        {"vec4", "float4", true},
        {"ivec2", "int2", true},      {"ivec3", "int3", true},         {"ivec4", "int4", true},
        {"uvec2", "uint2", true},     {"uvec3", "uint3", true},        {"uvec4", "uint4", true},
        {"bvec2", "bool2", true},     {"bvec3", "bool3", true},        {"bvec4", "bool4", true},
        {"mat2", "float2x2", true},   {"mat3", "float3x3", true},      {"mat4", "float4x4", true},
        {"frac", "fract", false},     {"lerp", "mix", false},          {"mod", "fmod", false},
        {"ddx", "dfdx", false},       {"ddy", "dfdy", false},          {"dFdx", "dfdx", false},
        {"dFdy", "dfdy", false},      {"inversesqrt", "rsqrt", false}, {"discard", "discard_fragment", false},
        {"roundEven", "rint", false}, {"isNan", "isnan", false},       {"isInf", "isinf", false},
    };
    for (const Pair& pair : pairs)
        if (pair.there == foreign && (pair.isType ? kind != TypoKind::expression : kind != TypoKind::type))
            return pair.here;
    return {};
}

std::string_view Analyzer::closestName(std::string_view typo, TypoKind kind, Decl** decl, std::size_t argumentCount) {
    if (decl) *decl = nullptr;
    if (const std::string_view here = nameHere(typo, kind); !here.empty()) return here;
    if (typo.size() < 3) return {};
    Closest closest(typo);
    for (const Identifier* identifier : identifiers_.all()) {
        const ScopeEntry* entry = identifier->scope;
        if (!entry) continue;
        const bool isType = isTypeDecl(entry->decl);
        const bool isFunction = entry->decl->kind == DeclKind::function;
        if ((kind == TypoKind::type) != isType && !(kind == TypoKind::call && isType)) continue;
        if (isFunction && kind == TypoKind::expression) continue;
        if (isFunction && argumentCount != anyCount) { // a name that no such call fits was not meant
            bool fits = false;
            for (const ScopeEntry* at = entry; at && at->depth == entry->depth && !fits; at = at->hidden)
                if (at->decl->kind == DeclKind::function) {
                    const auto* function = static_cast<const FunctionDecl*>(at->decl);
                    fits = argumentCount <= function->parameters.size() &&
                           (argumentCount == function->parameters.size() ||
                            function->parameters[argumentCount]->initializer);
                }
            if (!fits) continue;
        }
        if (closest.offer(identifier->text) && decl) *decl = entry->decl;
    }
    if (kind == TypoKind::call && metalIsVisible_)
        for (const BuiltinFunction& builtin : builtinFunctions())
            if ((argumentCount == anyCount || (argumentCount >= builtin.signature->requiredCount &&
                                               argumentCount <= builtin.signature->parameterCount)) &&
                closest.offer(builtin.name) && decl)
                *decl = nullptr;
    if (kind != TypoKind::expression)
        for (const std::string_view name : typeNames)
            if (closest.offer(name) && decl) *decl = nullptr;
    return closest.name();
}

void Analyzer::errorOfName(SourceLocation at, std::string message, std::string_view written, std::string_view meant) {
    if (meant.empty()) return error(at, std::move(message));
    message += "; did you mean '" + std::string(meant) + "'?";
    diagnostics_.error(at, std::move(message), {at, written, meant});
}

std::string_view Analyzer::closestOf(std::string_view typo, std::span<const std::string_view> names) const {
    Closest closest(typo);
    for (const std::string_view name : names)
        closest.offer(name);
    return closest.name();
}

} // namespace msl
