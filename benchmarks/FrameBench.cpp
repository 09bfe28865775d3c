// A 1920×1080 frame through ShaderProgram against a bare Vulkan program that draws glslang's output of the same shader.
//
// Both sides are timed in turn, each run with a constant that no run had before, after one frame that makes the driver
// compile; the judged figure is the ratio of the medians. What is left of two and a half minutes is shared out among
// the shaders that are left, so that slow ones have fewer runs on a slow machine, and at least three. The pictures of
// both sides must agree within 1/255, but for the few channels where a half rounds to the other side. Exits 1 when the
// geometric mean is over 1.05, a shader is over 1.15, or a picture differs; shaders that pay for an index check are
// listed and not judged. Arguments choose shaders by name.
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "benchmarks/BareVulkan.h"
#include "benchmarks/Common.h"
#include "benchmarks/Glsl.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t width = 1920;
constexpr std::uint32_t height = 1080;
constexpr int mostRuns = 15;
constexpr int leastRuns = 3;
constexpr std::chrono::duration<double> wholeTime = std::chrono::seconds(150);
constexpr int turnsPerRun = 3; // frames of each side within a run, so that a busy machine's noise evens out
constexpr double meanTarget = 1.05;
constexpr double singleTarget = 1.15;
constexpr std::size_t allowedDifferences = std::size_t(width) * height * 4 / 1000;

// How many channels differ by more than one step.
std::size_t differences(const gpu::Texture& ours, const std::vector<std::uint8_t>& theirs) {
    std::size_t count = 0;
    std::vector<std::uint8_t> row(std::size_t(width) * 4);
    for (std::uint32_t y = 0; y < height; ++y) {
        ours.getBytes(row.data(), row.size(), {0, y, width, 1});
        for (std::size_t i = 0; i < row.size(); ++i)
            count += std::abs(int(row[i]) - int(theirs[y * row.size() + i])) > 1 ? 1 : 0;
    }
    return count;
}

} // namespace

int main(int argc, char** argv) {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 0);
    const auto device = gpu::Device::systemDefault();
    if (!device) {
        std::fprintf(stderr, "%s\n", device.error().text.c_str());
        return 2;
    }
    const auto queue = (*device)->makeCommandQueue();
    const auto texture = (*device)->makeTexture({.width = width,
                                                 .height = height,
                                                 .storage = gpu::StorageMode::shared,
                                                 .usage = {.shaderRead = false, .renderTarget = true}});
    if (!queue || !texture) return 2;
    bench::BareVulkan bare((*device)->name().c_str(), width, height);
    const std::vector<std::uint32_t> vertex = bench::compileGlsl(bench::GlslStage::vertex, bench::wholeVertex());
    const auto pairs = bench::shaderPairs();

    std::printf("%s, %ux%u, medians of up to %d frames\n", (*device)->name().c_str(), width, height,
                mostRuns * turnsPerRun);
    bool isGood = true;
    double logarithms = 0;
    std::size_t judged = 0;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    for (std::size_t number = 0; number < pairs.size(); ++number) {
        const bench::ShaderPair& item = pairs[number];
        const Clock::time_point now = Clock::now();
        const auto until = now + (begin + wholeTime - now) / double(pairs.size() - number);
        if (argc > 1 &&
            std::none_of(argv + 1, argv + argc, [&](const char* name) { return name == std::string(item.name); }))
            continue;
        std::vector<double> ours;
        std::vector<double> theirs;
        std::size_t differing = 0;
        for (int run = 0; run < mostRuns && (run < leastRuns || Clock::now() < until); ++run) {
            const float fresh = float(run + 1) * 1e-6F;
            std::shared_ptr<const glasshob::ShaderProgram> program;
            try {
                program = std::make_shared<const glasshob::ShaderProgram>(bench::withFreshConstant(item.metal, fresh),
                                                                          *device);
            } catch (const glasshob::ShaderError& error) {
                std::fprintf(stderr, "%s: %s\n", item.name, error.raw.c_str());
                return 2;
            }
            bare.setShader(vertex,
                           bench::compileGlsl(bench::GlslStage::fragment, bench::wholeFragment(item.glsl, fresh)));
            glasshob::GHUniforms uniforms;
            uniforms.resolution[0] = float(width);
            uniforms.resolution[1] = float(height);
            uniforms.time = 3.25F;
            uniforms.mouse[0] = 0.5F * float(width);
            uniforms.mouse[1] = 0.5F * float(height);
            const std::vector<float> parameters = program->parameterFloats({});
            const auto drawOurs = [&] {
                const auto commands = (*queue)->commandBuffer();
                gpu::RenderPassDescriptor pass;
                pass.colorAttachments[0].texture = *texture;
                pass.colorAttachments[0].loadAction = program->pictureLoadAction();
                gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
                program->encodePicture(*encoder, uniforms, {}, nullptr);
                encoder->endEncoding();
                commands->commit();
                commands->waitUntilCompleted();
            };
            const auto drawTheirs = [&] {
                bare.draw(&uniforms, sizeof uniforms, parameters.data(), parameters.size() * sizeof(float));
            };
            drawOurs(); // the driver compiles here
            drawTheirs();
            for (int turn = 0; turn < turnsPerRun; ++turn) {
                const bool oursFirst = (run + turn) % 2 == 0;
                if (!oursFirst) theirs.push_back(bench::milliseconds(drawTheirs));
                ours.push_back(bench::milliseconds(drawOurs));
                if (oursFirst) theirs.push_back(bench::milliseconds(drawTheirs));
            }
            differing = std::max(differing, differences(**texture, bare.pixels()));
        }
        const double ratio = bench::median(ours) / bench::median(theirs);
        isGood = isGood && (item.isChecked || ratio <= singleTarget) && differing <= allowedDifferences;
        if (!item.isChecked) {
            logarithms += std::log(ratio);
            ++judged;
        }
        std::printf("%-12s ours %8.2f ms   bare %8.2f ms   ratio %.3f of %zu frames   channels that differ: %zu%s\n",
                    item.name, bench::median(ours), bench::median(theirs), ratio, ours.size(), differing,
                    item.isChecked ? "   (pays for an index check; not judged)" : "");
    }
    const double mean = std::exp(logarithms / double(std::max<std::size_t>(judged, 1)));
    isGood = isGood && mean <= meanTarget;
    std::printf("geometric mean %.3f (at most %.2f; none over %.2f): %s\n", mean, meanTarget, singleTarget,
                isGood ? "reached" : "MISSED");
    return isGood ? 0 : 1;
}
