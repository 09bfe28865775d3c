#include "GlassHob/ui/export/ExportDialog.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/export/ExportOutcome.h"
#include "GlassHob/ui/export/ExportProgress.h"

#include <QAccessible>
#include <QPointer>
#include <QVBoxLayout>

namespace glasshob {

ExportDialog::ExportDialog(AppModel& model, Return inForm, QWidget* parent)
    : PageDialog(parent), model_(model), inForm_(inForm) {}

void ExportDialog::begin(QWidget* over, const Pages& pages) {
    pages_ = pages;
    column()->addWidget(over);
    for (QWidget* page :
         {pages_.form, pages_.progress, static_cast<QWidget*>(pages_.finished), static_cast<QWidget*>(pages_.failed)}) {
        column()->addWidget(page);
        page->hide();
    }
    connect(pages_.finished, &ResultPage::closed, this, &ExportDialog::reject);
    connect(pages_.failed, &ExportFailedPage::closed, this, &ExportDialog::reject);
    connect(&model_, &AppModel::exportChanged, this, &ExportDialog::follow);
    follow();
}

bool ExportDialog::isMine() const {
    const auto& order = model_.exports().order();
    return order && isMine(*order);
}

void ExportDialog::follow() {
    const ExportState& state = model_.exportState();
    if (isMine() && std::holds_alternative<ExportRunning>(state))
        turnTo(pages_.progress);
    else if (isMine() && std::holds_alternative<ExportFinished>(state))
        turnTo(pages_.finished);
    else if (isMine() && std::holds_alternative<ExportFailed>(state))
        turnTo(pages_.failed);
    else
        turnTo(pages_.form);
}

void ExportDialog::turnTo(QWidget* page) {
    if (page == page_) return;
    setUpdatesEnabled(false);
    if (page_ != nullptr) page_->hide();
    page_ = page;
    prepare();
    fitScreen();
    page->show();
    setUpdatesEnabled(true);
    if (page == pages_.finished)
        pages_.finished->done()->setFocus(Qt::OtherFocusReason);
    else if (page == pages_.failed)
        pages_.failed->tryAgain()->setFocus(Qt::OtherFocusReason);
    else
        focusFirst();
    if (page != pages_.finished && page != pages_.failed) return;
    QAccessibleEvent alert(page, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void ExportDialog::reject() {
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

bool ExportDialog::takesReturn() const {
    return page_ != pages_.progress; // Return never stops a running export
}

void ExportDialog::press(bool isForced) {
    if (page_ == pages_.finished)
        pages_.finished->done()->click();
    else if (page_ == pages_.failed)
        pages_.failed->tryAgain()->click();
    else if (isForced || inForm_ == Return::submits)
        submit();
}

} // namespace glasshob
