#include "GlassHob/model/AppModel.h"

#include "GPU/Device.h"
#include "GlassHob/model/RetiredDevice.h"
#include "GlassHob/model/StillSaver.h"
#include "GlassHobCore/files/FileWatcher.h"
#include "GlassHobRender/program/ShaderCompiler.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace glasshob {

namespace {

// A frame that has taken this many seconds is in the way of what a compile may have to wait for ...
constexpr double slowForCompiles = 1;
// ... and this many are told about.
constexpr double slowForPeople = 2;

QString asQString(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        if (end == std::string::npos) return lines;
        start = end + 1;
    }
}

} // namespace

AppModel::AppModel(Surroundings surroundings, QObject* parent)
    : QObject(parent), device_(std::move(surroundings.device)), makeDevice_(std::move(surroundings.makeDevice)),
      questions_(surroundings.questions), pendingCompile_(std::move(surroundings.compileDelay)),
      drafts_(std::move(surroundings.draftsFolder)),
      presets_(std::make_unique<Presets>(*this, *questions_, std::move(surroundings.presetStore))),
      exports_(std::make_unique<ExportJob>(*this, std::move(surroundings.movieMaker))), account_(surroundings.account),
      updates_(surroundings.updates) {
    if (!makeDevice_) makeDevice_ = gpu::Device::makeApart;
}

AppModel::~AppModel() {
    close();
    exports_.reset();
    program_.reset();
    if (slowFrameSeconds_ > 0) retire(std::move(device_));
}

void AppModel::close() {
    pendingCompile_->cancel();
    exports_->abandon();
    // Without an answer to the question about them, edits outlive the window.
    if (isDirty_ && !discardAgreed_)
        keepDraft();
    else
        drafts_.remove();
}

// ---- The compile ----------------------------------------------------------------------------------------------------

void AppModel::compile(const std::string& text) {
    sourceLines_ = linesOf(text);
    keepDraft();
    if (needsRun_) return;
    const auto device = deviceForCompile();
    if (!device) {
        fail({}, asQString(device.error().description()));
        return;
    }
    const auto started = std::chrono::steady_clock::now();
    try {
        auto program = std::make_shared<const ShaderProgram>(text, *device, gpu::PixelFormat::bgra8Unorm,
                                                             ShaderCompiler::liveTimeLimit);
        compileMillis_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
        takeProgram(std::move(program));
    } catch (const ShaderError& error) {
        if ((*device)->lost() && *device == device_) {
            reportDeviceLoss();
        } else {
            compileMillis_.reset();
            fail(error.diagnostics, asQString(error.raw));
        }
    } catch (const std::exception& error) {
        fail({}, QString::fromUtf8(error.what()));
    }
}

void AppModel::fail(std::vector<Diagnostic> diagnostics, const QString& text) {
    diagnostics_ = std::move(diagnostics);
    warnings_.clear();
    errorText_ = text;
    emit compiled();
}

void AppModel::takeProgram(std::shared_ptr<const ShaderProgram> program) {
    program_ = std::move(program);
    diagnostics_.clear();
    warnings_ = program_->warnings();
    std::erase_if(warnings_, [](const Diagnostic& warning) { return warning.line <= 0; });
    errorText_.reset();
    sliders_.carryOver(program_->params());
    if (program_->device() != device_) {
        retire(std::exchange(device_, std::exchange(spareDevice_, nullptr)));
        deviceLost_ = false;
        slowFrameSeconds_ = 0;
        emit deviceReplaced();
        emit deviceTroubleChanged();
    }
    retire(std::exchange(spareDevice_, nullptr));
    emit compiled();
}

void AppModel::compileNow() {
    pendingCompile_->cancel();
    if (!needsRun_) compile(currentText_);
}

void AppModel::run() {
    if (!needsRun_) return;
    needsRun_ = false;
    downloadedFrom_.reset();
    rememberAsLast();
    emit documentChanged();
    compile(currentText_);
}

AppModel::State AppModel::state() const {
    if (needsRun_) return State::waitingForRun;
    if (errorText_) return program_ ? State::errorWithPicture : State::errorWithoutPicture;
    return program_ ? State::live : State::empty;
}

QString AppModel::statusText() const {
    if (needsRun_) return tr("Not running: press Run when you have read it");
    if (const QString trouble = deviceTrouble(); !trouble.isEmpty()) return trouble;
    switch (state()) {
    case State::errorWithPicture: return tr("Compile error, showing the last good frame");
    case State::errorWithoutPicture:
        return diagnostics_.empty() ? errorText_->section(u'\n', 0, 0) : asQString(diagnostics_.front().message);
    case State::live: return tr("Live · compiled in %1 ms").arg(QString::number(compileMillis_.value_or(0), 'f', 0));
    case State::waitingForRun:
    case State::empty: break;
    }
    return {};
}

// ---- The graphics device --------------------------------------------------------------------------------------------

const std::shared_ptr<gpu::Device>& AppModel::device() const {
    if (!device_) {
        auto made = gpu::Device::systemDefault();
        if (!made) throw NoDevice(made.error().description());
        device_ = std::move(*made);
    }
    return device_;
}

gpu::Result<std::shared_ptr<gpu::Device>> AppModel::deviceForCompile() {
    if (!device()->lost() && slowFrameSeconds_ < slowForCompiles) return device_;
    if (!spareDevice_ || spareDevice_->lost()) {
        auto made = makeDevice_();
        if (!made) return made;
        spareDevice_ = std::move(*made);
    }
    return spareDevice_;
}

void AppModel::reportDeviceLoss() {
    if (deviceLost_) return;
    deviceLost_ = true;
    slowFrameSeconds_ = 0;
    program_.reset();
    compileMillis_.reset();
    emit deviceTroubleChanged();
    emit compiled();
}

void AppModel::reportSlowFrame(double seconds) {
    if (deviceLost_) return;
    const QString before = deviceTrouble();
    slowFrameSeconds_ = seconds;
    if (deviceTrouble() != before) emit deviceTroubleChanged();
}

bool AppModel::deviceIsBusy() const {
    return slowFrameSeconds_ > 0 || exports_->isRunning() || retiredDeviceIsBusy();
}

QString AppModel::deviceTrouble() const {
    if (deviceLost_)
        return tr("The graphics device was lost while it drew this shader, so the picture has stopped. "
                  "Change the shader or compile it again, and it starts afresh.");
    if (slowFrameSeconds_ >= slowForPeople && stillsInWork_ > 0)
        return tr("The picture waits while the still is drawn. It goes on when the still is there.");
    if (slowFrameSeconds_ >= slowForPeople && exports_->isRunning())
        return tr("The picture waits while a frame of the video is drawn. It goes on between the frames.");
    if (slowFrameSeconds_ >= slowForPeople)
        return tr("This frame has been drawing for %1 seconds. "
                  "Make the shader do less, and the picture starts afresh when it compiles.")
            .arg(int(std::min(slowFrameSeconds_, 1e9)));
    return {};
}

// ---- The sliders ----------------------------------------------------------------------------------------------------

void AppModel::setValue(const std::string& name, float value) {
    if (sliders_.set(name, value)) emit valueChanged(asQString(name));
}

void AppModel::setValues(const SliderValues& values) {
    bool any = false;
    for (const auto& [name, value] : values)
        any = sliders_.set(name, value) || any;
    if (any) emit valuesReset();
}

void AppModel::resetAllValues() {
    if (sliders_.resetAll()) emit valuesReset();
}

// ---- The clock ------------------------------------------------------------------------------------------------------

AppModel::Tick AppModel::tick(double now) {
    const Tick tick = clock_.tick(now);
    const auto tenth = std::int64_t(clock_.time() * 10);
    if (tenth != shownTenth_) {
        shownTenth_ = tenth;
        emit clockChanged();
    }
    return tick;
}

void AppModel::setPaused(bool paused) {
    if (paused == clock_.paused()) return;
    clock_.setPaused(paused);
    emit clockChanged();
}

void AppModel::backToStart() {
    clock_.backToStart();
    emit clockChanged();
}

void AppModel::stepFrame() {
    if (!clock_.paused()) return;
    clock_.step();
    emit clockChanged();
}

// ---- Pictures and videos --------------------------------------------------------------------------------------------

QString AppModel::stillName() const {
    return QStringLiteral("%1-t%2.png")
        .arg(QFileInfo(displayName()).completeBaseName(), QString::number(time(), 'f', 1));
}

void AppModel::saveStill() {
    if (!program_ || needsRun_) return;
    // The moment of the command, not that of the answer.
    const ExportPreset& preset = exportChoices_.preset();
    StillRequest request{.program = program_,
                         .values = values(),
                         .width = preset.width,
                         .height = preset.height,
                         .frame = frame(),
                         .time = float(time()),
                         .path = {}};
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    questions_->chooseFileToSave(
        tr("Save the still"), pictures, stillName(),
        [this, request = std::move(request)](std::optional<QString> path) mutable {
            if (!path) return;
            request.path = *path;
            ++stillsInWork_;
            glasshob::saveStill(std::move(request), this, [this, path = *path](const auto& saved) {
                --stillsInWork_;
                if (slowFrameSeconds_ > 0) emit deviceTroubleChanged();
                if (!saved) questions_->warn(tr("Can't save %1").arg(QFileInfo(path).fileName()), saved.error());
            });
        });
}

void AppModel::setExportChoices(ExportChoices choices) {
    if (choices == exportChoices_) return;
    exportChoices_ = std::move(choices);
    emit exportChanged();
}

void AppModel::setExportState(ExportState state) {
    if (state == exportState_) return;
    const bool starts =
        std::holds_alternative<ExportRunning>(state) && !std::holds_alternative<ExportRunning>(exportState_);
    if (starts) {
        exportStartedAt_ = QDateTime::currentDateTimeUtc();
        cancelFlag_->set(false);
    }
    exportState_ = std::move(state);
    emit exportChanged();
}

// ---- The window -----------------------------------------------------------------------------------------------------

void AppModel::setShowsEditor(bool shows) {
    if (shows == showsEditor_) return;
    showsEditor_ = shows;
    emit showsEditorChanged();
}

void AppModel::setSheet(std::optional<Sheet> sheet) {
    if (sheet == sheet_) return;
    sheet_ = sheet;
    emit sheetChanged();
}

void AppModel::setShare(std::shared_ptr<ShareModel> share) {
    if (share == share_) return;
    share_ = std::move(share);
    emit sheetChanged();
}

} // namespace glasshob
