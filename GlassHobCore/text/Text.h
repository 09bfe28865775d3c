// The program's own texts are UTF-8 views; Qt's are QStrings.
#pragma once

#include <QString>

#include <string_view>

namespace glasshob {

inline QString asQString(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

} // namespace glasshob
