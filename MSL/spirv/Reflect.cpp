// The reflection of a module.
#include "MSL/passes/MembersRead.h"
#include "MSL/spirv/SpirvWriter.h"

namespace msl::spirv {
namespace {

std::string_view systemValueAttribute(ir::SystemValue value) {
    using enum ir::SystemValue;
    switch (value) {
    case position:
    case fragCoord: return "position";
    case pointSize: return "point_size";
    case vertexId: return "vertex_id";
    case instanceId: return "instance_id";
    case pointCoord: return "point_coord";
    case frontFacing: return "front_facing";
    case globalInvocationId: return "thread_position_in_grid";
    case fragDepth: return "depth(any)";
    default: return "";
    }
}

StageVariable stageVariable(const ir::Variable& variable) {
    StageVariable out;
    out.name = variable.name;
    out.typeName = typeName(variable.type);
    const bool isSystem = variable.systemValue != ir::SystemValue::none;
    out.attribute = !variable.attribute.empty() ? variable.attribute : systemValueAttribute(variable.systemValue);
    out.location = isSystem ? -1 : static_cast<std::int32_t>(variable.location);
    return out;
}

Binding binding(const ir::Variable& variable, const ResourceBinding& at) {
    Binding out;
    out.name = variable.name;
    out.kind = at.kind;
    out.metalIndex = variable.metalIndex;
    out.set = at.set;
    out.binding = at.binding;
    out.isWritten = variable.isWritable;
    out.isAtomic = variable.isAtomic;
    out.samplerState = variable.samplerState;
    out.argumentBuffer = variable.argumentBuffer;
    TypeRef element = variable.declared != nullptr ? variable.declared : variable.type;
    if (variable.kind != ir::Variable::Kind::buffer && element->is(TypeKind::array)) {
        out.arrayCount = static_cast<std::uint32_t>(element->count);
        element = element->element;
    }
    if (variable.kind == ir::Variable::Kind::buffer) {
        out.isArray = element->is(TypeKind::array) && element->count == 0;
        if (out.isArray) element = element->element;
        const Layout layout = layoutOf(element);
        out.byteSize = static_cast<std::uint32_t>(layout.size);
        out.byteAlignment = layout.alignment;
    }
    out.typeName = typeName(element);
    return out;
}

ThreadgroupArgument threadgroupArgument(const ir::Variable& variable) {
    const bool isArray = variable.type->is(TypeKind::array) && variable.type->count == 0;
    const TypeRef element = isArray ? variable.type->element : variable.type;
    return {std::string(variable.name), variable.metalIndex, typeName(element),
            static_cast<std::uint32_t>(layoutOf(element).size), isArray};
}

FunctionConstant functionConstant(const ir::FunctionConstant& constant) {
    const bool isBool = constant.type->scalar == ScalarKind::bool_;
    return {std::string(constant.name), typeName(constant.type), constant.index,
            isBool ? 4 : byteSize(constant.type->scalar), constant.type->columns};
}

} // namespace

Reflection reflect(const ir::Module& module, const Bindings& bindings) {
    Reflection reflection;
    const auto membersRead = findMembersRead(module);
    for (const ir::Entry* entry : module.entries) {
        EntryPoint& out = reflection.entryPoints.emplace_back();
        out.name = entry->name;
        out.stage = entry->stage;
        out.mayDiscard = entry->mayDiscard;
        out.usesDerivatives = entry->usesDerivatives;
        if (entry->stage == Stage::kernel) out.localSize = {64, 1, 1};
        out.threadgroupBytes = static_cast<std::uint32_t>(entry->threadgroupBytes);
        for (const ir::Variable* variable : *entry->interface) {
            switch (variable->kind) {
            case ir::Variable::Kind::input: out.inputs.push_back(stageVariable(*variable)); break;
            case ir::Variable::Kind::output: out.outputs.push_back(stageVariable(*variable)); break;
            case ir::Variable::Kind::buffer:
            case ir::Variable::Kind::texture:
            case ir::Variable::Kind::sampler:
            case ir::Variable::Kind::attachment:
                out.bindings.push_back(binding(*variable, bindings.of(*variable)));
                if (const auto read = membersRead.find(variable); read != membersRead.end())
                    out.bindings.back().membersRead = read->second;
                break;
            case ir::Variable::Kind::threadgroup:
                out.threadgroupArguments.push_back(threadgroupArgument(*variable));
                break;
            default: break;
            }
        }
    }
    for (const ir::Variable* global : module.globals)
        reflection.usesAddresses = reflection.usesAddresses || global->kind == ir::Variable::Kind::address;
    for (const ir::FunctionConstant& constant : module.functionConstants)
        reflection.functionConstants.push_back(functionConstant(constant));
    for (const TypeRef type : module.structs) {
        StructLayout& out = reflection.structs.emplace_back();
        out.name = type->name;
        out.size = static_cast<std::uint32_t>(type->record->size);
        out.alignment = type->record->alignment;
        for (const Field& field : type->record->fields)
            out.members.push_back({std::string(field.name), typeName(field.type),
                                   static_cast<std::uint32_t>(field.offset),
                                   static_cast<std::uint32_t>(layoutOf(field.type).size)});
    }
    return reflection;
}

} // namespace msl::spirv
