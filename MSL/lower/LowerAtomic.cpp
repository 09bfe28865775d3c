// Operations on atomic objects, which are places: an atomic instruction of the IR has the place of its object, the
// values, and the memory order as its last operand.
#include "MSL/lower/Lowering.h"

namespace msl {

using ir::Op;
using ir::Value;

Operand Lowering::callAtomic(const Call& call) {
    std::vector<Value*> operands;
    if (call.builtin == BuiltinId::atomicFence) {
        for (const Expr* argument : call.arguments)
            operands.push_back(value(argument));
        builder_.location = call.location;
        builder_.builtin(call.builtin, module_.types.void_(), operands);
        return {};
    }
    const Expr* pointer = call.arguments[0];
    const TypeRef atomic = pointer->type->element;
    const Access object = dereference(rvalue(pointer), atomic, call.location);
    if (object.kind != Access::Kind::place || object.swizzleCount > 0 || object.unionMember != nullptr) {
        if (!diagnostics_.hasErrors())
            unsupported(call.location, "an atomic operation on something outside device and threadgroup memory is");
        return errorOperand(call.type);
    }
    const TypeRef type = module_.types.scalar(atomic->scalar);
    ir::Place* place = atomicPlace(object.place, atomic->scalar);
    if (call.builtin == BuiltinId::atomicCompareExchangeWeak)
        return Operand::ofValue(compareExchange(call, place, type), call.type);
    for (std::size_t i = 1; i < call.arguments.size(); ++i)
        operands.push_back(value(call.arguments[i]));
    builder_.location = call.location;
    const TypeRef result = call.type->is(TypeKind::void_) ? call.type : type;
    Value* made = builder_.builtinAt(call.builtin, result, place, operands);
    return made != nullptr ? Operand::ofValue(made, call.type) : Operand{};
}

// The instruction gives what it found; whether that was expected, bit for bit, is compared here.
Value* Lowering::compareExchange(const Call& call, ir::Place* place, TypeRef type) {
    const Access expected = outArgument(call.arguments[1]);
    Value* wanted = load(expected, call.location).value;
    std::vector<Value*> operands = {wanted};
    for (std::size_t i = 2; i < call.arguments.size(); ++i)
        operands.push_back(value(call.arguments[i]));
    builder_.location = call.location;
    Value* found = builder_.builtinAt(call.builtin, type, place, operands);
    const auto bits = [&](Value* of) {
        return isFloating(type->scalar) ? builder_.bitcast(module_.types.uint(), of) : of;
    };
    Value* isSame = builder_.binary(Op::equal, module_.types.bool_(), bits(found), bits(wanted));
    store(expected, Operand::ofValue(found, expected.type), call.location);
    return isSame;
}

} // namespace msl
