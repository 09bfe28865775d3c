// The intermediate representation: typed values in single-assignment form, structured control flow, and memory reached
// only by places. It knows neither the syntax tree nor SPIR-V: lowering makes it, passes rewrite it, writers read it.
//
// Memory. There are no pointer values. A Place is a Variable and a list of steps (member, index, component) into it;
// the index of a step may be a value. Source-level pointers and references have become places before they get here: a
// function with reference or pointer parameters is made once for every combination of what its arguments stand for
// (which resource, which members), indices that are only known at run time travel as ordinary parameters, and a
// thread-space variable of the caller is passed as a whole (Variable::Kind::pointerParameter). A pointer that may stand
// for one of several variables at run time has become a number, and what is done with it branches over that number.
// Recursion cannot be expressed, and is refused by lowering at its line.
//
// Types are those of MSL/types, restricted to: scalars, vectors, packed vectors (in memory only), matrices, arrays,
// structs (Record::fields), void, and for resource variables textures and samplers; array count 0 is the
// runtime-sized array that a buffer pointer stands for. bool is a logical value; its byte in memory is a writer's
// matter.
//
// What a writer may rely on, and verify() checks:
// - Values. A value is numeric, a struct, or an array of known length: never packed (a packed_float3 in memory is read
//   and written as a float3), never an enumeration, a resource or undefined. It is made before it is used, in the same
//   block or one around it.
// - Operators. Operands have the types that Op names. add, sub, mul, div, neg, convert and select never see a matrix,
//   ordering never a bool; shifts and bitNot take integers, logical operators bools.
// - Built-in functions. A function of numbers has the operands of its row in the table of MSL/builtins, without those
//   that the source passes for it to write: frexp gives the fraction or, as an int, the exponent. A scalar beside
//   vectors stands for all components. simdBallot gives four words. An atomic has the place of its object (in a buffer
//   or in threadgroup memory), the values, then the memory orders; a texture instruction the place of its texture, at
//   most one sampler, and operands that each have a TextureOperand, no two the same.
// - Memory. A place's steps lead to its type. Inputs, constant tables and buffers that are not isWritable are never
//   stored to. After the index checks every index is inside of what it indexes whenever its instruction runs; an array
//   of unknown length may be empty, and is not touched then.
// - Control flow. Blocks are nested; a terminator ends its block, a block behind which nothing can run ends in
//   unreachable, and every case of a switch ends in a terminator. A switch chooses by an integer, no two cases have the
//   same value, and at most one is the default. Nothing returns out of a continuing block. A loop's condition is
//   "if_(condition) {} else { break_ }" at the start of its body.
// - Functions. A callee stands before its callers, so there is no recursion. Arguments have the types of parameters; a
//   variable that is passed whole is the caller's own or its pointer parameter. An entry's function takes and returns
//   nothing.
// A union is its 32-bit words. A local without an initializer holds anything until its first store.
//
// Ownership: everything that a module refers to, types and names included, lives in its own arena; the text and the
// tree that it was made from may go. Blocks are intrusive lists so that passes can insert.
#pragma once

#include "MSL/Reflection.h"
#include "MSL/builtins/BuiltinId.h"
#include "MSL/source/Arena.h"
#include "MSL/source/HashIndex.h"
#include "MSL/source/SourceLocation.h"
#include "MSL/types/Types.h"

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace msl::ir {

struct Instruction;
struct Function;

// ------------------------------------------------------------------------------------------------------ values

// A value: a constant, a function parameter, or the result of an instruction. Compared by address (constants are
// interned, so equal constants are the same value).
struct Value {
    enum class Kind : std::uint8_t { constant, parameter, result, undefined, specialization } kind = Kind::result;
    TypeRef type = nullptr;
    std::uint32_t id = 0; // dense in its module; writers use it to index side tables
    // constant: a scalar's bits (float and half: the bits of that format; bool 0 or 1; integers sign- or
    // zero-extended), or the parts of a vector (scalars), matrix (columns), array or struct; a null composite has no
    // parts (all zero). specialization: component bits % 8 of [[function_constant(bits / 8)]], which the host sets
    // when it makes a pipeline; component 7 is a bool, whether it did.
    std::uint64_t bits = 0;
    std::span<Value* const> parts;
    Instruction* definition = nullptr; // result: the instruction that makes it

    bool isConstant() const { return kind == Kind::constant; }
};

// ------------------------------------------------------------------------------------------------------ memory

enum class SystemValue : std::uint8_t {
    none,
    position,
    pointSize,
    vertexId,
    instanceId,
    baseVertex,
    baseInstance,
    fragCoord,
    frontFacing,
    pointCoord,
    sampleId,
    sampleMask,
    sampleCount, // of a pixel: a constant that the host sets when it makes a pipeline, one otherwise
    primitiveId,
    clipDistance,
    fragDepth,
    renderTargetArrayIndex,
    viewportArrayIndex,
    globalInvocationId,
    localInvocationId,
    localInvocationIndex,
    workgroupId,
    numWorkgroups,
    workgroupSize,
    gridSize,
    subgroupSize,
    subgroupInvocationId,
    subgroupId,
    numSubgroups,
    helperInvocation,
};
enum class Interpolation : std::uint8_t { perspective, noPerspective, flat };
enum class Sampling : std::uint8_t { center, centroid, sample };

struct Variable {
    enum class Kind : std::uint8_t {
        local,            // of one function, thread space
        pointerParameter, // a caller's local (or pointerParameter) passed whole; of one function
        constantTable,    // module scope, initializer is a constant, never written
        buffer,           // a resource: uniform or storage buffer
        texture,
        sampler, // initialised by samplerState when isConstexprSampler
        input,   // of an entry point: system value or location
        output,
        attachment,  // what the colour attachment `metalIndex` holds where the fragment is: four components of float,
                     // int or uint, only ever read as a whole
        threadgroup, // shared by the threads of one group, zero when the group starts
        address,     // what lies at addresses that the program knows: an array of runtime-sized arrays. The first step
                     // of a place is an index whose value is the address, a ulong; nothing bounds the second
    } kind = Kind::local;
    TypeRef type = nullptr; // buffer: the referee, an array of count 0 for a pointer, or a struct whose last member is
                            // one; threadgroup: the first two, the host sets the length of the argument `metalIndex`
    std::string_view name;
    std::uint32_t id = 0;         // dense in its module
    Value* initializer = nullptr; // constantTable: required. local: optional constant it starts with (else undefined)

    // resources
    Stage stage = Stage::vertex;                 // of the function that takes it: indices count apart for each
    AddressSpace space = AddressSpace::constant; // buffer: constant or device
    std::uint32_t metalIndex = 0;                // [[buffer(n)]], [[texture(n)]] ...; [[id(n)]] in an argument buffer
    std::int32_t argumentBuffer = -1;            // the buffer index of the argument buffer that it is a member of
    bool isWritable = false;
    bool isAliased = false; // another buffer variable stands for the same memory
    bool isOpen = false;    // buffer: the array of one element at the end of its type is as long as the buffer
    bool isAtomic = false;  // texture: it has texels of one 32-bit integer, which some operations work on atomically
    TypeRef declared = nullptr; // a buffer that is words here: what the source says lies there
    bool isConstexprSampler = false;
    SamplerState samplerState;
    // A texture or sampler whose type is an array takes one binding with as many descriptors.

    // inputs and outputs
    SystemValue systemValue = SystemValue::none;
    std::uint32_t location = 0;
    std::uint32_t index = 0; // second source of dual-source blending
    Interpolation interpolation = Interpolation::perspective;
    Sampling sampling = Sampling::center;
    bool isInvariant = false;
    std::string_view attribute; // for the reflection
};

struct Step {
    enum class Kind : std::uint8_t {
        member, // field `number` of a struct
        index,  // element of an array, column of a matrix, component of a vector; by `value`, or `number` when value is
                // null
    } kind = Kind::member;
    std::uint32_t number = 0;
    Value* value = nullptr; // an int or uint scalar
    bool isChecked = false; // proved or made to be in range by the index-check pass
};

struct Place {
    Variable* root = nullptr;
    std::span<Step> steps;
    TypeRef type = nullptr; // of what lies there
};

// ------------------------------------------------------------------------------------------------ instructions

enum class Op : std::uint8_t {
    // memory
    load,  // place -> result
    store, // place, operand 0
    // arithmetic, component by component; both operands have the result's type
    add,
    sub,
    mul,
    div, // floating or integer by type; signed by type
    rem, // integer remainder, sign of the first operand; floating fmod is a builtin
    neg,
    bitNot,
    logicalNot,
    shl,
    shr, // the count is taken modulo the width; shr is arithmetic for signed types
    bitAnd,
    bitOr,
    bitXor,
    logicalAnd,
    logicalOr, // on bools, both sides evaluated (short-circuit became control flow where it matters)
    equal,
    notEqual,
    less,
    lessEqual,
    greater,
    greaterEqual, // result bool or bool vector; false on NaN except notEqual
    // linear algebra
    matrixTimesMatrix,
    matrixTimesVector,
    vectorTimesMatrix,
    matrixTimesScalar,
    vectorTimesScalar,
    // conversion
    convert, // numeric to numeric of the same shape, by types; to bool: != 0; floating to integer truncates, saturates,
             // NaN 0
    bitcast, // same size, numeric
    // composites
    construct,      // vector, matrix (from columns), array, struct from its parts, one operand per part; a vector's
                    // operands are scalars and vectors that add up
    extract,        // operand 0, indices (constant path)
    extractDynamic, // operand 0 vector, operand 1 index: in range once the index-check pass has been through
    insert,         // operand 0 composite, operand 1 part, indices (constant path)
    shuffle,        // operand 0 and 1 vectors (or operand 0 alone), indices choose components
    select,         // operand 0 bool or bool vector, operand 1 when true, operand 2 when false
    // calls
    builtin,     // builtin id + precision; operands
    call,        // callee; operands for its parameters, variables for its pointer parameters
    arrayLength, // place of a runtime-sized array -> uint element count
    // control flow; the blocks are nested
    if_,     // operand 0; blocks: then, else (may be empty)
    loop,    // blocks: body, continuing. The body runs, then continuing, then the body again, until a break leaves.
             // continue_ goes to the continuing block. A condition is an if_ with break_ in it.
             // breakIf: operand 0, when present, is evaluated at the end of continuing: true leaves the loop
    switch_, // operand 0; cases: each has values (or is the default) and a block; every block ends in a terminator
             // (break_ leaves the switch); fall-through was lowered away by lowering
    // terminators: the last instruction of a block. A block without one runs on behind its construct.
    break_,    // out of the innermost loop or switch
    continue_, // to the continuing block of the innermost loop
    return_,   // operand 0 when the function has a result
    discard,   // fragment: no write happens from here on; execution continues as a helper (not a terminator)
    unreachable,
};

// What an operand of a texture instruction is for. The atomic operations on a texel are those on memory, with the
// texture as their place: they give and take the texel's one component. Coordinates of texels, array indices, faces,
// levels of reads and samples are uints; all others of a sample are floats, offsets ints.
enum class TextureOperand : std::uint8_t {
    coordinate, // one component per dimension, without array index and face
    arrayIndex,
    face,    // of a cube, for reads and writes
    compare, // with a sampled depth; atomics: what the texel should hold
    level,   // of a sample: float; of a read: uint
    bias,
    gradientX,
    gradientY,
    offset,    // a constant
    component, // a constant
    sample,
    texel,        // four components; atomics: the one
    samplerIndex, // the sampler is an element of an array, within its bounds
};

struct Block {
    Instruction* first = nullptr;
    Instruction* last = nullptr;
    void append(Instruction* instruction);
    void insertBefore(Instruction* at, Instruction* instruction); // at the end without `at`
    void moveBefore(Instruction* at, Block& from);                // everything that is in `from`
    void remove(Instruction* instruction);
    bool isEmpty() const { return first == nullptr; }
    bool isTerminated() const; // its last instruction is a terminator
};

struct SwitchCase {
    std::span<const std::int64_t> values;
    bool isDefault = false;
    Block* block = nullptr;
};

struct Instruction {
    Op op = Op::unreachable;
    Precision precision = Precision::standard; // builtin
    BuiltinId builtinId = BuiltinId::none;     // builtin
    bool isPrecise = false;                    // arithmetic: no contraction, no reassociation
    Value* result = nullptr;                   // null when there is none
    std::span<Value*> operands;
    Place* place = nullptr;           // load, store, arrayLength; atomics and texture builtins: their object
    std::span<std::uint32_t> indices; // extract, insert, shuffle; texture builtins: the TextureOperand of each operand
    Function* callee = nullptr;       // call
    std::span<Variable*> variables;   // call: one per pointer parameter; builtin with sampler: the sampler
    std::span<Block*> blocks;         // if_, loop
    std::span<SwitchCase> cases;      // switch_
    SourceLocation location;
    Instruction* previous = nullptr;
    Instruction* next = nullptr;
};

// ---------------------------------------------------------------------------------------- functions and modules

struct Function {
    std::string_view name;
    std::uint32_t id = 0;
    TypeRef returnType = nullptr;
    std::span<Value*> parameters; // by value
    std::span<Variable*> pointerParameters;
    std::vector<Variable*>* locals = nullptr; // every local variable of the function
    Block* body = nullptr;
};

// The type that a value has when memory of this type is read: packed vectors become vectors, enumerations integers.
TypeRef valueType(const TypeTable& types, TypeRef memoryType);
// The type of part `index` of a vector, matrix, array or struct, as a value.
TypeRef partType(const TypeTable& types, TypeRef composite, std::uint32_t index);
// How many parts a composite has; 0 for runtime-sized arrays and for what has no parts.
std::uint64_t partCount(TypeRef composite);

// A stage's function: void, without parameters. Lowering made it around the user's function: it loads the inputs, calls
// it, and stores the outputs.
struct Entry {
    std::string_view name;
    Stage stage = Stage::fragment;
    Function* function = nullptr;
    std::vector<Variable*>* interface = nullptr; // every input, output and resource that the source declares for it
    bool earlyFragmentTests = false;
    bool usesDepthOutput = false;
    bool mayDiscard = false;            // fragment: some path discards
    bool usesDerivatives = false;       // fragment: derivatives, or samples that take their level from them
    std::uint64_t threadgroupBytes = 0; // of the threadgroup variables with a size of their own
};

// A program-scope constant whose value the host gives, as specialisation constants; see Reflection.h for the numbers.
struct FunctionConstant {
    std::string_view name;
    TypeRef type = nullptr; // scalar or vector
    std::uint32_t index = 0;
};

class Module {
  public:
    // With a limit its memory counts as work; Arena::countWith ends that before the limit goes.
    explicit Module(WorkLimit* limit = nullptr);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    Arena arena;
    mutable TypeTable types{arena};   // interns: asking for a type changes nothing that anyone sees
    std::vector<Function*> functions; // callees before callers
    std::vector<Entry*> entries;      // in source order
    std::vector<Variable*> globals;   // everything but locals and pointer parameters
    std::vector<FunctionConstant> functionConstants;
    std::vector<TypeRef> structs; // every complete struct of the text that has a name, in source order

    Value* constantScalar(TypeRef scalar, std::uint64_t bits);
    Value* constantFloat(TypeRef scalarOrVector, double value);     // any floating kind; splat for vectors
    Value* constantInt(TypeRef scalarOrVector, std::int64_t value); // any integer kind or bool; splat for vectors
    Value* constantBool(bool value) { return constantInt(types.bool_(), value ? 1 : 0); }
    Value* constantComposite(TypeRef type, std::span<Value* const> parts);
    Value* constantNull(TypeRef type);
    Value* undefined(TypeRef type);
    Value* specialization(TypeRef scalar, std::uint32_t index, std::uint32_t component); // zero unless the host sets it
    Value* newValue(Value::Kind kind, TypeRef type);
    // Names are copied.
    Variable* newVariable(Variable::Kind kind, TypeRef type, std::string_view name);
    Function* newFunction(std::string_view name, TypeRef returnType); // not yet in `functions`: append it when complete
    Entry* newEntry(std::string_view name, Stage stage);

    std::uint32_t valueCount() const { return nextValue_; }
    std::uint32_t variableCount() const { return nextVariable_; }

    // Part `index` of a composite constant, also of a null one.
    Value* constantPart(const Value* composite, std::uint32_t index);
    // The table for a constant that is indexed at run time; one per constant.
    Variable* constantTable(Value* constant, std::string_view name);

    // The scalar constant's value as a number, whatever its kind.
    static double floatValue(const Value* scalar);
    static std::int64_t intValue(const Value* scalar);

  private:
    std::uint32_t nextValue_ = 1;
    std::uint32_t nextVariable_ = 1;
    std::uint32_t nextFunction_ = 1;
    HashIndex<Value*> constants_;
    std::unordered_map<const Value*, Variable*> tables_;
    std::deque<std::vector<Variable*>> variableLists_;
};

// Appends instructions to a block. Folds what is constant (arithmetic, conversion, composites, select), and simplifies
// what costs nothing to see (x*1, x+0 on integers, extract of construct), so that lowering may be naive.
class Builder {
  public:
    explicit Builder(Module& module) : module(module) {}
    Module& module;
    Block* block = nullptr;
    SourceLocation location;

    Value* load(Place* place);
    void store(Place* place, Value* value);
    Value* unary(Op op, Value* operand);
    Value* binary(Op op, TypeRef resultType, Value* left, Value* right); // arithmetic, comparison, linear algebra
    Value* convert(TypeRef to, Value* value);
    Value* bitcast(TypeRef to, Value* value);
    Value* construct(TypeRef type, std::span<Value* const> parts);
    Value* splat(TypeRef vector, Value* scalar);
    Value* extract(Value* composite, std::span<const std::uint32_t> path);
    Value* extract(Value* composite, std::uint32_t index) { return extract(composite, {&index, 1}); }
    Value* extractDynamic(Value* vector, Value* index);
    Value* insert(Value* composite, Value* part, std::span<const std::uint32_t> path);
    Value* shuffle(Value* first, Value* second, std::span<const std::uint32_t> components);
    Value* select(Value* condition, Value* whenTrue, Value* whenFalse);
    Value* builtin(BuiltinId id, TypeRef resultType, std::span<Value* const> operands,
                   Precision precision = Precision::standard);
    // An operation on what lies at a place: the atomics. resultType void gives null.
    Value* builtinAt(BuiltinId id, TypeRef resultType, Place* place, std::span<Value* const> operands);
    // An operation on a texture, or on an element of an array of textures: `texture` says which. `sampler` may be null.
    // resultType void gives null.
    Value* textureBuiltin(BuiltinId id, TypeRef resultType, Place* texture, Variable* sampler,
                          std::span<Value* const> operands, std::span<const TextureOperand> roles);
    Value* call(Function* callee, std::span<Value* const> arguments, std::span<Variable* const> variables);
    Value* arrayLength(Place* place);
    Instruction* if_(Value* condition); // makes both blocks, empty; block stays where it is
    Instruction* loop();                // makes both blocks
    Instruction* switch_(Value* value, std::span<SwitchCase> cases);
    void break_();
    void continue_();
    void return_(Value* value = nullptr);
    void discard();
    void unreachable();

    Place* place(Variable* root); // the whole variable
    Place* placeMember(Place* base, std::uint32_t member, TypeRef type);
    Place* placeIndex(Place* base, Value* index, TypeRef type);
    Place* placeIndex(Place* base, std::uint32_t index, TypeRef type);

    Instruction* emit(Op op, TypeRef resultType, std::span<Value* const> operands); // raw, without folding
};

std::string_view opName(Op op);

// The module as readable text, for tests and for people.
std::string toText(const Module& module);

// Checks the module's invariants (types agree, blocks end properly, values are defined before use). Returns the first
// violation as text, empty when there is none. Tests run it after every pass.
std::string verify(const Module& module);

} // namespace msl::ir
