// The operands of one instruction while they are put together: on the stack, unless there are many.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace msl::spirv {

class OperandList {
  public:
    OperandList() = default;
    OperandList(std::initializer_list<std::uint32_t> words) { append({words.begin(), words.size()}); }

    void push_back(std::uint32_t word) {
        if (many_.empty() && count_ < few_.size()) {
            few_[count_++] = word;
            return;
        }
        if (many_.empty()) many_.assign(few_.begin(), few_.end());
        many_.push_back(word);
        ++count_;
    }
    void append(std::span<const std::uint32_t> words) {
        for (const std::uint32_t word : words)
            push_back(word);
    }
    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    operator std::span<const std::uint32_t>() const { return {many_.empty() ? few_.data() : many_.data(), count_}; }

  private:
    std::array<std::uint32_t, 12> few_; // the first count_ are set
    std::size_t count_ = 0;
    std::vector<std::uint32_t> many_;
};

} // namespace msl::spirv
