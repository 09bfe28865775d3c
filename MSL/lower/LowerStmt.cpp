// Statements. Blocks are nested as they are in the source; a block that control cannot leave at its end is closed by a
// terminator, and what stands behind it is not lowered.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

// Whether control can come to the end of the block.
bool Lowering::runsOn(const ir::Block& block) {
    if (block.last == nullptr) return true;
    if (block.isTerminated()) return false;
    const ir::Instruction& last = *block.last;
    if (last.op == Op::if_) return runsOn(*last.blocks[0]) || runsOn(*last.blocks[1]);
    return true;
}

void Lowering::closeIfDead() {
    if (!builder_.block->isTerminated() && !runsOn(*builder_.block)) builder_.unreachable();
}

void Lowering::statements(std::span<Stmt* const> list) {
    for (const Stmt* stmt : list) {
        if (builder_.block->isTerminated() || isTooDeep_) return;
        statement(stmt);
    }
}

void Lowering::statement(const Stmt* stmt) {
    if (stmt == nullptr || builder_.block->isTerminated()) return;
    if (!enter(stmt->location)) {
        leave();
        return;
    }
    builder_.location = stmt->location;
    limit_.reach(stmt->location);
    switch (stmt->kind) {
    case StmtKind::compound: statements(static_cast<const CompoundStmt*>(stmt)->statements); break;
    case StmtKind::declaration:
        for (Decl* decl : static_cast<const DeclStmt*>(stmt)->declarations)
            if (decl->kind == DeclKind::variable) declare(static_cast<VarDecl*>(decl));
        break;
    case StmtKind::expression: effect(static_cast<const ExprStmt*>(stmt)->expression); break;
    case StmtKind::if_: ifStatement(static_cast<const IfStmt&>(*stmt)); break;
    case StmtKind::for_: {
        const auto& loop = static_cast<const ForStmt&>(*stmt);
        forStatement(loop.init, loop.condition, loop.step, loop.body);
        break;
    }
    case StmtKind::while_: {
        const auto& loop = static_cast<const WhileStmt&>(*stmt);
        forStatement(nullptr, loop.condition, nullptr, loop.body);
        break;
    }
    case StmtKind::doWhile:
        repeatedly(stmt->location, [&] { doStatement(static_cast<const DoWhileStmt&>(*stmt)); });
        break;
    case StmtKind::rangeFor:
        repeatedly(stmt->location, [&] { rangeForStatement(static_cast<const RangeForStmt&>(*stmt)); });
        break;
    case StmtKind::switch_: switchStatement(static_cast<const SwitchStmt&>(*stmt)); break;
    case StmtKind::case_: unsupported(stmt->location, "a case label inside of another statement is"); break;
    case StmtKind::break_: builder_.break_(); break;
    case StmtKind::continue_: builder_.continue_(); break;
    case StmtKind::return_: returnStatement(static_cast<const ReturnStmt&>(*stmt)); break;
    case StmtKind::null: break;
    }
    closeIfDead();
    leave();
}

// A variable that is lowered again stays the same: a pointer may have been set to it.
ir::Variable* Lowering::localOf(VarDecl* variable, TypeRef type) {
    VariableFacts& facts = this->facts(variable);
    if (repeats_ == 0 || facts.localOf != context_->function || facts.local->type != type) {
        facts.local = newLocal(type, nameOf(variable));
        facts.localOf = context_->function;
    }
    return facts.local;
}

void Lowering::declare(VarDecl* variable) {
    if (variable->isStatic && variable->initializer == nullptr && variable->space != AddressSpace::threadgroup) return;
    VariableFacts& facts = this->facts(variable);
    const TypeRef type = variable->type;
    if (variable->space == AddressSpace::threadgroup) {
        facts.access = placeAccess(builder_.place(threadgroupVariable(variable)), type);
        facts.isBound = true;
        return;
    }
    if (variable->isStatic || variable->space == AddressSpace::constant) return; // bound on first use
    if (!checkStorable(type, variable->location)) {
        facts.access = errorAccess(type);
        facts.isBound = true;
        return;
    }
    if (type->is(TypeKind::reference)) {
        facts.access = referredTo(variable->initializer, type);
        facts.isBound = true;
        return;
    }
    if (type->is(TypeKind::sampler) && variable->samplerState != nullptr) {
        facts.access = globalAccess(variable, variable->location);
        facts.isBound = true;
        return;
    }
    Operand first = variable->initializer != nullptr ? rvalue(variable->initializer) : defaultValue(type, false);
    builder_.location = variable->location;
    if (isOpaque(type)) {
        if (!facts.isWritten && first.kind != Operand::Kind::nothing) {
            first.type = type;
            facts.access = heldAccess(first);
            facts.isBound = true;
            return;
        }
        Slot& slot = slots_.emplace_back();
        fillSlot(slot, type, useOf(facts), nameOf(variable));
        if (variable->initializer != nullptr || first.kind == Operand::Kind::aggregate)
            storeSlot(slot, first, variable->location);
        facts.access = Access{.kind = Access::Kind::slot, .type = type, .held = {}, .place = nullptr, .slot = &slot};
        facts.isBound = true;
        return;
    }
    if (first.kind != Operand::Kind::value) first = errorOperand(type);
    if (!facts.isWritten && (!facts.isIndexedDynamically || first.value->isConstant() || type->isVector())) {
        facts.access = heldAccess(Operand::ofValue(first.value, type));
        facts.isBound = true;
        return;
    }
    ir::Variable* local = localOf(variable, valueType(type));
    facts.access = placeAccess(builder_.place(local), type);
    facts.isBound = true;
    if (type->is(TypeKind::array) && variable->initializer == nullptr && first.value->isConstant())
        local->initializer = first.value; // cleared once, not in every pass of a loop around it
    else
        builder_.store(builder_.place(local), first.value);
}

void Lowering::ifStatement(const IfStmt& stmt) {
    statement(stmt.init);
    Value* condition = value(stmt.condition);
    if (condition->isConstant()) { // no code for what never runs
        statement(condition->bits != 0 ? stmt.thenBranch : stmt.elseBranch);
        return;
    }
    builder_.location = stmt.location;
    const ir::Instruction* branch = builder_.if_(condition);
    ir::Block* outer = builder_.block;
    builder_.block = branch->blocks[0];
    statement(stmt.thenBranch);
    builder_.block = branch->blocks[1];
    statement(stmt.elseBranch);
    builder_.block = outer;
}

void Lowering::repeatedly(SourceLocation at, const std::function<void()>& lowerLoop) {
    constexpr unsigned maxRounds = 16;
    ir::Block* block = builder_.block;
    ir::Instruction* const last = block->last;
    const Diagnostics::Mark mark = diagnostics_.mark();
    const unsigned returnsBefore = context_->returnsInPlace;
    const std::uint64_t localBytes = localBytes_;
    const unsigned repeats = repeats_;
    for (unsigned round = 0; round < maxRounds; ++round) {
        loops_.push_back({.begin = ++events_});
        lowerLoop();
        const bool isComplete = !loops_.back().isToRepeat;
        loops_.pop_back();
        repeats_ = repeats;
        if (isComplete || isTooDeep_) return;
        ++repeats_;
        localBytes_ = localBytes;
        context_->hasRepeats = true;
        while (block->last != last)
            block->remove(block->last);
        builder_.block = block;
        context_->returnsInPlace = returnsBefore;
        diagnostics_.rollBack(mark);
    }
    repeats_ = repeats;
    unsupported(at, "a loop in which a pointer is set to this many variables is");
}

void Lowering::forStatement(const Stmt* init, const Expr* condition, const Expr* step, const Stmt* body) {
    statement(init);
    repeatedly(builder_.location, [&] { loopStatement(condition, step, body); });
}

void Lowering::loopStatement(const Expr* condition, const Expr* step, const Stmt* body) {
    const unsigned returnsBefore = context_->returnsInPlace;
    const ir::Instruction* loop = builder_.loop();
    ir::Block* outer = builder_.block;
    builder_.block = loop->blocks[0];
    if (condition != nullptr) {
        Value* goesOn = value(condition);
        if (!goesOn->isConstant() || goesOn->bits == 0) {
            const ir::Instruction* test = builder_.if_(goesOn);
            ir::Block* inside = builder_.block;
            builder_.block = test->blocks[1];
            builder_.break_();
            builder_.block = inside;
        }
    }
    statement(body);
    if (step != nullptr) {
        builder_.block = loop->blocks[1];
        effect(step);
    }
    builder_.block = outer;
    leaveIfReturned(returnsBefore);
}

void Lowering::doStatement(const DoWhileStmt& stmt) {
    const unsigned returnsBefore = context_->returnsInPlace;
    ir::Instruction* loop = builder_.loop();
    ir::Block* outer = builder_.block;
    builder_.block = loop->blocks[0];
    statement(stmt.body);
    builder_.block = loop->blocks[1];
    Value* stops = builder_.unary(Op::logicalNot, value(stmt.condition));
    builder_.block = outer;
    if (!stops->isConstant() || stops->bits != 0)
        loop->operands = module_.arena.copy<Value*>(std::span<Value*>(&stops, 1));
    leaveIfReturned(returnsBefore);
}

void Lowering::rangeForStatement(const RangeForStmt& stmt) {
    const TypeRef type = stmt.range->type;
    if (!type->is(TypeKind::array) || type->count == 0) {
        unsupported(stmt.location, "a range-for over '" + typeName(type) + "' is");
        return;
    }
    const Access range = inMemory(lvalue(stmt.range), stmt.location);
    const unsigned returnsBefore = context_->returnsInPlace;
    const TypeRef index = module_.types.uint();
    ir::Variable* counter = newLocal(index, "counter");
    builder_.store(builder_.place(counter), module_.constantInt(index, 0));
    const ir::Instruction* loop = builder_.loop();
    ir::Block* outer = builder_.block;
    builder_.block = loop->blocks[0];
    Value* at = builder_.load(builder_.place(counter));
    Value* goesOn = builder_.binary(Op::less, module_.types.bool_(), at,
                                    module_.constantInt(index, static_cast<std::int64_t>(type->count)));
    const ir::Instruction* test = builder_.if_(goesOn);
    builder_.block = test->blocks[1];
    builder_.break_();
    builder_.block = loop->blocks[0];
    const Access element = indexAccess(range, at, type->element, stmt.location);
    VariableFacts& facts = this->facts(stmt.variable);
    facts.isBound = true;
    if (stmt.variable->type->is(TypeKind::reference)) {
        facts.access = element;
    } else {
        Operand first = load(element, stmt.location);
        if (isOpaque(stmt.variable->type)) {
            first.type = stmt.variable->type;
            Slot& slot = slots_.emplace_back();
            fillSlot(slot, first.type, useOf(facts), nameOf(stmt.variable));
            storeSlot(slot, first, stmt.location);
            facts.access =
                Access{.kind = Access::Kind::slot, .type = first.type, .held = {}, .place = nullptr, .slot = &slot};
        } else if (facts.isWritten || facts.isIndexedDynamically) {
            ir::Variable* local = newLocal(valueType(stmt.variable->type), nameOf(stmt.variable));
            builder_.store(builder_.place(local), first.value);
            facts.access = placeAccess(builder_.place(local), stmt.variable->type);
        } else {
            facts.access = heldAccess(first);
        }
    }
    statement(stmt.body);
    builder_.block = loop->blocks[1];
    Value* old = builder_.load(builder_.place(counter));
    builder_.store(builder_.place(counter), builder_.binary(Op::add, index, old, module_.constantInt(index, 1)));
    builder_.block = outer;
    leaveIfReturned(returnsBefore);
}

// A case that runs on into the next is lowered with a copy of what follows, up to where control leaves: the IR's cases
// do not run into one another.
void Lowering::switchStatement(const SwitchStmt& stmt) {
    struct Segment {
        std::vector<std::int64_t> values;
        bool isDefault = false;
        std::size_t begin = 0; // first statement behind the labels
    };
    const auto body = stmt.body->statements;
    std::vector<Segment> segments;
    bool isInLabels = false;
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (body[i]->kind != StmtKind::case_) {
            isInLabels = false;
            continue;
        }
        if (!isInLabels) segments.emplace_back();
        isInLabels = true;
        const auto& label = static_cast<const CaseStmt&>(*body[i]);
        if (label.value == nullptr)
            segments.back().isDefault = true;
        else
            segments.back().values.push_back(label.constant);
        segments.back().begin = i + 1;
    }
    const unsigned returnsBefore = context_->returnsInPlace;
    Value* selector = value(stmt.value);
    if (segments.empty()) return;
    const std::span<ir::SwitchCase> cases = module_.arena.makeArray<ir::SwitchCase>(segments.size());
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const std::span<std::int64_t> values = module_.arena.copy(segments[i].values);
        cases[i].values = values;
        cases[i].isDefault = segments[i].isDefault;
        cases[i].block = module_.arena.make<ir::Block>();
    }
    builder_.location = stmt.location;
    builder_.switch_(selector, cases);
    ir::Block* outer = builder_.block;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        builder_.block = cases[i].block;
        for (std::size_t at = segments[i].begin; at < body.size() && !builder_.block->isTerminated() && !isTooDeep_;
             ++at)
            if (body[at]->kind != StmtKind::case_) statement(body[at]);
        if (!builder_.block->isTerminated()) builder_.break_();
    }
    builder_.block = outer;
    leaveIfReturned(returnsBefore);
}

void Lowering::returnStatement(const ReturnStmt& stmt) {
    Context& context = *context_;
    if (context.isInlined) {
        returnInPlace(stmt);
        return;
    }
    if (context.isConstructor) {
        builder_.return_(load(context.thisAccess, stmt.location).value);
        return;
    }
    if (stmt.value == nullptr) {
        builder_.return_(context.function->returnType->is(TypeKind::void_)
                             ? nullptr
                             : module_.constantNull(context.function->returnType));
        return;
    }
    if (context.function->returnType->is(TypeKind::void_)) {
        effect(stmt.value);
        builder_.return_();
        return;
    }
    builder_.return_(value(stmt.value));
}

} // namespace msl
