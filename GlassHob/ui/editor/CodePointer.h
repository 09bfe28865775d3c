// What the pointer does in the code beside placing the caret: a double click takes a whole number, Ctrl over a number
// drags its value, Ctrl over a name goes to where it is declared, a click on a colour's swatch opens the picker. Each
// drag is one step of undo. Owned by its editor; main thread.
#pragma once

#include "GlassHobCore/code/CodeNumbers.h"

#include <QObject>
#include <QPoint>
#include <QTextCursor>

#include <optional>

namespace glasshob {

class CodeEditor;
class ColourPicker;

class CodePointer : public QObject {
    Q_OBJECT
  public:
    explicit CodePointer(CodeEditor* editor);

    // To where the name at the caret is declared; false where that is nowhere in the text.
    bool goToDefinition();
    // Opens the picker for the colour at the caret; false where there is none.
    bool pickColour();
    ColourPicker* picker() const { return picker_; }

  signals:
    // A value is being dragged: worth a look before the drag ends.
    void valueDragged();

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    struct Drag {
        QTextCursor text; // the number with its minus
        CodeNumber number;
        QPoint from;
        int steps = 0;
        bool hasChanged = false;
    };
    bool press(const QPoint& place, bool isControl);
    void dragTo(const QPoint& place, bool isCoarse);
    bool selectNumber(const QPoint& place);
    bool goToDefinition(const QTextCursor& place);
    void openPicker(int blockNumber, std::size_t colour);
    void takeColour(const std::vector<double>& values);
    void showWhatControlDoes(const QPoint& place, bool isControl);
    std::optional<CodeNumber> draggableAt(const QPoint& place) const;

    CodeEditor* editor_;
    ColourPicker* picker_;
    std::optional<Drag> drag_;
    QTextCursor colour_; // the stretch that the picker is open for
    bool colourHasChanged_ = false;
    QPoint place_;
};

} // namespace glasshob
