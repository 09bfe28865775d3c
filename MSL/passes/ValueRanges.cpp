#include "MSL/passes/ValueRanges.h"

#include <algorithm>
#include <cstdlib>

namespace msl {

using ir::Block;
using ir::Instruction;
using ir::Op;
using ir::Value;
using ir::Variable;

namespace {

constexpr std::uint32_t noLoop = ~0U;
constexpr unsigned deepestValue = 12;    // operands of operands: what lies deeper counts as unknown
constexpr unsigned deepestCondition = 4; // of logicalAnds
constexpr unsigned stepDistance = 16;    // how many instructions may lie between a counter's load and its store

bool isFollowed(const Variable* variable) {
    return variable->kind == Variable::Kind::local && isNarrowInteger(variable->type);
}

// The variable that is followed and that the value is a load of.
const Variable* followedLoad(const Value* value) {
    const Instruction* made = value->definition;
    const bool isLoad = made != nullptr && made->op == Op::load && made->place->steps.empty();
    return isLoad && isFollowed(made->place->root) ? made->place->root : nullptr;
}

Op mirrored(Op compare) {
    switch (compare) {
    case Op::less: return Op::greater;
    case Op::lessEqual: return Op::greaterEqual;
    case Op::greater: return Op::less;
    case Op::greaterEqual: return Op::lessEqual;
    default: return compare;
    }
}

} // namespace

ValueRanges::ValueRanges(const ir::Module& module)
    : facts_(module.variableCount() + 1), writeCounts_(module.variableCount() + 1, 0) {}

void ValueRanges::beginFunction(const ir::Function& function) {
    log_.clear();
    writes_.clear();
    loops_.clear();
    ranges_.clear();
    nextLoop_ = 0;
    collect(*function.body, noLoop);
    for (const Variable* local : *function.locals)
        if (local->initializer != nullptr && isFollowed(local)) {
            const std::int64_t start = ir::Module::intValue(local->initializer);
            set(local, {{start, start}, true});
        }
}

void ValueRanges::collect(const Block& block, std::uint32_t loop) {
    for (const Instruction* at = block.first; at != nullptr; at = at->next) {
        if (at->place != nullptr && at->op != Op::load && isFollowed(at->place->root))
            writes_.push_back({at->place->root, at, loop});
        for (const Variable* variable : at->variables)
            if (isFollowed(variable)) writes_.push_back({variable, at, loop});
        std::uint32_t inner = loop;
        if (at->op == Op::loop) {
            inner = static_cast<std::uint32_t>(loops_.size());
            loops_.push_back({at, writes_.size(), 0});
        }
        for (const Block* nested : at->blocks)
            collect(*nested, inner);
        for (const ir::SwitchCase& one : at->cases)
            collect(*one.block, inner);
        if (at->op == Op::loop) loops_[inner].endOfWrites = writes_.size();
    }
}

// ---------------------------------------------------------------------------------------------------------- facts

void ValueRanges::set(const Variable* variable, Fact fact) {
    if (variable->id >= facts_.size()) return; // made by the pass itself
    log_.push_back({variable->id, facts_[variable->id]});
    facts_[variable->id] = fact;
}

void ValueRanges::forget(std::uint32_t variable) {
    if (variable >= facts_.size() || !facts_[variable].isKnown) return;
    log_.push_back({variable, facts_[variable]});
    facts_[variable].isKnown = false;
}

void ValueRanges::rewind(std::size_t log) {
    while (log_.size() > log) {
        facts_[log_.back().variable] = log_.back().before;
        log_.pop_back();
    }
}

void ValueRanges::pass(const Instruction& instruction) {
    if (instruction.op == Op::load) {
        const Variable* variable = followedLoad(instruction.result);
        if (variable != nullptr && variable->id < facts_.size() && facts_[variable->id].isKnown)
            ranges_[instruction.result] = facts_[variable->id].range;
        return;
    }
    if (instruction.op == Op::store && isFollowed(instruction.place->root)) {
        const Value* value = instruction.operands[0];
        if (value->kind == Value::Kind::undefined)
            forget(instruction.place->root->id);
        else
            set(instruction.place->root, {of(value), true});
    } else if (instruction.place != nullptr && isFollowed(instruction.place->root)) {
        forget(instruction.place->root->id);
    }
    for (const Variable* variable : instruction.variables)
        if (isFollowed(variable)) forget(variable->id);
}

void ValueRanges::endBranch() {
    const std::size_t begin = branches_.back().log;
    for (std::size_t i = begin; i < log_.size(); ++i)
        forgotten_.push_back(log_[i].variable);
    rewind(begin);
}

void ValueRanges::endBranches() {
    for (std::size_t i = branches_.back().forgotten; i < forgotten_.size(); ++i)
        forget(forgotten_[i]);
    forgotten_.resize(branches_.back().forgotten);
    branches_.pop_back();
}

// ---------------------------------------------------------------------------------------------------------- loops

// The if_ that leaves the loop at the start of its body; null when it begins with something else.
const Instruction* ValueRanges::testOf(const Instruction& loop) {
    for (const Instruction* at = loop.blocks[0]->first; at != nullptr; at = at->next) {
        if (at->op < Op::if_) continue;
        const bool isTest = at->op == Op::if_ && at->blocks[0]->isEmpty() && at->blocks[1]->first != nullptr &&
                            at->blocks[1]->first->op == Op::break_;
        return isTest ? at : nullptr;
    }
    return nullptr;
}

bool ValueRanges::standsBefore(const Instruction* wanted, const Instruction* at) {
    while (at != nullptr && at != wanted)
        at = at->previous;
    return at == wanted;
}

// Whether what the load read is still in its variable when the walk comes to `at`, in the same block.
bool ValueRanges::isCurrent(const Instruction* load, const Instruction* at) {
    const Variable* variable = load->place->root;
    for (; at != nullptr && at != load; at = at->previous) {
        const bool isStore = at->place != nullptr && at->place->root == variable && at->op != Op::load;
        if (isStore || std::ranges::find(at->variables, variable) != at->variables.end()) return false;
    }
    return at == load;
}

// "v = (load of v) + constant", with the load just before in the same block: the constant.
std::optional<std::int64_t> ValueRanges::stepOf(const Write& write) {
    if (write.instruction->op != Op::store) return std::nullopt;
    const Instruction* made = write.instruction->operands[0]->definition;
    if (made == nullptr || (made->op != Op::add && made->op != Op::sub)) return std::nullopt;
    const Value* left = made->operands[0];
    const Value* right = made->operands[1];
    if (made->op == Op::add && left->isConstant()) std::swap(left, right);
    if (!right->isConstant() || followedLoad(left) != write.variable) return std::nullopt;
    const Instruction* at = write.instruction;
    for (unsigned i = 0; i < stepDistance && at != nullptr && at != left->definition; ++i)
        at = at->previous;
    if (at != left->definition) return std::nullopt;
    const std::int64_t step = ir::Module::intValue(right);
    return made->op == Op::add ? step : -step;
}

void ValueRanges::beginLoop(const Instruction& instruction) {
    const auto number = static_cast<std::uint32_t>(nextLoop_++);
    const Loop& loop = loops_[number];
    const std::span<const Write> writes(writes_.data() + loop.firstWrite, loop.endOfWrites - loop.firstWrite);
    OpenLoop open{&loop, testOf(instruction), log_.size(), 0, counters_.size()};
    if (open.test != nullptr) {
        for (const Write& write : writes)
            ++writeCounts_[write.variable->id];
        for (const Write& write : writes) {
            const Fact& entry = facts_[write.variable->id];
            if (!entry.isKnown || writeCounts_[write.variable->id] != 1 || write.loop != number) continue;
            if (const auto step = stepOf(write))
                counters_.push_back({write.variable, entry.range, *step, write.instruction});
        }
        for (const Write& write : writes)
            writeCounts_[write.variable->id] = 0;
    }
    for (const Write& write : writes)
        forget(write.variable->id);
    open.logBehindTest = log_.size();
    open_.push_back(open);
}

void ValueRanges::passTest(const Instruction& branch) {
    if (open_.empty() || open_.back().test != &branch) return;
    narrow(branch.operands[0], open_.back(), 0);
    open_.back().logBehindTest = log_.size();
}

// The condition has just been found true.
void ValueRanges::narrow(const Value* condition, const OpenLoop& open, unsigned depth) {
    const Instruction* compare = condition->definition;
    if (compare == nullptr || depth > deepestCondition) return;
    if (compare->op == Op::logicalAnd && condition->type->isScalar()) {
        narrow(compare->operands[0], open, depth + 1);
        narrow(compare->operands[1], open, depth + 1);
        return;
    }
    if (compare->op < Op::less || compare->op > Op::greaterEqual) return;
    const Value* left = compare->operands[0];
    const Value* right = compare->operands[1];
    Op op = compare->op;
    if (left->isConstant()) {
        std::swap(left, right);
        op = mirrored(op);
    }
    if (!isNarrowInteger(left->type)) return;
    // A conversion that keeps every value: "ushort < int".
    if (left->definition != nullptr && left->definition->op == Op::convert &&
        isNarrowInteger(left->definition->operands[0]->type) &&
        contains(fullRange(left->type), fullRange(left->definition->operands[0]->type)))
        left = left->definition->operands[0];
    const Variable* variable = followedLoad(left);
    if (variable == nullptr || variable->id >= facts_.size() || !isCurrent(left->definition, open.test)) return;

    const Range bound = of(right);
    Range passed = fullRange(variable->type);
    if (op == Op::less) passed.high = std::min(passed.high, bound.high - 1);
    if (op == Op::lessEqual) passed.high = std::min(passed.high, bound.high);
    if (op == Op::greater) passed.low = std::max(passed.low, bound.low + 1);
    if (op == Op::greaterEqual) passed.low = std::max(passed.low, bound.low);

    Range known = facts_[variable->id].range;
    if (!facts_[variable->id].isKnown) {
        const std::span<const Counter> counters(counters_.data() + open.firstCounter,
                                                counters_.size() - open.firstCounter);
        const auto counter = std::ranges::find(counters, variable, &Counter::variable);
        if (counter == counters.end() || standsBefore(counter->write, open.test)) return;
        const Range full = fullRange(variable->type);
        const Range stepped = {passed.low + counter->step, passed.high + counter->step};
        known = counter->step >= 0 ? Range{counter->atEntry.low, full.high} : Range{full.low, counter->atEntry.high};
        if (counter->step >= 0 ? stepped.high > full.high : stepped.low < full.low) return; // it may wrap
    }
    known = {std::max(known.low, passed.low), std::min(known.high, passed.high)};
    if (known.low <= known.high) set(variable, {known, true}); // else the body never runs
}

void ValueRanges::beginContinuing() {
    const std::size_t behindTest = open_.back().logBehindTest;
    const std::size_t forgotten = forgotten_.size();
    for (std::size_t i = behindTest; i < log_.size(); ++i)
        forgotten_.push_back(log_[i].variable);
    rewind(behindTest);
    for (std::size_t i = forgotten; i < forgotten_.size(); ++i)
        forget(forgotten_[i]);
    forgotten_.resize(forgotten);
}

void ValueRanges::endLoop() {
    const OpenLoop open = open_.back();
    open_.pop_back();
    counters_.resize(open.firstCounter);
    rewind(open.logAtEntry);
    for (std::size_t i = open.loop->firstWrite; i < open.loop->endOfWrites; ++i)
        forget(writes_[i].variable->id);
}

// --------------------------------------------------------------------------------------------------------- values

// Remembered, since a value may be the operand of many: without that the work doubles with every level.
Range ValueRanges::rangeOf(const Value* value, unsigned depth) {
    const Range full = fullRange(value->type);
    if (!isNarrowInteger(value->type)) return full;
    if (value->isConstant()) {
        const std::int64_t number = ir::Module::intValue(value);
        return {number, number};
    }
    if (value->definition == nullptr || depth > deepestValue) return full;
    const auto known = ranges_.find(value);
    if (known != ranges_.end()) return known->second;
    const Instruction& made = *value->definition;
    if (made.op == Op::load || made.op == Op::call || made.operands.size() > 3) return full;
    Range operands[3] = {};
    for (std::size_t i = 0; i < made.operands.size(); ++i)
        operands[i] = rangeOf(made.operands[i], depth + 1);
    const Range range = resultRange(made, operands);
    ranges_[value] = range;
    return range;
}

} // namespace msl
