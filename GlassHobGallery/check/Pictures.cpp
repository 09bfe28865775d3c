#include "GlassHobGallery/check/Pictures.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace glasshob::gallery {

namespace {

constexpr int smallWidth = 640, smallHeight = 360;
constexpr int longestSide = 1920;
constexpr double longest = 20;
constexpr int mostFrames = 1300;

template <auto Free>
struct Freeing {
    template <class Value>
    void operator()(Value* value) const {
        Free(&value);
    }
};
using Codec = std::unique_ptr<AVCodecContext, Freeing<avcodec_free_context>>;
using Frame = std::unique_ptr<AVFrame, Freeing<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Freeing<av_packet_free>>;
struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, FreeScaler>;

// The bytes as FFmpeg reads a file.
class Input {
  public:
    explicit Input(std::string_view bytes) : bytes_(bytes) {
        constexpr int size = 1 << 16;
        io_ = avio_alloc_context(static_cast<unsigned char*>(av_malloc(size)), size, 0, this, &Input::read, nullptr,
                                 &Input::seek);
        format_ = avformat_alloc_context();
        format_->pb = io_;
        format_->flags |= AVFMT_FLAG_CUSTOM_IO;
        format_->max_streams = 4;
        format_->format_whitelist = av_strdup("mov,mp4,m4a,3gp,3g2,mj2");
        format_->codec_whitelist = av_strdup("h264,aac");
    }
    ~Input() {
        avformat_close_input(&format_);
        av_freep(&io_->buffer);
        avio_context_free(&io_);
    }
    Input(const Input&) = delete;

    bool open() {
        return avformat_open_input(&format_, "", av_find_input_format("mp4"), nullptr) == 0 &&
               avformat_find_stream_info(format_, nullptr) >= 0;
    }
    AVFormatContext* operator->() const { return format_; }
    AVFormatContext* get() const { return format_; }

  private:
    static int read(void* self, std::uint8_t* into, int size) {
        auto& input = *static_cast<Input*>(self);
        const auto count = std::min(std::int64_t(size), std::int64_t(input.bytes_.size()) - input.at_);
        if (count <= 0) return AVERROR_EOF;
        std::memcpy(into, input.bytes_.data() + input.at_, std::size_t(count));
        input.at_ += count;
        return int(count);
    }
    static std::int64_t seek(void* self, std::int64_t offset, int whence) {
        auto& input = *static_cast<Input*>(self);
        const auto size = std::int64_t(input.bytes_.size());
        if (whence & AVSEEK_SIZE) return size;
        const std::int64_t from = (whence & 3) == SEEK_CUR ? input.at_ : (whence & 3) == SEEK_END ? size : 0;
        if (from + offset < 0 || from + offset > size) return AVERROR(EINVAL);
        return input.at_ = from + offset;
    }

    std::string_view bytes_;
    std::int64_t at_ = 0;
    AVIOContext* io_ = nullptr;
    AVFormatContext* format_ = nullptr;
};

Codec decoderFor(const AVCodecParameters* parameters) {
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    Codec decoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder || avcodec_parameters_to_context(decoder.get(), parameters) < 0) return {};
    decoder->thread_count = 1; // there is no right to start another
    decoder->max_pixels = std::int64_t(4096) * 4096;
    decoder->err_recognition |= AV_EF_EXPLODE;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return {};
    return decoder;
}

// The size in which a picture fits the small one, even and without being enlarged.
std::pair<int, int> smallSize(int width, int height) {
    const double scale = std::min({1.0, double(smallWidth) / width, double(smallHeight) / height});
    const auto even = [](double value) { return std::max(2, int(value / 2 + 0.5) * 2); };
    return {even(width * scale), even(height * scale)};
}

// The frame in another size, as 4:2:0.
class Shrinker {
  public:
    Frame shrink(const AVFrame& frame, int width, int height, AVPixelFormat format) {
        scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height, AVPixelFormat(frame.format),
                                           width, height, format, SWS_AREA, nullptr, nullptr, nullptr));
        Frame made(av_frame_alloc());
        made->width = width;
        made->height = height;
        made->format = format;
        if (!scaler_ || av_frame_get_buffer(made.get(), 0) < 0) return {};
        if (sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, made->data, made->linesize) != height)
            return {};
        return made;
    }

  private:
    Scaler scaler_;
};

// Writes the small film into memory, its index in front.
class SmallMovie {
  public:
    ~SmallMovie() {
        if (format_ && format_->pb) {
            std::uint8_t* rest = nullptr;
            avio_close_dyn_buf(std::exchange(format_->pb, nullptr), &rest);
            av_free(rest);
        }
        avformat_free_context(format_);
    }

    bool begin(const AVCodecParameters& film, int width, int height, AVRational timeBase, AVRational rate) {
        const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
        if (!codec || avformat_alloc_output_context2(&format_, nullptr, "mp4", nullptr) < 0) return false;
        encoder_.reset(avcodec_alloc_context3(codec));
        encoder_->width = width;
        encoder_->height = height;
        encoder_->pix_fmt = AV_PIX_FMT_YUV420P;
        encoder_->time_base = timeBase;
        encoder_->framerate = rate;
        encoder_->thread_count = 1;
        encoder_->gop_size = 120;
        encoder_->max_b_frames = 2;
        encoder_->color_range = film.color_range;
        encoder_->colorspace = film.color_space;
        encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        av_opt_set(encoder_->priv_data, "preset", "veryfast", 0);
        av_opt_set(encoder_->priv_data, "crf", "31", 0);
        if (avcodec_open2(encoder_.get(), codec, nullptr) < 0) return false;
        AVStream* stream = avformat_new_stream(format_, nullptr);
        if (!stream || avcodec_parameters_from_context(stream->codecpar, encoder_.get()) < 0) return false;
        stream->time_base = timeBase;
        if (avio_open_dyn_buf(&format_->pb) < 0) return false;
        // Room for the index, so that playing begins before the end is there.
        AVDictionary* options = nullptr;
        av_dict_set_int(&options, "moov_size", 4096 + 40 * mostFrames, 0);
        const bool isGood = avformat_write_header(format_, &options) >= 0;
        av_dict_free(&options);
        return isGood;
    }
    // Nothing ends it.
    bool add(const AVFrame* frame) {
        if (avcodec_send_frame(encoder_.get(), frame) < 0) return false;
        const Packet packet(av_packet_alloc());
        while (avcodec_receive_packet(encoder_.get(), packet.get()) == 0) {
            av_packet_rescale_ts(packet.get(), encoder_->time_base, format_->streams[0]->time_base);
            packet->stream_index = 0;
            if (av_interleaved_write_frame(format_, packet.get()) < 0) return false;
        }
        return true;
    }
    std::string end() {
        if (!add(nullptr) || av_write_trailer(format_) < 0) return {};
        std::uint8_t* bytes = nullptr;
        const int size = avio_close_dyn_buf(std::exchange(format_->pb, nullptr), &bytes);
        std::string made(reinterpret_cast<char*>(bytes), std::size_t(std::max(size, 0)));
        av_free(bytes);
        return made;
    }

  private:
    AVFormatContext* format_ = nullptr;
    Codec encoder_;
};

std::string smallPicture(const AVFrame& frame) {
    const auto [width, height] = smallSize(frame.width, frame.height);
    Shrinker shrinker;
    const Frame small = shrinker.shrink(frame, width, height, AV_PIX_FMT_YUVJ420P);
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const Codec encoder(avcodec_alloc_context3(codec));
    if (!small || !encoder) return {};
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUVJ420P;
    encoder->time_base = {1, 25};
    encoder->thread_count = 1;
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA * 4;
    const Packet packet(av_packet_alloc());
    small->quality = encoder->global_quality;
    if (avcodec_open2(encoder.get(), codec, nullptr) < 0 || avcodec_send_frame(encoder.get(), small.get()) < 0 ||
        avcodec_receive_packet(encoder.get(), packet.get()) < 0)
        return {};
    return {reinterpret_cast<char*>(packet->data), std::size_t(packet->size)};
}

} // namespace

std::expected<MovieFacts, std::string> readMovie(std::string_view bytes) {
    const auto refused = [](const char* sentence) { return std::unexpected(std::string(sentence)); };
    constexpr const char* broken = "The loop cannot be read: it is damaged, or not an H.264 film in an MP4 file.";
    av_log_set_level(AV_LOG_QUIET);
    Input input(bytes);
    if (!input.open()) return refused(broken);
    MovieFacts facts;
    int film = -1, sound = -1;
    for (int i = 0; i < int(input->nb_streams); ++i) {
        const AVCodecParameters& stream = *input->streams[i]->codecpar;
        if (stream.codec_id == AV_CODEC_ID_H264 && film < 0)
            film = i;
        else if (stream.codec_id == AV_CODEC_ID_AAC && sound < 0)
            sound = i;
        else
            return refused("The loop may hold one H.264 film and one AAC sound track, and nothing else.");
    }
    if (film < 0) return refused(broken);
    AVStream& stream = *input->streams[film];
    facts.width = stream.codecpar->width;
    facts.height = stream.codecpar->height;
    facts.hasSound = sound >= 0;
    if (facts.width < 64 || facts.height < 36 || facts.width > longestSide || facts.height > longestSide)
        return refused("The loop must be 64 to 1920 pixels wide and 36 to 1920 high.");
    const Codec decoder = decoderFor(stream.codecpar);
    const Codec hearing = sound >= 0 ? decoderFor(input->streams[sound]->codecpar) : nullptr;
    if (!decoder || (sound >= 0 && !hearing)) return refused(broken);

    const auto [width, height] = smallSize(facts.width, facts.height);
    const AVRational rate = av_guess_frame_rate(input.get(), &stream, nullptr);
    SmallMovie small;
    if (!small.begin(*stream.codecpar, width, height, stream.time_base, rate))
        return refused("The gallery cannot make the small loop.");
    Shrinker shrinker;
    const Frame frame(av_frame_alloc());
    const Packet packet(av_packet_alloc());
    int frames = 0;
    std::int64_t first = 0, last = -1;
    const auto takeFrames = [&]() -> const char* {
        while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
            if (frame->width != facts.width || frame->height != facts.height) return broken;
            const std::int64_t time = frame->best_effort_timestamp;
            if (time == AV_NOPTS_VALUE || (frames > 0 && time <= last)) return broken;
            if (frames++ == 0) first = time;
            last = time;
            facts.seconds = double(time - first) * av_q2d(stream.time_base);
            if (facts.seconds > longest || frames > mostFrames) return "The loop is over 20 seconds or 1300 frames.";
            const Frame shrunk = shrinker.shrink(*frame, width, height, AV_PIX_FMT_YUV420P);
            if (!shrunk) return broken;
            shrunk->pts = time - first;
            if (!small.add(shrunk.get())) return "The gallery cannot make the small loop.";
        }
        return nullptr;
    };
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        const bool isFilm = packet->stream_index == film;
        AVCodecContext* reader = isFilm ? decoder.get() : hearing.get();
        const int sent = reader ? avcodec_send_packet(reader, packet.get()) : 0;
        av_packet_unref(packet.get());
        if (sent < 0) return refused(broken);
        if (isFilm) {
            if (const char* sentence = takeFrames()) return refused(sentence);
        } else if (reader) {
            while (avcodec_receive_frame(reader, frame.get()) == 0) {
            }
        }
    }
    if (input->pb->error < 0) return refused(broken);
    avcodec_send_packet(decoder.get(), nullptr);
    if (const char* sentence = takeFrames()) return refused(sentence);
    if (frames == 0 || (stream.nb_frames > 0 && frames < stream.nb_frames)) return refused(broken);
    facts.small = small.end();
    if (facts.small.empty()) return refused("The gallery cannot make the small loop.");
    return facts;
}

std::expected<PictureFacts, std::string> readPicture(std::string_view bytes) {
    const auto broken = std::unexpected(std::string("The thumbnail cannot be read: it is damaged, or not a JPEG."));
    av_log_set_level(AV_LOG_QUIET);
    AVCodecParameters* parameters = avcodec_parameters_alloc();
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = AV_CODEC_ID_MJPEG;
    const Codec decoder = decoderFor(parameters);
    avcodec_parameters_free(&parameters);
    const Packet packet(av_packet_alloc());
    // A picture that stops early is shown in part by many readers: its last marker must be there.
    if (!decoder || bytes.size() < 4 || !bytes.ends_with("\xFF\xD9") ||
        av_new_packet(packet.get(), int(bytes.size())) < 0)
        return broken;
    std::memcpy(packet->data, bytes.data(), bytes.size());
    const Frame frame(av_frame_alloc());
    if (avcodec_send_packet(decoder.get(), packet.get()) < 0 || avcodec_receive_frame(decoder.get(), frame.get()) < 0 ||
        frame->decode_error_flags != 0)
        return broken;
    if (frame->width < 64 || frame->height < 64 || frame->width > 4096 || frame->height > 4096)
        return std::unexpected(std::string("The thumbnail must be 64 to 4096 pixels wide and high."));
    PictureFacts facts{frame->width, frame->height, smallPicture(*frame)};
    if (facts.small.empty()) return broken;
    return facts;
}

} // namespace glasshob::gallery
