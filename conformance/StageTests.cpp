// What the system tells vertex and fragment functions, and all that they can give back, seen in drawn pixels.
#include "GlassHobRender/tests/Kernels.h"

#include <array>
#include <cmath>
#include <functional>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";
constexpr std::uint32_t side = 8;

using Pixel = std::array<float, 4>;

struct Draw {
    std::uint32_t targets = 1;
    std::uint32_t samples = 1;
    bool hasDepth = false;
    std::string vertexSource = {}; // the function "v" by itself, when it must not share a module with "f"
    std::vector<gpu::ConstantValue> constants = {}; // of both functions
    gpu::PrimitiveTopologyClass topology = gpu::PrimitiveTopologyClass::triangle;
    std::function<void(gpu::RenderCommandEncoder&)> record = [](gpu::RenderCommandEncoder& encoder) {
        encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
    };
};

// The functions "v" and "f" of `source`, drawn over zeros; the pixels of every target, top row first.
std::vector<std::vector<Pixel>> drawn(const std::string& source, const Draw& draw) {
    const auto on = device();
    if (onExecution != nullptr) onExecution(source);
    auto compiled = msl::compile(head + source);
    if (on == nullptr || !compiled) {
        ADD_FAILURE() << (compiled ? "" : compiled.error().text);
        return {};
    }
    const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "stage"));
    if (!library) {
        ADD_FAILURE() << library.error().text;
        return {};
    }
    gpu::RenderPipelineDescriptor pipelineDescriptor;
    auto vertexLibrary = *library;
    if (!draw.vertexSource.empty()) {
        auto apart = msl::compile(head + draw.vertexSource);
        if (!apart) {
            ADD_FAILURE() << apart.error().text;
            return {};
        }
        vertexLibrary = *on->makeLibrary(libraryDescriptor(std::move(*apart), "vertex"));
    }
    pipelineDescriptor.vertexFunction = vertexLibrary->makeFunction("v", draw.constants);
    pipelineDescriptor.fragmentFunction = (*library)->makeFunction("f", draw.constants);
    pipelineDescriptor.rasterSampleCount = draw.samples;
    pipelineDescriptor.inputPrimitiveTopology = draw.topology;
    if (draw.hasDepth) pipelineDescriptor.depthFormat = gpu::PixelFormat::depth32Float;
    gpu::RenderPassDescriptor pass;
    std::vector<std::shared_ptr<gpu::Texture>> targets;
    const auto texture = [&](gpu::PixelFormat format, std::uint32_t samples, gpu::StorageMode storage) {
        gpu::TextureDescriptor descriptor;
        descriptor.type = samples == 1 ? gpu::TextureType::type2D : gpu::TextureType::type2DMultisample;
        descriptor.format = format;
        descriptor.width = descriptor.height = side;
        descriptor.sampleCount = samples;
        descriptor.storage = storage;
        descriptor.usage = {.shaderRead = samples == 1 && format != gpu::PixelFormat::depth32Float,
                            .renderTarget = true};
        const auto made = on->makeTexture(descriptor);
        EXPECT_TRUE(made) << (made ? "" : made.error().text);
        return made ? *made : nullptr;
    };
    for (std::uint32_t i = 0; i < draw.targets; ++i) {
        constexpr gpu::PixelFormat format = gpu::PixelFormat::rgba16Float;
        pipelineDescriptor.colorAttachments[i].format = format;
        targets.push_back(texture(format, 1, gpu::StorageMode::shared));
        gpu::RenderPassColorAttachment& attachment = pass.colorAttachments[i];
        attachment.loadAction = gpu::LoadAction::clear;
        attachment.clearColor = {0, 0, 0, 0};
        attachment.texture = targets.back();
        if (draw.samples > 1) {
            attachment.resolveTexture = targets.back();
            attachment.texture = texture(format, draw.samples, gpu::StorageMode::privateToDevice);
            attachment.storeAction = gpu::StoreAction::multisampleResolve;
        }
    }
    if (draw.hasDepth)
        pass.depthAttachment.texture =
            texture(gpu::PixelFormat::depth32Float, draw.samples, gpu::StorageMode::privateToDevice);
    const auto pipeline = on->makeRenderPipelineState(pipelineDescriptor);
    const auto queue = on->makeCommandQueue();
    if (!pipeline || !queue) {
        ADD_FAILURE() << (pipeline ? "no queue" : pipeline.error().text);
        return {};
    }
    const auto commands = (*queue)->commandBuffer();
    gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
    if (encoder == nullptr) {
        ADD_FAILURE() << "no encoder";
        return {};
    }
    encoder->setRenderPipelineState(*pipeline);
    draw.record(*encoder);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
    std::vector<std::vector<Pixel>> result;
    for (const auto& target : targets) {
        std::vector<_Float16> texels(std::size_t{side} * side * 4);
        target->getBytes(texels.data(), side * 4 * sizeof(_Float16), {0, 0, side, side});
        std::vector<Pixel>& pixels = result.emplace_back(side * side);
        for (std::size_t i = 0; i < texels.size(); ++i)
            pixels[i / 4][i % 4] = float(texels[i]);
    }
    return result;
}

// Everything in one triangle that covers the target; "extra" members follow.
std::string fullScreen(const std::string& members, const std::string& body) {
    return "struct V { float4 p [[position]]; " + members +
           " };\n"
           "vertex V v(uint id [[vertex_id]], uint instance [[instance_id]]) { V o = {};\n"
           "    o.p = float4(id == 1 ? 3 : -1, id == 2 ? 3 : -1, 0.5, 1);\n" +
           body + " return o; }\n";
}

const Pixel& at(const std::vector<Pixel>& pixels, std::uint32_t x, std::uint32_t y) {
    return pixels[y * side + x];
}

TEST(Stages, ColoursGoToTheirAttachments) {
    const auto targets = drawn(fullScreen("", "") + R"(
struct O { half2 b [[color(1)]]; float4 c [[color(2)]]; float a [[color(0)]]; };
fragment O f(float4 p [[position]]) { O o; o.a = 1; o.b = half2(2, p.x); o.c = float4(3, 4, 5, p.y); return o; })",
                               {.targets = 3});
    ASSERT_EQ(targets.size(), 3U);
    EXPECT_EQ(at(targets[0], 3, 5)[0], 1);
    EXPECT_EQ(at(targets[1], 3, 5)[0], 2);
    EXPECT_EQ(at(targets[1], 3, 5)[1], 3.5F);
    EXPECT_EQ(at(targets[2], 3, 5), (Pixel{3, 4, 5, 5.5F}));
}

TEST(Stages, PrimitivesFacesAndInstances) {
    // Two triangles on the left half, the second turned round; the first instance is far off the picture.
    const auto targets = drawn(R"(
struct V { float4 p [[position]]; uint instance [[flat]]; };
vertex V v(uint id [[vertex_id]], uint instance [[instance_id]]) {
    float2 corners[] = {{-1, 1}, {0, 1}, {-1, 0}, {-1, -1}, {0, -1}, {-1, 0}};
    float2 c = corners[id] + float2(instance == 0 ? 9 : 0, 0);
    return {float4(c, 0, 1), instance}; }
fragment float4 f(V in [[stage_in]], bool front [[front_facing]], uint primitive [[primitive_id]]) {
    return float4(front ? 1 : 2, primitive + 1, in.instance, 1); })",
                               {.record = [](gpu::RenderCommandEncoder& encoder) {
                                   encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 6, 2);
                               }});
    ASSERT_EQ(targets.size(), 1U);
    // Clockwise is the front by default.
    EXPECT_EQ(at(targets[0], 6, 0)[3], 0);
    EXPECT_EQ(at(targets[0], 0, 1), (Pixel{1, 1, 1, 1}));
    EXPECT_EQ(at(targets[0], 0, 6), (Pixel{2, 2, 1, 1}));
}

TEST(Stages, AStartOfVerticesCountsIn) {
    const auto targets = drawn(R"(
struct V { float4 p [[position]]; uint vertex_ [[flat]]; uint base [[flat]]; uint baseInstance [[flat]]; };
vertex V v(uint id [[vertex_id]], uint base [[base_vertex]], uint baseInstance [[base_instance]]) {
    uint i = id - 6;
    return {float4(i == 1 ? 3 : -1, i == 2 ? 3 : -1, 0, 1), id, base, baseInstance}; }
fragment float4 f(V in [[stage_in]]) { return float4(in.vertex_, in.base, in.baseInstance, 1); })",
                               {.record = [](gpu::RenderCommandEncoder& encoder) {
                                   encoder.drawPrimitives(gpu::PrimitiveType::triangle, 6, 3);
                               }});
    ASSERT_EQ(targets.size(), 1U);
    EXPECT_EQ(at(targets[0], 4, 4), (Pixel{6, 6, 0, 1}));
}

TEST(Stages, ClipDistancesCut) {
    for (const std::string form : {"float clip [[clip_distance]];", "float clip [[clip_distance]] [2];"}) {
        const bool isArray = form.ends_with("[2];");
        const auto targets =
            drawn(fullScreen(form, isArray ? "o.clip[0] = o.p.x; o.clip[1] = o.p.y;" : "o.clip = o.p.x;") +
                      "fragment float4 f(V in [[stage_in]]) { return float4(in.clip" + (isArray ? "[0]" : "") +
                      ", 0, 0, 1); }",
                  {});
        ASSERT_EQ(targets.size(), 1U);
        for (std::uint32_t y = 0; y < side; ++y) {
            for (std::uint32_t x = 0; x < side; ++x) {
                const bool isKept = x >= side / 2 && (!isArray || y < side / 2);
                EXPECT_EQ(at(targets[0], x, y)[3], isKept ? 1 : 0) << form << " at " << x << ", " << y;
                if (isKept) EXPECT_NEAR(at(targets[0], x, y)[0], (float(x) + 0.5F) / 4 - 1, 1e-2);
            }
        }
    }
}

TEST(Stages, DepthIsWhatTheFragmentSays) {
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto less =
        on->makeDepthStencilState({.depthCompare = gpu::CompareFunction::less, .depthWriteEnabled = true});
    ASSERT_TRUE(less);
    // The first draw lies at its column's depth, the second at 0.5: it shows where it is nearer.
    const auto targets = drawn(fullScreen("", "") + R"(
struct O { float4 c [[color(0)]]; float d [[depth(any)]]; };
fragment O f(float4 p [[position]], constant float& second [[buffer(0)]]) {
    return {float4(second + 1), second > 0 ? 0.5f : p.x / 8}; })",
                               {.hasDepth = true, .record = [&](gpu::RenderCommandEncoder& encoder) {
                                    encoder.setDepthStencilState(*less);
                                    for (const float second : {0.0F, 1.0F}) {
                                        encoder.setFragmentBytes(&second, sizeof second, 0);
                                        encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
                                    }
                                }});
    ASSERT_EQ(targets.size(), 1U);
    for (std::uint32_t x = 0; x < side; ++x)
        EXPECT_EQ(at(targets[0], x, 2)[0], x < 4 ? 1 : 2) << x;
}

TEST(Stages, EarlyTestsKeepHiddenFragmentsFromRunning) {
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto less =
        on->makeDepthStencilState({.depthCompare = gpu::CompareFunction::less, .depthWriteEnabled = true});
    ASSERT_TRUE(less);
    for (const bool isEarly : {false, true}) {
        const auto count = *on->makeBuffer(4, gpu::StorageMode::shared);
        std::memset(count->contents(), 0, 4);
        // The same triangle twice: the second time nothing is nearer.
        drawn(fullScreen("", "") + (isEarly ? "[[early_fragment_tests]] " : "") + R"(
fragment float4 f(device atomic_uint& count [[buffer(0)]]) {
    atomic_fetch_add_explicit(&count, 1u, memory_order_relaxed); return 1; })",
              {.hasDepth = true, .record = [&](gpu::RenderCommandEncoder& encoder) {
                   encoder.setDepthStencilState(*less);
                   encoder.setFragmentBuffer(count, 0, 0);
                   encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
                   encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
               }});
        std::uint32_t found = 0;
        std::memcpy(&found, count->contents(), 4);
        EXPECT_EQ(found, side * side * (isEarly ? 1 : 2));
    }
}

TEST(Stages, VaryingsAreInterpolatedAsTheySay) {
    // w grows from 1 to 4 from left to right: perspective and straight interpolation differ.
    const auto targets = drawn(R"(
struct V { float4 p [[position]]; float a; float b [[center_no_perspective]]; float c [[flat]]; int d [[user(n)]]; };
vertex V v(uint id [[vertex_id]]) {
    float2 corner = float2(id % 2, id / 2); float w = 1 + 3 * corner.x;
    return {float4((corner * 2 - 1) * w, 0, w), corner.x, corner.x, corner.y + 1, int(id) - 3}; }
fragment float4 f(V in [[stage_in]]) { return float4(in.a, in.b, in.c, in.d); })",
                               {.record = [](gpu::RenderCommandEncoder& encoder) {
                                   encoder.drawPrimitives(gpu::PrimitiveType::triangleStrip, 0, 4);
                               }});
    ASSERT_EQ(targets.size(), 1U);
    for (std::uint32_t x = 0; x < side; ++x) {
        const float t = (float(x) + 0.5F) / side;
        EXPECT_NEAR(at(targets[0], x, 1)[0], t / 4 / (1 - t + t / 4), 2e-3) << x;
        EXPECT_NEAR(at(targets[0], x, 1)[1], t, 2e-3) << x;
    }
    EXPECT_EQ(at(targets[0], 0, 7)[2], 1) << "of the first vertex";
    EXPECT_EQ(at(targets[0], 0, 7)[3], -3);
}

TEST(Stages, SamplesAreShadedAndMasked) {
    // Sample 0 gives 0, 1 gives 4 ...: their mean is 6. With a mask only samples 1 and 3 are written.
    const auto shaded =
        drawn(fullScreen("", "") + "fragment float4 f(uint s [[sample_id]]) { return s * 4; }", {.samples = 4});
    ASSERT_EQ(shaded.size(), 1U);
    EXPECT_EQ(at(shaded[0], 2, 2)[0], 6);
    const auto masked = drawn(fullScreen("", "") + R"(
struct O { float4 c [[color(0)]]; uint mask [[sample_mask]]; };
fragment O f(uint given [[sample_mask]]) { return {float4(8), given & 10u}; })",
                              {.samples = 4});
    ASSERT_EQ(masked.size(), 1U);
    EXPECT_EQ(at(masked[0], 2, 2)[0], 4);
}

// "at" is the place on the target in pixels, so what an input is somewhere in the pixel says where that is.
TEST(Stages, InputsAreAskedForAnywhereInThePixel) {
    const std::string fragment = R"(
struct F { float4 p [[position]]; interpolant<float2, interpolation::no_perspective> at;
           interpolant<half2, interpolation::perspective> half; };
float2 middleOf(thread const interpolant<float2, interpolation::no_perspective>& at) { return at.interpolate_at_center(); }
struct O { float4 a [[color(0)]]; float4 b [[color(1)]]; float4 c [[color(2)]]; };
fragment O f(F in [[stage_in]]) {
    const float2 corner = floor(in.p.xy);
    float2 worst = 0;
    for (uint n = 0; n < get_num_samples(); ++n)
        worst = max(worst, abs(in.at.interpolate_at_sample(n) - corner - get_sample_position(n)));
    O o;
    o.a = float4(worst, get_num_samples(), in.at.interpolate_at_centroid().x - corner.x);
    o.b = float4(middleOf(in.at) - corner, in.at.interpolate_at_offset(float2(0.25, 0.75)) - corner);
    o.c = float4(float2(in.half.interpolate_at_center()) * 2 - corner, get_sample_position(get_num_samples() - 1));
    return o;
})";
    const std::string vertices =
        fullScreen("float2 at; float2 half;", "o.at = (o.p.xy * float2(0.5, -0.5) + 0.5) * 8; o.half = o.at / 2;");
    for (const std::uint32_t samples : {1U, 4U}) {
        const auto targets = drawn(vertices + fragment, {.targets = 3, .samples = samples});
        ASSERT_EQ(targets.size(), 3U);
        const Pixel expected[] = {{0, 0, float(samples), 0.5F},
                                  {0.5F, 0.5F, 0.25F, 0.75F},
                                  {0.5F, 0.5F, samples == 1 ? 0.5F : 0.625F, samples == 1 ? 0.5F : 0.875F}};
        for (std::size_t target = 0; target < 3; ++target)
            for (std::size_t part = 0; part < 4; ++part)
                EXPECT_NEAR(at(targets[target], 3, 5)[part], expected[target][part], 0.02)
                    << samples << " samples, target " << target << ", component " << part;
    }
}

TEST(Stages, PointsHaveCoordinatesAndSizes) {
    const auto targets =
        drawn(R"(
struct V { float4 p [[position]]; float size [[point_size]]; };
vertex V v() { return {float4(0, 0, 0, 1), 4}; }
fragment float4 f(V in [[stage_in]], float2 c [[point_coord]]) { return float4(c, in.size, 1); })",
              {.topology = gpu::PrimitiveTopologyClass::point, .record = [](gpu::RenderCommandEncoder& encoder) {
                   encoder.drawPrimitives(gpu::PrimitiveType::point, 0, 1);
               }});
    ASSERT_EQ(targets.size(), 1U);
    EXPECT_EQ(at(targets[0], 1, 4)[3], 0);
    EXPECT_EQ(at(targets[0], 2, 4), (Pixel{0.125, 0.625, 0, 1}));
    EXPECT_EQ(at(targets[0], 5, 2), (Pixel{0.875, 0.125, 0, 1}));
    EXPECT_EQ(at(targets[0], 6, 4)[3], 0);
}

TEST(Stages, FunctionConstantsReachBothStages) {
    const std::string source = "constant float shift [[function_constant(0)]]; constant int shade "
                               "[[function_constant(1)]];\n" +
                               fullScreen("float x;", "o.x = shift;") +
                               "fragment float4 f(V in [[stage_in]]) { return float4(in.x, shade, "
                               "is_function_constant_defined(shade) ? 1 : 0, 1); }";
    for (const bool isGiven : {false, true}) {
        Draw draw;
        if (isGiven) draw.constants = {{64, 4, 0x40200000}, {72, 4, 7}, {79, 4, 1}}; // 2.5, 7, true
        const auto targets = drawn(source, draw);
        ASSERT_EQ(targets.size(), 1U);
        EXPECT_EQ(at(targets[0], 3, 3), (isGiven ? Pixel{2.5F, 7, 1, 1} : Pixel{0, 0, 0, 1}));
    }
}

TEST(Stages, FragmentsShareWithTheirQuads) {
    // Every fragment of a 2 x 2 block sees the sum over the block, and the differences to its neighbours. A driver may
    // cut the triangle along a diagonal of the picture; these blocks are whole in any case.
    // The validation layer takes quad functions for used by every function of their module, a vertex function's too.
    const auto targets = drawn(R"(
fragment float4 f(float4 p [[position]], uint lane [[thread_index_in_quadgroup]]) {
    float x = floor(p.x) + 100 * floor(p.y);
    return float4(quad_sum(x), quad_max(x) - quad_min(x), dfdx(x) + dfdy(x), quad_shuffle_xor(x, 1) - x); })",
                               {.vertexSource = fullScreen("", "")});
    ASSERT_EQ(targets.size(), 1U);
    for (const auto& [x, y] : {std::pair{0U, 0U}, {3U, 0U}, {6U, 5U}}) {
        const Pixel& pixel = at(targets[0], x, y);
        const float left = float(x / 2 * 2);
        const float top = float(y / 2 * 2);
        EXPECT_EQ(pixel[0], 4 * left + 2 + 400 * top + 200) << x << ", " << y;
        EXPECT_EQ(pixel[1], 101);
        EXPECT_EQ(pixel[2], 101);
        EXPECT_EQ(std::abs(pixel[3]), 1);
    }
}

TEST(Stages, DerivativesOfEveryShape) {
    // A plane of known slopes, 3 a pixel to the right and -2 a pixel down, in every component times its number.
    for (const std::string kind : {"float", "half"})
        for (unsigned width = 1; width <= 4; ++width) {
            const std::string type = width == 1 ? kind : kind + std::to_string(width);
            const std::string last = width == 1 ? "" : std::string(".") + "xyzw"[width - 1];
            std::string factors = "1";
            for (unsigned c = 2; c <= width; ++c)
                factors += ", " + std::to_string(c);
            const auto targets = drawn("fragment float4 f(float4 p [[position]]) {\n" + type + " x = " + type + "(" +
                                           kind + "(3 * p.x - 2 * p.y)) * " + type + "(" + factors +
                                           ");\nreturn float4(dfdx(x)" + last + ", dfdy(x)" + last + ", fwidth(x)" +
                                           last + ", simd_is_helper_thread() || quad_is_helper_thread() ? 1 : 0); }",
                                       {.vertexSource = fullScreen("", "")});
            ASSERT_EQ(targets.size(), 1U);
            const auto by = float(width);
            EXPECT_EQ(at(targets[0], 3, 5), (Pixel{3 * by, -2 * by, 5 * by, 0})) << type;
        }
}

TEST(Stages, ADiscardedFragmentIsAHelper) {
    // The neighbours of the discarded ones ask it for what it found out.
    const auto targets = drawn(R"(
static float asked(bool cut) {
    float before = simd_is_helper_thread() ? 10 : 0;
    if (cut) discard_fragment();
    return before + (simd_is_helper_thread() ? 1 : 0);
}
fragment float4 f(float4 p [[position]]) {
    float own = asked(int(p.x) % 2 == 1);
    return float4(own, quad_shuffle_xor(own, 1), 0, 1); })",
                               {.vertexSource = fullScreen("", "")});
    ASSERT_EQ(targets.size(), 1U);
    EXPECT_EQ(at(targets[0], 2, 2), (Pixel{0, 1, 0, 1}));
    EXPECT_EQ(at(targets[0], 3, 2), (Pixel{0, 0, 0, 0}));
}

TEST(Stages, FragmentsCountInBuffers) {
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto counts = *on->makeBuffer(8, gpu::StorageMode::shared);
    std::memset(counts->contents(), 0, 8);
    const auto targets = drawn(fullScreen("", "") + R"(
struct Counts { atomic_uint all; atomic_uint kept; };
fragment float4 f(float4 p [[position]], device Counts& counts [[buffer(0)]]) {
    atomic_fetch_add_explicit(&counts.all, 1u, memory_order_relaxed);
    if (p.x < 3) discard_fragment();
    atomic_fetch_add_explicit(&counts.kept, 1u, memory_order_relaxed); // what is discarded writes nothing any more
    return 1; })",
                               {.record = [&](gpu::RenderCommandEncoder& encoder) {
                                   encoder.setFragmentBuffer(counts, 0, 0);
                                   encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
                               }});
    ASSERT_EQ(targets.size(), 1U);
    std::uint32_t found[2];
    std::memcpy(found, counts->contents(), sizeof found);
    EXPECT_EQ(found[0], side * side);
    EXPECT_EQ(found[1], side * (side - 3));
    EXPECT_EQ(at(targets[0], 2, 1)[0], 0);
    EXPECT_EQ(at(targets[0], 3, 1)[0], 1);
}

TEST(Stages, FragmentsWriteTexturesInOrderOfTheirFences) {
    const auto on = device();
    ASSERT_NE(on, nullptr);
    gpu::TextureDescriptor descriptor;
    descriptor.type = gpu::TextureType::type2D;
    descriptor.format = gpu::PixelFormat::rgba32Float;
    descriptor.width = descriptor.height = side;
    descriptor.usage = {.shaderRead = true, .shaderWrite = true};
    const auto notes = on->makeTexture(descriptor);
    ASSERT_TRUE(notes) << notes.error().text;
    const Draw draw{.record = [&](gpu::RenderCommandEncoder& encoder) {
        encoder.setFragmentTexture(*notes, 0);
        encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
    }};
    // The function that writes does not read: the CPU driver cannot do both.
    drawn(fullScreen("", "") + R"(
fragment float4 f(float4 p [[position]], texture2d<float, access::read_write> notes [[texture(0)]]) {
    for (uint i = 1; i <= 3; ++i) {
        notes.write(float4(i, p.x, p.y, 1), uint2(p.xy));
        notes.fence();
    }
    return 1; })",
          draw);
    const auto targets = drawn(fullScreen("", "") + R"(
fragment float4 f(float4 p [[position]], texture2d<float> notes [[texture(0)]]) { return notes.read(uint2(p.xy)); })",
                               draw);
    ASSERT_EQ(targets.size(), 1U);
    for (std::uint32_t y = 0; y < side; ++y)
        for (std::uint32_t x = 0; x < side; ++x)
            EXPECT_EQ(at(targets[0], x, y), (Pixel{3, float(x) + 0.5F, float(y) + 0.5F, 1}));
}

} // namespace
} // namespace glasshob
