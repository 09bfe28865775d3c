// What the target of a writer does by itself. Everything that a target lacks is spelled out by legalize() in terms of
// what it has, so that every writer gives the same numbers.
#pragma once

#include "MSL/builtins/BuiltinId.h"

#include <bitset>
#include <initializer_list>

namespace msl {

class BuiltinSet {
  public:
    BuiltinSet() = default;
    BuiltinSet(std::initializer_list<BuiltinId> ids) {
        for (const BuiltinId id : ids)
            add(id);
    }
    void add(BuiltinId id) { bits_.set(static_cast<std::size_t>(id)); }
    bool has(BuiltinId id) const { return bits_.test(static_cast<std::size_t>(id)); }

  private:
    std::bitset<static_cast<std::size_t>(BuiltinId::count_)> bits_;
};

struct Target {
    // Operators at the edges of what they are defined for. Where the target does not define them, legalize() sees to it
    // that a writer never meets them.
    bool definesDivision = false;    // of integers: by zero, and of the least number by -1 (both divide by one)
    bool definesShifts = false;      // by counts past the width (taken modulo the width)
    bool definesConversions = false; // from floating to integer: out of range (saturates), NaN (gives zero)
    bool computesHalves = false;     // functions of half numbers; else they compute in float and round once
    bool computesBfloats = false; // operators, conversions and functions of bfloat numbers; else in float, rounded once

    // The functions that it has, of operands of one shape each. Those of no set are spelled out; the functions of
    // textures, atomics and threads are the writer's in any case.
    BuiltinSet floatFunctions;   // of float numbers (and of half ones where computesHalves)
    BuiltinSet integerFunctions; // of integers of every width
    BuiltinSet wordFunctions;    // of int and uint
};

} // namespace msl
