#include "MSL/passes/IndexChecks.h"

#include "MSL/passes/ValueRanges.h"

#include <algorithm>

namespace msl {

using ir::Block;
using ir::Instruction;
using ir::Op;
using ir::Place;
using ir::Step;
using ir::Value;
using ir::Variable;

namespace {

class Checker {
  public:
    explicit Checker(ir::Module& module) : module_(module), builder_(module), ranges_(module) {}

    IndexCheckCounts run() {
        for (ir::Function* function : module_.functions) {
            function_ = function;
            lengths_.clear();
            ranges_.beginFunction(*function);
            block(*function->body);
        }
        return counts_;
    }

  private:
    // ----------------------------------------------------------------------------------------------------- the walk

    void block(Block& block) {
        Instruction* next = nullptr;
        for (Instruction* at = block.first; at != nullptr; at = next) {
            next = at->next;
            switch (at->op) {
            case Op::loop:
                ranges_.beginLoop(*at);
                this->block(*at->blocks[0]);
                ranges_.beginContinuing();
                this->block(*at->blocks[1]);
                ranges_.endLoop();
                break;
            case Op::if_:
            case Op::switch_:
                ranges_.beginBranches();
                for (Block* inner : at->blocks) {
                    this->block(*inner);
                    ranges_.endBranch();
                }
                for (const ir::SwitchCase& one : at->cases) {
                    this->block(*one.block);
                    ranges_.endBranch();
                }
                ranges_.endBranches();
                ranges_.passTest(*at);
                break;
            case Op::extractDynamic:
                at->operands[1] = checked(block, *at, at->operands[1], at->operands[0]->type->columns);
                break;
            default:
                ranges_.pass(*at);
                if (at->place != nullptr) checkPlace(block, *at);
                break;
            }
        }
    }

    // ------------------------------------------------------------------------------------------------------- places

    void checkPlace(Block& block, Instruction& at) {
        const auto isOpen = [](const Step& step) { return step.kind == Step::Kind::index && !step.isChecked; };
        if (std::ranges::none_of(at.place->steps, isOpen)) return;
        auto* place = module_.arena.make<Place>(*at.place); // places may be shared by several instructions
        place->steps = module_.arena.copy<Step>(std::span<const Step>(place->steps));
        at.place = place;
        TypeRef type = place->root->type;
        Value* isThere = nullptr;
        for (std::size_t i = 0; i < place->steps.size(); ++i) {
            Step& step = place->steps[i];
            const TypeRef container = type;
            type = partOf(type, step);
            if (!isOpen(step)) continue;
            step.isChecked = true;
            if (place->root->kind == Variable::Kind::address && i < 2) continue; // the address, and what lies beside it
            if (container->is(TypeKind::array) && container->count == 0)
                isThere = checkRuntimeArray(block, at, *place, i);
            else
                checkStep(block, at, step, ir::partCount(container));
        }
        if (isThere != nullptr) runOnlyIf(block, at, isThere);
    }

    TypeRef partOf(TypeRef type, const Step& step) const {
        if (step.kind == Step::Kind::member) return type->record->fields[step.number].type;
        return type->is(TypeKind::array) ? type->element : ir::partType(module_.types, type, 0);
    }

    void checkStep(Block& block, Instruction& at, Step& step, std::uint64_t count) {
        if (step.value != nullptr) {
            step.value = checked(block, at, step.value, count);
        } else if (step.number < count) {
            ++counts_.proved;
        } else {
            step.number = static_cast<std::uint32_t>(std::max<std::uint64_t>(count, 1) - 1);
            ++counts_.clamped;
        }
    }

    // The index itself when it is proved to be below count, else an instruction that makes it so.
    Value* checked(Block& block, Instruction& at, Value* index, std::uint64_t count) {
        const auto last = static_cast<std::int64_t>(std::max<std::uint64_t>(count, 1)) - 1;
        if (contains({0, last}, ranges_.of(index))) {
            ++counts_.proved;
            return index;
        }
        ++counts_.clamped;
        return clampTo(block, at, index, module_.constantInt(module_.types.uint(), last));
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

    // ------------------------------------------------------------------------------------ arrays of unknown length

    struct Length {
        Value* last = nullptr;    // the last element's index; anything when there is none
        Value* isThere = nullptr; // bool: there is an element. Null: there always is
    };

    Value* checkRuntimeArray(Block& block, Instruction& at, Place& place, std::size_t stepIndex) {
        Step& step = place.steps[stepIndex];
        ++counts_.clamped;
        Value* index = step.value != nullptr ? step.value : module_.constantInt(module_.types.uint(), step.number);
        const Length length = lengthOf(block, at, place, stepIndex);
        step.value = clampTo(block, at, index, length.last);
        step.number = 0;
        return length.isThere;
    }

    // Asked once, at the function's start, where the array is the variable or a member of it.
    Length lengthOf(Block& block, Instruction& at, const Place& place, std::size_t stepIndex) {
        const bool isFixed = std::ranges::all_of(place.steps.first(stepIndex),
                                                 [](const Step& step) { return step.kind == Step::Kind::member; });
        if (isFixed) {
            const auto known = lengths_.find(place.root);
            if (known != lengths_.end()) return known->second;
        }
        Block made;
        builder_.block = &made;
        auto* array = module_.arena.make<Place>();
        array->root = place.root;
        array->steps = place.steps.first(stepIndex);
        array->type = place.root->type;
        for (const Step& step : array->steps)
            array->type = partOf(array->type, step);
        Value* count = builder_.arrayLength(array);
        Length length;
        length.last = builder_.binary(Op::sub, module_.types.uint(), count, module_.constantInt(count->type, 1));
        if (place.root->kind == Variable::Kind::buffer) // the host gives threadgroup memory an element at least
            length.isThere =
                builder_.binary(Op::notEqual, module_.types.bool_(), count, module_.constantNull(count->type));
        if (!isFixed) {
            moveBefore(block, at, made);
            return length;
        }
        moveBefore(*function_->body, *function_->body->first, made);
        lengths_[place.root] = length;
        return length;
    }

    // Puts the instruction into "if (condition)"; where it does not run its result is zero.
    void runOnlyIf(Block& block, Instruction& at, Value* condition) {
        auto* inner = module_.arena.make<Instruction>(at);
        Place* result = nullptr;
        Block made;
        builder_.block = &made;
        builder_.location = at.location;
        if (at.result != nullptr) {
            Variable* variable = module_.newVariable(Variable::Kind::local, at.result->type, {});
            function_->locals->push_back(variable);
            result = builder_.place(variable);
            builder_.store(result, module_.constantNull(variable->type));
            inner->result = module_.newValue(Value::Kind::result, at.result->type);
            inner->result->definition = inner;
        }
        builder_.block = builder_.if_(condition)->blocks[0];
        builder_.block->append(inner);
        if (result != nullptr) builder_.store(result, inner->result);
        moveBefore(block, at, made);
        if (result == nullptr) {
            block.remove(&at);
            return;
        }
        Instruction load;
        load.op = Op::load;
        load.result = at.result;
        load.place = result;
        load.location = at.location;
        load.previous = at.previous;
        load.next = at.next;
        at = load;
    }

    ir::Module& module_;
    ir::Builder builder_;
    ValueRanges ranges_;
    ir::Function* function_ = nullptr;
    IndexCheckCounts counts_;
    std::unordered_map<const Variable*, Length> lengths_;
};

} // namespace

IndexCheckCounts checkIndexes(ir::Module& module) {
    return Checker(module).run();
}

} // namespace msl
