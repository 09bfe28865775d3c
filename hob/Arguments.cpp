#include "hob/Arguments.h"

#include <algorithm>
#include <numeric>
#include <unistd.h>

namespace hob {

namespace {

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::unexpected<std::string> unknownOption(std::string_view command, std::span<const Option> options,
                                           std::string_view word, std::size_t nameEnd) {
    std::vector<std::string_view> names = {"--help"};
    for (const Option& option : options)
        names.push_back(option.name);
    std::string sentence = "There is no option " + std::string(word.substr(0, nameEnd));
    if (access(std::string(word).c_str(), F_OK) == 0)
        return std::unexpected(sentence + ": the file of that name is given as ./" + std::string(word) + ".");
    const std::string_view near = closest(word.substr(0, nameEnd), names);
    if (!near.empty()) return std::unexpected(sentence + ": did you mean " + std::string(near) + "?");
    return std::unexpected(sentence + ": " + std::string(command) + " --help lists the options.");
}

std::string_view nameOf(Operands operands) {
    switch (operands) {
    case Operands::parts: return "part of a movie";
    case Operands::link: return "link";
    case Operands::name: return "name";
    default: return "shader file";
    }
}

} // namespace

std::string_view closest(std::string_view word, std::span<const std::string_view> candidates) {
    std::string_view best;
    std::size_t least = std::min<std::size_t>(word.size() / 3 + 1, 3);
    for (const std::string_view candidate : candidates) {
        const std::size_t distance = editDistance(word, candidate);
        if (distance <= least && (best.empty() || distance < least)) {
            best = candidate;
            least = distance;
        }
    }
    return best;
}

std::expected<Arguments, std::string> Arguments::parse(std::string_view command, std::span<const Option> options,
                                                       Operands operands, std::span<const std::string> words) {
    Arguments arguments;
    const std::string commandName(command);
    // Help is given whatever else stands there.
    for (const std::string& word : words) {
        if (word == "--") break;
        if (word == "--help" || word == "-h") {
            arguments.wantsHelp_ = true;
            return arguments;
        }
    }
    bool onlyOperands = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (onlyOperands || word == "-" || !word.starts_with('-')) {
            arguments.operands_.push_back(word);
            continue;
        }
        if (word == "--") {
            onlyOperands = true;
            continue;
        }
        const bool isLong = word.starts_with("--");
        const std::size_t nameEnd = isLong ? std::min(word.find('='), word.size()) : 2;
        const std::string_view name = std::string_view(word).substr(0, nameEnd);
        const auto option = std::ranges::find_if(
            options, [&](const Option& each) { return each.name == name || (!isLong && each.shortName == name); });
        if (option == options.end()) return unknownOption(command, options, word, nameEnd);
        const bool attached = nameEnd < word.size();
        std::string value = attached ? word.substr(nameEnd + (isLong ? 1 : 0)) : std::string();
        if (option->value.empty()) {
            if (attached) return std::unexpected("The option " + std::string(name) + " takes no value.");
        } else if (!attached) {
            if (++i == words.size()) {
                return std::unexpected("The option " + std::string(name) + " needs a value: " + std::string(name) +
                                       " " + std::string(option->value) + ".");
            }
            value = words[i];
        }
        arguments.options_.emplace_back(option->name, std::move(value));
    }
    if (operands == Operands::none && !arguments.operands_.empty()) {
        return std::unexpected(commandName + " takes no file, but " + arguments.operands_.front() + " was given.");
    }
    if (operands != Operands::none && arguments.operands_.empty()) {
        return std::unexpected("No " + std::string(nameOf(operands)) + " was given: " + commandName +
                               " --help shows how.");
    }
    const bool takesMore = operands == Operands::oneOrMore || operands == Operands::parts;
    if (!takesMore && arguments.operands_.size() > 1) {
        return std::unexpected(commandName + " takes one " + std::string(nameOf(operands)) + ", but " +
                               arguments.operands_[1] + " was given as well.");
    }
    return arguments;
}

bool Arguments::has(std::string_view option) const {
    return value(option).has_value();
}

std::optional<std::string> Arguments::value(std::string_view option) const {
    const auto all = values(option);
    if (all.empty()) return std::nullopt;
    return all.back();
}

std::vector<std::string> Arguments::values(std::string_view option) const {
    std::vector<std::string> found;
    for (const auto& [name, value] : options_) {
        if (name == option) found.push_back(value);
    }
    return found;
}

} // namespace hob
