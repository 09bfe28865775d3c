#pragma once

// The row of small cells under a walkthrough's page that says how far it has come. Any thread.

#include "GlassHobCore/episode/Walkthrough.h"

#include <QRectF>

#include <vector>

class QPainter;

namespace glasshob {

// One cell for each page; where they would be too small, one for each stage, and at last a single one. Each with how
// much of it is behind the viewer (0 to 1).
struct ProgressCell {
    QRectF box;
    enum class State { before, current, later } state = State::later;
    // Of the current one: the part that is filled.
    double part = 1;
};
std::vector<ProgressCell> progressCells(const QRectF& box, const std::vector<WalkthroughStage>& stages,
                                        std::size_t stage, std::size_t page);

void paintProgress(QPainter& painter, const QRectF& box, const std::vector<WalkthroughStage>& stages, std::size_t stage,
                   std::size_t page);

} // namespace glasshob
