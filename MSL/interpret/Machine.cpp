#include "MSL/interpret/Machine.h"

#include <algorithm>

namespace msl::interpret {

using constant::Scalar;
using ir::Instruction;
using ir::Op;
using ir::SystemValue;
using ir::Variable;

Result run(const ir::Module& module, const ir::Entry& entry, const Launch& launch) {
    return Machine(module, entry, launch).run();
}

Machine::Machine(const ir::Module& module, const ir::Entry& entry, const Launch& launch)
    : module_(module), entry_(entry), launch_(launch), constants_(module.valueCount() + 1),
      tables_(module.variableCount() + 1), threadgroup_(module.variableCount() + 1) {}

void Machine::stop(Outcome outcome, std::string message) {
    if (isStopped()) return;
    result_.outcome = outcome;
    result_.message = std::move(message);
}

void Machine::trap(const Instruction& instruction, const std::string& what) {
    stop(Outcome::trapped, std::string(ir::opName(instruction.op)) + ": " + what);
}

// ---------------------------------------------------------------------------------------------------- control flow

Result Machine::run() {
    for (const Variable* variable : module_.globals)
        if (variable->kind == Variable::Kind::constantTable)
            appendConstant(module_, *variable->initializer, tables_[variable->id]);
    const auto groups = entry_.stage == Stage::kernel ? launch_.groups : std::array<std::uint32_t, 3>{1, 1, 1};
    for (std::uint32_t z = 0; z < groups[2]; ++z)
        for (std::uint32_t y = 0; y < groups[1]; ++y)
            for (std::uint32_t x = 0; x < groups[0] && !isStopped(); ++x)
                runGroup({x, y, z});
    return std::move(result_);
}

void Machine::runGroup(std::array<std::uint32_t, 3> group) {
    group_ = group;
    for (const Variable* variable : module_.globals)
        if (variable->kind == Variable::Kind::threadgroup) {
            const bool isOpen = variable->type->is(TypeKind::array) && variable->type->count == 0;
            Numbers& numbers = threadgroup_[variable->id];
            numbers.clear();
            for (std::uint32_t i = 0; i < (isOpen ? threadgroupLength(*variable) : 1); ++i)
                fill(isOpen ? variable->type->element : variable->type, 0, numbers);
        }
    const auto size = entry_.stage == Stage::kernel ? launch_.groupSize : std::array<std::uint32_t, 3>{1, 1, 1};
    std::vector<Thread> threads(std::size_t{size[0]} * size[1] * size[2]);
    for (std::uint32_t i = 0; i < threads.size(); ++i) {
        Thread& thread = threads[i];
        thread.position = {i % size[0], i / size[0] % size[1], i / size[0] / size[1]};
        thread.values.resize(module_.valueCount() + 1);
        thread.variables.resize(module_.variableCount() + 1);
        enter(thread, *entry_.function, nullptr);
    }
    for (bool goesOn = true; goesOn && !isStopped();) { // from barrier to barrier
        goesOn = false;
        for (Thread& thread : threads) {
            thread.isWaiting = false;
            while (!thread.frames.empty() && !thread.isWaiting && !isStopped())
                step(thread);
            goesOn = goesOn || !thread.frames.empty();
        }
    }
    if (entry_.stage == Stage::kernel || isStopped()) return;
    result_.isDiscarded = threads[0].isDiscarded;
    for (const Variable* variable : *entry_.interface)
        if (variable->kind == Variable::Kind::output)
            result_.outputs.push_back(
                {variable->systemValue, variable->location, std::move(threads[0].variables[variable->id])});
}

void Machine::enter(Thread& thread, const ir::Function& function, const Instruction* call) {
    for (const Variable* local : *function.locals) {
        Numbers& numbers = thread.variables[local->id];
        numbers.clear();
        if (local->initializer != nullptr)
            appendConstant(module_, *local->initializer, numbers);
        else
            fill(local->type, launch_.undefinedBits, numbers);
    }
    thread.frames.push_back({Frame::Kind::function, call, function.body->first});
}

void Machine::step(Thread& thread) {
    if (result_.steps++ >= launch_.mostSteps) {
        stop(Outcome::tooLong, "the program did not end within " + std::to_string(launch_.mostSteps) + " steps");
        return;
    }
    Frame& frame = thread.frames.back();
    if (frame.next == nullptr) {
        endBlock(thread);
        return;
    }
    const Instruction& instruction = *frame.next;
    frame.next = instruction.next;
    execute(thread, instruction);
}

void Machine::endBlock(Thread& thread) {
    Frame& frame = thread.frames.back();
    switch (frame.kind) {
    case Frame::Kind::function: return_(thread, nullptr); break;
    case Frame::Kind::branch:
    case Frame::Kind::switchCase: thread.frames.pop_back(); break;
    case Frame::Kind::body:
        frame.kind = Frame::Kind::continuing;
        frame.next = frame.owner->blocks[1]->first;
        break;
    case Frame::Kind::continuing:
        if (!frame.owner->operands.empty() && isTrue(thread, *frame.owner->operands[0])) {
            thread.frames.pop_back();
        } else {
            frame.kind = Frame::Kind::body;
            frame.next = frame.owner->blocks[0]->first;
        }
        break;
    }
}

void Machine::execute(Thread& thread, const Instruction& instruction) {
    switch (instruction.op) {
    case Op::if_: {
        const ir::Block* taken = instruction.blocks[isTrue(thread, *instruction.operands[0]) ? 0 : 1];
        thread.frames.push_back({Frame::Kind::branch, &instruction, taken->first});
        break;
    }
    case Op::loop: thread.frames.push_back({Frame::Kind::body, &instruction, instruction.blocks[0]->first}); break;
    case Op::switch_: switchTo(thread, instruction); break;
    case Op::break_: leave(thread); break;
    case Op::continue_: continue_(thread); break;
    case Op::return_: return_(thread, &instruction); break;
    case Op::call: call(thread, instruction); break;
    case Op::discard: thread.isDiscarded = true; break;
    case Op::unreachable: trap(instruction, "it was reached"); break;
    default: {
        Numbers out;
        compute(thread, instruction, out);
        if (instruction.result != nullptr && !isStopped()) thread.values[instruction.result->id] = std::move(out);
        break;
    }
    }
}

void Machine::switchTo(Thread& thread, const Instruction& instruction) {
    const Scalar selector = value(thread, *instruction.operands[0])[0];
    const auto isSelected = [&](std::int64_t label) {
        return Scalar::integer(selector.kind, static_cast<std::uint64_t>(label)) == selector;
    };
    const ir::SwitchCase* taken = nullptr;
    for (const ir::SwitchCase& one : instruction.cases)
        if (std::ranges::any_of(one.values, isSelected) || (one.isDefault && taken == nullptr)) {
            taken = &one;
            if (!one.isDefault || std::ranges::any_of(one.values, isSelected)) break;
        }
    if (taken != nullptr) thread.frames.push_back({Frame::Kind::switchCase, &instruction, taken->block->first});
}

void Machine::leave(Thread& thread) {
    while (thread.frames.back().kind == Frame::Kind::branch)
        thread.frames.pop_back();
    if (thread.frames.back().kind == Frame::Kind::function)
        stop(Outcome::trapped, "break: nothing to leave");
    else
        thread.frames.pop_back();
}

void Machine::continue_(Thread& thread) {
    while (thread.frames.back().kind == Frame::Kind::branch || thread.frames.back().kind == Frame::Kind::switchCase)
        thread.frames.pop_back();
    if (thread.frames.back().kind != Frame::Kind::body)
        stop(Outcome::trapped, "continue: no loop to continue");
    else
        thread.frames.back().next = nullptr;
}

void Machine::return_(Thread& thread, const Instruction* instruction) {
    while (thread.frames.back().kind != Frame::Kind::function)
        thread.frames.pop_back();
    const Instruction* call = thread.frames.back().owner;
    thread.frames.pop_back();
    if (call == nullptr || call->result == nullptr) return;
    Numbers returned;
    if (instruction != nullptr && !instruction->operands.empty())
        returned = value(thread, *instruction->operands[0]);
    else
        fill(call->result->type, 0, returned);
    thread.values[call->result->id] = std::move(returned);
}

void Machine::call(Thread& thread, const Instruction& instruction) {
    const ir::Function& callee = *instruction.callee;
    for (std::size_t i = 0; i < callee.parameters.size(); ++i)
        thread.values[callee.parameters[i]->id] = Numbers(value(thread, *instruction.operands[i]));
    for (std::size_t i = 0; i < callee.pointerParameters.size(); ++i) {
        const Variable* variable = instruction.variables[i];
        const auto given = thread.given.find(variable);
        thread.given[callee.pointerParameters[i]] = given != thread.given.end() ? given->second : variable;
    }
    enter(thread, callee, &instruction);
}

// ---------------------------------------------------------------------------------------------------------- memory

std::uint32_t Machine::threadgroupLength(const Variable& variable) const {
    for (const ThreadgroupLength& length : launch_.lengths)
        if (length.index == variable.metalIndex) return std::max(length.count, 1U);
    return 1;
}

bool Machine::systemValue(const Thread& thread, const Variable& variable, Numbers& out) const {
    const auto& size = launch_.groupSize;
    const auto& at = thread.position;
    std::array<std::uint32_t, 3> found = {};
    switch (variable.systemValue) {
    case SystemValue::globalInvocationId:
        for (unsigned i = 0; i < 3; ++i)
            found[i] = group_[i] * size[i] + at[i];
        break;
    case SystemValue::localInvocationId: found = at; break;
    case SystemValue::localInvocationIndex: found[0] = (at[2] * size[1] + at[1]) * size[0] + at[0]; break;
    case SystemValue::workgroupId: found = group_; break;
    case SystemValue::numWorkgroups: found = launch_.groups; break;
    case SystemValue::workgroupSize: found = size; break;
    default: return false;
    }
    for (unsigned i = 0; i < variable.type->columns; ++i)
        out.push_back(Scalar::integer(variable.type->scalar, found[i]));
    return true;
}

// The variable as memory.
bool Machine::object(Thread& thread, const Instruction& instruction, const Variable& variable, Location& out) {
    out.type = variable.type;
    const std::string name = "'" + std::string(variable.name) + "'";
    switch (variable.kind) {
    case Variable::Kind::local: out.numbers = &thread.variables[variable.id]; return true;
    case Variable::Kind::pointerParameter: {
        const auto given = thread.given.find(&variable);
        if (given != thread.given.end()) return object(thread, instruction, *given->second, out);
        trap(instruction, name + " stands for nothing");
        return false;
    }
    case Variable::Kind::constantTable: out.numbers = &tables_[variable.id]; return true;
    case Variable::Kind::threadgroup: out.numbers = &threadgroup_[variable.id]; return true;
    case Variable::Kind::buffer:
        if (variable.argumentBuffer >= 0) {
            notSupported("an argument buffer");
            return false;
        }
        for (const Buffer& buffer : launch_.buffers)
            if (buffer.index == variable.metalIndex) {
                out.isBytes = true;
                out.bytes = buffer.bytes;
                return true;
            }
        notSupported("the buffer " + name + " without memory");
        return false;
    case Variable::Kind::input: {
        Numbers& numbers = thread.variables[variable.id];
        out.numbers = &numbers;
        if (!numbers.empty()) return true;
        if (entry_.stage == Stage::kernel && systemValue(thread, variable, numbers)) return true;
        for (const StageValue& input : launch_.inputs)
            if (input.systemValue == variable.systemValue && input.location == variable.location &&
                input.components.size() == numberCount(variable.type)) {
                numbers = input.components;
                return true;
            }
        notSupported("the input " + name);
        return false;
    }
    case Variable::Kind::output:
        out.numbers = &thread.variables[variable.id];
        if (out.numbers->empty()) fill(variable.type, launch_.undefinedBits, *out.numbers);
        return true;
    case Variable::Kind::attachment:
    case Variable::Kind::texture:
    case Variable::Kind::sampler: break;
    case Variable::Kind::address: notSupported("the address " + name); return false;
    }
    notSupported("the texture, sampler or attachment " + name);
    return false;
}

std::uint64_t Machine::elementCount(const Location& array, const Variable& root) const {
    if (array.type->count != 0) return array.type->count;
    if (!array.isBytes) return threadgroupLength(root);
    const std::uint64_t size = layoutOf(array.type->element).size;
    return array.offset > array.bytes.size() || size == 0 ? 0 : (array.bytes.size() - array.offset) / size;
}

// What the place leads to; nothing, and the run has stopped, when a step goes outside.
std::optional<Location> Machine::locate(Thread& thread, const Instruction& instruction) {
    const ir::Place& place = *instruction.place;
    Location at;
    if (!object(thread, instruction, *place.root, at)) return std::nullopt;
    for (const ir::Step& step : place.steps) {
        const TypeRef type = at.type;
        if (step.kind == ir::Step::Kind::member) {
            const Field& field = type->record->fields[step.number];
            if (at.isBytes)
                at.offset += field.offset;
            else
                for (std::uint32_t i = 0; i < step.number; ++i)
                    at.offset += numberCount(type->record->fields[i].type);
            at.type = field.type;
            continue;
        }
        const std::uint64_t index =
            step.value == nullptr ? step.number : static_cast<std::uint64_t>(value(thread, *step.value)[0].bits);
        const std::uint64_t count = type->is(TypeKind::array) ? elementCount(at, *place.root) : type->columns;
        if (index >= count) {
            trap(instruction, "index " + std::to_string(static_cast<std::int64_t>(index)) + " into '" +
                                  std::string(place.root->name) + "', where there are " + std::to_string(count));
            return std::nullopt;
        }
        const bool isPlain = type->isVector() || type->is(TypeKind::packedVector);
        const std::uint64_t stride = !at.isBytes ? numberCount(type->element)
                                     : isPlain   ? byteSize(type->scalar)
                                                 : layoutOf(type->element).size;
        at.offset += index * stride;
        at.type = type->element;
    }
    return at;
}

} // namespace msl::interpret
