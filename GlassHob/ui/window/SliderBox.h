// The place of the inspector: a pane of the splitter, or a box over the picture while there is no editor or the picture
// fills the screen. The box lies in a corner of the picture, and can be dragged by its heading to another one.
//
// It is a child of the window itself, over the panes. Main thread; InspectorHost stands in the splitter and owns the
// inspector and the box.
#pragma once

#include "GlassHob/ui/picture/Canvas.h"

#include <QPointer>
#include <QWidget>

namespace glasshob {

class AppModel;
class Inspector;
class OverPicture;

class SliderBox : public QWidget {
    Q_OBJECT
  public:
    SliderBox(Inspector& inspector, Canvas* picture);
    void setTall(bool tall);
    // Where it lies in the picture; corners are counted like a page's lines: 0 top left, 3 bottom right.
    int corner() const { return corner_; }
    void setCorner(int corner);
    // So much of the picture's top edge is taken.
    void setTopInset(int height);
    // So much of its bottom edge is taken, over this part of the window's width: in a bottom corner the box lies above
    // that where the two would touch.
    void setBelow(const QRect& below);
    // Its size for the sliders there are, in its corner.
    void fit();
    // How it comes and goes.
    OverPicture* over() const { return over_; }

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    QRect room() const;

    Inspector& inspector_;
    OverPicture* over_;
    QPointer<QWidget> picture_;
    bool tall_ = false;
    int topInset_ = 0;
    QRect below_;
    int corner_ = 3;
    bool dragged_ = false;
    QPoint grip_;
};

class InspectorHost : public QWidget {
    Q_OBJECT
  public:
    InspectorHost(AppModel& model, QWidget* parent);
    ~InspectorHost() override;
    Inspector* inspector() const { return inspector_; }

    // The picture over which the box lies; must outlive the box, or be deleted with it.
    void setPicture(Canvas* picture);
    enum class Where { pane, overPicture, fullScreen };
    void setWhere(Where where);
    Where where() const { return where_; }
    // Whether the sliders are to be seen, wherever they are.
    void setShows(bool shows);
    bool shows() const { return shows_; }
    void setTopInset(int height);
    // Null while the sliders are in their pane.
    SliderBox* box() const { return box_; }

    QSize minimumSizeHint() const override { return QSize(240, 0); }

  signals:
    void showsChanged(bool shows);

  private:
    void arrange();

    Inspector* inspector_;
    QPointer<Canvas> picture_;
    QPointer<SliderBox> box_;
    Where where_ = Where::pane;
    bool shows_ = true;
    int corner_ = 3;
    int topInset_ = 0;
};

} // namespace glasshob
