#include "MSL/source/WarningControl.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

namespace msl {
namespace {

constexpr std::uint32_t allGroups = ~std::uint32_t(0);

constexpr std::uint32_t bits(std::initializer_list<WarningGroup> groups) {
    std::uint32_t result = 0;
    for (const WarningGroup group : groups)
        result |= std::uint32_t(1) << static_cast<unsigned>(group);
    return result;
}

struct NamedGroups {
    std::string_view name;
    std::uint32_t groups;
};

using enum WarningGroup;
constexpr NamedGroups names[] = {
    {"all", allGroups},
    {"everything", allGroups},
    {"extra", allGroups},
    {"#warnings", bits({userWarning})},
    {"array-bounds", bits({arrayBounds})},
    {"bitwise-op-parentheses", bits({parentheses})},
    {"bool-operation", bits({tautologicalCompare})},
    {"constant-conversion", bits({constantConversion})},
    {"conversion", bits({constantConversion, literalConversion})},
    {"division-by-zero", bits({divisionByZero})},
    {"empty-body", bits({emptyBody})},
    {"float-conversion", bits({literalConversion})},
    {"ignored-attributes", bits({ignoredAttributes})},
    {"integer-division", bits({integerDivision})},
    {"literal-conversion", bits({literalConversion})},
    {"literal-range", bits({literalRange})},
    {"logical-not-parentheses", bits({parentheses})},
    {"macro-redefined", bits({macroRedefined})},
    {"missing-declarations", bits({missingDeclarations})},
    {"parentheses", bits({parentheses})},
    {"return-type", bits({returnType})},
    {"self-assign", bits({selfAssign})},
    {"shadow", bits({shadow})},
    {"shadow-all", bits({shadow})},
    {"shift-count-negative", bits({shiftCount})},
    {"shift-count-overflow", bits({shiftCount})},
    {"sometimes-uninitialized", bits({uninitialized})},
    {"tautological-compare", bits({tautologicalCompare})},
    {"tautological-constant-out-of-range-compare", bits({tautologicalCompare})},
    {"tautological-unsigned-zero-compare", bits({tautologicalCompare})},
    {"uninitialized", bits({uninitialized})},
    {"unknown-attributes", bits({unknownAttributes})},
    {"unused", bits({unusedValue, unusedVariable})},
    {"unused-but-set-variable", bits({unusedVariable})},
    {"unused-comparison", bits({unusedValue})},
    {"unused-result", bits({unusedValue})},
    {"unused-value", bits({unusedValue})},
    {"unused-variable", bits({unusedVariable})},
};

} // namespace

WarningControl::State WarningControl::stateAtEnd() const {
    return states_.empty() ? State{0, 0, 0} : states_.back();
}

bool WarningControl::set(std::uint32_t offset, std::string_view option, WarningLevel level) {
    if (!option.starts_with("-W")) return false;
    option.remove_prefix(2);
    const auto found = std::ranges::find(names, option, &NamedGroups::name);
    if (found == std::end(names)) return false;
    State state = stateAtEnd();
    state.offset = offset;
    state.ignored &= ~found->groups;
    state.errors &= ~found->groups;
    if (level == WarningLevel::ignored) state.ignored |= found->groups;
    if (level == WarningLevel::error) state.errors |= found->groups;
    states_.push_back(state);
    return true;
}

void WarningControl::push(std::uint32_t offset) {
    State state = stateAtEnd();
    state.offset = offset;
    pushed_.push_back(state);
}

void WarningControl::pop(std::uint32_t offset) {
    if (pushed_.empty()) return;
    State state = pushed_.back();
    pushed_.pop_back();
    state.offset = offset;
    states_.push_back(state);
}

WarningLevel WarningControl::levelOf(WarningGroup group, std::uint32_t offset) const {
    const auto after = std::ranges::upper_bound(states_, offset, {}, &State::offset);
    if (after == states_.begin()) return WarningLevel::warning;
    const State& state = *std::prev(after);
    const std::uint32_t bit = bits({group});
    if ((state.ignored & bit) != 0) return WarningLevel::ignored;
    return (state.errors & bit) != 0 ? WarningLevel::error : WarningLevel::warning;
}

} // namespace msl
