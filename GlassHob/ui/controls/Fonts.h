// The fonts of the window, one function for each use. Interface text is Manrope; code, and numbers that change while
// one looks at them, are JetBrains Mono without ligatures.
// Every function returns a QFont of the caller's own; call them on the main thread, after QApplication.
#pragma once

#include <QFont>

namespace glasshob::fonts {

QFont ui(double pixels, QFont::Weight weight = QFont::Medium);
QFont mono(double pixels, QFont::Weight weight = QFont::Normal);

inline QFont body() {
    return ui(13);
}
inline QFont button() {
    return ui(13, QFont::DemiBold);
}
inline QFont menu() {
    return ui(12.5);
}
inline QFont label() {
    return ui(12.5, QFont::DemiBold);
} // toolbar labels, strip titles
inline QFont heading() {
    return ui(13, QFont::Bold);
} // pane headings
inline QFont small() {
    return ui(12);
} // status line, strips, hints
inline QFont chip() {
    return ui(11, QFont::DemiBold);
}
inline QFont statement() {
    return ui(15, QFont::Bold);
} // one line that asks or tells
QFont dialogHeading();
QFont figure(); // how much of something is done
inline QFont fieldLabel() {
    return ui(12, QFont::DemiBold);
}
inline QFont bannerTitle() {
    return ui(14, QFont::Bold);
}
inline QFont tooltip() {
    return ui(12.5, QFont::DemiBold);
}
inline QFont sliderName() {
    return mono(12.5, QFont::Medium);
}
inline QFont value() {
    return mono(12);
}
inline QFont time() {
    return mono(13);
}

} // namespace glasshob::fonts
