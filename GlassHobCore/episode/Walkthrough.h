#pragma once

// The code walkthrough of an episode: the stages of a shader, each as a few pages of code on which the lines that are
// new in that stage are marked, with a caption made of the author's comments. Values; pure; any thread.

#include "GlassHobCore/episode/EpisodeMeta.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct WalkthroughLine {
    enum class Kind {
        // New in this stage.
        added,
        // Unchanged, shown beside an added one.
        context,
        // Stands for skipped lines; its text is "⋯".
        gap,
        // Separates blocks of code; no text.
        blank,
    };
    // With its indentation.
    std::string text;
    Kind kind = Kind::added;

    bool operator==(const WalkthroughLine&) const = default;
};

struct WalkthroughPage {
    std::vector<WalkthroughLine> lines;
    std::string caption;

    bool operator==(const WalkthroughPage&) const = default;
};

struct WalkthroughStage {
    // From 1.
    std::int64_t number = 1;
    std::string title;
    std::string summary;
    // None where the stage has no new code.
    std::vector<WalkthroughPage> pages;

    bool operator==(const WalkthroughStage&) const = default;
};

// Which page is seen when. A stage begins at time 0 of its own.
struct WalkthroughTimeline {
    double pageSeconds = 10;
    // Pages of each stage.
    std::vector<std::int64_t> pageCounts;

    double duration() const;
    // Seconds before the stage `n`, counted from 0.
    double stageStart(std::int64_t n) const;
    // The page of a stage, counted from 0, at a time since the stage's start; the first or last one outside of it.
    // Ends the program when time by `pageSeconds` is not a finite number.
    std::int64_t pageIndex(std::int64_t stage, double time) const;

    bool operator==(const WalkthroughTimeline&) const = default;
};

namespace Walkthrough {

struct SourceLine {
    // Without its comment; empty for a blank line.
    std::string code;
    // What the author says about the line; may be empty.
    std::string comment;

    bool operator==(const SourceLine&) const = default;
};

struct ParsedSource {
    std::string title;
    std::string summary;
    std::vector<SourceLine> lines;

    bool operator==(const ParsedSource&) const = default;
};

// How many lines a page may hold. A stage whose last page would be nearly empty is cut into shorter pages, down to
// `least`, where that helps.
struct PageLines {
    std::int64_t most = 16;
    std::int64_t least = 16;
};

// Reads the source of a stage: the first comment above the code is its title ("Step 2 · Soft edges": what follows the
// dot), the others its summary. Comments within the code explain the line they stand on or the next line of code. The
// sound is not shown.
ParsedSource parse(std::string_view source);

// For each line whether it is new compared with the stage before; `previous` is null for the first stage. Time and
// memory (a bit) grow with the product of the numbers of lines that differ.
std::vector<bool> addedFlags(std::span<const SourceLine> lines, const std::vector<SourceLine>* previous);

// The pages of a stage; none when it shows nothing. A page without comments has the summary as its caption.
std::vector<WalkthroughPage> pages(std::span<const SourceLine> lines, const std::vector<bool>& added,
                                   std::string_view summary, std::int64_t maxLines);

// The stages in their order, the finished shader last.
std::vector<WalkthroughStage> stages(std::string_view finalSource, const EpisodeMeta& meta,
                                     std::span<const std::string> stageSources, std::int64_t maxLines);
std::vector<WalkthroughStage> stages(std::string_view finalSource, const EpisodeMeta& meta,
                                     std::span<const std::string> stageSources, PageLines pageLines);

} // namespace Walkthrough
} // namespace glasshob
