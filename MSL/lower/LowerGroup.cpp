// Functions over the threads of a threadgroup, a simdgroup or a quad. The IR has the few that devices have: reductions
// and prefixes over a simdgroup, ballot, the value of any lane, the value of a lane of the quad. The others are made
// from those here. Narrow values travel as 32-bit ones, which every device can exchange.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lower/Lowering.h"

#include <cmath>

namespace msl {

using ir::Op;
using ir::SystemValue;
using ir::Value;

namespace {

bool isQuad(BuiltinId id) {
    return builtinFamily(id) == BuiltinFamily::quadgroup;
}

// The type in which values of this one are exchanged.
TypeRef exchangeType(const TypeTable& types, TypeRef type) {
    switch (type->scalar) {
    case ScalarKind::half:
    case ScalarKind::bfloat: return types.withScalar(type, ScalarKind::float_);
    case ScalarKind::char_:
    case ScalarKind::short_: return types.withScalar(type, ScalarKind::int_);
    case ScalarKind::bool_:
    case ScalarKind::uchar:
    case ScalarKind::ushort: return types.withScalar(type, ScalarKind::uint);
    default: return type;
    }
}

} // namespace

Operand Lowering::callGroup(const Call& call) {
    const BuiltinId id = call.builtin;
    if (id == BuiltinId::threadgroupBarrier || id == BuiltinId::simdgroupBarrier) {
        Value* flags = value(call.arguments[0]);
        needStage(id == BuiltinId::threadgroupBarrier ? StageNeed::kernel : StageNeed::notVertex, builtinName(id),
                  call.location);
        builder_.location = call.location;
        builder_.builtin(id, module_.types.void_(), {&flags, 1});
        return {};
    }
    const TypeRef type = valueType(call.type);
    needStage(StageNeed::notVertex, builtinName(id), call.location);
    return Operand::ofValue(groupValue(call, type), call.type);
}

Value* Lowering::systemInput(SystemValue wanted) {
    ir::Variable*& variable = sharedInputs_[wanted];
    if (variable == nullptr) {
        const bool isFlag = wanted == SystemValue::helperInvocation;
        variable = module_.newVariable(ir::Variable::Kind::input, isFlag ? module_.types.bool_() : module_.types.uint(),
                                       wanted == SystemValue::subgroupSize  ? "threads_per_simdgroup"
                                       : wanted == SystemValue::sampleCount ? "samples"
                                       : isFlag                             ? "is_helper_thread"
                                                                            : "thread_index_in_simdgroup");
        if (!isFlag) variable->attribute = variable->name;
        variable->systemValue = wanted;
        variable->interpolation = ir::Interpolation::flat;
    }
    return builder_.load(builder_.place(variable));
}

// A bit for every active lane where the condition holds, in four words.
Value* Lowering::ballot(Value* isSet) {
    return builder_.builtin(BuiltinId::simdBallot, module_.types.vector(ScalarKind::uint, 4), {&isSet, 1});
}

// The four bits of this quad.
Value* Lowering::quadBits(Value* isSet) {
    const TypeRef uint = module_.types.uint();
    Value* lane = systemInput(SystemValue::subgroupInvocationId);
    Value* word = builder_.extractDynamic(ballot(isSet), builder_.binary(Op::shr, uint, lane, uintConstant(5)));
    Value* first = builder_.binary(Op::bitAnd, uint, lane, uintConstant(28));
    return builder_.binary(Op::bitAnd, uint, builder_.binary(Op::shr, uint, word, first), uintConstant(15));
}

Value* Lowering::groupValue(const Call& call, TypeRef type) {
    const TypeRef uint = module_.types.uint();
    const TypeRef ulong = module_.types.scalar(ScalarKind::ulong);
    const TypeRef boolean = module_.types.bool_();
    std::vector<Value*> operands;
    for (const Expr* argument : call.arguments)
        operands.push_back(value(argument));
    builder_.location = call.location;
    const auto wholeMask = [&](Value* isSet) {
        Value* words = ballot(isSet);
        Value* high = builder_.binary(Op::shl, ulong, builder_.convert(ulong, builder_.extract(words, 1)),
                                      module_.constantInt(ulong, 32));
        return builder_.binary(Op::bitOr, ulong, builder_.convert(ulong, builder_.extract(words, 0U)), high);
    };
    const auto isZero = [&](Value* bits, Op op) { return builder_.binary(op, boolean, bits, uintConstant(0)); };
    switch (call.builtin) {
    case BuiltinId::simdAll:
    case BuiltinId::simdAny:
    case BuiltinId::simdIsFirst: return builder_.builtin(call.builtin, type, operands);
    case BuiltinId::simdBallot: return wholeMask(operands[0]);
    case BuiltinId::simdActiveThreadsMask: return wholeMask(module_.constantBool(true));
    case BuiltinId::simdIsHelperThread:
    case BuiltinId::quadIsHelperThread:
        needStage(StageNeed::fragment, builtinName(call.builtin), call.location);
        return systemInput(SystemValue::helperInvocation);
    case BuiltinId::quadAny: return isZero(quadBits(operands[0]), Op::notEqual);
    case BuiltinId::quadAll: return isZero(quadBits(builder_.unary(Op::logicalNot, operands[0])), Op::equal);
    case BuiltinId::quadBallot: return builder_.convert(ulong, quadBits(operands[0]));
    case BuiltinId::quadActiveThreadsMask: return builder_.convert(ulong, quadBits(module_.constantBool(true)));
    case BuiltinId::quadIsFirst: {
        Value* lane = systemInput(SystemValue::subgroupInvocationId);
        Value* before =
            builder_.binary(Op::shl, uint, uintConstant(1), builder_.binary(Op::bitAnd, uint, lane, uintConstant(3)));
        before = builder_.binary(Op::sub, uint, before, uintConstant(1));
        return isZero(builder_.binary(Op::bitAnd, uint, quadBits(module_.constantBool(true)), before), Op::equal);
    }
    default: break;
    }
    const TypeRef wide = exchangeType(module_.types, type);
    for (Value*& operand : operands)
        operand = builder_.convert(operand->type == type ? wide : uint, operand);
    Value* result = isQuad(call.builtin) ? quadValue(call, wide, operands) : simdValue(call, wide, operands);
    return builder_.convert(type, result);
}

// The lane that a shuffle by a distance reads, in a group of `size` lanes of which this is `lane`; and whether that
// lane is in the group. A lane beyond the end is counted on from the start.
Value* Lowering::shiftedLane(BuiltinId id, std::span<Value* const> operands, Value* lane, Value* size,
                             Value*& isInside) {
    const TypeRef uint = module_.types.uint();
    const auto binary = [&](Op op, Value* a, Value* b) { return builder_.binary(op, uint, a, b); };
    const bool isFill = id == BuiltinId::simdShuffleAndFillDown || id == BuiltinId::simdShuffleAndFillUp ||
                        id == BuiltinId::quadShuffleAndFillDown || id == BuiltinId::quadShuffleAndFillUp;
    const bool isDown = id == BuiltinId::simdShuffleDown || id == BuiltinId::simdShuffleRotateDown ||
                        id == BuiltinId::simdShuffleAndFillDown || id == BuiltinId::quadShuffleDown ||
                        id == BuiltinId::quadShuffleRotateDown || id == BuiltinId::quadShuffleAndFillDown;
    Value* delta = operands[isFill ? 2 : 1];
    Value* position = lane;
    Value* first = nullptr;
    if (isFill && operands.size() > 3) { // the group falls into parts of this many lanes
        size = operands[3];
        position = binary(Op::rem, lane, size);
        first = binary(Op::sub, lane, position);
    }
    Value* target = binary(isDown ? Op::add : Op::sub, position, delta);
    isInside = isDown ? builder_.binary(Op::less, module_.types.bool_(), target, size)
                      : builder_.binary(Op::lessEqual, module_.types.bool_(), delta, position);
    Value* wrapped = binary(isDown ? Op::sub : Op::add, target, size);
    target = builder_.select(isInside, target, wrapped);
    return first != nullptr ? binary(Op::add, first, target) : target;
}

Value* Lowering::simdValue(const Call& call, TypeRef type, std::span<Value* const> operands) {
    const TypeRef uint = module_.types.uint();
    const BuiltinId id = call.builtin;
    const auto laneOf = [&](Value* data, Value* lane) { // kept inside the group: its size is a power of two
        Value* last = builder_.binary(Op::sub, uint, systemInput(SystemValue::subgroupSize), uintConstant(1));
        Value* both[2] = {data, builder_.binary(Op::bitAnd, uint, lane, last)};
        return builder_.builtin(BuiltinId::simdShuffle, type, both);
    };
    const auto shifted = [&](Value*& isInside) {
        return shiftedLane(id, operands, systemInput(SystemValue::subgroupInvocationId),
                           systemInput(SystemValue::subgroupSize), isInside);
    };
    Value* isInside = nullptr;
    switch (id) {
    case BuiltinId::simdBroadcast:
    case BuiltinId::simdShuffle: return laneOf(operands[0], operands[1]);
    case BuiltinId::simdShuffleXor:
        return laneOf(operands[0],
                      builder_.binary(Op::bitXor, uint, systemInput(SystemValue::subgroupInvocationId), operands[1]));
    case BuiltinId::simdShuffleDown:
    case BuiltinId::simdShuffleUp: {
        Value* moved = laneOf(operands[0], shifted(isInside));
        return builder_.select(isInside, moved, operands[0]);
    }
    case BuiltinId::simdShuffleRotateDown:
    case BuiltinId::simdShuffleRotateUp: return laneOf(operands[0], shifted(isInside));
    case BuiltinId::simdShuffleAndFillDown:
    case BuiltinId::simdShuffleAndFillUp: {
        Value* lane = shifted(isInside);
        Value* data = laneOf(operands[0], lane);
        Value* filling = laneOf(operands[1], lane);
        return builder_.select(isInside, data, filling);
    }
    default: return builder_.builtin(id, type, operands);
    }
}

Value* Lowering::quadValue(const Call& call, TypeRef type, std::span<Value* const> operands) {
    const TypeRef uint = module_.types.uint();
    const TypeRef boolean = module_.types.bool_();
    const BuiltinId id = call.builtin;
    Value* const lane =
        builder_.binary(Op::bitAnd, uint, systemInput(SystemValue::subgroupInvocationId), uintConstant(3));
    const auto laneOf = [&](Value* data, Value* wanted) {
        Value* result = nullptr;
        wanted = builder_.binary(Op::bitAnd, uint, wanted, uintConstant(3));
        for (std::uint32_t i = 0; i < 4; ++i) {
            Value* both[2] = {data, uintConstant(i)};
            Value* one = builder_.builtin(BuiltinId::quadBroadcast, type, both);
            result = result == nullptr
                         ? one
                         : builder_.select(builder_.binary(Op::equal, boolean, wanted, both[1]), one, result);
        }
        return result;
    };
    Value* isInside = nullptr;
    switch (id) {
    case BuiltinId::quadBroadcast:
    case BuiltinId::quadShuffle: return laneOf(operands[0], operands[1]);
    case BuiltinId::quadShuffleXor: return laneOf(operands[0], builder_.binary(Op::bitXor, uint, lane, operands[1]));
    case BuiltinId::quadBroadcastFirst: {
        Value* active = quadBits(module_.constantBool(true));
        return laneOf(operands[0], builder_.builtin(BuiltinId::ctz, uint, {&active, 1}));
    }
    case BuiltinId::quadShuffleDown:
    case BuiltinId::quadShuffleUp: {
        Value* moved = laneOf(operands[0], shiftedLane(id, operands, lane, uintConstant(4), isInside));
        return builder_.select(isInside, moved, operands[0]);
    }
    case BuiltinId::quadShuffleRotateDown:
    case BuiltinId::quadShuffleRotateUp:
        return laneOf(operands[0], shiftedLane(id, operands, lane, uintConstant(4), isInside));
    case BuiltinId::quadShuffleAndFillDown:
    case BuiltinId::quadShuffleAndFillUp: {
        Value* from = shiftedLane(id, operands, lane, uintConstant(4), isInside);
        Value* data = laneOf(operands[0], from);
        Value* filling = laneOf(operands[1], from);
        return builder_.select(isInside, data, filling);
    }
    default: break;
    }

    // Reductions and prefixes: lanes that do not take part count as the value that changes nothing.
    const bool isInclusive = id == BuiltinId::quadPrefixInclusiveSum || id == BuiltinId::quadPrefixInclusiveProduct;
    const bool isExclusive = id == BuiltinId::quadPrefixExclusiveSum || id == BuiltinId::quadPrefixExclusiveProduct;
    const bool isProduct = id == BuiltinId::quadProduct || id == BuiltinId::quadPrefixInclusiveProduct ||
                           id == BuiltinId::quadPrefixExclusiveProduct;
    const bool isLeast = id == BuiltinId::quadMin;
    const bool isMost = id == BuiltinId::quadMax;
    Value* neutral = module_.constantNull(type);
    if (isProduct) {
        neutral = isFloating(type->scalar) ? module_.constantFloat(type, 1) : module_.constantInt(type, 1);
    } else if (isLeast || isMost) {
        const bool isWide = byteSize(type->scalar) == 8;
        if (isFloating(type->scalar))
            neutral = module_.constantFloat(type, isLeast ? HUGE_VAL : -HUGE_VAL);
        else if (isSigned(type->scalar))
            neutral = module_.constantInt(type, isLeast ? (isWide ? INT64_MAX : INT32_MAX)
                                                        : (isWide ? INT64_MIN : INT32_MIN));
        else if (isLeast)
            neutral = module_.constantInt(type, -1);
    } else if (id == BuiltinId::quadAnd) {
        neutral = module_.constantInt(type, -1);
    }
    Value* active = quadBits(module_.constantBool(true));
    Value* result = nullptr;
    for (std::uint32_t i = 0; i < 4; ++i) {
        Value* both[2] = {operands[0], uintConstant(i)};
        Value* part = builder_.builtin(BuiltinId::quadBroadcast, type, both);
        Value* bit = builder_.binary(Op::bitAnd, uint, active, uintConstant(1U << i));
        Value* takesPart = builder_.binary(Op::notEqual, boolean, bit, uintConstant(0));
        if (isInclusive || isExclusive) {
            Value* isBefore = builder_.binary(isInclusive ? Op::lessEqual : Op::less, boolean, uintConstant(i), lane);
            takesPart = builder_.binary(Op::logicalAnd, boolean, takesPart, isBefore);
        }
        part = builder_.select(takesPart, part, neutral);
        if (result == nullptr) {
            result = part;
            continue;
        }
        Value* pair[2] = {result, part};
        switch (id) {
        case BuiltinId::quadMin: result = builder_.builtin(BuiltinId::min, type, pair); break;
        case BuiltinId::quadMax: result = builder_.builtin(BuiltinId::max, type, pair); break;
        case BuiltinId::quadAnd: result = builder_.binary(Op::bitAnd, type, result, part); break;
        case BuiltinId::quadOr: result = builder_.binary(Op::bitOr, type, result, part); break;
        case BuiltinId::quadXor: result = builder_.binary(Op::bitXor, type, result, part); break;
        default: result = builder_.binary(isProduct ? Op::mul : Op::add, type, result, part); break;
        }
    }
    return result;
}

} // namespace msl
