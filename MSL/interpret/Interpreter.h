// Executes an entry point of an IR module on given memory, one instruction after the other, and stops with a message at
// the first access outside of what it indexes. It is slow and exact: what a writer's code must do can be compared with
// it, and what the passes promise of indexes is checked by running them. It knows the IR and nothing else.
//
// Numbers are those of MSL/constant. Memory of buffers is bytes in Metal's layout; everything else is kept number by
// number. What is not defined (a variable before its first store, ir::Value::Kind::undefined) holds a pattern that the
// caller chooses. The threads of a group run in turn, each up to its next barrier; there are no SIMD-groups, no
// textures and no neighbours to differ from, and a program that asks for them is reported as not supported.
//
// Any thread; a run keeps nothing.
#pragma once

#include "MSL/constant/Scalar.h"
#include "MSL/ir/Ir.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace msl::interpret {

struct Buffer {
    std::uint32_t index = 0; // [[buffer(n)]]
    std::span<std::byte> bytes;
};

// How many elements lie behind a pointer argument [[threadgroup(n)]]; one that is not named has one element.
struct ThreadgroupLength {
    std::uint32_t index = 0;
    std::uint32_t count = 1;
};

// A component of a function constant; see ir::Value::bits. One that is not named is zero.
struct Constant {
    std::uint64_t number = 0;
    std::uint64_t bits = 0;
};

// What a stage takes or gives: a system value, or what lies at a location.
struct StageValue {
    ir::SystemValue systemValue = ir::SystemValue::none;
    std::uint32_t location = 0;
    std::vector<constant::Scalar> components;
};

struct Launch {
    std::vector<Buffer> buffers;
    std::vector<ThreadgroupLength> lengths;
    std::vector<Constant> constants;
    std::vector<StageValue> inputs;                  // vertex and fragment functions
    std::array<std::uint32_t, 3> groups = {1, 1, 1}; // kernels
    std::array<std::uint32_t, 3> groupSize = {1, 1, 1};
    std::uint64_t mostSteps = 10'000'000;               // instructions, of all threads together
    std::uint64_t undefinedBits = 0x7A7A7A7A'7A7A7A7AU; // cut to the width of each number
};

struct Result {
    enum class Outcome : std::uint8_t {
        finished,
        trapped,      // an access outside of its object, or IR that breaks its contract
        notSupported, // the program asks for what there is not
        tooLong,      // mostSteps were not enough
    } outcome = Outcome::finished;
    std::string message; // empty when finished
    std::uint64_t steps = 0;
    std::vector<StageValue> outputs; // vertex and fragment functions
    bool isDiscarded = false;        // fragment functions
};

Result run(const ir::Module& module, const ir::Entry& entry, const Launch& launch);

} // namespace msl::interpret
