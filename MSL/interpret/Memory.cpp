#include "MSL/interpret/Memory.h"

#include <algorithm>
#include <cstring>

namespace msl::interpret {

using constant::Scalar;

namespace {

// A number of a kind with these bits, cut to the kind's width.
Scalar withBits(ScalarKind kind, std::uint64_t bits) {
    if (!isFloating(kind)) return Scalar::integer(kind, bits);
    return {kind, byteSize(kind) == 2 ? bits & 0xFFFFU : bits & 0xFFFFFFFFU};
}

// The bytes of one number in a buffer; an atomic bool takes a word.
std::uint64_t bytesOf(TypeRef type) {
    return type->is(TypeKind::atomic) ? layoutOf(type).size : byteSize(type->scalar);
}

// Calls visit(scalar type, byte offset) for every number of the type, in order.
template <typename Visit>
bool forEachNumber(TypeRef type, std::uint64_t offset, Visit visit) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::atomic: return visit(type, offset);
    case TypeKind::enum_: return forEachNumber(type->element, offset, visit);
    case TypeKind::vector:
    case TypeKind::packedVector:
        for (unsigned i = 0; i < type->columns; ++i)
            if (!visit(type->element, offset + std::uint64_t{i} * byteSize(type->scalar))) return false;
        return true;
    case TypeKind::matrix:
    case TypeKind::array: {
        const std::uint64_t stride = layoutOf(type->element).size;
        const std::uint64_t count = type->isMatrix() ? type->columns : type->count;
        for (std::uint64_t i = 0; i < count; ++i)
            if (!forEachNumber(type->element, offset + i * stride, visit)) return false;
        return true;
    }
    case TypeKind::struct_:
    case TypeKind::lambda:
        return std::ranges::all_of(type->record->fields, [&](const Field& field) {
            return forEachNumber(field.type, offset + field.offset, visit);
        });
    default: return true;
    }
}

} // namespace

std::size_t numberCount(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::atomic: return 1;
    case TypeKind::enum_: return numberCount(type->element);
    case TypeKind::vector:
    case TypeKind::packedVector: return type->columns;
    case TypeKind::matrix: return type->componentCount();
    case TypeKind::array: return numberCount(type->element) * std::max<std::uint64_t>(type->count, 1);
    case TypeKind::struct_:
    case TypeKind::lambda: {
        std::size_t sum = 0;
        for (const Field& field : type->record->fields)
            sum += numberCount(field.type);
        return sum;
    }
    default: return 0;
    }
}

void fill(TypeRef type, std::uint64_t bits, Numbers& out) {
    forEachNumber(type, 0, [&](TypeRef scalar, std::uint64_t) {
        out.push_back(withBits(scalar->scalar, bits));
        return true;
    });
}

void appendConstant(const ir::Module& module, const ir::Value& value, Numbers& out) {
    if (value.type->isScalar())
        out.push_back({value.type->scalar, value.bits});
    else if (value.parts.empty())
        fill(value.type, 0, out);
    else
        for (const ir::Value* part : value.parts)
            appendConstant(module, *part, out);
}

bool read(const Location& from, Numbers& out) {
    out.clear();
    if (!from.isBytes) {
        const std::size_t count = numberCount(from.type);
        if (from.offset + count > from.numbers->size()) return false;
        const auto begin = from.numbers->begin() + static_cast<std::ptrdiff_t>(from.offset);
        out.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
        return true;
    }
    return forEachNumber(from.type, from.offset, [&](TypeRef type, std::uint64_t offset) {
        const std::uint64_t size = bytesOf(type);
        if (offset + size > from.bytes.size()) return false;
        std::uint64_t bits = 0;
        std::memcpy(&bits, from.bytes.data() + offset, size);
        out.push_back(withBits(type->scalar, bits));
        return true;
    });
}

bool write(const Location& to, std::span<const Scalar> numbers) {
    if (!to.isBytes) {
        if (to.offset + numbers.size() > to.numbers->size()) return false;
        std::ranges::copy(numbers, to.numbers->begin() + static_cast<std::ptrdiff_t>(to.offset));
        return true;
    }
    std::size_t next = 0;
    return forEachNumber(to.type, to.offset, [&](TypeRef type, std::uint64_t offset) {
        const std::uint64_t size = bytesOf(type);
        if (offset + size > to.bytes.size() || next == numbers.size()) return false;
        std::memcpy(to.bytes.data() + offset, &numbers[next++].bits, size);
        return true;
    });
}

} // namespace msl::interpret
