#include "GlassHob/ui/picture/LivePicture.h"

#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/PipelineWarmer.h"
#include "GPU/Texture.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/BesideWork.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "GlassHobRender/program/ShaderRun.h"

#include <QCoreApplication>
#include <QImage>
#include <QPointer>
#include <QThread>
#include <QTimerEvent>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>

namespace glasshob {

namespace {

constexpr gpu::ClearColor emptyCanvas{0.035, 0.027, 0.03, 1.0};
constexpr std::int64_t stepsPerFrame = 4;
// A frame that takes more seconds is told to the model.
constexpr double slow = 1;
// Milliseconds between two looks at the frames in flight.
constexpr int watchInterval = 250;

} // namespace

struct LivePicture::LastEnd {
    std::mutex mutex;
    std::chrono::steady_clock::time_point time;
};

LivePicture::LivePicture(AppModel& model, QObject* parent)
    : QObject(parent), model_(model), warmer_(std::make_unique<gpu::PipelineWarmer>(model.device())),
      lastEnd_(std::make_shared<LastEnd>()) {
    if (auto queue = model.device()->makeCommandQueue()) queue_ = *queue;
    model_.devices().isDrawing = [this] { return isAtWork(); };
    clock_.start();
    connect(&model_, &AppModel::compiled, this, &LivePicture::followModel);
    connect(&model_, &AppModel::deviceReplaced, this, &LivePicture::followDevice);
    followModel();
}

LivePicture::~LivePicture() {
    model_.devices().isDrawing = {};
    letGoOfWarmer();
}

// A warmer waits for its threads when it ends, and a driver may keep them for long.
void LivePicture::letGoOfWarmer() {
    runBeside([warmer = std::shared_ptr(std::move(warmer_))] {});
}

void LivePicture::setMouse(float x, float y) {
    mouse_ = {x, y};
}

void LivePicture::followModel() {
    const auto& wanted = model_.shownProgram();
    if (wanted == shown_ || (wanted && wanted == warming_)) return;
    // The first picture has nothing to hide behind, and a real GPU has compiled already.
    if (!wanted || !shown_ || !warmer_->isUseful()) {
        show(wanted);
        return;
    }
    warming_ = wanted;
    model_.setPictureWaits(true);
    warmer_->warm(wanted->warmWork(), [self = QPointer(this), program = wanted](gpu::WarmResult result) {
        if (result == gpu::WarmResult::superseded) return;
        // A failed warming costs the live picture a pause, nothing else.
        QMetaObject::invokeMethod(
            qApp,
            [self, program] {
                if (self && self->warming_ == program) self->show(program);
            },
            Qt::QueuedConnection);
    });
}

void LivePicture::show(std::shared_ptr<const ShaderProgram> program) {
    const bool had = hasProgram();
    shown_ = std::move(program);
    warming_.reset();
    model_.setPictureWaits(false);
    drawn_.reset();
    automatic_.forget();
    if (had != hasProgram()) emit hasProgramChanged();
    if (resolution_ == PreviewResolution::automatic) emit drawnSizeChanged();
    emit programSwitched();
}

bool LivePicture::hasDevice() {
    if (!model_.device()->lost()) return true;
    model_.reportDeviceLoss();
    return false;
}

std::shared_ptr<gpu::CommandBuffer> LivePicture::beginFrame() {
    return queue_ ? queue_->commandBuffer() : nullptr;
}

void LivePicture::commit(std::shared_ptr<gpu::CommandBuffer> commandBuffer) {
    if (resolution_ == PreviewResolution::automatic) measure(*commandBuffer);
    follow(std::move(commandBuffer));
}

void LivePicture::measure(gpu::CommandBuffer& commandBuffer) {
    using Clock = std::chrono::steady_clock;
    commandBuffer.addCompletedHandler(
        [self = QPointer(this), last = lastEnd_, begun = Clock::now(), divisor = divisor()](gpu::CommandBuffer& done) {
            if (done.status() != gpu::CommandBufferStatus::completed) return;
            const auto now = Clock::now();
            Clock::time_point before;
            {
                const std::scoped_lock lock(last->mutex);
                before = std::exchange(last->time, now);
            }
            const double seconds = std::chrono::duration<double>(now - std::max(begun, before)).count();
            QMetaObject::invokeMethod(
                qApp,
                [self, seconds, divisor] {
                    if (self) self->noteFrame(seconds, divisor);
                },
                Qt::QueuedConnection);
        });
}

void LivePicture::noteFrame(double seconds, int divisor) {
    if (resolution_ != PreviewResolution::automatic || divisor != this->divisor()) return;
    // Other work of the device makes frames look slower than they are.
    if (model_.exports().isRunning() || model_.devices().isDrawingStill()) {
        automatic_.forget();
        return;
    }
    automatic_.add(seconds);
    if (this->divisor() != divisor) emit drawnSizeChanged();
}

void LivePicture::setResolution(PreviewResolution resolution) {
    if (resolution == resolution_) return;
    resolution_ = resolution;
    automatic_.forget();
    if (divisor() == 1) scaled_.reset();
    emit drawnSizeChanged();
}

int LivePicture::divisor() const {
    switch (resolution_) {
    case PreviewResolution::full: return 1;
    case PreviewResolution::half: return 2;
    case PreviewResolution::quarter: return 4;
    case PreviewResolution::automatic: break;
    }
    return shown_ && shown_->particles() ? 1 : automatic_.divisor();
}

QSize LivePicture::drawnSize(const QSize& size) const {
    const int part = divisor();
    return {(size.width() + part - 1) / part, (size.height() + part - 1) / part};
}

void LivePicture::follow(std::shared_ptr<gpu::CommandBuffer> commandBuffer) {
    commandBuffer->commit();
    inFlight_.push_back({std::move(commandBuffer), {}, false});
    inFlight_.back().since.start();
    if (!watch_.isActive()) watch_.start(watchInterval, this);
    // In the ordinary case the frames before have ended, and nothing piles up between two looks.
    if (inFlight_.size() > 4) followFrames();
}

void LivePicture::timerEvent(QTimerEvent* event) {
    if (event->timerId() == watch_.timerId())
        followFrames();
    else
        QObject::timerEvent(event);
}

void LivePicture::followFrames() {
    const auto seconds = [](const Frame& frame) { return double(frame.since.elapsed()) * 1e-3; };
    const double before = slowSeconds_;
    while (!inFlight_.empty() && inFlight_.front().commandBuffer->status() != gpu::CommandBufferStatus::committed) {
        // A frame that was only found late, because this thread was busy, is not slow.
        slowSeconds_ = inFlight_.front().seenSlow ? seconds(inFlight_.front()) : 0;
        inFlight_.pop_front();
        // The next one had to wait for it.
        if (!inFlight_.empty() && slowSeconds_ > 0) inFlight_.front().since.start();
    }
    if (inFlight_.empty()) {
        slowSeconds_ = 0;
        watch_.stop();
    }
    if (!inFlight_.empty() && seconds(inFlight_.front()) > slow) inFlight_.front().seenSlow = true;
    if (!inFlight_.empty() && inFlight_.front().seenSlow)
        slowSeconds_ = std::max(slowSeconds_, seconds(inFlight_.front()));
    if (slowSeconds_ > 0 || before > 0) model_.reportSlowFrame(slowSeconds_);
}

void LivePicture::followDevice() {
    letGoOfWarmer();
    warmer_ = std::make_unique<gpu::PipelineWarmer>(model_.device());
    shown_.reset();
    warming_.reset();
    model_.setPictureWaits(false);
    run_.reset();
    drawn_.reset();
    scaled_.reset();
    overlays_.followDevice();
    inFlight_.clear();
    watch_.stop();
    slowSeconds_ = 0;
    queue_.reset();
    if (auto queue = model_.device()->makeCommandQueue()) queue_ = *queue;
    emit deviceReplaced();
}

bool LivePicture::encode(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target) {
    const QSize size(int(target->width()), int(target->height()));
    if (std::exchange(frameSize_, size) != size) automatic_.forget();
    passTime();
    const int divisor = shown_ ? this->divisor() : 1;
    const QSize part = drawnSize(size);
    if (shown_ && values_ != valuesToDraw()) values_ = valuesToDraw();
    std::shared_ptr<gpu::Texture> small;
    if (divisor > 1)
        small = scaled_.target(*model_.device(), std::uint32_t(part.width()), std::uint32_t(part.height()));
    const bool isRecorded = small ? encodePicture(commandBuffer, small, divisor, lastTick_, values_, nullptr) &&
                                        encodeScaled(commandBuffer, target)
                                  : encodePicture(commandBuffer, target, 1, lastTick_, values_, &overlays_);
    drawn_.reset();
    if (isRecorded && !isBehind(lastTick_)) drawn_ = contentOf(frameSize_, lastTick_);
    return isRecorded;
}

bool LivePicture::encodeScaled(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target) {
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = target;
    pass.colorAttachments[0].loadAction = gpu::LoadAction::dontCare;
    gpu::RenderCommandEncoder* encoder = commandBuffer.makeRenderCommandEncoder(pass);
    if (!encoder) return false;
    scaled_.draw(*encoder, model_.device());
    overlays_.draw(*encoder, model_.device());
    encoder->endEncoding();
    return true;
}

void LivePicture::passTime() {
    lastTick_ = model_.tick(double(clock_.nsecsElapsed()) * 1e-9);
}

bool LivePicture::isSettled(const QSize& size) const {
    if (!drawn_ || drawn_->program != shown_) return false;
    if (shown_ && ((shown_->pictureInputs().moves() && !model_.paused()) || values_ != valuesToDraw())) return false;
    return *drawn_ == contentOf(size, model_.clock().moment());
}

bool LivePicture::isAtWork() const {
    return std::ranges::any_of(inFlight_, [](const Frame& frame) {
        return frame.commandBuffer->status() == gpu::CommandBufferStatus::committed;
    });
}

bool LivePicture::finishes() const {
    constexpr qint64 moment = 50; // milliseconds
    QElapsedTimer waiting;
    waiting.start();
    while (isAtWork() && waiting.elapsed() < moment)
        QThread::msleep(1);
    return !isAtWork();
}

bool LivePicture::isBehind(const PreviewClock::Tick& tick) const {
    const ParticleSimulation* particles = run_ ? run_->simulation() : nullptr;
    return particles && particles->step() < ParticleSimulation::stepIndex(double(tick.time));
}

bool LivePicture::Content::operator==(const Content& other) const {
    return program == other.program && size == other.size && drawnSize == other.drawnSize &&
           overlays == other.overlays && std::memcmp(&uniforms, &other.uniforms, sizeof uniforms) == 0;
}

GHUniforms LivePicture::uniformsOf(const QSize& size, int divisor, const PreviewClock::Tick& tick) const {
    GHUniforms uniforms;
    uniforms.resolution[0] = float(size.width());
    uniforms.resolution[1] = float(size.height());
    uniforms.time = tick.time;
    uniforms.timeDelta = tick.timeDelta;
    uniforms.frame = tick.frame;
    uniforms.mouse[0] = mouse_ ? mouse_->first / float(divisor) : uniforms.resolution[0] * 0.5f;
    uniforms.mouse[1] = mouse_ ? mouse_->second / float(divisor) : uniforms.resolution[1] * 0.5f;
    return uniforms;
}

// While the next program is warmed up, the values are those that its predecessor had.
const SliderValues& LivePicture::valuesToDraw() const {
    return shown_ == model_.shownProgram() ? model_.shownValues() : values_;
}

LivePicture::Content LivePicture::contentOf(const QSize& size, const PreviewClock::Tick& tick) const {
    const QSize part = drawnSize(size);
    Content content{shown_, size, part, uniformsOf(part, divisor(), tick), overlays_.revision()};
    if (!shown_) {
        content.uniforms = {};
        return content;
    }
    const PictureInputs& reads = shown_->pictureInputs();
    if (!reads.time) content.uniforms.time = 0;
    if (!reads.timeDelta) content.uniforms.timeDelta = 0;
    if (!reads.frame) content.uniforms.frame = 0;
    if (!reads.mouse) content.uniforms.mouse[0] = content.uniforms.mouse[1] = 0;
    return content;
}

bool LivePicture::encodePicture(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target,
                                int divisor, const PreviewClock::Tick& tick, const SliderValues& values,
                                PictureOverlays* overlays) {
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = target;
    pass.colorAttachments[0].clearColor = emptyCanvas;
    if (!shown_) {
        run_.reset();
        pass.colorAttachments[0].loadAction = gpu::LoadAction::clear;
        gpu::RenderCommandEncoder* encoder = commandBuffer.makeRenderCommandEncoder(pass);
        if (encoder) encoder->endEncoding();
        return encoder != nullptr;
    }

    const GHUniforms uniforms = uniformsOf(QSize(int(target->width()), int(target->height())), divisor, tick);
    const std::int64_t width = target->width(), height = target->height();
    if (!ShaderRun::needsRun(*shown_)) {
        run_.reset();
    } else {
        if (!run_ || run_->program() != shown_ || run_->width() != width || run_->height() != height)
            run_ = ShaderRun::make(shown_, model_.device(), width, height);
        if (run_) run_->encode(uniforms, commandBuffer, values, stepsPerFrame);
    }
    pass.colorAttachments[0].loadAction = shown_->pictureLoadAction();
    gpu::RenderCommandEncoder* encoder = commandBuffer.makeRenderCommandEncoder(pass);
    if (!encoder) return false;
    shown_->encodePicture(*encoder, uniforms, values, run_.get());
    if (overlays) overlays->draw(*encoder, model_.device());
    encoder->endEncoding();
    return true;
}

void LivePicture::capture(const QSize& whole, std::function<void(std::optional<QImage>)> done) {
    // Particles of another size would start again; the others are drawn whole.
    const int divisor = shown_ && shown_->particles() ? this->divisor() : 1;
    const QSize size = divisor > 1 ? drawnSize(whole) : whole;
    auto answer = [done = std::move(done)](std::optional<QImage> image) {
        QMetaObject::invokeMethod(
            qApp, [done, image = std::move(image)]() mutable { done(std::move(image)); }, Qt::QueuedConnection);
    };
    gpu::TextureDescriptor descriptor;
    descriptor.width = std::uint32_t(size.width());
    descriptor.height = std::uint32_t(size.height());
    descriptor.storage = gpu::StorageMode::shared;
    descriptor.usage = {.shaderRead = false, .renderTarget = true};
    std::shared_ptr<gpu::Texture> texture;
    if (shown_ && !size.isEmpty()) texture = model_.device()->makeTexture(descriptor).value_or(nullptr);
    const std::shared_ptr<gpu::CommandBuffer> commandBuffer = texture ? beginFrame() : nullptr;
    // No time has passed since the frame on the screen.
    PreviewClock::Tick tick = lastTick_;
    tick.timeDelta = 0;
    if (!commandBuffer || !encodePicture(*commandBuffer, texture, divisor, tick, valuesToDraw(), nullptr)) {
        answer(std::nullopt);
        return;
    }
    commandBuffer->addCompletedHandler([answer, texture](gpu::CommandBuffer& finished) {
        const auto* bytes = reinterpret_cast<const uchar*>(texture->contents());
        if (finished.status() != gpu::CommandBufferStatus::completed || !bytes) {
            answer(std::nullopt);
            return;
        }
        answer(QImage(bytes, int(texture->width()), int(texture->height()), qsizetype(texture->rowBytes()),
                      QImage::Format_RGB32)
                   .copy());
    });
    follow(commandBuffer);
}

void LivePicture::rest() {
    model_.forgetLastTick();
}

} // namespace glasshob
