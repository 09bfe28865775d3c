#include "GlassHob/model/Drafts.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobCore/text/Text.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QUuid>

#include <algorithm>

namespace glasshob {

namespace {

const QString fileKey = QStringLiteral("file"), textKey = QStringLiteral("text"), whenKey = QStringLiteral("when"),
              needsRunKey = QStringLiteral("needsRun"), downloadedFromKey = QStringLiteral("downloadedFrom");

QByteArray encode(const Draft& draft) {
    QJsonObject object;
    if (draft.filePath) object[fileKey] = *draft.filePath;
    // The ordinary conversion would drop a byte-order mark.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    object[textKey] = QString(decoder(QByteArrayView(draft.text.data(), qsizetype(draft.text.size()))));
    object[whenKey] = draft.when.toString(Qt::ISODate);
    if (draft.needsRun) object[needsRunKey] = true;
    if (draft.downloadedFrom) object[downloadedFromKey] = draft.downloadedFrom->toString(QUrl::FullyEncoded);
    return QJsonDocument(object).toJson();
}

std::optional<Draft> decode(const QByteArray& bytes) {
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    if (!object[textKey].isString()) return std::nullopt;
    Draft draft;
    if (object[fileKey].isString()) draft.filePath = object[fileKey].toString();
    draft.text = object[textKey].toString().toStdString();
    draft.when = QDateTime::fromString(object[whenKey].toString(), Qt::ISODate);
    draft.needsRun = object[needsRunKey].toBool();
    if (object[downloadedFromKey].isString())
        draft.downloadedFrom = QUrl(object[downloadedFromKey].toString(), QUrl::StrictMode);
    return draft;
}

// Held until the process ends or lets go, however long ago it was taken; null when another process holds it.
std::unique_ptr<QLockFile> lockOf(const QString& draftPath) {
    auto lock = std::make_unique<QLockFile>(draftPath + QStringLiteral(".lock"));
    lock->setStaleLockTime(0);
    return lock->tryLock(0) ? std::move(lock) : nullptr;
}

} // namespace

Drafts::Drafts(QString folder) : folder_(std::move(folder)) {}

Drafts::~Drafts() = default;

QString Drafts::standardFolder() {
    const QDir data(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    const auto folder = Identity::folderName;
    return data.filePath(asQString(folder) + QStringLiteral("/Drafts"));
}

void Drafts::keep(const Draft& draft) {
    if (folder_.isEmpty()) return;
    if (kept_ && kept_->filePath == draft.filePath && kept_->text == draft.text && kept_->needsRun == draft.needsRun)
        return;
    if (!lock_) {
        QDir().mkpath(folder_);
        path_ = folder_ + u'/' + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".json");
        lock_ = lockOf(path_);
        if (!lock_) return;
    }
    Draft dated = draft;
    dated.when = QDateTime::currentDateTimeUtc();
    const QByteArray bytes = encode(dated);
    const auto written = AtomicFile::write(QFile::encodeName(path_).toStdString(),
                                           std::string_view(bytes.constData(), std::size_t(bytes.size())),
                                           AtomicFile::Outlives::process);
    if (written) kept_ = std::move(dated);
}

void Drafts::remove() {
    if (!kept_) return;
    QFile::remove(path_);
    kept_.reset();
    lock_.reset();
}

std::vector<Drafts::Found> Drafts::leftBehind() const {
    std::vector<Found> all;
    if (folder_.isEmpty()) return all;
    const QDir folder(folder_);
    for (const QString& name : folder.entryList({QStringLiteral("*.json")}, QDir::Files)) {
        const QString path = folder.filePath(name);
        if (path == path_) continue;
        std::shared_ptr<QLockFile> lock = lockOf(path);
        QFile in(path);
        if (!lock || !in.open(QIODevice::ReadOnly)) continue;
        if (auto draft = decode(in.readAll())) all.push_back({path, std::move(*draft), std::move(lock)});
    }
    std::ranges::sort(all, std::ranges::greater(), [](const Found& found) { return found.draft.when; });
    return all;
}

void Drafts::discard(Found& found) {
    QFile::remove(found.path);
    found.lock.reset();
}

} // namespace glasshob
