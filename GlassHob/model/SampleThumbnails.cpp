#include "GlassHob/model/SampleThumbnails.h"

#include "GPU/Device.h"
#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <iterator>
#include <stop_token>

namespace glasshob {

namespace {

// Drawn larger and scaled down, which smooths what a shader leaves jagged.
constexpr int fineness = 2;

// A particle shader runs through every step before its still: a small picture need not wait for the best moment.
constexpr double latestMoment = 2;

QImage drawnPicture(const SampleShelf::Sample& sample, const std::shared_ptr<gpu::Device>& device,
                    const std::stop_token& stop) {
    const double still = EpisodeMeta::parse(sample.text).still;
    const auto time = float(sample.kind == ShaderKind::particles ? std::min(still, latestMoment) : still);
    try {
        const auto program = std::make_shared<const ShaderProgram>(sample.text, device);
        const auto image = StillRenderer::render(program, device, SampleThumbnails::size.width() * fineness,
                                                 SampleThumbnails::size.height() * fineness, 0, {}, time, stop);
        if (!image) return {};
        const QImage whole(image->bytes.data(), int(image->width), int(image->height), int(image->width) * 4,
                           QImage::Format_RGB32);
        return whole.scaled(SampleThumbnails::size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

SampleThumbnails::SampleThumbnails(QString folder, QObject* parent) : QObject(parent), folder_(std::move(folder)) {
    if (folder_.isEmpty())
        folder_ = QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/samples");
}

SampleThumbnails::~SampleThumbnails() = default;

QString SampleThumbnails::pathOf(const SampleShelf::Sample& sample) const {
    const QByteArray text(sample.text.data(), qsizetype(sample.text.size()));
    const QByteArray name = QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex().left(24);
    return folder_ + u'/' + QString::fromLatin1(name) + QStringLiteral(".png");
}

void SampleThumbnails::draw(const std::vector<SampleShelf::Sample>& samples) {
    worker_ = {};
    // Particles take the longest, so they come last.
    std::vector<std::pair<SampleShelf::Sample, QString>> missing, particles;
    for (const SampleShelf::Sample& sample : samples) {
        const QString path = pathOf(sample);
        if (const QImage kept(path); kept.size() == size)
            emit drawn(QString::fromStdString(sample.file), kept);
        else
            (sample.kind == ShaderKind::particles ? particles : missing).emplace_back(sample, path);
    }
    std::ranges::move(particles, std::back_inserter(missing));
    if (missing.empty()) return;
    QDir().mkpath(folder_);
    worker_ = std::jthread([this, missing = std::move(missing)](const std::stop_token& stop) {
        const auto device = gpu::Device::makeSeparate();
        if (!device) return;
        for (const auto& [sample, path] : missing) {
            const QImage picture = drawnPicture(sample, *device, stop);
            if (stop.stop_requested()) return;
            if (picture.isNull()) continue;
            // Written aside and renamed: another window may be reading.
            const QString aside = path + QStringLiteral(".part");
            if (picture.save(aside, "PNG") && !QFile::rename(aside, path)) QFile::remove(aside);
            QMetaObject::invokeMethod(
                this, [this, file = QString::fromStdString(sample.file), picture] { emit drawn(file, picture); },
                Qt::QueuedConnection);
        }
    });
}

} // namespace glasshob
