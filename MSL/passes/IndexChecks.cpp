#include "MSL/passes/IndexChecks.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace msl {

using ir::Block;
using ir::Instruction;
using ir::Op;
using ir::Place;
using ir::Step;
using ir::Value;
using ir::Variable;

namespace {

// What a 32-bit integer may be, both ends included; a uint's values are 0 to 2^32 - 1.
struct Range {
    std::int64_t low = 0;
    std::int64_t high = 0;
};

Range fullRange(TypeRef type) {
    switch (type->scalar) {
    case ScalarKind::bool_: return {0, 1};
    case ScalarKind::char_: return {-128, 127};
    case ScalarKind::uchar: return {0, 255};
    case ScalarKind::short_: return {-32768, 32767};
    case ScalarKind::ushort: return {0, 65535};
    case ScalarKind::uint: return {0, 0xFFFFFFFFLL};
    case ScalarKind::int_: return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    default: return {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()};
    }
}

bool contains(Range outer, Range inner) {
    return inner.low >= outer.low && inner.high <= outer.high;
}

bool isNarrowInteger(TypeRef type) {
    return type->isScalar() && !isFloating(type->scalar) && type->scalar != ScalarKind::long_ &&
           type->scalar != ScalarKind::ulong;
}

class Checker {
  public:
    explicit Checker(ir::Module& module) : module_(module), builder_(module) {}

    IndexCheckCounts run() {
        for (ir::Function* function : module_.functions) {
            function_ = function;
            counters_.clear();
            lengths_.clear();
            loads_.clear();
            ranges_.clear();
            for (const Variable* local : *function->locals)
                if (local->initializer != nullptr && isNarrowInteger(local->type)) {
                    const std::int64_t start = ir::Module::intValue(local->initializer);
                    counters_[local] = {.hasStart = true, .least = start, .most = start};
                }
            collectWrites(*function->body);
            collectLoops(*function->body);
            block(*function->body);
        }
        return counts_;
    }

  private:
    // ------------------------------------------------------------------------------------------------ loop counters

    // A local integer that a loop counts with: every store to it is a constant or "itself plus a constant", the latter
    // only at the end of a loop that leaves at its top unless "counter < bound" (so that it cannot run past the end of
    // its type), and it is passed to nobody. Then no value of it lies below the least constant it is set to, when it
    // only ever grows; and inside the body of such a loop, behind the test, none lies above the bound. Counting down
    // mirrors it.
    struct Counter {
        bool isUsable = true;
        bool grows = false;
        bool shrinks = false;
        bool hasStart = false;
        std::int64_t least = std::numeric_limits<std::int64_t>::max();
        std::int64_t most = std::numeric_limits<std::int64_t>::min();
        std::int64_t largestStep = 0;
        unsigned steps = 0;        // stores of "itself plus a constant"
        unsigned boundedSteps = 0; // of those, at the end of a loop that tests the counter
    };
    struct Test { // a loop's test of a counter
        const Instruction* branch;
        Variable* variable;
        Op op; // less, lessEqual, greater, greaterEqual: for the body to run
        std::int64_t bound;
    };
    struct Guard { // inside a loop's body, behind its test: the counter's values there
        Variable* variable;
        Range range;
    };

    static bool isWholeLocal(const Place* place) {
        return place != nullptr && place->steps.empty() && place->root->kind == Variable::Kind::local &&
               isNarrowInteger(place->root->type);
    }

    // "load v + c": the step c.
    static std::optional<std::int64_t> stepOf(const Variable* variable, const Value* value) {
        const Instruction* made = value->definition;
        if (made == nullptr || (made->op != Op::add && made->op != Op::sub)) return std::nullopt;
        const auto isLoad = [&](const Value* operand) {
            return operand->definition != nullptr && operand->definition->op == Op::load &&
                   isWholeLocal(operand->definition->place) && operand->definition->place->root == variable;
        };
        if (isLoad(made->operands[0]) && made->operands[1]->isConstant()) {
            const std::int64_t step = ir::Module::intValue(made->operands[1]);
            return made->op == Op::add ? step : -step;
        }
        if (made->op == Op::add && isLoad(made->operands[1]) && made->operands[0]->isConstant())
            return ir::Module::intValue(made->operands[0]);
        return std::nullopt;
    }

    void collectWrites(const Block& block) {
        for (const Instruction* at = block.first; at != nullptr; at = at->next) {
            for (Variable* variable : at->variables)
                counters_[variable].isUsable = false;
            if (at->op == Op::store && at->place->root->kind == Variable::Kind::local &&
                isNarrowInteger(at->place->root->type)) {
                Counter& counter = counters_[at->place->root];
                const Value* value = at->operands[0];
                if (value->isConstant()) {
                    counter.hasStart = true;
                    counter.least = std::min(counter.least, ir::Module::intValue(value));
                    counter.most = std::max(counter.most, ir::Module::intValue(value));
                } else if (const auto step = stepOf(at->place->root, value); step && std::abs(*step) < (1LL << 30)) {
                    counter.grows = counter.grows || *step > 0;
                    counter.shrinks = counter.shrinks || *step < 0;
                    counter.largestStep = std::max(counter.largestStep, std::abs(*step));
                    ++counter.steps;
                } else {
                    counter.isUsable = false;
                }
            }
            for (const Block* inner : at->blocks)
                collectWrites(*inner);
            for (const ir::SwitchCase& one : at->cases)
                collectWrites(*one.block);
        }
    }

    static unsigned storeCount(const Block& block, const Variable* variable) {
        unsigned count = 0;
        for (const Instruction* at = block.first; at != nullptr; at = at->next) {
            count += at->op == Op::store && at->place->root == variable ? 1 : 0;
            for (const Block* inner : at->blocks)
                count += storeCount(*inner, variable);
            for (const ir::SwitchCase& one : at->cases)
                count += storeCount(*one.block, variable);
        }
        return count;
    }

    // A step at the end of a tested loop starts from a value that the test let through.
    void collectLoops(const Block& block) {
        for (const Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::loop) {
                const auto test = testOf(*at);
                if (test && storeCount(*at->blocks[0], test->variable) == 0 &&
                    storeCount(*at->blocks[1], test->variable) == 1) {
                    Counter& counter = counters_[test->variable];
                    if (!passesEnd(*test, counter)) ++counter.boundedSteps;
                }
            }
            for (const Block* inner : at->blocks)
                collectLoops(*inner);
            for (const ir::SwitchCase& one : at->cases)
                collectLoops(*one.block);
        }
    }

    // Whether a step from a value that passed the test could leave the counter's type and come round.
    static bool passesEnd(const Test& test, const Counter& counter) {
        const Range full = fullRange(test.variable->type);
        switch (test.op) {
        case Op::less: return counter.shrinks || test.bound - 1 + counter.largestStep > full.high;
        case Op::lessEqual: return counter.shrinks || test.bound + counter.largestStep > full.high;
        case Op::greater: return counter.grows || test.bound + 1 - counter.largestStep < full.low;
        default: return counter.grows || test.bound - counter.largestStep < full.low;
        }
    }

    // "if (counter < constant) {} else { break }" as the first thing that the loop's body does.
    static std::optional<Test> testOf(const Instruction& loop) {
        const Instruction* first = loop.blocks[0]->first;
        const Instruction* branch = first;
        while (branch != nullptr && branch->op != Op::if_) {
            if (branch->op == Op::store || branch->op == Op::call || !branch->blocks.empty() || !branch->cases.empty())
                return std::nullopt;
            branch = branch->next;
        }
        if (branch == nullptr || branch->blocks[1]->first == nullptr || branch->blocks[1]->first->op != Op::break_ ||
            !branch->blocks[0]->isEmpty())
            return std::nullopt;
        const Instruction* compare = branch->operands[0]->definition;
        if (compare == nullptr || compare->operands.size() != 2) return std::nullopt;
        Op op = compare->op;
        const Value* left = compare->operands[0];
        const Value* right = compare->operands[1];
        if (left->isConstant()) {
            std::swap(left, right);
            op = op == Op::less           ? Op::greater
                 : op == Op::lessEqual    ? Op::greaterEqual
                 : op == Op::greater      ? Op::less
                 : op == Op::greaterEqual ? Op::lessEqual
                                          : op;
        }
        if ((op != Op::less && op != Op::lessEqual && op != Op::greater && op != Op::greaterEqual) ||
            !right->isConstant() || left->definition == nullptr || left->definition->op != Op::load ||
            !isWholeLocal(left->definition->place))
            return std::nullopt;
        // The value tested must be this pass's, not one that was read before the loop.
        const Instruction* at = first;
        while (at != branch && at != left->definition)
            at = at->next;
        if (at == branch) return std::nullopt;
        return Test{branch, left->definition->place->root, op, ir::Module::intValue(right)};
    }

    std::optional<Guard> guardOf(const Instruction& loop, const Test& test) {
        const auto found = counters_.find(test.variable);
        if (found == counters_.end()) return std::nullopt;
        const Counter& counter = found->second;
        if (!counter.isUsable || !counter.hasStart || counter.steps != counter.boundedSteps ||
            storeCount(*loop.blocks[0], test.variable) != 0 || passesEnd(test, counter))
            return std::nullopt;
        switch (test.op) {
        case Op::less: return Guard{test.variable, {counter.least, test.bound - 1}};
        case Op::lessEqual: return Guard{test.variable, {counter.least, test.bound}};
        case Op::greater: return Guard{test.variable, {test.bound + 1, counter.most}};
        default: return Guard{test.variable, {test.bound, counter.most}};
        }
    }

    // ------------------------------------------------------------------------------------------------------- ranges

    // Remembered, since a value may be the operand of many: without that the work doubles with every level.
    Range rangeOf(const Value* value, unsigned depth = 0) {
        const Range full = fullRange(value->type);
        if (value->isConstant()) {
            const std::int64_t number = ir::Module::intValue(value);
            return {number, number};
        }
        if (value->definition == nullptr || depth > 12 || !isNarrowInteger(value->type)) return full;
        const auto known = ranges_.find(value);
        if (known != ranges_.end()) return known->second;
        const Range range = resultRange(*value->definition, full, depth);
        ranges_[value] = range;
        return range;
    }

    Range resultRange(const Instruction& instruction, Range full, unsigned depth) {
        const Instruction* made = &instruction;
        const auto operand = [&](std::size_t i) {
            const Value* of = made->operands[i];
            return isNarrowInteger(of->type) ? rangeOf(of, depth + 1) : full;
        };
        const auto within = [&](Range range) { return contains(full, range) ? range : full; };
        switch (made->op) {
        case Op::load: {
            const auto known = loads_.find(made->result);
            return known != loads_.end() ? known->second : full;
        }
        case Op::add:
        case Op::sub: {
            const Range a = operand(0);
            const Range b = operand(1);
            return within(made->op == Op::add ? Range{a.low + b.low, a.high + b.high}
                                              : Range{a.low - b.high, a.high - b.low});
        }
        case Op::mul: {
            const Range a = operand(0);
            const Range b = operand(1);
            constexpr std::int64_t limit = 1LL << 31;
            if (std::abs(a.low) > limit || std::abs(a.high) > limit || std::abs(b.low) > limit ||
                std::abs(b.high) > limit)
                return full;
            const auto [low, high] = std::minmax({a.low * b.low, a.low * b.high, a.high * b.low, a.high * b.high});
            return within({low, high});
        }
        case Op::div: {
            const Range a = operand(0);
            const Range b = operand(1);
            if (a.low < 0 || b.low < 1) return full;
            return {a.low / b.high, a.high / b.low};
        }
        case Op::rem: {
            const Range a = operand(0);
            const Range b = operand(1);
            if (b.low < 1) // nothing is known of a remainder by zero
                return full;
            return {a.low < 0 ? std::max(a.low, 1 - b.high) : 0,
                    std::min(std::max<std::int64_t>(a.high, 0), b.high - 1)};
        }
        case Op::bitAnd: {
            const Range a = operand(0);
            const Range b = operand(1);
            if (a.low < 0 && b.low < 0) return full;
            return {0, a.low < 0 ? b.high : b.low < 0 ? a.high : std::min(a.high, b.high)};
        }
        case Op::shr: {
            const Range a = operand(0);
            const Range b = operand(1);
            if (a.low < 0 || b.low != b.high || b.low < 0 || b.low > 31) return full;
            return {a.low >> b.low, a.high >> b.low};
        }
        case Op::shl: {
            const Range a = operand(0);
            const Range b = operand(1);
            if (a.low < 0 || b.low != b.high || b.low < 0 || b.low > 31 || a.high > (1LL << 31)) return full;
            return within({a.low << b.low, a.high << b.low});
        }
        case Op::select: {
            const Range a = operand(1);
            const Range b = operand(2);
            return {std::min(a.low, b.low), std::max(a.high, b.high)};
        }
        case Op::convert: {
            const Value* from = made->operands[0];
            if (from->type->isScalar() && !isFloating(from->type->scalar)) return within(rangeOf(from, depth + 1));
            return full;
        }
        case Op::builtin: return builtinRange(*made, full, depth);
        default: return full;
        }
    }

    Range builtinRange(const Instruction& made, Range full, unsigned depth) {
        Range ranges[3] = {full, full, full};
        for (std::size_t i = 0; i < made.operands.size() && i < 3; ++i) {
            const TypeRef type = made.operands[i]->type;
            if (!type->isScalar() || isFloating(type->scalar)) return full;
            ranges[i] = rangeOf(made.operands[i], depth + 1);
        }
        const auto least = [](Range a, Range b) { return Range{std::min(a.low, b.low), std::min(a.high, b.high)}; };
        const auto most = [](Range a, Range b) { return Range{std::max(a.low, b.low), std::max(a.high, b.high)}; };
        switch (made.builtinId) {
        case BuiltinId::min: return least(ranges[0], ranges[1]);
        case BuiltinId::max: return most(ranges[0], ranges[1]);
        case BuiltinId::clamp: return least(most(ranges[0], ranges[1]), ranges[2]);
        case BuiltinId::popcount:
        case BuiltinId::clz:
        case BuiltinId::ctz: return {0, 64};
        default: return full;
        }
    }

    // ------------------------------------------------------------------------------------------------------- rewriting

    void block(Block& block, const Instruction* test = nullptr, const Guard* guard = nullptr) {
        const std::size_t guards = guards_.size();
        for (Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::load && isWholeLocal(at->place))
                for (const Guard& known : guards_)
                    if (known.variable == at->place->root) loads_[at->result] = known.range;
            if (at->place != nullptr) checkPlace(block, *at);
            if (at->op == Op::extractDynamic) {
                const auto count = static_cast<std::int64_t>(at->operands[0]->type->columns);
                at->operands[1] = checked(block, *at, at->operands[1], count);
            }
            if (at->op == Op::loop) {
                const auto loopTest = testOf(*at);
                const auto loopGuard = loopTest ? guardOf(*at, *loopTest) : std::nullopt;
                this->block(*at->blocks[0], loopTest ? loopTest->branch : nullptr, loopGuard ? &*loopGuard : nullptr);
                this->block(*at->blocks[1]);
                continue;
            }
            for (Block* inner : at->blocks)
                this->block(*inner);
            for (const ir::SwitchCase& one : at->cases)
                this->block(*one.block);
            if (at == test && guard != nullptr) guards_.push_back(*guard);
        }
        guards_.resize(guards);
    }

    void checkPlace(Block& block, Instruction& at) {
        Place* place = at.place;
        TypeRef type = place->root->type;
        bool isCopied = false;
        for (std::size_t i = 0; i < place->steps.size(); ++i) {
            if (place->steps[i].kind == Step::Kind::member) {
                type = type->record->fields[place->steps[i].number].type;
                continue;
            }
            const TypeRef container = type;
            type = type->is(TypeKind::array) ? type->element : ir::partType(module_.types, type, 0);
            if (place->steps[i].isChecked) continue;
            if (!isCopied) { // places may be shared by several instructions
                place = module_.arena.make<Place>(*place);
                place->steps = module_.arena.copy<Step>(std::span<const Step>(place->steps));
                at.place = place;
                isCopied = true;
            }
            Step& step = place->steps[i];
            step.isChecked = true;
            if (container->is(TypeKind::array) && container->count == 0) {
                checkRuntimeArray(block, at, *place, i);
                continue;
            }
            const auto count =
                static_cast<std::int64_t>(container->is(TypeKind::array) ? container->count : ir::partCount(container));
            if (step.value == nullptr) {
                if (step.number < count) {
                    ++counts_.proved;
                } else {
                    step.number = static_cast<std::uint32_t>(std::max<std::int64_t>(count, 1) - 1);
                    ++counts_.clamped;
                }
                continue;
            }
            step.value = checked(block, at, step.value, count);
        }
    }

    // The index itself when it is proved to be below count, else an instruction that makes it so.
    Value* checked(Block& block, Instruction& at, Value* index, std::int64_t count) {
        const Range range = rangeOf(index);
        if (contains({0, count - 1}, range)) {
            ++counts_.proved;
            return index;
        }
        ++counts_.clamped;
        return clampTo(block, at, index,
                       module_.constantInt(module_.types.uint(), std::max<std::int64_t>(count, 1) - 1));
    }

    // As unsigned, a negative index is larger than any other.
    Value* clampTo(Block& block, Instruction& at, Value* index, Value* last) {
        Block made;
        builder_.block = &made;
        builder_.location = at.location;
        Value* operands[2] = {builder_.convert(module_.types.uint(), index), last};
        Value* result = builder_.builtin(BuiltinId::min, module_.types.uint(), operands);
        moveBefore(block, at, made);
        return result;
    }

    static void moveBefore(Block& block, Instruction& at, Block& made) {
        for (Instruction* next = made.first; next != nullptr;) {
            Instruction* instruction = next;
            next = next->next;
            block.insertBefore(&at, instruction);
        }
    }

    void checkRuntimeArray(Block& block, Instruction& at, Place& place, std::size_t stepIndex) {
        Step& step = place.steps[stepIndex];
        ++counts_.clamped;
        Value* index = step.value != nullptr ? step.value : module_.constantInt(module_.types.uint(), step.number);
        step.value = clampTo(block, at, index, lastElement(block, at, place, stepIndex));
        step.number = 0;
    }

    // The index of a buffer's last element: asked once, at the function's start. A buffer that holds not even one
    // element counts as one; the device's own bounds check answers for that.
    Value* lastElement(Block& block, Instruction& at, const Place& place, std::size_t stepIndex) {
        if (stepIndex == 0) {
            const auto known = lengths_.find(place.root);
            if (known != lengths_.end()) return known->second;
        }
        Block made;
        builder_.block = &made;
        auto* array = module_.arena.make<Place>();
        array->root = place.root;
        array->steps = place.steps.first(stepIndex);
        TypeRef type = place.root->type;
        for (const Step& step : array->steps)
            type = step.kind == Step::Kind::member ? type->record->fields[step.number].type : type->element;
        array->type = type;
        Value* one = module_.constantInt(module_.types.uint(), 1);
        Value* length[2] = {builder_.arrayLength(array), one};
        Value* atLeastOne = builder_.builtin(BuiltinId::max, module_.types.uint(), length);
        Value* last = builder_.binary(Op::sub, module_.types.uint(), atLeastOne, one);
        if (stepIndex != 0) {
            moveBefore(block, at, made);
            return last;
        }
        moveBefore(*function_->body, *function_->body->first, made);
        lengths_[place.root] = last;
        return last;
    }

    ir::Module& module_;
    ir::Builder builder_;
    ir::Function* function_ = nullptr;
    IndexCheckCounts counts_;
    std::unordered_map<const Variable*, Counter> counters_;
    std::unordered_map<const Variable*, Value*> lengths_;
    std::vector<Guard> guards_;                     // of the loops around the current instruction
    std::unordered_map<const Value*, Range> loads_; // what was read from a guarded counter
    std::unordered_map<const Value*, Range> ranges_;
};

} // namespace

IndexCheckCounts checkIndexes(ir::Module& module) {
    return Checker(module).run();
}

} // namespace msl
