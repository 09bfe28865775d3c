// One step of a particle shader through ShaderRun against a bare Vulkan program that does the same work on the GPU with
// glslang's output: update, look for large dots, fade, dots. 20,000, 200,000 and 1,000,000 particles at 1280x720.
//
// Both sides are timed in turn, one step in one command buffer that is waited for, after steps that make the driver
// compile; the judged figure is the ratio of the medians, of
// processor time where the device is the processor. The pictures of both sides after the last step must agree
// but for a few pixels where a rounding moved a dot. Exits 1 when a ratio is over 1.05 or the pictures differ. A
// further line, not judged, is a bare program that does without the care for large dots. Arguments choose the counts.
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "GlassHobRender/program/ShaderRun.h"
#include "benchmarks/BareWork.h"
#include "benchmarks/Common.h"

#include <array>
#include <cmath>
#include <cstring>
#include <string>

namespace {

using bench::BareWork;

constexpr std::uint32_t width = 1280;
constexpr std::uint32_t height = 720;
constexpr double target = 1.05;
constexpr float guardBand = 2; // what a picture of this size gets

const std::string blocks = R"(#version 460
#extension GL_EXT_scalar_block_layout : require
layout(set = 0, binding = 1, scalar) uniform UniformBlock {
    vec2 resolution; float time; float timeDelta; vec2 mouse; uint frame; uint pad;
} u;
layout(set = 0, binding = 2, scalar) uniform ParameterBlock { float pull; } p;
layout(set = 0, binding = 3, scalar) uniform DotBlock { vec2 guard; float largestPoint; uint count; } d;
layout(set = 0, binding = 5) uniform sampler2D image;
)";
const std::string readParticles = R"(
layout(set = 0, binding = 0, scalar) readonly buffer Particles { Particle ps[]; };
float dotSize(vec3 w) {
    float size = w.z * u.resolution.y;
    bool shown = all(lessThan(vec3(-size, abs(w.xy)), vec3(0.0, 1.0e6, 1.0e6)));
    return mix(0.0, clamp(size, 1.0, 511.0), shown);
}
)";
const std::string kernel = R"(
layout(local_size_x = 256) in;
layout(set = 0, binding = 0, scalar) buffer Particles { Particle ps[]; };
)";
const std::string spawnMain = R"(
void main() {
    uint i = gl_GlobalInvocationID.x;
    if (i < d.count) ps[i] = spawn(i);
})";
const std::string updateMain = R"(
void main() {
    uint i = gl_GlobalInvocationID.x;
    if (i >= d.count) return;
    Particle q = ps[i];
    update(q, i);
    ps[i] = q;
})";
const std::string scanMain = R"(
layout(local_size_x = 256) in;
layout(set = 0, binding = 4, scalar) buffer Quads { uint quads[]; };
void main() {
    uint i = gl_GlobalInvocationID.x;
    if (i < d.count && dotSize(place(ps[i])) > d.largestPoint) atomicExchange(quads[1], d.count);
})";
const std::string wholeMain = R"(
layout(location = 0) out vec2 uv;
void main() {
    uv = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
    gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0);
})";
const std::string pointMain = R"(
layout(location = 0) flat out uint id;
void main() {
    vec3 w = place(ps[gl_VertexIndex]);
    float size = dotSize(w);
    bool shown = size > 0.0 && size <= d.largestPoint;
    gl_Position = mix(vec4(0.0, 0.0, 2.0, 1.0), vec4((w.xy * 2.0 - 1.0) / d.guard, 0.0, 1.0), bvec4(shown));
    gl_PointSize = mix(1.0, size, shown);
    id = gl_VertexIndex;
})";
const std::string inkMain = R"(
layout(location = 0) flat in uint id;
layout(location = 0) out vec4 color;
void main() { color = ink(ps[id], vec2(gl_PointCoord.x * 2.0 - 1.0, 1.0 - gl_PointCoord.y * 2.0)); })";
const std::string quadMain = R"(
layout(location = 0) flat out uint id;
layout(location = 1) out vec2 at;
void main() {
    vec3 w = place(ps[gl_InstanceIndex]);
    float size = dotSize(w);
    at = vec2(gl_VertexIndex & 1, gl_VertexIndex >> 1) * 2.0 - 1.0;
    gl_Position = size <= d.largestPoint ? vec4(0.0, 0.0, 2.0, 1.0)
                                         : vec4((w.xy * 2.0 - 1.0 + at * size / u.resolution) / d.guard, 0.0, 1.0);
    id = gl_InstanceIndex;
})";
const std::string quadInkMain = R"(
layout(location = 0) flat in uint id;
layout(location = 1) in vec2 at;
layout(location = 0) out vec4 color;
void main() { color = ink(ps[id], at); })";

std::string pictureMain(const std::string& function) {
    return "\nlayout(location = 0) in vec2 uv;\nlayout(location = 0) out vec4 color;\nvoid main() { color = " +
           function + "(uv); }\n";
}

struct Dots {
    float guard[2] = {guardBand, guardBand};
    float largestPoint = 0;
    std::uint32_t count = 0;
};

// The bare side.
class BareSwarm {
  public:
    BareSwarm(const char* deviceName, const std::string& user, std::uint32_t count, float largestPoint, float pull,
              bool caresForLargeDots)
        : work_(deviceName, width, height), count_(count), cares_(caresForLargeDots) {
        particles_ = work_.makeBuffer(VkDeviceSize(count) * 16, false);
        uniforms_ = work_.makeBuffer(32, true);
        const BareWork::Buffer parameters = work_.makeBuffer(16, true);
        std::memcpy(parameters.mapped, &pull, sizeof pull);
        const BareWork::Buffer dots = work_.makeBuffer(sizeof(Dots), true);
        Dots values;
        values.largestPoint = largestPoint;
        values.count = count;
        std::memcpy(dots.mapped, &values, sizeof values);
        quads_ = work_.makeBuffer(16, false);
        for (auto& image : trails_)
            image = work_.makeImage(VK_FORMAT_R16G16B16A16_SFLOAT,
                                    VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_SAMPLED_BIT);
        picture_ = work_.makeImage(VK_FORMAT_B8G8R8A8_UNORM,
                                   VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
        for (std::size_t i = 0; i < 2; ++i)
            sets_[i] = work_.makeSet({&particles_, &uniforms_, &parameters, &dots, &quads_}, &trails_[i], true);
        const std::string text = blocks + user;
        spawn_ = work_.makeKernel(text + kernel + spawnMain);
        update_ = work_.makeKernel(text + kernel + updateMain);
        scan_ = work_.makeKernel(text + readParticles + scanMain);
        BareWork::Graphics graphics;
        graphics.color = VK_FORMAT_R16G16B16A16_SFLOAT;
        graphics.viewport = work_.viewport();
        graphics.vertex = text + wholeMain;
        graphics.fragment = text + pictureMain("fade");
        fade_ = work_.makeGraphics(graphics);
        graphics.adds = true;
        graphics.viewport = work_.viewport(guardBand);
        graphics.topology = VK_PRIMITIVE_TOPOLOGY_POINT_LIST;
        graphics.vertex = text + readParticles + pointMain;
        graphics.fragment = text + readParticles + inkMain;
        dots_ = work_.makeGraphics(graphics);
        graphics.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
        graphics.vertex = text + readParticles + quadMain;
        graphics.fragment = text + readParticles + quadInkMain;
        quadDots_ = work_.makeGraphics(graphics);
        graphics = {};
        graphics.viewport = work_.viewport();
        graphics.vertex = text + wholeMain;
        graphics.fragment = text + pictureMain("shade");
        shade_ = work_.makeGraphics(graphics);
    }

    void step(const glasshob::GHUniforms& uniforms) {
        std::memcpy(uniforms_.mapped, &uniforms, 32);
        work_.submit([&](VkCommandBuffer commands) {
            const bool isFirst = uniforms.frame == 0;
            const std::size_t from = current_;
            const std::size_t to = isFirst ? from : 1 - from;
            const std::uint32_t groups = (count_ + 255) / 256;
            work_.bind(commands, VK_PIPELINE_BIND_POINT_COMPUTE, isFirst ? spawn_ : update_, sets_[from]);
            vkCmdDispatch(commands, groups, 1, 1);
            if (cares_) {
                constexpr std::uint32_t none[] = {4, 0, 0, 0};
                vkCmdUpdateBuffer(commands, quads_.handle, 0, sizeof none, none);
                work_.barrier(commands);
                work_.bind(commands, VK_PIPELINE_BIND_POINT_COMPUTE, scan_, sets_[from]);
                vkCmdDispatch(commands, groups, 1, 1);
            }
            work_.barrier(commands);
            work_.move(commands, trails_[to], VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL);
            work_.beginPass(commands, trails_[to],
                            isFirst ? VK_ATTACHMENT_LOAD_OP_CLEAR : VK_ATTACHMENT_LOAD_OP_DONT_CARE);
            if (!isFirst) {
                work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, fade_, sets_[from]);
                vkCmdDraw(commands, 3, 1, 0, 0);
            }
            // Only the fade samples; the set with the other image would do as well.
            work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, dots_, sets_[from]);
            vkCmdDraw(commands, count_, 1, 0, 0);
            if (cares_) {
                work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, quadDots_, sets_[from]);
                vkCmdDrawIndirect(commands, quads_.handle, 0, 1, 16);
            }
            vkCmdEndRendering(commands);
            work_.move(commands, trails_[to], VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
            current_ = to;
        });
    }

    std::vector<std::uint8_t> pixels() {
        work_.submit([&](VkCommandBuffer commands) {
            work_.move(commands, picture_, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL);
            work_.beginPass(commands, picture_, VK_ATTACHMENT_LOAD_OP_DONT_CARE);
            work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, shade_, sets_[current_]);
            vkCmdDraw(commands, 3, 1, 0, 0);
            vkCmdEndRendering(commands);
        });
        return work_.pixels(picture_);
    }

  private:
    BareWork work_;
    std::uint32_t count_;
    bool cares_;
    std::size_t current_ = 0;
    BareWork::Buffer particles_, uniforms_, quads_;
    std::array<BareWork::Image, 2> trails_;
    BareWork::Image picture_;
    std::array<VkDescriptorSet, 2> sets_{};
    VkPipeline spawn_, update_, scan_, fade_, dots_, quadDots_, shade_;
};

// Our side.
class OurSwarm {
  public:
    OurSwarm(const std::shared_ptr<gpu::Device>& device, const std::string& source)
        : program_(std::make_shared<const glasshob::ShaderProgram>(source, device)),
          run_(glasshob::ShaderRun::make(program_, device, width, height)), queue_(*device->makeCommandQueue()),
          picture_(*device->makeTexture({.width = width,
                                         .height = height,
                                         .storage = gpu::StorageMode::shared,
                                         .usage = {.shaderRead = false, .renderTarget = true}})) {}

    void step(const glasshob::GHUniforms& uniforms) {
        const auto commands = queue_->commandBuffer();
        run_->encode(uniforms, *commands, {}, 4);
        commands->commit();
        commands->waitUntilCompleted();
    }

    std::vector<std::uint8_t> pixels(const glasshob::GHUniforms& uniforms) {
        const auto commands = queue_->commandBuffer();
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = picture_;
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        program_->encodePicture(*encoder, uniforms, {}, run_.get());
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        std::vector<std::uint8_t> bytes(std::size_t(width) * height * 4);
        picture_->getBytes(bytes.data(), std::size_t(width) * 4, {0, 0, width, height});
        return bytes;
    }

    std::int64_t step() const { return run_->simulation()->step(); }

  private:
    std::shared_ptr<const glasshob::ShaderProgram> program_;
    std::unique_ptr<glasshob::ShaderRun> run_;
    std::shared_ptr<gpu::CommandQueue> queue_;
    std::shared_ptr<gpu::Texture> picture_;
};

glasshob::GHUniforms uniformsOf(std::uint32_t step) {
    glasshob::GHUniforms uniforms;
    uniforms.resolution[0] = float(width);
    uniforms.resolution[1] = float(height);
    uniforms.time = float(step) / 60.0F;
    uniforms.timeDelta = 1.0F / 60.0F;
    uniforms.mouse[0] = 0.5F * float(width);
    uniforms.mouse[1] = 0.5F * float(height);
    uniforms.frame = step;
    return uniforms;
}

struct Row {
    std::uint32_t count;
    std::uint32_t steps;
};

// True when the ratio and the pictures are good.
bool measure(const std::shared_ptr<gpu::Device>& device, const Row& row) {
    std::string source = bench::readText(BENCH_SHADERS "/swarm.metal");
    const std::string twin = bench::readText(BENCH_SHADERS "/swarm.glsl");
    source.replace(source.find("20000"), 5, std::to_string(row.count));
    constexpr float pull = 0.3F; // the slider's default
    const float largestPoint = std::min(device->largestPoint(), 511.0F);
    OurSwarm ours(device, source);
    BareSwarm bare(device->name().c_str(), twin, row.count, largestPoint, pull, largestPoint < 511.0F);
    BareSwarm careless(device->name().c_str(), twin, row.count, largestPoint, pull, false);
    constexpr std::uint32_t warmUp = 3;
    std::vector<double> times[3];
    std::vector<double> work[3];
    for (std::uint32_t step = 0; step < warmUp + row.steps; ++step) {
        const glasshob::GHUniforms uniforms = uniformsOf(step);
        for (std::uint32_t turn = 0; turn < 3; ++turn) {
            const std::uint32_t side = (turn + step) % 3;
            double time = 0;
            const double spent = bench::processorMilliseconds([&] {
                time = bench::milliseconds([&] {
                    if (side == 0) ours.step(uniforms);
                    if (side == 1) bare.step(uniforms);
                    if (side == 2) careless.step(uniforms);
                });
            });
            if (step < warmUp) continue;
            times[side].push_back(time);
            work[side].push_back(spent);
        }
    }
    const glasshob::GHUniforms last = uniformsOf(warmUp + row.steps - 1);
    const std::vector<std::uint8_t> a = ours.pixels(last);
    const std::vector<std::uint8_t> b = bare.pixels();
    std::size_t differing = 0;
    double sums[2] = {};
    for (std::size_t i = 0; i < a.size(); ++i) {
        differing += std::abs(int(a[i]) - int(b[i])) > 2 ? 1 : 0;
        sums[0] += a[i];
        sums[1] += b[i];
    }
    const auto& judged = device->isCPU() ? work : times;
    const double ratio = bench::median(judged[0]) / bench::median(judged[1]);
    const bool isSame =
        differing < a.size() / 100 && std::abs(sums[0] / sums[1] - 1) < 0.001 && ours.step() == last.frame;
    std::printf("%8u particles  ours %8.2f ms   bare %8.2f ms   judged %.2f : %.2f   ratio %.3f   channels that "
                "differ: %.3f %%%s\n",
                row.count, bench::median(times[0]), bench::median(times[1]), bench::median(judged[0]),
                bench::median(judged[1]), ratio, 100.0 * double(differing) / double(a.size()),
                isSame ? "" : "   DIFFERENT PICTURES");
    std::printf("                    (bare, dots over %.0f pixels cut down: %.2f ms)\n", double(largestPoint),
                bench::median(times[2]));
    return isSame && ratio <= target;
}

} // namespace

int main(int argc, char** argv) {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 0);
    const auto device = gpu::Device::systemDefault();
    if (!device) {
        std::fprintf(stderr, "%s\n", device.error().text.c_str());
        return 2;
    }
    std::printf("%s, %ux%u, a step of a particle shader, medians\n", (*device)->name().c_str(), width, height);
    bool isGood = true;
    try {
        for (const Row row : {Row{20000, 121}, Row{200000, 61}, Row{1000000, 15}})
            if (argc < 2 ||
                std::any_of(argv + 1, argv + argc, [&](const char* name) { return std::to_string(row.count) == name; }))
                isGood = measure(*device, row) && isGood;
    } catch (const glasshob::ShaderError& error) {
        std::fprintf(stderr, "%s\n", error.raw.c_str());
        return 2;
    }
    std::printf("at most %.2f: %s\n", target, isGood ? "reached" : "MISSED");
    return isGood ? 0 : 1;
}
