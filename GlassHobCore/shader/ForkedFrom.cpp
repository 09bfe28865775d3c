#include "GlassHobCore/shader/ForkedFrom.h"

#include "GlassHobCore/shader/GalleryNames.h"
#include "GlassHobCore/text/LineMatcher.h"

#include <algorithm>

namespace glasshob::ForkedFrom {

namespace {

constexpr std::string_view mark = "\xEF\xBB\xBF"; // of the order of bytes, which some editors begin a file with

// What a line names, when it is one of these.
std::optional<std::string_view> named(std::string_view line) {
    LineMatcher matcher(line);
    if (!matcher.directiveMark() || !matcher.literal("forked-from") || matcher.whiteSpace() == 0) return {};
    const std::string_view name = matcher.token();
    matcher.whiteSpace();
    if (name.empty() || !matcher.atEnd()) return {};
    return name;
}

// The text's lines with what ends them, without a mark before the first.
class Lines {
  public:
    explicit Lines(std::string_view text) : text_(text), at_(text.starts_with(mark) ? mark.size() : 0) {}
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
    std::size_t at_;
};

std::string_view endOf(std::string_view line) {
    return line.ends_with("\r\n") ? "\r\n" : line.ends_with('\n') ? "\n" : "";
}

// Whether the next line belongs to the same comment.
bool continues(std::string_view line) {
    return trimmedEnd(line).ends_with('\\');
}

} // namespace

std::optional<std::string> parse(std::string_view source) {
    for (Lines lines(source); !lines.atEnd();)
        if (const auto name = named(lines.next()))
            return GalleryNames::isItem(*name) ? std::optional(std::string(*name)) : std::nullopt;
    return {};
}

std::string stamp(std::string_view source, std::string_view item) {
    const std::string line = "// @forked-from " + std::string(item);
    std::string made(source);
    for (Lines lines(source); !lines.atEnd();) {
        const std::size_t at = lines.place();
        const std::string_view there = lines.next();
        if (named(there) && !continues(there)) return made.replace(at, there.size() - endOf(there).size(), line);
    }
    Lines lines(source);
    const std::size_t start = lines.place();
    const std::string_view first = lines.atEnd() ? std::string_view() : lines.next();
    LineMatcher matcher(first);
    matcher.whiteSpace();
    // A source that begins with something else, or with a comment that goes on in the next line, has it at the top.
    if (!matcher.literal("//") || continues(first))
        return made.insert(start, line + std::string(endOf(first) == "\r\n" ? "\r\n" : "\n"));
    const std::string_view end = endOf(first);
    return made.insert(start + first.size(), end.empty() ? "\n" + line : line + std::string(end));
}

} // namespace glasshob::ForkedFrom
