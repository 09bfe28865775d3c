// What the walkthrough's window says about its pages. Pure; any thread.
#pragma once

#include "GlassHobCore/episode/Walkthrough.h"
#include "GlassHobRender/episode/WalkthroughPainter.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace glasshob::walkthroughTexts {

// What of the page does not fit, the worst first: "2 lines are wrapped: more than 62 columns at this size". Empty when
// all fits.
QStringList warnings(const PageFit& fit);
// "13 lines · code size 29 · caption fits"
QString facts(const PageFit& fit, bool hasCaption);
// "15 lines"
QString lineCount(const WalkthroughPage& page);
// "Stage 4 of 5, page 1 of 1"; from 0.
QString place(const std::vector<WalkthroughStage>& stages, std::size_t stage, std::size_t page);
// "5 stages, 6 pages, 1:00 at 10 seconds a page"
QString summary(const std::vector<WalkthroughStage>& stages, double pageSeconds);
// The page read aloud: its caption, then its lines, added ones preceded by "added".
QString spoken(const WalkthroughStage& stage, const WalkthroughPage& page);

} // namespace glasshob::walkthroughTexts
