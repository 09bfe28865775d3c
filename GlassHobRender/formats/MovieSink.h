#pragma once

// A movie file as a sink: waits until an input of the writer takes more, and turns the writer's words into the errors
// of exports. Pictures come drawn, or encoded already; sound from another thread. A movie that is not finished is
// removed.

#include "GlassHobRender/formats/FrameSink.h"
#include "GlassHobRender/formats/MovieWriter.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace glasshob {

struct MovieSettings {
    MovieContainer container = MovieContainer::mp4;
    std::variant<VideoSettings, EncodedVideo> video;
    // Whether there is a sound track.
    bool hasSound = false;
    std::vector<MovieChapter> chapters = {};
    // An entry of the file's metadata; none where the key is empty. Such a file gets a checksum (FileChecksum.h).
    std::string descriptionKey = {};
    std::string description = {};
};

class MovieSink : public FrameSink {
  public:
    // Touches nothing before start(), which replaces a file that is there.
    MovieSink(std::string path, MovieSettings settings);
    ~MovieSink() override;
    MovieSink(const MovieSink&) = delete;
    MovieSink& operator=(const MovieSink&) = delete;

    unsigned framesAhead() const override { return 4; } // encoders take frames by fits and starts
    bool takesSound() const override { return settings_.hasSound; }
    std::expected<void, ExportError> start() override;
    std::expected<void, ExportError> write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                           const std::stop_token& stop) override;
    // A picture that is encoded already, as MovieWriter takes it.
    std::expected<void, ExportError> write(std::int64_t number, AVPacket& packet, const std::stop_token& stop);
    std::expected<void, ExportError> writeSound(std::span<const float> samples, const std::stop_token& stop) override;
    void endSound() override;
    std::expected<void, ExportError> finish(const std::stop_token& stop) override;

  private:
    std::expected<void, ExportError> waitFor(const MovieInput& input, const std::stop_token& stop);
    // The writer's own words, or these where it has none.
    ExportError writerError(const std::string& otherwise) const;

    std::string path_;
    MovieSettings settings_;
    std::unique_ptr<MovieWriter> writer_;
    MovieInput* video_ = nullptr;
    MovieInput* sound_ = nullptr;
    std::int64_t soundPieces_ = 0;
};

} // namespace glasshob
