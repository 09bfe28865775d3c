#include "GlassHobCore/shader/ForkedFrom.h"

#include "GlassHobCore/text/LineMatcher.h"

#include <algorithm>

namespace glasshob::ForkedFrom {

namespace {

constexpr std::string_view mark = "\xEF\xBB\xBF"; // of the order of bytes, which some editors begin a file with

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isPlain(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z');
}

bool isStage(std::string_view name) {
    return !name.empty() && name.size() <= 64 && isPlain(name.front()) &&
           std::ranges::all_of(name, [](char c) { return isPlain(c) || c == '-'; });
}

// What a line names, when it is one of these.
std::optional<std::string_view> named(std::string_view line) {
    LineMatcher matcher(line);
    if (!matcher.directiveMark() || !matcher.literal("forked-from") || matcher.whiteSpace() == 0) return {};
    const std::string_view name = matcher.token();
    matcher.whiteSpace();
    if (name.empty() || !matcher.atEnd()) return {};
    return name;
}

// The text's lines with what ends them.
class Lines {
  public:
    explicit Lines(std::string_view text) : text_(text) {}
    bool atEnd() const { return at_ == text_.size(); }
    std::size_t place() const { return at_; }
    std::string_view next() {
        const std::size_t end = std::min(text_.find('\n', at_), text_.size() - 1);
        const std::size_t start = at_;
        at_ = end + 1;
        return text_.substr(start, at_ - start);
    }

  private:
    std::string_view text_;
    std::size_t at_ = 0;
};

std::string_view endOf(std::string_view line) {
    return line.ends_with("\r\n") ? "\r\n" : line.ends_with('\n') ? "\n" : "";
}

} // namespace

bool isItem(std::string_view text) {
    if (text.starts_with("s/")) {
        text.remove_prefix(2);
        return !text.empty() && text.size() <= 32 && std::ranges::all_of(text, isPlain);
    }
    if (!text.starts_with("episode-")) return false;
    text.remove_prefix(8);
    const auto digits = std::size_t(std::ranges::find_if_not(text, isDigit) - text.begin());
    if (digits < 2 || digits > 3) return false;
    text.remove_prefix(digits);
    return text.empty() || (text.front() == '/' && isStage(text.substr(1)));
}

std::optional<std::string> parse(std::string_view source) {
    for (Lines lines(source); !lines.atEnd();)
        if (const auto name = named(lines.next()))
            return isItem(*name) ? std::optional(std::string(*name)) : std::nullopt;
    return {};
}

std::string stamp(std::string_view source, std::string_view item) {
    const std::string line = "// @forked-from " + std::string(item);
    std::string made(source);
    for (Lines lines(source); !lines.atEnd();) {
        const std::size_t at = lines.place();
        const std::string_view there = lines.next();
        if (named(there)) return made.replace(at, there.size() - endOf(there).size(), line);
    }
    std::size_t place = source.starts_with(mark) ? mark.size() : 0;
    const std::size_t start = place;
    std::string_view last;
    for (Lines lines(source.substr(start)); !lines.atEnd(); place = start + lines.place()) {
        const std::string_view next = lines.next();
        LineMatcher matcher(next);
        matcher.whiteSpace();
        if (!matcher.literal("//")) break;
        last = next;
    }
    if (last.empty()) { // the source begins with something else
        const std::size_t end = std::min(source.find('\n'), source.size());
        return made.insert(start, line + (end > 0 && end < source.size() && source[end - 1] == '\r' ? "\r\n" : "\n"));
    }
    const std::string_view end = endOf(last);
    return made.insert(place, end.empty() ? "\n" + line : line + std::string(end));
}

} // namespace glasshob::ForkedFrom
