#include "GlassHob/ui/export/EpisodePages.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/export/ChapterList.h"
#include "GlassHob/ui/export/EpisodeParts.h"
#include "GlassHob/ui/export/ExportProgress.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/export/PresetCards.h"
#include "GlassHobRender/episode/EpisodePlan.h"

#include <QCheckBox>
#include <QClipboard>
#include <QEvent>
#include <QGuiApplication>
#include <QScrollArea>
#include <QToolTip>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr int cardInset = 12;
constexpr int margin = 16;
constexpr int headingHeight = 36;
constexpr int barRoom = 8;
constexpr int fewestRows = 3; // of chapters, however little room there is
constexpr int rowsOfColumn = 8;
constexpr int leastPage = 215; // under a picture that is in its way, a page would be too low to be used

} // namespace

TwoColumnPage::TwoColumnPage(QWidget* parent)
    : QWidget(parent), ground_(new FilledPane(Role::panel, {}, nullptr)), scroll_(makeScrollArea(ground_, this)) {
    columns_ = new QBoxLayout(QBoxLayout::LeftToRight, ground_);
    columns_->setContentsMargins(0, 0, 0, 0);
    columns_->setSpacing(0);
    left_ = new FilledPane(Role::panel, {}, ground_);
    left_->setFixedWidth(dialogWidth);
    divider_ = new FilledPane(Role::line, {}, ground_);
    right_ = new FilledPane(Role::panel, {}, ground_);
    columns_->addWidget(left_);
    columns_->addWidget(divider_);
    columns_->addWidget(right_);
    picture_ = new DialogPicture(left_);
    picture_->setAccessibleName(tr("Picture of the chapter"));
    ground_->installEventFilter(this);
}

void TwoColumnPage::fill(QWidget* underPicture, QWidget* overChapters) {
    auto* leftColumn = new QVBoxLayout(left_);
    leftColumn->setContentsMargins(0, 0, 0, 0);
    leftColumn->setSpacing(0);
    leftColumn->addWidget(picture_);
    leftColumn->addWidget(underPicture, 1);

    auto* rightColumn = new QVBoxLayout(right_);
    rightColumn->setContentsMargins(0, 0, 0, 0);
    rightColumn->setSpacing(0);
    overChapters_ = overChapters;
    if (overChapters != nullptr) {
        rightColumn->addWidget(overChapters);
        auto* rule = new FilledPane(Role::line, {}, right_);
        rule->setFixedHeight(1);
        rightColumn->addWidget(rule);
    }
    auto* heading = new QHBoxLayout;
    heading->setContentsMargins(margin, 0, margin, 0);
    heading->setSpacing(8);
    auto* name = new TextLine(fonts::heading(), Role::text, right_, tr("Chapters"));
    name->setFixedHeight(headingHeight);
    count_ = new TextLine(fonts::small(), Role::text3, right_);
    count_->setFixedHeight(headingHeight);
    heading->addWidget(name);
    heading->addWidget(count_);
    heading->addStretch(1);
    rightColumn->addLayout(heading);
    chapters_ = new ChapterList(right_);
    rightColumn->addWidget(chapters_, 1);

    footer_ = new DialogFooter(this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(scroll_);
    column->addWidget(footer_);
}

void TwoColumnPage::setRoom(QSize room) {
    room_ = room;
    fit();
}

bool TwoColumnPage::eventFilter(QObject* object, QEvent* event) {
    if (object == ground_ && event->type() == QEvent::LayoutRequest) fit();
    return QWidget::eventFilter(object, event);
}

void TwoColumnPage::fit() {
    if (room_.isEmpty() || chapters_ == nullptr) return;
    const bool hasTwo = room_.width() >= 2 * dialogWidth;
    const int room = std::max(room_.height() - footer_->height(), 120);
    // The picture gives way first, then the page scrolls.
    picture_->setVisible(hasTwo || room - DialogPicture::wholeHeight >= leastPage);
    const int over = overChapters_ != nullptr ? overChapters_->sizeHint().height() + 1 : 0;
    const int under = left_->layout()->sizeHint().height();
    columns_->setDirection(hasTwo ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    int height = 0;
    if (hasTwo) {
        divider_->setMinimumSize(1, 0);
        divider_->setMaximumSize(1, QWIDGETSIZE_MAX);
        left_->setMinimumHeight(0);
        left_->setMaximumHeight(QWIDGETSIZE_MAX);
        chapters_->setMinimumHeight(fewestRows * ChapterList::rowHeight);
        chapters_->setMaximumHeight(QWIDGETSIZE_MAX);
        const int least = std::max(under, over + headingHeight + fewestRows * ChapterList::rowHeight);
        height = std::max(least, std::min(int(bodyHeight), room));
    } else {
        divider_->setMinimumSize(0, 1);
        divider_->setMaximumSize(QWIDGETSIZE_MAX, 1);
        left_->setFixedHeight(under);
        const int rows = std::clamp(chapters_->chapters()->rowCount(), fewestRows, rowsOfColumn);
        chapters_->setFixedHeight(rows * ChapterList::rowHeight + 4);
        height = under + 1 + over + headingHeight + chapters_->maximumHeight();
    }
    const int bar = height > room ? barRoom : 0;
    const int width = hasTwo ? 2 * dialogWidth : dialogWidth;
    left_->setFixedWidth(hasTwo ? dialogWidth : dialogWidth - bar);
    picture_->setFixedWidth(left_->width());
    right_->setFixedWidth(hasTwo ? dialogWidth - 1 - bar : dialogWidth - bar);
    ground_->resize(width - bar, height);
    scroll_->setFixedSize(width, std::min(height, room));
    setFixedWidth(width);
}

void TwoColumnPage::tellCount() {
    const int count = chapters_->chapters()->rowCount();
    count_->setText(count > 0 ? QString::number(count) : QString());
}

// ---- Before ---------------------------------------------------------------------------------------------------------

EpisodeForm::EpisodeForm(AppModel& model, QWidget* parent) : TwoColumnPage(parent), model_(model) {
    auto* options = new QWidget(left());
    presets_ = new PresetCards(options, PresetCards::Offers::presets);
    const auto option = [options](const QString& text) {
        auto* made = new QCheckBox(text, options);
        made->setFont(fonts::body());
        made->setFixedHeight(20);
        return made;
    };
    mark_ = option(tr("Draw the Hob mark"));
    sound_ = option(tr("Play the finished shader's sound throughout"));
    sound_->setToolTip(plainToolTip(tr("Else each stage of the walkthrough is heard with its own sound")));
    writesChapters_ = option(tr("Write the chapters beside the movie"));
    writesChapters_->setToolTip(plainToolTip(tr("As a JSON file; the movie holds its chapters in any case")));
    auto* body = new QVBoxLayout(options);
    body->setContentsMargins(0, 16, 0, 20);
    body->setSpacing(0);
    auto* cards = new QVBoxLayout;
    cards->setContentsMargins(cardInset, 0, cardInset, 0);
    cards->addWidget(presets_);
    body->addLayout(cards);
    body->addSpacing(18);
    auto* checks = new QVBoxLayout;
    checks->setContentsMargins(dialogMargin, 0, dialogMargin, 0);
    checks->setSpacing(10);
    for (QCheckBox* check : {mark_, sound_, writesChapters_})
        checks->addWidget(check, 0, Qt::AlignLeft);
    body->addLayout(checks);
    body->addStretch(1);

    parts_ = new EpisodeParts(model_, right());
    fill(options, parts_);
    foreseen_ = new TextLine(fonts::small(), Role::text3, footer());
    foreseen_->setElides(true);
    foreseen_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    export_ = new TextButton(tr("Export…"), TextButton::Look::primary, footer());
    export_->setToolTip(plainToolTip(tr("Export… (Ctrl+Return)")));
    footer()->row()->addWidget(foreseen_, 1);
    footer()->row()->addWidget(cancel_);
    footer()->row()->addWidget(export_);

    const EpisodeExportChoices& choices = model_.episodeExport().choices();
    presets_->choose(choices.presetId);
    mark_->setChecked(choices.hasMark);
    sound_->setChecked(choices.soundThroughout);
    writesChapters_->setChecked(choices.writesChapters);
    connect(presets_, &PresetCards::chosen, this, &EpisodeForm::read);
    for (QCheckBox* check : {mark_, sound_, writesChapters_})
        connect(check, &QCheckBox::clicked, this, &EpisodeForm::read);
    connect(parts_, &EpisodeParts::refusalChanged, this, &EpisodeForm::follow);
    connect(cancel_, &QAbstractButton::clicked, this, &EpisodeForm::cancelled);
    connect(export_, &QAbstractButton::clicked, this, &EpisodeForm::submit);
    connect(&model_.episodeExport(), &EpisodeExport::changed, this, &EpisodeForm::follow);
    follow();
}

void EpisodeForm::focusFirst() {
    for (PresetCard* card : presets_->cards())
        if (card->isChecked()) card->setFocus(Qt::OtherFocusReason);
}

void EpisodeForm::setAsking(bool asking) {
    asking_ = asking;
    follow();
}

void EpisodeForm::read() {
    EpisodeExportChoices choices = model_.episodeExport().choices();
    for (const PresetCard* card : presets_->cards())
        if (card->isChecked()) choices.presetId = card->id();
    choices.hasMark = mark_->isChecked();
    choices.soundThroughout = sound_->isChecked();
    choices.writesChapters = writesChapters_->isChecked();
    model_.episodeExport().setChoices(choices);
}

void EpisodeForm::follow() {
    const EpisodeExport& made = model_.episodeExport();
    const QString obstacle = parts_->refusal().isEmpty() ? made.obstacle() : parts_->refusal();
    export_->setEnabled(obstacle.isEmpty() && !asking_);
    const bool isKnown = obstacle.isEmpty() && made.plan();
    const QString text =
        isKnown ? exportTexts::foreseen(ExportPlan(made.choices().preset(), 0, made.plan()->seconds()), made.hasSound())
                : obstacle;
    foreseen_->setText(text);
    foreseen_->setToolTip(plainToolTip(text));
    const auto& plan = made.planToShow();
    auto rows = plan ? chapterRows(*plan) : std::vector<ChapterRow>();
    // What follows a walkthrough of unknown length begins nobody knows when.
    if (plan && !made.plan())
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (plan->parts()[i].kind > EpisodePart::Kind::stage) rows[i].time = QStringLiteral("–:––");
    chapters()->setRows(std::move(rows));
    tellCount();
}

void EpisodeForm::submit() {
    if (!parts_->checkField()) {
        parts_->pageSeconds()->setFocus(Qt::OtherFocusReason);
        parts_->pageSeconds()->selectAll();
        return;
    }
    if (export_->isEnabled()) emit submitted();
}

// ---- During ---------------------------------------------------------------------------------------------------------

EpisodeProgress::EpisodeProgress(AppModel& model, QWidget* parent) : TwoColumnPage(parent), model_(model) {
    figures_ = new ExportFigures(model_,
                                 tr("You can go on editing: the export uses the shader, the stages and the header as "
                                    "they were when it began."),
                                 left());
    fill(figures_, nullptr);
    chapters()->setSelectionMode(QAbstractItemView::NoSelection);
    cancel_ = new TextButton(tr("Cancel Export"), TextButton::Look::dialog, footer());
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(cancel_);
    connect(cancel_, &QAbstractButton::clicked, this, &EpisodeProgress::cancelled);
    connect(&model_, &AppModel::exportChanged, this, &EpisodeProgress::follow);
    follow();
}

void EpisodeProgress::focusFirst() {
    shown_ = -1;
    cancel_->setFocus(Qt::OtherFocusReason);
}

void EpisodeProgress::follow() {
    const auto* running = std::get_if<ExportRunning>(&model_.exportState());
    const auto& order = model_.exports().order();
    if (!running || !order || !order->episode) return;
    const EpisodePlan& plan = *order->episode;
    const EpisodePart& part = plan.partAt(running->done);
    const int row = int(&part - plan.parts().data());
    const double share = double(running->done - part.firstFrame) / double(part.frames);
    if (std::exchange(plan_, order->episode) != order->episode) {
        chapters()->setRows(chapterRows(plan));
        tellCount();
    }
    chapters()->chapters()->setProgress(ChapterModel::Progress{row, std::clamp(int(share * 100), 0, 100)});
    picture()->setAccessibleDescription(chapters()->chapters()->rows()[std::size_t(row)].title);
    if (row != shown_) chapters()->scrollTo(chapters()->chapters()->index(row));
    shown_ = row;
    cancel_->setEnabled(!model_.exports().isCancelling());
}

// ---- After ----------------------------------------------------------------------------------------------------------

EpisodeFinishedPage::EpisodeFinishedPage(AppModel& model, QWidget* parent)
    : ResultPage(model.questions(), parent), model_(model) {
    play()->hide();
    copyPath()->hide();
    copyChapters_ = new TextButton(tr("Copy Chapters as Text"), TextButton::Look::action, ground(), Icon::copy);
    copyChapters_->setToolTip(plainToolTip(tr("As lines for the description of the video: 0:00 and the title")));
    addUnderFigures(copyChapters_);
    connect(copyChapters_, &QAbstractButton::clicked, this, [this] {
        const auto& order = model_.exports().order();
        if (!order || !order->episode) return;
        QGuiApplication::clipboard()->setText(QString::fromStdString(order->episode->chapters().lines()));
        QToolTip::showText(copyChapters_->mapToGlobal(QPoint(0, copyChapters_->height())),
                           tr("The chapters are on the clipboard"), copyChapters_);
    });
    connect(&model_, &AppModel::exportChanged, this, &EpisodeFinishedPage::follow);
    follow();
}

void EpisodeFinishedPage::follow() {
    const auto* finished = std::get_if<ExportFinished>(&model_.exportState());
    const ExportJob& job = model_.exports();
    if (!finished || !job.order() || !job.order()->episode) return;
    const ExportOrder& order = *job.order();
    QString companion;
    if (!order.companions.empty())
        companion =
            exportTexts::nameOfResult(order.path.left(order.path.lastIndexOf(u'.')) + order.companions.front().suffix);
    tell(exportTexts::ready(order), finished->path,
         exportTexts::result(exportTexts::place(order.seconds()), double(job.bytes()), job.secondsTaken()), companion);
}

} // namespace glasshob
