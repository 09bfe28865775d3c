// Which members of a struct in a buffer any function reads. A host that knows a member to be left alone knows that the
// picture does not depend on it.
#pragma once

#include "MSL/ir/Ir.h"

#include <cstdint>
#include <unordered_map>

namespace msl {

// Bit n for member n. Every bit where more is read than single members, or it is not known: a struct copied whole, one
// that is also seen as bytes, one with more than 64 members, anything else than a struct. A buffer that is not read is
// not among them.
std::unordered_map<const ir::Variable*, std::uint64_t> findMembersRead(const ir::Module& module);

} // namespace msl
