// How much a text may make the compiler do: wall time (when the caller asks), nesting depth, and the number of nodes.
// Passes call step() per unit of work; it is cheap, and once it has said no it keeps saying no.
#pragma once

#include <chrono>
#include <cstdint>

namespace msl {

class WorkLimit {
  public:
    static constexpr unsigned maxDepth = 200;             // nesting of expressions, statements, types
    static constexpr std::uint64_t maxSteps = 40'000'000; // units of work in all passes together

    explicit WorkLimit(std::chrono::milliseconds timeLimit)
        : hasDeadline_(timeLimit.count() > 0), deadline_(std::chrono::steady_clock::now() + timeLimit) {}

    bool step() { return step(1); }
    // Work that costs as much as so many ordinary units.
    bool step(std::uint32_t units) {
        const std::uint64_t before = steps_;
        steps_ += units;
        if ((before ^ steps_) >> 10 != 0) check();
        return !exceeded_;
    }
    bool exceeded() const { return exceeded_; }

  private:
    void check() {
        if (steps_ > maxSteps || (hasDeadline_ && std::chrono::steady_clock::now() > deadline_)) exceeded_ = true;
    }
    std::uint64_t steps_ = 0;
    bool exceeded_ = false;
    bool hasDeadline_;
    std::chrono::steady_clock::time_point deadline_;
};

} // namespace msl
