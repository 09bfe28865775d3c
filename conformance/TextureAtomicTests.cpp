// Atomic operations on texels: what many threads leave in one texel, and which texel of a kind of texture is meant.
#include "GPU/Texture.h"
#include "GlassHobRender/tests/Kernels.h"

#include <algorithm>
#include <numeric>

namespace glasshob::testing {
namespace {

constexpr std::uint32_t threads = 64;

// Runs `body` with `textureType t [[texture(0)]]` and `device uint* out` over the threads; gives back `out`, three
// words for each thread. The texture is four texels on each side and starts as `start`.
std::vector<std::uint32_t> run(const std::string& textureType, const std::string& body, gpu::TextureType type,
                               std::uint32_t threadCount, std::uint32_t start) {
    const auto on = device();
    auto compiled = msl::compile("#include <metal_stdlib>\nusing namespace metal;\nkernel void check(" + textureType +
                                 " t [[texture(0)]], device uint* out [[buffer(0)]], "
                                 "uint i [[thread_position_in_grid]]) {\n" +
                                 body + "\n}\n");
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return {};
    }
    gpu::TextureDescriptor descriptor;
    descriptor.type = type;
    descriptor.format =
        textureType.find("<int") != std::string::npos ? gpu::PixelFormat::r32Sint : gpu::PixelFormat::r32Uint;
    const bool isLine = type == gpu::TextureType::type1D || type == gpu::TextureType::type1DArray;
    descriptor.width = 4;
    descriptor.height = isLine ? 1 : 4;
    descriptor.depth = type == gpu::TextureType::type3D ? 4 : 1;
    descriptor.arrayLength = type == gpu::TextureType::type1DArray || type == gpu::TextureType::type2DArray ? 4 : 1;
    descriptor.usage = {.shaderRead = true, .shaderWrite = true};
    const auto texture = on->makeTexture(descriptor);
    const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "atomics"));
    const auto queue = on->makeCommandQueue();
    const auto buffer = on->makeBuffer(threads * 12, gpu::StorageMode::shared);
    const auto pipeline = library ? on->makeComputePipelineState((*library)->makeFunction("check"), {threadCount, 1, 1})
                                  : std::unexpected(library.error());
    if (!texture || !queue || !buffer || !pipeline) {
        ADD_FAILURE() << (texture ? pipeline ? "no queue or buffer" : pipeline.error().text : texture.error().text);
        return {};
    }
    const std::vector<std::uint32_t> texels(16, start);
    for (std::uint32_t slice = 0; slice < std::max(descriptor.depth, descriptor.arrayLength); ++slice)
        EXPECT_TRUE((*texture)->upload(0, slice, texels.data()));
    const auto commands = (*queue)->commandBuffer();
    gpu::ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(*pipeline);
    encoder->setTexture(*texture, 0);
    encoder->setBuffer(*buffer, 0, 0);
    encoder->dispatchThreads({threadCount, 1, 1});
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
    std::vector<std::uint32_t> out(std::size_t{threads} * 3);
    std::memcpy(out.data(), (*buffer)->contents(), out.size() * 4);
    return out;
}

// Every thread works on the same texel; whoever is last sees what all have made of it.
TEST(TextureAtomics, ManyThreadsLoseNothing) {
    struct Row {
        std::string type, operation, operand;
        std::uint32_t start, expected;
    };
    const std::vector<Row> rows = {
        {"uint", "atomic_fetch_add", "i", 5, 5 + threads * (threads - 1) / 2},
        {"uint", "atomic_fetch_sub", "2", 1000, 1000 - 2 * threads},
        {"uint", "atomic_fetch_max", "uint4(i * 3)", 7, 3 * (threads - 1)},
        {"uint", "atomic_fetch_min", "uint4(i + 2)", 7, 2},
        {"int", "atomic_fetch_min", "-int(i)", 7, std::uint32_t(-std::int32_t(threads - 1))},
        {"int", "atomic_fetch_max", "int4(int(i) - 100)", std::uint32_t(-1000), std::uint32_t(-100 + 63)},
        {"uint", "atomic_fetch_or", "1u << (i & 31)", 0, 0xFFFFFFFF},
        {"uint", "atomic_fetch_and", "~(1u << (i & 15))", 0xFFFFFFFF, 0xFFFF0000},
        {"uint", "atomic_fetch_xor", "uint4(i)", 0x100, 0x100},
    };
    for (const Row& row : rows) {
        const std::string value = row.type == "int" ? "as_type<uint>(%)" : "%";
        const auto asUint = [&](const std::string& text) {
            return value.substr(0, value.find('%')) + text + value.substr(value.find('%') + 1);
        };
        const auto out =
            run("texture2d<" + row.type + ", access::read_write>",
                "uint2 at = uint2(2, 1); " + row.type + "4 old = t." + row.operation + "(at, " + row.operand +
                    "); out[3 * i] = " + asUint("old.x") + "; threadgroup_barrier(mem_flags::mem_texture);" +
                    "out[3 * i + 1] = " + asUint("t.atomic_load(at).x") +
                    "; out[3 * i + 2] = " + asUint("t.atomic_load(uint2(1, 2))[0]") + ";",
                gpu::TextureType::type2D, threads, row.start);
        ASSERT_FALSE(out.empty()) << row.operation;
        bool sawStart = false;
        for (std::uint32_t i = 0; i < threads; ++i) {
            sawStart = sawStart || out[3 * i] == row.start;
            EXPECT_EQ(out[3 * i + 1], row.expected) << row.operation << " of " << row.type << ", thread " << i;
            EXPECT_EQ(out[3 * i + 2], row.start) << row.operation << ", another texel";
        }
        EXPECT_TRUE(sawStart) << row.operation << ": some thread is the first";
    }
}

TEST(TextureAtomics, ExchangesHandTheTexelRound) {
    // What the threads got and what is left in the end are all the numbers that went in.
    auto out = run("texture2d<uint, access::read_write>",
                   "out[3 * i] = t.atomic_exchange(uint2(0), uint4(i)).x; threadgroup_barrier(mem_flags::mem_texture);"
                   "out[3 * i + 1] = t.atomic_load(uint2(0)).x;",
                   gpu::TextureType::type2D, threads, threads);
    ASSERT_FALSE(out.empty());
    std::vector<std::uint32_t> seen = {out[1]};
    for (std::uint32_t i = 0; i < threads; ++i)
        seen.push_back(out[3 * i]);
    std::ranges::sort(seen);
    std::vector<std::uint32_t> all(threads + 1);
    std::iota(all.begin(), all.end(), 0U);
    EXPECT_EQ(seen, all);

    out = run("texture2d<uint, access::read_write>", R"(
        uint4 expected = t.atomic_load(uint2(3));
        while (!t.atomic_compare_exchange_weak(uint2(3), &expected, expected * 1 + uint4(i))) {}
        uint4 wrong = uint4(0xFFFFFFFF);
        bool isTaken = t.atomic_compare_exchange_weak(uint2(1), &wrong, uint4(9));
        out[3 * i + 1] = uint(isTaken) + 10 * wrong.x;
        threadgroup_barrier(mem_flags::mem_texture);
        out[3 * i] = t.atomic_load(uint2(3)).x;
        out[3 * i + 2] = t.read(uint2(1)).x;)",
              gpu::TextureType::type2D, threads, 5);
    ASSERT_FALSE(out.empty());
    for (std::uint32_t i = 0; i < threads; ++i) {
        EXPECT_EQ(out[3 * i], 5 + threads * (threads - 1) / 2);
        EXPECT_EQ(out[3 * i + 1], 50U) << "what was not expected is told and left";
        EXPECT_EQ(out[3 * i + 2], 5U);
    }
}

TEST(TextureAtomics, EveryKindOfTextureCountsItsOwnCoordinates) {
    struct Row {
        std::string type, coordinate;
        gpu::TextureType shape;
        std::uint32_t texels;
    };
    const std::vector<Row> rows = {
        {"texture1d", "i", gpu::TextureType::type1D, 4},
        {"texture1d_array", "i % 4, i / 4", gpu::TextureType::type1DArray, 16},
        {"texture2d", "uint2(i % 4, i / 4)", gpu::TextureType::type2D, 16},
        {"texture2d", "ushort2(i % 4, i / 4)", gpu::TextureType::type2D, 16},
        {"texture2d_array", "uint2(i % 4, i / 4 % 4), i / 16", gpu::TextureType::type2DArray, 64},
        {"texture3d", "uint3(i % 4, i / 4 % 4, i / 16)", gpu::TextureType::type3D, 64},
    };
    for (const Row& row : rows) {
        const auto out = run(row.type + "<uint, access::read_write>",
                             "t.atomic_store(uint4(i * 2), " + row.coordinate + "); t.atomic_fetch_add(" +
                                 row.coordinate + ", 1); threadgroup_barrier(mem_flags::mem_texture);" +
                                 "out[3 * i] = t.read(" + row.coordinate + ").x;",
                             row.shape, row.texels, 77);
        ASSERT_FALSE(out.empty());
        for (std::uint32_t i = 0; i < row.texels; ++i)
            EXPECT_EQ(out[3 * i], 2 * i + 1) << row.type << " at " << row.coordinate << ", thread " << i;
    }
}

} // namespace
} // namespace glasshob::testing
