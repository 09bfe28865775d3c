// Writes one IR module. Shared by the files that write types, memory, control flow and built-in functions; nothing else
// includes it.
//
// Types. A value has a logical type: bool is a bool, structs have no offsets. Memory that the host sees has a memory
// type: offsets and strides are explicit and a bool is a byte. Loads and stores of such memory convert between the two,
// which costs nothing for scalars, vectors and matrices without bools: there both types are one.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/spirv/Assembler.h"
#include "MSL/spirv/SpirvWriter.h"

#include <string>

namespace msl::spirv {

class ModuleWriter {
  public:
    ModuleWriter(const ir::Module& module, const Bindings& bindings, const WriterOptions& options);
    std::expected<Words, WriterError> write();

  private:
    // ------------------------------------------------------------------ types and constants (Types.cpp)
    Id scalarType(ScalarKind kind);
    Id boolType();
    Id uintType() { return scalarType(ScalarKind::uint); }
    Id floatType() { return scalarType(ScalarKind::float_); }
    Id vectorType(ScalarKind kind, unsigned count); // count 1: the scalar
    Id logicalType(TypeRef type);
    Id memoryType(TypeRef type);
    bool hasMemoryForm(TypeRef type) { return logicalType(type) != memoryType(type); }
    static bool changesInMemory(TypeRef type);
    Id structType(TypeRef type, bool inMemory);
    // A struct of more members than SPIR-V allows is a struct of structs of members.
    struct SplitStruct {
        std::vector<std::uint32_t> begins; // the first member of each part
        std::vector<Id> parts[2];          // their types: logical, in memory
    };
    static bool isSplit(TypeRef type);
    SplitStruct& splitOf(const Record& record);
    Id structPart(const Record& record, std::uint32_t begin, std::uint32_t end, bool inMemory);
    // Where a member lies: in a part of its struct when that is split.
    struct MemberPath {
        bool isSplit = false;
        std::uint32_t part = 0;
        std::uint32_t member = 0;
    };
    MemberPath memberPath(TypeRef type, std::uint32_t member);
    void appendMember(OperandList& to, TypeRef type, std::uint32_t member);
    // The way to a part of a value.
    void appendPath(OperandList& to, TypeRef type, std::span<const std::uint32_t> indices);
    // A value of the type from one for each of its elements or members.
    enum class Made : std::uint8_t { asCode, asConstant };
    Id composite(TypeRef type, std::span<const Id> elements, bool inMemory, Made made);
    void decorateMatrixMember(Id structId, std::uint32_t member, TypeRef type);
    Id pointerType(spv::StorageClass storage, Id pointee);
    static bool isBlock(TypeRef type);
    Id blockType(TypeRef type);
    Id constant(const ir::Value& value);
    Id scalarConstant(TypeRef scalar, std::uint64_t bits);
    Id splatConstant(TypeRef type, double value); // scalar or vector, numeric
    Id intConstant(TypeRef type, std::int64_t value);
    Id uintConstant(std::uint32_t value) { return asm_.constantWord(uintType(), value); }
    Id specialization(const ir::Value& value);
    Id threadgroupLength(const ir::Variable& variable);
    void makeLocalSize();
    Id workgroupSize();
    Id sampleCount();
    Id nullConstant(TypeRef type) { return asm_.internedConstant(spv::Op::OpConstantNull, logicalType(type), {}); }

    // --------------------------------------------------------------------------------- memory (Memory.cpp)
    struct Global {
        Id id = 0;
        spv::StorageClass storage = spv::StorageClass::Private;
        TypeRef declared = nullptr; // inputs and outputs: the type that Vulkan wants, when it is another
        bool inMemory = false;      // has memory types
    };
    Global& global(const ir::Variable& variable);
    TypeRef interfaceType(const ir::Variable& variable);
    // Whether this invocation has discarded its fragment, and so become a helper. Kept by hand: the CPU driver knows
    // the helpers that it started with, and ends the process when asked for those that came later.
    Id discardedFlag();
    void decorateBinding(Id id, const ir::Variable& variable);
    void decorateInterface(const ir::Variable& variable, const Global& declared);
    Id placePointer(const ir::Place& place, spv::StorageClass& storage, bool& inMemory);
    Id addressBase(const ir::Place& place);
    static void addAlignment(const ir::Place& place, OperandList& operands);
    Id load(const ir::Place& place);
    void store(const ir::Place& place, Id value);
    Id fromMemory(TypeRef type, Id value);
    Id toMemory(TypeRef type, Id value);
    Id adaptInput(TypeRef from, TypeRef to, Id value);
    Id arrayLength(const ir::Place& place);

    // ----------------------------------------------------------------------- functions (FunctionWriter.cpp)
    static std::size_t plainParameters(const ir::Function& function);
    Id bundleType(const ir::Function& function);
    void writeFunction(const ir::Function& function);
    void writeEntry(const ir::Entry& entry);
    bool writeBlock(const ir::Block& block); // true when its end was reached and the next label is still open
    bool writeInstructions(const ir::Instruction* first); // up to the end of its block
    void writeIf(const ir::Instruction& instruction);
    void writeLoop(const ir::Instruction& instruction);
    void writeSwitch(const ir::Instruction& instruction);
    void writeInstruction(const ir::Instruction& instruction);
    const std::vector<const ir::Variable*>& usesOf(const ir::Function& function);
    void collectUses(const ir::Block& block, std::vector<const ir::Variable*>& uses);
    void branch(Id label) { asm_.code(spv::Op::OpBranch, {label}); }
    void label(Id id) { asm_.code(spv::Op::OpLabel, {id}); }
    Id value(const ir::Value& value);
    void bind(const ir::Instruction& instruction, Id id);
    Id functionId(const ir::Function& function);

    // ---------------------------------------------------------------------- arithmetic (Arithmetic.cpp)
    Id arithmetic(const ir::Instruction& instruction);
    Id comparison(ir::Op op, TypeRef operandType, Id left, Id right);
    Id convert(TypeRef from, TypeRef to, Id value);

    // ------------------------------------------------------------------ textures and samplers (Textures.cpp)
    Id imageType(const ir::Variable& variable);
    Global resourceGlobal(const ir::Variable& variable);
    Id loadResource(const ir::Variable& variable, Id index, bool isConstantIndex);
    Id attachmentType(const ir::Variable& variable);
    Global attachmentGlobal(const ir::Variable& variable);
    Id readAttachment(const ir::Variable& variable);
    Id texturePointer(const ir::Variable& variable, Id index, bool isConstantIndex);
    Id texelCoordinate(TypeRef type, Id coordinate, Id arrayIndex, Id face, bool isSampled);
    Id textureAtomic(const ir::Instruction& instruction);
    Id textureBuiltin(const ir::Instruction& instruction);

    // ------------------------------------------------- atomics and barriers (Atomics.cpp), simdgroups (Groups.cpp)
    static ScalarKind atomicWord(ScalarKind kind);
    Id scopeConstant(spv::Scope scope);
    Id groupScope(); // the scope of what orders the memory of one thread, or of the threads of its group
    Id atomic(const ir::Instruction& instruction);
    Id addToFloat(Id pointer, Id scope, Id order, spv::Op op, Id by);
    void barrier(const ir::Instruction& instruction);
    Id group(const ir::Instruction& instruction);

    // ------------------------------------------------------------------------ built-in functions (Builtins.cpp)
    Id builtin(const ir::Instruction& instruction);
    Id interpolate(const ir::Instruction& instruction);
    Id floatBuiltin(BuiltinId id, TypeRef type, std::span<const Id> operands, const ir::Value& first);
    Id integerBuiltin(BuiltinId id, TypeRef type, std::span<const Id> operands, const ir::Value& first);

    // Remembers the first thing that the IR should not hold; the module is then not used.
    Id fail(std::string what);

    const ir::Module& module_;
    const Bindings& bindings_;
    const WriterOptions& options_;
    Assembler asm_;
    std::string failure_;
    SourceLocation location_; // of what is being written
    unsigned typeDepth_ = 0;
    unsigned blockDepth_ = 0;
    std::unordered_map<const Record*, SplitStruct> splitStructs_;

    std::vector<Id> logicalTypes_; // by Type::id
    std::vector<Id> memoryTypes_;
    std::vector<Id> values_;                          // by Value::id
    std::vector<Global> globals_;                     // by Variable::id
    std::unordered_map<std::uint32_t, Id> memories_;  // by Variable::id: the block of what lies at addresses
    std::vector<Id> locals_;                          // by Variable::id: locals and pointer parameters
    std::unordered_map<std::uint32_t, Id> functions_; // by Function::id
    std::unordered_map<std::uint32_t, Id> bundles_;   // see bundleType(); by Function::id

    Id frexpTypes_[5] = {};          // by component count: mantissa and exponent
    Id localSize_[3] = {};           // the specialisation constants of kernels
    Id sampleCount_ = 0;             // a specialisation constant
    Id workgroupSize_ = 0;           // the three as a vector
    Id threadgroupLengths_[32] = {}; // by the index of the argument
    std::vector<Id> writableBuffers_;
    bool usesDeviceBarrier_ = false;
    bool asksForHelpers_ = false; // some fragment function asks whether it is a helper
    Id discarded_ = 0;            // see discardedFlag()
    struct Targets {
        Id breakTo = 0;
        Id continueTo = 0;
    };
    Targets targets_;
    std::vector<bool> fragmentInputs_; // by Variable::id
    std::unordered_map<std::uint32_t, std::vector<const ir::Variable*>>
        uses_; // by Function::id: globals, callees included
};

} // namespace msl::spirv
