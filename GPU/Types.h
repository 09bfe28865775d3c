// The small enumerations and value types that the objects of the GPU layer share.
#pragma once

#include <cstddef>
#include <cstdint>

namespace gpu {

enum class PixelFormat : std::uint8_t {
    invalid,
    bgra8Unorm,
    rgba16Float,
    r32Uint,
    r32Sint,
    rgba32Float,
    rgba32Uint,
    rgba32Sint,
    depth32Float,
};
enum class TextureType : std::uint8_t {
    type1D,
    type1DArray,
    type2D,
    type2DArray,
    type2DMultisample,
    type3D,
    typeCube,
    typeCubeArray,
};

// shared: memory that the CPU reads and writes through contents()/getBytes(). privateToDevice: the GPU's own.
enum class StorageMode : std::uint8_t { shared, privateToDevice };

enum class LoadAction : std::uint8_t { dontCare, load, clear };
enum class StoreAction : std::uint8_t { dontCare, store, multisampleResolve };
enum class PrimitiveType : std::uint8_t { point, line, lineStrip, triangle, triangleStrip };
enum class PrimitiveTopologyClass : std::uint8_t { unspecified, point, line, triangle };
enum class CompareFunction : std::uint8_t {
    never,
    less,
    equal,
    lessEqual,
    greater,
    notEqual,
    greaterEqual,
    always,
};
enum class BlendFactor : std::uint8_t { zero, one, sourceAlpha, oneMinusSourceAlpha };
enum class CullMode : std::uint8_t { none, front, back };
enum class Winding : std::uint8_t { clockwise, counterClockwise };

struct Size {
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    std::uint32_t depth = 1;
    friend bool operator==(const Size&, const Size&) = default;
};

// How much memory a kernel's threadgroup argument gets; at least one element.
struct ThreadgroupLength {
    std::uint32_t index = 0; // of the argument
    std::uint32_t bytes = 0;
};

// A rectangle of texels; (0, 0) is the top-left one.
struct Region {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

struct ClearColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
};

struct Viewport {
    double originX = 0;
    double originY = 0;
    double width = 0;
    double height = 0;
};

// Bytes of one texel; 0 for PixelFormat::invalid.
constexpr std::size_t bytesPerPixel(PixelFormat format) {
    switch (format) {
    case PixelFormat::bgra8Unorm:
    case PixelFormat::r32Uint:
    case PixelFormat::r32Sint:
    case PixelFormat::depth32Float: return 4;
    case PixelFormat::rgba16Float: return 8;
    case PixelFormat::rgba32Float:
    case PixelFormat::rgba32Uint:
    case PixelFormat::rgba32Sint: return 16;
    case PixelFormat::invalid: break;
    }
    return 0;
}

// The limits of the argument tables of one stage.
inline constexpr std::uint32_t maxBufferArguments = 31;
inline constexpr std::uint32_t maxTextureArguments = 128;
inline constexpr std::uint32_t maxSamplerArguments = 16;
inline constexpr std::size_t maxInlineBytes = 16384; // setBytes takes no more; what every device binds as a block

} // namespace gpu
