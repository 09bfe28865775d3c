#pragma once

// Walks the lines that directives are read from, and says where each stands for an editor and the compiler. Readers of
// directives know more kinds of line breaks than these two, which count line feeds, carriage returns and pairs of both.
// A value over the caller's text.

#include "GlassHobCore/text/Lines.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace glasshob {

class NumberedLines {
  public:
    struct Line {
        std::string_view text;
        // From 1.
        std::int64_t number = 1;
        // In bytes from 1, where `text` begins in its line; more than 1 behind a break that does not count.
        std::int64_t column = 1;

        // The column of a part of `text`.
        std::int64_t columnOf(std::string_view part) const { return column + (part.data() - text.data()); }
    };

    explicit NumberedLines(std::string_view source)
        : lines_(source), counted_(source.data() + (source.starts_with("\xEF\xBB\xBF") ? 3 : 0)), begin_(counted_) {}

    std::optional<Line> next() {
        const auto text = lines_.next();
        if (!text) return std::nullopt;
        for (; counted_ < text->data(); ++counted_) {
            if (*counted_ != '\n' && (*counted_ != '\r' || counted_[1] == '\n')) continue;
            ++number_;
            begin_ = counted_ + 1;
        }
        return Line{*text, number_, text->data() - begin_ + 1};
    }

  private:
    LineReader lines_;
    const char* counted_;
    const char* begin_;
    std::int64_t number_ = 1;
};

} // namespace glasshob
