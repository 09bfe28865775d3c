#include "GlassHob/ui/PresetCards.h"

#include "GlassHob/ui/DialogParts.h"
#include "GlassHob/ui/ExportTexts.h"
#include "GlassHob/ui/Fonts.h"
#include "GlassHob/ui/Theme.h"
#include "GlassHobCore/ExportPreset.h"

#include <QPainter>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr int cardHeight = 48;
constexpr int padding = 12;
constexpr int circle = 16;
constexpr int gap = 10;

} // namespace

PresetCard::PresetCard(const ExportPreset& preset, QWidget* parent)
    : QRadioButton(parent), id_(preset.id), encoding_(exportTexts::encoding(preset)) {
    setText(QString::fromStdString(preset.name));
    setAccessibleName(text());
    setAccessibleDescription(encoding_);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize PresetCard::sizeHint() const {
    return {dialogWidth - dialogMargin, cardHeight};
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

PresetCards::PresetCards(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    for (const ExportPreset& preset : ExportPreset::all()) {
        auto* card = new PresetCard(preset, this);
        column->addWidget(card);
        cards_.push_back(card);
        connect(card, &QAbstractButton::toggled, this, [this, card](bool on) {
            // Tab comes to the chosen one alone; the arrow keys go on from there.
            card->setFocusPolicy(on ? Qt::StrongFocus : Qt::ClickFocus);
            if (on) emit chosen(card->id());
        });
        card->setFocusPolicy(Qt::ClickFocus);
    }
}

void PresetCards::choose(const std::string& id) {
    for (PresetCard* card : cards_)
        if (card->id() == id) card->setChecked(true);
}

} // namespace glasshob
