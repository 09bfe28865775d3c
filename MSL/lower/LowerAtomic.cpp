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
    const bool isExchange = call.builtin == BuiltinId::atomicCompareExchangeWeak;
    const Access expected = isExchange ? outArgument(call.arguments[1]) : Access();
    for (std::size_t i = isExchange ? 2 : 1; i < call.arguments.size(); ++i)
        operands.push_back(value(call.arguments[i]));
    const auto run = [&](const Access& one) {
        if (one.kind != Access::Kind::place || one.swizzleCount > 0 || one.unionMember != nullptr) {
            if (!diagnostics_.hasErrors())
                unsupported(call.location, "an atomic operation on something outside device and threadgroup memory is");
            return errorOperand(call.type);
        }
        const TypeRef type = module_.types.scalar(atomic->scalar);
        ir::Place* place = atomicPlace(one.place, atomic->scalar);
        builder_.location = call.location;
        if (isExchange) return Operand::ofValue(compareExchange(call, place, type, expected, operands), call.type);
        const TypeRef result = call.type->is(TypeKind::void_) ? call.type : type;
        Value* made = builder_.builtinAt(call.builtin, result, place, operands);
        return made != nullptr ? Operand::ofValue(made, call.type) : Operand{};
    };
    if (object.kind != Access::Kind::choice) return run(object);
    ir::Variable* result = call.type->is(TypeKind::void_) ? nullptr : newLocal(valueType(call.type), "chosen");
    eachOption(object, [&](const Access& option) {
        const Operand made = run(option);
        if (result != nullptr) builder_.store(builder_.place(result), made.value);
    });
    if (result == nullptr) return {};
    return Operand::ofValue(builder_.load(builder_.place(result)), call.type);
}

// The instruction gives what it found; whether that was expected, bit for bit, is compared here.
Value* Lowering::compareExchange(const Call& call, ir::Place* place, TypeRef type, const Access& expected,
                                 std::span<Value* const> desired) {
    Value* wanted = load(expected, call.location).value;
    std::vector<Value*> operands = {wanted};
    operands.insert(operands.end(), desired.begin(), desired.end());
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
