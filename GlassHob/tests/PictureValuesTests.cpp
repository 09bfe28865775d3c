// A program is drawn with the values that belong to it, also while the next one is warmed up.

#include "GPU/CommandBuffer.h"
#include "GPU/Texture.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHob/ui/picture/LivePicture.h"

#include <QColor>

namespace glasshob {
namespace {

class PictureValuesTest : public AppModelTest {
  protected:
    // One frame of what the picture shows now.
    QColor frame(LivePicture& picture) {
        const auto texture = model->device()->makeTexture({.width = 8,
                                                           .height = 8,
                                                           .storage = gpu::StorageMode::shared,
                                                           .usage = {.shaderRead = false, .renderTarget = true}});
        const auto commands = picture.beginFrame();
        EXPECT_TRUE(picture.encode(*commands, *texture));
        commands->commit();
        commands->waitUntilCompleted();
        const auto* bgra = reinterpret_cast<const std::uint8_t*>((*texture)->contents());
        return QColor(bgra[2], bgra[1], bgra[0]);
    }
};

TEST_F(PictureValuesTest, TheOldProgramKeepsItsValuesUntilTheNewOneIsThere) {
    model->open(file("a.metal", shader("// @param v 0.2 0 1", "float4(p.v, 0.0, 0.0, 1.0)")));
    LivePicture picture(*model, nullptr);
    EXPECT_EQ(frame(picture), QColor(51, 0, 0));
    model->setValue("v", 0.4f);
    EXPECT_EQ(frame(picture), QColor(102, 0, 0));

    bool isSwitched = false;
    QObject::connect(&picture, &LivePicture::programSwitched, [&] { isSwitched = true; });
    model->textChanged(shader("// @param v 0.8 0 1", "float4(0.0, p.v, 0.0, 1.0)"));
    delay_->elapse();
    ASSERT_EQ(model->values().at("v"), 0.8f);
    if (!isSwitched) EXPECT_EQ(frame(picture), QColor(102, 0, 0)) << "its warming is told by an event";
    ASSERT_TRUE(comesTrue([&] { return isSwitched; }));
    EXPECT_EQ(frame(picture), QColor(0, 204, 0));
    EXPECT_EQ(model->state(), AppModel::State::live);

    // Until another document's picture is there, it is told whose is seen.
    isSwitched = false;
    model->open(file("c.metal", shader("", "float4(0.0, 0.0, 1.0, 1.0)")));
    if (!isSwitched) {
        EXPECT_EQ(model->state(), AppModel::State::preparing);
        EXPECT_EQ(model->shownOwnerText(), "Showing a's last good picture");
    }
    ASSERT_TRUE(comesTrue([&] { return isSwitched; }));
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_EQ(model->shownOwnerText(), "");
    model->open(file("a.metal", shader("// @param v 0.8 0 1", "float4(0.0, p.v, 0.0, 1.0)")));
    ASSERT_TRUE(comesTrue([&] { return frame(picture) == QColor(0, 204, 0); }));

    // Another document that does not compile: the picture goes on with the values of its own document.
    model->open(file("b.metal", "// @param v 0.1 0 1\nnonsense"));
    EXPECT_EQ(frame(picture), QColor(0, 204, 0));
}

} // namespace
} // namespace glasshob
