// The state of one lowering, shared by the files of this folder; each file implements the part that its name says.
//
// How the language's notions appear here:
//  - Operand: what an expression of value category rvalue yields. Most are one IR value. Pointers, textures, samplers
//    and structs that hold such things exist only at compile time.
//  - Access: what an lvalue yields: a place in memory, or a value that cannot be written (a constant, a variable that
//  is
//    never written, a temporary), or a slot, the compile-time variable that holds a pointer or texture.
//  - Choice: the Access of what a pointer stands for that may be one of several things at run time: which things is
//    known, and a number says which of them it is. Reading and writing become branches over that number.
//  - Instance: a function made for one combination of what its reference, pointer and texture arguments stand for.
// Variables that are never written after their declaration are plain values and take no memory.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/builtins/TextureMethods.h"
#include "MSL/ir/Ir.h"
#include "MSL/lower/Lower.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/WorkLimit.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace msl {

struct Access;
struct Slot;

struct Operand {
    enum class Kind : std::uint8_t { nothing, value, pointer, resource, choice, aggregate } kind = Kind::nothing;
    TypeRef type = nullptr;           // in the source
    ir::Value* value = nullptr;       // value; of a resource: which element of an array of them, null for one alone; of
                                      // a choice: which member it is, a uint within them
    Access* access = nullptr;         // pointer: what it points to; null for a null pointer
    ir::Variable* resource = nullptr; // texture or sampler, or an array of them
    std::span<Operand> members = {};  // aggregate: a struct or array with a part that is no value; choice: the
                                      // textures or samplers that it may be at run time

    static Operand ofValue(ir::Value* value, TypeRef type) {
        return {.kind = Kind::value, .type = type, .value = value};
    }
};

struct Access {
    enum class Kind : std::uint8_t {
        value,
        place,
        slot,
        choice,  // one of `options`
        nothing, // what a null pointer points to, as an option
    } kind = Kind::value;
    TypeRef type = nullptr; // in the source, after the swizzle
    Operand held;           // value
    ir::Place* place = nullptr;
    Slot* slot = nullptr;
    TypeRef unionMember = nullptr; // place: holds a union's words, to be read as this type
    std::uint8_t swizzleCount = 0; // place: of the vector that lies there
    std::uint8_t swizzle[4] = {};
    ir::Value* element = nullptr;   // slot, value: not the array of pointers that it is, but this element of it
    ir::Value* number = nullptr;    // choice: a uint, which of the options it is
    std::span<Access> options = {}; // choice: no two have the same shape, and none is a choice
};

// A variable of a type that has no values in the IR.
enum class SlotUse : std::uint8_t {
    fixed,     // set once
    moved,     // a pointer goes through the array that it points into
    repointed, // it may be set to anything
};
struct Slot {
    // What a pointer has been set to so far. Its indices are run-time variables: one of each step, null for a step that
    // stays as it is.
    struct Candidate {
        Access access;
        std::span<ir::Variable*> indices = {};
    };
    TypeRef type = nullptr;
    SlotUse use = SlotUse::fixed;
    Operand held; // a texture or sampler, or a pointer that is set once
    bool isSet = false;
    bool isBorrowed = false; // a caller's
    std::span<Candidate> candidates = {};
    ir::Variable* number = nullptr; // which of the candidates it is
    bool isNumberRead = false;      // somebody asks
    std::uint32_t knownNumber = 0;  // in `knownIn`, behind the last store
    ir::Block* knownIn = nullptr;
    std::uint64_t made = 0;     // in the order of events
    std::uint64_t lastRead = 0; // likewise
    // A texture or sampler that is set more than once: all that it may be, and which of them it is. Those that are an
    // element of an array by a run-time index have it in a variable of `choiceIndices`.
    std::span<Operand> choices = {};
    std::span<ir::Variable*> choiceIndices = {};
    ir::Variable* selector = nullptr;
    ir::Variable* variable = nullptr; // a member that is an ordinary value
    std::span<Slot> members = {};     // a struct or an array
};

class Lowering {
  public:
    Lowering(ir::Module& module, Diagnostics& diagnostics, WorkLimit& limit, const LowerOptions& options);
    void run(const TranslationUnit& unit);

  private:
    struct VariableFacts {
        bool isWritten = false;            // after its declaration, or a reference that could write it is made
        bool isRepointed = false;          // a pointer, or a struct with one: set anew after its declaration
        bool isIndexedDynamically = false; // read by an index that is not constant
        bool isBound = false;
        ir::Variable* local = nullptr; // that it takes in `localOf`
        ir::Function* localOf = nullptr;
        bool isEvaluating = false; // a global whose initialiser is being looked at
        Access access;
    };
    struct FunctionFacts {
        bool isScanned = false;
        bool isActive = false; // being lowered: a call to it now is recursion
        unsigned returnCount = 0;
        bool endsInReturn = false; // its last statement is its only return
        bool setsPointers = false; // gives a caller's pointer something new to point to: lowered into its callers
    };
    struct Instance {
        ir::Function* function = nullptr;
        std::vector<std::uint32_t> key;
    };
    // What is being filled right now: an IR function, or a function expanded in place.
    struct Context {
        ir::Function* function = nullptr;
        FunctionDecl* decl = nullptr;
        Access thisAccess;
        bool hasThis = false;
        bool isConstructor = false;
        bool isInlined = false;
        Operand inlineResult; // what the final return of a function expanded in place gave
        // One that returns from elsewhere too stands in a loop of one round:
        Slot* resultSlot = nullptr;
        ir::Variable* hasReturned = nullptr;
        unsigned returnsInPlace = 0;
        bool setsPointers = false; // as in FunctionFacts
        bool hasRepeats = false;   // code was lowered and dropped
    };
    // A loop that is being lowered. What a pointer is set to in a loop may be seen where an earlier round reads it:
    // such a loop is lowered anew, now that it is known.
    struct LoopFrame {
        std::uint64_t begin = 0; // in the order of events
        bool isToRepeat = false;
    };
    // Collects what a call hands over, and what distinguishes its instance.
    struct CallSignature {
        std::vector<std::uint32_t> key;
        std::vector<ir::Value*> values;
        std::vector<ir::Variable*> roots;
    };
    // The other end: parameters of the instance in the same order.
    struct InstanceParameters {
        std::vector<ir::Value*> values;
        std::vector<ir::Variable*> pointers;
        std::unordered_map<ir::Variable*, ir::Variable*> roots; // the caller's to the instance's
    };

    // Lower.cpp
    bool enter(SourceLocation at); // one level deeper; false, with a message, when that is too deep or too much
    void leave() { --depth_; }
    Operand errorOperand(TypeRef type);
    Access errorAccess(TypeRef type);
    void unsupported(SourceLocation at, std::string_view what);
    VariableFacts& facts(VarDecl* variable);
    FunctionFacts& facts(FunctionDecl* function);
    bool isOpaque(TypeRef type);
    static std::string_view nameOf(const Decl* decl);
    ir::Variable* newLocal(TypeRef type, std::string_view name);

    // LowerUsage.cpp
    void scan(FunctionDecl* function);
    void scanStmt(const Stmt* stmt, FunctionFacts& function);
    void scanExpr(const Expr* expr);
    void markWritten(const Expr* expr, bool isMoved = false);
    void markIndexed(const Expr* expr);
    VarDecl* rootVariable(const Expr* expr);
    void scanLocal(const VarDecl* variable);

    // LowerFunction.cpp
    Operand callFunction(const Call& call);
    Operand callWith(FunctionDecl* function, std::span<const Access> arguments, const Access* object,
                     SourceLocation at);
    Operand expandInPlace(FunctionDecl* function, std::span<const Access> arguments, const Access* object,
                          SourceLocation at);
    void returnInPlace(const ReturnStmt& stmt);
    void leaveIfReturned(unsigned returnsBefore);
    Operand constructInPlace(FunctionDecl* constructor, std::span<const Access> arguments, TypeRef type,
                             SourceLocation at);
    Operand runConstructor(FunctionDecl* constructor, std::span<Expr* const> arguments, TypeRef type,
                           SourceLocation at);
    std::vector<Access> bindArguments(FunctionDecl* function, std::span<Expr* const> arguments);
    Access referredTo(const Expr* expr, TypeRef referenceType);
    Access referredTo(const Access& access, TypeRef referenceType, SourceLocation at);
    static bool refersToSlot(const Operand& operand);
    static bool refersToSlot(const Access& access);
    CallSignature signatureOf(FunctionDecl* function, std::span<const Access> arguments, const Access* object);
    bool canPass(const CallSignature& signature, SourceLocation at);
    ir::Function* instanceFor(FunctionDecl* function, std::span<const Access> arguments, const Access* object,
                              const CallSignature& signature);
    void describe(CallSignature& signature, const Access& access);
    void describe(CallSignature& signature, const Operand& operand);
    void describe(CallSignature& signature, Slot& slot);
    void receive(InstanceParameters& parameters, Slot& from, Slot& to);
    Access receive(InstanceParameters& parameters, const Access& given);
    Operand receive(InstanceParameters& parameters, const Operand& operand);
    void bindParameter(VarDecl* parameter, const Access& argument);
    void lowerBody(FunctionDecl* function);
    void initialiseMembers(FunctionDecl* constructor, const Access& object);
    void reportRecursion(FunctionDecl* function, SourceLocation at);
    void endFunction(TypeRef returnType);

    // LowerStmt.cpp
    void statement(const Stmt* stmt);
    void statements(std::span<Stmt* const> list);
    void declare(VarDecl* variable);
    void ifStatement(const IfStmt& stmt);
    void forStatement(const Stmt* init, const Expr* condition, const Expr* step, const Stmt* body);
    void loopStatement(const Expr* condition, const Expr* step, const Stmt* body);
    void doStatement(const DoWhileStmt& stmt);
    void rangeForStatement(const RangeForStmt& stmt);
    void switchStatement(const SwitchStmt& stmt);
    void returnStatement(const ReturnStmt& stmt);
    ir::Variable* localOf(VarDecl* variable, TypeRef type);
    void repeatedly(SourceLocation at, const std::function<void()>& lowerLoop);
    static bool runsOn(const ir::Block& block); // control can reach the end of the block
    void closeIfDead();

    // LowerExpr.cpp
    Operand rvalue(const Expr* expr);
    ir::Value* value(const Expr* expr);
    void effect(const Expr* expr); // for what it does; its value is not used
    Operand castOperand(CastKind kind, const Expr* operand, TypeRef to, SourceLocation at);
    ir::Value* convertValue(TypeRef to, ir::Value* value);
    Operand unary(const Unary& expr);
    Operand binary(const Binary& expr);
    ir::Value* arithmetic(BinaryOp op, TypeRef type, ir::Value* left, ir::Value* right, SourceLocation at);
    ir::Value* arithmeticByColumn(BinaryOp op, TypeRef type, ir::Value* left, ir::Value* right);
    Operand pointerBinary(const Binary& expr);
    Operand shortCircuit(const Binary& expr);
    Operand conditional(const Conditional& expr, ir::Value* condition);
    Operand construct(const Construct& expr);
    Operand aggregate(const Construct& expr);
    Operand unionValue(const Construct& expr);
    Operand defaultValue(TypeRef type, bool isZeroed);
    ir::Value* matrixFromScalar(TypeRef type, ir::Value* scalar);
    static bool isCheap(const Expr* expr, unsigned& budget);
    static bool isCheapPlace(const Expr* expr, unsigned& budget);

    // LowerPlace.cpp
    Access lvalue(const Expr* expr);
    Access assign(const Binary& expr); // plain and compound; gives the left side
    Access assignTo(const Binary& expr, const Expr* target, const Operand& right, bool isScalarFactor);
    Access accessOf(VarDecl* variable, SourceLocation at);
    Access heldAccess(Operand operand);
    Access placeAccess(ir::Place* place, TypeRef type);
    Access chooseLvalue(ir::Value* condition, const Conditional& expr);
    Access memberAccess(const Access& base, const VarDecl* field, SourceLocation at);
    Access derivedAccess(const Access& base, TypeRef derived, SourceLocation at);
    Access swizzleAccess(const Access& base, std::span<const std::uint8_t> components, TypeRef type);
    Access indexAccess(const Access& base, ir::Value* index, TypeRef type, SourceLocation at);
    Access inMemory(const Access& access, SourceLocation at); // spilled to a table or a local when it is a value
    Operand load(const Access& access, SourceLocation at);
    Operand loadChoice(const Access& choice, SourceLocation at);
    void store(const Access& access, const Operand& operand, SourceLocation at);

    // LowerPointer.cpp
    Access dereference(const Operand& pointer, TypeRef type, SourceLocation at);
    static bool isNull(const Operand& pointer) {
        return pointer.access == nullptr || pointer.access->kind == Access::Kind::nothing;
    }
    Operand pointerTo(const Access& access, TypeRef pointerType);
    Operand decay(const Access& array, TypeRef pointerType, SourceLocation at);
    Operand movePointer(const Operand& pointer, ir::Value* by, bool isBackwards, SourceLocation at);
    ir::Value* pointerIndex(const Operand& pointer);
    ir::Value* indexValue(const Expr* expr);
    bool sameStaticPath(const Access& left, const Access& right) const;

    // LowerSlot.cpp
    void fillSlot(Slot& slot, TypeRef type, SlotUse use, std::string_view name);
    std::optional<std::uint32_t> candidateFor(Slot& slot, const Access& access, SourceLocation at);
    void setNumber(Slot& slot, const Access& source, std::span<const std::uint32_t> numbers);
    void storePointer(Slot& slot, const Operand& operand, SourceLocation at);
    static SlotUse useOf(const VariableFacts& facts) {
        return facts.isRepointed ? SlotUse::repointed : facts.isWritten ? SlotUse::moved : SlotUse::fixed;
    }
    Operand loadSlot(Slot& slot, SourceLocation at);
    Operand slotShape(const Slot& slot);
    void storeSlot(Slot& slot, const Operand& operand, SourceLocation at);
    void removeUnused(ir::Function* function, std::size_t numberStores, bool hasRepeats);

    // LowerPointerChoice.cpp
    static bool haveSameShape(const Access& a, const Access& b);
    ir::Value* isNumber(const Access& choice, std::uint32_t option);
    Access choose(ir::Value* number, ir::Value* isSecond, std::span<const Access> given, TypeRef type,
                  SourceLocation at);
    Operand chooseOperand(ir::Value* number, ir::Value* isSecond, std::span<const Operand> given, TypeRef type,
                          SourceLocation at);
    ir::Value* renumbered(ir::Value* number, std::span<const std::uint32_t> numbers);
    Access elementOf(const Access& access);
    Access mapOptions(const Access& choice, TypeRef type, const std::function<Access(const Access&)>& map);
    void eachOption(const Access& choice, const std::function<void(const Access&)>& run);
    static Access retyped(const Access& access, TypeRef type, ir::Module& module);
    ir::Value* comparePointers(BinaryOp op, const Operand& left, const Operand& right, TypeRef type, SourceLocation at);
    ir::Value* comparePlain(BinaryOp op, const Access& left, const Access& right, TypeRef type);
    ir::Value* isSet(const Operand& pointer);

    // LowerView.cpp
    struct ByteOffset { // from where a variable begins; a multiple of `alignment`
        ir::Value* bytes = nullptr;
        std::uint32_t alignment = 16;
    };
    ByteOffset offsetOf(const ir::Place& place) { return {byteOffset(place), alignmentOf(place)}; }
    ByteOffset startOfVariable() { return {uintConstant(0)}; }
    bool isView(const ir::Place* place) const;
    Access castAccess(const Access& held, TypeRef to, SourceLocation at);
    bool castInPlace(const Access& held, TypeRef to, Access& result);
    ir::Place* viewOf(const Access& held, TypeRef as);
    ir::Place* viewAt(const ir::Place& place, TypeRef as);
    ir::Place* viewOfMember(const Access& access);
    ir::Variable* viewVariable(ir::Variable* memory, TypeRef as);
    ir::Value* byteOffset(const ir::Place& place);
    ir::Place* wordPlace(ir::Variable* buffer, ScalarKind kind, ir::Value* bytes, std::uint64_t more);

    // LowerBytes.cpp
    static bool hasBytes(TypeRef type);
    ir::Value* bitsOfNumber(ir::Value* number);
    ir::Value* numberOfBits(TypeRef number, ir::Value* bits);
    ir::Value* readNumberBytes(ir::Variable* memory, ir::Value* byte, unsigned size);
    void writeNumberBytes(ir::Variable* memory, ir::Value* byte, unsigned size, ir::Value* bits);
    void writeNumberPart(ir::Place* place, ir::Value* inside, unsigned size, ir::Value* bits);
    ir::Value* readWord(ir::Variable* memory, ScalarKind word, ir::Value* bytes, std::uint64_t more);
    void writeWord(ir::Variable* memory, ScalarKind word, ir::Value* bytes, std::uint64_t more, ir::Value* value);
    ir::Place* atomicPlace(ir::Place* place, ScalarKind kind);

    // LowerView.cpp
    bool holdsUnion(TypeRef type) const;
    bool canCopy(TypeRef type);
    ir::Value* loadPlace(ir::Place* place);
    void storePlace(ir::Place* place, ir::Value* value);
    TypeRef partInMemory(TypeRef type, std::uint32_t index) const;
    ir::Value* readBytes(ir::Variable* buffer, TypeRef type, const ByteOffset& at, std::uint64_t more);
    void writeBytes(ir::Variable* buffer, TypeRef type, const ByteOffset& at, std::uint64_t more, ir::Value* value);
    ir::Value* readNumber(ir::Variable* memory, ScalarKind word, const ByteOffset& at, std::uint64_t more);
    void writeNumber(ir::Variable* memory, ScalarKind word, const ByteOffset& at, std::uint64_t more, ir::Value* value);
    std::uint32_t alignmentOf(const ir::Place& place) const;
    bool isMisaligned(const ir::Place& place) const;
    void writePart(ir::Variable* words, TypeRef type, std::uint32_t index, ir::Value* part);

    // LowerUnion.cpp
    TypeRef valueType(TypeRef type) const; // of what an operand of this type holds
    TypeRef carrierOf(TypeRef type) const;
    TypeRef makeCarrier(TypeRef type) const;
    TypeRef wordsFor(TypeRef type) const;
    bool isKeptAsWords(const Access& access) const;
    Access wordsInMemory(const Access& base, SourceLocation at);
    ir::Value* wordsOf(TypeRef type, std::span<ir::Value* const> parts);
    bool isStorable(TypeRef type);
    bool checkStorable(TypeRef type, SourceLocation at);
    ir::Value* fromWords(TypeRef type, ir::Value* words);
    ir::Value* toWords(ir::Value* value, ir::Value* old);

    // LowerConstant.cpp
    Access globalAccess(VarDecl* variable, SourceLocation at);
    ir::Variable* threadgroupVariable(VarDecl* variable);
    std::optional<std::uint32_t> functionConstantIndex(const VarDecl* variable);
    ir::Value* functionConstant(const VarDecl* variable, std::uint32_t index);
    void countThreadgroupBytes(TypeRef type, std::string_view name, SourceLocation at);

    // LowerBuiltin.cpp
    Operand callBuiltin(const Call& call);
    Access outArgument(const Expr* argument);

    // LowerSamples.cpp
    ir::Value* sampleCount();
    ir::Value* samplePosition(ir::Value* number);
    Operand callInterpolant(const Call& call);

    // LowerAtomic.cpp
    Operand callAtomic(const Call& call);
    ir::Value* compareExchange(const Call& call, ir::Place* place, TypeRef type, const Access& expected,
                               std::span<ir::Value* const> desired);

    // LowerGroup.cpp
    Operand callGroup(const Call& call);
    ir::Value* groupValue(const Call& call, TypeRef type);
    ir::Value* simdValue(const Call& call, TypeRef type, std::span<ir::Value* const> operands);
    ir::Value* quadValue(const Call& call, TypeRef type, std::span<ir::Value* const> operands);
    ir::Value* shiftedLane(BuiltinId id, std::span<ir::Value* const> operands, ir::Value* lane, ir::Value* size,
                           ir::Value*& isInside);
    ir::Value* ballot(ir::Value* isSet);
    ir::Value* quadBits(ir::Value* isSet);
    ir::Value* systemInput(ir::SystemValue value); // one of those that any function may ask for
    ir::Value* uintConstant(std::uint32_t number) { return module_.constantInt(module_.types.uint(), number); }

    // LowerStage.cpp: what only some kinds of entry points can do
    enum class StageNeed : std::uint8_t { fragment, kernel, notVertex };
    void needStage(StageNeed need, std::string_view name, SourceLocation at);
    void inheritNeeds(const ir::Function* callee);
    void checkNeeds(const ir::Function* wrapper, Stage stage);

    // LowerChoice.cpp: textures and samplers that are only known at run time
    Operand chooseResource(ir::Value* number, ir::Value* isSecond, std::span<const Operand> given, TypeRef type,
                           SourceLocation at);
    Operand chooseResource(ir::Value* condition, const Operand& first, const Operand& second, TypeRef type,
                           SourceLocation at);
    std::uint32_t choiceNumber(Slot& slot, const Operand& resource, std::uint32_t from, SourceLocation at);
    void storeResource(Slot& slot, const Operand& operand, SourceLocation at);
    ir::Value* forWhatItIs(const Operand& operand, TypeRef type,
                           const std::function<ir::Value*(const Operand& resource)>& make);

    // LowerTexture.cpp
    struct TextureCall;
    // Where a texture or sampler that an entry point takes is bound.
    struct ResourceSlot {
        std::string_view name;
        Stage stage = Stage::vertex;
        std::uint32_t index = 0;          // the language's: [[texture(n)]], or [[id(n)]] in an argument buffer
        std::int32_t argumentBuffer = -1; // the [[buffer(n)]] it is a member of
        bool isValue = false;             // what lies there is read as a whole: a plain value in an argument buffer
    };
    Operand callTexture(const Call& call);
    Operand callTextureAtomic(const Call& call);
    Operand resourceOf(const Expr* object, bool isPointer);
    ir::Place* texturePlace(const Operand& texture);
    ir::Variable* constexprSampler(const ir::Variable& written, Stage stage, SourceLocation at);
    void bindSampler(TextureCall& made, const Operand& sampler, SourceLocation at);
    ir::Value* textureSize(const TextureCall& made, unsigned dimensions);
    void clampLevel(TextureCall& made, ir::Value* least);
    void eachArgument(const Call& call, TypeRef texture,
                      const std::function<void(TextureSlot slot, const Expr* argument)>& visit);
    void sampleOperands(TextureCall& made, const Call& call);
    void sampleOption(TextureCall& made, const Call& option);
    void sampleOffset(TextureCall& made, const Expr& argument);
    void takeGradients(TextureCall& made);
    void finishSample(TextureCall& made);
    bool texelOperands(TextureCall& made, const Call& call);
    void finishRead(TextureCall& made, SourceLocation at);
    void sampleCubeTexel(TextureCall& made, SourceLocation at);
    ir::Variable* resourceVariable(const ResourceSlot& slot, TypeRef type);
    static Operand resourceOperand(ir::Variable* variable, TypeRef type);
    void listSamplers();
    void listSamplers(const ir::Function& function, ir::Entry& entry, std::vector<const ir::Function*>& seen);

    // LowerArguments.cpp
    bool isArgumentBuffer(TypeRef type);
    Operand argumentBuffer(ir::Entry& entry, VarDecl* parameter, std::uint32_t index);
    Operand argument(ir::Entry& entry, ResourceSlot& slot, TypeRef type, SourceLocation at);

    // LowerAddress.cpp
    static bool isAtAddress(const ir::Place* place);
    TypeRef indexType(const ir::Place& place, std::size_t step) const;
    bool checkAddresses(SourceLocation at);
    Access memoryAt(ir::Value* address, TypeRef type);
    ir::Value* addressOf(const Access& access, SourceLocation at);
    Operand pointerOfBits(ir::Value* bits, TypeRef type, SourceLocation at);
    Operand loadPointers(const Access& access, SourceLocation at);
    void storePointers(const Access& access, const Operand& operand, SourceLocation at);

    // LowerEntry.cpp
    void assignLocations(const TranslationUnit& unit);
    void entry(FunctionDecl* function);
    struct EntryState;
    Access entryParameter(EntryState& state, VarDecl* parameter);
    Access resourceParameter(EntryState& state, VarDecl* parameter);
    ir::Variable* bufferVariable(const ResourceSlot& slot, TypeRef type, SourceLocation at);
    Access bufferAccess(ir::Variable* variable, TypeRef type);
    ir::Variable* inputVariable(EntryState& state, const VarDecl* declaration, TypeRef type);
    ir::Value* inputValue(EntryState& state, const VarDecl* declaration, TypeRef type);
    ir::Value* attachmentValue(EntryState& state, const VarDecl* declaration, TypeRef type);
    ir::Value* systemValue(EntryState& state, ir::SystemValue value, TypeRef type, const VarDecl* declaration);
    ir::Value* derivedValue(EntryState& state, std::uint8_t derived, const VarDecl* declaration);
    Access threadgroupParameter(EntryState& state, VarDecl* parameter);
    Operand stageInput(EntryState& state, TypeRef type);
    void reportRivals(SourceLocation at, const ir::Variable& variable, const ir::Variable& rival);
    void storeOutput(EntryState& state, const VarDecl* field, ir::Value* value, TypeRef type,
                     std::span<const Attribute> attributes);
    void storeOutputs(EntryState& state, ir::Value* result);
    std::uint32_t locationFor(std::string_view name, TypeRef type);

    ir::Module& module_;
    Diagnostics& diagnostics_;
    WorkLimit& limit_;
    const bool allowsAddresses_;
    ir::Builder builder_;
    Context* context_ = nullptr;
    unsigned depth_ = 0;
    std::uint32_t entered_ = 0;
    bool isTooDeep_ = false;                // or too large; said once, and then nothing more is lowered
    std::vector<VariableFacts*> variables_; // by VarDecl::loweringId
    std::vector<FunctionFacts*> functions_; // by FunctionDecl::loweringId
    std::vector<FunctionDecl*> callStack_;
    std::unordered_multimap<std::uint64_t, Instance*> instances_;
    std::deque<Instance> instanceStore_;
    std::deque<VariableFacts> variableStore_;
    std::deque<FunctionFacts> functionStore_;
    std::deque<Slot> slots_;
    std::vector<LoopFrame> loops_;
    unsigned repeats_ = 0;     // of the loops that are being lowered: how many not for the first time
    std::uint64_t events_ = 0; // counts what happens to slots
    struct NumberStore {
        Slot* slot;
        ir::Block* block;
        ir::Instruction* store;
    };
    std::vector<NumberStore> numberStores_; // of the functions being lowered
    std::unordered_map<const StructDecl*, bool> opaqueStructs_;
    mutable std::unordered_map<TypeRef, TypeRef> carriers_;
    std::unordered_map<const VarDecl*, ir::Variable*> threadgroups_;
    struct Need {
        SourceLocation at;
        std::string_view name;
    };
    std::unordered_map<const ir::Function*, std::array<Need, 3>> needs_; // by StageNeed; an empty name is no need
    std::unordered_map<ir::SystemValue, ir::Variable*> sharedInputs_;
    std::unordered_map<const ir::Variable*, ir::Variable*> views_; // to the buffer that they look at
    std::map<std::pair<const ir::Variable*, std::uint32_t>, ir::Variable*> viewVariables_; // by the id of the type
    std::map<std::pair<const ir::Variable*, ScalarKind>, ir::Variable*> words_;
    std::unordered_map<TypeRef, ir::Variable*> memories_; // reached by address, by what lies there
    std::vector<ir::Variable*> constexprSamplers_;
    std::unordered_map<std::string_view, std::uint32_t> locations_;
    std::uint32_t nextLocation_ = 0;
    std::uint64_t localBytes_ = 0;
    std::uint64_t threadgroupBytes_ = 0;
};

} // namespace msl
