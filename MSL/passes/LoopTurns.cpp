#include "MSL/passes/LoopTurns.h"

#include "MSL/ir/Walk.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace msl {
namespace {

using ir::Block;
using ir::Instruction;
using ir::Op;
using ir::Value;
using ir::Variable;

constexpr double unknown = std::numeric_limits<double>::infinity();

bool isNumber(TypeRef type) {
    return type->isScalar() && type->scalar != ScalarKind::bool_;
}

double numberOf(const Value* constant) {
    return isFloating(constant->type->scalar) ? ir::Module::floatValue(constant)
                                              : static_cast<double>(ir::Module::intValue(constant));
}

// The local variable that the value is a load of.
const Variable* loadedBy(const Value* value) {
    const Instruction* made = value->definition;
    const bool isLoad = made != nullptr && made->op == Op::load && made->place->steps.empty();
    return isLoad && made->place->root->kind == Variable::Kind::local ? made->place->root : nullptr;
}

bool writes(const Instruction& at, const Variable* variable) {
    const bool isStore = at.place != nullptr && at.place->root == variable && at.op != Op::load;
    return isStore || std::ranges::find(at.variables, variable) != at.variables.end();
}

std::uint32_t writesIn(const Block& block, const Variable* variable) {
    std::uint32_t count = 0;
    ir::forEachInstruction(block, [&](const Instruction& at) { count += writes(at, variable) ? 1 : 0; });
    return count;
}

bool writesInside(const Instruction& at, const Variable* variable) {
    bool found = writes(at, variable);
    ir::forEachInnerBlock(at, [&](const Block& inner) { found = found || writesIn(inner, variable) > 0; });
    return found;
}

// What the variable holds when the loop begins, where the block says so.
double startOf(const Instruction& loop, const Variable* variable) {
    for (const Instruction* at = loop.previous; at != nullptr; at = at->previous) {
        if (at->op == Op::store && at->place->root == variable && at->place->steps.empty())
            return at->operands[0]->isConstant() ? numberOf(at->operands[0]) : unknown;
        if (writesInside(*at, variable)) break;
    }
    return unknown;
}

// What every turn adds to the variable; nothing else in the loop may write it.
double stepOf(const Instruction& loop, const Variable* variable) {
    if (writesIn(*loop.blocks[0], variable) != 0 || writesIn(*loop.blocks[1], variable) != 1) return 0;
    for (const Instruction* at = loop.blocks[1]->first; at != nullptr; at = at->next) {
        if (at->op != Op::store || at->place->root != variable || !at->place->steps.empty()) continue;
        const Instruction* sum = at->operands[0]->definition;
        if (sum == nullptr || (sum->op != Op::add && sum->op != Op::sub)) return 0;
        const Value* left = sum->operands[0];
        const Value* right = sum->operands[1];
        if (sum->op == Op::add && left->isConstant()) std::swap(left, right);
        if (loadedBy(left) != variable || !right->isConstant()) return 0;
        return sum->op == Op::add ? numberOf(right) : -numberOf(right);
    }
    return 0;
}

// How often the loop's body runs behind this condition at most.
double turnsBehind(const Instruction& loop, const Value* condition, unsigned depth) {
    constexpr unsigned deepest = 4;
    const Instruction* test = condition->definition;
    if (test == nullptr || depth > deepest) return unknown;
    if (test->op == Op::logicalAnd && condition->type->isScalar())
        return std::min(turnsBehind(loop, test->operands[0], depth + 1),
                        turnsBehind(loop, test->operands[1], depth + 1));
    if (test->op < Op::less || test->op > Op::greaterEqual) return unknown;
    const bool isMirrored = test->operands[0]->isConstant();
    const Value* left = test->operands[isMirrored ? 1 : 0];
    const Value* right = test->operands[isMirrored ? 0 : 1];
    const bool isUp = (test->op == Op::less || test->op == Op::lessEqual) != isMirrored;
    const Variable* variable = loadedBy(left);
    if (variable == nullptr || !isNumber(variable->type) || !right->isConstant()) return unknown;
    const double start = startOf(loop, variable);
    const double step = isUp ? stepOf(loop, variable) : -stepOf(loop, variable);
    const double way = isUp ? numberOf(right) - start : start - numberOf(right);
    // A float that is stepped by little of itself may stand still.
    const double largest = std::max(std::abs(start), std::abs(numberOf(right)));
    if (!(step > 0) || !std::isfinite(way) || step < largest * 1e-5) return unknown;
    const bool isStrict = test->op == Op::less || test->op == Op::greater;
    const double slack = isFloating(variable->type->scalar) ? 1 : 0; // sums are rounded
    return std::max(0.0, (isStrict ? std::ceil(way / step) : std::floor(way / step) + 1) + slack);
}

} // namespace

double turnsAtMost(const Instruction& loop) {
    for (const Instruction* at = loop.blocks[0]->first; at != nullptr; at = at->next) {
        if (at->op < Op::if_) continue;
        const bool isTest = at->op == Op::if_ && at->blocks[0]->isEmpty() && at->blocks[1]->first != nullptr &&
                            at->blocks[1]->first->op == Op::break_;
        return isTest ? turnsBehind(loop, at->operands[0], 0) : unknown;
    }
    return unknown;
}

} // namespace msl
