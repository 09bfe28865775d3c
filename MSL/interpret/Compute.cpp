// What an instruction gives.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/constant/Functions.h"
#include "MSL/interpret/Machine.h"
#include "MSL/ir/Fold.h"

#include <algorithm>

namespace msl::interpret {

using constant::Scalar;
using ir::Instruction;
using ir::Op;
using ir::Value;

namespace {

// Where the part at the end of a constant path begins, in numbers, and what it is.
std::pair<std::size_t, TypeRef> partAt(const ir::Module& module, TypeRef type, std::span<const std::uint32_t> path) {
    std::size_t at = 0;
    for (const std::uint32_t index : path) {
        for (std::uint32_t i = 0; i < index; ++i)
            at += numberCount(ir::partType(module.types, type, i));
        type = ir::partType(module.types, type, index);
    }
    return {at, type};
}

} // namespace

const Numbers& Machine::value(Thread& thread, const Value& wanted) {
    if (wanted.kind == Value::Kind::parameter || wanted.kind == Value::Kind::result) {
        Numbers& made = thread.values[wanted.id];
        if (made.empty()) { // broken IR: goes on with something, so that nothing else need ask
            stop(Outcome::trapped, "a value is used before it is made");
            fill(wanted.type, 0, made);
            if (made.empty()) made.push_back({});
        }
        return made;
    }
    Numbers& known = constants_[wanted.id];
    if (!known.empty()) return known;
    if (wanted.isConstant()) {
        appendConstant(module_, wanted, known);
    } else if (wanted.kind == Value::Kind::undefined) {
        fill(wanted.type, launch_.undefinedBits, known);
    } else {
        const auto given = std::ranges::find(launch_.constants, wanted.bits, &Constant::number);
        fill(wanted.type, given != launch_.constants.end() ? given->bits : 0, known);
    }
    return known;
}

constant::Operand Machine::operand(Thread& thread, const Value& wanted) {
    return {value(thread, wanted), wanted.type->isMatrix() ? wanted.type->columns : 1U};
}

void Machine::compute(Thread& thread, const Instruction& instruction, Numbers& out) {
    const auto x = [&](std::size_t i) -> const Numbers& { return value(thread, *instruction.operands[i]); };
    const TypeRef type = instruction.result != nullptr ? instruction.result->type : nullptr;
    if (const auto op = ir::scalarOp(instruction.op)) {
        const Numbers& left = x(0);
        for (std::size_t i = 0; i < left.size(); ++i)
            out.push_back(instruction.operands.size() == 1
                              ? constant::compute(*op, left[i]).value
                              : constant::compute(*op, left[i], x(1)[x(1).size() == 1 ? 0 : i]).value);
        return;
    }
    switch (instruction.op) {
    case Op::load: {
        const auto from = locate(thread, instruction);
        if (from && !read(*from, out)) trap(instruction, "past the end of its object");
        break;
    }
    case Op::store: {
        const auto to = locate(thread, instruction);
        if (!to || (thread.isDiscarded && to->isBytes)) return; // a helper writes no memory that others see
        if (!write(*to, x(0))) trap(instruction, "past the end of its object");
        break;
    }
    case Op::arrayLength: {
        const auto array = locate(thread, instruction);
        if (array) out.push_back(Scalar::integer(ScalarKind::uint, elementCount(*array, *instruction.place->root)));
        break;
    }
    case Op::matrixTimesMatrix:
    case Op::matrixTimesVector:
    case Op::vectorTimesMatrix:
    case Op::matrixTimesScalar:
        out.resize(numberCount(type));
        if (!constant::product(operand(thread, *instruction.operands[0]), operand(thread, *instruction.operands[1]),
                               out))
            trap(instruction, "its operands do not fit together");
        break;
    case Op::convert:
        for (const Scalar& number : x(0))
            out.push_back(constant::convert(number, type->scalar).value);
        break;
    case Op::bitcast:
        out.resize(numberCount(type));
        if (!constant::bitcast(x(0), type->scalar, out)) trap(instruction, "its operand has another size");
        break;
    case Op::construct:
        for (std::size_t i = 0; i < instruction.operands.size(); ++i)
            out.insert(out.end(), x(i).begin(), x(i).end());
        break;
    case Op::extract: {
        const auto [at, part] = partAt(module_, instruction.operands[0]->type, instruction.indices);
        const auto begin = x(0).begin() + static_cast<std::ptrdiff_t>(at);
        out.assign(begin, begin + static_cast<std::ptrdiff_t>(numberCount(part)));
        break;
    }
    case Op::insert: {
        const auto [at, part] = partAt(module_, instruction.operands[0]->type, instruction.indices);
        out = x(0);
        std::ranges::copy(x(1), out.begin() + static_cast<std::ptrdiff_t>(at));
        break;
    }
    case Op::extractDynamic: {
        const std::uint64_t index = x(1)[0].bits;
        if (index >= x(0).size())
            trap(instruction, "component " + std::to_string(static_cast<std::int64_t>(index)) + " of " +
                                  std::to_string(x(0).size()));
        else
            out.push_back(x(0)[index]);
        break;
    }
    case Op::shuffle:
        for (const std::uint32_t index : instruction.indices)
            out.push_back(index < x(0).size() ? x(0)[index] : x(1)[index - x(0).size()]);
        break;
    case Op::select:
        for (std::size_t i = 0; i < x(1).size(); ++i)
            out.push_back(x(0)[x(0).size() == 1 ? 0 : i].isTrue() ? x(1)[i] : x(2)[i]);
        break;
    case Op::builtin: builtin(thread, instruction, out); break;
    default: notSupported("the instruction '" + std::string(ir::opName(instruction.op)) + "'"); break;
    }
}

void Machine::builtin(Thread& thread, const Instruction& instruction, Numbers& out) {
    const BuiltinId id = instruction.builtinId;
    if (id == BuiltinId::threadgroupBarrier) {
        thread.isWaiting = true;
        return;
    }
    if (id == BuiltinId::atomicFence) return; // threads run in turn
    if (builtinFamily(id) == BuiltinFamily::atomic) {
        atomic(thread, instruction, out);
        return;
    }
    if (instruction.result != nullptr && instruction.place == nullptr) {
        const TypeRef type = instruction.result->type;
        std::vector<constant::Operand> operands;
        for (const Value* given : instruction.operands)
            operands.push_back(operand(thread, *given));
        out.resize(numberCount(type));
        if (constant::call(id, instruction.precision, operands, type->scalar, out)) return;
    }
    notSupported("the function '" + std::string(builtinName(id)) + "' (or its result for these numbers)");
}

// The object holds an integer of the operand's size, perhaps of the other sign.
void Machine::atomic(Thread& thread, const Instruction& instruction, Numbers& out) {
    const auto object = locate(thread, instruction);
    Numbers found;
    if (!object) return;
    if (!read(*object, found)) {
        trap(instruction, "past the end of its object");
        return;
    }
    const BuiltinId id = instruction.builtinId;
    const ScalarKind kind =
        id == BuiltinId::atomicLoad ? instruction.result->type->scalar : instruction.operands[0]->type->scalar;
    const Scalar old = isFloating(kind) ? Scalar{kind, found[0].bits} : Scalar::integer(kind, found[0].bits);
    const Scalar given = id == BuiltinId::atomicLoad ? old : value(thread, *instruction.operands[0])[0];
    const auto computed = [&](constant::Op op) { return constant::compute(op, old, given).value; };
    Scalar changed = old;
    switch (id) {
    case BuiltinId::atomicLoad: break;
    case BuiltinId::atomicStore:
    case BuiltinId::atomicExchange: changed = given; break;
    case BuiltinId::atomicCompareExchangeWeak: // operand 0 is what is expected, operand 1 what is wanted
        if (old.bits == given.bits) changed = value(thread, *instruction.operands[1])[0];
        break;
    case BuiltinId::atomicFetchAdd: changed = computed(constant::Op::add); break;
    case BuiltinId::atomicFetchSub: changed = computed(constant::Op::sub); break;
    case BuiltinId::atomicFetchAnd: changed = computed(constant::Op::bitAnd); break;
    case BuiltinId::atomicFetchOr: changed = computed(constant::Op::bitOr); break;
    case BuiltinId::atomicFetchXor: changed = computed(constant::Op::bitXor); break;
    case BuiltinId::atomicFetchMax:
    case BuiltinId::atomicMax:
        if (computed(constant::Op::less).isTrue()) changed = given;
        break;
    case BuiltinId::atomicFetchMin:
    case BuiltinId::atomicMin:
        if (computed(constant::Op::greater).isTrue()) changed = given;
        break;
    default: notSupported("the atomic operation '" + std::string(builtinName(id)) + "'"); return;
    }
    const ScalarKind held = found[0].kind;
    found[0] = isFloating(held) ? Scalar{held, changed.bits} : Scalar::integer(held, changed.bits);
    if (id != BuiltinId::atomicLoad && !thread.isDiscarded) write(*object, found);
    if (instruction.result != nullptr) out.push_back(old);
}

} // namespace msl::interpret
