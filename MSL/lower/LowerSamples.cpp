// What fragment functions can ask about the samples of a pixel: how many there are, where they lie, and what an input
// is at them.
#include "MSL/lower/Lowering.h"

namespace msl {

using ir::Op;
using ir::Value;

namespace {

// In sixteenths of a pixel, from its upper left corner: those of one sample, of two, of four, of eight, of sixteen.
// They are the standard ones, which devices agree on.
constexpr std::uint8_t positions[31][2] = {
    {8, 8},  {12, 12}, {4, 4},   {6, 2},  {14, 6}, {2, 10}, {10, 14}, {9, 5},   {7, 11}, {13, 9},  {5, 3},
    {3, 13}, {1, 7},   {11, 15}, {15, 1}, {9, 9},  {7, 5},  {5, 10},  {12, 7},  {3, 6},  {10, 13}, {13, 11},
    {11, 3}, {6, 14},  {8, 1},   {4, 2},  {2, 12}, {0, 8},  {15, 4},  {14, 15}, {1, 0},
};

} // namespace

Value* Lowering::sampleCount() {
    return systemInput(ir::SystemValue::sampleCount);
}

// The positions of n samples stand behind those of all smaller numbers, which are n - 1.
Value* Lowering::samplePosition(Value* number) {
    const TypeRef uint = module_.types.uint();
    const TypeRef position = module_.types.vector(ScalarKind::float_, 2);
    std::vector<Value*> table;
    for (const auto& [x, y] : positions) {
        Value* parts[] = {module_.constantFloat(module_.types.float_(), x / 16.0),
                          module_.constantFloat(module_.types.float_(), y / 16.0)};
        table.push_back(module_.constantComposite(position, parts));
    }
    Value* last = builder_.binary(Op::sub, uint, sampleCount(), uintConstant(1));
    Value* operands[] = {number, last};
    Value* index = builder_.binary(Op::add, uint, builder_.builtin(BuiltinId::min, uint, operands), last);
    Value* all = module_.constantComposite(module_.types.array(position, table.size()), table);
    return builder_.load(builder_.placeIndex(builder_.place(module_.constantTable(all, "positions")), index, position));
}

// A method of an interpolant, which stands for an input of the entry point.
Operand Lowering::callInterpolant(const Call& call) {
    const Access access = call.objectIsPointer
                              ? dereference(rvalue(call.object), call.object->type->element, call.location)
                              : lvalue(call.object);
    const Operand object = load(access, call.location);
    if (object.kind != Operand::Kind::resource) {
        if (!diagnostics_.hasErrors())
            diagnostics_.error(call.location, "this interpolant does not stand for an input of a fragment function");
        return errorOperand(call.type);
    }
    std::vector<Value*> operands;
    for (const Expr* argument : call.arguments)
        operands.push_back(value(argument));
    builder_.location = call.location;
    if (call.builtin == BuiltinId::interpolateAtOffset) // counted from the pixel's corner; in the IR from its middle
        operands[0] =
            builder_.binary(Op::sub, operands[0]->type, operands[0], module_.constantFloat(operands[0]->type, 0.5));
    return Operand::ofValue(
        builder_.builtinAt(call.builtin, valueType(call.type), builder_.place(object.resource), operands), call.type);
}

} // namespace msl
