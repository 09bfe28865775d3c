// Memory seen as another type: buffers and threadgroup arrays through a cast of a pointer or reference, and the members
// of a union of the thread that is kept as an array of words. Such an access is a place in a variable that
// only lowering knows: an array of the other type behind a number of bytes. Where it is read or written it becomes
// reads and writes of bytes, half-words and words: in a buffer, of further variables on its binding.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

namespace {

// What threadgroup memory is an array of, when it can be seen as another type: scalars, or vectors without a gap, or
// arrays of them. The scalar or vector type; null for other memory.
TypeRef groupNumber(TypeRef type) {
    const bool isMany = type->is(TypeKind::array);
    while (type->is(TypeKind::array))
        type = type->element;
    const bool fits = (type->isScalar() || (type->isVector() && !(isMany && type->columns == 3))) &&
                      type->scalar != ScalarKind::bool_ && byteSize(type->scalar) <= 4;
    return fits ? type : nullptr;
}

ScalarKind unsignedOf(unsigned size) {
    return size == 1 ? ScalarKind::uchar : size == 2 ? ScalarKind::ushort : ScalarKind::uint;
}

std::uint32_t shiftOf(unsigned size) {
    return size == 1 ? 0 : size == 2 ? 1 : 2;
}

} // namespace

bool Lowering::isView(const ir::Place* place) const {
    return views_.contains(place->root);
}

namespace {

// An integer in memory that is looked at as an atomic object of its size.
bool isSharedInteger(const Access& held, TypeRef as) {
    if (!as->is(TypeKind::atomic) || held.kind != Access::Kind::place || held.swizzleCount > 0 ||
        held.unionMember != nullptr)
        return false;
    const TypeRef type = held.place->type;
    const auto isWord = [](ScalarKind kind) { return isInteger(kind) && byteSize(kind) >= 4; };
    return (type->isScalar() || type->is(TypeKind::atomic)) && isWord(type->scalar) && isWord(as->scalar) &&
           byteSize(type->scalar) == byteSize(as->scalar);
}

} // namespace

// The same memory as another type.
Access Lowering::castAccess(const Access& held, TypeRef to, SourceLocation at) {
    if (held.element != nullptr) return castAccess(elementOf(held), to, at);
    if (held.kind == Access::Kind::choice)
        return mapOptions(held, to, [&](const Access& option) { return castAccess(option, to, at); });
    Access result = held;
    result.type = to;
    if (held.type == to || held.kind == Access::Kind::nothing || isSharedInteger(held, to)) return result;
    if (to->is(TypeKind::void_)) return held;
    if (valueType(held.type) == valueType(to) && layoutOf(held.type).size == layoutOf(to).size) return held;
    if (castInPlace(held, to, result)) return result;
    if (ir::Place* view = viewOf(held, to)) return placeAccess(view, to);
    unsupported(at, "reading memory through a pointer to another type is");
    return errorAccess(to);
}

// A variable of the thread as a type of its size, or a vector as its components.
bool Lowering::castInPlace(const Access& held, TypeRef to, Access& result) {
    const auto isPlain = [](TypeRef type) {
        return (type->isScalar() || type->isVector()) && type->scalar != ScalarKind::bool_;
    };
    const auto bits = [](TypeRef type) { return byteSize(type->scalar) * 8U * type->columns; };
    if (held.kind != Access::Kind::place || held.swizzleCount > 0 || held.unionMember != nullptr || isView(held.place) ||
        (held.place->root->kind != ir::Variable::Kind::local &&
         held.place->root->kind != ir::Variable::Kind::pointerParameter) ||
        !isPlain(held.place->type) || !isPlain(to))
        return false;
    if (bits(held.place->type) == bits(to)) {
        result.unionMember = to;
        return true;
    }
    const bool isElement = !held.place->steps.empty() && held.place->steps.back().kind == ir::Step::Kind::index;
    if (isElement || !to->isScalar() || held.place->type->scalar != to->scalar) return false;
    result = placeAccess(builder_.placeIndex(held.place, 0U, to), to);
    return true;
}

// The same place as another type; null when it does not lie in a buffer as a whole.
ir::Place* Lowering::viewOf(const Access& held, TypeRef as) {
    if (held.kind != Access::Kind::place || held.swizzleCount > 0 || held.unionMember != nullptr || isOpaque(as) ||
        layoutOf(as).size == 0)
        return nullptr;
    const ir::Variable& root = *held.place->root;
    const bool isUnion = held.place->steps.empty() && carrierOf(held.type) == root.type; // of the thread
    if (root.kind != ir::Variable::Kind::buffer && !isView(held.place) && !isUnion &&
        (root.kind != ir::Variable::Kind::threadgroup || !root.type->is(TypeKind::array) ||
         groupNumber(root.type) == nullptr))
        return nullptr;
    return viewAt(*held.place, as);
}

ir::Place* Lowering::viewAt(const ir::Place& place, TypeRef as) {
    const auto known = views_.find(place.root);
    ir::Variable* view = viewVariable(known != views_.end() ? known->second : place.root, as);
    ir::Place* behind = builder_.placeIndex(builder_.place(view), byteOffset(place), view->type->element);
    return builder_.placeIndex(behind, 0U, as);
}

// A member of a union that a vector carries, for a reference to it.
ir::Place* Lowering::viewOfMember(const Access& access) {
    const ir::Variable& root = *access.place->root;
    if (access.swizzleCount > 0 || !access.place->steps.empty() || root.kind != ir::Variable::Kind::local ||
        groupNumber(root.type) == nullptr)
        return nullptr;
    return viewAt(*access.place, access.type);
}

ir::Variable* Lowering::viewVariable(ir::Variable* memory, TypeRef as) {
    ir::Variable*& view = viewVariables_[{memory, as->id}];
    if (view == nullptr) {
        const std::size_t count = module_.globals.size();
        view = module_.newVariable(memory->kind, module_.types.array(module_.types.array(as, 0), 0), memory->name);
        module_.globals.resize(count); // nobody but lowering sees it
        views_.emplace(view, memory);
    }
    return view;
}

// Of a place in a buffer, from the buffer's start; a uint.
Value* Lowering::byteOffset(const ir::Place& place) {
    const TypeRef uint = module_.types.uint();
    TypeRef type = place.root->type;
    Value* offset = nullptr;
    std::uint64_t fixed = 0;
    const auto add = [&](Value* index, std::uint64_t size) {
        Value* bytes = builder_.convert(uint, index);
        if (size != 1) bytes = builder_.binary(Op::mul, uint, bytes, uintConstant(static_cast<std::uint32_t>(size)));
        offset = offset == nullptr ? bytes : builder_.binary(Op::add, uint, offset, bytes);
    };
    bool isBytes = isView(&place); // the first step of a view
    for (const ir::Step& step : place.steps) {
        std::uint64_t size = 1;
        if (step.kind == ir::Step::Kind::member) {
            const Field& field = type->record->fields[step.number];
            fixed += field.offset;
            type = field.type;
            continue;
        }
        const TypeRef element = type->is(TypeKind::array)
                                    ? type->element
                                    : (type->isMatrix() ? type->element : module_.types.scalar(type->scalar));
        if (!isBytes) size = layoutOf(element).size;
        if (step.value != nullptr)
            add(step.value, size);
        else
            fixed += step.number * size;
        isBytes = false;
        type = element;
    }
    Value* rest = uintConstant(static_cast<std::uint32_t>(fixed));
    if (offset == nullptr) return rest;
    return fixed == 0 ? offset : builder_.binary(Op::add, uint, offset, rest);
}

// The word of this kind at a place of a view.
ir::Place* Lowering::wordPlace(ir::Variable* buffer, ScalarKind kind, Value* bytes, std::uint64_t more) {
    ir::Variable*& words = words_[{buffer, kind}];
    const TypeRef word = module_.types.scalar(kind);
    if (words == nullptr) {
        words = module_.newVariable(ir::Variable::Kind::buffer, module_.types.array(word, 0), buffer->name);
        words->stage = buffer->stage;
        words->space = buffer->space;
        words->metalIndex = buffer->metalIndex;
        words->argumentBuffer = buffer->argumentBuffer;
        words->isWritable = buffer->isWritable;
        words->isAliased = buffer->isAliased = true;
    }
    const TypeRef uint = module_.types.uint();
    Value* at =
        more == 0 ? bytes : builder_.binary(Op::add, uint, bytes, uintConstant(static_cast<std::uint32_t>(more)));
    std::uint32_t shift = 0;
    while (1U << shift < byteSize(kind))
        ++shift;
    if (shift != 0) at = builder_.binary(Op::shr, uint, at, uintConstant(shift));
    return builder_.placeIndex(builder_.place(words), at, word);
}

// The number of threadgroup memory with this index, counted in numbers.
ir::Place* Lowering::numberPlace(ir::Variable* memory, Value* index) {
    const TypeRef uint = module_.types.uint();
    const unsigned size = byteSize(groupNumber(memory->type)->scalar);
    ir::Place* place = builder_.place(memory);
    TypeRef type = memory->type;
    while (type->is(TypeKind::array) || type->isVector()) {
        const TypeRef part = type->is(TypeKind::array) ? type->element : module_.types.scalar(type->scalar);
        const auto inPart = static_cast<std::uint32_t>(layoutOf(part).size / size);
        Value* which = index;
        if (inPart > 1) {
            which = builder_.binary(Op::div, uint, index, uintConstant(inPart));
            index = builder_.binary(Op::rem, uint, index, uintConstant(inPart));
        }
        place = builder_.placeIndex(place, which, part);
        type = part;
    }
    return place;
}

Value* Lowering::readWord(ir::Variable* memory, ScalarKind word, Value* bytes, std::uint64_t more) {
    if (memory->kind == ir::Variable::Kind::buffer) return builder_.load(wordPlace(memory, word, bytes, more));
    const TypeRef uint = module_.types.uint();
    const unsigned size = byteSize(groupNumber(memory->type)->scalar);
    Value* at = builder_.binary(Op::add, uint, bytes, uintConstant(static_cast<std::uint32_t>(more)));
    Value* index = builder_.binary(Op::shr, uint, at, uintConstant(shiftOf(size)));
    const auto bits = [&](std::uint32_t number) { // of the number, as a uint
        Value* next = builder_.binary(Op::add, uint, index, uintConstant(number));
        Value* held = builder_.load(numberPlace(memory, next));
        const TypeRef plain = module_.types.scalar(unsignedOf(size));
        return builder_.convert(uint, held->type == plain ? held : builder_.bitcast(plain, held));
    };
    Value* result = bits(0);
    if (byteSize(word) < size) {
        Value* inside = builder_.binary(Op::bitAnd, uint, at, uintConstant(size - 1));
        result = builder_.binary(Op::shr, uint, result, builder_.binary(Op::shl, uint, inside, uintConstant(3)));
    }
    for (std::uint32_t i = 1; i < byteSize(word) / size; ++i)
        result = builder_.binary(Op::bitOr, uint, result,
                                 builder_.binary(Op::shl, uint, bits(i), uintConstant(8 * size * i)));
    return builder_.convert(module_.types.scalar(word), result);
}

void Lowering::writeWord(ir::Variable* memory, ScalarKind word, Value* bytes, std::uint64_t more, Value* value) {
    if (memory->kind == ir::Variable::Kind::buffer) {
        builder_.store(wordPlace(memory, word, bytes, more), value);
        return;
    }
    const TypeRef uint = module_.types.uint();
    const TypeRef number = module_.types.scalar(groupNumber(memory->type)->scalar);
    const unsigned size = byteSize(number->scalar);
    Value* at = builder_.binary(Op::add, uint, bytes, uintConstant(static_cast<std::uint32_t>(more)));
    Value* index = builder_.binary(Op::shr, uint, at, uintConstant(shiftOf(size)));
    Value* bits = builder_.convert(uint, value);
    if (byteSize(word) < size) {
        if (memory->kind == ir::Variable::Kind::threadgroup) { // its other bytes may belong to other threads
            unsupported(builder_.location, "writing a part of a number of threadgroup memory is");
            return;
        }
        Value* shift = builder_.binary(Op::shl, uint, builder_.binary(Op::bitAnd, uint, at, uintConstant(size - 1)),
                                       uintConstant(3));
        Value* mask = builder_.binary(Op::shl, uint, uintConstant(byteSize(word) == 1 ? 0xFFU : 0xFFFFU), shift);
        ir::Place* place = numberPlace(memory, index);
        Value* kept = builder_.binary(Op::bitAnd, uint, builder_.load(place), builder_.unary(Op::bitNot, mask));
        builder_.store(place, builder_.binary(Op::bitOr, uint, kept, builder_.binary(Op::shl, uint, bits, shift)));
        return;
    }
    const TypeRef plain = module_.types.scalar(unsignedOf(size));
    for (std::uint32_t i = 0; i < byteSize(word) / size; ++i) {
        Value* part = builder_.convert(plain, builder_.binary(Op::shr, uint, bits, uintConstant(8 * size * i)));
        Value* next = builder_.binary(Op::add, uint, index, uintConstant(i));
        builder_.store(numberPlace(memory, next), plain == number ? part : builder_.bitcast(number, part));
    }
}

ir::Place* Lowering::atomicPlace(ir::Place* place, ScalarKind kind) {
    if (!isView(place)) return place;
    ir::Variable* memory = views_.at(place->root);
    if (memory->kind == ir::Variable::Kind::buffer)
        return wordPlace(memory, byteSize(kind) == 8 ? ScalarKind::ulong : ScalarKind::uint, byteOffset(*place), 0);
    const TypeRef number = groupNumber(memory->type);
    if (isFloating(number->scalar) || byteSize(number->scalar) != byteSize(kind))
        unsupported(builder_.location, "an atomic operation on threadgroup memory of another type is");
    return numberPlace(memory, builder_.binary(Op::shr, module_.types.uint(), byteOffset(*place), uintConstant(2)));
}

bool Lowering::holdsUnion(TypeRef type) const {
    if (type->is(TypeKind::array)) return holdsUnion(type->element);
    if (!type->is(TypeKind::struct_)) return false;
    return type->record->isUnion ||
           std::ranges::any_of(type->record->fields, [&](const Field& field) { return holdsUnion(field.type); });
}

// A union, and what holds one, is copied as its words, if it is made of whole ones.
bool Lowering::canCopy(TypeRef type) {
    if (!holdsUnion(type) || (carrierOf(type) != nullptr && layoutOf(type).size % 4 == 0)) return true;
    unsupported(builder_.location, "copying a union of this kind is");
    return false;
}

Value* Lowering::loadPlace(ir::Place* place) {
    if (!isView(place)) return builder_.load(place);
    if (!canCopy(place->type)) return module_.constantNull(valueType(place->type));
    return readBytes(views_.at(place->root), place->type, byteOffset(*place), 0);
}

void Lowering::storePlace(ir::Place* place, Value* value) {
    if (isView(place) && canCopy(place->type))
        writeBytes(views_.at(place->root), place->type, byteOffset(*place), 0, value);
    else if (!isView(place))
        builder_.store(place, value);
}

namespace {

// Where part `index` of a value of this type lies in memory.
std::uint64_t partOffset(TypeRef type, std::uint32_t index) {
    switch (type->kind) {
    case TypeKind::struct_: return type->record->fields[index].offset;
    case TypeKind::array:
    case TypeKind::matrix: return layoutOf(type->element).size * index;
    default: return std::uint64_t{byteSize(type->scalar)} * index;
    }
}

} // namespace

TypeRef Lowering::partInMemory(TypeRef type, std::uint32_t index) const {
    switch (type->kind) {
    case TypeKind::struct_: return type->record->fields[index].type;
    case TypeKind::array:
    case TypeKind::matrix: return type->element;
    default: return module_.types.scalar(type->scalar);
    }
}

void Lowering::writePart(ir::Variable* words, TypeRef type, std::uint32_t index, Value* part) {
    writeBytes(words, partInMemory(type, index), uintConstant(0), partOffset(type, index), part);
}

Value* Lowering::readBytes(ir::Variable* buffer, TypeRef type, Value* bytes, std::uint64_t more) {
    if (type->is(TypeKind::enum_)) type = type->element;
    if (const TypeRef carrier = carrierOf(type)) type = carrier;
    if (!type->isScalar() && !type->is(TypeKind::atomic)) {
        const std::uint64_t count = ir::partCount(type);
        std::vector<Value*> parts;
        for (std::uint32_t i = 0; i < count; ++i) {
            const bool fits = enter(builder_.location);
            leave();
            if (!fits) return module_.constantNull(valueType(type));
            parts.push_back(readBytes(buffer, partInMemory(type, i), bytes, more + partOffset(type, i)));
        }
        return builder_.construct(valueType(type), parts);
    }
    const TypeRef scalar = module_.types.scalar(type->scalar);
    const ScalarKind word = unsignedOf(byteSize(type->scalar));
    Value* low = readWord(buffer, word, bytes, more);
    if (byteSize(type->scalar) == 8) {
        Value* both[2] = {low, readWord(buffer, word, bytes, more + 4)};
        return builder_.bitcast(scalar, builder_.construct(module_.types.vector(word, 2), both));
    }
    if (scalar->isBool()) return builder_.convert(scalar, low);
    return type->scalar == word ? low : builder_.bitcast(scalar, low);
}

void Lowering::writeBytes(ir::Variable* buffer, TypeRef type, Value* bytes, std::uint64_t more, Value* value) {
    if (type->is(TypeKind::enum_)) type = type->element;
    if (const TypeRef carrier = carrierOf(type)) type = carrier;
    if (!type->isScalar() && !type->is(TypeKind::atomic)) {
        const std::uint64_t count = ir::partCount(type);
        for (std::uint32_t i = 0; i < count; ++i) {
            const bool fits = enter(builder_.location);
            leave();
            if (!fits) return;
            writeBytes(buffer, partInMemory(type, i), bytes, more + partOffset(type, i), builder_.extract(value, i));
        }
        return;
    }
    const ScalarKind word = unsignedOf(byteSize(type->scalar));
    const TypeRef wordType = module_.types.scalar(word);
    if (byteSize(type->scalar) == 8) {
        Value* both = builder_.bitcast(module_.types.vector(word, 2), value);
        writeWord(buffer, word, bytes, more, builder_.extract(both, 0U));
        writeWord(buffer, word, bytes, more + 4, builder_.extract(both, 1));
        return;
    }
    Value* stored = value;
    if (value->type->isBool())
        stored = builder_.convert(wordType, value);
    else if (value->type != wordType)
        stored = builder_.bitcast(wordType, value);
    writeWord(buffer, word, bytes, more, stored);
}

} // namespace msl
