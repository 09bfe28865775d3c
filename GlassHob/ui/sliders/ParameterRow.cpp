#include "GlassHob/ui/sliders/ParameterRow.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int room = ParameterRow::leftRoom;

} // namespace

ParameterRow::ParameterRow(const ParamDecl& declaration, QWidget* parent)
    : QWidget(parent), slider_(new ParameterSlider(this)), field_(new ValueField(this)),
      reset_(new ToolButton(Icon::reset, {}, this, 24, 16)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(slider_, &ParameterSlider::valueEdited, this, [this](float value) { edited(value, false); });
    connect(slider_, &ParameterSlider::stateChanged, this, &ParameterRow::showState);
    connect(slider_, &ParameterSlider::editEnded, this, &ParameterRow::editEnded);
    connect(slider_, &ParameterSlider::undoRequested, this, &ParameterRow::undoRequested);
    connect(slider_, &ParameterSlider::redoRequested, this, &ParameterRow::redoRequested);
    connect(field_, &ValueField::committed, this, [this](const QString& text) {
        emit editEnded();
        if (const auto typed = typedValue(text)) edited(std::clamp(*typed, declaration_.min, declaration_.max), true);
        emit editEnded();
    });
    connect(field_, &ValueField::stepped, this, [this](double hundredths) {
        const double range = double(declaration_.max) - declaration_.min;
        const double next = double(slider_->value()) + hundredths * range / 100;
        if (std::isfinite(next)) edited(std::clamp(float(next), declaration_.min, declaration_.max), false);
    });
    connect(reset_, &QAbstractButton::clicked, this, [this] {
        emit editEnded();
        edited(declaration_.defaultValue, true);
        emit editEnded();
        slider_->setFocus(Qt::OtherFocusReason);
    });
    connect(&Theme::instance(), &Theme::changed, this, qOverload<>(&QWidget::update));
    setDeclaration(declaration);
    setValue(declaration.defaultValue);
}

void ParameterRow::setDeclaration(const ParamDecl& declaration) {
    declaration_ = declaration;
    slider_->setRange(declaration.min, declaration.max, declaration.defaultValue);
    const QString name = QString::fromStdString(declaration.name), detail = QString::fromStdString(declaration.detail);
    slider_->setAccessibleName(name);
    slider_->setAccessibleDescription(detail);
    field_->setAccessibleName(tr("%1, value").arg(name));
    reset_->setName(
        tr("Reset %1 to %2").arg(name, valueText(declaration.defaultValue, declaration.min, declaration.max)));
    showToolTip();
    showState();
    update();
}

void ParameterRow::setValue(float value, bool glides) {
    slider_->setValue(value, glides ? ParameterSlider::Motion::glide : ParameterSlider::Motion::none);
    showState();
}

bool ParameterRow::isChanged() const {
    return slider_->isChanged();
}

void ParameterRow::edited(float value, bool glides) {
    setValue(value, glides);
    emit valueEdited(QString::fromStdString(declaration_.name), value);
}

void ParameterRow::showState() {
    field_->showText(valueText(slider_->value(), declaration_.min, declaration_.max));
    field_->setEdge(slider_->showsKeyboardFocus()                  ? ValueField::Edge::focused
                    : slider_->isHovered() || slider_->isDragged() ? ValueField::Edge::strong
                                                                   : ValueField::Edge::quiet);
    reset_->setVisible(slider_->isChanged());
}

int ParameterRow::wantedNameWidth() const {
    return QFontMetrics(fonts::sliderName()).horizontalAdvance(QString::fromStdString(declaration_.name));
}

void ParameterRow::setDensity(Density density, int nameWidth) {
    if (density == density_ && nameWidth == nameWidth_) return;
    density_ = density;
    nameWidth_ = nameWidth;
    updateGeometry();
    layOut();
    update();
}

int ParameterRow::nameRoom() const {
    return density_ == Density::dense ? nameWidth_ : std::max(80, width() - room - 28);
}

void ParameterRow::showToolTip() {
    // The range always; name and description where the row does not show the whole of them.
    const QString name = QString::fromStdString(declaration_.name),
                  detail = QString::fromStdString(declaration_.detail);
    auto shown = [this](float value) { return valueText(value, declaration_.min, declaration_.max); };
    QStringList lines;
    if (wantedNameWidth() > nameRoom()) lines << name;
    const int detailRoom = nameRoom() - wantedNameWidth() - 8;
    const bool isCut =
        density_ == Density::dense || QFontMetrics(fonts::small()).horizontalAdvance(detail) > detailRoom;
    if (isCut && !detail.isEmpty()) lines << detail;
    lines << tr("%1 to %2, at first %3")
                 .arg(shown(declaration_.min), shown(declaration_.max), shown(declaration_.defaultValue));
    setToolTip(plainToolTip(lines.join(u'\n')));
}

QList<QWidget*> ParameterRow::controls() const {
    return {slider_, field_, reset_};
}

void ParameterRow::focusSlider() {
    slider_->setFocus(Qt::ShortcutFocusReason);
}

void ParameterRow::resizeEvent(QResizeEvent*) {
    layOut();
}

void ParameterRow::layOut() {
    const bool tall = density_ == Density::tall;
    const int middle = tall ? 26 + 10 : 18;
    const int left = tall ? 0 : nameWidth_ + 12;
    reset_->move(width() - 24, middle - 12);
    field_->move(width() - 24 - 4 - 64, middle - 12);
    const int track = std::max(72, field_->x() - 16 - left - room);
    slider_->setGeometry(left + room - ParameterSlider::haloRoom, middle - 14, track + 2 * ParameterSlider::haloRoom,
                         28);
    showToolTip();
}

void ParameterRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const bool tall = density_ == Density::tall;
    const QString name = QString::fromStdString(declaration_.name);
    painter.setFont(fonts::sliderName());
    painter.setPen(themed(isEnabled() ? Role::text : Role::disabled));
    if (!tall) {
        const QFontMetrics metrics(painter.font());
        painter.drawText(QRect(room, 0, nameWidth_, height()), Qt::AlignLeft | Qt::AlignVCenter,
                         metrics.elidedText(name, Qt::ElideRight, nameWidth_));
        return;
    }
    const int textRoom = nameRoom();
    painter.drawText(QRect(room, 0, textRoom, 26), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     QFontMetrics(painter.font()).elidedText(name, Qt::ElideRight, textRoom));
    const int after = wantedNameWidth() + 8;
    painter.setFont(fonts::small());
    painter.setPen(themed(isEnabled() ? Role::text3 : Role::disabled));
    if (const int left = textRoom - after; left > 20)
        painter.drawText(
            QRect(room + after, 0, left, 26), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
            QFontMetrics(painter.font()).elidedText(QString::fromStdString(declaration_.detail), Qt::ElideRight, left));
}

} // namespace glasshob
