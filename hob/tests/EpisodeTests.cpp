// hob episode: what it lists, the movie and the chapters it makes, parts joined to the same, and what it refuses before
// anything is made.
#include "HobProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

const QByteArray finished = "// @episode 7 Smoke · rings\n// @length 1\n// @variation 0.5\n// @teaches rings\n"
                            "// @param speed 1 0 2 How fast\n// @param volume 1 0 1\n"
                            "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                            "    float d = length(uv - 0.5);\n"
                            "    float ring = sin(d * 40.0 - u.time * p.speed);\n"
                            "    return float4(ring, 0.2, 0.4, 1.0);\n}\n"
                            "float2 sound(float t, constant Params& p) { return float2(sin(t * 2000.0) * 0.4); }\n";
const QByteArray stage = "// Step 1 · One disc\n// Where the middle is.\n"
                         "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                         "    float d = length(uv - 0.5);\n"
                         "    return float4(d, 0.2, 0.4, 1.0);\n}\n";
const QStringList small = {"--size", "320x180", "--fps", "30", "--page-seconds", "4"};

class HobEpisodeTest : public HobTest {
  protected:
    void SetUp() override {
        HobTest::SetUp();
        QDir(path(".")).mkpath("episode-07-rings/stages");
        put("episode-07-rings/source.metal", finished);
        put("episode-07-rings/stages/1.metal", stage);
    }
};

} // namespace

TEST_F(HobEpisodeTest, ListsWhatTheVideoHolds) {
    const Outcome text = hob({"episode", "episode-07-rings", "--list"});
    EXPECT_EQ(text.status, 0) << text.shown();
    EXPECT_TRUE(text.output.startsWith("Episode 7, Smoke · rings: 0:31, ")) << text.shown();
    const Outcome outcome = hob({"episode", "episode-07-rings", "--list", "--json", "--variations", "3,5", "--no-cards",
                                 "--fps", "30", "--set", "speed=2"});
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    const QJsonObject list = QJsonDocument::fromJson(outcome.output).object();
    EXPECT_EQ(list["number"].toInt(), 7);
    EXPECT_EQ(list["frames"].toInt(), 30 + 2 * 300 + 2 * 15);
    EXPECT_EQ(list["seconds"].toDouble(), 22);
    EXPECT_EQ(list["maxLines"].toInt(), 16);
    QStringList kinds;
    double at = 0;
    for (const QJsonValue part : list["parts"].toArray()) {
        kinds << part["kind"].toString();
        EXPECT_EQ(part["at"].toDouble(), at);
        at += part["seconds"].toDouble();
    }
    EXPECT_EQ(kinds.join(' '), "show stage stage variation variation");
    const QJsonArray chapters = list["chapters"]["chapters"].toArray();
    ASSERT_EQ(chapters.size(), 5);
    EXPECT_EQ(chapters[0]["title"].toString(), "Smoke · rings");
    EXPECT_EQ(chapters[1]["title"].toString(), "1 · One disc");
    EXPECT_EQ(chapters[4]["at"].toDouble(), 21.5);
    const QJsonArray lines = list["stages"][1]["pages"][0]["lines"].toArray();
    EXPECT_TRUE(std::ranges::any_of(lines, [](const QJsonValue& line) {
        return line["kind"].toString() == "added" && line["text"].toString().contains("float ring");
    }));
    EXPECT_EQ(list["variations"][1]["index"].toInt(), 5);
    EXPECT_TRUE(list["variations"][1]["values"].toObject().keys() == QStringList{"speed"});
}

TEST_F(HobEpisodeTest, MakesAMovieWithItsChapters) {
    const Outcome outcome = hob(
        QStringList{"episode", "episode-07-rings", "-o", "rings.mp4", "--variations", "2", "--chapters-text"} + small);
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_TRUE(
        outcome.output.startsWith("0:00 Smoke · rings\n0:05 1 · One disc\n0:09 2 · The finished shader\n0:13 speed "))
        << outcome.output.toStdString();
    const QJsonObject chapters = QJsonDocument::fromJson(get("rings.chapters.json")).object();
    EXPECT_EQ(chapters["duration"].toDouble(), 4 + 1 + 4 + 4 + 0.5 + 4);
    EXPECT_EQ(chapters["chapters"].toArray().size(), 4);
    EXPECT_EQ(chapters["chapters"][3]["settings"].toString().left(6), "speed ");
    EXPECT_TRUE(get("rings.mp4").contains("1 · One disc"));

    QFile::remove(path("rings.mp4"));
    const Outcome refused = hob(QStringList{"episode", "episode-07-rings", "-o", "rings.mp4"} + small);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.error.contains("rings.chapters.json is there already")) << refused.shown();
    EXPECT_FALSE(names().contains("rings.mp4"));
}

TEST_F(HobEpisodeTest, PartsJoinToTheWhole) {
    const QStringList choices = QStringList{"episode", "episode-07-rings", "--no-cards", "--variations", "2"} + small;
    ASSERT_EQ(hob(choices + QStringList{"-o", "a.mp4", "--frames", "0:160"}).status, 0);
    ASSERT_EQ(hob(choices + QStringList{"-o", "b.mp4", "--frames", "160:285"}).status, 0);
    EXPECT_FALSE(names().contains("a.chapters.json"));
    const Outcome joined = hob({"join", "-o", "joined.mp4", "a.mp4", "b.mp4"});
    ASSERT_EQ(joined.status, 0) << joined.shown();
    ASSERT_EQ(hob(choices + QStringList{"-o", "whole.mp4"}).status, 0);
    EXPECT_EQ(get("joined.chapters.json"), get("whole.chapters.json"));
    EXPECT_TRUE(get("joined.mp4").contains("1 · One disc"));
    ASSERT_EQ(hob(choices + QStringList{"-o", "c.mp4", "--frames", "160:285", "--page-seconds", "4.5"}).status, 0);
    const Outcome mixed = hob({"join", "-o", "mixed.mp4", "a.mp4", "c.mp4"});
    EXPECT_EQ(mixed.status, 1) << mixed.shown();
}

TEST_F(HobEpisodeTest, SaysWhatIsWrongBeforeAFileIsMade) {
    const auto refusal = [&](const QStringList& more, int status = 1) {
        const Outcome outcome = hob(QStringList{"episode"} + more);
        EXPECT_EQ(outcome.status, status) << outcome.shown();
        EXPECT_FALSE(names().contains("x.mp4"));
        return outcome.error;
    };
    EXPECT_TRUE(refusal({"nothing-here", "-o", "x.mp4"}).contains("nothing-here"));
    EXPECT_TRUE(refusal({"episode-07-rings"}, 2).contains("-o OUT.mp4"));
    EXPECT_TRUE(refusal({"episode-07-rings", "-o", "x.gif"}, 2).contains("is no movie"));
    EXPECT_TRUE(refusal({"episode-07-rings", "-o", "x.mp4", "--variations", "0"}, 2).contains("--variations 0"));
    EXPECT_TRUE(refusal({"episode-07-rings", "-o", "x.mp4", "--amount", "2"}, 2).contains("0 to 1"));
    EXPECT_TRUE(refusal({"episode-07-rings", "-o", "x.mp4", "--set", "sped=1"}, 2).contains("speed"));
    EXPECT_TRUE(refusal({"episode-07-rings", "-o", "x.mp4", "--frames", "0:99999"}, 2).contains("goes beyond the end"));
    EXPECT_TRUE(refusal({"episode-07-rings", "--list", "--no-show", "--no-walkthrough", "--no-variations"})
                    .contains("choose at least one part"));
    put("episode-07-rings/stages/2.metal", stage);
    EXPECT_TRUE(refusal({"episode-07-rings", "-o", "x.mp4"}).contains("Stage 2 has no code to show"));
    put("episode-07-rings/stages/2.metal", stage + "float broken( { }\n");
    const QByteArray broken = refusal(QStringList{"episode-07-rings", "-o", "x.mp4"} + small);
    EXPECT_TRUE(broken.contains("stages/2.metal:7:")) << broken.toStdString();
    put("episode-07-rings/source.metal", "// @length 36000\n" + finished + "// @length 36000\n");
    EXPECT_TRUE(refusal({"episode-07-rings", "--list", "--no-walkthrough"}).contains("the most is 3:00:00"));
}
