// What becomes of an upload: looked at, placed and kept, or refused with a sentence.

#include "GlassHobGallery/check/UploadCheck.h"
#include "GlassHobGallery/data/DiskRefusal.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/site/Log.h"
#include "GlassHobGallery/site/ShareReceiver.h"

#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <sys/mman.h>

#include <algorithm>
#include <span>

namespace glasshob::gallery {

namespace {

// Released on every way out.
class Turn {
  public:
    explicit Turn(std::counting_semaphore<>& places, bool isWaiting) : places_(places), isTaken_(true) {
        if (isWaiting)
            places_.acquire();
        else
            isTaken_ = places_.try_acquire();
    }
    ~Turn() {
        if (isTaken_) places_.release();
    }
    Turn(const Turn&) = delete;
    explicit operator bool() const { return isTaken_; }

  private:
    std::counting_semaphore<>& places_;
    bool isTaken_;
};

// The bytes of a file, without a copy.
class Mapped {
  public:
    explicit Mapped(const MediaStore::Incoming& file) : size_(file.size()) {
        if (size_ > 0) bytes_ = mmap(nullptr, size_, PROT_READ, MAP_SHARED, file.file(), 0);
    }
    ~Mapped() {
        if (size_ > 0 && bytes_ != MAP_FAILED) munmap(bytes_, size_);
    }
    Mapped(const Mapped&) = delete;
    QByteArray bytes() const {
        if (bytes_ == MAP_FAILED) throw std::runtime_error("An upload cannot be read back.");
        return QByteArray::fromRawData(static_cast<const char*>(bytes_), qsizetype(size_));
    }

  private:
    void* bytes_ = nullptr;
    std::size_t size_;
};

template <class Choice>
std::optional<Choice> chosen(std::span<const Choice> choices, const std::string& raw) {
    for (const Choice choice : choices)
        if (rawValue(choice) == raw) return choice;
    return {};
}

} // namespace

Response Gallery::share(Request& request, bool isTooLarge) {
    constexpr std::int64_t hour = 3600, day = 86400;
    const auto program = programOf(request);
    if (!program) return jsonError(401, "You are signed out. Sign in again.");
    const Account& account = *program->account;
    if (account.handle.empty())
        return jsonAnswer(
            409, {{"error", "Choose a handle before you share: it names you on the gallery."}, {"needsHandle", true}});
    if (isTooLarge) return jsonError(413, "The upload is over 25 MB.");
    if (request.contentType() != "multipart/form-data")
        return jsonError(415, "The upload must be multipart/form-data.");
    std::int64_t wait = secondsToWait("share:" + std::to_string(account.id), 60, hour);
    if (!wait) wait = secondsToWait("share:" + networkOf(request.address), 300, hour);
    if (wait)
        return jsonError(429, "That were very many shaders. Try again in an hour.")
            .with("Retry-After", std::to_string(wait));

    auto* upload = dynamic_cast<ShareReceiver*>(request.sink.get());
    using Outcome = ShareReceiver::Outcome;
    const Outcome outcome = upload ? upload->outcome() : Outcome::broken;
    if (outcome == Outcome::diskRefused) throw DiskRefusal("an upload could not be written");
    if (outcome == Outcome::tooLarge)
        return jsonError(
            413, "A part of the upload is too large: the source takes 200 KB, the loop 20 MB and the thumbnail 1 MB.");
    const QJsonDocument meta = QJsonDocument::fromJson(QByteArray::fromStdString(upload ? upload->meta() : ""));
    if (outcome == Outcome::broken || !meta.isObject())
        return jsonError(400, "The upload is broken off or damaged. Share it again.");

    const Mapped source(upload->source()), loop(upload->loop()), thumb(upload->thumb());
    ShareUpload sent;
    sent.title = trimmed(meta["title"].toString().toStdString());
    sent.description = meta["description"].toString().toStdString();
    sent.source = source.bytes().toStdString();
    sent.loop = loop.bytes();
    sent.thumb = thumb.bytes();
    const auto licence = chosen<ShareUpload::Licence>(ShareUpload::licences, meta["licence"].toString().toStdString());
    const auto visibility =
        chosen<ShareUpload::Visibility>(ShareUpload::visibilities, meta["visibility"].toString().toStdString());
    if (!licence || !visibility) return jsonError(422, "The gallery does not know this licence or visibility.");
    std::string problems;
    for (const std::string& problem : sent.problems())
        (problems += problems.empty() ? "" : " ") += problem;
    if (!problems.empty()) return jsonError(422, problems);

    Shader shader;
    shader.account = account.id;
    shader.title = sent.title;
    shader.description = sent.description;
    shader.licence = rawValue(*licence);
    shader.visibility = rawValue(*visibility);
    const auto name = [](MediaStore::Incoming& file) {
        auto made = file.finish();
        if (!made) throw DiskRefusal("an upload could not be kept");
        return *made;
    };
    shader.media.source = name(upload->source());
    shader.media.loop = name(upload->loop());
    shader.media.thumb = name(upload->thumb());
    shader.content = hashOf(shader.media.source + shader.media.loop + shader.media.thumb + shader.licence +
                            shader.visibility + hashOf(shader.title) + shader.description);
    const auto answerFor = [&](int status, const std::string& id) {
        return jsonAnswer(status, {{"id", asQString(id)}, {"url", asQString(config_.url + "/s/" + id)}});
    };
    // Whoever tries again because the answer was lost gets what they shared.
    if (const auto earlier = database_.sharedSince(account.id, shader.content, now() - day))
        return answerFor(200, earlier->id);

    const Turn place(shares_, false);
    if (!place)
        return jsonError(503, "The gallery is busy with other uploads. Try again in a minute.")
            .with("Retry-After", "60");
    const auto smallLoop = media_.begin(), smallThumb = media_.begin();
    UploadFacts facts;
    {
        const Turn processor(checks_, true);
        facts = checkUpload({upload->source().file(), upload->loop().file(), upload->thumb().file(), smallLoop->file(),
                             smallThumb->file()});
    }
    if (!facts.end.empty()) logEvent("check", {{"number", request.number}, {"ended", facts.end}});
    if (facts.isWithoutRoom) throw DiskRefusal("the small files of an upload could not be written");
    if (!facts.problem.empty()) return jsonError(facts.isUndone ? 503 : 422, facts.problem);
    shader.media.smallLoop = name(*smallLoop);
    shader.media.smallThumb = name(*smallThumb);
    shader.kind = facts.kind;
    shader.hasSound = facts.hasSound;
    shader.forkedFrom = facts.forkedFrom;
    shader.tags = facts.tags;
    shader.params = facts.params;
    shader.id = randomText(16, "abcdefghijklmnopqrstuvwxyz0123456789");
    shader.created = now();

    std::string earlierId;
    bool isAllowed = true;
    database_.write([&] {
        // The account may have gone while the upload was looked at.
        const auto current = database_.account(account.id);
        isAllowed = current && !current->isSuspended;
        if (!isAllowed) return;
        if (const auto earlier = database_.sharedSince(account.id, shader.content, now() - day)) {
            earlierId = earlier->id;
            return;
        }
        for (MediaStore::Incoming* file :
             {&upload->source(), &upload->loop(), &upload->thumb(), smallLoop.get(), smallThumb.get()})
            media_.place(*file);
        database_.addShader(shader);
    });
    if (!isAllowed) return jsonError(401, "You are signed out. Sign in again.");
    if (!earlierId.empty()) return answerFor(200, earlierId);
    logEvent("shared", {{"number", request.number}, {"shader", shader.id}});
    return answerFor(201, shader.id);
}

} // namespace glasshob::gallery
