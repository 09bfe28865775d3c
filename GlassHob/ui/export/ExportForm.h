// What is asked before an export: format, preset or a size of one's own, start, duration, the mark; at its foot what
// will come of it. What the fields hold is checked here, and only sound numbers reach the model's choices. Where the
// screen has no room for all of it, what stands over the foot scrolls. Main thread; owned by the export window.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"

class QCheckBox;

namespace glasshob {

class AppModel;
class ChoiceField;
class OwnPicture;
class PresetCards;
class SearchField;

class ExportForm : public DialogPage {
    Q_OBJECT
  public:
    ExportForm(AppModel& model, QWidget* parent);

    // The export starts, unless a field is refused: that one gets the keyboard.
    void submit();
    void focusFirst();
    // While the question where to put the video is up.
    void setAsking(bool asking);

    ChoiceField* format() const { return format_; }
    OwnPicture* own() const { return own_; }
    PresetCards* presets() const { return presets_; }
    SearchField* start() const { return start_; }
    SearchField* duration() const { return duration_; }
    // They fill the fields: with the preview's time, with the stretch that it loops.
    TextButton* fromNow() const { return fromNow_; }
    TextButton* theLoop() const { return theLoop_; }
    QCheckBox* mark() const { return mark_; }
    FieldMessage* message() const { return message_; }
    TextLine* foreseen() const { return foreseen_; }
    TextButton* exportButton() const { return export_; }

  signals:
    void submitted();
    void cancelled();
    // What is shown has changed its height.
    void heightChanged();

  private:
    void follow();
    void followChoices();
    void read();
    // Looks at the fields as they are; tells what is wrong with those the person is done with, or with all.
    bool check(bool all);

    AppModel& model_;
    ChoiceField* format_;
    PresetCards* presets_;
    QWidget* ownRow_;
    OwnPicture* own_;
    SearchField *start_, *duration_;
    TextButton *fromNow_, *theLoop_;
    QCheckBox* mark_;
    FieldMessage* message_;
    TextLine* foreseen_;
    TextButton *cancel_, *export_;
    bool asking_ = false;
};

} // namespace glasshob
