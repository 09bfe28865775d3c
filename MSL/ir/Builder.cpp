#include "MSL/ir/Fold.h"
#include "MSL/ir/Ir.h"

#include <algorithm>

namespace msl::ir {

Instruction* Builder::emit(Op op, TypeRef resultType, std::span<Value* const> operands) {
    auto* instruction = module.arena.make<Instruction>();
    instruction->op = op;
    instruction->location = location;
    instruction->operands =
        module.arena.copy<Value*>(std::span<Value*>(const_cast<Value**>(operands.data()), operands.size()));
    if (resultType != nullptr && !resultType->is(TypeKind::void_)) {
        instruction->result = module.newValue(Value::Kind::result, resultType);
        instruction->result->definition = instruction;
    }
    block->append(instruction);
    return instruction;
}

// ---------------------------------------------------------------------------------------------------------- memory

Value* Builder::load(Place* place) {
    if (place->root->kind == Variable::Kind::constantTable) {
        Value* constant = place->root->initializer;
        for (const Step& step : place->steps) {
            if (step.value != nullptr && !step.value->isConstant()) {
                constant = nullptr;
                break;
            }
            const std::int64_t number = step.value != nullptr ? Module::intValue(step.value) : step.number;
            if (number < 0 || static_cast<std::uint64_t>(number) >= partCount(constant->type)) {
                constant = nullptr;
                break;
            }
            constant = module.constantPart(constant, static_cast<std::uint32_t>(number));
        }
        if (constant != nullptr) return constant;
    }
    Instruction* instruction = emit(Op::load, valueType(module.types, place->type), {});
    instruction->place = place;
    return instruction->result;
}

void Builder::store(Place* place, Value* value) {
    emit(Op::store, nullptr, {&value, 1})->place = place;
}

Place* Builder::place(Variable* root) {
    auto* place = module.arena.make<Place>();
    place->root = root;
    place->type = root->type;
    return place;
}

static Place* extended(Arena& arena, const Place* base, Step step, TypeRef type) {
    auto* place = arena.make<Place>();
    place->root = base->root;
    place->type = type;
    const std::span<Step> steps = arena.makeArray<Step>(base->steps.size() + 1);
    std::ranges::copy(base->steps, steps.begin());
    steps.back() = step;
    place->steps = steps;
    return place;
}

Place* Builder::placeMember(Place* base, std::uint32_t member, TypeRef type) {
    return extended(module.arena, base, {.kind = Step::Kind::member, .number = member}, type);
}

Place* Builder::placeIndex(Place* base, Value* index, TypeRef type) {
    if (index->isConstant() && Module::intValue(index) >= 0 && Module::intValue(index) <= 0x7FFFFFFF)
        return placeIndex(base, static_cast<std::uint32_t>(Module::intValue(index)), type);
    return extended(module.arena, base, {.kind = Step::Kind::index, .value = index}, type);
}

Place* Builder::placeIndex(Place* base, std::uint32_t index, TypeRef type) {
    return extended(module.arena, base, {.kind = Step::Kind::index, .number = index}, type);
}

Value* Builder::arrayLength(Place* place) {
    Instruction* instruction = emit(Op::arrayLength, module.types.uint(), {});
    instruction->place = place;
    return instruction->result;
}

// ------------------------------------------------------------------------------------------------------ arithmetic

Value* Builder::unary(Op op, Value* operand) {
    if (Value* folded = foldUnary(module, op, operand)) return folded;
    const Instruction* made = operand->definition;
    if (made != nullptr && made->op == op) // --x, !!x, ~~x
        return made->operands[0];
    return emit(op, operand->type, {&operand, 1})->result;
}

// Every component is this number.
static bool isNumber(const Value* value, double number) {
    if (!value->isConstant()) return false;
    if (value->type->isScalar()) return Module::floatValue(value) == number;
    if (!value->type->isVector()) return false;
    if (value->parts.empty()) return number == 0;
    return std::ranges::all_of(value->parts, [&](const Value* part) { return isNumber(part, number); });
}

Value* Builder::binary(Op op, TypeRef resultType, Value* left, Value* right) {
    if (Value* folded = foldBinary(module, op, resultType, left, right)) return folded;
    switch (op) {
    case Op::add:
        if (isNumber(right, 0)) return left;
        if (isNumber(left, 0)) return right;
        break;
    case Op::sub:
    case Op::shl:
    case Op::shr:
        if (isNumber(right, 0)) return left;
        break;
    case Op::mul:
        if (isNumber(right, 1)) return left;
        if (isNumber(left, 1)) return right;
        break;
    case Op::div:
    case Op::vectorTimesScalar:
    case Op::matrixTimesScalar:
        if (isNumber(right, 1)) return left;
        break;
    case Op::logicalAnd:
    case Op::logicalOr: {
        const double neutral = op == Op::logicalAnd ? 1 : 0;
        if (isNumber(right, neutral)) return left;
        if (isNumber(left, neutral)) return right;
        break;
    }
    default: break;
    }
    Value* operands[2] = {left, right};
    return emit(op, resultType, operands)->result;
}

Value* Builder::convert(TypeRef to, Value* value) {
    if (value->type == to) return value;
    if (Value* folded = foldConvert(module, to, value)) return folded;
    return emit(Op::convert, to, {&value, 1})->result;
}

Value* Builder::bitcast(TypeRef to, Value* value) {
    if (value->type == to) return value;
    if (Value* folded = foldBitcast(module, to, value)) return folded;
    return emit(Op::bitcast, to, {&value, 1})->result;
}

// ------------------------------------------------------------------------------------------------------ composites

Value* Builder::construct(TypeRef type, std::span<Value* const> parts) {
    if (parts.size() == 1 && parts[0]->type == type) return parts[0];
    if (std::ranges::all_of(parts, [](const Value* part) { return part->isConstant(); })) {
        if (!type->isVector()) return module.constantComposite(type, parts);
        Value* scalars[4] = {};
        unsigned count = 0;
        for (const Value* part : parts) {
            const unsigned width = part->type->isVector() ? part->type->columns : 1;
            for (unsigned i = 0; i < width && count < 4; ++i)
                scalars[count++] = part->type->isVector() ? module.constantPart(part, i) : const_cast<Value*>(part);
        }
        return module.constantComposite(type, {scalars, count});
    }
    return emit(Op::construct, type, parts)->result;
}

Value* Builder::splat(TypeRef vector, Value* scalar) {
    Value* parts[4] = {scalar, scalar, scalar, scalar};
    return construct(vector, {parts, vector->columns});
}

// The part of a value that was put together before our eyes; null when it must be taken out by an instruction.
static Value* knownPart(Module& module, Value* composite, std::uint32_t index, Value*& source,
                        std::uint32_t& sourceIndex) {
    source = nullptr;
    if (composite->isConstant()) return module.constantPart(composite, index);
    const Instruction* made = composite->definition;
    if (made == nullptr) return nullptr;
    if (made->op == Op::construct) {
        if (!composite->type->isVector()) return index < made->operands.size() ? made->operands[index] : nullptr;
        std::uint32_t at = 0;
        for (Value* part : made->operands) {
            const std::uint32_t width = part->type->isVector() ? part->type->columns : 1;
            if (index < at + width) {
                if (width == 1) return part;
                source = part;
                sourceIndex = index - at;
                return nullptr;
            }
            at += width;
        }
    } else if (made->op == Op::shuffle && index < made->indices.size()) {
        const std::uint32_t width = made->operands[0]->type->columns;
        const std::uint32_t chosen = made->indices[index];
        source = chosen < width ? made->operands[0] : made->operands[1];
        sourceIndex = chosen < width ? chosen : chosen - width;
    } else if (made->op == Op::insert && made->indices.size() == 1) {
        if (made->indices[0] == index) return made->operands[1];
        source = made->operands[0];
        sourceIndex = index;
    }
    return nullptr;
}

Value* Builder::extract(Value* composite, std::span<const std::uint32_t> path) {
    while (!path.empty()) {
        Value* source = nullptr;
        std::uint32_t sourceIndex = 0;
        Value* part = knownPart(module, composite, path[0], source, sourceIndex);
        if (part != nullptr) {
            composite = part;
            path = path.subspan(1);
        } else if (source != nullptr) {
            if (path.size() == 1) return extract(source, sourceIndex);
            composite = extract(source, sourceIndex);
            path = path.subspan(1);
        } else {
            break;
        }
    }
    if (path.empty()) return composite;
    TypeRef type = composite->type;
    for (const std::uint32_t index : path)
        type = partType(module.types, type, index);
    Instruction* instruction = emit(Op::extract, type, {&composite, 1});
    instruction->indices = module.arena.copy<std::uint32_t>(
        std::span<std::uint32_t>(const_cast<std::uint32_t*>(path.data()), path.size()));
    return instruction->result;
}

Value* Builder::extractDynamic(Value* vector, Value* index) {
    if (index->isConstant()) {
        const std::int64_t number = Module::intValue(index);
        if (number >= 0 && number < vector->type->columns) return extract(vector, static_cast<std::uint32_t>(number));
    }
    Value* operands[2] = {vector, index};
    return emit(Op::extractDynamic, module.types.scalar(vector->type->scalar), operands)->result;
}

Value* Builder::insert(Value* composite, Value* part, std::span<const std::uint32_t> path) {
    if (path.empty()) return part;
    if (path.size() == 1 && composite->isConstant() && part->isConstant()) {
        const std::uint64_t count = partCount(composite->type);
        if (count <= 16 && path[0] < count) {
            Value* parts[16] = {};
            for (std::uint32_t i = 0; i < count; ++i)
                parts[i] = i == path[0] ? part : module.constantPart(composite, i);
            return module.constantComposite(composite->type, {parts, count});
        }
    }
    Value* operands[2] = {composite, part};
    Instruction* instruction = emit(Op::insert, composite->type, operands);
    instruction->indices = module.arena.copy<std::uint32_t>(
        std::span<std::uint32_t>(const_cast<std::uint32_t*>(path.data()), path.size()));
    return instruction->result;
}

Value* Builder::shuffle(Value* first, Value* second, std::span<const std::uint32_t> components) {
    const std::uint32_t width = first->type->columns;
    if (components.size() == 1) {
        const std::uint32_t index = components[0];
        return index < width || second == nullptr ? extract(first, std::min(index, width - 1))
                                                  : extract(second, index - width);
    }
    const TypeRef type = module.types.vector(first->type->scalar, static_cast<unsigned>(components.size()));
    bool isIdentity = type == first->type;
    for (std::uint32_t i = 0; i < components.size() && isIdentity; ++i)
        isIdentity = components[i] == i;
    if (isIdentity) return first;
    if (first->isConstant() && (second == nullptr || second->isConstant())) {
        Value* parts[4] = {};
        for (std::size_t i = 0; i < components.size(); ++i)
            parts[i] = components[i] < width || second == nullptr ? module.constantPart(first, components[i])
                                                                  : module.constantPart(second, components[i] - width);
        return module.constantComposite(type, {parts, components.size()});
    }
    Value* operands[2] = {first, second};
    Instruction* instruction = emit(Op::shuffle, type, std::span<Value* const>(operands, second != nullptr ? 2 : 1));
    instruction->indices = module.arena.copy<std::uint32_t>(
        std::span<std::uint32_t>(const_cast<std::uint32_t*>(components.data()), components.size()));
    return instruction->result;
}

Value* Builder::select(Value* condition, Value* whenTrue, Value* whenFalse) {
    if (whenTrue == whenFalse) return whenTrue;
    if (condition->isConstant() && condition->type->isScalar()) return condition->bits != 0 ? whenTrue : whenFalse;
    Value* operands[3] = {condition, whenTrue, whenFalse};
    return emit(Op::select, whenTrue->type, operands)->result;
}

// ----------------------------------------------------------------------------------------------------------- calls

Value* Builder::builtin(BuiltinId id, TypeRef resultType, std::span<Value* const> operands, Precision precision) {
    if (Value* folded = foldBuiltin(module, id, resultType, operands, precision)) return folded;
    Instruction* instruction = emit(Op::builtin, resultType, operands);
    instruction->builtinId = id;
    instruction->precision = precision;
    return instruction->result;
}

Value* Builder::builtinAt(BuiltinId id, TypeRef resultType, Place* place, std::span<Value* const> operands) {
    Instruction* instruction = emit(Op::builtin, resultType, operands);
    instruction->builtinId = id;
    instruction->place = place;
    return instruction->result;
}

Value* Builder::textureBuiltin(BuiltinId id, TypeRef resultType, Place* texture, Variable* sampler,
                               std::span<Value* const> operands, std::span<const TextureOperand> roles) {
    Instruction* instruction = emit(Op::builtin, resultType, operands);
    instruction->builtinId = id;
    instruction->place = texture;
    if (sampler != nullptr) instruction->variables = module.arena.copy<Variable*>(std::span<Variable*>(&sampler, 1));
    instruction->indices = module.arena.makeArray<std::uint32_t>(roles.size());
    for (std::size_t i = 0; i < roles.size(); ++i)
        instruction->indices[i] = static_cast<std::uint32_t>(roles[i]);
    return instruction->result;
}

Value* Builder::call(Function* callee, std::span<Value* const> arguments, std::span<Variable* const> variables) {
    Instruction* instruction = emit(Op::call, callee->returnType, arguments);
    instruction->callee = callee;
    instruction->variables =
        module.arena.copy<Variable*>(std::span<Variable*>(const_cast<Variable**>(variables.data()), variables.size()));
    return instruction->result;
}

// ---------------------------------------------------------------------------------------------------- control flow

static std::span<Block*> makeBlocks(Arena& arena) {
    const std::span<Block*> blocks = arena.makeArray<Block*>(2);
    blocks[0] = arena.make<Block>();
    blocks[1] = arena.make<Block>();
    return blocks;
}

Instruction* Builder::if_(Value* condition) {
    Instruction* instruction = emit(Op::if_, nullptr, {&condition, 1});
    instruction->blocks = makeBlocks(module.arena);
    return instruction;
}

Instruction* Builder::loop() {
    Instruction* instruction = emit(Op::loop, nullptr, {});
    instruction->blocks = makeBlocks(module.arena);
    return instruction;
}

Instruction* Builder::switch_(Value* value, std::span<SwitchCase> cases) {
    Instruction* instruction = emit(Op::switch_, nullptr, {&value, 1});
    instruction->cases = cases;
    return instruction;
}

void Builder::break_() {
    emit(Op::break_, nullptr, {});
}
void Builder::continue_() {
    emit(Op::continue_, nullptr, {});
}
void Builder::return_(Value* value) {
    emit(Op::return_, nullptr, std::span<Value* const>(&value, value != nullptr ? 1 : 0));
}
void Builder::discard() {
    emit(Op::discard, nullptr, {});
}
void Builder::unreachable() {
    emit(Op::unreachable, nullptr, {});
}

} // namespace msl::ir
