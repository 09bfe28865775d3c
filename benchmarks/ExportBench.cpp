// How fast frames leave, against doing the same things one after the other.
//
// The whole export: 600 frames at the "web" preset, in movies of 120, drawn and encoded beside each other, against the
// time that drawing takes alone and converting and encoding take alone, each with all cores and the encoder's last
// frames included. The frames alone: the same into a sink that only converts them, against drawing, copying and
// libswscale in turn. The conversion of one frame against libswscale's. And the memory of a long export: what the
// process holds after 300 and after 3,000 frames. An argument gives another number of frames, for a quick look; the
// judged one is 600.
#include "GPU/Device.h"
#include "GPU/Texture.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/export/FrameExporter.h"
#include "GlassHobRender/export/VideoExporter.h"
#include "GlassHobRender/formats/FrameConverter.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "benchmarks/Common.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>
#include <unistd.h>

namespace {

using namespace glasshob;

constexpr std::int64_t judgedFrames = 600;
constexpr std::int64_t chunk = 60;        // frames that the encoder's own run takes from memory at a time
constexpr std::int64_t movieFrames = 120; // of each of the movies
constexpr double wholeTarget = 1.0;
constexpr double framesTarget = 1.2;
constexpr double conversionTarget = 0.25;
constexpr double memoryTarget = 1.05;

[[noreturn]] void giveUp(const char* sentence) {
    std::fprintf(stderr, "%s\n", sentence);
    std::exit(2);
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

// Seconds of processor time that anything on this machine has used.
double machineSeconds() {
    std::ifstream stat("/proc/stat");
    std::string word;
    stat >> word;
    double sum = 0, value = 0;
    for (int column = 0; column < 8 && stat >> value; ++column)
        if (column != 3 && column != 4) sum += value; // all but idle and waiting for disks
    return sum / double(sysconf(_SC_CLK_TCK));
}

// Wall time, and how many cores this process and all others kept busy meanwhile: figures of a busy machine say little.
struct Stretch {
    double seconds = 0, own = 0, others = 0;

    void add(const auto& work) {
        const double ownBefore = processorSeconds(), allBefore = machineSeconds();
        seconds += work() / 1000;
        const double used = processorSeconds() - ownBefore;
        own += used;
        others += std::max(machineSeconds() - allBefore - used, 0.0);
    }
    std::string cores() const {
        char text[64];
        std::snprintf(text, sizeof text, "%.2f cores, others %.2f", own / seconds, others / seconds);
        return text;
    }
};

// Milliseconds until no thread of the process works any more: encoders go on after a call has returned.
double millisecondsUntilIdle(const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    auto last = std::chrono::steady_clock::now();
    double used = processorSeconds();
    while (std::chrono::steady_clock::now() - last < std::chrono::milliseconds(30)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const double now = processorSeconds();
        if (now - used > 0.0005) last = std::chrono::steady_clock::now();
        used = now;
    }
    return std::chrono::duration<double, std::milli>(last - start).count();
}

// The bare encoder with the settings of the movies, its packets thrown away.
class Encoder {
  public:
    explicit Encoder(const ExportPreset& preset)
        : context_(avcodec_alloc_context3(avcodec_find_encoder_by_name("libx264"))), packet_(av_packet_alloc()) {
        context_->width = int(preset.width);
        context_->height = int(preset.height);
        context_->time_base = {1, int(preset.fps)};
        context_->framerate = {int(preset.fps), 1};
        context_->bit_rate = preset.bitrate;
        context_->gop_size = int(2 * preset.fps);
        context_->pix_fmt = AV_PIX_FMT_NV12;
        context_->thread_count = 0;
        context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        av_opt_set(context_->priv_data, "preset", "medium", 0);
        if (avcodec_open2(context_, nullptr, nullptr) < 0) giveUp("The encoder cannot be opened.");
    }
    ~Encoder() {
        av_packet_free(&packet_);
        avcodec_free_context(&context_);
    }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    void encode(const gpu::Texture& texture) {
        AVFrame* frame = av_frame_alloc();
        frame->format = context_->pix_fmt;
        frame->width = context_->width;
        frame->height = context_->height;
        if (av_frame_get_buffer(frame, 0) < 0) giveUp("There is no memory for a frame.");
        FrameConverter::convert(reinterpret_cast<const std::uint8_t*>(texture.contents()), texture.rowBytes(),
                                frame->width, frame->height,
                                {frame->data[0], std::size_t(frame->linesize[0]), frame->data[1],
                                 std::size_t(frame->linesize[1]), nullptr, 0});
        frame->pts = count_++;
        send(frame);
        av_frame_free(&frame);
    }
    void finish() { send(nullptr); }

  private:
    void send(const AVFrame* frame) {
        if (avcodec_send_frame(context_, frame) < 0) giveUp("The encoder takes no frame.");
        while (avcodec_receive_packet(context_, packet_) >= 0)
            av_packet_unref(packet_);
    }

    AVCodecContext* context_;
    AVPacket* packet_;
    std::int64_t count_ = 0;
};

// Frames converted as an encoder takes them, and forgotten.
class ConvertingSink : public FrameSink {
  public:
    ConvertingSink(std::int64_t width, std::int64_t height)
        : width_(int(width)), height_(int(height)), planes_(std::size_t(width * height * 3 / 2)) {}
    std::expected<void, ExportError> write(std::int64_t, const std::byte* pixels, std::size_t rowBytes,
                                           const std::stop_token&) override {
        FrameConverter::convert(reinterpret_cast<const std::uint8_t*>(pixels), rowBytes, width_, height_,
                                {planes_.data(), std::size_t(width_),
                                 planes_.data() + std::size_t(width_) * std::size_t(height_), std::size_t(width_),
                                 nullptr, 0});
        return {};
    }
    std::expected<void, ExportError> finish(const std::stop_token&) override { return {}; }

  private:
    int width_, height_;
    std::vector<std::uint8_t> planes_;
};

// libswscale from BGRA to NV12, in the matrix and range of the movies.
class Scaler {
  public:
    Scaler(std::int64_t width, std::int64_t height)
        : width_(int(width)), height_(int(height)), planes_(std::size_t(width * height * 3 / 2)),
          context_(sws_getContext(width_, height_, AV_PIX_FMT_BGRA, width_, height_, AV_PIX_FMT_NV12, SWS_BILINEAR,
                                  nullptr, nullptr, nullptr)) {
        if (context_ == nullptr) giveUp("libswscale cannot do this.");
        const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
        sws_setColorspaceDetails(context_, matrix, 1, matrix, 0, 0, 1 << 16, 1 << 16);
    }
    ~Scaler() { sws_freeContext(context_); }
    Scaler(const Scaler&) = delete;
    Scaler& operator=(const Scaler&) = delete;

    void convert(const std::uint8_t* bgra, std::size_t rowBytes) {
        const std::uint8_t* from[] = {bgra};
        const int fromStrides[] = {int(rowBytes)};
        std::uint8_t* to[] = {planes_.data(), planes_.data() + std::size_t(width_) * std::size_t(height_)};
        const int toStrides[] = {width_, width_};
        sws_scale(context_, from, fromStrides, 0, height_, to, toStrides);
    }

  private:
    int width_, height_;
    std::vector<std::uint8_t> planes_;
    SwsContext* context_;
};

struct Work {
    std::shared_ptr<gpu::Device> device;
    std::vector<ExportSegment> segments;
    ExportPreset preset;
    std::string path; // of movies, in a folder that goes away

    std::shared_ptr<gpu::Texture> texture() const {
        const auto made = device->makeTexture({.width = std::uint32_t(preset.width),
                                               .height = std::uint32_t(preset.height),
                                               .storage = gpu::StorageMode::shared,
                                               .usage = {.shaderRead = false, .renderTarget = true}});
        if (!made) giveUp("There is no memory for a frame.");
        return *made;
    }
    void draw(FrameDrawer& drawer, std::int64_t frame, const std::shared_ptr<gpu::Texture>& into) const {
        if (const auto drawn = drawer.draw(frame, into); !drawn) giveUp(drawn.error().what());
    }
};

double secondsOfExport(const Work& work, const std::vector<ExportSegment>& segments,
                       const VideoExporter::Progress& progress) {
    return bench::milliseconds(
               [&] { VideoExporter::exportMovie(segments, work.preset, work.device, work.path, progress); }) /
           1000;
}

bool judgeWhole(const Work& work, std::int64_t frames) {
    Stretch together, drawing, encoding;
    const auto fps = double(work.preset.fps);
    std::vector<std::shared_ptr<gpu::Texture>> textures;
    while (std::int64_t(textures.size()) < std::min(chunk, frames))
        textures.push_back(work.texture());
    // In turn, so that both meet the same machine; each movie has its beginning and its end on either side.
    for (std::int64_t start = 0; start < frames; start += movieFrames) {
        const std::int64_t stop = std::min(start + movieFrames, frames);
        std::vector<ExportSegment> movie = work.segments;
        movie.front().start = double(start) / fps;
        movie.front().duration = double(stop - start) / fps;
        together.add([&] { return 1000 * secondsOfExport(work, movie, [](auto, auto) { return true; }); });
        const ExportTimeline timeline(movie, work.preset.fps);
        std::optional<FrameDrawer> drawer;
        std::optional<Encoder> encoder;
        for (std::int64_t first = 0; first < stop - start; first += chunk) {
            const std::int64_t end = std::min(first + chunk, stop - start);
            drawing.add([&] {
                return bench::milliseconds([&] {
                    if (!drawer) drawer.emplace(timeline, work.preset, work.device);
                    for (std::int64_t i = first; i < end; ++i)
                        work.draw(*drawer, i, textures[std::size_t(i - first)]);
                });
            });
            encoding.add([&] {
                return millisecondsUntilIdle([&] {
                    if (!encoder) encoder.emplace(work.preset);
                    for (std::int64_t i = first; i < end; ++i)
                        encoder->encode(*textures[std::size_t(i - first)]);
                    if (end == stop - start) encoder->finish();
                });
            });
        }
    }
    const double apart = drawing.seconds + encoding.seconds;
    const double ratio = apart / together.seconds;
    const auto count = double(frames);
    std::printf(
        "movie    %lld frames of %lldx%lld: %.1f a second (%s); drawing alone %.1f (%s), encoding alone %.1f (%s), "
        "one after the other %.1f; ratio %.3f (at least %.2f): %s\n",
        static_cast<long long>(frames), static_cast<long long>(work.preset.width),
        static_cast<long long>(work.preset.height), count / together.seconds, together.cores().c_str(),
        count / drawing.seconds, drawing.cores().c_str(), count / encoding.seconds, encoding.cores().c_str(),
        count / apart, ratio, wholeTarget, ratio >= wholeTarget ? "reached" : "MISSED");
    return ratio >= wholeTarget;
}

bool judgeFrames(const Work& work, std::int64_t frames) {
    ConvertingSink sink(work.preset.width, work.preset.height);
    const ExportTimeline timeline(work.segments, work.preset.fps);
    Scaler scaler(work.preset.width, work.preset.height);
    const auto texture = work.texture();
    const std::size_t rowBytes = std::size_t(work.preset.width) * 4;
    std::vector<std::uint8_t> copy(rowBytes * std::size_t(work.preset.height));
    double ours = 0, plain = 0;
    for (std::int64_t first = 0; first < frames; first += chunk) { // in turn, so that both meet the same machine
        const std::int64_t end = std::min(first + chunk, frames);
        ours += bench::milliseconds([&] {
            const auto done = exportFrames(
                work.segments, {.preset = work.preset, .device = work.device, .frames = FrameRange{first, end}}, sink);
            if (!done) giveUp(done.error().what());
        });
        plain += bench::milliseconds([&] {
            FrameDrawer drawer(timeline, work.preset, work.device); // as the other side makes one for each part
            for (std::int64_t i = first; i < end; ++i) {
                work.draw(drawer, i, texture);
                texture->getBytes(copy.data(), rowBytes, {0, 0, texture->width(), texture->height()});
                scaler.convert(copy.data(), rowBytes);
            }
        });
    }
    const double ratio = plain / ours;
    std::printf(
        "frames   %lld frames of %lldx%lld into a sink: %.1f a second; drawn, copied and converted by libswscale "
        "%.1f; ratio %.3f (at least %.2f): %s\n",
        static_cast<long long>(frames), static_cast<long long>(work.preset.width),
        static_cast<long long>(work.preset.height), double(frames) * 1000 / ours, double(frames) * 1000 / plain, ratio,
        framesTarget, ratio >= framesTarget ? "reached" : "MISSED");
    return ratio >= framesTarget;
}

bool judgeConversion(const Work& work) {
    const ExportTimeline timeline(work.segments, work.preset.fps);
    FrameDrawer drawer(timeline, work.preset, work.device);
    const auto texture = work.texture();
    work.draw(drawer, 0, texture);
    ConvertingSink sink(work.preset.width, work.preset.height);
    Scaler scaler(work.preset.width, work.preset.height);
    std::vector<double> ours, theirs;
    for (int turn = 0; turn < 101; ++turn) {
        ours.push_back(
            bench::processorMilliseconds([&] { (void)sink.write(0, texture->contents(), texture->rowBytes(), {}); }));
        theirs.push_back(bench::processorMilliseconds(
            [&] { scaler.convert(reinterpret_cast<const std::uint8_t*>(texture->contents()), texture->rowBytes()); }));
    }
    const double ratio = bench::median(ours) / bench::median(theirs);
    std::printf("NV12     one frame of %lldx%lld: %.2f ms, libswscale %.2f ms; ratio %.3f (at most %.2f): %s\n",
                static_cast<long long>(work.preset.width), static_cast<long long>(work.preset.height),
                bench::median(ours), bench::median(theirs), ratio, conversionTarget,
                ratio <= conversionTarget ? "reached" : "MISSED");
    return ratio <= conversionTarget;
}

double residentMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmRSS:") {
            double size = 0;
            status >> size;
            return size / 1024;
        }
    return 0;
}

bool judgeMemory(Work work, const std::shared_ptr<const ShaderProgram>& program) {
    constexpr std::int64_t early = 300, late = 3000;
    work.preset.width = 160;
    work.preset.height = 90;
    work.segments = {ExportSegment(program, {}, 0, double(late + 1) / double(work.preset.fps), true, true)};
    double before = 0, after = 0;
    const double seconds = secondsOfExport(work, work.segments, [&](std::int64_t done, std::int64_t) {
        if (done == early) before = residentMegabytes();
        if (done == late) after = residentMegabytes();
        return true;
    });
    const double ratio = after / before;
    std::printf(
        "memory   %lld small frames with sound in %.1f s: %.1f MB after %lld, %.1f MB after all; ratio %.3f (at "
        "most %.2f): %s\n",
        static_cast<long long>(late), seconds, before, static_cast<long long>(early), after, ratio, memoryTarget,
        ratio <= memoryTarget ? "reached" : "MISSED");
    return ratio <= memoryTarget;
}

} // namespace

int main(int argc, char** argv) {
    const std::int64_t frames = argc > 1 ? std::max(std::atoll(argv[1]), 1LL) : judgedFrames;
    auto device = gpu::Device::systemDefault();
    if (!device) giveUp(device.error().text.c_str());
    const auto program =
        std::make_shared<const ShaderProgram>(bench::readText(SAMPLE_SHADERS "/01-flowing-color.metal"), *device);
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("export-bench-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const ExportPreset& web = ExportPreset::web();
    const Work work{*device,
                    {ExportSegment(program, {}, 0, double(frames) / double(web.fps), true, false)},
                    web,
                    folder / "movie.mp4"};
    std::printf("%s, the sample at \"%s\"\n", (*device)->name().c_str(), web.id.c_str());
    bool isGood = true;
    try {
        isGood = judgeMemory(work, program) && isGood; // first, while the process is small
        isGood = judgeConversion(work) && isGood;
        isGood = judgeFrames(work, frames) && isGood;
        isGood = judgeWhole(work, frames) && isGood;
    } catch (const std::exception& error) {
        std::filesystem::remove_all(folder);
        giveUp(error.what());
    }
    std::filesystem::remove_all(folder);
    return isGood ? 0 : 1;
}
