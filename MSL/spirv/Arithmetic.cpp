// Operators and conversions, with the guards that Metal's meaning asks for and Vulkan's does not give: integer division
// by zero, shift counts past the width, conversions out of range.
#include "MSL/spirv/ModuleWriter.h"

#include <cmath>

namespace msl::spirv {

using ir::Instruction;
using ir::Op;

Id ModuleWriter::arithmetic(const Instruction& instruction) {
    const TypeRef type = instruction.result->type;
    const ir::Value& first = *instruction.operands[0];
    const Id left = value(first);
    const TypeRef operandType = first.type;
    const auto binary = [&](spv::Op op) {
        const Id id = asm_.result(op, logicalType(type), {left, value(*instruction.operands[1])});
        if (instruction.isPrecise) asm_.decorate(id, spv::Decoration::NoContraction);
        return id;
    };
    const bool isFloat = isFloating(type->scalar);
    switch (instruction.op) {
    case Op::add: return binary(isFloat ? spv::Op::OpFAdd : spv::Op::OpIAdd);
    case Op::sub: return binary(isFloat ? spv::Op::OpFSub : spv::Op::OpISub);
    case Op::mul: return binary(isFloat ? spv::Op::OpFMul : spv::Op::OpIMul);
    case Op::div: return isFloat ? binary(spv::Op::OpFDiv) : divide(false, type, left, *instruction.operands[1]);
    case Op::rem: return isFloat ? binary(spv::Op::OpFRem) : divide(true, type, left, *instruction.operands[1]);
    case Op::neg: return asm_.result(isFloat ? spv::Op::OpFNegate : spv::Op::OpSNegate, logicalType(type), {left});
    case Op::bitNot: return asm_.result(spv::Op::OpNot, logicalType(type), {left});
    case Op::logicalNot: return asm_.result(spv::Op::OpLogicalNot, logicalType(type), {left});
    case Op::shl:
    case Op::shr: return shift(instruction);
    case Op::bitAnd: return binary(type->scalar == ScalarKind::bool_ ? spv::Op::OpLogicalAnd : spv::Op::OpBitwiseAnd);
    case Op::bitOr: return binary(type->scalar == ScalarKind::bool_ ? spv::Op::OpLogicalOr : spv::Op::OpBitwiseOr);
    case Op::bitXor:
        return binary(type->scalar == ScalarKind::bool_ ? spv::Op::OpLogicalNotEqual : spv::Op::OpBitwiseXor);
    case Op::logicalAnd: return binary(spv::Op::OpLogicalAnd);
    case Op::logicalOr: return binary(spv::Op::OpLogicalOr);
    case Op::equal:
    case Op::notEqual:
    case Op::less:
    case Op::lessEqual:
    case Op::greater:
    case Op::greaterEqual: return comparison(instruction.op, operandType, left, value(*instruction.operands[1]));
    case Op::matrixTimesMatrix: return binary(spv::Op::OpMatrixTimesMatrix);
    case Op::matrixTimesVector: return binary(spv::Op::OpMatrixTimesVector);
    case Op::vectorTimesMatrix: return binary(spv::Op::OpVectorTimesMatrix);
    case Op::matrixTimesScalar: return binary(spv::Op::OpMatrixTimesScalar);
    case Op::vectorTimesScalar: return binary(spv::Op::OpVectorTimesScalar);
    case Op::convert: return convert(operandType, type, left);
    case Op::bitcast:
        return logicalType(operandType) == logicalType(type)
                   ? left
                   : asm_.result(spv::Op::OpBitcast, logicalType(type), {left});
    default: return fail("an instruction that the writer does not know");
    }
}

Id ModuleWriter::comparison(Op op, TypeRef operandType, Id left, Id right) {
    struct Row {
        spv::Op floating, signedInteger, unsignedInteger, boolean;
    };
    static constexpr Row rows[] = {
        {spv::Op::OpFOrdEqual, spv::Op::OpIEqual, spv::Op::OpIEqual, spv::Op::OpLogicalEqual},
        {spv::Op::OpFUnordNotEqual, spv::Op::OpINotEqual, spv::Op::OpINotEqual, spv::Op::OpLogicalNotEqual},
        {spv::Op::OpFOrdLessThan, spv::Op::OpSLessThan, spv::Op::OpULessThan, spv::Op::OpNop},
        {spv::Op::OpFOrdLessThanEqual, spv::Op::OpSLessThanEqual, spv::Op::OpULessThanEqual, spv::Op::OpNop},
        {spv::Op::OpFOrdGreaterThan, spv::Op::OpSGreaterThan, spv::Op::OpUGreaterThan, spv::Op::OpNop},
        {spv::Op::OpFOrdGreaterThanEqual, spv::Op::OpSGreaterThanEqual, spv::Op::OpUGreaterThanEqual, spv::Op::OpNop},
    };
    const Row& row = rows[static_cast<unsigned>(op) - static_cast<unsigned>(Op::equal)];
    const ScalarKind kind = operandType->scalar;
    const spv::Op chosen = isFloating(kind)            ? row.floating
                           : kind == ScalarKind::bool_ ? row.boolean
                           : isSigned(kind)            ? row.signedInteger
                                                       : row.unsignedInteger;
    if (chosen == spv::Op::OpNop) return fail("an order between bools");
    return asm_.result(chosen, vectorType(ScalarKind::bool_, operandType->columns), {left, right});
}

namespace {

// Whether every component of a constant passes.
template <typename Test>
bool everyComponent(const ir::Value& constant, Test test) {
    if (!constant.isConstant()) return false;
    if (constant.type->isScalar()) return test(ir::Module::intValue(&constant));
    if (constant.parts.empty()) return test(0);
    for (const ir::Value* part : constant.parts)
        if (!test(ir::Module::intValue(part))) return false;
    return true;
}

} // namespace

Id ModuleWriter::shift(const Instruction& instruction) {
    const TypeRef type = instruction.result->type;
    const ir::Value& count = *instruction.operands[1];
    const std::int64_t width = byteSize(type->scalar) * 8;
    Id by = value(count);
    if (!everyComponent(count, [&](std::int64_t c) { return c >= 0 && c < width; })) {
        const TypeRef countType = count.type;
        by = asm_.result(spv::Op::OpBitwiseAnd, logicalType(countType), {by, intConstant(countType, width - 1)});
    }
    const spv::Op op = instruction.op == Op::shl ? spv::Op::OpShiftLeftLogical
                       : isSigned(type->scalar)  ? spv::Op::OpShiftRightArithmetic
                                                 : spv::Op::OpShiftRightLogical;
    return asm_.result(op, logicalType(type), {value(*instruction.operands[0]), by});
}

// A division by zero, and the smallest number by minus one, divide by one instead: no device traps.
Id ModuleWriter::divide(bool remainder, TypeRef type, Id left, const ir::Value& divisor) {
    const bool isSignedType = isSigned(type->scalar);
    Id by = value(divisor);
    if (!everyComponent(divisor, [&](std::int64_t d) { return d != 0 && (!isSignedType || d != -1); })) {
        const Id boolVector = vectorType(ScalarKind::bool_, type->columns);
        Id unsafe = asm_.result(spv::Op::OpIEqual, boolVector, {by, intConstant(type, 0)});
        if (isSignedType) {
            const std::int64_t smallest =
                static_cast<std::int64_t>(std::uint64_t{1} << 63U) >> (64 - byteSize(type->scalar) * 8);
            const Id isMinusOne = asm_.result(spv::Op::OpIEqual, boolVector, {by, intConstant(type, -1)});
            const Id isSmallest = asm_.result(spv::Op::OpIEqual, boolVector, {left, intConstant(type, smallest)});
            const Id overflows = asm_.result(spv::Op::OpLogicalAnd, boolVector, {isMinusOne, isSmallest});
            unsafe = asm_.result(spv::Op::OpLogicalOr, boolVector, {unsafe, overflows});
        }
        by = asm_.result(spv::Op::OpSelect, logicalType(type), {unsafe, intConstant(type, 1), by});
    }
    const spv::Op op = remainder ? (isSignedType ? spv::Op::OpSRem : spv::Op::OpUMod)
                                 : (isSignedType ? spv::Op::OpSDiv : spv::Op::OpUDiv);
    return asm_.result(op, logicalType(type), {left, by});
}

Id ModuleWriter::convert(TypeRef from, TypeRef to, Id converted) {
    const ScalarKind source = from->scalar;
    const ScalarKind target = to->scalar;
    if (source == target) return converted;
    const Id type = vectorType(target, to->columns);
    if (target == ScalarKind::bool_) {
        const spv::Op op = isFloating(source) ? spv::Op::OpFUnordNotEqual : spv::Op::OpINotEqual;
        return asm_.result(op, type, {converted, splatConstant(from, 0)});
    }
    if (source == ScalarKind::bool_)
        return asm_.result(spv::Op::OpSelect, type, {converted, splatConstant(to, 1), splatConstant(to, 0)});
    if (isFloating(source) && isFloating(target)) return asm_.result(spv::Op::OpFConvert, type, {converted});
    if (isFloating(target))
        return asm_.result(isSigned(source) ? spv::Op::OpConvertSToF : spv::Op::OpConvertUToF, type, {converted});
    if (isFloating(source)) return convertToInteger(from, to, converted);
    if (byteSize(source) == byteSize(target)) return asm_.result(spv::Op::OpBitcast, type, {converted});
    // A wider target is filled by the source's sign. OpUConvert makes unsigned results only.
    if (isSigned(source)) return asm_.result(spv::Op::OpSConvert, type, {converted});
    constexpr ScalarKind unsignedKinds[] = {ScalarKind::uchar, ScalarKind::ushort, ScalarKind::uint, ScalarKind::ulong};
    for (const ScalarKind kind : unsignedKinds) {
        if (byteSize(kind) != byteSize(target)) continue;
        const Id widened = asm_.result(spv::Op::OpUConvert, vectorType(kind, to->columns), {converted});
        return kind == target ? widened : asm_.result(spv::Op::OpBitcast, type, {widened});
    }
    return fail("an integer conversion without a kind");
}

// Truncates and saturates. The upper end needs care: the largest integer is no float, so what is past it is chosen
// apart; below the lower end, which is a float, the value is raised to it. NaN becomes zero: what min and max make of
// it differs from device to device.
Id ModuleWriter::convertToInteger(TypeRef from, TypeRef to, Id converted) {
    const unsigned bits = byteSize(to->scalar) * 8;
    const bool isSignedTarget = isSigned(to->scalar);
    const Id boolVector = vectorType(ScalarKind::bool_, to->columns);
    if (from->scalar == ScalarKind::half) {
        const TypeRef wide = module_.types.vector(ScalarKind::float_, from->columns);
        converted = convert(from, wide, converted);
        from = wide;
    }
    const Id isNumber = asm_.result(spv::Op::OpFOrdEqual, boolVector, {converted, converted});
    converted = asm_.result(spv::Op::OpSelect, logicalType(from), {isNumber, converted, splatConstant(from, 0)});
    if (bits < 32) {
        const TypeRef wide = module_.types.vector(ScalarKind::int_, to->columns);
        const double low = isSignedTarget ? -std::ldexp(1.0, static_cast<int>(bits) - 1) : 0.0;
        const double high = std::ldexp(1.0, static_cast<int>(isSignedTarget ? bits - 1 : bits)) - 1;
        constexpr std::uint32_t fClamp = 43;
        const Id clamped =
            asm_.glsl(fClamp, logicalType(from), {converted, splatConstant(from, low), splatConstant(from, high)});
        const Id whole = asm_.result(spv::Op::OpConvertFToS, logicalType(wide), {clamped});
        return convert(wide, to, whole);
    }
    const double limit = std::ldexp(1.0, static_cast<int>(isSignedTarget ? bits - 1 : bits));
    const double low = isSignedTarget ? -limit : 0.0;
    constexpr std::uint32_t fMax = 40;
    const Id raised = asm_.glsl(fMax, logicalType(from), {converted, splatConstant(from, low)});
    const Id isPast = asm_.result(spv::Op::OpFOrdGreaterThanEqual, boolVector, {converted, splatConstant(from, limit)});
    const Id whole = asm_.result(isSignedTarget ? spv::Op::OpConvertFToS : spv::Op::OpConvertFToU,
                                 vectorType(to->scalar, to->columns), {raised});
    const std::int64_t largest =
        isSignedTarget ? static_cast<std::int64_t>(~std::uint64_t{0} >> (65 - bits)) : std::int64_t{-1};
    return asm_.result(spv::Op::OpSelect, vectorType(to->scalar, to->columns),
                       {isPast, intConstant(to, largest), whole});
}

} // namespace msl::spirv
