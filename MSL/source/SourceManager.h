// The source text of one compile, and where its lines are. Offsets are turned into file, line and column only when a
// message needs them; #line directives are recorded by the preprocessor as it meets them.
#pragma once

#include "MSL/source/SourceLocation.h"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace msl {

struct PresumedLocation {
    std::string_view file;
    std::uint32_t line = 0;   // 1-based
    std::uint32_t column = 0; // 1-based, in UTF-8 bytes
};

class SourceManager {
  public:
    // The text must outlive the manager. In the bytes [userTextBegin, userTextEnd) a #line is for __LINE__ alone.
    SourceManager(std::string_view text, std::string_view fileName, std::size_t userTextBegin, std::size_t userTextEnd);

    std::string_view text() const { return text_; }

    // The text as regions that are read one after the other as if each were a file of its own: what comes before the
    // user's text, this, and what comes after them. Nothing that one region leaves open swallows the next.
    std::uint32_t regionEnd(std::uint32_t offset) const;

    // False of what a host put around the user's text.
    bool isUserText(std::uint32_t offset) const {
        return userTextBegin_ == userTextEnd_ || (offset >= userTextBegin_ && offset <= userTextEnd_);
    }

    // The offset of the first byte of the line.
    std::uint32_t lineBegin(std::uint32_t offset) const;

    // A number that differs between places whose #line directives name different files.
    std::uint32_t fileIndex(std::uint32_t offset) const;

    // "#line line "file"" stood at directiveOffset; it takes effect from the next line on. An empty file keeps the
    // name, a very long one is cut.
    void addLineDirective(std::uint32_t directiveOffset, std::uint32_t line, std::string_view file);

    // Where messages say that it is: in the user's text always a line that it has.
    PresumedLocation presumed(SourceLocation at) const;
    std::uint32_t macroLine(SourceLocation at) const;   // what __LINE__ is there
    std::string_view lineText(SourceLocation at) const; // the physical line, without its line end

  private:
    struct LineDirective {
        std::uint32_t offset;       // of the first byte it applies to
        std::uint32_t physicalLine; // 0-based line of that byte
        std::uint32_t line;
        std::uint32_t macroLine; // another number than line after a #line of the user's text
        std::uint32_t fileIndex; // into fileNames_
    };
    std::uint32_t physicalLine(std::uint32_t offset) const; // 0-based
    std::uint32_t lineEnd(std::uint32_t offset) const;      // of the line without what ends it
    bool endsLine(std::uint32_t offset) const;
    std::uint32_t countLineEnds(std::uint32_t begin, std::uint32_t end) const;
    const std::vector<std::uint32_t>& endsBefore() const;
    const LineDirective* directiveFor(std::uint32_t offset) const;

    static constexpr std::uint32_t blockSize = 4096;

    std::string_view text_;
    std::size_t userTextBegin_;
    std::size_t userTextEnd_;
    // How many line ends there are before each block of the text: what a text of nothing but line ends needs is small,
    // and a line is found by a look into a block or two. Made on first need.
    mutable std::vector<std::uint32_t> endsBefore_;
    std::vector<LineDirective> directives_;
    std::deque<std::string> fileNames_; // [0] is the name before any directive; never moved, views point into it
    std::unordered_map<std::string_view, std::uint32_t> fileIndexes_; // of those that directives name
};

} // namespace msl
