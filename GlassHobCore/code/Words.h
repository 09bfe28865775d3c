// Words in a line of code: names, keywords and numbers without their points.
#pragma once

#include "GlassHobCore/code/MSLSyntax.h"

#include <QStringView>

namespace glasshob {

inline bool isWordPart(QChar c) {
    return c == u'_' || c.isLetterOrNumber();
}

// The word that `column` stands in or beside; empty at `column` where there is none.
inline TextRange wordAt(QStringView line, qsizetype column) {
    qsizetype from = column, to = column;
    while (from > 0 && isWordPart(line[from - 1]))
        --from;
    while (to < line.size() && isWordPart(line[to]))
        ++to;
    return {from, to - from};
}

} // namespace glasshob
