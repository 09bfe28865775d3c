#include "MSL/constant/Functions.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/constant/Families.h"

namespace msl::constant {

namespace {

constexpr std::size_t maxOperands = 4;

// How many numbers a function takes that works component by component; 0: it is none of these.
std::size_t operandCount(BuiltinId id) {
    using enum BuiltinFamily;
    const BuiltinFamily family = builtinFamily(id);
    if (family != math && family != integer && family != relational) return 0;
    const BuiltinSignature& signature = *builtinSignature(id);
    std::size_t count = 0;
    for (unsigned i = 0; i < signature.parameterCount; ++i)
        count += !isReferenceSlot(signature.parameters[i]);
    return count;
}

} // namespace

bool call(BuiltinId id, Precision precision, std::span<const Operand> operands, ScalarKind resultKind,
          std::span<Scalar> result) {
    for (const Operand& operand : operands)
        if (operand.parts.empty()) return false;
    if (isVectorFunction(id)) return vectorFunction(id, operands, result);
    if (builtinFamily(id) == BuiltinFamily::packing) return packingFunction(id, operands, resultKind, result);
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
