// Exports and joins that cannot be: the sentence, the status, and what is left in the folder.
#include "HobProcess.h"

#include <QFile>
#include <QProcess>

#include <csignal>

namespace {

const QByteArray noise = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                         "    float2 cell = floor(uv * 400.0);\n"
                         "    return float4(fract(sin(dot(cell, float2(12.9898, 78.233)) + u.time) * 43758.5)); }\n"
                         "float2 sound(float t, constant Params& p) { return float2(sin(t * 440.0) * 0.2); }\n";
const QStringList small = {"--size", "320x180", "--fps", "30", "--duration", "1"};

class HobExportFailureTest : public HobTest {
  protected:
    // What a shell's command line in the folder gives; "$hob" in it is the program.
    Outcome shell(const QString& line) const {
        QProcess process;
        process.setWorkingDirectory(path("."));
        process.start("sh", {"-c", "hob='" HOB_PROGRAM "'; " + line});
        Outcome outcome;
        if (!process.waitForFinished(120000)) {
            process.kill();
            process.waitForFinished();
            ADD_FAILURE() << "It did not finish: " << line.toStdString();
        }
        outcome.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        outcome.output = process.readAllStandardOutput();
        outcome.error = process.readAllStandardError();
        return outcome;
    }
    static QString exportTo(const QString& output) {
        return " $hob export a.metal -o " + output + " " + small.join(' ') + " ";
    }
};

} // namespace

TEST_F(HobExportFailureTest, AFileThatMayNotGrowIsToldAndGone) {
    put("a.metal", noise);
    put("old.mp4", "older");
    for (const char* blocks : {"1", "16", "200"}) {
        const Outcome outcome = shell(QString("ulimit -f %1;").arg(blocks) + exportTo("old.mp4 --force"));
        EXPECT_EQ(outcome.status, 1) << outcome.shown();
        EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
        EXPECT_TRUE(outcome.error.contains("larger than files may be there")) << outcome.shown();
        EXPECT_EQ(names(), (QStringList{"a.metal", "old.mp4"}));
        EXPECT_EQ(get("old.mp4"), "older");
    }
}

TEST_F(HobExportFailureTest, AFullDiskIsToldAndKeepsTheOlderFile) {
    put("a.metal", noise);
    // A disk of its own, which needs a right that not every machine gives.
    const QString begin =
        "unshare -rm sh -c 'hob=" HOB_PROGRAM "; mkdir disk && mount -t tmpfs -o size=128k,nr_inodes=9 "
        "none disk && ";
    if (shell(begin + "true'").status != 0) GTEST_SKIP() << "This machine lets nobody mount a file system.";
    const Outcome full = shell("rmdir disk; " + begin + "printf older > disk/a.mp4;" + exportTo("disk/a.mp4 --force") +
                               "; echo $?; ls -A disk; cat disk/a.mp4'");
    EXPECT_EQ(full.output, "1\na.mp4\nolder") << full.shown();
    EXPECT_EQ(full.error, "hob: Writing the video failed: the disk is full, so make room or choose another place.\n");
    const Outcome readOnly =
        shell("rmdir disk; " + begin + "mount -o remount,ro disk;" + exportTo("disk/a.mp4") + "; echo $?; ls -A disk'");
    EXPECT_EQ(readOnly.output, "1\n") << readOnly.shown();
    EXPECT_EQ(readOnly.error,
              "hob: disk/a.mp4 could not be written: the disk is read-only, so choose another place.\n");
}

TEST_F(HobExportFailureTest, AnEncoderThatIsNotThereIsToldWithTheOption) {
    put("a.metal", noise);
    put("a.mp4", "older");
    for (const char* encoder : {"vaapi", "nvenc"}) {
        const Outcome outcome =
            hob(QStringList{"export", "a.metal", "-o", "a.mp4", "--force", "--encoder", encoder} + small);
        if (outcome.status == 0) continue; // this machine has it
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
        EXPECT_TRUE(outcome.error.contains("--encoder")) << outcome.shown();
        EXPECT_EQ(get("a.mp4"), "older");
    }
    EXPECT_EQ(names(), (QStringList{"a.metal", "a.mp4"}));
}

TEST_F(HobExportFailureTest, AReaderOfTheProgressThatGoesAwayEndsIt) {
    put("a.metal", noise);
    const Outcome outcome = shell(exportTo("a.mp4") + "--json > /dev/full");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.contains("Standard output could not be written")) << outcome.shown();
    EXPECT_EQ(names(), QStringList{"a.metal"});
}

TEST_F(HobExportFailureTest, SignalsEndAJoinWithoutAFile) {
    // Its sound takes long, which the pictures wait for.
    put("a.metal", plainShader("1") + "float2 sound(float t, constant Params& p) {\n    float sum = t;\n"
                                      "    for (int i = 0; i < 20000; ++i) sum = sin(sum);\n    return sum;\n}\n");
    const QStringList words = {"export", "a.metal", "--size", "16x16", "--fps", "30", "--duration", "20"};
    ASSERT_EQ(hob(words + QStringList{"-o", "b.mp4", "--frames", "0:300"}).status, 0);
    ASSERT_EQ(hob(words + QStringList{"-o", "c.mp4", "--frames", "300:600"}).status, 0);
    QProcess process;
    process.setWorkingDirectory(path("."));
    process.start(QStringLiteral(HOB_PROGRAM), {"join", "-o", "whole.mp4", "c.mp4", "b.mp4", "--json"});
    ASSERT_TRUE(process.waitForReadyRead(30'000)); // it has begun
    ASSERT_EQ(::kill(pid_t(process.processId()), SIGTERM), 0);
    ASSERT_TRUE(process.waitForFinished(30'000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_EQ(process.readAllStandardError(), "hob: Export cancelled.\n");
    EXPECT_EQ(names(), (QStringList{"a.metal", "b.mp4", "c.mp4"}));
}

TEST_F(HobExportFailureTest, SilentPartsAreJoinedWithoutADevice) {
    put("a.metal", plainShader("u.time"));
    for (const char* frames : {"0:15", "15:30"})
        ASSERT_EQ(
            hob(QStringList{"export", "a.metal", "-o", QString(frames) + ".mp4", "--frames", frames} + small).status,
            0);
    const Outcome joined = hob({"join", "-o", "a.mp4", "0:15.mp4", "15:30.mp4"}, withoutDriver());
    EXPECT_EQ(joined.status, 0) << joined.shown();
    EXPECT_EQ(get("a.mp4").mid(4, 4), "ftyp");
}

TEST_F(HobExportFailureTest, PartsBecomeTheWholeInOneCommand) {
    put("a.metal", "// @param depth 0.5 0 1\n" + noise);
    const QStringList words = QStringList{"export", "a.metal", "--set", "depth=0.25"} + small;
    for (const char* frames : {"0:10", "10:22", "22:30"}) {
        const Outcome outcome = hob(words + QStringList{"-o", "part-" + QString(frames) + ".mp4", "--frames", frames});
        ASSERT_EQ(outcome.status, 0) << outcome.shown();
    }
    const QStringList parts = {"part-22:30.mp4", "part-0:10.mp4", "part-10:22.mp4"};
    const Outcome missing = hob({"join", "-o", "a.mp4", parts[0], parts[1]});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.error, "hob: Frames 10 to 21 are missing: render what is not there with --frames 10:22.\n");
    const Outcome itself = hob(QStringList{"join", "-o", parts[1], "--force"} + parts);
    EXPECT_EQ(itself.status, 1);
    EXPECT_TRUE(itself.error.contains("is one of the parts")) << itself.shown();
    const Outcome joined = hob(QStringList{"join", "-o", "a.mp4", "--json"} + parts);
    EXPECT_EQ(joined.status, 0) << joined.shown();
    EXPECT_TRUE(joined.output.trimmed().split('\n').last().startsWith("{\"frame\": 30, \"frames\": 30,"))
        << joined.output.toStdString();
    EXPECT_EQ(hob(QStringList{"join", "-o", "a.mp4"} + parts).status, 1); // there already
    EXPECT_EQ(get("a.mp4").mid(4, 4), "ftyp");
    EXPECT_EQ(names(), (QStringList{"a.metal", "a.mp4", "part-0:10.mp4", "part-10:22.mp4", "part-22:30.mp4"}));
}

namespace {

// Seconds for a frame on a CPU, whatever the machine.
const QByteArray heavy = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n    float sum = uv.x;\n"
                         "    for (int i = 0; i < 60000; ++i) sum = sin(sum + u.time);\n    return sum;\n}\n";

} // namespace

TEST_F(HobExportFailureTest, ASecondSignalDoesNotWaitForTheFrame) {
    put("a.metal", heavy);
    for (const char* output : {"a.mp4", "made/"}) {
        QProcess process;
        process.setWorkingDirectory(path("."));
        process.start(QStringLiteral(HOB_PROGRAM), {"export", "a.metal", "-o", output, "--json"});
        ASSERT_TRUE(process.waitForReadyRead(30'000)); // the first frame is asked for
        ASSERT_EQ(::kill(pid_t(process.processId()), SIGTERM), 0);
        ASSERT_EQ(::kill(pid_t(process.processId()), SIGTERM), 0);
        ASSERT_TRUE(process.waitForFinished(30'000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 1);
        EXPECT_EQ(process.readAllStandardError(), "hob: Export cancelled.\n");
        EXPECT_EQ(names(), QStringList{"a.metal"}) << output;
    }
}

TEST_F(HobExportFailureTest, OneSignalIsEnoughAfterAWhile) {
    put("a.metal", heavy);
    QProcess process;
    process.setWorkingDirectory(path("."));
    process.start(QStringLiteral(HOB_PROGRAM), {"export", "a.metal", "-o", "a.mp4", "--json", "--preset", "main4k"});
    ASSERT_TRUE(process.waitForReadyRead(30'000));
    ASSERT_EQ(::kill(pid_t(process.processId()), SIGTERM), 0);
    ASSERT_TRUE(process.waitForFinished(30'000));
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_EQ(names(), QStringList{"a.metal"});
}

TEST_F(HobExportFailureTest, WhatIsToBeIgnoredStaysIgnored) {
    put("a.metal", noise);
    QProcess process; // as nohup starts it
    process.setWorkingDirectory(path("."));
    process.start("sh", {"-c", "trap '' HUP; exec " HOB_PROGRAM " export a.metal -o a.mp4 --json " + small.join(' ')});
    ASSERT_TRUE(process.waitForReadyRead(30'000));
    ASSERT_EQ(::kill(pid_t(process.processId()), SIGHUP), 0);
    ASSERT_TRUE(process.waitForFinished(60'000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    EXPECT_EQ(names(), (QStringList{"a.metal", "a.mp4"}));
}

TEST_F(HobExportFailureTest, MessagesNeverGoIntoTheResult) {
    put("a.metal", noise);
    // With these numbers free, the result's file would have one of them.
    const Outcome closed = shell("exec >&- 2>&-; $hob export a.metal -o a.gif --size 64x36 --duration 0.2");
    EXPECT_EQ(closed.status, 0);
    EXPECT_TRUE(get("a.gif").startsWith("GIF89a") && !get("a.gif").contains("hob:"));
    EXPECT_EQ(shell("$hob samples >&-").status, 1) << "but a result that nobody can have is a failure";
}

TEST_F(HobExportFailureTest, TwoExportsToOneNameAreBothThere) {
    put("a.metal", noise);
    QProcess first;
    first.setWorkingDirectory(path("."));
    first.start(QStringLiteral(HOB_PROGRAM), QStringList{"export", "a.metal", "-o", "a.mp4", "--json"} + small);
    ASSERT_TRUE(first.waitForReadyRead(30'000));
    put("a.mp4", "another's");
    ASSERT_TRUE(first.waitForFinished(60'000));
    EXPECT_EQ(first.exitCode(), 1);
    const QByteArray told = first.readAllStandardError();
    EXPECT_TRUE(told.contains("a.mp4 was made by another program meanwhile")) << told.toStdString();
    EXPECT_EQ(names(), (QStringList{"a-2.mp4", "a.metal", "a.mp4"}));
    EXPECT_EQ(get("a.mp4"), "another's");
    EXPECT_EQ(get("a-2.mp4").mid(4, 4), "ftyp");
}

TEST_F(HobExportFailureTest, WhatAKilledExportLeavesGoesWithTheNextOne) {
    put("a.metal", noise);
    for (const char* output : {"a.mp4", "./%04d.png"}) {
        QProcess process;
        process.setWorkingDirectory(path("."));
        process.start(QStringLiteral(HOB_PROGRAM), {"export", "a.metal", "-o", output, "--json", "--duration", "600"});
        ASSERT_TRUE(process.waitForReadyRead(30'000));
        while (names().size() < 2 && process.state() == QProcess::Running)
            process.waitForReadyRead(50);
        process.kill();
        ASSERT_TRUE(process.waitForFinished(30'000));
        EXPECT_EQ(names().size(), 2) << output;
        EXPECT_EQ(hob(QStringList{"export", "a.metal", "-o", output, "--frames", "0:1"} + small).status, 0);
        EXPECT_EQ(names().size(), 2) << names().join(' ').toStdString();
        QFile::remove(path(output == std::string("a.mp4") ? "a.mp4" : "0000.png"));
    }
}

TEST_F(HobExportFailureTest, LackOfMemoryIsASentence) {
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the sanitizer reserves more than the limit leaves";
#endif
#endif
    put("a.metal", plainShader("1"));
    const Outcome outcome = shell("ulimit -v 2000000; $hob still a.metal -o a.png --size 16384x16384");
    EXPECT_EQ(outcome.status, 1) << outcome.shown();
    EXPECT_TRUE(outcome.error.trimmed().endsWith('.')) << outcome.shown();
    EXPECT_EQ(names(), QStringList{"a.metal"});

    // Too little for any driver is refused before one is opened; with a little more it may go well or not, depending on
    // the machine, but no driver takes hob down without a word.
    for (const char* command : {"still a.metal -o a.png", "sound a.metal -o a.wav", "export a.metal -o a.mp4"}) {
        const Outcome refused = shell(QString("ulimit -v 900000; $hob %1").arg(command));
        EXPECT_EQ(refused.status, 1) << refused.shown();
        EXPECT_TRUE(isOneSentence(refused.error) && refused.error.contains("878 MB")) << refused.shown();
    }
    EXPECT_EQ(names(), QStringList{"a.metal"});
    for (int limit = 1'200'000; limit < 1'700'000; limit += 100'000) {
        const Outcome any = shell(
            QString("export LP_NUM_THREADS=32; ulimit -v %1; $hob still a.metal -o a.png --size 64x64").arg(limit));
        EXPECT_TRUE(any.status == 0 || (any.status == 1 && any.error.trimmed().endsWith('.'))) << any.shown();
    }
}
