// Calls of the library. What maps to one operation of the IR becomes a builtin instruction with values for operands; a
// function that gives back through a reference is taken apart here.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lower/Lowering.h"

#include <string>

namespace msl {

using ir::Op;
using ir::Value;

Operand Lowering::callBuiltin(const Call& call) {
    const BuiltinId id = call.builtin;
    const TypeRef type = call.type->is(TypeKind::void_) ? call.type : valueType(call.type);
    const auto plain = [&](Value* value) { return Operand::ofValue(value, call.type); };
    const auto atLeast = [&](std::size_t count) { return call.arguments.size() >= count; };
    switch (builtinFamily(id)) {
    case BuiltinFamily::texture:
    case BuiltinFamily::sampleOption: return callTexture(call);
    case BuiltinFamily::atomic: return call.object != nullptr ? callTextureAtomic(call) : callAtomic(call);
    case BuiltinFamily::barrier: return id == BuiltinId::atomicFence ? callAtomic(call) : callGroup(call);
    case BuiltinFamily::simdgroup:
    case BuiltinFamily::quadgroup: return callGroup(call);
    case BuiltinFamily::interpolant: return callInterpolant(call);
    default: break;
    }
    switch (id) {
    case BuiltinId::none:
    case BuiltinId::count_:
        if (!diagnostics_.hasErrors() && !limit_.exceeded())
            diagnostics_.internalError(call.location, "a call of nothing reached lowering");
        return errorOperand(call.type);
    case BuiltinId::functionConstantDefined: {
        const auto* variable = static_cast<const VarDecl*>(static_cast<const NameRef*>(call.arguments[0])->decl);
        const auto index = functionConstantIndex(variable);
        if (!index) break;
        return plain(module_.specialization(type, *index, functionConstantDefinedId));
    }
    case BuiltinId::arrayRefSize: {
        const Access access = call.objectIsPointer
                                  ? dereference(rvalue(call.object), call.object->type->element, call.location)
                                  : lvalue(call.object);
        const Operand held = load(access, call.location);
        const Operand& array = held.kind == Operand::Kind::choice ? held.members[0] : held;
        const std::uint64_t count =
            array.kind == Operand::Kind::resource ? array.resource->type->count : array.members.size();
        return plain(module_.constantInt(type, static_cast<std::int64_t>(count)));
    }
    case BuiltinId::sampleCount:
        needStage(StageNeed::fragment, builtinName(id), call.location);
        return plain(sampleCount());
    case BuiltinId::samplePosition:
        if (!atLeast(1)) break;
        needStage(StageNeed::fragment, builtinName(id), call.location);
        return plain(samplePosition(value(call.arguments[0])));
    case BuiltinId::discardFragment:
        needStage(StageNeed::fragment, "discard_fragment", call.location);
        builder_.discard();
        return {};
    case BuiltinId::dfdx:
    case BuiltinId::dfdy:
    case BuiltinId::fwidth: needStage(StageNeed::fragment, builtinName(id), call.location); break;
    case BuiltinId::sincos: {
        if (!atLeast(2)) break;
        Value* angle = value(call.arguments[0]);
        const Access out = outArgument(call.arguments[1]);
        Value* cosine = builder_.builtin(BuiltinId::cos, type, {&angle, 1}, call.precision);
        Value* sine = builder_.builtin(BuiltinId::sin, type, {&angle, 1}, call.precision);
        store(out, Operand::ofValue(cosine, out.type), call.location);
        return plain(sine);
    }
    case BuiltinId::modf: {
        if (!atLeast(2)) break;
        Value* number = value(call.arguments[0]);
        const Access out = outArgument(call.arguments[1]);
        Value* whole = builder_.builtin(BuiltinId::trunc, type, {&number, 1}, call.precision);
        store(out, Operand::ofValue(whole, out.type), call.location);
        return plain(builder_.binary(Op::sub, type, number, whole));
    }
    case BuiltinId::frexp: {
        if (!atLeast(2)) break;
        Value* number = value(call.arguments[0]);
        const Access out = outArgument(call.arguments[1]);
        Value* exponent = builder_.builtin(id, valueType(out.type), {&number, 1}, call.precision);
        Value* fraction = builder_.builtin(id, type, {&number, 1}, call.precision);
        store(out, Operand::ofValue(exponent, out.type), call.location);
        return plain(fraction);
    }
    case BuiltinId::select: {
        if (!atLeast(3) || type->isMatrix()) break;
        Value* whenFalse = value(call.arguments[0]);
        Value* whenTrue = value(call.arguments[1]);
        Value* condition = value(call.arguments[2]);
        if (condition->type->scalar != ScalarKind::bool_)
            condition = builder_.convert(module_.types.withScalar(condition->type, ScalarKind::bool_), condition);
        if (condition->type->isVector() == type->isVector() && whenTrue->type == type && whenFalse->type == type)
            return plain(builder_.select(condition, whenTrue, whenFalse));
        break;
    }
    case BuiltinId::notFn:
        if (!atLeast(1)) break;
        return plain(builder_.unary(Op::logicalNot, value(call.arguments[0])));
    default: break;
    }
    std::vector<Value*> operands;
    operands.reserve(call.arguments.size());
    for (const Expr* argument : call.arguments)
        operands.push_back(value(argument));
    builder_.location = call.location;
    return plain(builder_.builtin(id, type, operands, call.precision));
}

// The argument that a library function writes: a reference, or the target of a pointer.
Access Lowering::outArgument(const Expr* argument) {
    if (argument->type->is(TypeKind::pointer))
        return dereference(rvalue(argument), argument->type->element, argument->location);
    return lvalue(argument);
}

} // namespace msl
