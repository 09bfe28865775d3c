// Functions that are lowered into their caller, because what they return, or the object that they make, only means
// something there: pointers, references, structs that hold them, closures. A body that returns in one place, at its
// end, is simply lowered where the call stands; any other is put into a loop of one round, which a return leaves.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

Operand Lowering::expandInPlace(FunctionDecl* function, std::span<const Access> arguments, const Access* object,
                                SourceLocation at) {
    const FunctionFacts& facts = this->facts(function);
    const TypeRef type = function->isConstructor ? module_.types.void_() : function->returnType;
    Context context;
    context.function = context_->function;
    context.decl = function;
    context.isInlined = true;
    if (object != nullptr) {
        context.hasThis = true;
        context.thisAccess = *object;
    }
    for (std::size_t i = 0; i < arguments.size() && i < function->parameters.size(); ++i)
        bindParameter(function->parameters[i], arguments[i]);
    Context* outer = context_;
    context_ = &context;
    Operand result;
    if (facts.endsInReturn) {
        lowerBody(function);
        result = context.inlineResult;
    } else {
        Slot* slot = nullptr;
        if (!type->is(TypeKind::void_)) {
            slot = &slots_.emplace_back();
            fillSlot(*slot, type, SlotUse::repointed, "result");
        }
        context.resultSlot = slot;
        context.hasReturned = newLocal(module_.types.bool_(), "returned");
        builder_.location = at;
        builder_.store(builder_.place(context.hasReturned), module_.constantBool(false));
        const ir::Instruction* loop = builder_.loop();
        ir::Block* around = builder_.block;
        builder_.block = loop->blocks[0];
        lowerBody(function);
        if (!builder_.block->isTerminated()) {
            if (runsOn(*builder_.block))
                builder_.break_();
            else
                builder_.unreachable();
        }
        builder_.block = around;
        if (slot != nullptr) result = loadSlot(*slot, at);
    }
    context_ = outer;
    outer->setsPointers = outer->setsPointers || context.setsPointers;
    outer->hasRepeats = outer->hasRepeats || context.hasRepeats;
    if (type->is(TypeKind::void_)) return {};
    if (result.kind == Operand::Kind::nothing) return errorOperand(type);
    result.type = type;
    return result;
}

// A return inside of a function that is expanded in place.
void Lowering::returnInPlace(const ReturnStmt& stmt) {
    Context& context = *context_;
    Operand result;
    if (stmt.value != nullptr && !context.decl->isConstructor) {
        if (context.decl->returnType->is(TypeKind::reference))
            result = pointerTo(lvalue(stmt.value), context.decl->returnType);
        else if (context.decl->returnType->is(TypeKind::void_))
            effect(stmt.value);
        else
            result = rvalue(stmt.value);
    }
    if (context.hasReturned == nullptr) { // at its end
        context.inlineResult = result;
        return;
    }
    if (context.resultSlot != nullptr && result.kind != Operand::Kind::nothing)
        storeSlot(*context.resultSlot, result, stmt.location);
    builder_.store(builder_.place(context.hasReturned), module_.constantBool(true));
    ++context.returnsInPlace;
    builder_.break_();
}

// Behind a loop or switch with a return in it: on to the end of the function that is expanded.
void Lowering::leaveIfReturned(unsigned returnsBefore) {
    const Context& context = *context_;
    if (context.hasReturned == nullptr || context.returnsInPlace == returnsBefore || builder_.block->isTerminated())
        return;
    const ir::Instruction* branch = builder_.if_(builder_.load(builder_.place(context.hasReturned)));
    ir::Block* outer = builder_.block;
    builder_.block = branch->blocks[0];
    builder_.break_();
    builder_.block = outer;
}

// A constructor of a struct without a value in the IR works on a slot of its caller.
Operand Lowering::constructInPlace(FunctionDecl* constructor, std::span<const Access> arguments, TypeRef type,
                                   SourceLocation at) {
    const bool isPlain = constructor->body == nullptr || constructor->body->statements.empty();
    Slot& slot = slots_.emplace_back();
    fillSlot(slot, type, isPlain ? SlotUse::fixed : SlotUse::repointed, nameOf(constructor->owner));
    const Access object{.kind = Access::Kind::slot, .type = type, .held = {}, .place = nullptr, .slot = &slot};
    expandInPlace(constructor, arguments, &object, at);
    return loadSlot(slot, at);
}

void Lowering::initialiseMembers(FunctionDecl* constructor, const Access& object) {
    const TypeRef type = constructor->owner->type;
    const auto inits = constructor->memberInits;
    if (inits.size() == 1 && inits[0].field == nullptr && inits[0].value != nullptr) { // delegates
        store(object, rvalue(inits[0].value), inits[0].location);
        return;
    }
    const auto given = [&](const VarDecl* field) {
        return std::ranges::find_if(
            inits, [&](const FunctionDecl::MemberInit& init) { return init.field == field && init.value != nullptr; });
    };
    const bool isUnion = type->record->isUnion;
    if (isUnion || std::ranges::none_of(type->structDecl->fields,
                                        [&](const VarDecl* field) { return given(field) != inits.end(); })) {
        store(object, defaultValue(type, false), constructor->location);
        if (!isUnion) return;
    }
    for (const VarDecl* field : type->structDecl->fields) {
        const auto init = given(field);
        if (init == inits.end()) {
            if (isUnion || isOpaque(field->type)) continue;
            const Operand start =
                field->initializer != nullptr ? rvalue(field->initializer) : defaultValue(field->type, false);
            store(memberAccess(object, field, constructor->location), start, constructor->location);
        } else if (field->type->is(TypeKind::reference)) {
            if (object.kind == Access::Kind::slot && field->index < object.slot->members.size())
                storeSlot(object.slot->members[field->index],
                          pointerTo(referredTo(init->value, field->type), field->type), init->location);
        } else {
            store(memberAccess(object, field, init->location), rvalue(init->value), init->location);
        }
    }
}

} // namespace msl
