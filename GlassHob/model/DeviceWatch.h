// The graphics device of the window, and what is wrong with it: lost, or busy with one frame for very long. A compile
// that succeeds during it moves to another device, and the old one is retired.
// Main thread; owned by the model.
#pragma once

#include "GPU/Error.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <stdexcept>

namespace gpu {
class Device;
}

namespace glasshob {

// what() is a sentence for people.
struct NoDevice : std::runtime_error {
    using runtime_error::runtime_error;
};

class DeviceWatch : public QObject {
    Q_OBJECT
  public:
    using Make = std::function<gpu::Result<std::shared_ptr<gpu::Device>>()>;

    // Without a device the system's is taken when it is first asked for. `make` gives one in the place of one that is
    // of no use any more; one apart on the same hardware when empty.
    DeviceWatch(std::shared_ptr<gpu::Device> device, Make make);
    ~DeviceWatch() override;

    // Throws NoDevice where the system has none.
    const std::shared_ptr<gpu::Device>& device() const;
    // The device to compile for: a spare one while device() is lost or busy.
    gpu::Result<std::shared_ptr<gpu::Device>> forCompile();
    // There is a program for `device`, which is device() from now on.
    void moveTo(const std::shared_ptr<gpu::Device>& device);

    // The device is lost. False when that is known already.
    bool reportLoss();
    // How long a frame has been in work, in seconds; 0 when it has ended.
    void reportSlowFrame(double seconds);
    bool hasSlowFrame() const { return slowFrameSeconds_ > 0; }

    // What else may keep the picture waiting.
    void stillBegins() { ++stillsInWork_; }
    void stillEnds();
    bool isDrawingStill() const { return stillsInWork_ > 0; }
    std::function<bool()> isExporting; // installed by the model
    std::function<bool()> isDrawing;   // installed by who draws: a frame of the picture is in work

    // A sentence on why the picture stands still although nothing is wrong with the text; empty when it does not.
    QString trouble() const;

  signals:
    void replaced();
    void troubleChanged();

  private:
    mutable std::shared_ptr<gpu::Device> device_; // see device()
    // Made for a compile while device_ is of no use; takes its place when a compile succeeds.
    std::shared_ptr<gpu::Device> spare_;
    Make make_;
    bool lost_ = false;
    double slowFrameSeconds_ = 0;
    int stillsInWork_ = 0;
};

} // namespace glasshob
