// Operators and conversions. legalize() has seen to it that no division, shift or conversion is undefined.
#include "MSL/spirv/ModuleWriter.h"

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
    case Op::div:
        return isFloat ? binary(spv::Op::OpFDiv) : binary(isSigned(type->scalar) ? spv::Op::OpSDiv : spv::Op::OpUDiv);
    case Op::rem:
        return isFloat ? binary(spv::Op::OpFRem) : binary(isSigned(type->scalar) ? spv::Op::OpSRem : spv::Op::OpUMod);
    case Op::neg: return asm_.result(isFloat ? spv::Op::OpFNegate : spv::Op::OpSNegate, logicalType(type), {left});
    case Op::bitNot: return asm_.result(spv::Op::OpNot, logicalType(type), {left});
    case Op::logicalNot: return asm_.result(spv::Op::OpLogicalNot, logicalType(type), {left});
    case Op::shl: return binary(spv::Op::OpShiftLeftLogical);
    case Op::shr:
        return binary(isSigned(type->scalar) ? spv::Op::OpShiftRightArithmetic : spv::Op::OpShiftRightLogical);
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
    if (isFloating(source)) // in range
        return asm_.result(isSigned(target) ? spv::Op::OpConvertFToS : spv::Op::OpConvertFToU, type, {converted});
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

} // namespace msl::spirv
