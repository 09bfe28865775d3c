#pragma once

// Paints the pages of a code walkthrough and the title moments of its stages, as images to lay over the frames of a
// video: transparent where the shader's picture stands (episodeLook::Picture::page). The same input paints the same
// bytes. Any thread of a process with an application; several at a time.

#include "GlassHobCore/episode/Walkthrough.h"
#include "GlassHobRender/episode/EpisodeLook.h"

#include <QImage>

#include <cstdint>
#include <vector>

namespace glasshob {

// What the author of a page should know about how it fits.
struct PageFit {
    // Lines of the page, blank ones and gaps with them.
    int lines = 0;
    int codeSize = 44;
    // How many columns a row has at this size, and how many lines had to be broken.
    int columns = 0;
    int wrappedLines = 0;
    // Lines that are left out or shortened at the end.
    int cutLines = 0;
    bool isCaptionCut = false;
    // How many lines of the caption have room.
    int captionLines = 0;
};

class WalkthroughPainter {
  public:
    // The stages as they are to be shown, each with a page at least; the frame has room.
    WalkthroughPainter(EpisodeFrame frame, std::vector<WalkthroughStage> stages);

    const EpisodeFrame& frame() const { return frame_; }
    const std::vector<WalkthroughStage>& stages() const { return stages_; }

    // Stages and pages count from 0. What fades (code and caption; number, title and summary) has this opacity. Null
    // when there was no memory for the image.
    QImage page(std::size_t stage, std::size_t page, double opacity = 1) const;
    QImage titleMoment(std::size_t stage, double opacity = 1) const;

    PageFit fit(std::size_t stage, std::size_t page) const;

  private:
    EpisodeFrame frame_;
    std::vector<WalkthroughStage> stages_;
};

} // namespace glasshob
