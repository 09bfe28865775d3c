#include "GlassHob/ui/export/ExportForm.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/export/OwnPicture.h"
#include "GlassHob/ui/export/PresetCards.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace glasshob {

namespace {

constexpr int cardInset = 12; // the cards reach nearer to the edges than what stands under them
constexpr int fieldGap = 12;

// The formats in the list.
std::vector<const ExportFormatEntry*> offered() {
    std::vector<const ExportFormatEntry*> entries;
    for (const ExportFormatEntry& entry : ExportFormats::all())
        if (entry.isOffered) entries.push_back(&entry);
    return entries;
}

} // namespace

ExportForm::ExportForm(AppModel& model, QWidget* parent) : DialogPage(parent), model_(model) {
    FilledPane* const ground = this->ground();
    QStringList names, contents;
    for (const ExportFormatEntry* entry : offered()) {
        names.append(QString::fromLatin1(entry->name.data(), qsizetype(entry->name.size())));
        contents.append(QString::fromLatin1(entry->contents.data(), qsizetype(entry->contents.size())));
    }
    format_ = new ChoiceField(tr("Format"), names, contents, ground);
    presets_ = new PresetCards(ground);
    ownRow_ = new QWidget(ground);
    own_ = new OwnPicture(OwnPicture::Asks::sizeAndRate, ownRow_);
    auto field = [ground](const QString& name) {
        auto* made = new SearchField(name, {}, ground);
        made->setFixedHeight(32);
        made->setCounter(tr("seconds"));
        return made;
    };
    start_ = field(tr("Start"));
    duration_ = field(tr("Duration"));
    fromNow_ = new TextButton(tr("From now"), TextButton::Look::link, ground);
    fromNow_->setToolTip(plainToolTip(tr("Begin at the preview's time")));
    theLoop_ = new TextButton(tr("The loop"), TextButton::Look::link, ground);
    theLoop_->setToolTip(plainToolTip(tr("Export the stretch that the preview loops")));
    message_ = new FieldMessage(dialogTextWidth, ground);
    mark_ = new QCheckBox(tr("Draw the Hob mark"), ground);
    mark_->setFont(fonts::body());
    mark_->setFixedHeight(20);

    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(0, 16, 0, 24);
    body->setSpacing(0);
    auto* formats = new QVBoxLayout;
    formats->setContentsMargins(dialogMargin, 0, dialogMargin, 12);
    formats->setSpacing(5);
    auto* formatLabel = new TextLine(fonts::fieldLabel(), Role::text2, ground, format_->accessibleName());
    formatLabel->setFixedHeight(17);
    formats->addWidget(formatLabel);
    formats->addWidget(format_);
    body->addLayout(formats);
    auto* cards = new QVBoxLayout;
    cards->setContentsMargins(cardInset, 0, cardInset, 0);
    cards->addWidget(presets_);
    body->addLayout(cards);
    auto* own = new QVBoxLayout(ownRow_);
    own->setContentsMargins(dialogMargin, 12, dialogMargin, 0);
    own->addWidget(own_);
    body->addWidget(ownRow_);
    body->addSpacing(16);
    auto* fields = new QGridLayout;
    fields->setContentsMargins(dialogMargin, 0, dialogMargin, 0);
    fields->setHorizontalSpacing(fieldGap);
    fields->setVerticalSpacing(5);
    for (int column = 0; column < 2; ++column) {
        SearchField* which = column == 0 ? start_ : duration_;
        auto* label = new TextLine(fonts::fieldLabel(), Role::text2, ground, which->accessibleName());
        label->setFixedHeight(17);
        TextButton* link = column == 0 ? fromNow_ : theLoop_;
        link->setFixedHeight(17);
        auto* head = new QHBoxLayout;
        head->setSpacing(8);
        head->addWidget(label);
        head->addStretch(1);
        head->addWidget(link);
        fields->addLayout(head, 0, column);
        fields->addWidget(which, 1, column);
        fields->setColumnStretch(column, 1);
    }
    body->addLayout(fields);
    setTabBefore(fromNow_, start_);
    setTabBefore(theLoop_, duration_);
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

    DialogFooter* const footer = this->footer();
    foreseen_ = new TextLine(fonts::small(), Role::text3, footer);
    foreseen_->setElides(true);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer);
    export_ = new TextButton(tr("Export…"), TextButton::Look::primary, footer);
    footer->row()->addWidget(foreseen_);
    footer->row()->addStretch(1);
    footer->row()->addWidget(cancel_);
    footer->row()->addWidget(export_);

    const ExportChoices& choices = model_.exportChoices();
    presets_->choose(choices.preset().id);
    own_->setPicture(choices.ownWidth, choices.ownHeight, choices.ownFps);
    start_->setText(exportTexts::seconds(choices.start));
    duration_->setText(exportTexts::seconds(choices.duration));
    mark_->setChecked(choices.watermark);

    connect(format_, &ChoiceField::chosen, this, &ExportForm::read);
    connect(own_, &OwnPicture::edited, this, &ExportForm::read);
    connect(own_, &OwnPicture::left, this, [this] { check(true); });
    connect(presets_, &PresetCards::chosen, this, &ExportForm::read);
    connect(mark_, &QCheckBox::toggled, this, &ExportForm::read);
    for (SearchField* which : {start_, duration_}) {
        connect(which, &QLineEdit::textEdited, this, &ExportForm::read);
        connect(which, &QLineEdit::editingFinished, this, [this] { check(true); });
    }
    connect(fromNow_, &QAbstractButton::clicked, this, [this] {
        start_->setText(exportTexts::seconds(std::floor(model_.time() * 10) / 10));
        read();
    });
    connect(theLoop_, &QAbstractButton::clicked, this, [this] {
        if (!model_.loop()) return;
        start_->setText(exportTexts::seconds(model_.loop()->start));
        duration_->setText(exportTexts::seconds(model_.loop()->length()));
        read();
    });
    connect(&model_, &AppModel::clockChanged, this, [this] { theLoop_->setVisible(model_.loop().has_value()); });
    theLoop_->setVisible(model_.loop().has_value());
    connect(cancel_, &QAbstractButton::clicked, this, &ExportForm::cancelled);
    connect(export_, &QAbstractButton::clicked, this, &ExportForm::submit);
    connect(&model_, &AppModel::exportChanged, this, &ExportForm::followChoices);
    connect(&model_, &AppModel::compiled, this, &ExportForm::follow);
    connect(&model_, &AppModel::documentChanged, this, &ExportForm::follow);

    followChoices();
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

void ExportForm::followChoices() {
    const ExportChoices& choices = model_.exportChoices();
    const auto formats = offered();
    const auto at = std::ranges::find_if(formats, [&](const auto* entry) { return entry->format == choices.format; });
    format_->setCurrent(at == formats.end() ? -1 : int(at - formats.begin()),
                        QString::fromLatin1(ExportFormats::entry(choices.format).ending));
    const bool hasPictures = ExportFormats::entry(choices.format).hasPictures;
    presets_->follow(choices);
    presets_->setVisible(hasPictures);
    ownRow_->setVisible(hasPictures && choices.presetId == ExportChoices::ownId);
    mark_->setVisible(hasPictures);
    ground()->layout()->activate();
    follow();
    emit heightChanged();
}

// What can be read is taken over while it is typed; the rest of the choices stay as they were.
void ExportForm::read() {
    ExportChoices choices = model_.exportChoices();
    for (const PresetCard* card : presets_->cards())
        if (card->isChecked()) choices.presetId = card->id();
    choices.watermark = mark_->isChecked();
    if (format_->current() >= 0) choices.format = offered()[std::size_t(format_->current())]->format;
    choices.ownWidth = exportTexts::readSide(own_->widthField()->text()).value_or(choices.ownWidth);
    choices.ownHeight = exportTexts::readSide(own_->heightField()->text()).value_or(choices.ownHeight);
    choices.ownFps = exportTexts::readRate(own_->rateField()->text(), choices.format).value_or(choices.ownFps);
    choices.start = exportTexts::readStart(start_->text()).value_or(choices.start);
    choices.duration = exportTexts::readDuration(duration_->text()).value_or(choices.duration);
    model_.setExportChoices(choices);
    check(false);
}

bool ExportForm::check(bool all) {
    const ExportChoices& choices = model_.exportChoices();
    const bool isOwn = ownRow_->isVisibleTo(this);
    const auto refusal = [](const auto& value) { return value ? QString() : value.error(); };
    const std::pair<SearchField*, QString> fields[] = {
        {own_->widthField(), isOwn ? refusal(exportTexts::readSide(own_->widthField()->text())) : QString()},
        {own_->heightField(), isOwn ? refusal(exportTexts::readSide(own_->heightField()->text())) : QString()},
        {own_->rateField(),
         isOwn ? refusal(exportTexts::readRate(own_->rateField()->text(), choices.format)) : QString()},
        {start_, refusal(exportTexts::readStart(start_->text()))},
        {duration_, refusal(exportTexts::readDuration(duration_->text()))},
    };
    bool isValid = true;
    QString told;
    for (const auto& [field, sentence] : fields) {
        field->setRefused(!sentence.isEmpty() && (all || field->isRefused()));
        if (field->isRefused() && told.isEmpty()) told = sentence;
        isValid = isValid && sentence.isEmpty();
    }
    const bool wasTold = !message_->isHidden();
    if (told.isEmpty())
        message_->retract();
    else
        message_->tell(told);
    if (wasTold != !message_->isHidden()) emit heightChanged();
    const auto& program = model_.program();
    if (model_.needsRun())
        foreseen_->setText(tr("Press Run in the window first"));
    else if (model_.exports().isRunning())
        foreseen_->setText(tr("An episode is being exported"));
    else if (!program)
        foreseen_->setText(tr("No picture to export yet"));
    else
        foreseen_->setText(
            !isValid ? QString()
                     : exportTexts::foreseen(choices.plan(), program->soundPipeline() != nullptr, choices.format));
    return isValid;
}

void ExportForm::submit() {
    if (!export_->isEnabled()) return;
    read();
    if (check(true)) {
        emit submitted();
        return;
    }
    for (SearchField* field : {own_->widthField(), own_->heightField(), own_->rateField(), start_, duration_}) {
        if (!field->isRefused()) continue;
        field->setFocus(Qt::OtherFocusReason);
        field->selectAll();
        reveal(message_);
        reveal(field);
        return;
    }
}

} // namespace glasshob
