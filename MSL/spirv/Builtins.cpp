// Built-in functions: one instruction where the device has one, a short sequence elsewhere. Half-precision functions
// compute in float and round once at the end: every driver has the float forms, and the result is the better one.
#include "MSL/spirv/ModuleWriter.h"

#include <spirv/unified1/GLSL.std.450.h>

#include <numbers>

namespace msl::spirv {

using ir::Instruction;

namespace {

struct ExtendedRow {
    BuiltinId id;
    GLSLstd450 instruction;
};
// Functions of float scalars and vectors that are one extended instruction with the same operands.
constexpr ExtendedRow extendedRows[] = {
    {BuiltinId::acos, GLSLstd450Acos},       {BuiltinId::acosh, GLSLstd450Acosh},
    {BuiltinId::asin, GLSLstd450Asin},       {BuiltinId::asinh, GLSLstd450Asinh},
    {BuiltinId::atan, GLSLstd450Atan},       {BuiltinId::atan2, GLSLstd450Atan2},
    {BuiltinId::atanh, GLSLstd450Atanh},     {BuiltinId::ceil, GLSLstd450Ceil},
    {BuiltinId::cos, GLSLstd450Cos},         {BuiltinId::cosh, GLSLstd450Cosh},
    {BuiltinId::exp, GLSLstd450Exp},         {BuiltinId::exp2, GLSLstd450Exp2},
    {BuiltinId::fabs, GLSLstd450FAbs},       {BuiltinId::floor, GLSLstd450Floor},
    {BuiltinId::fma, GLSLstd450Fma},         {BuiltinId::fmax, GLSLstd450FMax},
    {BuiltinId::fmin, GLSLstd450FMin},       {BuiltinId::fract, GLSLstd450Fract},
    {BuiltinId::log, GLSLstd450Log},         {BuiltinId::log2, GLSLstd450Log2},
    {BuiltinId::pow, GLSLstd450Pow},         {BuiltinId::powr, GLSLstd450Pow},
    {BuiltinId::rint, GLSLstd450RoundEven},  {BuiltinId::rsqrt, GLSLstd450InverseSqrt},
    {BuiltinId::sin, GLSLstd450Sin},         {BuiltinId::sinh, GLSLstd450Sinh},
    {BuiltinId::sqrt, GLSLstd450Sqrt},       {BuiltinId::tan, GLSLstd450Tan},
    {BuiltinId::tanh, GLSLstd450Tanh},       {BuiltinId::trunc, GLSLstd450Trunc},
    {BuiltinId::clamp, GLSLstd450FClamp},    {BuiltinId::mix, GLSLstd450FMix},
    {BuiltinId::sign, GLSLstd450FSign},      {BuiltinId::smoothstep, GLSLstd450SmoothStep},
    {BuiltinId::step, GLSLstd450Step},       {BuiltinId::degrees, GLSLstd450Degrees},
    {BuiltinId::radians, GLSLstd450Radians}, {BuiltinId::abs, GLSLstd450FAbs},
    {BuiltinId::max, GLSLstd450FMax},        {BuiltinId::min, GLSLstd450FMin},
};

bool isGeometric(BuiltinId id) {
    return id >= BuiltinId::cross && id <= BuiltinId::transpose;
}
bool isPacking(BuiltinId id) {
    return id >= BuiltinId::packFloatToSnorm4x8 && id <= BuiltinId::unpackUnorm565ToHalf;
}
bool isRelational(BuiltinId id) {
    return id >= BuiltinId::all && id <= BuiltinId::signbit;
}

} // namespace

Id ModuleWriter::splat(TypeRef vector, Id scalar) {
    const Words parts(vector->columns, scalar);
    return asm_.result(spv::Op::OpCompositeConstruct, logicalType(vector), parts);
}

Id ModuleWriter::builtin(const Instruction& instruction) {
    const BuiltinId id = instruction.builtinId;
    if (id >= BuiltinId::textureSample && id <= BuiltinId::textureFence) return textureBuiltin(instruction);
    if (id >= BuiltinId::atomicLoad && id < BuiltinId::atomicFence) return atomic(instruction);
    if (id == BuiltinId::atomicFence || id == BuiltinId::threadgroupBarrier || id == BuiltinId::simdgroupBarrier) {
        barrier(instruction);
        return 0;
    }
    if (id > BuiltinId::simdgroupBarrier && id <= BuiltinId::lastThreadFunction) return group(instruction);
    const TypeRef type = instruction.result != nullptr ? instruction.result->type : module_.types.void_();
    Words operands;
    std::vector<TypeRef> types;
    for (const ir::Value* operand : instruction.operands) {
        operands.push_back(value(*operand));
        types.push_back(operand->type);
    }
    if (operands.empty()) return fail("a built-in function without operands that the writer does not know");

    // Scalars beside vectors stand for all components, where the function works component by component.
    if (!isGeometric(id) && !isRelational(id) && !isPacking(id) && type->isVector() && id != BuiltinId::extractBits &&
        id != BuiltinId::insertBits) {
        for (std::size_t i = 0; i < operands.size(); ++i) {
            if (types[i]->isScalar()) {
                types[i] = module_.types.vector(types[i]->scalar, type->columns);
                operands[i] = splat(types[i], operands[i]);
            }
        }
    }

    // Half goes through float, except where the bits themselves matter.
    const bool bitwise =
        id == BuiltinId::signbit || id == BuiltinId::select || id == BuiltinId::copysign || id == BuiltinId::nextafter;
    if (types[0]->isFloatingNumeric() && types[0]->scalar == ScalarKind::half && !types[0]->isMatrix() && !bitwise) {
        for (std::size_t i = 0; i < operands.size(); ++i) {
            if (types[i]->scalar != ScalarKind::half) continue;
            const TypeRef wide = module_.types.withScalar(types[i], ScalarKind::float_);
            operands[i] = convert(types[i], wide, operands[i]);
            types[i] = wide;
        }
        const bool resultIsHalf = type->isFloatingNumeric() && type->scalar == ScalarKind::half;
        const TypeRef wideResult = resultIsHalf ? module_.types.withScalar(type, ScalarKind::float_) : type;
        const Id result = isGeometric(id)    ? geometricBuiltin(id, wideResult, operands, types)
                          : isRelational(id) ? relationalBuiltin(id, wideResult, operands, types)
                                             : floatBuiltin(id, wideResult, operands, types);
        return resultIsHalf ? convert(wideResult, type, result) : result;
    }
    if (isGeometric(id)) return geometricBuiltin(id, type, operands, types);
    if (isRelational(id)) return relationalBuiltin(id, type, operands, types);
    if (types[0]->isFloatingNumeric() || isPacking(id)) return floatBuiltin(id, type, operands, types);
    return integerBuiltin(id, type, operands, types);
}

Id ModuleWriter::floatBuiltin(BuiltinId id, TypeRef type, std::span<const Id> x, std::span<const TypeRef> types) {
    const Id t = logicalType(type);
    const auto op = [&](spv::Op code, Id a, Id b) { return asm_.result(code, t, {a, b}); };
    const auto glsl = [&](GLSLstd450 instruction, std::initializer_list<Id> operands) {
        return asm_.glsl(instruction, t, operands);
    };
    const auto scaled = [&](Id value, double factor) {
        return op(spv::Op::OpFMul, value, splatConstant(type, factor));
    };
    for (const ExtendedRow& row : extendedRows) {
        if (row.id != id) continue;
        switch (x.size()) {
        case 1: return glsl(row.instruction, {x[0]});
        case 2: return glsl(row.instruction, {x[0], x[1]});
        default: return glsl(row.instruction, {x[0], x[1], x[2]});
        }
    }
    const auto trunc = [&](Id v) { return glsl(GLSLstd450Trunc, {v}); };
    const auto unpackedToHalf = [&](GLSLstd450 instruction) {
        const TypeRef wide = module_.types.withScalar(type, ScalarKind::float_);
        return convert(wide, type, asm_.glsl(instruction, logicalType(wide), {x[0]}));
    };
    switch (id) {
    case BuiltinId::saturate: return glsl(GLSLstd450FClamp, {x[0], splatConstant(type, 0), splatConstant(type, 1)});
    case BuiltinId::divide: return op(spv::Op::OpFDiv, x[0], x[1]);
    case BuiltinId::fmod: // the sign of the first, also for large quotients
        return op(spv::Op::OpFSub, x[0], op(spv::Op::OpFMul, x[1], trunc(op(spv::Op::OpFDiv, x[0], x[1]))));
    case BuiltinId::remainder:
        return op(spv::Op::OpFSub, x[0],
                  op(spv::Op::OpFMul, x[1], glsl(GLSLstd450RoundEven, {op(spv::Op::OpFDiv, x[0], x[1])})));
    case BuiltinId::cospi: return glsl(GLSLstd450Cos, {scaled(x[0], std::numbers::pi)});
    case BuiltinId::sinpi: return glsl(GLSLstd450Sin, {scaled(x[0], std::numbers::pi)});
    case BuiltinId::tanpi: return glsl(GLSLstd450Tan, {scaled(x[0], std::numbers::pi)});
    case BuiltinId::exp10: return glsl(GLSLstd450Exp2, {scaled(x[0], 3.321928094887362)});
    case BuiltinId::log10: return scaled(glsl(GLSLstd450Log2, {x[0]}), 0.30102999566398120);
    case BuiltinId::modf: return op(spv::Op::OpFSub, x[0], trunc(x[0]));
    case BuiltinId::fdim: // a sum with the difference in it keeps NaN
        return glsl(GLSLstd450FMax, {op(spv::Op::OpFSub, x[0], x[1]), splatConstant(type, 0)});
    case BuiltinId::round: { // halves away from zero
        const Id whole = trunc(x[0]);
        const Id rest = glsl(GLSLstd450FAbs, {op(spv::Op::OpFSub, x[0], whole)});
        const Id isUp = asm_.result(spv::Op::OpFOrdGreaterThanEqual, vectorType(ScalarKind::bool_, type->columns),
                                    {rest, splatConstant(type, 0.5)});
        const Id up = op(spv::Op::OpFAdd, whole, glsl(GLSLstd450FSign, {x[0]}));
        return asm_.result(spv::Op::OpSelect, t, {isUp, up, whole});
    }
    case BuiltinId::copysign: {
        const bool isHalf = type->scalar == ScalarKind::half;
        const TypeRef bits = module_.types.vector(isHalf ? ScalarKind::ushort : ScalarKind::uint, type->columns);
        const Id bitsId = logicalType(bits);
        const std::int64_t signMask = isHalf ? 0x8000 : 0x80000000LL;
        const Id a = asm_.result(spv::Op::OpBitcast, bitsId, {x[0]});
        const Id b = asm_.result(spv::Op::OpBitcast, bitsId, {x[1]});
        const Id magnitude = asm_.result(spv::Op::OpBitwiseAnd, bitsId, {a, intConstant(bits, signMask - 1)});
        const Id sign = asm_.result(spv::Op::OpBitwiseAnd, bitsId, {b, intConstant(bits, signMask)});
        return asm_.result(spv::Op::OpBitcast, t, {asm_.result(spv::Op::OpBitwiseOr, bitsId, {magnitude, sign})});
    }
    case BuiltinId::nextafter: { // one step of the bits away from zero or towards it; from zero the smallest of y's
                                 // sign
        const bool isHalf = type->scalar == ScalarKind::half;
        const TypeRef bits = module_.types.vector(isHalf ? ScalarKind::short_ : ScalarKind::int_, type->columns);
        const Id bitsId = logicalType(bits);
        const Id boolId = vectorType(ScalarKind::bool_, type->columns);
        const Id zero = intConstant(bits, 0);
        const Id one = intConstant(bits, 1);
        const Id minusOne = intConstant(bits, -1);
        const std::int64_t magnitude = isHalf ? 0x7FFF : 0x7FFFFFFF;
        const auto select = [&](Id condition, Id yes, Id no) {
            return asm_.result(spv::Op::OpSelect, bitsId, {condition, yes, no});
        };
        const Id from = asm_.result(spv::Op::OpBitcast, bitsId, {x[0]});
        const Id to = asm_.result(spv::Op::OpBitcast, bitsId, {x[1]});
        const Id isNegative = asm_.result(spv::Op::OpSLessThan, boolId, {from, zero});
        const Id isUp = asm_.result(spv::Op::OpFOrdLessThan, boolId, {x[0], x[1]});
        const Id step = select(isUp, select(isNegative, minusOne, one), select(isNegative, one, minusOne));
        const Id moved = asm_.result(spv::Op::OpIAdd, bitsId, {from, step});
        const Id sign = asm_.result(spv::Op::OpBitwiseAnd, bitsId, {to, intConstant(bits, -magnitude - 1)});
        const Id smallest = asm_.result(spv::Op::OpBitwiseOr, bitsId, {sign, one});
        const Id size = asm_.result(spv::Op::OpBitwiseAnd, bitsId, {from, intConstant(bits, magnitude)});
        const Id isZero = asm_.result(spv::Op::OpIEqual, boolId, {size, zero});
        const Id isSame = asm_.result(spv::Op::OpFOrdEqual, boolId, {x[0], x[1]});
        const Id isNan = asm_.result(spv::Op::OpIsNan, boolId, {x[0]});
        const Id next = select(isSame, to, select(isZero, smallest, moved));
        const Id toIsNan = asm_.result(spv::Op::OpIsNan, boolId, {x[1]});
        return asm_.result(spv::Op::OpBitcast, t, {select(isNan, from, select(toIsNan, to, next))});
    }
    case BuiltinId::ldexp: {
        const TypeRef exponent = module_.types.vector(ScalarKind::int_, type->columns);
        return glsl(GLSLstd450Ldexp, {x[0], convert(types[1], exponent, x[1])});
    }
    case BuiltinId::frexp: // the mantissa, or the exponent where the result is an integer
    case BuiltinId::ilogb: {
        const TypeRef whole = module_.types.vector(ScalarKind::int_, types[0]->columns);
        const std::uint32_t members[] = {logicalType(types[0]), logicalType(whole)};
        Id& pair = frexpTypes_[types[0]->columns];
        if (pair == 0) pair = asm_.newType(spv::Op::OpTypeStruct, members);
        const Id both = asm_.glsl(GLSLstd450FrexpStruct, pair, {x[0]});
        if (type->isFloatingNumeric()) return asm_.result(spv::Op::OpCompositeExtract, t, {both, 0});
        const Id exponent = asm_.result(spv::Op::OpCompositeExtract, logicalType(whole), {both, 1});
        return id == BuiltinId::frexp ? exponent : asm_.result(spv::Op::OpISub, t, {exponent, intConstant(type, 1)});
    }
    case BuiltinId::max3:
    case BuiltinId::fmax3: return glsl(GLSLstd450FMax, {glsl(GLSLstd450FMax, {x[0], x[1]}), x[2]});
    case BuiltinId::min3:
    case BuiltinId::fmin3: return glsl(GLSLstd450FMin, {glsl(GLSLstd450FMin, {x[0], x[1]}), x[2]});
    case BuiltinId::median3:
    case BuiltinId::fmedian3: {
        const Id low = glsl(GLSLstd450FMin, {x[0], x[1]});
        const Id high = glsl(GLSLstd450FMax, {x[0], x[1]});
        return glsl(GLSLstd450FMax, {low, glsl(GLSLstd450FMin, {high, x[2]})});
    }
    case BuiltinId::absdiff: return glsl(GLSLstd450FAbs, {op(spv::Op::OpFSub, x[0], x[1])});
    case BuiltinId::dfdx: return asm_.result(spv::Op::OpDPdx, t, {x[0]});
    case BuiltinId::dfdy: return asm_.result(spv::Op::OpDPdy, t, {x[0]});
    case BuiltinId::fwidth: return asm_.result(spv::Op::OpFwidth, t, {x[0]});
    case BuiltinId::packHalfToSnorm4x8: // widened by now
    case BuiltinId::packFloatToSnorm4x8: return glsl(GLSLstd450PackSnorm4x8, {x[0]});
    case BuiltinId::packHalfToUnorm4x8: // widened by now
    case BuiltinId::packFloatToUnorm4x8: return glsl(GLSLstd450PackUnorm4x8, {x[0]});
    case BuiltinId::packHalfToSnorm2x16: // widened by now
    case BuiltinId::packFloatToSnorm2x16: return glsl(GLSLstd450PackSnorm2x16, {x[0]});
    case BuiltinId::packHalfToUnorm2x16: // widened by now
    case BuiltinId::packFloatToUnorm2x16: return glsl(GLSLstd450PackUnorm2x16, {x[0]});
    case BuiltinId::unpackSnorm4x8ToHalf: return unpackedToHalf(GLSLstd450UnpackSnorm4x8);
    case BuiltinId::unpackUnorm4x8ToHalf: return unpackedToHalf(GLSLstd450UnpackUnorm4x8);
    case BuiltinId::unpackSnorm2x16ToHalf: return unpackedToHalf(GLSLstd450UnpackSnorm2x16);
    case BuiltinId::unpackUnorm2x16ToHalf: return unpackedToHalf(GLSLstd450UnpackUnorm2x16);
    case BuiltinId::unpackSnorm4x8ToFloat: return glsl(GLSLstd450UnpackSnorm4x8, {x[0]});
    case BuiltinId::unpackUnorm4x8ToFloat: return glsl(GLSLstd450UnpackUnorm4x8, {x[0]});
    case BuiltinId::unpackSnorm2x16ToFloat: return glsl(GLSLstd450UnpackSnorm2x16, {x[0]});
    case BuiltinId::unpackUnorm2x16ToFloat: return glsl(GLSLstd450UnpackUnorm2x16, {x[0]});
    default: return fail("built-in function " + std::to_string(static_cast<unsigned>(id)) + " on floats");
    }
}

Id ModuleWriter::integerBuiltin(BuiltinId id, TypeRef type, std::span<const Id> x, std::span<const TypeRef> types) {
    const Id t = logicalType(type);
    const ScalarKind kind = types[0]->scalar;
    const bool isSignedKind = isSigned(kind);
    const unsigned width = byteSize(kind) * 8;
    const Id boolVector = vectorType(ScalarKind::bool_, type->columns);
    const auto op = [&](spv::Op code, Id a, Id b) { return asm_.result(code, t, {a, b}); };
    const auto minimum = [&](Id a, Id b) {
        return asm_.glsl(isSignedKind ? GLSLstd450SMin : GLSLstd450UMin, t, {a, b});
    };
    const auto maximum = [&](Id a, Id b) {
        return asm_.glsl(isSignedKind ? GLSLstd450SMax : GLSLstd450UMax, t, {a, b});
    };
    const auto shiftRight = [&](Id a, Id b) {
        return op(isSignedKind ? spv::Op::OpShiftRightArithmetic : spv::Op::OpShiftRightLogical, a, b);
    };
    // The bit functions exist for 32-bit integers; narrower ones widen by their bits.
    const TypeRef bits32 = module_.types.vector(ScalarKind::uint, type->columns);
    const auto widened = [&](Id v) {
        if (width == 32)
            return kind == ScalarKind::uint ? v : asm_.result(spv::Op::OpBitcast, logicalType(bits32), {v});
        const TypeRef unsignedType =
            module_.types.vector(width == 8 ? ScalarKind::uchar : ScalarKind::ushort, type->columns);
        return convert(unsignedType, bits32, convert(types[0], unsignedType, v));
    };
    const std::uint64_t allOnes = width == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << width) - 1;
    const auto largest = static_cast<std::int64_t>(isSignedKind ? allOnes >> 1U : allOnes);

    switch (id) {
    case BuiltinId::abs: return isSignedKind ? asm_.glsl(GLSLstd450SAbs, t, {x[0]}) : x[0];
    case BuiltinId::sign: return asm_.glsl(GLSLstd450SSign, t, {x[0]});
    case BuiltinId::min:
    case BuiltinId::fmin: return minimum(x[0], x[1]);
    case BuiltinId::max:
    case BuiltinId::fmax: return maximum(x[0], x[1]);
    case BuiltinId::min3: return minimum(minimum(x[0], x[1]), x[2]);
    case BuiltinId::max3: return maximum(maximum(x[0], x[1]), x[2]);
    case BuiltinId::clamp: return minimum(maximum(x[0], x[1]), x[2]);
    case BuiltinId::median3: return maximum(minimum(x[0], x[1]), minimum(maximum(x[0], x[1]), x[2]));
    case BuiltinId::absdiff: { // the result is unsigned
        const Id source = logicalType(types[0]);
        const Id high = asm_.glsl(isSignedKind ? GLSLstd450SMax : GLSLstd450UMax, source, {x[0], x[1]});
        const Id low = asm_.glsl(isSignedKind ? GLSLstd450SMin : GLSLstd450UMin, source, {x[0], x[1]});
        return convert(types[0], type, asm_.result(spv::Op::OpISub, source, {high, low}));
    }
    case BuiltinId::addsat:
    case BuiltinId::subsat: {
        const bool adds = id == BuiltinId::addsat;
        const Id sum = op(adds ? spv::Op::OpIAdd : spv::Op::OpISub, x[0], x[1]);
        if (!isSignedKind) {
            const Id wraps =
                asm_.result(adds ? spv::Op::OpULessThan : spv::Op::OpUGreaterThan, boolVector, {sum, x[0]});
            return asm_.result(spv::Op::OpSelect, t, {wraps, intConstant(type, adds ? largest : 0), sum});
        }
        // Overflow shows in the sign: of both operands against the sum, or of the operands and of the first and the
        // rest.
        const Id first = op(spv::Op::OpBitwiseXor, x[0], adds ? sum : x[1]);
        const Id second = op(spv::Op::OpBitwiseXor, adds ? x[1] : x[0], sum);
        const Id overflow = asm_.result(spv::Op::OpSLessThan, boolVector,
                                        {op(spv::Op::OpBitwiseAnd, first, second), intConstant(type, 0)});
        const Id bound =
            op(spv::Op::OpBitwiseXor, op(spv::Op::OpShiftRightArithmetic, x[0], intConstant(type, width - 1)),
               intConstant(type, largest));
        return asm_.result(spv::Op::OpSelect, t, {overflow, bound, sum});
    }
    case BuiltinId::hadd:
        return op(spv::Op::OpIAdd, op(spv::Op::OpBitwiseAnd, x[0], x[1]),
                  shiftRight(op(spv::Op::OpBitwiseXor, x[0], x[1]), intConstant(type, 1)));
    case BuiltinId::rhadd:
        return op(spv::Op::OpISub, op(spv::Op::OpBitwiseOr, x[0], x[1]),
                  shiftRight(op(spv::Op::OpBitwiseXor, x[0], x[1]), intConstant(type, 1)));
    case BuiltinId::mul24: return op(spv::Op::OpIMul, x[0], x[1]);
    case BuiltinId::mad24: return op(spv::Op::OpIAdd, op(spv::Op::OpIMul, x[0], x[1]), x[2]);
    case BuiltinId::rotate: {
        const TypeRef unsignedType = module_.types.vector(width == 8    ? ScalarKind::uchar
                                                          : width == 16 ? ScalarKind::ushort
                                                          : width == 32 ? ScalarKind::uint
                                                                        : ScalarKind::ulong,
                                                          type->columns);
        const Id u = logicalType(unsignedType);
        const Id mask = intConstant(unsignedType, width - 1);
        const Id from = convert(type, unsignedType, x[0]);
        const Id left = asm_.result(spv::Op::OpBitwiseAnd, u, {convert(types[1], unsignedType, x[1]), mask});
        const Id back = asm_.result(spv::Op::OpBitwiseAnd, u,
                                    {asm_.result(spv::Op::OpISub, u, {intConstant(unsignedType, width), left}), mask});
        const Id high = asm_.result(spv::Op::OpShiftLeftLogical, u, {from, left});
        const Id low = asm_.result(spv::Op::OpShiftRightLogical, u, {from, back});
        return convert(unsignedType, type, asm_.result(spv::Op::OpBitwiseOr, u, {high, low}));
    }
    default: break;
    }
    if (width == 64)
        return fail("built-in function " + std::to_string(static_cast<unsigned>(id)) + " on 64-bit integers");

    const Id u32 = logicalType(bits32);
    const auto narrowed = [&](Id v) { return convert(bits32, type, v); };
    switch (id) {
    case BuiltinId::clz: {
        const TypeRef signed32 = module_.types.vector(ScalarKind::int_, type->columns);
        const Id highest = asm_.glsl(GLSLstd450FindUMsb, logicalType(signed32), {widened(x[0])}); // -1 for zero
        const Id zeros =
            asm_.result(spv::Op::OpISub, logicalType(signed32), {intConstant(signed32, width - 1), highest});
        return convert(signed32, type, zeros);
    }
    case BuiltinId::ctz: {
        const TypeRef signed32 = module_.types.vector(ScalarKind::int_, type->columns);
        const Id lowest = asm_.glsl(GLSLstd450FindILsb, logicalType(signed32), {widened(x[0])});
        const Id none = asm_.result(spv::Op::OpSLessThan, boolVector, {lowest, intConstant(signed32, 0)});
        return convert(
            signed32, type,
            asm_.result(spv::Op::OpSelect, logicalType(signed32), {none, intConstant(signed32, width), lowest}));
    }
    case BuiltinId::popcount: return narrowed(asm_.result(spv::Op::OpBitCount, u32, {widened(x[0])}));
    case BuiltinId::reverseBits: {
        const Id reversed = asm_.result(spv::Op::OpBitReverse, u32, {widened(x[0])});
        if (width == 32) return narrowed(reversed);
        return narrowed(asm_.result(spv::Op::OpShiftRightLogical, u32, {reversed, intConstant(bits32, 32 - width)}));
    }
    case BuiltinId::extractBits: { // narrow ones through the 32-bit type of their sign
        const TypeRef base = module_.types.vector(isSignedKind ? ScalarKind::int_ : ScalarKind::uint, type->columns);
        const Id field = asm_.result(isSignedKind ? spv::Op::OpBitFieldSExtract : spv::Op::OpBitFieldUExtract,
                                     logicalType(base), {convert(type, base, x[0]), x[1], x[2]});
        return convert(base, type, field);
    }
    case BuiltinId::insertBits: {
        const TypeRef base = module_.types.vector(isSignedKind ? ScalarKind::int_ : ScalarKind::uint, type->columns);
        return convert(base, type,
                       asm_.result(spv::Op::OpBitFieldInsert, logicalType(base),
                                   {convert(type, base, x[0]), convert(type, base, x[1]), x[2], x[3]}));
    }
    case BuiltinId::mulhi:
    case BuiltinId::madhi:
    case BuiltinId::madsat: {
        // Through 64 bits: exact for every width up to 32.
        const TypeRef wide = module_.types.vector(isSignedKind ? ScalarKind::long_ : ScalarKind::ulong, type->columns);
        const Id w = logicalType(wide);
        const Id product =
            asm_.result(spv::Op::OpIMul, w, {convert(types[0], wide, x[0]), convert(types[1], wide, x[1])});
        if (id == BuiltinId::madsat) {
            const Id sum = asm_.result(spv::Op::OpIAdd, w, {product, convert(types[2], wide, x[2])});
            const spv::Op above = isSignedKind ? spv::Op::OpSGreaterThan : spv::Op::OpUGreaterThan;
            const Id high = intConstant(wide, largest);
            Id bounded = asm_.result(spv::Op::OpSelect, w, {asm_.result(above, boolVector, {sum, high}), high, sum});
            if (isSignedKind) {
                const Id low = intConstant(wide, -largest - 1);
                bounded = asm_.result(spv::Op::OpSelect, w,
                                      {asm_.result(spv::Op::OpSLessThan, boolVector, {bounded, low}), low, bounded});
            }
            return convert(wide, type, bounded);
        }
        const Id shifted = asm_.result(isSignedKind ? spv::Op::OpShiftRightArithmetic : spv::Op::OpShiftRightLogical, w,
                                       {product, intConstant(wide, width)});
        const Id high = convert(wide, type, shifted);
        return id == BuiltinId::mulhi ? high : op(spv::Op::OpIAdd, high, x[2]);
    }
    default: break;
    }
    return fail("built-in function " + std::to_string(static_cast<unsigned>(id)) + " on integers of " +
                std::to_string(width) + " bits");
}

Id ModuleWriter::relationalBuiltin(BuiltinId id, TypeRef type, std::span<const Id> x, std::span<const TypeRef> types) {
    const Id t = logicalType(type);
    switch (id) {
    case BuiltinId::all: return types[0]->isVector() ? asm_.result(spv::Op::OpAll, t, {x[0]}) : x[0];
    case BuiltinId::any: return types[0]->isVector() ? asm_.result(spv::Op::OpAny, t, {x[0]}) : x[0];
    case BuiltinId::notFn: return asm_.result(spv::Op::OpLogicalNot, t, {x[0]});
    case BuiltinId::isnan: return asm_.result(spv::Op::OpIsNan, t, {x[0]});
    case BuiltinId::isinf: return asm_.result(spv::Op::OpIsInf, t, {x[0]});
    case BuiltinId::isordered:
    case BuiltinId::isunordered: {
        const Id either =
            asm_.result(spv::Op::OpLogicalOr, t,
                        {asm_.result(spv::Op::OpIsNan, t, {x[0]}), asm_.result(spv::Op::OpIsNan, t, {x[1]})});
        return id == BuiltinId::isunordered ? either : asm_.result(spv::Op::OpLogicalNot, t, {either});
    }
    case BuiltinId::isfinite:
    case BuiltinId::isnormal: {
        const Id size = asm_.glsl(GLSLstd450FAbs, logicalType(types[0]), {x[0]});
        // false for NaN on both sides
        const Id below = asm_.result(spv::Op::OpFOrdLessThanEqual, t, {size, splatConstant(types[0], 3.402823466e+38)});
        if (id == BuiltinId::isfinite) return below;
        const Id above =
            asm_.result(spv::Op::OpFOrdGreaterThanEqual, t, {size, splatConstant(types[0], 1.1754943508222875e-38)});
        return asm_.result(spv::Op::OpLogicalAnd, t, {below, above});
    }
    case BuiltinId::signbit: {
        const ScalarKind kind = types[0]->scalar == ScalarKind::half ? ScalarKind::short_ : ScalarKind::int_;
        const TypeRef bits = module_.types.vector(kind, types[0]->columns);
        return asm_.result(spv::Op::OpSLessThan, t,
                           {asm_.result(spv::Op::OpBitcast, logicalType(bits), {x[0]}), intConstant(bits, 0)});
    }
    case BuiltinId::select: { // select(a, b, c) is b where c
        Id condition = x[2];
        if (type->isVector() && types[2]->isScalar())
            condition = splat(module_.types.vector(ScalarKind::bool_, type->columns), condition);
        return asm_.result(spv::Op::OpSelect, t, {condition, x[1], x[0]});
    }
    default: return fail("relational function " + std::to_string(static_cast<unsigned>(id)));
    }
}

Id ModuleWriter::geometricBuiltin(BuiltinId id, TypeRef type, std::span<const Id> x, std::span<const TypeRef> types) {
    const Id t = logicalType(type);
    const bool isVector = types[0]->isVector();
    const auto dot = [&](Id a, Id b) { return asm_.result(isVector ? spv::Op::OpDot : spv::Op::OpFMul, t, {a, b}); };
    switch (id) {
    case BuiltinId::cross: return asm_.glsl(GLSLstd450Cross, t, {x[0], x[1]});
    case BuiltinId::distance: return asm_.glsl(GLSLstd450Distance, t, {x[0], x[1]});
    case BuiltinId::distanceSquared: {
        const Id difference = asm_.result(spv::Op::OpFSub, logicalType(types[0]), {x[0], x[1]});
        return dot(difference, difference);
    }
    case BuiltinId::dot: {
        if (types[0]->isFloatingNumeric()) return dot(x[0], x[1]);
        const Id products = asm_.result(spv::Op::OpIMul, logicalType(types[0]), {x[0], x[1]});
        Id sum = 0;
        for (std::uint32_t i = 0; i < types[0]->columns; ++i) {
            const Id part = asm_.result(spv::Op::OpCompositeExtract, t, {products, i});
            sum = sum == 0 ? part : asm_.result(spv::Op::OpIAdd, t, {sum, part});
        }
        return sum;
    }
    case BuiltinId::length: return asm_.glsl(GLSLstd450Length, t, {x[0]});
    case BuiltinId::lengthSquared: return dot(x[0], x[0]);
    case BuiltinId::normalize: return asm_.glsl(GLSLstd450Normalize, t, {x[0]});
    case BuiltinId::faceforward: return asm_.glsl(GLSLstd450FaceForward, t, {x[0], x[1], x[2]});
    case BuiltinId::reflect: return asm_.glsl(GLSLstd450Reflect, t, {x[0], x[1]});
    case BuiltinId::refract: return asm_.glsl(GLSLstd450Refract, t, {x[0], x[1], x[2]});
    case BuiltinId::determinant: return asm_.glsl(GLSLstd450Determinant, t, {x[0]});
    case BuiltinId::transpose: return asm_.result(spv::Op::OpTranspose, t, {x[0]});
    default: return fail("geometric function " + std::to_string(static_cast<unsigned>(id)));
    }
}

} // namespace msl::spirv
