// Loops that go on for so long that the CPU driver ends them: hob says so, and is silent about pictures that are right.
#include "HobProcess.h"

#include <QImage>

namespace {

// A pixel is white where the loops have had all their turns.
const QByteArray counting = R"(float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    const int n = int(u.time);
    const int x = int(uv.x * u.resolution.x);
    int turns = 0, wanted = 0;
    float value = uv.y;
@
    return float4(turns == wanted && value >= 0.0 && x >= 0 ? 1.0 : 0.0);
}
)";

QByteArray counted(const QByteArray& loops) {
    return QByteArray(counting).replace("@", loops);
}

bool isWhite(const QByteArray& png) {
    QImage image;
    if (!image.loadFromData(png, "PNG")) return false;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if ((image.pixel(x, y) & 0xffffff) != 0xffffff) return false;
    return true;
}

} // namespace

TEST_F(HobTest, APictureWithLoopsCutShortIsToldAbout) {
    const QByteArray step = " { value = value * 0.999 + 0.0001; turns += 1; }\n";
    const QByteArray one = "wanted = n + x;\n for (int i = 0; i < n + x; ++i)" + step;
    const QByteArray endless = "wanted = n;\n while (true) { if (turns >= n) break; turns += 1; }\n";
    const QByteArray tested = "wanted = n;\n do" + step + "while (turns < n);\n";
    const QByteArray nested = "wanted = 300 * n;\n for (int i = 0; i < n; ++i) for (int j = 0; j < 300; ++j)" + step;
    // Neighbours take one branch each, and none has too many turns of its own.
    const QByteArray apart = "wanted = n;\n if (x % 2 == 0) for (int i = 0; i < n; ++i)" + step +
                             "else for (int i = 0; i < n; ++i) { value = value * 0.99 + 0.01; turns += 1; }\n";
    const QByteArray twice = "wanted = 2 * n;\n for (int k = 0; k < 2; ++k) for (int i = 0; i < n; ++i)" + step;
    const struct {
        QByteArray loops;
        int few, many; // turns
    } cases[] = {{one, 65000, 65530}, {one, 1, 200000},      {endless, 65000, 66000}, {tested, 65000, 66000},
                 {nested, 215, 219},  {apart, 32000, 33000}, {twice, 32000, 33000}};
    bool isEverCut = false;
    for (const auto& [loops, few, many] : cases) {
        put("a.metal", counted(loops));
        for (const int turns : {few, many}) {
            const Outcome outcome =
                hob({"still", "a.metal", "--force", "-o", "a.png", "--size", "16x4", "--time", QString::number(turns)});
            ASSERT_EQ(outcome.status, 0) << outcome.shown();
            const bool isRight = isWhite(get("a.png"));
            EXPECT_EQ(outcome.error.isEmpty(), isRight) << loops.toStdString() << turns << "\n" << outcome.shown();
            EXPECT_TRUE(isRight || turns == many) << loops.toStdString() << turns;
            isEverCut = isEverCut || !isRight;
            if (!isRight) EXPECT_TRUE(outcome.error.contains("a.metal says: its loops")) << outcome.shown();
        }
    }
    if (!isEverCut) GTEST_SKIP() << "The driver of this machine cuts no loops.";

    // A movie too, and functions beside shade().
    put("a.metal", "// @grid 2\nstruct Vertex { float4 position [[position]]; };\n"
                   "Vertex corner(float2 at, constant Uniforms& u, constant Params& p) "
                   "{ return {float4(at * 2.0 - 1.0, 0.5, 1.0)}; }\n"
                   "float4 shade(Vertex v, constant Uniforms& u, constant Params& p) {\n"
                   "    float t = 0.0; while (t < u.time * 1e6) t += 1.0;\n    return float4(t * 1e-6); }\n");
    const Outcome movie = hob(
        {"export", "a.metal", "-o", "a.mp4", "--size", "32x32", "--fps", "30", "--start", "1", "--duration", "0.1"});
    EXPECT_EQ(movie.status, 0) << movie.shown();
    EXPECT_TRUE(movie.error.contains("cut them short")) << movie.shown();
}
