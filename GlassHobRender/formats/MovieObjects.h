#pragma once

// FFmpeg's objects with one owner, who frees them with FFmpeg's own functions; after loadMovieLibrary() has succeeded.

#include "GlassHobRender/formats/MovieLibrary.h"

#include <memory>

namespace glasshob::movielibrary {

template <auto& release>
struct Release {
    template <class Object>
    void operator()(Object* object) const {
        release(&object);
    }
};

using Context = std::unique_ptr<AVCodecContext, Release<avcodec_free_context>>;
using Frame = std::unique_ptr<AVFrame, Release<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Release<av_packet_free>>;
using HardwareBuffer = std::unique_ptr<AVBufferRef, Release<av_buffer_unref>>;
using Input = std::unique_ptr<AVFormatContext, Release<avformat_close_input>>;

} // namespace glasshob::movielibrary
