#include "MSL/passes/LoopChains.h"

#include "MSL/ir/Walk.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;
using ir::Place;
using ir::Value;
using ir::Variable;

constexpr int longestChain = 5;

// Goes through the entry points in the order in which a driver lays them out, functions put into their callers.
class Chains {
  public:
    Chains(ir::Module& module, const DriverLoops& loops) : module_(module), loops_(loops), builder_(module) {}

    std::size_t run() {
        for (const ir::Entry* entry : module_.entries)
            static_cast<void>(after(*entry->function, 0));
        if (broken_.empty()) return 0;
        for (Function* function : module_.functions)
            wrapIn(*function, *function->body);
        return broken_.size();
    }

  private:
    // The number of loops in a row, up to the end of what is given, when there are `length` before it. Branches count
    // one after the other: a CPU driver runs them all, with the threads that do not take part masked.
    int after(const Function& function, int length) {
        const std::pair key(&function, length);
        if (const auto found = known_.find(key); found != known_.end()) return found->second;
        const int end = after(*function.body, length);
        known_.emplace(key, end);
        return end;
    }

    int after(const Block& block, int length) {
        for (const Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::call) {
                length = after(*at->callee, length);
            } else if (at->op == Op::loop && loops_.copies(*at) == 0) {
                length = afterLoop(*at, length);
            } else {
                ir::forEachInnerBlock(*at, [&](const Block& inner) { length = after(inner, length); });
            }
        }
        return length;
    }

    int afterLoop(const Instruction& loop, int length) {
        // A loop with loops in it breaks the chain by itself.
        int inside = 0;
        ir::forEachInnerBlock(loop, [&](const Block& inner) { inside = after(inner, inside); });
        if (inside > 0) return inside;
        if (broken_.contains(&loop)) return 1;
        if (length < longestChain) return length + 1;
        broken_.insert(&loop);
        return 1;
    }

    void wrapIn(Function& function, Block& block) {
        for (Instruction* at = block.first; at != nullptr;) {
            Instruction* next = at->next;
            ir::forEachInnerBlock(*at, [&](Block& inner) { wrapIn(function, inner); });
            if (broken_.contains(at)) wrap(function, block, at);
            at = next;
        }
    }

    // loop { turns = 0; loop { turns += 1; ... } if (turns * turns % 8 != 5) break; }
    // No square leaves 5 when it is divided by 8, of wrapping numbers too, but nothing that optimises looks for that.
    void wrap(Function& function, Block& block, Instruction* loop) {
        const TypeRef uint = module_.types.uint();
        const auto number = [&](std::int64_t value) { return module_.constantInt(uint, value); };
        Variable* turns = module_.newVariable(Variable::Kind::local, uint, "turns");
        function.locals->push_back(turns);
        builder_.location = loop->location;

        Block made;
        builder_.block = &made;
        const Instruction* once = builder_.loop();
        block.moveBefore(loop, made);
        block.remove(loop);

        builder_.block = once->blocks[0];
        builder_.store(builder_.place(turns), number(0));
        once->blocks[0]->append(loop);
        Value* count = builder_.load(builder_.place(turns));
        Value* rest = builder_.binary(Op::bitAnd, uint, builder_.binary(Op::mul, uint, count, count), number(7));
        const Instruction* end = builder_.if_(builder_.binary(Op::notEqual, module_.types.bool_(), rest, number(5)));
        builder_.block = end->blocks[0];
        builder_.break_();

        Block counting;
        builder_.block = &counting;
        Place* place = builder_.place(turns);
        builder_.store(place, builder_.binary(Op::add, uint, builder_.load(place), number(1)));
        loop->blocks[0]->moveBefore(loop->blocks[0]->first, counting);
    }

    ir::Module& module_;
    const DriverLoops& loops_;
    ir::Builder builder_;
    std::map<std::pair<const Function*, int>, int> known_;
    std::set<const Instruction*> broken_;
};

} // namespace

std::size_t breakLoopChains(ir::Module& module, const DriverLoops& loops) {
    return Chains(module, loops).run();
}

} // namespace msl
