// Videos of episodes. Memory: the most that a process needs for an export at 3840x2160 whose walkthrough has 100 pages,
// against one with 2; every page with its fades is painted on the way, each process exports alone. Pace: frames a
// second of a walkthrough as a movie, against the same movie whose pages were painted beforehand, in pairs; printed
// beside it, the same pictures with nothing over them, which leave the encoder less to do. The argument "pace" measures
// that alone.
#include "Common.h"

#include "GPU/Device.h"
#include "GlassHobRender/export/EpisodeVideo.h"
#include "GlassHobRender/export/VideoExporter.h"
#include "GlassHobRender/paint/PaintFonts.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <unistd.h>

using namespace glasshob;

namespace {

constexpr double memoryTarget = 1.3, paceTarget = 0.95;
constexpr int pacePairs = 7, memoryRuns = 4;
constexpr int fewPages = 2, manyPages = 100;

[[noreturn]] void giveUp(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(2);
}

// A finished shader and one stage before it whose new lines make so many pages.
Episode episodeOf(int pages) {
    constexpr int linesOfPage = 16;
    const std::string shade = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n";
    const std::string end = "    return float4(x, uv.y, 0.5 + 0.5 * sin(u.time), 1.0);\n}\n";
    Episode episode;
    episode.source.name = "source.metal";
    std::string lines;
    for (int i = 0; i < (pages - 1) * linesOfPage; ++i) {
        if (i % linesOfPage == 0) lines += "    // Step " + std::to_string(i) + " moves the wave on by a little.\n";
        lines += "    x = fract(x * 1.01 + " + std::to_string(i) + ".5); // a new line of code\n";
    }
    episode.stages.push_back({"", "stages/1.metal", shade + "    float x = uv.x;\n" + end});
    episode.source.text = "// @episode 1 Measured\n" + shade + "    float x = uv.x;\n" + lines + end;
    episode.meta = EpisodeMeta::parse(episode.source.text);
    return episode;
}

ExportPreset presetOf(std::int64_t width, std::int64_t height, std::int64_t fps) {
    return {"bench", "Bench", width, height, fps, 12'000'000, VideoCodec::h264};
}

// The walkthrough alone.
EpisodePlan planOf(int pages, const ExportPreset& preset) {
    EpisodeChoices choices;
    choices.hasCards = choices.hasShow = choices.hasVariations = false;
    choices.pageSeconds = episodeLook::leastPageSeconds; // the most painting
    auto plan = EpisodePlan::make(episodeOf(pages), preset, choices);
    if (!plan) giveUp(plan.error().sentence);
    return *plan;
}

std::vector<ExportSegment> segmentsOf(const EpisodePlan& plan, const std::shared_ptr<gpu::Device>& device) {
    // One cheap shader for every stage: the pages are what is measured.
    const auto program = std::make_shared<const ShaderProgram>(
        "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return float4(uv, sin(u.time), 1.0); }\n",
        device);
    return episodeSegments(plan, {program, std::vector(plan.stages().size(), program)});
}

class NoSink : public FrameSink {
  public:
    std::expected<void, ExportError> write(std::int64_t, const std::byte*, std::size_t,
                                           const std::stop_token&) override {
        return {};
    }
    std::expected<void, ExportError> finish(const std::stop_token&) override { return {}; }
};

double peakMegabytes() {
    std::FILE* status = std::fopen("/proc/self/status", "r");
    double size = 0;
    for (std::array<char, 256> line{};
         status != nullptr && std::fgets(line.data(), int(line.size()), status) != nullptr;)
        if (std::sscanf(line.data(), "VmHWM: %lf", &size) == 1) break;
    if (status != nullptr) std::fclose(status);
    return size / 1024;
}

// What this process needs at the most, printed for the one that asks.
int measureMemory(int pages, const std::shared_ptr<gpu::Device>& device) {
    const ExportPreset preset = presetOf(3840, 2160, 1);
    const EpisodePlan plan = planOf(pages, preset);
    NoSink sink;
    const auto done = exportFrames(segmentsOf(plan, device), {.preset = preset, .device = device}, sink);
    if (!done) giveUp(done.error().description);
    std::size_t shown = 0;
    for (const WalkthroughStage& stage : plan.stages())
        shown += stage.pages.size();
    std::printf("%zu %f\n", shown, peakMegabytes());
    return 0;
}

bool judgeMemory(const char* self) {
    double peaks[2] = {};
    std::size_t pages[2] = {};
    // How many images of 33 MB are there at once is the threads' luck: the most of several runs counts.
    for (int run = 0; run < 2 * memoryRuns; ++run) {
        const int i = run % 2;
        const std::string command =
            std::string("'") + self + "' memory " + std::to_string(i == 0 ? fewPages : manyPages);
        std::FILE* child = popen(command.c_str(), "r");
        double peak = 0;
        if (child == nullptr || std::fscanf(child, "%zu %lf", &pages[i], &peak) != 2)
            giveUp("The process that measures memory gave no answer.");
        pclose(child);
        peaks[i] = std::max(peaks[i], peak);
    }
    const double ratio = peaks[1] / peaks[0];
    std::printf(
        "memory   3840x2160: %.0f MB at the most with %zu pages, %.0f MB with %zu; ratio %.3f (at most %.2f): %s\n",
        peaks[0], pages[0], peaks[1], pages[1], ratio, memoryTarget, ratio <= memoryTarget ? "reached" : "MISSED");
    return ratio <= memoryTarget;
}

// The same images without the work of painting them.
OverlaySequence paintedBeforehand(const OverlaySequence& sequence, const EpisodePlan& plan) {
    OverlaySequence painted;
    std::int64_t last = -1;
    for (std::int64_t frame = 0; frame < plan.frameCount(); ++frame) {
        const double seconds = double(frame) / double(plan.fps());
        const std::int64_t index = sequence.indexAt(seconds);
        if (std::exchange(last, index) == index) continue;
        painted.add(seconds, sequence.isEmpty(index)
                                 ? OverlaySequence::Paint()
                                 : OverlaySequence::Paint([image = sequence.paint(index)] { return image; }));
    }
    return painted;
}

bool judgePace(const std::shared_ptr<gpu::Device>& device) {
    const ExportPreset preset = presetOf(1920, 1080, 60);
    const EpisodePlan plan = planOf(2, preset);
    const std::vector<ExportSegment> withPages = segmentsOf(plan, device);
    std::vector<ExportSegment> painted = withPages, without = withPages;
    for (ExportSegment& segment : painted)
        segment.layout->overlays = paintedBeforehand(segment.layout->overlays, plan);
    for (ExportSegment& segment : without) {
        segment.layout->overlays = {};
        segment.layout->overlays.add(0, {});
    }
    const std::string path =
        std::filesystem::temp_directory_path() / ("episode-bench-" + std::to_string(getpid()) + ".mp4");
    const auto seconds = [&](const std::vector<ExportSegment>& segments) {
        const auto start = std::chrono::steady_clock::now();
        VideoExporter::exportMovie(segments, preset, device, path, [](auto, auto) { return true; });
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const auto secondsUnencoded = [&](const std::vector<ExportSegment>& segments) {
        NoSink sink;
        const auto start = std::chrono::steady_clock::now();
        if (const auto done = exportFrames(segments, {.preset = preset, .device = device}, sink); !done)
            giveUp(done.error().description);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const bench::Pairs pairs = bench::inPairs(
        pacePairs, [&] { return seconds(withPages); }, [&] { return seconds(painted); });
    const double plain = seconds(without);
    const double unencoded = secondsUnencoded(withPages), plainUnencoded = secondsUnencoded(without);
    std::filesystem::remove(path);
    const auto frames = double(plan.frameCount());
    const double ratio = 1 / bench::median(pairs.ratios); // of frames a second
    std::printf("pace     1920x1080: %.1f frames a second with pages, %.1f with the same pages painted beforehand; "
                "ratio %.3f, the median of %d pairs (at least %.2f): %s\n",
                frames / bench::median(pairs.ours), frames / bench::median(pairs.theirs), ratio, pacePairs, paceTarget,
                ratio >= paceTarget ? "reached" : "MISSED");
    std::printf("         %.1f with nothing over the pictures, which is less to encode; without an encoder %.0f with "
                "pages, %.0f with nothing\n",
                frames / plain, frames / unencoded, frames / plainUnencoded);
    return ratio >= paceTarget;
}

} // namespace

int main(int argc, char** argv) {
    const TextPainting painting;
    auto device = gpu::Device::systemDefault();
    if (!device) giveUp(device.error().text);
    if (argc > 2 && std::string_view(argv[1]) == "memory") return measureMemory(std::atoi(argv[2]), *device);
    std::printf("%s\n", (*device)->name().c_str());
    try {
        const bool memory = (argc > 1 && std::string_view(argv[1]) == "pace") || judgeMemory(argv[0]);
        const bool pace = judgePace(*device);
        return memory && pace ? 0 : 1;
    } catch (const std::exception& error) {
        giveUp(error.what());
    }
}
