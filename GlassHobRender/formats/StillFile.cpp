#include "GlassHobRender/formats/StillFile.h"

#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobRender/formats/MovieObjects.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImage>
#include <QImageWriter>

#include <cstring>

namespace glasshob::StillFile {

using namespace movielibrary;

namespace {

constexpr int jpegQuality = 92;
constexpr const char* webpQuality = "90";

std::string jpeg(const StillImage& image) {
    QImage wrapped(image.bytes.data(), int(image.width), int(image.height), qsizetype(image.width) * 4,
                   QImage::Format_RGB32);
    wrapped.setColorSpace(QColorSpace::SRgb);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(jpegQuality);
    return writer.write(wrapped) ? bytes.toStdString() : std::string();
}

// A WebP file without a profile is sRGB. The encoder's packet is the file.
std::string webp(const StillImage& image) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libwebp");
    const Context context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    const Frame frame(av_frame_alloc());
    const Packet packet(av_packet_alloc());
    if (context == nullptr || frame == nullptr || packet == nullptr) return {};
    frame->width = context->width = int(image.width);
    frame->height = context->height = int(image.height);
    context->pix_fmt = AV_PIX_FMT_BGRA;
    frame->format = context->pix_fmt;
    context->time_base = {1, 1};
    av_opt_set(context->priv_data, "quality", webpQuality, 0);
    if (avcodec_open2(context.get(), codec, nullptr) < 0 || av_frame_get_buffer(frame.get(), 0) < 0) return {};
    const std::size_t rowBytes = std::size_t(image.width) * 4;
    for (std::size_t y = 0; y < image.height; ++y) {
        std::uint8_t* row = frame->data[0] + y * std::size_t(frame->linesize[0]);
        std::memcpy(row, image.bytes.data() + y * rowBytes, rowBytes);
        for (std::size_t x = 3; x < rowBytes; x += 4)
            row[x] = 255;
    }
    if (avcodec_send_frame(context.get(), frame.get()) < 0 || avcodec_send_frame(context.get(), nullptr) < 0) return {};
    if (avcodec_receive_packet(context.get(), packet.get()) < 0) return {};
    return {reinterpret_cast<const char*>(packet->data), std::size_t(packet->size)};
}

} // namespace

std::expected<std::string, std::string> encode(const StillImage& image, StillFormat format) {
    const StillFormatEntry& entry = StillFormats::entry(format);
    const std::string name(entry.name);
    if (std::max(image.width, image.height) > std::uint64_t(entry.longestSide))
        return std::unexpected("A " + name + " picture has at most " + std::to_string(entry.longestSide) +
                               " pixels a side: choose a smaller size, or PNG.");
    const bool isWhole = !image.bytes.empty() && image.bytes.size() == std::size_t(image.width) * image.height * 4;
    std::string bytes;
    if (format == StillFormat::png) {
        bytes = StillRenderer::png(image);
    } else if (format == StillFormat::jpeg && isWhole) {
        bytes = jpeg(image);
    } else if (isWhole) {
        if (const auto loaded = loadMovieLibrary(); !loaded) return std::unexpected(loaded.error());
        bytes = webp(image);
    }
    if (bytes.empty())
        return std::unexpected(
            "The picture could not be turned into a " + name + " file: " +
            (isWhole ? "there is no encoder for it here, or it is too large." : "it is empty or too large."));
    return bytes;
}

std::expected<void, std::string> write(const StillImage& image, const std::string& path) {
    const auto format = StillFormats::ofPath(path);
    if (!format) return std::unexpected(format.error());
    const auto bytes = encode(image, *format);
    if (!bytes) return std::unexpected(bytes.error());
    return AtomicFile::write(path, *bytes);
}

} // namespace glasshob::StillFile
