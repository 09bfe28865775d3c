#include "MSL/spirv/Assembler.h"

#include <spirv/unified1/GLSL.std.450.h>

#include <algorithm>

namespace msl::spirv {

namespace {
constexpr std::uint32_t spirvVersion = 0x00010600; // 1.6, which Vulkan 1.3 takes
constexpr std::uint32_t generator = 0;             // unregistered
} // namespace

Id Assembler::newId() {
    if (nextId_ >= limits::ids) throw LimitExceeded{"the program is too large"};
    return nextId_++;
}

std::uint32_t Assembler::head(spv::Op op, std::size_t words) {
    if (words > limits::instructionWords)
        throw LimitExceeded{"this takes an instruction of " + std::to_string(words) + " words, and at most " +
                            std::to_string(limits::instructionWords) + " are possible"};
    return static_cast<std::uint32_t>(words) << 16 | static_cast<std::uint32_t>(op);
}

// Names for a reader of the module may be cut.
std::string_view Assembler::shortName(std::string_view text) {
    return text.substr(0, 1024);
}

void Assembler::capability(spv::Capability capability) {
    if (std::find(capabilities_.begin(), capabilities_.end(), capability) == capabilities_.end())
        capabilities_.push_back(capability);
}

void Assembler::appendText(Words& to, std::string_view text) {
    std::uint32_t word = 0;
    unsigned shift = 0;
    for (const char c : text) {
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << shift;
        shift += 8;
        if (shift == 32) {
            to.push_back(word);
            word = 0;
            shift = 0;
        }
    }
    to.push_back(word); // the terminating zero is in here
}

void Assembler::entryPoint(spv::ExecutionModel model, Id function, std::string_view text,
                           std::span<const Id> interface) {
    if (text.size() > limits::stringBytes)
        throw LimitExceeded{"the name of an entry point has " + std::to_string(text.size()) + " letters, and at most " +
                            std::to_string(limits::stringBytes) + " are possible"};
    Words operands = {static_cast<std::uint32_t>(model), function};
    appendText(operands, text);
    operands.insert(operands.end(), interface.begin(), interface.end());
    emit(entryPoints_, spv::Op::OpEntryPoint, operands);
}

void Assembler::executionMode(Id function, spv::ExecutionMode mode, std::initializer_list<std::uint32_t> operands) {
    Words words = {function, static_cast<std::uint32_t>(mode)};
    words.insert(words.end(), operands.begin(), operands.end());
    emit(executionModes_, spv::Op::OpExecutionMode, words);
}

void Assembler::executionModeId(Id function, spv::ExecutionMode mode, std::initializer_list<Id> operands) {
    Words words = {function, static_cast<std::uint32_t>(mode)};
    words.insert(words.end(), operands.begin(), operands.end());
    emit(executionModes_, spv::Op::OpExecutionModeId, words);
}

void Assembler::name(Id target, std::string_view text) {
    Words words = {target};
    appendText(words, shortName(text));
    emit(names_, spv::Op::OpName, words);
}

void Assembler::memberName(Id target, std::uint32_t member, std::string_view text) {
    Words words = {target, member};
    appendText(words, shortName(text));
    emit(names_, spv::Op::OpMemberName, words);
}

void Assembler::decorate(Id target, spv::Decoration decoration, std::initializer_list<std::uint32_t> operands) {
    OperandList words = {target, static_cast<std::uint32_t>(decoration)};
    words.append({operands.begin(), operands.size()});
    emit(decorations_, spv::Op::OpDecorate, words);
}

void Assembler::memberDecorate(Id target, std::uint32_t member, spv::Decoration decoration,
                               std::initializer_list<std::uint32_t> operands) {
    OperandList words = {target, member, static_cast<std::uint32_t>(decoration)};
    words.append({operands.begin(), operands.size()});
    emit(decorations_, spv::Op::OpMemberDecorate, words);
}

Id Assembler::intern(spv::Op op, Id type, std::span<const std::uint32_t> operands) {
    std::uint64_t hash = static_cast<std::uint64_t>(op) * 0x9e3779b97f4a7c15ULL + type;
    for (const std::uint32_t word : operands)
        hash = (hash ^ word) * 0x100000001b3ULL + (hash >> 29);

    const std::uint32_t prefix = type != 0 ? 2 : 1; // words between the head and the operands
    const std::uint32_t first = head(op, operands.size() + prefix + 1);
    const Interned* known = interned_.find(hash, [&](const Interned& one) {
        const std::uint32_t* words = globals_.data() + one.at;
        return words[0] == first && (type == 0 || words[1] == type) &&
               std::equal(operands.begin(), operands.end(), words + 1 + prefix);
    });
    if (known != nullptr) return known->id;
    const Id id = newId();
    interned_.add(hash, {static_cast<std::uint32_t>(globals_.size()), id});
    globals_.push_back(first);
    if (type != 0) globals_.push_back(type);
    globals_.push_back(id);
    append(globals_, operands);
    return id;
}

Id Assembler::internedConstant(spv::Op op, Id type, std::span<const std::uint32_t> operands) {
    return intern(op, type, operands);
}

Id Assembler::newType(spv::Op op, std::span<const std::uint32_t> operands) {
    const Id id = newId();
    OperandList words = {id};
    words.append(operands);
    emit(globals_, op, words);
    return id;
}

Id Assembler::specializationConstant(Id type, std::span<const std::uint32_t> words, std::uint32_t number) {
    const Id id = newId();
    Words operands = {type, id};
    operands.insert(operands.end(), words.begin(), words.end());
    emit(globals_, spv::Op::OpSpecConstant, operands);
    decorate(id, spv::Decoration::SpecId, {number});
    return id;
}

Id Assembler::specializationFlag(Id type, std::uint32_t number) {
    const Id id = newId();
    emit(globals_, spv::Op::OpSpecConstantFalse, {type, id});
    decorate(id, spv::Decoration::SpecId, {number});
    return id;
}

Id Assembler::globalVariable(Id pointerType, spv::StorageClass storage, Id initializer) {
    if (++globalVariableCount_ > limits::globalVariables)
        throw LimitExceeded{"the program has more than " + std::to_string(limits::globalVariables) +
                            " resources, tables and other variables outside of functions"};
    const Id id = newId();
    if (initializer != 0)
        emit(globals_, spv::Op::OpVariable, {pointerType, id, static_cast<std::uint32_t>(storage), initializer});
    else
        emit(globals_, spv::Op::OpVariable, {pointerType, id, static_cast<std::uint32_t>(storage)});
    return id;
}

Id Assembler::glslInstructions() {
    if (glsl_ == 0) glsl_ = newId();
    return glsl_;
}

Id Assembler::result(spv::Op op, Id type, std::initializer_list<std::uint32_t> operands) {
    return result(op, type, std::span<const std::uint32_t>(operands.begin(), operands.size()));
}

Id Assembler::result(spv::Op op, Id type, std::span<const std::uint32_t> operands) {
    const Id id = newId();
    functions_.push_back(head(op, operands.size() + 3));
    functions_.push_back(type);
    functions_.push_back(id);
    append(functions_, operands);
    return id;
}

Id Assembler::glsl(std::uint32_t instruction, Id type, std::span<const Id> operands) {
    const Id set = glslInstructions();
    const Id id = newId();
    functions_.push_back(head(spv::Op::OpExtInst, operands.size() + 5));
    functions_.push_back(type);
    functions_.push_back(id);
    functions_.push_back(set);
    functions_.push_back(instruction);
    append(functions_, operands);
    return id;
}

void Assembler::beginFunction() {
    variables_.clear();
    variablesAt_ = functions_.size();
}

Id Assembler::functionVariable(Id pointerType, Id initializer) {
    if (++localVariableCount_ > limits::localVariables) throw LimitExceeded{"the program has too many variables"};
    const Id id = newId();
    const auto storage = static_cast<std::uint32_t>(spv::StorageClass::Function);
    if (initializer != 0)
        emit(variables_, spv::Op::OpVariable, {pointerType, id, storage, initializer});
    else
        emit(variables_, spv::Op::OpVariable, {pointerType, id, storage});
    return id;
}

void Assembler::markFirstLabel() {
    variablesAt_ = functions_.size();
}

void Assembler::endFunction() {
    functions_.insert(functions_.begin() + static_cast<std::ptrdiff_t>(variablesAt_), variables_.begin(),
                      variables_.end());
    emit(functions_, spv::Op::OpFunctionEnd, {});
}

Words Assembler::assemble() const {
    Words out = {static_cast<std::uint32_t>(spv::MagicNumber), spirvVersion, generator, nextId_, 0};
    out.reserve(out.size() + 64 + entryPoints_.size() + executionModes_.size() + names_.size() + decorations_.size() +
                globals_.size() + functions_.size());
    emit(out, spv::Op::OpCapability, {static_cast<std::uint32_t>(spv::Capability::Shader)});
    if (entryPoints_.empty()) // nothing to run: a library
        emit(out, spv::Op::OpCapability, {static_cast<std::uint32_t>(spv::Capability::Linkage)});
    for (const spv::Capability capability : capabilities_)
        emit(out, spv::Op::OpCapability, {static_cast<std::uint32_t>(capability)});
    if (glsl_ != 0) {
        Words words = {glsl_};
        appendText(words, "GLSL.std.450");
        emit(out, spv::Op::OpExtInstImport, words);
    }
    const bool hasAddresses = std::find(capabilities_.begin(), capabilities_.end(),
                                        spv::Capability::PhysicalStorageBufferAddresses) != capabilities_.end();
    emit(out, spv::Op::OpMemoryModel,
         {static_cast<std::uint32_t>(hasAddresses ? spv::AddressingModel::PhysicalStorageBuffer64
                                                  : spv::AddressingModel::Logical),
          static_cast<std::uint32_t>(spv::MemoryModel::GLSL450)});
    for (const Words* section : {&entryPoints_, &executionModes_, &names_, &decorations_, &globals_, &functions_})
        out.insert(out.end(), section->begin(), section->end());
    return out;
}

} // namespace msl::spirv
