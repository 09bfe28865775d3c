#include "GlassHob/ui/picture/TransportBox.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/BoxShape.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/picture/FrameRate.h"
#include "GlassHob/ui/picture/OverPicture.h"
#include "GlassHob/ui/picture/PictureActions.h"

#include <QAction>
#include <QEvent>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QPainter>

namespace glasshob {

namespace {

constexpr int boxHeight = 44;
constexpr int margin = 16; // from the picture's edges

} // namespace

TransportBox::TransportBox(AppModel& model, const PictureActions& actions, QAction* showSliders, Canvas* picture)
    : QWidget(picture->window()), model_(model), picture_(picture) {
    over_ = new OverPicture(this, picture, boxRadius);
    setAttribute(Qt::WA_NoMousePropagation);
    setAccessibleName(tr("Transport"));
    setFixedHeight(boxHeight);
    start_ = new ToolButton(Icon::start, tr("Back to start"), actions.backToStart, this);
    play_ = new ToolButton(Icon::pause, tr("Pause or Play"), actions.pauseOrPlay, this);
    play_->setInk(Role::text);
    ToolButton* step = new ToolButton(Icon::step, tr("One frame further"), actions.stepFrame, this);
    time_ = new TextLine(fonts::time(), Role::text, this);
    time_->setAccessibleName(tr("Shader time"));
    rate_ = new TextLine(fonts::small(), Role::text3, this);
    rate_->setAccessibleName(tr("Frame rate"));
    rate_->setMinimumWidth(QFontMetrics(fonts::small()).horizontalAdvance(tr("%1 fps").arg(QStringLiteral("888"))));
    ToolButton* sound = new ToolButton(Icon::muted, tr("Hear the sound"), actions.hearSound, this);
    auto followSound = [sound, action = actions.hearSound] {
        sound->setIcon(action->isChecked() ? Icon::sound : Icon::muted);
        sound->setVisible(action->isEnabled());
    };
    connect(actions.hearSound, &QAction::changed, sound, followSound);
    followSound();

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(6, 0, 6, 0);
    row->setSpacing(0);
    for (ToolButton* button : {start_, play_, step})
        row->addWidget(button);
    row->addSpacing(10);
    row->addWidget(time_);
    row->addSpacing(12);
    row->addWidget(rate_);
    row->addSpacing(6);
    row->addWidget(new BarSeparator(this));
    row->addWidget(sound);
    row->addWidget(new ToolButton(Icon::still, tr("Save still"), actions.saveStill, this));
    row->addWidget(new ToolButton(Icon::inspector, tr("Show sliders"), showSliders, this));
    ToolButton* leave = new ToolButton(Icon::full, tr("Leave full screen"), actions.fullScreen, this);
    leave->setCheckable(false); // here it can only be on
    row->addWidget(leave);

    auto* rate = new FrameRate(*picture, this);
    connect(rate, &FrameRate::changed, this, [this, rate] { rate_->setText(rate->text()); });
    connect(&model_, &AppModel::clockChanged, this, &TransportBox::followClock);
    connect(&Theme::instance(), &Theme::changed, this, qOverload<>(&QWidget::update));
    picture->installEventFilter(this);
    followClock();
}

void TransportBox::followClock() {
    play_->setIcon(model_.paused() ? Icon::play : Icon::pause);
    const QString seconds = QString::number(model_.time(), 'f', 1);
    time_->setText(tr("%1 s").arg(seconds));
    time_->setAccessibleDescription(tr("%1 seconds").arg(seconds));
    fit();
}

void TransportBox::setRight(bool right) {
    right_ = right;
    fit();
}

void TransportBox::fit() {
    if (!picture_) return;
    const QRect room(picture_->mapTo(parentWidget(), QPoint(0, 0)), picture_->size());
    const int wide = sizeHint().width();
    const QRect place(right_ ? room.right() + 1 - margin - wide : room.left() + margin,
                      room.bottom() + 1 - margin - boxHeight, wide, boxHeight);
    setGeometry(place);
}

void TransportBox::focusFirst() {
    play_->setFocus(Qt::TabFocusReason);
}

bool TransportBox::eventFilter(QObject* object, QEvent* event) {
    if (object == picture_ && (event->type() == QEvent::Resize || event->type() == QEvent::Move)) fit();
    return false;
}

void TransportBox::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintBox(painter, rect());
}

} // namespace glasshob
