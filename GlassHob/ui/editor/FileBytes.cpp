#include "GlassHob/ui/editor/FileBytes.h"

#include <algorithm>
#include <numeric>

namespace glasshob {

void FileBytes::clear(const EditorText& conventions) {
    bytes_ = conventions.mark();
    sizes_ = {0};
}

void FileBytes::replaceLines(const EditorText& conventions, int first, int removed, const std::vector<QString>& lines) {
    first = std::clamp(first, 0, lineCount());
    removed = std::clamp(removed, 0, lineCount() - first);
    const auto begin = sizes_.begin() + first, end = begin + removed;
    const std::size_t from = std::accumulate(sizes_.begin(), begin, conventions.mark().size());
    const std::size_t length = std::accumulate(begin, end, std::size_t(0));
    const bool reachesEnd = end == sizes_.end();

    std::string changed;
    std::vector<std::uint32_t> sizes;
    sizes.reserve(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        // The last line of a document has no end.
        const bool isLast = reachesEnd && i + 1 == lines.size();
        const std::string line = conventions.encodeLines(isLast ? lines[i] : lines[i] + u'\n');
        sizes.push_back(std::uint32_t(line.size()));
        changed += line;
    }
    bytes_.replace(from, length, changed);
    if (int(sizes.size()) == removed) {
        std::ranges::copy(sizes, begin);
    } else {
        const auto at = sizes_.erase(begin, end);
        sizes_.insert(at, sizes.begin(), sizes.end());
    }
}

} // namespace glasshob
