// Memory seen as another type: through a cast of a pointer or reference, and the members of a union of the thread that
// is kept as an array of words. Such an access is a place in a variable that only lowering knows: an array of the other
// type behind a number of bytes. Where it is read or written it becomes reads and writes of bytes, half-words and
// words: in a buffer, of further variables on its binding; elsewhere, of the numbers that lie there (LowerBytes.cpp).
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Op;
using ir::Value;

namespace {

ScalarKind unsignedOf(unsigned size) {
    return size == 1 ? ScalarKind::uchar : size == 2 ? ScalarKind::ushort : ScalarKind::uint;
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
    if (held.kind == Access::Kind::value && held.held.kind == Operand::Kind::value)
        return castAccess(inMemory(held, at), to, at);
    if (valueType(held.type) == valueType(to) && layoutOf(held.type).size == layoutOf(to).size) return held;
    if (held.kind == Access::Kind::place && isAtAddress(held.place) && held.swizzleCount == 0)
        return memoryAt(addressOf(held, at), to);
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
    if (held.kind != Access::Kind::place || held.swizzleCount > 0 || held.unionMember != nullptr ||
        isView(held.place) ||
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

// The same place as another type; null where there are no bytes to see.
ir::Place* Lowering::viewOf(const Access& held, TypeRef as) {
    if (held.kind != Access::Kind::place || held.swizzleCount > 0 || layoutOf(as).size == 0 ||
        (isOpaque(as) && !allowsAddresses_))
        return nullptr;
    const ir::Variable& root = *held.place->root;
    switch (root.kind) {
    case ir::Variable::Kind::address: return memoryAt(addressOf(held, builder_.location), as).place;
    case ir::Variable::Kind::buffer: break;
    case ir::Variable::Kind::local:
    case ir::Variable::Kind::pointerParameter:
    case ir::Variable::Kind::constantTable:
    case ir::Variable::Kind::threadgroup:
        if (!isView(held.place) && (!hasBytes(root.type) || !isScalarAligned(root.type))) return nullptr;
        break;
    default: return nullptr;
    }
    return viewAt(*held.place, as);
}

ir::Place* Lowering::viewAt(const ir::Place& place, TypeRef as) {
    if (isView(&place) && isMisaligned(place))
        unsupported(builder_.location, "a cast of the address of a packed member is");
    const auto known = views_.find(place.root);
    ir::Variable* view = viewVariable(known != views_.end() ? known->second : place.root, as);
    ir::Place* behind = builder_.placeIndex(builder_.place(view), byteOffset(place), view->type->element);
    return builder_.placeIndex(behind, 0U, as);
}

// A member of a union that a vector carries, for a reference to it.
ir::Place* Lowering::viewOfMember(const Access& access) {
    const ir::Variable& root = *access.place->root;
    if (access.swizzleCount > 0 || !access.place->steps.empty() || root.kind != ir::Variable::Kind::local ||
        !hasBytes(root.type))
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
    const bool hasAddress = isAtAddress(&place);
    if (hasAddress) type = type->element;
    for (const ir::Step& step : place.steps.subspan(hasAddress ? 1 : 0)) {
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

namespace {

// What every number of bytes that both of these divide can be divided by; a power of two.
std::uint32_t alignedTo(std::uint32_t alignment, std::uint64_t offset) {
    return static_cast<std::uint32_t>(offset == 0 ? alignment
                                                  : std::min<std::uint64_t>(alignment, offset & (~offset + 1)));
}

} // namespace

// What the bytes in front of a place, in the variable or in what a view looks at, are a multiple of: at most 16.
std::uint32_t Lowering::alignmentOf(const ir::Place& place) const {
    TypeRef type = place.root->type;
    std::uint32_t alignment = 16;
    bool isBytes = isView(&place); // the first step of a view
    for (const ir::Step& step : place.steps) {
        if (step.kind == ir::Step::Kind::member) {
            const Field& field = type->record->fields[step.number];
            alignment = alignedTo(alignment, field.offset);
            type = field.type;
            continue;
        }
        const TypeRef element =
            type->is(TypeKind::array) || type->isMatrix() ? type->element : module_.types.scalar(type->scalar);
        const bool isKnown = step.value == nullptr || step.value->isConstant();
        const std::uint64_t index = step.value == nullptr ? step.number : step.value->bits;
        if (isBytes) // a pointer that was cast points to something that is aligned as its type is
            alignment = alignedTo(alignment, isKnown ? index : layoutOf(element->element).alignment);
        else
            alignment = alignedTo(alignment, layoutOf(element).size * (isKnown ? index : 1));
        isBytes = false;
        type = element;
    }
    return alignment;
}

// Whether numbers in it may lie where they cannot be read as a whole.
bool Lowering::isMisaligned(const ir::Place& place) const {
    return alignmentOf(place) < std::min(scalarAlignment(place.type), 4U);
}

// A number of up to four bytes, put together from parts where it is not aligned.
Value* Lowering::readNumber(ir::Variable* memory, ScalarKind word, const ByteOffset& at, std::uint64_t more) {
    const std::uint32_t part = std::min(alignedTo(at.alignment, more), byteSize(word));
    if (part == byteSize(word)) return readWord(memory, word, at.bytes, more);
    const TypeRef uint = module_.types.uint();
    Value* result = nullptr;
    for (std::uint32_t i = 0; i < byteSize(word); i += part) {
        Value* bits = builder_.convert(uint, readWord(memory, unsignedOf(part), at.bytes, more + i));
        if (i != 0) bits = builder_.binary(Op::shl, uint, bits, uintConstant(8 * i));
        result = result == nullptr ? bits : builder_.binary(Op::bitOr, uint, result, bits);
    }
    return builder_.convert(module_.types.scalar(word), result);
}

void Lowering::writeNumber(ir::Variable* memory, ScalarKind word, const ByteOffset& at, std::uint64_t more,
                           Value* value) {
    const std::uint32_t part = std::min(alignedTo(at.alignment, more), byteSize(word));
    if (part == byteSize(word)) {
        writeWord(memory, word, at.bytes, more, value);
        return;
    }
    const TypeRef uint = module_.types.uint();
    Value* bits = builder_.convert(uint, value);
    for (std::uint32_t i = 0; i < byteSize(word); i += part) {
        Value* shifted = i == 0 ? bits : builder_.binary(Op::shr, uint, bits, uintConstant(8 * i));
        writeWord(memory, unsignedOf(part), at.bytes, more + i,
                  builder_.convert(module_.types.scalar(unsignedOf(part)), shifted));
    }
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
    return readBytes(views_.at(place->root), place->type, offsetOf(*place), 0);
}

void Lowering::storePlace(ir::Place* place, Value* value) {
    if (isView(place) && canCopy(place->type))
        writeBytes(views_.at(place->root), place->type, offsetOf(*place), 0, value);
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
    writeBytes(words, partInMemory(type, index), startOfVariable(), partOffset(type, index), part);
}

Value* Lowering::readBytes(ir::Variable* buffer, TypeRef type, const ByteOffset& at, std::uint64_t more) {
    if (type->is(TypeKind::enum_)) type = type->element;
    if (const TypeRef carrier = carrierOf(type)) type = carrier;
    if (!type->isScalar() && !type->is(TypeKind::atomic)) {
        const std::uint64_t count = ir::partCount(type);
        std::vector<Value*> parts;
        for (std::uint32_t i = 0; i < count; ++i) {
            const bool fits = enter(builder_.location);
            leave();
            if (!fits) return module_.constantNull(valueType(type));
            parts.push_back(readBytes(buffer, partInMemory(type, i), at, more + partOffset(type, i)));
        }
        return builder_.construct(valueType(type), parts);
    }
    const TypeRef scalar = module_.types.scalar(type->scalar);
    const ScalarKind word = unsignedOf(byteSize(type->scalar));
    Value* low = readNumber(buffer, word, at, more);
    if (byteSize(type->scalar) == 8) {
        Value* both[2] = {low, readNumber(buffer, word, at, more + 4)};
        return builder_.bitcast(scalar, builder_.construct(module_.types.vector(word, 2), both));
    }
    if (scalar->isBool()) return builder_.convert(scalar, low);
    return type->scalar == word ? low : builder_.bitcast(scalar, low);
}

void Lowering::writeBytes(ir::Variable* buffer, TypeRef type, const ByteOffset& at, std::uint64_t more, Value* value) {
    if (type->is(TypeKind::enum_)) type = type->element;
    if (const TypeRef carrier = carrierOf(type)) type = carrier;
    if (!type->isScalar() && !type->is(TypeKind::atomic)) {
        const std::uint64_t count = ir::partCount(type);
        for (std::uint32_t i = 0; i < count; ++i) {
            const bool fits = enter(builder_.location);
            leave();
            if (!fits) return;
            writeBytes(buffer, partInMemory(type, i), at, more + partOffset(type, i), builder_.extract(value, i));
        }
        return;
    }
    const ScalarKind word = unsignedOf(byteSize(type->scalar));
    const TypeRef wordType = module_.types.scalar(word);
    if (byteSize(type->scalar) == 8) {
        Value* both = builder_.bitcast(module_.types.vector(word, 2), value);
        writeNumber(buffer, word, at, more, builder_.extract(both, 0U));
        writeNumber(buffer, word, at, more + 4, builder_.extract(both, 1));
        return;
    }
    Value* stored = value;
    if (value->type->isBool())
        stored = builder_.convert(wordType, value);
    else if (value->type != wordType)
        stored = builder_.bitcast(wordType, value);
    writeNumber(buffer, word, at, more, stored);
}

} // namespace msl
