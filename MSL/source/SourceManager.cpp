#include "MSL/source/SourceManager.h"

#include <algorithm>

namespace msl {

SourceManager::SourceManager(std::string_view text, std::string_view fileName, std::size_t userTextBegin,
                             std::size_t userTextEnd)
    : text_(text), userTextBegin_(std::min(userTextBegin, text.size())),
      userTextEnd_(std::min(userTextEnd, text.size())) {
    fileNames_.emplace_back(fileName);
    userTextEnd_ = std::max(userTextBegin_, userTextEnd_);
}

std::uint32_t SourceManager::regionEnd(std::uint32_t offset) const {
    if (userTextBegin_ == userTextEnd_) return static_cast<std::uint32_t>(text_.size());
    if (offset < userTextBegin_) return static_cast<std::uint32_t>(userTextBegin_);
    if (offset < userTextEnd_) return static_cast<std::uint32_t>(userTextEnd_);
    return static_cast<std::uint32_t>(text_.size());
}

// Line ends are LF, CRLF and a lone CR, as editors count them.
std::uint32_t SourceManager::physicalLine(std::uint32_t offset) const {
    if (lineStarts_.empty()) {
        lineStarts_.push_back(0);
        bool hasReturns = text_.find('\r') != std::string_view::npos;
        for (std::size_t i = 0; i < text_.size(); ++i) {
            if (!hasReturns) {
                i = text_.find('\n', i);
                if (i == std::string_view::npos) break;
            } else if (text_[i] != '\n' && (text_[i] != '\r' || (i + 1 < text_.size() && text_[i + 1] == '\n'))) {
                continue;
            }
            lineStarts_.push_back(static_cast<std::uint32_t>(i + 1));
        }
    }
    auto after = std::ranges::upper_bound(lineStarts_, offset);
    return static_cast<std::uint32_t>(after - lineStarts_.begin()) - 1;
}

std::uint32_t SourceManager::lineBegin(std::uint32_t offset) const {
    std::uint32_t line = physicalLine(offset); // makes lineStarts_
    return lineStarts_[line];
}

const SourceManager::LineDirective* SourceManager::directiveFor(std::uint32_t offset) const {
    auto after = std::ranges::upper_bound(directives_, offset, {}, &LineDirective::offset);
    return after == directives_.begin() ? nullptr : &*std::prev(after);
}

void SourceManager::addLineDirective(std::uint32_t directiveOffset, std::uint32_t line, std::string_view file) {
    std::uint32_t physical = physicalLine(directiveOffset) + 1;
    if (physical >= lineStarts_.size()) return; // nothing follows
    const LineDirective* before = directiveFor(directiveOffset);
    std::uint32_t index = before ? before->fileIndex : 0;
    std::uint32_t shown = line;
    if (directiveOffset >= userTextBegin_ && directiveOffset < userTextEnd_) {
        shown = before ? before->line + (physical - before->physicalLine) : physical + 1;
    } else if (!file.empty()) {
        auto known = std::ranges::find(fileNames_, file);
        index = static_cast<std::uint32_t>(known - fileNames_.begin());
        if (known == fileNames_.end()) fileNames_.emplace_back(file);
    }
    directives_.push_back({lineStarts_[physical], physical, shown, line, index});
}

std::uint32_t SourceManager::fileIndex(std::uint32_t offset) const {
    const LineDirective* directive = directiveFor(offset);
    return directive ? directive->fileIndex : 0;
}

PresumedLocation SourceManager::presumed(SourceLocation at) const {
    if (!at) return {fileNames_[0], 1, 1};
    std::uint32_t offset = std::min<std::uint32_t>(at.offset(), static_cast<std::uint32_t>(text_.size()));
    std::uint32_t physical = physicalLine(offset);
    PresumedLocation result;
    result.column = offset - lineStarts_[physical] + 1;
    if (const LineDirective* directive = directiveFor(offset)) {
        result.file = fileNames_[directive->fileIndex];
        result.line = directive->line + (physical - directive->physicalLine);
    } else {
        result.file = fileNames_[0];
        result.line = physical + 1;
    }
    return result;
}

std::uint32_t SourceManager::macroLine(SourceLocation at) const {
    const LineDirective* directive = at ? directiveFor(at.offset()) : nullptr;
    if (directive == nullptr) return presumed(at).line;
    return directive->macroLine + (physicalLine(at.offset()) - directive->physicalLine);
}

std::string_view SourceManager::lineText(SourceLocation at) const {
    if (!at) return {};
    std::uint32_t physical =
        physicalLine(std::min<std::uint32_t>(at.offset(), static_cast<std::uint32_t>(text_.size())));
    std::uint32_t begin = lineStarts_[physical];
    std::size_t end = text_.find_first_of("\r\n", begin);
    return text_.substr(begin, end == std::string_view::npos ? end : end - begin);
}

} // namespace msl
