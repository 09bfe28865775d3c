#include "GlassHobOnline/ShareRendering.h"

#include "GPU/Device.h"
#include "GlassHobRender/tests/MovieReader.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace glasshob;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

// The colour is that of the frame: red by the frame's number, green by the time, blue by a slider.
const std::string counting = "// @param blue 0.5 0 1\n"
                             "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                             "    return float4(float(u.frame) / 255.0, u.time / 100.0, p.blue, 1.0);\n}\n"
                             "float2 sound(float t, constant Params& p) { return float2(0.25, 0.0); }\n";

// A picture that no encoder makes small.
StillImage noise(std::uint32_t width, std::uint32_t height) {
    StillImage image{width, height, std::vector<std::uint8_t>(std::size_t(width) * height * 4)};
    std::uint32_t state = 1;
    for (std::uint8_t& byte : image.bytes)
        byte = std::uint8_t((state = state * 1664525 + 1013904223) >> 24);
    return image;
}

class ShareRenderingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto made = gpu::Device::systemDefault();
        ASSERT_TRUE(made);
        device = *made;
        setTemporaryFolder(folder.path());
    }
    void TearDown() override { qunsetenv("TMPDIR"); }
    static void setTemporaryFolder(const QString& path) { qputenv("TMPDIR", path.toUtf8()); }
    QStringList left() const {
        return QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    std::shared_ptr<gpu::Device> device;
    QTemporaryDir folder;
    std::stop_source stop;
};

} // namespace

TEST_F(ShareRenderingTest, MakesTheLoopAndThePictureOfOneMoment) {
    std::vector<double> told;
    QStringList during;
    const auto files = ShareRendering::render(
        {counting, 40, device},
        [&](double progress) {
            told.push_back(progress);
            for (const QString& name : left()) {
                during.append(name);
                EXPECT_EQ(QFile::permissions(folder.filePath(name)) & QFile::Permissions(0x0077), QFile::Permissions());
            }
        },
        stop.get_token());
    ASSERT_TRUE(files) << files.error().sentence;
    EXPECT_THAT(left(), IsEmpty());
    ASSERT_FALSE(during.isEmpty());
    EXPECT_TRUE(during.first().startsWith("GlassHobShare-")) << during.first().toStdString();
    EXPECT_TRUE(std::ranges::is_sorted(told));
    EXPECT_EQ(told.front(), 0);
    EXPECT_EQ(told.back(), 1);

    const QString path = folder.filePath("loop.mp4");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(files->loop);
    file.close();
    const auto read = glasshob::testing::readMovie(path.toStdString());
    ASSERT_EQ(read.error, "");
    ASSERT_EQ(read.pictures.size(), 240U);
    EXPECT_EQ(read.videoCodec, "h264");
    EXPECT_EQ(read.pictures[0].width, 1280);
    EXPECT_EQ(read.pictures[0].height, 720);
    EXPECT_NEAR(read.pictures[239].time, 239 / 30.0, 1e-6);
    EXPECT_TRUE(read.hasSound);
    const auto first = read.pictures[0].at(0, 719), last = read.pictures[239].at(1279, 0);
    EXPECT_NEAR(first.red, 0, 4);
    EXPECT_NEAR(first.green, 0.4 * 255, 4);
    EXPECT_NEAR(first.blue, 0.5 * 255, 4);
    EXPECT_NEAR(last.red, 239, 4);
    EXPECT_NEAR(last.green, (0.4 + 239 / 3000.0) * 255, 4);

    const QImage thumb = QImage::fromData(files->thumb, "jpeg");
    ASSERT_EQ(thumb.size(), QSize(1200, 675));
    for (const QPoint corner : {QPoint(0, 0), QPoint(1199, 674), QPoint(30, 640)}) { // no mark
        const QColor colour = thumb.pixelColor(corner);
        EXPECT_NEAR(colour.red(), 0, 3);
        EXPECT_NEAR(colour.green(), 102, 3);
        EXPECT_NEAR(colour.blue(), 128, 3);
    }
}

TEST_F(ShareRenderingTest, EndsEarlyAndLeavesNothing) {
    int frames = 0;
    const auto stopped = ShareRendering::render(
        {counting, 0, device},
        [&](double) {
            if (++frames == 3) stop.request_stop();
        },
        stop.get_token());
    ASSERT_FALSE(stopped);
    EXPECT_TRUE(stopped.error().wasStopped());
    EXPECT_EQ(frames, 3);
    EXPECT_THAT(left(), IsEmpty());
    EXPECT_TRUE(ShareRendering::picture({counting, 0, device}, stop.get_token()).error().wasStopped());
}

TEST_F(ShareRenderingTest, SaysWhatWentWrong) {
    const auto sentenceOf = [&](const std::string& source, const std::shared_ptr<gpu::Device>& on) {
        const auto files = ShareRendering::render({source, 0, on}, [](double) {}, stop.get_token());
        EXPECT_THAT(left(), IsEmpty());
        return files ? "" : files.error().sentence;
    };
    EXPECT_EQ(sentenceOf("float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return v; }\n", device),
              "The shader does not compile: shader.metal:1:76: error: use of undeclared identifier 'v'\n"
              "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return v; }\n"
              "                                                                           ^\n");
    const auto other = gpu::Device::makeSeparate();
    ASSERT_TRUE(other);
    (*other)->injectLoss();
    const std::string lost = sentenceOf(counting, *other);
    EXPECT_FALSE(lost.empty());
    EXPECT_EQ(lost.find("does not compile"), std::string::npos) << lost;

    setTemporaryFolder("/proc"); // nobody can make a folder there
    EXPECT_THAT(sentenceOf(counting, device), StartsWith("The folder /proc cannot be written to: "));
}

TEST(ShareRenderingJpeg, TakesTheBestThatFits) {
    const StillImage image = noise(160, 90);
    std::vector<qsizetype> sizes;
    qsizetype most = 1'000'000;
    for (QByteArray bytes; !(bytes = ShareRendering::jpeg(image, most)).isEmpty(); most = bytes.size() - 1) {
        EXPECT_EQ(QImage::fromData(bytes, "jpeg").size(), QSize(160, 90));
        sizes.push_back(bytes.size());
    }
    EXPECT_EQ(sizes.size(), 5U);
}
