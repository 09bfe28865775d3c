#include "GPU/Device.h"
#include "GlassHobCore/AtomicFile.h"
#include "GlassHobCore/ExportPreset.h"
#include "GlassHobCore/Numbers.h"
#include "GlassHobRender/ShaderProgram.h"
#include "GlassHobRender/VideoExporter.h"
#include "hob/Commands.h"
#include "hob/Output.h"
#include "hob/Source.h"
#include "hob/Values.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace hob {

namespace {

using glasshob::ExportPreset;
using glasshob::MovieEncoder;
using glasshob::MovieQuality;
using glasshob::VideoExporter::Encoding;

constexpr double longestDuration = 24 * 3600;

constexpr Option options[] = {
    {"--output", "-o", "OUT.mp4", "the movie's file"},
    {"--force", "", "", "replace the file if there is one"},
    {"--preset", "", "ID", "main4k, web, preview or site (web)"},
    {"--start", "", "S", "shader time of the first frame in seconds (0)"},
    {"--duration", "", "D", "length in seconds (10)"},
    {"--no-watermark", "", "", "leave out the Hob mark"},
    {"--set", "", "NAME=VALUE", "set a slider; may be repeated"},
    {"--size", "", "WxH", "width and height in pixels instead of the preset's"},
    {"--fps", "", "N", "frames a second instead of the preset's; a divisor of 48000"},
    {"--bitrate", "", "B", "bits a second instead of the preset's, such as 5000000 or 5M"},
    {"--codec", "", "h264|hevc", "the codec instead of the preset's"},
    {"--encoder", "", "NAME", "auto, software, vaapi or nvenc (auto)"},
    {"--quality", "", "NAME", "how long the encoder tries: fast, balanced or best (balanced)"},
    {"--json", "", "", "print progress as lines of JSON on standard output"},
};

struct Request {
    std::string output;
    ExportPreset preset = ExportPreset::web();
    double start = 0;
    double duration = 10;
    bool hasMark = true;
    bool replaces = false;
    bool tellsJson = false;
    Encoding encoding;
};

std::unexpected<std::string> mistake(std::string sentence) {
    return std::unexpected(std::move(sentence));
}

std::expected<std::int64_t, std::string> readBitrate(std::string_view text) {
    std::string_view digits = text;
    std::int64_t unit = 1;
    if (digits.ends_with('k') || digits.ends_with('K')) unit = 1000;
    if (digits.ends_with('M')) unit = 1'000'000;
    if (unit != 1) digits.remove_suffix(1);
    const auto value = glasshob::parseInteger(digits);
    if (!value || *value < 1 || *value > 1'000'000'000 / unit || *value * unit < 1000)
        return mistake("--bitrate " + std::string(text) + " is not a bit rate: give from 1000 to 1000M bits a second.");
    return *value * unit;
}

// One of a few words; its place in the list.
std::expected<std::size_t, std::string> readWord(std::string_view option, std::string_view text,
                                                 std::initializer_list<std::string_view> words) {
    std::string list;
    std::size_t at = 0;
    for (const std::string_view word : words) {
        if (word == text) return at;
        list += (at == 0 ? "" : at + 1 == words.size() ? " or " : ", ") + std::string(word);
        ++at;
    }
    return mistake(std::string(option) + " " + std::string(text) + " is not known: give " + list + ".");
}

std::expected<void, std::string> readPicture(const Arguments& arguments, ExportPreset& preset) {
    if (const auto id = arguments.value("--preset")) {
        const ExportPreset* found = ExportPreset::find(*id);
        if (found == nullptr) return mistake("There is no preset " + *id + ": give main4k, web, preview or site.");
        preset = *found;
    }
    if (const auto text = arguments.value("--size")) {
        const auto size = readSize(*text);
        if (!size) return mistake(size.error());
        preset.width = size->width;
        preset.height = size->height;
    }
    if (const auto text = arguments.value("--fps")) {
        const auto fps = glasshob::parseInteger(*text);
        if (!fps || *fps < 1 || *fps > 240 || 48000 % *fps != 0)
            return mistake("--fps " + *text +
                           " cannot be used: give a divisor of 48000 up to 240, such as 24, 25, 30, 50 "
                           "or 60.");
        preset.fps = *fps;
    }
    if (const auto text = arguments.value("--bitrate")) {
        const auto bitrate = readBitrate(*text);
        if (!bitrate) return mistake(bitrate.error());
        preset.bitrate = *bitrate;
    }
    if (const auto text = arguments.value("--codec")) {
        const auto codec = readWord("--codec", *text, {"h264", "hevc"});
        if (!codec) return mistake(codec.error());
        preset.codec = *codec == 0 ? glasshob::VideoCodec::h264 : glasshob::VideoCodec::hevc;
    }
    return {};
}

std::expected<Request, std::string> readRequest(const Arguments& arguments) {
    Request request;
    const auto output = arguments.value("--output");
    if (!output) return mistake("No file for the movie was given: add -o OUT.mp4.");
    if (*output == "-") return mistake("A movie cannot be sent to standard output: add -o OUT.mp4.");
    request.output = *output;
    request.replaces = arguments.has("--force");
    request.hasMark = !arguments.has("--no-watermark");
    request.tellsJson = arguments.has("--json");
    if (const auto picture = readPicture(arguments, request.preset); !picture) return mistake(picture.error());
    if (const auto text = arguments.value("--start")) {
        const auto start = readTime("--start", *text);
        if (!start) return mistake(start.error());
        if (*start < 0) return mistake("--start " + *text + " lies before the shader's time begins: give 0 or more.");
        request.start = *start;
    }
    if (const auto text = arguments.value("--duration")) {
        const auto duration = readDuration("--duration", *text, longestDuration);
        if (!duration) return mistake(duration.error());
        if (*duration == 0) return mistake("--duration 0 has nothing to show: give a number of seconds.");
        request.duration = *duration;
    }
    if (const auto text = arguments.value("--encoder")) {
        const auto encoder = readWord("--encoder", *text, {"auto", "software", "vaapi", "nvenc"});
        if (!encoder) return mistake(encoder.error());
        request.encoding.encoder = MovieEncoder(*encoder);
    }
    if (const auto text = arguments.value("--quality")) {
        const auto quality = readWord("--quality", *text, {"fast", "balanced", "best"});
        if (!quality) return mistake(quality.error());
        request.encoding.quality = MovieQuality(*quality);
    }
    return request;
}

// Set by the first Ctrl-C (or a polite request to end); the export then ends by itself and removes its file.
std::atomic<bool> isInterrupted = false;

class Interrupts {
  public:
    Interrupts() {
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            std::signal(number, [](int) { isInterrupted = true; });
        // A signal may do next to nothing; a thread hands the word on.
        watcher_ = std::jthread([this](const std::stop_token& ended) {
            while (!ended.stop_requested() && !isInterrupted)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            if (isInterrupted) stop_.request_stop();
        });
    }
    ~Interrupts() {
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            std::signal(number, SIG_DFL);
    }
    std::stop_token token() const { return stop_.get_token(); }

  private:
    std::stop_source stop_;
    std::jthread watcher_;
};

std::string timeLeft(double seconds) {
    const auto whole = std::int64_t(std::ceil(seconds));
    if (whole < 60) return std::to_string(whole) + " s";
    const std::string rest = std::to_string(whole % 60);
    return std::to_string(whole / 60) + ":" + (rest.size() < 2 ? "0" : "") + rest + " min";
}

// Tells how far the export is, ten times a second at most.
class Teller {
  public:
    Teller(Console& console, bool json) : console_(console), json_(json) {}

    void tell(std::int64_t done, std::int64_t total) {
        const auto now = Clock::now();
        if (done != 0 && done != total && now - last_ < std::chrono::milliseconds(100)) return;
        last_ = now;
        const double passed = std::chrono::duration<double>(now - start_).count();
        const double rate = passed > 0 && done > 0 ? double(done) / passed : 0;
        const double left = rate > 0 ? double(total - done) / rate : 0;
        if (json_) {
            char line[160];
            std::snprintf(line, sizeof line,
                          "{\"frame\": %lld, \"frames\": %lld, \"seconds\": %.3f, \"framesPerSecond\": %.2f, "
                          "\"secondsLeft\": %.1f}\n",
                          static_cast<long long>(done), static_cast<long long>(total), passed, rate, left);
            console_.write(line);
            return;
        }
        constexpr std::int64_t width = 24;
        const auto filled = std::size_t(total > 0 ? done * width / total : width);
        char figures[96];
        std::snprintf(figures, sizeof figures, "] %lld of %lld frames, %.1f a second", static_cast<long long>(done),
                      static_cast<long long>(total), rate);
        console_.progress("[" + std::string(filled, '#') + std::string(std::size_t(width) - filled, '.') + figures +
                          (rate > 0 && done < total ? ", " + timeLeft(left) + " left" : ""));
    }

  private:
    using Clock = std::chrono::steady_clock;
    Console& console_;
    bool json_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_;
};

// The movie is written beside its place and moved there when it is whole.
std::string unfinishedName(const std::string& output) {
    const std::size_t slash = output.rfind('/');
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    return output.substr(0, name) + "." + output.substr(name) + "." + std::to_string(getpid()) + ".part";
}

ExitStatus exportMovie(const Request& request, const Source& source, const SliderSettings& settings, Console& console) {
    const auto device = gpu::Device::systemDefault();
    if (!device) {
        console.problem(device.error().text);
        return ExitStatus::failed;
    }
    const std::int64_t most = (*device)->maxTextureSize();
    if (request.preset.width > most || request.preset.height > most) {
        console.problem("The device " + (*device)->name() + " draws pictures of at most " + std::to_string(most) +
                        " pixels a side: choose a smaller --size.");
        return ExitStatus::failed;
    }
    std::shared_ptr<const glasshob::ShaderProgram> program;
    try {
        program = std::make_shared<glasshob::ShaderProgram>(source.text, *device);
    } catch (const glasshob::ShaderError& error) {
        tellCompileError(console, source, error);
        return ExitStatus::failed;
    }
    tellWarnings(console, source, program->warnings());
    const glasshob::ExportPlan plan(request.preset, request.start, request.duration);
    const std::string unfinished = unfinishedName(request.output);
    const Interrupts interrupts;
    Teller teller(console, request.tellsJson);
    try {
        glasshob::VideoExporter::exportMovie(
            program, settings.values, plan, request.hasMark, *device, unfinished,
            [&](std::int64_t done, std::int64_t total) {
                teller.tell(done, total);
                return !isInterrupted && !console.outputFailed();
            },
            request.encoding, interrupts.token());
    } catch (const std::exception& error) {
        console.endProgress();
        const auto* export_ = dynamic_cast<const glasshob::ExportError*>(&error);
        const bool isHardware =
            request.encoding.encoder == MovieEncoder::vaapi || request.encoding.encoder == MovieEncoder::nvenc;
        if (isHardware && export_ != nullptr && export_->kind == glasshob::ExportError::Kind::setup)
            console.problem(std::string(error.what()) +
                            ". The chosen --encoder is not there or does not take this size on this machine: leave "
                            "the option out to encode without it.");
        else
            console.problem(error.what());
        return ExitStatus::failed;
    }
    console.endProgress();
    if (std::rename(unfinished.c_str(), request.output.c_str()) != 0) {
        console.problem("The movie is whole, but could not be moved to " + request.output + ": it is in " + unfinished +
                        ".");
        return ExitStatus::failed;
    }
    return ExitStatus::done;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto request = readRequest(arguments);
    if (!request) {
        console.problem(request.error());
        return ExitStatus::wrongUsage;
    }
    const std::string& path = arguments.operands().front();
    const auto source = readSource(console, path);
    if (!source) return ExitStatus::failed;
    const auto settings = readSettings(arguments.values("--set"), glasshob::ParamParser::parse(source->text));
    if (!settings) {
        console.problem(settings.error());
        return ExitStatus::wrongUsage;
    }
    for (const std::string& note : settings->notes)
        console.problem(note);
    if (!checkOutput(console, request->output, path)) return ExitStatus::failed;
    struct stat status = {};
    if (!request->replaces && stat(request->output.c_str(), &status) == 0) {
        console.problem(request->output + " is there already: add --force to replace it.");
        return ExitStatus::failed;
    }
    return exportMovie(*request, *source, *settings, console);
}

} // namespace

const Command& exportCommand() {
    static constexpr Command command = {
        .name = "export",
        .summary = "Render a shader into a movie with its sound",
        .usage = "FILE -o OUT.mp4 [--force] [--preset ID] [--start S] [--duration D] [OPTIONS]",
        .notes =
            "The movie is MPEG-4 with H.264 or HEVC pictures in Rec. 709 and AAC sound, where the shader has any.\n"
            "It appears under its name when it is whole. Ctrl-C ends the export and leaves nothing.\n"
            "--json prints one object a line: frame, frames, seconds, framesPerSecond, secondsLeft.\n",
        .operands = Operands::one,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
