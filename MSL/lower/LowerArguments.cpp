// Argument buffers: structs with pointers, textures and samplers in them. One is taken apart, and each of its members
// is a binding of its own, members of structs and elements of arrays in it too. Without textures it may rather be
// memory with addresses in it, where the host allows that.
#include "MSL/lower/Attributes.h"
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

namespace {

// Whether the members say where they are bound, or are what only bindings can be.
bool isForBindings(TypeRef type) {
    switch (type->kind) {
    case TypeKind::texture:
    case TypeKind::sampler: return true;
    case TypeKind::array: return isForBindings(type->element);
    case TypeKind::struct_:
        return std::ranges::any_of(type->structDecl->fields, [](const VarDecl* field) {
            return findAttribute(field->attributes, "id") != nullptr || isForBindings(field->type);
        });
    default: return false;
    }
}

} // namespace

bool Lowering::isArgumentBuffer(TypeRef type) {
    return type->is(TypeKind::struct_) && isOpaque(type) && (!allowsAddresses_ || isForBindings(type));
}

Operand Lowering::argumentBuffer(ir::Entry& entry, VarDecl* parameter, std::uint32_t index) {
    ResourceSlot slot{
        .name = nameOf(parameter), .stage = entry.stage, .argumentBuffer = static_cast<std::int32_t>(index)};
    return argument(entry, slot, parameter->type->element, parameter->location);
}

// A member, or a whole struct, whose first [[id]] is slot.index; counts that on.
Operand Lowering::argument(ir::Entry& entry, ResourceSlot& slot, TypeRef type, SourceLocation at) {
    TypeRef element = type;
    if (element->is(TypeKind::array)) element = element->element;
    const bool isResource = element->is(TypeKind::texture) || element->is(TypeKind::sampler);
    const std::string_view name = slot.name;
    if (isOpaque(type) && !isResource && (type->is(TypeKind::struct_) || type->is(TypeKind::array))) {
        Operand result = defaultValue(type, true);
        const std::uint32_t base = slot.index;
        for (std::uint32_t i = 0; i < result.members.size() && !diagnostics_.hasErrors(); ++i) {
            if (type->is(TypeKind::array)) {
                slot.name = module_.arena.copyText(std::string(name) + "[" + std::to_string(i) + "]");
                result.members[i] = argument(entry, slot, type->element, at);
                continue;
            }
            const VarDecl* field = type->structDecl->fields[i];
            if (const Attribute* id = findAttribute(field->attributes, "id")) slot.index = base + numberOf(id);
            slot.name = module_.arena.copyText(std::string(name) + "." + std::string(nameOf(field)));
            result.members[i] = argument(entry, slot, field->type, field->location);
        }
        slot.name = name;
        return result;
    }
    const std::uint64_t count = isResource && type->is(TypeKind::array) ? type->count : 1;
    if (slot.index + count > argumentBufferBindings) {
        diagnostics_.error(at,
                           "an argument buffer can have " + std::to_string(argumentBufferBindings) + " members here");
        return errorOperand(type);
    }
    const bool isPointer = type->is(TypeKind::pointer) || type->is(TypeKind::reference);
    ResourceSlot own = slot;
    own.isValue = !isPointer;
    slot.index += static_cast<std::uint32_t>(count);
    const TypeRef buffer =
        isPointer ? type : module_.types.reference(type, AddressSpace::constant, true); // a plain value
    ir::Variable* variable = isResource ? resourceVariable(own, type) : bufferVariable(own, buffer, at);
    if (variable == nullptr) return errorOperand(type);
    entry.interface->push_back(variable);
    if (isResource) return resourceOperand(variable, type);
    const Access access = bufferAccess(variable, buffer);
    if (!isPointer) return load(access, at);
    return type->is(TypeKind::pointer) ? access.held : pointerTo(access, type);
}

} // namespace msl
