// The module as a whole, functions, entry points, blocks and control flow.
#include "MSL/spirv/ModuleWriter.h"

#include <algorithm>

namespace msl::spirv {

using ir::Instruction;
using ir::Op;

ModuleWriter::ModuleWriter(const ir::Module& module, const Bindings& bindings, const WriterOptions& options)
    : module_(module), bindings_(bindings), options_(options), values_(module.valueCount() + 1, 0),
      globals_(module.variableCount() + 1), locals_(module.variableCount() + 1, 0),
      fragmentInputs_(module.variableCount() + 1, false) {}

std::expected<Words, WriterError> ModuleWriter::write() try {
    for (const ir::Entry* entry : module_.entries)
        if (entry->stage == Stage::fragment)
            for (const ir::Variable* variable : *entry->interface)
                if (variable->kind == ir::Variable::Kind::input) fragmentInputs_[variable->id] = true;
    for (const ir::Entry* entry : module_.entries)
        for (const ir::Variable* variable : usesOf(*entry->function))
            asksForHelpers_ = asksForHelpers_ || variable->systemValue == ir::SystemValue::helperInvocation;
    for (const ir::Function* function : module_.functions)
        writeFunction(*function);
    for (const ir::Entry* entry : module_.entries)
        writeEntry(*entry);
    // What others wrote is seen behind a barrier only where the memory is coherent.
    if (usesDeviceBarrier_)
        for (const Id buffer : writableBuffers_)
            asm_.decorate(buffer, spv::Decoration::Coherent);
    if (!failure_.empty()) return std::unexpected(WriterError{SourceLocation::atOffset(0), failure_, true});
    return asm_.assemble();
} catch (const LimitExceeded& limit) {
    return std::unexpected(WriterError{location_, limit.what});
}

std::expected<std::vector<std::uint32_t>, WriterError> write(const ir::Module& module, const Bindings& bindings,
                                                             const WriterOptions& options) {
    return ModuleWriter(module, bindings, options).write();
}

Id ModuleWriter::fail(std::string what) {
    if (failure_.empty()) failure_ = std::move(what);
    return asm_.newId();
}

Id ModuleWriter::functionId(const ir::Function& function) {
    Id& id = functions_[function.id];
    if (id == 0) id = asm_.newId();
    return id;
}

Id ModuleWriter::value(const ir::Value& wanted) {
    Id& slot = values_[wanted.id];
    if (slot != 0) return slot;
    switch (wanted.kind) {
    case ir::Value::Kind::constant: {
        const Id id = constant(wanted);
        return values_[wanted.id] = id;
    }
    case ir::Value::Kind::undefined: {
        const Id id = asm_.internedConstant(spv::Op::OpUndef, logicalType(wanted.type), {});
        return values_[wanted.id] = id;
    }
    case ir::Value::Kind::specialization: {
        const Id id = specialization(wanted);
        return values_[wanted.id] = id;
    }
    default: return fail("a value is used before it is made");
    }
}

void ModuleWriter::bind(const Instruction& instruction, Id id) {
    if (instruction.result != nullptr) values_[instruction.result->id] = id;
}

// How many of a function's values are parameters of their own: all of them, or all but those that travel together in
// one struct, the last of its parameters, because a module's functions have 255 at most.
std::size_t ModuleWriter::plainParameters(const ir::Function& function) {
    constexpr std::size_t most = 255;
    const std::size_t values = function.parameters.size();
    const std::size_t pointers = function.pointerParameters.size();
    return values + pointers <= most ? values : most - 1 - std::min(pointers, most - 1);
}

// The struct of the values that travel together; 0 when there are none.
Id ModuleWriter::bundleType(const ir::Function& function) {
    const std::size_t plain = plainParameters(function);
    if (plain == function.parameters.size()) return 0;
    Id& type = bundles_[function.id];
    if (type != 0) return type;
    Words members;
    for (const ir::Value* parameter : function.parameters.subspan(plain))
        members.push_back(logicalType(parameter->type));
    return type = asm_.newType(spv::Op::OpTypeStruct, members);
}

void ModuleWriter::writeFunction(const ir::Function& function) {
    const std::size_t plain = plainParameters(function);
    const Id bundle = bundleType(function);
    Words typeOperands = {logicalType(function.returnType)};
    for (const ir::Value* parameter : function.parameters.first(plain))
        typeOperands.push_back(logicalType(parameter->type));
    for (const ir::Variable* parameter : function.pointerParameters)
        typeOperands.push_back(pointerType(spv::StorageClass::Function, logicalType(parameter->type)));
    if (bundle != 0) typeOperands.push_back(bundle);
    const Id functionType = asm_.internedType(spv::Op::OpTypeFunction, typeOperands);

    const Id id = functionId(function);
    if (options_.debugNames) asm_.name(id, function.name);
    asm_.beginFunction();
    asm_.code(spv::Op::OpFunction, {logicalType(function.returnType), id, 0, functionType});
    std::size_t next = 1;
    for (const ir::Value* parameter : function.parameters.first(plain))
        values_[parameter->id] = asm_.result(spv::Op::OpFunctionParameter, typeOperands[next++], {});
    for (const ir::Variable* parameter : function.pointerParameters)
        locals_[parameter->id] = asm_.result(spv::Op::OpFunctionParameter, typeOperands[next++], {});
    const Id together = bundle != 0 ? asm_.result(spv::Op::OpFunctionParameter, bundle, {}) : 0;
    label(asm_.newId());
    asm_.markFirstLabel();
    if (function.locals != nullptr) {
        for (const ir::Variable* local : *function.locals) {
            const Id initializer = local->initializer != nullptr ? value(*local->initializer) : 0;
            locals_[local->id] =
                asm_.functionVariable(pointerType(spv::StorageClass::Function, logicalType(local->type)), initializer);
            if (options_.debugNames && !local->name.empty()) asm_.name(locals_[local->id], local->name);
        }
    }
    for (std::uint32_t i = 0; plain + i < function.parameters.size(); ++i) {
        const ir::Value& parameter = *function.parameters[plain + i];
        values_[parameter.id] = asm_.result(spv::Op::OpCompositeExtract, logicalType(parameter.type), {together, i});
    }
    targets_ = {};
    if (writeBlock(*function.body)) {
        if (function.returnType->is(TypeKind::void_))
            asm_.code(spv::Op::OpReturn, {});
        else
            asm_.code(spv::Op::OpReturnValue, {nullConstant(function.returnType)});
    }
    asm_.endFunction();
}

bool ModuleWriter::writeBlock(const ir::Block& block) {
    if (++blockDepth_ >= limits::controlFlowDepth) throw LimitExceeded{"the program is nested too deeply"};
    const bool runsOn = writeInstructions(block.first);
    --blockDepth_;
    return runsOn;
}

bool ModuleWriter::writeInstructions(const Instruction* first) {
    for (const Instruction* instruction = first; instruction != nullptr; instruction = instruction->next) {
        location_ = instruction->location;
        switch (instruction->op) {
        case Op::if_: writeIf(*instruction); break;
        case Op::loop: writeLoop(*instruction); break;
        case Op::switch_: writeSwitch(*instruction); break;
        case Op::break_: branch(targets_.breakTo); return false;
        case Op::continue_: branch(targets_.continueTo); return false;
        case Op::return_:
            if (instruction->operands.empty())
                asm_.code(spv::Op::OpReturn, {});
            else
                asm_.code(spv::Op::OpReturnValue, {value(*instruction->operands[0])});
            return false;
        case Op::unreachable: asm_.code(spv::Op::OpUnreachable, {}); return false;
        default: writeInstruction(*instruction); break;
        }
    }
    return true;
}

void ModuleWriter::writeIf(const Instruction& instruction) {
    const ir::Block& thenBlock = *instruction.blocks[0];
    const ir::Block& elseBlock = *instruction.blocks[1];
    const Id condition = value(*instruction.operands[0]);
    const Id merge = asm_.newId();
    const Id thenLabel = thenBlock.isEmpty() ? merge : asm_.newId();
    const Id elseLabel = elseBlock.isEmpty() ? merge : asm_.newId();
    if (thenLabel == merge && elseLabel == merge) return;
    asm_.code(spv::Op::OpSelectionMerge, {merge, 0});
    asm_.code(spv::Op::OpBranchConditional, {condition, thenLabel, elseLabel});
    if (thenLabel != merge) {
        label(thenLabel);
        if (writeBlock(thenBlock)) branch(merge);
    }
    if (elseLabel != merge) {
        label(elseLabel);
        if (writeBlock(elseBlock)) branch(merge);
    }
    label(merge);
}

namespace {

// The condition of a while or for stands first in the loop's body as "if (c) {} else { break }": nothing but pure
// instructions before it matters, so it is enough to look at the one instruction.
bool isLoopCondition(const Instruction& instruction) {
    return instruction.op == Op::if_ && instruction.blocks[0]->isEmpty() && instruction.blocks[1]->first != nullptr &&
           instruction.blocks[1]->first->op == Op::break_;
}

} // namespace

void ModuleWriter::writeLoop(const Instruction& instruction) {
    const ir::Block& body = *instruction.blocks[0];
    const ir::Block& continuing = *instruction.blocks[1];
    const Id header = asm_.newId();
    const Id bodyLabel = asm_.newId();
    const Id continueLabel = asm_.newId();
    const Id merge = asm_.newId();
    const Targets outer = targets_;
    targets_ = {merge, continueLabel};

    branch(header);
    label(header);
    asm_.code(spv::Op::OpLoopMerge, {merge, continueLabel, 0});
    branch(bodyLabel);
    label(bodyLabel);

    // The leading condition becomes a plain exit of the loop instead of a selection with a break in it.
    if (++blockDepth_ >= limits::controlFlowDepth) throw LimitExceeded{"the program is nested too deeply"};
    bool isOpen = true;
    const Instruction* at = body.first;
    while (at != nullptr && at->op < Op::if_) {
        writeInstruction(*at);
        at = at->next;
    }
    if (at != nullptr && isLoopCondition(*at)) {
        const Id inside = asm_.newId();
        asm_.code(spv::Op::OpBranchConditional, {value(*at->operands[0]), inside, merge});
        label(inside);
        at = at->next;
    }
    if (at != nullptr) {
        isOpen = writeInstructions(at);
    }
    if (isOpen) branch(continueLabel);

    label(continueLabel);
    const bool continues = writeBlock(continuing);
    if (continues && !instruction.operands.empty())
        asm_.code(spv::Op::OpBranchConditional, {value(*instruction.operands[0]), merge, header});
    else if (continues)
        branch(header);
    targets_ = outer;
    --blockDepth_;
    label(merge);
}

void ModuleWriter::writeSwitch(const Instruction& instruction) {
    const ir::Value& selector = *instruction.operands[0];
    const bool isWide = byteSize(selector.type->scalar) == 8;
    const Id merge = asm_.newId();
    std::vector<Id> labels;
    Id defaultLabel = merge;
    for (const ir::SwitchCase& switchCase : instruction.cases) {
        labels.push_back(asm_.newId());
        if (switchCase.isDefault) defaultLabel = labels.back();
    }
    std::size_t count = 0;
    for (const ir::SwitchCase& switchCase : instruction.cases)
        count += switchCase.values.size();
    if (count > limits::switchCases)
        throw LimitExceeded{"a switch of " + std::to_string(count) + " cases is too large: at most " +
                            std::to_string(limits::switchCases) + " are possible"};
    Words operands = {value(selector), defaultLabel};
    for (std::size_t i = 0; i < instruction.cases.size(); ++i) {
        for (const std::int64_t literal : instruction.cases[i].values) {
            operands.push_back(static_cast<std::uint32_t>(literal));
            if (isWide) operands.push_back(static_cast<std::uint32_t>(static_cast<std::uint64_t>(literal) >> 32));
            operands.push_back(labels[i]);
        }
    }
    asm_.code(spv::Op::OpSelectionMerge, {merge, 0});
    asm_.code(spv::Op::OpSwitch, operands);
    const Targets outer = targets_;
    targets_.breakTo = merge;
    for (std::size_t i = 0; i < instruction.cases.size(); ++i) {
        label(labels[i]);
        if (writeBlock(*instruction.cases[i].block)) branch(merge);
    }
    targets_ = outer;
    label(merge);
}

void ModuleWriter::writeInstruction(const Instruction& instruction) {
    const auto operand = [&](std::size_t i) { return value(*instruction.operands[i]); };
    const TypeRef type = instruction.result != nullptr ? instruction.result->type : nullptr;
    location_ = instruction.location;
    switch (instruction.op) {
    case Op::load: bind(instruction, load(*instruction.place)); return;
    case Op::store: store(*instruction.place, operand(0)); return;
    case Op::arrayLength: bind(instruction, arrayLength(*instruction.place)); return;
    case Op::builtin: bind(instruction, builtin(instruction)); return;
    case Op::discard:
        asm_.capability(spv::Capability::DemoteToHelperInvocation);
        if (asksForHelpers_)
            asm_.code(spv::Op::OpStore, {discardedFlag(), asm_.internedConstant(spv::Op::OpConstantTrue,
                                                                                scalarType(ScalarKind::bool_), {})});
        asm_.code(spv::Op::OpDemoteToHelperInvocation, {});
        return;
    case Op::construct: {
        OperandList parts;
        for (const ir::Value* part : instruction.operands)
            parts.push_back(value(*part));
        if (parts.empty()) {
            bind(instruction, nullConstant(type));
            return;
        }
        // A vector may be made of vectors.
        bind(instruction, composite(type, parts, false, Made::asCode));
        return;
    }
    case Op::extract:
    case Op::insert: {
        OperandList operands;
        if (instruction.op == Op::insert)
            operands = {operand(1), operand(0)};
        else
            operands = {operand(0)};
        appendPath(operands, instruction.operands[0]->type, instruction.indices);
        const spv::Op op = instruction.op == Op::insert ? spv::Op::OpCompositeInsert : spv::Op::OpCompositeExtract;
        bind(instruction, asm_.result(op, logicalType(type), operands));
        return;
    }
    case Op::extractDynamic:
        bind(instruction, asm_.result(spv::Op::OpVectorExtractDynamic, logicalType(type), {operand(0), operand(1)}));
        return;
    case Op::shuffle: {
        const Id first = operand(0);
        OperandList operands = {first, instruction.operands.size() > 1 ? operand(1) : first};
        operands.append(instruction.indices);
        bind(instruction, asm_.result(spv::Op::OpVectorShuffle, logicalType(type), operands));
        return;
    }
    case Op::select:
        bind(instruction, asm_.result(spv::Op::OpSelect, logicalType(type), {operand(0), operand(1), operand(2)}));
        return;
    case Op::call: {
        OperandList operands = {functionId(*instruction.callee)};
        const std::size_t plain = plainParameters(*instruction.callee);
        for (const ir::Value* argument : instruction.operands.first(plain))
            operands.push_back(value(*argument));
        for (const ir::Variable* variable : instruction.variables)
            operands.push_back(locals_[variable->id]);
        if (const Id bundle = bundleType(*instruction.callee); bundle != 0) {
            Words together;
            for (const ir::Value* argument : instruction.operands.subspan(plain))
                together.push_back(value(*argument));
            operands.push_back(asm_.result(spv::Op::OpCompositeConstruct, bundle, together));
        }
        bind(instruction, asm_.result(spv::Op::OpFunctionCall, logicalType(instruction.callee->returnType), operands));
        return;
    }
    default: bind(instruction, arithmetic(instruction)); return;
    }
}

void ModuleWriter::collectUses(const ir::Block& block, std::vector<const ir::Variable*>& uses) {
    const auto add = [&](const ir::Variable* variable) {
        if (variable->kind != ir::Variable::Kind::local && variable->kind != ir::Variable::Kind::pointerParameter &&
            variable->kind != ir::Variable::Kind::address &&
            std::find(uses.begin(), uses.end(), variable) == uses.end())
            uses.push_back(variable);
    };
    for (const Instruction* instruction = block.first; instruction != nullptr; instruction = instruction->next) {
        if (instruction->place != nullptr) add(instruction->place->root);
        if (instruction->op == Op::builtin)
            for (const ir::Variable* sampler : instruction->variables)
                add(sampler);
        if (instruction->op == Op::call) {
            for (const ir::Variable* variable : usesOf(*instruction->callee))
                add(variable);
        }
        for (const ir::Block* inner : instruction->blocks)
            collectUses(*inner, uses);
        for (const ir::SwitchCase& switchCase : instruction->cases)
            collectUses(*switchCase.block, uses);
    }
}

const std::vector<const ir::Variable*>& ModuleWriter::usesOf(const ir::Function& function) {
    const auto found = uses_.find(function.id);
    if (found != uses_.end()) return found->second;
    std::vector<const ir::Variable*> uses;
    collectUses(*function.body, uses);
    return uses_[function.id] = std::move(uses);
}

void ModuleWriter::writeEntry(const ir::Entry& entry) {
    std::vector<const ir::Variable*> uses = usesOf(*entry.function);
    // Stage variables are part of the interface whether the code touches them or not.
    for (const ir::Variable* variable : *entry.interface)
        if ((variable->kind == ir::Variable::Kind::output) &&
            std::find(uses.begin(), uses.end(), variable) == uses.end())
            uses.push_back(variable);
    Words interface;
    for (const ir::Variable* variable : uses)
        if (variable->systemValue != ir::SystemValue::workgroupSize &&
            variable->systemValue != ir::SystemValue::sampleCount) // these are constants
            interface.push_back(global(*variable).id);
    if (discarded_ != 0 && entry.stage == Stage::fragment) interface.push_back(discarded_);

    const Id function = functionId(*entry.function);
    switch (entry.stage) {
    case Stage::vertex: asm_.entryPoint(spv::ExecutionModel::Vertex, function, entry.name, interface); break;
    case Stage::fragment:
        asm_.entryPoint(spv::ExecutionModel::Fragment, function, entry.name, interface);
        asm_.executionMode(function, spv::ExecutionMode::OriginUpperLeft);
        if (entry.earlyFragmentTests) asm_.executionMode(function, spv::ExecutionMode::EarlyFragmentTests);
        if (entry.usesDepthOutput) asm_.executionMode(function, spv::ExecutionMode::DepthReplacing);
        break;
    case Stage::kernel:
        asm_.entryPoint(spv::ExecutionModel::GLCompute, function, entry.name, interface);
        makeLocalSize();
        asm_.executionModeId(function, spv::ExecutionMode::LocalSizeId, {localSize_[0], localSize_[1], localSize_[2]});
        break;
    }
}

} // namespace msl::spirv
