#include "GlassHob/ui/controls/Theme.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/HobStyle.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusVariant>
#include <QPalette>
#include <QSettings>
#include <QToolTip>
#include <QWidget>

namespace glasshob {

namespace {

constexpr auto appearanceKey = "appearance";
constexpr auto portalService = "org.freedesktop.portal.Desktop";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto portalInterface = "org.freedesktop.portal.Settings";
constexpr auto appearanceGroup = "org.freedesktop.appearance";
constexpr auto colorSchemeKey = "color-scheme";

// The portal wraps its answer in one or two variants, according to the version of the interface.
uint unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value.toUInt();
}

QPalette paletteFrom(const Theme& theme) {
    auto c = [&](Role role) { return theme.color(role); };
    QPalette palette;
    auto all = [&](QPalette::ColorRole role, const QColor& color) { palette.setColor(QPalette::All, role, color); };
    all(QPalette::Window, c(Role::window));
    all(QPalette::WindowText, c(Role::text));
    all(QPalette::Base, c(Role::editor));
    all(QPalette::AlternateBase, c(Role::strip));
    all(QPalette::Text, c(Role::text));
    all(QPalette::PlaceholderText, c(Role::text3));
    all(QPalette::Button, c(Role::control));
    all(QPalette::ButtonText, c(Role::text));
    all(QPalette::BrightText, c(Role::onAccent));
    all(QPalette::Highlight, c(Role::selection));
    all(QPalette::HighlightedText, c(Role::text));
    all(QPalette::Link, c(Role::accentText));
    all(QPalette::LinkVisited, c(Role::accentText));
    all(QPalette::ToolTipBase, c(Role::tooltip));
    all(QPalette::ToolTipText, c(Role::text));
    all(QPalette::Light, c(Role::controlHover));
    all(QPalette::Midlight, c(Role::control));
    all(QPalette::Mid, c(Role::line));
    all(QPalette::Dark, c(Role::lineStrong));
    all(QPalette::Shadow, c(Role::canvas));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::HighlightedText})
        palette.setColor(QPalette::Disabled, role, c(Role::disabled));
    return palette;
}

} // namespace

Theme& Theme::instance() {
    static Theme theme;
    return theme;
}

void Theme::install() {
    // Before our own palette hides it: the desktop's palette tells dark from light where no portal answers.
    const QPalette desktop = QGuiApplication::palette();
    desktopIsDark_ = desktop.color(QPalette::Window).lightness() < desktop.color(QPalette::WindowText).lightness();
    readDesktopPreference();

    const QString kept = QSettings().value(appearanceKey).toString();
    appearance_ = kept == "dark" ? Appearance::dark : kept == "light" ? Appearance::light : Appearance::system;

    QApplication::setStyle(new HobStyle);
    QApplication::setFont(fonts::body());
    QToolTip::setFont(fonts::tooltip());
    apply(false);
}

void Theme::setAppearance(Appearance appearance) {
    if (appearance == appearance_) return;
    appearance_ = appearance;
    QSettings().setValue(appearanceKey, appearance == Appearance::dark    ? "dark"
                                        : appearance == Appearance::light ? "light"
                                                                          : "system");
    apply(true);
}

void Theme::readDesktopPreference() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    bus.connect(portalService, portalPath, portalInterface, "SettingChanged", this,
                SLOT(portalSettingChanged(QString, QString, QDBusVariant)));
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, "Read");
    call << appearanceGroup << colorSchemeKey;
    // A desktop without a portal must not delay the first picture.
    const QDBusMessage answer = bus.call(call, QDBus::Block, 150);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty()) return;
    const uint scheme = unwrapped(answer.arguments().first());
    if (scheme == 1 || scheme == 2) desktopIsDark_ = scheme == 1;
}

void Theme::portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group != appearanceGroup || key != colorSchemeKey) return;
    const uint scheme = unwrapped(value.variant());
    if (scheme != 1 && scheme != 2) return;
    desktopIsDark_ = scheme == 1;
    apply(true);
}

void Theme::apply(bool announce) {
    const bool dark = appearance_ == Appearance::dark || (appearance_ == Appearance::system && desktopIsDark_);
    if (announce && dark == dark_) return;
    dark_ = dark;
    const QPalette palette = paletteFrom(*this);
    QApplication::setPalette(palette);
    QToolTip::setPalette(palette);
    if (!announce) return;
    emit changed();
    for (QWidget* widget : QApplication::allWidgets())
        widget->update();
}

} // namespace glasshob
