#pragma once

// Finds a text or a regular expression in a whole text, and says what a match is replaced by. Positions count UTF-16
// code units. `^` and `$` of an expression stand for the ends of a line. Empty matches are left out. Pure; any thread.
// An expression with a mistake gives a sentence for the person who typed it.

#include "GlassHobCore/code/MSLSyntax.h"

#include <QRegularExpression>
#include <QString>

#include <expected>
#include <vector>

namespace glasshob {

class TextSearch {
  public:
    struct Options {
        bool isCaseSensitive = false;
        bool isWholeWord = false;
        bool isExpression = false;

        bool operator==(const Options&) const = default;
    };
    // At most so many are counted and marked; a text with more is reported as having at least so many.
    static constexpr std::size_t limit = 20'000;

    // Finds nothing.
    TextSearch() = default;
    static std::expected<TextSearch, QString> make(const QString& pattern, Options options);

    // In the order of the text, without overlaps, at most `limit`.
    std::vector<TextRange> matches(const QString& text) const;

    // What comes in place of the match at `range`. For an expression `$1` or `\1` stand for its groups, `$0` or `\0`
    // for the whole match, `\n` and `\t` for a line end and a tab, `\\` and `$$` for themselves. Otherwise the
    // replacement as it stands.
    QString replacement(const QString& text, TextRange range, const QString& replacement) const;

  private:
    QRegularExpression expression_;
    bool isExpression_ = false;
    bool finds_ = false;
};

} // namespace glasshob
