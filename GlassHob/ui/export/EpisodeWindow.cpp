#include "GlassHob/ui/export/EpisodeWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/export/ChapterList.h"
#include "GlassHob/ui/export/EpisodePages.h"
#include "GlassHob/ui/export/EpisodeParts.h"
#include "GlassHob/ui/export/ExportPicture.h"
#include "GlassHob/ui/export/ExportProgress.h"
#include "GlassHobRender/export/EpisodePicture.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

// More than the window shows, so that small text looks as it will in the video.
constexpr QSize mostPicture{1280, 720};

} // namespace

EpisodeWindow::EpisodeWindow(AppModel& model, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowCloseButtonHint),
      model_(model), still_(mostPicture) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Export Episode"));
    model_.episode().setNeed(this, OpenEpisode::Need::programs);

    strip_ = new ExportPicture(this);
    strip_->setFixedHeight(ExportPicture::croppedHeight);
    strip_->setCropped(true);
    strip_->setAccessibleName(tr("The opening of the episode"));
    form_ = new EpisodeForm(model_, this);
    progress_ = new EpisodeProgress(model_, this);
    finished_ = new EpisodeFinishedPage(model_, this);
    failed_ = new ExportFailedPage(model_, this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->setSizeConstraint(QLayout::SetFixedSize);
    column->addWidget(strip_);
    for (QWidget* page : {static_cast<QWidget*>(form_), static_cast<QWidget*>(progress_),
                          static_cast<QWidget*>(finished_), static_cast<QWidget*>(failed_)}) {
        column->addWidget(page);
        page->hide();
    }
    new FocusRing(this);

    connect(form_, &EpisodeForm::submitted, this, &EpisodeWindow::start);
    connect(form_, &EpisodeForm::cancelled, this, &EpisodeWindow::reject);
    connect(form_->parts(), &EpisodeParts::previewAsked, this, &EpisodeWindow::previewAsked);
    connect(form_->parts(), &EpisodeParts::variationsAsked, this, &EpisodeWindow::variationsAsked);
    connect(form_->chapters(), &ChapterList::chose, this, &EpisodeWindow::showChapter);
    connect(progress_, &EpisodeProgress::cancelled, this, [this] { model_.exports().cancel(); });
    connect(finished_, &EpisodeFinishedPage::closed, this, &EpisodeWindow::reject);
    connect(failed_, &ExportFailedPage::closed, this, &EpisodeWindow::reject);
    connect(&model_, &AppModel::exportChanged, this, &EpisodeWindow::follow);
    connect(&model_.episodeExport(), &EpisodeExport::changed, this, &EpisodeWindow::showChapter);
    connect(&model_.exports(), &ExportJob::pictureChanged, this, [this] {
        if (isMine()) progress_->picture()->setImage(model_.exports().picture());
    });
    connect(&still_, &EpisodeStill::changed, this, &EpisodeWindow::followStill);
    follow();
}

EpisodeWindow::~EpisodeWindow() {
    disconnect(&model_.episodeExport(), nullptr, this, nullptr);
}

bool EpisodeWindow::isMine() const {
    const auto& order = model_.exports().order();
    return order && order->episode != nullptr;
}

void EpisodeWindow::follow() {
    const ExportState& state = model_.exportState();
    if (!isMine())
        showPage(form_);
    else if (std::holds_alternative<ExportRunning>(state))
        showPage(progress_);
    else if (std::holds_alternative<ExportFinished>(state))
        showPage(finished_);
    else if (std::holds_alternative<ExportFailed>(state))
        showPage(failed_);
    else
        showPage(form_);
}

void EpisodeWindow::showPage(QWidget* page) {
    if (page == page_) return;
    setUpdatesEnabled(false);
    if (page_ != nullptr) page_->hide();
    page_ = page;
    if (page == progress_) {
        // Between the form and the first frame the form's picture stays. The opening is drawn for the end.
        progress_->picture()->setImage(form_->picture()->image());
        card_ = {};
        const ExportOrder& order = *model_.exports().order();
        const EpisodePart& opening = order.episode->parts().front();
        EpisodePrograms programs;
        programs.finished = order.program();
        if (opening.kind == EpisodePart::Kind::opening)
            still_.show(order.episode, std::move(programs), typicalMoment(*order.episode, opening));
    }
    if (page == finished_) {
        strip_->clear();
        strip_->setImage(card_.isNull() ? model_.exports().picture() : card_);
    }
    if (page == finished_ || page == failed_) still_.dismiss();
    fitScreen();
    page->show();
    if (page == form_) showChapter();
    setUpdatesEnabled(true);
    if (page == form_)
        form_->focusFirst();
    else if (page == progress_)
        progress_->focusFirst();
    else if (page == finished_)
        finished_->done()->setFocus(Qt::OtherFocusReason);
    else
        failed_->tryAgain()->setFocus(Qt::OtherFocusReason);
    if (page != finished_ && page != failed_) return;
    QAccessibleEvent alert(page, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void EpisodeWindow::fitScreen() {
    const QSize room = roomFor(this);
    form_->setRoom(room);
    progress_->setRoom(room);
    const bool hasStrip =
        page_ == finished_ && room.height() >= finished_->wantedHeight() + ExportPicture::croppedHeight;
    strip_->setVisible(hasStrip);
    finished_->setMostHeight(room.height() - (hasStrip ? ExportPicture::croppedHeight : 0));
    failed_->setMostHeight(room.height());
}

void EpisodeWindow::start() {
    auto order = model_.episodeExport().order();
    if (!order) return;
    form_->setAsking(true);
    model_.exports().chooseAndStart(std::move(*order), model_.episodeExport().suggestedName(),
                                    [form = QPointer(form_)] {
                                        if (form) form->setAsking(false);
                                    });
}

void EpisodeWindow::showChapter() {
    if (page_ != form_) return;
    const auto& plan = model_.episodeExport().planToShow();
    const int row = form_->chapters()->chosen();
    if (plan == nullptr || row < 0 || std::size_t(row) >= plan->parts().size()) {
        still_.dismiss();
        form_->picture()->clear();
        form_->picture()->setAccessibleDescription({});
        return;
    }
    const EpisodePart& part = plan->parts()[std::size_t(row)];
    form_->picture()->setAccessibleDescription(form_->chapters()->chapters()->rows()[std::size_t(row)].title);
    // Nothing runs before the person has read it.
    EpisodePrograms programs = model_.episode().programs();
    if (model_.needsRun()) programs = {};
    still_.show(plan, std::move(programs), typicalMoment(*plan, part));
}

void EpisodeWindow::followStill() {
    if (page_ == progress_) {
        card_ = still_.image();
        return;
    }
    if (page_ != form_) return;
    if (still_.image().isNull())
        form_->picture()->clear();
    else
        form_->picture()->setImage(still_.image());
}

void EpisodeWindow::comeForward() {
    show();
    raise();
    activateWindow();
}

void EpisodeWindow::reject() {
    ExportJob& job = model_.exports();
    if (!isMine() || !job.isRunning() || job.isCancelling()) {
        disconnect(&model_, nullptr, this, nullptr); // what goes away does not turn back into the form
        QDialog::reject();
        if (isMine()) job.dismiss();
        return;
    }
    if (asksAboutClosing_) return;
    asksAboutClosing_ = true;
    askToStopExport(model_, [self = QPointer(this)](bool stops) {
        if (!self) return;
        self->asksAboutClosing_ = false;
        // It may have ended while the question was up: then its end is what there is to see.
        if (!stops || !self->model_.exports().isRunning()) return;
        self->model_.exports().cancel();
        self->QDialog::reject();
    });
}

void EpisodeWindow::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    const QRect screen = this->screen()->availableGeometry();
    const int below = frameGeometry().bottom() - screen.bottom();
    if (isVisible() && below > 0) move(x(), std::max(screen.top(), y() - below));
}

void EpisodeWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        reject();
        return;
    }
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        QDialog::keyPressEvent(event);
        return;
    }
    auto* focused = qobject_cast<TextButton*>(focusWidget());
    if (page_ == progress_) return; // Return never stops a running export
    if (page_ == form_ && event->modifiers().testFlag(Qt::ControlModifier))
        form_->submit();
    else if (focused != nullptr && focused->isVisible())
        focused->click();
    else if (page_ == finished_)
        finished_->done()->click();
    else if (page_ == failed_)
        failed_->tryAgain()->click();
}

} // namespace glasshob
