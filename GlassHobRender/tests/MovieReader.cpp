#include "GlassHobRender/tests/MovieReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <fstream>

namespace glasshob::testing {

namespace {

std::vector<std::uint8_t> plane(const AVFrame& frame, int index, int width, int height) {
    std::vector<std::uint8_t> out;
    for (int row = 0; row < height; ++row)
        out.insert(out.end(), frame.data[index] + row * frame.linesize[index],
                   frame.data[index] + row * frame.linesize[index] + width);
    return out;
}

void take(ReadMovie& movie, const AVFrame& frame, const AVStream& stream) {
    const double time = double(frame.best_effort_timestamp) * av_q2d(stream.time_base);
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
        const int w = frame.width;
        const int h = frame.height;
        if (frame.format == AV_PIX_FMT_BGRA) {
            movie.pictures.push_back({time, true, w, h, {}, {}, {}, plane(frame, 0, 4 * w, h)});
            return;
        }
        movie.pictures.push_back({time,
                                  frame.key_frame != 0,
                                  w,
                                  h,
                                  plane(frame, 0, w, h),
                                  plane(frame, 1, (w + 1) / 2, (h + 1) / 2),
                                  plane(frame, 2, (w + 1) / 2, (h + 1) / 2),
                                  {}});
        movie.primaries = frame.color_primaries;
        movie.transfer = frame.color_trc;
        movie.matrix = frame.colorspace;
        movie.range = frame.color_range;
        return;
    }
    if (movie.left.empty()) movie.soundStart = time;
    const auto* left = reinterpret_cast<const float*>(frame.data[0]);
    const auto* right = reinterpret_cast<const float*>(frame.data[1]);
    movie.left.insert(movie.left.end(), left, left + frame.nb_samples);
    movie.right.insert(movie.right.end(), right, right + frame.nb_samples);
}

} // namespace

ReadMovie::Picture::Color ReadMovie::Picture::at(int x, int y_) const {
    const double luma = (y[std::size_t(y_ * width + x)] - 16.0) / 219;
    const auto chroma = std::size_t((y_ / 2) * ((width + 1) / 2) + x / 2);
    const double blue = (u[chroma] - 128.0) / 224;
    const double red = (v[chroma] - 128.0) / 224;
    const auto byte = [](double value) { return std::clamp(value * 255, 0.0, 255.0); };
    return {byte(luma + 1.5748 * red), byte(luma - 0.1873 * blue - 0.4681 * red), byte(luma + 1.8556 * blue)};
}

ReadMovie readMovie(const std::string& path) {
    ReadMovie movie;
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0 ||
        avformat_find_stream_info(format, nullptr) < 0) {
        movie.error = "the file cannot be opened";
        avformat_close_input(&format);
        return movie;
    }
    std::vector<AVCodecContext*> decoders;
    for (unsigned i = 0; i < format->nb_chapters; ++i) {
        const AVChapter& chapter = *format->chapters[i];
        const AVDictionaryEntry* title = av_dict_get(chapter.metadata, "title", nullptr, 0);
        movie.chapters.push_back({double(chapter.start) * av_q2d(chapter.time_base),
                                  double(chapter.end) * av_q2d(chapter.time_base),
                                  title != nullptr ? title->value : ""});
    }
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVCodecParameters& parameters = *format->streams[i]->codecpar;
        if (parameters.codec_type == AVMEDIA_TYPE_DATA) { // the track of the chapters' titles
            decoders.push_back(nullptr);
            continue;
        }
        const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
        AVCodecContext* context = avcodec_alloc_context3(codec);
        avcodec_parameters_to_context(context, &parameters);
        context->pkt_timebase = format->streams[i]->time_base;
        const double seconds = double(format->streams[i]->duration) * av_q2d(format->streams[i]->time_base);
        if (codec == nullptr || avcodec_open2(context, codec, nullptr) < 0) movie.error = "a track cannot be decoded";
        decoders.push_back(context);
        if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
            movie.videoSeconds = seconds;
            movie.videoCodec = avcodec_get_name(parameters.codec_id);
            char tag[AV_FOURCC_MAX_STRING_SIZE] = {};
            movie.videoTag = av_fourcc_make_string(tag, parameters.codec_tag);
            const char* profile = avcodec_profile_name(parameters.codec_id, parameters.profile);
            movie.profile = profile != nullptr ? profile : "";
        } else {
            movie.hasSound = true;
            movie.soundSeconds = seconds;
            movie.soundRate = parameters.sample_rate;
            movie.soundChannels = parameters.ch_layout.nb_channels;
        }
    }
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    const auto drain = [&](unsigned index) {
        while (avcodec_receive_frame(decoders[index], frame) >= 0)
            take(movie, *frame, *format->streams[index]);
    };
    while (movie.error.empty() && av_read_frame(format, packet) >= 0) {
        const auto index = unsigned(packet->stream_index);
        if (decoders[index] == nullptr) {
            av_packet_unref(packet);
            continue;
        }
        if (avcodec_send_packet(decoders[index], packet) < 0) movie.error = "a packet cannot be decoded";
        av_packet_unref(packet);
        drain(index);
    }
    for (unsigned i = 0; i < decoders.size(); ++i) {
        if (decoders[i] == nullptr) continue;
        avcodec_send_packet(decoders[i], nullptr);
        drain(i);
        avcodec_free_context(&decoders[i]);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avformat_close_input(&format);
    return movie;
}

bool beginsWithIndex(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    return bytes.find("moov") < bytes.find("mdat");
}

} // namespace glasshob::testing
