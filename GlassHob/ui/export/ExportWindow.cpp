#include "GlassHob/ui/export/ExportWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/StartStill.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/export/ExportForm.h"
#include "GlassHob/ui/export/ExportOutcome.h"
#include "GlassHob/ui/export/ExportPicture.h"
#include "GlassHob/ui/export/ExportProgress.h"
#include "GlassHob/ui/export/ExportTexts.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int leastPage = 280; // under a picture that is in its way, a page would be too low to be used

} // namespace

ExportWindow::ExportWindow(AppModel& model, StartStill& still, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowCloseButtonHint),
      model_(model), still_(still) {
    setAttribute(Qt::WA_DeleteOnClose);

    picture_ = new ExportPicture(this);
    form_ = new ExportForm(model_, this);
    progress_ = new ExportProgress(model_, this);
    finished_ = new ExportFinishedPage(model_, this);
    failed_ = new ExportFailedPage(model_, this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->setSizeConstraint(QLayout::SetFixedSize);
    column->addWidget(picture_);
    for (DialogPage* page : {static_cast<DialogPage*>(form_), static_cast<DialogPage*>(progress_),
                             static_cast<DialogPage*>(finished_), static_cast<DialogPage*>(failed_)}) {
        column->addWidget(page);
        page->hide();
    }
    new FocusRing(this);

    connect(form_, &ExportForm::submitted, this, [this] {
        form_->setAsking(true);
        model_.exports().chooseAndStart([form = QPointer(form_)] {
            if (form) form->setAsking(false);
        });
    });
    connect(form_, &ExportForm::heightChanged, this, &ExportWindow::fitScreen);
    connect(form_, &ExportForm::cancelled, this, &ExportWindow::reject);
    connect(progress_, &ExportProgress::cancelled, this, [this] { model_.exports().cancel(); });
    connect(finished_, &ExportFinishedPage::closed, this, &ExportWindow::reject);
    connect(failed_, &ExportFailedPage::closed, this, &ExportWindow::reject);
    connect(&model_, &AppModel::exportChanged, this, &ExportWindow::follow);
    connect(&model_.exports(), &ExportJob::pictureChanged, this, &ExportWindow::followPicture);
    connect(&still_, &StartStill::changed, this, &ExportWindow::followPicture);
    follow();
}

ExportWindow::~ExportWindow() {
    still_.setWanted(false);
}

bool ExportWindow::isMine() const {
    const auto& order = model_.exports().order();
    return !order || order->episode == nullptr;
}

void ExportWindow::follow() {
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

void ExportWindow::showPage(DialogPage* page) {
    if (page == page_) return;
    setUpdatesEnabled(false);
    if (page_) page_->hide();
    page_ = page;
    still_.setWanted(page == form_);
    picture_->setCropped(page == finished_);
    fitScreen();
    picture_->setAccessibleName(page == form_ ? tr("The first frame") : tr("The newest frame"));
    page->show();
    followPicture();
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

void ExportWindow::fitScreen() {
    const bool isSound = model_.exportChoices().format == ExportFormat::wav;
    const auto& order = model_.exports().order();
    const bool wasSound = order && order->format == ExportFormat::wav;
    const bool hasPicture = page_ != failed_ && !(page_ == form_ ? isSound : wasSound);
    setWindowTitle((page_ == form_ ? isSound : wasSound) ? tr("Save Sound") : tr("Export Video"));
    const int room = roomFor(this).height();
    const int wanted = page_ == finished_ ? ExportPicture::croppedHeight : ExportPicture::wholeHeight;
    const int high = std::clamp(room - page_->wantedHeight(), ExportPicture::croppedHeight, wanted);
    const bool fits = room - high >= std::min(leastPage, page_->wantedHeight());
    picture_->setFixedHeight(high);
    picture_->setVisible(hasPicture && fits);
    page_->setMostHeight(room - (hasPicture && fits ? high : 0));
}

void ExportWindow::followPicture() {
    // Between the form and the first frame the form's picture stays.
    picture_->setImage(page_ == form_ ? still_.image() : model_.exports().picture());
}

void ExportWindow::comeForward() {
    show();
    raise();
    activateWindow();
}

void ExportWindow::reject() {
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

void ExportWindow::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    // A page that grows does so downwards, and may come to the screen's edge.
    const QRect screen = this->screen()->availableGeometry();
    const int below = frameGeometry().bottom() - screen.bottom();
    if (isVisible() && below > 0) move(x(), std::max(screen.top(), y() - below));
}

void ExportWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        reject();
        return;
    }
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        QDialog::keyPressEvent(event);
        return;
    }
    // A button that the keyboard has been led to, else the one to press. Return never stops a running export.
    auto* focused = qobject_cast<TextButton*>(focusWidget());
    if (page_ == progress_) return;
    if (focused && focused->isVisible())
        focused->click();
    else if (page_ == form_)
        form_->submit();
    else if (page_ == finished_)
        finished_->done()->click();
    else
        failed_->tryAgain()->click();
}

} // namespace glasshob
