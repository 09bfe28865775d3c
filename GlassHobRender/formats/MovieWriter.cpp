#include "GlassHobRender/formats/MovieWriter.h"

#include "GlassHobRender/formats/FrameConverter.h"
#include "GlassHobRender/formats/MovieObjects.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace glasshob {

using namespace movielibrary;

namespace {

constexpr std::size_t framesWaiting = 3; // before the encoder; more only costs memory
constexpr double soundLead = 1;          // seconds that sound may run ahead of the picture
constexpr double pictureLead = 2;        // and the picture ahead of sound
constexpr std::size_t soundPiecesWaiting = 256;
constexpr std::int64_t reordering = 2; // frames that decoding runs ahead, with the software encoders' pyramids

std::string messageOf(int code) {
    if (code == AVERROR(ENOSPC) || code == AVERROR(EDQUOT))
        return "the disk is full, so make room or choose another place.";
    if (code == AVERROR(EFBIG)) return "the file has become larger than files may be there, so choose another place.";
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

constexpr std::int64_t aacBitrate = 256'000;
constexpr std::int64_t opusBitrate = 192'000;

const char* muxerName(MovieContainer container) {
    switch (container) {
    case MovieContainer::mp4: return "mp4";
    case MovieContainer::mov: return "mov";
    case MovieContainer::webm: return "webm";
    }
    return "";
}

const char* encoderName(MovieContainer container, VideoCodec codec, MovieEncoder encoder) {
    if (container == MovieContainer::webm) return "libvpx-vp9";
    const bool isHevc = codec == VideoCodec::hevc;
    switch (encoder) {
    case MovieEncoder::automatic:
    case MovieEncoder::software: return isHevc ? "libx265" : "libx264";
    case MovieEncoder::vaapi: return isHevc ? "hevc_vaapi" : "h264_vaapi";
    case MovieEncoder::nvenc: return isHevc ? "hevc_nvenc" : "h264_nvenc";
    }
    return "";
}

void setQuality(AVCodecContext& context, const VideoSettings& settings, MovieContainer container) {
    const auto pick = [&](const char* fast, const char* balanced, const char* best) {
        return settings.quality == MovieQuality::fast ? fast : settings.quality == MovieQuality::best ? best : balanced;
    };
    if (container == MovieContainer::webm) {
        av_opt_set(context.priv_data, "deadline", "good", 0);
        av_opt_set(context.priv_data, "cpu-used", pick("5", "3", "1"), 0);
        av_opt_set(context.priv_data, "row-mt", "1", 0); // several threads share a row of blocks
        return;
    }
    switch (settings.encoder) {
    case MovieEncoder::automatic:
    case MovieEncoder::software:
        av_opt_set(context.priv_data, "preset", pick("veryfast", "medium", "slow"), 0);
        // Groups of pictures stand alone, and nothing is told of the machine, so that parts of a movie can be joined.
        if (settings.codec == VideoCodec::hevc)
            av_opt_set(context.priv_data, "x265-params", "open-gop=0:info=0:log-level=error", 0);
        break;
    case MovieEncoder::nvenc: av_opt_set(context.priv_data, "preset", pick("p2", "p5", "p7"), 0); break;
    case MovieEncoder::vaapi: break;
    }
}

} // namespace

struct MovieInput::Track {
    bool isVideo = false;
    Context context;
    AVStream* stream = nullptr;
    AVRational timeBase = {0, 1};
    HardwareBuffer hardware;
    bool isFinished = false;
    // Whether decoding times are given here, a frame apart: libx265 leaves them unset in a movie of few frames.
    bool hasOwnTimes = false;
    std::int64_t encoded = 0;  // packets
    std::int64_t appended = 0; // frames or sample frames
    std::deque<MovieFrame> frames;
    std::deque<std::vector<float>> samples;
    std::jthread thread;
    std::unique_ptr<MovieInput> input;

    // Of what was appended.
    double seconds() const { return double(appended) * av_q2d(timeBase); }
};

struct MovieWriter::Impl {
    using Track = MovieInput::Track;

    AVFormatContext* format = nullptr;
    MovieContainer container = MovieContainer::mp4;
    VideoSettings video;
    Track picture, sound;

    mutable std::mutex lock; // of the rest, and of the tracks' queues
    std::condition_variable changed;
    Status status = Status::unknown;
    std::string error;
    std::mutex muxing;
    std::atomic<bool> isInterrupted = false;

    ~Impl() { close(); }

    bool isOpen() const { return status == Status::writing; }

    void fail(const std::string& text) {
        const std::lock_guard guard(lock);
        if (status == Status::failed || status == Status::cancelled) return;
        status = Status::failed;
        error = text;
        changed.notify_all();
    }

    // Ends the threads and closes the file as it is.
    void close() {
        {
            const std::lock_guard guard(lock);
            if (isOpen()) status = Status::cancelled;
            changed.notify_all();
        }
        isInterrupted = true;
        for (Track* track : {&picture, &sound}) {
            if (track->thread.joinable()) track->thread.join();
            for (MovieFrame& frame : track->frames)
                if (frame.release) frame.release();
            track->frames.clear();
        }
        if (format == nullptr) return;
        avio_closep(&format->pb);
        avformat_free_context(format);
        format = nullptr;
    }

    bool mux(Track& track, AVPacket* packet) {
        av_packet_rescale_ts(packet, track.timeBase, track.stream->time_base);
        packet->stream_index = track.stream->index;
        const std::lock_guard guard(muxing);
        const int result = isInterrupted ? AVERROR_EXIT : av_interleaved_write_frame(format, packet);
        if (result < 0) fail(messageOf(result));
        return result >= 0;
    }

    // Gives a frame (null: the end) to the encoder and what comes out to the file.
    bool encode(Track& track, const AVFrame* frame, const Packet& packet) {
        int result = avcodec_send_frame(track.context.get(), frame);
        while (result >= 0) {
            result = avcodec_receive_packet(track.context.get(), packet.get());
            if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
            if (result >= 0 && packet->duration == 0 && track.isVideo) packet->duration = 1;
            if (result >= 0 && track.hasOwnTimes) packet->dts = track.encoded++ - reordering;
            if (result >= 0 && !mux(track, packet.get())) return false;
        }
        fail(messageOf(result));
        return false;
    }

    static void fill(AVFrame& frame, const MovieFrame& from, int width, int height) {
        const FrameConverter::Planes planes{frame.data[0],
                                            std::size_t(frame.linesize[0]),
                                            frame.data[1],
                                            std::size_t(frame.linesize[1]),
                                            frame.format == AV_PIX_FMT_NV12 ? nullptr : frame.data[2],
                                            std::size_t(frame.linesize[2])};
        FrameConverter::convert(reinterpret_cast<const std::uint8_t*>(from.pixels), from.rowBytes, width, height,
                                planes);
        // Encoders take even sizes; the last column and row of an odd one are there twice.
        if (frame.width > width)
            for (int row = 0; row < height; ++row)
                planes.y[std::size_t(row) * planes.yStride + std::size_t(width)] =
                    planes.y[std::size_t(row) * planes.yStride + std::size_t(width) - 1];
        if (frame.height > height)
            std::copy_n(planes.y + std::size_t(height - 1) * planes.yStride, frame.width,
                        planes.y + std::size_t(height) * planes.yStride);
    }

    void encodePictures() {
        const Packet packet(av_packet_alloc());
        Frame frame;
        std::int64_t number = 0;
        while (true) {
            MovieFrame next;
            {
                std::unique_lock guard(lock);
                changed.wait(guard, [&] { return !picture.frames.empty() || picture.isFinished || !isOpen(); });
                if (!isOpen()) return;
                if (picture.frames.empty()) break;
                next = std::move(picture.frames.front());
                picture.frames.pop_front();
            }
            if (frame == nullptr || av_frame_is_writable(frame.get()) == 0) {
                frame.reset(av_frame_alloc());
                frame->format = picture.hardware != nullptr ? AV_PIX_FMT_NV12 : picture.context->pix_fmt;
                frame->width = picture.context->width;
                frame->height = picture.context->height;
                frame->color_range = AVCOL_RANGE_MPEG;
                if (av_frame_get_buffer(frame.get(), 0) < 0) {
                    next.release();
                    fail("there is no memory for a frame");
                    return;
                }
            }
            fill(*frame, next, int(video.width), int(video.height));
            next.release();
            frame->pts = number++;
            changed.notify_all();
            bool isGood = true;
            if (picture.hardware != nullptr) {
                const Frame uploaded(av_frame_alloc());
                const int got = av_hwframe_get_buffer(picture.context->hw_frames_ctx, uploaded.get(), 0);
                const int sent = got < 0 ? got : av_hwframe_transfer_data(uploaded.get(), frame.get(), 0);
                if (sent < 0) fail(messageOf(sent));
                uploaded->pts = frame->pts;
                isGood = sent >= 0 && encode(picture, uploaded.get(), packet);
            } else {
                isGood = encode(picture, frame.get(), packet);
            }
            if (!isGood) return;
        }
        encode(picture, nullptr, packet);
    }

    void encodeSound() {
        const Packet packet(av_packet_alloc());
        const int size = sound.context->frame_size;
        std::vector<float> waiting;
        std::int64_t position = 0;
        const auto send = [&](std::size_t count) {
            const Frame frame(av_frame_alloc());
            frame->format = sound.context->sample_fmt;
            frame->nb_samples = int(count);
            frame->sample_rate = sound.context->sample_rate;
            av_channel_layout_copy(&frame->ch_layout, &sound.context->ch_layout);
            if (av_frame_get_buffer(frame.get(), 0) < 0) {
                fail("there is no memory for sound");
                return false;
            }
            if (av_sample_fmt_is_planar(sound.context->sample_fmt) == 0)
                std::copy_n(waiting.data(), 2 * count, reinterpret_cast<float*>(frame->data[0]));
            for (std::size_t channel = 0; channel < 2 && av_sample_fmt_is_planar(sound.context->sample_fmt) != 0;
                 ++channel) {
                auto* plane = reinterpret_cast<float*>(frame->data[channel]);
                for (std::size_t i = 0; i < count; ++i)
                    plane[i] = waiting[2 * i + channel];
            }
            frame->pts = position;
            position += std::int64_t(count);
            waiting.erase(waiting.begin(), waiting.begin() + std::ptrdiff_t(2 * count));
            return encode(sound, frame.get(), packet);
        };
        while (true) {
            {
                std::unique_lock guard(lock);
                changed.wait(guard, [&] { return !sound.samples.empty() || sound.isFinished || !isOpen(); });
                if (!isOpen()) return;
                if (sound.samples.empty()) break;
                const std::vector<float>& next = sound.samples.front();
                waiting.insert(waiting.end(), next.begin(), next.end());
                sound.samples.pop_front();
            }
            while (waiting.size() >= std::size_t(2 * size))
                if (!send(std::size_t(size))) return;
        }
        if (!waiting.empty() && !send(waiting.size() / 2)) return;
        encode(sound, nullptr, packet);
    }

    bool open(Track& track, const AVCodec* codec) {
        track.context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        int result = avcodec_open2(track.context.get(), codec, nullptr);
        if (result >= 0) track.stream = avformat_new_stream(format, nullptr);
        if (result >= 0 && track.stream == nullptr) result = AVERROR(ENOMEM);
        if (result >= 0) result = avcodec_parameters_from_context(track.stream->codecpar, track.context.get());
        if (result < 0) {
            error = std::string(codec->name) + ": " + messageOf(result);
            track.context.reset();
            return false;
        }
        track.timeBase = track.stream->time_base = track.context->time_base;
        return true;
    }

    bool openHardware(const char* name) {
        AVBufferRef* device = nullptr;
        int result = av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_VAAPI, nullptr, nullptr, 0);
        picture.hardware.reset(device);
        if (result >= 0) {
            const HardwareBuffer frames(av_hwframe_ctx_alloc(device));
            if (frames == nullptr) return false;
            auto* description = reinterpret_cast<AVHWFramesContext*>(frames->data);
            description->format = AV_PIX_FMT_VAAPI;
            description->sw_format = AV_PIX_FMT_NV12;
            description->width = picture.context->width;
            description->height = picture.context->height;
            description->initial_pool_size = 20;
            result = av_hwframe_ctx_init(frames.get());
            picture.context->pix_fmt = AV_PIX_FMT_VAAPI;
            picture.context->hw_frames_ctx = av_buffer_ref(frames.get());
        }
        if (result < 0) error = std::string(name) + ": " + messageOf(result);
        return result >= 0;
    }
};

std::expected<std::unique_ptr<MovieWriter>, std::string> MovieWriter::make(const std::string& path,
                                                                           MovieContainer container) {
    if (const auto loaded = loadMovieLibrary(); !loaded) return std::unexpected(loaded.error());
    auto impl = std::make_unique<Impl>();
    impl->container = container;
    // Without the protocol's name a colon in the path would be taken for the end of one.
    const std::string address = "file:" + path;
    int result = avformat_alloc_output_context2(&impl->format, nullptr, muxerName(container), address.c_str());
    if (result >= 0) {
        AVIOInterruptCB& interrupted = impl->format->interrupt_callback;
        interrupted.opaque = impl.get();
        interrupted.callback = [](void* of) { return int(static_cast<Impl*>(of)->isInterrupted); };
        result = avio_open2(&impl->format->pb, address.c_str(), AVIO_FLAG_WRITE, &interrupted, nullptr);
    }
    if (result < 0)
        return std::unexpected("The file \"" + path + "\" could not be written: " + messageOf(result) + ".");
    return std::unique_ptr<MovieWriter>(new MovieWriter(std::move(impl)));
}

MovieWriter::MovieWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MovieWriter::~MovieWriter() = default;

MovieInput* MovieWriter::addVideo(const VideoSettings& settings) {
    impl_->video = settings;
    const char* name = encoderName(impl_->container, settings.codec, settings.encoder);
    const AVCodec* codec = avcodec_find_encoder_by_name(name);
    if (codec == nullptr) {
        impl_->error = std::string("there is no encoder \"") + name + "\" here";
        return nullptr;
    }
    MovieInput::Track& track = impl_->picture;
    track.isVideo = true;
    track.context.reset(avcodec_alloc_context3(codec));
    AVCodecContext& context = *track.context;
    context.width = int(settings.width + settings.width % 2);
    context.height = int(settings.height + settings.height % 2);
    context.time_base = {1, int(settings.fps)};
    context.framerate = {int(settings.fps), 1};
    context.bit_rate = settings.bitrate;
    context.gop_size = int(2 * settings.fps);
    context.thread_count = 0; // as many as suit the machine; one otherwise
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.colorspace = AVCOL_SPC_BT709;
    context.color_range = AVCOL_RANGE_MPEG;
    context.chroma_sample_location = AVCHROMA_LOC_LEFT;
    const bool isWebm = impl_->container == MovieContainer::webm;
    const bool takesPlanes = isWebm || std::string_view(name) == "libx265";
    context.pix_fmt = takesPlanes ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_NV12;
    if (settings.codec == VideoCodec::hevc && !isWebm) {
        context.profile = FF_PROFILE_HEVC_MAIN;
        context.codec_tag = MKTAG('h', 'v', 'c', '1');
    }
    setQuality(context, settings, impl_->container);
    const bool isSoftware = settings.encoder == MovieEncoder::automatic || settings.encoder == MovieEncoder::software;
    track.hasOwnTimes = isSoftware && !isWebm;
    if (!isWebm && settings.encoder == MovieEncoder::vaapi && !impl_->openHardware(name)) return nullptr;
    if (!impl_->open(track, codec)) return nullptr;
    track.stream->avg_frame_rate = context.framerate;
    track.input = std::make_unique<MovieInput>(*this, track);
    return track.input.get();
}

MovieInput* MovieWriter::addVideo(const EncodedVideo& video) {
    MovieInput::Track& track = impl_->picture;
    track.isVideo = true;
    track.stream = avformat_new_stream(impl_->format, nullptr);
    if (track.stream == nullptr || avcodec_parameters_copy(track.stream->codecpar, video.parameters) < 0) {
        impl_->error = "there is no memory for a track";
        return nullptr;
    }
    track.timeBase = track.stream->time_base = {1, int(video.fps)};
    track.stream->avg_frame_rate = {int(video.fps), 1};
    track.input = std::make_unique<MovieInput>(*this, track);
    return track.input.get();
}

MovieInput* MovieWriter::addAudio(const AudioSettings&) {
    const bool isWebm = impl_->container == MovieContainer::webm;
    const AVCodec* codec = isWebm ? avcodec_find_encoder_by_name("libopus") : avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) {
        impl_->error = isWebm ? "there is no Opus encoder here" : "there is no AAC encoder here";
        return nullptr;
    }
    MovieInput::Track& track = impl_->sound;
    track.context.reset(avcodec_alloc_context3(codec));
    AVCodecContext& context = *track.context;
    context.sample_fmt = isWebm ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_FLTP;
    context.sample_rate = int(AudioSettings::sampleRate);
    context.bit_rate = isWebm ? opusBitrate : aacBitrate;
    context.time_base = {1, int(AudioSettings::sampleRate)};
    av_channel_layout_default(&context.ch_layout, 2);
    if (!impl_->open(track, codec)) return nullptr;
    track.input = std::make_unique<MovieInput>(*this, track);
    return track.input.get();
}

void MovieWriter::describe(const std::string& key, const std::string& text) {
    av_dict_set(&impl_->format->metadata, key.c_str(), text.c_str(), 0);
}

bool MovieWriter::addChapters(std::span<const MovieChapter> chapters) {
    AVFormatContext& format = *impl_->format;
    constexpr int rate = AudioSettings::sampleRate; // of which frames are whole numbers
    if (chapters.empty()) return true;
    format.chapters = static_cast<AVChapter**>(av_mallocz(chapters.size() * sizeof(AVChapter*)));
    if (format.chapters == nullptr) return false;
    for (const MovieChapter& chapter : chapters) {
        auto* made = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (made == nullptr) return false;
        made->id = std::int64_t(format.nb_chapters) + 1;
        made->time_base = {1, rate};
        made->start = std::llround(chapter.start * rate);
        made->end = std::llround(chapter.end * rate);
        av_dict_set(&made->metadata, "title", chapter.title.c_str(), 0);
        format.chapters[format.nb_chapters++] = made;
    }
    return true;
}

bool MovieWriter::startWriting() {
    AVDictionary* options = nullptr;
    // Opus begins a little before 0, which the container has a field for; the pictures stay at 0.
    if (impl_->container == MovieContainer::webm) impl_->format->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    const bool isDescribed = impl_->format->metadata != nullptr;
    if (impl_->container != MovieContainer::webm)
        av_dict_set(&options, "movflags", isDescribed ? "+faststart+use_metadata_tags" : "+faststart", 0);
    const int result = avformat_write_header(impl_->format, &options);
    av_dict_free(&options);
    if (result < 0) {
        impl_->fail(messageOf(result));
        return false;
    }
    impl_->status = Status::writing;
    if (impl_->picture.context != nullptr)
        impl_->picture.thread = std::jthread([impl = impl_.get()] { impl->encodePictures(); });
    if (impl_->sound.context != nullptr)
        impl_->sound.thread = std::jthread([impl = impl_.get()] { impl->encodeSound(); });
    return true;
}

bool MovieWriter::append(MovieInput& video, MovieFrame frame) {
    const std::lock_guard guard(impl_->lock);
    MovieInput::Track& track = video.track_;
    if (!impl_->isOpen() || track.isFinished) return false;
    track.frames.push_back(std::move(frame));
    ++track.appended;
    impl_->changed.notify_all();
    return true;
}

bool MovieWriter::append(MovieInput& video, AVPacket& packet) {
    MovieInput::Track& track = video.track_;
    {
        const std::lock_guard guard(impl_->lock);
        if (!impl_->isOpen() || track.isFinished) return false;
    }
    if (!impl_->mux(track, &packet)) return false;
    const std::lock_guard guard(impl_->lock);
    ++track.appended;
    return true;
}

bool MovieWriter::append(MovieInput& audio, std::span<const float> samples) {
    const std::lock_guard guard(impl_->lock);
    MovieInput::Track& track = audio.track_;
    if (!impl_->isOpen() || track.isFinished) return false;
    track.samples.emplace_back(samples.begin(), samples.end());
    track.appended += std::int64_t(samples.size() / 2);
    impl_->changed.notify_all();
    return true;
}

bool MovieWriter::finishWriting() {
    for (MovieInput::Track* track : {&impl_->picture, &impl_->sound}) {
        {
            const std::lock_guard guard(impl_->lock);
            track->isFinished = true;
            impl_->changed.notify_all();
        }
        if (track->thread.joinable()) track->thread.join();
    }
    if (status() != Status::writing) return false;
    int result = av_write_trailer(impl_->format);
    if (result >= 0) result = impl_->format->pb->error;
    if (result >= 0) result = avio_closep(&impl_->format->pb);
    if (result < 0) {
        impl_->fail(messageOf(result));
        return false;
    }
    const std::lock_guard guard(impl_->lock);
    impl_->status = Status::completed;
    return true;
}

void MovieWriter::cancelWriting() {
    impl_->close();
}

void MovieWriter::interrupt() {
    impl_->isInterrupted = true;
}

MovieWriter::Status MovieWriter::status() const {
    const std::lock_guard guard(impl_->lock);
    return impl_->status;
}

std::string MovieWriter::error() const {
    const std::lock_guard guard(impl_->lock);
    return impl_->error;
}

std::string_view MovieInput::mediaType() const {
    return track_.isVideo ? "vide" : "soun";
}

bool MovieInput::isReadyForMoreMediaData() const {
    const MovieWriter::Impl& impl = *writer_.impl_;
    const std::lock_guard guard(impl.lock);
    if (!impl.isOpen() || track_.isFinished) return false;
    const Track& other = track_.isVideo ? impl.sound : impl.picture;
    const double lead = track_.isVideo ? pictureLead : soundLead;
    const bool isAhead = other.input != nullptr && !other.isFinished && track_.seconds() > other.seconds() + lead;
    const bool hasRoom =
        track_.isVideo ? track_.frames.size() < framesWaiting : track_.samples.size() < soundPiecesWaiting;
    return hasRoom && !isAhead;
}

void MovieInput::markAsFinished() {
    const std::lock_guard guard(writer_.impl_->lock);
    track_.isFinished = true;
    writer_.impl_->changed.notify_all();
}

} // namespace glasshob
