// Operations over the threads of a simdgroup and a quad: those that devices have; lowering made the others of them.
#include "MSL/spirv/ModuleWriter.h"

namespace msl::spirv {

using ir::Instruction;

namespace {

// A reduction over the simdgroup, by the kind of its numbers.
struct Reduction {
    BuiltinId id;
    spv::Op floating; // OpNop: there is none
    spv::Op signedInteger;
    spv::Op unsignedInteger;
    spv::GroupOperation operation = spv::GroupOperation::Reduce;
};
constexpr spv::Op none = spv::Op::OpNop;
constexpr spv::Op fAdd = spv::Op::OpGroupNonUniformFAdd;
constexpr spv::Op iAdd = spv::Op::OpGroupNonUniformIAdd;
constexpr spv::Op fMul = spv::Op::OpGroupNonUniformFMul;
constexpr spv::Op iMul = spv::Op::OpGroupNonUniformIMul;
constexpr spv::GroupOperation inclusive = spv::GroupOperation::InclusiveScan;
constexpr spv::GroupOperation exclusive = spv::GroupOperation::ExclusiveScan;
constexpr Reduction reductions[] = {
    {BuiltinId::simdSum, fAdd, iAdd, iAdd},
    {BuiltinId::simdProduct, fMul, iMul, iMul},
    {BuiltinId::simdMin, spv::Op::OpGroupNonUniformFMin, spv::Op::OpGroupNonUniformSMin,
     spv::Op::OpGroupNonUniformUMin},
    {BuiltinId::simdMax, spv::Op::OpGroupNonUniformFMax, spv::Op::OpGroupNonUniformSMax,
     spv::Op::OpGroupNonUniformUMax},
    {BuiltinId::simdAnd, none, spv::Op::OpGroupNonUniformBitwiseAnd, spv::Op::OpGroupNonUniformBitwiseAnd},
    {BuiltinId::simdOr, none, spv::Op::OpGroupNonUniformBitwiseOr, spv::Op::OpGroupNonUniformBitwiseOr},
    {BuiltinId::simdXor, none, spv::Op::OpGroupNonUniformBitwiseXor, spv::Op::OpGroupNonUniformBitwiseXor},
    {BuiltinId::simdPrefixInclusiveSum, fAdd, iAdd, iAdd, inclusive},
    {BuiltinId::simdPrefixExclusiveSum, fAdd, iAdd, iAdd, exclusive},
    {BuiltinId::simdPrefixInclusiveProduct, fMul, iMul, iMul, inclusive},
    {BuiltinId::simdPrefixExclusiveProduct, fMul, iMul, iMul, exclusive},
};

} // namespace

Id ModuleWriter::group(const Instruction& instruction) {
    const BuiltinId id = instruction.builtinId;
    const TypeRef type = instruction.result->type;
    const Id resultType = logicalType(type);
    const Id scope = scopeConstant(spv::Scope::Subgroup);
    const auto operand = [&](std::size_t i) { return value(*instruction.operands[i]); };
    const auto make = [&](spv::Capability capability, spv::Op op, std::initializer_list<std::uint32_t> operands) {
        asm_.capability(spv::Capability::GroupNonUniform);
        asm_.capability(capability);
        return asm_.result(op, resultType, operands);
    };
    for (const Reduction& row : reductions) {
        if (row.id != id) continue;
        const spv::Op op = isFloating(type->scalar) ? row.floating
                           : isSigned(type->scalar) ? row.signedInteger
                                                    : row.unsignedInteger;
        return make(spv::Capability::GroupNonUniformArithmetic, op,
                    {scope, static_cast<std::uint32_t>(row.operation), operand(0)});
    }
    switch (id) {
    case BuiltinId::simdAll:
        return make(spv::Capability::GroupNonUniformVote, spv::Op::OpGroupNonUniformAll, {scope, operand(0)});
    case BuiltinId::simdAny:
        return make(spv::Capability::GroupNonUniformVote, spv::Op::OpGroupNonUniformAny, {scope, operand(0)});
    case BuiltinId::simdIsFirst:
        return make(spv::Capability::GroupNonUniform, spv::Op::OpGroupNonUniformElect, {scope});
    case BuiltinId::simdBallot:
        return make(spv::Capability::GroupNonUniformBallot, spv::Op::OpGroupNonUniformBallot, {scope, operand(0)});
    case BuiltinId::simdBroadcastFirst:
        return make(spv::Capability::GroupNonUniformBallot, spv::Op::OpGroupNonUniformBroadcastFirst,
                    {scope, operand(0)});
    case BuiltinId::simdShuffle:
        return make(spv::Capability::GroupNonUniformShuffle, spv::Op::OpGroupNonUniformShuffle,
                    {scope, operand(0), operand(1)});
    case BuiltinId::quadBroadcast:
        return make(spv::Capability::GroupNonUniformQuad, spv::Op::OpGroupNonUniformQuadBroadcast,
                    {scope, operand(0), operand(1)});
    default: return fail("a function over threads that the writer does not know");
    }
}

} // namespace msl::spirv
