#include "GlassHob/ui/export/EpisodeWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/export/ChapterList.h"
#include "GlassHob/ui/export/EpisodePages.h"
#include "GlassHob/ui/export/EpisodeParts.h"
#include "GlassHobRender/export/EpisodePicture.h"

#include <QPointer>

namespace glasshob {

namespace {

// More than the window shows, so that small text looks as it will in the video.
constexpr QSize mostPicture{1280, 720};

} // namespace

EpisodeWindow::EpisodeWindow(AppModel& model, QWidget* parent)
    : ExportDialog(model, Return::nothing, parent), still_(mostPicture) {
    setWindowTitle(tr("Export Episode"));
    model.episode().setNeed(this, OpenEpisode::Need::programs);

    strip_ = new DialogPicture(this);
    strip_->setFixedHeight(DialogPicture::croppedHeight);
    strip_->setCropped(true);
    strip_->setAccessibleName(tr("The opening of the episode"));
    form_ = new EpisodeForm(model, this);
    progress_ = new EpisodeProgress(model, this);
    finished_ = new EpisodeFinishedPage(model, this);
    failed_ = new ExportFailedPage(model, this);
    connect(form_, &EpisodeForm::submitted, this, &EpisodeWindow::start);
    connect(form_, &EpisodeForm::cancelled, this, &EpisodeWindow::reject);
    connect(form_->parts(), &EpisodeParts::previewAsked, this, &EpisodeWindow::previewAsked);
    connect(form_->parts(), &EpisodeParts::variationsAsked, this, &EpisodeWindow::variationsAsked);
    connect(form_->chapters(), &ChapterList::chose, this, &EpisodeWindow::showChapter);
    connect(progress_, &EpisodeProgress::cancelled, this, [this] { this->model().exports().cancel(); });
    connect(&model.episodeExport(), &EpisodeExport::changed, this, &EpisodeWindow::showChapter);
    connect(&model.exports(), &ExportJob::pictureChanged, this, [this] {
        if (isMine()) progress_->picture()->setImage(this->model().exports().picture());
    });
    connect(&still_, &EpisodeStill::changed, this, &EpisodeWindow::followStill);
    begin(strip_, {form_, progress_, finished_, failed_});
}

EpisodeWindow::~EpisodeWindow() {
    disconnect(&model().episodeExport(), nullptr, this, nullptr);
}

bool EpisodeWindow::isMine(const ExportOrder& order) const {
    return order.episode != nullptr;
}

void EpisodeWindow::prepare() {
    if (page() == form_) {
        showChapter();
    } else if (page() == progress_) {
        // Between the form and the first frame the form's picture stays. The opening is drawn for the end.
        progress_->picture()->setImage(form_->picture()->image());
        card_ = {};
        const ExportOrder& order = *model().exports().order();
        const EpisodePart& opening = order.episode->parts().front();
        EpisodePrograms programs;
        programs.finished = order.program();
        if (opening.kind == EpisodePart::Kind::opening)
            still_.show(order.episode, std::move(programs), typicalMoment(*order.episode, opening));
    } else {
        still_.dismiss();
        strip_->clear();
        strip_->setImage(card_.isNull() ? model().exports().picture() : card_);
    }
}

void EpisodeWindow::focusFirst() {
    if (page() == form_)
        form_->focusFirst();
    else
        progress_->focusFirst();
}

void EpisodeWindow::submit() {
    form_->submit();
}

void EpisodeWindow::fitScreen() {
    const QSize room = roomFor(this);
    form_->setRoom(room);
    progress_->setRoom(room);
    const bool hasStrip =
        page() == finished_ && room.height() >= finished_->wantedHeight() + DialogPicture::croppedHeight;
    strip_->setVisible(hasStrip);
    finished_->setMostHeight(room.height() - (hasStrip ? DialogPicture::croppedHeight : 0));
    failed_->setMostHeight(room.height());
}

void EpisodeWindow::start() {
    auto order = model().episodeExport().order();
    if (!order) return;
    form_->setAsking(true);
    model().exports().chooseAndStart(std::move(*order), model().episodeExport().suggestedName(),
                                     [form = QPointer(form_)] {
                                         if (form) form->setAsking(false);
                                     });
}

void EpisodeWindow::showChapter() {
    if (page() != form_) return;
    const auto& plan = model().episodeExport().planToShow();
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
    EpisodePrograms programs = model().episode().programs();
    if (model().needsRun()) programs = {};
    still_.show(plan, std::move(programs), typicalMoment(*plan, part));
}

void EpisodeWindow::followStill() {
    if (page() == progress_) {
        card_ = still_.image();
        return;
    }
    if (page() != form_) return;
    if (still_.image().isNull())
        form_->picture()->clear();
    else
        form_->picture()->setImage(still_.image());
}

} // namespace glasshob
