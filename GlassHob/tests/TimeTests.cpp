// The clock of the preview as a person sets it: a time typed or scrubbed to, a stretch that is repeated, another speed.
#include "GlassHob/model/PreviewClock.h"
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/picture/TimeBar.h"
#include "GlassHob/ui/picture/TimeField.h"
#include "GlassHob/ui/picture/TimeText.h"
#include "GlassHob/ui/picture/TimeTrack.h"

#include <QAction>

namespace glasshob {
namespace {

constexpr int patience = 60000; // milliseconds before a wait is a failure

TEST(PreviewClockTest, ALoopComesBackToItsStartAsItWasThere) {
    PreviewClock clock;
    clock.setTime(3.5);
    EXPECT_EQ(clock.frame(), 210U);
    clock.setLoop(TimeStretch{4, 2}); // either way round
    EXPECT_EQ(clock.loop(), (TimeStretch{2, 4}));
    clock.tick(100);
    EXPECT_FLOAT_EQ(clock.tick(100.25).time, 3.75F);
    const auto around = clock.tick(101);
    EXPECT_FLOAT_EQ(around.time, 2.5F);
    EXPECT_FLOAT_EQ(around.timeDelta, 0.75F);
    EXPECT_EQ(around.frame, 150U);
    // From elsewhere it goes to the start; a stall of many turns ends inside.
    clock.setTime(1);
    EXPECT_FLOAT_EQ(clock.tick(101.1).time, 2);
    EXPECT_FLOAT_EQ(clock.tick(106.6).time, 3.5);
    clock.setLoop(TimeStretch{5, 5});
    EXPECT_NEAR(clock.loop()->length(), PreviewClock::shortestLoop, 1e-9);
    clock.setLoop(std::nullopt);
    clock.setTime(-1);
    EXPECT_EQ(clock.time(), 0);
    clock.setTime(std::nan(""));
    EXPECT_EQ(clock.time(), 0);
}

TEST(PreviewClockTest, AnotherSpeedChangesTheStepsNotTheMoment) {
    PreviewClock clock;
    clock.tick(10);
    clock.tick(12);
    clock.setSpeed(0.5);
    EXPECT_EQ(clock.time(), 2);
    const auto slow = clock.tick(13);
    EXPECT_FLOAT_EQ(slow.time, 2.5F);
    EXPECT_FLOAT_EQ(slow.timeDelta, 0.5F);
    clock.setSpeed(2);
    EXPECT_FLOAT_EQ(clock.tick(14).time, 4.5F);
    clock.setPaused(true);
    EXPECT_EQ(clock.tick(15).timeDelta, 0);
    EXPECT_EQ(clock.time(), 4.5);
}

TEST(TimeTextTest, ReadsWhatPeopleType) {
    const struct {
        const char* text;
        std::optional<double> seconds;
    } rows[] = {{"12.5", 12.5},     {" 12,5 s", 12.5}, {"1:05", 65}, {"1:02:03.5", 3723.5}, {"0", 0},
                {"", std::nullopt}, {"-1", {}},        {"1:75", {}}, {"1:2:3:4", {}},       {"1.5:3", {}},
                {"soon", {}},       {"nan", {}},       {"1e400", {}}};
    for (const auto& row : rows)
        EXPECT_EQ(typedTime(QString::fromLatin1(row.text)), row.seconds) << row.text;
    EXPECT_EQ(TimeTrack::lengthFor(10), 10);
    EXPECT_EQ(TimeTrack::lengthFor(10.1), 20);
    EXPECT_EQ(TimeTrack::lengthFor(2.5 * 3600), 3 * 3600);
}

class TimeTest : public ShownWindow {
  protected:
    void SetUp() override {
        ShownWindow::SetUp();
        model->setText(shader("", "float4(fract(u.time), 0.5, 0.25, 1.0)"));
        model->compileNow();
        track = window->findChild<TimeTrack*>();
        field = window->findChild<TimeField*>();
        ASSERT_TRUE(track && field);
        ASSERT_TRUE(QTest::qWaitFor([&] { return model->time() > 0.1; }, patience));
    }
    QPoint at(double part) const { return {qRound(6 + part * (track->width() - 12)), track->height() / 2}; }

    TimeTrack* track = nullptr;
    TimeField* field = nullptr;
};

TEST_F(TimeTest, ScrubbingHoldsTheClockAndLetsItGoOn) {
    QTest::mousePress(track, Qt::LeftButton, {}, at(0.5));
    EXPECT_TRUE(model->paused());
    EXPECT_NEAR(model->time(), 5, 0.1);
    QTest::mouseMove(track, at(0.75));
    EXPECT_NEAR(model->time(), 7.5, 0.1);
    const double held = model->time();
    QTest::mouseRelease(track, Qt::LeftButton, {}, at(0.75));
    EXPECT_FALSE(model->paused());
    EXPECT_TRUE(QTest::qWaitFor([&] { return model->time() > held; }, patience));

    // One that stood stands afterwards, and the picture follows.
    model->setPaused(true);
    QTest::mouseClick(track, Qt::LeftButton, {}, at(0.2));
    EXPECT_TRUE(model->paused());
    EXPECT_NEAR(model->time(), 2, 0.1);
}

TEST_F(TimeTest, ATimeIsTypedOrDragged) {
    model->setPaused(true);
    QTest::mouseClick(field, Qt::LeftButton);
    EXPECT_TRUE(field->hasFocus());
    QTest::keyClicks(field, "1:05,5");
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(model->time(), 65.5);
    EXPECT_EQ(track->length(), 120);
    QTest::keyClicks(field, "soon");
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(model->time(), 65.5);
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(field->text(), "65.5 s");

    model->setTime(2);
    const QPoint middle = field->rect().center();
    QTest::mousePress(field, Qt::LeftButton, {}, middle);
    QTest::mouseMove(field, middle + QPoint(40, 0));
    QTest::mouseRelease(field, Qt::LeftButton, {}, middle + QPoint(40, 0));
    EXPECT_NEAR(model->time(), 4, 0.01);
    EXPECT_FALSE(field->hasFocus());
}

TEST_F(TimeTest, AStretchIsLoopedFromTheMenuAndByItsFlags) {
    PictureActions& actions = *window->pictureActions();
    model->setPaused(true);
    model->setTime(2);
    actions.loopFromHere->trigger();
    model->setTime(6);
    actions.loopToHere->trigger();
    EXPECT_EQ(model->loop(), (TimeStretch{2, 6}));
    EXPECT_TRUE(actions.loop->isChecked());
    actions.loop->trigger();
    EXPECT_FALSE(model->loop());
    actions.loop->trigger();
    EXPECT_EQ(model->loop(), (TimeStretch{2, 6})) << "the last one comes back";

    const auto flag = [&](double seconds) { return QPoint(at(seconds / track->length()).x(), 5); };
    QTest::mousePress(track, Qt::LeftButton, {}, flag(6) + QPoint(3, 0));
    QTest::mouseMove(track, flag(9));
    QTest::mouseRelease(track, Qt::LeftButton, {}, flag(9));
    EXPECT_NEAR(model->loop()->end, 9, 0.1);
    EXPECT_EQ(model->loop()->start, 2);
    // The picture stays in it.
    model->setTime(8.9);
    model->setPaused(false);
    EXPECT_TRUE(QTest::qWaitFor([&] { return model->time() < 8; }, patience));
}

} // namespace
} // namespace glasshob
