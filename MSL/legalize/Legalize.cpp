#include "MSL/legalize/Legalize.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"
#include "MSL/legalize/Precise.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace msl {

using ir::Block;
using ir::Instruction;
using ir::Op;
using ir::Place;
using ir::Step;
using ir::Value;

namespace {

// Whether every component of a constant passes.
template <typename Test>
bool everyComponent(const Value* constant, Test test) {
    if (!constant->isConstant()) return false;
    if (constant->type->isScalar()) return test(ir::Module::intValue(constant));
    if (constant->parts.empty()) return test(0);
    for (const Value* part : constant->parts)
        if (!test(ir::Module::intValue(part))) return false;
    return true;
}

// Those that look at the bits of a half, or only choose.
bool worksOnHalves(BuiltinId id) {
    return id == BuiltinId::signbit || id == BuiltinId::select || id == BuiltinId::copysign ||
           id == BuiltinId::nextafter || id == BuiltinId::isfinite || id == BuiltinId::isnormal ||
           id == BuiltinId::notFn;
}
bool worksOnBfloats(BuiltinId id) { // the range of a bfloat is that of a float
    return worksOnHalves(id) && id != BuiltinId::isfinite && id != BuiltinId::isnormal;
}

bool hasBfloat(const Instruction& at) {
    return at.result->type->scalar == ScalarKind::bfloat || at.operands[0]->type->scalar == ScalarKind::bfloat;
}

// Walks every block once, in the order in which it runs. A value that something else replaces is remembered; its uses
// come later and are changed when they are met.
class Legalizer {
  public:
    Legalizer(ir::Module& module, const Target& target) : module_(module), builder_(module), target_(target) {}

    void run() {
        for (const ir::Function* function : module_.functions)
            block(*function->body);
        // A form may call others: their functions appear while its own is looked at.
        for (std::size_t i = 0; i < forms_.count(); ++i)
            if (forms_.function(i) != nullptr) block(*forms_.function(i)->body);
        std::vector<ir::Function*> functions; // callees before callers
        forms_.takeFunctions(functions);
        functions.insert(functions.end(), module_.functions.begin(), module_.functions.end());
        module_.functions = std::move(functions);
    }

  private:
    Value* current(Value* value) const {
        while (value->id < replacements_.size() && replacements_[value->id] != nullptr)
            value = replacements_[value->id];
        return value;
    }

    void replace(Block& block, Instruction& at, Value* by) {
        if (at.result->id >= replacements_.size()) replacements_.resize(module_.valueCount() + 64);
        replacements_[at.result->id] = by;
        block.remove(&at);
    }

    void block(Block& block) {
        for (Instruction* at = block.first; at != nullptr;) {
            Instruction* next = at->next;
            if (at->op != Op::loop) updateOperands(*at);
            instruction(block, *at);
            at = next;
        }
    }

    void updateOperands(Instruction& at) {
        if (replacements_.empty()) return;
        for (Value*& operand : at.operands)
            operand = current(operand);
        if (at.place == nullptr) return;
        for (Step& step : at.place->steps)
            if (step.value != nullptr) step.value = current(step.value);
    }

    void instruction(Block& block, Instruction& at) {
        switch (at.op) {
        case Op::add:
        case Op::sub:
        case Op::mul:
        case Op::vectorTimesScalar:
        case Op::neg:
        case Op::equal:
        case Op::notEqual:
        case Op::less:
        case Op::lessEqual:
        case Op::greater:
        case Op::greaterEqual:
            if (!target_.computesBfloats && hasBfloat(at)) replace(block, at, spelledBfloat(block, at));
            return;
        case Op::div:
        case Op::rem:
            if (!target_.computesBfloats && hasBfloat(at)) {
                replace(block, at, spelledBfloat(block, at));
                return;
            }
            if (!isFloating(at.result->type->scalar) && !target_.definesDivision) guardDivision(block, at);
            return;
        case Op::shl:
        case Op::shr:
            if (!target_.definesShifts) guardShift(block, at);
            return;
        case Op::convert:
            if (!target_.computesBfloats && hasBfloat(at)) {
                replace(block, at, spelledBfloat(block, at));
                return;
            }
            if (!target_.definesConversions && isFloating(at.operands[0]->type->scalar) &&
                isInteger(at.result->type->scalar) && at.result->type->scalar != ScalarKind::bool_)
                guardConversion(block, at);
            return;
        case Op::builtin:
            if (isNumeric(builtinFamily(at.builtinId)) && at.result != nullptr && !at.operands.empty())
                function(block, at);
            return;
        default:
            for (Block* inner : at.blocks)
                this->block(*inner);
            for (const ir::SwitchCase& one : at.cases)
                this->block(*one.block);
            if (at.op == Op::loop) updateOperands(at); // its condition is made in its blocks
            return;
        }
    }

    // What `make` emits, legal itself, before an instruction.
    template <typename Make>
    Value* before(Block& block, Instruction& at, Make make) {
        Block made;
        builder_.block = &made;
        builder_.location = at.location;
        Value* value = make();
        if (value == nullptr) return nullptr;
        this->block(made);
        for (Instruction* next = made.first; next != nullptr;) {
            Instruction* moved = next;
            next = next->next;
            block.insertBefore(&at, moved);
        }
        return current(value);
    }

    Value* spelledBfloat(Block& block, Instruction& at) {
        return before(block, at, [&] { return spellBfloat(builder_, at); });
    }

    // A division by zero, and of the least number by minus one, divides by one instead: no device traps.
    void guardDivision(Block& block, Instruction& at) {
        const bool isSignedType = isSigned(at.result->type->scalar);
        if (everyComponent(at.operands[1], [&](std::int64_t d) { return d != 0 && (!isSignedType || d != -1); }))
            return;
        at.operands[1] = before(block, at, [&] {
            const Number left(builder_, at.operands[0]);
            const Number divisor(builder_, at.operands[1]);
            Number isUnsafe = divisor == 0;
            if (isSignedType) {
                const unsigned unused = 64 - byteSize(at.result->type->scalar) * 8;
                const auto least = static_cast<std::int64_t>(std::uint64_t{1} << 63U) >> unused;
                isUnsafe = either(isUnsafe, both(divisor == -1, left == least));
            }
            return choose(isUnsafe, divisor.constant(1), divisor).value;
        });
    }

    void guardShift(Block& block, Instruction& at) {
        const std::int64_t width = byteSize(at.result->type->scalar) * 8;
        if (everyComponent(at.operands[1], [&](std::int64_t count) { return count >= 0 && count < width; })) return;
        at.operands[1] = before(block, at, [&] { return (Number(builder_, at.operands[1]) & (width - 1)).value; });
    }

    // Truncates and saturates. The upper end needs care: the largest integer is no float, so what is past it is chosen
    // apart; below the lower end, which is a float, the value is raised to it. NaN becomes zero: what min and max make
    // of it differs from device to device.
    void guardConversion(Block& block, Instruction& at) {
        const TypeRef to = at.result->type;
        const unsigned bits = byteSize(to->scalar) * 8;
        const bool isSignedTarget = isSigned(to->scalar);
        const double limit = std::ldexp(1.0, static_cast<int>(isSignedTarget ? bits - 1 : bits));
        const double low = isSignedTarget ? -limit : 0.0;
        Value* isPast = nullptr;
        Value* bounded = before(block, at, [&] {
            Number x = Number(builder_, at.operands[0]).to(ScalarKind::float_);
            x = choose(x == x, x, 0.0);
            if (bits < 32) return call(BuiltinId::clamp, {x, x.constant(low), x.constant(limit - 1)}).value;
            isPast = (x >= limit).value;
            return call(BuiltinId::fmax, {x, x.constant(low)}).value;
        });
        // In range now: this conversion stays as it is.
        const TypeRef whole = bits < 32 ? module_.types.withScalar(to, ScalarKind::int_) : to;
        Block made;
        builder_.block = &made;
        Instruction* conversion = builder_.emit(Op::convert, whole, {&bounded, 1});
        block.insertBefore(&at, conversion);
        Value* result = before(block, at, [&] {
            const Number converted(builder_, conversion->result);
            if (isPast == nullptr) return converted.to(to->scalar).value;
            const std::int64_t most =
                isSignedTarget ? static_cast<std::int64_t>(~std::uint64_t{0} >> (65 - bits)) : std::int64_t{-1};
            return choose(Number(builder_, current(isPast)), converted.constant(most), converted).value;
        });
        replace(block, at, result);
    }

    void function(Block& block, Instruction& at) {
        Value* result = before(block, at, [&] { return spelled(at); });
        if (result != nullptr) replace(block, at, result);
    }

    // The call in terms of other functions; null where the target has it as it stands.
    Value* spelled(const Instruction& at) {
        const BuiltinId id = at.builtinId;
        const TypeRef type = at.result->type;
        if (at.precision == Precision::precise)
            if (Value* precise = forms_.call(builder_, id, type, at.operands)) return precise;
        const TypeTable& types = module_.types;
        const TypeRef first = at.operands[0]->type;
        Value* operands[4] = {};
        const std::size_t count = std::min<std::size_t>(at.operands.size(), 4);
        bool isChanged = false;

        const BuiltinFamily family = builtinFamily(id);
        const bool isByComponent = isComponentwise(family) && type->isVector();
        for (std::size_t i = 0; i < count; ++i) {
            operands[i] = at.operands[i];
            if (!isByComponent || !operands[i]->type->isScalar() || !hasShapeOfT(builtinSignature(id)->parameters[i]))
                continue;
            operands[i] = builder_.splat(types.vector(operands[i]->type->scalar, type->columns), operands[i]);
            isChanged = true;
        }
        if (family == BuiltinFamily::packing)
            return target_.floatFunctions.has(id) ? nullptr : spellPacking(builder_, id, type, at.operands);

        if (first->isNumeric() && !first->isMatrix() && computesInFloat(id, first->scalar)) {
            for (std::size_t i = 0; i < count; ++i)
                if (operands[i]->type->scalar == first->scalar)
                    operands[i] =
                        builder_.convert(types.withScalar(operands[i]->type, ScalarKind::float_), operands[i]);
            const bool isNarrow = type->isFloatingNumeric() && type->scalar == first->scalar;
            const TypeRef wide = isNarrow ? types.withScalar(type, ScalarKind::float_) : type;
            return builder_.convert(type, builder_.builtin(id, wide, {operands, count}));
        }
        if (const std::optional<Value*> made = spelledIn(id, type, {operands, count})) return *made;
        return isChanged ? builder_.builtin(id, type, {operands, count}) : nullptr;
    }

    bool computesInFloat(BuiltinId id, ScalarKind kind) const {
        if (kind == ScalarKind::half) return !target_.computesHalves && !worksOnHalves(id);
        return kind == ScalarKind::bfloat && !target_.computesBfloats && !worksOnBfloats(id);
    }

    // Nothing where the target has the function itself.
    std::optional<Value*> spelledIn(BuiltinId id, TypeRef type, Operands operands) {
        const BuiltinFamily family = builtinFamily(id);
        const ScalarKind kind = operands[0]->type->scalar;
        const bool isFloat = isFloating(kind);
        const bool isWord = kind == ScalarKind::int_ || kind == ScalarKind::uint;
        const auto orNothing = [](Value* made) { return made != nullptr ? std::optional(made) : std::nullopt; };
        if (isFloat && target_.floatFunctions.has(id)) {
            // Some have it for vectors, or for one type of exponent.
            if (id == BuiltinId::ldexp) return orNothing(spellFloat(builder_, id, type, operands));
            if (family == BuiltinFamily::geometric) return orNothing(spellGeometric(builder_, id, type, operands));
            return std::nullopt;
        }
        if (family == BuiltinFamily::geometric) return orNothing(spellGeometric(builder_, id, type, operands));
        if (family == BuiltinFamily::relational) return orNothing(spellRelational(builder_, id, type, operands));
        if (isFloat) return orNothing(spellFloat(builder_, id, type, operands));
        if (id == BuiltinId::abs && !isSigned(kind)) return operands[0];
        if (target_.integerFunctions.has(id) || (isWord && target_.wordFunctions.has(id))) return std::nullopt;
        return orNothing(spellInteger(builder_, id, type, operands));
    }

    ir::Module& module_;
    ir::Builder builder_;
    const Target& target_;
    PreciseForms forms_;
    std::vector<Value*> replacements_; // by Value::id
};

} // namespace

void legalize(ir::Module& module, const Target& target) {
    Legalizer(module, target).run();
}

} // namespace msl
