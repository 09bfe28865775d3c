// Unions: the value is kept as 32-bit words, and a member is those words read as its type. (A program looks at a
// float's bits, or at a vector's components, this way.) A struct or an array that holds a union is kept as words too.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

namespace {

unsigned bitsOf(TypeRef type) {
    return byteSize(type->scalar) * 8 * type->columns;
}

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
// seen as views of it; as are those of a struct and the elements of an array that hold one. Null for other types, and
// when there are members that are more than bytes.
TypeRef Lowering::carrierOf(TypeRef type) const {
    if (!type->is(TypeKind::struct_) && !type->is(TypeKind::array)) return nullptr;
    const auto [at, isNew] = carriers_.try_emplace(type, nullptr);
    if (isNew && holdsUnion(type)) {
        const TypeRef carrier = makeCarrier(type);
        carriers_[type] = carrier; // making one may have looked for others
        return carrier;
    }
    return at->second;
}

TypeRef Lowering::makeCarrier(TypeRef type) const {
    if (!type->is(TypeKind::struct_) || !type->record->isUnion) return wordsFor(type);
    unsigned bits = 32;
    bool isVector = true;
    for (const VarDecl* field : type->structDecl->fields) {
        const TypeRef member = ir::valueType(module_.types, field->type);
        isVector = isVector && isBytes(field->type) && (member->isScalar() || member->isVector()) &&
                   member->scalar != ScalarKind::bool_ && bitsOf(member) <= 128;
        if (isVector) bits = std::max(bits, bitsOf(member));
    }
    if (isVector) return module_.types.vector(ScalarKind::uint, (bits + 31) / 32);
    return wordsFor(type);
}

TypeRef Lowering::wordsFor(TypeRef type) const {
    const std::uint64_t size = isBytes(type) ? layoutOf(type).size : 0;
    return size > 0 ? module_.types.array(module_.types.uint(), (size + 3) / 4) : nullptr;
}

TypeRef Lowering::valueType(TypeRef type) const {
    if (const TypeRef carrier = carrierOf(type)) return carrier;
    return ir::valueType(module_.types, type);
}

// Whether memory of this type can be had: words carry a union and what holds one.
bool Lowering::isStorable(TypeRef type) {
    return !holdsUnion(type) || carrierOf(type) != nullptr;
}

bool Lowering::checkStorable(TypeRef type, SourceLocation at) {
    if (isStorable(type)) return true;
    unsupported(at, "a union of pointers or textures, or a struct or an array with one of them in it, is");
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

// Whether this is an array of words still, where something else is meant.
bool Lowering::isKeptAsWords(const Access& access) const {
    if ((access.kind != Access::Kind::place && access.kind != Access::Kind::value) || access.swizzleCount > 0 ||
        access.unionMember != nullptr)
        return false;
    if (access.kind == Access::Kind::place && isView(access.place)) return false;
    const TypeRef carrier = carrierOf(access.type);
    return carrier != nullptr && carrier->is(TypeKind::array);
}

// Something that words carry, in memory where it can be seen as what it is.
Access Lowering::wordsInMemory(const Access& base, SourceLocation at) {
    Access words = base;
    if (base.kind == Access::Kind::value) {
        words = inMemory(base, at);
        if (words.kind == Access::Kind::place && words.place->root->kind != ir::Variable::Kind::local) { // a constant
            ir::Variable* local = newLocal(words.place->type, "union");
            builder_.store(builder_.place(local), builder_.load(words.place));
            words = placeAccess(builder_.place(local), base.type);
        }
    }
    if (words.kind == Access::Kind::place && isView(words.place)) return words;
    ir::Place* view = words.kind == Access::Kind::place ? viewOf(words, base.type) : nullptr;
    if (view != nullptr) return placeAccess(view, base.type);
    unsupported(at, "a member of a union of this kind is");
    return errorAccess(base.type);
}

// A value of a type that an array of words carries.
Value* Lowering::wordsOf(TypeRef type, std::span<Value* const> parts) {
    ir::Variable* local = newLocal(carrierOf(type), "words");
    builder_.store(builder_.place(local), module_.constantNull(carrierOf(type)));
    for (std::uint32_t i = 0; i < parts.size(); ++i)
        writePart(local, type, i, parts[i]);
    return builder_.load(builder_.place(local));
}

// A union is initialised by its first member.
Operand Lowering::unionValue(const Construct& expr) {
    const TypeRef carrier = carrierOf(expr.type);
    if (carrier == nullptr) {
        checkStorable(expr.type, expr.location);
        return errorOperand(expr.type);
    }
    Value* words = module_.constantNull(carrier);
    if (carrier->is(TypeKind::array)) {
        ir::Variable* local = newLocal(carrier, "union");
        builder_.store(builder_.place(local), words);
        for (std::size_t i = 0; i < expr.arguments.size() && i < expr.type->record->fields.size(); ++i) {
            if (expr.arguments[i] == nullptr) continue;
            Value* first = value(expr.arguments[i]);
            writeBytes(local, expr.type->record->fields[i].type, startOfVariable(), 0, first);
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
