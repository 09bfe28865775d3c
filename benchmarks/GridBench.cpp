// A 1280x720 frame of a grid of 256 by 256 squares through ShaderRun and the picture pass against a bare Vulkan program
// that does the same work with glslang's output: background and mesh in four samples with depth, then the picture.
//
// Both sides are timed in turn; the judged figure is the ratio of the medians, of processor time where the
// device is the processor. Exits 1 when it is over 1.05 or the
// pictures differ.
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "GlassHobRender/program/ShaderRun.h"
#include "benchmarks/BareWork.h"
#include "benchmarks/Common.h"

#include <cstring>
#include <string>

namespace {

using bench::BareWork;

constexpr std::uint32_t width = 1280;
constexpr std::uint32_t height = 720;
constexpr std::uint32_t cells = 256;
constexpr int frames = 45;
constexpr double target = 1.05;

const std::string blocks = R"(#version 460
#extension GL_EXT_scalar_block_layout : require
layout(set = 0, binding = 1, scalar) uniform UniformBlock {
    vec2 resolution; float time; float timeDelta; vec2 mouse; uint frame; uint pad;
} u;
layout(set = 0, binding = 2, scalar) uniform ParameterBlock { float height; } p;
layout(set = 0, binding = 3, scalar) uniform CellBlock { uint cells; };
layout(set = 0, binding = 5) uniform sampler2D image;
)";
const std::string wholeMain = R"(
layout(location = 0) out vec2 uv;
void main() {
    uv = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
    gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0);
})";
const std::string meshMain = R"(
layout(location = 0) out vec3 normal;
layout(location = 1) out vec2 at;
const vec2 corners[6] = vec2[6](vec2(0, 0), vec2(1, 0), vec2(0, 1), vec2(1, 0), vec2(1, 1), vec2(0, 1));
void main() {
    uint square = gl_VertexIndex / 6;
    vec2 place = vec2(square % cells, square / cells) + corners[gl_VertexIndex % 6];
    Vertex v = corner(place / float(cells));
    gl_Position = v.position;
    normal = v.normal;
    at = v.at;
})";
const std::string shadeMain = R"(
layout(location = 0) in vec3 normal;
layout(location = 1) in vec2 at;
layout(location = 0) out vec4 color;
void main() { color = shade(normal, at); })";
const std::string backgroundMain = R"(
layout(location = 0) in vec2 uv;
layout(location = 0) out vec4 color;
void main() { color = background(uv); })";
const std::string pictureMain = R"(
layout(location = 0) in vec2 uv;
layout(location = 0) out vec4 color;
void main() { color = texture(image, vec2(uv.x, 1.0 - uv.y)); })";

class BareSheet {
  public:
    BareSheet(const char* deviceName, const std::string& user) : work_(deviceName, width, height) {
        uniforms_ = work_.makeBuffer(32, true);
        const BareWork::Buffer parameters = work_.makeBuffer(16, true);
        constexpr float waveHeight = 0.18F; // the slider's default
        std::memcpy(parameters.mapped, &waveHeight, sizeof waveHeight);
        const BareWork::Buffer count = work_.makeBuffer(16, true);
        std::memcpy(count.mapped, &cells, sizeof cells);
        color_ = work_.makeImage(VK_FORMAT_B8G8R8A8_UNORM, VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT, VK_SAMPLE_COUNT_4_BIT);
        depth_ =
            work_.makeImage(VK_FORMAT_D32_SFLOAT, VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT, VK_SAMPLE_COUNT_4_BIT);
        resolved_ =
            work_.makeImage(VK_FORMAT_B8G8R8A8_UNORM, VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_SAMPLED_BIT);
        picture_ = work_.makeImage(VK_FORMAT_B8G8R8A8_UNORM,
                                   VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
        set_ = work_.makeSet({nullptr, &uniforms_, &parameters, &count}, &resolved_, false);
        const std::string text = blocks + user;
        BareWork::Graphics graphics;
        graphics.viewport = work_.viewport();
        graphics.vertex = blocks + wholeMain;
        graphics.fragment = blocks + pictureMain;
        show_ = work_.makeGraphics(graphics);
        graphics.samples = VK_SAMPLE_COUNT_4_BIT;
        graphics.hasDepth = true;
        graphics.vertex = text + meshMain;
        graphics.fragment = text + shadeMain;
        mesh_ = work_.makeGraphics(graphics);
        graphics.depthAlways = true;
        graphics.vertex = text + wholeMain;
        graphics.fragment = text + backgroundMain;
        background_ = work_.makeGraphics(graphics);
    }

    void draw(const glasshob::GHUniforms& uniforms) {
        std::memcpy(uniforms_.mapped, &uniforms, 32);
        work_.submit([&](VkCommandBuffer commands) {
            color_.layout = depth_.layout = resolved_.layout = picture_.layout = VK_IMAGE_LAYOUT_UNDEFINED;
            for (BareWork::Image* image : {&color_, &resolved_, &picture_})
                work_.move(commands, *image, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL);
            work_.move(commands, depth_, VK_IMAGE_LAYOUT_DEPTH_ATTACHMENT_OPTIMAL);
            work_.beginPass(commands, color_, VK_ATTACHMENT_LOAD_OP_CLEAR, {{0.035F, 0.027F, 0.031F, 1}}, &resolved_,
                            &depth_);
            work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, background_, set_);
            vkCmdDraw(commands, 3, 1, 0, 0);
            work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, mesh_, set_);
            vkCmdDraw(commands, cells * cells * 6, 1, 0, 0);
            vkCmdEndRendering(commands);
            work_.move(commands, resolved_, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
            work_.beginPass(commands, picture_, VK_ATTACHMENT_LOAD_OP_DONT_CARE);
            work_.bind(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, show_, set_);
            vkCmdDraw(commands, 3, 1, 0, 0);
            vkCmdEndRendering(commands);
        });
    }

    std::vector<std::uint8_t> pixels() { return work_.pixels(picture_); }

  private:
    BareWork work_;
    BareWork::Buffer uniforms_;
    BareWork::Image color_, depth_, resolved_, picture_;
    VkDescriptorSet set_;
    VkPipeline mesh_, background_, show_;
};

} // namespace

int main() {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 0);
    const auto device = gpu::Device::systemDefault();
    if (!device) {
        std::fprintf(stderr, "%s\n", device.error().text.c_str());
        return 2;
    }
    std::shared_ptr<const glasshob::ShaderProgram> program;
    try {
        program =
            std::make_shared<const glasshob::ShaderProgram>(bench::readText(BENCH_SHADERS "/sheet.metal"), *device);
    } catch (const glasshob::ShaderError& error) {
        std::fprintf(stderr, "%s\n", error.raw.c_str());
        return 2;
    }
    const auto run = glasshob::ShaderRun::make(program, *device, width, height);
    const auto queue = (*device)->makeCommandQueue();
    const auto picture = (*device)->makeTexture({.width = width,
                                                 .height = height,
                                                 .storage = gpu::StorageMode::shared,
                                                 .usage = {.shaderRead = false, .renderTarget = true}});
    if (run == nullptr || !queue || !picture) return 2;
    BareSheet bare((*device)->name().c_str(), bench::readText(BENCH_SHADERS "/sheet.glsl"));

    glasshob::GHUniforms uniforms;
    uniforms.resolution[0] = float(width);
    uniforms.resolution[1] = float(height);
    const auto drawOurs = [&] {
        const auto commands = (*queue)->commandBuffer();
        run->encode(uniforms, *commands, {});
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = *picture;
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        program->encodePicture(*encoder, uniforms, {}, run.get());
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
    };
    const auto drawTheirs = [&] { bare.draw(uniforms); };
    drawOurs(); // the driver compiles here
    drawTheirs();
    std::vector<double> times[2];
    std::vector<double> work[2];
    for (int frame = 0; frame < frames; ++frame) {
        uniforms.time = float(frame) * 0.05F;
        for (const int turn : {0, 1}) {
            const int side = (turn + frame) % 2;
            double time = 0;
            work[side].push_back(bench::processorMilliseconds(
                [&] { time = side == 0 ? bench::milliseconds(drawOurs) : bench::milliseconds(drawTheirs); }));
            times[side].push_back(time);
        }
    }
    std::vector<std::uint8_t> a(std::size_t(width) * height * 4);
    (*picture)->getBytes(a.data(), std::size_t(width) * 4, {0, 0, width, height});
    const std::vector<std::uint8_t> b = bare.pixels();
    std::size_t differing = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        differing += std::abs(int(a[i]) - int(b[i])) > 1 ? 1 : 0;
    const auto& judged = (*device)->isCPU() ? work : times;
    const double ratio = bench::median(judged[0]) / bench::median(judged[1]);
    const bool isGood = ratio <= target && differing < a.size() / 1000;
    std::printf("%s, %ux%u, a grid of %ux%u squares, medians of %d frames\n", (*device)->name().c_str(), width, height,
                cells, cells, frames);
    std::printf("ours %8.2f ms   bare %8.2f ms   judged %.2f : %.2f   ratio %.3f   channels that differ: %.3f %%\n",
                bench::median(times[0]), bench::median(times[1]), bench::median(judged[0]), bench::median(judged[1]),
                ratio, 100.0 * double(differing) / double(a.size()));
    std::printf("at most %.2f: %s\n", target, isGood ? "reached" : "MISSED");
    return isGood ? 0 : 1;
}
