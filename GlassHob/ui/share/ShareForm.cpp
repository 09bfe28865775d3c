#include "GlassHob/ui/share/ShareForm.h"

#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/ProgressBar.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/Segments.h"
#include "GlassHob/ui/controls/TextBox.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/ShareModel.h"

#include <QVBoxLayout>

#include <algorithm>
#include <vector>

namespace glasshob {

namespace {

constexpr int fieldHeight = 32;
constexpr int labelGap = 5, rowGap = 16, fieldGap = 12;
constexpr int descriptionLines = 3;
constexpr int barHeight = 6;
constexpr int lineHeight = 18; // of the hints under the fields
constexpr int placeHeight = 3 * lineHeight;

TextLine* labelOf(const QString& text, QWidget* parent) {
    auto* label = new TextLine(fonts::fieldLabel(), Role::text2, parent, text);
    label->setFixedHeight(17);
    return label;
}

// A column of a label and its field.
QVBoxLayout* labelled(const QString& text, QWidget* field, QWidget* parent) {
    auto* column = new QVBoxLayout;
    column->setSpacing(labelGap);
    column->addWidget(labelOf(text, parent));
    column->addWidget(field);
    return column;
}

QString counted(std::size_t count, std::size_t most) {
    return QStringLiteral("%1 / %2").arg(count).arg(most);
}

} // namespace

ShareForm::ShareForm(ShareModel& share, QWidget* parent) : DialogPage(parent), model_(share) {
    FilledPane* const ground = this->ground();
    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(dialogMargin, 20, dialogMargin, 20);
    body->setSpacing(0);
    body->addWidget(makeFields());
    body->addSpacing(20);

    // One of these at a time; they take turns in a place that keeps its height.
    told_ = new WrappedText(fonts::small(), Role::text3, dialogTextWidth, ground);
    progress_ = makeProgress();
    problem_ = new FieldMessage(dialogTextWidth, ground);
    auto* place = new QVBoxLayout;
    place->setSpacing(0);
    auto* strut = new QSpacerItem(0, placeHeight, QSizePolicy::Fixed, QSizePolicy::Minimum);
    auto* turns = new QVBoxLayout;
    turns->setSpacing(0);
    turns->addWidget(told_, 0, Qt::AlignTop | Qt::AlignLeft);
    turns->addWidget(progress_, 0, Qt::AlignTop);
    turns->addWidget(problem_, 0, Qt::AlignTop | Qt::AlignLeft);
    turns->addStretch(1);
    auto* row = new QHBoxLayout;
    row->setSpacing(0);
    row->addLayout(turns, 1);
    row->addItem(strut);
    body->addLayout(row);

    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    share_ = new TextButton(tr("Share"), TextButton::Look::primary, footer());
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(cancel_);
    footer()->row()->addWidget(share_);
    connect(cancel_, &QAbstractButton::clicked, this, &ShareForm::cancelled);
    connect(share_, &QAbstractButton::clicked, this, &ShareForm::submit);
    follow();
}

QWidget* ShareForm::makeFields() {
    auto* fields = new QWidget(ground());
    auto* column = new QVBoxLayout(fields);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    title_ = new SearchField(tr("Title"), {}, fields);
    title_->setFont(fonts::body());
    title_->setFixedHeight(fieldHeight);
    title_->setText(model_.title);
    column->addLayout(labelled(title_->accessibleName(), title_, fields));
    column->addSpacing(rowGap);

    description_ = new TextBox(tr("Description"), descriptionLines, fields);
    description_->setText(model_.description);
    descriptionCount_ = new TextLine(fonts::small(), Role::text3, fields);
    auto* head = new QHBoxLayout;
    head->addWidget(labelOf(tr("Description"), fields));
    head->addStretch(1);
    head->addWidget(descriptionCount_);
    column->addLayout(head);
    column->addSpacing(labelGap);
    column->addWidget(description_);
    column->addSpacing(rowGap);

    QStringList licences;
    for (const ShareUpload::Licence each : ShareUpload::licences)
        licences.append(asQString(glasshob::title(each)));
    licence_ = new ChoiceField(tr("Licence"), licences, {}, fields);
    licence_->setCurrent(int(std::ranges::find(ShareUpload::licences, model_.licence) - ShareUpload::licences));
    visibility_ = new Segments(tr("Visibility"), {tr("Public"), tr("Unlisted"), tr("Private")}, fields);
    visibility_->setFixedHeight(fieldHeight);
    visibility_->setCurrent(
        int(std::ranges::find(ShareUpload::visibilities, model_.visibility) - ShareUpload::visibilities));
    auto* choices = new QHBoxLayout;
    choices->setSpacing(fieldGap);
    choices->addLayout(labelled(licence_->accessibleName(), licence_, fields), 1);
    choices->addLayout(labelled(visibility_->accessibleName(), visibility_, fields));
    column->addLayout(choices);
    column->addSpacing(rowGap);

    const QString origin = model_.forkedFrom() ? asQString(*model_.forkedFrom()) : tr("nothing: an original shader");
    forkedFrom_ = new TextLine(fonts::body(), Role::text2, fields, origin);
    forkedFrom_->setElides(true);
    forkedFrom_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    auto* fork = new QHBoxLayout;
    fork->setSpacing(8);
    fork->addWidget(labelOf(tr("Forked from"), fields));
    fork->addWidget(forkedFrom_, 1);
    column->addLayout(fork);

    connect(title_, &QLineEdit::textChanged, this, [this] {
        model_.title = title_->text();
        followTitle();
        retractProblem();
    });
    connect(description_, &TextBox::edited, this, [this] {
        model_.description = description_->text();
        followDescription();
        retractProblem();
    });
    connect(licence_, &ChoiceField::chosen, this, [this](int index) { model_.licence = ShareUpload::licences[index]; });
    connect(visibility_, &Segments::chosen, this,
            [this](int index) { model_.visibility = ShareUpload::visibilities[index]; });
    followTitle();
    followDescription();
    return fields;
}

QWidget* ShareForm::makeProgress() {
    auto* progress = new QWidget(ground());
    step_ = new TextLine(fonts::ui(12.5, QFont::DemiBold), Role::text, progress);
    percent_ = new TextLine(fonts::value(), Role::text2, progress);
    bar_ = new ProgressBar(tr("Sharing"), progress);
    bar_->setFixedHeight(barHeight);
    auto* figures = new QHBoxLayout;
    figures->addWidget(step_);
    figures->addStretch(1);
    figures->addWidget(percent_);
    auto* column = new QVBoxLayout(progress);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);
    column->addLayout(figures);
    column->addWidget(bar_);
    return progress;
}

void ShareForm::followTitle() {
    const std::string text = title_->text().toStdString();
    const std::size_t count = characterCount(trimmed(text));
    const bool isTooLong = count > ShareUpload::titleLimit;
    title_->setCounter(counted(count, ShareUpload::titleLimit), isTooLong ? Role::error : Role::text3);
    title_->setRefused(isTooLong);
}

void ShareForm::followDescription() {
    const std::size_t count = characterCount(description_->text().toStdString());
    const bool isTooLong = count > ShareUpload::descriptionLimit;
    descriptionCount_->setText(counted(count, ShareUpload::descriptionLimit));
    descriptionCount_->setRole(isTooLong ? Role::error : Role::text3);
    description_->edit()->setAccessibleDescription(descriptionCount_->text());
    description_->setRefused(isTooLong);
}

// Of a text that is another one by now. What the gallery said stays to be read.
void ShareForm::retractProblem() {
    if (problem_->isVisibleTo(this) && !std::holds_alternative<ShareModel::Failed>(model_.phase())) follow();
}

void ShareForm::tellProgress(const QString& step, double progress) {
    const int percent = int(progress * 100);
    step_->setText(step);
    percent_->setText(tr("%1%").arg(percent));
    bar_->setShare(progress, tr("%1, %2 percent").arg(step).arg(percent));
}

void ShareForm::follow() {
    const ShareModel::Phase& phase = model_.phase();
    const auto* rendering = std::get_if<ShareModel::Rendering>(&phase);
    const auto* uploading = std::get_if<ShareModel::Uploading>(&phase);
    const auto* failed = std::get_if<ShareModel::Failed>(&phase);
    const auto* editing = std::get_if<ShareModel::Editing>(&phase);
    const bool works = rendering || uploading;
    for (QWidget* field : {static_cast<QWidget*>(title_), static_cast<QWidget*>(description_),
                           static_cast<QWidget*>(licence_), static_cast<QWidget*>(visibility_)})
        field->setEnabled(!works);
    if (rendering) tellProgress(tr("Rendering the loop and thumbnail"), rendering->progress);
    if (uploading) tellProgress(tr("Uploading"), uploading->progress);
    const bool begins = works && progress_->isHidden();
    progress_->setVisible(works);
    const QString uploads =
        tr("Uploads the source, an 8-second 1280×720 loop and a 1200×675 thumbnail from %1 s, "
           "drawn with the parameters' declared defaults. Kind: %2")
            .arg(asQString(shortestText(float(model_.start()))), asQString(rawValue(model_.kind())));
    told_->setText(editing && !editing->notice.isEmpty() ? editing->notice : uploads);
    told_->setVisible(!works && !failed);
    if (failed)
        problem_->tell(QString(failed->message.trimmed()).replace(u'\n', QChar::LineSeparator));
    else
        problem_->retract();
    share_->setText(failed ? tr("Try Again") : tr("Share"));
    share_->setVisible(!works);
    emit heightChanged();
    if (failed) reveal(problem_);
    if (begins) reveal(progress_);
}

void ShareForm::focusFirst() {
    if (model_.isWorking()) {
        cancel_->setFocus(Qt::OtherFocusReason);
    } else if (std::holds_alternative<ShareModel::Failed>(model_.phase())) {
        share_->setFocus(Qt::OtherFocusReason);
    } else {
        title_->setFocus(Qt::OtherFocusReason);
        title_->selectAll();
    }
}

void ShareForm::submit() {
    if (!share_->isVisibleTo(this)) return;
    const std::vector<std::string> problems = model_.problemsOfTexts();
    if (problems.empty()) {
        model_.share();
        return;
    }
    const bool titleIsGood = title_->text().trimmed().isEmpty() ? false : !title_->isRefused();
    title_->setRefused(!titleIsGood);
    QStringList sentences;
    for (const std::string& problem : problems)
        sentences.append(asQString(problem));
    problem_->tell(sentences.join(u' '));
    told_->hide();
    emit heightChanged();
    reveal(problem_);
    if (!titleIsGood)
        title_->setFocus(Qt::OtherFocusReason);
    else if (characterCount(model_.description.toStdString()) > ShareUpload::descriptionLimit)
        description_->edit()->setFocus(Qt::OtherFocusReason);
}

} // namespace glasshob
