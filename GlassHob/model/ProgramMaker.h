// Makes programs out of compiled shaders beside the main thread: a driver makes a pipeline in milliseconds as a rule,
// and a heavy one in many seconds.
//
// Main thread. The answer arrives there, by an event or, when it is there within `patience`, inside make(). Only the
// newest order counts for one that has not begun yet; several that a driver is slow with go on side by side, and who
// asked tells a stale answer by itself. A maker that ends leaves them to end alone, without an answer.
#pragma once

#include "GlassHobRender/program/ShaderCompiler.h"

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>

namespace gpu {
class Device;
}

namespace glasshob {

class ShaderProgram;

class ProgramMaker {
  public:
    using Answer = std::expected<std::shared_ptr<const ShaderProgram>, ShaderError>;
    using Handler = std::function<void(const Answer&)>;

    explicit ProgramMaker(std::chrono::milliseconds patience);
    ~ProgramMaker();

    void make(CompiledShader compiled, std::shared_ptr<gpu::Device> device, Handler handler);

  private:
    struct Order;
    struct Shared;
    void begin(std::shared_ptr<Order> order);

    std::chrono::milliseconds patience_;
    std::shared_ptr<Shared> shared_;
};

} // namespace glasshob
