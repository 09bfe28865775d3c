#include "GlassHob/model/AppModel.h"

#include "GPU/PipelineWarmer.h"
#include "GlassHob/model/BesideWork.h"
#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/model/RetiredDevice.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/ShareModel.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace glasshob {

namespace {

// Seconds after which a document without frames counts as seen, too.
constexpr double longUntilSeen = 2;

} // namespace

AppModel::AppModel(Surroundings surroundings, QObject* parent)
    : QObject(parent), questions_(surroundings.questions), site_(std::move(surroundings.site)),
      document_(*questions_, std::move(surroundings.draftsFolder), std::move(surroundings.draftDelay)),
      links_(document_, *questions_, site_),
      devices_(std::move(surroundings.device), std::move(surroundings.makeDevice)),
      compilation_(devices_, std::move(surroundings.compileDelay), surroundings.compilePatience),
      sliderMemory_(surroundings.presetStore, std::move(surroundings.sliderDelay)),
      episodeAmount_(surroundings.presetStore, std::move(surroundings.amountDelay)), key_(document_.presetKey()),
      presets_(std::make_unique<Presets>(*this, *questions_, std::move(surroundings.presetStore))),
      exports_(std::make_unique<ExportJob>(*this, std::move(surroundings.movieMaker))),
      stills_(std::make_unique<StillSaver>(*this)), account_(surroundings.account), updates_(surroundings.updates) {
    document_.editorSink = [this](const std::string& text) {
        if (editorSink) editorSink(text);
    };
    document_.editorReload = [this](const std::string& text) {
        if (const auto& sink = editorReload ? editorReload : editorSink; sink) sink(text);
    };
    devices_.isExporting = [this] { return exports_->isRunning(); };
    connect(&document_, &Document::changed, this, &AppModel::followKey);
    connect(&document_, &Document::changed, this, &AppModel::documentChanged);
    connect(&document_, &Document::replaced, this, &AppModel::followReplaced);
    connect(&document_, &Document::textLoaded, this, [this] { compile(currentText()); });
    connect(&document_, &Document::edited, this,
            [this] { compilation_.compileLater([this] { compile(currentText()); }); });
    connect(&document_, &Document::unreadable, this,
            [this](const QString& sentence) { compilation_.fail({}, sentence); });
    connect(&document_, &Document::draftOfferChanged, this, &AppModel::draftOfferChanged);
    connect(&devices_, &DeviceWatch::replaced, this, &AppModel::deviceReplaced);
    connect(&devices_, &DeviceWatch::troubleChanged, this, &AppModel::deviceTroubleChanged);
    connect(&compilation_, &Compilation::deviceLost, this, &AppModel::reportDeviceLoss);
    connect(&compilation_, &Compilation::compiled, this, &AppModel::compiled);
    connect(&compilation_, &Compilation::preparingChanged, this, &AppModel::preparingChanged);
    connect(exports_.get(), &ExportJob::changed, this, &AppModel::exportChanged);
    connect(stills_.get(), &StillSaver::began, &devices_, &DeviceWatch::stillBegins);
    connect(stills_.get(), &StillSaver::ended, &devices_, &DeviceWatch::stillEnds);
    episode_ = std::make_unique<OpenEpisode>(*this);
    episodeExport_ = std::make_unique<EpisodeExport>(*this);
}

AppModel::~AppModel() {
    close();
    share_.reset();
    episodeExport_.reset();
    episode_.reset();
    exports_.reset();
}

void AppModel::close() {
    compilation_.cancelLater();
    links_.cancel();
    exports_->abandon();
    if (share_) share_->cancel();
    sliderMemory_.flush();
    episodeAmount_.flush();
    document_.close();
}

void AppModel::start(const QStringList& arguments) {
    document_.start(arguments);
}

// ---- The document and its compile -----------------------------------------------------------------------------------

void AppModel::followReplaced(const QString& replaced) {
    compilation_.cancelLater();
    sliderMemory_.flush();
    sliderHistory_.clear();
    // Nothing runs while a shader waits, the one before it neither.
    if (needsRun())
        compilation_.reset();
    else
        compilation_.begin(replaced);
    key_ = presetKey();
    SliderMemory::Positions kept = sliderMemory_.of(key_);
    compilation_.sliders().restore(std::move(kept.values), std::move(kept.defaults));
    episodeAmount_.open(key_);
    clock_.setLoop(std::nullopt);
    backToStart();
    ticksOfDocument_ = 0;
    seen_->start(longUntilSeen, [this] { document_.remember(); });
}

// Saved under another name: the sliders go with it.
void AppModel::followKey() {
    if (presetKey() == key_) return;
    key_ = presetKey();
    if (changedValueCount() > 0) rememberSliders();
    episodeAmount_.rename(key_);
}

void AppModel::setText(const std::string& text) {
    compilation_.cancelLater();
    document_.setText(text);
}

void AppModel::compile(const std::string& text) {
    compilation_.cancelLater();
    document_.keepDraft();
    if (needsRun())
        compilation_.keepLines(text);
    else
        compilation_.compile(text);
}

void AppModel::compileNow() {
    compilation_.cancelLater();
    if (!needsRun()) compile(currentText());
}

void AppModel::run() {
    if (!needsRun()) return;
    document_.allowRun();
    compile(currentText());
}

AppModel::State AppModel::state() const {
    if (needsRun()) return State::waitingForRun;
    if (errorText())
        return !shownProgram()                       ? State::errorWithoutPicture
               : compilation_.shownOwner().isEmpty() ? State::errorWithPicture
                                                     : State::errorWithOtherPicture;
    if (compilation_.isPreparing()) return State::preparing;
    return program() ? State::live : State::empty;
}

QString AppModel::shownOwnerText() const {
    const QString& owner = compilation_.shownOwner();
    return owner.isEmpty() ? QString() : tr("Showing %1's last good picture").arg(owner);
}

QString AppModel::statusText() const {
    if (needsRun()) return tr("Not running: press Run when you have read it");
    if (const QString trouble = deviceTrouble(); !trouble.isEmpty()) return trouble;
    switch (state()) {
    case State::errorWithPicture: return tr("Compile error, showing the last good frame");
    case State::errorWithOtherPicture:
        return tr("Compile error, showing %1's last good picture").arg(compilation_.shownOwner());
    case State::preparing: return tr("Compiled. The graphics driver is preparing the picture");
    case State::errorWithoutPicture:
        return diagnostics().empty() ? errorText()->section(u'\n', 0, 0) : asQString(diagnostics().front().message);
    case State::live: return tr("Live · compiled in %1 ms").arg(QString::number(compileMillis().value_or(0), 'f', 0));
    case State::waitingForRun:
    case State::empty: break;
    }
    return {};
}

// ---- The graphics device --------------------------------------------------------------------------------------------

void AppModel::reportDeviceLoss() {
    if (devices_.reportLoss()) compilation_.dropProgram();
}

bool AppModel::deviceIsBusy() const {
    return devices_.hasSlowFrame() || (devices_.isDrawing && devices_.isDrawing()) || exports_->isRunning() ||
           retiredDeviceIsBusy();
}

bool AppModel::driverIsAtWork() const {
    return deviceIsBusy() || besideWorkGoesOn() || gpu::PipelineWarmer::isAnyAtWork();
}

// ---- The sliders ----------------------------------------------------------------------------------------------------

void AppModel::rememberSliders() {
    sliderMemory_.moved(key_, [this] { return SliderMemory::Positions{values(), declaredDefaults()}; });
}

void AppModel::setValue(const std::string& name, float value) {
    const SliderValues before = values();
    if (!compilation_.sliders().set(name, value)) return;
    sliderHistory_.note(before, name);
    rememberSliders();
    emit valueChanged(asQString(name));
}

// Several at once. False when nothing changes.
bool AppModel::takeValues(const SliderValues& values) {
    bool any = false;
    for (const auto& [name, value] : values)
        any = compilation_.sliders().set(name, value) || any;
    return any;
}

void AppModel::announceValues() {
    rememberSliders();
    emit valuesReset();
}

void AppModel::setValues(const SliderValues& values) {
    const SliderValues before = this->values();
    if (!takeValues(values)) return;
    sliderHistory_.note(before, {});
    announceValues();
}

void AppModel::resetAllValues() {
    const SliderValues before = values();
    if (!compilation_.sliders().resetAll()) return;
    sliderHistory_.note(before, {});
    announceValues();
}

void AppModel::undoSliders() {
    const auto before = sliderHistory_.undo(values());
    if (before && takeValues(*before)) announceValues();
}

void AppModel::redoSliders() {
    const auto after = sliderHistory_.redo(values());
    if (after && takeValues(*after)) announceValues();
}

// ---- The clock ------------------------------------------------------------------------------------------------------

AppModel::Tick AppModel::tick(double now) {
    const Tick tick = clock_.tick(now);
    // The second one asks for a frame after the first has been drawn, with the text beside it.
    if (ticksOfDocument_ < 2 && ++ticksOfDocument_ == 2) document_.remember();
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

void AppModel::setTime(double seconds) {
    clock_.setTime(seconds);
    emit clockChanged();
}

void AppModel::setSpeed(double speed) {
    clock_.setSpeed(speed);
    emit clockChanged();
}

void AppModel::setLoop(std::optional<TimeStretch> loop) {
    clock_.setLoop(loop);
    emit clockChanged();
}

// ---- Pictures and videos --------------------------------------------------------------------------------------------

QString AppModel::stillName() const {
    return stills_->suggestedName();
}

void AppModel::saveStill() {
    if (auto still = stills_->now()) stills_->chooseAndSave(std::move(*still));
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
