// Textures and samplers: a method of a texture becomes one texture instruction whose operands are named by what they
// are for. What the language lets a sample leave open is settled here: the level outside of fragment functions, pixel
// coordinates, the least level of detail.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lower/Lowering.h"
#include "MSL/types/TextureTraits.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::TextureOperand;
using ir::Value;

namespace {

constexpr std::uint32_t maxConstexprSamplers = argumentBufferBindingBase - constexprSamplerBindingBase;

bool isOption(BuiltinId id) {
    return builtinFamily(id) == BuiltinFamily::sampleOption;
}

bool isWritableAccess(TextureAccess access) {
    return access == TextureAccess::write || access == TextureAccess::readWrite;
}

} // namespace

// What a method of a texture is called with, gathered before the instruction is made.
struct Lowering::TextureCall {
    TypeRef texture = nullptr;
    ir::Place* place = nullptr;
    ir::Variable* sampler = nullptr;
    bool isFragment = false;
    bool isPixelAddressed = false; // the sampler's coordinates count texels
    bool isNearest = false;
    std::vector<Value*> operands;
    std::vector<TextureOperand> roles;

    void add(TextureOperand role, Value* value) {
        operands.push_back(value);
        roles.push_back(role);
    }
    Value* find(TextureOperand role) const {
        const auto at = std::ranges::find(roles, role);
        return at == roles.end() ? nullptr : operands[static_cast<std::size_t>(at - roles.begin())];
    }
    void set(TextureOperand role, Value* value) {
        const auto at = std::ranges::find(roles, role);
        if (at == roles.end())
            add(role, value);
        else
            operands[static_cast<std::size_t>(at - roles.begin())] = value;
    }
    void remove(TextureOperand role) {
        const auto at = std::ranges::find(roles, role);
        if (at == roles.end()) return;
        operands.erase(operands.begin() + (at - roles.begin()));
        roles.erase(at);
    }
};

// The texture or sampler that an expression stands for; nothing, with a message, when it stands for none.
Operand Lowering::resourceOf(const Expr* object, bool isPointer) {
    const Access access =
        isPointer ? dereference(rvalue(object), object->type->element, object->location) : lvalue(object);
    const Operand operand = load(access, object->location);
    if (operand.kind == Operand::Kind::resource) return operand;
    if (!diagnostics_.hasErrors())
        diagnostics_.error(object->location,
                           "this " + std::string(object->type->is(TypeKind::sampler) ? "sampler" : "texture") +
                               " does not stand for an argument of an entry point");
    return {};
}

ir::Place* Lowering::texturePlace(const Operand& texture) {
    ir::Place* place = builder_.place(texture.resource);
    return texture.value != nullptr ? builder_.placeIndex(place, texture.value, texture.type) : place;
}

// A constexpr sampler is made once for the textures of each stage, so that a writer can keep it beside them. Pixel
// coordinates are translated, so the sampler itself always takes normalised ones.
ir::Variable* Lowering::constexprSampler(const ir::Variable& written, Stage stage, SourceLocation at) {
    SamplerState state = written.samplerState;
    state.normalizedCoordinates = true;
    std::uint32_t count = 0;
    for (ir::Variable* known : constexprSamplers_) {
        if (known->stage != stage) continue;
        if (known->samplerState == state) return known;
        ++count;
    }
    if (count == maxConstexprSamplers) diagnostics_.error(at, "too many constexpr samplers");
    ir::Variable* sampler = module_.newVariable(ir::Variable::Kind::sampler, written.type, written.name);
    sampler->isConstexprSampler = true;
    sampler->samplerState = state;
    sampler->stage = stage;
    constexprSamplers_.push_back(sampler);
    return sampler;
}

void Lowering::addSampler(TextureCall& made, const Expr* expr) {
    const Operand sampler = resourceOf(expr, false);
    if (sampler.kind != Operand::Kind::resource) return;
    if (sampler.resource->isConstexprSampler) {
        made.sampler = constexprSampler(*sampler.resource, made.place->root->stage, expr->location);
        made.isPixelAddressed = !sampler.resource->samplerState.normalizedCoordinates;
        made.isNearest = sampler.resource->samplerState.magFilter == SamplerState::Filter::nearest;
        return;
    }
    made.sampler = sampler.resource;
    if (sampler.value == nullptr) return;
    Value* index = sampler.value;
    const auto last = static_cast<std::int64_t>(sampler.resource->type->count) - 1;
    if (!index->isConstant() || ir::Module::intValue(index) < 0 || ir::Module::intValue(index) > last) {
        Value* operands[] = {builder_.convert(module_.types.uint(), index),
                             module_.constantInt(module_.types.uint(), last)};
        index = builder_.builtin(BuiltinId::min, module_.types.uint(), operands);
    }
    made.add(TextureOperand::samplerIndex, builder_.convert(module_.types.uint(), index));
}

// The size of level 0 as floats, one component per dimension.
Value* Lowering::textureSize(const TextureCall& made, unsigned dimensions) {
    static constexpr BuiltinId queries[] = {BuiltinId::textureWidth, BuiltinId::textureHeight, BuiltinId::textureDepth};
    Value* parts[3] = {};
    for (unsigned i = 0; i < dimensions; ++i)
        parts[i] = builder_.convert(module_.types.float_(), builder_.textureBuiltin(queries[i], module_.types.uint(),
                                                                                    made.place, nullptr, {}, {}));
    return dimensions == 1
               ? parts[0]
               : builder_.construct(module_.types.vector(ScalarKind::float_, dimensions), {parts, dimensions});
}

// No level finer than the clamp: the level that the sample would choose is computed and given to it.
void Lowering::clampLevel(TextureCall& made, Value* least) {
    const TypeRef type = module_.types.float_();
    Value* level = made.find(TextureOperand::level);
    if (Value* gradientX = made.find(TextureOperand::gradientX)) {
        const unsigned dimensions = gradientX->type->columns;
        Value* size = textureSize(made, std::min(dimensions, textureTraits(made.texture->textureShape).readDimensions));
        if (size->type != gradientX->type) { // a cube: its faces are square, and a direction spans two of them
            Value* parts[3] = {builder_.extract(size, 0), builder_.extract(size, 0), builder_.extract(size, 0)};
            size = builder_.construct(gradientX->type, parts);
        }
        Value* lengths[2] = {};
        Value* gradients[2] = {gradientX, made.find(TextureOperand::gradientY)};
        for (unsigned i = 0; i < 2; ++i) {
            Value* texels = builder_.binary(Op::mul, size->type, gradients[i], size);
            lengths[i] =
                builder_.builtin(texels->type->isVector() ? BuiltinId::length : BuiltinId::abs, type, {&texels, 1});
        }
        Value* longest = builder_.builtin(BuiltinId::max, type, lengths);
        level = builder_.builtin(BuiltinId::log2, type, {&longest, 1});
        made.remove(TextureOperand::gradientX);
        made.remove(TextureOperand::gradientY);
    } else if (level == nullptr && made.isFragment) {
        const TextureOperand roles[] = {TextureOperand::coordinate};
        Value* coordinate = made.find(TextureOperand::coordinate);
        level = builder_.textureBuiltin(BuiltinId::textureCalculateUnclampedLod, type, made.place, made.sampler,
                                        {&coordinate, 1}, roles);
        if (Value* bias = made.find(TextureOperand::bias)) level = builder_.binary(Op::add, type, level, bias);
        made.remove(TextureOperand::bias);
    }
    Value* both[] = {level != nullptr ? level : module_.constantFloat(type, 0), least};
    made.set(TextureOperand::level, builder_.builtin(BuiltinId::max, type, both));
}

void Lowering::sampleOperands(TextureCall& made, const Call& call) {
    const TextureTraits shape = textureTraits(made.texture->textureShape);
    const bool isCompare =
        call.builtin == BuiltinId::textureSampleCompare || call.builtin == BuiltinId::textureGatherCompare;
    const bool isGather = call.builtin == BuiltinId::textureGather || call.builtin == BuiltinId::textureGatherCompare;
    std::size_t next = 1; // the sampler is first
    Value* coordinate = value(call.arguments[next++]);
    if (made.isPixelAddressed) {
        if (made.isNearest) {
            coordinate = builder_.builtin(BuiltinId::floor, coordinate->type, {&coordinate, 1});
            coordinate =
                builder_.binary(Op::add, coordinate->type, coordinate, module_.constantFloat(coordinate->type, 0.5));
        }
        coordinate =
            builder_.binary(Op::div, coordinate->type, coordinate, textureSize(made, coordinate->type->columns));
    }
    made.add(TextureOperand::coordinate, coordinate);
    if (shape.isArray) made.add(TextureOperand::arrayIndex, value(call.arguments[next++]));
    if (isCompare) made.add(TextureOperand::compare, value(call.arguments[next++]));
    Value* least = nullptr;
    for (; next < call.arguments.size(); ++next) {
        const Expr* argument = call.arguments[next];
        const auto* option = argument->kind == ExprKind::call ? static_cast<const Call*>(argument) : nullptr;
        if (option != nullptr && isOption(option->builtin)) {
            Value* first = value(option->arguments[0]);
            switch (option->builtin) {
            case BuiltinId::optionLevel: made.set(TextureOperand::level, first); break;
            case BuiltinId::optionBias: made.set(TextureOperand::bias, first); break;
            case BuiltinId::optionMinLodClamp: least = first; break;
            default:
                made.set(TextureOperand::gradientX, first);
                made.set(TextureOperand::gradientY, value(option->arguments[1]));
                break;
            }
            continue;
        }
        Value* given = value(argument);
        const bool isComponent = isGather && given->type->isScalar();
        if (!given->isConstant() && isGather && !isComponent) {
            Value* limits[] = {given, builder_.splat(given->type, module_.constantInt(module_.types.int_(), -8)),
                               builder_.splat(given->type, module_.constantInt(module_.types.int_(), 7))};
            made.add(TextureOperand::offset, builder_.builtin(BuiltinId::clamp, given->type, limits));
            continue;
        }
        if (!given->isConstant()) {
            diagnostics_.error(argument->location, isComponent ? "the component that is gathered must be a constant"
                                                               : "the offset of a sample must be a constant");
            continue;
        }
        if (!isComponent) {
            const unsigned count = given->type->columns;
            bool isInRange = true;
            bool isZero = true;
            for (std::uint32_t i = 0; i < count; ++i) {
                const std::int64_t part = ir::Module::intValue(count == 1 ? given : module_.constantPart(given, i));
                isInRange = isInRange && part >= -8 && part <= 7;
                isZero = isZero && part == 0;
            }
            if (!isInRange) diagnostics_.error(argument->location, "the offset of a sample must lie between -8 and 7");
            if (!isInRange || isZero) continue;
        }
        made.add(isComponent ? TextureOperand::component : TextureOperand::offset, given);
    }
    if (isGather) return;
    if (least != nullptr) clampLevel(made, least);
    // Only fragment functions have neighbours to take a level from.
    if (!made.isFragment && made.find(TextureOperand::level) == nullptr &&
        made.find(TextureOperand::gradientX) == nullptr) {
        Value* bias = made.find(TextureOperand::bias);
        made.remove(TextureOperand::bias);
        made.add(TextureOperand::level, bias != nullptr ? bias : module_.constantFloat(module_.types.float_(), 0));
    }
}

bool Lowering::texelOperands(TextureCall& made, const Call& call) {
    const TextureTraits shape = textureTraits(made.texture->textureShape);
    const bool isStorage = isReachedAsMemory(made.texture);
    std::size_t next = 0;
    if (call.builtin == BuiltinId::textureWrite) made.add(TextureOperand::texel, value(call.arguments[next++]));
    if (shape.isCube && !isStorage) {
        unsupported(call.location,
                    "reading single texels of a cube texture that is sampled (access::read allows it) is");
        return false;
    }
    made.add(TextureOperand::coordinate, value(call.arguments[next++]));
    if (shape.isCube) made.add(TextureOperand::face, value(call.arguments[next++]));
    if (shape.isArray) made.add(TextureOperand::arrayIndex, value(call.arguments[next++]));
    if (shape.isMultisample) {
        made.add(TextureOperand::sample, value(call.arguments[next++]));
        return true;
    }
    Value* level = next < call.arguments.size() ? value(call.arguments[next]) : nullptr;
    const bool isFirst = level == nullptr || (level->isConstant() && level->bits == 0);
    if (isStorage || made.texture->textureShape == TextureShape::buffer) {
        if (isFirst) return true;
        unsupported(call.location, "another level than 0 of a texture that is written is");
        return false;
    }
    const TypeRef type = module_.types.uint();
    if (isFirst) {
        made.add(TextureOperand::level, module_.constantInt(type, 0));
        return true;
    }
    // No device promises anything for a level that is not there.
    Value* count = builder_.textureBuiltin(BuiltinId::textureMipLevels, type, made.place, nullptr, {}, {});
    Value* last = builder_.binary(Op::sub, type, count, module_.constantInt(type, 1));
    Value* both[] = {level, last};
    made.add(TextureOperand::level, builder_.builtin(BuiltinId::min, type, both));
    return true;
}

Operand Lowering::callTexture(const Call& call) {
    const Operand texture = resourceOf(call.object, call.objectIsPointer);
    if (texture.kind != Operand::Kind::resource) return errorOperand(call.type);
    TextureCall made;
    made.texture = texture.type;
    made.place = texturePlace(texture);
    made.isFragment = texture.resource->stage == Stage::fragment;
    const bool isStorage = isReachedAsMemory(made.texture);
    switch (call.builtin) {
    case BuiltinId::textureSample:
    case BuiltinId::textureSampleCompare:
    case BuiltinId::textureGather:
    case BuiltinId::textureGatherCompare:
        addSampler(made, call.arguments[0]);
        sampleOperands(made, call);
        break;
    case BuiltinId::textureCalculateLod:
    case BuiltinId::textureCalculateUnclampedLod:
        if (!made.isFragment) {
            unsupported(call.location, "asking for a level of detail outside of a fragment function is");
            return errorOperand(call.type);
        }
        addSampler(made, call.arguments[0]);
        made.add(TextureOperand::coordinate, value(call.arguments[1]));
        break;
    case BuiltinId::textureRead:
    case BuiltinId::textureWrite:
        if (!texelOperands(made, call)) return errorOperand(call.type);
        break;
    case BuiltinId::textureMipLevels:
        // What is bound for writing is one level of a texture.
        if (isStorage || textureTraits(made.texture->textureShape).isMultisample)
            return Operand::ofValue(module_.constantInt(module_.types.uint(), 1), call.type);
        break;
    case BuiltinId::textureWidth:
    case BuiltinId::textureHeight:
    case BuiltinId::textureDepth:
        if (!call.arguments.empty()) {
            Value* level = value(call.arguments[0]);
            if (isStorage && (!level->isConstant() || level->bits != 0)) {
                unsupported(call.location, "another level than 0 of a texture that is written is");
                return errorOperand(call.type);
            }
            if (!isStorage) made.add(TextureOperand::level, level);
        }
        break;
    default: break;
    }
    builder_.location = call.location;
    const TypeRef type = call.type->is(TypeKind::void_) ? call.type : valueType(call.type);
    Value* result = builder_.textureBuiltin(call.builtin, type, made.place, made.sampler, made.operands, made.roles);
    return result != nullptr ? Operand::ofValue(result, call.type) : Operand();
}

// -------------------------------------------------------------------------------------- resources of an entry point

ir::Variable* Lowering::resourceVariable(const ResourceSlot& slot, TypeRef type) {
    TypeRef element = type;
    if (element->is(TypeKind::array)) element = element->element;
    const bool isTexture = element->is(TypeKind::texture);
    ir::Variable* variable =
        module_.newVariable(isTexture ? ir::Variable::Kind::texture : ir::Variable::Kind::sampler, type, slot.name);
    variable->stage = slot.stage;
    variable->metalIndex = slot.index;
    variable->argumentBuffer = slot.argumentBuffer;
    if (isTexture) variable->isWritable = isWritableAccess(element->textureAccess);
    return variable;
}

Operand Lowering::resourceOperand(ir::Variable* variable, TypeRef type) {
    Operand operand;
    operand.kind = Operand::Kind::resource;
    operand.type = type;
    operand.resource = variable;
    return operand;
}

// Which constexpr samplers an entry point reaches, for the host that has to make them.
void Lowering::listSamplers() {
    if (constexprSamplers_.empty()) return;
    for (ir::Entry* entry : module_.entries) {
        std::vector<const ir::Function*> seen;
        listSamplers(*entry->function, *entry, seen);
    }
}

void Lowering::listSamplers(const ir::Function& function, ir::Entry& entry, std::vector<const ir::Function*>& seen) {
    if (std::ranges::find(seen, &function) != seen.end()) return;
    seen.push_back(&function);
    const auto look = [&](const auto& self, const ir::Block& block) -> void {
        for (const ir::Instruction* at = block.first; at != nullptr; at = at->next) {
            if (at->op == Op::call) listSamplers(*at->callee, entry, seen);
            if (at->op == Op::builtin)
                for (ir::Variable* variable : at->variables)
                    if (variable->isConstexprSampler &&
                        std::ranges::find(*entry.interface, variable) == entry.interface->end())
                        entry.interface->push_back(variable);
            for (const ir::Block* inner : at->blocks)
                self(self, *inner);
            for (const ir::SwitchCase& one : at->cases)
                self(self, *one.block);
        }
    };
    look(look, *function.body);
}

} // namespace msl
