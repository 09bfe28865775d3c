// Entry points: a function without parameters is made around the user's. It reads the stage's inputs, names the
// resources, calls the user's function and writes what it returns to the stage's outputs.
#include "MSL/lower/Attributes.h"
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::SystemValue;
using ir::Value;

struct Lowering::EntryState {
    ir::Entry* entry = nullptr;
    FunctionDecl* function = nullptr;
    Stage stage = Stage::fragment;
    std::unordered_map<SystemValue, ir::Variable*> inputs; // one variable for each system value
};

namespace {

// System values that are computed from others.
enum class Derived : std::uint8_t { none, zero, threadsPerGrid, laneInQuad, quadInGroup, quadsPerGroup };

struct SystemName {
    std::string_view name;
    SystemValue value;
    ScalarKind scalar;
    std::uint8_t columns;
    Derived derived = Derived::none;
};

// clang-format off
constexpr SystemName vertexInputs[] = {
    {"vertex_id", SystemValue::vertexId, ScalarKind::uint, 1},
    {"instance_id", SystemValue::instanceId, ScalarKind::uint, 1},
    {"base_vertex", SystemValue::baseVertex, ScalarKind::uint, 1},
    {"base_instance", SystemValue::baseInstance, ScalarKind::uint, 1},
};
constexpr SystemName fragmentInputs[] = {
    {"position", SystemValue::fragCoord, ScalarKind::float_, 4},
    {"point_coord", SystemValue::pointCoord, ScalarKind::float_, 2},
    {"front_facing", SystemValue::frontFacing, ScalarKind::bool_, 1},
    {"primitive_id", SystemValue::primitiveId, ScalarKind::uint, 1},
    {"sample_id", SystemValue::sampleId, ScalarKind::uint, 1},
    {"sample_mask", SystemValue::sampleMask, ScalarKind::uint, 1},
    {"render_target_array_index", SystemValue::renderTargetArrayIndex, ScalarKind::uint, 1},
    {"viewport_array_index", SystemValue::viewportArrayIndex, ScalarKind::uint, 1},
    {"clip_distance", SystemValue::clipDistance, ScalarKind::float_, 1},
    {"thread_index_in_simdgroup", SystemValue::subgroupInvocationId, ScalarKind::uint, 1},
    {"threads_per_simdgroup", SystemValue::subgroupSize, ScalarKind::uint, 1},
    {"thread_index_in_quadgroup", SystemValue::none, ScalarKind::uint, 1, Derived::laneInQuad},
};
constexpr SystemName kernelInputs[] = {
    {"thread_position_in_grid", SystemValue::globalInvocationId, ScalarKind::uint, 3},
    {"thread_position_in_threadgroup", SystemValue::localInvocationId, ScalarKind::uint, 3},
    {"thread_index_in_threadgroup", SystemValue::localInvocationIndex, ScalarKind::uint, 1},
    {"threadgroup_position_in_grid", SystemValue::workgroupId, ScalarKind::uint, 3},
    {"threadgroups_per_grid", SystemValue::numWorkgroups, ScalarKind::uint, 3},
    {"threads_per_threadgroup", SystemValue::workgroupSize, ScalarKind::uint, 3},
    {"dispatch_threads_per_threadgroup", SystemValue::workgroupSize, ScalarKind::uint, 3},
    {"threads_per_grid", SystemValue::none, ScalarKind::uint, 3, Derived::threadsPerGrid},
    {"grid_size", SystemValue::none, ScalarKind::uint, 3, Derived::threadsPerGrid},
    {"grid_origin", SystemValue::none, ScalarKind::uint, 3, Derived::zero},
    {"thread_index_in_simdgroup", SystemValue::subgroupInvocationId, ScalarKind::uint, 1},
    {"threads_per_simdgroup", SystemValue::subgroupSize, ScalarKind::uint, 1},
    {"thread_execution_width", SystemValue::subgroupSize, ScalarKind::uint, 1},
    {"simdgroup_index_in_threadgroup", SystemValue::subgroupId, ScalarKind::uint, 1},
    {"simdgroups_per_threadgroup", SystemValue::numSubgroups, ScalarKind::uint, 1},
    {"dispatch_simdgroups_per_threadgroup", SystemValue::numSubgroups, ScalarKind::uint, 1},
    {"thread_index_in_quadgroup", SystemValue::none, ScalarKind::uint, 1, Derived::laneInQuad},
    {"quadgroup_index_in_threadgroup", SystemValue::none, ScalarKind::uint, 1, Derived::quadInGroup},
    {"quadgroups_per_threadgroup", SystemValue::none, ScalarKind::uint, 1, Derived::quadsPerGroup},
    {"dispatch_quadgroups_per_threadgroup", SystemValue::none, ScalarKind::uint, 1, Derived::quadsPerGroup},
};
constexpr SystemName vertexOutputs[] = {
    {"position", SystemValue::position, ScalarKind::float_, 4},
    {"point_size", SystemValue::pointSize, ScalarKind::float_, 1},
    {"clip_distance", SystemValue::clipDistance, ScalarKind::float_, 1},
    {"render_target_array_index", SystemValue::renderTargetArrayIndex, ScalarKind::uint, 1},
    {"viewport_array_index", SystemValue::viewportArrayIndex, ScalarKind::uint, 1},
};
constexpr SystemName fragmentOutputs[] = {
    {"depth", SystemValue::fragDepth, ScalarKind::float_, 1},
    {"sample_mask", SystemValue::sampleMask, ScalarKind::uint, 1},
};
// clang-format on

const SystemName* systemName(std::span<const SystemName> names, std::span<const Attribute> attributes) {
    for (const SystemName& name : names)
        if (findAttribute(attributes, name.name) != nullptr) return &name;
    return nullptr;
}

std::span<const SystemName> inputNames(Stage stage) {
    switch (stage) {
    case Stage::vertex: return vertexInputs;
    case Stage::fragment: return fragmentInputs;
    case Stage::kernel: return kernelInputs;
    }
    return {};
}

// "position", "user(locn0)", "color(1)": the attribute that says what a value is, as the reflection shows it.
std::string attributeText(std::span<const Attribute> attributes) {
    for (const Attribute& attribute : attributes) {
        if (attribute.name == nullptr || attribute.isGnu) continue;
        const std::string_view name = attribute.name->text;
        if (name == "flat" || name == "invariant" || name == "maybe_unused" || name.ends_with("perspective")) continue;
        std::string text(name);
        if (!attribute.arguments.empty()) {
            text += '(';
            const Expr* argument = attribute.arguments[0];
            if (argument->kind == ExprKind::intLiteral)
                text += std::to_string(static_cast<const IntLiteral*>(argument)->value);
            else if (argument->kind == ExprKind::nameRef &&
                     static_cast<const NameRef*>(argument)->name.identifier != nullptr)
                text += static_cast<const NameRef*>(argument)->name.identifier->text;
            text += ')';
        }
        return text;
    }
    return {};
}

// What hosts call the function: its own name, or the one that it is given for them.
std::string_view entryName(const FunctionDecl* function, std::string_view own) {
    const Attribute* given = findAttribute(function->attributes, "host_name");
    if (given == nullptr || given->arguments.empty() || given->arguments[0]->kind != ExprKind::stringLiteral)
        return own;
    const std::string_view text = static_cast<const StringLiteral*>(given->arguments[0])->text;
    const bool isPlain = !text.empty() && std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
    return isPlain ? text : own;
}

std::string_view varyingName(const VarDecl* field) {
    const Attribute* user = findAttribute(field->attributes, "user");
    if (user != nullptr && !user->arguments.empty() && user->arguments[0]->kind == ExprKind::nameRef &&
        static_cast<const NameRef*>(user->arguments[0])->name.identifier != nullptr)
        return static_cast<const NameRef*>(user->arguments[0])->name.identifier->text;
    return field->name != nullptr ? field->name->text : std::string_view();
}

// Between stages, and from and to memory that is no buffer, a bfloat is a float.
TypeRef travelType(const TypeTable& types, TypeRef type) {
    const bool isBfloat = type->isNumeric() && type->scalar == ScalarKind::bfloat;
    return isBfloat ? types.withScalar(type, ScalarKind::float_) : type;
}

void setInterpolation(ir::Variable& variable, std::span<const Attribute> attributes, TypeRef type) {
    const auto has = [&](std::string_view name) { return findAttribute(attributes, name) != nullptr; };
    TypeRef element = type;
    while (element->is(TypeKind::array))
        element = element->element;
    if (has("flat") || !isFloating(element->scalar))
        variable.interpolation = ir::Interpolation::flat;
    else if (has("center_no_perspective") || has("centroid_no_perspective") || has("sample_no_perspective"))
        variable.interpolation = ir::Interpolation::noPerspective;
    if (has("centroid_perspective") || has("centroid_no_perspective"))
        variable.sampling = ir::Sampling::centroid;
    else if (has("sample_perspective") || has("sample_no_perspective"))
        variable.sampling = ir::Sampling::sample;
    variable.isInvariant = has("invariant");
}

// The interface's variable that has the place which `variable` asks for, null when it is free.
const ir::Variable* rivalOf(const std::vector<ir::Variable*>& interface, const ir::Variable& variable) {
    const auto found = std::ranges::find_if(interface, [&](const ir::Variable* other) {
        return other->kind == variable.kind && other->systemValue == variable.systemValue &&
               (variable.systemValue != SystemValue::none ||
                (other->location == variable.location && other->index == variable.index));
    });
    return found == interface.end() ? nullptr : *found;
}

std::uint32_t locationCount(TypeRef type) {
    switch (type->kind) {
    case TypeKind::matrix: return type->columns;
    case TypeKind::array:
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(type->count, 64)) * locationCount(type->element);
    default: return 1;
    }
}

} // namespace

// A value that flows from a vertex to a fragment function has one location in the whole module, by its name, so that
// any pair of functions fits together.
std::uint32_t Lowering::locationFor(std::string_view name, TypeRef type) {
    const auto [at, isNew] = locations_.try_emplace(name, nextLocation_);
    if (isNew) nextLocation_ += locationCount(type);
    return at->second;
}

void Lowering::reportRivals(SourceLocation at, const ir::Variable& variable, const ir::Variable& rival) {
    const std::string what =
        variable.attribute.empty() ? "user(" + std::string(variable.name) + ")" : std::string(variable.attribute);
    diagnostics_.error(at, "'" + std::string(variable.name) + "' cannot be [[" + what + "]]: '" +
                               std::string(rival.name) + "' is it already");
}

void Lowering::assignLocations(const TranslationUnit& unit) {
    // The largest of the types that share a name decides how much room it has.
    std::vector<std::pair<std::string_view, TypeRef>> varyings;
    const auto note = [&](TypeRef type) {
        if (!type->is(TypeKind::struct_)) return;
        for (const VarDecl* field : type->structDecl->fields) {
            const TypeRef held = field->type->is(TypeKind::interpolant) ? field->type->element : field->type;
            const std::string_view name = varyingName(field);
            if (systemName(vertexOutputs, field->attributes) != nullptr || isOpaque(held)) continue;
            auto known = std::ranges::find(varyings, name, &std::pair<std::string_view, TypeRef>::first);
            if (known == varyings.end())
                varyings.emplace_back(name, held);
            else if (locationCount(held) > locationCount(known->second))
                known->second = held;
        }
    };
    for (const FunctionDecl* function : unit.entryPoints) {
        if (function->stage == EntryStage::vertex) note(function->returnType);
        if (function->stage == EntryStage::fragment)
            for (const VarDecl* parameter : function->parameters)
                if (findAttribute(parameter->attributes, "stage_in") != nullptr) note(parameter->type);
    }
    for (const auto& [name, type] : varyings)
        locationFor(name, type);
}

// The variable of a system value, as a whole; the same for every parameter of the entry point that asks for it.
Value* Lowering::systemValue(EntryState& state, SystemValue wanted, TypeRef type, const VarDecl* declaration) {
    if (wanted == SystemValue::subgroupInvocationId || wanted == SystemValue::subgroupSize) {
        Value* value = systemInput(wanted);
        ir::Variable* variable = sharedInputs_[wanted];
        if (state.inputs.try_emplace(wanted, variable).second) state.entry->interface->push_back(variable);
        return value;
    }
    const bool isArray = wanted == SystemValue::sampleMask || (wanted == SystemValue::clipDistance && type->isScalar());
    ir::Variable*& variable = state.inputs[wanted];
    if (variable == nullptr) {
        variable = module_.newVariable(ir::Variable::Kind::input, isArray ? module_.types.array(type, 1) : type,
                                       nameOf(declaration));
        variable->attribute = module_.arena.copyText(attributeText(declaration->attributes));
        variable->systemValue = wanted;
        if (state.stage == Stage::fragment &&
            !isFloating(type->is(TypeKind::array) ? ScalarKind::float_ : type->scalar))
            variable->interpolation = ir::Interpolation::flat;
        state.entry->interface->push_back(variable);
    }
    ir::Place* place = builder_.place(variable);
    return builder_.load(isArray ? builder_.placeIndex(place, 0U, type) : place);
}

Value* Lowering::derivedValue(EntryState& state, std::uint8_t derived, const VarDecl* declaration) {
    const TypeRef uint = module_.types.uint();
    const TypeRef uint3 = module_.types.vector(ScalarKind::uint, 3);
    const auto input = [&](SystemValue value, TypeRef type) { return systemValue(state, value, type, declaration); };
    const auto binary = [&](ir::Op op, TypeRef type, Value* a, Value* b) { return builder_.binary(op, type, a, b); };
    switch (static_cast<Derived>(derived)) {
    case Derived::none:
    case Derived::zero: break;
    case Derived::threadsPerGrid:
        return binary(ir::Op::mul, uint3, input(SystemValue::numWorkgroups, uint3),
                      input(SystemValue::workgroupSize, uint3));
    case Derived::laneInQuad:
        return binary(ir::Op::bitAnd, uint, input(SystemValue::subgroupInvocationId, uint), uintConstant(3));
    case Derived::quadInGroup: {
        Value* perSimdgroup = binary(ir::Op::shr, uint, input(SystemValue::subgroupSize, uint), uintConstant(2));
        Value* before = binary(ir::Op::mul, uint, input(SystemValue::subgroupId, uint), perSimdgroup);
        Value* own = binary(ir::Op::shr, uint, input(SystemValue::subgroupInvocationId, uint), uintConstant(2));
        return binary(ir::Op::add, uint, before, own);
    }
    case Derived::quadsPerGroup: {
        Value* size = input(SystemValue::workgroupSize, uint3);
        Value* threads = binary(ir::Op::mul, uint, builder_.extract(size, 0U), builder_.extract(size, 1));
        threads = binary(ir::Op::mul, uint, threads, builder_.extract(size, 2));
        return binary(ir::Op::shr, uint, binary(ir::Op::add, uint, threads, uintConstant(3)), uintConstant(2));
    }
    }
    return module_.constantNull(uint3);
}

// The colour attachment's value, as wide as attachments are; the same variable for all who ask for it.
Value* Lowering::attachmentValue(EntryState& state, const VarDecl* declaration, TypeRef type) {
    const ScalarKind kind = isFloating(type->scalar) ? ScalarKind::float_
                            : isSigned(type->scalar) ? ScalarKind::int_
                                                     : ScalarKind::uint;
    const TypeRef held = module_.types.vector(kind, 4);
    const std::uint32_t index = numberOf(findAttribute(declaration->attributes, "color"));
    const auto known = std::ranges::find_if(*state.entry->interface, [&](const ir::Variable* one) {
        return one->kind == ir::Variable::Kind::attachment && one->metalIndex == index;
    });
    ir::Variable* variable = known != state.entry->interface->end() ? *known : nullptr;
    if (variable != nullptr && variable->type != held) {
        diagnostics_.error(declaration->location, "the colour attachment " + std::to_string(index) + " is read as '" +
                                                      typeName(variable->type) + "' already");
        return module_.constantNull(held);
    }
    if (variable == nullptr) {
        variable = module_.newVariable(ir::Variable::Kind::attachment, held, nameOf(declaration));
        variable->stage = Stage::fragment;
        variable->metalIndex = index;
        state.entry->interface->push_back(variable);
    }
    Value* whole = builder_.load(builder_.place(variable));
    if (type->isScalar()) return builder_.extract(whole, 0U);
    const std::uint32_t components[4] = {0, 1, 2, 3};
    return type->columns == 4 ? whole : builder_.shuffle(whole, nullptr, {components, type->columns});
}

// An input with a location of its own.
ir::Variable* Lowering::inputVariable(EntryState& state, const VarDecl* declaration, TypeRef type) {
    ir::Variable* variable = module_.newVariable(ir::Variable::Kind::input, type, nameOf(declaration));
    variable->attribute = module_.arena.copyText(attributeText(declaration->attributes));
    if (state.stage == Stage::vertex) {
        variable->location = numberOf(findAttribute(declaration->attributes, "attribute"));
    } else {
        variable->location = locationFor(varyingName(declaration), type);
        setInterpolation(*variable, declaration->attributes, type);
    }
    if (const ir::Variable* rival = rivalOf(*state.entry->interface, *variable))
        reportRivals(declaration->location, *variable, *rival);
    state.entry->interface->push_back(variable);
    return variable;
}

Value* Lowering::inputValue(EntryState& state, const VarDecl* declaration, TypeRef type) {
    const SystemName* system = systemName(inputNames(state.stage), declaration->attributes);
    const TypeRef plainType = valueType(type);
    Value* value = nullptr;
    if (state.stage == Stage::fragment && findAttribute(declaration->attributes, "color") != nullptr) {
        value = attachmentValue(state, declaration, plainType);
    } else if (system == nullptr) {
        value = builder_.load(builder_.place(inputVariable(state, declaration, travelType(module_.types, plainType))));
    } else if (system->derived != Derived::none) {
        value = derivedValue(state, static_cast<std::uint8_t>(system->derived), declaration);
    } else {
        const TypeRef inputType = system->value == SystemValue::clipDistance && plainType->is(TypeKind::array)
                                      ? plainType
                                      : module_.types.vector(system->scalar, system->columns);
        value = systemValue(state, system->value, inputType, declaration);
    }
    if (value->type->isVector() && plainType->columns < value->type->columns && !plainType->isMatrix()) {
        const std::uint32_t components[3] = {0, 1, 2};
        value = builder_.shuffle(value, nullptr, {components, plainType->columns});
    }
    return plainType->isNumeric() ? convertValue(plainType, value) : value;
}

// A struct of inputs: a value, unless some of them are interpolants.
Operand Lowering::stageInput(EntryState& state, TypeRef type) {
    std::vector<Operand> members;
    bool hasInterpolants = false;
    for (const VarDecl* field : type->structDecl->fields) {
        if (field->type->is(TypeKind::interpolant) && state.stage == Stage::fragment) {
            hasInterpolants = true;
            members.push_back(resourceOperand(inputVariable(state, field, field->type->element), field->type));
            members.back().resource->interpolation =
                field->type->hasPerspective ? ir::Interpolation::perspective : ir::Interpolation::noPerspective;
            continue;
        }
        if (isOpaque(field->type) || field->type->is(TypeKind::struct_)) {
            unsupported(field->location, "a member of type '" + typeName(field->type) + "' in [[stage_in]] is");
            return errorOperand(type);
        }
        const bool isUnseen =
            state.stage == Stage::fragment && findAttribute(field->attributes, "point_size") != nullptr;
        members.push_back(Operand::ofValue(isUnseen ? module_.constantNull(valueType(field->type))
                                                    : inputValue(state, field, field->type),
                                           field->type));
    }
    if (hasInterpolants) {
        Operand result{.kind = Operand::Kind::aggregate, .type = type};
        result.members = module_.arena.copy(members);
        return result;
    }
    std::vector<Value*> parts;
    for (const Operand& member : members)
        parts.push_back(member.value);
    const TypeRef structType = valueType(type);
    return Operand::ofValue(parts.empty() ? module_.constantNull(structType) : builder_.construct(structType, parts),
                            type);
}

// What a buffer parameter stands for: the parameter itself must be a reference or pointer to something that can lie in
// memory. Null, with a message, when it is not.
ir::Variable* Lowering::bufferVariable(const ResourceSlot& slot, TypeRef type, SourceLocation at) {
    const bool isPointer = type->is(TypeKind::pointer);
    if (isOpaque(type->element) && type->space != AddressSpace::threadgroup && !checkAddresses(at)) return nullptr;
    if (type->space == AddressSpace::threadgroup) {
        unsupported(at, "a parameter of type '" + typeName(type) + "' is");
        return nullptr;
    }
    const TypeRef element =
        type->element->is(TypeKind::void_) ? module_.types.scalar(ScalarKind::uchar) : type->element;
    const TypeRef declared = isPointer ? module_.types.array(element, 0) : element;
    // A buffer with unions in it, or with numbers that lie where no device reads them as a whole, is words, seen as
    // what it is said to be.
    const bool isWords = holdsUnion(element) || !isScalarAligned(declared);
    const TypeRef held = isWords ? module_.types.array(module_.types.uint(), 0) : declared;
    ir::Variable* variable = module_.newVariable(ir::Variable::Kind::buffer, held, slot.name);
    if (isWords) variable->declared = declared;
    variable->stage = slot.stage;
    variable->space = type->space;
    variable->metalIndex = slot.index;
    variable->argumentBuffer = slot.argumentBuffer;
    variable->isWritable = type->space == AddressSpace::device && !type->pointeeConst;
    variable->isOpen = !isWords && !slot.isValue && endsOpen(element);
    return variable;
}

Access Lowering::bufferAccess(ir::Variable* variable, TypeRef type) {
    ir::Place* place = builder_.place(variable);
    if (variable->declared != nullptr) {
        const Access words = placeAccess(builder_.placeIndex(place, 0U, module_.types.uint()), module_.types.uint());
        const Access view = placeAccess(viewOf(words, type->element), type->element);
        return type->is(TypeKind::pointer) ? heldAccess(pointerTo(view, type)) : view;
    }
    if (!type->is(TypeKind::pointer)) return placeAccess(place, type->element);
    const Access first = placeAccess(builder_.placeIndex(place, 0U, variable->type->element), type->element);
    return heldAccess(pointerTo(first, type));
}

// A pointer is an array whose length the host sets; a reference has the size of what it refers to.
Access Lowering::threadgroupParameter(EntryState& state, VarDecl* parameter) {
    const TypeRef type = parameter->type;
    const TypeRef held = type->element;
    if (isOpaque(held) || carrierOf(held) != nullptr || !checkStorable(held, parameter->location)) {
        if (!diagnostics_.hasErrors())
            unsupported(parameter->location, "a parameter of type '" + typeName(type) + "' is");
        return errorAccess(type->is(TypeKind::reference) ? held : type);
    }
    const bool isPointer = type->is(TypeKind::pointer);
    ir::Variable* variable = module_.newVariable(ir::Variable::Kind::threadgroup,
                                                 isPointer ? module_.types.array(held, 0) : held, nameOf(parameter));
    variable->metalIndex = numberOf(findAttribute(parameter->attributes, "threadgroup"));
    state.entry->interface->push_back(variable);
    if (!isPointer) countThreadgroupBytes(held, nameOf(parameter), parameter->location);
    return bufferAccess(variable, type);
}

Access Lowering::resourceParameter(EntryState& state, VarDecl* parameter) {
    const TypeRef type = parameter->type;
    if ((type->is(TypeKind::pointer) || type->is(TypeKind::reference)) && type->space == AddressSpace::threadgroup)
        return threadgroupParameter(state, parameter);
    const TypeRef element = type->is(TypeKind::array) ? type->element : type;
    const bool isTexture = element->is(TypeKind::texture);
    const bool isSampler = element->is(TypeKind::sampler);
    const std::uint32_t index = numberOf(findAttribute(parameter->attributes, isTexture   ? "texture"
                                                                              : isSampler ? "sampler"
                                                                                          : "buffer"));
    const ResourceSlot slot{.name = nameOf(parameter), .stage = state.stage, .index = index};
    if (isTexture || isSampler) {
        ir::Variable* variable = resourceVariable(slot, type);
        variable->attribute = module_.arena.copyText(attributeText(parameter->attributes));
        state.entry->interface->push_back(variable);
        return heldAccess(resourceOperand(variable, type));
    }
    const TypeRef result = type->is(TypeKind::reference) ? type->element : type;
    if (type->is(TypeKind::array)) {
        unsupported(parameter->location, "an array of pointers as a parameter is");
        return errorAccess(type);
    }
    if (isArgumentBuffer(type->element)) {
        const Access members = heldAccess(argumentBuffer(*state.entry, parameter, index));
        return type->is(TypeKind::pointer) ? heldAccess(pointerTo(members, type)) : members;
    }
    ir::Variable* variable = bufferVariable(slot, type, parameter->location);
    if (variable == nullptr) return errorAccess(result);
    variable->attribute = module_.arena.copyText(attributeText(parameter->attributes));
    state.entry->interface->push_back(variable);
    return bufferAccess(variable, type);
}

Access Lowering::entryParameter(EntryState& state, VarDecl* parameter) {
    const TypeRef type = parameter->type;
    if (isOpaque(type) && !type->is(TypeKind::struct_)) return resourceParameter(state, parameter);
    if (type->is(TypeKind::struct_)) return heldAccess(stageInput(state, type));
    const bool isAttachment =
        state.stage == Stage::fragment && findAttribute(parameter->attributes, "color") != nullptr;
    if (isOpaque(type) || (!isAttachment && systemName(inputNames(state.stage), parameter->attributes) == nullptr)) {
        unsupported(parameter->location,
                    "the parameter '" + std::string(nameOf(parameter)) + "' of type '" + typeName(type) + "' is");
        return errorAccess(type);
    }
    return heldAccess(Operand::ofValue(inputValue(state, parameter, type), type));
}

void Lowering::storeOutput(EntryState& state, const VarDecl* field, Value* value, TypeRef type,
                           std::span<const Attribute> attributes) {
    const bool isVertex = state.stage == Stage::vertex;
    const SystemName* system =
        isVertex ? systemName(vertexOutputs, attributes) : systemName(fragmentOutputs, attributes);
    const bool isWhole = field == nullptr;
    TypeRef outputType = travelType(module_.types, valueType(type));
    SystemValue systemValue = system != nullptr ? system->value : SystemValue::none;
    if (isWhole && isVertex)
        systemValue = SystemValue::position;
    else if (system != nullptr && system->value != SystemValue::clipDistance)
        outputType = module_.types.vector(system->scalar, system->columns);
    const bool isWrapped = systemValue == SystemValue::sampleMask ||
                           (systemValue == SystemValue::clipDistance && !outputType->is(TypeKind::array));
    ir::Variable* variable =
        module_.newVariable(ir::Variable::Kind::output, isWrapped ? module_.types.array(outputType, 1) : outputType,
                            isWhole ? nameOf(state.function) : nameOf(field));
    variable->attribute = module_.arena.copyText(attributeText(attributes));
    variable->systemValue = systemValue;
    if (systemValue == SystemValue::none) {
        if (isVertex) {
            variable->location = locationFor(varyingName(field), outputType);
            setInterpolation(*variable, attributes, outputType);
        } else {
            variable->location = numberOf(findAttribute(attributes, "color"));
            variable->index = numberOf(findAttribute(attributes, "index"));
        }
    } else {
        variable->isInvariant = findAttribute(attributes, "invariant") != nullptr;
        state.entry->usesDepthOutput = state.entry->usesDepthOutput || systemValue == SystemValue::fragDepth;
    }
    if (const ir::Variable* rival = rivalOf(*state.entry->interface, *variable))
        reportRivals(isWhole ? state.function->location : field->location, *variable, *rival);
    state.entry->interface->push_back(variable);
    ir::Place* place = builder_.place(variable);
    if (isWrapped) place = builder_.placeIndex(place, 0U, outputType);
    builder_.store(place, outputType->isNumeric() ? convertValue(outputType, value) : value);
}

void Lowering::storeOutputs(EntryState& state, Value* result) {
    const TypeRef type = state.function->returnType;
    if (type->is(TypeKind::void_) || state.stage == Stage::kernel) return;
    if (!type->is(TypeKind::struct_)) {
        storeOutput(state, nullptr, result, type, state.function->attributes);
        return;
    }
    const auto fields = type->structDecl->fields;
    for (std::uint32_t i = 0; i < fields.size(); ++i) {
        if (isOpaque(fields[i]->type) || fields[i]->type->is(TypeKind::struct_)) {
            unsupported(fields[i]->location, "a member of type '" + typeName(fields[i]->type) + "' as an output is");
            continue;
        }
        storeOutput(state, fields[i], builder_.extract(result, i), fields[i]->type, fields[i]->attributes);
    }
}

void Lowering::entry(FunctionDecl* function) {
    EntryState state;
    state.function = function;
    state.stage = function->stage == EntryStage::vertex     ? Stage::vertex
                  : function->stage == EntryStage::fragment ? Stage::fragment
                                                            : Stage::kernel;
    const std::string_view name = entryName(function, nameOf(function));
    if (std::ranges::find(module_.entries, name, &ir::Entry::name) != module_.entries.end())
        diagnostics_.error(function->location, "there is an entry point named '" + std::string(name) + "' already");
    constexpr std::size_t longestName = 32'767; // it shares an instruction with what the function uses
    if (name.size() > longestName)
        diagnostics_.error(function->location, "the name of an entry point has " + std::to_string(name.size()) +
                                                   " letters, and at most " + std::to_string(longestName) +
                                                   " are possible");
    state.entry = module_.newEntry(name, state.stage);
    state.entry->earlyFragmentTests = findAttribute(function->attributes, "early_fragment_tests") != nullptr;
    ir::Function* wrapper = module_.newFunction(nameOf(function), module_.types.void_());
    state.entry->function = wrapper;
    Context context;
    context.function = wrapper;
    context.decl = function;
    context_ = &context;
    threadgroupBytes_ = 0;
    builder_.block = wrapper->body;
    builder_.location = function->location;
    std::vector<Access> arguments;
    arguments.reserve(function->parameters.size());
    for (VarDecl* parameter : function->parameters)
        arguments.push_back(entryParameter(state, parameter));
    const Operand result = callWith(function, arguments, nullptr, function->location);
    builder_.location = function->location;
    if (result.kind == Operand::Kind::value) storeOutputs(state, result.value);
    builder_.return_();
    state.entry->threadgroupBytes = threadgroupBytes_;
    checkNeeds(wrapper, state.stage);
    removeUnused(wrapper, 0, context.hasRepeats);
    module_.functions.push_back(wrapper);
    context_ = nullptr;
}

} // namespace msl
