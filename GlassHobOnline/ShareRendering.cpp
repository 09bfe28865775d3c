#include "GlassHobOnline/ShareRendering.h"

#include "GPU/Device.h"
#include "GlassHobCore/files/PartialFile.h"
#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobRender/export/VideoExporter.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QBuffer>
#include <QColorSpace>
#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QUuid>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <system_error>

namespace glasshob::ShareRendering {

namespace {

// Of the best first.
constexpr int jpegQualities[] = {88, 80, 70, 60, 50};
// One byte below what is allowed.
constexpr qsizetype mostThumbBytes = qsizetype(ShareUpload::thumbLimit) - 1;

std::unexpected<Failure> failure(std::string sentence) {
    return std::unexpected(Failure{std::move(sentence)});
}

// A folder that nobody else can look into; it goes away with all that is in it, also where the process is ended in the
// middle of its work.
class PrivateFolder {
  public:
    static std::expected<PrivateFolder, Failure> make() {
        const QString name = "GlassHobShare-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        std::string path = QFile::encodeName(QDir(QDir::tempPath()).filePath(name)).toStdString();
        if (mkdir(path.c_str(), S_IRWXU) != 0)
            return failure("The folder " + QDir::tempPath().toStdString() + " cannot be written to: " +
                           std::strerror(errno) + ". Make room there, or set TMPDIR to another folder.");
        return PrivateFolder(std::move(path));
    }
    PrivateFolder(PrivateFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}
    PrivateFolder& operator=(PrivateFolder&&) = delete;
    ~PrivateFolder() {
        if (path_.empty()) return;
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
        UnfinishedPaths::forget(path_);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    explicit PrivateFolder(std::string path) : path_(std::move(path)) { UnfinishedPaths::add(path_); }

    std::string path_;
};

std::expected<std::shared_ptr<const ShaderProgram>, Failure> compiled(const Order& order) {
    try {
        return std::make_shared<const ShaderProgram>(order.source, order.device);
    } catch (const ShaderError& error) {
        // A device that is gone is no fault of the text's.
        if (order.device->lost()) return failure(error.description());
        return failure("The shader does not compile: " + error.description());
    }
}

std::expected<QByteArray, Failure> loop(const Order& order, const std::shared_ptr<const ShaderProgram>& program,
                                        const Progress& progress, const std::stop_token& stop) {
    const auto folder = PrivateFolder::make();
    if (!folder) return std::unexpected(folder.error());
    const std::string path = folder->file("loop.mp4");
    const auto tell = [&](std::int64_t done, std::int64_t total) {
        progress(double(done) / double(total));
        return !stop.stop_requested();
    };
    try {
        VideoExporter::exportMovie(program, {}, ExportPlan(ExportPreset::site(), order.start, loopSeconds), false,
                                   order.device, path, tell, {}, stop);
    } catch (const ExportError& error) {
        if (error.kind == ExportError::Kind::cancelled) return failure({});
        return failure(error.description);
    }
    QFile file(QFile::decodeName(path.c_str()));
    if (!file.open(QIODevice::ReadOnly))
        return failure("The loop could not be read again: " + file.errorString().toStdString() + ".");
    return file.readAll();
}

std::expected<StillImage, Failure> pictureOf(const Order& order, const std::shared_ptr<const ShaderProgram>& program,
                                             const std::stop_token& stop) {
    auto image = StillRenderer::render(program, order.device, thumbWidth, thumbHeight, 0, {}, float(order.start), stop);
    if (stop.stop_requested()) return failure({});
    if (!image) return failure("the thumbnail could not be drawn");
    return std::move(*image);
}

} // namespace

QImage asImage(const StillImage& image) {
    return {image.bytes.data(), int(image.width), int(image.height), qsizetype(image.width) * 4, QImage::Format_RGB32};
}

QByteArray jpeg(const StillImage& image, qsizetype most) {
    QImage wrapped = asImage(image);
    wrapped.setColorSpace(QColorSpace::SRgb);
    for (const int quality : jpegQualities) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, "jpeg");
        writer.setQuality(quality);
        if (!writer.write(wrapped)) return {};
        if (bytes.size() <= most) return bytes;
    }
    return {};
}

std::expected<StillImage, Failure> picture(const Order& order, const std::stop_token& stop) {
    const auto program = compiled(order);
    if (!program) return std::unexpected(program.error());
    return pictureOf(order, *program, stop);
}

std::expected<Files, Failure> render(const Order& order, const Progress& progress, const std::stop_token& stop) {
    const auto program = compiled(order);
    if (!program) return std::unexpected(program.error());
    if (stop.stop_requested()) return failure({});
    Files files;
    auto film = loop(order, *program, progress, stop);
    if (!film) return std::unexpected(std::move(film.error()));
    files.loop = std::move(*film);
    const auto image = pictureOf(order, *program, stop);
    if (!image) return std::unexpected(image.error());
    files.thumb = jpeg(*image, mostThumbBytes);
    if (files.thumb.isEmpty()) return failure("the thumbnail could not be encoded");
    return files;
}

} // namespace glasshob::ShareRendering
