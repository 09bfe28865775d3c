#pragma once

// Writes one movie file: a video track, and a sound track if one is added. Encoding and writing happen on threads of
// the writer; its callers wait until an input is ready, so that neither track runs away from the other.
//
// Order of calls: make, addVideo, addAudio, startWriting, appends, markAsFinished on each input, finishWriting; or
// cancelWriting at any time. Each input is used by one thread, which may be another for each. A failure on the writer's
// threads ends the writing: status() is failed and error() says why.
//
// Frames come as blue, green, red, alpha bytes, or encoded already, out of another file. Video frame i is shown at i /
// fps, sample n is heard at n / 48000, and both begin at exactly 0; WebM keeps whole milliseconds. An MP4 or MOV file
// begins with its index ("fast start").

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/shader/ShaderAssembler.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct AVCodecParameters;
struct AVPacket;

namespace glasshob {

// MP4 and MOV hold H.264 or HEVC and AAC, WebM holds VP9 and Opus.
enum class MovieContainer : std::uint8_t { mp4, mov, webm };
enum class MovieEncoder : std::uint8_t { automatic, software, vaapi, nvenc };
enum class MovieQuality : std::uint8_t { fast, balanced, best };

struct VideoSettings {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t fps = 0;
    // Average bits in a second.
    std::int64_t bitrate = 0;
    // WebM has one of its own.
    VideoCodec codec = VideoCodec::h264;
    MovieEncoder encoder = MovieEncoder::automatic;
    MovieQuality quality = MovieQuality::balanced;
};

// 48,000 sample frames a second of two channels: AAC at 256 kbit/s, or Opus at 192 in WebM.
struct AudioSettings {
    static constexpr std::int64_t sampleRate = ShaderAssembler::soundSampleRate;
};

// A place of the movie that players list.
struct MovieChapter {
    // Seconds from the movie's start.
    double start = 0;
    double end = 0;
    std::string title;

    bool operator==(const MovieChapter&) const = default;
};

// A picture in memory, until `release` is called, which may happen on another thread.
struct MovieFrame {
    const std::byte* pixels = nullptr;
    std::size_t rowBytes = 0;
    std::function<void()> release;
};

// Pictures that are encoded already.
struct EncodedVideo {
    // Those of the stream that the packets come from.
    const AVCodecParameters* parameters = nullptr;
    std::int64_t fps = 0;
};

class MovieWriter;

class MovieInput {
  public:
    // "vide" or "soun".
    std::string_view mediaType() const;
    // Whether an append would be taken now.
    bool isReadyForMoreMediaData() const;
    void markAsFinished();

    struct Track;
    MovieInput(MovieWriter& writer, Track& track) : writer_(writer), track_(track) {}

  private:
    friend class MovieWriter;
    MovieWriter& writer_;
    Track& track_;
};

class MovieWriter {
  public:
    enum class Status : std::uint8_t { unknown, writing, completed, failed, cancelled };

    // Makes (or empties) the file. Fails with a sentence.
    static std::expected<std::unique_ptr<MovieWriter>, std::string>
    make(const std::string& path, MovieContainer container = MovieContainer::mp4);
    ~MovieWriter();
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    // Null when no encoder takes these settings; error() says why.
    MovieInput* addVideo(const VideoSettings& settings);
    MovieInput* addVideo(const EncodedVideo& video);
    MovieInput* addAudio(const AudioSettings& settings);
    // An entry of the file's metadata under a key of its own. Before startWriting().
    void describe(const std::string& key, const std::string& text);
    // In the order of time. Before startWriting(). False when there was no memory.
    bool addChapters(std::span<const MovieChapter> chapters);
    bool startWriting();

    // False when the writing has failed or ended. The pixels are read on a thread of the writer.
    bool append(MovieInput& video, MovieFrame frame);
    // An encoded picture in the order of decoding, its times in frames; the packet is empty afterwards. Written on the
    // calling thread.
    bool append(MovieInput& video, AVPacket& packet);
    // Interleaved left and right.
    bool append(MovieInput& audio, std::span<const float> samples);

    // Blocks until everything is encoded and in the file.
    bool finishWriting();
    void cancelWriting();
    // Makes a finishWriting() that is under way on another thread fail soon. Any thread.
    void interrupt();

    Status status() const;
    // Empty when nothing has failed.
    std::string error() const;

  private:
    friend class MovieInput;
    struct Impl;
    explicit MovieWriter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glasshob
