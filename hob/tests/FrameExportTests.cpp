#include "HobProcess.h"

#include <QDir>
#include <QImage>
#include <QProcess>

#include <csignal>

namespace {

const QByteArray sounding =
    plainShader("uv, 0.5, 1") + "float2 sound(float t, constant Params& p) { return float2(sin(t * 440.0) * 0.2); }\n";
const QStringList brief = {"--duration", "0.2", "--no-watermark"};
const QStringList small = QStringList{"--size", "64x48", "--fps", "25"} + brief;

} // namespace

TEST_F(HobTest, ExportTakesTheFormatFromTheEnding) {
    put("a.metal", plainShader("uv, 0.5, 1"));
    const Outcome gif = hob(QStringList{"export", "a.metal", "-o", "a.gif"} + brief);
    EXPECT_EQ(gif.status, 0) << gif.shown();
    EXPECT_TRUE(gif.error.contains("at most 50 frames a second")) << gif.shown();
    const QImage first(path("a.gif"));
    EXPECT_EQ(first.size(), QSize(640, 360));
    EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", "b.GIF"} + small).error, "");
    EXPECT_EQ(QImage(path("b.GIF")).size(), QSize(64, 48));
    EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", "made/"} + small).error, "");
    EXPECT_EQ(QDir(path("made")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              (QStringList{"00000.png", "00001.png", "00002.png", "00003.png", "00004.png"}));
    EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", "part-%02d.png", "--frames", "3:5"} + small).status, 0);
    EXPECT_EQ(get("part-03.png"), get("made/00003.png"));
    const Outcome raw = hob(QStringList{"export", "a.metal", "-o", "-"} + small);
    EXPECT_EQ(raw.status, 0) << raw.shown();
    EXPECT_TRUE(raw.output.startsWith("YUV4MPEG2 W64 H48 F25:1 ")) << raw.shown();
    EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", "a.y4m"} + small).status, 0);
    EXPECT_EQ(get("a.y4m"), raw.output);
    EXPECT_EQ(names(), (QStringList{"a.gif", "a.metal", "a.y4m", "b.GIF", "made", "part-03.png", "part-04.png"}));
}

TEST_F(HobTest, ExportWritesTheMovieThatTheEndingNames) {
    put("a.metal", sounding);
    EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", "a.mov"} + small).error, "");
    EXPECT_EQ(get("a.mov").mid(4, 8), "ftypqt  ");
    EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", "a.WEBM", "--quality", "fast"} + small).error, "");
    EXPECT_TRUE(get("a.WEBM").left(64).contains("webm"));
}

TEST_F(HobTest, ExportOfFramesTellsWhatIsLeftOutOrMeansNothing) {
    put("a.metal", sounding);
    struct Case {
        QStringList words;
        int status;
        const char* says;
    };
    const Case cases[] = {
        {{"-o", "a.gif", "--codec", "hevc"}, 2, "--codec means nothing"},
        {{"-o", "made/", "--bitrate", "5M"}, 2, "--bitrate means nothing"},
        {{"-o", "-", "--encoder", "software"}, 2, "--encoder means nothing"},
        {{"-o", "a.y4m", "--quality", "best"}, 2, "--quality means nothing"},
        {{"-o", "-", "--json"}, 2, "both need standard output"},
        {{"-o", "a.png"}, 2, "hob still"},
        {{"-o", "%d-%d.png"}, 2, "one place for the number"},
        {{"-o", "absent/made/"}, 1, "is not there"},
        {{"-o", "absent/a.gif"}, 1, "folder does not exist"},
        {{"-o", "a.metal/"}, 1, "there is a file in its place"},
        {{"-o", "a.gif", "--json"}, 0, "hob sound writes that"},
    };
    for (const Case& each : cases) {
        const Outcome outcome = hob(QStringList{"export", "a.metal"} + each.words + small);
        EXPECT_EQ(outcome.status, each.status) << outcome.shown();
        EXPECT_TRUE(outcome.error.contains(each.says)) << outcome.shown();
        EXPECT_TRUE(each.status == 0 || outcome.error.endsWith(".\n")) << outcome.shown();
    }
    EXPECT_EQ(names(), (QStringList{"a.gif", "a.metal"}));
}

TEST_F(HobTest, ExportedFramesReplaceOthersOnlyWhenToldTo) {
    put("a.metal", plainShader("uv, 0.5, 1"));
    put("f002.png", "older");
    const QStringList words = QStringList{"export", "a.metal", "-o", "f%03d.png"} + small;
    const Outcome refused = hob(words);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.error.contains("f002.png is there already")) << refused.shown();
    EXPECT_EQ(names(), (QStringList{"a.metal", "f002.png"}));
    EXPECT_EQ(hob(words + QStringList{"--frames", "3:5"}).status, 0) << "the others are free";
    EXPECT_EQ(hob(words + QStringList{"--force"}).status, 0);
    EXPECT_EQ(QImage(path("f002.png")).size(), QSize(64, 48));
}

TEST_F(HobTest, RawFramesEndWithASentenceWhenTheirReaderGoesOrTheDiskIsFull) {
    put("a.metal", plainShader("uv, 0.5, 1"));
    const auto run = [&](const QString& redirection) {
        QProcess process;
        process.setWorkingDirectory(path("."));
        process.start("bash", {"-c", QStringLiteral("\"%1\" export a.metal -o - --size 640x360 --duration 10 %2; "
                                                    "exit ${PIPESTATUS[0]}")
                                         .arg(QStringLiteral(HOB_PROGRAM), redirection)});
        EXPECT_TRUE(process.waitForFinished(120'000));
        EXPECT_EQ(process.exitCode(), 1);
        return process.readAllStandardError();
    };
    EXPECT_TRUE(run("| head -c 1000 > /dev/null").contains("the program that was to read it has ended."));
    EXPECT_TRUE(run("> /dev/full").contains("the disk is full."));
}

TEST_F(HobTest, AnInterruptedSequenceLeavesNeitherFramesNorFolder) {
    put("a.metal", plainShader("uv, 0.5, 1"));
    QProcess process;
    process.setWorkingDirectory(path("."));
    process.start(QStringLiteral(HOB_PROGRAM),
                  {"export", "a.metal", "-o", "made/", "--json", "--duration", "3600", "--size", "64x48"});
    QByteArray told;
    while (!told.contains("\"frame\": ") || told.count('\n') < 3) { // frames are being written
        ASSERT_TRUE(process.waitForReadyRead(30'000));
        told += process.readAllStandardOutput();
    }
    EXPECT_TRUE(has("made"));
    ASSERT_EQ(::kill(pid_t(process.processId()), SIGINT), 0);
    ASSERT_TRUE(process.waitForFinished(30'000));
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_TRUE(process.readAllStandardError().contains("Export cancelled."));
    EXPECT_EQ(names(), QStringList{"a.metal"});
}
