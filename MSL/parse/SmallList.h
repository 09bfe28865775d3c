// A list under construction: lives on the stack until it outgrows its inline room. Its items go to the arena when done.
#pragma once

#include "MSL/source/Arena.h"

#include <array>
#include <vector>

namespace msl {

template <typename T, std::size_t inlineCount = 8>
class SmallList {
  public:
    void add(const T& item) {
        if (spilled_.empty() && count_ < inlineCount) {
            inline_[count_++] = item;
            return;
        }
        if (spilled_.empty()) spilled_.assign(inline_.begin(), inline_.end());
        spilled_.push_back(item);
        ++count_;
    }
    std::size_t size() const { return count_; }
    bool isEmpty() const { return count_ == 0; }
    void removeLast() {
        if (!spilled_.empty()) spilled_.pop_back();
        --count_;
    }
    T* begin() { return spilled_.empty() ? inline_.data() : spilled_.data(); }
    T* end() { return begin() + count_; }
    T& operator[](std::size_t i) { return begin()[i]; }
    T& back() { return begin()[count_ - 1]; }
    std::span<T> copyTo(Arena& arena) { return arena.copy(std::span<const T>(begin(), count_)); }

  private:
    std::array<T, inlineCount> inline_{};
    std::size_t count_ = 0;
    std::vector<T> spilled_;
};

} // namespace msl
