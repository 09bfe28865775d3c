#include "HobProcess.h"

#include <QColorSpace>
#include <QImage>

#include <sys/stat.h>

namespace {

int distance(QRgb a, QRgb b) {
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

} // namespace

TEST_F(HobTest, StillDrawsTheRightPixels) {
    put("a.metal", plainShader("uv, 0.25, 0.5"));
    const Outcome outcome = hob({"still", "a.metal", "-o", "a.png", "--size", "64x32"});
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_EQ(outcome.error, "") << "neither progress nor a message of the driver";
    EXPECT_EQ(outcome.output, "");
    QImage image;
    ASSERT_TRUE(image.loadFromData(get("a.png"), "PNG"));
    ASSERT_EQ(image.size(), QSize(64, 32));
    EXPECT_FALSE(image.hasAlphaChannel());
    EXPECT_EQ(image.colorSpace(), QColorSpace(QColorSpace::SRgb));
    for (const auto& [x, y] : {std::pair{0, 0}, {63, 0}, {0, 31}, {63, 31}, {20, 10}}) {
        const QRgb expected = qRgb(qRound(255 * (x + 0.5) / 64), qRound(255 * (1 - (y + 0.5) / 32)), 64);
        EXPECT_LE(distance(image.pixel(x, y), expected), 1) << x << ", " << y;
    }
}

TEST_F(HobTest, StillWritesWhatTheEndingNames) {
    put("a.metal", plainShader("uv, 0.25, 0.5"));
    for (const auto& [name, begins] : {std::pair{"a.jpg", "\xff\xd8\xff"}, {"a.WebP", "RIFF"}, {"a.png", "\x89PNG"}}) {
        EXPECT_EQ(hob({"still", "a.metal", "-o", name, "--size", "64x32"}).status, 0);
        EXPECT_TRUE(get(name).startsWith(begins)) << name;
    }
}

TEST_F(HobTest, StillRefusesAMomentThatParticlesNeverReach) {
    put("a.metal", dotsShader());
    const Outcome outcome = hob({"still", "a.metal", "-o", "a.png", "--size", "16x16", "--time", "1e30"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
    EXPECT_TRUE(outcome.error.contains("86400")) << outcome.shown();
    put("b.metal", plainShader("uv, 0.25, 0.5"));
    EXPECT_EQ(hob({"still", "b.metal", "-o", "b.png", "--size", "16x16", "--time", "1e30"}).status, 0);
}

TEST_F(HobTest, StillHandsTheShaderWhatTheOptionsSay) {
    // Each channel is 1 when the value is as expected, so that a wrong one shows in its channel.
    put("a.metal",
        "// @still 7.5\n// @param speed 0.5 0 2\n" +
            plainShader("abs(u.time - 7.5) < 0.001, p.speed == 0.5 && u.timeDelta == 0.0, "
                        "all(u.resolution == float2(6, 4)) && all(u.mouse == float2(3, 2)) && u.frame == 0, 1"));
    put("b.metal", "// @param speed 0.5 0 2\n" +
                       plainShader("abs(u.time + 2.25) < 0.001, p.speed == 2.0, u.frame == 4294967295u, 1"));
    put("c.metal", plainShader("u.time == 10.0, u.resolution.x == 1920.0, u.resolution.y == 1080.0, 1"));
    const std::vector<std::pair<QStringList, QByteArray>> cases = {
        {{"a.metal", "--size", "6x4"}, ""},
        {{"b.metal", "--size=6x4", "--time", "-2.25", "--frame", "4294967295", "--set", "speed=1", "--set", "speed=9"},
         "hob: The slider speed goes from 0 to 2, so 2 was taken.\n"},
        {{"c.metal"}, ""}};
    for (const auto& [words, error] : cases) {
        const Outcome outcome = hob(QStringList{"still", "--force", "-o", "out.png"} + words);
        ASSERT_EQ(outcome.status, 0) << outcome.shown();
        EXPECT_EQ(outcome.error, error);
        const QImage image(path("out.png"));
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.pixel(0, 0), qRgb(255, 255, 255)) << words.join(' ').toStdString();
    }
}

TEST_F(HobTest, StillReplacesAFileWhenAskedAndKeepsItsMode) {
    put("a.metal", plainShader("0, 1, 0, 1"));
    put("out.png", "old");
    chmod(path("out.png").toUtf8().constData(), 0640);
    const Outcome kept = hob({"still", "a.metal", "-o", "out.png"}, withoutDriver());
    EXPECT_EQ(kept.status, 1);
    EXPECT_EQ(kept.error, "hob: out.png is there already: add --force to replace it.\n") << "before any work";
    EXPECT_EQ(get("out.png"), "old");
    ASSERT_EQ(hob({"still", "a.metal", "--force", "-o", "out.png", "--size", "2x2"}).status, 0);
    EXPECT_EQ(QImage(path("out.png")).pixel(1, 1), qRgb(0, 255, 0));
    struct stat status = {};
    ASSERT_EQ(stat(path("out.png").toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(names(), (QStringList{"a.metal", "out.png"}));
}

TEST_F(HobTest, StillSendsThePictureToStandardOutput) {
    const Outcome outcome = hob({"still", "-", "-o", "-", "--size", "3x2"}, {}, plainShader("1, 0, 0, 1"));
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    const QImage image = QImage::fromData(outcome.output, "PNG");
    EXPECT_EQ(image.size(), QSize(3, 2));
    EXPECT_EQ(image.pixel(2, 1), qRgb(255, 0, 0));
    EXPECT_EQ(names(), QStringList{});
}

TEST_F(HobTest, StillLeavesTheOldFileWhenTheShaderIsWrong) {
    put("out.png", "old");
    put("bad.metal", "float4 shade(\n");
    put("bare.metal", "float x(float a) { return a; }\n");
    put("lone.metal", "// @particles 5\nfloat4 shade(float2 uv) { return 0; }\n");
    for (const char* name : {"bad.metal", "bare.metal", "lone.metal"}) {
        const Outcome outcome = hob({"still", name, "--force", "-o", "out.png"});
        EXPECT_EQ(outcome.status, 1) << name << ": " << outcome.shown();
        EXPECT_TRUE(outcome.error.contains(name)) << outcome.shown();
        EXPECT_EQ(get("out.png"), "old") << name;
    }
    EXPECT_EQ(names().size(), 4);
}

TEST_F(HobTest, StillDrawsParticlesAndGrids) {
    put("dots.metal", dotsShader());
    put("mesh.metal", meshShader());
    for (const char* name : {"dots.metal", "mesh.metal"}) {
        const Outcome outcome = hob({"still", name, "--force", "-o", "out.png", "--size", "64x48", "--time", "0.5"});
        EXPECT_EQ(outcome.status, 0) << name << ": " << outcome.shown();
        EXPECT_EQ(QImage(path("out.png")).size(), QSize(64, 48)) << name;
    }
}

TEST_F(HobTest, WorksUnderABrokenLocale) {
    put("a.metal", "// @param speed 0.5 0 2\n" + plainShader("p.speed, 0, 0, 1"));
    const Outcome outcome = hob({"still", "a.metal", "-o", "a.png", "--size", "2x2", "--set", "speed=0.2"},
                                {"LC_ALL=xx_XX.nonsense", "LANG=de_DE.UTF-8"});
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(qRed(QImage(path("a.png")).pixel(0, 0)), 51);
}

TEST_F(HobTest, DevicesListsTheOneThatIsUsed) {
    const Outcome outcome = hob({"devices"});
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_EQ(outcome.output.count("\n* ") + outcome.output.startsWith("* "), 1) << outcome.output.toStdString();
    const Outcome none = hob({"still", "-", "-o", "x.png"}, {"GLASSHOB_DEVICE=no such device"}, plainShader("1"));
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(isOneSentence(none.error)) << none.shown();
    EXPECT_FALSE(has("x.png"));
}
