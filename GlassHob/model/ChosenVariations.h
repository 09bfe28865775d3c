// Which variations an episode shows, in their order. A header may name one twice: both count, and are given back
// together. A plain value.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace glasshob {

class ChosenVariations {
  public:
    ChosenVariations() = default;
    explicit ChosenVariations(std::vector<std::int64_t> list) : list_(std::move(list)) {}

    // Their indices.
    const std::vector<std::int64_t>& list() const { return list_; }
    int count() const { return int(list_.size()); }
    // From 0; of the first one of that index.
    std::optional<int> placeOf(std::int64_t index) const;

    // Each tells whether anything has changed.
    // Chosen as the last one, or given back.
    bool toggle(std::int64_t index);
    bool giveBack(std::int64_t index);
    // Chosen as the one at this place, wherever it stands so far; behind the last one where there are fewer.
    bool put(std::int64_t index, int place);
    // From one place to another; brought into range.
    bool move(int from, int to);

    bool operator==(const ChosenVariations&) const = default;

  private:
    std::vector<std::int64_t> list_;
};

} // namespace glasshob
