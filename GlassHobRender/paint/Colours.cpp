#include "GlassHobRender/paint/Colours.h"

namespace glasshob {

namespace {

QColor pick(const ThemeEntry& entry, Shade shade) {
    return QColor::fromRgb(QRgb(0xff000000u | (shade == Shade::dark ? entry.dark : entry.light)));
}

} // namespace

QColor colourOf(Role role, Shade shade) {
    return pick(themeRoles[std::size_t(role)], shade);
}

QColor colourOf(CodeRole role, Shade shade) {
    return pick(themeCode[std::size_t(role)], shade);
}

} // namespace glasshob
