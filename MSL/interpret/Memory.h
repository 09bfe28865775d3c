// Values and memory of the interpreter. A value is the list of its numbers, in the order of its parts; so is memory
// that is not a buffer's. A buffer is the caller's bytes.
#pragma once

#include "MSL/constant/Scalar.h"
#include "MSL/ir/Ir.h"

#include <cstddef>
#include <span>
#include <vector>

namespace msl::interpret {

using Numbers = std::vector<constant::Scalar>;

// How many numbers a value or object of the type has; of a runtime-sized array, one element's.
std::size_t numberCount(TypeRef type);

// Adds the type's numbers, each of its kind and with these bits.
void fill(TypeRef type, std::uint64_t bits, Numbers& out);

// Adds the numbers of a constant.
void appendConstant(const ir::Module& module, const ir::Value& value, Numbers& out);

// An object, or a part of one that a place leads to.
struct Location {
    bool isBytes = false;
    std::span<std::byte> bytes; // of the whole object
    Numbers* numbers = nullptr;
    std::uint64_t offset = 0; // in bytes or numbers
    TypeRef type = nullptr;
};

// False: it reaches past the object's end.
bool read(const Location& from, Numbers& out);
bool write(const Location& to, std::span<const constant::Scalar> numbers);

} // namespace msl::interpret
