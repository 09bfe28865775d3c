#include "MSL/passes/DriverLoops.h"

#include "MSL/ir/Walk.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;
using ir::Value;
using ir::Variable;

constexpr double mostTurns = 32;
constexpr double mostOperations = 26 * mostTurns; // in all turns

std::optional<std::int64_t> constantInteger(const Value* value) {
    if (!value->isConstant() || !value->type->isScalar() || isFloating(value->type->scalar)) return {};
    return ir::Module::intValue(value);
}

const Variable* loadedFrom(const Value* value) {
    const Instruction* made = value->definition;
    if (made == nullptr || made->op != Op::load || !made->place->steps.empty()) return nullptr;
    return made->place->root;
}

// What the last store in front of the loop, in the loop's own block, puts into the counter.
std::optional<std::int64_t> startOf(const Instruction& loop, const Variable* counter) {
    for (const Instruction* at = loop.previous; at != nullptr; at = at->previous)
        if (at->op == Op::store && at->place->root == counter) return constantInteger(at->operands[0]);
    return {};
}

// The turns of a loop whose first test compares a counter with a constant; the step counts as one.
std::optional<double> turnsOf(const Instruction& loop) {
    for (const Instruction* at = loop.blocks[0]->first; at != nullptr; at = at->next) {
        if (at->op != Op::if_) continue;
        const Instruction* test = at->operands[0]->definition;
        if (test == nullptr || test->op < Op::equal || test->op > Op::greaterEqual) return {};
        for (int side = 0; side < 2; ++side) {
            const std::optional<std::int64_t> end = constantInteger(test->operands[side]);
            const Variable* counter = loadedFrom(test->operands[1 - side]);
            if (!end || counter == nullptr) continue;
            const std::optional<std::int64_t> start = startOf(loop, counter);
            if (!start) return {};
            return std::abs(double(*end) - double(*start));
        }
        return {};
    }
    return {};
}

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
    const std::optional<double> turns = turnsOf(loop);
    if (!turns || *turns > mostTurns || size * std::max(1.0, *turns) > mostOperations)
        return std::numeric_limits<double>::infinity();
    const double copies = std::max(1.0, *turns);
    copies_[&loop] = copies;
    return size * copies;
}

} // namespace msl
