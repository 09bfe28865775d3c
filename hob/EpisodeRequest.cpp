#include "hob/EpisodeRequest.h"

#include "GlassHobCore/text/Numbers.h"
#include "hob/ExportRequest.h"

#include <string_view>

namespace hob {

namespace {

namespace episodeLook = glasshob::episodeLook;
using glasshob::ExportFormat;

constexpr auto options = joined(
    std::array{
        Option{"--output", "-o", "OUT.mp4", "the movie; its chapters go beside it as OUT.chapters.json"},
        Option{"--force", "", "", "replace what is there"},
        Option{"--preset", "", "ID", "main4k, web, preview or site (web)"},
        Option{"--no-cards", "", "", "leave out the first and the last card"},
        Option{"--no-show", "", "", "leave out the full show"},
        Option{"--no-walkthrough", "", "", "leave out the code"},
        Option{"--no-variations", "", "", "leave out the variations"},
        Option{"--variations", "", "N,N", "the variations to show (the header's, else 1,2,3,4)"},
        Option{"--amount", "", "A", "how far variations stray from the defaults, 0 to 1 (0.6)"},
        Option{"--page-seconds", "", "S", "how long a page of code is seen, 4 to 30 (10)"},
        Option{"--own-sound", "", "", "each stage with its own sound instead of the finished shader's"},
        Option{"--set", "", "NAME=VALUE", "set a slider; may be repeated"},
        Option{"--no-watermark", "", "", "leave out the Hob mark"},
    },
    pictureOptions,
    std::array{
        Option{"--frames", "", "A:B", "only frames A up to before B, for hob join"},
        Option{"--list", "", "", "print what the video holds and when, without making it"},
        Option{"--max-lines", "", "N", "lines of a page at most, 4 to 64 (16, or fewer where that looks better)"},
        Option{"--chapters-text", "", "", "print the chapters as lines for a video's description"},
        Option{"--pages", "", "DIR", "write the pages of code as PNG files into a folder"},
        Option{"--contact-sheet", "", "OUT.png", "draw the first 24 variations into one picture"},
        Option{"--json", "", "", "print progress, or with --list the list, as JSON on standard output"},
    });

// "3,5,12"
std::expected<std::vector<std::int64_t>, std::string> readIndices(const std::string& text) {
    std::vector<std::int64_t> indices;
    std::string_view rest = text;
    while (true) {
        const std::size_t comma = rest.find(',');
        std::string_view word = rest.substr(0, comma);
        while (word.starts_with(' '))
            word.remove_prefix(1);
        while (word.ends_with(' '))
            word.remove_suffix(1);
        const auto index = glasshob::parseInteger(word);
        if (!index || *index < 1)
            return mistake("--variations " + text + " names no variations: give their numbers from 1, such as 3,5.");
        indices.push_back(*index);
        if (comma == std::string_view::npos) return indices;
        rest.remove_prefix(comma + 1);
    }
}

std::expected<double, std::string> readNumber(std::string_view option, const std::string& text, double least,
                                              double most, std::string_view range) {
    const auto value = glasshob::parseDouble(text);
    if (!value || !(*value >= least && *value <= most))
        return mistake(std::string(option) + " " + text + " cannot be used: give a number from " + std::string(range) +
                       ".");
    return *value;
}

std::expected<void, std::string> readChoices(const Arguments& arguments, EpisodeRequest& request) {
    glasshob::EpisodeChoices& choices = request.choices;
    choices.hasCards = !arguments.has("--no-cards");
    choices.hasShow = !arguments.has("--no-show");
    choices.hasWalkthrough = !arguments.has("--no-walkthrough");
    choices.hasVariations = !arguments.has("--no-variations");
    choices.hasMark = !arguments.has("--no-watermark");
    choices.soundThroughout = !arguments.has("--own-sound");
    if (const auto text = arguments.value("--variations")) {
        if (!choices.hasVariations) return mistake("--variations and --no-variations exclude each other.");
        auto indices = readIndices(*text);
        if (!indices) return mistake(indices.error());
        choices.variations = std::move(*indices);
    }
    if (const auto text = arguments.value("--amount")) {
        const auto amount = readNumber("--amount", *text, 0, 1, "0 to 1");
        if (!amount) return mistake(amount.error());
        choices.amount = float(*amount);
    }
    if (const auto text = arguments.value("--page-seconds")) {
        const auto seconds =
            readNumber("--page-seconds", *text, episodeLook::leastPageSeconds, episodeLook::mostPageSeconds, "4 to 30");
        if (!seconds) return mistake(seconds.error());
        choices.pageSeconds = *seconds;
    }
    if (const auto text = arguments.value("--max-lines")) {
        const auto lines = glasshob::parseInteger(*text);
        if (!lines || *lines < 4 || *lines > 64)
            return mistake("--max-lines " + *text + " cannot be used: give a number from 4 to 64.");
        choices.pageLines = {.most = *lines, .least = *lines};
    }
    return {};
}

} // namespace

std::span<const Option> episodeOptions() {
    return options;
}

std::expected<EpisodeRequest, std::string> readEpisodeRequest(const Arguments& arguments) {
    EpisodeRequest request;
    request.replaces = arguments.has("--force");
    request.tellsJson = arguments.has("--json");
    request.lists = arguments.has("--list");
    request.tellsChapters = arguments.has("--chapters-text");
    request.pagesFolder = arguments.value("--pages");
    request.contactSheet = arguments.value("--contact-sheet");
    request.frames = arguments.value("--frames");
    request.settings = arguments.values("--set");
    if (const auto output = arguments.value("--output")) {
        request.output = *output;
        if (*output == "-") return mistake("A movie cannot be sent to standard output: give -o OUT.mp4.");
        const auto format = glasshob::ExportFormats::ofPath(*output);
        if (!format) return mistake(format.error());
        if (!glasshob::ExportFormats::entry(*format).isMovie)
            return mistake(*output + " is no movie: give -o OUT.mp4, OUT.mov or OUT.webm.");
        request.format = *format;
        if (*format == ExportFormat::webm && request.frames)
            return mistake("Parts of a movie are MP4 or MOV files: give --frames with -o OUT.mp4.");
        if (request.lists) return mistake("--list makes no movie: leave -o out.");
    }
    if (request.contactSheet)
        if (const auto format = glasshob::StillFormats::ofPath(*request.contactSheet); !format)
            return mistake(format.error());
    const bool asksForSomething = !request.output.empty() || request.lists || request.tellsChapters ||
                                  request.pagesFolder || request.contactSheet;
    if (!asksForSomething)
        return mistake("No file for the movie was given: add -o OUT.mp4, or --list to see what it holds.");
    if (request.frames && request.output.empty()) return mistake("--frames is for a movie: add -o PART.mp4.");
    if (request.tellsJson && request.tellsChapters)
        return mistake("--json and --chapters-text both print on standard output: leave one of them out.");
    if (const auto picture = readPicture(arguments, request.preset); !picture) return mistake(picture.error());
    if (const auto encoding = readEncoding(arguments, request.encoding); !encoding) return mistake(encoding.error());
    if (const auto choices = readChoices(arguments, request); !choices) return mistake(choices.error());
    return request;
}

} // namespace hob
