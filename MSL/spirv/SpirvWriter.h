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

struct WriterError {
    SourceLocation at;
    std::string message;
    // True of what the IR should not hold, a bug of the compiler; false when the text goes over a limit of SPIR-V.
    bool isInternal = false;
};

std::expected<std::vector<std::uint32_t>, WriterError> write(const ir::Module& module, const Bindings& bindings,
                                                             const WriterOptions& options);

// What a host needs to know of it. Before or after legalize() makes no difference.
Reflection reflect(const ir::Module& module, const Bindings& bindings);

} // namespace msl::spirv
