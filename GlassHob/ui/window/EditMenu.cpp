#include "GlassHob/ui/window/EditMenu.h"

#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/CodePointer.h"
#include "GlassHob/ui/editor/FindBar.h"
#include "GlassHob/ui/editor/GoToLineBar.h"
#include "GlassHob/ui/editor/LineCommands.h"
#include "GlassHob/ui/window/Panes.h"

#include <QAction>
#include <QMenu>

namespace glasshob {

EditMenu::EditMenu(EditorPane* pane, QWidget* window) : QObject(window), pane_(pane), window_(window) {
    find_ = add(tr("&Find…"), tr("Ctrl+F"), &EditMenu::find);
    replace_ = add(tr("R&eplace…"), tr("Ctrl+H"), &EditMenu::replace);
    findNext_ = add(tr("Find &Next"), tr("F3"), &EditMenu::findNext);
    findPrevious_ = add(tr("Find Pre&vious"), tr("Shift+F3"), &EditMenu::findPrevious);
    goToLine_ = add(tr("&Go to Line…"), tr("Ctrl+G"), &EditMenu::goToLine);
    complete_ = add(tr("C&omplete"), tr("Ctrl+Space"), &EditMenu::complete);
    comment_ = add(tr("Co&mment Selection"), tr("Ctrl+/"), &EditMenu::comment);
    fixProblem_ = add(tr("Fi&x Problem"), tr("Alt+Return"), &EditMenu::fixProblem);
    goToDefinition_ = add(tr("Go to &Definition"), tr("F12"), &EditMenu::goToDefinition);
    pickColour_ = add(tr("Pic&k Colour…"), tr("Ctrl+Alt+C"), &EditMenu::pickColour);
    nextOccurrence_ = add(tr("&Select Next Occurrence"), tr("Ctrl+D"), &EditMenu::selectNextOccurrence);
    allOccurrences_ = add(tr("Se&lect All Occurrences"), tr("Ctrl+Shift+L"), &EditMenu::selectAllOccurrences);
    writeValues_ = add(tr("&Write Slider Values into the Code"), {}, &EditMenu::writeSliderValues);
    moveUp_ = add(tr("Move Line &Up"), tr("Alt+Up"), &EditMenu::moveUp);
    moveDown_ = add(tr("Move Line D&own"), tr("Alt+Down"), &EditMenu::moveDown);
    duplicate_ = add(tr("&Duplicate Line"), tr("Ctrl+Shift+D"), &EditMenu::duplicate);
    deleteLines_ = add(tr("De&lete Line"), tr("Ctrl+Shift+K"), &EditMenu::deleteLines);
    // What edits the code has its key only there.
    for (QAction* action : {complete_, comment_, fixProblem_, goToDefinition_, pickColour_, nextOccurrence_,
                            allOccurrences_, moveUp_, moveDown_, duplicate_, deleteLines_}) {
        window_->removeAction(action);
        pane_->editor()->addAction(action);
        action->setShortcutContext(Qt::WidgetShortcut);
    }
}

QAction* EditMenu::add(const QString& text, const QString& keys, void (EditMenu::*run)()) {
    auto* action = new QAction(text, this);
    action->setShortcut(QKeySequence(keys));
    connect(action, &QAction::triggered, this, run);
    window_->addAction(action);
    return action;
}

void EditMenu::fill(QMenu* menu) {
    menu->addActions({find_, replace_, findNext_, findPrevious_, goToLine_});
    menu->addSeparator();
    menu->addActions({nextOccurrence_, allOccurrences_});
    menu->addSeparator();
    menu->addActions({complete_, fixProblem_, goToDefinition_, pickColour_, comment_});
    QMenu* lines = menu->addMenu(tr("L&ines"));
    lines->addActions({moveUp_, moveDown_, duplicate_, deleteLines_});
}

void EditMenu::find() {
    emit paneNeeded();
    pane_->findBar()->openFind();
}

void EditMenu::replace() {
    emit paneNeeded();
    pane_->findBar()->openReplace();
}

void EditMenu::findNext() {
    emit paneNeeded();
    pane_->findBar()->step(1);
}

void EditMenu::findPrevious() {
    emit paneNeeded();
    pane_->findBar()->step(-1);
}

void EditMenu::goToLine() {
    emit paneNeeded();
    pane_->goToLineBar()->open();
}

void EditMenu::complete() {
    pane_->editor()->assistant()->complete();
}

void EditMenu::comment() {
    pane_->editor()->toggleComment();
}

void EditMenu::fixProblem() {
    pane_->editor()->fixAtCaret();
}

void EditMenu::goToDefinition() {
    pane_->editor()->pointer()->goToDefinition();
}

void EditMenu::pickColour() {
    pane_->editor()->pointer()->pickColour();
}

void EditMenu::writeSliderValues() {
    emit paneNeeded();
    pane_->writeSliderValues();
}

void EditMenu::selectNextOccurrence() {
    pane_->editor()->moreCarets().addNextOccurrence();
}

void EditMenu::selectAllOccurrences() {
    pane_->editor()->moreCarets().addAllOccurrences();
}

void EditMenu::moveUp() {
    QTextCursor cursor = pane_->editor()->textCursor();
    if (lineCommands::moveLines(cursor, -1)) pane_->editor()->setTextCursor(cursor);
}

void EditMenu::moveDown() {
    QTextCursor cursor = pane_->editor()->textCursor();
    if (lineCommands::moveLines(cursor, 1)) pane_->editor()->setTextCursor(cursor);
}

void EditMenu::duplicate() {
    QTextCursor cursor = pane_->editor()->textCursor();
    lineCommands::duplicateLines(cursor);
    pane_->editor()->setTextCursor(cursor);
}

void EditMenu::deleteLines() {
    QTextCursor cursor = pane_->editor()->textCursor();
    lineCommands::deleteLines(cursor);
    pane_->editor()->setTextCursor(cursor);
}

} // namespace glasshob
