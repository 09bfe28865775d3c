#include "MSL/constant/Scalar.h"
#include "MSL/ir/Ir.h"

#include <algorithm>

namespace msl::ir {

// ---------------------------------------------------------------------------------------------------------- blocks

void Block::append(Instruction* instruction) {
    instruction->previous = last;
    instruction->next = nullptr;
    (last != nullptr ? last->next : first) = instruction;
    last = instruction;
}

void Block::insertBefore(Instruction* at, Instruction* instruction) {
    if (at == nullptr) {
        append(instruction);
        return;
    }
    instruction->previous = at->previous;
    instruction->next = at;
    (at->previous != nullptr ? at->previous->next : first) = instruction;
    at->previous = instruction;
}

void Block::moveBefore(Instruction* at, Block& from) {
    while (Instruction* instruction = from.first) {
        from.remove(instruction);
        insertBefore(at, instruction);
    }
}

void Block::remove(Instruction* instruction) {
    (instruction->previous != nullptr ? instruction->previous->next : first) = instruction->next;
    (instruction->next != nullptr ? instruction->next->previous : last) = instruction->previous;
    instruction->previous = nullptr;
    instruction->next = nullptr;
}

bool Block::isTerminated() const {
    if (last == nullptr) return false;
    switch (last->op) {
    case Op::break_:
    case Op::continue_:
    case Op::return_:
    case Op::unreachable: return true;
    default: return false;
    }
}

// ----------------------------------------------------------------------------------------------------------- types

TypeRef valueType(const TypeTable& types, TypeRef memoryType) {
    if (memoryType->is(TypeKind::packedVector)) return types.vector(memoryType->scalar, memoryType->columns);
    if (memoryType->is(TypeKind::enum_)) return memoryType->element;
    if (memoryType->is(TypeKind::pointer) || memoryType->is(TypeKind::reference)) // the address
        return types.scalar(ScalarKind::ulong);
    return memoryType;
}

TypeRef partType(const TypeTable& types, TypeRef composite, std::uint32_t index) {
    switch (composite->kind) {
    case TypeKind::vector:
    case TypeKind::packedVector: return types.scalar(composite->scalar);
    case TypeKind::matrix: return types.vector(composite->scalar, composite->rows);
    case TypeKind::array: return valueType(types, composite->element);
    case TypeKind::struct_:
        return index < composite->record->fields.size() ? valueType(types, composite->record->fields[index].type)
                                                        : types.error();
    default: return types.error();
    }
}

std::uint64_t partCount(TypeRef composite) {
    switch (composite->kind) {
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix: return composite->columns;
    case TypeKind::array: return composite->count;
    case TypeKind::struct_: return composite->record->fields.size();
    default: return 0;
    }
}

// --------------------------------------------------------------------------------------------------------- module

Module::Module(WorkLimit* limit) : arena(limit) {}

Value* Module::newValue(Value::Kind kind, TypeRef type) {
    auto* value = arena.make<Value>();
    value->kind = kind;
    value->type = type;
    value->id = nextValue_++;
    return value;
}

Variable* Module::newVariable(Variable::Kind kind, TypeRef type, std::string_view name) {
    auto* variable = arena.make<Variable>();
    variable->kind = kind;
    variable->type = type;
    variable->name = arena.copyText(name);
    variable->id = nextVariable_++;
    if (kind != Variable::Kind::local && kind != Variable::Kind::pointerParameter) globals.push_back(variable);
    return variable;
}

// The vectors that functions and entries grow live in the module's lists, which are destroyed with it.
Function* Module::newFunction(std::string_view name, TypeRef returnType) {
    auto* function = arena.make<Function>();
    function->name = arena.copyText(name);
    function->id = nextFunction_++;
    function->returnType = returnType;
    function->locals = &variableLists_.emplace_back();
    function->body = arena.make<Block>();
    return function;
}

Entry* Module::newEntry(std::string_view name, Stage stage) {
    auto* entry = arena.make<Entry>();
    entry->name = arena.copyText(name);
    entry->stage = stage;
    entry->interface = &variableLists_.emplace_back();
    entries.push_back(entry);
    return entry;
}

static std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
    hash ^= value + 0x9E3779B97F4A7C15ULL + (hash << 6U) + (hash >> 2U);
    return hash * 0xFF51AFD7ED558CCDULL;
}

Value* Module::constantScalar(TypeRef scalar, std::uint64_t bits) {
    const std::uint64_t hash = mix(scalar->id, bits);
    Value* const* known = constants_.find(hash, [&](const Value* one) {
        return one->isConstant() && one->type == scalar && one->bits == bits && one->parts.empty();
    });
    if (known != nullptr) return *known;
    Value* value = newValue(Value::Kind::constant, scalar);
    value->bits = bits;
    constants_.add(hash, value);
    return value;
}

Value* Module::constantFloat(TypeRef type, double number) {
    if (type->isVector()) {
        Value* scalar = constantFloat(types.scalar(type->scalar), number);
        Value* parts[4] = {scalar, scalar, scalar, scalar};
        return constantComposite(type, {parts, type->columns});
    }
    return constantScalar(type, constant::Scalar::floating(type->scalar, number).bits);
}

Value* Module::constantInt(TypeRef type, std::int64_t number) {
    if (type->isVector()) {
        Value* scalar = constantInt(types.scalar(type->scalar), number);
        Value* parts[4] = {scalar, scalar, scalar, scalar};
        return constantComposite(type, {parts, type->columns});
    }
    return constantScalar(type, constant::Scalar::integer(type->scalar, static_cast<std::uint64_t>(number)).bits);
}

static bool isZero(const Value* value) {
    return value->isConstant() && value->parts.empty() && value->bits == 0;
}

Value* Module::constantComposite(TypeRef type, std::span<Value* const> parts) {
    if (std::ranges::all_of(parts, isZero)) return constantNull(type);
    std::uint64_t hash = mix(type->id, 77);
    for (const Value* part : parts)
        hash = mix(hash, part->id);
    Value* const* known = constants_.find(
        hash, [&](const Value* one) { return one->type == type && std::ranges::equal(one->parts, parts); });
    if (known != nullptr) return *known;
    Value* value = newValue(Value::Kind::constant, type);
    value->parts = arena.copy<Value*>(std::span<Value*>(const_cast<Value**>(parts.data()), parts.size()));
    constants_.add(hash, value);
    return value;
}

Value* Module::constantNull(TypeRef type) {
    return constantScalar(type, 0);
}

Value* Module::undefined(TypeRef type) {
    return newValue(Value::Kind::undefined, type);
}

Value* Module::specialization(TypeRef scalar, std::uint32_t index, std::uint32_t component) {
    const std::uint64_t number = std::uint64_t{index} * functionConstantIds + component;
    const std::uint64_t hash = mix(scalar->id, 0x5BEC000000000000ULL + number);
    Value* const* known = constants_.find(hash, [&](const Value* one) {
        return one->kind == Value::Kind::specialization && one->type == scalar && one->bits == number;
    });
    if (known != nullptr) return *known;
    Value* value = newValue(Value::Kind::specialization, scalar);
    value->bits = number;
    constants_.add(hash, value);
    return value;
}

Value* Module::constantPart(const Value* composite, std::uint32_t index) {
    if (!composite->parts.empty()) return composite->parts[std::min<std::size_t>(index, composite->parts.size() - 1)];
    return constantNull(partType(types, composite->type, index));
}

Variable* Module::constantTable(Value* constant, std::string_view name) {
    Variable*& table = tables_[constant];
    if (table == nullptr) {
        table = newVariable(Variable::Kind::constantTable, constant->type, name);
        table->initializer = constant;
    }
    return table;
}

double Module::floatValue(const Value* scalar) {
    return constant::Scalar{scalar->type->scalar, scalar->bits}.asDouble();
}

std::int64_t Module::intValue(const Value* scalar) {
    return constant::Scalar{scalar->type->scalar, scalar->bits}.asInteger();
}

} // namespace msl::ir
