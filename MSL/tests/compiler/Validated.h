// What Vulkan's validator says of a module.
#pragma once

#include <cstdint>
#include <spirv-tools/libspirv.hpp>
#include <string>
#include <vector>

namespace msl::test {

// The messages of Vulkan 1.3's validator; empty when it has none.
inline std::string problems(const std::vector<std::uint32_t>& spirv) {
    std::string found;
    spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_3);
    tools.SetMessageConsumer([&](spv_message_level_t, const char*, const spv_position_t&, const char* message) {
        found += message;
        found += '\n';
    });
    spvtools::ValidatorOptions options;
    options.SetScalarBlockLayout(true);
    tools.Validate(spirv.data(), spirv.size(), options);
    return found;
}

} // namespace msl::test
