#include "GlassHobGallery/http/MultipartReader.h"

#include <algorithm>

namespace glasshob::gallery {

namespace {

constexpr std::size_t headerLimit = 2048;
constexpr int partLimit = 16;

bool isBoundaryCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("'()+_,-./:=?").contains(c);
}

std::string lowered(std::string_view text) {
    std::string made(text);
    for (char& c : made)
        if (c >= 'A' && c <= 'Z') c = char(c + 32);
    return made;
}

} // namespace

MultipartReader::MultipartReader(std::string boundary, Receiver& receiver)
    : delimiter_("\r\n--" + std::move(boundary)), receiver_(receiver) {}

std::optional<std::string> MultipartReader::boundaryOf(std::string_view contentType) {
    const std::size_t at = lowered(contentType).find("boundary=");
    if (at == std::string::npos) return {};
    std::string_view value = contentType.substr(at + 9);
    if (value.starts_with('"')) {
        const std::size_t end = value.find('"', 1);
        if (end == std::string_view::npos) return {};
        value = value.substr(1, end - 1);
    } else {
        value = value.substr(0, value.find_first_of("; \t"));
    }
    if (value.empty() || value.size() > 70 || !std::ranges::all_of(value, isBoundaryCharacter)) return {};
    return std::string(value);
}

void MultipartReader::take(std::string_view bytes) {
    if (state_ == State::broken || state_ == State::end) return; // what follows the last boundary means nothing
    held_ += bytes;
    while (state_ != State::broken && state_ != State::end && step()) {
    }
}

bool MultipartReader::step() {
    const auto fail = [&] {
        state_ = State::broken;
        held_.clear();
        return false;
    };
    switch (state_) {
    case State::start: {
        const std::string_view first = std::string_view(delimiter_).substr(2);
        if (held_.size() < first.size()) return std::string_view(first).starts_with(held_) ? false : fail();
        if (!held_.starts_with(first)) return fail();
        held_.erase(0, first.size());
        state_ = State::afterBoundary;
        return true;
    }
    case State::afterBoundary:
        if (held_.size() < 2) return false;
        if (held_.starts_with("--")) {
            state_ = State::end;
            held_.clear();
            return false;
        }
        if (!held_.starts_with("\r\n") || ++parts_ > partLimit) return fail();
        held_.erase(0, 2);
        state_ = State::headers;
        return true;
    case State::headers: {
        const std::size_t end = held_.find("\r\n\r\n");
        if (end == std::string::npos) return held_.size() > headerLimit ? fail() : false;
        if (end > headerLimit || !readHeaders(std::string_view(held_).substr(0, end))) return fail();
        held_.erase(0, end + 4);
        state_ = State::data;
        return true;
    }
    case State::data: {
        const std::size_t end = held_.find(delimiter_);
        // The last bytes may be the beginning of a boundary.
        const std::size_t certain =
            end != std::string::npos ? end : held_.size() - std::min(held_.size(), delimiter_.size() - 1);
        if (certain > 0 && !receiver_.data(std::string_view(held_).substr(0, certain))) return fail();
        held_.erase(0, certain);
        if (end == std::string::npos) return false;
        if (!receiver_.endPart()) return fail();
        held_.erase(0, delimiter_.size());
        state_ = State::afterBoundary;
        return true;
    }
    case State::end:
    case State::broken: break;
    }
    return false;
}

bool MultipartReader::readHeaders(std::string_view block) {
    std::string_view rest = block;
    std::optional<std::string> name;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find("\r\n"), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 2, rest.size()));
        constexpr std::string_view wanted = "content-disposition:";
        if (!lowered(line).starts_with(wanted)) continue;
        std::string_view value = line.substr(wanted.size());
        while (value.starts_with(' '))
            value.remove_prefix(1);
        constexpr std::string_view form = "form-data; name=\"";
        if (name || !value.starts_with(form)) return false;
        value.remove_prefix(form.size());
        const std::size_t quote = value.find('"');
        if (quote == std::string_view::npos) return false;
        name = std::string(value.substr(0, quote));
    }
    return name && receiver_.beginPart(*name);
}

} // namespace glasshob::gallery
