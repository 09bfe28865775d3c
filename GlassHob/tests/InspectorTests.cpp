// The sliders and presets as they stand in the window: rows, keys, the drop-down, the box over the picture, and what a
// screen reader is told.

#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/sliders/ParameterRow.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/sliders/PresetActions.h"
#include "GlassHob/ui/sliders/PresetColumn.h"
#include "GlassHob/ui/window/SliderBox.h"

#include <QAccessible>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QSplitter>

namespace glasshob {
namespace {

using InspectorTest = ShownWindow;

QString nameOf(QWidget* widget) {
    QAccessibleInterface* view = QAccessible::queryAccessibleInterface(widget);
    return view ? view->text(QAccessible::Name) : QString();
}

TEST_F(InspectorTest, PresetsAreSavedAppliedAndDeletedFromTheirColumn) {
    model->open(file("a.metal", withSliders(2)));
    const PresetColumn* column = window->inspector()->presets();
    PresetActions* actions = window->inspector()->presetActions();
    ASSERT_TRUE(column->isVisible());
    EXPECT_TRUE(column->rows().empty());

    for (const char* name : {"Fast", "Slow"}) {
        model->setValue("speed", name[0] == 'F' ? 3 : 0);
        questions.typed = name;
        actions->saveAction()->trigger();
    }
    ASSERT_EQ(column->rows().size(), 2u);
    PresetRow* fast = column->rows()[0];
    PresetRow* slow = column->rows()[1];
    EXPECT_EQ(fast->name(), "Fast");
    EXPECT_EQ(slow->accessibleDescription(), "applied");
    EXPECT_TRUE(slow->deleteButton()->isVisible());
    EXPECT_FALSE(fast->deleteButton()->isVisible());

    QTest::mouseClick(fast, Qt::LeftButton);
    EXPECT_EQ(model->values().at("speed"), 3.0f);
    EXPECT_EQ(window->inspector()->row("speed")->slider()->value(), 3.0f);
    EXPECT_EQ(fast->accessibleDescription(), "applied");
    EXPECT_EQ(slow->accessibleDescription(), "");
    model->setValue("speed", 1);
    EXPECT_EQ(fast->accessibleDescription(), "") << "its values are no longer those of the sliders";

    fast->setFocus(Qt::TabFocusReason);
    QTest::keyClick(fast, Qt::Key_Down);
    EXPECT_EQ(column->currentRow(), slow);
    QTest::keyClick(slow, Qt::Key_Return);
    EXPECT_EQ(model->values().at("speed"), 0.0f);
    QTest::keyClick(slow, Qt::Key_Delete);
    EXPECT_EQ(model->presets().names(), QStringList{"Fast"});
    ASSERT_EQ(column->rows().size(), 2u) << "its place offers the way back";
    EXPECT_TRUE(column->rows()[1]->isDeleted());
    QTest::keyClick(column->rows()[1], Qt::Key_Return);
    EXPECT_EQ(model->presets().names(), (QStringList{"Fast", "Slow"}));
    EXPECT_FALSE(column->rows()[1]->isDeleted());
}

TEST_F(InspectorTest, ADeletedPresetCanComeBackForAWhile) {
    model->open(file("a.metal", withSliders(1)));
    const QString other = file("b.metal", withSliders(1));
    auto delay = std::make_unique<ManualDelay>();
    ManualDelay* undoEnds = delay.get();
    PresetActions actions(*model, nullptr, std::move(delay));
    for (const char* name : {"a", "b", "c"})
        model->presets().save(name, model->values());
    auto shown = [&] {
        QStringList names;
        for (const auto& row : actions.rows())
            names << (row.isDeleted ? row.name + "?" : row.name);
        return names;
    };
    actions.deleteForNow("b");
    EXPECT_EQ(shown(), (QStringList{"a", "b?", "c"}));
    EXPECT_EQ(undoEnds->seconds_, 6);
    undoEnds->elapse();
    EXPECT_EQ(shown(), (QStringList{"a", "c"}));
    actions.undoDelete();
    EXPECT_EQ(shown(), (QStringList{"a", "c"})) << "too late";

    actions.deleteForNow("a");
    actions.deleteForNow("c");
    EXPECT_EQ(shown(), QStringList{"c?"}) << "only the last one";
    model->presets().save("c", {{"speed", 2.0f}});
    EXPECT_EQ(shown(), QStringList{"c"});
    actions.undoDelete();
    EXPECT_EQ(model->presets().values("c")->at("speed"), 2.0f) << "a newer one of that name stays";

    actions.deleteForNow("c");
    model->open(other);
    EXPECT_TRUE(shown().isEmpty());
    actions.undoDelete();
    EXPECT_TRUE(model->presets().names().isEmpty()) << "not into another document";

    QMenu menu;
    actions.fill(menu);
    EXPECT_EQ(menu.actions().first()->text(), "No Presets Yet");
    menu.clear();
    model->presets().save("Salt & Fire", model->values());
    actions.fill(menu);
    EXPECT_EQ(menu.actions().first()->text(), "Salt && Fire");
    EXPECT_TRUE(menu.actions().first()->isChecked());
}

TEST_F(InspectorTest, ManySlidersScrollAndKeepTheirRowsOverACompile) {
    model->open(file("a.metal", withSliders(40)));
    Inspector* inspector = window->inspector();
    ParameterRow* last = inspector->row("value39");
    ASSERT_NE(last, nullptr);
    EXPECT_TRUE(last->visibleRegion().isEmpty());
    inspector->focusParameter("value39");
    EXPECT_FALSE(last->visibleRegion().isEmpty());
    EXPECT_TRUE(last->slider()->hasFocus());
    // The keyboard goes down the list in its order, and the list goes with it.
    inspector->focusParameter("speed");
    for (int i = 1; i <= 10; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(QApplication::focusWidget(),
                  inspector->row(i == 1 ? "speed" : "value" + QString::number(i - 1))->field());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(QApplication::focusWidget(), inspector->row("value" + QString::number(i))->slider());
    }
    EXPECT_FALSE(inspector->row("value10")->visibleRegion().isEmpty());

    ParameterRow* kept = inspector->row("value7");
    QTest::keyClick(kept->slider(), Qt::Key_End);
    model->textChanged(withSliders(9));
    delay_->elapse();
    EXPECT_EQ(inspector->row("value7"), kept);
    EXPECT_EQ(kept->slider()->value(), 1.0f);
    EXPECT_EQ(inspector->row("value39"), nullptr);
}

TEST_F(InspectorTest, LongTextsAreCutAndToldWhole) {
    const std::string name(90, 'n'), detail(400, 'd');
    model->open(file("a.metal", shader("// @param " + name + " 1 0 2 <b>" + detail)));
    for (const QSize size : {QSize(1440, 900), QSize(720, 480)}) {
        resize(size.width(), size.height());
        const ParameterRow* row = window->inspector()->row(QString::fromStdString(name));
        ASSERT_NE(row, nullptr);
        EXPECT_TRUE(row->toolTip().contains(QString::fromStdString(name)));
        EXPECT_TRUE(row->toolTip().contains("&lt;b&gt;" + QString::fromStdString(detail)));
        EXPECT_TRUE(row->toolTip().contains("0 to 2"));
        EXPECT_LE(row->field()->geometry().right(), row->width());
    }
}

TEST_F(InspectorTest, TheValueFieldStepsAndRefusesNonsense) {
    model->open(file("a.metal", withSliders(1)));
    ValueField* field = window->inspector()->row("speed")->field();
    field->setFocus();
    QTest::keyClick(field, Qt::Key_Up);
    EXPECT_NEAR(model->values().at("speed"), 0.63, 1e-5);
    QTest::keyClick(field, Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_NEAR(model->values().at("speed"), 0.627, 1e-5);
    field->selectAll();
    QTest::keyClicks(field, "1,5");
    QTest::keyClick(field, Qt::Key_Up);
    EXPECT_NEAR(model->values().at("speed"), 1.53, 1e-5) << "what was typed counts first";
    auto edge = [&] { return field->grab().toImage().pixelColor(field->width() / 2, 0); };
    field->selectAll();
    QTest::keyClicks(field, "1.");
    EXPECT_EQ(edge(), themed(Role::accentText));
    QTest::keyClicks(field, "2x");
    EXPECT_EQ(edge(), themed(Role::error));
    window->editor()->setFocus();
    EXPECT_EQ(field->text(), "1.53");
    EXPECT_NEAR(model->values().at("speed"), 1.53, 1e-5);
}

TEST_F(InspectorTest, TheSmallestWindowCutsNothingOff) {
    model->open(file("a.metal", withSliders(4)));
    model->presets().save("A preset with a name that is much longer than the button that shows it", model->values());
    model->setValue("speed", 2);
    for (const QSize size : {QSize(720, 480), QSize(1000, 640), QSize(1100, 720), QSize(1440, 900)}) {
        resize(size.width(), size.height());
        ASSERT_EQ(window->size(), size);
        QApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest); // of texts that a timer has just changed
        const bool column = size.width() == 1440;
        EXPECT_EQ(window->inspector()->presets()->isVisible(), column) << size.width();
        EXPECT_EQ(window->findChild<PresetPicker*>()->isVisible(), !column) << size.width();
        for (QWidget* widget : window->findChildren<QWidget*>()) {
            const bool paintsText = qobject_cast<TextLine*>(widget) || qobject_cast<QAbstractButton*>(widget);
            if (!paintsText || !widget->isVisible()) continue;
            EXPECT_GE(widget->width(), widget->minimumSizeHint().width())
                << size.width() << ": " << nameOf(widget).toStdString();
            // Rows further down the list are not cut off but scrolled away.
            if (window->inspector()->isAncestorOf(widget)) continue;
            const QRect inWindow(widget->mapTo(window.get(), QPoint(0, 0)), widget->size());
            EXPECT_TRUE(window->rect().contains(inWindow)) << size.width() << ": " << nameOf(widget).toStdString();
        }
    }
}

TEST_F(InspectorTest, WithoutTheEditorTheSlidersLieOverThePicture) {
    model->open(file("a.metal", withSliders(3)));
    InspectorHost* place = window->sliders();
    auto* down = qobject_cast<QSplitter*>(place->parentWidget());
    ASSERT_NE(down, nullptr);
    const QList<int> sizes = down->sizes();
    model->setShowsEditor(false);
    QApplication::processEvents();
    ASSERT_NE(place->box(), nullptr);
    EXPECT_TRUE(place->box()->isVisible());
    EXPECT_FALSE(place->isVisible());
    auto picture = [&] { return QRect(window->canvas()->mapTo(window.get(), QPoint(0, 0)), window->canvas()->size()); };
    EXPECT_EQ(picture().width(), window->width());
    EXPECT_EQ(picture().bottomRight() - place->box()->geometry().bottomRight(), QPoint(16, 16));
    EXPECT_FALSE(window->inspector()->row("value2")->visibleRegion().isEmpty());

    // Dragged by its heading towards another corner.
    QWidget* heading = window->inspector()->heading();
    const QPoint grip(20, 20);
    QTest::mousePress(heading, Qt::LeftButton, {}, grip);
    const QPoint to = window->mapToGlobal(picture().topLeft() + QPoint(120, 80));
    QMouseEvent move(QEvent::MouseMove, heading->mapFromGlobal(to), to, Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(heading, &move);
    EXPECT_EQ(place->box()->mapFromGlobal(to) - grip, QPoint(1, 1)) << "it is where the pointer holds it";
    QTest::mouseRelease(heading, Qt::LeftButton, {}, grip);
    EXPECT_EQ(place->box()->geometry().topLeft(), picture().topLeft() + QPoint(16, 16));

    // An error lies over the picture, which keeps its size, and the box makes room.
    const QRect before = picture();
    model->textChanged("nonsense");
    delay_->elapse();
    QApplication::processEvents();
    EXPECT_EQ(picture(), before);
    EXPECT_EQ(place->box()->geometry().topLeft(), picture().topLeft() + QPoint(16, 16 + 32));

    model->setShowsEditor(true);
    QApplication::processEvents();
    EXPECT_EQ(place->box(), nullptr);
    EXPECT_TRUE(window->inspector()->isVisible());
    EXPECT_EQ(down->sizes(), sizes);
    EXPECT_TRUE(window->editor()->hasFocus());

    // The cross hides it, as the menu does; a slider that is asked for comes back. The window goes with its box.
    model->setShowsEditor(false);
    emit window->inspector()->closeRequested();
    EXPECT_FALSE(place->box()->isVisible());
    emit window->editor()->parameterPicked("value1");
    EXPECT_TRUE(place->box()->isVisible());
    EXPECT_TRUE(window->inspector()->row("value1")->slider()->hasFocus());
}

TEST_F(InspectorTest, EverythingThatTakesTheKeyboardHasAName) {
    model->open(file("a.metal", withSliders(3)));
    model->presets().save("P", model->values());
    model->setValue("speed", 1);
    model->textChanged("nonsense");
    delay_->elapse();
    int seen = 0;
    for (QWidget* widget : window->findChildren<QWidget*>()) {
        if (widget->focusPolicy() == Qt::NoFocus && !qobject_cast<QAbstractButton*>(widget)) continue;
        if (widget->objectName().startsWith("qt_")) continue; // parts of the stock widgets
        ++seen;
        EXPECT_FALSE(nameOf(widget).isEmpty()) << widget->metaObject()->className();
    }
    EXPECT_GT(seen, 25);

    // What is painted is told as well.
    const ParameterSlider* slider = window->inspector()->row("speed")->slider();
    QAccessibleInterface* view = QAccessible::queryAccessibleInterface(const_cast<ParameterSlider*>(slider));
    EXPECT_EQ(view->role(), QAccessible::Slider);
    EXPECT_EQ(view->text(QAccessible::Name), "speed");
    EXPECT_EQ(view->text(QAccessible::Description), "How fast");
    EXPECT_EQ(view->text(QAccessible::Value), "1, from 0 to 3, changed from 0.6");
    ASSERT_NE(view->valueInterface(), nullptr);
    view->valueInterface()->setCurrentValue(2.5);
    EXPECT_EQ(model->values().at("speed"), 2.5f);
    QAccessibleInterface* messages = QAccessible::queryAccessibleInterface(window->messages()->rows());
    ASSERT_GE(messages->childCount(), 1);
    EXPECT_EQ(messages->text(QAccessible::Name), "Compiler messages");
    EXPECT_TRUE(messages->child(0)->text(QAccessible::Name).startsWith("Error, line 1, column "))
        << messages->child(0)->text(QAccessible::Name).toStdString();
}

TEST_F(InspectorTest, F6GoesRoundThePanes) {
    model->open(file("a.metal", withSliders(3)));
    model->presets().save("P", model->values());
    model->textChanged("nonsense");
    delay_->elapse();
    window->editor()->setFocus();
    auto pane = [&]() -> std::string {
        const QWidget* focused = QApplication::focusWidget();
        if (!focused) return "none";
        if (focused == window->editor()) return "editor";
        if (focused == window->messages()->rows()) return "messages";
        if (window->inspector()->presets()->isAncestorOf(focused)) return "presets";
        if (window->inspector()->isAncestorOf(focused)) return "sliders";
        return focused->accessibleName().toStdString();
    };
    std::vector<std::string> round;
    for (int i = 0; i < 5; ++i) {
        QTest::keyClick(window.get(), Qt::Key_F6);
        round.push_back(pane());
    }
    EXPECT_EQ(round, (std::vector<std::string>{"messages", "sliders", "presets", "Show editor", "editor"}));
    QTest::keyClick(window.get(), Qt::Key_F6, Qt::ShiftModifier);
    EXPECT_EQ(pane(), "Show editor");
}

TEST_F(InspectorTest, TabGoesThroughTheWindowAsItIsRead) {
    model->open(file("a.metal", withSliders(2)));
    for (const char* name : {"A", "B"})
        model->presets().save(name, model->values());
    model->setValue("value1", 1);
    model->reportSlowFrame(5);
    model->textChanged("nonsense");
    delay_->elapse();
    QApplication::processEvents();
    QStringList names;
    for (QWidget* next = window->nextInFocusChain(); next != window.get(); next = next->nextInFocusChain())
        if ((next->focusPolicy() & Qt::TabFocus) && next->isVisible() && next->isEnabled()) names << nameOf(next);
    // Only one row of the presets takes the keyboard; the arrow keys go on from it.
    const QStringList expected = {"Close this message",
                                  "Shader source",
                                  "Copy messages",
                                  "Collapse the messages",
                                  "Compiler messages",
                                  "Go to Line 1",
                                  "Loop",
                                  "Time line",
                                  "Speed, 1×",
                                  "Reset all sliders",
                                  "speed",
                                  "speed, value",
                                  "value1",
                                  "value1, value",
                                  "Reset value1 to 0.5",
                                  "Save these settings as a preset",
                                  "Preset A"};
    const QStringList rest = names.mid(names.indexOf("Close this message"));
    EXPECT_EQ(rest.join(u'\n').toStdString(), expected.join(u'\n').toStdString());
    EXPECT_LT(names.indexOf("Show editor"), names.indexOf("Close this message"));
}

} // namespace
} // namespace glasshob
