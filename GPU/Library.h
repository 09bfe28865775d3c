// A compiled shader module, and the functions in it. Immutable; shared by the pipelines made from it; any thread.
//
// A library is described by SPIR-V and by what each entry point expects in its argument tables: which buffer, texture
// and sampler index of the encoder's tables feeds which descriptor set and binding. The layer takes set 0 for vertex
// and kernel functions and set 1 for fragment functions.
#pragma once

#include "GPU/Texture.h"
#include "GPU/Types.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gpu {

enum class ShaderStage : std::uint8_t { vertex, fragment, kernel };

enum class ArgumentKind : std::uint8_t {
    uniformBuffer,
    storageBuffer,
    sampledTexture,
    storageTexture,
    sampler,
    constantSampler, // written in the shader's text; the layer supplies it
};

struct ArgumentBinding {
    ArgumentKind kind = ArgumentKind::uniformBuffer;
    std::uint32_t index = 0; // in the encoder's table of this kind; not used by constantSampler
    std::uint32_t set = 0;
    std::uint32_t binding = 0;
    std::uint32_t minimumLength = 0; // buffers: shorter inline bytes are completed with zeros
    bool isWritten = false;          // the function writes to it
    SamplerDescriptor sampler = {};  // constantSampler
};

// A kernel's argument in threadgroup memory whose length the host sets.
struct ThreadgroupArgument {
    std::uint32_t index = 0;       // of the argument
    std::uint32_t elementSize = 1; // in bytes
    std::uint32_t constant = 0;    // the specialisation constant that holds the number of elements
};

// A value for a specialisation constant: the low `size` bytes (2, 4 or 8; a bool takes 4) of `bits`.
struct ConstantValue {
    std::uint32_t constant = 0;
    std::uint32_t size = 4;
    std::uint64_t bits = 0;
};

struct FunctionDescriptor {
    std::string name;
    ShaderStage stage = ShaderStage::fragment;
    std::vector<ArgumentBinding> arguments = {};
    // Kernels: specialisation constants 0, 1 and 2 set the threadgroup's size.
    bool hasSpecializedThreadgroup = true;
    // Kernels: memory of each threadgroup, without the arguments below.
    std::uint32_t threadgroupMemory = 0;
    std::vector<ThreadgroupArgument> threadgroupArguments = {};
    // Fragment functions: the specialisation constant that takes the number of samples of a pixel, when there is one.
    std::optional<std::uint32_t> sampleCountConstant = {};
};

struct LibraryDescriptor {
    std::vector<std::uint32_t> spirv;
    std::vector<FunctionDescriptor> functions;
    std::string label; // for messages and debuggers
};

class Function;

class Library : public std::enable_shared_from_this<Library> {
  public:
    // Null when the library has no function of that name. Specialisation constants without a value keep that of the
    // module.
    std::shared_ptr<Function> makeFunction(std::string_view name, std::vector<ConstantValue> constants = {}) const;
    std::vector<std::string> functionNames() const;

    ~Library();
    struct Impl;
    explicit Library(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

class Function {
  public:
    const std::string& name() const { return descriptor_->name; }
    ShaderStage stage() const { return descriptor_->stage; }
    const FunctionDescriptor& descriptor() const { return *descriptor_; }
    const std::shared_ptr<const Library>& library() const { return library_; }

    const std::vector<ConstantValue>& constants() const { return constants_; }

    Function(std::shared_ptr<const Library> library, const FunctionDescriptor& descriptor,
             std::vector<ConstantValue> constants = {})
        : library_(std::move(library)), descriptor_(&descriptor), constants_(std::move(constants)) {}

  private:
    std::shared_ptr<const Library> library_;
    const FunctionDescriptor* descriptor_; // inside the library
    std::vector<ConstantValue> constants_;
};

} // namespace gpu
