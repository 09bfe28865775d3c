// The list of completions at the caret: names with the letters that were typed in bold, what they are at the left,
// their types at the right, and under the list the signature and the note of the chosen one. It never takes the
// keyboard: the editor hands it the keys that move the choice. Main thread; owned by the editor's pane.
#pragma once

#include "GlassHob/ui/editor/EditorBox.h"
#include "GlassHobCore/code/CodeCompletion.h"

#include <QListView>

#include <vector>

namespace glasshob {

class CompletionPopup : public EditorBox {
    Q_OBJECT
  public:
    explicit CompletionPopup(QAbstractScrollArea* editor);

    // Shows the items below `word` (in the editor's viewport), or above it; the first one is chosen.
    void showFor(std::vector<Completion> items, const QRect& word);
    void moveTo(const QRect& word);
    const std::vector<Completion>& items() const { return items_; }
    // Where there is no room below, it lies over what stands above the word.
    bool isAbove() const { return isAbove_; }
    int current() const;
    // Goes round the ends by single steps only.
    void step(int rows);

  signals:
    void picked(int item);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    class Model;
    class Rows;
    class Delegate;
    void layOut();
    void followTheme();
    QString declarationOf(int item) const;

    std::vector<Completion> items_;
    Model* model_;
    QListView* rows_;
    QRect word_; // in the pane
    int footerHeight_ = 0;
    bool isAbove_ = false;
    bool isFilling_ = false; // laid out once at the end
};

} // namespace glasshob
