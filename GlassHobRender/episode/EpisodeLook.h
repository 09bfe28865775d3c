#pragma once

// The look of an episode's video: where things stand in its frame and in which colours. The video is dark, whatever the
// theme of the window. Lengths are in units: a frame is 1080 units high, and all of its images are laid out in units,
// so that lines break alike at every size. Values; any thread.

#include "GlassHobCore/episode/Walkthrough.h"
#include "GlassHobRender/paint/Colours.h"

#include <QRect>
#include <QRectF>

namespace glasshob {

// The size of the video.
struct EpisodeFrame {
    // Pixels.
    int width = 0;
    int height = 0;

    // Whether pages, cards and labels have room: frames from 4:3 on.
    bool hasRoom() const { return height > 0 && 3 * std::int64_t(width) >= 4 * std::int64_t(height); }
    // Pixels in a unit.
    double scale() const { return height / 1080.0; }
    double unitsWide() const { return width / scale(); }
    // The box with its edges brought to whole pixels.
    QRect pixels(const QRectF& units) const;

    bool operator==(const EpisodeFrame&) const = default;
};

namespace episodeLook {

// How many lines a page of the walkthrough holds: 16, which leaves six rows of the smallest size for wrapped lines; as
// few as 12 where a stage would otherwise end in a page that is nearly empty.
inline constexpr Walkthrough::PageLines pageLines{.most = 16, .least = 12};
// How long a page is seen, in seconds.
inline constexpr double pageSeconds = 10, leastPageSeconds = 4, mostPageSeconds = 30;
// How long a card is seen, in seconds.
inline constexpr double cardSeconds = 4;

// Where the shader's picture stands in the frame: beside the code, behind the arch of a card, or everywhere.
enum class Picture { page, opening, end, variation };
QRect picture(const EpisodeFrame& frame, Picture which);
// The frame outside of the picture.
QColor background(Picture which);

// What only the video has a colour for.
enum class VideoRole { addedTint, archWall };
QColor colour(VideoRole role);
QColor colour(Role role);
// Code that is new, and code that was there before: the same hues, all of one weight.
enum class CodeTone { added, context };
QColor colour(CodeRole role, CodeTone tone);

// The column of code at the left, and what stands at its right.
double codeColumnWidth(const EpisodeFrame& frame);

} // namespace episodeLook
} // namespace glasshob
