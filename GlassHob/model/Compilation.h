// The live compile of the open document: the text becomes a program, or messages. A failed compile leaves the last good
// program of the document and its slider values as they are.
// Main thread; owned by the model. A compile runs inside the call: the compiler's live limit bounds its time.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/SliderBank.h"
#include "GlassHobCore/code/Diagnostics.h"

#include <QObject>
#include <QString>

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
    Compilation(DeviceWatch& devices, std::unique_ptr<Delay> delay);
    ~Compilation() override;

    // Compiles what `text` gives 0.3 seconds from now; one that still waits is given up.
    void compileLater(std::function<void()> compile);
    void cancelLater() { delay_->cancel(); }
    void compile(const std::string& text);
    // The text was given to be compiled, but is not: it waits to be read.
    void keepLines(const std::string& text);
    // A failure that is not the compiler's, in whole sentences.
    void fail(std::vector<Diagnostic> diagnostics, const QString& text);
    // Nothing runs and nothing is wrong.
    void reset();
    // The program's device was lost.
    void dropProgram();

    const std::shared_ptr<const ShaderProgram>& program() const { return program_; }
    const std::vector<Diagnostic>& diagnostics() const { return diagnostics_; }
    const std::vector<Diagnostic>& warnings() const { return warnings_; }
    const std::optional<QString>& errorText() const { return errorText_; }
    const std::vector<std::string>& sourceLines() const { return sourceLines_; }
    std::optional<double> compileMillis() const { return compileMillis_; }
    SliderBank& sliders() { return sliders_; }
    const SliderBank& sliders() const { return sliders_; }

  signals:
    void compiled();
    void deviceLost(); // met by a compile

  private:
    void take(std::shared_ptr<const ShaderProgram> program);

    DeviceWatch& devices_;
    std::unique_ptr<Delay> delay_;
    std::shared_ptr<const ShaderProgram> program_;
    std::vector<Diagnostic> diagnostics_;
    std::vector<Diagnostic> warnings_;
    std::optional<QString> errorText_;
    std::vector<std::string> sourceLines_;
    std::optional<double> compileMillis_;
    SliderBank sliders_;
};

} // namespace glasshob
