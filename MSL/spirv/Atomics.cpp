// Atomic operations, barriers and fences. In memory an atomic object is an integer of 32 or 64 bits, so that every
// device has its operations: a bool is 0 or 1, a float its bits, and adding to a float exchanges until nobody came
// between.
#include "MSL/spirv/ModuleWriter.h"

#include <algorithm>

namespace msl::spirv {

using ir::Instruction;

namespace {

// The language's memory_order and mem_flags, by their numbers.
constexpr std::int64_t orderRelaxed = 0;
constexpr std::int64_t orderAcquire = 2;
constexpr std::int64_t orderRelease = 3;
constexpr std::int64_t orderSeqCst = 5;
constexpr std::int64_t flagDevice = 1;
constexpr std::int64_t flagThreadgroup = 2;
constexpr std::int64_t flagTexture = 4;
constexpr std::int64_t scopeDevice = 3;

std::uint32_t mask(spv::MemorySemanticsMask semantics) {
    return static_cast<std::uint32_t>(semantics);
}

// What is not known while compiling counts as the strongest.
std::int64_t constantOr(const ir::Value& value, std::int64_t otherwise) {
    return value.isConstant() ? ir::Module::intValue(&value) : otherwise;
}

// A load cannot release and a store not acquire.
enum class Access : std::uint8_t { load, store, both };

std::uint32_t orderSemantics(std::int64_t order, Access access) {
    if (order == orderRelaxed) return 0;
    const bool acquires = order != orderRelease && access != Access::store;
    const bool releases = order != orderAcquire && access != Access::load;
    if (acquires && releases) return mask(spv::MemorySemanticsMask::AcquireRelease);
    if (acquires) return mask(spv::MemorySemanticsMask::Acquire);
    return releases ? mask(spv::MemorySemanticsMask::Release) : 0;
}

std::uint32_t flagSemantics(std::int64_t flags) {
    std::uint32_t semantics = 0;
    if ((flags & flagDevice) != 0) semantics |= mask(spv::MemorySemanticsMask::UniformMemory);
    if ((flags & flagThreadgroup) != 0) semantics |= mask(spv::MemorySemanticsMask::WorkgroupMemory);
    if ((flags & flagTexture) != 0) semantics |= mask(spv::MemorySemanticsMask::ImageMemory);
    return semantics;
}

} // namespace

Id ModuleWriter::scopeConstant(spv::Scope scope) {
    return uintConstant(static_cast<std::uint32_t>(scope));
}

Id ModuleWriter::atomic(const Instruction& instruction) {
    spv::StorageClass storage{};
    bool inMemory = false;
    const Id pointer = placePointer(*instruction.place, storage, inMemory);
    const bool isShared = storage == spv::StorageClass::Workgroup;
    // What the operation works on; the memory may hold the other kind of integer.
    const ir::Value* given =
        instruction.builtinId == BuiltinId::atomicLoad ? instruction.result : instruction.operands[0];
    const TypeRef scalar = given->type;
    const ScalarKind kind = scalar->scalar;
    const TypeRef wordType = module_.types.scalar(atomicWord(instruction.place->type->scalar));
    const Id word = logicalType(wordType);
    if (byteSize(kind) == 8) asm_.capability(spv::Capability::Int64Atomics);

    const auto toWord = [&](std::size_t i) {
        const Id operand = value(*instruction.operands[i]);
        if (kind == ScalarKind::bool_) return convert(scalar, wordType, operand);
        return kind == wordType->scalar ? operand : asm_.result(spv::Op::OpBitcast, word, {operand});
    };
    const auto fromWord = [&](Id found) {
        if (kind == ScalarKind::bool_) return convert(wordType, scalar, found);
        return kind == wordType->scalar ? found : asm_.result(spv::Op::OpBitcast, logicalType(scalar), {found});
    };
    const Id scope = scopeConstant(isShared ? spv::Scope::Workgroup : spv::Scope::Device);
    const auto semantics = [&](std::size_t operand, Access access) {
        std::uint32_t bits = orderSemantics(constantOr(*instruction.operands[operand], orderSeqCst), access);
        if (bits != 0)
            bits |=
                mask(isShared ? spv::MemorySemanticsMask::WorkgroupMemory : spv::MemorySemanticsMask::UniformMemory);
        return uintConstant(bits);
    };
    const auto update = [&](spv::Op op) {
        const Id order = semantics(1, Access::both);
        return fromWord(asm_.result(op, word, {pointer, scope, order, toWord(0)}));
    };
    const bool isSignedWord = isSigned(kind);
    switch (instruction.builtinId) {
    case BuiltinId::atomicLoad:
        return fromWord(asm_.result(spv::Op::OpAtomicLoad, word, {pointer, scope, semantics(0, Access::load)}));
    case BuiltinId::atomicStore: {
        const Id order = semantics(1, Access::store);
        asm_.code(spv::Op::OpAtomicStore, {pointer, scope, order, toWord(0)});
        return 0;
    }
    case BuiltinId::atomicExchange: return update(spv::Op::OpAtomicExchange);
    case BuiltinId::atomicCompareExchangeWeak: {
        const Id success = semantics(2, Access::both);
        const Id failure = semantics(3, Access::load);
        const Id wanted = toWord(0);
        return fromWord(
            asm_.result(spv::Op::OpAtomicCompareExchange, word, {pointer, scope, success, failure, toWord(1), wanted}));
    }
    case BuiltinId::atomicFetchAdd:
    case BuiltinId::atomicFetchSub: {
        const bool isAdd = instruction.builtinId == BuiltinId::atomicFetchAdd;
        if (kind != ScalarKind::float_) return update(isAdd ? spv::Op::OpAtomicIAdd : spv::Op::OpAtomicISub);
        return addToFloat(pointer, scope, semantics(1, Access::both), isAdd ? spv::Op::OpFAdd : spv::Op::OpFSub,
                          value(*instruction.operands[0]));
    }
    case BuiltinId::atomicFetchAnd: return update(spv::Op::OpAtomicAnd);
    case BuiltinId::atomicFetchOr: return update(spv::Op::OpAtomicOr);
    case BuiltinId::atomicFetchXor: return update(spv::Op::OpAtomicXor);
    case BuiltinId::atomicFetchMax:
    case BuiltinId::atomicMax: return update(isSignedWord ? spv::Op::OpAtomicSMax : spv::Op::OpAtomicUMax);
    case BuiltinId::atomicFetchMin:
    case BuiltinId::atomicMin: return update(isSignedWord ? spv::Op::OpAtomicSMin : spv::Op::OpAtomicUMin);
    default: return fail("an atomic operation that the writer does not know");
    }
}

// On a texel that is one 32-bit integer. The language gives these operations no memory order: they are relaxed.
Id ModuleWriter::textureAtomic(const Instruction& instruction) {
    using ir::TextureOperand;
    const ir::Variable& variable = *instruction.place->root;
    const TypeRef texture = variable.type->is(TypeKind::array) ? variable.type->element : variable.type;
    const TypeRef scalar = module_.types.scalar(texture->scalar);
    const Id word = logicalType(scalar);
    Id operands[16] = {};
    TypeRef coordinateType = nullptr;
    for (std::size_t i = 0; i < instruction.operands.size(); ++i) {
        operands[instruction.indices[i]] = value(*instruction.operands[i]);
        if (instruction.indices[i] == static_cast<std::uint32_t>(TextureOperand::coordinate))
            coordinateType = instruction.operands[i]->type;
    }
    const auto operand = [&](TextureOperand role) { return operands[static_cast<std::size_t>(role)]; };
    Id index = uintConstant(0);
    bool isConstantIndex = true;
    if (!instruction.place->steps.empty()) {
        const ir::Step& step = instruction.place->steps[0];
        isConstantIndex = step.value == nullptr || step.value->isConstant();
        index = step.value != nullptr ? value(*step.value) : uintConstant(step.number);
    }
    const Id at = texelCoordinate(coordinateType, operand(TextureOperand::coordinate),
                                  operand(TextureOperand::arrayIndex), 0, false);
    const Id pointer = asm_.result(spv::Op::OpImageTexelPointer, pointerType(spv::StorageClass::Image, word),
                                   {texturePointer(variable, index, isConstantIndex), at, uintConstant(0)});
    const Id scope = scopeConstant(spv::Scope::Device);
    const Id relaxed = uintConstant(0);
    const Id given = operand(TextureOperand::texel);
    const auto update = [&](spv::Op op) { return asm_.result(op, word, {pointer, scope, relaxed, given}); };
    switch (instruction.builtinId) {
    case BuiltinId::atomicLoad: return asm_.result(spv::Op::OpAtomicLoad, word, {pointer, scope, relaxed});
    case BuiltinId::atomicStore: asm_.code(spv::Op::OpAtomicStore, {pointer, scope, relaxed, given}); return 0;
    case BuiltinId::atomicCompareExchangeWeak:
        return asm_.result(spv::Op::OpAtomicCompareExchange, word,
                           {pointer, scope, relaxed, relaxed, given, operand(TextureOperand::compare)});
    case BuiltinId::atomicExchange: return update(spv::Op::OpAtomicExchange);
    case BuiltinId::atomicFetchAdd: return update(spv::Op::OpAtomicIAdd);
    case BuiltinId::atomicFetchSub: return update(spv::Op::OpAtomicISub);
    case BuiltinId::atomicFetchAnd: return update(spv::Op::OpAtomicAnd);
    case BuiltinId::atomicFetchOr: return update(spv::Op::OpAtomicOr);
    case BuiltinId::atomicFetchXor: return update(spv::Op::OpAtomicXor);
    case BuiltinId::atomicFetchMax:
        return update(isSigned(texture->scalar) ? spv::Op::OpAtomicSMax : spv::Op::OpAtomicUMax);
    case BuiltinId::atomicFetchMin:
        return update(isSigned(texture->scalar) ? spv::Op::OpAtomicSMin : spv::Op::OpAtomicUMin);
    default: return fail("an atomic operation on a texel that the writer does not know");
    }
}

// What was there before the sum. Some thread's exchange succeeds in every pass, so the loop ends.
Id ModuleWriter::addToFloat(Id pointer, Id scope, Id order, spv::Op op, Id by) {
    const Id relaxed = uintConstant(0);
    const Id header = asm_.newId();
    const Id body = asm_.newId();
    const Id again = asm_.newId();
    const Id merge = asm_.newId();
    branch(header);
    label(header);
    asm_.code(spv::Op::OpLoopMerge, {merge, again, 0});
    branch(body);
    label(body);
    const Id old = asm_.result(spv::Op::OpAtomicLoad, uintType(), {pointer, scope, relaxed});
    const Id number = asm_.result(spv::Op::OpBitcast, floatType(), {old});
    const Id sum = asm_.result(spv::Op::OpBitcast, uintType(), {asm_.result(op, floatType(), {number, by})});
    const Id found =
        asm_.result(spv::Op::OpAtomicCompareExchange, uintType(), {pointer, scope, order, relaxed, sum, old});
    asm_.code(spv::Op::OpBranchConditional, {asm_.result(spv::Op::OpIEqual, boolType(), {found, old}), merge, again});
    label(again);
    branch(header);
    label(merge);
    return number;
}

// A word wide enough for every device; see the top of the file.
ScalarKind ModuleWriter::atomicWord(ScalarKind kind) {
    return kind == ScalarKind::bool_ || kind == ScalarKind::float_ ? ScalarKind::uint : kind;
}

// Vulkan has the scope of a workgroup in kernels only. A module's functions may serve entry points of every stage.
Id ModuleWriter::groupScope() {
    const bool isKernels =
        std::ranges::all_of(module_.entries, [](const ir::Entry* entry) { return entry->stage == Stage::kernel; });
    return scopeConstant(isKernels ? spv::Scope::Workgroup : spv::Scope::Device);
}

void ModuleWriter::barrier(const Instruction& instruction) {
    const bool isFence = instruction.builtinId == BuiltinId::atomicFence;
    const std::int64_t flags = constantOr(*instruction.operands[0], flagDevice | flagThreadgroup | flagTexture);
    std::uint32_t semantics = flagSemantics(flags);
    usesDeviceBarrier_ = usesDeviceBarrier_ || (flags & flagDevice) != 0;
    if (isFence) {
        const std::uint32_t order = orderSemantics(constantOr(*instruction.operands[1], orderSeqCst), Access::both);
        if (semantics == 0 || order == 0) return;
        const bool isGroup =
            instruction.operands.size() > 2 && constantOr(*instruction.operands[2], scopeDevice) < scopeDevice;
        asm_.code(spv::Op::OpMemoryBarrier,
                  {isGroup ? groupScope() : scopeConstant(spv::Scope::Device), uintConstant(semantics | order)});
        return;
    }
    if (semantics != 0) semantics |= mask(spv::MemorySemanticsMask::AcquireRelease);
    const bool isSimd = instruction.builtinId == BuiltinId::simdgroupBarrier;
    if (isSimd) asm_.capability(spv::Capability::GroupNonUniform);
    const Id scope = scopeConstant(isSimd ? spv::Scope::Subgroup : spv::Scope::Workgroup);
    asm_.code(spv::Op::OpControlBarrier, {scope, scope, uintConstant(semantics)});
}

} // namespace msl::spirv
