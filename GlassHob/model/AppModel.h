// The document, its live compile, the slider values and the clock of one window. It knows no widget: views read it,
// listen to its signals and call its operations; questions go through an interface.
//
// Main thread only. A compile runs inside the call (it is bounded in time by the compiler's live limit). A failed
// compile leaves the last good program and the values as they are. Texts are the exact bytes of the file.
#pragma once

#include "GPU/Error.h"
#include "GlassHob/model/Delay.h"
#include "GlassHob/model/Drafts.h"
#include "GlassHob/model/ExportJob.h"
#include "GlassHob/model/ExportState.h"
#include "GlassHob/model/Presets.h"
#include "GlassHob/model/PreviewClock.h"
#include "GlassHob/model/Questions.h"
#include "GlassHob/model/SliderBank.h"
#include "GlassHobCore/code/Diagnostics.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace gpu {
class Device;
}

namespace glasshob {

class AccountModel;
class FileWatcher;
class ShareModel;
class ShaderProgram;
class UpdateChecker;

// what() is a sentence for people.
struct NoDevice : std::runtime_error {
    using runtime_error::runtime_error;
};

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
        // Where unsaved edits are kept against a crash; nowhere when empty.
        QString draftsFolder = {};
        // A device in the place of one that is lost or busy without end; one apart on the same hardware when empty.
        std::function<gpu::Result<std::shared_ptr<gpu::Device>>()> makeDevice = {};
        // In the place of the video exporter.
        ExportJob::Maker movieMaker = {};
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

    // ---- The document ----
    const std::optional<QString>& filePath() const { return filePath_; } // absolute; none while the sample is shown
    const std::string& currentText() const { return currentText_; }
    const std::string& savedText() const { return savedText_; }
    bool isDirty() const { return isDirty_; }
    bool needsRun() const { return needsRun_; }
    const std::optional<QUrl>& downloadedFrom() const { return downloadedFrom_; }
    QString displayName() const;
    QString windowTitle() const;
    QString presetKey() const;

    // Installed by the editor's view: replaces its text.
    std::function<void(const std::string&)> editorSink;

    void textChanged(std::string text);
    void setText(const std::string& text);
    void open(const QString& path);
    // A shader that has been fetched from the gallery into this file: shown, and not compiled before run().
    void openDownloaded(const QString& path, const QUrl& from);
    void loadSample();
    // Each asks first when there are unsaved edits.
    void chooseAndOpen();
    void openAfterQuestion(const QString& path);
    void openSampleAfterQuestion();
    // A copy of the bundled sample, in the folder of new shaders: one that is unchanged still, else a new one.
    void newFromSample(const std::string& file);
    void newShader();
    // `then` hears whether the text was saved.
    void save(std::function<void(bool)> then = {});
    void saveAs(std::function<void(bool)> then = {});
    void revert();
    // `then` hears whether to go on with what would replace the document.
    void confirmDiscard(std::function<void(bool)> then);
    void diskChanged();
    // Where new shaders live; made when first needed.
    static QString shadersFolder();

    // ---- Edits that a crash has left behind ----
    struct DraftOffer {
        QString name;
        QDateTime when;
    };
    // The newest, found at the start. It waits for an answer, if need be to the next start.
    std::optional<DraftOffer> draftOffer() const;
    // Opens its document with the edits, unsaved; asks first when there are unsaved edits already.
    void restoreDraft();
    // Deletes it; an older one may be offered next.
    void discardDraft();

    // ---- The compile ----
    void compile(const std::string& text);
    void compileNow();
    void run();
    const std::shared_ptr<const ShaderProgram>& program() const { return program_; }
    const std::vector<Diagnostic>& diagnostics() const { return diagnostics_; }
    // What the compiler warned of in the program that runs, on the user's lines; empty while the text does not compile.
    const std::vector<Diagnostic>& warnings() const { return warnings_; }
    const std::optional<QString>& errorText() const { return errorText_; }
    const std::vector<std::string>& sourceLines() const { return sourceLines_; }
    std::optional<double> compileMillis() const { return compileMillis_; }

    enum class State { empty, live, errorWithPicture, errorWithoutPicture, waitingForRun };
    State state() const;
    QString statusText() const;

    // ---- The graphics device ----
    // Throws NoDevice where the system has none.
    const std::shared_ptr<gpu::Device>& device() const;
    // Told by who draws. The program goes with its device; the next compile that succeeds runs on a new one.
    void reportDeviceLoss();
    // How long a frame has been in work by now, from a second on, told about every second while it lasts; 0 when it
    // has ended. A compile that succeeds meanwhile gets a new device. A shader that must wait for the old frame all the
    // same, as drivers may have it, has no program until then.
    void reportSlowFrame(double seconds);
    // Whether the ordinary end of the process would wait for a frame, the picture's or a video's, perhaps without end.
    bool deviceIsBusy() const;
    // A sentence on why the picture stands still although nothing is wrong with the text; empty when it does not.
    QString deviceTrouble() const;

    // ---- The sliders ----
    const SliderValues& values() const { return sliders_.values(); }
    const SliderValues& declaredDefaults() const { return sliders_.declaredDefaults(); }
    // Clamped into the declared range; a name that is not declared, or a value that is not finite, is ignored.
    void setValue(const std::string& name, float value);
    // All at once, each as setValue() takes it.
    void setValues(const SliderValues& values);
    void resetAllValues();
    int changedValueCount() const { return sliders_.changedCount(); }
    Presets& presets() { return *presets_; }

    // ---- The clock of the preview ----
    using Tick = PreviewClock::Tick;
    Tick tick(double now);
    void forgetLastTick() { clock_.forgetLastTick(); }
    bool paused() const { return clock_.paused(); }
    void setPaused(bool paused);
    void backToStart();
    void stepFrame();
    double time() const { return clock_.time(); }
    std::uint32_t frame() const { return clock_.frame(); }

    // ---- Pictures and videos ----
    // Asks where to put a picture of this moment, and draws and writes it beside the live picture.
    void saveStill();
    // The document's name, the clock's time, ".png".
    QString stillName() const;
    ExportJob& exports() { return *exports_; }
    const ExportChoices& exportChoices() const { return exportChoices_; }
    void setExportChoices(ExportChoices choices);
    const ExportState& exportState() const { return exportState_; }
    // The first running state after another one is the start of an export, and takes the flag back.
    void setExportState(ExportState state);
    // When the export began that runs, or ran last.
    const std::optional<QDateTime>& exportStartedAt() const { return exportStartedAt_; }
    // Shared with the thread of the export.
    const std::shared_ptr<CancelFlag>& cancelFlag() const { return cancelFlag_; }

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
    void documentChanged(); // file, dirty, needsRun
    void compiled();        // program, diagnostics, warnings, errorText, compileMillis, values
    // Between the old device and the first program of the new one, which compiled() announces next.
    void deviceReplaced();
    void deviceTroubleChanged();
    void draftOfferChanged();
    void valueChanged(const QString& name);
    void valuesReset();  // several at once: reset, or a preset applied
    void clockChanged(); // a tenth of a second has passed, or pause, step and start were pressed
    void exportChanged();
    void sheetChanged(); // sheet, share
    void showsEditorChanged();

  private:
    // The document; in AppModelDocument.cpp.
    void setDirty();
    void showDocument(std::optional<QString> path, bool needsRun, std::optional<QUrl> downloadedFrom);
    void rememberAsLast();
    void takeDraft();
    void keepDraft();
    bool diskIsAhead();
    void loadFromDisk(const std::string& text);
    void writeTo(const QString& path, std::function<void(bool)> then);

    void takeProgram(std::shared_ptr<const ShaderProgram> program);
    void fail(std::vector<Diagnostic> diagnostics, const QString& text);
    gpu::Result<std::shared_ptr<gpu::Device>> deviceForCompile();

    mutable std::shared_ptr<gpu::Device> device_; // see device()
    // Made for a compile while device_ is of no use; takes its place when a compile succeeds.
    std::shared_ptr<gpu::Device> spareDevice_;
    std::function<gpu::Result<std::shared_ptr<gpu::Device>>()> makeDevice_;
    bool deviceLost_ = false;
    double slowFrameSeconds_ = 0;
    int stillsInWork_ = 0;
    Questions* questions_;
    std::unique_ptr<Delay> pendingCompile_;

    std::optional<QString> filePath_;
    std::string currentText_;
    std::string savedText_;
    bool isDirty_ = false;
    bool needsRun_ = false;
    std::optional<QUrl> downloadedFrom_;
    std::unique_ptr<FileWatcher> watcher_;
    bool conflictShowing_ = false;
    // Who waits for the answer of the question about unsaved edits that is up.
    std::function<void(bool)> waitingForDiscard_;
    // The person has said that the edits as they are may go.
    bool discardAgreed_ = false;
    Drafts drafts_;
    std::vector<Drafts::Found> draftsFound_;

    std::shared_ptr<const ShaderProgram> program_;
    std::vector<Diagnostic> diagnostics_;
    std::vector<Diagnostic> warnings_;
    std::optional<QString> errorText_;
    std::vector<std::string> sourceLines_;
    std::optional<double> compileMillis_;
    SliderBank sliders_;
    std::unique_ptr<Presets> presets_;
    std::unique_ptr<ExportJob> exports_;

    PreviewClock clock_;
    std::int64_t shownTenth_ = -1;
    ExportChoices exportChoices_;
    ExportState exportState_;
    std::optional<QDateTime> exportStartedAt_;
    std::shared_ptr<CancelFlag> cancelFlag_ = std::make_shared<CancelFlag>();
    bool showsEditor_ = true;
    std::optional<Sheet> sheet_;
    AccountModel* account_;
    UpdateChecker* updates_;
    std::shared_ptr<ShareModel> share_;
};

} // namespace glasshob
