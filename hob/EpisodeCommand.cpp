#include "GPU/Device.h"
#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobRender/episode/ContactSheet.h"
#include "GlassHobRender/export/EpisodePicture.h"
#include "GlassHobRender/export/ExportSinks.h"
#include "GlassHobRender/formats/StillFile.h"
#include "GlassHobRender/paint/PaintFonts.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Commands.h"
#include "hob/EpisodeListing.h"
#include "hob/EpisodeRequest.h"
#include "hob/ExportProgress.h"
#include "hob/ExportRequest.h"
#include "hob/Output.h"
#include "hob/Source.h"
#include "hob/Values.h"

#include <QImage>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <sys/stat.h>

namespace hob {

namespace {

using glasshob::Episode;
using glasshob::EpisodePlan;
using glasshob::EpisodePrograms;
using glasshob::ExportError;
using glasshob::ExportSegment;
using glasshob::ShaderProgram;

constexpr std::int64_t sheetVariations = 24;

struct Programs {
    std::shared_ptr<gpu::Device> device;
    EpisodePrograms programs;
    // By program, for the parts of an export.
    std::map<const ShaderProgram*, std::string> texts;
};

// Every program that the plan needs; tells what does not compile.
std::optional<Programs> openPrograms(Console& console, const Episode& episode, const EpisodePlan& plan,
                                     const glasshob::ExportPreset& preset) {
    Programs made;
    const auto open = [&](const glasshob::EpisodeFile& file) -> std::shared_ptr<const ShaderProgram> {
        auto opened = openProgram(console, {file.name, file.text}, preset.width, preset.height);
        if (!opened) return {};
        made.device = opened->device;
        made.texts[opened->program.get()] = file.text;
        return opened->program;
    };
    if (!plan.stages().empty())
        for (const glasshob::EpisodeFile& stage : episode.stages) {
            made.programs.stages.push_back(open(stage));
            if (made.programs.stages.back() == nullptr) return {};
        }
    made.programs.finished = open(episode.source);
    if (made.programs.finished == nullptr) return {};
    if (!plan.stages().empty()) made.programs.stages.push_back(made.programs.finished);
    return made;
}

glasshob::StillImage stillOf(const QImage& painted) {
    const QImage image = painted.convertToFormat(QImage::Format_RGB32);
    glasshob::StillImage still{std::uint32_t(image.width()), std::uint32_t(image.height()), {}};
    still.bytes.resize(std::size_t(still.width) * still.height * 4);
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(&still.bytes[std::size_t(y) * still.width * 4], image.constScanLine(y),
                    std::size_t(still.width) * 4);
    return still;
}

QImage imageOf(const glasshob::StillImage& still) {
    return QImage(still.bytes.data(), int(still.width), int(still.height), qsizetype(still.width) * 4,
                  QImage::Format_RGB32)
        .copy();
}

ExitStatus writePicture(Console& console, const QImage& image, const std::string& path) {
    if (image.isNull()) {
        console.problem("There is not enough memory for " + path + ": choose a smaller --size.");
        return ExitStatus::failed;
    }
    if (const auto written = glasshob::StillFile::write(stillOf(image), path); !written) {
        console.problem(written.error());
        return ExitStatus::failed;
    }
    return ExitStatus::done;
}

ExitStatus writePages(Console& console, const EpisodePlan& plan, const Programs& opened,
                      const EpisodeRequest& request) {
    if (plan.stages().empty()) {
        console.problem("There are no pages to write: the episode has no stages, or they are left out.");
        return ExitStatus::failed;
    }
    std::string folder = *request.pagesFolder;
    if (!folder.ends_with('/')) folder += '/';
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        console.problem(folder + " could not be made (" + strerrordesc_np(errno) + "): give another folder.");
        return ExitStatus::failed;
    }
    const Interrupts interrupts("The pages were not finished.");
    const auto name = [&](std::size_t stage, std::size_t page) {
        return folder + "stage-" + std::to_string(stage + 1) + "-page-" + std::to_string(page + 1) + ".png";
    };
    for (std::size_t stage = 0; stage < plan.stages().size(); ++stage)
        for (std::size_t page = 0; page < plan.stages()[stage].pages.size(); ++page)
            if (!checkPlace(console, name(stage, page), request.replaces)) return ExitStatus::failed;
    const QSize size(plan.frame().width, plan.frame().height);
    glasshob::EpisodePicture picture(plan, opened.programs, size, interrupts.token());
    for (std::size_t stage = 0; stage < plan.stages().size(); ++stage) {
        for (std::size_t page = 0; page < plan.stages()[stage].pages.size(); ++page) {
            const auto image = picture.at(pageMoment(plan, stage, page));
            if (interrupts.token().stop_requested()) {
                console.problem("The pages were not finished.");
                return ExitStatus::failed;
            }
            if (!image) {
                console.problem(image.error().description);
                return ExitStatus::failed;
            }
            if (const auto status = writePicture(console, *image, name(stage, page)); status != ExitStatus::done)
                return status;
        }
    }
    return ExitStatus::done;
}

ExitStatus writeContactSheet(Console& console, const Episode& episode, const EpisodePlan& plan, const Programs& opened,
                             const EpisodeRequest& request) {
    const std::string& path = *request.contactSheet;
    const Interrupts interrupts("The contact sheet was not finished.");
    std::vector<glasshob::ContactTile> tiles;
    for (const glasshob::Variation& variation :
         EpisodePlan::variations(episode, 1, sheetVariations, plan.choices().amount)) {
        const auto still = glasshob::StillRenderer::render(
            opened.programs.finished, opened.device, glasshob::contactWidth, glasshob::contactHeight, 0,
            variation.values, float(variation.start), interrupts.token());
        if (!still) {
            console.problem(interrupts.token().stop_requested()
                                ? "The contact sheet was not finished."
                                : "The GPU failed while drawing variation " + std::to_string(variation.index) + ".");
            return ExitStatus::failed;
        }
        const bool isChosen = std::ranges::any_of(
            plan.shownVariations(), [&](const glasshob::Variation& shown) { return shown.index == variation.index; });
        tiles.push_back({imageOf(*still), variation.index, variation.highlights, isChosen});
    }
    const std::string title = "Variations of " + plan.meta().title;
    const std::string subtitle = "Amount " + std::to_string(int(plan.choices().amount * 100 + 0.5F)) + " %";
    return writePicture(console, paintContactSheet(title, subtitle, tiles), path);
}

void exportInto(const EpisodePlan& plan, const Programs& opened, const EpisodeRequest& request,
                const std::optional<glasshob::FrameRange>& frames, const std::string& path, ExportProgress& progress) {
    const std::vector<ExportSegment> segments = episodeSegments(plan, opened.programs);
    glasshob::VideoExporter::Encoding encoding = request.encoding;
    encoding.container = glasshob::containerOf(request.format);
    encoding.catchUp = [&](double reached, double target) { progress.tellCatchUp(reached, target); };
    const auto tell = [&](std::int64_t done, std::int64_t total) { return progress.tell(done, total); };
    if (!frames) {
        encoding.chapters = movieChapters(plan.chapters());
        glasshob::VideoExporter::exportMovie(segments, request.preset, opened.device, path, tell, encoding,
                                             progress.stop());
        return;
    }
    auto part = glasshob::MoviePart::of(segments, request.preset, *frames,
                                        [&](const ShaderProgram& program) { return opened.texts.at(&program); });
    part.look = lookIdentity(plan);
    part.chapters = plan.chapters();
    glasshob::VideoExporter::exportPart(segments, part, opened.device, path, tell, encoding, progress.stop());
}

ExitStatus exportEpisode(Console& console, const EpisodePlan& plan, const Programs& opened,
                         const EpisodeRequest& request, const std::optional<glasshob::FrameRange>& frames) {
    auto file = openOutput(console, request.output, request.replaces);
    if (!file) return ExitStatus::failed;
    std::optional<ChaptersOutput> chapters;
    if (!frames) {
        chapters = ChaptersOutput::open(console, request.output, plan.chapters().json(), request.replaces);
        if (!chapters) return ExitStatus::failed;
    }
    ExportProgress progress(console, request.tellsJson);
    try {
        exportInto(plan, opened, request, frames, file->path(), progress);
        console.endProgress();
    } catch (const ExportError& error) {
        console.endProgress();
        console.problem(error.description);
        return ExitStatus::failed;
    }
    return chapters ? chapters->finish(console, *file, request.output, request.replaces)
                    : finishOutput(console, *file, request.output, request.replaces);
}

ExitStatus run(const Arguments& arguments, Console& console) {
    auto request = readEpisodeRequest(arguments);
    if (!request) {
        console.problem(request.error());
        return ExitStatus::wrongUsage;
    }
    const auto episode = glasshob::EpisodeFolder::read(arguments.operands().front());
    if (!episode) {
        console.problem(episode.error().sentence);
        return ExitStatus::failed;
    }
    const auto settings = readSettings(request->settings, glasshob::ParamParser::parse(episode->source.text));
    if (!settings) {
        console.problem(settings.error());
        return ExitStatus::wrongUsage;
    }
    request->choices.values = settings->values;
    const auto plan = EpisodePlan::make(*episode, request->preset, request->choices);
    if (!plan) {
        console.problem(plan.error().sentence);
        return ExitStatus::failed;
    }
    std::optional<glasshob::FrameRange> frames;
    if (request->frames) {
        const auto read = readFrames(*request->frames, plan->frameCount());
        if (!read) {
            console.problem(read.error());
            return ExitStatus::wrongUsage;
        }
        frames = *read;
    }
    for (const std::string& note : settings->notes)
        console.problem(note);
    for (const std::string& note : plan->notes())
        console.problem(note);
    if (request->lists) console.write(request->tellsJson ? episodeJson(*plan) : episodeText(*plan));

    if (!request->output.empty() && !checkOutput(console, request->output, episode->source.path))
        return ExitStatus::failed;
    if (request->contactSheet && (!checkOutput(console, *request->contactSheet, episode->source.path) ||
                                  !checkPlace(console, *request->contactSheet, request->replaces)))
        return ExitStatus::failed;
    if (!request->output.empty() || request->pagesFolder || request->contactSheet) {
        const glasshob::TextPainting painting;
        const auto opened = openPrograms(console, *episode, *plan, request->preset);
        if (!opened) return ExitStatus::failed;
        ExitStatus status = ExitStatus::done;
        if (request->pagesFolder) status = writePages(console, *plan, *opened, *request);
        if (status == ExitStatus::done && request->contactSheet)
            status = writeContactSheet(console, *episode, *plan, *opened, *request);
        if (status == ExitStatus::done && !request->output.empty())
            status = exportEpisode(console, *plan, *opened, *request, frames);
        if (status != ExitStatus::done) return status;
    }
    if (request->tellsChapters) console.write(plan->chapters().lines());
    return console.outputFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace

const Command& episodeCommand() {
    static const Command command = {
        .name = "episode",
        .summary = "Make a tutorial video of a shader: its show, its code step by step, its variations",
        .usage = "FOLDER|FILE -o OUT.mp4 [--force] [--preset ID] [OPTIONS]",
        .notes =
            "FOLDER is an episode: source.metal, the finished shader with a line \"// @episode 7 Title\", and stages/\n"
            "with the steps towards it, in the order of their names. A FILE with such a line is an episode without\n"
            "the walkthrough of its code.\n"
            "The chapters are in the movie, and beside it as OUT.chapters.json. --list, --pages, --contact-sheet and\n"
            "--chapters-text work without -o.\n"
            "--frames lets several machines share one video: each renders a part, and hob join makes the whole.\n",
        .operands = Operands::one,
        .options = episodeOptions(),
        .run = run,
    };
    return command;
}

} // namespace hob
