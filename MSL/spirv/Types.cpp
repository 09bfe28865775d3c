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
    if (kind == ScalarKind::bfloat) kind = ScalarKind::ushort; // legalize() left nothing of it but the bits
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

bool ModuleWriter::isSplit(TypeRef type) {
    return type->is(TypeKind::struct_) && type->record->fields.size() > limits::structMembers;
}

ModuleWriter::SplitStruct& ModuleWriter::splitOf(const Record& record) {
    const auto [at, isNew] = splitStructs_.try_emplace(&record);
    SplitStruct& split = at->second;
    if (!isNew) return split;
    // A part begins where its offset suits any of its members, so that none reaches into the one before.
    const auto refuse = [&] {
        throw LimitExceeded{"a struct of " + std::to_string(record.fields.size()) + " members is too large: at most " +
                            std::to_string(limits::structMembers) + " are possible"};
    };
    split.begins.push_back(0);
    for (std::size_t next = limits::structMembers; next < record.fields.size(); next += limits::structMembers) {
        while (next > split.begins.back() && record.fields[next].offset % std::max(record.alignment, 1U) != 0)
            --next;
        if (next == split.begins.back()) refuse();
        split.begins.push_back(static_cast<std::uint32_t>(next));
    }
    if (split.begins.size() > limits::structMembers) refuse();
    return split;
}

Id ModuleWriter::structPart(const Record& record, std::uint32_t begin, std::uint32_t end, bool inMemory) {
    const auto fields = record.fields.subspan(begin, end - begin);
    OperandList members;
    for (const Field& field : fields)
        members.push_back(inMemory ? memoryType(field.type) : logicalType(field.type));
    // Drivers refuse structs without members; the one that stands in is never looked at.
    if (members.empty()) members.push_back(inMemory ? memoryType(module_.types.scalar(ScalarKind::uchar)) : uintType());
    const Id id = asm_.newType(spv::Op::OpTypeStruct, members);
    if (inMemory && fields.empty()) asm_.memberDecorate(id, 0, spv::Decoration::Offset, {0});
    for (std::uint32_t number = 0; inMemory && number < fields.size(); ++number) {
        const Field& field = fields[number];
        asm_.memberDecorate(id, number, spv::Decoration::Offset,
                            {static_cast<std::uint32_t>(field.offset - fields[0].offset)});
        decorateMatrixMember(id, number, field.type);
    }
    for (std::uint32_t number = 0; options_.debugNames && number < fields.size(); ++number)
        asm_.memberName(id, number, fields[number].name);
    return id;
}

Id ModuleWriter::structType(TypeRef type, bool inMemory) {
    const Record& record = *type->record;
    if (record.isUnion) return fail("the union '" + typeName(type) + "' cannot be written");
    if (++typeDepth_ > limits::structDepth)
        throw LimitExceeded{"structs are nested more than " + std::to_string(limits::structDepth) + " levels deep"};
    const auto count = static_cast<std::uint32_t>(record.fields.size());
    Id id = 0;
    if (!isSplit(type)) {
        id = structPart(record, 0, count, inMemory);
    } else {
        SplitStruct& split = splitOf(record);
        std::vector<Id>& parts = split.parts[inMemory ? 1 : 0];
        for (std::size_t i = 0; i < split.begins.size(); ++i)
            parts.push_back(structPart(record, split.begins[i],
                                       i + 1 < split.begins.size() ? split.begins[i + 1] : count, inMemory));
        id = asm_.newType(spv::Op::OpTypeStruct, parts);
        for (std::uint32_t i = 0; inMemory && i < parts.size(); ++i)
            asm_.memberDecorate(id, i, spv::Decoration::Offset,
                                {static_cast<std::uint32_t>(record.fields[split.begins[i]].offset)});
    }
    if (options_.debugNames && !type->name.empty())
        asm_.name(id, std::string(type->name) + (inMemory ? ".memory" : ""));
    --typeDepth_;
    return id;
}

ModuleWriter::MemberPath ModuleWriter::memberPath(TypeRef type, std::uint32_t member) {
    if (!isSplit(type)) return {.member = member};
    const SplitStruct& split = splitOf(*type->record);
    const auto part = std::ranges::upper_bound(split.begins, member) - split.begins.begin() - 1;
    return {true, static_cast<std::uint32_t>(part), member - split.begins[static_cast<std::size_t>(part)]};
}

void ModuleWriter::appendMember(OperandList& to, TypeRef type, std::uint32_t member) {
    const MemberPath path = memberPath(type, member);
    if (path.isSplit) to.push_back(path.part);
    to.push_back(path.member);
}

void ModuleWriter::appendPath(OperandList& to, TypeRef type, std::span<const std::uint32_t> indices) {
    for (const std::uint32_t index : indices) {
        appendMember(to, type, index);
        type = ir::partType(module_.types, type, index);
    }
}

Id ModuleWriter::composite(TypeRef type, std::span<const Id> elements, bool inMemory, Made made) {
    const auto make = [&](Id made_, std::span<const Id> parts) {
        return made == Made::asConstant ? asm_.internedConstant(spv::Op::OpConstantComposite, made_, parts)
                                        : asm_.result(spv::Op::OpCompositeConstruct, made_, parts);
    };
    const Id whole = inMemory ? memoryType(type) : logicalType(type);
    if (!isSplit(type)) return make(whole, elements);
    const SplitStruct& split = splitOf(*type->record);
    OperandList parts;
    for (std::size_t i = 0; i < split.begins.size(); ++i) {
        const std::size_t end = i + 1 < split.begins.size() ? split.begins[i + 1] : elements.size();
        parts.push_back(
            make(split.parts[inMemory ? 1 : 0][i], elements.subspan(split.begins[i], end - split.begins[i])));
    }
    return make(whole, parts);
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
    return asm_.internedType(spv::Op::OpTypePointer, {static_cast<std::uint32_t>(storage), pointee});
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

Id ModuleWriter::sampleCount() {
    const std::uint32_t one = 1;
    if (sampleCount_ == 0) sampleCount_ = asm_.specializationConstant(uintType(), {&one, 1}, sampleCountId);
    return sampleCount_;
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
    return composite(type, parts, false, Made::asConstant);
}

} // namespace msl::spirv
