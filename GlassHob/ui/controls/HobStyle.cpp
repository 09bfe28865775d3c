#include "GlassHob/ui/controls/HobStyle.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Icons.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAbstractButton>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QSplitterHandle>
#include <QStyleOption>

namespace glasshob {

namespace {

constexpr int menuRowHeight = 28;
constexpr int menuMarkColumn = 30;
constexpr int pictureMargin = 10;
constexpr int scrollZone = 12;

void fillRounded(QPainter& painter, const QRectF& rect, double radius, const QColor& fill, const QColor& border = {}) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(fill.isValid() ? QBrush(fill) : Qt::NoBrush);
    painter.setPen(border.isValid() ? QPen(border, 1) : Qt::NoPen);
    painter.drawRoundedRect(border.isValid() ? rect.adjusted(0.5, 0.5, -0.5, -0.5) : rect, radius, radius);
    painter.restore();
}

// The size of the pictures that a menu shows before its texts; empty for all the others.
QSize menuPicture(const QWidget* menu) {
    return menu != nullptr ? menu->property(menuPictureProperty).toSize() : QSize();
}

int textColumn(QSize picture) {
    return picture.isEmpty() ? menuMarkColumn : 2 * pictureMargin + picture.width();
}

} // namespace

HobStyle::HobStyle() : QProxyStyle(QStringLiteral("fusion")) {}

void HobStyle::polish(QWidget* widget) {
    QProxyStyle::polish(widget);
    if (qobject_cast<QMenu*>(widget) || qobject_cast<QMenuBar*>(widget)) widget->setFont(fonts::menu());
    if (qobject_cast<QPushButton*>(widget)) {
        widget->setFont(fonts::button());
        widget->setAttribute(Qt::WA_Hover);
    }
}

void HobStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                             const QWidget* widget) const {
    switch (element) {
    case PE_FrameFocusRect: return; // the keyboard's ring is drawn by FocusRing, for every control alike
    case PE_PanelMenu: painter->fillRect(option->rect, themed(Role::tooltip)); return;
    case PE_FrameMenu:
        painter->setPen(themed(Role::lineStrong));
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
        return;
    case PE_PanelMenuBar: return;
    case PE_PanelTipLabel:
        fillRounded(*painter, option->rect, 0, themed(Role::tooltip), themed(Role::lineStrong));
        return;
    case PE_FrameLineEdit: return;
    case PE_PanelLineEdit: {
        // A field without a frame paints its own box.
        auto frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
        if (frame && frame->lineWidth == 0) return;
        fillRounded(*painter, option->rect, 6, themed(Role::field));
        const bool focused = option->state & State_HasFocus;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(themed(focused ? Role::accentText : Role::lineStrong), focused ? 2 : 1));
        const double inset = focused ? 1 : 0.5;
        painter->drawRoundedRect(QRectF(option->rect).adjusted(inset, inset, -inset, -inset), 6, 6);
        painter->restore();
        return;
    }
    case PE_IndicatorCheckBox: {
        const QRectF box = QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5);
        const bool on = option->state & State_On;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(themed(on ? Role::accentFill : Role::field));
        const bool enabled = option->state & State_Enabled;
        painter->setPen(on ? Qt::NoPen : QPen(themed(enabled ? Role::text3 : Role::disabled), 1.5));
        painter->drawRoundedRect(box, 4, 4);
        painter->restore();
        if (on)
            paintIcon(*painter, Icon::check, QRectF(option->rect).adjusted(1, 1, -1, -1), themed(Role::onAccent), 2);
        return;
    }
    default: QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void HobStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                           const QWidget* widget) const {
    switch (element) {
    case CE_MenuBarEmptyArea: painter->fillRect(option->rect, themed(Role::bar)); return;
    case CE_MenuBarItem:
        if (auto item = qstyleoption_cast<const QStyleOptionMenuItem*>(option)) {
            painter->fillRect(item->rect, themed(Role::bar));
            if (item->state & (State_Selected | State_Sunken))
                fillRounded(*painter, item->rect.adjusted(1, 2, -1, -2), 6, themed(Role::control));
            const bool enabled = item->state & State_Enabled;
            painter->setPen(themed(enabled ? Role::text : Role::disabled));
            painter->drawText(item->rect, Qt::AlignCenter | Qt::TextShowMnemonic | Qt::TextSingleLine, item->text);
        }
        return;
    case CE_MenuItem:
        if (auto item = qstyleoption_cast<const QStyleOptionMenuItem*>(option))
            drawMenuItem(*item, menuPicture(widget), *painter);
        return;
    case CE_MenuEmptyArea: return;
    case CE_PushButtonBevel:
        if (auto button = qstyleoption_cast<const QStyleOptionButton*>(option)) drawButton(*button, *painter);
        return;
    case CE_PushButtonLabel:
        if (auto button = qstyleoption_cast<const QStyleOptionButton*>(option)) {
            const bool primary = button->features & QStyleOptionButton::DefaultButton;
            const bool enabled = button->state & State_Enabled;
            painter->setPen(themed(!enabled ? Role::disabled : primary ? Role::onAccent : Role::text));
            painter->drawText(button->rect, Qt::AlignCenter | Qt::TextShowMnemonic, button->text);
        }
        return;
    case CE_Splitter: {
        painter->fillRect(option->rect, themed(Role::window));
        const bool dragged = option->state & State_Sunken;
        const QColor color = themed(dragged ? Role::accent : Role::line);
        const QPoint middle = option->rect.center();
        if (option->state & State_Horizontal)
            painter->fillRect(QRect(middle.x(), option->rect.top(), 1, option->rect.height()), color);
        else
            painter->fillRect(QRect(option->rect.left(), middle.y(), option->rect.width(), 1), color);
        return;
    }
    case CE_FocusFrame: {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(themed(Role::accentText), 2));
        painter->drawRoundedRect(QRectF(option->rect).adjusted(1, 1, -1, -1), 8, 8);
        painter->restore();
        return;
    }
    default: QProxyStyle::drawControl(element, option, painter, widget);
    }
}

void HobStyle::drawMenuItem(const QStyleOptionMenuItem& item, QSize picture, QPainter& painter) const {
    if (item.menuItemType == QStyleOptionMenuItem::Separator) {
        painter.fillRect(QRect(item.rect.left() + 1, item.rect.center().y(), item.rect.width() - 2, 1),
                         themed(Role::lineStrong));
        return;
    }
    const bool enabled = item.state & State_Enabled;
    if ((item.state & State_Selected) && enabled)
        fillRounded(painter, item.rect.adjusted(4, 0, -4, 0), 4, themed(Role::accentTint));
    const QColor ink = themed(enabled ? Role::text : Role::disabled);
    if (item.checkType != QStyleOptionMenuItem::NotCheckable && item.checked)
        paintIcon(painter, Icon::check, QRectF(item.rect.left() + 10, item.rect.center().y() - 7.5, 16, 16),
                  themed(enabled ? Role::accentText : Role::disabled));
    if (!picture.isEmpty()) {
        const QRect frame(
            QPoint(item.rect.left() + pictureMargin, item.rect.top() + (item.rect.height() - picture.height()) / 2),
            picture);
        fillRounded(painter, frame, 4, themed(Role::lineStrong));
        if (const QPixmap pixmap = item.icon.pixmap(picture * 2); !pixmap.isNull()) {
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawPixmap(frame, pixmap);
        }
    }
    const QRect text = item.rect.adjusted(textColumn(picture), 0, -12, 0);
    const qsizetype tab = item.text.indexOf(u'\t');
    painter.setFont(item.font);
    painter.setPen(ink);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextShowMnemonic | Qt::TextSingleLine,
                     tab < 0 ? item.text : item.text.left(tab));
    if (tab >= 0) {
        painter.setPen(themed(enabled ? Role::text3 : Role::disabled));
        painter.drawText(text, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, item.text.mid(tab + 1));
    }
    if (item.menuItemType == QStyleOptionMenuItem::SubMenu)
        paintIcon(painter, Icon::chevr, QRectF(item.rect.right() - 24, item.rect.center().y() - 7.5, 16, 16),
                  themed(enabled ? Role::text2 : Role::disabled));
}

void HobStyle::drawScrollBar(const QStyleOptionSlider& bar, QPainter& painter) const {
    // The zone takes the colour of what it scrolls; the handle floats in its middle.
    painter.fillRect(bar.rect, bar.palette.color(QPalette::Base));
    if (bar.maximum <= bar.minimum) return;
    QRectF handle = proxy()->subControlRect(CC_ScrollBar, &bar, SC_ScrollBarSlider, nullptr);
    const double side = (scrollZone - 6) / 2.0;
    handle =
        bar.orientation == Qt::Vertical ? handle.adjusted(side, 2, -side, -2) : handle.adjusted(2, side, -2, -side);
    const bool held = bar.activeSubControls == SC_ScrollBarSlider && (bar.state & State_Sunken);
    fillRounded(painter, handle, 3, themed(held ? Role::text3 : Role::lineStrong));
}

void HobStyle::drawButton(const QStyleOptionButton& button, QPainter& painter) const {
    const bool enabled = button.state & State_Enabled;
    const bool over = button.state & State_MouseOver;
    const bool down = button.state & State_Sunken;
    if (!enabled) {
        fillRounded(painter, button.rect, 6, {}, themed(Role::line));
    } else if (button.features & QStyleOptionButton::DefaultButton) {
        fillRounded(painter, button.rect, 6, themed(over || down ? Role::accentFillHover : Role::accentFill));
    } else {
        fillRounded(painter, button.rect, 6,
                    themed(down   ? Role::controlPressed
                           : over ? Role::controlHover
                                  : Role::control),
                    themed(Role::lineStrong));
    }
}

void HobStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                                  const QWidget* widget) const {
    if (control == CC_ScrollBar) {
        if (auto bar = qstyleoption_cast<const QStyleOptionSlider*>(option)) {
            drawScrollBar(*bar, *painter);
            return;
        }
    }
    QProxyStyle::drawComplexControl(control, option, painter, widget);
}

int HobStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    switch (metric) {
    case PM_ScrollBarExtent: return scrollZone;
    case PM_ScrollBarSliderMin: return 28;
    case PM_SplitterWidth: return 1;
    case PM_MenuBarPanelWidth: return 0;
    case PM_MenuBarHMargin: return 6;
    case PM_MenuBarVMargin: return 0;
    case PM_MenuBarItemSpacing: return 0;
    case PM_MenuPanelWidth: return 1;
    case PM_MenuVMargin: return 4;
    case PM_MenuHMargin: return 0;
    case PM_ButtonMargin: return 16;
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical: return 0;
    case PM_FocusFrameHMargin:
    case PM_FocusFrameVMargin: return 4;
    case PM_IndicatorWidth:
    case PM_IndicatorHeight: return 16;
    case PM_CheckBoxLabelSpacing: return 10;
    case PM_MessageBoxIconSize: return 24;
    case PM_ToolTipLabelFrameWidth: return 8;
    default: return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int HobStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                        QStyleHintReturn* data) const {
    switch (hint) {
    case SH_ScrollBar_Transient: return 0;
    case SH_Menu_Scrollable: return 1;
    case SH_Menu_SubMenuPopupDelay: return 150;
    case SH_UnderlineShortcut: return 1;
    case SH_DialogButtonLayout: return QDialogButtonBox::GnomeLayout; // the primary button at the far right, everywhere
    case SH_ToolTip_WakeUpDelay: return 300;
    case SH_FocusFrame_AboveWidget: return 1;
    case SH_MessageBox_CenterButtons: return 0;
    case SH_EtchDisabledText:
    case SH_DitherDisabledText: return 0;
    default: return QProxyStyle::styleHint(hint, option, widget, data);
    }
}

QSize HobStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                                 const QWidget* widget) const {
    switch (type) {
    case CT_MenuBarItem: return QSize(size.width() + 20, 28);
    case CT_MenuItem:
        if (auto item = qstyleoption_cast<const QStyleOptionMenuItem*>(option)) {
            if (item->menuItemType == QStyleOptionMenuItem::Separator) return QSize(10, 9);
            const QFontMetrics metrics(item->font);
            const qsizetype tab = item->text.indexOf(u'\t');
            QString label = tab < 0 ? item->text : item->text.left(tab);
            label.remove(u'&');
            const QSize picture = menuPicture(widget);
            int width = textColumn(picture) + metrics.horizontalAdvance(label) + 24;
            if (tab >= 0) width += 24 + metrics.horizontalAdvance(item->text.mid(tab + 1));
            if (item->menuItemType == QStyleOptionMenuItem::SubMenu) width += 24;
            return QSize(width, std::max(menuRowHeight, picture.height() + 10));
        }
        break;
    case CT_PushButton:
        if (auto button = qstyleoption_cast<const QStyleOptionButton*>(option)) {
            QString label = button->text;
            label.remove(u'&');
            return QSize(button->fontMetrics.horizontalAdvance(label) + 32, 32);
        }
        break;
    case CT_LineEdit: return QSize(size.width(), std::max(size.height(), 32));
    default: break;
    }
    return QProxyStyle::sizeFromContents(type, option, size, widget);
}

QRect HobStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                               const QWidget* widget) const {
    auto bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (control != CC_ScrollBar || !bar) return QProxyStyle::subControlRect(control, option, part, widget);
    // No arrow buttons: the groove is the whole bar.
    const bool vertical = bar->orientation == Qt::Vertical;
    const int length = vertical ? bar->rect.height() : bar->rect.width();
    const qint64 range = qint64(bar->maximum) - bar->minimum;
    int handle = length;
    if (range > 0)
        handle = std::max<int>(pixelMetric(PM_ScrollBarSliderMin, option, widget),
                               int(qint64(bar->pageStep) * length / (range + bar->pageStep)));
    handle = std::min(handle, length);
    const int start =
        sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition, length - handle, bar->upsideDown);
    auto along = [&](int from, int extent) {
        const QRect r =
            vertical ? QRect(0, from, bar->rect.width(), extent) : QRect(from, 0, extent, bar->rect.height());
        return r.translated(bar->rect.topLeft());
    };
    switch (part) {
    case SC_ScrollBarSlider: return along(start, handle);
    case SC_ScrollBarGroove: return along(0, length);
    case SC_ScrollBarSubPage: return along(0, start);
    case SC_ScrollBarAddPage: return along(start + handle, length - start - handle);
    default: return {};
    }
}

} // namespace glasshob
