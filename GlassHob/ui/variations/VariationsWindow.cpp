#include "GlassHob/ui/variations/VariationsWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/VariationPicker.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/controls/ValueField.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/variations/LineField.h"
#include "GlassHob/ui/variations/VariationGrid.h"
#include "GlassHob/ui/variations/VariationStrip.h"
#include "GlassHobCore/text/Text.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr QSize firstSize{976, 745}; // and the frame
constexpr QSize leastSize{744, 488};
constexpr int barHeight = 52, lowBarHeight = 40;
constexpr int chosenHeight = 126, lowChosenHeight = 78;
constexpr int sliderWidth = 176;
constexpr int hintFrom = 860; // of the window, for the hint beside the amount
constexpr int lowBelow = 440; // of the window, under which headings give way to the tiles

} // namespace

VariationsWindow::VariationsWindow(AppModel& model, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowMaximizeButtonHint | Qt::WindowCloseButtonHint),
      model_(model), picker_(new VariationPicker(model)) {
    picker_->setParent(this);
    setAttribute(Qt::WA_DeleteOnClose);
    setMinimumSize(leastSize.boundedTo(roomFor(this)));
    resize(firstSize.boundedTo(roomFor(this)));

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(makeBar());
    grid_ = new VariationGrid(*picker_, this);
    column->addWidget(grid_, 1);
    instead_ = new FilledPane(Role::panel, {}, this);
    auto* middle = new QVBoxLayout(instead_);
    middle->setContentsMargins(dialogMargin, 0, dialogMargin, 0);
    message_ = new TextLine(fonts::body(), Role::text2, instead_);
    message_->setElides(true);
    middle->addWidget(message_, 0, Qt::AlignCenter);
    column->addWidget(instead_, 1);
    column->addWidget(makeChosen());
    auto* footer = new DialogFooter(this);
    outcome_ = new TextLine(fonts::small(), Role::text3, footer);
    outcome_->setElides(true);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer);
    write_ = new TextButton(tr("Write the Line"), TextButton::Look::primary, footer);
    footer->row()->addWidget(outcome_);
    footer->row()->addStretch(1);
    footer->row()->addWidget(cancel_);
    footer->row()->addWidget(write_);
    column->addWidget(footer);
    new FocusRing(this);

    connect(cancel_, &QAbstractButton::clicked, this, &QDialog::reject);
    connect(write_, &QAbstractButton::clicked, this, &VariationsWindow::write);
    connect(picker_, &VariationPicker::changed, this, &VariationsWindow::follow);
    connect(picker_, &VariationPicker::chosenChanged, this, &VariationsWindow::followChosen);
    connect(&model_.episodeAmount(), &EpisodeAmount::changed, this, &VariationsWindow::followAmount);
    connect(grid_, &VariationGrid::seenChanged, this, &VariationsWindow::followSeen);
    connect(strip_, &VariationStrip::seenChanged, this, &VariationsWindow::followSeen);
    connect(strip_, &VariationStrip::picked, this, [this](qint64 index) {
        if (index > grid_->tileCount()) return;
        grid_->setCurrent(int(index) - 1);
        grid_->reveal(int(index) - 1);
    });
    follow();
    followAmount();
    grid_->setFocus(Qt::OtherFocusReason);
}

VariationsWindow::~VariationsWindow() = default;

QWidget* VariationsWindow::makeBar() {
    bar_ = new FilledPane(Role::panel, Qt::BottomEdge, this);
    auto* name = new TextLine(fonts::button(), Role::text, bar_, tr("Amount"));
    amount_ = new ParameterSlider(bar_);
    amount_->setFixedWidth(sliderWidth + 2 * ParameterSlider::haloRoom);
    amount_->setRange(0, 100, std::round(EpisodeAmount::usual * 100));
    amount_->setAccessibleName(tr("Amount"));
    amount_->setSpeech([](float value) { return tr("%1 percent").arg(qRound(value)); });
    amountField_ = new ValueField(bar_);
    amountField_->setUnit(QStringLiteral(" %"));
    amountField_->setAccessibleName(tr("%1, value").arg(tr("Amount")));
    amountField_->installEventFilter(this);
    hint_ = new TextLine(fonts::small(), Role::text3, bar_, tr("How far the sliders stray from their defaults"));
    hint_->setElides(true);
    amount_->setAccessibleDescription(hint_->text());
    trouble_ = new QWidget(bar_);
    auto* troubleText = new TextLine(fonts::small(), Role::error, trouble_,
                                     tr("The shader does not compile: the stills show its last good text."));
    troubleText->setElides(true);
    auto* trouble = new QHBoxLayout(trouble_);
    trouble->setContentsMargins(0, 0, 0, 0);
    trouble->setSpacing(6);
    trouble->addWidget(new Sign(Icon::error, 16, Role::error, trouble_));
    trouble->addWidget(troubleText);
    count_ = new TextLine(fonts::label(), Role::text2, bar_);
    auto* row = new QHBoxLayout(bar_);
    row->setContentsMargins(dialogMargin, 0, dialogMargin, 0);
    row->setSpacing(0);
    row->addWidget(name);
    row->addSpacing(12 - ParameterSlider::haloRoom);
    row->addWidget(amount_);
    row->addSpacing(12 - ParameterSlider::haloRoom);
    row->addWidget(amountField_);
    row->addSpacing(16);
    row->addWidget(trouble_);
    row->addWidget(hint_);
    row->addStretch(1);
    row->addSpacing(16);
    row->addWidget(count_);

    connect(amount_, &ParameterSlider::valueEdited, this, [this](float percent) {
        model_.episodeAmount().set(std::round(percent) / 100);
        followAmount(); // whole percents
    });
    connect(amount_, &ParameterSlider::stateChanged, this, [this] {
        amountField_->setEdge(amount_->showsKeyboardFocus()                  ? ValueField::Edge::focused
                              : amount_->isHovered() || amount_->isDragged() ? ValueField::Edge::strong
                                                                             : ValueField::Edge::quiet);
    });
    connect(amountField_, &ValueField::committed, this, [this](const QString& text) {
        if (const auto typed = typedValue(text)) model_.episodeAmount().set(*typed / 100);
    });
    connect(amountField_, &ValueField::stepped, this, [this](double hundredths) {
        const double step = hundredths < 0 ? std::floor(hundredths) : std::ceil(hundredths);
        model_.episodeAmount().set(model_.episodeAmount().value() + float(step / 100));
    });
    return bar_;
}

QWidget* VariationsWindow::makeChosen() {
    auto* pane = new FilledPane(Role::panel, Qt::TopEdge, this);
    chosenPane_ = pane;
    chosenHeading_ = new QWidget(pane);
    auto* title = new TextLine(fonts::heading(), Role::text, chosenHeading_, tr("In the episode"));
    lengths_ = new TextLine(fonts::small(), Role::text2, chosenHeading_);
    lengths_->setElides(true);
    auto* heading = new QHBoxLayout(chosenHeading_);
    heading->setContentsMargins(0, 0, 0, 0);
    heading->setSpacing(8);
    heading->addWidget(title);
    heading->addWidget(lengths_);
    heading->addStretch(1);
    chosenHeading_->setFixedHeight(24);
    strip_ = new VariationStrip(*picker_, pane);
    line_ = new LineField(pane);
    line_->setFixedWidth(line_->sizeHint().width());
    auto* row = new QHBoxLayout;
    row->setSpacing(8); // and the room round the strip's stills
    row->addWidget(strip_, 1, Qt::AlignTop);
    auto* beside = new QVBoxLayout;
    beside->setContentsMargins(0, 4, 0, 0);
    beside->addWidget(line_);
    beside->addStretch(1);
    row->addLayout(beside);
    auto* column = new QVBoxLayout(pane);
    column->setContentsMargins(dialogMargin - 4, 11, dialogMargin, 0);
    column->setSpacing(5);
    auto* indented = new QHBoxLayout;
    indented->setContentsMargins(4, 0, 0, 0);
    indented->addWidget(chosenHeading_);
    column->addLayout(indented);
    column->addLayout(row, 1);
    return pane;
}

void VariationsWindow::comeForward() {
    show();
    raise();
    activateWindow();
}

// ---- Following ------------------------------------------------------------------------------------------------------

QString VariationsWindow::messageText() const {
    switch (picker_->state()) {
    case VariationPicker::State::ready: return {};
    case VariationPicker::State::noHeader:
        return tr("This shader is no episode. A line like this makes it one: // @episode 7 Smoke rings");
    case VariationPicker::State::waitsForRun: return tr("Not running: press Run when you have read it");
    case VariationPicker::State::noProgram: return tr("The variations appear when the shader compiles.");
    case VariationPicker::State::noSliders: return tr("This shader has no sliders to vary.");
    }
    return {};
}

QString VariationsWindow::outcomeText() const {
    if (picker_->state() != VariationPicker::State::ready) return {};
    const VariationsLine& line = picker_->line();
    QStringList numbers;
    for (const std::int64_t number : line.numbers)
        numbers << QString::number(number);
    switch (line.change) {
    case VariationsLine::Change::rewrite:
        return tr("Return writes line %1 of the shader. Undo takes it back.").arg(numbers.first());
    case VariationsLine::Change::add:
        return tr("Return adds a line under %1. Undo takes it back.").arg(asQString(line.under));
    case VariationsLine::Change::remove:
        return numbers.size() == 1
                   ? tr("Return takes line %1 out of the shader. Undo brings it back.").arg(numbers.first())
                   : tr("Return takes lines %1 and %2 out of the shader. Undo brings them back.")
                         .arg(numbers.first(numbers.size() - 1).join(QStringLiteral(", ")), numbers.last());
    case VariationsLine::Change::none: break;
    }
    return numbers.isEmpty() ? tr("Choose at least one variation.")
                             : tr("Line %1 of the shader says so already.").arg(numbers.first());
}

void VariationsWindow::follow() {
    setWindowTitle(picker_->state() == VariationPicker::State::noHeader
                       ? tr("Variations")
                       : tr("Variations of %1").arg(asQString(picker_->meta().title)));
    const bool isReady = picker_->state() == VariationPicker::State::ready;
    const bool hadFocus = grid_->hasFocus() || strip_->hasFocus();
    message_->setText(messageText());
    grid_->setVisible(isReady);
    instead_->setVisible(!isReady);
    chosenPane_->setVisible(isReady);
    strip_->setEnabled(isReady);
    amount_->setEnabled(isReady);
    amountField_->setEnabled(isReady);
    if (!isReady && hadFocus) cancel_->setFocus(Qt::OtherFocusReason);
    followSize();
    followChosen();
}

void VariationsWindow::followChosen() {
    const ChosenVariations& chosen = picker_->chosen();
    const bool isReady = picker_->state() == VariationPicker::State::ready;
    count_->setText(isReady ? tr("%1 of %2 chosen").arg(chosen.count()).arg(picker_->count()) : QString());
    const double each = picker_->meta().variationLength;
    lengths_->setText(
        chosen.count() == 0
            ? tr("None chosen")
            : (chosen.count() == 1 ? tr("1 variation of %2, %3 in all")
                                   : tr("%1 variations of %2, %3 in all").arg(chosen.count()))
                  .arg(exportTexts::spokenLength(each), exportTexts::place(each * double(chosen.count()))));
    line_->setLine(isReady ? asQString(picker_->line().text) : QString());
    outcome_->setText(outcomeText());
    write_->setEnabled(picker_->canWrite());
    followSeen();
}

void VariationsWindow::followAmount() {
    const int percent = qRound(model_.episodeAmount().value() * 100);
    amount_->setValue(float(percent));
    amountField_->showText(QString::number(percent));
}

// What can be seen is drawn first.
void VariationsWindow::followSeen() {
    if (!isVisible()) return;
    std::vector<std::int64_t> indices = grid_->indicesSeen();
    for (const std::vector<std::int64_t>& more : {strip_->indicesSeen(), grid_->indicesBesideSeen()})
        indices.insert(indices.end(), more.begin(), more.end());
    picker_->setWanted(std::move(indices));
}

void VariationsWindow::followSize() {
    const bool isLow = height() < lowBelow;
    bar_->setFixedHeight(isLow ? lowBarHeight : barHeight);
    chosenPane_->setFixedHeight(isLow ? lowChosenHeight : chosenHeight);
    chosenHeading_->setVisible(!isLow);
    chosenPane_->layout()->setContentsMargins(dialogMargin - 4, isLow ? 4 : 11, dialogMargin, 0);
    const bool hasTrouble = picker_->isBehind();
    hint_->setVisible(!hasTrouble && width() >= hintFrom);
    trouble_->setVisible(hasTrouble);
}

void VariationsWindow::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    followSize();
}

void VariationsWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    connect(windowHandle(), &QWindow::screenChanged, this, &VariationsWindow::followScreen, Qt::UniqueConnection);
    followScreen();
    followSeen();
}

// One pixel of a still is one of the screen.
void VariationsWindow::followScreen() {
    picker_->setPictureSize(VariationGrid::stillSize * devicePixelRatioF());
}

void VariationsWindow::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && grid_) grid_->followRunning();
}

// ---- Keys -----------------------------------------------------------------------------------------------------------

void VariationsWindow::write() {
    if (!picker_->canWrite()) return;
    emit writeWanted(picker_->chosen().list());
    accept();
}

// In the field Escape takes back what is typed first.
bool VariationsWindow::eventFilter(QObject* object, QEvent* event) {
    if (object == amountField_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && !amountField_->isModified()) {
        reject();
        return true;
    }
    return QDialog::eventFilter(object, event);
}

void VariationsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        QDialog::keyPressEvent(event);
        return;
    }
    // A button that the keyboard has been led to, else the one to press.
    if (auto* focused = qobject_cast<TextButton*>(focusWidget()); focused && focused->isVisible())
        focused->click();
    else
        write();
}

} // namespace glasshob
