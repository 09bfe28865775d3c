#include "GlassHobCore/episode/AddedLines.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace glasshob {

namespace {

// Equal texts get equal numbers.
class Numbering {
  public:
    std::vector<std::uint32_t> of(std::span<const std::string_view> texts) {
        std::vector<std::uint32_t> made;
        for (const std::string_view text : texts)
            made.push_back(numbers_.try_emplace(text, std::uint32_t(numbers_.size())).first->second);
        return made;
    }

  private:
    std::unordered_map<std::string_view, std::uint32_t> numbers_;
};

} // namespace

std::vector<bool> addedLines(std::span<const std::string_view> now, std::span<const std::string_view> before) {
    std::vector<bool> added(now.size(), true);
    // What both begin with is in every longest common subsequence that the walk below can find.
    const auto common = std::size_t(std::ranges::mismatch(now, before).in1 - now.begin());
    std::fill_n(added.begin(), common, false);
    Numbering numbering;
    const auto a = numbering.of(now.subspan(common)), b = numbering.of(before.subspan(common));
    // The usual table of lengths, filled from the ends, of which two rows are kept, and of every entry only whether the
    // walk leaves out the old line there.
    const std::size_t width = b.size() + 1;
    std::vector<std::uint32_t> row(width), below(width);
    std::vector<bool> skipsOld(a.size() * width);
    for (std::size_t i = a.size(); i-- > 0;) {
        std::swap(row, below);
        row[b.size()] = 0;
        for (std::size_t j = b.size(); j-- > 0;) {
            row[j] = a[i] == b[j] ? below[j + 1] + 1 : std::max(below[j], row[j + 1]);
            skipsOld[i * width + j] = below[j] < row[j + 1];
        }
    }
    for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
        if (a[i] == b[j]) {
            added[common + i++] = false;
            ++j;
        } else if (skipsOld[i * width + j]) {
            ++j;
        } else {
            ++i;
        }
    }
    return added;
}

} // namespace glasshob
