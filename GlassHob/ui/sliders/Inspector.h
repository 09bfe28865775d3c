// The sliders of the running shader: a heading with what has been changed, one row for each parameter in the order of
// their declarations, and beside them the column of presets, or a drop-down in the heading where it is narrow.
// Shows the model and edits its values. It stands in a pane or in a box over the picture. Main thread.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <QScrollArea>

#include <vector>

namespace glasshob {

class AppModel;
class ParameterRow;
class PresetActions;
class PresetColumn;
class PresetPicker;

// Lays the rows out in one column, or in two where there is room, filled downwards.
class SliderRows : public QWidget {
    Q_OBJECT
  public:
    explicit SliderRows(QWidget* parent) : QWidget(parent) {}
    void setRows(std::vector<ParameterRow*> rows);
    // Dense rows have one line, 36 px high; others take as much as is given.
    void setDense(bool dense, int tallHeight = 64);
    int heightFor(int width) const;

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    int rowHeight() const { return dense_ ? 36 : tallHeight_; }
    void layOut();
    std::vector<ParameterRow*> rows_;
    bool dense_ = false;
    int tallHeight_ = 64;
};

class Inspector : public FilledPane {
    Q_OBJECT
  public:
    Inspector(AppModel& model, QWidget* parent);

    void focusParameter(const QString& name);
    // Rows of one line each, for low windows.
    void setDense(bool dense);
    ParameterRow* row(const QString& name) const;
    PresetActions* presetActions() const { return presetActions_; }
    PresetColumn* presets() const { return presets_; }

    // In a pane; in a box over the picture; in such a box with room for tall rows. A box has a cross and no column.
    enum class Form { pane, box, tallBox };
    void setForm(Form form);
    // The height at which a box of this width shows all of it.
    int wantedHeight(int width) const;
    // What a box is dragged by.
    QWidget* heading() const { return heading_; }
    void focusFirst();

    QSize minimumSizeHint() const override { return QSize(240, 120); }

  signals:
    // The example line of the empty state, to be put into the text.
    void insertRequested(const QString& line);
    void closeRequested();
    void wantedHeightChanged();

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void followProgram();
    void followValues(bool glides);
    void showHeading();
    void arrange();
    void fitRows();
    void orderKeyboard();

    AppModel& model_;
    PresetActions* presetActions_;
    QWidget* heading_;
    TextLine* title_;
    TextLine* changed_;
    PresetPicker* picker_;
    TextButton* resetAll_;
    ToolButton* resetIcon_; // in place of resetAll_ where it is narrow
    ToolButton* close_;
    QScrollArea* scroll_;
    SliderRows* rows_;
    QWidget* waiting_;
    QScrollArea* emptyScroll_;
    QWidget* empty_;
    TextLine* emptyText_;
    TextLine* emptyExample_;
    TextButton* emptyInsert_;
    std::vector<ParameterRow*> parameterRows_;
    PresetColumn* presets_;
    Form form_ = Form::pane;
    bool dense_ = false;
};

} // namespace glasshob
