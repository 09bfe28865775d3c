#include "GlassHobRender/episode/ProgressCells.h"

#include "GlassHobRender/episode/EpisodeLook.h"

#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr double widest = 60, narrowest = 9, pageGap = 6, stageGap = 18;

using State = ProgressCell::State;

// The width of `count` cells with gaps between them that come to so much.
double cellWidth(const QRectF& box, double gaps, std::size_t count) {
    return std::min(widest, (box.width() - gaps) / double(count));
}

State stateOf(std::size_t at, std::size_t current) {
    return at < current ? State::before : at == current ? State::current : State::later;
}

void fill(QPainter& painter, const QRectF& box, const QColor& colour) {
    const double radius = std::min(3.0, box.width() / 2);
    painter.setBrush(colour);
    painter.drawRoundedRect(box, radius, radius);
}

} // namespace

std::vector<ProgressCell> progressCells(const QRectF& box, const std::vector<WalkthroughStage>& stages,
                                        std::size_t stage, std::size_t page) {
    std::size_t pages = 0, before = 0;
    for (std::size_t i = 0; i < stages.size(); ++i) {
        if (i < stage) before += stages[i].pages.size();
        pages += stages[i].pages.size();
    }
    const std::size_t count = stages.size();
    std::vector<ProgressCell> cells;
    double left = box.left();
    const double wide = cellWidth(box, stageGap * double(count - 1) + pageGap * double(pages - count), pages);
    if (wide >= narrowest) {
        std::size_t at = 0;
        for (const WalkthroughStage& each : stages) {
            for (std::size_t i = 0; i < each.pages.size(); ++i, ++at) {
                cells.push_back({{left, box.top(), wide, box.height()}, stateOf(at, before + page)});
                left += wide + pageGap;
            }
            left += stageGap - pageGap;
        }
        return cells;
    }
    const double bar = cellWidth(box, pageGap * double(count - 1), count);
    if (bar >= narrowest) {
        for (std::size_t i = 0; i < count; ++i, left += bar + pageGap) {
            cells.push_back({{left, box.top(), bar, box.height()}, stateOf(i, stage)});
            if (i == stage) cells.back().part = double(page + 1) / double(stages[i].pages.size());
        }
        return cells;
    }
    cells.push_back({box, State::current, double(before + page + 1) / double(pages)});
    return cells;
}

void paintProgress(QPainter& painter, const QRectF& box, const std::vector<WalkthroughStage>& stages, std::size_t stage,
                   std::size_t page) {
    painter.setPen(Qt::NoPen);
    for (const ProgressCell& cell : progressCells(box, stages, stage, page)) {
        const bool isBefore = cell.state == State::before;
        fill(painter, cell.box, episodeLook::colour(isBefore ? Role::text3 : Role::track));
        if (cell.state != State::current) continue;
        QRectF done = cell.box;
        done.setWidth(std::max(done.width() * cell.part, std::min(done.width(), done.height())));
        fill(painter, done, episodeLook::colour(Role::accent));
    }
}

} // namespace glasshob
