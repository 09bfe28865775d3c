#include "GlassHob/ui/export/ExportProgress.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/ProgressBar.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHobRender/episode/EpisodePlan.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QFileInfo>
#include <QVBoxLayout>

namespace glasshob {

void askToStopExport(AppModel& model, std::function<void(bool)> answer) {
    Question question;
    question.message =
        ExportProgress::tr("Stop exporting %1?").arg(exportTexts::nameOfResult(model.exports().order()->path));
    question.informativeText = ExportProgress::tr("It is not finished, and what is written so far will be removed.");
    question.buttons = {ExportProgress::tr("Stop Exporting"), ExportProgress::tr("Keep Exporting")};
    question.escapeButton = 1;
    model.questions().ask(question, [answer = std::move(answer)](int button) { answer(button == 0); });
}

ExportFigures::ExportFigures(AppModel& model, const QString& hint, QWidget* parent) : QWidget(parent), model_(model) {
    QWidget* const ground = this;
    auto line = [ground](const QFont& font, Role role, int height) {
        auto* made = new TextLine(font, role, ground);
        made->setFixedHeight(height);
        return made;
    };
    heading_ = line(fonts::dialogHeading(), Role::text, 24);
    heading_->setElides(true);
    preset_ = line(fonts::body(), Role::text2, 20);
    percent_ = line(fonts::figure(), Role::text, 40);
    left_ = line(fonts::body(), Role::text2, 20);
    frames_ = line(fonts::small(), Role::text3, 17);
    taken_ = line(fonts::small(), Role::text3, 17);
    bar_ = new ProgressBar(tr("Export progress"), ground);
    auto* told = new WrappedText(fonts::small(), Role::text3, dialogTextWidth, ground, hint);

    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(dialogMargin, 24, dialogMargin, 24);
    body->setSpacing(0);
    body->addWidget(heading_);
    body->addSpacing(4);
    body->addWidget(preset_);
    body->addSpacing(32);
    auto* figures = new QHBoxLayout;
    figures->addWidget(percent_);
    figures->addStretch(1);
    auto* lowered = new QVBoxLayout; // its letters stand on nearly the same line as the figure's
    lowered->addSpacing(18);
    lowered->addWidget(left_);
    lowered->addStretch(1);
    lowered->setSpacing(0);
    figures->addLayout(lowered);
    body->addLayout(figures);
    body->addSpacing(8);
    body->addWidget(bar_);
    body->addSpacing(10);
    auto* details = new QHBoxLayout;
    details->addWidget(frames_);
    details->addStretch(1);
    details->addWidget(taken_);
    body->addLayout(details);
    body->addStretch(1);
    auto* rule = new FilledPane(Role::line, {}, ground);
    rule->setFixedHeight(1);
    body->addWidget(rule);
    body->addSpacing(15);
    body->addWidget(told);

    connect(&model_, &AppModel::exportChanged, this, &ExportFigures::follow);
    second_.setInterval(250);
    connect(&second_, &QTimer::timeout, this, &ExportFigures::follow);
}

void ExportFigures::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    follow();
    second_.start();
}

void ExportFigures::hideEvent(QHideEvent* event) {
    second_.stop();
    QWidget::hideEvent(event);
}

void ExportFigures::follow() {
    const auto* running = std::get_if<ExportRunning>(&model_.exportState());
    ExportJob& job = model_.exports();
    if (!running || !job.order()) return;
    const ExportOrder& order = *job.order();
    const bool isCancelling = job.isCancelling();
    heading_->setText(tr("Exporting %1").arg(exportTexts::nameOfResult(order.path)));
    const ExportFormatEntry& format = ExportFormats::entry(order.format);
    const QString formatName = QString::fromLatin1(format.name.data(), qsizetype(format.name.size()));
    const QString presetName = QString::fromStdString(order.preset.name);
    preset_->setText(!format.hasPictures                 ? formatName
                     : order.format == ExportFormat::mp4 ? presetName
                                                         : tr("%1 · %2").arg(presetName, formatName));
    const double share = running->total > 0 ? double(running->done) / double(running->total) : 0;
    percent_->setText(tr("%1%").arg(int(share * 100)));
    frames_->setText((format.hasPictures ? tr("Frame %1 of %2") : tr("Second %1 of %2"))
                         .arg(exportTexts::count(running->done), exportTexts::count(running->total)));
    const std::optional<double> left = job.secondsLeft();
    if (isCancelling)
        left_->setText(tr("Cancelling"));
    else if (running->done == 0 && order.program() && order.program()->particles() != nullptr &&
             order.segments.front().start > 0)
        left_->setText(tr("Running the particles up to the start"));
    else if (running->total > 1 && running->done >= running->total - 1)
        left_->setText(tr("Finishing the file"));
    else
        left_->setText(left ? exportTexts::timeLeft(*left) : QString());
    taken_->setText(tr("%1 so far").arg(exportTexts::clock(job.secondsTaken())));
    QStringList spoken = {tr("%1 percent").arg(int(share * 100))};
    if (order.episode) {
        const EpisodePart& part = order.episode->partAt(running->done);
        if (part.kind == EpisodePart::Kind::stage) spoken << tr("stage %1").arg(part.number + 1);
    }
    if (QString rest = left_->text(); !rest.isEmpty()) {
        rest[0] = rest[0].toLower();
        spoken << rest;
    }
    bar_->setShare(share, spoken.join(QStringLiteral(", ")));
}

ExportProgress::ExportProgress(AppModel& model, QWidget* parent) : DialogPage(parent) {
    figures_ = new ExportFigures(
        model, tr("You can go on editing: the export uses the shader and the sliders as they were when it began."),
        ground());
    auto* body = new QVBoxLayout(ground());
    body->setContentsMargins(0, 0, 0, 0);
    body->addWidget(figures_);
    setPreferredHeight(338); // as high as the form, so that the window keeps its size

    DialogFooter* const footer = this->footer();
    cancel_ = new TextButton(tr("Cancel Export"), TextButton::Look::dialog, footer);
    footer->row()->addStretch(1);
    footer->row()->addWidget(cancel_);
    connect(cancel_, &QAbstractButton::clicked, this, &ExportProgress::cancelled);
    connect(&model, &AppModel::exportChanged, cancel_,
            [this, &model] { cancel_->setEnabled(!model.exports().isCancelling()); });
}

void ExportProgress::focusFirst() {
    cancel_->setFocus(Qt::OtherFocusReason);
}

} // namespace glasshob
