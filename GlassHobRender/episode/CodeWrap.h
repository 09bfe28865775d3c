#pragma once

// Where a line of code that is too long is broken. Pure; any thread.

#include <QStringView>

#include <vector>

namespace glasshob {

// A place to go on in another row.
struct BreakPlace {
    // In UTF-16 code units; the row before it ends here but for its blanks.
    qsizetype at = 0;
    // Brackets that are open there.
    int depth = 0;
    // 0 binds loosest: commas, ? : && || and assignments; 1: sums and comparisons; 2: the rest.
    int tightness = 0;
};

// After every comma, and before every operator with blanks round it; none within strings. In the order of the text.
std::vector<BreakPlace> breakPlaces(QStringView line);

} // namespace glasshob
