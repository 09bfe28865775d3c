#include "GlassHob/ui/export/PresetCards.h"

#include "GlassHob/model/ExportState.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHobCore/shader/ExportPreset.h"

#include <QKeyEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int cardHeight = 48;
constexpr int padding = 12;
constexpr int circle = 16;
constexpr int gap = 10;

} // namespace

PresetCard::PresetCard(const ExportPreset& preset, QWidget* parent)
    : QRadioButton(parent), id_(preset.id), encoding_(exportTexts::encoding(preset)) {
    setTexts(QString::fromStdString(preset.name), encoding_);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void PresetCard::setTexts(const QString& name, const QString& encoding) {
    encoding_ = encoding;
    setText(name);
    setAccessibleName(name);
    setAccessibleDescription(encoding);
    update();
}

QSize PresetCard::sizeHint() const {
    return {dialogWidth - dialogMargin, cardHeight};
}

void PresetCard::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Left: emit stepped(-1); return;
    case Qt::Key_Down:
    case Qt::Key_Right: emit stepped(1); return;
    default: QRadioButton::keyPressEvent(event);
    }
}

void PresetCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    if (isChecked() || underMouse()) {
        painter.setBrush(themed(isChecked() ? Role::accentTint : Role::controlHover));
        painter.drawRoundedRect(rect(), 6, 6);
    }
    const QRectF ring(padding, (height() - circle) / 2.0, circle, circle);
    if (isChecked()) {
        painter.setBrush(themed(Role::accentFill));
        painter.drawEllipse(ring);
        painter.setBrush(themed(Role::onAccent));
        painter.drawEllipse(ring.center(), 3, 3);
    } else {
        painter.setBrush(themed(Role::field));
        painter.setPen(QPen(themed(Role::text3), 1.5));
        painter.drawEllipse(ring.adjusted(0.75, 0.75, -0.75, -0.75));
    }
    const int left = padding + circle + gap;
    painter.setFont(fonts::button());
    painter.setPen(themed(Role::text));
    painter.drawText(QRect(left, 5, width() - left, 20), Qt::AlignLeft | Qt::AlignVCenter, text());
    painter.setFont(fonts::small());
    painter.setPen(themed(Role::text2));
    painter.drawText(QRect(left, 24, width() - left, 17), Qt::AlignLeft | Qt::AlignVCenter, encoding_);
}

PresetCards::PresetCards(QWidget* parent, Offers offers) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    std::vector<ExportPreset> presets = ExportPreset::all();
    if (offers == Offers::ownToo) presets.push_back(ExportChoices().ownPreset());
    for (const ExportPreset& preset : presets) {
        auto* card = new PresetCard(preset, this);
        column->addWidget(card);
        cards_.push_back(card);
        connect(card, &QAbstractButton::toggled, this, [this, card](bool on) {
            // Tab comes to the chosen one alone; the arrow keys go on from there.
            card->setFocusPolicy(on ? Qt::StrongFocus : Qt::ClickFocus);
            if (on) emit chosen(card->id());
        });
        card->setFocusPolicy(Qt::ClickFocus);
        connect(card, &PresetCard::stepped, this, [this, card](int by) { step(card, by); });
    }
}

void PresetCards::step(const PresetCard* from, int step) {
    const auto at = std::ranges::find(cards_, from) - cards_.begin();
    const auto to = std::clamp<std::ptrdiff_t>(at + step, 0, std::ptrdiff_t(cards_.size()) - 1);
    cards_[std::size_t(to)]->setChecked(true);
    cards_[std::size_t(to)]->setFocus(step < 0 ? Qt::BacktabFocusReason : Qt::TabFocusReason);
}

void PresetCards::follow(const ExportChoices& choices) {
    for (PresetCard* card : cards_) {
        const ExportPreset* named = ExportPreset::find(card->id());
        const ExportPreset preset = named ? *named : choices.ownPreset();
        const QString name = QString::fromStdString(preset.name);
        card->setTexts(named ? name : tr("Own size · %1").arg(name), exportTexts::encoding(preset, choices.format));
    }
}

void PresetCards::choose(const std::string& id) {
    for (PresetCard* card : cards_)
        if (card->id() == id) card->setChecked(true);
}

} // namespace glasshob
