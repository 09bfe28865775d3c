// Textures and samplers: a method of a texture becomes one texture instruction whose operands are named by what they
// are for. What the language lets a sample leave open is settled here: the level outside of fragment functions, pixel
// coordinates, the least level of detail.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lower/Lowering.h"
#include "MSL/types/TextureTraits.h"

#include <algorithm>
#include <utility>

namespace msl {

using ir::Op;
using ir::TextureOperand;
using ir::Value;

namespace {

constexpr std::uint32_t maxConstexprSamplers = inputAttachmentBindingBase - constexprSamplerBindingBase;

bool isOption(const Expr* argument) {
    return argument->kind == ExprKind::call &&
           builtinFamily(static_cast<const Call*>(argument)->builtin) == BuiltinFamily::sampleOption;
}

bool isWritableAccess(TextureAccess access) {
    return access == TextureAccess::write || access == TextureAccess::readWrite;
}

} // namespace

// What a method of a texture is called with: gathered from the call first, then finished for each texture and sampler
// that it may mean.
struct Lowering::TextureCall {
    BuiltinId builtin = BuiltinId::none;
    TypeRef texture = nullptr;
    ir::Place* place = nullptr;
    ir::Variable* sampler = nullptr;
    Value* leastLevel = nullptr; // of min_lod_clamp
    bool isFragment = false;
    bool isPixelAddressed = false; // the sampler's coordinates count texels
    bool isNearest = false;

    bool isGather() const { return builtin == BuiltinId::textureGather || builtin == BuiltinId::textureGatherCompare; }
    bool isSample() const { return builtin == BuiltinId::textureSample || builtin == BuiltinId::textureSampleCompare; }
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
    if (operand.kind == Operand::Kind::resource || operand.kind == Operand::Kind::choice) return operand;
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

void Lowering::bindSampler(TextureCall& made, const Operand& sampler, SourceLocation at) {
    if (sampler.resource->isConstexprSampler) {
        made.sampler = constexprSampler(*sampler.resource, made.place->root->stage, at);
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

// The arguments that a method is called with, each with the parameter that it is for. Sema has given every argument its
// parameter's type; one that is left out shows by the type of the next.
void Lowering::eachArgument(const Call& call, TypeRef texture,
                            const std::function<void(TextureSlot slot, const Expr* argument)>& visit) {
    const TextureMethod* method = findTextureMethod(call.builtin);
    std::size_t next = 0;
    for (const auto& [slot, name] : method->parameters) {
        if (!hasSlot(texture->textureShape, slot)) continue;
        if (slot == TextureSlot::options) {
            while (next < call.arguments.size() && isOption(call.arguments[next]))
                visit(slot, call.arguments[next++]);
            continue;
        }
        if (next == call.arguments.size()) break;
        if (isOptional(slot) && call.arguments[next]->type != slotType(module_.types, slot, texture)) continue;
        visit(slot, call.arguments[next++]);
    }
}

void Lowering::sampleOperands(TextureCall& made, const Call& call) {
    eachArgument(call, made.texture, [&](TextureSlot slot, const Expr* argument) {
        switch (slot) {
        case TextureSlot::coordinate: made.add(TextureOperand::coordinate, value(argument)); break;
        case TextureSlot::arrayIndex: made.add(TextureOperand::arrayIndex, value(argument)); break;
        case TextureSlot::comparison: made.add(TextureOperand::compare, value(argument)); break;
        case TextureSlot::options: sampleOption(made, static_cast<const Call&>(*argument)); break;
        case TextureSlot::offset: sampleOffset(made, *argument); break;
        case TextureSlot::component: {
            Value* component = value(argument);
            if (component->isConstant())
                made.add(TextureOperand::component, component);
            else
                diagnostics_.error(argument->location, "the component that is gathered must be a constant");
            break;
        }
        default: break; // the sampler
        }
    });
}

void Lowering::sampleOption(TextureCall& made, const Call& option) {
    Value* first = value(option.arguments[0]);
    switch (option.builtin) {
    case BuiltinId::optionLevel: made.set(TextureOperand::level, first); break;
    case BuiltinId::optionBias: made.set(TextureOperand::bias, first); break;
    case BuiltinId::optionMinLodClamp: made.leastLevel = first; break;
    default:
        made.set(TextureOperand::gradientX, first);
        made.set(TextureOperand::gradientY, value(option.arguments[1]));
        break;
    }
}

void Lowering::sampleOffset(TextureCall& made, const Expr& argument) {
    Value* offset = value(&argument);
    if (!offset->isConstant() && made.isGather()) {
        Value* limits[] = {offset, builder_.splat(offset->type, module_.constantInt(module_.types.int_(), -8)),
                           builder_.splat(offset->type, module_.constantInt(module_.types.int_(), 7))};
        made.add(TextureOperand::offset, builder_.builtin(BuiltinId::clamp, offset->type, limits));
        return;
    }
    if (!offset->isConstant()) {
        diagnostics_.error(argument.location, "the offset of a sample must be a constant");
        return;
    }
    const unsigned count = offset->type->columns;
    bool isInRange = true;
    bool isZero = true;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::int64_t part = ir::Module::intValue(count == 1 ? offset : module_.constantPart(offset, i));
        isInRange = isInRange && part >= -8 && part <= 7;
        isZero = isZero && part == 0;
    }
    if (!isInRange) diagnostics_.error(argument.location, "the offset of a sample must lie between -8 and 7");
    if (isInRange && !isZero) made.add(TextureOperand::offset, offset);
}

// Which of several textures is sampled may differ between neighbours, so their coordinates are compared before it is
// asked which it is.
void Lowering::takeGradients(TextureCall& made) {
    if (!made.isSample() || !made.isFragment || made.find(TextureOperand::level) != nullptr ||
        made.find(TextureOperand::gradientX) != nullptr)
        return;
    Value* coordinate = made.find(TextureOperand::coordinate);
    Value* gradients[] = {builder_.builtin(BuiltinId::dfdx, coordinate->type, {&coordinate, 1}),
                          builder_.builtin(BuiltinId::dfdy, coordinate->type, {&coordinate, 1})};
    if (Value* bias = made.find(TextureOperand::bias)) {
        Value* factor = builder_.builtin(BuiltinId::exp2, bias->type, {&bias, 1});
        if (coordinate->type->isVector()) factor = builder_.splat(coordinate->type, factor);
        for (Value*& gradient : gradients)
            gradient = builder_.binary(Op::mul, coordinate->type, gradient, factor);
        made.remove(TextureOperand::bias);
    }
    made.add(TextureOperand::gradientX, gradients[0]);
    made.add(TextureOperand::gradientY, gradients[1]);
}

// What depends on the texture and the sampler that are meant.
void Lowering::finishSample(TextureCall& made) {
    if (made.isPixelAddressed) {
        Value* coordinate = made.find(TextureOperand::coordinate);
        const TypeRef type = coordinate->type;
        Value* size = textureSize(made, type->columns);
        for (const TextureOperand role : {TextureOperand::gradientX, TextureOperand::gradientY})
            if (Value* gradient = made.find(role)) made.set(role, builder_.binary(Op::div, type, gradient, size));
        if (made.isNearest) {
            coordinate = builder_.builtin(BuiltinId::floor, type, {&coordinate, 1});
            coordinate = builder_.binary(Op::add, type, coordinate, module_.constantFloat(type, 0.5));
        }
        made.set(TextureOperand::coordinate, builder_.binary(Op::div, type, coordinate, size));
    }
    if (made.isGather()) return;
    if (made.leastLevel != nullptr) clampLevel(made, made.leastLevel);
    // Only fragment functions have neighbours to take a level from.
    if (!made.isFragment && made.find(TextureOperand::level) == nullptr &&
        made.find(TextureOperand::gradientX) == nullptr) {
        Value* bias = made.find(TextureOperand::bias);
        made.remove(TextureOperand::bias);
        made.add(TextureOperand::level, bias != nullptr ? bias : module_.constantFloat(module_.types.float_(), 0));
    }
}

bool Lowering::texelOperands(TextureCall& made, const Call& call) {
    Value* level = nullptr;
    eachArgument(call, made.texture, [&](TextureSlot slot, const Expr* argument) {
        switch (slot) {
        case TextureSlot::value: made.add(TextureOperand::texel, value(argument)); break;
        case TextureSlot::texel: made.add(TextureOperand::coordinate, value(argument)); break;
        case TextureSlot::face: made.add(TextureOperand::face, value(argument)); break;
        case TextureSlot::arrayIndex: made.add(TextureOperand::arrayIndex, value(argument)); break;
        case TextureSlot::sample: made.add(TextureOperand::sample, value(argument)); break;
        case TextureSlot::level: level = value(argument); break;
        default: break;
        }
    });
    if (textureTraits(made.texture->textureShape).isMultisample) return true;
    if (isReachedAsMemory(made.texture) || made.texture->textureShape == TextureShape::buffer) {
        if (level == nullptr || (level->isConstant() && level->bits == 0)) return true;
        unsupported(call.location, "another level than 0 of a texture that is written is");
        return false;
    }
    made.add(TextureOperand::level, level != nullptr ? level : module_.constantInt(module_.types.uint(), 0));
    return true;
}

void Lowering::finishRead(TextureCall& made, SourceLocation at) {
    Value* level = made.find(TextureOperand::level);
    if (level == nullptr) return;
    if (!level->isConstant() || level->bits != 0) { // no device promises anything for a level that is not there
        const TypeRef type = module_.types.uint();
        Value* count = builder_.textureBuiltin(BuiltinId::textureMipLevels, type, made.place, nullptr, {}, {});
        Value* last = builder_.binary(Op::sub, type, count, module_.constantInt(type, 1));
        Value* both[] = {level, last};
        made.set(TextureOperand::level, builder_.builtin(BuiltinId::min, type, both));
    }
    if (textureTraits(made.texture->textureShape).isCube) sampleCubeTexel(made, at);
}

// No instruction reads a texel of a cube that is sampled: it is sampled without a filter, in the direction that leads
// through the texel's middle.
void Lowering::sampleCubeTexel(TextureCall& made, SourceLocation at) {
    const TypeRef type = module_.types.float_();
    const TypeRef pair = module_.types.vector(ScalarKind::float_, 2);
    Value* level = made.find(TextureOperand::level);
    const TextureOperand roles[] = {TextureOperand::level};
    Value* size = builder_.convert(type, builder_.textureBuiltin(BuiltinId::textureWidth, module_.types.uint(),
                                                                 made.place, nullptr, {&level, 1}, roles));
    // From -1 to 1 over the face.
    Value* middle = builder_.binary(Op::add, pair, builder_.convert(pair, made.find(TextureOperand::coordinate)),
                                    module_.constantFloat(pair, 0.5));
    Value* onFace = builder_.binary(Op::div, pair, middle, builder_.splat(pair, size));
    onFace =
        builder_.binary(Op::sub, pair, builder_.binary(Op::add, pair, onFace, onFace), module_.constantFloat(pair, 1));
    Value* s = builder_.extract(onFace, 0U);
    Value* t = builder_.extract(onFace, 1);
    Value* minusS = builder_.unary(Op::neg, s);
    Value* minusT = builder_.unary(Op::neg, t);
    Value* one = module_.constantFloat(type, 1);
    Value* minusOne = module_.constantFloat(type, -1);
    // The faces stand in the order +x, -x, +y, -y, +z, -z.
    Value* const directions[3][6] = {{one, minusOne, s, s, s, minusS},
                                     {minusT, minusT, one, minusOne, minusT, minusT},
                                     {minusS, s, t, minusT, one, minusOne}};
    Value* face = made.find(TextureOperand::face);
    Value* parts[3] = {};
    for (unsigned part = 0; part < 3; ++part) {
        parts[part] = directions[part][5];
        for (int i = 4; i >= 0; --i)
            parts[part] = builder_.select(
                builder_.binary(Op::equal, module_.types.bool_(), face, module_.constantInt(face->type, i)),
                directions[part][i], parts[part]);
    }
    made.set(TextureOperand::coordinate, builder_.construct(module_.types.vector(ScalarKind::float_, 3), parts));
    made.set(TextureOperand::level, builder_.convert(type, level));
    made.remove(TextureOperand::face);
    ir::Variable unfiltered;
    unfiltered.type = module_.types.sampler();
    unfiltered.name = "texels";
    unfiltered.samplerState.mipFilter = SamplerState::MipFilter::nearest;
    made.sampler = constexprSampler(unfiltered, made.place->root->stage, at);
    made.builtin = BuiltinId::textureSample;
}

Operand Lowering::callTexture(const Call& call) {
    const Operand texture = resourceOf(call.object, call.objectIsPointer);
    if (texture.kind == Operand::Kind::nothing) return errorOperand(call.type);
    TextureCall given;
    given.builtin = call.builtin;
    given.texture = texture.type;
    const Operand& first = texture.kind == Operand::Kind::choice ? texture.members[0] : texture;
    given.isFragment = first.resource->stage == Stage::fragment;
    const bool isStorage = isReachedAsMemory(given.texture);
    Operand sampler;
    switch (call.builtin) {
    case BuiltinId::textureSample:
    case BuiltinId::textureSampleCompare:
    case BuiltinId::textureGather:
    case BuiltinId::textureGatherCompare:
        sampler = resourceOf(call.arguments[0], false);
        if (sampler.kind == Operand::Kind::nothing) return errorOperand(call.type);
        sampleOperands(given, call);
        if (texture.kind == Operand::Kind::choice || sampler.kind == Operand::Kind::choice) takeGradients(given);
        break;
    case BuiltinId::textureCalculateLod:
    case BuiltinId::textureCalculateUnclampedLod:
        if (!given.isFragment) {
            unsupported(call.location, "asking for a level of detail outside of a fragment function is");
            return errorOperand(call.type);
        }
        sampler = resourceOf(call.arguments[0], false);
        if (sampler.kind == Operand::Kind::nothing) return errorOperand(call.type);
        given.add(TextureOperand::coordinate, value(call.arguments[1]));
        break;
    case BuiltinId::textureRead:
    case BuiltinId::textureWrite:
        if (!texelOperands(given, call)) return errorOperand(call.type);
        break;
    case BuiltinId::textureMipLevels:
        // What is bound for writing is one level of a texture.
        if (isStorage || textureTraits(given.texture->textureShape).isMultisample)
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
            if (!isStorage) given.add(TextureOperand::level, level);
        }
        break;
    default: break;
    }
    builder_.location = call.location;
    const TypeRef type = call.type->is(TypeKind::void_) ? call.type : valueType(call.type);
    const auto make = [&](TextureCall made, const Operand& one, const Operand& with) {
        made.place = texturePlace(one);
        if (with.kind == Operand::Kind::resource) bindSampler(made, with, call.location);
        if (made.isSample() || made.isGather()) finishSample(made);
        if (made.builtin == BuiltinId::textureRead) finishRead(made, call.location);
        return builder_.textureBuiltin(made.builtin, type, made.place, made.sampler, made.operands, made.roles);
    };
    const bool isChoice = texture.kind == Operand::Kind::choice || sampler.kind == Operand::Kind::choice;
    Value* result =
        !isChoice ? make(std::move(given), texture, sampler) : forWhatItIs(texture, type, [&](const Operand& one) {
            return forWhatItIs(sampler, type, [&](const Operand& with) { return make(given, one, with); });
        });
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
