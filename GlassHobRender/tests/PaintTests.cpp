#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobRender/paint/Colours.h"
#include "GlassHobRender/paint/PaintFonts.h"
#include "GlassHobRender/paint/PaintedImage.h"
#include "GlassHobRender/program/OverlayPipeline.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

// There under the sanitizers.
extern "C" {
void __lsan_disable() __attribute__((weak));
void __lsan_enable() __attribute__((weak));
}

namespace glasshob {
namespace {

// As hob does: no window, no display, and numbers with a point under every locale.
TEST(Paint, TextIsPaintedWithoutAWindow) {
    // A locale of the test's own, since a machine need not have any with a decimal comma.
    const QTemporaryDir folder;
    const bool hasComma =
        QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", folder.filePath("de_DE.UTF-8")}) == 0;
    if (hasComma) {
        qputenv("LOCPATH", folder.path().toUtf8());
        qputenv("LC_ALL", "de_DE.UTF-8");
    }
    // The C library never frees the list of folders that it makes of LOCPATH.
    if (__lsan_disable != nullptr) __lsan_disable();
    const TextPainting painting;
    if (__lsan_enable != nullptr) __lsan_enable();
    if (hasComma) EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "de_DE.UTF-8") << "the locale is in force";
    const TextPainting another; // there is an application already
    char number[8];
    std::snprintf(number, sizeof number, "%.1f", 0.5);
    EXPECT_STREQ(number, "0.5");
    std::setlocale(LC_ALL, "C");
    qunsetenv("LC_ALL");
    qunsetenv("LOCPATH");

    EXPECT_EQ(paintFonts::missing(), QStringList()) << "they are among the packages of the build";
    // The same text at twice the scale is twice as wide, and code has cells, without ligatures.
    EXPECT_NEAR(QFontMetricsF(paintFonts::words(60)).horizontalAdvance("Wave"),
                2 * QFontMetricsF(paintFonts::words(30)).horizontalAdvance("Wave"), 0.5);
    const QFontMetricsF code(paintFonts::code(40));
    const double cell = code.horizontalAdvance('x');
    for (const char* text : {"iW.;", "!===", "->>="})
        EXPECT_NEAR(code.horizontalAdvance(text), 4 * cell, 0.01) << text;
    EXPECT_NEAR(cell, 24, 0.5) << "0.6 of the size: the font's own cell, not that of another";

    QImage image = overlayImage(200, 60);
    std::thread([&] {
        QPainter painter(&image);
        painter.setFont(paintFonts::words(30, QFont::Bold));
        painter.setPen(colourOf(Role::text, Shade::dark));
        painter.drawText(QPointF(10, 40), "Stage 3");
    }).join();
    int inked = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            inked += qAlpha(image.pixel(x, y)) == 255 ? 1 : 0;
    EXPECT_GT(inked, 200);
    EXPECT_EQ(qAlpha(image.pixel(199, 0)), 0);
}

// What QPainter composes over a colour and what the device draws over it are the same picture.
TEST(Paint, APaintedImageLiesOverTheFrameTexelForPixel) {
    const auto device = gpu::Device::systemDefault().value();
    constexpr int width = 61, height = 37;
    QImage painted = overlayImage(width, height);
    {
        QPainter painter(&painted);
        paintPanel(painter, QRectF(5, 4, 40, 20),
                   {.fill = colourOf(Role::panel, Shade::light), .edge = QColor(255, 0, 0, 128), .edgeWidth = 3});
    }
    QImage expected(width, height, QImage::Format_RGB32);
    expected.fill(QColor(0, 0, 255));
    QPainter(&expected).drawImage(0, 0, painted);
    EXPECT_EQ(expected.pixelColor(25, 14), colourOf(Role::panel, Shade::light));

    const auto frame = device
                           ->makeTexture({.width = width,
                                          .height = height,
                                          .storage = gpu::StorageMode::shared,
                                          .usage = {.shaderRead = true, .renderTarget = true}})
                           .value();
    const auto texture = textureOf(painted, *device);
    ASSERT_NE(texture, nullptr);
    const OverlayQuad quad(device, gpu::PixelFormat::bgra8Unorm);
    const auto queue = device->makeCommandQueue().value();
    const auto commands = queue->commandBuffer();
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0] = {.texture = frame, .loadAction = gpu::LoadAction::clear, .clearColor = {0, 0, 1, 1}};
    gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
    ASSERT_NE(encoder, nullptr);
    quad.draw(*encoder, texture);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();

    int worst = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto* got = reinterpret_cast<const std::uint8_t*>(frame->contents()) +
                              std::size_t(y) * frame->rowBytes() + std::size_t(x) * 4;
            const QRgb want = expected.pixel(x, y);
            for (const int difference : {got[0] - qBlue(want), got[1] - qGreen(want), got[2] - qRed(want)})
                worst = std::max(worst, std::abs(difference));
        }
    }
    EXPECT_LE(worst, 1);
    EXPECT_EQ(textureOf(QImage(), *device), nullptr);
}

} // namespace
} // namespace glasshob
