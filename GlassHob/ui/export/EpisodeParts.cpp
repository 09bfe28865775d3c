#include "GlassHob/ui/export/EpisodeParts.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/controls/FileManager.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/export/ExportTexts.h"

#include <QAccessible>
#include <QCheckBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int margin = 16;
constexpr int rowHeight = 48;
constexpr int headingHeight = 40;
constexpr int totalHeight = 36;
constexpr int nameLeft = 41;
constexpr int signSide = 16;
constexpr int signGap = 6;
constexpr int textWidth = dialogWidth - 1 - nameLeft - signSide - signGap - margin;
constexpr int lengthWidth = 36;
constexpr int lengthGap = 12;

QString lengthText(std::optional<double> seconds) {
    return seconds ? exportTexts::place(*seconds) : QStringLiteral("–:––");
}

QString counted(std::int64_t count, const QString& one, const QString& many) {
    return count == 1 ? one : many.arg(count);
}

} // namespace

PageSecondsField::PageSecondsField(QWidget* parent) : SearchField(tr("Seconds a page"), {}, parent) {
    setCounter(tr("s a page"));
    setAccessibleDescription({}); // the name says the unit
    setMinimumWidth(0);
    setFixedSize(88, 24);
    setFont(fonts::value());
}

void PageSecondsField::keyPressEvent(QKeyEvent* event) {
    if (event->modifiers() == Qt::NoModifier && (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down))
        emit stepped(event->key() == Qt::Key_Up ? 1 : -1);
    else
        SearchField::keyPressEvent(event);
}

void PageSecondsField::wheelEvent(QWheelEvent* event) {
    if (!hasFocus()) {
        event->ignore(); // the page scrolls
        return;
    }
    if (const int notches = notches_.take(*event); notches != 0) emit stepped(notches);
    event->accept();
}

PartRow::PartRow(const QString& name, QWidget* parent) : QWidget(parent) {
    check_ = new QCheckBox(this);
    check_->setAccessibleName(name);
    check_->setFixedSize(24, 24);
    name_ = new TextLine(fonts::button(), Role::text, this, name);
    name_->setFixedHeight(17);
    detail_ = new TextLine(fonts::small(), Role::text3, this);
    detail_->setFixedHeight(16);
    detail_->setElides(true);
    length_ = new TextLine(fonts::value(), Role::text2, this);
    length_->setFixedHeight(16);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto* head = new QHBoxLayout;
    head->setContentsMargins(margin, 0, margin, 0);
    head->setSpacing(0);
    head->addWidget(check_);
    head->addSpacing(1);
    auto* textBox = new QWidget(this);
    textBox->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* texts = new QVBoxLayout(textBox);
    texts->setContentsMargins(0, 0, 0, 0);
    texts->setSpacing(0);
    texts->addStretch(1);
    texts->addWidget(name_);
    texts->addWidget(detail_);
    texts->addStretch(1);
    head->addWidget(textBox, 1);
    controls_ = new QHBoxLayout;
    controls_->setSpacing(8);
    head->addSpacing(8);
    head->addLayout(controls_);
    head->addSpacing(lengthGap);
    auto* end = new QHBoxLayout;
    end->addStretch(1);
    end->addWidget(length_);
    auto* endBox = new QWidget(this);
    end->setContentsMargins(0, 0, 0, 0);
    endBox->setLayout(end);
    endBox->setMinimumWidth(lengthWidth);
    endBox->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    head->addWidget(endBox);
    auto* headBox = new QWidget(this);
    headBox->setLayout(head);
    headBox->setFixedHeight(rowHeight);
    column->addWidget(headBox);

    message_ = new QWidget(this);
    auto* below = new QVBoxLayout(message_);
    below->setContentsMargins(nameLeft, 0, margin - 8, 9); // room for a bar that scrolls
    below->setSpacing(7);
    auto* sentence = new QHBoxLayout;
    sentence->setSpacing(signGap);
    noteSign_ = new Sign(Icon::note, signSide, Role::note, message_);
    errorSign_ = new Sign(Icon::error, signSide, Role::error, message_);
    text_ = new WrappedText(fonts::small(), Role::text2, textWidth, message_);
    sentence->addWidget(noteSign_, 0, Qt::AlignTop);
    sentence->addWidget(errorSign_, 0, Qt::AlignTop);
    sentence->addWidget(text_, 0, Qt::AlignTop);
    sentence->addStretch(1);
    below->addLayout(sentence);
    buttonRow_ = new QHBoxLayout;
    buttonRow_->setContentsMargins(signSide + signGap, 0, 0, 0);
    buttonRow_->setSpacing(8);
    buttonRow_->addStretch(1);
    below->addLayout(buttonRow_);
    message_->hide();
    column->addWidget(message_);
    connect(check_, &QCheckBox::clicked, this, &PartRow::toggled);
}

void PartRow::addControl(QWidget* control) {
    controls_->addWidget(control);
}

void PartRow::setDetail(const QString& detail) {
    detail_->setText(detail);
    detail_->setToolTip(detail_->sizeHint().width() > detail_->width() && detail_->width() > 0 ? plainToolTip(detail)
                                                                                               : QString());
    describe();
}

void PartRow::setLength(std::optional<double> seconds) {
    length_->setText(lengthText(seconds));
    length_->setRole(!seconds || *seconds > 0 ? Role::text2 : Role::disabled);
    describe();
}

void PartRow::setPossible(bool possible) {
    check_->setEnabled(possible);
    name_->setRole(possible ? Role::text : Role::disabled);
}

TextButton* PartRow::makeButton(const QString& text) {
    auto* button = new TextButton(text, TextButton::Look::bordered, message_);
    buttonRow_->insertWidget(buttonRow_->count() - 1, button);
    buttons_.push_back(button);
    button->hide();
    return button;
}

void PartRow::tell(const QString& sentence, Tone tone, const std::vector<TextButton*>& buttons) {
    const bool isNew = message_->isHidden() || text_->text() != sentence;
    text_->setText(sentence);
    text_->setRole(tone == Tone::error ? Role::error : Role::text2);
    noteSign_->setVisible(tone == Tone::note);
    errorSign_->setVisible(tone == Tone::error);
    for (TextButton* button : buttons_)
        button->setVisible(std::ranges::find(buttons, button) != buttons.end());
    message_->show();
    describe();
    if (!isNew || tone == Tone::note) return;
    QAccessibleEvent alert(text_, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void PartRow::retract() {
    message_->hide();
    describe();
}

void PartRow::describe() {
    QStringList said = {detail_->text(), length_->text()};
    if (!message_->isHidden()) said << text_->text();
    said.removeAll(QString());
    check_->setAccessibleDescription(said.join(QStringLiteral(", ")));
}

// The name is as good as the box.
void PartRow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && event->position().y() < rowHeight && check_->isEnabled()) check_->click();
}

EpisodeParts::EpisodeParts(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto* heading = new TextLine(fonts::heading(), Role::text, this, tr("Parts"));
    heading->setFixedHeight(headingHeight);
    heading->setContentsMargins(0, 0, 0, 0);
    auto* headingRow = new QHBoxLayout;
    headingRow->setContentsMargins(margin, 0, margin, 0);
    headingRow->addWidget(heading);
    column->addLayout(headingRow);

    cards_ = new PartRow(tr("Opening and end"), this);
    show_ = new PartRow(tr("Full show"), this);
    walkthrough_ = new PartRow(tr("Walkthrough"), this);
    pageSeconds_ = new PageSecondsField(walkthrough_);
    preview_ = new TextButton(tr("Preview…"), TextButton::Look::bordered, walkthrough_);
    preview_->setToolTip(plainToolTip(tr("Page through the walkthrough as the video shows it")));
    walkthrough_->addControl(pageSeconds_);
    walkthrough_->addControl(preview_);
    showFolder_ = walkthrough_->makeButton(tr("Show Folder"));
    lookAgain_ = walkthrough_->makeButton(tr("Look Again"));
    openStage_ = walkthrough_->makeButton(tr("Open Stage"));
    leaveOut_ = walkthrough_->makeButton(tr("Leave Walkthrough Out"));
    variations_ = new PartRow(tr("Variations"), this);
    choose_ = new TextButton(tr("Choose…"), TextButton::Look::bordered, variations_);
    choose_->setToolTip(plainToolTip(tr("Choose the variations that the video shows")));
    variations_->addControl(choose_);
    for (PartRow* row : {cards_, show_, walkthrough_, variations_})
        column->addWidget(row);
    auto* rule = new FilledPane(Role::line, {}, this);
    rule->setFixedHeight(1);
    auto* ruleRow = new QHBoxLayout;
    ruleRow->setContentsMargins(margin, 0, margin, 0);
    ruleRow->addWidget(rule);
    column->addLayout(ruleRow);
    auto* sum = new QHBoxLayout;
    sum->setContentsMargins(margin, 0, margin, 0);
    auto* sumName = new TextLine(fonts::button(), Role::text, this, tr("Total length"));
    sumName->setFixedHeight(totalHeight);
    total_ = new TextLine(fonts::mono(13, QFont::Medium), Role::text, this);
    total_->setFixedHeight(totalHeight);
    sum->addWidget(sumName);
    sum->addStretch(1);
    sum->addWidget(total_);
    column->addLayout(sum);

    connect(cards_, &PartRow::toggled, this, [this](bool on) { change([on](auto& to) { to.hasCards = on; }); });
    connect(show_, &PartRow::toggled, this, [this](bool on) { change([on](auto& to) { to.hasShow = on; }); });
    connect(walkthrough_, &PartRow::toggled, this,
            [this](bool on) { change([on](auto& to) { to.hasWalkthrough = on; }); });
    connect(variations_, &PartRow::toggled, this, [this](bool on) {
        if (model_.episodeExport().variationCount() > 0) {
            change([on](auto& to) { to.hasVariations = on; });
            return;
        }
        // There is nothing to turn on before some are chosen.
        follow();
        emit variationsAsked();
    });
    connect(pageSeconds_, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (const auto seconds = exportTexts::readPageSeconds(text))
            change([&](auto& to) { to.pageSeconds = *seconds; });
        if (pageSeconds_->isRefused()) checkField();
    });
    connect(pageSeconds_, &QLineEdit::editingFinished, this, &EpisodeParts::checkField);
    connect(pageSeconds_, &PageSecondsField::stepped, this, [this](int by) {
        const double to = std::clamp(std::round(model_.episodeExport().choices().pageSeconds) + by,
                                     episodeLook::leastPageSeconds, episodeLook::mostPageSeconds);
        pageSeconds_->setText(QString::number(to));
        change([&](auto& choices) { choices.pageSeconds = to; });
        checkField();
    });
    connect(preview_, &QAbstractButton::clicked, this, &EpisodeParts::previewAsked);
    connect(choose_, &QAbstractButton::clicked, this, &EpisodeParts::variationsAsked);
    connect(showFolder_, &QAbstractButton::clicked, this, [this] {
        if (model_.filePath()) showInFileManager(*model_.filePath());
    });
    connect(lookAgain_, &QAbstractButton::clicked, this, [this] { model_.episode().lookAgain(); });
    connect(openStage_, &QAbstractButton::clicked, this, [this] {
        if (const auto& fault = model_.episode().fault()) model_.openAfterQuestion(fault->path);
    });
    connect(leaveOut_, &QAbstractButton::clicked, this, [this] {
        change([](auto& to) { to.hasWalkthrough = false; });
        walkthrough_->check()->setFocus(Qt::OtherFocusReason);
    });
    connect(&model_.episodeExport(), &EpisodeExport::changed, this, &EpisodeParts::follow);
    pageSeconds_->setText(QString::number(model_.episodeExport().choices().pageSeconds));
    follow();
}

template <typename Change>
void EpisodeParts::change(Change change) {
    EpisodeExportChoices choices = model_.episodeExport().choices();
    change(choices);
    model_.episodeExport().setChoices(choices);
}

bool EpisodeParts::checkField() {
    const auto seconds = exportTexts::readPageSeconds(pageSeconds_->text());
    const QString refusal = seconds ? QString() : seconds.error();
    pageSeconds_->setRefused(!refusal.isEmpty());
    if (refusal != refusal_) {
        refusal_ = refusal;
        emit refusalChanged();
    }
    return refusal.isEmpty();
}

void EpisodeParts::follow() {
    const EpisodeExport& made = model_.episodeExport();
    const auto& episode = model_.episode().episode();
    const EpisodeExportChoices& choices = made.choices();
    cards_->check()->setChecked(choices.hasCards);
    cards_->setDetail(tr("%1 seconds each").arg(episodeLook::cardSeconds));
    cards_->setLength(made.cardSeconds());
    show_->check()->setChecked(choices.hasShow);
    show_->setDetail(episode ? tr("%1 of the finished shader").arg(exportTexts::spokenLength(episode->meta.length))
                             : QString());
    show_->setLength(made.showSeconds());
    for (PartRow* row : {cards_, show_})
        row->setPossible(episode.has_value());
    followWalkthrough();
    followVariations();
    const auto walkthrough = made.walkthroughSeconds();
    std::optional<double> total;
    if (walkthrough) total = made.cardSeconds() + made.showSeconds() + *walkthrough + made.variationSeconds();
    total_->setText(lengthText(total));
}

void EpisodeParts::followWalkthrough() {
    using State = OpenEpisode::State;
    const EpisodeExport& made = model_.episodeExport();
    const OpenEpisode& episode = model_.episode();
    const bool isOn = made.choices().hasWalkthrough && made.hasStages();
    walkthrough_->setPossible(made.hasStages());
    walkthrough_->check()->setChecked(isOn);
    pageSeconds_->setVisible(made.hasStages());
    preview_->setVisible(made.hasStages());
    pageSeconds_->setEnabled(isOn);
    if (!pageSeconds_->hasFocus() && exportTexts::readPageSeconds(pageSeconds_->text()) != made.choices().pageSeconds &&
        refusal_.isEmpty())
        pageSeconds_->setText(QString::number(made.choices().pageSeconds));
    walkthrough_->setLength(made.walkthroughSeconds());
    const QString stages = counted(made.stageCount(), tr("1 stage"), tr("%1 stages"));
    switch (episode.state()) {
    case State::nothing:
        walkthrough_->setDetail({});
        walkthrough_->retract();
        return;
    case State::notSaved:
        walkthrough_->setDetail(tr("No stages yet"));
        walkthrough_->tell(episode.advice(), PartRow::Tone::note);
        return;
    case State::noStages:
        walkthrough_->setDetail(tr("No stages found"));
        walkthrough_->tell(episode.advice(), PartRow::Tone::note, {showFolder_, lookAgain_});
        return;
    case State::unreadable:
        walkthrough_->setDetail(tr("The stages cannot be read"));
        walkthrough_->tell(episode.problem(), PartRow::Tone::error, {showFolder_, lookAgain_});
        return;
    case State::stageFault:
    case State::ready: break;
    }
    const auto& fault = episode.fault();
    walkthrough_->setDetail(fault ? stages
                                  : tr("%1, %2").arg(stages, counted(made.pageCount(), tr("1 page"), tr("%1 pages"))));
    if (fault && isOn) {
        openStage_->setEnabled(!fault->path.isEmpty() && fault->number < made.stageCount());
        walkthrough_->tell(fault->text(), PartRow::Tone::error, {openStage_, leaveOut_});
    } else {
        walkthrough_->retract();
    }
}

void EpisodeParts::followVariations() {
    const EpisodeExport& made = model_.episodeExport();
    const auto& episode = model_.episode().episode();
    const std::int64_t count = made.variationCount();
    variations_->setPossible(episode.has_value() && made.hasSliders());
    choose_->setEnabled(episode.has_value());
    variations_->check()->setChecked(count > 0 && made.choices().hasVariations);
    if (!episode)
        variations_->setDetail({});
    else if (!made.hasSliders())
        variations_->setDetail(tr("No sliders to vary"));
    else if (count == 0)
        variations_->setDetail(tr("None chosen"));
    else
        variations_->setDetail(
            tr("%1, %2 each").arg(count).arg(exportTexts::spokenLength(episode->meta.variationLength)));
    variations_->setLength(made.variationSeconds());
}

} // namespace glasshob
