#include "GlassHob/ui/export/ExportWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/StartStill.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/export/ExportForm.h"
#include "GlassHob/ui/export/ExportOutcome.h"
#include "GlassHob/ui/export/ExportProgress.h"

#include <QPointer>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int leastPage = 280; // under a picture that is in its way, a page would be too low to be used

} // namespace

ExportWindow::ExportWindow(AppModel& model, StartStill& still, QWidget* parent)
    : ExportDialog(model, Return::submits, parent), still_(still) {
    picture_ = new DialogPicture(this);
    form_ = new ExportForm(model, this);
    progress_ = new ExportProgress(model, this);
    finished_ = new ExportFinishedPage(model, this);
    failed_ = new ExportFailedPage(model, this);
    connect(form_, &ExportForm::submitted, this, [this] {
        form_->setAsking(true);
        this->model().exports().chooseAndStart([form = QPointer(form_)] {
            if (form) form->setAsking(false);
        });
    });
    connect(form_, &ExportForm::heightChanged, this, &ExportWindow::fitScreen);
    connect(form_, &ExportForm::cancelled, this, &ExportWindow::reject);
    connect(progress_, &ExportProgress::cancelled, this, [this] { this->model().exports().cancel(); });
    connect(&model.exports(), &ExportJob::pictureChanged, this, &ExportWindow::followPicture);
    connect(&still_, &StartStill::changed, this, &ExportWindow::followPicture);
    begin(picture_, {form_, progress_, finished_, failed_});
}

ExportWindow::~ExportWindow() {
    still_.setWanted(false);
}

bool ExportWindow::isMine(const ExportOrder& order) const {
    return order.episode == nullptr;
}

void ExportWindow::prepare() {
    still_.setWanted(page() == form_);
    picture_->setCropped(page() == finished_);
    picture_->setAccessibleName(page() == form_ ? tr("The first frame") : tr("The newest frame"));
    followPicture();
}

void ExportWindow::focusFirst() {
    if (page() == form_)
        form_->focusFirst();
    else
        progress_->focusFirst();
}

void ExportWindow::submit() {
    form_->submit();
}

void ExportWindow::fitScreen() {
    auto* const shown = qobject_cast<DialogPage*>(page());
    const auto& order = model().exports().order();
    const ExportFormat format = shown == form_ || !order ? model().exportChoices().format : order->format;
    const bool isSound = format == ExportFormat::wav;
    const bool hasPicture = shown != failed_ && !isSound;
    setWindowTitle(isSound ? tr("Save Sound") : tr("Export Video"));
    const int room = roomFor(this).height();
    const int wanted = shown == finished_ ? DialogPicture::croppedHeight : DialogPicture::wholeHeight;
    const int high = std::clamp(room - shown->wantedHeight(), DialogPicture::croppedHeight, wanted);
    const bool fits = room - high >= std::min(leastPage, shown->wantedHeight());
    picture_->setFixedHeight(high);
    picture_->setVisible(hasPicture && fits);
    shown->setMostHeight(room - (hasPicture && fits ? high : 0));
}

void ExportWindow::followPicture() {
    // Between the form and the first frame the form's picture stays.
    picture_->setImage(page() == form_ ? still_.image() : model().exports().picture());
}

} // namespace glasshob
