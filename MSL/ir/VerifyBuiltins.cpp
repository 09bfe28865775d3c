#include "MSL/ir/VerifyBuiltins.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/types/TextureTraits.h"

#include <algorithm>

namespace msl::ir {

namespace {

std::string countFault(const Instruction& in, std::size_t least, std::size_t most) {
    if (in.operands.size() >= least && in.operands.size() <= most) return {};
    return "it has " + std::to_string(in.operands.size()) + " operands";
}

bool isInteger32(TypeRef type) {
    return type->isScalar() && (type->scalar == ScalarKind::int_ || type->scalar == ScalarKind::uint);
}

bool isIntegerScalar(TypeRef type) {
    return type->isScalar() && isInteger(type->scalar) && !type->isBool();
}

// Numbers in, numbers out, by the pattern of the table. A reference that the function writes is no operand: such a
// function gives one of its results, the fraction or the exponent of frexp.
std::string numberFault(const Module& module, const Instruction& in, const BuiltinSignature& signature) {
    std::vector<BuiltinSlot> slots;
    for (unsigned i = 0; i < signature.parameterCount; ++i)
        if (!isReferenceSlot(signature.parameters[i])) slots.push_back(signature.parameters[i]);
    const std::size_t optional = signature.parameterCount - signature.requiredCount;
    if (std::string fault = countFault(in, slots.size() - optional, slots.size()); !fault.empty()) return fault;
    TypeRef t = nullptr; // the vector among the operands that are T, or the first
    for (std::size_t i = 0; i < in.operands.size(); ++i) {
        const TypeRef type = in.operands[i]->type;
        if (slots[i] == BuiltinSlot::t && (t == nullptr || (t->isScalar() && !type->isScalar()))) t = type;
    }
    if (signature.typeClass != BuiltinClass::none) {
        if (t == nullptr) return "nothing says what it works on";
        if (!admitsKind(signature.typeClass, t->scalar) || !admitsShape(signature.shape, t))
            return "it does not exist for '" + typeName(t) + "'";
    }
    const auto fits = [&](TypeRef type, BuiltinSlot slot) {
        const TypeRef wanted = slotType(module.types, slot, t);
        if (slot == BuiltinSlot::ushort) return isIntegerScalar(type); // a lane
        // A scalar beside vectors stands for all components.
        return type == wanted || (type->isScalar() && wanted->isVector() && type->scalar == wanted->scalar);
    };
    for (std::size_t i = 0; i < in.operands.size(); ++i)
        if (!fits(in.operands[i]->type, slots[i]))
            return "operand " + std::to_string(i) + " is '" + typeName(in.operands[i]->type) + "'";
    const TypeRef result = in.result != nullptr ? in.result->type : module.types.void_();
    // A ballot of the IR has a bit for each of 128 lanes.
    if (in.builtinId == BuiltinId::simdBallot && result == module.types.vector(ScalarKind::uint, 4)) return {};
    const bool isExponent = in.builtinId == BuiltinId::frexp && result == module.types.withScalar(t, ScalarKind::int_);
    if (!isExponent && result != slotType(module.types, signature.result, t))
        return "it gives '" + typeName(result) + "'";
    return {};
}

// The object's place, the values, the orders.
std::string atomicFault(const Instruction& in) {
    if (in.place == nullptr) return "it has no place";
    const Variable::Kind kind = in.place->root->kind;
    if (kind != Variable::Kind::buffer && kind != Variable::Kind::threadgroup && kind != Variable::Kind::address)
        return "its object is in memory of one thread";
    const TypeRef object = in.place->type;
    if (!object->is(TypeKind::atomic) && !isIntegerScalar(object)) return "its object is '" + typeName(object) + "'";
    const bool isLoad = in.builtinId == BuiltinId::atomicLoad;
    const bool isExchange = in.builtinId == BuiltinId::atomicCompareExchangeWeak;
    const std::size_t values = isLoad ? 0 : isExchange ? 2 : 1;
    const std::size_t orders = isExchange ? 2 : 1;
    if (std::string fault = countFault(in, values + orders, values + orders); !fault.empty()) return fault;
    const TypeRef value = isLoad ? (in.result != nullptr ? in.result->type : nullptr) : in.operands[0]->type;
    if (value == nullptr || !value->isScalar()) return "it works on no scalar";
    if (values == 2 && in.operands[1]->type != value) return "what is expected and what is wanted differ in type";
    for (std::size_t i = values; i < in.operands.size(); ++i)
        if (!isIntegerScalar(in.operands[i]->type)) return "a memory order is '" + typeName(in.operands[i]->type) + "'";
    if (in.result != nullptr && in.result->type != value) return "it gives '" + typeName(in.result->type) + "'";
    return {};
}

std::string barrierFault(const Instruction& in) {
    const bool isFence = in.builtinId == BuiltinId::atomicFence;
    if (std::string fault = countFault(in, isFence ? 2 : 1, isFence ? 3 : 2); !fault.empty()) return fault;
    for (const Value* operand : in.operands)
        if (!isIntegerScalar(operand->type)) return "an operand is '" + typeName(operand->type) + "'";
    return in.result != nullptr ? "it gives something" : std::string();
}

std::string roleFault(const Instruction& in, TextureTraits shape, TextureOperand role, const Value& operand) {
    const TypeRef type = operand.type;
    const bool isAtomic = in.builtinId >= BuiltinId::atomicLoad && in.builtinId < BuiltinId::atomicFence;
    const bool isTexel = isAtomic || in.builtinId == BuiltinId::textureRead || in.builtinId == BuiltinId::textureWrite;
    const bool isGather = in.builtinId == BuiltinId::textureGather || in.builtinId == BuiltinId::textureGatherCompare;
    const auto isFloat = [&] { return type->isScalar() && type->scalar == ScalarKind::float_; };
    switch (role) {
    case TextureOperand::coordinate: {
        const unsigned dimensions = isTexel ? shape.readDimensions : shape.sampleDimensions;
        const bool isKind = isTexel ? type->scalar == ScalarKind::uint : type->scalar == ScalarKind::float_;
        return isKind && type->columns == dimensions && !type->isMatrix() ? "" : "a coordinate";
    }
    case TextureOperand::compare:
        if (isAtomic) return isInteger32(type) ? "" : "what is expected";
        [[fallthrough]];
    case TextureOperand::bias: return isFloat() ? "" : "a reference value or bias";
    case TextureOperand::level: return isFloat() || isInteger32(type) ? "" : "a level";
    case TextureOperand::gradientX:
    case TextureOperand::gradientY:
        return type->scalar == ScalarKind::float_ && type->columns == shape.sampleDimensions ? "" : "a gradient";
    case TextureOperand::offset: // a gather's may be computed
        return (operand.isConstant() || isGather) && type->scalar == ScalarKind::int_ &&
                       type->columns == shape.offsetDimensions
                   ? ""
                   : "an offset";
    case TextureOperand::component: return operand.isConstant() && isInteger32(type) ? "" : "a component";
    case TextureOperand::texel:
        if (isAtomic) return isInteger32(type) ? "" : "a texel";
        return type->isVector() && type->columns == 4 ? "" : "a texel";
    case TextureOperand::arrayIndex:
    case TextureOperand::face:
    case TextureOperand::sample:
    case TextureOperand::samplerIndex: return isInteger32(type) ? "" : "an index";
    }
    return "an operand of no role";
}

std::string textureFault(const Instruction& in) {
    if (in.place == nullptr || in.place->root->kind != Variable::Kind::texture) return "its place is no texture";
    if (!in.place->type->is(TypeKind::texture)) return "its texture is '" + typeName(in.place->type) + "'";
    if (in.indices.size() != in.operands.size()) return "its operands have no roles";
    if (in.variables.size() > 1 ||
        std::ranges::any_of(in.variables, [](const Variable* v) { return v->kind != Variable::Kind::sampler; }))
        return "it takes something else than one sampler";
    const bool isSample = in.builtinId >= BuiltinId::textureSample && in.builtinId <= BuiltinId::textureGatherCompare;
    if (isSample && in.variables.empty()) return "it has no sampler";
    const TextureTraits shape = textureTraits(in.place->type->textureShape);
    std::uint32_t seen = 0;
    for (std::size_t i = 0; i < in.operands.size(); ++i) {
        if (in.indices[i] > static_cast<std::uint32_t>(TextureOperand::samplerIndex)) return "an operand of no role";
        if ((seen & 1U << in.indices[i]) != 0) return "two operands of one role";
        seen |= 1U << in.indices[i];
        const std::string what = roleFault(in, shape, static_cast<TextureOperand>(in.indices[i]), *in.operands[i]);
        if (!what.empty()) return what + " of type '" + typeName(in.operands[i]->type) + "'";
    }
    return {};
}

} // namespace

std::string builtinFault(const Module& module, const Instruction& in) {
    const BuiltinId id = in.builtinId;
    std::string fault;
    const bool isAtomic = id >= BuiltinId::atomicLoad && id < BuiltinId::atomicFence;
    const bool isOnTexel = isAtomic && in.place != nullptr && in.place->root->kind == Variable::Kind::texture;
    if ((id >= BuiltinId::textureSample && id <= BuiltinId::textureFence) || isOnTexel) {
        fault = textureFault(in);
    } else if (isAtomic) {
        fault = atomicFault(in);
    } else if (id == BuiltinId::atomicFence || id == BuiltinId::threadgroupBarrier ||
               id == BuiltinId::simdgroupBarrier) {
        fault = barrierFault(in);
    } else if (id >= BuiltinId::interpolateAtCenter && id <= BuiltinId::interpolateAtSample) {
        const bool isInput = in.place != nullptr && in.place->root->kind == Variable::Kind::input;
        fault = isInput ? countFault(in, 0, 1) : "its place is no input";
    } else if (in.place != nullptr || !in.variables.empty()) {
        fault = "it has a place or variables";
    } else if (const BuiltinFunction* row = findBuiltin(builtinName(id)); row != nullptr) {
        fault = numberFault(module, in, *row->signature);
    } else {
        fault = "it is in no table";
    }
    return fault.empty() ? fault : "'" + std::string(builtinName(id)) + "': " + fault;
}

} // namespace msl::ir
