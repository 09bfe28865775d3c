// IR to a SPIR-V 1.6 module that is valid for Vulkan 1.3.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/legalize/Target.h"
#include "MSL/spirv/Bindings.h"

#include <cstdint>
#include <expected>
#include <string>
#include <vector>

namespace msl::spirv {

struct WriterOptions {
    bool debugNames = false;
};

// What a module may hold: legalize() it for this first.
const Target& target();

// Fails only on what the IR should not hold (a compiler bug); the text then says what.
std::expected<std::vector<std::uint32_t>, std::string> write(const ir::Module& module, const Bindings& bindings,
                                                             const WriterOptions& options);

// What a host needs to know of it. Before or after legalize() makes no difference.
Reflection reflect(const ir::Module& module, const Bindings& bindings);

} // namespace msl::spirv
