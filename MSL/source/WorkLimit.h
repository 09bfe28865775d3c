// How much a text may make the compiler do: wall time (when the caller asks), nesting depth, the number of nodes, and
// the memory of the arenas. Passes call step() per unit of work; it is cheap, and once it has said no it keeps saying
// no. What allocates from an arena is counted by the arena itself, which throws std::bad_alloc at the end of either:
// the owner of the limit catches it.
#pragma once

#include "MSL/source/SourceLocation.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace msl {

class WorkLimit {
  public:
    static constexpr unsigned maxDepth = 200;                       // nesting of expressions, statements, types
    static constexpr std::uint64_t maxSteps = 40'000'000;           // units of work in all passes together
    static constexpr std::size_t maxBytes = std::size_t{160} << 20; // of all arenas together

    explicit WorkLimit(std::chrono::milliseconds timeLimit)
        : hasDeadline_(timeLimit.count() > 0), deadline_(std::chrono::steady_clock::now() + timeLimit) {}

    bool step() { return step(1); }
    // Work that costs as much as so many ordinary units.
    bool step(std::uint64_t units) {
        const std::uint64_t before = steps_;
        steps_ += units;
        if ((before ^ steps_) >> 10 != 0) check();
        return !exceeded_;
    }
    bool exceeded() const { return exceeded_; }

    // The clock is looked at every thousand steps; this does it at once.
    void lookAtClock() { check(); }

    // False when the arenas have no more to take.
    bool takeBytes(std::size_t count) {
        if (count > maxBytes - bytes_) return false;
        bytes_ += count;
        return true;
    }
    void giveBackBytes(std::size_t count) { bytes_ -= count; }

    // What the compiler is at: where the message points when this was too much.
    void reach(SourceLocation at) { place_ = at; }
    SourceLocation place() const { return place_; }

  private:
    void check() {
        if (steps_ > maxSteps || (hasDeadline_ && std::chrono::steady_clock::now() > deadline_)) exceeded_ = true;
    }
    std::uint64_t steps_ = 0;
    std::size_t bytes_ = 0;
    bool exceeded_ = false;
    bool hasDeadline_;
    SourceLocation place_ = SourceLocation::atOffset(0);
    std::chrono::steady_clock::time_point deadline_;
};

} // namespace msl
