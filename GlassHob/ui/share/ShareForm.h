// What is told of a shader before it is shared, and how far the sharing is: the fields, under them what will be sent,
// in whose place come the progress, and what went wrong. What is typed is in the model at once. Main thread; owned by
// the share sheet.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"

namespace glasshob {

class ChoiceField;
class ProgressBar;
class SearchField;
class Segments;
class ShareModel;
class TextBox;

class ShareForm : public DialogPage {
    Q_OBJECT
  public:
    // `share` outlives the form.
    ShareForm(ShareModel& share, QWidget* parent);

    // As the model's phase says, which is none of another page's.
    void follow();
    void focusFirst();
    // Shares, unless a field is refused: that one gets the keyboard.
    void submit();

    SearchField* title() const { return title_; }
    TextBox* description() const { return description_; }
    TextLine* descriptionCount() const { return descriptionCount_; }
    ChoiceField* licence() const { return licence_; }
    Segments* visibility() const { return visibility_; }
    TextLine* forkedFrom() const { return forkedFrom_; }
    WrappedText* told() const { return told_; }
    TextLine* step() const { return step_; }
    TextLine* percent() const { return percent_; }
    FieldMessage* problem() const { return problem_; }
    TextButton* cancelButton() const { return cancel_; }
    TextButton* shareButton() const { return share_; }

  signals:
    void cancelled();
    // What is shown has changed its height.
    void heightChanged();

  private:
    QWidget* makeFields();
    QWidget* makeProgress();
    void followTitle();
    void followDescription();
    void retractProblem();
    void tellProgress(const QString& step, double progress);

    ShareModel& model_;
    SearchField* title_;
    TextBox* description_;
    TextLine* descriptionCount_;
    ChoiceField* licence_;
    Segments* visibility_;
    TextLine* forkedFrom_;
    WrappedText* told_;
    QWidget* progress_;
    TextLine *step_, *percent_;
    ProgressBar* bar_;
    FieldMessage* problem_;
    TextButton *cancel_, *share_;
};

} // namespace glasshob
