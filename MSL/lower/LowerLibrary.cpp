#include "MSL/lower/Library.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lower/Numbers.h"

#include <algorithm>
#include <cmath>

namespace msl {

using ir::Value;

namespace {

constexpr ScalarKind uintKind = ScalarKind::uint;
constexpr ScalarKind ulongKind = ScalarKind::ulong;

// ------------------------------------------------------------------------------------------- 64-bit integers

struct Halves {
    Number high, low; // uint
};

Halves halves(const Number& x) {
    const Number bits = x.as(ulongKind);
    return {(bits >> 32).to(uintKind), bits.to(uintKind)};
}

Number joined(const Number& high, const Number& low) {
    return high.to(ulongKind) << 32 | low.to(ulongKind);
}

// The upper 64 bits of the product of two ulongs, from products of their halves.
Number highProduct(const Number& x, const Number& y) {
    const Number xh = x >> 32;
    const Number xl = x & 0xFFFFFFFFLL;
    const Number yh = y >> 32;
    const Number yl = y & 0xFFFFFFFFLL;
    const Number middle = xh * yl + (xl * yl >> 32);
    const Number other = xl * yh + (middle & 0xFFFFFFFFLL);
    return xh * yh + (middle >> 32) + (other >> 32);
}

// The same for longs, as the bits of a ulong: each negative factor counts 2^64 too much.
Number highProductSigned(const Number& x, const Number& y) {
    const Number ux = x.as(ulongKind);
    const Number uy = y.as(ulongKind);
    return highProduct(ux, uy) - choose(x < 0, uy, 0) - choose(y < 0, ux, 0);
}

Number multiplyAddSaturated(const Number& a, const Number& b, const Number& c) {
    const Number ua = a.as(ulongKind);
    const Number uc = c.as(ulongKind);
    const Number low = ua * b.as(ulongKind) + uc;
    const Number carry = choose(low < uc, low.constant(1), 0);
    if (!isSigned(a.type()->scalar)) {
        const Number high = highProduct(ua, b) + carry;
        return choose(high != 0, low.constant(-1), low);
    }
    // 128 bits: the sum fits in 64 where the upper half repeats the lower one's sign.
    const Number signOfC = (c >> 63).as(ulongKind);
    const Number high = (highProductSigned(a, b) + signOfC + carry).as(ScalarKind::long_);
    const Number result = low.as(ScalarKind::long_);
    const Number bound = (high >> 63) ^ INT64_MAX;
    return choose(high == (result >> 63), result, bound);
}

Value* wideInteger(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands) {
    const ScalarKind kind = type->scalar;
    const Number x(builder, operands[0]);
    const auto counted = [&](const Number& count) { return count.to(kind).value; };
    const auto bitCount = [&](unsigned at) { return Number(builder, operands[at]).to(ulongKind).like(x); };
    const auto ones = [](const Number& bits) { // as many ones from the bottom up
        return choose(bits >= 64, bits.constant(-1), (bits.constant(1) << bits) - 1);
    };
    switch (id) {
    case BuiltinId::clz: {
        const auto [high, low] = halves(x);
        return counted(choose(high == 0, device(id, {low}) + 32, device(id, {high})));
    }
    case BuiltinId::ctz: {
        const auto [high, low] = halves(x);
        return counted(choose(low == 0, device(id, {high}) + 32, device(id, {low})));
    }
    case BuiltinId::popcount: {
        const auto [high, low] = halves(x);
        return counted(device(id, {high}) + device(id, {low}));
    }
    case BuiltinId::reverseBits: {
        const auto [high, low] = halves(x);
        return joined(device(id, {low}), device(id, {high})).as(kind).value;
    }
    case BuiltinId::extractBits: {
        const Number offset = bitCount(1);
        const Number bits = bitCount(2);
        if (!isSigned(kind)) return ((x >> offset) & ones(bits)).value;
        const Number field = x << (64 - offset - bits).as(kind) >> (64 - bits).as(kind);
        return choose(bits == 0, 0, field).value;
    }
    case BuiltinId::insertBits: {
        const Number offset = bitCount(2);
        const Number mask = ones(bitCount(3)) << offset;
        const Number inserted = Number(builder, operands[1]).as(ulongKind) << offset;
        return ((x.as(ulongKind) & ~mask) | (inserted & mask)).as(kind).value;
    }
    case BuiltinId::mulhi:
    case BuiltinId::madhi: {
        const Number y(builder, operands[1]);
        const Number high = (isSigned(kind) ? highProductSigned(x, y) : highProduct(x, y)).as(kind);
        return id == BuiltinId::mulhi ? high.value : (high + Number(builder, operands[2])).value;
    }
    case BuiltinId::madsat:
        return multiplyAddSaturated(x, Number(builder, operands[1]), Number(builder, operands[2])).value;
    default: return nullptr;
    }
}

// ------------------------------------------------------------------------------------------------- packing

// The first component lies in the lowest bits.
constexpr unsigned unorm10a2[] = {10, 10, 10, 2};
constexpr unsigned unorm565[] = {5, 6, 5};

Value* pack(const Number& vector, std::span<const unsigned> widths, TypeRef type) {
    const Number wide = vector.to(ScalarKind::float_);
    ir::Builder& builder = *vector.builder;
    Value* sum = nullptr;
    unsigned shift = 0;
    for (unsigned i = 0; i < widths.size(); ++i) {
        const Number part = device(BuiltinId::saturate, {wide[i]});
        const Number field = device(BuiltinId::rint, {part * ((1U << widths[i]) - 1)}).to(uintKind) << shift;
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
    const Number linear = device(BuiltinId::saturate, {vector.to(ScalarKind::float_)});
    const Number curved = device(BuiltinId::powr, {linear, linear.constant(1 / 2.4)}) * 1.055 - 0.055;
    Value* encoded = withAlphaOf(choose(linear < 0.0031308, linear * 12.92, curved), linear);
    return vector.builder->builtin(BuiltinId::packFloatToUnorm4x8, type, {&encoded, 1});
}

Value* unpackSrgb(const Number& word, TypeRef type) {
    ir::Builder& builder = *word.builder;
    const TypeRef float4 = word.types().vector(ScalarKind::float_, 4);
    const Number encoded(builder, builder.builtin(BuiltinId::unpackUnorm4x8ToFloat, float4, {&word.value, 1}));
    const Number curved = device(BuiltinId::powr, {(encoded + 0.055) * (1 / 1.055), encoded.constant(2.4)});
    const Number linear = choose(encoded <= 0.04045, encoded * (1 / 12.92), curved);
    return builder.convert(type, withAlphaOf(linear, encoded));
}

// ------------------------------------------------------------------------------------- functions of their own

// The function that holds a precise form for one type: made at its first call, found again by its name.
ir::Function* preciseInstance(ir::Builder& builder, BuiltinId id, TypeRef type, std::size_t parameterCount) {
    ir::Module& module = builder.module;
    const std::string name = "precise::" + std::string(builtinName(id));
    for (ir::Function* function : module.functions)
        if (function->returnType == type && function->name == name) return function;
    ir::Function* made = module.newFunction(module.arena.copyText(name), type);
    made->parameters = module.arena.makeArray<Value*>(parameterCount);
    for (Value*& parameter : made->parameters)
        parameter = module.newValue(Value::Kind::parameter, type);
    ir::Block* outer = builder.block;
    builder.block = made->body;
    Value* result = preciseFunction(builder, id, type, made->parameters);
    if (result != nullptr) builder.return_(result);
    builder.block = outer;
    if (result == nullptr) return nullptr;
    module.functions.push_back(made);
    return made;
}

Value* preciseCall(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands) {
    if (!type->isScalar() && !type->isVector()) return nullptr;
    if (!isFloating(type->scalar) || operands.empty() || operands.size() > 3) return nullptr;
    Value* values[3] = {};
    if (type->scalar == ScalarKind::half) { // computed in float and rounded once
        const TypeTable& types = builder.module.types;
        for (std::size_t i = 0; i < operands.size(); ++i)
            values[i] = builder.convert(types.withScalar(operands[i]->type, ScalarKind::float_), operands[i]);
        Value* made = preciseCall(builder, id, types.withScalar(type, ScalarKind::float_), {values, operands.size()});
        return made == nullptr ? nullptr : builder.convert(type, made);
    }
    for (std::size_t i = 0; i < operands.size(); ++i) {
        values[i] = operands[i];
        if (values[i]->type->isScalar() && type->isVector() && values[i]->type->scalar == ScalarKind::float_)
            values[i] = builder.splat(type, values[i]);
        if (values[i]->type != type) return nullptr;
    }
    if (std::ranges::all_of(operands, [](const Value* operand) { return operand->isConstant(); })) {
        // Worked out while compiling, in double precision, where that is known.
        Value* folded = builder.builtin(id, type, {values, operands.size()}, Precision::precise);
        if (folded->isConstant()) return folded;
    }
    ir::Function* function = preciseInstance(builder, id, type, operands.size());
    return function == nullptr ? nullptr : builder.call(function, {values, operands.size()}, {});
}

Value* preciseLength(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands) {
    const TypeRef vector = operands[0]->type;
    if (!vector->isVector() || vector->scalar != ScalarKind::float_) return nullptr;
    const TypeRef scalar = builder.module.types.float_();
    Value* of = operands[0];
    if (id == BuiltinId::distance) of = (Number(builder, operands[0]) - Number(builder, operands[1])).value;
    Number sum = Number(builder, of)[0] * Number(builder, of)[0];
    for (unsigned i = 1; i < vector->columns; ++i)
        sum = sum + Number(builder, of)[i] * Number(builder, of)[i];
    Value* length = preciseCall(builder, BuiltinId::sqrt, scalar, {&sum.value, 1});
    if (id != BuiltinId::normalize || length == nullptr) return length;
    Value* quotient[] = {of, builder.splat(vector, length)};
    return preciseCall(builder, BuiltinId::divide, type, quotient);
}

} // namespace

Value* lowerLibraryCall(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands,
                        Precision precision) {
    if (operands.empty()) return nullptr;
    const Number first(builder, operands[0]);
    switch (id) {
    case BuiltinId::clz:
    case BuiltinId::ctz:
    case BuiltinId::popcount:
    case BuiltinId::reverseBits:
    case BuiltinId::extractBits:
    case BuiltinId::insertBits:
    case BuiltinId::mulhi:
    case BuiltinId::madhi:
    case BuiltinId::madsat: return byteSize(type->scalar) == 8 ? wideInteger(builder, id, type, operands) : nullptr;
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
    case BuiltinId::fract: { // the precise form is below one also where x - floor(x) rounds up to it
        if (precision != Precision::precise) return nullptr;
        const Number part = device(id, {first});
        const double largest = type->scalar == ScalarKind::half ? 0x1.FFCp-1 : 0x1.FFFFFEp-1;
        return device(BuiltinId::fmin, {part, part.constant(largest)}).value;
    }
    default: break;
    }
    if (precision != Precision::precise) return nullptr;
    if (id == BuiltinId::length || id == BuiltinId::distance || id == BuiltinId::normalize)
        return preciseLength(builder, id, type, operands);
    return preciseCall(builder, id, type, operands);
}

} // namespace msl
