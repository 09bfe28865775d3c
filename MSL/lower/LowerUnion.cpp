// Unions: the value is kept as 32-bit words, and a member is those words read as its type. (A program looks at a
// float's bits, or at a vector's components, this way.)
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

namespace {

unsigned bitsOf(TypeRef type) {
    return byteSize(type->scalar) * 8 * type->columns;
}

} // namespace

namespace {

// Whether the bytes of this type are all there is to it: no pointer, texture or reference.
bool isBytes(TypeRef type) {
    switch (type->kind) {
    case TypeKind::scalar:
    case TypeKind::vector:
    case TypeKind::packedVector:
    case TypeKind::matrix:
    case TypeKind::enum_: return true;
    case TypeKind::array: return type->count > 0 && isBytes(type->element);
    case TypeKind::struct_:
        return std::ranges::all_of(type->structDecl->fields, [](const VarDecl* field) { return isBytes(field->type); });
    default: return false;
    }
}

} // namespace

// The words that hold a union: a vector where all members are scalars and vectors, else an array, whose members are
// seen as views of it. Null when it has members that are more than bytes.
TypeRef Lowering::unionCarrier(TypeRef type) const {
    if (!type->is(TypeKind::struct_) || !type->structDecl->isUnion) return nullptr;
    unsigned bits = 32;
    bool isVector = true;
    for (const VarDecl* field : type->structDecl->fields) {
        const TypeRef member = ir::valueType(module_.types, field->type);
        isVector = isVector && (member->isScalar() || member->isVector()) && member->scalar != ScalarKind::bool_ &&
                   bitsOf(member) <= 128;
        if (isVector) bits = std::max(bits, bitsOf(member));
    }
    if (isVector) return module_.types.vector(ScalarKind::uint, (bits + 31) / 32);
    const std::uint64_t size = layoutOf(type).size;
    return isBytes(type) && size > 0 ? module_.types.array(module_.types.uint(), (size + 3) / 4) : nullptr;
}

TypeRef Lowering::valueType(TypeRef type) const {
    if (const TypeRef carrier = unionCarrier(type)) return carrier;
    return ir::valueType(module_.types, type);
}

// Whether memory of this type can be had: a union is, on its own, but not as a part of something.
bool Lowering::isStorable(TypeRef type) {
    if (type->is(TypeKind::array))
        return !(type->element->is(TypeKind::struct_) && type->element->structDecl->isUnion) &&
               isStorable(type->element);
    if (!type->is(TypeKind::struct_)) return true;
    const auto [at, isNew] = storableStructs_.try_emplace(type->structDecl, true);
    if (!isNew) return at->second;
    bool result = true;
    if (type->structDecl->isUnion) {
        result = unionCarrier(type) != nullptr;
    } else {
        for (const VarDecl* field : type->structDecl->fields)
            result = result && isStorable(field->type) &&
                     !(field->type->is(TypeKind::struct_) && field->type->structDecl->isUnion);
    }
    return storableStructs_[type->structDecl] = result;
}

bool Lowering::checkStorable(TypeRef type, SourceLocation at) {
    if (isStorable(type)) return true;
    unsupported(at, "a union of pointers or textures, or one inside of a struct or an array in thread memory, is");
    return false;
}

Value* Lowering::fromWords(TypeRef type, Value* words) {
    const unsigned bits = bitsOf(type);
    if (bits == bitsOf(words->type)) return builder_.bitcast(type, words);
    const unsigned count = (bits + 31) / 32;
    if (count < words->type->columns) {
        const std::uint32_t first[4] = {0, 1, 2, 3};
        words = builder_.shuffle(words, nullptr, {first, count});
    }
    if (bits >= 32) return builder_.bitcast(type, words);
    const TypeRef narrow = module_.types.scalar(bits == 8 ? ScalarKind::uchar : ScalarKind::ushort);
    return builder_.bitcast(type, builder_.convert(narrow, words));
}

Value* Lowering::toWords(Value* value, Value* old) {
    const unsigned bits = bitsOf(value->type);
    if (bits == bitsOf(old->type)) return builder_.bitcast(old->type, value);
    const unsigned count = (bits + 31) / 32;
    Value* words = nullptr;
    if (bits >= 32) {
        words = builder_.bitcast(module_.types.vector(ScalarKind::uint, count), value);
    } else {
        const TypeRef narrow = module_.types.scalar(bits == 8 ? ScalarKind::uchar : ScalarKind::ushort);
        const TypeRef word = module_.types.uint();
        Value* low = old->type->isScalar() ? old : builder_.extract(old, 0U);
        Value* kept = builder_.binary(ir::Op::bitAnd, word, low, module_.constantInt(word, -(std::int64_t{1} << bits)));
        words = builder_.binary(ir::Op::bitOr, word, kept, builder_.convert(word, builder_.bitcast(narrow, value)));
    }
    if (count == old->type->columns) return words;
    Value* parts[4] = {};
    for (unsigned i = 0; i < old->type->columns; ++i)
        parts[i] = i < count ? (count == 1 ? words : builder_.extract(words, i)) : builder_.extract(old, i);
    return builder_.construct(old->type, {parts, old->type->columns});
}

// A union is initialised by its first member.
Operand Lowering::unionValue(const Construct& expr) {
    const TypeRef carrier = unionCarrier(expr.type);
    if (carrier == nullptr) {
        checkStorable(expr.type, expr.location);
        return errorOperand(expr.type);
    }
    Value* words = module_.constantNull(carrier);
    if (carrier->is(TypeKind::array)) {
        ir::Variable* local = newLocal(carrier, "union");
        builder_.store(builder_.place(local), words);
        for (std::size_t i = 0; i < expr.arguments.size() && i < expr.type->structDecl->fields.size(); ++i) {
            if (expr.arguments[i] == nullptr) continue;
            Value* first = value(expr.arguments[i]);
            writeBytes(local, expr.type->structDecl->fields[i]->type, uintConstant(0), 0, first);
            break;
        }
        return Operand::ofValue(builder_.load(builder_.place(local)), expr.type);
    }
    for (const Expr* argument : expr.arguments)
        if (argument != nullptr) {
            words = toWords(value(argument), words);
            break;
        }
    return Operand::ofValue(words, expr.type);
}

} // namespace msl
