// Kernels and the order in which they see each other's work.
#include "GPU/Buffer.h"
#include "GPU/tests/GlslLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace gpu {
namespace {

using namespace gpu::testing;

const std::string localSize = "layout(local_size_x_id = 0, local_size_y_id = 1, local_size_z_id = 2) in;\n";

// value = value * 3 + add for the first `count` elements.
const std::string step = localSize + R"(
    layout(set = 0, binding = 0, scalar) buffer Values { uint values[]; };
    layout(set = 0, binding = 1, scalar) uniform Block { uint count; uint add; };
    void main() {
        uint i = gl_GlobalInvocationID.x;
        if (i < count) values[i] = values[i] * 3u + add;
    })";

const std::string copyKernel = localSize + R"(
    layout(set = 0, binding = 0, scalar) buffer To { uint to[]; };
    layout(set = 0, binding = 1, scalar) readonly buffer From { uint from[]; };
    void main() {
        uint i = gl_GlobalInvocationID.x;
        if (i < uint(from.length())) to[i] = from[i];
    })";

class Compute : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto made = Device::systemDefault();
        ASSERT_TRUE(made) << made.error().text;
        device = *made;
        queue = *device->makeCommandQueue();
    }

    std::shared_ptr<ComputePipelineState> pipeline(const std::string& body, std::vector<ArgumentBinding> arguments,
                                                   Size group = {0, 1, 1}) {
        auto made = device->makeComputePipelineState(
            glslFunction(*device, ShaderStage::kernel, body, std::move(arguments)), group);
        EXPECT_TRUE(made) << (made ? "" : made.error().text);
        return made ? *made : nullptr;
    }

    std::shared_ptr<Device> device;
    std::shared_ptr<CommandQueue> queue;
};

TEST_F(Compute, DispatchesOfOneEncoderAndOfManyBuffersRunInOrder) {
    constexpr std::uint32_t count = 1000; // not a multiple of a threadgroup
    const auto kernel = pipeline(step, {storageArgument(0, 0), uniformArgument(0, 1, 8)});
    const auto copy = pipeline(copyKernel, {storageArgument(0, 0), storageArgument(0, 1)});
    const auto values = device->makeBuffer(4 * (count + 1), StorageMode::privateToDevice);
    const auto start = device->makeBuffer(4 * (count + 1), StorageMode::shared);
    const auto result = device->makeBuffer(4 * (count + 1), StorageMode::shared);
    ASSERT_TRUE(values && start && result);
    EXPECT_EQ((*values)->contents(), nullptr);
    std::vector<std::uint32_t> expected(count + 1);
    for (std::uint32_t i = 0; i <= count; ++i)
        expected[i] = i;
    std::ranges::copy(expected, static_cast<std::uint32_t*>((*start)->contents()));

    const auto runCopy = [&](const std::shared_ptr<Buffer>& to, const std::shared_ptr<Buffer>& from) {
        const auto commands = queue->commandBuffer();
        ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(copy);
        encoder->setBuffer(to, 0, 0);
        encoder->setBuffer(from, 0, 1);
        encoder->dispatchThreads({count + 1, 1, 1});
        encoder->endEncoding();
        commands->commit();
        return commands;
    };
    runCopy(*values, *start);
    for (std::uint32_t i = 0; i < 8; ++i) {
        const auto commands = queue->commandBuffer();
        ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(kernel);
        encoder->setBuffer(*values, 0, 0);
        for (std::uint32_t j = 0; j < 4; ++j) {
            const std::uint32_t block[] = {count, i * 4 + j};
            encoder->setBytes(block, sizeof block, 1);
            encoder->dispatchThreads({count, 1, 1});
            for (std::uint32_t k = 0; k < count; ++k)
                expected[k] = expected[k] * 3 + block[1];
        }
        encoder->endEncoding();
        commands->commit();
    }
    const auto last = runCopy(*result, *values);
    last->waitUntilCompleted();
    ASSERT_EQ(last->status(), CommandBufferStatus::completed);
    const auto* read = static_cast<const std::uint32_t*>((*result)->contents());
    EXPECT_EQ(std::vector<std::uint32_t>(read, read + count + 1), expected);
}

TEST_F(Compute, ThreadgroupSizeIsThePipelines) {
    const std::string body = localSize + R"(
        layout(set = 0, binding = 0, scalar) buffer Values { uvec3 size; uint groups; };
        void main() {
            if (gl_GlobalInvocationID == uvec3(0)) { size = gl_WorkGroupSize; groups = gl_NumWorkGroups.x; }
        })";
    struct Case {
        Size asked;
        Size expected;
    };
    for (const Case& item : {Case{{0, 1, 1}, {256, 1, 1}}, Case{{7, 2, 3}, {7, 2, 3}}}) {
        const auto kernel = pipeline(body, {storageArgument(0, 0, 16)}, item.asked);
        EXPECT_EQ(kernel->threadsPerThreadgroup(), item.expected);
        const auto result = device->makeBuffer(16, StorageMode::shared);
        const auto commands = queue->commandBuffer();
        ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(kernel);
        encoder->setBuffer(*result, 0, 0);
        encoder->dispatchThreads({600, 1, 1});
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        const auto* read = static_cast<const std::uint32_t*>((*result)->contents());
        EXPECT_EQ((Size{read[0], read[1], read[2]}), item.expected);
        EXPECT_EQ(read[3], (600 + item.expected.width - 1) / item.expected.width);
    }
    const auto function = glslFunction(*device, ShaderStage::kernel, body, {storageArgument(0, 0, 16)});
    EXPECT_FALSE(device->makeComputePipelineState(function, {1U << 20, 1, 1}));
    EXPECT_FALSE(device->makeComputePipelineState(function, {1, 0, 1}));
}

TEST_F(Compute, ALongInlineRingGrows) {
    // 200 dispatches with the largest inline bytes: many times the ring's first chunk.
    const std::string body = localSize + R"(
        layout(set = 0, binding = 0, scalar) buffer Values { uint total; };
        layout(set = 0, binding = 1, scalar) readonly buffer Block { uint last[]; };
        void main() { if (gl_GlobalInvocationID.x == 0u) total += last[last.length() - 1]; })";
    const auto kernel = pipeline(body, {storageArgument(0, 0), storageArgument(0, 1)});
    const auto total = device->makeBuffer(4, StorageMode::shared);
    *static_cast<std::uint32_t*>((*total)->contents()) = 0;
    const auto commands = queue->commandBuffer();
    ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(kernel);
    encoder->setBuffer(*total, 0, 0);
    std::vector<std::uint32_t> bytes(maxInlineBytes / 4, 0);
    for (std::uint32_t i = 1; i <= 200; ++i) {
        bytes.back() = i;
        encoder->setBytes(bytes.data(), maxInlineBytes, 1);
        encoder->dispatchThreads({1, 1, 1});
    }
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(*static_cast<std::uint32_t*>((*total)->contents()), 200U * 201U / 2U);
}

TEST_F(Compute, QueuesOfManyThreadsShareTheDevice) {
    const auto kernel = pipeline(step, {storageArgument(0, 0), uniformArgument(0, 1, 8)});
    std::vector<std::thread> threads;
    std::vector<std::uint32_t> results(4);
    for (std::size_t index = 0; index < results.size(); ++index)
        threads.emplace_back([&, index] {
            const auto own =
                *device->makeCommandQueue(index % 2 == 0 ? QueuePriority::live : QueuePriority::background);
            const auto buffer = *device->makeBuffer(4, StorageMode::shared);
            *static_cast<std::uint32_t*>(buffer->contents()) = std::uint32_t(index);
            std::shared_ptr<CommandBuffer> commands;
            for (int i = 0; i < 12; ++i) {
                commands = own->commandBuffer();
                ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
                encoder->setComputePipelineState(kernel);
                encoder->setBuffer(buffer, 0, 0);
                const std::uint32_t block[] = {1, 1};
                encoder->setBytes(block, sizeof block, 1);
                encoder->dispatchThreads({1, 1, 1});
                commands->commit();
            }
            commands->waitUntilCompleted();
            results[index] = *static_cast<std::uint32_t*>(buffer->contents());
        });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t index = 0; index < results.size(); ++index) {
        std::uint32_t expected = std::uint32_t(index);
        for (int i = 0; i < 12; ++i)
            expected = expected * 3 + 1;
        EXPECT_EQ(results[index], expected);
    }
}

} // namespace
} // namespace gpu
