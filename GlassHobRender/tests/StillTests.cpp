// Stills: the uniforms that a shader sees, the exact colours, and the file.
#include "GlassHobRender/formats/StillFile.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/Programs.h"

#include <gmock/gmock.h>

#include <QByteArray>
#include <QColorSpace>
#include <QImage>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Red, green, blue of a pixel.
std::array<int, 3> pixel(const StillImage& image, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* bytes = image.bytes.data() + (std::size_t(y) * image.width + x) * 4;
    return {bytes[2], bytes[1], bytes[0]};
}

TEST(StillRenderer, TheShaderSeesTheStillsUniforms) {
    const auto gpu = device();
    struct Case {
        const char* expression;
        std::array<int, 3> expected;
    };
    const Case cases[] = {
        {"float4(1.0, 0.2, 0.4, 0.0)", {255, 51, 102}},
        {"float4(u.mouse / 255.0, 0.0, 1.0)", {20, 10, 0}},
        {"float4(u.resolution / 255.0, 0.0, 1.0)", {40, 20, 0}},
        {"float4(u.time / 255.0, u.timeDelta + 0.2, float(u.frame) / 255.0, 1.0)", {7, 51, 33}},
        {"float4(p.level / 255.0, p.other / 255.0, float(u.pad), 1.0)", {12, 3, 0}},
    };
    for (const Case& item : cases) {
        const auto made = program("// @param level 5 0 20\n// @param other 3 0 9\n" + picture(item.expression), gpu);
        ASSERT_NE(made, nullptr);
        const auto image = StillRenderer::render(made, gpu, 40, 20, 33, {{"level", 12.0F}}, 7.0F);
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width, 40U);
        EXPECT_EQ(image->height, 20U);
        EXPECT_EQ(pixel(*image, 0, 0), item.expected) << item.expression;
        EXPECT_EQ(pixel(*image, 39, 19), item.expected) << item.expression;
    }
}

TEST(StillRenderer, UvStartsAtTheBottomLeft) {
    const auto gpu = device();
    const auto image = StillRenderer::render(program(picture("float4(uv, 0.0, 1.0)"), gpu), gpu, 255, 51, 0, {}, 0);
    ASSERT_TRUE(image);
    EXPECT_THAT(pixel(*image, 0, 0), ElementsAre(::testing::Le(1), ::testing::Ge(252), 0));
    EXPECT_THAT(pixel(*image, 254, 50), ElementsAre(::testing::Ge(254), ::testing::Le(3), 0));
}

TEST(StillRenderer, DiscardedPixelsAreBlack) {
    const auto gpu = device();
    const auto made = program("float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                              "    if (uv.x < 0.5) discard_fragment();\n    return float4(1);\n}\n",
                              gpu);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->pictureLoadAction(), gpu::LoadAction::clear);
    const auto image = StillRenderer::render(made, gpu, 8, 8, 0, {}, 0);
    ASSERT_TRUE(image);
    EXPECT_THAT(pixel(*image, 1, 4), ElementsAre(0, 0, 0));
    EXPECT_THAT(pixel(*image, 6, 4), ElementsAre(255, 255, 255));
}

TEST(StillRenderer, GivesNothingWhereItCannotDraw) {
    const auto gpu = device();
    const auto made = program(picture("float4(1)"), gpu);
    const std::int64_t tooLarge = std::int64_t(gpu->maxTextureSize()) + 1;
    for (const std::int64_t side : {std::int64_t(0), std::int64_t(-4), tooLarge, std::int64_t(1) << 40}) {
        EXPECT_FALSE(StillRenderer::render(made, gpu, side, 4, 0, {}, 0)) << side;
        EXPECT_FALSE(StillRenderer::render(made, gpu, 4, side, 0, {}, 0)) << side;
    }
    const auto own = gpu::Device::makeSeparate();
    const auto lost = program(picture("float4(1)"), *own);
    (*own)->injectLoss();
    EXPECT_FALSE(StillRenderer::render(lost, *own, 4, 4, 0, {}, 0));
}

TEST(StillRenderer, ThePNGIsOpaqueTaggedAndExact) {
    const StillImage image{3, 2, {1, 2, 3, 0, 40, 50, 60, 0, 0, 0, 255, 9, 255, 0, 0, 255, 0, 255, 0, 128, 7, 7, 7, 7}};
    const std::string bytes = StillRenderer::png(image);
    ASSERT_GT(bytes.size(), 33U);
    EXPECT_EQ(bytes[24], 8) << "bits of a channel";
    EXPECT_EQ(bytes[25], 2) << "colour type: RGB without alpha";
    EXPECT_EQ(bytes.find("sRGB"), 37U);
    EXPECT_EQ(bytes.find("tRNS"), std::string::npos);
    QImage read;
    ASSERT_TRUE(read.loadFromData(QByteArray::fromStdString(bytes)));
    EXPECT_FALSE(read.hasAlphaChannel());
    EXPECT_EQ(read.colorSpace(), QColorSpace(QColorSpace::SRgb));
    ASSERT_EQ(read.size(), QSize(3, 2));
    for (std::uint32_t y = 0; y < 2; ++y)
        for (std::uint32_t x = 0; x < 3; ++x) {
            const auto expected = pixel(image, x, y);
            EXPECT_EQ(read.pixel(int(x), int(y)), qRgb(expected[0], expected[1], expected[2]));
        }
    EXPECT_EQ(StillRenderer::png({}), "");
}

TEST(StillRenderer, WritesTheFileOrSaysWhyNot) {
    const StillImage image{1, 1, {1, 2, 3, 4}};
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / ("still-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const std::string path = folder / "one.png";
    ASSERT_TRUE(StillRenderer::writePNG(image, path));
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), StillRenderer::png(image));
    const auto failed = StillRenderer::writePNG(image, folder / "none" / "one.png");
    ASSERT_FALSE(failed);
    EXPECT_THAT(failed.error(), ::testing::EndsWith("."));
    EXPECT_FALSE(StillRenderer::writePNG({}, path));
    std::filesystem::remove_all(folder);
}

TEST(StillFile, TheEndingSaysWhatIsWritten) {
    StillImage image{64, 48, {}};
    for (int i = 0; i < 64 * 48; ++i)
        for (const std::uint8_t value : {40, 120, 220, 0}) // an orange
            image.bytes.push_back(value);
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("still-file-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const auto bytesOf = [&](const char* name) {
        const auto written = StillFile::write(image, folder / name);
        EXPECT_TRUE(written) << written.error();
        std::ifstream file(folder / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    EXPECT_EQ(bytesOf("a.png"), StillRenderer::png(image));
    for (const char* name : {"a.jpg", "b.JPEG"}) {
        QImage read;
        ASSERT_TRUE(read.loadFromData(QByteArray::fromStdString(bytesOf(name)), "jpeg")) << name;
        EXPECT_EQ(read.size(), QSize(64, 48));
        EXPECT_EQ(read.colorSpace(), QColorSpace(QColorSpace::SRgb));
        EXPECT_NEAR(qRed(read.pixel(30, 20)), 220, 3);
        EXPECT_NEAR(qBlue(read.pixel(30, 20)), 40, 3);
    }
    // A container, one lossy picture, its size in the picture's header.
    const std::string webp = bytesOf("a.webp");
    ASSERT_GT(webp.size(), 30U);
    EXPECT_EQ(webp.substr(0, 4) + webp.substr(8, 8), "RIFFWEBPVP8 ");
    EXPECT_EQ(std::uint8_t(webp[26]), 64);
    EXPECT_EQ(std::uint8_t(webp[28]), 48);
    for (const char* name : {"a.gif", "a", "a.webp.bmp"}) {
        const auto refused = StillFile::write(image, folder / name);
        ASSERT_FALSE(refused);
        EXPECT_THAT(refused.error(), ::testing::HasSubstr(".png, .jpg or .webp"));
        EXPECT_FALSE(std::filesystem::exists(folder / name));
    }
    EXPECT_THAT(StillFile::encode({16384, 1, std::vector<std::uint8_t>(16384 * 4)}, StillFormat::webp).error(),
                ::testing::HasSubstr("16383"));
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace glasshob
