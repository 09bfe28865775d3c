#include "GlassHob/model/Compilation.h"

#include "GPU/Device.h"
#include "GlassHob/model/DeviceWatch.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/program/ShaderCompiler.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <utility>

namespace glasshob {

namespace {

constexpr double compileDelay = 0.3; // seconds
// Milliseconds after which a driver that is at work on the pipelines is told about.
constexpr int longPreparation = 250;

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

Compilation::Compilation(DeviceWatch& devices, std::unique_ptr<Delay> delay, std::chrono::milliseconds patience)
    : devices_(devices), delay_(std::move(delay)), maker_(patience) {
    preparesLong_.setSingleShot(true);
    connect(&preparesLong_, &QTimer::timeout, this, &Compilation::prepare);
    pictureWaitsLong_.setSingleShot(true);
    connect(&pictureWaitsLong_, &QTimer::timeout, this, [this] { tellPictureLate(true); });
}

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
    const std::uint64_t generation = ++newest_;
    auto compiled = ShaderProgram::compile(text, **device, ShaderCompiler::liveTimeLimit);
    if (!compiled) {
        compileMillis_.reset();
        fail(std::move(compiled.error().diagnostics), asQString(compiled.error().raw));
        return;
    }
    const auto isAnswered = std::make_shared<bool>(false);
    maker_.make(std::move(*compiled), *device,
                [this, isAnswered, started, generation, device = *device](const ProgramMaker::Answer& answer) {
                    *isAnswered = true;
                    finish(generation, started, device, answer);
                });
    if (*isAnswered) return;
    if (program_)
        preparesLong_.start(longPreparation);
    else
        prepare();
}

void Compilation::finish(std::uint64_t generation, std::chrono::steady_clock::time_point started,
                         const std::shared_ptr<gpu::Device>& device, const ProgramMaker::Answer& answer) {
    // Of a text that a newer program has overtaken, or of another document.
    if (generation <= shown_) return;
    const bool isNewest = generation == newest_;
    if (answer) {
        shown_ = generation;
        if (isNewest)
            compileMillis_ =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
        take(*answer, isNewest);
    } else if (device->lost() && device == devices_.device()) {
        emit deviceLost();
    } else if (isNewest) {
        compileMillis_.reset();
        fail(answer.error().diagnostics, asQString(answer.error().raw));
    }
}

void Compilation::endPreparing() {
    preparesLong_.stop();
    isPreparing_ = false;
}

void Compilation::prepare() {
    isPreparing_ = true;
    diagnostics_.clear();
    warnings_.clear();
    errorText_.reset();
    compileMillis_.reset();
    emit compiled();
}

void Compilation::noteSeen(const QString& owner) {
    if (pictureWaits_ && !seenOwner_.isEmpty()) return;
    seenOwner_ = owner;
    // compiled() tells it.
    if (pictureWaits_ && !seenOwner_.isEmpty()) isPictureLate_ = true;
}

void Compilation::setPictureWaits(bool waits) {
    if (waits == pictureWaits_) return;
    pictureWaits_ = waits;
    pictureWaitsLong_.stop();
    // Another document's picture is told of at once, and a newer one of the same when it takes long.
    if (!waits)
        tellPictureLate(false);
    else if (!seenOwner_.isEmpty())
        tellPictureLate(true);
    else
        pictureWaitsLong_.start(longPreparation);
}

void Compilation::tellPictureLate(bool isLate) {
    if (isLate == isPictureLate_) return;
    isPictureLate_ = isLate;
    emit preparingChanged();
}

void Compilation::fail(std::vector<Diagnostic> diagnostics, const QString& text) {
    endPreparing();
    diagnostics_ = std::move(diagnostics);
    warnings_.clear();
    errorText_ = text;
    emit compiled();
}

void Compilation::take(std::shared_ptr<const ShaderProgram> program, bool isNewest) {
    noteSeen(program_ ? QString() : left_.owner);
    program_ = std::move(program);
    left_ = {};
    // An older text's program may come while a newer one is made, or has failed: then only the picture is new.
    if (isNewest) {
        endPreparing();
        diagnostics_.clear();
        warnings_ = program_->warnings();
        std::erase_if(warnings_, [](const Diagnostic& warning) { return warning.line <= 0; });
        errorText_.reset();
    }
    sliders_.carryOver(program_->params());
    devices_.moveTo(program_->device());
    emit compiled();
}

void Compilation::begin(const QString& name) {
    if (program_) noteSeen(name);
    if (program_) left_ = {std::exchange(program_, nullptr), sliders_.values(), name};
    sliders_ = {};
    forgetOrders();
    endPreparing();
    diagnostics_.clear();
    warnings_.clear();
    errorText_.reset();
    compileMillis_.reset();
}

void Compilation::reset() {
    begin({});
    left_ = {};
    emit compiled();
}

void Compilation::dropProgram() {
    forgetOrders();
    endPreparing();
    program_.reset();
    left_ = {};
    compileMillis_.reset();
    emit compiled();
}

} // namespace glasshob
