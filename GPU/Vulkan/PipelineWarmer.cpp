#include "GPU/PipelineWarmer.h"

#include "GPU/CommandBuffer.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GPU/Vulkan/Objects.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string_view>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace gpu {
namespace {

// A heavy shader keeps its thread for many seconds; others need not wait for it.
constexpr std::size_t mostThreads = 3;

std::atomic<int> allAtWork = 0;

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

// Makes what the work consists of again on another device, and runs each of it once.
class Warming {
  public:
    explicit Warming(std::shared_ptr<Device> device) : device_(std::move(device)) {}

    bool run(const WarmWork& work) {
        const auto queue = device_->makeCommandQueue();
        commands_ = queue ? (*queue)->commandBuffer() : nullptr;
        if (commands_ == nullptr) return false;
        for (const auto& kernel : work.kernels)
            if (!dispatchOnce(kernel->impl())) return false;
        for (const WarmWork::Draw& draw : work.draws)
            if (!drawOnce(draw)) return false;
        commands_->commit();
        commands_->waitUntilCompleted();
        return commands_->status() == CommandBufferStatus::completed;
    }

  private:
    // The function as it is on the live device; null for null and on failure.
    std::shared_ptr<Function> again(const std::shared_ptr<Function>& function) {
        if (function == nullptr) return nullptr;
        std::shared_ptr<Library>& library = libraries_[function->library().get()];
        if (library == nullptr) {
            auto made = device_->makeLibrary(function->library()->impl().descriptor);
            if (!made) return nullptr;
            library = *made;
        }
        return library->makeFunction(function->name(), function->constants());
    }

    std::shared_ptr<Texture> texture(PixelFormat format, std::uint32_t samples, bool isSampled) {
        TextureDescriptor descriptor;
        descriptor.format = format;
        // Drivers tell sizes that are powers of two from others, and pictures seldom have such sides.
        descriptor.width = isSampled ? warmSize + 1 : warmSize;
        descriptor.height = isSampled ? warmSize - 1 : warmSize;
        descriptor.sampleCount = samples;
        descriptor.type = samples > 1 ? TextureType::type2DMultisample : TextureType::type2D;
        descriptor.usage = {.shaderRead = isSampled, .renderTarget = true};
        const auto made = device_->makeTexture(descriptor);
        return made ? *made : nullptr;
    }

    bool dispatchOnce(const ComputePipelineState::Impl& original) {
        const auto function = again(original.function);
        if (function == nullptr) return false;
        const auto pipeline = device_->makeComputePipelineState(function, original.threadsPerThreadgroup);
        ComputeCommandEncoder* encoder = pipeline ? commands_->makeComputeCommandEncoder() : nullptr;
        if (encoder == nullptr) return false;
        encoder->setComputePipelineState(*pipeline);
        encoder->dispatchThreads({1, 1, 1});
        encoder->endEncoding();
        return true;
    }

    bool drawOnce(const WarmWork::Draw& draw) {
        RenderPipelineDescriptor descriptor = draw.pipeline->impl().descriptor;
        const bool hasFragment = descriptor.fragmentFunction != nullptr;
        descriptor.vertexFunction = again(descriptor.vertexFunction);
        descriptor.fragmentFunction = again(descriptor.fragmentFunction);
        if (descriptor.vertexFunction == nullptr || (hasFragment && descriptor.fragmentFunction == nullptr))
            return false;
        const auto pipeline = device_->makeRenderPipelineState(descriptor);
        if (!pipeline) return false;

        RenderPassDescriptor pass;
        const std::uint32_t samples = descriptor.rasterSampleCount;
        for (std::size_t i = 0;
             i < maxColorAttachments && descriptor.colorAttachments[i].format != PixelFormat::invalid; ++i) {
            pass.colorAttachments[i].texture = texture(descriptor.colorAttachments[i].format, samples, false);
            if (pass.colorAttachments[i].texture == nullptr) return false;
        }
        if (descriptor.depthFormat != PixelFormat::invalid) {
            pass.depthAttachment.texture = texture(descriptor.depthFormat, samples, false);
            if (pass.depthAttachment.texture == nullptr) return false;
        }
        const auto sampled = texture(draw.sampled, 1, true);
        RenderCommandEncoder* encoder = sampled != nullptr ? commands_->makeRenderCommandEncoder(pass) : nullptr;
        if (encoder == nullptr) return false;
        encoder->setRenderPipelineState(*pipeline);
        encoder->setDepthStencilState(draw.depthState);
        const auto eachTexture = [](const std::shared_ptr<Function>& function, const auto& set) {
            if (function == nullptr) return;
            for (const ArgumentBinding& argument : function->descriptor().arguments)
                if (argument.kind == ArgumentKind::sampledTexture) set(argument.index);
        };
        eachTexture(descriptor.vertexFunction, [&](std::uint32_t at) { encoder->setVertexTexture(sampled, at); });
        eachTexture(descriptor.fragmentFunction, [&](std::uint32_t at) { encoder->setFragmentTexture(sampled, at); });
        const bool drawsPoints = descriptor.inputPrimitiveTopology == PrimitiveTopologyClass::point;
        encoder->drawPrimitives(drawsPoints ? PrimitiveType::point : PrimitiveType::triangle, 0, drawsPoints ? 1 : 3);
        encoder->endEncoding();
        return true;
    }

    std::shared_ptr<Device> device_;
    std::shared_ptr<CommandBuffer> commands_;
    std::unordered_map<const Library*, std::shared_ptr<Library>> libraries_;
};

} // namespace

struct PipelineWarmer::Impl {
    struct Request {
        WarmWork work;
        std::function<void(WarmResult)> handler;
    };

    std::shared_ptr<Device> device;
    bool isUseful = false;
    std::mutex mutex; // guards:
    std::condition_variable changed;
    std::optional<Request> waiting;
    bool isStopping = false;
    std::size_t atWork = 0;
    std::vector<std::thread> threads;

    void run() {
        yieldToTheLivePicture();
        std::shared_ptr<Device> second;
        std::unique_lock lock(mutex);
        while (true) {
            changed.wait(lock, [&] { return isStopping || waiting.has_value(); });
            if (isStopping) return;
            Request request = std::move(*waiting);
            waiting.reset();
            ++atWork;
            ++allAtWork;
            lock.unlock();
            if (second == nullptr || second->lost()) {
                auto made = vulkan::VulkanDevice::make(device->impl().core->physical);
                second = made ? std::make_shared<Device>(std::make_unique<Device::Impl>(*made)) : nullptr;
            }
            const bool isReady = second != nullptr && Warming(second).run(request.work);
            request.handler(isReady ? WarmResult::ready : WarmResult::failed);
            request = {};
            lock.lock();
            --atWork;
            --allAtWork;
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
    for (std::thread& thread : impl_->threads)
        thread.join();
    if (dropped) dropped->handler(WarmResult::superseded);
}

bool PipelineWarmer::isUseful() const {
    return impl_->isUseful;
}

void PipelineWarmer::warm(WarmWork work, std::function<void(WarmResult)> handler) {
    const bool isWhole =
        std::ranges::all_of(work.draws, [](const WarmWork::Draw& draw) { return draw.pipeline != nullptr; }) &&
        std::ranges::all_of(work.kernels, [](const auto& kernel) { return kernel != nullptr; });
    if (!impl_->isUseful || !isWhole) {
        handler(isWhole ? WarmResult::ready : WarmResult::failed);
        return;
    }
    std::optional<Impl::Request> dropped;
    {
        const std::lock_guard lock(impl_->mutex);
        dropped = std::exchange(impl_->waiting, Impl::Request{std::move(work), std::move(handler)});
        if (impl_->atWork == impl_->threads.size() && impl_->threads.size() < mostThreads)
            impl_->threads.emplace_back([this] { impl_->run(); });
    }
    impl_->changed.notify_all();
    if (dropped) dropped->handler(WarmResult::superseded);
}

bool PipelineWarmer::isAnyAtWork() {
    return allAtWork > 0;
}

} // namespace gpu
