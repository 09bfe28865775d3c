#include "MSL/passes/DriverLoops.h"

#include "MSL/ir/Walk.h"
#include "MSL/passes/LoopTurns.h"

#include <algorithm>
#include <limits>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;

constexpr double mostTurns = 32;
constexpr double mostOperations = 26 * mostTurns; // in all turns

} // namespace

DriverLoops::DriverLoops(const ir::Module& module) {
    for (const Function* function : module.functions) { // callees come first
        const double size = measure(*function->body);
        if (sizes_.size() <= function->id) sizes_.resize(function->id + 1);
        sizes_[function->id] = size;
    }
}

double DriverLoops::copies(const Instruction& loop) const {
    const auto found = copies_.find(&loop);
    return found == copies_.end() ? 0 : found->second;
}

double DriverLoops::measure(const Block& block) {
    double size = 0;
    for (const Instruction* at = block.first; at != nullptr; at = at->next)
        size += measure(*at);
    return size;
}

double DriverLoops::measure(const Instruction& instruction) {
    switch (instruction.op) {
    case Op::load:
    case Op::store: return 0; // of locals, mostly
    case Op::call: return instruction.callee->id < sizes_.size() ? sizes_[instruction.callee->id] : 0;
    case Op::loop: return measureLoop(instruction);
    default: break;
    }
    double size = instruction.result != nullptr ? std::max(1U, instruction.result->type->componentCount()) : 0;
    ir::forEachInnerBlock(instruction, [&](const Block& inner) { size += measure(inner); });
    return size;
}

double DriverLoops::measureLoop(const Instruction& loop) {
    double size = 0;
    ir::forEachInnerBlock(loop, [&](const Block& inner) { size += measure(inner); });
    const double turns = turnsAtMost(loop);
    if (turns > mostTurns || size * std::max(1.0, turns) > mostOperations)
        return std::numeric_limits<double>::infinity();
    const double copies = std::max(1.0, turns);
    copies_[&loop] = copies;
    return size * copies;
}

} // namespace msl
