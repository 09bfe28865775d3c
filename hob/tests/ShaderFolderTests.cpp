#include "HobProcess.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <set>

namespace {

QStringList shadersIn(const char* folder) {
    QStringList paths;
    const QDir directory(folder);
    for (const QString& name : directory.entryList({"*.metal"}, QDir::Files, QDir::Name))
        paths << directory.filePath(name);
    return paths;
}

struct Look {
    std::size_t colours = 0;
    double brightest = 0; // 0...255, the mean of the channels
    double mean = 0;
};

Look lookOf(const QImage& image) {
    Look look;
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            colours.insert(pixel);
            const double light = (qRed(pixel) + qGreen(pixel) + qBlue(pixel)) / 3.0;
            look.brightest = std::max(look.brightest, light);
            look.mean += light / (double(image.width()) * image.height());
        }
    }
    look.colours = colours.size();
    return look;
}

} // namespace

// Shaders of different character, each drawn small: a picture with structure, the same twice.
TEST_F(HobTest, DrawsEveryShaderOfTheFolder) {
    const QStringList shaders = shadersIn(TEST_SHADERS);
    ASSERT_GE(shaders.size(), 5);
    for (const QString& shader : shaders) {
        const Outcome first = hob({"still", shader, "--force", "-o", "a.png", "--size", "160x90"});
        ASSERT_EQ(first.status, 0) << shader.toStdString() << ": " << first.shown();
        EXPECT_EQ(first.error, "") << shader.toStdString();
        ASSERT_EQ(hob({"still", shader, "--force", "-o", "b.png", "--size", "160x90"}).status, 0);
        EXPECT_EQ(get("a.png"), get("b.png")) << shader.toStdString();
        EXPECT_GT(lookOf(QImage(path("a.png"))).colours, 200u) << shader.toStdString();
    }
}

TEST_F(HobTest, EverySampleIsDrawnTheSameTwiceNeitherFlatNorDark) {
    const QStringList samples = shadersIn(SAMPLE_SHADERS);
    ASSERT_GE(samples.size(), 8);
    for (const QString& sample : samples) {
        SCOPED_TRACE(sample.toStdString());
        // An early moment: particles run through all the time before.
        const QStringList size = {"--size", "192x108", "--time", "1.5"};
        const Outcome first = hob(QStringList{"still", sample, "--force", "-o", "a.png"} + size);
        ASSERT_EQ(first.status, 0) << first.shown();
        EXPECT_EQ(first.error, "");
        ASSERT_EQ(hob(QStringList{"still", sample, "--force", "-o", "b.png"} + size).status, 0);
        EXPECT_EQ(get("a.png"), get("b.png"));
        const Look look = lookOf(QImage(path("a.png")));
        EXPECT_GT(look.colours, 1000u);
        EXPECT_GT(look.brightest, 100);
        EXPECT_GT(look.mean, 4);
        EXPECT_LT(look.mean, 200);
    }
}

// What a person sees in the inspector and in the list of messages: nothing to complain about, and a word on each
// slider.
TEST_F(HobTest, EverySampleCompilesWithoutAWordAndTellsWhatItsSlidersDo) {
    for (const QString& sample : shadersIn(SAMPLE_SHADERS)) {
        SCOPED_TRACE(sample.toStdString());
        const Outcome check = hob({"check", sample}, withoutDriver());
        EXPECT_EQ(check.status, 0);
        EXPECT_EQ(check.error, "");
        const Outcome info = hob({"info", "--json", sample}, withoutDriver());
        ASSERT_EQ(info.status, 0) << info.shown();
        const QJsonArray params = QJsonDocument::fromJson(info.output).object()["params"].toArray();
        EXPECT_GE(params.size(), 4);
        for (const QJsonValue& param : params)
            EXPECT_GT(param["detail"].toString().size(), 8) << param["name"].toString().toStdString();
        QFile text(sample);
        ASSERT_TRUE(text.open(QIODevice::ReadOnly));
        EXPECT_TRUE(text.readAll().contains("\n// @still "));
    }
}

// At full volume too it stays clear of the limit, and nothing in it jumps as a click does.
TEST_F(HobTest, TheSoundOfEverySampleIsHeardAndClean) {
    int sounds = 0;
    for (const QString& sample : shadersIn(SAMPLE_SHADERS)) {
        SCOPED_TRACE(sample.toStdString());
        const Outcome info = hob({"info", "--json", sample}, withoutDriver());
        if (!QJsonDocument::fromJson(info.output).object()["hasSound"].toBool()) continue;
        ++sounds;
        const Outcome outcome =
            hob({"sound", sample, "--force", "-o", "a.wav", "--start", "5", "--duration", "16", "--set", "volume=1"});
        ASSERT_EQ(outcome.status, 0) << outcome.shown();
        const QByteArray wav = get("a.wav");
        int peak = 0, largestStep = 0, before[2] = {};
        double power = 0, apart = 0;
        const qsizetype frames = (wav.size() - 44) / 4;
        ASSERT_EQ(frames, 16 * 48000);
        for (qsizetype i = 0; i < frames; ++i) {
            int now[2];
            for (int channel = 0; channel < 2; ++channel) {
                now[channel] = qFromLittleEndian<qint16>(wav.constData() + 44 + i * 4 + channel * 2);
                peak = std::max(peak, std::abs(now[channel]));
                if (i > 0) largestStep = std::max(largestStep, std::abs(now[channel] - before[channel]));
                before[channel] = now[channel];
                power += double(now[channel]) * now[channel] / double(2 * frames);
            }
            apart += std::abs(now[0] - now[1]) / double(frames);
        }
        EXPECT_GT(std::sqrt(power), 500); // -36 dB
        EXPECT_LT(peak, 29000);           // -1 dB
        EXPECT_LT(largestStep, 9000);
        EXPECT_GT(apart, 50) << "the ears hear the same";
    }
    EXPECT_GE(sounds, 3);
}
