// Help > Handbook: the contents at the left, a page at the right, and a field that searches all pages.
// Main thread; one window for the program, kept while it is closed.
#pragma once

#include "GlassHobCore/code/Handbook.h"

#include <QWidget>

#include <vector>

class QListWidget;

namespace glasshob {

class HandbookView;
class SearchField;
class ToolButton;

class HandbookWindow : public QWidget {
    Q_OBJECT
  public:
    // A window of its own, over `parent` in the order of windows.
    explicit HandbookWindow(QWidget* parent);

    // Shows the window at the place that explains the word, else with the word searched for. Empty, or a word that
    // stands nowhere: as it was left.
    void open(const QString& word);

    HandbookView* view() const { return view_; }
    SearchField* field() const { return field_; }
    QListWidget* list() const { return list_; }

  signals:
    void examplePicked(const glasshob::handbook::Example& example);

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void go(const handbook::Place& place);
    void back();
    void fillList();
    void showRow(int row);
    void markRow();

    SearchField* field_;
    QListWidget* list_;
    HandbookView* view_;
    ToolButton* back_;
    std::vector<handbook::Place> rows_; // what the list's rows lead to
    std::vector<handbook::Place> history_;
};

} // namespace glasshob
