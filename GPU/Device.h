// One GPU, and the factory of everything that lives on it.
//
// A Device is shared by its users and may be used from any thread. Every object made from it keeps it alive.
// A creation that cannot succeed returns an Error with a sentence; nothing half-made is ever handed out.
//
// Loss: a real GPU can go away (driver reset, unplugged). From then on lost() is true, creations fail with
// ErrorKind::deviceLost and command buffers finish with CommandBufferStatus::error. The owner then drops its objects,
// calls systemDefault() again, which gives a new Device of a later generation(), and makes its objects anew.
#pragma once

#include "GPU/Error.h"
#include "GPU/Types.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace gpu {

class Buffer;
class CommandQueue;
class ComputePipelineState;
class DepthStencilState;
class Function;
class Library;
class RenderPipelineState;
class SamplerState;
class Texture;
struct DepthStencilDescriptor;
struct LibraryDescriptor;
struct RenderPipelineDescriptor;
struct SamplerDescriptor;
struct TextureDescriptor;

enum class DeviceKind : std::uint8_t { discrete, integrated, virtual_, cpu, other };

// "discrete GPU", "CPU" ...: how a list shows the kind.
std::string_view description(DeviceKind kind);

struct DeviceInfo {
    std::string name;
    std::string driver;        // the driver's name and version
    std::string vulkanVersion; // "1.3.230"
    DeviceKind kind = DeviceKind::other;
    bool isUsable = false;
    std::string problem; // why it is not usable: a sentence; empty when it is
};

// Whether the work of a queue yields to the live picture; see CommandQueue.
enum class QueuePriority : std::uint8_t { live, background };

// One line of the table of device features: what the layer asks for, and what happens on a device without it.
struct FeatureLine {
    enum class Need : std::uint8_t {
        required,      // a device without it is refused with the sentence
        whenUsed,      // a library that uses it is refused with the sentence
        usedWhenThere, // the layer does without it as the sentence says
    };
    std::string_view name;
    Need need = Need::required;
    std::string_view sentence;
};

class Device : public std::enable_shared_from_this<Device> {
  public:
    // Begins to load the drivers on a thread of its own, which takes most of the time that the first device takes; a
    // program that has other things to do at the same time calls it early. Before it returns it may change the
    // environment.
    static void prepare();

    // The device to use: the first whose name contains $GLASSHOB_DEVICE (without regard to case) when that is set,
    // else a discrete one, an integrated one, a CPU one, in that order. The same object is returned while anyone
    // holds it and it is not lost.
    static Result<std::shared_ptr<Device>> systemDefault();

    // Another device on the hardware that systemDefault() would choose, with a queue of its own; it shares no object
    // with any other device.
    static Result<std::shared_ptr<Device>> makeSeparate();

    // As makeSeparate(), but not even what the driver shares between devices is shared with another: all devices of the
    // CPU driver draw with the same threads, and a frame without end on one would stop them all.
    static Result<std::shared_ptr<Device>> makeIsolated();

    // Every device that the drivers report, in the order in which systemDefault() would take them. Fails only when
    // there is no driver at all.
    static Result<std::vector<DeviceInfo>> all();

    static const std::vector<FeatureLine>& featureTable();

    const DeviceInfo& info() const;
    const std::string& name() const { return info().name; }
    bool isCPU() const { return info().kind == DeviceKind::cpu; }

    // Counts up with every device made in this process.
    std::uint64_t generation() const;
    bool lost() const;

    // Marks the device lost as if the driver had said so. For tests: the CPU driver never loses.
    void injectLoss();

    // Largest width and height of a texture.
    std::uint32_t maxTextureSize() const;
    // Largest width and height of a viewport; at least maxTextureSize().
    std::uint32_t maxViewportSize() const;
    // Bytes of a buffer that a function can reach through one argument.
    std::uint64_t maxBufferArgumentLength() const;
    // Side in pixels of the largest point that is drawn whole; larger ones are cut down silently.
    float largestPoint() const;

    Result<std::shared_ptr<CommandQueue>> makeCommandQueue(QueuePriority priority = QueuePriority::live);
    Result<std::shared_ptr<Buffer>> makeBuffer(std::size_t length, StorageMode mode);
    Result<std::shared_ptr<Texture>> makeTexture(const TextureDescriptor& descriptor);
    Result<std::shared_ptr<SamplerState>> makeSamplerState(const SamplerDescriptor& descriptor);
    Result<std::shared_ptr<Library>> makeLibrary(LibraryDescriptor descriptor);
    Result<std::shared_ptr<RenderPipelineState>> makeRenderPipelineState(const RenderPipelineDescriptor& descriptor);
    // The threadgroup size is part of the pipeline; width 0 lets the layer choose min(limit, 256) in one dimension.
    // Fails when a threadgroup would need more memory than the device has.
    Result<std::shared_ptr<ComputePipelineState>>
    makeComputePipelineState(const std::shared_ptr<Function>& function, Size threadsPerThreadgroup = {0, 1, 1},
                             const std::vector<ThreadgroupLength>& threadgroupLengths = {});
    Result<std::shared_ptr<DepthStencilState>> makeDepthStencilState(const DepthStencilDescriptor& descriptor);

    ~Device();
    struct Impl;
    explicit Device(std::unique_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

} // namespace gpu
