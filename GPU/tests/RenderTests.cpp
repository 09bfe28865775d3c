// Drawing: what comes out of passes, pixel by pixel.
#include "GPU/Buffer.h"
#include "GPU/PipelineWarmer.h"
#include "GPU/tests/GlslLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace gpu {
namespace {

using namespace gpu::testing;
using ::testing::ElementsAre;

const std::string uniformColor = R"(
    layout(set = 1, binding = 0, scalar) uniform Block { vec4 color; };
    layout(location = 0) out vec4 result;
    void main() { result = color; })";

class Render : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto made = Device::systemDefault();
        ASSERT_TRUE(made) << made.error().text;
        device = *made;
        queue = *device->makeCommandQueue();
    }

    // Draws with `set` between pipeline and draw, waits, and expects success.
    template <class Set>
    void drawInto(const RenderPassDescriptor& pass, const std::shared_ptr<RenderPipelineState>& pipeline, Set&& set) {
        const auto commands = queue->commandBuffer();
        ASSERT_NE(commands, nullptr);
        RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        ASSERT_NE(encoder, nullptr);
        encoder->setRenderPipelineState(pipeline);
        set(*encoder);
        encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        ASSERT_EQ(commands->status(), CommandBufferStatus::completed);
    }

    std::shared_ptr<Device> device;
    std::shared_ptr<CommandQueue> queue;
};

TEST_F(Render, ClearFillsEveryPixelWithTheRoundedColor) {
    const auto texture = target(*device, 33, 17);
    auto pass = passOn(texture, LoadAction::clear);
    pass.colorAttachments[0].clearColor = {1.0, 0.5, 0.25, 0.0};
    const auto commands = queue->commandBuffer();
    commands->makeRenderCommandEncoder(pass)->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    for (std::uint32_t y = 0; y < 17; ++y)
        for (std::uint32_t x = 0; x < 33; ++x)
            ASSERT_THAT(pixel(*texture, x, y), ElementsAre(255, ::testing::AnyOf(127, 128), 64, 0)) << x << " " << y;
}

TEST_F(Render, ClipSpacePointsUpAndFragmentsCountFromTheTopLeft) {
    const auto texture = target(*device, 4, 4);
    const auto pipeline = fullScreenPipeline(*device, R"(
        layout(location = 0) in vec2 uv;
        layout(location = 0) out vec4 result;
        void main() { result = vec4(uv, floor(gl_FragCoord.y) / 255.0, floor(gl_FragCoord.x) / 255.0); })");
    drawInto(passOn(texture), pipeline, [](RenderCommandEncoder&) {});
    const auto topLeft = pixel(*texture, 0, 0);
    const auto bottomRight = pixel(*texture, 3, 3);
    EXPECT_THAT(topLeft, ElementsAre(32, 223, 0, 0)); // uv (1/8, 7/8)
    EXPECT_THAT(bottomRight, ElementsAre(223, 32, 3, 3));
}

TEST_F(Render, EachDrawSeesTheBytesSetBeforeIt) {
    const auto texture = target(*device, 8, 2);
    const auto pipeline = fullScreenPipeline(*device, uniformColor, {uniformArgument(1, 0, 16)});
    const auto commands = queue->commandBuffer();
    RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(passOn(texture));
    encoder->setRenderPipelineState(pipeline);
    for (std::uint32_t x = 0; x < 8; ++x) {
        const float color[] = {float(x) / 255.0F, 1, 0, 1};
        encoder->setFragmentBytes(color, sizeof color, 0);
        encoder->setScissorRect({x, 0, 1, 2});
        encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
    }
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    for (std::uint32_t x = 0; x < 8; ++x)
        EXPECT_THAT(pixel(*texture, x, 1), ElementsAre(int(x), 255, 0, 255));
}

TEST_F(Render, MissingAndShortBuffersReadAsZeros) {
    const auto texture = target(*device, 2, 2);
    const auto pipeline = fullScreenPipeline(*device, uniformColor, {uniformArgument(1, 0, 16)});
    drawInto(passOn(texture), pipeline, [](RenderCommandEncoder&) {});
    EXPECT_THAT(pixel(*texture, 1, 1), ElementsAre(0, 0, 0, 0));
    drawInto(passOn(texture), pipeline, [](RenderCommandEncoder& encoder) {
        const float half[] = {1, 1};
        encoder.setFragmentBytes(half, sizeof half, 0);
    });
    EXPECT_THAT(pixel(*texture, 1, 1), ElementsAre(255, 255, 0, 0));
}

TEST_F(Render, ADrawWithoutItsTextureLeavesThePictureAlone) {
    const auto texture = target(*device, 2, 2);
    const auto pipeline =
        fullScreenPipeline(*device, R"(
        layout(set = 1, binding = 32) uniform texture2D image;
        layout(set = 1, binding = 176) uniform sampler how;
        layout(location = 0) out vec4 result;
        void main() { result = texture(sampler2D(image, how), vec2(0.5)); })",
                           {textureArgument(1, 0), constantSamplerArgument(1, 0, SamplerFilter::nearest)});
    auto pass = passOn(texture, LoadAction::clear);
    pass.colorAttachments[0].clearColor = {0, 0, 1, 1};
    drawInto(pass, pipeline, [](RenderCommandEncoder&) {});
    EXPECT_THAT(pixel(*texture, 0, 0), ElementsAre(0, 0, 255, 255));
}

TEST_F(Render, LaterPassesSeeEarlierOnesAndAdd) {
    // 40 command buffers, none waited for: each adds 0.25 to a float picture, which the last pass copies.
    const auto sum = target(*device, 5, 3, PixelFormat::rgba16Float, StorageMode::privateToDevice);
    RenderPipelineDescriptor adding;
    adding.vertexFunction = fullScreenVertex(*device);
    adding.fragmentFunction = glslFunction(*device, ShaderStage::fragment, uniformColor, {uniformArgument(1, 0, 16)});
    adding.colorAttachments[0] = {.format = PixelFormat::rgba16Float,
                                  .blendingEnabled = true,
                                  .destinationRGB = BlendFactor::one,
                                  .destinationAlpha = BlendFactor::one};
    const auto add = device->makeRenderPipelineState(adding);
    ASSERT_TRUE(add);
    const auto copy = fullScreenPipeline(*device, R"(
        layout(set = 1, binding = 32) uniform texture2D image;
        layout(set = 1, binding = 176) uniform sampler how;
        layout(location = 0) in vec2 uv;
        layout(location = 0) out vec4 result;
        void main() { result = texture(sampler2D(image, how), uv) / 20.0; })",
                                         {textureArgument(1, 0), constantSamplerArgument(1, 0, SamplerFilter::linear)});
    for (int i = 0; i < 40; ++i) {
        const auto commands = queue->commandBuffer();
        RenderCommandEncoder* encoder =
            commands->makeRenderCommandEncoder(passOn(sum, i == 0 ? LoadAction::clear : LoadAction::load));
        encoder->setRenderPipelineState(*add);
        const float quarter[] = {0.25F, 0.125F, 0, 0};
        encoder->setFragmentBytes(quarter, sizeof quarter, 0);
        encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
        encoder->endEncoding();
        commands->commit();
    }
    const auto picture = target(*device, 5, 3);
    drawInto(passOn(picture), copy, [&](RenderCommandEncoder& encoder) { encoder.setFragmentTexture(sum, 0); });
    EXPECT_THAT(pixel(*picture, 4, 2), ElementsAre(128, 64, 0, ::testing::Lt(20)));
}

TEST_F(Render, DepthAndSamplesResolve) {
    // The nearer of two triangles wins whatever the order; an edge through a pixel mixes its samples.
    TextureDescriptor descriptor;
    descriptor.type = TextureType::type2DMultisample;
    descriptor.sampleCount = 4;
    descriptor.width = descriptor.height = 8;
    descriptor.usage = {.shaderRead = false, .renderTarget = true};
    const auto color = device->makeTexture(descriptor);
    descriptor.format = PixelFormat::depth32Float;
    const auto depth = device->makeTexture(descriptor);
    ASSERT_TRUE(color && depth);
    const auto resolved = target(*device, 8, 8);

    RenderPipelineDescriptor description;
    description.vertexFunction = glslFunction(*device, ShaderStage::vertex, R"(
        layout(set = 0, binding = 0, scalar) uniform Block { float left; float depth; };
        void main() {
            vec2 corner = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2) * 2.0 - 1.0;
            gl_Position = vec4(max(corner.x, left), corner.y, depth, 1.0);
        })",
                                              {uniformArgument(0, 0, 8)});
    description.fragmentFunction =
        glslFunction(*device, ShaderStage::fragment, uniformColor, {uniformArgument(1, 0, 16)});
    description.colorAttachments[0].format = PixelFormat::bgra8Unorm;
    description.depthFormat = PixelFormat::depth32Float;
    description.rasterSampleCount = 4;
    const auto pipeline = device->makeRenderPipelineState(description);
    const auto nearer = device->makeDepthStencilState({CompareFunction::less, true});
    ASSERT_TRUE(pipeline && nearer);

    RenderPassDescriptor pass;
    pass.colorAttachments[0] = {.texture = *color,
                                .resolveTexture = resolved,
                                .loadAction = LoadAction::clear,
                                .storeAction = StoreAction::multisampleResolve,
                                .clearColor = {0, 0, 0, 1}};
    pass.depthAttachment.texture = *depth;
    const auto commands = queue->commandBuffer();
    RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
    ASSERT_NE(encoder, nullptr);
    encoder->setRenderPipelineState(*pipeline);
    encoder->setDepthStencilState(*nearer);
    const auto draw = [&](float left, float z, std::array<float, 4> tint) {
        const float block[] = {left, z};
        encoder->setVertexBytes(block, sizeof block, 0);
        encoder->setFragmentBytes(tint.data(), sizeof tint, 0);
        encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
    };
    draw(-1, 0.25F, {1, 0, 0, 1});
    draw(-1, 0.75F, {0, 1, 0, 1}); // behind: not seen
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_THAT(pixel(*resolved, 1, 6), ElementsAre(255, 0, 0, 255));
    EXPECT_THAT(pixel(*resolved, 7, 0), ElementsAre(255, 0, 0, 255));
}

TEST_F(Render, ADrawTakesItsCountsFromTheKernelBeforeIt) {
    const auto counts = *device->makeBuffer(64, StorageMode::privateToDevice);
    const auto kernel =
        *device->makeComputePipelineState(glslFunction(*device, ShaderStage::kernel, R"(
        layout(local_size_x_id = 0, local_size_y_id = 1, local_size_z_id = 2) in;
        layout(set = 0, binding = 0, scalar) buffer Counts { uint counts[]; };
        layout(set = 0, binding = 1, scalar) uniform Block { uint vertices; uint instances; };
        void main() {
            counts[4] = vertices;
            counts[5] = instances;
            counts[6] = counts[7] = 0u;
        })",
                                                       {storageArgument(0, 0), uniformArgument(0, 1, 8)}),
                                          {1, 1, 1});
    const auto pipeline = fullScreenPipeline(*device, uniformColor, {uniformArgument(1, 0, 16)});
    const auto foreign = *(*Device::makeSeparate())->makeBuffer(64, StorageMode::privateToDevice);
    struct Case {
        std::uint32_t vertices;
        std::uint32_t instances;
        std::shared_ptr<Buffer> buffer;
        std::size_t offset;
        bool isDrawn;
    };
    const Case cases[] = {
        {3, 1, counts, 16, true},   {3, 2, counts, 16, true},   {0, 1, counts, 16, false},
        {3, 0, counts, 16, false},  {3, 1, counts, 18, false}, // not a multiple of four
        {3, 1, counts, 52, false},                             // beyond the end
        {3, 1, nullptr, 16, false}, {3, 1, foreign, 16, false},
    };
    for (const Case& item : cases) {
        const auto texture = target(*device, 8, 8);
        const auto commands = queue->commandBuffer();
        ComputeCommandEncoder* compute = commands->makeComputeCommandEncoder();
        compute->setComputePipelineState(kernel);
        compute->setBuffer(counts, 0, 0);
        compute->setBytes(&item.vertices, 8, 1);
        compute->dispatchThreads({1, 1, 1});
        compute->endEncoding();
        RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(passOn(texture, LoadAction::clear));
        encoder->setRenderPipelineState(pipeline);
        const float green[] = {0, 1, 0, 1};
        encoder->setFragmentBytes(green, sizeof green, 0);
        encoder->drawPrimitives(PrimitiveType::triangle, item.buffer, item.offset);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        EXPECT_EQ(commands->status(), CommandBufferStatus::completed);
        EXPECT_EQ(pixel(*texture, 5, 2)[1], item.isDrawn ? 255 : 0)
            << item.vertices << " vertices, " << item.instances << " instances at " << item.offset;
    }
}

TEST_F(Render, SharedTexturesGoBothWays) {
    // bgra8Unorm may lie in host memory, rgba16Float is mirrored: both are written, sampled, drawn and read.
    for (const PixelFormat format : {PixelFormat::bgra8Unorm, PixelFormat::rgba16Float}) {
        const auto source = target(*device, 3, 2, format);
        ASSERT_NE(source->contents(), nullptr);
        const std::size_t size = bytesPerPixel(format);
        std::vector<std::uint8_t> bytes(2 * size);
        if (format == PixelFormat::bgra8Unorm) {
            bytes = {0, 0, 255, 255, 0, 255, 0, 255};
        } else {
            bytes[1] = bytes[7] = 0x3c; // half 1.0 in red and alpha
            bytes[11] = bytes[15] = 0x3c;
        }
        ASSERT_TRUE(source->replace({1, 1, 2, 1}, bytes.data(), bytes.size()));
        EXPECT_FALSE(source->replace({2, 1, 2, 1}, bytes.data(), bytes.size()));

        const auto copy = fullScreenPipeline(*device, R"(
            layout(set = 1, binding = 32) uniform texture2D image;
            layout(location = 0) out vec4 result;
            void main() { result = texelFetch(image, ivec2(gl_FragCoord.xy), 0); })",
                                             {textureArgument(1, 0)}, format);
        const auto drawn = target(*device, 3, 2, format);
        drawInto(passOn(drawn), copy, [&](RenderCommandEncoder& encoder) { encoder.setFragmentTexture(source, 0); });
        std::vector<std::uint8_t> read(2 * size);
        drawn->getBytes(read.data(), read.size(), {1, 1, 2, 1});
        EXPECT_EQ(read, bytes) << "format " << int(format);
    }
}

TEST_F(Render, WorkKeepsWhatItUses) {
    const auto texture = target(*device, 64, 64);
    std::shared_ptr<CommandBuffer> commands = queue->commandBuffer();
    {
        const auto pipeline = fullScreenPipeline(*device, R"(
            layout(set = 1, binding = 0, scalar) readonly buffer Block { vec4 color; };
            layout(location = 0) out vec4 result;
            void main() { result = color; })",
                                                 {storageArgument(1, 0, 16)});
        const auto buffer = device->makeBuffer(16, StorageMode::shared);
        ASSERT_TRUE(buffer);
        const float color[] = {0, 1, 1, 1};
        std::copy_n(color, 4, static_cast<float*>((*buffer)->contents()));
        RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(passOn(texture));
        encoder->setRenderPipelineState(pipeline);
        encoder->setFragmentBuffer(*buffer, 0, 0);
        encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
        encoder->endEncoding();
    }
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_THAT(pixel(*texture, 63, 0), ElementsAre(0, 255, 255, 255));
}

TEST_F(Render, StatusFollowsTheWorkAndHandlersRunOnceElsewhere) {
    std::atomic<int> calls = 0;
    std::atomic<bool> wasComplete = false;
    std::thread::id where;
    {
        const auto commands = queue->commandBuffer();
        EXPECT_EQ(commands->status(), CommandBufferStatus::notCommitted);
        commands->waitUntilCompleted(); // nothing to wait for
        commands->makeRenderCommandEncoder(passOn(target(*device, 4, 4), LoadAction::clear));
        EXPECT_EQ(commands->makeComputeCommandEncoder(), nullptr) << "one encoder at a time";
        commands->addCompletedHandler([&](CommandBuffer& finished) {
            wasComplete = finished.status() == CommandBufferStatus::completed;
            where = std::this_thread::get_id();
            ++calls;
            calls.notify_all();
        });
        commands->commit(); // ends the open encoder
        commands->commit(); // a second time does nothing
        EXPECT_EQ(commands->makeComputeCommandEncoder(), nullptr) << "a committed buffer takes no more";
    }
    calls.wait(0);
    EXPECT_TRUE(wasComplete);
    EXPECT_NE(where, std::this_thread::get_id());
    EXPECT_EQ(calls, 1);
}

TEST_F(Render, PassesThatCannotBeAreRefused) {
    const auto small = target(*device, 4, 4);
    const auto large = target(*device, 8, 8);
    TextureDescriptor readOnly;
    readOnly.width = readOnly.height = 4;
    const auto notATarget = device->makeTexture(readOnly);
    ASSERT_TRUE(notATarget);
    auto mixed = passOn(small);
    mixed.colorAttachments[1].texture = large;
    auto gap = RenderPassDescriptor{};
    gap.colorAttachments[1].texture = small;
    auto noResolve = passOn(small);
    noResolve.colorAttachments[0].storeAction = StoreAction::multisampleResolve;
    const auto commands = queue->commandBuffer();
    for (const RenderPassDescriptor& pass : {RenderPassDescriptor{}, mixed, gap, noResolve, passOn(*notATarget)})
        EXPECT_EQ(commands->makeRenderCommandEncoder(pass), nullptr);
    ASSERT_NE(commands->makeRenderCommandEncoder(passOn(small)), nullptr) << "the buffer is still good";
}

TEST_F(Render, TheNewestWarmingRunsAndEveryHandlerIsCalledOnce) {
    const auto pipeline = fullScreenPipeline(*device, uniformColor, {uniformArgument(1, 0, 16)});
    std::mutex mutex;
    std::vector<WarmResult> results(6, WarmResult::failed);
    std::atomic<int> calls = 0;
    {
        PipelineWarmer warmer(device);
        for (std::size_t i = 0; i < results.size(); ++i)
            warmer.warm({.draws = {{.pipeline = pipeline}}, .kernels = {}}, [&, i](WarmResult result) {
                const std::lock_guard lock(mutex);
                results[i] = result;
                ++calls;
                calls.notify_all();
            });
        for (int seen = calls; seen < int(results.size()); seen = calls)
            calls.wait(seen);
    }
    EXPECT_EQ(calls, int(results.size()));
    EXPECT_EQ(results.back(), WarmResult::ready);
    for (const WarmResult result : results)
        EXPECT_NE(result, WarmResult::failed);
}

} // namespace
} // namespace gpu
