// One run of the interpreter: its memory, its threads and where each of them stands. Machine.cpp goes from instruction
// to instruction and finds memory, Compute.cpp works out results.
#pragma once

#include "MSL/interpret/Interpreter.h"
#include "MSL/interpret/Memory.h"

#include <optional>
#include <unordered_map>

namespace msl::interpret {

class Machine {
  public:
    Machine(const ir::Module& module, const ir::Entry& entry, const Launch& launch);
    Result run();

  private:
    // Where control comes back to when a block is through.
    struct Frame {
        enum class Kind : std::uint8_t { function, branch, switchCase, body, continuing } kind;
        const ir::Instruction* owner; // the call, if_, switch_ or loop; null: the entry's function
        const ir::Instruction* next;  // null: the block's end
    };
    struct Thread {
        std::array<std::uint32_t, 3> position = {}; // in its group
        std::vector<Frame> frames;                  // empty: it has ended
        std::vector<Numbers> values;                // by Value::id
        std::vector<Numbers> variables;             // by Variable::id: locals, inputs and outputs
        std::unordered_map<const ir::Variable*, const ir::Variable*> given; // what pointer parameters stand for
        bool isWaiting = false;                                             // at a barrier
        bool isDiscarded = false;
    };
    using Outcome = Result::Outcome;

    bool isStopped() const { return result_.outcome != Outcome::finished; }
    void stop(Outcome outcome, std::string message);
    void trap(const ir::Instruction& instruction, const std::string& what);
    void notSupported(const std::string& what) { stop(Outcome::notSupported, what + " is not supported"); }

    // control flow
    void runGroup(std::array<std::uint32_t, 3> group);
    void enter(Thread& thread, const ir::Function& function, const ir::Instruction* call);
    void step(Thread& thread);
    void endBlock(Thread& thread);
    void execute(Thread& thread, const ir::Instruction& instruction);
    void switchTo(Thread& thread, const ir::Instruction& instruction);
    void leave(Thread& thread); // break_
    void continue_(Thread& thread);
    void return_(Thread& thread, const ir::Instruction* instruction);
    void call(Thread& thread, const ir::Instruction& instruction);

    // memory
    std::optional<Location> locate(Thread& thread, const ir::Instruction& instruction);
    bool object(Thread& thread, const ir::Instruction& instruction, const ir::Variable& variable, Location& out);
    std::uint64_t elementCount(const Location& array, const ir::Variable& root) const;
    std::uint32_t threadgroupLength(const ir::Variable& variable) const;
    bool systemValue(const Thread& thread, const ir::Variable& variable, Numbers& out) const;

    // values
    const Numbers& value(Thread& thread, const ir::Value& wanted);
    bool isTrue(Thread& thread, const ir::Value& condition) { return value(thread, condition)[0].isTrue(); }
    void compute(Thread& thread, const ir::Instruction& instruction, Numbers& out);
    void builtin(Thread& thread, const ir::Instruction& instruction, Numbers& out);
    void atomic(Thread& thread, const ir::Instruction& instruction, Numbers& out);
    constant::Operand operand(Thread& thread, const ir::Value& value);

    const ir::Module& module_;
    const ir::Entry& entry_;
    const Launch& launch_;
    Result result_;
    std::vector<Numbers> constants_;   // by Value::id
    std::vector<Numbers> tables_;      // by Variable::id
    std::vector<Numbers> threadgroup_; // by Variable::id, of the group that runs
    std::array<std::uint32_t, 3> group_ = {};
};

} // namespace msl::interpret
