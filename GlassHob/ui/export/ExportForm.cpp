#include "GlassHob/ui/export/ExportForm.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/export/PresetCards.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr int cardInset = 12; // the cards reach nearer to the edges than what stands under them
constexpr int fieldGap = 12;

} // namespace

ExportForm::ExportForm(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    auto* ground = new Ground(Role::panel, {}, this);
    presets_ = new PresetCards(ground);
    auto field = [ground](const QString& name) {
        auto* made = new SearchField(name, {}, ground);
        made->setFixedHeight(32);
        made->setCounter(tr("seconds"));
        return made;
    };
    start_ = field(tr("Start"));
    duration_ = field(tr("Duration"));
    message_ = new FieldMessage(dialogWidth - 2 * dialogMargin, ground);
    mark_ = new QCheckBox(tr("Draw the Hob mark"), ground);
    mark_->setFont(fonts::body());
    mark_->setFixedHeight(20);

    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(0, 16, 0, 24);
    body->setSpacing(0);
    auto* cards = new QVBoxLayout;
    cards->setContentsMargins(cardInset, 0, cardInset, 0);
    cards->addWidget(presets_);
    body->addLayout(cards);
    body->addSpacing(16);
    auto* fields = new QGridLayout;
    fields->setContentsMargins(dialogMargin, 0, dialogMargin, 0);
    fields->setHorizontalSpacing(fieldGap);
    fields->setVerticalSpacing(5);
    for (int column = 0; column < 2; ++column) {
        SearchField* which = column == 0 ? start_ : duration_;
        auto* label = new TextLine(fonts::fieldLabel(), Role::text2, ground, which->accessibleName());
        label->setFixedHeight(17);
        fields->addWidget(label, 0, column);
        fields->addWidget(which, 1, column);
        fields->setColumnStretch(column, 1);
    }
    body->addLayout(fields);
    auto* rest = new QVBoxLayout;
    rest->setContentsMargins(dialogMargin, 0, dialogMargin, 0);
    rest->setSpacing(0);
    auto* message = new QVBoxLayout;
    message->setContentsMargins(0, 0, 0, 0);
    message->addWidget(message_);
    message_->setContentsMargins(0, 8, 0, 0);
    rest->addLayout(message);
    rest->addSpacing(16);
    rest->addWidget(mark_, 0, Qt::AlignLeft);
    body->addLayout(rest);

    auto* footer = new DialogFooter(this);
    foreseen_ = new TextLine(fonts::small(), Role::text3, footer);
    foreseen_->setElides(true);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer);
    export_ = new TextButton(tr("Export…"), TextButton::Look::primary, footer);
    footer->row()->addWidget(foreseen_);
    footer->row()->addStretch(1);
    footer->row()->addWidget(cancel_);
    footer->row()->addWidget(export_);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(ground);
    column->addWidget(footer);

    const ExportChoices& choices = model_.exportChoices();
    presets_->choose(choices.preset().id);
    start_->setText(exportTexts::seconds(choices.start));
    duration_->setText(exportTexts::seconds(choices.duration));
    mark_->setChecked(choices.watermark);

    connect(presets_, &PresetCards::chosen, this, &ExportForm::read);
    connect(mark_, &QCheckBox::toggled, this, &ExportForm::read);
    for (SearchField* which : {start_, duration_}) {
        connect(which, &QLineEdit::textEdited, this, &ExportForm::read);
        connect(which, &QLineEdit::editingFinished, this, [this] { check(true); });
    }
    connect(cancel_, &QAbstractButton::clicked, this, &ExportForm::cancelled);
    connect(export_, &QAbstractButton::clicked, this, &ExportForm::submit);
    connect(&model_, &AppModel::exportChanged, this, &ExportForm::follow);
    connect(&model_, &AppModel::compiled, this, &ExportForm::follow);
    connect(&model_, &AppModel::documentChanged, this, &ExportForm::follow);

    follow();
}

void ExportForm::focusFirst() {
    start_->setFocus(Qt::OtherFocusReason);
    start_->selectAll();
}

void ExportForm::setAsking(bool asking) {
    asking_ = asking;
    follow();
}

void ExportForm::follow() {
    export_->setEnabled(model_.exports().canStart() && !asking_);
    check(false);
}

// What can be read is taken over while it is typed; the rest of the choices stay as they were.
void ExportForm::read() {
    ExportChoices choices = model_.exportChoices();
    for (const PresetCard* card : presets_->cards())
        if (card->isChecked()) choices.presetId = card->id();
    choices.watermark = mark_->isChecked();
    choices.start = exportTexts::readStart(start_->text()).value_or(choices.start);
    choices.duration = exportTexts::readDuration(duration_->text()).value_or(choices.duration);
    model_.setExportChoices(choices);
    check(false);
}

bool ExportForm::check(bool all) {
    const auto start = exportTexts::readStart(start_->text());
    const auto duration = exportTexts::readDuration(duration_->text());
    start_->setRefused(!start && (all || start_->isRefused()));
    duration_->setRefused(!duration && (all || duration_->isRefused()));
    if (start_->isRefused())
        message_->tell(start.error());
    else if (duration_->isRefused())
        message_->tell(duration.error());
    else
        message_->retract();
    const bool isValid = start && duration;
    const auto& program = model_.program();
    if (model_.needsRun())
        foreseen_->setText(tr("Press Run in the window first"));
    else if (!program)
        foreseen_->setText(tr("No picture to export yet"));
    else
        foreseen_->setText(
            !isValid ? QString()
                     : exportTexts::foreseen(model_.exportChoices().plan(), program->soundPipeline() != nullptr));
    return isValid;
}

void ExportForm::submit() {
    if (!export_->isEnabled()) return;
    read();
    if (check(true)) {
        emit submitted();
        return;
    }
    SearchField* first = start_->isRefused() ? start_ : duration_;
    first->setFocus(Qt::OtherFocusReason);
    first->selectAll();
}

} // namespace glasshob
