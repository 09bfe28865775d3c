// Which loops a driver keeps as loops. One that ends at a constant after few turns and has a small body is laid out:
// the body stands there once for each turn. The bounds are those of Mesa, which counts operations on single numbers.
#pragma once

#include "MSL/ir/Ir.h"

#include <unordered_map>
#include <vector>

namespace msl {

// Holds for loops that passes add as well: they stay loops.
class DriverLoops {
  public:
    explicit DriverLoops(const ir::Module& module);

    // How many copies of its body a driver makes of a loop that it lays out; 0 when it stays a loop.
    double copies(const ir::Instruction& loop) const;

  private:
    // Operations on single numbers; infinite with a loop that stays one.
    double measure(const ir::Block& block);
    double measure(const ir::Instruction& instruction);
    double measureLoop(const ir::Instruction& loop);

    std::vector<double> sizes_;                                 // by Function::id
    std::unordered_map<const ir::Instruction*, double> copies_; // of the loops that are laid out
};

} // namespace msl
