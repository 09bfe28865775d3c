#include "MSL/constant/Functions.h"

#include "MSL/constant/Families.h"

namespace msl::constant {

namespace {

constexpr std::size_t maxOperands = 4;

// How many numbers a function takes that works component by component; 0: it is none of these.
std::size_t operandCount(BuiltinId id) {
    switch (id) {
    case BuiltinId::atan2:
    case BuiltinId::copysign:
    case BuiltinId::divide:
    case BuiltinId::fdim:
    case BuiltinId::fmax:
    case BuiltinId::fmin:
    case BuiltinId::fmod:
    case BuiltinId::ldexp:
    case BuiltinId::nextafter:
    case BuiltinId::pow:
    case BuiltinId::powr:
    case BuiltinId::remainder:
    case BuiltinId::step:
    case BuiltinId::absdiff:
    case BuiltinId::max:
    case BuiltinId::min:
    case BuiltinId::addsat:
    case BuiltinId::subsat:
    case BuiltinId::hadd:
    case BuiltinId::rhadd:
    case BuiltinId::mul24:
    case BuiltinId::mulhi:
    case BuiltinId::rotate:
    case BuiltinId::isordered:
    case BuiltinId::isunordered: return 2;
    case BuiltinId::fma:
    case BuiltinId::fmax3:
    case BuiltinId::fmin3:
    case BuiltinId::fmedian3:
    case BuiltinId::clamp:
    case BuiltinId::mix:
    case BuiltinId::smoothstep:
    case BuiltinId::max3:
    case BuiltinId::min3:
    case BuiltinId::median3:
    case BuiltinId::extractBits:
    case BuiltinId::madhi:
    case BuiltinId::madsat:
    case BuiltinId::mad24:
    case BuiltinId::select: return 3;
    case BuiltinId::insertBits: return 4;
    default: return id > BuiltinId::none && id <= BuiltinId::signbit ? 1 : 0;
    }
}

} // namespace

bool call(BuiltinId id, Precision precision, std::span<const Operand> operands, ScalarKind resultKind,
          std::span<Scalar> result) {
    for (const Operand& operand : operands)
        if (operand.parts.empty()) return false;
    if (isVectorFunction(id)) return vectorFunction(id, operands, result);
    // A function that gives back through a reference has its operand alone here.
    if (operands.empty() || operands.size() != operandCount(id)) return false;
    for (std::size_t i = 0; i < result.size(); ++i) {
        Scalar given[maxOperands];
        for (std::size_t o = 0; o < operands.size(); ++o) {
            const std::span<const Scalar> parts = operands[o].parts;
            if (parts.size() != 1 && parts.size() != result.size()) return false;
            given[o] = parts[parts.size() == 1 ? 0 : i];
        }
        const std::span<const Scalar> x(given, operands.size());
        std::optional<Scalar> made;
        if (id == BuiltinId::select)
            made = x[2].isTrue() ? x[1] : x[0];
        else if (id == BuiltinId::notFn)
            made = Scalar::boolean(!x[0].isTrue());
        else
            made = x[0].isInteger() ? integerFunction(id, x, resultKind) : floatFunction(id, precision, x, resultKind);
        if (!made || made->kind != resultKind) return false;
        result[i] = *made;
    }
    return true;
}

} // namespace msl::constant
