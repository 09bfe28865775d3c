#include "GPU/Vulkan/Objects.h"

#include <algorithm>

namespace gpu {

Library::Library(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Library::~Library() = default;

Library::Impl::~Impl() {
    for (const std::vector<VkSampler>& samplers : constantSamplers)
        for (VkSampler sampler : samplers)
            vkDestroySampler(device->handle, sampler, nullptr);
    vkDestroyShaderModule(device->handle, module, nullptr);
}

VkSampler Library::Impl::constantSampler(const FunctionDescriptor& function, std::size_t argument) const {
    return constantSamplers[std::size_t(&function - descriptor.functions.data())][argument];
}

std::shared_ptr<Function> Library::makeFunction(std::string_view name, std::vector<ConstantValue> constants) const {
    for (const FunctionDescriptor& function : impl_->descriptor.functions)
        if (function.name == name)
            return std::make_shared<Function>(shared_from_this(), function, std::move(constants));
    return nullptr;
}

std::vector<std::string> Library::functionNames() const {
    std::vector<std::string> names;
    for (const FunctionDescriptor& function : impl_->descriptor.functions)
        names.push_back(function.name);
    return names;
}

namespace {

constexpr std::uint32_t spirvMagic = 0x07230203;

// What the layer relies on when it makes sets and fills them.
bool argumentsAreUsable(const FunctionDescriptor& function) {
    const std::uint32_t set = function.stage == ShaderStage::fragment ? 1 : 0;
    std::vector<std::uint32_t> bindings;
    for (const ArgumentBinding& argument : function.arguments) {
        std::uint32_t limit = UINT32_MAX;
        switch (argument.kind) {
        case ArgumentKind::uniformBuffer:
        case ArgumentKind::storageBuffer: limit = maxBufferArguments; break;
        case ArgumentKind::sampledTexture:
        case ArgumentKind::storageTexture: limit = maxTextureArguments; break;
        case ArgumentKind::sampler: limit = maxSamplerArguments; break;
        case ArgumentKind::constantSampler: break;
        }
        if (argument.set != set || argument.index >= limit ||
            std::ranges::find(bindings, argument.binding) != bindings.end())
            return false;
        bindings.push_back(argument.binding);
    }
    return true;
}

} // namespace

Result<std::shared_ptr<Library>> Device::makeLibrary(LibraryDescriptor descriptor) {
    vulkan::VulkanDevice& core = *impl_->core;
    if (descriptor.spirv.size() < 5 || descriptor.spirv.front() != spirvMagic)
        return std::unexpected(Error{ErrorKind::invalidArgument, "The library is not a SPIR-V module."});
    if (!std::ranges::all_of(descriptor.functions, argumentsAreUsable))
        return std::unexpected(
            Error{ErrorKind::invalidArgument, "The library's table of arguments does not fit the layer's sets."});
    if (std::string problem = core.features.missingFor(descriptor.spirv); !problem.empty())
        return std::unexpected(Error{ErrorKind::unsupported, std::move(problem)});

    auto impl = std::make_unique<Library::Impl>();
    impl->device = impl_->core;
    impl->descriptor = std::move(descriptor);
    for (const FunctionDescriptor& function : impl->descriptor.functions) {
        std::vector<VkSampler>& samplers = impl->constantSamplers.emplace_back();
        for (const ArgumentBinding& argument : function.arguments) {
            samplers.push_back(VK_NULL_HANDLE);
            if (argument.kind != ArgumentKind::constantSampler) continue;
            Result<VkSampler> sampler = vulkan::makeSampler(core, argument.sampler);
            if (!sampler) return std::unexpected(sampler.error());
            samplers.back() = *sampler;
        }
    }
    const VkShaderModuleCreateInfo info{.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO,
                                        .pNext = nullptr,
                                        .flags = 0,
                                        .codeSize = impl->descriptor.spirv.size() * sizeof(std::uint32_t),
                                        .pCode = impl->descriptor.spirv.data()};
    if (auto made = core.call("loading a shader library",
                              [&] { return vkCreateShaderModule(core.handle, &info, nullptr, &impl->module); });
        !made)
        return std::unexpected(made.error());
    return std::make_shared<Library>(std::move(impl));
}

} // namespace gpu
