#include "GlassHobRender/program/LibraryFromMSL.h"

#include <algorithm>
#include <utility>

namespace glasshob {
namespace {

gpu::ShaderStage stage(msl::Stage value) {
    switch (value) {
    case msl::Stage::vertex: return gpu::ShaderStage::vertex;
    case msl::Stage::fragment: return gpu::ShaderStage::fragment;
    case msl::Stage::kernel: return gpu::ShaderStage::kernel;
    }
    return gpu::ShaderStage::fragment;
}

gpu::ArgumentKind argumentKind(msl::BindingKind value) {
    switch (value) {
    case msl::BindingKind::uniformBuffer: return gpu::ArgumentKind::uniformBuffer;
    case msl::BindingKind::storageBuffer: return gpu::ArgumentKind::storageBuffer;
    case msl::BindingKind::sampledTexture: return gpu::ArgumentKind::sampledTexture;
    case msl::BindingKind::texelBuffer:
    case msl::BindingKind::inputAttachment:
    case msl::BindingKind::storageTexelBuffer: // of functions that are left out
    case msl::BindingKind::storageTexture: return gpu::ArgumentKind::storageTexture;
    case msl::BindingKind::sampler: return gpu::ArgumentKind::sampler;
    case msl::BindingKind::constexprSampler: return gpu::ArgumentKind::constantSampler;
    }
    return gpu::ArgumentKind::uniformBuffer;
}

gpu::SamplerFilter filter(msl::SamplerState::Filter value) {
    return value == msl::SamplerState::Filter::linear ? gpu::SamplerFilter::linear : gpu::SamplerFilter::nearest;
}

gpu::SamplerMipFilter mipFilter(msl::SamplerState::MipFilter value) {
    switch (value) {
    case msl::SamplerState::MipFilter::none: return gpu::SamplerMipFilter::none;
    case msl::SamplerState::MipFilter::nearest: return gpu::SamplerMipFilter::nearest;
    case msl::SamplerState::MipFilter::linear: return gpu::SamplerMipFilter::linear;
    }
    return gpu::SamplerMipFilter::none;
}

gpu::SamplerAddressMode address(msl::SamplerState::Address value) {
    switch (value) {
    case msl::SamplerState::Address::clampToZero: return gpu::SamplerAddressMode::clampToZero;
    case msl::SamplerState::Address::clampToEdge: return gpu::SamplerAddressMode::clampToEdge;
    case msl::SamplerState::Address::clampToBorder: return gpu::SamplerAddressMode::clampToBorder;
    case msl::SamplerState::Address::repeat: return gpu::SamplerAddressMode::repeat;
    case msl::SamplerState::Address::mirroredRepeat: return gpu::SamplerAddressMode::mirroredRepeat;
    }
    return gpu::SamplerAddressMode::clampToEdge;
}

gpu::SamplerBorderColor border(msl::SamplerState::Border value) {
    switch (value) {
    case msl::SamplerState::Border::transparentBlack: return gpu::SamplerBorderColor::transparentBlack;
    case msl::SamplerState::Border::opaqueBlack: return gpu::SamplerBorderColor::opaqueBlack;
    case msl::SamplerState::Border::opaqueWhite: return gpu::SamplerBorderColor::opaqueWhite;
    }
    return gpu::SamplerBorderColor::transparentBlack;
}

gpu::CompareFunction compare(msl::SamplerState::Compare value) {
    switch (value) {
    case msl::SamplerState::Compare::never: return gpu::CompareFunction::never;
    case msl::SamplerState::Compare::less: return gpu::CompareFunction::less;
    case msl::SamplerState::Compare::lessEqual: return gpu::CompareFunction::lessEqual;
    case msl::SamplerState::Compare::greater: return gpu::CompareFunction::greater;
    case msl::SamplerState::Compare::greaterEqual: return gpu::CompareFunction::greaterEqual;
    case msl::SamplerState::Compare::equal: return gpu::CompareFunction::equal;
    case msl::SamplerState::Compare::notEqual: return gpu::CompareFunction::notEqual;
    case msl::SamplerState::Compare::always: return gpu::CompareFunction::always;
    }
    return gpu::CompareFunction::never;
}

gpu::SamplerDescriptor sampler(const msl::SamplerState& state) {
    return {.minFilter = filter(state.minFilter),
            .magFilter = filter(state.magFilter),
            .mipFilter = mipFilter(state.mipFilter),
            .addressS = address(state.address[0]),
            .addressT = address(state.address[1]),
            .addressR = address(state.address[2]),
            .borderColor = border(state.border),
            .normalizedCoordinates = state.normalizedCoordinates,
            .compares = state.compares,
            .compareFunction = compare(state.compare),
            .lodMin = state.lodMin,
            .lodMax = state.lodMax,
            .maxAnisotropy = state.maxAnisotropy};
}

} // namespace

// A pasted function that nobody draws with may want more.
bool fitsTheLayer(const msl::EntryPoint& entry) {
    return std::ranges::none_of(entry.bindings, [](const msl::Binding& binding) {
        return binding.arrayCount != 1 || binding.argumentBuffer >= 0 ||
               binding.kind == msl::BindingKind::inputAttachment || binding.kind == msl::BindingKind::texelBuffer ||
               binding.kind == msl::BindingKind::storageTexelBuffer;
    });
}

gpu::LibraryDescriptor libraryDescriptor(msl::CompiledLibrary library, std::string label) {
    gpu::LibraryDescriptor descriptor;
    descriptor.label = std::move(label);
    for (const msl::EntryPoint& entry : library.reflection.entryPoints) {
        if (!fitsTheLayer(entry)) continue;
        gpu::FunctionDescriptor& function = descriptor.functions.emplace_back();
        function.name = entry.name;
        function.stage = stage(entry.stage);
        function.threadgroupMemory = entry.threadgroupBytes;
        if (entry.stage == msl::Stage::fragment) function.sampleCountConstant = msl::sampleCountId;
        for (const msl::ThreadgroupArgument& argument : entry.threadgroupArguments)
            if (argument.isArray)
                function.threadgroupArguments.push_back({argument.metalIndex, std::max(argument.byteSize, 1U),
                                                         msl::threadgroupLengthIdBase + argument.metalIndex});
        for (const msl::Binding& binding : entry.bindings) {
            gpu::ArgumentBinding& argument = function.arguments.emplace_back();
            argument.kind = argumentKind(binding.kind);
            argument.index = binding.metalIndex;
            argument.set = binding.set;
            argument.binding = binding.binding;
            argument.minimumLength = binding.byteSize;
            argument.isWritten = binding.isWritten;
            argument.sampler = sampler(binding.samplerState);
        }
    }
    descriptor.spirv = std::move(library.spirv);
    return descriptor;
}

} // namespace glasshob
