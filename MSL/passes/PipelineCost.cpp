#include "MSL/passes/PipelineCost.h"

#include "MSL/ir/Walk.h"

#include <algorithm>
#include <unordered_map>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;
using ir::Value;
using ir::Variable;

// Microseconds.
namespace weights {
constexpr double limit = 12'000'000; // of one entry point
constexpr double instruction = 60;   // for each component
constexpr double rounding = 8;       // times, of numbers that are rounded by their bits
constexpr double function = 1'500;   // sin, pow and their kin: a polynomial
constexpr double texture = 3'000;
constexpr double division = 500;  // of integers
constexpr double access = 1'500;  // of memory at a place that differs from thread to thread, for each component
constexpr double accessPair = 3;  // what each of them adds to every other
constexpr double smallArray = 16; // words
constexpr double choice = 500;    // of an element of a small array, for each component
constexpr double branch = 100;
constexpr double loop = 2'600;
constexpr double loopPair = 12;   // what each loop that stays one adds to every other
constexpr double localWord = 400; // of arrays that are indexed at run time
} // namespace weights

// What a piece of code adds up to. Accesses and loops get dearer the more of them there are, so they are counted apart.
struct Cost {
    double time = 0;
    double accesses = 0;
    double loops = 0; // that stay loops

    void add(const Cost& other) {
        time = std::min(time + other.time, 1e30);
        accesses = std::min(accesses + other.accesses, 1e12);
        loops = std::min(loops + other.loops, 1e8);
    }
    Cost times(double count) const { return {time * count, accesses * count, loops * count}; }
    double total() const {
        return time + accesses * weights::access + accesses * accesses * weights::accessPair / 2 +
               loops * loops * weights::loopPair / 2;
    }
};

class Estimate {
  public:
    Estimate(const ir::Module& module, const DriverLoops& loops)
        : loops_(loops), uniform_(module.valueCount() + 1, unknown) {
        for (const Function* function : module.functions) { // callees come first
            Cost cost = localsOf(*function);
            cost.add(costOf(*function->body));
            costs_[function] = cost;
        }
    }

    Cost of(const Function& function) const {
        const auto found = costs_.find(&function);
        return found == costs_.end() ? Cost{} : found->second;
    }

    // The instruction, inside of calls too, at which the sum goes over the limit.
    SourceLocation excess(const Function& function, Cost& sum) {
        sum.add(localsOf(function));
        SourceLocation at;
        excess(*function.body, sum, at);
        return at;
    }

  private:
    enum Uniformity : std::uint8_t { unknown, uniform, varying };

    // Whether the sum has gone over the limit. `at` follows it.
    bool excess(const Block& block, Cost& sum, SourceLocation& at) {
        for (const Instruction* instruction = block.first; instruction != nullptr; instruction = instruction->next) {
            Cost next = sum;
            next.add(withInnerBlocks(*instruction));
            if (instruction->location) at = instruction->location;
            if (next.total() <= weights::limit) {
                sum = next;
                continue;
            }
            // One call among many is told where it stands, a function that is too much by itself from inside.
            if (instruction->op == Op::call && of(*instruction->callee).total() > weights::limit / 2) {
                if (const SourceLocation inside = excess(*instruction->callee, sum)) at = inside;
            } else if (copies(*instruction) == 1) {
                sum.add(costOf(*instruction));
                bool isOver = false;
                ir::forEachInnerBlock(*instruction,
                                      [&](const Block& inner) { isOver = isOver || excess(inner, sum, at); });
            }
            return true;
        }
        return false;
    }

    double copies(const Instruction& instruction) const {
        return instruction.op == Op::loop ? std::max(1.0, loops_.copies(instruction)) : 1;
    }

    Cost costOf(const Block& block) {
        Cost cost;
        for (const Instruction* at = block.first; at != nullptr; at = at->next)
            cost.add(withInnerBlocks(*at));
        return cost;
    }

    Cost withInnerBlocks(const Instruction& instruction) {
        Cost inside;
        ir::forEachInnerBlock(instruction, [&](const Block& inner) { inside.add(costOf(inner)); });
        Cost cost = costOf(instruction);
        cost.add(inside.times(copies(instruction)));
        return cost;
    }

    static double components(TypeRef type) {
        if (type == nullptr) return 1;
        if (type->is(TypeKind::array)) return std::max(1.0, double(type->count)) * components(type->element);
        if (type->is(TypeKind::struct_)) {
            double sum = 0;
            for (const Field& field : type->record->fields)
                sum += components(field.type);
            return sum;
        }
        return std::max(1U, type->componentCount());
    }

    static bool isUniformBuffer(const Variable& variable) {
        return variable.kind == Variable::Kind::buffer && variable.space == AddressSpace::constant;
    }

    // Whether all threads have the same value: it comes from constants and the host's numbers only.
    bool isUniform(const Value* value) {
        if (value == nullptr || value->kind == Value::Kind::constant || value->kind == Value::Kind::specialization)
            return true;
        if (value->kind != Value::Kind::result || value->definition == nullptr) return false;
        std::uint8_t& known = uniform_[value->id];
        if (known != unknown) return known == uniform;
        known = varying;
        const Instruction& made = *value->definition;
        bool result = made.op == Op::load || (made.op > Op::load && made.op < Op::builtin);
        if (made.op == Op::load) result = isUniformBuffer(*made.place->root);
        if (made.op == Op::builtin) result = made.place == nullptr && made.variables.empty();
        if (made.op == Op::arrayLength) result = true;
        if (made.place != nullptr)
            for (const ir::Step& step : made.place->steps)
                result = result && isUniform(step.value);
        for (const Value* operand : made.operands)
            result = result && isUniform(operand);
        uniform_[value->id] = result ? uniform : varying;
        return result;
    }

    Cost accessTo(const ir::Place& place) {
        const double parts = components(place.type);
        const Variable& root = *place.root;
        bool isConstantPlace = true;
        bool isUniformPlace = true;
        for (const ir::Step& step : place.steps) {
            isConstantPlace = isConstantPlace && step.value == nullptr;
            isUniformPlace = isUniformPlace && isUniform(step.value);
        }
        switch (root.kind) {
        case Variable::Kind::buffer:
            if (isUniformBuffer(root) && isUniformPlace) return {parts * weights::instruction / 2, 0};
            break;
        case Variable::Kind::local:
        case Variable::Kind::pointerParameter:
        case Variable::Kind::constantTable:
            if (isConstantPlace) return {parts * weights::instruction / 4, 0}; // mostly no access in the end
            // A driver keeps a small array in registers and chooses among them.
            if (components(root.type) <= weights::smallArray) return {parts * weights::choice, 0};
            break;
        default:
            if (isConstantPlace) return {parts * weights::instruction, 0};
            break;
        }
        return {0, parts};
    }

    Cost costOf(const Instruction& instruction) {
        double parts = components(instruction.result != nullptr ? instruction.result->type : nullptr);
        if (instruction.result != nullptr && instruction.result->type->scalar == ScalarKind::bfloat &&
            instruction.op != Op::load && instruction.op != Op::call)
            parts *= weights::rounding;
        switch (instruction.op) {
        case Op::load:
        case Op::store: return accessTo(*instruction.place);
        case Op::call: return of(*instruction.callee);
        case Op::if_: return {weights::branch, 0};
        case Op::loop: return {weights::loop, 0, loops_.copies(instruction) == 0 ? 1.0 : 0.0};
        case Op::switch_: {
            double cases = 1;
            for (const ir::SwitchCase& item : instruction.cases)
                cases += double(item.values.size());
            return {cases * weights::branch, 0};
        }
        case Op::div:
        case Op::rem:
            if (!isFloating(instruction.result->type->scalar)) return {parts * weights::division, 0};
            break;
        case Op::builtin:
            if (instruction.place != nullptr && !instruction.indices.empty()) return {weights::texture, 0};
            if (instruction.place != nullptr) return {0, 1}; // an atomic
            return {parts * (isPolynomial(instruction.builtinId) ? weights::function : 2 * weights::instruction), 0};
        case Op::extract:
        case Op::insert:
        case Op::construct:
        case Op::shuffle:
        case Op::bitcast: return {weights::instruction / 4, 0};
        default: break;
        }
        return {parts * weights::instruction, 0};
    }

    static bool isPolynomial(BuiltinId id) {
        switch (id) {
        case BuiltinId::acos:
        case BuiltinId::acosh:
        case BuiltinId::asin:
        case BuiltinId::asinh:
        case BuiltinId::atan:
        case BuiltinId::atan2:
        case BuiltinId::atanh:
        case BuiltinId::cos:
        case BuiltinId::cosh:
        case BuiltinId::cospi:
        case BuiltinId::exp:
        case BuiltinId::exp10:
        case BuiltinId::exp2:
        case BuiltinId::log:
        case BuiltinId::log10:
        case BuiltinId::log2:
        case BuiltinId::pow:
        case BuiltinId::powr:
        case BuiltinId::sin:
        case BuiltinId::sincos:
        case BuiltinId::sinh:
        case BuiltinId::sinpi:
        case BuiltinId::tan:
        case BuiltinId::tanh:
        case BuiltinId::tanpi: return true;
        default: return false;
        }
    }

    static Cost localsOf(const Function& function) {
        Cost cost;
        if (function.locals == nullptr) return cost;
        for (const Variable* local : *function.locals)
            if (const double words = components(local->type); words > weights::smallArray)
                cost.time += words * weights::localWord;
        return cost;
    }

    const DriverLoops& loops_;
    std::vector<std::uint8_t> uniform_; // by Value::id
    std::unordered_map<const Function*, Cost> costs_;
};

} // namespace

std::optional<SourceLocation> findExcessiveCost(const ir::Module& module, const DriverLoops& loops) {
    Estimate estimate(module, loops);
    for (const ir::Entry* entry : module.entries) {
        if (estimate.of(*entry->function).total() <= weights::limit) continue;
        Cost sum;
        return estimate.excess(*entry->function, sum);
    }
    return std::nullopt;
}

} // namespace msl
