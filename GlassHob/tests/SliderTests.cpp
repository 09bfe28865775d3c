#include "GlassHob/ui/sliders/ParameterRow.h"
#include "GlassHob/ui/controls/ParameterSlider.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLocale>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

#include <optional>

namespace glasshob {
namespace {

class SliderTest : public ::testing::Test {
  protected:
    SliderTest() {
        slider.setRange(0, 10, 4);
        slider.setValue(4);
        slider.resize(2 * (ParameterSlider::haloRoom + 7) + 200, 28); // 20 px to 1
        slider.show();
    }
    static constexpr int knobAt(double value) { return int(ParameterSlider::haloRoom + 7 + value * 20); }
    void send(QEvent::Type type, int x, Qt::KeyboardModifiers modifiers = {}) {
        QMouseEvent event(type, QPointF(x, 14), slider.mapToGlobal(QPointF(x, 14)),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, modifiers);
        QApplication::sendEvent(&slider, &event);
    }
    void wheel(int delta) {
        QWheelEvent event(QPointF(50, 14), slider.mapToGlobal(QPointF(50, 14)), {}, {0, delta}, Qt::NoButton, {},
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(&slider, &event);
    }
    ParameterSlider slider{nullptr};
};

TEST_F(SliderTest, DraggingTheKnobMovesTheValue) {
    QSignalSpy edited(&slider, &ParameterSlider::valueEdited);
    send(QEvent::MouseButtonPress, knobAt(4) + 2);
    EXPECT_EQ(edited.count(), 0) << "taking the knob changes nothing";
    send(QEvent::MouseMove, knobAt(7) + 2);
    EXPECT_NEAR(slider.value(), 7, 1e-4);
    send(QEvent::MouseMove, knobAt(4.1) + 2);
    EXPECT_EQ(slider.value(), 4.0f) << "snaps to the default within 3 px";
    send(QEvent::MouseMove, knobAt(4.1) + 2, Qt::AltModifier);
    EXPECT_NEAR(slider.value(), 4.1, 1e-4);
    send(QEvent::MouseMove, 900);
    EXPECT_EQ(slider.value(), 10.0f);
    send(QEvent::MouseButtonRelease, 900);
    send(QEvent::MouseMove, knobAt(2));
    EXPECT_EQ(slider.value(), 10.0f) << "the drag is over";
}

TEST_F(SliderTest, EscapeTakesADragBack) {
    slider.setValue(6);
    send(QEvent::MouseButtonPress, knobAt(8));
    send(QEvent::MouseMove, knobAt(2));
    QTest::keyClick(&slider, Qt::Key_Escape);
    EXPECT_EQ(slider.value(), 6.0f);
    send(QEvent::MouseMove, knobAt(9));
    EXPECT_EQ(slider.value(), 6.0f) << "the drag is over";
}

TEST_F(SliderTest, ShiftDragsAtATenthOfTheSpeed) {
    send(QEvent::MouseButtonPress, knobAt(4));
    send(QEvent::MouseMove, knobAt(4) + 40, Qt::ShiftModifier);
    EXPECT_NEAR(slider.value(), 4.2, 1e-4);
}

TEST_F(SliderTest, APressOnTheTrackJumpsThere) {
    send(QEvent::MouseButtonPress, knobAt(8));
    EXPECT_NEAR(slider.value(), 8, 1e-4);
}

TEST_F(SliderTest, TheWheelCountsOnlyWithTheFocus) {
    wheel(120);
    EXPECT_EQ(slider.value(), 4.0f);
    slider.activateWindow();
    slider.setFocus();
    if (!slider.hasFocus()) QTest::qWait(200);
    if (!slider.hasFocus()) GTEST_SKIP() << "the display gives no focus";
    wheel(60);
    EXPECT_EQ(slider.value(), 4.0f) << "half a notch is kept";
    wheel(60);
    EXPECT_NEAR(slider.value(), 4.1, 1e-4);
}

TEST_F(SliderTest, KeysStep) {
    struct Case {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        float expected;
    };
    const Case cases[] = {
        {Qt::Key_Right, {}, 4.1f},  {Qt::Key_Left, {}, 3.9f},     {Qt::Key_Right, Qt::ShiftModifier, 4.01f},
        {Qt::Key_PageUp, {}, 5.0f}, {Qt::Key_PageDown, {}, 3.0f}, {Qt::Key_Home, {}, 0.0f},
        {Qt::Key_End, {}, 10.0f}};
    for (const Case& c : cases) {
        slider.setValue(4);
        QTest::keyClick(&slider, c.key, c.modifiers);
        EXPECT_NEAR(slider.value(), c.expected, 1e-4) << c.key;
    }
    QTest::keyClick(&slider, Qt::Key_Backspace);
    EXPECT_EQ(slider.value(), 4.0f);
    slider.setValue(9);
    QTest::mouseDClick(&slider, Qt::LeftButton, {}, QPoint(knobAt(9), 14));
    EXPECT_EQ(slider.value(), 4.0f);
}

TEST(ValueText, IsShortAndHasAPoint) {
    struct Case {
        float value, min, max;
        const char* text;
    };
    const Case cases[] = {{0.6f, 0, 3, "0.6"},          {0.8765f, 0, 3, "0.877"},      {5, 1, 20, "5"},
                          {6.4999f, 1, 20, "6.5"},      {-0.5f, -1, 1, "-0.5"},        {0.1f + 0.2f, 0, 1, "0.3"},
                          {120.4f, 0, 500, "120.4"},    {12345.6f, 0, 20000, "12346"}, {0.00012f, 0, 0.001f, "0.00012"},
                          {-0.00001f, -1, 1, "-1e-05"}, {1e20f, 0, 2e20f, "1e+20"}};
    for (const QLocale& locale : {QLocale::c(), QLocale(QLocale::German)}) {
        QLocale::setDefault(locale);
        for (const Case& c : cases)
            EXPECT_EQ(valueText(c.value, c.min, c.max).toStdString(), c.text);
    }
    QLocale::setDefault(QLocale::c());
}

TEST(TypedValue, TakesPointAndCommaAndNothingElse) {
    const std::pair<const char*, std::optional<float>> cases[] = {
        {"0.5", 0.5f},         {"0,5", 0.5f},          {" 2 ", 2.0f},          {"1e2", 100.0f},
        {"-3", -3.0f},         {"", std::nullopt},     {"x", std::nullopt},    {"nan", std::nullopt},
        {"inf", std::nullopt}, {"1e99", std::nullopt}, {"1.2.3", std::nullopt}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(typedValue(QString::fromLatin1(text)), value) << text;
}

TEST(ParameterRowTest, TypingCommitsClampedAndEscapeRestores) {
    ParameterRow row({"speed", 0.5f, 0, 2, ""}, nullptr);
    QList<float> values;
    QObject::connect(&row, &ParameterRow::valueEdited, [&](const QString&, float value) { values << value; });
    ValueField* field = row.field();
    auto type = [&](const char* text) {
        field->selectAll();
        QTest::keyClicks(field, QString::fromLatin1(text));
    };
    type("1,25");
    QTest::keyClick(field, Qt::Key_Return);
    type("99");
    QTest::keyClick(field, Qt::Key_Return);
    type("1");
    QTest::keyClick(field, Qt::Key_Escape);
    type("what");
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(values, (QList<float>{1.25f, 2.0f}));
    EXPECT_EQ(field->text(), "2");
    EXPECT_TRUE(row.isChanged());
}

} // namespace
} // namespace glasshob
