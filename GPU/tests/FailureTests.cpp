// What happens when the driver says no: every creation fails whole, with a sentence, and the next one works.
#include "GPU/Buffer.h"
#include "GPU/Testing.h"
#include "GPU/Vulkan/VulkanDevice.h"
#include "GPU/tests/GlslLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <thread>

namespace gpu {
namespace {

using namespace gpu::testing;
using ::testing::EndsWith;
using ::testing::HasSubstr;

const std::string plainFragment = "layout(location = 0) out vec4 result; void main() { result = vec4(1); }";
const std::string plainKernel = "layout(local_size_x_id = 0) in; void main() {}";

// Makes something; the error when it failed.
using Making = std::function<std::optional<Error>(Device&)>;

template <class Value>
std::optional<Error> errorOf(const Result<Value>& result) {
    return result ? std::nullopt : std::optional(result.error());
}

struct Creation {
    const char* name;
    Making make;
};

std::vector<Creation> creations() {
    LibraryDescriptor withSampler = glslLibrary(ShaderStage::fragment, plainFragment);
    withSampler.functions[0].arguments.push_back(constantSamplerArgument(1, 0, SamplerFilter::linear));
    return {
        {"shared buffer", [](Device& device) { return errorOf(device.makeBuffer(64, StorageMode::shared)); }},
        {"private buffer", [](Device& device) { return errorOf(device.makeBuffer(64, StorageMode::privateToDevice)); }},
        {"shared picture",
         [](Device& device) {
             return errorOf(device.makeTexture({.width = 4,
                                                .height = 4,
                                                .storage = StorageMode::shared,
                                                .usage = {.shaderRead = true, .renderTarget = true}}));
         }},
        {"mirrored picture",
         [](Device& device) {
             return errorOf(device.makeTexture(
                 {.format = PixelFormat::rgba16Float, .width = 4, .height = 4, .storage = StorageMode::shared}));
         }},
        {"sampler", [](Device& device) { return errorOf(device.makeSamplerState({})); }},
        {"library", [withSampler](Device& device) { return errorOf(device.makeLibrary(withSampler)); }},
        {"command queue", [](Device& device) { return errorOf(device.makeCommandQueue()); }},
        {"depth test", [](Device& device) { return errorOf(device.makeDepthStencilState({})); }},
        {"separate device", [](Device&) { return errorOf(Device::makeSeparate()); }},
    };
}

// Brings every recording of the device back to its pool, so that the same creation makes the same calls.
void waitForAll(CommandQueue& queue) {
    const auto commands = queue.commandBuffer();
    commands->commit();
    commands->waitUntilCompleted();
}

TEST(Failures, EveryCallOfEveryCreationCanFail) {
    const auto device = Device::systemDefault();
    ASSERT_TRUE(device);
    std::vector<Creation> all = creations();
    // Their functions are made once; what is tried is the pipeline itself.
    RenderPipelineDescriptor description;
    description.vertexFunction = fullScreenVertex(**device);
    description.fragmentFunction = glslFunction(**device, ShaderStage::fragment, plainFragment);
    description.colorAttachments[0].format = PixelFormat::bgra8Unorm;
    const auto kernel = glslFunction(**device, ShaderStage::kernel, plainKernel);
    all.push_back(
        {"render pipeline", [=](Device& owner) { return errorOf(owner.makeRenderPipelineState(description)); }});
    all.push_back({"compute pipeline", [=](Device& owner) { return errorOf(owner.makeComputePipelineState(kernel)); }});

    std::size_t tried = 0;
    const auto queue = *(*device)->makeCommandQueue();
    for (const Creation& creation : all) {
        std::vector<std::string> purposes;
        waitForAll(*queue);
        {
            const PurposeLog log;
            ASSERT_FALSE(creation.make(**device)) << creation.name;
            purposes = log.purposes();
        }
        EXPECT_FALSE(purposes.empty()) << creation.name << " calls Vulkan without a purpose";
        std::map<std::string, unsigned> seen;
        for (const std::string& purpose : purposes) {
            waitForAll(*queue);
            const InjectedFault fault(purpose, ErrorKind::outOfMemory, seen[purpose]++);
            const std::optional<Error> error = creation.make(**device);
            ASSERT_TRUE(fault.happened()) << creation.name << ": " << purpose;
            ASSERT_TRUE(error) << creation.name << " ignored a failure while " << purpose;
            EXPECT_EQ(error->kind, ErrorKind::outOfMemory);
            EXPECT_THAT(error->text, HasSubstr(purpose));
            EXPECT_THAT(error->text, EndsWith("."));
            ++tried;
        }
        EXPECT_FALSE(creation.make(**device)) << creation.name << " does not recover";
    }
    EXPECT_GT(tried, 30U);
}

TEST(Failures, AQueueWithoutMemoryGivesNoCommandBuffer) {
    std::vector<std::string> purposes;
    {
        const auto device = Device::makeSeparate();
        const auto queue = *(*device)->makeCommandQueue();
        const PurposeLog log;
        ASSERT_NE(queue->commandBuffer(), nullptr);
        purposes = log.purposes();
    }
    EXPECT_GT(purposes.size(), 4U);
    for (const std::string& purpose : purposes) {
        const auto device = Device::makeSeparate();
        const auto queue = *(*device)->makeCommandQueue();
        const InjectedFault fault(purpose);
        EXPECT_EQ(queue->commandBuffer(), nullptr) << purpose;
        EXPECT_NE(queue->commandBuffer(), nullptr) << purpose;
    }
}

TEST(Failures, WhatCannotBeIsRefusedWithASentence) {
    const auto made = Device::systemDefault();
    ASSERT_TRUE(made);
    Device& device = **made;
    const std::uint32_t tooLarge = device.maxTextureSize() + 1;
    LibraryDescriptor wrongSet = glslLibrary(ShaderStage::fragment, plainFragment, {uniformArgument(0, 0, 4)});
    LibraryDescriptor sameBinding =
        glslLibrary(ShaderStage::fragment, plainFragment, {uniformArgument(1, 0, 4), storageArgument(1, 0)});
    LibraryDescriptor greedy = glslLibrary(ShaderStage::kernel, plainKernel);
    greedy.functions[0].threadgroupMemory = 1U << 20;
    greedy.functions[0].threadgroupArguments = {{.index = 0, .elementSize = 16, .constant = 16}};
    const auto greedyLibrary = device.makeLibrary(greedy);
    ASSERT_TRUE(greedyLibrary);
    greedy.functions[0].threadgroupMemory = 1024;
    const auto modestLibrary = device.makeLibrary(greedy);
    ASSERT_TRUE(modestLibrary);
    const auto modest = (*modestLibrary)->makeFunction("main");
    EXPECT_TRUE(device.makeComputePipelineState(modest, {16, 1, 1}, {{0, 4096}}));
    const std::optional<Error> errors[] = {
        errorOf(device.makeComputePipelineState((*greedyLibrary)->makeFunction("main"))),
        errorOf(device.makeComputePipelineState(modest, {16, 1, 1}, {{0, 1U << 20}})),
        errorOf(device.makeBuffer(0, StorageMode::shared)),
        errorOf(device.makeTexture({.width = 0, .height = 4})),
        errorOf(device.makeTexture({.width = 4, .height = tooLarge})),
        errorOf(device.makeTexture({.format = PixelFormat::invalid, .width = 4, .height = 4})),
        errorOf(device.makeTexture({.width = 4, .height = 4, .sampleCount = 4})),
        errorOf(device.makeTexture({.width = 4, .height = 4, .usage = {false, false}})),
        errorOf(device.makeTexture(
            {.format = PixelFormat::depth32Float, .width = 4, .height = 4, .storage = StorageMode::shared})),
        errorOf(device.makeLibrary({})),
        errorOf(device.makeLibrary(wrongSet)),
        errorOf(device.makeLibrary(sameBinding)),
        errorOf(device.makeRenderPipelineState({})),
        errorOf(device.makeComputePipelineState(nullptr)),
        errorOf(device.makeComputePipelineState(fullScreenVertex(device))),
    };
    for (std::size_t i = 0; i < std::size(errors); ++i) {
        ASSERT_TRUE(errors[i]) << "case " << i;
        EXPECT_THAT(errors[i]->text, EndsWith(".")) << "case " << i;
    }
    const auto library = device.makeLibrary(glslLibrary(ShaderStage::fragment, plainFragment));
    EXPECT_EQ((*library)->makeFunction("other"), nullptr);
    const auto huge = device.makeBuffer(std::size_t(1) << 46, StorageMode::privateToDevice);
    ASSERT_FALSE(huge);
    EXPECT_EQ(huge.error().kind, ErrorKind::outOfMemory);
}

TEST(Failures, ACommandBufferThatCannotBeSubmittedSaysSo) {
    const auto device = Device::systemDefault();
    ASSERT_TRUE(device);
    const auto queue = *(*device)->makeCommandQueue();
    const auto texture = target(**device, 4, 4);
    {
        const InjectedFault fault("handing work");
        const auto commands = queue->commandBuffer();
        int calls = 0;
        commands->makeRenderCommandEncoder(passOn(texture, LoadAction::clear));
        std::atomic<bool> told = false;
        commands->addCompletedHandler([&](CommandBuffer& buffer) {
            calls += buffer.status() == CommandBufferStatus::error ? 1 : 100;
            told = true;
            told.notify_all();
        });
        commands->commit();
        told.wait(false);
        commands->waitUntilCompleted();
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(commands->status(), CommandBufferStatus::error);
        EXPECT_EQ(commands->error().kind, ErrorKind::outOfMemory);
    }
    {
        const InjectedFault fault("beginning a command buffer");
        EXPECT_EQ(queue->commandBuffer(), nullptr);
    }
    const auto commands = queue->commandBuffer();
    ASSERT_NE(commands, nullptr);
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), CommandBufferStatus::completed);
}

TEST(Failures, ACommitDoesNotWaitForAHeldQueueAndALateFailureIsTold) {
    const auto device = Device::systemDefault();
    ASSERT_TRUE(device);
    vulkan::VulkanDevice& core = *(*device)->impl().core;
    const auto queue = *(*device)->makeCommandQueue();
    const auto texture = target(**device, 4, 4);
    waitForAll(*queue);
    const auto commit = [&] {
        auto commands = queue->commandBuffer();
        commands->makeRenderCommandEncoder(passOn(texture, LoadAction::clear));
        commands->commit();
        return commands;
    };
    core.queueMutex.lock(); // as a present does, in its thread
    std::shared_ptr<CommandBuffer> first;
    std::shared_ptr<CommandBuffer> second;
    std::thread committer([&] {
        first = commit();
        second = commit();
    });
    committer.join();
    EXPECT_EQ(first->status(), CommandBufferStatus::committed);
    const InjectedFault fault("handing work");
    core.queueMutex.unlock();
    core.flush();
    EXPECT_TRUE(fault.happened());
    first->waitUntilCompleted();
    second->waitUntilCompleted(); // carries the timeline past the first
    EXPECT_EQ(first->status(), CommandBufferStatus::error);
    EXPECT_EQ(first->error().kind, ErrorKind::outOfMemory);
    EXPECT_EQ(second->status(), CommandBufferStatus::completed);
}

TEST(Failures, ALostDeviceAnswersAbsentAndANewOneTakesOver) {
    const auto lost = Device::makeSeparate();
    ASSERT_TRUE(lost);
    const auto queue = *(*lost)->makeCommandQueue();
    const auto texture = target(**lost, 4, 4);
    const auto pipeline = fullScreenPipeline(**lost, plainFragment);
    const auto recorded = queue->commandBuffer();
    RenderCommandEncoder* encoder = recorded->makeRenderCommandEncoder(passOn(texture));
    encoder->setRenderPipelineState(pipeline);
    encoder->drawPrimitives(PrimitiveType::triangle, 0, 3);
    (*lost)->injectLoss();
    EXPECT_TRUE((*lost)->lost());
    recorded->commit();
    recorded->waitUntilCompleted();
    EXPECT_EQ(recorded->status(), CommandBufferStatus::error);
    EXPECT_EQ(recorded->error().kind, ErrorKind::deviceLost);
    EXPECT_EQ(queue->commandBuffer(), nullptr);
    const std::uint32_t word = 0;
    EXPECT_EQ(texture->replace({0, 0, 1, 1}, &word, 4).error().kind, ErrorKind::deviceLost);
    for (const Creation& creation : creations()) {
        if (std::string(creation.name) == "separate device") continue;
        const std::optional<Error> error = creation.make(**lost);
        ASSERT_TRUE(error) << creation.name;
        EXPECT_EQ(error->kind, ErrorKind::deviceLost) << creation.name;
    }

    const auto next = Device::makeSeparate();
    ASSERT_TRUE(next);
    EXPECT_GT((*next)->generation(), (*lost)->generation());
    // Objects of the old device are not taken by the new one.
    const auto nextQueue = *(*next)->makeCommandQueue();
    const auto commands = nextQueue->commandBuffer();
    EXPECT_EQ(commands->makeRenderCommandEncoder(passOn(texture)), nullptr);
}

TEST(Failures, ALossReportedByTheDriverIsNoticed) {
    const auto device = Device::makeSeparate();
    ASSERT_TRUE(device);
    const InjectedFault fault("creating a buffer", ErrorKind::deviceLost);
    EXPECT_EQ((*device)->makeBuffer(4, StorageMode::shared).error().kind, ErrorKind::deviceLost);
    EXPECT_TRUE((*device)->lost());
}

} // namespace
} // namespace gpu
