#include "MSL/passes/CutLoops.h"

#include "MSL/Compiler.h"
#include "MSL/ir/Walk.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

constexpr double mostTurns = 65535; // that no driver cuts
constexpr double fewTurns = 32;     // of a loop that is laid out, or soon over
constexpr double unknown = std::numeric_limits<double>::infinity();

// ---------------------------------------------------------------------------------------------- how many turns at most

bool isNumber(TypeRef type) {
    return type->isScalar() && type->scalar != ScalarKind::bool_;
}

double numberOf(const Value* constant) {
    return isFloating(constant->type->scalar) ? ir::Module::floatValue(constant)
                                              : static_cast<double>(ir::Module::intValue(constant));
}

// The local variable that the value is a load of.
const Variable* loadedBy(const Value* value) {
    const Instruction* made = value->definition;
    const bool isLoad = made != nullptr && made->op == Op::load && made->place->steps.empty();
    return isLoad && made->place->root->kind == Variable::Kind::local ? made->place->root : nullptr;
}

bool writes(const Instruction& at, const Variable* variable) {
    const bool isStore = at.place != nullptr && at.place->root == variable && at.op != Op::load;
    return isStore || std::ranges::find(at.variables, variable) != at.variables.end();
}

std::uint32_t writesIn(const Block& block, const Variable* variable) {
    std::uint32_t count = 0;
    ir::forEachInstruction(block, [&](const Instruction& at) { count += writes(at, variable) ? 1 : 0; });
    return count;
}

bool writesInside(const Instruction& at, const Variable* variable) {
    bool found = writes(at, variable);
    ir::forEachInnerBlock(at, [&](const Block& inner) { found = found || writesIn(inner, variable) > 0; });
    return found;
}

// What the variable holds when the loop begins, where the block says so.
double startOf(const Instruction& loop, const Variable* variable) {
    for (const Instruction* at = loop.previous; at != nullptr; at = at->previous) {
        if (at->op == Op::store && at->place->root == variable && at->place->steps.empty())
            return at->operands[0]->isConstant() ? numberOf(at->operands[0]) : unknown;
        if (writesInside(*at, variable)) break;
    }
    return unknown;
}

// What every turn adds to the variable; nothing else in the loop may write it.
double stepOf(const Instruction& loop, const Variable* variable) {
    if (writesIn(*loop.blocks[0], variable) != 0 || writesIn(*loop.blocks[1], variable) != 1) return 0;
    for (const Instruction* at = loop.blocks[1]->first; at != nullptr; at = at->next) {
        if (at->op != Op::store || at->place->root != variable || !at->place->steps.empty()) continue;
        const Instruction* sum = at->operands[0]->definition;
        if (sum == nullptr || (sum->op != Op::add && sum->op != Op::sub)) return 0;
        const Value* left = sum->operands[0];
        const Value* right = sum->operands[1];
        if (sum->op == Op::add && left->isConstant()) std::swap(left, right);
        if (loadedBy(left) != variable || !right->isConstant()) return 0;
        return sum->op == Op::add ? numberOf(right) : -numberOf(right);
    }
    return 0;
}

// How often the loop's body runs behind this condition at most.
double turnsBehind(const Instruction& loop, const Value* condition, unsigned depth) {
    constexpr unsigned deepest = 4;
    const Instruction* test = condition->definition;
    if (test == nullptr || depth > deepest) return unknown;
    if (test->op == Op::logicalAnd && condition->type->isScalar())
        return std::min(turnsBehind(loop, test->operands[0], depth + 1),
                        turnsBehind(loop, test->operands[1], depth + 1));
    if (test->op < Op::less || test->op > Op::greaterEqual) return unknown;
    const bool isMirrored = test->operands[0]->isConstant();
    const Value* left = test->operands[isMirrored ? 1 : 0];
    const Value* right = test->operands[isMirrored ? 0 : 1];
    const bool isUp = (test->op == Op::less || test->op == Op::lessEqual) != isMirrored;
    const Variable* variable = loadedBy(left);
    if (variable == nullptr || !isNumber(variable->type) || !right->isConstant()) return unknown;
    const double start = startOf(loop, variable);
    const double step = isUp ? stepOf(loop, variable) : -stepOf(loop, variable);
    const double way = isUp ? numberOf(right) - start : start - numberOf(right);
    // A float that is stepped by little of itself may stand still.
    const double largest = std::max(std::abs(start), std::abs(numberOf(right)));
    if (!(step > 0) || !std::isfinite(way) || step < largest * 1e-5) return unknown;
    return std::max(0.0, std::floor(way / step) + 2);
}

class Turns {
  public:
    explicit Turns(const ir::Module& module) {
        for (const Function* function : module.functions) // callees come first
            functions_[function] = in(*function->body);
    }
    double of(const Function& function) const { return functions_.at(&function); }

    // Without those of loops inside.
    static double ofLoop(const Instruction& loop) {
        for (const Instruction* at = loop.blocks[0]->first; at != nullptr; at = at->next) {
            if (at->op < Op::if_) continue;
            const bool isTest = at->op == Op::if_ && at->blocks[0]->isEmpty() && at->blocks[1]->first != nullptr &&
                                at->blocks[1]->first->op == Op::break_;
            return isTest ? turnsBehind(loop, at->operands[0], 0) : unknown;
        }
        return unknown;
    }

  private:
    // All branches count, because neighbouring threads take one each.
    double in(const Block& block) const {
        double sum = 0;
        for (const Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::call) sum += functions_.at(at->callee);
            double inside = 0;
            ir::forEachInnerBlock(*at, [&](const Block& inner) { inside += in(inner); });
            sum += at->op == Op::loop ? (ofLoop(*at) + 1) * (inside + 1) : inside;
        }
        return sum;
    }

    std::unordered_map<const Function*, double> functions_;
};

// ------------------------------------------------------------------------------------------------------------ the
// marks

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
            const bool isMarked = at->op == Op::loop && Turns::ofLoop(*at) > fewTurns;
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
        else if (turns.of(*entry->function) > mostTurns)
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
