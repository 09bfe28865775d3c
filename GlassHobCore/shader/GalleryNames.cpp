#include "GlassHobCore/shader/GalleryNames.h"

#include "GlassHobCore/text/Ascii.h"

#include <algorithm>

namespace glasshob::GalleryNames {

namespace {

constexpr std::string_view episodeHead = "episode-";
constexpr std::size_t longestStage = 64, longestId = 32;

bool isPlain(char c) {
    return isDigit(c) || isSmallLetter(c);
}
bool isPlainOrDash(char c) {
    return isPlain(c) || c == '-';
}

// The two or three digits behind "episode-", with what follows them.
struct Episode {
    std::string_view digits, rest;
};
std::optional<Episode> episode(std::string_view text) {
    if (!text.starts_with(episodeHead)) return {};
    text.remove_prefix(episodeHead.size());
    const auto length = std::size_t(std::ranges::find_if_not(text, isDigit) - text.begin());
    if (length < 2 || length > 3) return {};
    return Episode{text.substr(0, length), text.substr(length)};
}

} // namespace

bool isItem(std::string_view text) {
    if (text.starts_with("s/")) return isSharedId(text.substr(2));
    const auto found = episode(text);
    if (!found) return false;
    const std::string_view rest = found->rest;
    return rest.empty() || (rest.front() == '/' && rest.size() <= 1 + longestStage && isStage(rest.substr(1)));
}

bool isStage(std::string_view text) {
    return !text.empty() && isPlain(text.front()) && std::ranges::all_of(text, isPlainOrDash);
}

bool isSharedId(std::string_view text) {
    return !text.empty() && text.size() <= longestId && std::ranges::all_of(text, isPlain);
}

std::optional<std::string> episodeOfFolder(std::string_view folder) {
    const auto found = episode(folder);
    if (!found || found->rest.size() < 2 || found->rest.front() != '-' ||
        !std::ranges::all_of(found->rest, isPlainOrDash))
        return {};
    std::string_view number = found->digits;
    if (number.size() == 3 && number.starts_with('0')) number.remove_prefix(1);
    return std::string(episodeHead) + std::string(number);
}

} // namespace glasshob::GalleryNames
