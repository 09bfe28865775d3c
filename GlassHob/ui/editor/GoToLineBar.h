// The bar over the code that asks for a line: "24" or "24:40". The code follows while one types; Return stays there,
// Escape goes back to where the caret was. Main thread; owned by the editor's pane.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

namespace glasshob {

class CodeEditor;
class SearchField;

class GoToLineBar : public FilledPane {
    Q_OBJECT
  public:
    GoToLineBar(CodeEditor* editor, QWidget* parent);
    void open();
    SearchField* field() const { return field_; }

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void follow();
    void leave(bool goesBack);

    CodeEditor* editor_;
    SearchField* field_;
    int origin_ = 0;
};

} // namespace glasshob
