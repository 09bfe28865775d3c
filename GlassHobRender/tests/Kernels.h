// Runs a kernel of shader text on the device over arrays of numbers, for tests that compare what the compiler made with
// a calculation on the CPU.
#pragma once

#include "GPU/Buffer.h"
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Encoders.h"
#include "GPU/Pipeline.h"
#include "GlassHobRender/program/LibraryFromMSL.h"
#include "GlassHobRender/tests/Programs.h"

#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace glasshob::testing {

// Hears the text of every program that is about to run, in test programs that keep a record.
inline void (*onExecution)(std::string_view source) = nullptr;

struct KernelOptions {
    gpu::Size threadgroup = {0, 1, 1}; // width 0: the layer chooses
    gpu::Size grid = {0, 1, 1};        // width 0: as many threads as the call says, in one row
    std::vector<gpu::ConstantValue> constants = {};
    std::vector<gpu::ThreadgroupLength> lengths = {};
    bool allowAddresses = false;
};

// Compiles `source` and runs its function "check" with the buffers bound at 0, 1, 2 ... over `threads` threads. Each
// buffer's bytes go in before and come back after. False, with a test failure that says why, when something fails.
inline bool runKernel(const std::string& source, std::vector<std::vector<std::byte>>& buffers, std::uint32_t threads,
                      const KernelOptions& options = {}) {
    const auto on = device();
    if (on == nullptr) return false;
    if (onExecution != nullptr) onExecution(source);
    auto compiled = msl::compile(source, {.allowAddresses = options.allowAddresses});
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return false;
    }
    const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "check"));
    const auto function = library ? (*library)->makeFunction("check", options.constants) : nullptr;
    if (function == nullptr) {
        ADD_FAILURE() << "no function 'check'";
        return false;
    }
    const auto pipeline = on->makeComputePipelineState(function, options.threadgroup, options.lengths);
    const auto queue = on->makeCommandQueue();
    if (!pipeline || !queue) {
        ADD_FAILURE() << "no pipeline or queue: " << (pipeline ? std::string() : pipeline.error().text);
        return false;
    }
    const auto commands = (*queue)->commandBuffer();
    gpu::ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(*pipeline);
    std::vector<std::shared_ptr<gpu::Buffer>> made;
    for (std::uint32_t i = 0; i < buffers.size(); ++i) {
        made.push_back(*on->makeBuffer(buffers[i].size(), gpu::StorageMode::shared));
        std::memcpy(made.back()->contents(), buffers[i].data(), buffers[i].size());
        encoder->setBuffer(made.back(), 0, i);
    }
    encoder->dispatchThreads(options.grid.width != 0 ? options.grid : gpu::Size{threads, 1, 1});
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    if (commands->status() != gpu::CommandBufferStatus::completed) {
        ADD_FAILURE() << "the kernel did not complete";
        return false;
    }
    for (std::size_t i = 0; i < buffers.size(); ++i)
        std::memcpy(buffers[i].data(), made[i]->contents(), buffers[i].size());
    return true;
}

template <typename T>
std::vector<std::byte> bytesOf(const std::vector<T>& values) {
    std::vector<std::byte> bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

template <typename T>
std::vector<T> valuesOf(const std::vector<std::byte>& bytes) {
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
    return values;
}

} // namespace glasshob::testing
