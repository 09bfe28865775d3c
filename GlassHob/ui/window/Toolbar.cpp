#include "GlassHob/ui/window/Toolbar.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/picture/TimeField.h"

#include <algorithm>

namespace glasshob {

namespace {

constexpr int barHeight = 44;
constexpr int sideMargin = 8;
constexpr int gap = 4;
constexpr int frameNumberFrom = 1100; // widths of the window
constexpr int labelsFrom = 860;

} // namespace

Toolbar::Toolbar(AppModel& model, const Actions& actions, QWidget* parent)
    : FilledPane(Role::bar, Qt::BottomEdge, parent), model_(model), save_(actions.save) {
    setFixedHeight(barHeight);
    editorToggle_ = new ToolButton(Icon::editor, tr("Show editor"), actions.showEditor, this);
    inspectorToggle_ = new ToolButton(Icon::inspector, tr("Show inspector"), actions.showInspector, this);
    afterToggles_ = new BarSeparator(this);
    new_ = new ToolButton(Icon::new_, tr("New shader"), actions.newShader, this);
    open_ = new ToolButton(Icon::open, tr("Open"), actions.open, this);
    saveButton_ = new ToolButton(Icon::save, tr("Save"), actions.save, this);
    beforeTransport_ = new BarSeparator(this);
    start_ = new ToolButton(Icon::start, tr("Back to start"), actions.backToStart, this);
    play_ = new ToolButton(Icon::pause, tr("Pause or Play"), actions.pauseOrPlay, this);
    play_->setInk(Role::text);
    step_ = new ToolButton(Icon::step, tr("One frame further"), actions.stepFrame, this);
    sound_ = new ToolButton(Icon::muted, tr("Hear the sound"), actions.hearSound, this);
    auto followSound = [this, action = actions.hearSound] {
        sound_->setIcon(action->isChecked() ? Icon::sound : Icon::muted);
        layOut();
    };
    connect(actions.hearSound, &QAction::changed, this, followSound);
    time_ = new TimeField(model_, this);
    frame_ = new TextLine(fonts::small(), Role::text3, this);
    still_ = new ToolButton(Icon::still, tr("Save still"), actions.saveStill, this);
    still_->setLabel(tr("Still"));
    export_ = new ToolButton(Icon::film, tr("Export video"), actions.exportVideo, this);
    export_->setLabel(tr("Export…"));
    share_ = new ToolButton(Icon::share, tr("Share to the gallery"), actions.share, this);
    share_->setLabel(tr("Share…"));
    beforeAccount_ = new BarSeparator(this);
    account_ = new ToolButton(Icon::account, tr("Account"), actions.account, this);

    connect(&model_, &AppModel::clockChanged, this, &Toolbar::followClock);
    connect(&model_, &AppModel::documentChanged, this, &Toolbar::followDocument);
    followClock();
    followDocument();
}

void Toolbar::followClock() {
    play_->setIcon(model_.paused() ? Icon::play : Icon::pause);
    frame_->setText(tr("frame %1").arg(model_.frame()));
    layOut();
}

void Toolbar::followDocument() {
    saveButton_->setInk(model_.isDirty() ? std::optional(Role::text) : std::nullopt);
}

void Toolbar::setPictureLeft(std::optional<int> x) {
    pictureLeft_ = x;
    layOut();
}

void Toolbar::resizeEvent(QResizeEvent*) {
    layOut();
}

void Toolbar::layOut() {
    const bool labels = width() >= labelsFrom;
    for (ToolButton* button : {still_, export_, share_})
        button->setShowsLabel(labels);
    const int middle = (height() - 1) / 2;
    auto place = [middle](QWidget* widget, int x) {
        const QSize size = widget->sizeHint().expandedTo(widget->minimumSize());
        widget->setGeometry(x, middle - size.height() / 2, size.width(), size.height());
        return size.width();
    };
    int right = width() - sideMargin;
    auto putRight = [&](QWidget* widget, int before) {
        right -= widget->sizeHint().expandedTo(widget->minimumSize()).width();
        place(widget, right);
        right -= before;
    };
    putRight(account_, 0);
    putRight(beforeAccount_, 0);
    putRight(share_, gap);
    putRight(export_, gap);
    putRight(still_, gap);

    int x = sideMargin;
    auto put = [&](QWidget* widget, int after) { x += place(widget, x) + after; };
    put(editorToggle_, gap);
    put(inspectorToggle_, gap - 2);
    put(afterToggles_, gap - 2);
    put(new_, gap);
    put(open_, gap);
    put(saveButton_, gap);
    // The transport stands over the picture's left edge, or as near to it as there is room.
    const int transport = 4 * (start_->sizeHint().width() + gap) + 10 + time_->sizeHint().width() + 12;
    const int from = std::min(pictureLeft_.value_or(0) + 5, right - transport);
    const bool separated = !pictureLeft_ || from < x + gap;
    beforeTransport_->setVisible(separated);
    if (separated)
        put(beforeTransport_, 0);
    else
        x = from;
    put(start_, gap);
    put(play_, gap);
    const bool wide = window()->width() >= frameNumberFrom;
    step_->setVisible(wide);
    if (wide) put(step_, gap);
    sound_->setVisible(sound_->isEnabled());
    if (sound_->isEnabled()) put(sound_, gap);
    x += 4 - gap;
    put(time_, 6);
    const bool roomForFrame = x + frame_->sizeHint().width() + gap <= right;
    frame_->setVisible(roomForFrame && wide);
    if (frame_->isVisibleTo(this)) put(frame_, 0);
}

} // namespace glasshob
