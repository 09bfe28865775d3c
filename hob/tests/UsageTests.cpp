#include "HobProcess.h"

#include <QDir>

TEST_F(HobTest, GivesHelpAndVersionOnStandardOutput) {
    const std::vector<std::pair<QStringList, QByteArray>> cases = {
        {{"--help"}, "Usage: hob COMMAND"},
        {{"check", "--help"}, "Usage: hob check FILE..."},
        {{"info", "--help"}, "Usage: hob info"},
        {{"still", "-o", "--help"}, "Usage: hob still FILE -o OUT.png"},
        {{"help", "still"}, "Usage: hob still FILE -o OUT.png"},
        {{"help"}, "Usage: hob COMMAND"},
        {{"sound", "-h"}, "Usage: hob sound"},
        {{"export", "-h"}, "Usage: hob export"},
        {{"join", "-h"}, "Usage: hob join"},
        {{"samples", "--help"}, "Usage: hob samples"},
        {{"samples"}, "01-flowing-color.metal "},
        {{"samples", "--print", "Blue Hour"}, "// Blue Hour\n"},
        {{"samples", "--print", "05-silk.metal"}, "// Silk\n"},
        {{"devices", "--help"}, "Usage: hob devices"},
        {{"--version"}, "hob 0."},
    };
    for (const auto& [words, beginning] : cases) {
        const Outcome outcome = hob(words, withoutDriver());
        EXPECT_EQ(outcome.status, 0) << outcome.shown();
        EXPECT_TRUE(outcome.output.startsWith(beginning)) << outcome.output.toStdString();
        EXPECT_TRUE(outcome.output.endsWith('\n'));
        EXPECT_EQ(outcome.error, "");
    }
    const Outcome bare = hob({});
    EXPECT_EQ(bare.status, 2);
    EXPECT_TRUE(bare.error.startsWith("Usage: hob COMMAND"));
    EXPECT_EQ(bare.output, "");
}

TEST_F(HobTest, RefusesAWrongCommandLineInOneSentence) {
    put("a.metal", "// @param speed 1 0 2\n" + plainShader("1"));
    put("-dash.metal", plainShader("1"));
    const QStringList still = {"still", "a.metal", "-o", "a.png"};
    const QStringList sound = {"sound", "a.metal", "-o", "a.wav"};
    const std::vector<std::pair<QStringList, QByteArray>> cases = {
        {{"stil", "a.metal"}, "hob still"},
        {{"--frobnicate"}, "--frobnicate"},
        {{"check"}, "No shader file"},
        {{"check", "--fast", "a.metal"}, "--fast"},
        {{"info", "a.metal", "a.metal"}, "a.metal"},
        {{"devices", "a.metal"}, "a.metal"},
        {{"samples", "--print", "Silk Road"}, "Silk Road"},
        {{"help", "stil"}, "hob still"},
        {{"check", "-dash.metal"}, "the file of that name is given as ./-dash.metal"},
        {{"still", "a.metal"}, "-o OUT.png"},
        {{"still", "a.metal", "-o", ""}, "-o OUT.png"},
        {{"still", "a.metal", "-o", "stills/"}, "stills/ has no ending"},
        {{"sound", "a.metal", "-o", ""}, "-o OUT.wav"},
        {{"export", "a.metal", "-o", ""}, "-o OUT.mp4"},
        {{"sound", "a.metal"}, "-o OUT.wav"},
        {{"export", "a.metal"}, "-o OUT.mp4"},
        {{"export", "a.metal", "-o", "a.avi"}, "no format for the ending .avi"},
        {{"export", "a.metal", "-o", "movie"}, ".mp4, .mov, .webm, .gif, .png"},
        {{"export", "a.metal", "-o", "a.wav"}, "hob sound"},
        {{"export", "a.metal", "-o", "a.webm", "--codec", "hevc"}, "WebM has VP9"},
        {{"export", "a.metal", "-o", "a.webm", "--frames", "0:9"}, "MP4 or MOV"},
        {{"still", "a.metal", "-o", "a.gif"}, ".png, .jpg or .webp"},
        {{"sound", "a.metal", "-o", "a.mp3"}, ".wav"},
        {{"export", "a.metal", "-o", "a.mp4", "--fps", "7"}, "--fps 7"},
        {{"export", "a.metal", "-o", "a.mp4", "--duration", "0"}, "--duration 0"},
        {{"export", "a.metal", "-o", "a.mp4", "--duration", "nan"}, "--duration nan"},
        {{"export", "a.metal", "-o", "a.mp4", "--duration", "inf"}, "--duration inf"},
        {{"export", "a.metal", "-o", "a.mp4", "--duration", "36000"}, "10800 seconds"},
        {{"export", "a.metal", "-o", "a.mp4", "--start", "nan"}, "--start nan"},
        {{"export", "a.metal", "-o", "a.mp4", "--start", "-1"}, "--start -1"},
        {{"export", "a.metal", "-o", "a.mp4", "--start", "1e6"}, "86400 seconds"},
        {{"export", "a.metal", "-o", "a.mp4", "--size", "0x10"}, "--size 0x10"},
        {{"export", "a.metal", "-o", "a.mp4", "--encoder", "fast"}, "auto, software, vaapi or nvenc"},
        {{"export", "a.metal", "-o", "a.mp4", "--quality", "9"}, "fast, balanced or best"},
        {{"export", "a.metal", "-o", "a.mp4", "--frames", "10"}, "--frames 10"},
        {{"export", "a.metal", "-o", "a.mp4", "--frames", "10:10"}, "--frames 10:10"},
        {{"export", "a.metal", "-o", "a.mp4", "--frames=-1:10"}, "--frames -1:10"},
        {{"export", "a.metal", "-o", "a.mp4", "--frames", "0:601"}, "600 frames"},
        {{"join", "-o", "a.mp4"}, "No part of a movie"},
        {{"join", "a.metal"}, "-o OUT.mp4"},
        {{"join", "-o", "-", "a.metal"}, "standard output"},
        {{"export", "a.metal", "-o", "a.mp4", "--preset", "8k"}, "main4k, web, preview or site"},
        {{"export", "a.metal", "-o", "a.mp4", "--codec", "vp9"}, "h264 or hevc"},
        {{"export", "a.metal", "-o", "a.mp4", "--bitrate", "fast"}, "--bitrate fast"},
        {still + QStringList{"--size", "0x0"}, "0x0"},
        {still + QStringList{"--size", "0"}, "--size 0"},
        {still + QStringList{"--size", "100000x100000"}, "16384"},
        {still + QStringList{"--time", "nan"}, "--time nan"},
        {still + QStringList{"--time"}, "--time T"},
        {still + QStringList{"--frame", "-1"}, "--frame -1"},
        {still + QStringList{"--set", "brightness=1"}, "speed"},
        {still + QStringList{"--set", "speed=fast"}, "0 to 2"},
        {sound + QStringList{"--start", "nan"}, "--start nan"},
        {sound + QStringList{"--duration", "-1"}, "--duration -1"},
        {sound + QStringList{"--duration", "1e9"}, "--duration 1e9"},
        {sound + QStringList{"--set", "brightness=1"}, "speed"},
    };
    for (const auto& [words, part] : cases) {
        const Outcome outcome = hob(words, withoutDriver());
        EXPECT_EQ(outcome.status, 2) << words.join(' ').toStdString() << ": " << outcome.shown();
        EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
        EXPECT_TRUE(outcome.error.contains(part)) << outcome.shown();
        EXPECT_EQ(outcome.output, "");
    }
    EXPECT_EQ(names(), (QStringList{"-dash.metal", "a.metal"}));
}

TEST_F(HobTest, RefusesAFileThatIsNoShaderInOneSentence) {
    put("latin.metal", "// caf\xE9\n");
    put("empty.metal", "");
    put("blank.metal", "\xEF\xBB\xBF \r\n\n");
    const std::vector<std::pair<QString, QByteArray>> cases = {{"missing.metal", "There is no file missing.metal"},
                                                               {".", "is a folder"},
                                                               {"latin.metal", "is not UTF-8 text"},
                                                               {"empty.metal", "is empty"},
                                                               {"blank.metal", "is empty"},
                                                               {"latin.metal/a", "There is no file"}};
    const QStringList before = names();
    for (const auto& [name, part] : cases) {
        for (const QStringList& words :
             {QStringList{"check", name}, QStringList{"info", "--json", name},
              QStringList{"still", name, "-o", "out.png"}, QStringList{"sound", name, "-o", "out.wav"}}) {
            const Outcome outcome = hob(words, withoutDriver());
            EXPECT_EQ(outcome.status, 1) << words.join(' ').toStdString() << ": " << outcome.shown();
            EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
            EXPECT_TRUE(outcome.error.contains(part)) << outcome.shown();
            EXPECT_EQ(outcome.output, "");
        }
    }
    EXPECT_EQ(names(), before);
}

TEST_F(HobTest, RefusesAPlaceThatCannotBeWrittenBeforeAnyWork) {
    const QByteArray shader = plainShader("1") + "float2 sound(float t, constant Params& p) { return float2(0.0); }\n";
    for (const auto& [command, ending] : {std::pair{"still", ".png"}, {"sound", ".wav"}, {"export", ".mp4"}}) {
        // The shader's own name ends as the result's would.
        const QString source = QStringLiteral("shader") + ending;
        put(source, shader);
        ASSERT_TRUE(QDir(path(".")).mkdir(QStringLiteral("folder") + ending));
        const QStringList before = names();
        for (const auto& [place, part] : {std::pair<QString, QByteArray>{"none/out", "its folder does not exist"},
                                          {"folder", "it is a folder"},
                                          {"shader", "is the shader itself"},
                                          {source + "/out", "is not a folder"}}) {
            // Without a driver any work would end in another sentence.
            const Outcome outcome = hob({command, source, "-o", place + ending}, withoutDriver());
            EXPECT_EQ(outcome.status, 1) << outcome.shown();
            EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
            EXPECT_TRUE(outcome.error.contains(part)) << outcome.shown();
        }
        EXPECT_EQ(names(), before);
        EXPECT_EQ(get(source), shader);
    }
}

TEST_F(HobTest, SaysThatThereIsNoDriver) {
    put("a.metal", plainShader("1") + "float2 sound(float t, constant Params& p) { return float2(0.0); }\n");
    for (const QStringList& words : {QStringList{"still", "a.metal", "-o", "out.png"},
                                     QStringList{"sound", "a.metal", "-o", "out.wav"}, QStringList{"devices"}}) {
        const Outcome outcome = hob(words, withoutDriver());
        EXPECT_EQ(outcome.status, 1) << outcome.shown();
        EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
        EXPECT_TRUE(outcome.error.contains("Vulkan")) << outcome.shown();
        EXPECT_EQ(outcome.output, "");
    }
    EXPECT_FALSE(has("out.png") || has("out.wav"));
}

TEST_F(HobTest, FailsWhenStandardOutputCannotBeWritten) {
    const QByteArray command = QByteArray(HOB_PROGRAM) + " --help > /dev/full";
    EXPECT_EQ(WEXITSTATUS(std::system(command + " 2>" + path("error").toUtf8())), 1);
    EXPECT_TRUE(isOneSentence(get("error"))) << get("error").toStdString();
}
