// What is known of integer values at each point of a function, for passes that walk through it once in program order.
// It follows the thread's own integer variables through stores, branches and counting loops.
//
// Why it holds. A fact is "this variable lies in this range here", and there are four ways to have one:
//   1. A store: the variable has the range of the value stored. A value never changes, so what was loaded from a
//      variable keeps the range that the variable had at the load, whatever is stored later.
//   2. Where branches meet (behind an if, a switch, a loop), a variable that is written in any of them is forgotten.
//      A call that is handed a variable writes it; nothing else can reach a variable but by its name.
//   3. Into a loop, a variable that is written anywhere inside of the loop is forgotten.
//   4. A loop that begins with "if (v < bound) {} else break" lets its body run behind this test only. The test
//      narrows what is known of v until v is written. When v is written in the loop, it must be a counter:
//        - the only write to v in the whole loop is "v = (load of v) + constant", not inside of a loop within this
//          one, and not before the test: so it runs at most once in a pass;
//        - its load stands just before it in the same block: so it adds to what the test of the same pass let through;
//        - the largest value that the test lets through plus the constant stays inside of v's type: so v never wraps.
//      Then v only grows from pass to pass, and at every test it is at least what it was when the loop began. Counting
//      down mirrors this. A test may be several comparisons joined by logicalAnd. The load that is compared must stand
//      in the body before the test, with no write to v between, so that it is what v holds at the test.
#pragma once

#include "MSL/passes/Range.h"

#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace msl {

class ValueRanges {
  public:
    explicit ValueRanges(const ir::Module& module);

    // The walk. Each function begins with this,
    void beginFunction(const ir::Function& function);
    // tells of each instruction when it is through with it (control flow excepted),
    void pass(const ir::Instruction& instruction);
    // puts the blocks of an if or a switch between these,
    void beginBranches() { branches_.push_back({log_.size(), forgotten_.size()}); }
    void endBranch();   // after each block
    void endBranches(); // after the last
    // and those of a loop between these; the loops of a function in program order.
    void beginLoop(const ir::Instruction& loop);
    // The instruction is the loop's test, and the walk continues behind it. Called for every if_ of the body that the
    // walk comes out of; others than the test change nothing.
    void passTest(const ir::Instruction& branch);
    void beginContinuing();
    void endLoop();

    // What the value may be; the value's operands must have been passed.
    Range of(const ir::Value* value) { return rangeOf(value, 0); }

  private:
    struct Fact {
        Range range;
        bool isKnown = false;
    };
    struct Change {
        std::uint32_t variable;
        Fact before;
    };
    struct Write {
        const ir::Variable* variable;
        const ir::Instruction* instruction;
        std::uint32_t loop; // the innermost around it, as an index into loops_; none: noLoop
    };
    struct Loop { // its writes are writes_[firstWrite, endOfWrites)
        const ir::Instruction* instruction;
        std::size_t firstWrite;
        std::size_t endOfWrites;
    };
    struct Counter { // of an open loop
        const ir::Variable* variable;
        Range atEntry;
        std::int64_t step;
        const ir::Instruction* write;
    };
    struct OpenLoop {
        const Loop* loop;
        const ir::Instruction* test; // null: it begins with something else
        std::size_t logAtEntry;
        std::size_t logBehindTest;
        std::size_t firstCounter; // in counters_, up to the next open loop's
    };
    struct Branches {
        std::size_t log;
        std::size_t forgotten;
    };

    void collect(const ir::Block& block, std::uint32_t loop);
    void set(const ir::Variable* variable, Fact fact);
    void forget(std::uint32_t variable);
    void rewind(std::size_t log);
    void narrow(const ir::Value* condition, const OpenLoop& open, unsigned depth);
    static const ir::Instruction* testOf(const ir::Instruction& loop);
    static bool standsBefore(const ir::Instruction* wanted, const ir::Instruction* at);
    static bool isCurrent(const ir::Instruction* load, const ir::Instruction* at);
    static std::optional<std::int64_t> stepOf(const Write& write);
    Range rangeOf(const ir::Value* value, unsigned depth);

    std::vector<Fact> facts_; // by Variable::id
    std::vector<Change> log_; // what to undo at the end of a branch or loop
    std::vector<std::uint32_t> forgotten_;
    std::vector<Branches> branches_;
    std::vector<Write> writes_;
    std::vector<Loop> loops_;
    std::size_t nextLoop_ = 0;
    std::vector<OpenLoop> open_;
    std::vector<Counter> counters_;
    std::vector<std::uint32_t> writeCounts_; // by Variable::id, for one loop at a time
    std::unordered_map<const ir::Value*, Range> ranges_;
};

} // namespace msl
