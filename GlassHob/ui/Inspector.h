// The sliders of the running shader: a heading with what has been changed, one row for each parameter in the order of
// their declarations, and beside them the column of presets. Shows the model and edits its values. Main thread.
#pragma once

#include "GlassHob/ui/Controls.h"

#include <QScrollArea>

#include <vector>

namespace glasshob {

class AppModel;
class ParameterRow;

// Lays the rows out in one column, or in two from 900 px of width on, filled downwards.
class SliderRows : public QWidget {
    Q_OBJECT
  public:
    explicit SliderRows(QWidget* parent) : QWidget(parent) {}
    void setRows(std::vector<ParameterRow*> rows);
    void setDense(bool dense);
    int heightFor(int width) const;

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void layOut();
    std::vector<ParameterRow*> rows_;
    bool dense_ = false;
};

class Inspector : public Ground {
    Q_OBJECT
  public:
    Inspector(AppModel& model, QWidget* parent);

    void focusParameter(const QString& name);
    // Rows of one line each, for low windows.
    void setDense(bool dense);
    ParameterRow* row(const QString& name) const;

    QSize minimumSizeHint() const override { return QSize(240, 120); }

  signals:
    // The example line of the empty state, to be put into the text.
    void insertRequested(const QString& line);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void followProgram();
    void followValues(bool glides);
    void showHeading();
    void fitRows();

    AppModel& model_;
    TextLine* title_;
    TextLine* changed_;
    TextButton* resetAll_;
    QScrollArea* scroll_;
    SliderRows* rows_;
    QWidget* empty_;
    TextLine* emptyText_;
    TextLine* emptyExample_;
    TextButton* emptyInsert_;
    std::vector<ParameterRow*> parameterRows_;
    Ground* presets_;
};

} // namespace glasshob
