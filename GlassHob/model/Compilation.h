// The live compile of the open document: the text becomes a program, or messages. A failed compile leaves the last good
// program of the document and its slider values as they are. A document without a good program yet has no values
// either; until then the previous document's picture stays, with its own values.
//
// Main thread; owned by the model. The compiler runs inside compile() and is bounded in time by its live limit. The
// driver makes the pipelines beside the main thread: in the usual case they are there before compile() returns.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/ProgramMaker.h"
#include "GlassHob/model/SliderBank.h"
#include "GlassHobCore/code/Diagnostics.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace gpu {
class Device;
}

namespace glasshob {

class DeviceWatch;
class ShaderProgram;

class Compilation : public QObject {
    Q_OBJECT
  public:
    // How long compile() waits for the pipelines before it leaves them to come later.
    static constexpr std::chrono::milliseconds usualPatience{20};

    Compilation(DeviceWatch& devices, std::unique_ptr<Delay> delay, std::chrono::milliseconds patience);
    ~Compilation() override;

    // Compiles what `text` gives 0.3 seconds from now; one that still waits is given up.
    void compileLater(std::function<void()> compile);
    void cancelLater() { delay_->cancel(); }
    void compile(const std::string& text);
    // The text was given to be compiled, but is not: it waits to be read.
    void keepLines(const std::string& text);
    // A failure that is not the compiler's, in whole sentences.
    void fail(std::vector<Diagnostic> diagnostics, const QString& text);
    // Another document is open; `name` is what people call the one before.
    void begin(const QString& name);
    // Nothing runs and nothing is wrong.
    void reset();
    // The device of all programs was lost.
    void dropProgram();

    const std::shared_ptr<const ShaderProgram>& program() const { return program_; }
    // The newest text has compiled, and the driver is still at work on it, or on the first frame of its program.
    bool isPreparing() const { return isPreparing_ || isPictureLate_; }
    // Told by who draws: the program to be seen is not seen yet, as the driver prepares its first frame, and the
    // picture is still the last program's.
    void setPictureWaits(bool waits);
    // What is to be seen: the program of the document, or the last one of the document before, with its values and the
    // name of that document.
    const std::shared_ptr<const ShaderProgram>& shownProgram() const { return program_ ? program_ : left_.program; }
    const SliderValues& shownValues() const { return program_ ? sliders_.values() : left_.values; }
    // Whose picture is on the screen; empty when it is the document's own, or there is none.
    const QString& shownOwner() const { return pictureWaits_ ? seenOwner_ : left_.owner; }
    const std::vector<Diagnostic>& diagnostics() const { return diagnostics_; }
    const std::vector<Diagnostic>& warnings() const { return warnings_; }
    const std::optional<QString>& errorText() const { return errorText_; }
    const std::vector<std::string>& sourceLines() const { return sourceLines_; }
    std::optional<double> compileMillis() const { return compileMillis_; }
    SliderBank& sliders() { return sliders_; }
    const SliderBank& sliders() const { return sliders_; }

  signals:
    void compiled();
    // Between two of those: isPreparing() or shownOwner() is another one.
    void preparingChanged();
    void deviceLost(); // met by a compile

  private:
    void finish(std::uint64_t generation, std::chrono::steady_clock::time_point started,
                const std::shared_ptr<gpu::Device>& device, const ProgramMaker::Answer& answer);
    void take(std::shared_ptr<const ShaderProgram> program, bool isNewest);
    void prepare();
    void endPreparing();
    void forgetOrders() { shown_ = newest_; }
    // The program to be seen becomes another one; `owner` is whose picture has been seen so far.
    void noteSeen(const QString& owner);
    void tellPictureLate(bool isLate);

    DeviceWatch& devices_;
    std::unique_ptr<Delay> delay_;
    std::shared_ptr<const ShaderProgram> program_;
    std::vector<Diagnostic> diagnostics_;
    std::vector<Diagnostic> warnings_;
    std::optional<QString> errorText_;
    std::vector<std::string> sourceLines_;
    std::optional<double> compileMillis_;
    SliderBank sliders_;
    // The picture of the document before, as long as this one has none.
    struct Left {
        std::shared_ptr<const ShaderProgram> program;
        SliderValues values;
        QString owner;
    };
    Left left_;

    ProgramMaker maker_;
    // Texts are counted: the newest one given to the compiler, and the one whose program is the document's.
    std::uint64_t newest_ = 0, shown_ = 0;
    bool isPreparing_ = false;
    QTimer preparesLong_;
    bool pictureWaits_ = false, isPictureLate_ = false;
    QString seenOwner_; // of the picture on the screen, while another one waits
    QTimer pictureWaitsLong_;
};

} // namespace glasshob
