// Variables, places, loads and stores.
#include "MSL/spirv/ModuleWriter.h"

#include <algorithm>

namespace msl::spirv {

using ir::SystemValue;
using ir::Variable;

namespace {

struct BuiltInRow {
    SystemValue systemValue;
    spv::BuiltIn builtIn;
    ScalarKind kind;
    std::uint8_t count;
};
constexpr BuiltInRow builtInRows[] = {
    {SystemValue::position, spv::BuiltIn::Position, ScalarKind::float_, 4},
    {SystemValue::pointSize, spv::BuiltIn::PointSize, ScalarKind::float_, 1},
    {SystemValue::vertexId, spv::BuiltIn::VertexIndex, ScalarKind::uint, 1},
    {SystemValue::instanceId, spv::BuiltIn::InstanceIndex, ScalarKind::uint, 1},
    {SystemValue::baseVertex, spv::BuiltIn::BaseVertex, ScalarKind::uint, 1},
    {SystemValue::baseInstance, spv::BuiltIn::BaseInstance, ScalarKind::uint, 1},
    {SystemValue::fragCoord, spv::BuiltIn::FragCoord, ScalarKind::float_, 4},
    {SystemValue::frontFacing, spv::BuiltIn::FrontFacing, ScalarKind::bool_, 1},
    {SystemValue::pointCoord, spv::BuiltIn::PointCoord, ScalarKind::float_, 2},
    {SystemValue::sampleId, spv::BuiltIn::SampleId, ScalarKind::uint, 1},
    {SystemValue::sampleMask, spv::BuiltIn::SampleMask, ScalarKind::uint, 0},
    {SystemValue::primitiveId, spv::BuiltIn::PrimitiveId, ScalarKind::uint, 1},
    {SystemValue::clipDistance, spv::BuiltIn::ClipDistance, ScalarKind::float_, 0},
    {SystemValue::fragDepth, spv::BuiltIn::FragDepth, ScalarKind::float_, 1},
    {SystemValue::renderTargetArrayIndex, spv::BuiltIn::Layer, ScalarKind::uint, 1},
    {SystemValue::viewportArrayIndex, spv::BuiltIn::ViewportIndex, ScalarKind::uint, 1},
    {SystemValue::globalInvocationId, spv::BuiltIn::GlobalInvocationId, ScalarKind::uint, 3},
    {SystemValue::localInvocationId, spv::BuiltIn::LocalInvocationId, ScalarKind::uint, 3},
    {SystemValue::localInvocationIndex, spv::BuiltIn::LocalInvocationIndex, ScalarKind::uint, 1},
    {SystemValue::workgroupId, spv::BuiltIn::WorkgroupId, ScalarKind::uint, 3},
    {SystemValue::numWorkgroups, spv::BuiltIn::NumWorkgroups, ScalarKind::uint, 3},
    {SystemValue::subgroupSize, spv::BuiltIn::SubgroupSize, ScalarKind::uint, 1},
    {SystemValue::subgroupInvocationId, spv::BuiltIn::SubgroupLocalInvocationId, ScalarKind::uint, 1},
    {SystemValue::subgroupId, spv::BuiltIn::SubgroupId, ScalarKind::uint, 1},
    {SystemValue::numSubgroups, spv::BuiltIn::NumSubgroups, ScalarKind::uint, 1},
    {SystemValue::helperInvocation, spv::BuiltIn::HelperInvocation, ScalarKind::bool_, 1},
};

const BuiltInRow* builtInRow(SystemValue systemValue) {
    for (const BuiltInRow& row : builtInRows)
        if (row.systemValue == systemValue) return &row;
    return nullptr;
}

} // namespace

// Vulkan's interfaces are 32 bits wide here: narrower varyings and colours travel as float, int or uint, and a system
// value has the one type that Vulkan gives it.
TypeRef ModuleWriter::interfaceType(const Variable& variable) {
    TypeTable& types = module_.types;
    const TypeRef type = variable.type;
    if (const BuiltInRow* row = builtInRow(variable.systemValue)) {
        if (row->count != 0) return types.vector(row->kind, row->count);
        return type->is(TypeKind::array) ? type : types.array(types.scalar(row->kind), 1);
    }
    if (!type->isScalar() && !type->isVector()) return type;
    switch (type->scalar) {
    case ScalarKind::half: return types.vector(ScalarKind::float_, type->columns);
    case ScalarKind::char_:
    case ScalarKind::short_: return types.vector(ScalarKind::int_, type->columns);
    case ScalarKind::bool_:
    case ScalarKind::uchar:
    case ScalarKind::ushort: return types.vector(ScalarKind::uint, type->columns);
    default: return type;
    }
}

void ModuleWriter::decorateInterface(const Variable& variable, const Global& declared) {
    const Id id = declared.id;
    if (const BuiltInRow* row = builtInRow(variable.systemValue)) {
        asm_.decorate(id, spv::Decoration::BuiltIn, {static_cast<std::uint32_t>(row->builtIn)});
        switch (variable.systemValue) {
        case SystemValue::baseVertex:
        case SystemValue::baseInstance: asm_.capability(spv::Capability::DrawParameters); break;
        case SystemValue::sampleId: asm_.capability(spv::Capability::SampleRateShading); break;
        case SystemValue::primitiveId: asm_.capability(spv::Capability::Geometry); break;
        case SystemValue::clipDistance: asm_.capability(spv::Capability::ClipDistance); break;
        case SystemValue::renderTargetArrayIndex: asm_.capability(spv::Capability::ShaderLayer); break;
        case SystemValue::viewportArrayIndex: asm_.capability(spv::Capability::ShaderViewportIndex); break;
        case SystemValue::subgroupSize:
        case SystemValue::subgroupInvocationId:
        case SystemValue::subgroupId:
        case SystemValue::numSubgroups: asm_.capability(spv::Capability::GroupNonUniform); break;
        default: break;
        }
    } else {
        asm_.decorate(id, spv::Decoration::Location, {variable.location});
        if (variable.index != 0) asm_.decorate(id, spv::Decoration::Index, {variable.index});
    }
    if (variable.isInvariant) asm_.decorate(id, spv::Decoration::Invariant);
    // Functions of fragments may ask for these without declaring them.
    const bool isLane =
        variable.systemValue == SystemValue::subgroupSize || variable.systemValue == SystemValue::subgroupInvocationId;
    if (!fragmentInputs_[variable.id] && !isLane) return;

    TypeRef scalarHolder = declared.declared;
    while (scalarHolder->is(TypeKind::array))
        scalarHolder = scalarHolder->element;
    const bool isInteger = isFloating(scalarHolder->scalar) == false && scalarHolder->scalar != ScalarKind::bool_;
    if (isInteger || variable.interpolation == ir::Interpolation::flat)
        asm_.decorate(id, spv::Decoration::Flat);
    else if (variable.interpolation == ir::Interpolation::noPerspective)
        asm_.decorate(id, spv::Decoration::NoPerspective);
    if (variable.sampling == ir::Sampling::centroid) {
        asm_.decorate(id, spv::Decoration::Centroid);
    } else if (variable.sampling == ir::Sampling::sample) {
        asm_.capability(spv::Capability::SampleRateShading);
        asm_.decorate(id, spv::Decoration::Sample);
    }
}

void ModuleWriter::decorateBinding(Id id, const Variable& variable) {
    const ResourceBinding& at = bindings_.of(variable);
    asm_.decorate(id, spv::Decoration::DescriptorSet, {at.set});
    asm_.decorate(id, spv::Decoration::Binding, {at.binding});
}

ModuleWriter::Global& ModuleWriter::global(const Variable& variable) {
    if (globals_[variable.id].id != 0) return globals_[variable.id];
    Global made;
    switch (variable.kind) {
    case Variable::Kind::buffer: {
        const bool isUniform = bindings_.of(variable).kind == BindingKind::uniformBuffer;
        made.storage = isUniform ? spv::StorageClass::Uniform : spv::StorageClass::StorageBuffer;
        made.inMemory = true;
        const Id block = blockType(variable.type);
        made.id = asm_.globalVariable(pointerType(made.storage, block), made.storage);
        decorateBinding(made.id, variable);
        if (variable.isAliased) asm_.decorate(made.id, spv::Decoration::Aliased);
        if (variable.isWritable)
            writableBuffers_.push_back(made.id);
        else if (!isUniform)
            asm_.decorate(made.id, spv::Decoration::NonWritable);
        break;
    }
    case Variable::Kind::texture:
    case Variable::Kind::sampler: made = resourceGlobal(variable); break;
    case Variable::Kind::attachment: made = attachmentGlobal(variable); break;
    case Variable::Kind::constantTable:
        made.storage = spv::StorageClass::Private;
        made.id = asm_.globalVariable(pointerType(made.storage, logicalType(variable.type)), made.storage,
                                      value(*variable.initializer));
        break;
    case Variable::Kind::threadgroup: {
        made.storage = spv::StorageClass::Workgroup;
        Id type = 0;
        if (variable.type->is(TypeKind::array) && variable.type->count == 0) {
            const std::uint32_t operands[] = {logicalType(variable.type->element), threadgroupLength(variable)};
            type = asm_.newType(spv::Op::OpTypeArray, operands);
        } else {
            type = logicalType(variable.type);
        }
        made.id = asm_.globalVariable(pointerType(made.storage, type), made.storage,
                                      asm_.internedConstant(spv::Op::OpConstantNull, type, {}));
        break;
    }
    case Variable::Kind::input:
    case Variable::Kind::output:
        made.storage = variable.kind == Variable::Kind::input ? spv::StorageClass::Input : spv::StorageClass::Output;
        made.declared = interfaceType(variable);
        made.id = asm_.globalVariable(pointerType(made.storage, logicalType(made.declared)), made.storage);
        decorateInterface(variable, made);
        break;
    default: fail("the variable '" + std::string(variable.name) + "' cannot be written"); made.id = asm_.newId();
    }
    if (options_.debugNames && !variable.name.empty()) asm_.name(made.id, variable.name);
    return globals_[variable.id] = made;
}

// The pointer that a place's address is.
Id ModuleWriter::addressBase(const ir::Place& place) {
    asm_.capability(spv::Capability::PhysicalStorageBufferAddresses);
    Id& block = memories_[place.root->id];
    if (block == 0) block = blockType(place.root->type->element);
    return asm_.result(spv::Op::OpConvertUToPtr, pointerType(spv::StorageClass::PhysicalStorageBuffer, block),
                       {value(*place.steps[0].value)});
}

// An address is a multiple of the size of the largest scalar, whatever the language promises.
void ModuleWriter::addAlignment(const ir::Place& place, OperandList& operands) {
    if (place.root->kind != Variable::Kind::address) return;
    operands.push_back(static_cast<std::uint32_t>(spv::MemoryAccessMask::Aligned));
    operands.push_back(scalarAlignment(place.type));
}

Id ModuleWriter::placePointer(const ir::Place& place, spv::StorageClass& storage, bool& inMemory) {
    const Variable& root = *place.root;
    Id base = 0;
    bool isInBlock = false;
    if (root.kind == Variable::Kind::local || root.kind == Variable::Kind::pointerParameter) {
        storage = spv::StorageClass::Function;
        inMemory = false;
        base = locals_[root.id];
        if (base == 0) return fail("the local variable '" + std::string(root.name) + "' belongs to another function");
    } else if (root.kind == Variable::Kind::address) {
        storage = spv::StorageClass::PhysicalStorageBuffer;
        inMemory = true;
        base = addressBase(place);
        isInBlock = true;
    } else {
        const Global& target = global(root);
        storage = target.storage;
        inMemory = target.inMemory;
        base = target.id;
        isInBlock = root.kind == Variable::Kind::buffer && !isBlock(root.type);
    }
    OperandList indices = {base};
    if (isInBlock) indices.push_back(uintConstant(0));
    TypeRef type = root.type;
    for (const ir::Step& step : place.steps) {
        if (root.kind == Variable::Kind::address && &step == place.steps.data()) {
            // which of what lies behind the address: in the base already
        } else if (step.value != nullptr) {
            indices.push_back(value(*step.value));
        } else {
            const MemberPath path = memberPath(type, step.number);
            if (path.isSplit) indices.push_back(uintConstant(path.part));
            indices.push_back(uintConstant(path.member));
        }
        type = ir::partType(module_.types, type, step.number);
    }
    if (indices.size() == 1) return base;
    const Id pointee = inMemory ? memoryType(place.type) : logicalType(place.type);
    return asm_.result(spv::Op::OpAccessChain, pointerType(storage, pointee), indices);
}

Id ModuleWriter::discardedFlag() {
    if (discarded_ != 0) return discarded_;
    const Id boolean = scalarType(ScalarKind::bool_);
    discarded_ = asm_.globalVariable(pointerType(spv::StorageClass::Private, boolean), spv::StorageClass::Private,
                                     asm_.internedConstant(spv::Op::OpConstantFalse, boolean, {}));
    return discarded_;
}

Id ModuleWriter::load(const ir::Place& place) {
    const Variable& root = *place.root;
    if (root.kind == Variable::Kind::input) {
        if (root.systemValue == SystemValue::workgroupSize && place.steps.empty()) return workgroupSize();
        if (root.systemValue == SystemValue::sampleCount) return sampleCount();
        const Global& input = global(root);
        if (input.declared != root.type) {
            Id whole = asm_.result(spv::Op::OpLoad, logicalType(input.declared), {input.id});
            whole = adaptInput(input.declared, root.type, whole);
            if (place.steps.empty()) return whole;
            OperandList operands = {whole};
            for (const ir::Step& step : place.steps) {
                if (step.value != nullptr)
                    return fail("a computed index into the stage input '" + std::string(root.name) + "'");
                operands.push_back(step.number); // of a vector: what is adapted is no struct
            }
            return asm_.result(spv::Op::OpCompositeExtract, logicalType(place.type), operands);
        }
    }
    if (root.kind == Variable::Kind::attachment) return readAttachment(root);
    spv::StorageClass storage{};
    bool inMemory = false;
    const Id pointer = placePointer(place, storage, inMemory);
    if (root.systemValue == SystemValue::helperInvocation) {
        const Id boolean = logicalType(place.type);
        const Id wasHelper = asm_.result(spv::Op::OpLoad, boolean, {pointer});
        return asm_.result(spv::Op::OpLogicalOr, boolean,
                           {wasHelper, asm_.result(spv::Op::OpLoad, boolean, {discardedFlag()})});
    }
    OperandList operands = {pointer};
    addAlignment(place, operands);
    if (!inMemory || !hasMemoryForm(place.type)) return asm_.result(spv::Op::OpLoad, logicalType(place.type), operands);
    return fromMemory(place.type, asm_.result(spv::Op::OpLoad, memoryType(place.type), operands));
}

void ModuleWriter::store(const ir::Place& place, Id stored) {
    const Variable& root = *place.root;
    if (root.kind == Variable::Kind::output) {
        const Global& output = global(root);
        if (output.declared != root.type) {
            if (!place.steps.empty()) {
                fail("a store to a part of the stage output '" + std::string(root.name) + "'");
                return;
            }
            if (output.declared->is(TypeKind::array))
                stored = asm_.result(spv::Op::OpCompositeConstruct, logicalType(output.declared),
                                     {convert(root.type, output.declared->element, stored)});
            else
                stored = convert(root.type, output.declared, stored);
            asm_.code(spv::Op::OpStore, {output.id, stored});
            return;
        }
    }
    spv::StorageClass storage{};
    bool inMemory = false;
    const Id pointer = placePointer(place, storage, inMemory);
    if (inMemory && hasMemoryForm(place.type)) stored = toMemory(place.type, stored);
    OperandList operands = {pointer, stored};
    addAlignment(place, operands);
    asm_.code(spv::Op::OpStore, operands);
}

Id ModuleWriter::fromMemory(TypeRef type, Id stored) {
    if (!hasMemoryForm(type)) return stored;
    if (!changesInMemory(type)) return asm_.result(spv::Op::OpCopyLogical, logicalType(type), {stored});
    if (type->is(TypeKind::struct_) || type->is(TypeKind::array)) {
        OperandList parts;
        const std::size_t count = type->is(TypeKind::array) ? type->count : type->record->fields.size();
        for (std::uint32_t i = 0; i < count; ++i) {
            const TypeRef part = type->is(TypeKind::array) ? type->element : type->record->fields[i].type;
            OperandList path = {stored};
            appendMember(path, type, i);
            parts.push_back(fromMemory(part, asm_.result(spv::Op::OpCompositeExtract, memoryType(part), path)));
        }
        if (parts.empty()) return nullConstant(type);
        return composite(type, parts, false, Made::asCode);
    }
    const Id zero = asm_.internedConstant(spv::Op::OpConstantNull, memoryType(type), {});
    return asm_.result(spv::Op::OpINotEqual, logicalType(type), {stored, zero});
}

Id ModuleWriter::toMemory(TypeRef type, Id logical) {
    if (!hasMemoryForm(type)) return logical;
    if (!changesInMemory(type)) return asm_.result(spv::Op::OpCopyLogical, memoryType(type), {logical});
    if (type->is(TypeKind::struct_) || type->is(TypeKind::array)) {
        OperandList parts;
        const std::size_t count = type->is(TypeKind::array) ? type->count : type->record->fields.size();
        for (std::uint32_t i = 0; i < count; ++i) {
            const TypeRef part = type->is(TypeKind::array) ? type->element : type->record->fields[i].type;
            OperandList path = {logical};
            appendMember(path, type, i);
            parts.push_back(toMemory(part, asm_.result(spv::Op::OpCompositeExtract, logicalType(part), path)));
        }
        if (parts.empty()) return asm_.internedConstant(spv::Op::OpConstantNull, memoryType(type), {});
        return composite(type, parts, true, Made::asCode);
    }
    const TypeRef bytes = module_.types.vector(ScalarKind::uchar, type->columns);
    return asm_.result(spv::Op::OpSelect, memoryType(type), {logical, intConstant(bytes, 1), intConstant(bytes, 0)});
}

Id ModuleWriter::adaptInput(TypeRef from, TypeRef to, Id loaded) {
    if (from->is(TypeKind::array)) { // sample mask and clip distance: one element
        loaded = asm_.result(spv::Op::OpCompositeExtract, logicalType(from->element), {loaded, 0});
        from = from->element;
    }
    if (from->columns > to->columns) {
        const TypeRef narrowed = module_.types.vector(from->scalar, to->columns);
        OperandList operands;
        if (to->columns == 1) {
            operands = {loaded, 0};
        } else {
            operands = {loaded, loaded};
            for (std::uint32_t i = 0; i < to->columns; ++i)
                operands.push_back(i);
        }
        loaded = asm_.result(to->columns == 1 ? spv::Op::OpCompositeExtract : spv::Op::OpVectorShuffle,
                             logicalType(narrowed), operands);
        from = narrowed;
    }
    return convert(from, to, loaded);
}

Id ModuleWriter::arrayLength(const ir::Place& place) {
    if (place.root->kind == Variable::Kind::threadgroup) return threadgroupLength(*place.root);
    const std::uint32_t member = place.steps.empty() ? 0 : place.steps[0].number;
    return asm_.result(spv::Op::OpArrayLength, uintType(), {global(*place.root).id, member});
}

} // namespace msl::spirv
