#include "GlassHobCore/episode/Walkthrough.h"

#include "GlassHobCore/episode/AddedLines.h"
#include "GlassHobCore/text/Lines.h"

#include <QString>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace glasshob {

namespace {

using Kind = WalkthroughLine::Kind;

std::string joined(const std::vector<std::string_view>& texts) {
    std::string all;
    for (const std::string_view text : texts) {
        if (!all.empty()) all += ' ';
        all += text;
    }
    return all;
}

bool saysSound(std::string_view comment) {
    constexpr std::string_view word = "sound";
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
    return !std::ranges::search(comment, word, {}, lower).empty();
}

// Where the comment at the end of a line begins; the line's length when there is none. Slashes in a string or in a
// comment of the other kind are none.
std::size_t trailingComment(std::string_view line) {
    char quote = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (quote != 0) {
            if (line[i] == '\\') {
                ++i;
            } else if (line[i] == quote) {
                quote = 0;
            }
        } else if (line[i] == '"' || line[i] == '\'') {
            quote = line[i];
        } else if (line.substr(i, 2) == "//") {
            return i;
        } else if (line.substr(i, 2) == "/*") {
            const std::size_t end = line.find("*/", i + 2);
            if (end == std::string_view::npos) break;
            i = end + 1;
        }
    }
    // An apostrophe outside of a string is no quote that ends somewhere.
    return quote != 0 ? std::min(line.find("//"), line.size()) : line.size();
}

class LinesOfText {
  public:
    explicit LinesOfText(std::string_view text) : rest_(text) {
        if (rest_.starts_with("\xEF\xBB\xBF")) rest_.remove_prefix(3);
    }
    // Empty lines too.
    bool next(std::string_view& line) {
        if (atEnd_) return false;
        const std::size_t length = rest_.find('\n');
        atEnd_ = length == std::string_view::npos;
        line = rest_.substr(0, length);
        if (!atEnd_) rest_.remove_prefix(length + 1);
        return true;
    }

  private:
    std::string_view rest_;
    bool atEnd_ = false;
};

std::string sentence(std::string_view comment) {
    const DecodedCharacter first = decodeCharacter(comment);
    const char32_t upper = QChar::toUpper(first.value);
    std::string made(comment);
    if (upper != first.value) {
        const QString letter = QString::fromUcs4(&upper, 1);
        made = letter.toStdString() + std::string(comment.substr(first.length));
    }
    // The last ones end a sentence in the scripts of China, Japan, India and Arabia.
    constexpr std::array<std::string_view, 11> ends = {".", "!", "?", ":", "…", "。", "！", "？", "：", "।", "؟"};
    if (std::ranges::none_of(ends, [&](std::string_view end) { return made.ends_with(end); })) made += '.';
    return made;
}

struct BlockLine {
    WalkthroughLine line;
    std::string_view comment;
};
using Block = std::vector<BlockLine>;

// What of a stage is shown, in blocks as the author has set them apart.
std::vector<Block> blocksOf(std::span<const Walkthrough::SourceLine> lines, const std::vector<bool>& added) {
    const auto isBlank = [&](std::size_t i) { return trimmed(lines[i].code).empty(); };
    const auto isAdded = [&](std::size_t i) { return i < lines.size() && !isBlank(i) && i < added.size() && added[i]; };
    std::vector<Block> blocks(1);
    bool hasSkipped = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Block& block = blocks.back();
        if (isBlank(i)) {
            if (!block.empty()) blocks.emplace_back();
            hasSkipped = false;
        } else if (isAdded(i) || (i > 0 && isAdded(i - 1)) || isAdded(i + 1)) {
            if (hasSkipped && !block.empty()) block.push_back({{"⋯", Kind::gap}, {}});
            hasSkipped = false;
            block.push_back({{lines[i].code, isAdded(i) ? Kind::added : Kind::context},
                             isAdded(i) ? std::string_view(lines[i].comment) : std::string_view()});
        } else {
            hasSkipped = true;
        }
    }
    if (blocks.back().empty()) blocks.pop_back();
    return blocks;
}

} // namespace

double WalkthroughTimeline::duration() const {
    return stageStart(std::int64_t(pageCounts.size()));
}

double WalkthroughTimeline::stageStart(std::int64_t n) const {
    const auto end = pageCounts.begin() + std::clamp<std::int64_t>(n, 0, std::int64_t(pageCounts.size()));
    return pageSeconds * double(std::accumulate(pageCounts.begin(), end, std::int64_t(0)));
}

std::int64_t WalkthroughTimeline::pageIndex(std::int64_t stage, double time) const {
    const double page = time / pageSeconds;
    if (!std::isfinite(page)) qFatal("A walkthrough has no page at this time.");
    const std::int64_t last = pageCounts.at(std::size_t(stage)) - 1;
    if (!(page >= 1) || last < 1) return 0;
    return page >= double(last) ? last : std::int64_t(page);
}

namespace Walkthrough {

ParsedSource parse(std::string_view source) {
    ParsedSource parsed;
    LinesOfText lines(source);
    std::string_view line;
    std::vector<std::string_view> header;
    bool hasLine = lines.next(line);
    for (; hasLine; hasLine = lines.next(line)) {
        const std::string_view text = trimmed(line);
        if (!text.empty() && !text.starts_with("//")) break;
        const std::string_view comment = text.empty() ? text : trimmed(text.substr(2));
        if (!comment.empty() && !comment.starts_with('@')) header.push_back(comment);
    }
    if (!header.empty()) {
        constexpr std::string_view dot = "·";
        const std::size_t at = header.front().find(dot);
        parsed.title = trimmed(at == std::string_view::npos ? header.front() : header.front().substr(at + dot.size()));
        header.erase(header.begin());
        parsed.summary = joined(header);
    }
    // A blank line does not part a comment from its code: authors set a paragraph off that way.
    std::vector<std::string_view> pending;
    for (; hasLine; hasLine = lines.next(line)) {
        const std::string_view text = trimmed(line);
        if (text.starts_with("float2 sound(")) break;
        if (text.starts_with("//")) {
            const std::string_view comment = trimmed(text.substr(2));
            if (comment.starts_with("----")) continue;
            if (saysSound(comment)) break;
            if (!comment.empty()) pending.push_back(comment);
        } else if (text.empty()) {
            parsed.lines.emplace_back();
        } else {
            const std::size_t at = trailingComment(line);
            const std::string_view comment = at < line.size() ? trimmed(line.substr(at + 2)) : std::string_view();
            parsed.lines.push_back({std::string(trimmedEnd(line.substr(0, at))),
                                    comment.empty() ? joined(pending) : std::string(comment)});
            pending.clear();
        }
    }
    return parsed;
}

std::vector<bool> addedFlags(std::span<const SourceLine> lines, const std::vector<SourceLine>* previous) {
    const auto code = [](std::span<const SourceLine> all) {
        std::vector<std::string_view> texts;
        for (const SourceLine& each : all) {
            if (const auto text = trimmed(each.code); !text.empty()) texts.push_back(text);
        }
        return texts;
    };
    const std::vector<bool> isNew =
        addedLines(code(lines), previous != nullptr ? code(*previous) : std::vector<std::string_view>());
    std::vector<bool> flags;
    auto next = isNew.begin();
    for (const SourceLine& each : lines)
        flags.push_back(!trimmed(each.code).empty() && *next++);
    return flags;
}

std::vector<WalkthroughPage> pages(std::span<const SourceLine> lines, const std::vector<bool>& added,
                                   std::string_view summary, std::int64_t maxLines) {
    const auto most = std::size_t(std::max<std::int64_t>(maxLines, 1));
    std::vector<WalkthroughPage> made;
    std::vector<std::vector<std::string_view>> comments; // of each page
    for (const Block& block : blocksOf(lines, added)) {
        for (std::size_t from = 0; from < block.size(); from += most) {
            const auto chunk = std::span(block).subspan(from, std::min(most, block.size() - from));
            if (!made.empty() && made.back().lines.size() + 1 + chunk.size() <= most) {
                made.back().lines.push_back({"", Kind::blank});
            } else {
                made.emplace_back();
                comments.emplace_back();
            }
            for (const auto& [line, comment] : chunk) {
                made.back().lines.push_back(line);
                if (!comment.empty() && std::ranges::find(comments.back(), comment) == comments.back().end())
                    comments.back().push_back(comment);
            }
        }
    }
    for (std::size_t i = 0; i < made.size(); ++i) {
        std::string& caption = made[i].caption;
        for (const std::string_view comment : comments[i])
            caption += (caption.empty() ? "" : " ") + sentence(comment);
        if (caption.empty()) caption = summary;
    }
    return made;
}

std::vector<WalkthroughStage> stages(std::string_view finalSource, const EpisodeMeta& meta,
                                     std::span<const std::string> stageSources, std::int64_t maxLines) {
    return stages(finalSource, meta, stageSources, PageLines{maxLines, maxLines});
}

std::vector<WalkthroughStage> stages(std::string_view finalSource, const EpisodeMeta& meta,
                                     std::span<const std::string> stageSources, PageLines pageLines) {
    constexpr std::size_t nearlyEmpty = 2;
    std::vector<WalkthroughStage> made;
    ParsedSource before;
    for (std::size_t k = 0; k <= stageSources.size(); ++k) {
        const bool isFinal = k == stageSources.size();
        ParsedSource parsed = parse(isFinal ? finalSource : std::string_view(stageSources[k]));
        if (isFinal) {
            parsed.title = meta.finalTitle.empty() ? "The finished shader" : meta.finalTitle;
            parsed.summary = meta.finalSummary;
        }
        const auto added = addedFlags(parsed.lines, k == 0 ? nullptr : &before.lines);
        WalkthroughStage& stage = made.emplace_back();
        stage.number = std::int64_t(k) + 1;
        stage.title = parsed.title.empty() ? "Stage " + std::to_string(stage.number) : parsed.title;
        stage.summary = parsed.summary;
        stage.pages = pages(parsed.lines, added, parsed.summary, pageLines.most);
        const auto endsNearlyEmpty = [](const std::vector<WalkthroughPage>& each) {
            return !each.empty() && each.back().lines.size() <= nearlyEmpty;
        };
        for (std::int64_t most = pageLines.most - 1; endsNearlyEmpty(stage.pages) && most >= pageLines.least; --most) {
            auto shorter = pages(parsed.lines, added, parsed.summary, most);
            if (!endsNearlyEmpty(shorter)) stage.pages = std::move(shorter);
        }
        before = std::move(parsed);
    }
    return made;
}

} // namespace Walkthrough
} // namespace glasshob
