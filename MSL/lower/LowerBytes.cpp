// The bytes of memory that is no buffer: variables of the thread, threadgroup memory, tables. A byte's number is taken
// apart into members, elements and components until it says which number it lies in; a word is put together from
// numbers that are narrower, or taken out of one that is wider. Where only the run time knows which member of a struct
// it is, there is a branch for each.
#include "MSL/lower/Lowering.h"

#include <algorithm>
#include <bit>
#include <functional>

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

// Finds the numbers that some bytes of a place lie in. The bytes begin at a multiple of their count; where they are
// parts of several numbers, they are found piece by piece.
class ByteWalk {
  public:
    // A number, the first of its bytes that is meant, how many are, and where they go in the whole, in bits.
    using Use = std::function<void(ir::Place* number, Value* inside, unsigned size, unsigned shift)>;

    ByteWalk(ir::Builder& builder, Use use) : builder_(builder), types_(builder.module.types), use_(std::move(use)) {}

    static TypeRef numberAt(const ir::Place* place) {
        return place->type->is(TypeKind::enum_) ? place->type->element : place->type;
    }

    // Whether only the run time knows which number it is, and they are not elements of an array.
    static bool hasBranches(TypeRef type, const Value* byte) {
        while (type->is(TypeKind::array) || type->isMatrix())
            type = type->element;
        return !byte->isConstant() && (type->is(TypeKind::struct_) || (type->isVector() && type->columns == 3));
    }

    void run(ir::Place* place, Value* byte, unsigned size, unsigned shift) {
        const TypeRef type = place->type;
        switch (type->kind) {
        case TypeKind::array:
        case TypeKind::matrix: element(place, type->element, byte, size, shift); return;
        case TypeKind::vector:
        case TypeKind::packedVector: element(place, types_.scalar(type->scalar), byte, size, shift); return;
        case TypeKind::struct_:
            if (byte->isConstant())
                memberAt(place, byte, size, shift);
            else
                anyMember(place, byte, size, shift);
            return;
        default: use_(place, byte, std::min(size, byteSize(numberAt(place)->scalar)), shift);
        }
    }

  private:
    Value* number(std::uint64_t value) {
        return builder_.module.constantInt(types_.uint(), static_cast<std::int64_t>(value));
    }
    Value* isBelow(Value* byte, std::uint64_t end) {
        return builder_.binary(Op::less, types_.bool_(), byte, number(end));
    }

    void halves(ir::Place* place, Value* byte, unsigned size, unsigned shift) {
        if (size == 1) return;
        const unsigned half = size / 2;
        run(place, byte, half, shift);
        run(place, builder_.binary(Op::add, types_.uint(), byte, number(half)), half, shift + 8 * half);
    }

    void element(ir::Place* place, TypeRef type, Value* byte, unsigned size, unsigned shift) {
        const TypeRef uint = types_.uint();
        const std::uint64_t stride = layoutOf(type).size;
        if (stride % size != 0) {
            halves(place, byte, size, shift);
            return;
        }
        const bool isPower = std::has_single_bit(stride);
        Value* rest = isPower ? builder_.binary(Op::bitAnd, uint, byte, number(stride - 1))
                              : builder_.binary(Op::rem, uint, byte, number(stride));
        Value* index = byte;
        if (stride > 1)
            index = isPower
                        ? builder_.binary(Op::shr, uint, byte, number(static_cast<unsigned>(std::countr_zero(stride))))
                        : builder_.binary(Op::div, uint, byte, number(stride));
        const bool hasGap = place->type->isVector() && place->type->columns == 3;
        if (hasGap && index->isConstant() && index->bits >= 3) return;
        ir::Block* const outer = builder_.block;
        if (hasGap && !index->isConstant()) builder_.block = builder_.if_(isBelow(index, 3))->blocks[0];
        run(builder_.placeIndex(place, index, type), rest, size, shift);
        builder_.block = outer;
    }

    // Of a struct, when it is known which bytes are meant.
    void memberAt(ir::Place* place, Value* byte, unsigned size, unsigned shift) {
        const auto fields = place->type->record->fields;
        for (std::uint32_t i = 0; i < fields.size(); ++i) {
            const std::uint64_t end = fields[i].offset + layoutOf(fields[i].type).size;
            if (byte->bits < fields[i].offset || byte->bits + size > end || isFiller(fields[i])) continue;
            run(builder_.placeMember(place, i, fields[i].type), number(byte->bits - fields[i].offset), size, shift);
            return;
        }
        halves(place, byte, size, shift); // of several members, or padding
    }

    static bool isFiller(const Field& field) { // the byte of an empty struct
        return field.name.empty() && !field.type->is(TypeKind::struct_);
    }

    struct Part {
        std::uint64_t end;
        std::function<void()> find; // null: padding
    };

    // Members that only the run time tells apart: those that are whole words as they are, others word by word.
    void anyMember(ir::Place* place, Value* byte, unsigned size, unsigned shift) {
        std::vector<Part> parts;
        std::uint64_t begin = 0; // of what no part is for yet
        const auto fields = place->type->record->fields;
        for (std::uint32_t i = 0; i < fields.size(); ++i) {
            const TypeRef type = fields[i].type;
            const std::uint64_t offset = fields[i].offset;
            const std::uint64_t end = offset + layoutOf(type).size;
            if (isFiller(fields[i]) || end <= begin) continue;
            const std::uint64_t first = std::max(begin, offset / size * size);
            if (first > begin) parts.push_back({first, nullptr});
            begin = first;
            if (offset % size == 0 && end % size == 0 && begin == offset) {
                parts.push_back({end, [=, this] {
                                     Value* inside = builder_.binary(Op::sub, types_.uint(), byte, number(offset));
                                     run(builder_.placeMember(place, i, type), inside, size, shift);
                                 }});
                begin = end;
                continue;
            }
            constexpr std::uint64_t maxWords = 64;
            for (std::uint64_t words = 0; begin < end && words < maxWords; ++words) {
                parts.push_back({begin + size, [=, this] { memberAt(place, number(begin), size, shift); }});
                begin += size;
            }
            if (begin < end) {
                parts.push_back({end, [=, this] { halves(place, byte, size, shift); }});
                begin = (end + size - 1) / size * size;
            }
        }
        choose(parts, byte, true);
    }

    void choose(std::span<const Part> parts, Value* byte, bool isOpen) {
        if (parts.empty()) return;
        if (parts.size() == 1 && !isOpen) {
            if (parts[0].find) parts[0].find();
            return;
        }
        // What lies behind the last part is padding.
        const std::size_t half = parts.size() == 1 ? 1 : parts.size() / 2;
        const ir::Instruction* branch = builder_.if_(isBelow(byte, parts[half - 1].end));
        ir::Block* const outer = builder_.block;
        builder_.block = branch->blocks[0];
        choose(parts.first(half), byte, false);
        builder_.block = branch->blocks[1];
        choose(parts.subspan(half), byte, isOpen);
        builder_.block = outer;
    }

    ir::Builder& builder_;
    TypeTable& types_;
    Use use_;
};

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

// The bytes at `byte`, as many as `size` says (1, 2 or 4; a multiple of it), as a uint. Padding is zero.
Value* Lowering::readNumberBytes(ir::Variable* memory, Value* byte, unsigned size) {
    const TypeRef uint = module_.types.uint();
    ir::Block* const outer = builder_.block;
    Value* result = uintConstant(0);
    ir::Variable* chosen = nullptr;
    if (ByteWalk::hasBranches(memory->type, byte)) {
        chosen = newLocal(uint, "word");
        builder_.store(builder_.place(chosen), result);
    }
    ByteWalk(builder_, [&](ir::Place* place, Value* inside, unsigned count, unsigned shift) {
        Value* bits = bitsOfNumber(builder_.load(place));
        if (count < byteSize(ByteWalk::numberAt(place)->scalar)) {
            Value* by = builder_.convert(bits->type, builder_.binary(Op::shl, uint, inside, uintConstant(3)));
            bits = builder_.convert(uint, builder_.binary(Op::shr, bits->type, bits, by));
            if (count < 4) bits = builder_.binary(Op::bitAnd, uint, bits, uintConstant(maskOf(count)));
        }
        bits = builder_.convert(uint, bits);
        if (shift != 0) bits = builder_.binary(Op::shl, uint, bits, uintConstant(shift));
        if (builder_.block == outer) {
            result = shift == 0 ? bits : builder_.binary(Op::bitOr, uint, result, bits);
            return;
        }
        if (shift != 0) bits = builder_.binary(Op::bitOr, uint, builder_.load(builder_.place(chosen)), bits);
        builder_.store(builder_.place(chosen), bits);
    }).run(builder_.place(memory), byte, size, 0);
    return chosen != nullptr ? builder_.load(builder_.place(chosen)) : result;
}

void Lowering::writeNumberBytes(ir::Variable* memory, Value* byte, unsigned size, Value* bits) {
    ByteWalk(builder_, [&](ir::Place* place, Value* inside, unsigned count, unsigned shift) {
        Value* part = shift == 0 ? bits : builder_.binary(Op::shr, bits->type, bits, uintConstant(shift));
        writeNumberPart(place, inside, count, part);
    }).run(builder_.place(memory), byte, size, 0);
}

// Writes `size` bytes of a number, behind `inside` of its bytes.
void Lowering::writeNumberPart(ir::Place* place, Value* inside, unsigned size, Value* bits) {
    const TypeRef uint = module_.types.uint();
    const TypeRef number = ByteWalk::numberAt(place);
    const unsigned own = byteSize(number->scalar);
    if (size >= own) {
        builder_.store(place, numberOfBits(number, bits));
        return;
    }
    const TypeRef wide = own == 8 ? module_.types.scalar(ScalarKind::ulong) : uint;
    Value* shift = builder_.convert(wide, builder_.binary(Op::shl, uint, inside, uintConstant(3)));
    Value* mask = builder_.binary(Op::shl, wide, module_.constantInt(wide, maskOf(size)), shift);
    Value* part = builder_.binary(Op::shl, wide, builder_.convert(wide, bits), shift);
    part = builder_.binary(Op::bitAnd, wide, part, mask);
    mask = builder_.unary(Op::bitNot, mask);
    if (place->root->kind != ir::Variable::Kind::threadgroup) {
        Value* kept = builder_.binary(Op::bitAnd, wide, bitsOfNumber(builder_.load(place)), mask);
        builder_.store(place, numberOfBits(number, builder_.binary(Op::bitOr, wide, kept, part)));
        return;
    }
    // Its other bytes may belong to other threads.
    if (isFloating(number->scalar) || own != 4) {
        unsupported(builder_.location, "writing a part of a number of threadgroup memory that is no int or uint is");
        return;
    }
    Value* keep[2] = {numberOfBits(number, mask), uintConstant(0)};
    builder_.builtinAt(BuiltinId::atomicFetchAnd, number, place, keep);
    Value* set[2] = {numberOfBits(number, part), uintConstant(0)};
    builder_.builtinAt(BuiltinId::atomicFetchOr, number, place, set);
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
    if (isMisaligned(*place)) unsupported(builder_.location, "an atomic operation on a packed member is");
    ir::Variable* memory = views_.at(place->root);
    if (memory->kind == ir::Variable::Kind::buffer)
        return wordPlace(memory, byteSize(kind) == 8 ? ScalarKind::ulong : ScalarKind::uint, byteOffset(*place), 0);
    ir::Place* found = nullptr;
    ir::Block* const outer = builder_.block;
    ByteWalk(builder_, [&](ir::Place* number, Value*, unsigned size, unsigned) {
        const TypeRef type = number->type;
        if (builder_.block == outer && (type->isScalar() || type->is(TypeKind::atomic)) && !isFloating(type->scalar) &&
            byteSize(type->scalar) == size)
            found = number;
    }).run(builder_.place(memory), byteOffset(*place), byteSize(kind), 0);
    if (found != nullptr) return found;
    unsupported(builder_.location, "an atomic operation on memory of another type is");
    return place;
}

} // namespace msl
