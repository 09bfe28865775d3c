#pragma once

// The picture of an episode's video at any moment, as the video has it: the shader, the page, card or label over it,
// and the mark. For previews, at a size of their own; the layout is that of the plan.
//
// One thread at a time uses it, which it blocks while the GPU works and while overlays are painted: not the thread that
// a window lives on. A process with an application.

#include "GlassHobRender/export/EpisodeVideo.h"
#include "GlassHobRender/export/FrameImages.h"

#include <QImage>
#include <QSize>

#include <expected>
#include <stop_token>

namespace glasshob {

class EpisodePicture {
  public:
    // `size` is that of the pictures, at best of the plan's proportions. Programs that are not there yet are null, and
    // there are no pictures of theirs. `stop` ends what takes long: the way of particles up to a moment.
    EpisodePicture(EpisodePlan plan, EpisodePrograms programs, QSize size, std::stop_token stop = {});

    const EpisodePlan& plan() const { return plan_; }

    // The frame that is seen at so many seconds of the video; the last one afterwards. Any order, though going on from
    // the moment before is quickest.
    std::expected<QImage, ExportError> at(double seconds);

  private:
    EpisodePlan plan_;
    FrameImages frames_;
};

// The largest size of the plan's proportions that is no larger than `most`, both sides at least a pixel.
QSize episodePictureSize(const EpisodePlan& plan, QSize most);

// A time at which the part looks as it does for most of its time: everything has faded in, and the title moment of a
// stage is over. Seconds of the video.
double typicalMoment(const EpisodePlan& plan, const EpisodePart& part);
// The middle of a page's time. Counted from 0; a stage that the plan shows.
double pageMoment(const EpisodePlan& plan, std::size_t stage, std::size_t page);

} // namespace glasshob
