#include "GlassHobCore/episode/EpisodeFolder.h"

#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobCore/text/Ascii.h"
#include "GlassHobCore/text/LineMatcher.h"

#include <algorithm>
#include <compare>
#include <filesystem>

namespace glasshob {

namespace fs = std::filesystem;

std::expected<std::vector<WalkthroughStage>, Episode::StageFault>
Episode::walkthrough(Walkthrough::PageLines pageLines) const {
    if (stages.empty()) return {};
    std::vector<std::string> texts;
    for (const EpisodeFile& stage : stages)
        texts.push_back(stage.text);
    auto made = Walkthrough::stages(source.text, meta, texts, pageLines);
    for (const WalkthroughStage& stage : made) {
        if (!stage.pages.empty()) continue;
        std::string sentence = "Stage " + std::to_string(stage.number) + " has no code to show: ";
        const auto code = [&](std::int64_t number) {
            const auto at = std::size_t(number) - 1;
            auto lines = Walkthrough::parse(at < texts.size() ? texts[at] : source.text).lines;
            std::erase_if(lines, [](const Walkthrough::SourceLine& line) { return line.code.empty(); });
            for (Walkthrough::SourceLine& line : lines)
                line.comment.clear();
            return lines;
        };
        const std::string before = "stage " + std::to_string(stage.number - 1) + ".";
        if (const auto lines = code(stage.number); lines.empty()) {
            sentence += "there is no line of code in it.";
        } else if (lines == code(stage.number - 1)) {
            sentence += "it is the same as " + before;
        } else {
            sentence += "it adds no line to those of " + before;
        }
        return std::unexpected(StageFault{stage.number, std::move(sentence)});
    }
    return made;
}

namespace EpisodeFolder {

namespace {

constexpr std::string_view sourceName = "source.metal";
constexpr std::string_view stagesName = "stages";
constexpr std::string_view folderPrefix = "episode-";

std::unexpected<Failure> fail(Problem problem, std::string sentence) {
    return std::unexpected(Failure{problem, std::move(sentence)});
}

std::string_view takeNumber(std::string_view& text) {
    std::size_t length = 0;
    while (length < text.size() && isDigit(text[length]))
        ++length;
    std::string_view number = text.substr(0, length);
    text.remove_prefix(length);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

// Whether a path stays below a folder when its links are followed. Both exist.
bool liesBelow(const fs::path& path, const fs::path& folder) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    if (error) return false;
    return std::ranges::mismatch(folder, real).in1 == folder.end();
}

class Reader {
  public:
    // `base` is the episode's real folder, `shown` how the person named it.
    Reader(fs::path base, std::string shown) : base_(std::move(base)), shown_(std::move(shown)) {}

    std::expected<EpisodeFile, Failure> file(std::string name) const {
        const fs::path path = base_ / name;
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        if (status.type() == fs::file_type::not_found) {
            if (fs::is_symlink(fs::symlink_status(path, error))) return fail(Problem::badFile, leadsNowhere(name));
            return fail(Problem::missing, "There is no file " + shown(name) + ": check its name and folder.");
        }
        if (error) return unreadable(name, error);
        if (!liesBelow(path, base_)) return fail(Problem::leadsOut, leadsOut(name));
        // A pipe or a device would keep the reader waiting.
        if (fs::is_directory(status))
            return fail(Problem::badFile,
                        shown(name) + " is a folder: put the shader's text into a file of that name.");
        if (!fs::is_regular_file(status))
            return fail(Problem::badFile,
                        shown(name) + " is not a file: put the shader's text into a file of that name.");
        auto text = ShaderFile::read(path.string());
        if (!text) {
            std::string sentence = std::move(text.error().sentence);
            // In the words in which the person named the folder.
            if (const std::string real = path.string(); sentence.starts_with(real))
                sentence.replace(0, real.size(), shown(name));
            return fail(Problem::badFile, std::move(sentence));
        }
        return EpisodeFile{path.string(), std::move(name), std::move(*text)};
    }

    std::expected<std::vector<EpisodeFile>, Failure> stages() const {
        const auto names = stageNames();
        if (!names) return std::unexpected(names.error());
        std::vector<EpisodeFile> made;
        std::size_t size = 0;
        for (const std::string& name : *names) {
            auto stage = file(std::string(stagesName) + "/" + name);
            if (!stage) return std::unexpected(std::move(stage.error()));
            if (ShaderFile::lineCount(stage->text) > stageLineLimit) {
                return fail(Problem::badFile,
                            shown(stage->name) + " has more than " + std::to_string(stageLineLimit) +
                                " lines, too many for a stage that is shown page by page: shorten it.");
            }
            size += stage->text.size();
            if (size > stagesSizeLimit) {
                return fail(Problem::badFile, "The stages of " + shown_ + " are larger than " +
                                                  std::to_string(stagesSizeLimit >> 20) +
                                                  " MB together, too large for an episode: shorten them.");
            }
            made.push_back(std::move(*stage));
        }
        return made;
    }

    std::string shown(std::string_view name) const { return shown_ + "/" + std::string(name); }

  private:
    std::expected<std::vector<std::string>, Failure> stageNames() const {
        const fs::path folder = base_ / stagesName;
        std::vector<std::string> names;
        std::error_code error;
        const fs::file_status status = fs::status(folder, error);
        if (status.type() == fs::file_type::not_found) {
            if (fs::is_symlink(fs::symlink_status(folder, error)))
                return fail(Problem::badFile, leadsNowhere(stagesName));
            return names;
        }
        if (!error && !liesBelow(folder, base_)) return fail(Problem::leadsOut, leadsOut(stagesName));
        if (!error && !fs::is_directory(status)) {
            return fail(Problem::badFile,
                        shown(stagesName) + " is not a folder: put the stages into a folder of that name.");
        }
        for (fs::directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
            std::string name = each->path().filename().string();
            if (name.starts_with('.') || !name.ends_with(".metal")) continue;
            if (names.size() == stageLimit) {
                return fail(Problem::tooManyStages, shown(stagesName) + " holds more than " +
                                                        std::to_string(stageLimit) +
                                                        " stages, too many for one episode: leave some out.");
            }
            names.push_back(std::move(name));
        }
        if (error) return unreadable(stagesName, error);
        std::ranges::sort(names, isBefore);
        return names;
    }

    std::unexpected<Failure> unreadable(std::string_view name, const std::error_code& error) const {
        return fail(Problem::badFile, shown(name) + " could not be read (" + error.message() +
                                          "): check its permissions and the disk it lies on.");
    }
    std::string leadsOut(std::string_view name) const {
        return shown(name) + " is a link that leads out of the episode's folder: put the file itself there.";
    }
    std::string leadsNowhere(std::string_view name) const {
        return shown(name) + " is a link that leads nowhere: put the file itself there.";
    }

    fs::path base_;
    std::string shown_;
};

// Why a source's header makes no episode; empty when it does.
std::string headerFault(std::string_view source) {
    constexpr std::string_view example = "\"// @episode 12 Smoke rings\"";
    bool hasLine = false;
    LineReader lines(source, LineBreaks::lineFeed);
    while (const auto line = lines.next()) {
        LineMatcher matcher(*line);
        if (!matcher.directiveMark() || !matcher.literal("episode")) continue;
        if (matcher.whiteSpace() == 0 && !matcher.atEnd()) continue;
        hasLine = true;
        // A line that is understood sets the number, whatever it was before.
        const auto after = [&](std::string before) { return EpisodeMeta::parse(before.append(*line)).number; };
        if (after("// @episode 2\n") == after("// @episode 3\n")) return {};
    }
    if (hasLine) return "the line @episode has no number: write it as " + std::string(example) + ".";
    return "there is no line @episode in it: write one such as " + std::string(example) + " at its top.";
}

std::expected<Episode, Failure> withMeta(EpisodeFile source, std::vector<EpisodeFile> stages,
                                         const std::string& shown) {
    if (const std::string fault = headerFault(source.text); !fault.empty())
        return fail(Problem::noHeader, shown + " is no episode: " + fault);
    EpisodeMeta meta = EpisodeMeta::parse(source.text);
    return Episode{std::move(source), std::move(meta), std::move(stages)};
}

} // namespace

bool isBefore(std::string_view a, std::string_view b) {
    std::string_view restA = a, restB = b;
    while (!restA.empty() && !restB.empty()) {
        std::strong_ordering order = std::strong_ordering::equal;
        if (isDigit(restA.front()) && isDigit(restB.front())) {
            const std::string_view x = takeNumber(restA), y = takeNumber(restB);
            order = x.size() != y.size() ? x.size() <=> y.size() : x <=> y;
        } else {
            order = (unsigned char)(restA.front()) <=> (unsigned char)(restB.front());
            restA.remove_prefix(1);
            restB.remove_prefix(1);
        }
        if (order != 0) return order < 0;
    }
    if (restA.empty() != restB.empty()) return restA.empty();
    return a < b;
}

std::expected<Episode, Failure> ofText(const std::string& name, const std::string& text) {
    return withMeta({name, name, text}, {}, name);
}

bool hasHeader(std::string_view text) {
    return headerFault(text).empty();
}

std::expected<Episode, Failure> read(const std::string& path, const std::optional<std::string>& text) {
    std::error_code error;
    const fs::path given = path.empty() ? fs::path("with an empty name") : fs::path(path);
    const fs::file_status status = fs::status(given, error);
    if (status.type() == fs::file_type::not_found) {
        return fail(Problem::missing,
                    "There is no episode " + given.string() + ": check the name of its folder or file.");
    }
    const bool isSource = !error && !fs::is_directory(status) && given.filename() == sourceName &&
                          (fs::is_directory(given.parent_path() / stagesName, error) ||
                           fs::absolute(given, error).parent_path().filename().string().starts_with(folderPrefix));
    error.clear();
    if (!fs::is_directory(status) && !isSource) {
        if (text) return withMeta({path, given.filename().string(), *text}, {}, path);
        auto onDisk = ShaderFile::read(path);
        if (!onDisk) return fail(Problem::badFile, std::move(onDisk.error().sentence));
        return withMeta({path, given.filename().string(), std::move(*onDisk)}, {}, path);
    }
    const fs::path folder = isSource ? fs::absolute(given, error).parent_path() : given;
    std::string shown = isSource ? given.parent_path().string() : path;
    if (isSource && shown.empty()) shown = ".";
    while (shown.size() > 1 && shown.ends_with('/'))
        shown.pop_back();
    const fs::path base = fs::canonical(folder, error);
    if (error) {
        return fail(Problem::badFile, path + " could not be read (" + error.message() +
                                          "): check its permissions and the disk it lies on.");
    }
    const Reader reader(base, shown);
    auto source = reader.file(std::string(sourceName));
    if (!source) {
        if (source.error().problem != Problem::missing) return std::unexpected(std::move(source.error()));
        return fail(Problem::noSource, "There is no " + std::string(sourceName) + " in " + shown +
                                           ": put the finished shader there under that name.");
    }
    if (text) source->text = *text;
    auto stages = reader.stages();
    if (!stages) return std::unexpected(std::move(stages.error()));
    return withMeta(std::move(*source), std::move(*stages), reader.shown(sourceName));
}

std::vector<std::string> list(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error, ignored;
    for (fs::directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
        std::string name = each->path().filename().string();
        if (name.starts_with(folderPrefix) && fs::is_regular_file(each->path() / sourceName, ignored))
            names.push_back(std::move(name));
    }
    std::ranges::sort(names, isBefore);
    for (std::string& name : names)
        name = folder + "/" + name;
    return names;
}

} // namespace EpisodeFolder
} // namespace glasshob
