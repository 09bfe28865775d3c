// An image of the GPU, and the sampler that reads one. Made by Device::makeTexture().
//
// A shared texture can be read by the CPU after the command buffer that drew it has finished: getBytes() copies, and
// contents() looks at the texels in place. Where the device can draw into memory that the CPU sees (the CPU driver
// does) neither the GPU nor the layer copies anything; elsewhere the layer appends one copy to every command buffer
// that draws into the texture. Reading while a command buffer that draws into the texture is unfinished gives torn
// texels.
#pragma once

#include "GPU/Error.h"
#include "GPU/Types.h"

#include <cstddef>
#include <memory>

namespace gpu {

struct TextureUsage {
    bool shaderRead = true;
    bool renderTarget = false; // two-dimensional textures of one level only
    bool shaderWrite = false;  // kernels write it (its level 0)
};

struct TextureDescriptor {
    TextureType type = TextureType::type2D;
    PixelFormat format = PixelFormat::bgra8Unorm;
    std::uint32_t width = 0;
    std::uint32_t height = 0;      // 1 for one-dimensional types; as the width for cubes
    std::uint32_t depth = 1;       // of type3D
    std::uint32_t arrayLength = 1; // of arrays; counts whole cubes
    std::uint32_t mipmapLevelCount = 1;
    std::uint32_t sampleCount = 1;                      // 4 with type2DMultisample
    StorageMode storage = StorageMode::privateToDevice; // shared: type2D of one level, no depth format
    TextureUsage usage = {};
};

class Texture {
  public:
    std::uint32_t width() const;
    std::uint32_t height() const;
    PixelFormat format() const;
    std::uint32_t sampleCount() const;
    StorageMode storage() const;

    // The texels of a shared texture, top row first, rowBytes() apart (at least width × bytesPerPixel); null for a
    // private one. Valid as long as the texture lives.
    const std::byte* contents() const;
    std::size_t rowBytes() const;

    // Copies a region of a shared texture to `destination`, rows `bytesPerRow` apart. Does nothing for a private one
    // or a region that does not lie inside.
    void getBytes(void* destination, std::size_t bytesPerRow, const Region& region) const;

    // Writes a region of a shared texture from `source`; visible to command buffers committed afterwards. Fails when
    // the texture is private, the region does not lie inside, or the device is lost.
    Result<void> replace(const Region& region, const void* source, std::size_t bytesPerRow);

    // Writes one whole level of one slice (an array's element, a cube's face, a layer of a volume) of a private texture
    // that shaders read and that is no render target: rows without gaps. Waits until it is done. Fails when there is no
    // such level or slice, or the device is lost.
    Result<void> upload(std::uint32_t level, std::uint32_t slice, const void* source);

    ~Texture();
    struct Impl;
    explicit Texture(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

enum class SamplerFilter : std::uint8_t { nearest, linear };
enum class SamplerMipFilter : std::uint8_t { none, nearest, linear };
enum class SamplerAddressMode : std::uint8_t { clampToZero, clampToEdge, clampToBorder, repeat, mirroredRepeat };
enum class SamplerBorderColor : std::uint8_t { transparentBlack, opaqueBlack, opaqueWhite };

struct SamplerDescriptor {
    SamplerFilter minFilter = SamplerFilter::nearest;
    SamplerFilter magFilter = SamplerFilter::nearest;
    SamplerMipFilter mipFilter = SamplerMipFilter::none;
    SamplerAddressMode addressS = SamplerAddressMode::clampToEdge;
    SamplerAddressMode addressT = SamplerAddressMode::clampToEdge;
    SamplerAddressMode addressR = SamplerAddressMode::clampToEdge;
    SamplerBorderColor borderColor = SamplerBorderColor::transparentBlack;
    bool normalizedCoordinates = true;
    bool compares = false;
    CompareFunction compareFunction = CompareFunction::never;
    float lodMin = 0;
    float lodMax = 1000;
    std::uint32_t maxAnisotropy = 1;
    friend bool operator==(const SamplerDescriptor&, const SamplerDescriptor&) = default;
};

class SamplerState {
  public:
    ~SamplerState();
    struct Impl;
    explicit SamplerState(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

} // namespace gpu
