// Built-in functions of numbers: those that SPIR-V has. legalize() has spelled out the others.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/spirv/ModuleWriter.h"

#include <spirv/unified1/GLSL.std.450.h>

namespace msl::spirv {

using ir::Instruction;

namespace {

struct ExtendedRow {
    BuiltinId id;
    GLSLstd450 instruction;
};
// Functions of floats that are one extended instruction with the same operands.
constexpr ExtendedRow extendedRows[] = {
    {BuiltinId::acos, GLSLstd450Acos},
    {BuiltinId::acosh, GLSLstd450Acosh},
    {BuiltinId::asin, GLSLstd450Asin},
    {BuiltinId::asinh, GLSLstd450Asinh},
    {BuiltinId::atan, GLSLstd450Atan},
    {BuiltinId::atan2, GLSLstd450Atan2},
    {BuiltinId::atanh, GLSLstd450Atanh},
    {BuiltinId::ceil, GLSLstd450Ceil},
    {BuiltinId::cos, GLSLstd450Cos},
    {BuiltinId::cosh, GLSLstd450Cosh},
    {BuiltinId::exp, GLSLstd450Exp},
    {BuiltinId::exp2, GLSLstd450Exp2},
    {BuiltinId::fabs, GLSLstd450FAbs},
    {BuiltinId::floor, GLSLstd450Floor},
    {BuiltinId::fma, GLSLstd450Fma},
    {BuiltinId::fmax, GLSLstd450FMax},
    {BuiltinId::fmin, GLSLstd450FMin},
    {BuiltinId::fract, GLSLstd450Fract},
    {BuiltinId::log, GLSLstd450Log},
    {BuiltinId::log2, GLSLstd450Log2},
    {BuiltinId::pow, GLSLstd450Pow},
    {BuiltinId::powr, GLSLstd450Pow},
    {BuiltinId::rint, GLSLstd450RoundEven},
    {BuiltinId::rsqrt, GLSLstd450InverseSqrt},
    {BuiltinId::sin, GLSLstd450Sin},
    {BuiltinId::sinh, GLSLstd450Sinh},
    {BuiltinId::sqrt, GLSLstd450Sqrt},
    {BuiltinId::tan, GLSLstd450Tan},
    {BuiltinId::tanh, GLSLstd450Tanh},
    {BuiltinId::trunc, GLSLstd450Trunc},
    {BuiltinId::clamp, GLSLstd450FClamp},
    {BuiltinId::mix, GLSLstd450FMix},
    {BuiltinId::sign, GLSLstd450FSign},
    {BuiltinId::smoothstep, GLSLstd450SmoothStep},
    {BuiltinId::step, GLSLstd450Step},
    {BuiltinId::degrees, GLSLstd450Degrees},
    {BuiltinId::radians, GLSLstd450Radians},
    {BuiltinId::abs, GLSLstd450FAbs},
    {BuiltinId::max, GLSLstd450FMax},
    {BuiltinId::min, GLSLstd450FMin},
    {BuiltinId::ldexp, GLSLstd450Ldexp},
    {BuiltinId::cross, GLSLstd450Cross},
    {BuiltinId::distance, GLSLstd450Distance},
    {BuiltinId::length, GLSLstd450Length},
    {BuiltinId::normalize, GLSLstd450Normalize},
    {BuiltinId::faceforward, GLSLstd450FaceForward},
    {BuiltinId::reflect, GLSLstd450Reflect},
    {BuiltinId::refract, GLSLstd450Refract},
    {BuiltinId::determinant, GLSLstd450Determinant},
    {BuiltinId::packFloatToSnorm4x8, GLSLstd450PackSnorm4x8},
    {BuiltinId::packFloatToUnorm4x8, GLSLstd450PackUnorm4x8},
    {BuiltinId::packFloatToSnorm2x16, GLSLstd450PackSnorm2x16},
    {BuiltinId::packFloatToUnorm2x16, GLSLstd450PackUnorm2x16},
    {BuiltinId::unpackSnorm4x8ToFloat, GLSLstd450UnpackSnorm4x8},
    {BuiltinId::unpackUnorm4x8ToFloat, GLSLstd450UnpackUnorm4x8},
    {BuiltinId::unpackSnorm2x16ToFloat, GLSLstd450UnpackSnorm2x16},
    {BuiltinId::unpackUnorm2x16ToFloat, GLSLstd450UnpackUnorm2x16},
};
// Those that are an instruction of the core, or need a step more.
constexpr BuiltinId otherFloatFunctions[] = {
    BuiltinId::frexp,     BuiltinId::isnan, BuiltinId::isinf, BuiltinId::dot,
    BuiltinId::transpose, BuiltinId::dfdx,  BuiltinId::dfdy,  BuiltinId::fwidth,
};

} // namespace

const Target& target() {
    static const Target made = [] {
        Target target;
        for (const ExtendedRow& row : extendedRows)
            target.floatFunctions.add(row.id);
        for (const BuiltinId id : otherFloatFunctions)
            target.floatFunctions.add(id);
        target.integerFunctions = {BuiltinId::abs, BuiltinId::sign, BuiltinId::min, BuiltinId::max};
        target.wordFunctions = {BuiltinId::clz,         BuiltinId::ctz,         BuiltinId::popcount,
                                BuiltinId::reverseBits, BuiltinId::extractBits, BuiltinId::insertBits};
        return target;
    }();
    return made;
}

// An input as it is at another place of the pixel.
Id ModuleWriter::interpolate(const Instruction& instruction) {
    asm_.capability(spv::Capability::InterpolationFunction);
    const ir::Variable& variable = *instruction.place->root;
    const Global& input = global(variable);
    const BuiltinId id = instruction.builtinId;
    const GLSLstd450 function = id == BuiltinId::interpolateAtCentroid ? GLSLstd450InterpolateAtCentroid
                                : id == BuiltinId::interpolateAtSample ? GLSLstd450InterpolateAtSample
                                                                       : GLSLstd450InterpolateAtOffset;
    Words operands = {input.id};
    if (id == BuiltinId::interpolateAtCenter)
        operands.push_back(nullConstant(module_.types.vector(ScalarKind::float_, 2)));
    for (const ir::Value* operand : instruction.operands)
        operands.push_back(value(*operand));
    const Id found = asm_.glsl(static_cast<std::uint32_t>(function), logicalType(input.declared), operands);
    return input.declared == variable.type ? found : adaptInput(input.declared, variable.type, found);
}

Id ModuleWriter::builtin(const Instruction& instruction) {
    const BuiltinId id = instruction.builtinId;
    switch (builtinFamily(id)) {
    case BuiltinFamily::texture: return textureBuiltin(instruction);
    case BuiltinFamily::atomic:
        return instruction.place->root->kind == ir::Variable::Kind::texture ? textureAtomic(instruction)
                                                                            : atomic(instruction);
    case BuiltinFamily::barrier: barrier(instruction); return 0;
    case BuiltinFamily::simdgroup:
    case BuiltinFamily::quadgroup: return group(instruction);
    case BuiltinFamily::interpolant: return interpolate(instruction);
    default: break;
    }
    if (instruction.operands.empty() || instruction.result == nullptr)
        return fail("a built-in function without operands that the writer does not know");
    OperandList operands;
    for (const ir::Value* operand : instruction.operands)
        operands.push_back(value(*operand));
    const TypeRef type = instruction.result->type;
    for (const ExtendedRow& row : extendedRows)
        if (row.id == id && (isFloating(type->scalar) || isFloating(instruction.operands[0]->type->scalar)))
            return asm_.glsl(row.instruction, logicalType(type), operands);
    return isInteger(instruction.operands[0]->type->scalar) &&
                   instruction.operands[0]->type->scalar != ScalarKind::bool_
               ? integerBuiltin(id, type, operands, *instruction.operands[0])
               : floatBuiltin(id, type, operands, *instruction.operands[0]);
}

// Of floats and of bools.
Id ModuleWriter::floatBuiltin(BuiltinId id, TypeRef type, std::span<const Id> x, const ir::Value& first) {
    const Id t = logicalType(type);
    switch (id) {
    case BuiltinId::frexp: { // the fraction, or the exponent where the result is an integer
        const TypeRef whole = module_.types.vector(ScalarKind::int_, first.type->columns);
        const std::uint32_t members[] = {logicalType(first.type), logicalType(whole)};
        Id& pair = frexpTypes_[first.type->columns];
        if (pair == 0) pair = asm_.newType(spv::Op::OpTypeStruct, members);
        const Id both = asm_.glsl(GLSLstd450FrexpStruct, pair, {x[0]});
        return asm_.result(spv::Op::OpCompositeExtract, t, {both, type->isFloatingNumeric() ? 0U : 1U});
    }
    case BuiltinId::all: return asm_.result(spv::Op::OpAll, t, {x[0]});
    case BuiltinId::any: return asm_.result(spv::Op::OpAny, t, {x[0]});
    case BuiltinId::isnan: return asm_.result(spv::Op::OpIsNan, t, {x[0]});
    case BuiltinId::isinf: return asm_.result(spv::Op::OpIsInf, t, {x[0]});
    case BuiltinId::dot: return asm_.result(spv::Op::OpDot, t, {x[0], x[1]});
    case BuiltinId::transpose: return asm_.result(spv::Op::OpTranspose, t, {x[0]});
    case BuiltinId::dfdx: return asm_.result(spv::Op::OpDPdx, t, {x[0]});
    case BuiltinId::dfdy: return asm_.result(spv::Op::OpDPdy, t, {x[0]});
    case BuiltinId::fwidth: return asm_.result(spv::Op::OpFwidth, t, {x[0]});
    default: return fail("built-in function " + std::to_string(static_cast<unsigned>(id)) + " on floats");
    }
}

Id ModuleWriter::integerBuiltin(BuiltinId id, TypeRef type, std::span<const Id> x, const ir::Value& first) {
    const Id t = logicalType(type);
    const bool isSignedKind = isSigned(first.type->scalar);
    switch (id) {
    case BuiltinId::abs: return asm_.glsl(GLSLstd450SAbs, t, {x[0]});
    case BuiltinId::sign: return asm_.glsl(GLSLstd450SSign, t, {x[0]});
    case BuiltinId::min: return asm_.glsl(isSignedKind ? GLSLstd450SMin : GLSLstd450UMin, t, {x[0], x[1]});
    case BuiltinId::max: return asm_.glsl(isSignedKind ? GLSLstd450SMax : GLSLstd450UMax, t, {x[0], x[1]});
    default: break;
    }
    if (byteSize(first.type->scalar) != 4)
        return fail("built-in function " + std::to_string(static_cast<unsigned>(id)) + " on integers of " +
                    std::to_string(byteSize(first.type->scalar)) + " bytes");
    // The device counts in words without a sign, and gives -1 where no bit is set.
    const TypeRef signedType = module_.types.vector(ScalarKind::int_, type->columns);
    const Id s = logicalType(signedType);
    const auto position = [&](GLSLstd450 find) { return asm_.glsl(find, s, {x[0]}); };
    switch (id) {
    case BuiltinId::clz:
        return convert(signedType, type,
                       asm_.result(spv::Op::OpISub, s, {intConstant(signedType, 31), position(GLSLstd450FindUMsb)}));
    case BuiltinId::ctz: {
        const Id lowest = position(GLSLstd450FindILsb);
        const Id isZero = asm_.result(spv::Op::OpSLessThan, vectorType(ScalarKind::bool_, type->columns),
                                      {lowest, intConstant(signedType, 0)});
        return convert(signedType, type,
                       asm_.result(spv::Op::OpSelect, s, {isZero, intConstant(signedType, 32), lowest}));
    }
    case BuiltinId::popcount: return asm_.result(spv::Op::OpBitCount, t, {x[0]});
    case BuiltinId::reverseBits: return asm_.result(spv::Op::OpBitReverse, t, {x[0]});
    case BuiltinId::extractBits:
        return asm_.result(isSignedKind ? spv::Op::OpBitFieldSExtract : spv::Op::OpBitFieldUExtract, t,
                           {x[0], x[1], x[2]});
    case BuiltinId::insertBits: return asm_.result(spv::Op::OpBitFieldInsert, t, {x[0], x[1], x[2], x[3]});
    default: return fail("built-in function " + std::to_string(static_cast<unsigned>(id)) + " on integers");
    }
}

} // namespace msl::spirv
