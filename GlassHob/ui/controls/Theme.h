// The theme in force: which of the two colour tables is used, the application's palette made from it, and the choice
// of the user (follow the desktop, light or dark), which is kept in the settings.
// One object per application, main thread. Widgets ask it for colours while they paint and repaint on changed().
#pragma once

#include "GlassHobRender/paint/Colours.h"

#include <QObject>

class QDBusVariant;

namespace glasshob {

class Theme : public QObject {
    Q_OBJECT
  public:
    enum class Appearance { system, light, dark };

    // The application's theme; made on first use, after QApplication.
    static Theme& instance();

    // Sets the style, the palette and the fonts of the application and reads the user's choice. Call once, early.
    void install();

    Appearance appearance() const { return appearance_; }
    void setAppearance(Appearance appearance);

    bool isDark() const { return dark_; }
    Shade shade() const { return dark_ ? Shade::dark : Shade::light; }
    QColor color(Role role) const { return colourOf(role, shade()); }
    QColor color(CodeRole role) const { return colourOf(role, shade()); }

  signals:
    void changed();

  private slots:
    void portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

  private:
    Theme() = default;
    void readDesktopPreference();
    void apply(bool announce);

    Appearance appearance_ = Appearance::system;
    bool desktopIsDark_ = true;
    bool dark_ = true;
};

inline QColor themed(Role role) {
    return Theme::instance().color(role);
}
inline QColor themed(CodeRole role) {
    return Theme::instance().color(role);
}

} // namespace glasshob
