// FFmpeg's libraries, which are loaded when the first movie is written or read: they bring a hundred others along, and
// loading those takes hob four times as long as loading all else that it needs.
//
// Include this instead of FFmpeg's headers. After loadMovieLibrary() has succeeded, the functions of
// glasshob::movielibrary are FFmpeg's own of the same names and types; one that is not in the list below is not linked.
// Any thread.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

#include <expected>
#include <string>

// clang-format off
#define GLASSHOB_MOVIE_FUNCTIONS(each)                                                                            \
    each(av_buffer_ref) each(av_buffer_unref) each(av_channel_layout_copy) each(av_channel_layout_default)        \
    each(av_dict_free) each(av_dict_get) each(av_dict_set) each(av_frame_alloc) each(av_frame_free)               \
    each(av_frame_get_buffer) each(av_frame_is_writable) each(av_hwdevice_ctx_create) each(av_hwframe_ctx_alloc)  \
    each(av_hwframe_ctx_init) each(av_hwframe_get_buffer) each(av_hwframe_transfer_data)                          \
    each(av_interleaved_write_frame) each(av_log_set_level) each(av_mallocz) each(av_opt_set) each(av_packet_alloc)                \
    each(av_packet_free) each(av_packet_rescale_ts) each(av_read_frame) each(av_sample_fmt_is_planar) each(av_strerror) each(av_write_trailer)  \
    each(avcodec_alloc_context3) each(avcodec_find_encoder) each(avcodec_find_encoder_by_name)                    \
    each(avcodec_free_context) each(avcodec_open2) each(avcodec_parameters_copy)                                  \
    each(avcodec_parameters_from_context) each(avcodec_receive_packet) each(avcodec_send_frame)                   \
    each(avformat_alloc_output_context2) each(avformat_close_input) each(avformat_find_stream_info)               \
    each(avformat_free_context) each(avformat_index_get_entries_count) each(avformat_index_get_entry)             \
    each(avformat_new_stream) each(avformat_open_input) each(avformat_write_header) each(avio_closep)             \
    each(avio_open2)
// clang-format on

namespace glasshob {

namespace movielibrary {
#define GLASSHOB_DECLARE(name) extern decltype(&::name) name;
GLASSHOB_MOVIE_FUNCTIONS(GLASSHOB_DECLARE)
#undef GLASSHOB_DECLARE
} // namespace movielibrary

// Loads it once for the process and silences what it writes on standard error; a sentence where it is not installed.
std::expected<void, std::string> loadMovieLibrary();

} // namespace glasshob
