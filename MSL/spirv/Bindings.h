// Where Vulkan finds what Metal numbers: descriptor set, binding and kind of each resource of a module, as
// Reflection.h describes them, worked out from the language's own indices.
#pragma once

#include "MSL/Reflection.h"
#include "MSL/ir/Ir.h"

#include <cstdint>
#include <vector>

namespace msl::spirv {

struct ResourceBinding {
    BindingKind kind = BindingKind::uniformBuffer;
    std::uint32_t set = 0;
    std::uint32_t binding = 0;
};

class Bindings {
  public:
    explicit Bindings(const ir::Module& module);

    // Of a buffer, texture or sampler of the module.
    const ResourceBinding& of(const ir::Variable& variable) const { return bindings_[variable.id]; }

  private:
    std::vector<ResourceBinding> bindings_; // by Variable::id
};

} // namespace msl::spirv
