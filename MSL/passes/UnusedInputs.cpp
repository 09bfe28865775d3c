#include "MSL/passes/UnusedInputs.h"

#include "MSL/ir/Walk.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;
using ir::Value;
using ir::Variable;

using Mask = std::uint64_t; // a bit for each field or part; none: not read at all
constexpr Mask everything = ~Mask(0);

Mask bit(std::uint32_t field) {
    return field < 64 ? Mask(1) << field : everything;
}

// What of the values handed to a function is read by it or by what it calls.
struct Reads {
    std::vector<Mask> parameters;
    std::vector<Mask> pointerParameters;
};

class ReadsOfAll {
  public:
    explicit ReadsOfAll(const ir::Module& module) {
        for (const Function* function : module.functions) // callees come first
            add(*function);
    }

    // Null for a function that has not been seen.
    const Reads* of(const Function* function) const {
        const auto found = reads_.find(function);
        return found != reads_.end() ? &found->second : nullptr;
    }

  private:
    void add(const Function& function) {
        std::unordered_map<const Value*, Mask> values;       // parameters
        std::unordered_map<const Variable*, Mask> variables; // struct variables of the function
        std::vector<std::pair<const Variable*, const Value*>> copies;
        for (const Value* parameter : function.parameters)
            values.emplace(parameter, 0);
        const auto ofStruct = [](const Variable* variable) {
            return variable->type != nullptr && variable->type->is(TypeKind::struct_);
        };
        const bool isWorthIt = !values.empty() || std::ranges::any_of(function.pointerParameters, ofStruct);
        if (isWorthIt)
            ir::forEachInstruction(
                *function.body, [&](const Instruction& instruction) { note(instruction, values, variables, copies); });
        for (const auto& [variable, value] : copies)
            values[value] |= variables[variable];

        Reads& reads = reads_[&function];
        for (const Value* parameter : function.parameters)
            reads.parameters.push_back(values[parameter]);
        for (const Variable* parameter : function.pointerParameters)
            reads.pointerParameters.push_back(ofStruct(parameter) ? variables[parameter] : everything);
    }

    void note(const Instruction& instruction, std::unordered_map<const Value*, Mask>& values,
              std::unordered_map<const Variable*, Mask>& variables,
              std::vector<std::pair<const Variable*, const Value*>>& copies) const {
        const bool isStore = instruction.op == Op::store;
        const Reads* callee = instruction.op == Op::call ? of(instruction.callee) : nullptr;
        for (std::size_t i = 0; i < instruction.operands.size(); ++i) {
            const auto value = values.find(instruction.operands[i]);
            if (value == values.end()) continue;
            if (instruction.op == Op::extract && !instruction.indices.empty())
                value->second |= bit(instruction.indices[0]);
            else if (callee != nullptr && i < callee->parameters.size())
                value->second |= callee->parameters[i];
            else if (isStore && instruction.place->steps.empty() &&
                     instruction.place->root->kind == Variable::Kind::local)
                copies.emplace_back(instruction.place->root, value->first);
            else
                value->second = everything;
        }
        if (instruction.place != nullptr && !isStore) {
            const std::span<const ir::Step> steps = instruction.place->steps;
            const bool isField = !steps.empty() && steps[0].kind == ir::Step::Kind::member;
            variables[instruction.place->root] |= isField ? bit(steps[0].number) : everything;
        }
        for (std::size_t i = 0; i < instruction.variables.size(); ++i)
            variables[instruction.variables[i]] |=
                callee != nullptr && i < callee->pointerParameters.size() ? callee->pointerParameters[i] : everything;
    }

    std::unordered_map<const Function*, Reads> reads_;
};

bool isInput(const Variable& variable) {
    return variable.kind == Variable::Kind::input || variable.kind == Variable::Kind::attachment;
}

// Whether the instruction may go when nobody uses its result.
bool isOnlyItsResult(const Instruction& instruction) {
    switch (instruction.op) {
    case Op::load: return isInput(*instruction.place->root);
    case Op::construct:
    case Op::convert:
    case Op::extract:
    case Op::insert:
    case Op::shuffle: return true;
    default: return false;
    }
}

// The values and fields that no callee reads become nothing, and then what made them goes.
void thinOut(ir::Module& module, Function& wrapper, const ReadsOfAll& all) {
    std::unordered_map<const Value*, unsigned> uses;
    ir::forEachInstruction(*wrapper.body, [&](const Instruction& instruction) {
        for (const Value* operand : instruction.operands)
            ++uses[operand];
    });
    ir::forEachInstruction(*wrapper.body, [&](Instruction& call) {
        const Reads* reads = call.op == Op::call ? all.of(call.callee) : nullptr;
        if (reads == nullptr) return;
        for (std::size_t i = 0; i < call.operands.size() && i < reads->parameters.size(); ++i) {
            if (reads->parameters[i] == 0) call.operands[i] = module.constantNull(call.operands[i]->type);
            Instruction* made = call.operands[i]->definition;
            if (made == nullptr || made->op != Op::construct || !call.operands[i]->type->is(TypeKind::struct_) ||
                uses[call.operands[i]] != 1)
                continue;
            for (std::size_t field = 0; field < made->operands.size(); ++field)
                if ((reads->parameters[i] & bit(std::uint32_t(field))) == 0)
                    made->operands[field] = module.constantNull(made->operands[field]->type);
        }
    });
    std::unordered_set<const Value*> used;
    for (Instruction* instruction = wrapper.body->last; instruction != nullptr;) {
        Instruction* const before = instruction->previous;
        if (isOnlyItsResult(*instruction) && !used.contains(instruction->result)) {
            wrapper.body->remove(instruction);
        } else {
            const auto note = [&](const Instruction& kept) {
                for (const Value* operand : kept.operands)
                    used.insert(operand);
                if (kept.place != nullptr)
                    for (const ir::Step& step : kept.place->steps)
                        used.insert(step.value);
            };
            note(*instruction);
            ir::forEachInnerBlock(*instruction, [&](const Block& inner) { ir::forEachInstruction(inner, note); });
        }
        instruction = before;
    }
}

bool decidesHowOftenItRuns(const Variable& input) {
    return input.systemValue == ir::SystemValue::sampleId || input.sampling == ir::Sampling::sample;
}

} // namespace

unsigned dropUnusedInputs(ir::Module& module) {
    const auto isFragment = [](const ir::Entry* entry) { return entry->stage == Stage::fragment; };
    if (std::ranges::none_of(module.entries, isFragment)) return 0;
    const ReadsOfAll all(module);
    for (const ir::Entry* entry : module.entries)
        if (isFragment(entry)) thinOut(module, *entry->function, all);

    std::unordered_set<const Variable*> read;
    const auto note = [&](const Instruction& instruction) {
        if (instruction.place != nullptr) read.insert(instruction.place->root);
        read.insert(instruction.variables.begin(), instruction.variables.end());
    };
    for (const Function* function : module.functions)
        ir::forEachInstruction(*function->body, note);
    for (const ir::Entry* entry : module.entries)
        ir::forEachInstruction(*entry->function->body, note);
    unsigned dropped = 0;
    for (const ir::Entry* entry : module.entries)
        if (isFragment(entry))
            dropped += unsigned(std::erase_if(*entry->interface, [&](const Variable* variable) {
                return isInput(*variable) && !read.contains(variable) && !decidesHowOftenItRuns(*variable);
            }));
    return dropped;
}

} // namespace msl
