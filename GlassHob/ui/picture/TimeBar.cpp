#include "GlassHob/ui/picture/TimeBar.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/picture/MenuButton.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/picture/TimeText.h"
#include "GlassHob/ui/picture/TimeTrack.h"

#include <QAction>
#include <QHBoxLayout>

namespace glasshob {

namespace {

constexpr int barHeight = 32;

} // namespace

TimeBar::TimeBar(AppModel& model, const PictureActions& actions, QWidget* parent)
    : FilledPane(Role::strip, Qt::TopEdge, parent), model_(model) {
    setFixedHeight(barHeight);
    setAccessibleName(tr("Time"));
    auto* loop = new ToolButton(Icon::loop, tr("Loop"), this, 24, 16);
    loop->setName(tr("Loop"), actions.loop->shortcut().toString(QKeySequence::NativeText));
    loop->setCheckable(true);
    const auto followLoop = [loop, action = actions.loop] {
        loop->setEnabled(action->isEnabled());
        loop->setChecked(action->isChecked());
    };
    connect(actions.loop, &QAction::changed, loop, followLoop);
    connect(loop, &QAbstractButton::clicked, this, [loop, action = actions.loop] {
        loop->setChecked(action->isChecked()); // the action decides
        action->trigger();
    });
    followLoop();
    track_ = new TimeTrack(this);
    length_ = new TextLine(fonts::small(), Role::text3, this);
    length_->setAccessibleName(tr("Length of the time line"));
    speed_ = new MenuButton(actions.speedMenu(), this);
    speed_->setToolTip(tr("How fast time passes in the preview"));

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(8, 1, 4, 0);
    row->setSpacing(8);
    row->addWidget(loop);
    row->addWidget(track_, 1);
    row->addWidget(length_);
    row->addWidget(speed_);

    connect(track_, &TimeTrack::timeEdited, &model_, &AppModel::setTime);
    connect(track_, &TimeTrack::loopEdited, &model_, [this](const TimeStretch& stretch) { model_.setLoop(stretch); });
    connect(track_, &TimeTrack::held, this, [this](bool isHeld) {
        if (isHeld) wasRunning_ = !model_.paused();
        if (wasRunning_) model_.setPaused(isHeld);
    });
    connect(track_, &TimeTrack::lengthChanged, this, &TimeBar::follow);
    connect(&model_, &AppModel::clockChanged, this, &TimeBar::follow);
    connect(&model_, &AppModel::compiled, this, &TimeBar::follow);
    connect(&model_, &AppModel::documentChanged, this, &TimeBar::follow);
    follow();
}

void TimeBar::follow() {
    track_->setTime(model_.time());
    track_->setLoop(model_.loop());
    track_->setEnabled(model_.program() != nullptr && !model_.needsRun());
    length_->setText(lengthText(track_->length()));
    speed_->show(speedText(model_.clock().speed()), tr("Speed"));
}

} // namespace glasshob
