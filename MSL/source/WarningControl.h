// Which warnings are reported, and where: the groups that warnings belong to, under the names that clang gives them,
// and what "#pragma clang diagnostic" has made of each group at every place of the text. Pragmas are added in the order
// of the text. Part of one compile's Diagnostics, not thread safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace msl {

enum class WarningGroup : std::uint8_t {
    other, // no name of its own
    arrayBounds,
    constantConversion,
    divisionByZero,
    emptyBody,
    ignoredAttributes,
    integerDivision,
    literalConversion,
    literalRange,
    macroRedefined,
    missingDeclarations,
    parentheses,
    returnType,
    selfAssign,
    shadow,
    shiftCount,
    tautologicalCompare,
    uninitialized,
    unknownAttributes,
    unusedValue,
    unusedVariable,
    userWarning,
};

enum class WarningLevel : std::uint8_t { ignored, warning, error };

class WarningControl {
  public:
    // "-Wshadow", "-Wunused": true when there is such a group.
    bool set(std::uint32_t offset, std::string_view option, WarningLevel level);
    void push(std::uint32_t offset);
    void pop(std::uint32_t offset); // without a push before it, nothing

    WarningLevel levelOf(WarningGroup group, std::uint32_t offset) const;

  private:
    // What holds from an offset on: one bit a group.
    struct State {
        std::uint32_t offset;
        std::uint32_t ignored;
        std::uint32_t errors;
    };
    State stateAtEnd() const;

    std::vector<State> states_;
    std::vector<State> pushed_;
};

} // namespace msl
