// Atomic operations on single texels. In the language they take and give whole texels, of which only the first
// component counts; in the IR they work on that component.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::TextureOperand;
using ir::Value;

Operand Lowering::callTextureAtomic(const Call& call) {
    const Operand texture = resourceOf(call.object, call.objectIsPointer);
    if (texture.kind == Operand::Kind::nothing) return errorOperand(call.type);
    const TypeRef scalar = module_.types.scalar(texture.type->scalar);
    const TypeRef texel = module_.types.vector(texture.type->scalar, 4);
    const bool isStore = call.builtin == BuiltinId::atomicStore;
    const bool isCompare = call.builtin == BuiltinId::atomicCompareExchangeWeak;
    std::vector<Value*> operands;
    std::vector<TextureOperand> roles;
    const auto take = [&](TextureOperand role, Value* operand) {
        operands.push_back(operand);
        roles.push_back(role);
    };
    Access expected;
    eachArgument(call, texture.type, [&](TextureSlot slot, const Expr* argument) {
        switch (slot) {
        case TextureSlot::texel: take(TextureOperand::coordinate, value(argument)); break;
        case TextureSlot::arrayIndex: take(TextureOperand::arrayIndex, value(argument)); break;
        case TextureSlot::expected:
            expected = outArgument(argument);
            take(TextureOperand::compare, builder_.extract(load(expected, call.location).value, 0U));
            break;
        default: take(TextureOperand::texel, builder_.extract(value(argument), 0U)); break; // value, operand
        }
    });
    builder_.location = call.location;
    const TypeRef type = isStore ? module_.types.void_() : scalar;
    Value* found = forWhatItIs(texture, type, [&](const Operand& one) {
        one.resource->isAtomic = true;
        return builder_.textureBuiltin(call.builtin, type, texturePlace(one), nullptr, operands, roles);
    });
    if (isStore) return {};
    Value* zero = module_.constantInt(scalar, 0);
    Value* parts[] = {found, zero, zero, zero};
    Value* whole = builder_.construct(texel, parts);
    if (!isCompare) return Operand::ofValue(whole, call.type);
    const auto wanted =
        operands[static_cast<std::size_t>(std::ranges::find(roles, TextureOperand::compare) - roles.begin())];
    Value* isSame = builder_.binary(Op::equal, module_.types.bool_(), found, wanted);
    store(expected, Operand::ofValue(whole, expected.type), call.location);
    return Operand::ofValue(isSame, call.type);
}

} // namespace msl
