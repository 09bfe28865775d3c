#pragma once

// Matches the fixed shapes of comment directives and function heads against one line, step by step from its front.
// Stands in for regular expressions, which cost a hundred times as much on text that is looked at on every keystroke.
// A plain value over the caller's line; a failed step leaves it where it was.

#include "GlassHobCore/text/Ascii.h"
#include "GlassHobCore/text/Lines.h"

#include <cstddef>
#include <string_view>

namespace glasshob {

class LineMatcher {
  public:
    explicit LineMatcher(std::string_view line) : rest_(line) {}

    // `\s*`: gives the number of bytes passed, so that `\s+` is a result above 0.
    std::size_t whiteSpace() {
        const std::size_t length = leadingWhiteSpace(rest_);
        rest_.remove_prefix(length);
        return length;
    }

    bool literal(std::string_view text) {
        if (!rest_.starts_with(text)) return false;
        rest_.remove_prefix(text.size());
        return true;
    }

    // `\s*//\s*@`, how every directive begins.
    bool directiveMark() {
        whiteSpace();
        if (!literal("//")) return false;
        whiteSpace();
        return literal("@");
    }

    // `[A-Za-z_][A-Za-z0-9_]*`; empty when there is none.
    std::string_view identifier() {
        std::size_t length = 0;
        while (length < rest_.size() && (isNameLetter(rest_[length]) || (length > 0 && isDigit(rest_[length]))))
            ++length;
        return take(length);
    }

    // `\S+`; empty when there is none.
    std::string_view token() {
        std::size_t length = 0;
        while (length < rest_.size() && leadingWhiteSpaceCharacter(length) == 0)
            ++length;
        return take(length);
    }

    // `[0-9]+`; empty when there is none.
    std::string_view digits() {
        std::size_t length = 0;
        while (length < rest_.size() && isDigit(rest_[length]))
            ++length;
        return take(length);
    }

    std::string_view rest() const { return rest_; }
    bool atEnd() const { return rest_.empty(); }

  private:
    static bool isNameLetter(char c) { return isLetter(c) || c == '_'; }

    std::size_t leadingWhiteSpaceCharacter(std::size_t at) const {
        const auto byte = static_cast<unsigned char>(rest_[at]);
        if (byte < 0x80) return byte == ' ' || (byte >= 0x09 && byte <= 0x0D) ? 1 : 0;
        if ((byte & 0xC0) == 0x80) return 0;
        const DecodedCharacter character = decodeCharacter(rest_.substr(at));
        return isWhiteSpace(character.value) ? character.length : 0;
    }

    std::string_view take(std::size_t length) {
        const std::string_view taken = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return taken;
    }

    std::string_view rest_;
};

} // namespace glasshob
