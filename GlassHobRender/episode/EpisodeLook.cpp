#include "GlassHobRender/episode/EpisodeLook.h"

#include <array>
#include <cmath>

namespace glasshob {

QRect EpisodeFrame::pixels(const QRectF& units) const {
    const auto whole = [this](double at) { return int(std::lround(at * scale())); };
    const int left = whole(units.left()), top = whole(units.top());
    return {left, top, whole(units.right()) - left, whole(units.bottom()) - top};
}

namespace episodeLook {

namespace {

// clang-format off
constexpr std::array<std::uint32_t, std::size_t(CodeRole::count)> contextColours = {
    0x817B79, // plain
    0x847B75, // comment
    0x847B75, // header
    0x847B75, // headerKey
    0x8B72A8, // keyword
    0x55848E, // type
    0x957750, // number
    0x6D835C, // string
    0xA16B93, // preprocessor
    0x657DA8, // attribute
};
// clang-format on

QColor opaque(std::uint32_t rgb) {
    return QColor::fromRgb(QRgb(0xff000000U | rgb));
}

} // namespace

double codeColumnWidth(const EpisodeFrame& frame) {
    return frame.unitsWide() - 768;
}

QRect picture(const EpisodeFrame& frame, Picture which) {
    switch (which) {
    case Picture::page: {
        // Flush with the corner, whatever the frame's width comes to.
        QRect box = frame.pixels({0, 0, 768, 432});
        box.moveRight(frame.width - 1);
        return box;
    }
    case Picture::opening: return frame.pixels({frame.unitsWide() - 930, 180, 720, 900});
    case Picture::end: return frame.pixels({174, 180, 720, 900});
    case Picture::variation: break;
    }
    return {0, 0, frame.width, frame.height};
}

QColor background(Picture which) {
    return colour(which == Picture::page ? Role::editor : Role::canvas);
}

QColor colour(VideoRole role) {
    return opaque(role == VideoRole::addedTint ? 0x1F1411 : 0x231E1F);
}

QColor colour(Role role) {
    return colourOf(role, Shade::dark);
}

QColor colour(CodeRole role, CodeTone tone) {
    return tone == CodeTone::added ? colourOf(role, Shade::dark) : opaque(contextColours[std::size_t(role)]);
}

} // namespace episodeLook
} // namespace glasshob
