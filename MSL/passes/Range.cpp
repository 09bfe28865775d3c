#include "MSL/passes/Range.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace msl {

using ir::Instruction;
using ir::Op;

bool isNarrowInteger(TypeRef type) {
    return type->isScalar() && !isFloating(type->scalar) && byteSize(type->scalar) <= 4;
}

Range fullRange(TypeRef type) {
    switch (type->scalar) {
    case ScalarKind::bool_: return {0, 1};
    case ScalarKind::char_: return {-128, 127};
    case ScalarKind::uchar: return {0, 255};
    case ScalarKind::short_: return {-32768, 32767};
    case ScalarKind::ushort: return {0, 65535};
    case ScalarKind::uint: return {0, 0xFFFFFFFFLL};
    case ScalarKind::int_: return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    default: return {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()};
    }
}

namespace {

Range least(Range a, Range b) {
    return {std::min(a.low, b.low), std::min(a.high, b.high)};
}

Range most(Range a, Range b) {
    return {std::max(a.low, b.low), std::max(a.high, b.high)};
}

Range builtinRange(const Instruction& made, const Range* x, Range full) {
    for (const ir::Value* operand : made.operands)
        if (operand->type != made.result->type) return full;
    switch (made.builtinId) {
    case BuiltinId::min: return least(x[0], x[1]);
    case BuiltinId::max: return most(x[0], x[1]);
    case BuiltinId::clamp: // with its bounds the wrong way round a device may give either
        return x[1].high <= x[2].low ? least(most(x[0], x[1]), x[2]) : full;
    case BuiltinId::popcount:
    case BuiltinId::clz:
    case BuiltinId::ctz: return {0, static_cast<std::int64_t>(byteSize(made.result->type->scalar)) * 8};
    default: return full;
    }
}

} // namespace

Range resultRange(const Instruction& made, const Range* x) {
    const TypeRef type = made.result->type;
    const Range full = fullRange(type);
    const auto within = [&](Range range) { return contains(full, range) ? range : full; };
    // The distance of a shift when it is known. It is taken modulo the width, so only smaller ones are what they say.
    const auto distance = [&]() -> std::int64_t {
        const bool isKnown = x[1].low == x[1].high && x[1].low >= 0 && x[1].low < byteSize(type->scalar) * 8;
        return isKnown && type->scalar != ScalarKind::bool_ ? x[1].low : -1;
    };
    switch (made.op) {
    case Op::add: return within({x[0].low + x[1].low, x[0].high + x[1].high});
    case Op::sub: return within({x[0].low - x[1].high, x[0].high - x[1].low});
    case Op::mul: {
        constexpr std::int64_t limit = 1LL << 31; // products of larger numbers may not fit in 64 bits
        for (const std::int64_t end : {x[0].low, x[0].high, x[1].low, x[1].high})
            if (std::abs(end) > limit) return full;
        const auto [low, high] =
            std::minmax({x[0].low * x[1].low, x[0].low * x[1].high, x[0].high * x[1].low, x[0].high * x[1].high});
        return within({low, high});
    }
    case Op::div: // by zero: by one
        return x[0].low < 0 || x[1].low < 1 ? full : Range{x[0].low / x[1].high, x[0].high / x[1].low};
    case Op::rem:
        if (x[1].low < 1) return full;
        return {x[0].low < 0 ? std::max(x[0].low, 1 - x[1].high) : 0,
                std::min(std::max<std::int64_t>(x[0].high, 0), x[1].high - 1)};
    case Op::bitAnd: // no larger than an operand that is not negative
        if (x[0].low < 0 && x[1].low < 0) return full;
        return {0, x[0].low < 0 ? x[1].high : x[1].low < 0 ? x[0].high : std::min(x[0].high, x[1].high)};
    case Op::shr: {
        const std::int64_t by = distance();
        return x[0].low < 0 || by < 0 ? full : Range{x[0].low >> by, x[0].high >> by};
    }
    case Op::shl: {
        const std::int64_t by = distance();
        return x[0].low < 0 || by < 0 ? full : within({x[0].low << by, x[0].high << by});
    }
    case Op::select: return {std::min(x[1].low, x[2].low), std::max(x[1].high, x[2].high)};
    case Op::convert: // one that changes nothing
        return isNarrowInteger(made.operands[0]->type) && type->scalar != ScalarKind::bool_ ? within(x[0]) : full;
    case Op::builtin: return builtinRange(made, x, full);
    default: return full;
    }
}

} // namespace msl
