// The bytes of memory that is no buffer: variables of the thread, threadgroup memory, tables. A byte's number is taken
// apart into members, elements and components until it says which number it lies in; a word is put together from
// numbers that are narrower, or taken out of one that is wider. Where only the run time knows which member of a struct
// it is, there is a branch for each.
#include "MSL/lower/Lowering.h"

#include <algorithm>
#include <bit>

namespace msl {

using ir::Op;
using ir::Value;

namespace {

ScalarKind unsignedOf(unsigned size) {
    return size == 1   ? ScalarKind::uchar
           : size == 2 ? ScalarKind::ushort
           : size == 4 ? ScalarKind::uint
                       : ScalarKind::ulong;
}

std::uint32_t maskOf(unsigned size) {
    return size == 1 ? 0xFFU : size == 2 ? 0xFFFFU : 0xFFFFFFFFU;
}

} // namespace

// Whether memory of this type is made of numbers.
bool Lowering::hasBytes(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix:
    case TypeKind::enum_:
    case TypeKind::atomic: return true;
    case TypeKind::array: return hasBytes(type->element);
    case TypeKind::struct_:
        return !type->record->isUnion &&
               std::ranges::all_of(type->record->fields, [](const Field& field) { return hasBytes(field.type); });
    default: return false;
    }
}

// Runs with the place of the number that this byte of `place` lies in, and with the byte's number in there. Nothing
// runs for padding.
void Lowering::atByte(ir::Place* place, Value* byte, const NumberUse& use) {
    const TypeRef uint = module_.types.uint();
    const TypeRef type = place->type;
    const auto divided = [&](std::uint64_t size, Value*& rest) {
        const auto constant = [&](std::uint64_t number) { return uintConstant(static_cast<std::uint32_t>(number)); };
        if (!std::has_single_bit(size)) {
            rest = builder_.binary(Op::rem, uint, byte, constant(size));
            return builder_.binary(Op::div, uint, byte, constant(size));
        }
        rest = builder_.binary(Op::bitAnd, uint, byte, constant(size - 1));
        return size == 1
                   ? byte
                   : builder_.binary(Op::shr, uint, byte, constant(static_cast<unsigned>(std::countr_zero(size))));
    };
    Value* rest = nullptr;
    switch (type->kind) {
    case TypeKind::array:
    case TypeKind::matrix: {
        Value* index = divided(layoutOf(type->element).size, rest);
        atByte(builder_.placeIndex(place, index, type->element), rest, use);
        return;
    }
    case TypeKind::vector:
    case TypeKind::packedVector: {
        const TypeRef scalar = module_.types.scalar(type->scalar);
        Value* index = divided(byteSize(type->scalar), rest);
        const bool hasGap = type->isVector() && type->columns == 3;
        if (hasGap && index->isConstant() && index->bits >= 3) return;
        if (!hasGap || index->isConstant()) {
            use(builder_.placeIndex(place, index, scalar), rest);
            return;
        }
        const ir::Instruction* branch =
            builder_.if_(builder_.binary(Op::less, module_.types.bool_(), index, uintConstant(3)));
        ir::Block* outer = builder_.block;
        builder_.block = branch->blocks[0];
        use(builder_.placeIndex(place, index, scalar), rest);
        builder_.block = outer;
        return;
    }
    case TypeKind::struct_: break;
    default: use(place, byte); return;
    }
    const auto fields = type->record->fields;
    ir::Block* outer = builder_.block;
    for (std::uint32_t i = 0; i < fields.size(); ++i) {
        if (fields[i].name.empty() && !fields[i].type->is(TypeKind::struct_)) continue; // the byte of an empty struct
        const std::uint64_t end = fields[i].offset + layoutOf(fields[i].type).size;
        Value* isBefore =
            builder_.binary(Op::less, module_.types.bool_(), byte, uintConstant(static_cast<std::uint32_t>(end)));
        if (isBefore->isConstant() && isBefore->bits == 0) continue;
        const auto inside = [&] {
            Value* at =
                builder_.binary(Op::sub, uint, byte, uintConstant(static_cast<std::uint32_t>(fields[i].offset)));
            if (at->isConstant() && at->bits > end) return; // padding before it
            atByte(builder_.placeMember(place, i, fields[i].type), at, use);
        };
        if (isBefore->isConstant()) {
            inside();
            break;
        }
        const ir::Instruction* branch = builder_.if_(isBefore);
        builder_.block = branch->blocks[0];
        inside();
        builder_.block = branch->blocks[1];
    }
    builder_.block = outer;
}

// A number as an unsigned one of its size, in a uint or ulong.
Value* Lowering::bitsOfNumber(Value* number) {
    const unsigned size = byteSize(number->type->scalar);
    const TypeRef plain = module_.types.scalar(unsignedOf(size));
    const TypeRef wide = size == 8 ? plain : module_.types.uint();
    if (number->type->isBool()) return builder_.convert(wide, number);
    return builder_.convert(wide, number->type == plain ? number : builder_.bitcast(plain, number));
}

Value* Lowering::numberOfBits(TypeRef number, Value* bits) {
    const TypeRef plain = module_.types.scalar(unsignedOf(byteSize(number->scalar)));
    Value* narrow = builder_.convert(plain, bits);
    if (number->isBool()) return builder_.convert(number, narrow);
    return plain == number ? narrow : builder_.bitcast(number, narrow);
}

// The bytes at `byte`, as many as `size` says (1, 2 or 4; a multiple of it), as a uint.
Value* Lowering::readNumberBytes(ir::Variable* memory, Value* byte, unsigned size) {
    const TypeRef uint = module_.types.uint();
    ir::Block* const outer = builder_.block;
    Value* result = nullptr;
    ir::Variable* chosen = nullptr;
    atByte(builder_.place(memory), byte, [&](ir::Place* place, Value* inside) {
        const unsigned own =
            byteSize(place->type->is(TypeKind::enum_) ? place->type->element->scalar : place->type->scalar);
        Value* bits = bitsOfNumber(builder_.load(place));
        if (size < own) {
            Value* shift = builder_.convert(bits->type, builder_.binary(Op::shl, uint, inside, uintConstant(3)));
            bits = builder_.convert(uint, builder_.binary(Op::shr, bits->type, bits, shift));
            if (size < 4) bits = builder_.binary(Op::bitAnd, uint, bits, uintConstant(maskOf(size)));
        }
        for (unsigned at = own; at < size; at += own) {
            Value* next = readNumberBytes(memory, builder_.binary(Op::add, uint, byte, uintConstant(at)), own);
            bits = builder_.binary(Op::bitOr, uint, bits, builder_.binary(Op::shl, uint, next, uintConstant(8 * at)));
        }
        if (builder_.block == outer) {
            result = bits;
            return;
        }
        if (chosen == nullptr) chosen = newLocal(uint, "word");
        builder_.store(builder_.place(chosen), bits);
    });
    if (chosen != nullptr) return builder_.load(builder_.place(chosen));
    return result != nullptr ? result : uintConstant(0);
}

void Lowering::writeNumberBytes(ir::Variable* memory, Value* byte, unsigned size, Value* bits) {
    const TypeRef uint = module_.types.uint();
    atByte(builder_.place(memory), byte, [&](ir::Place* place, Value* inside) {
        const TypeRef number = place->type->is(TypeKind::enum_) ? place->type->element : place->type;
        const unsigned own = byteSize(number->scalar);
        if (size >= own) {
            builder_.store(place, numberOfBits(number, bits));
            for (unsigned at = own; at < size; at += own)
                writeNumberBytes(memory, builder_.binary(Op::add, uint, byte, uintConstant(at)), own,
                                 builder_.binary(Op::shr, uint, bits, uintConstant(8 * at)));
            return;
        }
        const TypeRef wide = own == 8 ? module_.types.scalar(ScalarKind::ulong) : uint;
        Value* shift = builder_.convert(wide, builder_.binary(Op::shl, uint, inside, uintConstant(3)));
        Value* mask = builder_.binary(Op::shl, wide, module_.constantInt(wide, maskOf(size)), shift);
        Value* part = builder_.binary(Op::shl, wide, builder_.convert(wide, bits), shift);
        part = builder_.binary(Op::bitAnd, wide, part, mask);
        mask = builder_.unary(Op::bitNot, mask);
        if (memory->kind != ir::Variable::Kind::threadgroup) {
            Value* kept = builder_.binary(Op::bitAnd, wide, bitsOfNumber(builder_.load(place)), mask);
            builder_.store(place, numberOfBits(number, builder_.binary(Op::bitOr, wide, kept, part)));
            return;
        }
        // Its other bytes may belong to other threads.
        if (isFloating(number->scalar) || own != 4) {
            unsupported(builder_.location,
                        "writing a part of a number of threadgroup memory that is no int or uint is");
            return;
        }
        Value* keep[2] = {numberOfBits(number, mask), uintConstant(0)};
        builder_.builtinAt(BuiltinId::atomicFetchAnd, number, place, keep);
        Value* set[2] = {numberOfBits(number, part), uintConstant(0)};
        builder_.builtinAt(BuiltinId::atomicFetchOr, number, place, set);
    });
}

Value* Lowering::readWord(ir::Variable* memory, ScalarKind word, Value* bytes, std::uint64_t more) {
    if (memory->kind == ir::Variable::Kind::buffer) return builder_.load(wordPlace(memory, word, bytes, more));
    const TypeRef uint = module_.types.uint();
    Value* at = builder_.binary(Op::add, uint, bytes, uintConstant(static_cast<std::uint32_t>(more)));
    return builder_.convert(module_.types.scalar(word), readNumberBytes(memory, at, byteSize(word)));
}

void Lowering::writeWord(ir::Variable* memory, ScalarKind word, Value* bytes, std::uint64_t more, Value* value) {
    if (memory->kind == ir::Variable::Kind::buffer) {
        builder_.store(wordPlace(memory, word, bytes, more), value);
        return;
    }
    const TypeRef uint = module_.types.uint();
    Value* at = builder_.binary(Op::add, uint, bytes, uintConstant(static_cast<std::uint32_t>(more)));
    writeNumberBytes(memory, at, byteSize(word), builder_.convert(uint, value));
}

// An atomic operation on a view of threadgroup memory works on the number that lies there.
ir::Place* Lowering::atomicPlace(ir::Place* place, ScalarKind kind) {
    if (!isView(place)) return place;
    ir::Variable* memory = views_.at(place->root);
    if (memory->kind == ir::Variable::Kind::buffer)
        return wordPlace(memory, byteSize(kind) == 8 ? ScalarKind::ulong : ScalarKind::uint, byteOffset(*place), 0);
    ir::Place* found = nullptr;
    ir::Block* const outer = builder_.block;
    atByte(builder_.place(memory), byteOffset(*place), [&](ir::Place* number, Value*) {
        const TypeRef type = number->type;
        if (builder_.block == outer && (type->isScalar() || type->is(TypeKind::atomic)) && !isFloating(type->scalar) &&
            byteSize(type->scalar) == byteSize(kind))
            found = number;
    });
    if (found != nullptr) return found;
    unsupported(builder_.location, "an atomic operation on memory of another type is");
    return place;
}

} // namespace msl
