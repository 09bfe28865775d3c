// The window for choosing variations over the whole main window: by pointer and keys, what it writes into the text, and
// what it does while the document changes under it.

#include "GlassHob/ui/variations/VariationsWindow.h"

#include "GlassHob/model/BesideWork.h"
#include "GlassHob/model/VariationPicker.h"
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/controls/ValueField.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/variations/LineField.h"
#include "GlassHob/ui/variations/VariationActions.h"
#include "GlassHob/ui/variations/VariationGrid.h"
#include "GlassHob/ui/variations/VariationStrip.h"

#include <QAccessible>
#include <QAction>
#include <QProxyStyle>
#include <QScrollBar>

namespace glasshob {
namespace {

using List = std::vector<std::int64_t>;

const std::string head = "// @episode 7 Rings\n// @variation 20\n";
const std::string body =
    shader("// @param warm 0.5 0.0 1.0\n// @param bend 0.5 0.0 1.0", "float4(p.warm, p.bend, 0, 1)");

class VariationsWindowTest : public ShownWindow {
  protected:
    void TearDown() override {
        if (shown) shown->reject();
        window.reset();
        EXPECT_TRUE(comesTrue([] { return !besideWorkGoesOn(); }));
        ShownWindow::TearDown();
    }
    void open(const std::string& text, const QString& name = "rings.metal") {
        model->open(file(name, text));
        window->variationActions()->choose->trigger();
        shown = window->variationActions()->window();
        ASSERT_TRUE(shown);
        ASSERT_TRUE(comesTrue([&] { return QApplication::activeWindow() == shown; }));
    }
    const List& chosen() const { return shown->picker().chosen().list(); }
    void key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(shown->focusWidget(), Qt::Key(key), modifiers);
    }
    void keys(std::initializer_list<int> all) {
        for (const int each : all)
            key(each);
    }
    static void click(TileArea* area, int tile) {
        QTest::mouseClick(area->viewport(), Qt::LeftButton, {}, area->tileRect(tile).center());
    }
    static void drag(TileArea* area, int tile, const QPoint& by) {
        const QPoint from = area->tileRect(tile).center();
        QTest::mousePress(area->viewport(), Qt::LeftButton, {}, from);
        for (const QPoint& to : {from + by / 2, from + by}) {
            QMouseEvent move(QEvent::MouseMove, to, area->viewport()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                             {});
            QApplication::sendEvent(area->viewport(), &move);
        }
        QTest::mouseRelease(area->viewport(), Qt::LeftButton, {}, from + by);
    }
    std::string text() const { return window->editor()->fileText(); }

    QPointer<VariationsWindow> shown;
};

TEST_F(VariationsWindowTest, WhatIsChosenIsWrittenAsOneStep) {
    struct Case {
        const char* name;
        std::string before;
        List chosen;
        std::string after;
        const char* outcome;
    };
    const auto withPairs = [](std::string text) {
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
            text.replace(at, 1, "\r\n");
        return text;
    };
    const Case cases[] = {
        {"a new one",
         head + body,
         {3, 1},
         head + "// @variations 3, 1\n" + body,
         "Return adds a line under @variation. Undo takes it back."},
        {"another one",
         head + "  // @variations 2, 99999999999 \n" + body,
         {99999999999, 4},
         head + "  // @variations 99999999999, 4 \n" + body,
         "Return writes line 3 of the shader. Undo takes it back."},
        {"none",
         head + "// @variations 2\n" + body,
         {},
         head + body,
         "Return takes line 3 out of the shader. Undo brings it back."},
        {"none of several",
         head + "// @variations 2\n" + body + "// @variations 3",
         {},
         head + body.substr(0, body.size() - 1),
         "Return takes lines 3 and 9 out of the shader. Undo brings them back."},
        {"pairs at the ends of lines",
         withPairs(head + body),
         {5},
         withPairs(head + "// @variations 5\n" + body),
         "Return adds a line under @variation. Undo takes it back."},
        {"ends of several kinds",
         body + "// \xE2\x80\xA8 A\r\n// @episode 2 B\r\n// C",
         {5},
         body + "// \xE2\x80\xA8 A\r\n// @episode 2 B\r\n// @variations 5\n// C",
         "Return adds a line under @episode. Undo takes it back."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        open(c.before);
        shown->picker().setChosen(ChosenVariations(c.chosen));
        EXPECT_EQ(shown->outcome()->text(), c.outcome);
        key(Qt::Key_Return);
        EXPECT_TRUE(comesTrue([&] { return !shown; })) << "it closes";
        EXPECT_EQ(text(), c.after);
        EXPECT_EQ(EpisodeMeta::parse(model->currentText()).variations, c.chosen);
        window->editor()->undo();
        EXPECT_EQ(text(), c.before);
        EXPECT_FALSE(window->editor()->document()->isUndoAvailable()) << "one step";
        window->editor()->redo();
        EXPECT_EQ(text(), c.after);
        model->save();
    }
}

TEST_F(VariationsWindowTest, KeysChooseAndPutIntoOrder) {
    open(head + body);
    EXPECT_EQ(shown->focusWidget(), shown->grid());
    keys({Qt::Key_Space, Qt::Key_Right, Qt::Key_Space, Qt::Key_Down, Qt::Key_Space, Qt::Key_Right, Qt::Key_Space});
    const int across = shown->grid()->columns();
    EXPECT_EQ(chosen(), (List{1, 2, 2 + across, 3 + across}));
    EXPECT_EQ(shown->count()->text(), "4 of 24 chosen");
    key(Qt::Key_Left, Qt::ControlModifier);
    key(Qt::Key_Left, Qt::ControlModifier);
    EXPECT_EQ(chosen(), (List{1, 3 + across, 2, 2 + across}));
    key(Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(chosen(), (List{1, 2, 3 + across, 2 + across}));
    key(Qt::Key_1);
    keys({Qt::Key_Home, Qt::Key_Delete, Qt::Key_Delete, Qt::Key_Right, Qt::Key_9});
    EXPECT_EQ(chosen(), (List{3 + across, 2 + across, 2}));
    EXPECT_EQ(shown->line()->line(), QString("// @variations %1, %2, 2").arg(3 + across).arg(2 + across));

    // In the strip the same keys are about the order.
    shown->strip()->setFocus(Qt::TabFocusReason);
    key(Qt::Key_End);
    key(Qt::Key_Left, Qt::ControlModifier);
    EXPECT_EQ(chosen(), (List{3 + across, 2, 2 + across}));
    EXPECT_EQ(shown->strip()->current(), 1) << "the keyboard goes with it";
    keys({Qt::Key_3, Qt::Key_Home, Qt::Key_Delete});
    EXPECT_EQ(chosen(), (List{2 + across, 2}));
    keys({Qt::Key_Space, Qt::Key_Space, Qt::Key_Space});
    EXPECT_EQ(chosen(), List{});

    // Nothing is written by Escape.
    key(Qt::Key_Escape);
    EXPECT_TRUE(comesTrue([&] { return !shown; }));
    EXPECT_EQ(text(), head + body);
}

TEST_F(VariationsWindowTest, ThePointerChoosesAndDrags) {
    open(head + "// @variations 99999999999\n" + body);
    VariationStrip* strip = shown->strip();
    for (const int tile : {4, 0, 2, 0})
        click(shown->grid(), tile);
    EXPECT_EQ(chosen(), (List{99999999999, 5, 3}));
    click(shown->grid(), 6);
    drag(strip, 3, {-220, 3}); // over two and a bit
    EXPECT_EQ(chosen(), (List{99999999999, 7, 5, 3}));
    drag(strip, 0, {900, 0});
    EXPECT_EQ(chosen(), (List{7, 5, 3, 99999999999}));
    drag(strip, 1, {2, 0});
    EXPECT_EQ(chosen(), (List{7, 5, 3, 99999999999})) << "a click";
    EXPECT_EQ(shown->grid()->current(), 4) << "shows the tile";
    // A drag that is given up.
    const QPoint from = strip->tileRect(0).center();
    QTest::mousePress(strip->viewport(), Qt::LeftButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, from + QPoint(200, 0), strip->viewport()->mapToGlobal(from), Qt::NoButton,
                     Qt::LeftButton, {});
    QApplication::sendEvent(strip->viewport(), &move);
    EXPECT_NE(strip->tileRect(1).left(), from.x());
    QTest::keyClick(strip, Qt::Key_Escape);
    QTest::mouseRelease(strip->viewport(), Qt::LeftButton, {}, from + QPoint(200, 0));
    EXPECT_EQ(chosen(), (List{7, 5, 3, 99999999999}));
    ASSERT_TRUE(shown) << "Escape was the drag's";
    // The cross is the way back for one that has no tile.
    QTest::mouseClick(strip->viewport(), Qt::LeftButton, {}, strip->crossRect(3).center());
    EXPECT_EQ(chosen(), (List{7, 5, 3}));
    // Pressed on one tile and let go on another: neither.
    QTest::mousePress(shown->grid()->viewport(), Qt::LeftButton, {}, shown->grid()->tileRect(0).center());
    QTest::mouseRelease(shown->grid()->viewport(), Qt::LeftButton, {}, shown->grid()->tileRect(1).center());
    EXPECT_EQ(chosen(), (List{7, 5, 3}));
}

TEST_F(VariationsWindowTest, TheEndMakesMore) {
    open(head + body);
    EXPECT_EQ(shown->grid()->tileCount(), 24);
    QScrollBar* bar = shown->grid()->verticalScrollBar();
    bar->setValue(bar->maximum() - 1);
    EXPECT_EQ(shown->grid()->tileCount(), 24);
    bar->setValue(bar->maximum());
    EXPECT_EQ(shown->grid()->tileCount(), 48);
    key(Qt::Key_End);
    EXPECT_EQ(shown->grid()->current(), 47);
    EXPECT_EQ(shown->grid()->tileCount(), 72);
    const QRect box = shown->grid()->tileRect(47);
    EXPECT_TRUE(shown->grid()->viewport()->rect().contains(box));
    key(Qt::Key_Space);
    EXPECT_EQ(shown->count()->text(), "1 of 72 chosen");
    key(Qt::Key_Home);
    EXPECT_EQ(bar->value(), 0);
    keys({Qt::Key_PageDown, Qt::Key_PageUp});
    EXPECT_EQ(shown->grid()->current(), 0);
    // What is seen is drawn, wherever it is.
    bar->setValue(bar->maximum() / 2);
    ASSERT_TRUE(comesTrue([&] {
        for (const std::int64_t index : shown->grid()->indicesSeen())
            if (shown->picker().still(index).isNull()) return false;
        return true;
    }));
    // A window with room for more than there is has something to scroll all the same.
    shown->resize(3000, 2000);
    QApplication::processEvents();
    EXPECT_GT(bar->maximum(), 0);
}

TEST_F(VariationsWindowTest, TheAmountIsTheDocuments) {
    open(head + body);
    ValueField* field = shown->amountField();
    EXPECT_EQ(field->text(), "60 %");
    EXPECT_FALSE(shown->amount()->isChanged());
    field->setFocus();
    for (const auto& [typed, amount] :
         {std::pair("25", 0.25F), {"80 %", 0.8F}, {"7,4%", 0.07F}, {"x", 0.07F}, {"900", 1.0F}, {"-3", 0.0F}}) {
        field->selectAll();
        QTest::keyClicks(field, typed);
        QTest::keyClick(field, Qt::Key_Return);
        EXPECT_EQ(model->episodeAmount().value(), amount) << typed;
        EXPECT_EQ(field->text(), QString("%1 %").arg(qRound(amount * 100)));
        EXPECT_EQ(shown->amount()->value(), qRound(amount * 100));
    }
    ASSERT_TRUE(shown) << "Return in the field writes no line";
    shown->amount()->setFocus(Qt::TabFocusReason);
    keys({Qt::Key_Right, Qt::Key_Right, Qt::Key_PageUp});
    key(Qt::Key_Right, Qt::ShiftModifier); // less than a percent
    EXPECT_EQ(model->episodeAmount().value(), 0.12F);
    QAccessibleInterface* view = QAccessible::queryAccessibleInterface(shown->amount());
    EXPECT_EQ(view->text(QAccessible::Name), "Amount");
    EXPECT_EQ(view->text(QAccessible::Value), "12 percent");
    // What is typed is taken back first.
    field->setFocus();
    QTest::keyClicks(field, "3");
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(field->text(), "12 %");
    ASSERT_TRUE(shown);
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_TRUE(comesTrue([&] { return !shown; }));
    open(head + body);
    EXPECT_EQ(shown->amount()->value(), 12);
}

TEST_F(VariationsWindowTest, TheDocumentChangesUnderIt) {
    open(head + body);
    EXPECT_EQ(shown->windowTitle(), "Variations of Rings");
    click(shown->grid(), 0);
    QTextCursor cursor(window->editor()->document());
    cursor.insertText("// @variations 9\n");
    EXPECT_EQ(shown->outcome()->text(), "Return writes line 1 of the shader. Undo takes it back.");
    EXPECT_EQ(chosen(), List{1});
    const std::string edited = text();
    model->save();

    // Another document is asked for nothing and given nothing.
    const std::string other = "// @episode 8 Other\n// @variations 4\n" + body;
    model->open(file("other.metal", other));
    EXPECT_EQ(shown->windowTitle(), "Variations of Other");
    EXPECT_EQ(chosen(), List{4});
    EXPECT_EQ(shown->outcome()->text(), "Line 2 of the shader says so already.");
    EXPECT_FALSE(shown->writeButton()->isEnabled());
    key(Qt::Key_Return);
    ASSERT_TRUE(shown);
    EXPECT_EQ(text(), other);
    click(shown->grid(), 0);
    model->open(folder.filePath("rings.metal"));
    EXPECT_EQ(chosen(), List{1});
    key(Qt::Key_Return);
    EXPECT_EQ(EpisodeMeta::parse(text()).variations, List{1});
    EXPECT_EQ(AppModelTest::contents(folder.filePath("other.metal")), other);
    EXPECT_TRUE(comesTrue([&] { return !shown; }));

    open(other);
    model->open(file("none.metal", head + shader("// @param volume 1 0 2")));
    EXPECT_EQ(shown->message()->text(), "This shader has no sliders to vary.");
    EXPECT_TRUE(shown->message()->isVisible());
    EXPECT_FALSE(shown->grid()->isVisible());
    EXPECT_FALSE(shown->writeButton()->isEnabled());
    EXPECT_TRUE(shown->focusWidget()->isVisible()) << "a key is heard all the same";
    model->open(file("plain.metal", body));
    EXPECT_FALSE(window->variationActions()->choose->isEnabled());
    EXPECT_TRUE(shown->message()->text().startsWith("This shader is no episode."));
    EXPECT_EQ(shown->windowTitle(), "Variations");
    key(Qt::Key_Escape);
    EXPECT_TRUE(comesTrue([&] { return !shown; }));
}

TEST_F(VariationsWindowTest, ATextThatDoesNotCompileIsTold) {
    open(head + body);
    const auto troubleIsShown = [&] {
        for (const TextLine* line : shown->findChildren<TextLine*>())
            if (line->text().startsWith("The shader does not compile") && line->isVisible()) return true;
        return false;
    };
    EXPECT_FALSE(troubleIsShown());
    model->textChanged(head + body + "nonsense");
    delay_->elapse();
    EXPECT_TRUE(troubleIsShown());
    EXPECT_TRUE(shown->grid()->isVisible());
    click(shown->grid(), 0);
    EXPECT_TRUE(shown->writeButton()->isEnabled()) << "the line is a comment";
    model->textChanged(head + body);
    delay_->elapse();
    EXPECT_FALSE(troubleIsShown());
}

// A desktop that asks for no animation.
class StillStyle : public QProxyStyle {
  public:
    StillStyle() : QProxyStyle("fusion") {}
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override {
        return hint == SH_Widget_Animation_Duration ? 0 : QProxyStyle::styleHint(hint, option, widget, data);
    }
};

TEST_F(VariationsWindowTest, TheTileUnderThePointerOrWithTheKeyboardRuns) {
    open(head + body);
    VariationGrid* grid = shown->grid();
    const auto pointAt = [&](const QPoint& place) {
        QHoverEvent hover(QEvent::HoverMove, place, grid->viewport()->mapToGlobal(place), QPointF());
        QApplication::sendEvent(grid->viewport(), &hover);
    };
    pointAt({1, 1});
    EXPECT_EQ(grid->running(), std::nullopt) << "nobody has pressed a key";
    key(Qt::Key_Right);
    EXPECT_EQ(grid->running(), 2);
    pointAt(grid->tileRect(5).center());
    EXPECT_EQ(grid->running(), 6);
    pointAt({1, 1});
    EXPECT_EQ(grid->running(), 2);
    shown->strip()->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(grid->running(), std::nullopt);
    const auto style = std::make_unique<StillStyle>();
    grid->setStyle(style.get());
    pointAt(grid->tileRect(5).center());
    EXPECT_EQ(grid->running(), std::nullopt);
    EXPECT_EQ(grid->hovered(), 5);
    shown->reject();
    ASSERT_TRUE(comesTrue([&] { return !shown; }));
}

TEST_F(VariationsWindowTest, ScreenReadersHearWhatIsSeen) {
    open(head + "// @variations 3, 99999999999\n" + body);
    QAccessibleInterface* tiles = QAccessible::queryAccessibleInterface(shown->grid());
    ASSERT_EQ(tiles->childCount(), 24);
    QAccessibleInterface* third = tiles->child(2);
    EXPECT_EQ(third->text(QAccessible::Name), "Variation 3");
    EXPECT_EQ(third->text(QAccessible::Description).toStdString(), shown->picker().variation(3).highlights);
    EXPECT_EQ(third->text(QAccessible::Value), "chosen as 1");
    EXPECT_TRUE(third->state().selected);
    EXPECT_EQ(tiles->child(0)->text(QAccessible::Value), "not chosen");
    tiles->child(0)->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_EQ(chosen(), (List{3, 99999999999, 1}));
    QAccessibleInterface* strip = QAccessible::queryAccessibleInterface(shown->strip());
    EXPECT_EQ(strip->text(QAccessible::Name), "In the episode");
    ASSERT_EQ(strip->childCount(), 3);
    EXPECT_EQ(strip->child(0)->text(QAccessible::Name).toStdString(),
              shown->picker().variation(3).highlights + ", 1 of 3");
    QAccessibleInterface* line = QAccessible::queryAccessibleInterface(shown->line());
    EXPECT_EQ(line->text(QAccessible::Name), "Line to be written");
    EXPECT_EQ(line->text(QAccessible::Description), "// @variations 3, 99999999999, 1");

    // Tab comes to everything that can be used, and round again.
    QSet<QWidget*> reached;
    for (int i = 0; i < 12; ++i) {
        key(Qt::Key_Tab);
        reached.insert(shown->focusWidget());
    }
    for (QWidget* part : {static_cast<QWidget*>(shown->amount()), static_cast<QWidget*>(shown->amountField()),
                          static_cast<QWidget*>(shown->grid()), static_cast<QWidget*>(shown->strip()),
                          static_cast<QWidget*>(shown->writeButton())})
        EXPECT_TRUE(reached.contains(part)) << part->accessibleName().toStdString();
    EXPECT_EQ(reached.size(), 6) << "and Cancel, and nothing else";
}

} // namespace
} // namespace glasshob
