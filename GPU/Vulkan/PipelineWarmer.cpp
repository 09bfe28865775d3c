#include "GPU/PipelineWarmer.h"

#include "GPU/CommandBuffer.h"
#include "GPU/Encoders.h"
#include "GPU/Vulkan/Objects.h"

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string_view>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace gpu {
namespace {

bool isTrue(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr) return false;
    const std::string_view text = value;
    return text == "1" || text == "true" || text == "yes" || text == "y";
}

constexpr std::uint32_t warmSize = 8;

// The CPU driver draws on the same cores that compile here. The threads that the second device starts inherit this, so
// that the live picture keeps most of them; on a busy machine the new picture comes later for it.
void yieldToTheLivePicture() {
    constexpr int niceness = 5;
    setpriority(PRIO_PROCESS, id_t(gettid()), getpriority(PRIO_PROCESS, 0) + niceness);
}

// The pipeline as it is on the live device, made again on `device` and drawn once.
bool drawOnce(const std::shared_ptr<Device>& device, const RenderPipelineDescriptor& original) {
    RenderPipelineDescriptor descriptor = original;
    const auto again = [&](std::shared_ptr<Function>& function) {
        if (function == nullptr) return true;
        auto library = device->makeLibrary(function->library()->impl().descriptor);
        if (!library) return false;
        function = (*library)->makeFunction(function->name());
        return function != nullptr;
    };
    if (!again(descriptor.vertexFunction) || !again(descriptor.fragmentFunction)) return false;
    const auto pipeline = device->makeRenderPipelineState(descriptor);
    const auto queue = device->makeCommandQueue();
    if (!pipeline || !queue) return false;

    RenderPassDescriptor pass;
    TextureDescriptor target;
    target.width = target.height = warmSize;
    target.sampleCount = descriptor.rasterSampleCount;
    target.type = target.sampleCount > 1 ? TextureType::type2DMultisample : TextureType::type2D;
    target.usage = {.shaderRead = false, .renderTarget = true};
    for (std::size_t i = 0; i < maxColorAttachments && descriptor.colorAttachments[i].format != PixelFormat::invalid;
         ++i) {
        target.format = descriptor.colorAttachments[i].format;
        const auto texture = device->makeTexture(target);
        if (!texture) return false;
        pass.colorAttachments[i].texture = *texture;
    }
    if (descriptor.depthFormat != PixelFormat::invalid) {
        target.format = descriptor.depthFormat;
        const auto texture = device->makeTexture(target);
        if (!texture) return false;
        pass.depthAttachment.texture = *texture;
    }
    const auto commands = (*queue)->commandBuffer();
    RenderCommandEncoder* encoder = commands != nullptr ? commands->makeRenderCommandEncoder(pass) : nullptr;
    if (encoder == nullptr) return false;
    encoder->setRenderPipelineState(*pipeline);
    encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    return commands->status() == CommandBufferStatus::completed;
}

} // namespace

struct PipelineWarmer::Impl {
    struct Request {
        std::shared_ptr<RenderPipelineState> pipeline;
        std::function<void(WarmResult)> handler;
    };

    std::shared_ptr<Device> device;
    bool isUseful = false;
    std::mutex mutex; // guards:
    std::condition_variable changed;
    std::optional<Request> waiting;
    bool isStopping = false;
    std::thread thread;

    void run() {
        yieldToTheLivePicture();
        std::shared_ptr<Device> second;
        while (true) {
            Request request;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return isStopping || waiting.has_value(); });
                if (isStopping) return;
                request = std::move(*waiting);
                waiting.reset();
            }
            if (second == nullptr || second->lost()) {
                auto made = vulkan::VulkanDevice::make(device->impl().core->physical);
                second = made ? std::make_shared<Device>(std::make_unique<Device::Impl>(*made)) : nullptr;
            }
            const bool isReady = second != nullptr && drawOnce(second, request.pipeline->impl().descriptor);
            request.handler(isReady ? WarmResult::ready : WarmResult::failed);
        }
    }
};

PipelineWarmer::PipelineWarmer(std::shared_ptr<Device> device) : impl_(std::make_unique<Impl>()) {
    // Without the driver's disk cache nothing passes from one device to the other.
    impl_->isUseful = device->isCPU() && !isTrue("MESA_SHADER_CACHE_DISABLE") && !isTrue("MESA_GLSL_CACHE_DISABLE");
    impl_->device = std::move(device);
}

PipelineWarmer::~PipelineWarmer() {
    std::optional<Impl::Request> dropped;
    {
        const std::lock_guard lock(impl_->mutex);
        impl_->isStopping = true;
        dropped = std::exchange(impl_->waiting, std::nullopt);
    }
    impl_->changed.notify_all();
    if (impl_->thread.joinable()) impl_->thread.join();
    if (dropped) dropped->handler(WarmResult::superseded);
}

bool PipelineWarmer::isUseful() const {
    return impl_->isUseful;
}

void PipelineWarmer::warm(const std::shared_ptr<RenderPipelineState>& pipeline,
                          std::function<void(WarmResult)> handler) {
    if (!impl_->isUseful || pipeline == nullptr) {
        handler(pipeline != nullptr ? WarmResult::ready : WarmResult::failed);
        return;
    }
    std::optional<Impl::Request> dropped;
    {
        const std::lock_guard lock(impl_->mutex);
        dropped = std::exchange(impl_->waiting, Impl::Request{pipeline, std::move(handler)});
        if (!impl_->thread.joinable()) impl_->thread = std::thread([this] { impl_->run(); });
    }
    impl_->changed.notify_all();
    if (dropped) dropped->handler(WarmResult::superseded);
}

} // namespace gpu
