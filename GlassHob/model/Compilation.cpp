#include "GlassHob/model/Compilation.h"

#include "GPU/Device.h"
#include "GlassHob/model/DeviceWatch.h"
#include "GlassHobRender/program/ShaderCompiler.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <chrono>

namespace glasshob {

namespace {

constexpr double compileDelay = 0.3; // seconds

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

Compilation::Compilation(DeviceWatch& devices, std::unique_ptr<Delay> delay)
    : devices_(devices), delay_(std::move(delay)) {}

Compilation::~Compilation() = default;

void Compilation::compileLater(std::function<void()> compile) {
    delay_->start(compileDelay, std::move(compile));
}

void Compilation::keepLines(const std::string& text) {
    sourceLines_ = linesOf(text);
}

void Compilation::compile(const std::string& text) {
    keepLines(text);
    const auto device = devices_.forCompile();
    if (!device) {
        fail({}, asQString(device.error().description()));
        return;
    }
    const auto started = std::chrono::steady_clock::now();
    try {
        auto program = std::make_shared<const ShaderProgram>(text, *device, gpu::PixelFormat::bgra8Unorm,
                                                             ShaderCompiler::liveTimeLimit);
        compileMillis_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
        take(std::move(program));
    } catch (const ShaderError& error) {
        if ((*device)->lost() && *device == devices_.device()) {
            emit deviceLost();
        } else {
            compileMillis_.reset();
            fail(error.diagnostics, asQString(error.raw));
        }
    } catch (const std::exception& error) {
        fail({}, QString::fromUtf8(error.what()));
    }
}

void Compilation::fail(std::vector<Diagnostic> diagnostics, const QString& text) {
    diagnostics_ = std::move(diagnostics);
    warnings_.clear();
    errorText_ = text;
    emit compiled();
}

void Compilation::take(std::shared_ptr<const ShaderProgram> program) {
    program_ = std::move(program);
    diagnostics_.clear();
    warnings_ = program_->warnings();
    std::erase_if(warnings_, [](const Diagnostic& warning) { return warning.line <= 0; });
    errorText_.reset();
    sliders_.carryOver(program_->params());
    devices_.moveTo(program_->device());
    emit compiled();
}

void Compilation::reset() {
    program_.reset();
    diagnostics_.clear();
    warnings_.clear();
    errorText_.reset();
    compileMillis_.reset();
    emit compiled();
}

void Compilation::dropProgram() {
    program_.reset();
    compileMillis_.reset();
    emit compiled();
}

} // namespace glasshob
