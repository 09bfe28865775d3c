// Every window on a screen of 683 x 384, which is 1366 x 768 at scale 2: it lies on the screen, nothing in it is cut or
// crushed, nothing lies on its neighbour, and what scrolls follows the keyboard. With GLASSHOB_PICTURES set to a
// folder, the screen is kept there for each of them, in both themes.

#include "GlassHob/tests/EveryWindow.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/export/ExportActions.h"
#include "GlassHob/ui/export/ExportForm.h"
#include "GlassHob/ui/export/ExportWindow.h"
#include "GlassHob/ui/export/PresetCards.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QFocusFrame>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScreen>
#include <QScrollArea>
#include <QTest>

#include <sstream>

namespace glasshob {
namespace {

// What a window manager puts round a window, at most.
constexpr int frameSide = 2, frameTop = 34;

std::string nameOf(const QWidget* widget) {
    std::string name = widget->metaObject()->className();
    const auto* line = qobject_cast<const TextLine*>(widget);
    const auto* button = qobject_cast<const QAbstractButton*>(widget);
    const QString text = line ? line->text() : button ? button->text() : QString();
    return name + " \"" + (text.isEmpty() ? widget->accessibleName() : text).toStdString() + '"';
}

bool scrolls(const QWidget* widget) {
    const auto* area = qobject_cast<const QAbstractScrollArea*>(widget->parentWidget());
    return area && area->viewport() == widget;
}

// Where a part is to be seen, in the window.
QRect placeOf(const QWidget* part) {
    return {part->mapTo(part->window(), QPoint(0, 0)), part->size()};
}

class SmallScreen : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { Theme::instance().install(); }

    // A text or a control: what nothing else may hide.
    static bool isContent(const QWidget* widget) {
        return qobject_cast<const TextLine*>(widget) || qobject_cast<const QAbstractButton*>(widget) ||
               qobject_cast<const QLineEdit*>(widget) || qobject_cast<const QLabel*>(widget);
    }

    // What is wrong with what is up, one sentence a line.
    static std::string problemsOf(const QWidget* window) {
        std::ostringstream problems;
        const QRect screen = window->screen()->availableGeometry();
        const bool isFramed = !window->isFullScreen() && !qobject_cast<const QMenu*>(window);
        const QSize room = isFramed ? screen.size() - QSize(2 * frameSide, frameTop + frameSide) : screen.size();
        if (window->width() > room.width() || window->height() > room.height() || !screen.contains(window->geometry()))
            problems << "It lies at " << window->x() << ", " << window->y() << ", " << window->width() << " x "
                     << window->height() << ".\n";
        if (qobject_cast<const QFileDialog*>(window)) return problems.str(); // what is inside is the toolkit's
        for (const QWidget* part : window->findChildren<QWidget*>()) {
            if (!part->isVisible() || part->window() != window || !isContent(part)) continue;
            const auto* line = qobject_cast<const TextLine*>(part);
            const auto* label = qobject_cast<const QLabel*>(part);
            const QFontMetrics font(part->font());
            if ((line && (part->width() < line->minimumSizeHint().width() ||
                          part->height() < font.capHeight() + font.descent())) ||
                (label && label->wordWrap() && label->height() < label->heightForWidth(label->width())))
                problems << nameOf(part) << " is crushed to " << part->width() << " x " << part->height() << ".\n";
            // Inside of all that it lies in, up to what scrolls.
            const QRect place = placeOf(part);
            for (const QWidget* around = part->parentWidget(); !scrolls(around); around = around->parentWidget()) {
                if (!placeOf(around).contains(place)) {
                    problems << nameOf(part) << " is cut by " << nameOf(around) << ".\n";
                    break;
                }
                if (around->isWindow()) break;
            }
            for (const QWidget* other : part->parentWidget()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
                if (other != part && other->isVisible() && isContent(other) && place.intersects(placeOf(other)))
                    problems << nameOf(part) << " lies on " << nameOf(other) << ".\n";
        }
        return problems.str();
    }

    static void expectFits(const QString& name, QWidget* window) {
        // What moves into its place is waited for.
        (void)QTest::qWaitFor([&] { return problemsOf(window).empty(); }, 5000);
        EXPECT_EQ(problemsOf(window), "") << name.toStdString();
    }

    void look(void (EveryWindow::*part)(const EveryWindow::Visitor&)) {
        const QString pictures = qEnvironmentVariable("GLASSHOB_PICTURES");
        if (pictures.isEmpty()) {
            EveryWindow every(Canvas::Kind::readBack);
            (every.*part)(expectFits);
            return;
        }
        for (const auto appearance : {Theme::Appearance::dark, Theme::Appearance::light}) {
            EveryWindow every(Canvas::Kind::automatic);
            Theme::instance().setAppearance(appearance);
            (every.*part)([&](const QString& name, QWidget* window) {
                QTest::qWait(500); // for who looks at it, fades have ended and the picture moves
                const bool isDark = appearance == Theme::Appearance::dark;
                const QString path = QStringLiteral("%1/%2-%3.png").arg(pictures, name, isDark ? "dark" : "light");
                EXPECT_TRUE(window->screen()->grabWindow(0).save(path)) << path.toStdString();
                expectFits(name, window);
            });
        }
    }
};

TEST_F(SmallScreen, TheMainWindow) {
    look(&EveryWindow::visitMainWindow);
}
TEST_F(SmallScreen, FullScreen) {
    look(&EveryWindow::visitFullScreen);
}
TEST_F(SmallScreen, Exports) {
    look(&EveryWindow::visitExports);
}
TEST_F(SmallScreen, Variations) {
    look(&EveryWindow::visitVariations);
}
TEST_F(SmallScreen, Walkthrough) {
    look(&EveryWindow::visitWalkthrough);
}
TEST_F(SmallScreen, Episodes) {
    look(&EveryWindow::visitEpisodes);
}
TEST_F(SmallScreen, Share) {
    look(&EveryWindow::visitShare);
}
TEST_F(SmallScreen, Account) {
    look(&EveryWindow::visitAccount);
}
TEST_F(SmallScreen, Help) {
    look(&EveryWindow::visitHelp);
}
TEST_F(SmallScreen, Questions) {
    look(&EveryWindow::visitQuestions);
}
TEST_F(SmallScreen, Menus) {
    look(&EveryWindow::visitMenus);
}

TEST_F(SmallScreen, AWindowOfALargerScreenComesBackInsideOfThisOne) {
    QWidget larger;
    larger.setGeometry(120, 90, 1000, 700);
    EveryWindow every(Canvas::Kind::readBack, larger.saveGeometry());
    expectFits(QStringLiteral("main"), &every.window());
}

// Round the form in both directions, with the bounds of what scrolls reached by Tab alone.
TEST_F(SmallScreen, TheFormScrollsToWhatHasTheKeyboard) {
    EveryWindow every(Canvas::Kind::readBack);
    every.window().exportActions()->exportVideo->trigger();
    ExportWindow* shown = every.window().exportActions()->window();
    shown->activateWindow();
    ASSERT_TRUE(comesTrue([&] { return QApplication::activeWindow() == shown; }));
    const auto* area = shown->form()->findChild<QScrollArea*>();
    ASSERT_GT(area->widget()->height(), area->viewport()->height()) << "the form need not scroll";
    for (const Qt::KeyboardModifiers back : {Qt::NoModifier, Qt::ShiftModifier}) {
        int inside = 0;
        for (int i = 0; i < 20; ++i) {
            QTest::keyClick(shown->focusWidget(), Qt::Key_Tab, back);
            const QWidget* focus = shown->focusWidget();
            if (!area->widget()->isAncestorOf(focus)) continue;
            ++inside;
            const QRect place(focus->mapTo(area->viewport(), QPoint(0, 0)), focus->size());
            EXPECT_TRUE(area->viewport()->rect().contains(place)) << nameOf(focus) << " at " << place.top();
        }
        EXPECT_GT(inside, 10);
    }
    // Arrows move from card to card.
    const auto cards = shown->form()->presets()->cards();
    cards.front()->setFocus(Qt::TabFocusReason);
    for (std::size_t i = 1; i < cards.size(); ++i) {
        QTest::keyClick(shown->focusWidget(), Qt::Key_Down);
        const QWidget* focus = shown->focusWidget();
        EXPECT_EQ(focus, cards[i]);
        EXPECT_TRUE(
            area->viewport()->rect().contains(QRect(focus->mapTo(area->viewport(), QPoint(0, 0)), focus->size())));
    }
}

} // namespace
} // namespace glasshob
