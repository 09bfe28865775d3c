#pragma once

// Texts from elsewhere, as a person is shown them. Pure; any thread.

#include "GlassHobCore/text/Text.h"

namespace glasshob {

// At most so many characters of a text, without those that steer a terminal or turn the direction of reading. Line
// breaks stay.
inline QString shownText(std::string_view utf8, qsizetype most) {
    QString made;
    for (const QChar c : asQString(utf8).left(most))
        if (c == u'\n' || (c.category() != QChar::Other_Control && c.category() != QChar::Other_Format)) made += c;
    return made;
}

} // namespace glasshob
