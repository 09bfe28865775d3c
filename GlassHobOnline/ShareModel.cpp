#include "GlassHobOnline/ShareModel.h"

#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/SampleShelf.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/AccountModel.h"

#include <QCoreApplication>
#include <QPointer>
#include <QPromise>
#include <QRegularExpression>

#include <qcoro/qcorofuture.h>

#include <utility>

namespace glasshob {

namespace {

using ShareRendering::Files;
using ShareRendering::Order;

// The time of the best picture where the text names one; a shader begins at its beginning otherwise.
double startOf(const std::string& source) {
    static const QRegularExpression declared(R"((?m)^\s*//\s*@still\s+\d)");
    return declared.match(asQString(source)).hasMatch() ? EpisodeMeta::parse(source).still : 0;
}

std::string joined(const std::vector<std::string>& sentences) {
    std::string text;
    for (const std::string& sentence : sentences)
        text += (text.empty() ? "" : " ") + sentence;
    return text;
}

// Ends when the work is done. The work is let go of on its own thread.
template <typename Result>
QCoro::Task<Result> besideThis(std::function<void(std::function<void()>)> beside, std::function<Result()> work) {
    auto promise = std::make_shared<QPromise<Result>>();
    promise->start();
    const QFuture<Result> future = promise->future();
    beside([promise, work = std::move(work)]() mutable {
        Result result = work();
        work = {};
        promise->addResult(std::move(result));
        promise->finish();
    });
    Result result = co_await future;
    co_return result;
}

} // namespace

ShareModel::ShareModel(AccountModel& account, Subject subject, Surroundings surroundings, QObject* parent)
    : QObject(parent), account_(account), subject_(std::move(subject)), surroundings_(std::move(surroundings)),
      forkedFrom_(ForkedFrom::parse(subject_.source)), kind_(ShaderAssembler::kind(subject_.source)),
      start_(startOf(subject_.source)) {
    if (!surroundings_.render) surroundings_.render = ShareRendering::render;
    title = proposedTitle();
}

ShareModel::~ShareModel() {
    work_.request_stop();
    drawing_.request_stop();
}

QString ShareModel::proposedTitle() const {
    return asQString(SampleShelf::title(subject_.source, subject_.fileName));
}

bool ShareModel::mayContinue(const Subject& subject) const {
    return subject.source == subject_.source && subject.key == subject_.key && !std::holds_alternative<Done>(phase_);
}

void ShareModel::takeTextsOf(const ShareModel& other) {
    handle = other.handle;
    if (other.subject_.key != subject_.key) return;
    // A title that nobody has changed follows the text.
    if (other.title != other.proposedTitle()) title = other.title;
    description = other.description;
    licence = other.licence;
    visibility = other.visibility;
}

ShareModel::Phase ShareModel::signedOut() {
    return NeedsSignIn{tr("Sign in to share to the gallery.")};
}

void ShareModel::setPhase(Phase phase) {
    phase_ = std::move(phase);
    emit changed();
}

ShareUpload ShareModel::upload() const {
    ShareUpload upload;
    upload.title = title.toStdString();
    upload.description = description.toStdString();
    upload.licence = licence;
    upload.visibility = visibility;
    upload.source = subject_.source;
    upload.params = ParamParser::parse(subject_.source);
    if (rendered_) {
        upload.loop = rendered_->loop;
        upload.thumb = rendered_->thumb;
    }
    return upload;
}

std::vector<std::string> ShareModel::problemsOfTexts() const {
    return upload().problemsOfTexts();
}

void ShareModel::begin() {
    work_.request_stop();
    work_ = std::stop_source();
}

void ShareModel::share() {
    if (isWorking() || std::holds_alternative<Done>(phase_)) return;
    begin();
    work(work_.get_token());
}

void ShareModel::setHandleAndShare() {
    if (isWorking()) return;
    begin();
    setHandle(work_.get_token());
}

void ShareModel::cancel() {
    if (!isWorking()) return;
    const auto* uploading = std::get_if<Uploading>(&phase_);
    const bool wasSent = uploading != nullptr && uploading->progress >= 1;
    isSettingHandle_ = false;
    work_.request_stop();
    setPhase(Editing{wasSent ? tr("The upload had been sent when it was cancelled: the shader may be in the gallery.")
                             : QString()});
}

void ShareModel::edit() {
    if (isWorking()) return;
    handleProblem_.clear();
    setPhase(Editing{});
}

QCoro::Task<> ShareModel::work(std::stop_token stop) {
    handleProblem_.clear();
    if (subject_.waitsForRun) {
        setPhase(Failed{tr("This shader has not run yet: read it and press Run, then share it.")});
        co_return;
    }
    co_await account_.loaded();
    if (stop.stop_requested()) co_return;
    if (!account_.signedIn() || !account_.email()) {
        setPhase(signedOut());
        co_return;
    }
    if (!account_.handle()) {
        setPhase(NeedsHandle{tr("Choose a handle before you share: it names you on the gallery.")});
        co_return;
    }
    if (!rendered_) {
        const bool isThere = co_await render(stop);
        if (!isThere) co_return;
    }
    ShareUpload sent = upload();
    if (const auto problems = sent.problems(); !problems.empty()) {
        setPhase(Failed{asQString(joined(problems))});
        co_return;
    }
    co_await send(std::move(sent), stop);
}

Order ShareModel::order() const {
    return {subject_.source, start_, surroundings_.device()};
}

void ShareModel::tellProgress(double progress, const std::stop_token& stop) {
    if (!stop.stop_requested() && isRendering()) setPhase(Rendering{progress});
}

QCoro::Task<bool> ShareModel::render(std::stop_token stop) {
    setPhase(Rendering{0});
    std::expected<Files, ShareRendering::Failure> files;
    try {
        auto tell = [self = QPointer(this), stop](double progress) {
            QMetaObject::invokeMethod(
                qApp,
                [self, stop, progress] {
                    if (self) self->tellProgress(progress, stop);
                },
                Qt::QueuedConnection);
        };
        std::function<decltype(files)()> work = [render = surroundings_.render, order = order(), tell, stop] {
            return render(order, tell, stop);
        };
        files = co_await besideThis(surroundings_.beside, std::move(work));
    } catch (const std::exception& error) {
        if (!stop.stop_requested()) setPhase(Failed{QString::fromUtf8(error.what())});
        co_return false;
    }
    if (stop.stop_requested()) co_return false;
    if (!files) {
        setPhase(Failed{asQString(files.error().sentence)});
        co_return false;
    }
    rendered_ = std::move(*files);
    co_return true;
}

QCoro::Task<> ShareModel::send(ShareUpload upload, std::stop_token stop) {
    setPhase(Uploading{0});
    const auto token = co_await account_.token();
    if (stop.stop_requested()) co_return;
    if (!token) {
        setPhase(signedOut());
        co_return;
    }
    const UploadProgress progress{[this](double sent) {
        if (std::holds_alternative<Uploading>(phase_)) setPhase(Uploading{sent});
    }};
    const APIClient client = account_.client();
    const auto shared = co_await client.share(*token, upload, progress, stop);
    if (stop.stop_requested()) co_return;
    if (shared) {
        setPhase(Done{shared->url});
        co_return;
    }
    using Kind = APIClient::Failure::Kind;
    const QString message = asQString(shared.error().description());
    switch (shared.error().kind) {
    case Kind::signedOut:
        account_.signOut();
        setPhase(NeedsSignIn{message});
        break;
    case Kind::needsHandle: setPhase(NeedsHandle{message}); break;
    default: setPhase(Failed{message});
    }
}

QCoro::Task<> ShareModel::setHandle(std::stop_token stop) {
    handleProblem_.clear();
    isSettingHandle_ = true;
    emit changed();
    const auto problem = co_await account_.setHandle(handle);
    if (stop.stop_requested()) co_return;
    isSettingHandle_ = false;
    if (problem && !account_.signedIn()) {
        setPhase(NeedsSignIn{*problem});
    } else if (problem) {
        handleProblem_ = *problem;
        emit changed();
    } else {
        work(stop);
    }
}

void ShareModel::drawPicture() {
    if (draws_ || subject_.waitsForRun) return;
    draws_ = true;
    draw(drawing_.get_token());
}

QCoro::Task<> ShareModel::draw(std::stop_token stop) {
    std::function<QImage()> work;
    try {
        work = [order = order(), stop] {
            const auto drawn = ShareRendering::picture(order, stop);
            return drawn ? ShareRendering::asImage(*drawn).copy() : QImage();
        };
    } catch (const std::exception&) {
        co_return; // sharing will say why
    }
    const QImage image = co_await besideThis(surroundings_.beside, std::move(work));
    if (stop.stop_requested() || image.isNull()) co_return;
    picture_ = image;
    emit pictureChanged();
}

} // namespace glasshob
