// The two upper panes of the window: the editor with its strip and its message list, and the preview with its strip,
// which turns into the error banner while a compile has failed. Main thread; owned by the window.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

namespace glasshob {

class AppModel;
class Canvas;
class CodeEditor;
class FindBar;
class GoToLineBar;
class MessageList;
class PictureActions;
class TimeBar;

class EditorPane : public QWidget {
    Q_OBJECT
  public:
    EditorPane(AppModel& model, QWidget* parent);
    CodeEditor* editor() const { return editor_; }
    MessageList* messages() const { return messages_; }
    FindBar* findBar() const { return findBar_; }
    GoToLineBar* goToLineBar() const { return goToLineBar_; }
    // Makes the values of the sliders their defaults in the code.
    void writeSliderValues();

  private:
    void followDocument();
    void followCompile();
    void showKind();
    void showMessages();

    class EditedDot;
    AppModel& model_;
    TextLine* name_;
    QWidget* dot_;
    Chip* kind_;
    Chip* sound_;
    CodeEditor* editor_;
    FindBar* findBar_;
    GoToLineBar* goToLineBar_;
    MessageList* messages_;
};

class PreviewPane : public QWidget {
    Q_OBJECT
  public:
    PreviewPane(AppModel& model, Canvas* canvas, const PictureActions& actions, QWidget* parent);
    // The picture alone. An error then shows its strip over the picture's top edge: the picture keeps its size.
    void setBare(bool bare);

  signals:
    // So much of the picture's top edge is covered.
    void coveredHeightChanged(int height);
    void goToRequested(std::int64_t line, std::int64_t column);

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void follow();
    void goToError();
    void placeStrip();

    class Strip;
    AppModel& model_;
    Canvas* canvas_;
    const PictureActions& actions_;
    Strip* strip_;
    TimeBar* timeBar_;
    Strip* over_ = nullptr; // over the picture, while it is bare
    bool bare_ = false;
    int covered_ = 0;
    std::int64_t firstErrorLine_ = 0, firstErrorColumn_ = 0;
};

} // namespace glasshob
