// Textures as shader text uses them: every kind read, sampled, gathered, compared, written and asked on the device,
// with the texels that come out compared to what the CPU makes of the same rule.
#include "GPU/Texture.h"
#include "GlassHobRender/tests/Kernels.h"

#include <array>
#include <cmath>
#include <functional>

namespace glasshob::testing {
namespace {

using Texel = std::array<float, 4>;

// What lies in every test texture: each texel tells where it is.
Texel texelAt(std::uint32_t x, std::uint32_t y, std::uint32_t slice, std::uint32_t level) {
    return {float(x) + 16.0F * float(y), float(slice) + 0.5F, float(level), -float(x)};
}

gpu::TextureDescriptor describe(gpu::TextureType type, gpu::PixelFormat format) {
    using enum gpu::TextureType;
    gpu::TextureDescriptor descriptor;
    descriptor.type = type;
    descriptor.format = format;
    const bool isLine = type == type1D || type == type1DArray;
    const bool isCube = type == typeCube || type == typeCubeArray;
    descriptor.width = 8;
    descriptor.height = isLine ? 1 : isCube ? 8 : 4;
    descriptor.depth = type == type3D ? 4 : 1;
    descriptor.arrayLength = type == type1DArray || type == type2DArray ? 3 : type == typeCubeArray ? 2 : 1;
    descriptor.mipmapLevelCount = 3;
    return descriptor;
}

std::shared_ptr<gpu::Texture> makeFilled(gpu::Device& device, const gpu::TextureDescriptor& descriptor) {
    const auto texture = device.makeTexture(descriptor);
    if (!texture) {
        ADD_FAILURE() << texture.error().text;
        return nullptr;
    }
    const bool isCube =
        descriptor.type == gpu::TextureType::typeCube || descriptor.type == gpu::TextureType::typeCubeArray;
    for (std::uint32_t level = 0; level < descriptor.mipmapLevelCount; ++level) {
        const auto at = [&](std::uint32_t size) { return std::max(size >> level, 1U); };
        const std::uint32_t slices = descriptor.type == gpu::TextureType::type3D
                                         ? at(descriptor.depth)
                                         : descriptor.arrayLength * (isCube ? 6 : 1);
        for (std::uint32_t slice = 0; slice < slices; ++slice) {
            std::vector<std::byte> bytes;
            const auto append = [&](const auto& value) {
                const auto* start = reinterpret_cast<const std::byte*>(&value);
                bytes.insert(bytes.end(), start, start + sizeof value);
            };
            for (std::uint32_t y = 0; y < at(descriptor.height); ++y)
                for (std::uint32_t x = 0; x < at(descriptor.width); ++x) {
                    const Texel texel = texelAt(x, y, slice, level);
                    if (descriptor.format == gpu::PixelFormat::depth32Float) {
                        append((float(x) + 8.0F * float(y)) / 64.0F);
                        continue;
                    }
                    for (const float part : texel) {
                        if (descriptor.format == gpu::PixelFormat::rgba32Uint)
                            append(static_cast<std::uint32_t>(std::abs(part)));
                        else if (descriptor.format == gpu::PixelFormat::rgba32Sint)
                            append(static_cast<std::int32_t>(part));
                        else
                            append(part);
                    }
                }
            if (const auto written = (*texture)->upload(level, slice, bytes.data()); !written)
                ADD_FAILURE() << written.error().text;
        }
    }
    return *texture;
}

// Runs "out[i] = expression" for i in 0 ..< count, with texture t and sampler s at index 0.
std::vector<Texel> evaluate(const std::string& textureType, const std::string& expression,
                            const std::shared_ptr<gpu::Texture>& texture, std::uint32_t count,
                            const std::string& before = {}) {
    const auto on = device();
    const std::string source = "#include <metal_stdlib>\nusing namespace metal;\n" + before +
                               "\nkernel void check(device float4* out [[buffer(0)]], " + textureType +
                               " t [[texture(0)]], sampler s [[sampler(0)]], uint i [[thread_position_in_grid]]) {\n"
                               "    constexpr sampler near(filter::nearest, mip_filter::nearest);\n"
                               "    constexpr sampler lin(filter::linear, mip_filter::linear);\n"
                               "    if (i < " +
                               std::to_string(count) + ") out[i] = " + expression + ";\n}\n";
    auto compiled = msl::compile(source);
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return std::vector<Texel>(count);
    }
    const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "texture"));
    if (!library) {
        // Not every device reads textures that are written; nothing to compare there.
        if (library.error().kind != gpu::ErrorKind::unsupported) ADD_FAILURE() << library.error().text;
        return {};
    }
    const auto pipeline = on->makeComputePipelineState((*library)->makeFunction("check"));
    const auto queue = on->makeCommandQueue();
    const auto buffer = on->makeBuffer(count * sizeof(Texel), gpu::StorageMode::shared);
    const auto sampler = on->makeSamplerState({});
    if (!pipeline || !queue || !buffer || !sampler || texture == nullptr) {
        ADD_FAILURE() << "nothing to run with";
        return std::vector<Texel>(count);
    }
    std::memset((*buffer)->contents(), 0xFF, count * sizeof(Texel));
    const auto commands = (*queue)->commandBuffer();
    gpu::ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(*pipeline);
    encoder->setBuffer(*buffer, 0, 0);
    encoder->setTexture(texture, 0);
    encoder->setSamplerState(*sampler, 0);
    encoder->dispatchThreads({count, 1, 1});
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
    std::vector<Texel> result(count);
    std::memcpy(result.data(), (*buffer)->contents(), count * sizeof(Texel));
    return result;
}

struct Row {
    std::string expression;
    std::function<Texel(std::uint32_t)> expected;
    float tolerance = 0;
};

void expectRows(const std::string& textureType, const std::shared_ptr<gpu::Texture>& texture,
                const std::vector<Row>& rows, const std::string& before = {}) {
    constexpr std::uint32_t count = 16;
    for (const Row& row : rows) {
        const std::vector<Texel> got = evaluate(textureType, row.expression, texture, count, before);
        for (std::uint32_t i = 0; i < got.size(); ++i) {
            const Texel wanted = row.expected(i);
            for (std::size_t part = 0; part < 4; ++part)
                ASSERT_NEAR(got[i][part], wanted[part], row.tolerance)
                    << textureType << ": " << row.expression << ", thread " << i << ", component " << part;
        }
    }
}

Texel scalar(float value) {
    return {value, 0, 0, 0};
}

Texel mixed(const Texel& a, const Texel& b, float t) {
    Texel result;
    for (std::size_t i = 0; i < 4; ++i)
        result[i] = a[i] + (b[i] - a[i]) * t;
    return result;
}

TEST(Textures, TexelsAreReadWhereTheyLie) {
    using enum gpu::TextureType;
    using enum gpu::PixelFormat;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto float2d = makeFilled(*on, describe(type2D, rgba32Float));
    expectRows("texture2d<float>", float2d,
               {{"t.read(uint2(i % 8, i / 8))", [](auto i) { return texelAt(i % 8, i / 8, 0, 0); }},
                {"t.read(ushort2(i % 8, i / 8))", [](auto i) { return texelAt(i % 8, i / 8, 0, 0); }},
                {"t.read(uint2(i % 4, i / 8), 1)", [](auto i) { return texelAt(i % 4, i / 8, 0, 1); }},
                {"t.read(uint2(i % 2, 0), i % 3)", [](auto i) { return texelAt(i % 2, 0, 0, i % 3); }},
                // Outside there is nothing; a level that is not there is the last one.
                {"t.read(uint2(i + 8, 1))", [](auto) { return Texel{}; }},
                {"t.read(uint2(1, i + 4) + uint2(0x7fffff00u))", [](auto) { return Texel{}; }},
                {"t.read(uint2(0), i + 3)", [](auto) { return texelAt(0, 0, 0, 2); }}});
    expectRows("texture2d<half>", float2d,
               {{"float4(t.read(uint2(i % 8, i / 8)))", [](auto i) { return texelAt(i % 8, i / 8, 0, 0); }}});
    expectRows("texture1d<float>", makeFilled(*on, describe(type1D, rgba32Float)),
               {{"t.read(i % 8)", [](auto i) { return texelAt(i % 8, 0, 0, 0); }}});
    expectRows("texture1d_array<float>", makeFilled(*on, describe(type1DArray, rgba32Float)),
               {{"t.read(i % 8, i % 3)", [](auto i) { return texelAt(i % 8, 0, i % 3, 0); }}});
    expectRows("texture2d_array<float>", makeFilled(*on, describe(type2DArray, rgba32Float)),
               {{"t.read(uint2(i % 8, i / 8), i % 3)", [](auto i) { return texelAt(i % 8, i / 8, i % 3, 0); }},
                {"t.read(uint2(i % 4, 1), i % 3, 1)", [](auto i) { return texelAt(i % 4, 1, i % 3, 1); }}});
    expectRows("texture3d<float>", makeFilled(*on, describe(type3D, rgba32Float)),
               {{"t.read(uint3(i % 8, i / 8, i % 4))", [](auto i) { return texelAt(i % 8, i / 8, i % 4, 0); }}});
    expectRows("texture2d<uint>", makeFilled(*on, describe(type2D, rgba32Uint)),
               {{"float4(t.read(uint2(i % 8, i / 8)))",
                 [](auto i) { return Texel{float(i % 8 + 16 * (i / 8)), 0, 0, float(i % 8)}; }}});
    expectRows("texture2d<ushort>", makeFilled(*on, describe(type2D, rgba32Uint)),
               {{"float4(t.read(uint2(i % 8, i / 8)) << ushort(1))",
                 [](auto i) { return Texel{float(i % 8 + 16 * (i / 8)) * 2, 0, 0, float(i % 8) * 2}; }}});
    expectRows("texture2d<int>", makeFilled(*on, describe(type2D, rgba32Sint)),
               {{"float4(t.read(uint2(i % 8, i / 8)))",
                 [](auto i) { return Texel{float(i % 8 + 16 * (i / 8)), 0, 0, -float(i % 8)}; }}});
    expectRows("depth2d<float>", makeFilled(*on, describe(type2D, depth32Float)),
               {{"float4(t.read(uint2(i % 8, i / 8)), 0, 0, 0)", [](auto i) { return scalar(float(i) / 64.0F); }}});
    // A cube that can be sampled too: every face and level.
    const auto small = [](std::uint32_t i) { return texelAt(i % 4, i / 4, i % 6, 1); };
    const auto inArray = [](std::uint32_t i) { return texelAt(i % 8, (i + 3) % 8, i % 6 + 6 * (i % 2), 0); };
    expectRows("texturecube<float>", makeFilled(*on, describe(typeCube, rgba32Float)),
               {{"t.read(uint2(i % 8, i / 8 + 3), i % 6)", [](auto i) { return texelAt(i % 8, i / 8 + 3, i % 6, 0); }},
                {"t.read(ushort2(i % 4, i / 4), i % 6, 1)", small},
                {"t.read(uint2(i % 4, i / 4), i % 6, 1 + 0 * i)", small},
                {"t.read(uint2(7 * (i & 1), 7 * (i >> 1 & 1)), 5)",
                 [](auto i) { return texelAt(7 * (i & 1), 7 * (i >> 1 & 1), 5, 0); }}});
    expectRows("texturecube<int>", makeFilled(*on, describe(typeCube, rgba32Sint)),
               {{"float4(t.read(uint2(i % 8, 1), i % 6)).xxxw", [](auto i) {
                     return Texel{float(i % 8 + 16), float(i % 8 + 16), float(i % 8 + 16), -float(i % 8)};
                 }}});
    expectRows("texturecube_array<float>", makeFilled(*on, describe(typeCubeArray, rgba32Float)),
               {{"t.read(uint2(i % 8, (i + 3) % 8), i % 6, i % 2)", inArray},
                {"t.read(uint2(i % 8, (i + 3) % 8), i % 6, i % 2, 0u)", inArray}});
    gpu::TextureDescriptor cubes = describe(typeCubeArray, rgba32Float);
    cubes.mipmapLevelCount = 1;
    cubes.usage.shaderWrite = true;
    expectRows(
        "texturecube_array<float, access::read>", makeFilled(*on, cubes),
        {{"t.read(uint2(i % 8, 2), i % 6, i % 2)", [](auto i) { return texelAt(i % 8, 2, i % 6 + 6 * (i % 2), 0); }}});
}

TEST(Textures, SamplesFollowTheSampler) {
    using enum gpu::TextureType;
    using enum gpu::PixelFormat;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto wrap = [](int x, int size) { return std::uint32_t(((x % size) + size) % size); };
    const auto clamp = [](int x, int size) { return std::uint32_t(std::clamp(x, 0, size - 1)); };
    const auto plane = makeFilled(*on, describe(type2D, rgba32Float));
    const std::string before =
        "constexpr sampler rep(filter::nearest, address::repeat);\n"
        "constexpr sampler mir(filter::nearest, s_address::mirrored_repeat, t_address::clamp_to_edge);\n"
        "constexpr sampler zero(filter::nearest, address::clamp_to_zero);\n"
        "constexpr sampler white(filter::nearest, address::clamp_to_border, border_color::opaque_white);\n"
        "constexpr sampler pix(coord::pixel, filter::nearest, address::clamp_to_edge);\n"
        "constexpr sampler pixLin(coord::pixel, filter::linear, address::clamp_to_edge);\n"
        "float4 through(texture2d<float> t, sampler s, float2 uv) { return t.sample(s, uv); }\n"
        "struct Holder { texture2d<float> image; float4 at(float2 uv) const {"
        " constexpr sampler own(filter::linear, address::clamp_to_edge); return image.sample(own, uv, level(0)); } };\n"
        "float4 hold(Holder h, float2 uv) { return h.at(uv); }\n";
    // x runs over -8 .. 8 texels beyond both ends.
    const std::string at = "float2((float(i) * 1.5 - 8.0 + 0.25) / 8.0, 1.5 / 4.0)";
    const auto column = [](std::uint32_t i) { return int(std::floor(float(i) * 1.5F - 8.0F + 0.25F)); };
    expectRows(
        "texture2d<float>", plane,
        {{"t.sample(near, " + at + ")", [&](auto i) { return texelAt(clamp(column(i), 8), 1, 0, 0); }},
         {"through(t, rep, " + at + ")", [&](auto i) { return texelAt(wrap(column(i), 8), 1, 0, 0); }},
         {"through(t, sampler(filter::nearest, address::repeat), " + at + ")",
          [&](auto i) { return texelAt(wrap(column(i), 8), 1, 0, 0); }},
         {"t.sample(sampler(filter::nearest), " + at + ")",
          [&](auto i) { return texelAt(clamp(column(i), 8), 1, 0, 0); }},
         {"t.sample(sampler{address::repeat}, " + at + ")",
          [&](auto i) { return texelAt(wrap(column(i), 8), 1, 0, 0); }},
         {"t.sample(sampler(rep), " + at + ")", [&](auto i) { return texelAt(wrap(column(i), 8), 1, 0, 0); }},
         {"t.sample(mir, " + at + ")",
          [&](auto i) {
              const std::uint32_t x = wrap(column(i), 16);
              return texelAt(x < 8 ? x : 15 - x, 1, 0, 0);
          }},
         {"t.sample(zero, " + at + ")",
          [&](auto i) {
              const int x = column(i);
              return x < 0 || x > 7 ? Texel{} : texelAt(std::uint32_t(x), 1, 0, 0);
          }},
         {"t.sample(white, " + at + ")",
          [&](auto i) {
              const int x = column(i);
              return x < 0 || x > 7 ? Texel{1, 1, 1, 1} : texelAt(std::uint32_t(x), 1, 0, 0);
          }},
         {"t.sample(pix, float2(float(i) - 4.0, 2.0))", [&](auto i) { return texelAt(clamp(int(i) - 4, 8), 2, 0, 0); }},
         {"t.sample(pixLin, float2(float(i) * 0.25 + 2.0, 1.5))",
          [](auto i) {
              const float x = float(i) * 0.25F + 1.5F;
              const auto left = std::uint32_t(x);
              return mixed(texelAt(left, 1, 0, 0), texelAt(left + 1, 1, 0, 0), x - float(left));
          },
          0.02F},
         {"t.sample(lin, float2((float(i) * 0.25 + 2.0) / 8.0, 1.5 / 4.0))",
          [](auto i) {
              const float x = float(i) * 0.25F + 1.5F;
              const auto left = std::uint32_t(x);
              return mixed(texelAt(left, 1, 0, 0), texelAt(left + 1, 1, 0, 0), x - float(left));
          },
          0.02F},
         {"hold(Holder{t}, float2((float(i) * 0.25 + 2.0) / 8.0, 1.5 / 4.0))",
          [](auto i) {
              const float x = float(i) * 0.25F + 1.5F;
              const auto left = std::uint32_t(x);
              return mixed(texelAt(left, 1, 0, 0), texelAt(left + 1, 1, 0, 0), x - float(left));
          },
          0.02F},
         {"t.sample(near, float2(0.3, 0.3), level(float(i % 3)))",
          [](auto i) {
              constexpr std::uint32_t columns[] = {2, 1, 0};
              constexpr std::uint32_t rows[] = {1, 0, 0};
              return texelAt(columns[i % 3], rows[i % 3], 0, i % 3);
          }},
         {"t.sample(lin, float2(0.5, 0.5), level(float(i) / 16.0)).zzzz",
          [](auto i) {
              const float level = float(i) / 16.0F;
              return Texel{level, level, level, level};
          },
          0.01F},
         {"t.sample(near, float2(0.3, 0.3), int2(2, 1))", [](auto) { return texelAt(4, 2, 0, 0); }},
         {"t.sample(near, float2(0.3, 0.3), level(1), int2(1, 1))", [](auto) { return texelAt(2, 1, 0, 1); }},
         // Two texels a step: the second level. Four texels: the third.
         {"t.sample(near, float2(0.3, 0.3), gradient2d(float2(2.0 / 8.0, 0), float2(0, 0.01))).zzzz",
          [](auto) { return Texel{1, 1, 1, 1}; }},
         {"t.sample(near, float2(0.3, 0.3), gradient2d(float2(0.01, 0), float2(0, 1.0))).zzzz",
          [](auto) { return Texel{2, 2, 2, 2}; }},
         {"t.sample(near, float2(0.3, 0.3), min_lod_clamp(1)).zzzz", [](auto) { return Texel{1, 1, 1, 1}; }},
         {"t.sample(near, float2(0.3, 0.3), gradient2d(float2(0.01, 0), float2(0, 0.01)), min_lod_clamp(2)).zzzz",
          [](auto) { return Texel{2, 2, 2, 2}; }},
         {"t.gather(near, float2(3.0 / 8.0, 2.0 / 4.0))", [](auto) { return Texel{2 + 32, 3 + 32, 3 + 16, 2 + 16}; }},
         {"t.gather(near, float2(3.0 / 8.0, 2.0 / 4.0), int2(1, -1), component::w)",
          [](auto) { return Texel{-3, -4, -4, -3}; }},
         {"t.gather(near, float2(3.0 / 8.0, 2.0 / 4.0), int2(i % 3, -1))", // known at run time only
          [](auto i) {
              const auto x = float(i % 3);
              return Texel{2 + x + 16, 3 + x + 16, 3 + x, 2 + x};
          }}},
        before);
    expectRows("texture1d<float>", makeFilled(*on, describe(type1D, rgba32Float)),
               {{"t.sample(near, (float(i % 8) + 0.5) / 8.0)", [](auto i) { return texelAt(i % 8, 0, 0, 0); }}});
    expectRows("texture2d_array<float>", makeFilled(*on, describe(type2DArray, rgba32Float)),
               {{"t.sample(near, float2(0.3, 0.3), i % 3)", [](auto i) { return texelAt(2, 1, i % 3, 0); }},
                {"t.sample(near, float2(0.3, 0.3), 7)", [](auto) { return texelAt(2, 1, 2, 0); }}});
    expectRows("texture3d<float>", makeFilled(*on, describe(type3D, rgba32Float)),
               {{"t.sample(near, float3(0.3, 0.3, (float(i % 4) + 0.5) / 4.0))",
                 [](auto i) { return texelAt(2, 1, i % 4, 0); }}});
    const std::string directions = "constant float3 ways[6] = { float3(1, 0, 0), float3(-1, 0, 0), float3(0, 1, 0),"
                                   " float3(0, -1, 0), float3(0, 0, 1), float3(0, 0, -1) };\n";
    expectRows("texturecube<float>", makeFilled(*on, describe(typeCube, rgba32Float)),
               {{"t.sample(near, ways[i % 6]).yyyy",
                 [](auto i) {
                     const float face = float(i % 6) + 0.5F;
                     return Texel{face, face, face, face};
                 }},
                {"t.sample(near, ways[i % 6], level(2)).zzzz", [](auto) { return Texel{2, 2, 2, 2}; }}},
               directions);
    expectRows("texturecube_array<float>", makeFilled(*on, describe(typeCubeArray, rgba32Float)),
               {{"t.sample(near, ways[i % 6], i % 2).yyyy",
                 [](auto i) {
                     const float face = float(i % 6 + 6 * (i % 2)) + 0.5F;
                     return Texel{face, face, face, face};
                 }}},
               directions);
    // Depth at x, y is (x + 8y)/64; compared with a reference the answer is 0 or 1.
    expectRows(
        "depth2d<float>", makeFilled(*on, describe(type2D, depth32Float)),
        {{"float4(t.sample_compare(cmp, float2((float(i % 8) + 0.5) / 8.0, 0.1), 3.5 / 64.0), 0, 0, 0)",
          [](auto i) { return scalar(i % 8 > 3 ? 1.0F : 0.0F); }},
         {"t.gather_compare(cmp, float2(3.0 / 8.0, 1.0 / 4.0), 9.5 / 64.0)", [](auto) { return Texel{1, 1, 0, 0}; }},
         {"float4(t.sample(near, float2((float(i % 8) + 0.5) / 8.0, 0.4)), 0, 0, 0)",
          [](auto i) { return scalar(float(i % 8 + 8) / 64.0F); }}},
        "constexpr sampler cmp(compare_func::less, filter::nearest);\n");
}

TEST(Textures, QueriesTellTheSize) {
    using enum gpu::TextureType;
    using enum gpu::PixelFormat;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    expectRows("texture2d<float>", makeFilled(*on, describe(type2D, rgba32Float)),
               {{"float4(t.get_width(), t.get_height(), t.get_num_mip_levels(), t.get_width(1))",
                 [](auto) { return Texel{8, 4, 3, 4}; }}});
    expectRows("texture3d<float>", makeFilled(*on, describe(type3D, rgba32Float)),
               {{"float4(t.get_width(), t.get_height(), t.get_depth(), t.get_depth(1))",
                 [](auto) { return Texel{8, 4, 4, 2}; }}});
    expectRows("texturecube_array<float>", makeFilled(*on, describe(typeCubeArray, rgba32Float)),
               {{"float4(t.get_width(), t.get_height(), t.get_array_size(), t.get_num_mip_levels())",
                 [](auto) { return Texel{8, 8, 2, 3}; }}});
    expectRows("texture1d_array<float>", makeFilled(*on, describe(type1DArray, rgba32Float)),
               {{"float4(t.get_width(), t.get_array_size(), 0, 0)", [](auto) { return Texel{8, 3, 0, 0}; }}});
}

// What one kernel writes, another reads. Texels outside are not written.
TEST(Textures, WrittenTexelsStay) {
    using enum gpu::TextureType;
    using enum gpu::PixelFormat;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    struct Case {
        gpu::TextureType type;
        std::string written;
        std::string write; // v is the texel to write
        std::string readBack;
        std::string read;
    };
    const Case cases[] = {
        {type2D, "texture2d<float, access::write>", "t.write(v, uint2(i % 8, i / 8 + 1))", "texture2d<float>",
         "t.read(uint2(i % 8, i / 8 + 1))"},
        {type2D, "texture2d<half, access::write>", "t.write(half4(v), ushort2(i % 8, i / 8 + 1))", "texture2d<float>",
         "t.read(uint2(i % 8, i / 8 + 1))"},
        {type2D, "texture2d<float, access::read_write>",
         "t.write(t.read(uint2(i % 8, i / 8)) * 0 + v, uint2(i % 8, i / 8))", "texture2d<float>",
         "t.read(uint2(i % 8, i / 8))"},
        {type1D, "texture1d<float, access::write>", "t.write(v, i)", "texture1d<float>", "t.read(i)"},
        {type2DArray, "texture2d_array<float, access::write>", "t.write(v, uint2(i % 8, 1), i / 8 + 1)",
         "texture2d_array<float>", "t.read(uint2(i % 8, 1), i / 8 + 1)"},
        {type3D, "texture3d<float, access::write>", "t.write(v, uint3(i % 8, 2, i / 8 + 2))", "texture3d<float>",
         "t.read(uint3(i % 8, 2, i / 8 + 2))"},
        {typeCube, "texturecube<float, access::write>", "t.write(v, uint2(i % 8, 2), i / 8 + 3)", "texturecube<float>",
         "t.sample(near, way(i))"},
    };
    for (const Case& row : cases) {
        gpu::TextureDescriptor descriptor = describe(row.type, rgba32Float);
        descriptor.mipmapLevelCount = 1;
        descriptor.usage.shaderWrite = true;
        const auto texture = makeFilled(*on, descriptor);
        const std::string put = "float4 put(" + row.written + " t, uint i) { float4 v = float4(i, 2 * i, 3, -1); " +
                                row.write + "; return v; }\n";
        const std::uint32_t count = row.type == type1D ? 8 : 16;
        // Towards texel (i % 8, 2) of the faces -y and +z.
        const std::string way = "float3 way(uint i) { float s = (float(i % 8) + 0.5) / 4.0 - 1.0, t = 2.5 / 4.0 - 1.0;"
                                " return i < 8 ? float3(s, -1, -t) : float3(s, -t, 1); }\n";
        if (evaluate(row.written, "put(t, i)", texture, count, put).empty()) continue;
        const std::vector<Texel> got = evaluate(row.readBack, row.read, texture, count, way);
        for (std::uint32_t i = 0; i < got.size(); ++i)
            ASSERT_EQ(got[i], (Texel{float(i), float(2 * i), 3, -1})) << row.write << ", thread " << i;
    }
    gpu::TextureDescriptor descriptor = describe(type2D, rgba32Float);
    descriptor.mipmapLevelCount = 1;
    descriptor.usage.shaderWrite = true;
    const auto texture = makeFilled(*on, descriptor);
    evaluate("texture2d<float, access::write>", "put(t, i)", texture, 16,
             "float4 put(texture2d<float, access::write> t, uint i) {"
             " t.write(float4(99), uint2(8 + i, 1)); t.write(float4(99), uint2(1, 4 + i * 1000)); return 0; }\n");
    expectRows("texture2d<float>", texture,
               {{"t.read(uint2(i % 8, i / 8))", [](auto i) { return texelAt(i % 8, i / 8, 0, 0); }}});
}

// Fragment functions choose the level by themselves, from how far neighbours lie apart.
TEST(Textures, FragmentsChooseTheLevel) {
    using enum gpu::TextureType;
    const auto on = device();
    ASSERT_NE(on, nullptr);
    const auto plane = makeFilled(*on, describe(type2D, gpu::PixelFormat::rgba32Float));
    struct Case {
        const char* expression;
        float expected;
    };
    const Case cases[] = {
        {"t.sample(near, in.uv).z", 1}, // 16 pixels over 32 texels
        {"t.sample(near, in.uv * 2.0).z", 2},
        {"t.sample(near, in.uv * 0.5).z", 0},
        {"t.sample(near, in.uv * 0.5, bias(1)).z", 1},
        {"t.sample(near, in.uv, level(0)).z", 0},
        {"t.sample(near, in.uv * 0.5, min_lod_clamp(1)).z", 1},
        {"t.calculate_unclamped_lod(near, in.uv * 4.0)", 3},
        {"t.calculate_clamped_lod(near, in.uv * 4.0)", 2},
        {"t.sample(near, in.uv * 0.5, gradient2d(dfdx(in.uv), dfdy(in.uv))).z", 1},
        // Neighbours that sample different textures still tell each other how far apart they are.
        {"(odd ? t : t2).sample(near, in.uv).z", 1},
        {"(odd ? t2 : t).sample(near, in.uv * 0.5, bias(2)).z", 2},
        {"(odd ? t2 : t).sample(near, in.uv * 0.5, min_lod_clamp(1)).z", 1},
        {"(odd ? t : t2).sample(pix, in.uv * float2(16, 8)).z", 2},
        {"t.sample(odd ? near : soft, in.uv).z", 1},
    };
    const auto queue = on->makeCommandQueue();
    for (const Case& row : cases) {
        const std::string source = "#include <metal_stdlib>\nusing namespace metal;\n"
                                   "struct V { float4 position [[position]]; float2 uv; };\n"
                                   "vertex V v(uint id [[vertex_id]]) { float2 p = float2((id << 1) & 2, id & 2);"
                                   " return { float4(p * 2 - 1, 0, 1), p * float2(4, 8) }; }\n"
                                   "fragment float4 check(V in [[stage_in]], texture2d<float> t [[texture(0)]],"
                                   " texture2d<float> t2 [[texture(1)]]) {"
                                   " const bool odd = (int(in.position.x) & 1) != 0;"
                                   " constexpr sampler pix(coord::pixel, mip_filter::nearest);"
                                   " constexpr sampler soft(filter::linear, mip_filter::nearest, address::repeat);"
                                   " constexpr sampler near(filter::nearest, mip_filter::nearest, address::repeat);"
                                   " return float4(" +
                                   std::string(row.expression) + "); }\n";
        auto compiled = msl::compile(source);
        ASSERT_TRUE(compiled) << compiled.error().text;
        const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "level"));
        ASSERT_TRUE(library) << library.error().text;
        gpu::RenderPipelineDescriptor descriptor;
        descriptor.vertexFunction = (*library)->makeFunction("v");
        descriptor.fragmentFunction = (*library)->makeFunction("check");
        descriptor.colorAttachments[0].format = gpu::PixelFormat::rgba32Float;
        const auto pipeline = on->makeRenderPipelineState(descriptor);
        ASSERT_TRUE(pipeline) << pipeline.error().text;
        const auto target = on->makeTexture({.format = gpu::PixelFormat::rgba32Float,
                                             .width = 16,
                                             .height = 16,
                                             .storage = gpu::StorageMode::shared,
                                             .usage = {.renderTarget = true}});
        ASSERT_TRUE(target) << target.error().text;
        const auto commands = (*queue)->commandBuffer();
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = *target;
        pass.colorAttachments[0].loadAction = gpu::LoadAction::clear;
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        ASSERT_NE(encoder, nullptr);
        encoder->setRenderPipelineState(*pipeline);
        encoder->setFragmentTexture(plane, 0);
        encoder->setFragmentTexture(plane, 1);
        encoder->drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        Texel pixels[16 * 16];
        (*target)->getBytes(pixels, 16 * sizeof(Texel), {0, 0, 16, 16});
        for (const Texel& pixel : pixels)
            ASSERT_NEAR(pixel[0], row.expected, 0.01) << row.expression;
    }
}

// What cannot be expressed is refused at its place and by its name.
TEST(Textures, WhatIsNotThereIsRefusedByName) {
    const auto refusal = [](const std::string& parameters, const std::string& body) {
        const auto compiled = msl::compile("#include <metal_stdlib>\nusing namespace metal;\nkernel void check(" +
                                           parameters + ") {\n" + body + "\n}\n");
        return compiled ? std::string() : compiled.error().text.substr(0, compiled.error().text.find('\n'));
    };
    EXPECT_EQ(refusal("texture2d<float> t [[texture(0)]], device float4* o [[buffer(0)]], sampler s [[sampler(0)]]",
                      "  o[0] = t.sample(s, float2(0), int2(9, 0));"),
              "program_source:4:33: error: the offset of a sample must lie between -8 and 7");
    EXPECT_EQ(refusal("texture2d<float, access::write> t [[texture(0)]]", "  t.write(float4(0), uint2(0), 1);"),
              "program_source:4:5: error: another level than 0 of a texture that is written is not supported here");
    EXPECT_EQ(refusal("texture2d<ulong, access::read_write> t [[texture(0)]]", "  t.atomic_max(uint2(0), 1ul);"),
              "program_source:3:19: error: 'texture2d' of 64-bit components is not supported here");
    EXPECT_EQ(refusal("texture2d<uint, access::read> t [[texture(0)]]", "  t.atomic_fetch_add(uint2(0), 1u);"),
              "program_source:4:5: error: no matching member function for call to 'atomic_fetch_add'");
}

} // namespace
} // namespace glasshob::testing
