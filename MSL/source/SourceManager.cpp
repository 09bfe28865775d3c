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

// Line ends are LF, CRLF and a lone CR, as editors count them; a CRLF ends its line with the LF.
bool SourceManager::endsLine(std::uint32_t offset) const {
    return text_[offset] == '\n' ||
           (text_[offset] == '\r' && (offset + 1 == text_.size() || text_[offset + 1] != '\n'));
}

std::uint32_t SourceManager::countLineEnds(std::uint32_t begin, std::uint32_t end) const {
    const std::string_view part = text_.substr(begin, end - begin);
    auto count = static_cast<std::uint32_t>(std::ranges::count(part, '\n'));
    for (std::size_t at = part.find('\r'); at != std::string_view::npos; at = part.find('\r', at + 1))
        count += endsLine(begin + static_cast<std::uint32_t>(at)) ? 1 : 0;
    return count;
}

const std::vector<std::uint32_t>& SourceManager::endsBefore() const {
    if (endsBefore_.empty()) {
        const auto size = static_cast<std::uint32_t>(text_.size());
        endsBefore_.reserve(size / blockSize + 2);
        endsBefore_.push_back(0);
        for (std::uint32_t begin = 0; begin < size; begin += blockSize)
            endsBefore_.push_back(endsBefore_.back() + countLineEnds(begin, std::min(begin + blockSize, size)));
    }
    return endsBefore_;
}

std::uint32_t SourceManager::physicalLine(std::uint32_t offset) const {
    const std::uint32_t block = offset / blockSize;
    return endsBefore()[block] + countLineEnds(block * blockSize, offset);
}

std::uint32_t SourceManager::lineBegin(std::uint32_t offset) const {
    const std::vector<std::uint32_t>& ends = endsBefore();
    std::uint32_t block = offset / blockSize;
    for (std::uint32_t end = offset;; end = block-- * blockSize) {
        const bool hasEnd = end == offset || ends[block] != ends[block + 1];
        for (std::uint32_t at = end; hasEnd && at > block * blockSize; --at)
            if (endsLine(at - 1)) return at;
        if (block == 0) return 0;
    }
}

std::uint32_t SourceManager::lineEnd(std::uint32_t offset) const {
    const std::vector<std::uint32_t>& ends = endsBefore();
    const auto size = static_cast<std::uint32_t>(text_.size());
    std::uint32_t at = offset;
    while (at < size && !endsLine(at)) {
        ++at;
        while (at % blockSize == 0 && at < size && ends[at / blockSize] == ends[at / blockSize + 1])
            at = std::min(at + blockSize, size);
    }
    const bool isPair = at < size && at > offset && text_[at] == '\n' && text_[at - 1] == '\r';
    return isPair ? at - 1 : at;
}

const SourceManager::LineDirective* SourceManager::directiveFor(std::uint32_t offset) const {
    auto after = std::ranges::upper_bound(directives_, offset, {}, &LineDirective::offset);
    return after == directives_.begin() ? nullptr : &*std::prev(after);
}

void SourceManager::addLineDirective(std::uint32_t directiveOffset, std::uint32_t line, std::string_view file) {
    constexpr std::size_t longestName = 1024;
    std::uint32_t next = lineEnd(directiveOffset);
    while (next < text_.size() && !endsLine(next))
        ++next;
    if (++next >= text_.size()) return; // nothing follows
    const LineDirective* before = directiveFor(directiveOffset);
    std::uint32_t index = before ? before->fileIndex : 0;
    const bool isUsers = directiveOffset >= userTextBegin_ && directiveOffset < userTextEnd_;
    // Counted from the directive before when that is near: there may be very many.
    const LineDirective* last = directives_.empty() ? nullptr : &directives_.back();
    const bool isNear = last != nullptr && last->offset <= next && next - last->offset < blockSize;
    const std::uint32_t physical = isNear ? last->physicalLine + countLineEnds(last->offset, next) : physicalLine(next);
    std::uint32_t shown = line;
    file = file.substr(0, longestName);
    if (isUsers) {
        shown = before ? before->line + (physical - before->physicalLine) : physical + 1;
    } else if (!file.empty()) {
        if (file == fileNames_[0]) {
            index = 0;
        } else if (const auto known = fileIndexes_.find(file); known != fileIndexes_.end()) {
            index = known->second;
        } else {
            index = static_cast<std::uint32_t>(fileNames_.size());
            fileIndexes_.emplace(fileNames_.emplace_back(file), index);
        }
    }
    directives_.push_back({next, physical, shown, line, index});
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
    result.column = offset - lineBegin(offset) + 1;
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
    const std::uint32_t offset = std::min<std::uint32_t>(at.offset(), static_cast<std::uint32_t>(text_.size()));
    const std::uint32_t begin = lineBegin(offset);
    return text_.substr(begin, lineEnd(begin) - begin);
}

} // namespace msl
