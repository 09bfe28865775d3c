// Types and constants.
#include "MSL/constant/Half.h"
#include "MSL/spirv/ModuleWriter.h"

#include <algorithm>
#include <bit>

namespace msl::spirv {

Id ModuleWriter::boolType() {
    return asm_.internedType(spv::Op::OpTypeBool, {});
}

Id ModuleWriter::scalarType(ScalarKind kind) {
    if (kind == ScalarKind::bool_) return boolType();
    const std::uint32_t width = byteSize(kind) * 8;
    if (isFloating(kind)) {
        if (width == 16) asm_.capability(spv::Capability::Float16);
        return asm_.internedType(spv::Op::OpTypeFloat, {width});
    }
    if (width == 8)
        asm_.capability(spv::Capability::Int8);
    else if (width == 16)
        asm_.capability(spv::Capability::Int16);
    else if (width == 64)
        asm_.capability(spv::Capability::Int64);
    return asm_.internedType(spv::Op::OpTypeInt, {width, isSigned(kind) ? 1U : 0U});
}

Id ModuleWriter::vectorType(ScalarKind kind, unsigned count) {
    const Id scalar = scalarType(kind);
    return count == 1 ? scalar : asm_.internedType(spv::Op::OpTypeVector, {scalar, count});
}

// Whether a value and its form in memory differ in what they are made of: a bool is a byte there, and what stands in
// for the members of an empty struct is one too.
bool ModuleWriter::changesInMemory(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::vector:
    case TypeKind::packedVector: return type->scalar == ScalarKind::bool_;
    case TypeKind::array: return changesInMemory(type->element);
    case TypeKind::struct_:
        for (const Field& field : type->record->fields)
            if (changesInMemory(field.type)) return true;
        return type->record->fields.empty();
    default: return false;
    }
}

Id ModuleWriter::logicalType(TypeRef type) {
    if (type->id >= logicalTypes_.size()) logicalTypes_.resize(module_.types.typeCount() + 1, 0);
    Id& slot = logicalTypes_[type->id];
    if (slot != 0) return slot;
    Id id = 0;
    switch (type->kind) {
    case TypeKind::void_: id = asm_.internedType(spv::Op::OpTypeVoid, {}); break;
    case TypeKind::scalar: id = scalarType(type->scalar); break;
    case TypeKind::atomic: id = scalarType(atomicWord(type->scalar)); break;
    case TypeKind::vector:
    case TypeKind::packedVector: id = vectorType(type->scalar, type->columns); break;
    case TypeKind::enum_: id = logicalType(type->element); break;
    case TypeKind::pointer: // an address
    case TypeKind::reference:
    case TypeKind::texture: // in memory: what nothing can be read from
    case TypeKind::sampler: id = scalarType(ScalarKind::ulong); break;
    case TypeKind::matrix:
        id = asm_.internedType(spv::Op::OpTypeMatrix, {vectorType(type->scalar, type->rows), type->columns});
        break;
    case TypeKind::array: {
        const Id element = logicalType(type->element);
        const std::uint32_t operands[] = {element, uintConstant(static_cast<std::uint32_t>(type->count))};
        id = asm_.newType(spv::Op::OpTypeArray, operands);
        break;
    }
    case TypeKind::struct_: id = structType(type, false); break;
    default: return fail("a value of type '" + typeName(type) + "' cannot be written");
    }
    return logicalTypes_[type->id] = id;
}

Id ModuleWriter::memoryType(TypeRef type) {
    if (type->id >= memoryTypes_.size()) memoryTypes_.resize(module_.types.typeCount() + 1, 0);
    if (memoryTypes_[type->id] != 0) return memoryTypes_[type->id];
    Id id = 0;
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::vector:
    case TypeKind::packedVector: {
        const unsigned width = byteSize(type->scalar);
        const ScalarKind kind = type->scalar == ScalarKind::bool_ ? ScalarKind::uchar : type->scalar;
        if (width == 1) {
            asm_.capability(spv::Capability::StorageBuffer8BitAccess);
            asm_.capability(spv::Capability::UniformAndStorageBuffer8BitAccess);
        } else if (width == 2) {
            asm_.capability(spv::Capability::StorageBuffer16BitAccess);
            asm_.capability(spv::Capability::UniformAndStorageBuffer16BitAccess);
        }
        id = vectorType(kind, type->columns);
        break;
    }
    case TypeKind::enum_: id = memoryType(type->element); break;
    case TypeKind::pointer:
    case TypeKind::reference:
    case TypeKind::texture:
    case TypeKind::sampler:
    case TypeKind::atomic: id = logicalType(type); break;
    case TypeKind::matrix:
        if (type->scalar == ScalarKind::half) {
            asm_.capability(spv::Capability::StorageBuffer16BitAccess);
            asm_.capability(spv::Capability::UniformAndStorageBuffer16BitAccess);
        }
        id = logicalType(type);
        break;
    case TypeKind::array: {
        const Id element = memoryType(type->element);
        if (type->count == 0) {
            const std::uint32_t operands[] = {element};
            id = asm_.newType(spv::Op::OpTypeRuntimeArray, operands);
        } else {
            const std::uint32_t operands[] = {element, uintConstant(static_cast<std::uint32_t>(type->count))};
            id = asm_.newType(spv::Op::OpTypeArray, operands);
        }
        asm_.decorate(id, spv::Decoration::ArrayStride, {static_cast<std::uint32_t>(layoutOf(type->element).size)});
        break;
    }
    case TypeKind::struct_: id = structType(type, true); break;
    default: return fail("memory of type '" + typeName(type) + "' cannot be written");
    }
    return memoryTypes_[type->id] = id;
}

Id ModuleWriter::structType(TypeRef type, bool inMemory) {
    const Record& record = *type->record;
    if (record.isUnion) return fail("the union '" + typeName(type) + "' cannot be written");
    OperandList members;
    for (const Field& field : record.fields)
        members.push_back(inMemory ? memoryType(field.type) : logicalType(field.type));
    // Drivers refuse structs without members; the one that stands in is never looked at.
    if (members.empty()) members.push_back(inMemory ? memoryType(module_.types.scalar(ScalarKind::uchar)) : uintType());
    const Id id = asm_.newType(spv::Op::OpTypeStruct, members);
    if (inMemory) {
        std::uint32_t number = 0;
        if (record.fields.empty()) asm_.memberDecorate(id, 0, spv::Decoration::Offset, {0});
        for (const Field& field : record.fields) {
            asm_.memberDecorate(id, number, spv::Decoration::Offset, {static_cast<std::uint32_t>(field.offset)});
            decorateMatrixMember(id, number, field.type);
            ++number;
        }
    }
    if (options_.debugNames && !type->name.empty()) {
        asm_.name(id, std::string(type->name) + (inMemory ? ".memory" : ""));
        std::uint32_t number = 0;
        for (const Field& field : record.fields)
            asm_.memberName(id, number++, field.name);
    }
    return id;
}

void ModuleWriter::decorateMatrixMember(Id structId, std::uint32_t member, TypeRef type) {
    while (type->is(TypeKind::array))
        type = type->element;
    if (!type->isMatrix()) return;
    asm_.memberDecorate(structId, member, spv::Decoration::ColMajor);
    asm_.memberDecorate(structId, member, spv::Decoration::MatrixStride,
                        {static_cast<std::uint32_t>(layoutOf(type).size / type->columns)});
}

Id ModuleWriter::pointerType(spv::StorageClass storage, Id pointee) {
    Id& slot = pointerTypes_[static_cast<std::uint64_t>(storage) << 32 | pointee];
    if (slot == 0) slot = asm_.internedType(spv::Op::OpTypePointer, {static_cast<std::uint32_t>(storage), pointee});
    return slot;
}

// A buffer's block has one member, the whole buffer, but for a struct that ends in a runtime array: only the last
// member of the block itself may be one.
bool ModuleWriter::isBlock(TypeRef type) {
    if (!type->is(TypeKind::struct_) || type->record->fields.empty()) return false;
    const TypeRef last = type->record->fields.back().type;
    return last->is(TypeKind::array) && last->count == 0;
}

Id ModuleWriter::blockType(TypeRef type) {
    if (isBlock(type)) {
        const Id id = structType(type, true);
        asm_.decorate(id, spv::Decoration::Block);
        return id;
    }
    const std::uint32_t member[] = {memoryType(type)};
    const Id id = asm_.newType(spv::Op::OpTypeStruct, member);
    asm_.decorate(id, spv::Decoration::Block);
    asm_.memberDecorate(id, 0, spv::Decoration::Offset, {0});
    decorateMatrixMember(id, 0, type);
    return id;
}

Id ModuleWriter::scalarConstant(TypeRef scalar, std::uint64_t bits) {
    const Id type = logicalType(scalar);
    const ScalarKind kind = scalar->is(TypeKind::enum_) ? scalar->element->scalar : scalar->scalar;
    if (kind == ScalarKind::bool_)
        return asm_.internedConstant(bits != 0 ? spv::Op::OpConstantTrue : spv::Op::OpConstantFalse, type, {});
    std::uint32_t words[2] = {static_cast<std::uint32_t>(bits), static_cast<std::uint32_t>(bits >> 32)};
    const unsigned size = byteSize(kind);
    if (size == 8) return asm_.internedConstant(spv::Op::OpConstant, type, words);
    // Narrow integers are sign-extended to the word where their type is signed.
    if (size < 4) {
        const unsigned unused = 32 - size * 8;
        words[0] = isSigned(kind) && !isFloating(kind)
                       ? static_cast<std::uint32_t>(static_cast<std::int32_t>(words[0] << unused) >> unused)
                       : words[0] << unused >> unused;
    }
    return asm_.constantWord(type, words[0]);
}

Id ModuleWriter::specialization(const ir::Value& wanted) {
    const auto number = functionConstantIdBase + static_cast<std::uint32_t>(wanted.bits);
    const Id type = logicalType(wanted.type);
    if (wanted.type->isBool()) return asm_.specializationFlag(type, number);
    const std::uint32_t zero[2] = {0, 0};
    return asm_.specializationConstant(type, {zero, byteSize(wanted.type->scalar) == 8 ? 2U : 1U}, number);
}

// Until the host says how many elements there are, a kilobyte of them.
Id ModuleWriter::threadgroupLength(const ir::Variable& variable) {
    Id& length = threadgroupLengths_[variable.metalIndex % std::size(threadgroupLengths_)];
    if (length == 0) {
        const std::uint64_t size = std::max<std::uint64_t>(layoutOf(variable.type->element).size, 1);
        const auto count = static_cast<std::uint32_t>(std::max<std::uint64_t>(1024 / size, 1));
        length = asm_.specializationConstant(uintType(), {&count, 1}, threadgroupLengthIdBase + variable.metalIndex);
    }
    return length;
}

void ModuleWriter::makeLocalSize() {
    if (localSize_[0] != 0) return;
    for (std::uint32_t i = 0; i < 3; ++i) {
        const std::uint32_t size = i == 0 ? 64 : 1;
        localSize_[i] = asm_.specializationConstant(uintType(), {&size, 1}, i);
    }
}

Id ModuleWriter::workgroupSize() {
    if (workgroupSize_ == 0) {
        makeLocalSize();
        workgroupSize_ =
            asm_.internedConstant(spv::Op::OpSpecConstantComposite, vectorType(ScalarKind::uint, 3), {localSize_, 3});
    }
    return workgroupSize_;
}

Id ModuleWriter::splatConstant(TypeRef type, double value) {
    const ScalarKind kind = type->scalar;
    std::uint64_t bits = 0;
    if (kind == ScalarKind::float_)
        bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
    else if (kind == ScalarKind::half)
        bits = doubleToHalf(value);
    else
        bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    const Id scalar = scalarConstant(module_.types.scalar(kind), bits);
    if (type->columns == 1) return scalar;
    const Words parts(type->columns, scalar);
    return asm_.internedConstant(spv::Op::OpConstantComposite, logicalType(type), parts);
}

Id ModuleWriter::intConstant(TypeRef type, std::int64_t value) {
    const Id scalar = scalarConstant(module_.types.scalar(type->scalar), static_cast<std::uint64_t>(value));
    if (type->columns == 1) return scalar;
    const Words parts(type->columns, scalar);
    return asm_.internedConstant(spv::Op::OpConstantComposite, logicalType(type), parts);
}

Id ModuleWriter::constant(const ir::Value& constantValue) {
    const TypeRef type = constantValue.type;
    const bool isComposite = !type->isScalar() && !type->is(TypeKind::enum_);
    if (!isComposite) return scalarConstant(type, constantValue.bits);
    if (constantValue.parts.empty()) return nullConstant(type);
    OperandList parts;
    for (const ir::Value* part : constantValue.parts)
        parts.push_back(value(*part));
    return asm_.internedConstant(spv::Op::OpConstantComposite, logicalType(type), parts);
}

} // namespace msl::spirv
