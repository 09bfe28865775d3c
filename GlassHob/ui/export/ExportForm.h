// What is asked before an export: preset, start, duration, the mark; at its foot what will come of it. What the fields
// hold is checked here, and only sound numbers reach the model's choices. Main thread; owned by the export window.
#pragma once

#include <QWidget>

class QCheckBox;

namespace glasshob {

class AppModel;
class FieldMessage;
class PresetCards;
class SearchField;
class TextButton;
class TextLine;

class ExportForm : public QWidget {
    Q_OBJECT
  public:
    ExportForm(AppModel& model, QWidget* parent);

    // The export starts, unless a field is refused: that one gets the keyboard.
    void submit();
    void focusFirst();
    // While the question where to put the video is up.
    void setAsking(bool asking);

    PresetCards* presets() const { return presets_; }
    SearchField* start() const { return start_; }
    SearchField* duration() const { return duration_; }
    QCheckBox* mark() const { return mark_; }
    FieldMessage* message() const { return message_; }
    TextLine* foreseen() const { return foreseen_; }
    TextButton* exportButton() const { return export_; }

  signals:
    void submitted();
    void cancelled();

  private:
    void follow();
    void read();
    // Looks at the fields as they are; tells what is wrong with those the person is done with, or with all.
    bool check(bool all);

    AppModel& model_;
    PresetCards* presets_;
    SearchField *start_, *duration_;
    QCheckBox* mark_;
    FieldMessage* message_;
    TextLine* foreseen_;
    TextButton *cancel_, *export_;
    bool asking_ = false;
};

} // namespace glasshob
