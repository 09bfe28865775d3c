// One row of the inspector: name, description, slider, value field, and the button back to the default. Tall (64 px) or
// dense (36 px, on one line). Shows the model's value and tells of edits. Main thread; owned by the inspector.
#pragma once

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/ValueField.h"
#include "GlassHobCore/shader/Params.h"

#include <QList>
#include <QWidget>

namespace glasshob {

class ParameterSlider;
class ToolButton;

class ParameterRow : public QWidget {
    Q_OBJECT
  public:
    ParameterRow(const ParamDecl& declaration, QWidget* parent);

    // What the row needs left of its text and track, for the halo of the knob.
    static constexpr int leftRoom = 8;

    const ParamDecl& declaration() const { return declaration_; }
    // A new declaration under the same name: the row stays and keeps its focus.
    void setDeclaration(const ParamDecl& declaration);
    void setValue(float value, bool glides = false);
    bool isChanged() const;

    enum class Density { tall, dense };
    void setDensity(Density density, int nameWidth);
    // The width that the name wants, for the common column of dense rows.
    int wantedNameWidth() const;
    void focusSlider();
    ParameterSlider* slider() const { return slider_; }
    ValueField* field() const { return field_; }
    // What takes the keyboard, in its order.
    QList<QWidget*> controls() const;

    QSize sizeHint() const override { return QSize(240, density_ == Density::tall ? 64 : 36); }
    QSize minimumSizeHint() const override { return QSize(200, sizeHint().height()); }

  signals:
    void valueEdited(const QString& name, float value);
    // As of the slider; what is typed is a change of its own.
    void editEnded();
    void undoRequested();
    void redoRequested();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void edited(float value, bool glides);
    void showState();
    void showToolTip();
    void layOut();
    int nameRoom() const;

    ParamDecl declaration_;
    Density density_ = Density::tall;
    int nameWidth_ = 72;
    ParameterSlider* slider_;
    ValueField* field_;
    ToolButton* reset_;
};

} // namespace glasshob
