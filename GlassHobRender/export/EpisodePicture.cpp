#include "GlassHobRender/export/EpisodePicture.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glasshob {

namespace {

std::vector<ExportSegment> segmentsOf(const EpisodePlan& plan, EpisodePrograms programs, QSize size) {
    programs.stages.resize(plan.stages().size());
    return episodeSegments(plan.inFrame({std::max(size.width(), 1), std::max(size.height(), 1)}), programs);
}

} // namespace

EpisodePicture::EpisodePicture(EpisodePlan plan, EpisodePrograms programs, QSize size, std::stop_token stop)
    : plan_(std::move(plan)),
      frames_(segmentsOf(plan_, std::move(programs), size), size, plan_.fps(), std::move(stop)) {}

std::expected<QImage, ExportError> EpisodePicture::at(double seconds) {
    const double wanted = seconds * double(plan_.fps()) + 1e-6;
    const auto most = double(frames_.timeline().frameCount() - 1);
    return frames_.at(std::isfinite(wanted) ? std::int64_t(std::clamp(wanted, 0.0, most)) : 0);
}

QSize episodePictureSize(const EpisodePlan& plan, QSize most) {
    const QSize size = QSize(plan.frame().width, plan.frame().height).scaled(most, Qt::KeepAspectRatio);
    return size.expandedTo({1, 1});
}

double typicalMoment(const EpisodePlan& plan, const EpisodePart& part) {
    if (part.kind == EpisodePart::Kind::stage) return pageMoment(plan, part.number, 0);
    return part.at + part.seconds / 2;
}

double pageMoment(const EpisodePlan& plan, std::size_t stage, std::size_t page) {
    for (const EpisodePart& part : plan.parts())
        if (part.kind == EpisodePart::Kind::stage && part.number == stage)
            return part.at + (double(page) + 0.5) * plan.choices().pageSeconds;
    return 0;
}

} // namespace glasshob
