#pragma once

// Reads a command line against a command's table of options. Knows the usual forms: `--size 8x8`, `--size=8x8`, `-o x`,
// `-ox`, and `--` before operands that begin with a dash. Plain values; a mistake is one sentence.

#include <algorithm>
#include <array>
#include <cstddef>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hob {

struct Option {
    // "--size"
    std::string_view name;
    // "-o", or empty.
    std::string_view shortName;
    // What its value is called in help ("WxH"); empty for an option without a value.
    std::string_view value;
    std::string_view help;
};

// What a reader of options gives for a value that cannot be.
inline std::unexpected<std::string> mistake(std::string sentence) {
    return std::unexpected(std::move(sentence));
}

// The options of a table, those that several tables have, and those that follow.
template <std::size_t first, std::size_t shared, std::size_t last>
constexpr std::array<Option, first + shared + last> joined(const std::array<Option, first>& before,
                                                           const std::array<Option, shared>& middle,
                                                           const std::array<Option, last>& after) {
    std::array<Option, first + shared + last> all;
    auto at = std::ranges::copy(before, all.begin()).out;
    at = std::ranges::copy(middle, at).out;
    std::ranges::copy(after, at);
    return all;
}

// `one` is a shader file, and `oneOrMore` are; `parts` is one or more, of a movie; `link` and `name` are one of these.
enum class Operands { none, one, oneOrMore, parts, link, name };

class Arguments {
  public:
    // `command` is how the help of these options is reached ("hob still"). `--help` is always known.
    static std::expected<Arguments, std::string> parse(std::string_view command, std::span<const Option> options,
                                                       Operands operands, std::span<const std::string> words);

    bool wantsHelp() const { return wantsHelp_; }
    const std::vector<std::string>& operands() const { return operands_; }
    bool has(std::string_view option) const;
    // The value given last.
    std::optional<std::string> value(std::string_view option) const;
    std::vector<std::string> values(std::string_view option) const;

  private:
    bool wantsHelp_ = false;
    std::vector<std::string> operands_;
    std::vector<std::pair<std::string_view, std::string>> options_;
};

// The candidate that a mistyped word most likely means; empty when none is close.
std::string_view closest(std::string_view word, std::span<const std::string_view> candidates);

} // namespace hob
