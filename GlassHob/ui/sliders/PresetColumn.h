// The column of presets beside the sliders: a heading with the button that saves one, and a row for each. A click or
// Return applies, Delete deletes (and the row offers the way back for a while), F2 renames, the arrow keys move.
// Also the drop-down that stands for the column where there is no room for it. Main thread; owned by the inspector.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <vector>

class QScrollArea;

namespace glasshob {

class PresetActions;

class PresetRow : public HoverButton {
    Q_OBJECT
  public:
    PresetRow(PresetActions& actions, QWidget* parent);
    void setContents(const QString& name, bool isApplied, bool isDeleted);
    const QString& name() const { return name_; }
    bool isDeleted() const { return isDeleted_; }
    ToolButton* deleteButton() const { return delete_; }

  signals:
    // To the row so many places further on.
    void moveWanted(int places);
    void focused();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void showDelete();

    PresetActions& actions_;
    QString name_;
    bool isApplied_ = false;
    bool isDeleted_ = false;
    ToolButton* delete_;
    TextButton* undo_;
};

class PresetColumn : public FilledPane {
    Q_OBJECT
  public:
    PresetColumn(PresetActions& actions, QWidget* parent);
    const std::vector<PresetRow*>& rows() const { return rows_; }
    // The row that has or would get the focus; null where there is none.
    PresetRow* currentRow() const;

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void follow();
    void layOut();
    void setCurrent(PresetRow* row);

    PresetActions& actions_;
    TextLine* title_;
    ToolButton* add_;
    QWidget* hint_;
    QScrollArea* scroll_;
    QWidget* list_;
    std::vector<PresetRow*> rows_;
    PresetRow* current_ = nullptr;
};

// "Embers at dusk ⌄": shows which preset is applied, opens the list.
class PresetPicker : public HoverButton {
    Q_OBJECT
  public:
    PresetPicker(PresetActions& actions, QWidget* parent);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void follow();
    void open();

    PresetActions& actions_;
};

} // namespace glasshob
