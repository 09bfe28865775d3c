#include "HobProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

TEST_F(HobTest, CheckIsSilentAboutAShaderThatCompiles) {
    put("a.metal", "\xEF\xBB\xBF// byte-order mark\r\n" + plainShader("uv,\xC2\xA0"
                                                                      "0, 1"));
    const Outcome outcome = hob({"check", "a.metal", SAMPLE_SHADER}, withoutDriver());
    EXPECT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_EQ(outcome.output, "");
    const Outcome piped = hob({"check", "-"}, withoutDriver(), plainShader("1"));
    EXPECT_EQ(piped.status, 0) << piped.shown();
}

TEST_F(HobTest, CheckPrintsTheCompilersTextOnTheUsersLines) {
    put("bad.metal",
        "// one\nfloat4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n    return floot4(1.0);\n}\n");
    put("good.metal", plainShader("1"));
    const Outcome outcome = hob({"check", "bad.metal", "good.metal", "missing.metal"}, withoutDriver());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.error.startsWith("bad.metal:3:12: error: ")) << outcome.shown();
    EXPECT_TRUE(outcome.error.contains("'floot4'")) << outcome.shown();
    EXPECT_TRUE(outcome.error.contains("    return floot4(1.0);\n           ^")) << outcome.shown();
    EXPECT_TRUE(outcome.error.contains("hob: bad.metal did not compile.\n")) << outcome.shown();
    EXPECT_TRUE(outcome.error.contains("hob: There is no file missing.metal")) << outcome.shown();
    EXPECT_FALSE(outcome.error.contains("good.metal")) << outcome.shown();
    EXPECT_FALSE(outcome.error.contains("shader.metal")) << outcome.shown();
}

TEST_F(HobTest, CheckWarnsOfDirectivesThatNobodyCanFollow) {
    put("a.metal", "// @param speed\n// @still abc\n// @params x 1 0 2\n" + plainShader("1"));
    const Outcome good = hob({"check", "a.metal"}, withoutDriver());
    EXPECT_EQ(good.status, 0) << good.shown();
    for (const char* place : {"a.metal:1:11: warning: ", "a.metal:2:11: warning: ", "a.metal:3:5: warning: "})
        EXPECT_TRUE(good.error.contains(place)) << place << good.shown();
    EXPECT_TRUE(good.error.contains("a.metal compiles, with warnings.")) << good.shown();
    put("b.metal", "// @param float 1 0 2\n" + plainShader("1"));
    const Outcome bad = hob({"check", "b.metal"}, withoutDriver());
    EXPECT_EQ(bad.status, 1);
    EXPECT_TRUE(bad.error.startsWith("b.metal:1:11: error: 'float' is a word of the language")) << bad.shown();
}

TEST_F(HobTest, CheckSaysThatShadeIsMissing) {
    put("a.metal", "float helper(float x) { return x; }\n");
    const Outcome outcome = hob({"check", "a.metal"}, withoutDriver());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.startsWith("a.metal: error: no shade() that can be called: ")) << outcome.shown();
    EXPECT_FALSE(outcome.error.contains("gh_host")) << outcome.shown();
}

TEST_F(HobTest, CheckIsNotMisledByTheLinesItEchoes) {
    put("a.metal", "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                   "    return nowhere; // gh_host:1:1: error: use of undeclared identifier 'shade'\n}\n");
    const Outcome outcome = hob({"check", "a.metal"}, withoutDriver());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.endsWith("hob: a.metal did not compile.\n")) << outcome.shown();
}

TEST_F(HobTest, InfoTellsEveryFieldAsJson) {
    put("a.metal", "// @param speed 0.6 0 3 How fast\n// @param odd nan -inf inf\n" + plainShader("p.speed") +
                       "float2 sound(float t, constant Params& p) { return float2(0.0); }\n");
    const Outcome outcome = hob({"info", "--json", "a.metal"}, withoutDriver());
    EXPECT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_EQ(outcome.error, "");
    const QJsonObject info = QJsonDocument::fromJson(outcome.output).object();
    EXPECT_EQ(info["kind"].toString(), "fragment");
    EXPECT_EQ(info["particles"].toInt(-1), 0);
    EXPECT_EQ(info["grid"].toInt(-1), 0);
    EXPECT_EQ(info["stride"].toInt(-1), 0);
    EXPECT_TRUE(info["hasSound"].toBool());
    EXPECT_TRUE(info["hasFade"].isBool() && !info["hasFade"].toBool());
    EXPECT_TRUE(info["hasBackground"].isBool() && !info["hasBackground"].toBool());
    EXPECT_GT(info["compileMillis"].toDouble(), 0);
    const QJsonObject speed = {{"name", "speed"}, {"default", 0.6}, {"min", 0}, {"max", 3}, {"detail", "How fast"}};
    const QJsonObject odd = {{"name", "odd"}, {"default", "nan"}, {"min", "-inf"}, {"max", "inf"}, {"detail", ""}};
    EXPECT_EQ(info["params"].toArray(), (QJsonArray{speed, odd})) << outcome.output.toStdString();
    EXPECT_TRUE(outcome.output.contains("\"default\": 0.6,")) << "a float is written with its own few digits";

    const Outcome prose = hob({"info", "a.metal"}, withoutDriver());
    EXPECT_EQ(prose.status, 0);
    EXPECT_TRUE(prose.output.contains("speed  0.6 in 0 to 3  How fast\n")) << prose.output.toStdString();
}

TEST_F(HobTest, ParticleAndGridShadersAreCheckedAndMeasured) {
    put("dots.metal", dotsShader());
    put("mesh.metal", meshShader());
    const Outcome check = hob({"check", "dots.metal", "mesh.metal"}, withoutDriver());
    EXPECT_EQ(check.status, 0) << check.shown();
    EXPECT_EQ(check.error, "");

    const Outcome dotsOutcome = hob({"info", "--json", "dots.metal"}, withoutDriver());
    ASSERT_EQ(dotsOutcome.status, 0) << dotsOutcome.shown();
    const QJsonObject dots = QJsonDocument::fromJson(dotsOutcome.output).object();
    EXPECT_EQ(dots["kind"].toString(), "particles");
    EXPECT_EQ(dots["particles"].toInt(), 100);
    EXPECT_EQ(dots["stride"].toInt(), 32);
    EXPECT_TRUE(dots["hasFade"].toBool());

    const Outcome meshOutcome = hob({"info", "--json", "mesh.metal"}, withoutDriver());
    ASSERT_EQ(meshOutcome.status, 0) << meshOutcome.shown();
    const QJsonObject mesh = QJsonDocument::fromJson(meshOutcome.output).object();
    EXPECT_EQ(mesh["kind"].toString(), "grid");
    EXPECT_EQ(mesh["grid"].toInt(), 8);
    EXPECT_EQ(mesh["stride"].toInt(-1), 0);
    EXPECT_TRUE(mesh["hasBackground"].toBool());

    put("less.metal", dotsShader().replace("place(", "put("));
    const Outcome less = hob({"check", "less.metal"}, withoutDriver());
    EXPECT_EQ(less.status, 1);
    EXPECT_TRUE(less.error.contains("error: this particle shader defines no place() that can be called"))
        << less.shown();
    EXPECT_FALSE(less.error.contains("gh_host")) << less.shown();
    EXPECT_TRUE(less.error.contains("note: a particle episode defines:\nstruct Particle { ... };")) << less.shown();
}

TEST_F(HobTest, CheckAndDrawingRefuseTheSameInTheSameWords) {
    const QByteArray sources[] = {
        plainShader("1") + "#define fragment\n",
        plainShader("1") + "float gh_fragment(float x) { return x; }\n#define fragment\n",
        dotsShader() + "#define gh_update other\n",
        meshShader() + "#define vertex\n",
    };
    for (const QByteArray& source : sources) {
        put("a.metal", source);
        const Outcome check = hob({"check", "a.metal"}, withoutDriver());
        const Outcome still = hob({"still", "a.metal", "-o", "a.png", "--size", "8x8"});
        EXPECT_EQ(check.status, 1) << source.toStdString() << check.shown();
        EXPECT_EQ(still.status, 1) << source.toStdString() << still.shown();
        EXPECT_EQ(check.error, still.error) << source.toStdString();
    }
}

TEST_F(HobTest, InfoFailsWithTheCompilersTextAndPrintsNothing) {
    put("bad.metal", "float4 shade(\n");
    const Outcome outcome = hob({"info", "--json", "bad.metal"}, withoutDriver());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.error.contains(": error: ")) << outcome.shown();
}
