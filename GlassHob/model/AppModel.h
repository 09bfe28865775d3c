// The model of one window: the document, its live compile with the slider values, the graphics device, the clock, and
// the state of an export. It knows no widget: views read it, listen to its signals and call its operations; questions
// go through an interface.
//
// The facade over what does the work, each of which a view may also take by itself: Document, Compilation, DeviceWatch.
// Main thread only. A compile runs inside the call (it is bounded in time by the compiler's live limit). A failed
// compile leaves the last good program and the values as they are. Texts are the exact bytes of the file.
#pragma once

#include "GlassHob/model/Compilation.h"
#include "GlassHob/model/Delay.h"
#include "GlassHob/model/DeviceWatch.h"
#include "GlassHob/model/Document.h"
#include "GlassHob/model/EpisodeAmount.h"
#include "GlassHob/model/ExportJob.h"
#include "GlassHob/model/ExportState.h"
#include "GlassHob/model/LinkOpener.h"
#include "GlassHob/model/Presets.h"
#include "GlassHob/model/PreviewClock.h"
#include "GlassHob/model/Questions.h"
#include "GlassHob/model/SliderHistory.h"
#include "GlassHob/model/SliderMemory.h"
#include "GlassHob/model/StillSaver.h"
#include "GlassHobCore/code/Diagnostics.h"
#include "GlassHobCore/site/Site.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glasshob {

class AccountModel;
class EpisodeExport;
class OpenEpisode;
class ShareModel;
class ShaderProgram;
class UpdateChecker;

class AppModel : public QObject {
    Q_OBJECT
  public:
    // What the model needs from outside; tests hand in their own.
    struct Surroundings {
        // The system's when empty, taken when it is first asked for.
        std::shared_ptr<gpu::Device> device = {};
        // Must outlive the model.
        Questions* questions = nullptr;
        std::unique_ptr<Delay> compileDelay = std::make_unique<TimerDelay>();
        PresetStore presetStore = PresetStore();
        std::unique_ptr<Delay> sliderDelay = std::make_unique<TimerDelay>();
        std::unique_ptr<Delay> amountDelay = std::make_unique<TimerDelay>();
        // Where unsaved edits are kept against a crash; nowhere when empty.
        QString draftsFolder = {};
        std::unique_ptr<Delay> draftDelay = std::make_unique<TimerDelay>();
        // A device in the place of one that is lost or busy without end; one apart on the same hardware when empty.
        DeviceWatch::Make makeDevice = {};
        // In the place of the video exporter.
        ExportJob::Exporter movieMaker = {};
        // How long a compile waits for the driver before the program comes later; a test may wait for it always.
        std::chrono::milliseconds compilePatience = Compilation::usualPatience;
        // The gallery that links and texts mean.
        Site site = Site::builtIn();
        // Null while there are no online services; both must outlive the model.
        AccountModel* account = nullptr;
        UpdateChecker* updates = nullptr;
    };

    explicit AppModel(Surroundings surroundings, QObject* parent = nullptr);
    ~AppModel() override;
    // What the end of a model does for the files, for a process that ends without it.
    void close();

    // ---- Start ----
    // Opens the file after "--shader", else the last one if it still exists, else the sample.
    void start(const QStringList& arguments);

    Questions& questions() const { return *questions_; }
    const Site& site() const { return site_; }

    // ---- The document ----
    Document& document() { return document_; }
    const std::optional<QString>& filePath() const { return document_.filePath(); }
    const std::string& currentText() const { return document_.currentText(); }
    const std::string& savedText() const { return document_.savedText(); }
    bool isDirty() const { return document_.isDirty(); }
    bool needsRun() const { return document_.needsRun(); }
    const std::optional<QUrl>& downloadedFrom() const { return document_.downloadedFrom(); }
    QString displayName() const { return document_.displayName(); }
    QString windowTitle() const { return document_.windowTitle(); }
    QString presetKey() const { return document_.presetKey(); }

    // Installed by the editor's view: replaces its text.
    std::function<void(const std::string&)> editorSink;
    // The same for a newer text of the same document: what was there can be undone. editorSink where there is none.
    std::function<void(const std::string&)> editorReload;

    void textChanged(std::string text) { document_.textChanged(std::move(text)); }
    void setText(const std::string& text);
    void open(const QString& path) { document_.open(path); }
    void openDownloaded(const QString& path, const QUrl& from) { document_.openDownloaded(path, from); }
    // A shader of the gallery, by its link.
    LinkOpener& links() { return links_; }
    void loadSample() { document_.loadSample(); }
    void chooseAndOpen() { document_.chooseAndOpen(); }
    void openAfterQuestion(const QString& path) { document_.openAfterQuestion(path); }
    void openSampleAfterQuestion() { document_.openSampleAfterQuestion(); }
    void newFromSample(const std::string& file) { document_.newFromSample(file); }
    void newFromEpisode(const std::string& episode, const std::string& entry) {
        document_.newFromEpisode(episode, entry);
    }
    // The same of a shader that is no sample, under a title that becomes the file's name.
    void newFromText(const std::string& title, const std::string& text) { document_.newFromText(title, text); }
    void newShader() { document_.newShader(); }
    void save(std::function<void(bool)> then = {}) { document_.save(std::move(then)); }
    void saveAs(std::function<void(bool)> then = {}) { document_.saveAs(std::move(then)); }
    void revert() { document_.revert(); }
    void confirmDiscard(std::function<void(bool)> then) { document_.confirmDiscard(std::move(then)); }
    void diskChanged() { document_.diskChanged(); }
    static QString shadersFolder() { return Document::shadersFolder(); }

    // ---- Edits that a crash has left behind ----
    using DraftOffer = Document::DraftOffer;
    std::optional<DraftOffer> draftOffer() const { return document_.draftOffer(); }
    void restoreDraft() { document_.restoreDraft(); }
    void discardDraft() { document_.discardDraft(); }

    // ---- The compile ----
    Compilation& compilation() { return compilation_; }
    void compile(const std::string& text);
    void compileNow();
    void run();
    const std::shared_ptr<const ShaderProgram>& program() const { return compilation_.program(); }
    const std::vector<Diagnostic>& diagnostics() const { return compilation_.diagnostics(); }
    // What the compiler warned of in the program that runs, on the user's lines; empty while the text does not compile.
    const std::vector<Diagnostic>& warnings() const { return compilation_.warnings(); }
    const std::optional<QString>& errorText() const { return compilation_.errorText(); }
    const std::vector<std::string>& sourceLines() const { return compilation_.sourceLines(); }
    std::optional<double> compileMillis() const { return compilation_.compileMillis(); }

    // The program to be seen: the document's own, or as long as that has none the last one of the document before.
    const std::shared_ptr<const ShaderProgram>& shownProgram() const { return compilation_.shownProgram(); }
    // The values of that program.
    const SliderValues& shownValues() const { return compilation_.shownValues(); }
    // "Showing Quicksilver's last good picture" while it is another document's; else empty.
    QString shownOwnerText() const;
    // Told by who draws: the picture is still the last program's, while the driver prepares the first frame of the one
    // to be seen.
    void setPictureWaits(bool waits) { compilation_.setPictureWaits(waits); }

    enum class State {
        empty,
        live,
        preparing, // compiled, and the driver is at work on it or its first frame
        errorWithPicture,
        errorWithOtherPicture, // of the document before
        errorWithoutPicture,
        waitingForRun
    };
    static bool isError(State state) {
        return state == State::errorWithPicture || state == State::errorWithOtherPicture ||
               state == State::errorWithoutPicture;
    }
    State state() const;
    QString statusText() const;

    // ---- The graphics device ----
    DeviceWatch& devices() { return devices_; }
    // Throws NoDevice where the system has none.
    const std::shared_ptr<gpu::Device>& device() const { return devices_.device(); }
    // Told by who draws. The program goes with its device; the next compile that succeeds runs on a new one.
    void reportDeviceLoss();
    // How long the current frame has taken so far, reported every second from the first on; 0 when it
    // has ended. A compile that succeeds meanwhile gets a new device. A shader that must wait for the old frame all the
    // same, as drivers may have it, has no program until then.
    void reportSlowFrame(double seconds) { devices_.reportSlowFrame(seconds); }
    // Whether a frame of the picture or of a video is in work, perhaps without end. A window that goes would wait for
    // it.
    bool deviceIsBusy() const;
    // The same, or a driver is at work on a program. The ordinary end of the process would wait for that, or take the
    // driver away under it.
    bool driverIsAtWork() const;
    // A sentence on why the picture stands still although nothing is wrong with the text; empty when it does not.
    QString deviceTrouble() const { return devices_.trouble(); }

    // ---- The sliders ----
    const SliderValues& values() const { return compilation_.sliders().values(); }
    const SliderValues& declaredDefaults() const { return compilation_.sliders().declaredDefaults(); }
    // Clamped into the declared range; a name that is not declared, or a value that is not finite, is ignored.
    void setValue(const std::string& name, float value);
    // All at once, each as setValue() takes it.
    void setValues(const SliderValues& values);
    void resetAllValues();
    // Changes of one slider are one step of undo until this: a drag, a key held down.
    void endSliderStep() { sliderHistory_.endStep(); }
    void undoSliders();
    void redoSliders();
    bool canUndoSliders() const { return sliderHistory_.canUndo(); }
    bool canRedoSliders() const { return sliderHistory_.canRedo(); }
    int changedValueCount() const { return compilation_.sliders().changedCount(); }
    Presets& presets() { return *presets_; }
    // Of the variations in the document's episode.
    EpisodeAmount& episodeAmount() { return episodeAmount_; }

    // ---- The clock of the preview ----
    using Tick = PreviewClock::Tick;
    Tick tick(double now);
    const PreviewClock& clock() const { return clock_; }
    void forgetLastTick() { clock_.forgetLastTick(); }
    bool paused() const { return clock_.paused(); }
    void setPaused(bool paused);
    void backToStart();
    void stepFrame();
    void setTime(double seconds);
    void setSpeed(double speed);
    // The stretch that the preview repeats; exports can take it.
    const std::optional<TimeStretch>& loop() const { return clock_.loop(); }
    void setLoop(std::optional<TimeStretch> loop);
    double time() const { return clock_.time(); }
    std::uint32_t frame() const { return clock_.frame(); }

    // ---- Pictures and videos ----
    // Asks where to put a picture of this moment, and draws and writes it beside the live picture.
    void saveStill();
    // The document's name, the clock's time, ".png".
    QString stillName() const;
    StillSaver& stills() { return *stills_; }
    ExportJob& exports() { return *exports_; }
    // What exports() holds.
    const ExportChoices& exportChoices() const { return exports_->choices(); }
    void setExportChoices(ExportChoices choices) { exports_->setChoices(std::move(choices)); }
    const ExportState& exportState() const { return exports_->state(); }
    void setExportState(ExportState state) { exports_->setState(std::move(state)); }
    const std::optional<QDateTime>& exportStartedAt() const { return exports_->startedAt(); }
    const std::shared_ptr<CancelFlag>& cancelFlag() const { return exports_->cancelFlag(); }

    // ---- Episodes ----
    // What the document is the finished shader of.
    OpenEpisode& episode() { return *episode_; }
    // What is chosen for its video.
    EpisodeExport& episodeExport() { return *episodeExport_; }

    // ---- The window ----
    bool showsEditor() const { return showsEditor_; }
    void setShowsEditor(bool shows);
    enum class Sheet { export_, account, share };
    const std::optional<Sheet>& sheet() const { return sheet_; }
    void setSheet(std::optional<Sheet> sheet);
    AccountModel* account() const { return account_; }
    UpdateChecker* updates() const { return updates_; }
    // The share in progress.
    const std::shared_ptr<ShareModel>& share() const { return share_; }
    void setShare(std::shared_ptr<ShareModel> share);
  signals:
    void documentChanged();  // file, dirty, needsRun
    void compiled();         // program, diagnostics, warnings, errorText, compileMillis, values
    void preparingChanged(); // state, shownOwnerText
    // Between the old device and the first program of the new one, which compiled() announces next.
    void deviceReplaced();
    void deviceTroubleChanged();
    void draftOfferChanged();
    void valueChanged(const QString& name);
    void valuesReset();  // several at once: reset, or a preset applied
    void clockChanged(); // a tenth of a second has passed, or the time, the speed, the loop or the pause was set
    void exportChanged();
    void sheetChanged(); // sheet, share
    void showsEditorChanged();

  private:
    void followReplaced(const QString& replaced);
    void followKey();
    void rememberSliders();
    bool takeValues(const SliderValues& values);
    void announceValues();

    Questions* questions_;
    Site site_;
    Document document_;
    LinkOpener links_;
    DeviceWatch devices_;
    Compilation compilation_;
    SliderMemory sliderMemory_;
    SliderHistory sliderHistory_;
    EpisodeAmount episodeAmount_;
    QString key_; // what presets and sliders of the document are kept under
    int ticksOfDocument_ = 0;
    std::unique_ptr<Delay> seen_ = std::make_unique<TimerDelay>();
    std::unique_ptr<Presets> presets_;
    std::unique_ptr<ExportJob> exports_;
    std::unique_ptr<StillSaver> stills_;
    std::unique_ptr<OpenEpisode> episode_;
    std::unique_ptr<EpisodeExport> episodeExport_;

    PreviewClock clock_;
    std::int64_t shownTenth_ = -1;
    bool showsEditor_ = true;
    std::optional<Sheet> sheet_;
    AccountModel* account_;
    UpdateChecker* updates_;
    std::shared_ptr<ShareModel> share_;
};

} // namespace glasshob
