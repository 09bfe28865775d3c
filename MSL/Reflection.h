// What a host needs to know to use a compiled module: the entry points, which Metal buffer, texture and sampler index
// became which descriptor set and binding, and how structs lie in memory. A plain value; nothing in it refers to the
// compiler.
//
// Binding convention: descriptor set 0 holds the arguments of vertex and kernel functions, set 1 those of fragment
// functions. [[buffer(n)]] is binding n, [[texture(n)]] binding 32 + n, [[sampler(n)]] binding 160 + n, and the
// constexpr samplers found in the text are numbered from 176. The colour attachment n, where a fragment function reads
// it
// ([[color(n)]] on an input), is an input attachment of index n at binding 248 + n of set 1. The members of an argument
// buffer at [[buffer(n)]] are bindings of their own: member [[id(m)]] is binding 256 + 64n + m; a member that is a
// plain value is a uniform buffer.
//
// Specialisation constants: 0, 1 and 2 are a kernel's threadgroup size. 16 + n is the number of elements behind the
// pointer argument [[threadgroup(n)]]. [[function_constant(n)]] takes eight: 64 + 8n is its value (and those that
// follow the other components of a vector), 64 + 8n + 7 is a bool, whether it is defined. 48 is the number of samples
// of a pixel in what is drawn to (1, 2, 4, 8 or 16; one when the host says nothing), for functions that ask for it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace msl {

enum class Stage : std::uint8_t { vertex, fragment, kernel };

enum class BindingKind : std::uint8_t {
    uniformBuffer, // constant T&: a Vulkan uniform buffer in scalar layout
    storageBuffer, // constant T* and device pointers and references: a Vulkan storage buffer in scalar layout
    sampledTexture,
    storageTexture,
    texelBuffer,        // texture_buffer: a uniform texel buffer
    storageTexelBuffer, // texture_buffer that is written
    sampler,
    constexprSampler, // an immutable sampler; see Binding::samplerState
    inputAttachment,  // the colour attachment that a fragment function reads, with one sample a pixel; its format has
                      // the kind of components that typeName has
};

inline constexpr std::uint32_t textureBindingBase = 32;
inline constexpr std::uint32_t samplerBindingBase = 160;
inline constexpr std::uint32_t constexprSamplerBindingBase = 176;
inline constexpr std::uint32_t inputAttachmentBindingBase = 248;
inline constexpr std::uint32_t argumentBufferBindingBase = 256;
inline constexpr std::uint32_t argumentBufferBindings = 64; // of each
inline constexpr std::uint32_t threadgroupLengthIdBase = 16;
inline constexpr std::uint32_t sampleCountId = 48;
inline constexpr std::uint32_t functionConstantIdBase = 64;
inline constexpr std::uint32_t functionConstantIds = 8;       // of each
inline constexpr std::uint32_t functionConstantDefinedId = 7; // among them

struct SamplerState {
    enum class Filter : std::uint8_t { nearest, linear };
    enum class MipFilter : std::uint8_t { none, nearest, linear };
    enum class Address : std::uint8_t { clampToZero, clampToEdge, clampToBorder, repeat, mirroredRepeat };
    enum class Border : std::uint8_t { transparentBlack, opaqueBlack, opaqueWhite };
    enum class Compare : std::uint8_t { never, less, lessEqual, greater, greaterEqual, equal, notEqual, always };
    Filter magFilter = Filter::nearest;
    Filter minFilter = Filter::nearest;
    MipFilter mipFilter = MipFilter::none;
    std::array<Address, 3> address = {Address::clampToEdge, Address::clampToEdge, Address::clampToEdge};
    Border border = Border::transparentBlack;
    Compare compare = Compare::never;
    bool compares = false; // the text names a compare function
    bool normalizedCoordinates = true;
    float lodMin = 0;
    float lodMax = 3.402823466e+38F;
    std::uint32_t maxAnisotropy = 1;
    friend bool operator==(const SamplerState&, const SamplerState&) = default;
};

struct Binding {
    std::string name; // the argument's name
    BindingKind kind = BindingKind::uniformBuffer;
    std::uint32_t metalIndex = 0; // [[buffer(n)]], [[texture(n)]], [[color(n)]] ...; [[id(n)]] in an argument buffer
    std::int32_t argumentBuffer = -1; // the buffer index of the argument buffer that it is a member of, else -1
    std::uint32_t arrayCount = 1;     // descriptors of an array of textures or samplers
    std::uint32_t set = 0;
    std::uint32_t binding = 0;
    std::string typeName;            // the pointee of a buffer argument, the texture type of a texture
    std::uint32_t byteSize = 0;      // buffers: size of one element, of which a reference binds one, or more bytes when
                                     // its type ends in an array of one; 0 otherwise
    std::uint32_t byteAlignment = 0; // buffers: alignment of one element
    bool isArray = false;            // buffers: a pointer, any number of elements
    bool isWritten = false;          // device memory that the function may write
    std::uint64_t membersRead = 0;   // buffers: bit n, some function of the text reads member n of the struct that is
                                   // bound; every bit where that is not one struct, or more is read than single members
    bool isAtomic = false;     // storageTexture, storageTexelBuffer: has atomic operations, so its format is that of
                               // one 32-bit integer (R32_SINT for int, R32_UINT for uint)
    SamplerState samplerState; // constexprSampler only
};

// One value that flows between stages or comes from the system.
struct StageVariable {
    std::string name;
    std::string typeName;
    std::string attribute;      // "position", "vertex_id", "user(locn0)", "color(0)" ...; empty for a plain member
    std::int32_t location = -1; // Vulkan location, -1 for built-in values
};

// A threadgroup argument of a kernel.
struct ThreadgroupArgument {
    std::string name;
    std::uint32_t metalIndex = 0;
    std::string typeName; // of an element
    std::uint32_t byteSize = 0;
    bool isArray = false; // a pointer: specialisation constant 16 + metalIndex says how many elements there are
};

// A constant that the host may give. One that it does not give is zero, and not defined.
struct FunctionConstant {
    std::string name;
    std::string typeName;
    std::uint32_t metalIndex = 0; // [[function_constant(n)]]
    std::uint32_t byteSize = 0;   // of one component, as the specialisation constant has it: a bool takes 4
    std::uint32_t componentCount = 1;
};

struct EntryPoint {
    std::string name;
    Stage stage = Stage::fragment;
    std::vector<Binding> bindings;
    std::vector<StageVariable> inputs;
    std::vector<StageVariable> outputs;
    std::array<std::uint32_t, 3> localSize = {1, 1, 1}; // kernels: default; specialisation constants 0, 1, 2 set it
    std::vector<ThreadgroupArgument> threadgroupArguments;
    bool mayDiscard = false;            // fragment: it does not write every pixel that it covers
    bool usesDerivatives = false;       // fragment: derivatives, or samples that take their level from them
    std::uint32_t threadgroupBytes = 0; // kernels: without the arguments whose length the host sets
};

struct StructMember {
    std::string name;
    std::string typeName;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
};

struct StructLayout {
    std::string name;
    std::uint32_t size = 0;
    std::uint32_t alignment = 0;
    std::vector<StructMember> members;
};

struct Reflection {
    std::vector<EntryPoint> entryPoints;
    std::vector<FunctionConstant> functionConstants; // those that the functions use
    // Some function reaches memory by an address: the device needs bufferDeviceAddress and shaderInt64. A pointer in a
    // buffer is 8 bytes, the VkDeviceAddress of what it points to; a null pointer is 0.
    bool usesAddresses = false;
    std::vector<StructLayout> structs; // every complete struct of the text, in source order, in Metal's layout

    const EntryPoint* entryPoint(std::string_view name) const {
        for (const EntryPoint& entry : entryPoints)
            if (entry.name == name) return &entry;
        return nullptr;
    }
    const StructLayout* structLayout(std::string_view name) const {
        for (const StructLayout& layout : structs)
            if (layout.name == name) return &layout;
        return nullptr;
    }
};

// The reflection as JSON text (UTF-8, keys as the members above), as `mslc --reflect` prints it.
std::string toJson(const Reflection& reflection);

} // namespace msl
