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

bool isOfStruct(const Variable& variable) {
    return variable.type != nullptr && variable.type->is(TypeKind::struct_);
}

// What of the values and variables handed to a function is read by it or by what it calls.
class Reads {
  public:
    explicit Reads(const ir::Module& module) : values_(module.valueCount(), 0), variables_(module.variableCount(), 0) {
        std::unordered_set<const Function*> wrappers; // the entry points' own, which nobody calls
        for (const ir::Entry* entry : module.entries)
            wrappers.insert(entry->function);
        for (const Function* function : module.functions) { // callees come first
            if (wrappers.contains(function)) continue;
            add(*function);
            seen_.insert(function);
        }
    }

    // Whether a function other than the entry points' own reads of the variable.
    bool isRead(const Variable& variable) const { return variables_[variable.id] != 0; }

    // Of a call's operand; everything where nothing is known of it.
    Mask ofOperand(const Instruction& call, std::size_t i) const {
        const bool isKnown = call.op == Op::call && i < call.callee->parameters.size() && seen_.contains(call.callee);
        return isKnown ? values_[call.callee->parameters[i]->id] : everything;
    }

  private:
    using Copies = std::vector<std::pair<const Variable*, const Value*>>;

    void add(const Function& function) {
        Copies copies; // of parameters, in variables of the function
        ir::forEachInstruction(*function.body, [&](const Instruction& instruction) { note(instruction, copies); });
        for (const auto& [variable, value] : copies)
            values_[value->id] |= variables_[variable->id];
    }

    Mask ofVariable(const Instruction& call, std::size_t i) const {
        if (call.op != Op::call || i >= call.callee->pointerParameters.size()) return everything;
        const Variable& parameter = *call.callee->pointerParameters[i];
        return isOfStruct(parameter) && seen_.contains(call.callee) ? variables_[parameter.id] : everything;
    }

    void note(const Instruction& instruction, Copies& copies) {
        const bool isStore = instruction.op == Op::store;
        for (std::size_t i = 0; i < instruction.operands.size(); ++i) {
            const Value* value = instruction.operands[i];
            if (value->kind != Value::Kind::parameter) continue;
            if (instruction.op == Op::extract && !instruction.indices.empty())
                values_[value->id] |= bit(instruction.indices[0]);
            else if (isStore && instruction.place->steps.empty() &&
                     instruction.place->root->kind == Variable::Kind::local)
                copies.emplace_back(instruction.place->root, value);
            else
                values_[value->id] |= ofOperand(instruction, i);
        }
        if (instruction.place != nullptr && !isStore) {
            const std::span<const ir::Step> steps = instruction.place->steps;
            const bool isField = !steps.empty() && steps[0].kind == ir::Step::Kind::member;
            variables_[instruction.place->root->id] |= isField ? bit(steps[0].number) : everything;
        }
        for (std::size_t i = 0; i < instruction.variables.size(); ++i)
            variables_[instruction.variables[i]->id] |= ofVariable(instruction, i);
    }

    // By id.
    std::vector<Mask> values_;
    std::vector<Mask> variables_;
    std::unordered_set<const Function*> seen_;
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
void thinOut(ir::Module& module, Function& wrapper, const Reads& reads) {
    std::unordered_map<const Value*, unsigned> uses; // of structs put together
    ir::forEachInstruction(*wrapper.body, [&](const Instruction& instruction) {
        for (const Value* operand : instruction.operands)
            if (operand->type->is(TypeKind::struct_)) ++uses[operand];
    });
    ir::forEachInstruction(*wrapper.body, [&](Instruction& call) {
        if (call.op != Op::call) return;
        for (std::size_t i = 0; i < call.operands.size(); ++i) {
            const Mask read = reads.ofOperand(call, i);
            if (read == 0) call.operands[i] = module.constantNull(call.operands[i]->type);
            Instruction* made = call.operands[i]->definition;
            if (made == nullptr || made->op != Op::construct || !call.operands[i]->type->is(TypeKind::struct_) ||
                uses[call.operands[i]] != 1)
                continue;
            for (std::size_t field = 0; field < made->operands.size(); ++field)
                if ((read & bit(std::uint32_t(field))) == 0)
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
    const Reads reads(module);
    for (const ir::Entry* entry : module.entries)
        if (isFragment(entry)) thinOut(module, *entry->function, reads);

    std::vector<bool> isRead(module.variableCount()); // by an entry point's own function
    const auto note = [&](const Instruction& instruction) {
        if (instruction.place != nullptr) isRead[instruction.place->root->id] = true;
        for (const Variable* variable : instruction.variables)
            isRead[variable->id] = true;
    };
    for (const ir::Entry* entry : module.entries)
        ir::forEachInstruction(*entry->function->body, note);
    unsigned dropped = 0;
    for (const ir::Entry* entry : module.entries)
        if (isFragment(entry))
            dropped += unsigned(std::erase_if(*entry->interface, [&](const Variable* variable) {
                return isInput(*variable) && !isRead[variable->id] && !reads.isRead(*variable) &&
                       !decidesHowOftenItRuns(*variable);
            }));
    return dropped;
}

} // namespace msl
