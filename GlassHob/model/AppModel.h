// The document, its live compile, the slider values and the clock of one window. It knows no widget: views read it,
// listen to its signals and call its operations; questions go through an interface.
//
// Main thread only. A compile runs inside the call (it is bounded in time by the compiler's live limit). A failed
// compile leaves the last good program and the values as they are. Texts are the exact bytes of the file.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/Presets.h"
#include "GlassHob/model/Questions.h"
#include "GlassHobCore/Diagnostics.h"
#include "GlassHobCore/Params.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace gpu {
class Device;
}

namespace glasshob {

class FileWatcher;
class ShaderProgram;

class AppModel : public QObject {
    Q_OBJECT
  public:
    // What the model needs from outside; tests hand in their own.
    struct Surroundings {
        std::shared_ptr<gpu::Device> device;
        // Must outlive the model.
        Questions* questions = nullptr;
        std::unique_ptr<Delay> compileDelay = std::make_unique<TimerDelay>();
        PresetStore presetStore = PresetStore();
    };

    explicit AppModel(Surroundings surroundings, QObject* parent = nullptr);
    ~AppModel() override;

    // ---- Start ----
    // Opens the file after "--shader", else the last one if it still exists, else the sample.
    void start(const QStringList& arguments);

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

    // ---- The compile ----
    void compile(const std::string& text);
    void compileNow();
    void run();
    const std::shared_ptr<gpu::Device>& device() const { return device_; }
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

    // ---- The sliders ----
    const SliderValues& values() const { return values_; }
    const SliderValues& declaredDefaults() const { return declaredDefaults_; }
    // Clamped into the declared range; a name that is not declared, or a value that is not finite, is ignored.
    void setValue(const std::string& name, float value);
    // All at once, each as setValue() takes it.
    void setValues(const SliderValues& values);
    void resetAllValues();
    int changedValueCount() const;
    Presets& presets() { return *presets_; }

    // ---- The clock of the preview ----
    struct Tick {
        float time;
        float timeDelta;
        std::uint32_t frame;
    };
    // `now` in seconds of a clock that never goes back. Called by the canvas, once for each frame.
    Tick tick(double now);
    // No frame has been drawn for a while: the next one starts without a leap.
    void forgetLastTick() { lastTick_.reset(); }
    bool paused() const { return paused_; }
    void setPaused(bool paused);
    void backToStart();
    double time() const { return time_; }
    std::uint32_t frame() const { return frame_; }

    // Asks where to put a picture of this moment, and draws and writes it beside the live picture.
    void saveStill();
    // The document's name, the clock's time, ".png".
    QString stillName() const;

    bool showsEditor() const { return showsEditor_; }
    void setShowsEditor(bool shows);

  signals:
    void documentChanged(); // file, dirty, needsRun
    void compiled();        // program, diagnostics, warnings, errorText, compileMillis, values
    void valueChanged(const QString& name);
    void valuesReset();  // several at once: reset, or a preset applied
    void clockChanged(); // a tenth of a second has passed, or pause and start were pressed
    void showsEditorChanged();

  private:
    void setDirty();
    bool takeValue(const std::string& name, float value);
    void takeProgram(std::shared_ptr<const ShaderProgram> program);
    void writeTo(const QString& path, std::function<void(bool)> then);
    void watchFile();
    void fail(std::vector<Diagnostic> diagnostics, const QString& text);

    std::shared_ptr<gpu::Device> device_;
    Questions* questions_;
    std::unique_ptr<Delay> pendingCompile_;
    std::unique_ptr<Presets> presets_;

    std::optional<QString> filePath_;
    std::string currentText_;
    std::string savedText_;
    bool isDirty_ = false;
    bool needsRun_ = false;
    std::optional<QUrl> downloadedFrom_;
    std::unique_ptr<FileWatcher> watcher_;
    bool conflictShowing_ = false;

    std::shared_ptr<const ShaderProgram> program_;
    std::vector<Diagnostic> diagnostics_;
    std::vector<Diagnostic> warnings_;
    std::optional<QString> errorText_;
    std::vector<std::string> sourceLines_;
    std::optional<double> compileMillis_;
    SliderValues values_;
    SliderValues declaredDefaults_;

    bool paused_ = false;
    bool showsEditor_ = true;
    double time_ = 0;
    std::optional<double> lastTick_;
    std::uint32_t frame_ = 0;
    std::int64_t shownTenth_ = -1;
};

} // namespace glasshob
