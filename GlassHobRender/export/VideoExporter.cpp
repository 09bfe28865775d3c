#include "GlassHobRender/export/VideoExporter.h"

#include "GPU/Texture.h"
#include "GlassHobRender/export/ExportFeed.h"
#include "GlassHobRender/export/ExportSound.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/export/FramePool.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace glasshob {

namespace {

constexpr std::chrono::milliseconds previewInterval{250};

class Export {
  public:
    Export(const std::vector<ExportSegment>& segments, const ExportPreset& preset, const MoviePart* part,
           const std::shared_ptr<gpu::Device>& device, const std::string& path, const VideoExporter::Progress& progress,
           const VideoExporter::Encoding& encoding, const std::stop_token& stop, const VideoExporter::Preview& preview)
        : preset_(preset), path_(path), progress_(progress), stop_(stop), preview_(preview),
          pool_(device, preset.width, preset.height) {
        setUp(segments, part, device, encoding);
    }

    // Whatever ends the export before it is whole takes the file along.
    ~Export() {
        feed_.reset();
        if (writer_ == nullptr || writer_->status() == MovieWriter::Status::completed) return;
        writer_->cancelWriting();
        unlink(path_.c_str());
    }
    Export(const Export&) = delete;
    Export& operator=(const Export&) = delete;

    void run() {
        start();
        if (soundInput_ != nullptr) feed_->startSound(*soundInput_, *sound_, end_);
        writePictures();
        if (auto failure = feed_->finish(*video_)) throw std::move(*failure);
        (void)progress_(total(), total());
    }

  private:
    std::int64_t total() const { return end_ - first_; }

    void setUp(const std::vector<ExportSegment>& segments, const MoviePart* part,
               const std::shared_ptr<gpu::Device>& device, const VideoExporter::Encoding& encoding) {
        if (segments.empty()) throw ExportError::setup("nothing to export");
        if (preset_.fps <= 0 || ExportSound::sampleRate % preset_.fps != 0)
            throw ExportError::setup(std::to_string(preset_.fps) + " fps does not divide the audio rate");
        timeline_ = ExportTimeline(segments, preset_.fps);
        end_ = timeline_.frameCount();
        if (part != nullptr) {
            if (part->first < 0 || part->first >= part->end || part->end > end_)
                throw ExportError::setup("the part's frames are not in the whole");
            first_ = part->first;
            end_ = part->end;
            description_ = part->toText();
        }
        drawer_.emplace(timeline_, preset_, device, stop_);
        if (part == nullptr && timeline_.hasSound()) sound_.emplace(timeline_, device);
        settings_ = {.width = preset_.width,
                     .height = preset_.height,
                     .fps = preset_.fps,
                     .bitrate = preset_.bitrate,
                     .codec = preset_.codec,
                     .encoder = encoding.encoder,
                     .quality = encoding.quality};
    }

    // From here on there is a file.
    void start() {
        unlink(path_.c_str()); // which spares a folder
        auto writer = MovieWriter::make(path_);
        if (!writer) throw std::runtime_error(writer.error());
        writer_ = std::move(*writer);
        feed_.emplace(*writer_, stop_);
        video_ = writer_->addVideo(settings_);
        if (video_ == nullptr) throw ExportError::setup("the writer rejected the video settings");
        if (sound_) soundInput_ = writer_->addAudio({});
        if (sound_ && soundInput_ == nullptr) throw ExportError::setup("the writer rejected the audio settings");
        if (!description_.empty()) writer_->describe(MoviePart::metadataKey, description_);
        if (!writer_->startWriting())
            throw ExportError::writer(writer_->error().empty() ? "startWriting" : writer_->error());
    }

    void writePictures() {
        for (std::int64_t i = 0; i < total(); ++i) {
            if (feed_->hasFailed()) return;
            if (!progress_(i, total()) || stop_.stop_requested()) {
                feed_->record(ExportError::cancelled());
                return;
            }
            if (!feed_->waitFor(*video_)) return;
            auto texture = pool_.take([this] { return feed_->hasFailed(); });
            if (texture == nullptr) {
                feed_->record(ExportError::setup("could not get a pixel buffer"));
                return;
            }
            const std::int64_t frame = first_ + i;
            if (auto drawn = drawer_->draw(frame, texture); !drawn) {
                feed_->record(drawn.error());
                return;
            }
            show(i, *texture);
            MovieFrame picture{texture->contents(), texture->rowBytes(), {}};
            picture.release = [this, held = std::move(texture)]() mutable { pool_.giveBack(std::move(held)); };
            if (!writer_->append(*video_, std::move(picture))) {
                feed_->recordWriter("append failed at frame " + std::to_string(frame));
                return;
            }
        }
    }

    void show(std::int64_t frame, const gpu::Texture& texture) {
        if (!preview_) return;
        const auto now = std::chrono::steady_clock::now();
        if (frame != 0 && frame != total() - 1 && now - lastShown_ < previewInterval) return;
        lastShown_ = now;
        preview_(texture.contents(), texture.rowBytes());
    }

    const ExportPreset& preset_;
    const std::string& path_;
    const VideoExporter::Progress& progress_;
    const std::stop_token& stop_;
    const VideoExporter::Preview& preview_;
    std::chrono::steady_clock::time_point lastShown_;
    ExportTimeline timeline_;
    std::int64_t first_ = 0;
    std::int64_t end_ = 0;
    std::string description_;
    VideoSettings settings_;
    std::optional<FrameDrawer> drawer_;
    std::optional<ExportSound> sound_;
    FramePool pool_; // outlives the writer, whose frames go back to it
    std::unique_ptr<MovieWriter> writer_;
    MovieInput* video_ = nullptr;
    MovieInput* soundInput_ = nullptr;
    std::optional<ExportFeed> feed_;
};

} // namespace

namespace VideoExporter {

void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding, const std::stop_token& stop, const Preview& preview) {
    Export(segments, preset, nullptr, device, path, progress, encoding, stop, preview).run();
}

void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding,
                 const std::stop_token& stop, const Preview& preview) {
    exportMovie({ExportSegment(program, values, plan.start, plan.duration, watermark, true)}, plan.preset, device, path,
                progress, encoding, stop, preview);
}

void exportPart(const std::shared_ptr<const ShaderProgram>& program, const MoviePart& part,
                const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                const Encoding& encoding, const std::stop_token& stop, const Preview& preview) {
    const ExportPlan& plan = part.plan;
    Export({ExportSegment(program, part.values, plan.start, plan.duration, part.hasMark, false)}, plan.preset, &part,
           device, path, progress, encoding, stop, preview)
        .run();
}

} // namespace VideoExporter
} // namespace glasshob
