#include "GlassHobRender/episode/CodeWrap.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace glasshob {

namespace {

using namespace std::string_view_literals;

constexpr std::array loose = {u"?"sv,  u":"sv,  u"&&"sv, u"||"sv, u"="sv,  u"+="sv,  u"-="sv, u"*="sv,
                              u"/="sv, u"%="sv, u"&="sv, u"|="sv, u"^="sv, u"<<="sv, u">>="sv};
constexpr std::array middle = {u"+"sv, u"-"sv, u"<"sv, u">"sv, u"<="sv, u">="sv, u"=="sv, u"!="sv};
constexpr std::array tight = {u"*"sv, u"/"sv, u"%"sv, u"&"sv, u"|"sv, u"^"sv, u"<<"sv, u">>"sv};

int tightness(QStringView word) {
    const std::u16string_view text(word.utf16(), std::size_t(word.size()));
    if (std::ranges::find(loose, text) != loose.end()) return 0;
    if (std::ranges::find(middle, text) != middle.end()) return 1;
    return std::ranges::find(tight, text) != tight.end() ? 2 : -1;
}

} // namespace

std::vector<BreakPlace> breakPlaces(QStringView line) {
    std::vector<BreakPlace> places;
    int depth = 0;
    QChar quote;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (!quote.isNull()) {
            if (c == u'\\') {
                ++i;
            } else if (c == quote) {
                quote = QChar();
            }
        } else if (c == u'"') {
            quote = c;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            ++depth;
        } else if (c == u')' || c == u']' || c == u'}') {
            depth = std::max(depth - 1, 0);
        } else if (c == u',') {
            places.push_back({i + 1, depth, 0});
        } else if (i > 0 && line[i - 1] == u' ' && c != u' ') {
            // No operator is longer than three characters.
            const qsizetype end = line.sliced(i, std::min<qsizetype>(4, line.size() - i)).indexOf(u' ');
            const int tied = end > 0 ? tightness(line.sliced(i, end)) : -1;
            if (tied >= 0) places.push_back({i, depth, tied});
        }
    }
    return places;
}

} // namespace glasshob
