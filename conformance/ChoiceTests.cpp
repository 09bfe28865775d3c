// Textures and samplers that are only known at run time: chosen by a condition, set in branches and loops, given back
// by functions, kept in structs and arrays, handed on. Every thread chooses for itself.
#include "GPU/Texture.h"
#include "GlassHobRender/tests/Kernels.h"

#include <functional>

namespace glasshob::testing {
namespace {

constexpr std::uint32_t threads = 12;

// The textures a, b and c hold 100, 200 and 300, plus the number of the column; out[i] is what `body` puts there.
std::vector<float> run(const std::string& functions, const std::string& body) {
    const auto on = device();
    auto compiled =
        msl::compile("#include <metal_stdlib>\nusing namespace metal;\n" + functions +
                     "\nkernel void check(texture2d<float> a [[texture(0)]], texture2d<float> b [[texture(1)]], "
                     "texture2d<float> c [[texture(2)]], sampler s [[sampler(0)]], device float* out [[buffer(0)]], "
                     "uint i [[thread_position_in_grid]]) {\n"
                     "constexpr sampler near(coord::pixel, filter::nearest);\n"
                     "constexpr sampler wide(filter::nearest, address::repeat);\n" +
                     body + "\n}\n");
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return std::vector<float>(threads);
    }
    const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "choice"));
    const auto pipeline = library ? on->makeComputePipelineState((*library)->makeFunction("check"), {threads, 1, 1})
                                  : std::unexpected(library.error());
    const auto queue = on->makeCommandQueue();
    const auto buffer = on->makeBuffer(threads * sizeof(float), gpu::StorageMode::shared);
    const auto sampler = on->makeSamplerState({});
    if (!pipeline || !queue || !buffer || !sampler) {
        ADD_FAILURE() << (pipeline ? "nothing to run with" : pipeline.error().text);
        return std::vector<float>(threads);
    }
    const auto commands = (*queue)->commandBuffer();
    gpu::ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(*pipeline);
    for (std::uint32_t number = 0; number < 3; ++number) {
        const auto texture =
            on->makeTexture({.format = gpu::PixelFormat::rgba32Float, .width = 4 + number, .height = 1});
        std::vector<float> texels((4 + number) * 4);
        for (std::uint32_t x = 0; x < 4 + number; ++x)
            texels[x * 4] = float(100 * (number + 1) + x);
        if (!texture || !(*texture)->upload(0, 0, texels.data())) {
            ADD_FAILURE() << "no texture";
            return std::vector<float>(threads);
        }
        encoder->setTexture(*texture, number);
    }
    encoder->setSamplerState(*sampler, 0);
    encoder->setBuffer(*buffer, 0, 0);
    encoder->dispatchThreads({threads, 1, 1});
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
    std::vector<float> out(threads);
    std::memcpy(out.data(), (*buffer)->contents(), threads * sizeof(float));
    return out;
}

TEST(Choices, EveryWayOfChoosingATexture) {
    const std::string functions = R"(
        using Image = texture2d<float>;
        float readAt(Image t, uint x) { return t.read(uint2(x, 0)).x; }
        float readThrough(thread const Image& t, uint x) { return readAt(t, x); }
        Image pick(Image a, Image b, Image c, uint n) { if (n == 0) return a; if (n == 1) return b; return c; }
        Image pickBySwitch(Image a, Image b, Image c, uint n) {
            switch (n) { case 0: return a; case 1: return b; default: break; }
            return c;
        }
        void setTo(thread Image& t, Image to, bool isSet) { if (isSet) t = to; }
        struct Layer { Image image; float weight; float at(uint x) const { return weight * image.read(uint2(x, 0)).x; } };
        float sum(thread const Layer& l, uint x) { return l.at(x); }
        template <typename T> struct Pair { T first, second; T get(bool isSecond) const { return isSecond ? second : first; } };
    )";
    struct Row {
        std::string body;
        std::function<float(std::uint32_t)> expected;
    };
    const auto three = [](std::uint32_t i) { return float(100 * (i % 3 + 1) + 2); };
    const auto two = [](std::uint32_t i) { return float(i % 2 == 0 ? 102 : 202); };
    const std::vector<Row> rows = {
        {"out[i] = (i % 2 == 0 ? a : b).read(uint2(2, 0)).x;", two},
        {"Image t = i % 2 == 0 ? a : b; out[i] = readAt(t, 2);", two},
        {"Image t = i % 3 == 0 ? a : i % 3 == 1 ? b : c; out[i] = readThrough(t, 2);", three},
        {"Image t = a; if (i % 3 == 1) t = b; else if (i % 3 == 2) { t = c; } out[i] = readAt(t, 2);", three},
        {"Image t; switch (i % 3) { case 0: t = a; break; case 1: t = b; break; default: t = c; } out[i] = readAt(t, "
         "2);",
         three},
        {"out[i] = readAt(pick(a, b, c, i % 3), 2);", three},
        {"out[i] = readThrough(pickBySwitch(a, b, c, i % 3), 2);", three},
        {"const Image all[] = {a, b, c}; out[i] = all[i % 3].read(uint2(2, 0)).x;", three},
        {"array<Image, 3> all = {a, b, c}; out[i] = readAt(all[i % 3], 2);", three},
        {"Image all[3]; all[0] = a; all[1] = b; all[2] = c; out[i] = readAt(all[i % 3], 2);", three},
        {"Image all[3] = {a, a, a}; if (i % 2 == 1) all[1] = b; out[i] = readAt(all[1], 2);", two},
        {"const Image all[] = {a, b, c}; float x = 0; for (Image t : all) x += readAt(t, 1); out[i] = x;",
         [](auto) { return 603.0F; }},
        {"const Image all[] = {a, b, c}; float x = 0; for (uint k = 0; k <= i % 3; ++k) x += readAt(all[k], 0); out[i] "
         "= x;",
         [](std::uint32_t i) { return i % 3 == 0   ? 100.0F
                                      : i % 3 == 1 ? 300.0F
                                                   : 600.0F; }},
        // Used first and set afterwards, in a loop, and set by a function.
        {"float x = 0; Image t = a; for (uint k = 0; k < 3; ++k) { x += readAt(t, 0); t = k == i % 3 ? b : c; } out[i] "
         "= x;",
         [](std::uint32_t i) { return i % 3 < 2 ? 600.0F : 700.0F; }},
        {"Image t = a; setTo(t, b, i % 2 == 1); out[i] = readAt(t, 2);", two},
        // Set in every pass before it is used.
        {"float x = 0; Image t = a; for (uint k = 0; k < 3; ++k) { t = k == i % 3 ? b : c; x += readAt(t, k); } out[i] "
         "= x;",
         [](std::uint32_t i) { return 803.0F + float(0 * i); }},
        {"Layer one = {a, 2}; Layer other = {b, 3}; Layer l = i % 2 == 0 ? one : other; out[i] = l.at(1) + sum(l, 0);",
         [](std::uint32_t i) { return i % 2 == 0 ? 402.0F : 1203.0F; }},
        {"Layer l = {a, 1}; if (i % 2 == 1) { l.image = b; l.weight = 0.5; } out[i] = sum(l, 2);",
         [](std::uint32_t i) { return i % 2 == 0 ? 102.0F : 101.0F; }},
        {"Layer all[2] = {{a, 1}, {b, 10}}; out[i] = all[i % 2].at(2);",
         [](std::uint32_t i) { return i % 2 == 0 ? 102.0F : 2020.0F; }},
        {"Pair<Image> p = {a, b}; out[i] = readAt(p.get(i % 2 == 1), 2);", two},
        {"out[i] = float((i % 3 == 0 ? a : i % 3 == 1 ? b : c).get_width());",
         [](std::uint32_t i) { return float(4 + i % 3); }},
        // The sampler, and both at once.
        {"sampler q = near; if (i % 2 == 1) q = wide; out[i] = a.sample(q, float2(i % 2 == 1 ? 1.4 : 1.5, 0.5)).x;",
         [](auto) { return 101.0F; }},
        {"out[i] = (i % 2 == 1 ? b : a).sample(i % 4 < 2 ? near : s, float2(i % 4 < 2 ? 2.5 : 0.55, 0.5)).x;", two},
    };
    for (const Row& row : rows) {
        const std::vector<float> got = run(functions, row.body);
        for (std::uint32_t i = 0; i < threads; ++i)
            EXPECT_EQ(got[i], row.expected(i)) << row.body << ", thread " << i;
    }
}

} // namespace
} // namespace glasshob::testing
