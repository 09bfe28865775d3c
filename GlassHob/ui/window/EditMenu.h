// The editor's own commands as actions with their keys: finding and replacing, going to a line or a definition, completing,
// commenting, mending what is marked, picking a colour, selecting occurrences, and moving, duplicating and deleting
// lines. Fills its part of the Edit menu. Commands that show something in the editor's pane ask for it first. Main
// thread; owned by the window.
#pragma once

#include <QObject>

class QAction;
class QMenu;

namespace glasshob {

class EditorPane;

class EditMenu : public QObject {
    Q_OBJECT
  public:
    // The actions belong to `window`, so that their keys work everywhere in it.
    EditMenu(EditorPane* pane, QWidget* window);
    void fill(QMenu* menu);
    // Makes the sliders' values the defaults in the code; of another menu.
    QAction* writeValues() const { return writeValues_; }

  signals:
    // The pane is about to be used: show it where it is hidden.
    void paneNeeded();

  private:
    QAction* add(const QString& text, const QString& keys, void (EditMenu::*run)());
    void find();
    void replace();
    void findNext();
    void findPrevious();
    void goToLine();
    void complete();
    void comment();
    void fixProblem();
    void goToDefinition();
    void pickColour();
    void writeSliderValues();
    void selectNextOccurrence();
    void selectAllOccurrences();
    void moveUp();
    void moveDown();
    void duplicate();
    void deleteLines();

    EditorPane* pane_;
    QWidget* window_;
    QAction *find_, *replace_, *findNext_, *findPrevious_, *goToLine_, *complete_, *comment_;
    QAction *fixProblem_, *goToDefinition_, *pickColour_, *writeValues_;
    QAction *nextOccurrence_, *allOccurrences_;
    QAction *moveUp_, *moveDown_, *duplicate_, *deleteLines_;
};

} // namespace glasshob
