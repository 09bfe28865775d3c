// The bar over the code that finds and replaces: a plain text, whole words or a regular expression. Every match is
// marked in the code while the bar is open, and the counter says which one is selected ("3 of 17"). Replacing all is
// one step of undo. Escape closes the bar and gives the keyboard back to the code. Main thread; owned by the editor's
// pane. The search itself is TextSearch.
#pragma once

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHobCore/code/TextSearch.h"

#include <QTimer>

namespace glasshob {

class CodeEditor;
class LetterToggle;
class SearchField;

class FindBar : public FilledPane {
    Q_OBJECT
  public:
    FindBar(CodeEditor* editor, QWidget* parent);

    // Opens with the selected text of one line, if there is one, else with what was looked for last.
    void openFind();
    void openReplace();
    void close();

    // Selects the next or the previous match, round the ends of the text; opens the bar where nothing was looked for.
    void step(int direction);
    // A caret at every match.
    void selectAll();
    void replaceOne();
    void replaceAll();

    void setOptions(TextSearch::Options options);
    SearchField* findField() const { return find_; }
    SearchField* replaceField() const { return replace_; }
    std::size_t matchCount();

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void open(bool replaces);
    void patternChanged();
    // Looks again; what is found is marked while the bar is open.
    void search();
    void searchIfNeeded();
    void showCount();
    void select(std::size_t match);
    // The match that is selected, or the number of matches.
    std::size_t selectedMatch() const;
    QString documentText() const;
    TextSearch::Options options() const;

    CodeEditor* editor_;
    SearchField* find_;
    SearchField* replace_;
    LetterToggle *case_, *word_, *expression_;
    ToolButton *previous_, *next_;
    QWidget* replaceRow_;
    TextButton *replaceOne_, *replaceAll_;
    TextLine* trouble_;
    QTimer refresh_; // after an edit
    TextSearch search_;
    std::vector<TextRange> matches_;
    int origin_ = 0; // where typing in the field starts looking
};

} // namespace glasshob
