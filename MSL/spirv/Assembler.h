// The words of one SPIR-V module, section by section, with types and constants interned. Knows the encoding and the
// order of sections; what the instructions mean is the callers' matter. One object per module, not thread safe.
#pragma once

#include "MSL/source/HashIndex.h"
#include "MSL/spirv/OperandList.h"

#include <spirv/unified1/spirv.hpp11>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace msl::spirv {

using Id = std::uint32_t;
using Words = std::vector<std::uint32_t>;

// What SPIR-V sets as the most that a module may hold.
namespace limits {
inline constexpr std::size_t instructionWords = 65'535;
inline constexpr std::size_t stringBytes = 65'535;
inline constexpr std::size_t structMembers = 16'383;
inline constexpr std::size_t structDepth = 255;
inline constexpr std::size_t switchCases = 16'383;
inline constexpr std::size_t globalVariables = 65'535;
inline constexpr std::size_t localVariables = 524'287;
inline constexpr std::size_t controlFlowDepth = 1'023;
// SPIR-V allows four times as many ids, but no driver takes a module of that size.
inline constexpr Id ids = 1'000'000;
} // namespace limits

// Thrown where a module would go over one of them, with the message for the text.
struct LimitExceeded {
    std::string what;
};

class Assembler {
  public:
    Id newId();

    void capability(spv::Capability capability); // each once
    void entryPoint(spv::ExecutionModel model, Id function, std::string_view name, std::span<const Id> interface);
    void executionMode(Id function, spv::ExecutionMode mode, std::initializer_list<std::uint32_t> operands = {});
    void executionModeId(Id function, spv::ExecutionMode mode, std::initializer_list<Id> operands);
    void name(Id target, std::string_view text);
    void memberName(Id target, std::uint32_t member, std::string_view text);
    void decorate(Id target, spv::Decoration decoration, std::initializer_list<std::uint32_t> operands = {});
    void memberDecorate(Id target, std::uint32_t member, spv::Decoration decoration,
                        std::initializer_list<std::uint32_t> operands = {});

    // A type or constant without a twin: the same words give the same id.
    Id internedType(spv::Op op, std::span<const std::uint32_t> operands) { return intern(op, 0, operands); }
    Id internedType(spv::Op op, std::initializer_list<std::uint32_t> operands) {
        return intern(op, 0, {operands.begin(), operands.size()});
    }
    Id internedConstant(spv::Op op, Id type, std::span<const std::uint32_t> operands);
    // A type of its own (structs and arrays, which carry decorations).
    Id newType(spv::Op op, std::span<const std::uint32_t> operands);
    Id constantWord(Id type, std::uint32_t word) { return internedConstant(spv::Op::OpConstant, type, {&word, 1}); }
    Id specializationConstant(Id type, std::span<const std::uint32_t> words, std::uint32_t number);
    Id specializationFlag(Id type, std::uint32_t number); // a bool, false
    Id globalVariable(Id pointerType, spv::StorageClass storage, Id initializer = 0);
    Id glslInstructions(); // the extended instruction set, imported on first use

    // Code goes to the function section.
    void code(spv::Op op, std::initializer_list<std::uint32_t> operands) { emit(functions_, op, operands); }
    void code(spv::Op op, std::span<const std::uint32_t> operands) { emit(functions_, op, operands); }
    Id result(spv::Op op, Id type, std::initializer_list<std::uint32_t> operands);
    Id result(spv::Op op, Id type, std::span<const std::uint32_t> operands);
    Id glsl(std::uint32_t instruction, Id type, std::span<const Id> operands);
    Id glsl(std::uint32_t instruction, Id type, std::initializer_list<Id> operands) {
        return glsl(instruction, type, std::span<const Id>(operands.begin(), operands.size()));
    }

    // The first block of a function takes its variables before anything else: they are collected apart and put there
    // by endFunction.
    void beginFunction();
    Id functionVariable(Id pointerType, Id initializer = 0);
    void markFirstLabel(); // the entry label has just been written
    void endFunction();

    Words assemble() const;

  private:
    // The first word of an instruction. Throws when it has more words than the field can hold.
    static std::uint32_t head(spv::Op op, std::size_t words);
    static void emit(Words& to, spv::Op op, std::span<const std::uint32_t> operands) {
        to.push_back(head(op, operands.size() + 1));
        append(to, operands);
    }
    // Most instructions have a few words: this is quicker than insert() for them.
    static void append(Words& to, std::span<const std::uint32_t> operands) {
        for (const std::uint32_t word : operands)
            to.push_back(word);
    }
    static void emit(Words& to, spv::Op op, std::initializer_list<std::uint32_t> operands) {
        emit(to, op, std::span<const std::uint32_t>(operands.begin(), operands.size()));
    }
    static void appendText(Words& to, std::string_view text);
    static std::string_view shortName(std::string_view text);
    Id intern(spv::Op op, Id type, std::span<const std::uint32_t> operands);

    struct Interned {
        std::uint32_t at; // of its words in globals_
        Id id;
    };
    Id nextId_ = 1;
    Id glsl_ = 0;
    std::size_t globalVariableCount_ = 0;
    std::size_t localVariableCount_ = 0;
    std::vector<spv::Capability> capabilities_;
    Words entryPoints_;
    Words executionModes_;
    Words names_;
    Words decorations_;
    Words globals_;
    Words functions_;
    Words variables_;
    std::size_t variablesAt_ = 0;
    HashIndex<Interned> interned_;
};

} // namespace msl::spirv
