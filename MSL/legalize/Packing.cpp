// Packing that few targets have: fields of uneven width, sRGB curves, vectors of halves.
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"

namespace msl {

using ir::Value;

namespace {

constexpr ScalarKind uintKind = ScalarKind::uint;

// The first component lies in the lowest bits.
constexpr unsigned unorm10a2[] = {10, 10, 10, 2};
constexpr unsigned unorm565[] = {5, 6, 5};

Value* pack(const Number& vector, std::span<const unsigned> widths, TypeRef type) {
    const Number wide = vector.to(ScalarKind::float_);
    ir::Builder& builder = *vector.builder;
    Value* sum = nullptr;
    unsigned shift = 0;
    for (unsigned i = 0; i < widths.size(); ++i) {
        const Number part = call(BuiltinId::saturate, {wide[i]});
        const Number field = call(BuiltinId::rint, {part * ((1U << widths[i]) - 1)}).to(uintKind) << shift;
        sum = sum == nullptr ? field.value : (Number(builder, sum) | field).value;
        shift += widths[i];
    }
    return builder.convert(type, sum);
}

Value* unpack(const Number& word, std::span<const unsigned> widths, TypeRef type) {
    ir::Builder& builder = *word.builder;
    const Number bits = word.to(uintKind);
    Value* parts[4] = {};
    unsigned shift = 0;
    for (unsigned i = 0; i < widths.size(); ++i) {
        const unsigned largest = (1U << widths[i]) - 1;
        parts[i] = ((bits >> shift & largest).to(ScalarKind::float_) / largest).to(type->scalar).value;
        shift += widths[i];
    }
    return builder.construct(type, {parts, widths.size()});
}

// Alpha stays linear.
Value* withAlphaOf(const Number& colour, const Number& vector) {
    Value* parts[] = {colour[0].value, colour[1].value, colour[2].value, vector[3].value};
    return colour.builder->construct(vector.type(), parts);
}

Value* packSrgb(const Number& vector, TypeRef type) {
    const Number linear = call(BuiltinId::saturate, {vector.to(ScalarKind::float_)});
    const Number curved = call(BuiltinId::powr, {linear, linear.constant(1 / 2.4)}) * 1.055 - 0.055;
    Value* encoded = withAlphaOf(choose(linear < 0.0031308, linear * 12.92, curved), linear);
    return vector.builder->builtin(BuiltinId::packFloatToUnorm4x8, type, {&encoded, 1});
}

Value* unpackSrgb(const Number& word, TypeRef type) {
    ir::Builder& builder = *word.builder;
    const TypeRef float4 = word.types().vector(ScalarKind::float_, 4);
    const Number encoded(builder, builder.builtin(BuiltinId::unpackUnorm4x8ToFloat, float4, {&word.value, 1}));
    const Number curved = call(BuiltinId::powr, {(encoded + 0.055) * (1 / 1.055), encoded.constant(2.4)});
    const Number linear = choose(encoded <= 0.04045, encoded * (1 / 12.92), curved);
    return builder.convert(type, withAlphaOf(linear, encoded));
}

// The form that packs or unpacks floats.
BuiltinId ofFloats(BuiltinId id) {
    switch (id) {
    case BuiltinId::packHalfToSnorm4x8: return BuiltinId::packFloatToSnorm4x8;
    case BuiltinId::packHalfToUnorm4x8: return BuiltinId::packFloatToUnorm4x8;
    case BuiltinId::packHalfToSnorm2x16: return BuiltinId::packFloatToSnorm2x16;
    case BuiltinId::packHalfToUnorm2x16: return BuiltinId::packFloatToUnorm2x16;
    case BuiltinId::unpackSnorm4x8ToHalf: return BuiltinId::unpackSnorm4x8ToFloat;
    case BuiltinId::unpackUnorm4x8ToHalf: return BuiltinId::unpackUnorm4x8ToFloat;
    case BuiltinId::unpackSnorm2x16ToHalf: return BuiltinId::unpackSnorm2x16ToFloat;
    case BuiltinId::unpackUnorm2x16ToHalf: return BuiltinId::unpackUnorm2x16ToFloat;
    default: return BuiltinId::none;
    }
}

} // namespace

Value* spellPacking(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands) {
    const Number first(builder, operands[0]);
    switch (id) {
    case BuiltinId::packFloatToUnorm10a2:
    case BuiltinId::packHalfToUnorm10a2: return pack(first, unorm10a2, type);
    case BuiltinId::packFloatToUnorm565:
    case BuiltinId::packHalfToUnorm565: return pack(first, unorm565, type);
    case BuiltinId::unpackUnorm10a2ToFloat:
    case BuiltinId::unpackUnorm10a2ToHalf: return unpack(first, unorm10a2, type);
    case BuiltinId::unpackUnorm565ToFloat:
    case BuiltinId::unpackUnorm565ToHalf: return unpack(first, unorm565, type);
    case BuiltinId::packFloatToSrgbUnorm4x8:
    case BuiltinId::packHalfToSrgbUnorm4x8: return packSrgb(first, type);
    case BuiltinId::unpackUnorm4x8SrgbToFloat:
    case BuiltinId::unpackUnorm4x8SrgbToHalf: return unpackSrgb(first, type);
    default: break;
    }
    const BuiltinId plain = ofFloats(id);
    if (plain == BuiltinId::none) return nullptr;
    if (type->scalar != ScalarKind::half) {
        Value* wide = first.to(ScalarKind::float_).value;
        return builder.builtin(plain, type, {&wide, 1});
    }
    const TypeRef wide = builder.module.types.withScalar(type, ScalarKind::float_);
    return builder.convert(type, builder.builtin(plain, wide, operands));
}

} // namespace msl
