#include "MSL/passes/CutLoops.h"

#include "MSL/Compiler.h"
#include "MSL/ir/Walk.h"
#include "MSL/passes/LoopTurns.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;
using ir::Value;
using ir::Variable;

constexpr double mostUncutTurns = 65535; // that no driver cuts
constexpr double fewTurns = 32;          // of a loop that is laid out, or soon over

class Turns {
  public:
    explicit Turns(const ir::Module& module) {
        for (const Function* function : module.functions) // callees come first
            functions_[function] = in(*function->body);
    }
    double of(const Function& function) const { return functions_.at(&function); }

  private:
    // All branches count, because neighbouring threads take one each.
    double in(const Block& block) const {
        double sum = 0;
        for (const Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::call) sum += functions_.at(at->callee);
            double inside = 0;
            ir::forEachInnerBlock(*at, [&](const Block& inner) { inside += in(inner); });
            sum += at->op == Op::loop ? (turnsAtMost(*at) + 1) * (inside + 1) : inside;
        }
        return sum;
    }

    std::unordered_map<const Function*, double> functions_;
};

void reach(const Function& function, std::unordered_set<const Function*>& reached) {
    if (!reached.insert(&function).second) return;
    ir::forEachInstruction(*function.body, [&](const Instruction& at) {
        if (at.op == Op::call) reach(*at.callee, reached);
    });
}

class Marker {
  public:
    Marker(ir::Module& module, Variable* buffer) : module_(module), builder_(module), buffer_(buffer) {}

    bool run(Function& function) {
        depths_ = 0;
        findLoops(*function.body, 0);
        if (loops_.empty()) return false;
        const TypeRef uint = module_.types.uint();
        notes_ = module_.newVariable(Variable::Kind::local, module_.types.array(uint, depths_ + 1), "left");
        function.locals->push_back(notes_);
        Block made;
        builder_.block = &made;
        builder_.location = function.body->first->location;
        hidden_ = builder_.binary(Op::bitAnd, uint, builder_.load(word(1)), module_.constantInt(uint, 1));
        function.body->moveBefore(function.body->first, made);
        for (const Found& found : loops_)
            mark(found);
        loops_.clear();
        return true;
    }

  private:
    struct Found {
        Instruction* loop;
        Block* block;
        std::uint32_t depth;
    };

    void findLoops(Block& block, std::uint32_t depth) {
        for (Instruction* at = block.first; at != nullptr; at = at->next) {
            const bool isMarked = at->op == Op::loop && turnsAtMost(*at) > fewTurns;
            if (isMarked) {
                loops_.push_back({at, &block, depth});
                depths_ = std::max(depths_, depth + 1);
            }
            for (Block* inner : at->blocks)
                findLoops(*inner, depth + (isMarked ? 1 : 0));
            for (const ir::SwitchCase& item : at->cases)
                findLoops(*item.block, depth + (isMarked ? 1 : 0));
        }
    }

    void mark(const Found& found) {
        Instruction* loop = found.loop;
        Instruction* behind = loop->next;
        builder_.location = loop->location;
        note(*found.block, loop, found.depth, 0);
        noteBreaks(*loop->blocks[0], found.depth);
        noteBreaks(*loop->blocks[1], found.depth);
        const TypeRef uint = module_.types.uint();
        if (!loop->operands.empty()) {
            Block made;
            builder_.block = &made;
            builder_.store(place(found.depth), builder_.select(loop->operands[0], module_.constantInt(uint, 1),
                                                               module_.constantInt(uint, 0)));
            loop->blocks[1]->moveBefore(nullptr, made);
        }
        Block made;
        builder_.block = &made;
        Value* hasLeft = builder_.load(place(found.depth));
        const Instruction* isCut =
            builder_.if_(builder_.binary(Op::equal, module_.types.bool_(), hasLeft, module_.constantInt(uint, 0)));
        builder_.block = isCut->blocks[0];
        builder_.store(word(0), module_.constantInt(uint, 1));
        found.block->moveBefore(behind, made);
    }

    // Before those that leave the loop whose blocks these are.
    void noteBreaks(Block& block, std::uint32_t depth) {
        for (Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::break_) note(block, at, depth, 1);
            if (at->op == Op::if_)
                for (Block* inner : at->blocks)
                    noteBreaks(*inner, depth);
        }
    }

    void note(Block& block, Instruction* before, std::uint32_t depth, std::int64_t left) {
        Block made;
        builder_.block = &made;
        builder_.store(place(depth), module_.constantInt(module_.types.uint(), left));
        block.moveBefore(before, made);
    }

    ir::Place* place(std::uint32_t depth) {
        const TypeRef uint = module_.types.uint();
        Value* index = builder_.binary(Op::add, uint, hidden_, module_.constantInt(uint, depth));
        return checked(builder_.placeIndex(builder_.place(notes_), index, uint));
    }
    ir::Place* word(std::uint32_t number) {
        return checked(builder_.placeIndex(builder_.place(buffer_), number, module_.types.uint()));
    }
    static ir::Place* checked(ir::Place* place) {
        place->steps.back().isChecked = true;
        return place;
    }

    ir::Module& module_;
    ir::Builder builder_;
    Variable* buffer_;
    Variable* notes_ = nullptr;
    Value* hidden_ = nullptr;
    std::vector<Found> loops_;
    std::uint32_t depths_ = 0;
};

} // namespace

void markCutLoops(ir::Module& module) {
    const Turns turns(module);
    std::unordered_set<const Function*> wanted, others;
    for (const ir::Entry* entry : module.entries) {
        if (entry->stage != Stage::fragment)
            reach(*entry->function, others);
        else if (turns.of(*entry->function) > mostUncutTurns)
            reach(*entry->function, wanted);
    }
    if (wanted.empty()) return;

    Variable* buffer =
        module.newVariable(Variable::Kind::buffer, module.types.array(module.types.uint(), 0), "cutLoops");
    buffer->stage = Stage::fragment;
    buffer->space = AddressSpace::device;
    buffer->metalIndex = cutLoopsIndex;
    buffer->isWritable = true;
    Marker marker(module, buffer);
    std::unordered_set<const Function*> marked;
    for (Function* function : module.functions)
        if (wanted.contains(function) && !others.contains(function) && marker.run(*function)) marked.insert(function);
    if (marked.empty()) return;
    module.globals.push_back(buffer);
    for (ir::Entry* entry : module.entries) {
        std::unordered_set<const Function*> reached;
        reach(*entry->function, reached);
        if (std::ranges::any_of(reached, [&](const Function* function) { return marked.contains(function); }))
            entry->interface->push_back(buffer);
    }
}

} // namespace msl
