#include "GlassHob/ui/window/SliderBox.h"

#include "GlassHob/ui/controls/BoxShape.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/picture/OverPicture.h"
#include "GlassHob/ui/sliders/Inspector.h"

#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr int margin = 16; // from the picture's edges
constexpr int denseWidth = 376, tallWidth = 400;
constexpr double mostOfThePicture = 0.6;
constexpr int leastMost = 152; // on a low picture it may take so much all the same

} // namespace

SliderBox::SliderBox(Inspector& inspector, Canvas* picture)
    : QWidget(picture->window()), inspector_(inspector), picture_(picture) {
    over_ = new OverPicture(this, picture, boxRadius);
    setAttribute(Qt::WA_NoMousePropagation);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(1, 1, 1, 1);
    column->addWidget(&inspector_);
    inspector_.setForm(Inspector::Form::box);
    inspector_.heading()->installEventFilter(this);
    picture->installEventFilter(this);
    connect(&inspector_, &Inspector::wantedHeightChanged, this, &SliderBox::fit);
    connect(&Theme::instance(), &Theme::changed, this, qOverload<>(&QWidget::update));
    fit();
}

void SliderBox::setTall(bool tall) {
    tall_ = tall;
    inspector_.setForm(tall ? Inspector::Form::tallBox : Inspector::Form::box);
    fit();
}

void SliderBox::setCorner(int corner) {
    corner_ = std::clamp(corner, 0, 3);
    fit();
}

QRect SliderBox::room() const {
    if (!picture_) return {};
    return QRect(picture_->mapTo(parentWidget(), QPoint(0, 0)), picture_->size()).adjusted(0, topInset_, 0, 0);
}

void SliderBox::setTopInset(int height) {
    topInset_ = height;
    fit();
}

void SliderBox::setBelow(const QRect& below) {
    if (std::exchange(below_, below) != below) fit();
}

void SliderBox::fit() {
    if (dragged_ || !picture_) return;
    QRect room = this->room();
    const int wide = std::min(tall_ ? tallWidth : denseWidth, room.width() - 2 * margin);
    const bool right = corner_ % 2, bottom = corner_ / 2;
    const int left = right ? room.right() + 1 - margin - wide : room.left() + margin;
    const bool isOverOther = left < below_.right() + 1 + margin && left + wide > below_.left() - margin;
    if (!below_.isEmpty() && isOverOther) room.setBottom(below_.top() - 1);
    const int high = std::min(
        inspector_.wantedHeight(wide - 2) + 2,
        std::min(std::max(int(this->room().height() * mostOfThePicture), leastMost), room.height() - 2 * margin));
    setGeometry(left, bottom ? room.bottom() + 1 - margin - high : room.top() + margin, std::max(wide, 200),
                std::max(high, 100));
    raise();
}

bool SliderBox::eventFilter(QObject* object, QEvent* event) {
    if (object == picture_) {
        if (event->type() == QEvent::Resize || event->type() == QEvent::Move) fit();
        return false;
    }
    const bool isMouse = event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseMove ||
                         event->type() == QEvent::MouseButtonRelease;
    if (object != inspector_.heading() || !isMouse) return false;
    auto* mouse = static_cast<QMouseEvent*>(event);
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (mouse->button() != Qt::LeftButton) return false;
        dragged_ = true;
        grip_ = mapFromGlobal(mouse->globalPosition().toPoint());
        return true;
    case QEvent::MouseMove: {
        if (!dragged_) return false;
        const QPoint to = parentWidget()->mapFromGlobal(mouse->globalPosition().toPoint()) - grip_;
        const QRect room = this->room();
        move(std::clamp(to.x(), room.left(), std::max(room.left(), room.right() + 1 - width())),
             std::clamp(to.y(), room.top(), std::max(room.top(), room.bottom() + 1 - height())));
        return true;
    }
    case QEvent::MouseButtonRelease: {
        if (!dragged_ || mouse->button() != Qt::LeftButton) return false;
        dragged_ = false;
        const QPoint middle = geometry().center();
        const QPoint center = room().center();
        setCorner((middle.x() > center.x() ? 1 : 0) + (middle.y() > center.y() ? 2 : 0));
        return true;
    }
    default: return false;
    }
}

void SliderBox::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    inspector_.setMask(roundedRegion(size() - QSize(2, 2), boxRadius - 1));
}

void SliderBox::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintBox(painter, rect());
}

InspectorHost::InspectorHost(AppModel& model, QWidget* parent)
    : QWidget(parent), inspector_(new Inspector(model, this)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(inspector_);
    connect(inspector_, &Inspector::closeRequested, this, [this] { setShows(false); });
}

InspectorHost::~InspectorHost() {
    // The box may be gone already, with the picture; the inspector would have gone with it.
    delete box_;
}

void InspectorHost::setPicture(Canvas* picture) {
    picture_ = picture;
    arrange();
}

void InspectorHost::setWhere(Where where) {
    where_ = where;
    arrange();
}

void InspectorHost::setShows(bool shows) {
    const bool isOther = shows != std::exchange(shows_, shows);
    arrange();
    if (isOther) emit showsChanged(shows);
}

void InspectorHost::setTopInset(int height) {
    topInset_ = height;
    if (box_) box_->setTopInset(height);
}

void InspectorHost::arrange() {
    const bool inPane = where_ == Where::pane || !picture_;
    if (inPane && box_) {
        corner_ = box_->corner();
        layout()->addWidget(inspector_);
        delete box_; // it would fit itself to the other form once more
        inspector_->clearMask();
        inspector_->setForm(Inspector::Form::pane);
        inspector_->show();
    } else if (!inPane && !box_) {
        box_ = new SliderBox(*inspector_, picture_);
        inspector_->show();
        box_->setTopInset(topInset_);
        box_->setCorner(corner_);
    }
    if (box_) {
        box_->setTall(where_ == Where::fullScreen);
        box_->setVisible(shows_);
        if (shows_) box_->fit();
    }
    setVisible(inPane && shows_);
}

} // namespace glasshob
