#include "GlassHob/model/ProgramMaker.h"

#include "GlassHob/model/BesideWork.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace glasshob {

namespace {

// Each keeps a thread for as long as the driver needs.
constexpr int mostAtWork = 3;

ProgramMaker::Answer makeProgram(CompiledShader&& compiled, const std::shared_ptr<gpu::Device>& device) {
    try {
        return std::make_shared<const ShaderProgram>(std::move(compiled), device);
    } catch (ShaderError& error) {
        return std::unexpected(std::move(error));
    } catch (const std::exception& error) {
        return std::unexpected(ShaderError({}, error.what()));
    }
}

} // namespace

struct ProgramMaker::Order {
    CompiledShader compiled;
    std::shared_ptr<gpu::Device> device;
    Handler handler;

    std::mutex lock;
    std::condition_variable done;
    std::optional<Answer> answer;
    bool isTaken = false; // by make(), before its event arrived

    // Keeps nothing of the device alive afterwards.
    void hand() {
        const Handler to = std::exchange(handler, {});
        const Answer what = *std::exchange(answer, std::nullopt);
        to(what);
    }
};

// For the main thread, but what is atomic. Empty of its maker once that has ended.
struct ProgramMaker::Shared {
    ProgramMaker* maker = nullptr;
    std::shared_ptr<Order> waiting;
    std::atomic<int> atWork = 0;
    std::atomic<bool> hasEnded = false;
};

ProgramMaker::ProgramMaker(std::chrono::milliseconds patience)
    : patience_(patience), shared_(std::make_shared<Shared>()) {
    shared_->maker = this;
}

ProgramMaker::~ProgramMaker() {
    shared_->maker = nullptr;
    shared_->hasEnded = true;
}

void ProgramMaker::make(CompiledShader compiled, std::shared_ptr<gpu::Device> device, Handler handler) {
    auto order = std::make_shared<Order>();
    order->compiled = std::move(compiled);
    order->device = std::move(device);
    order->handler = std::move(handler);
    if (shared_->atWork >= mostAtWork) {
        shared_->waiting = std::move(order);
        return;
    }
    begin(order);
    {
        std::unique_lock held(order->lock);
        if (!order->done.wait_for(held, patience_, [&] { return order->answer.has_value(); })) return;
        order->isTaken = true;
    }
    order->hand();
}

void ProgramMaker::begin(std::shared_ptr<Order> order) {
    ++shared_->atWork;
    shared_->waiting.reset();
    runBeside([order = std::move(order), shared = shared_] {
        Answer answer = makeProgram(std::move(order->compiled), order->device);
        {
            const std::scoped_lock held(order->lock);
            order->answer = std::move(answer);
            order->device.reset();
            --shared->atWork;
        }
        order->done.notify_all();
        if (shared->hasEnded) return;
        QMetaObject::invokeMethod(
            qApp,
            [order, shared] {
                if (!shared->maker) return;
                if (shared->waiting) shared->maker->begin(shared->waiting);
                if (!order->isTaken) order->hand();
            },
            Qt::QueuedConnection);
    });
}

} // namespace glasshob
