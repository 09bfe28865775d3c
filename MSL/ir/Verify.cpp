#include "MSL/ir/Ir.h"
#include "MSL/ir/VerifyBuiltins.h"

#include <algorithm>
#include <vector>

namespace msl::ir {

namespace {

class Verifier {
  public:
    explicit Verifier(const Module& module)
        : module_(module), isVisible_(module.valueCount(), false), isReachable_(module.variableCount(), false) {}

    std::string run() {
        for (const Variable* variable : module_.globals) {
            isReachable_[variable->id] = true;
            if (variable->kind == Variable::Kind::constantTable &&
                (variable->initializer == nullptr || !variable->initializer->isConstant()))
                return "constant table '" + std::string(variable->name) + "' has no constant value";
        }
        for (const Function* function : module_.functions) {
            this->function(*function);
            if (!fault_.empty()) return "function '" + std::string(function->name) + "': " + fault_;
            known_.push_back(function);
        }
        for (const Entry* entry : module_.entries) {
            if (entry->function == nullptr || std::ranges::find(known_, entry->function) == known_.end())
                return "entry '" + std::string(entry->name) + "' has no function in the module";
            if (!entry->function->returnType->is(TypeKind::void_) || !entry->function->parameters.empty())
                return "entry '" + std::string(entry->name) + "' takes or returns something";
        }
        return {};
    }

  private:
    bool fail(std::string what) {
        if (fault_.empty()) fault_ = std::move(what);
        return false;
    }
    bool fail(const Instruction& instruction, std::string_view what) {
        return fail(std::string(opName(instruction.op)) + ": " + std::string(what));
    }

    void function(const Function& function) {
        function_ = &function;
        for (const Value* parameter : function.parameters)
            isVisible_[parameter->id] = true;
        for (const Variable* variable : function.pointerParameters)
            isReachable_[variable->id] = true;
        for (const Variable* variable : *function.locals) {
            isReachable_[variable->id] = true;
            if (variable->initializer != nullptr &&
                (!variable->initializer->isConstant() || variable->initializer->type != variable->type))
                fail("local '" + std::string(variable->name) +
                     "' starts with something that is no constant of its type");
        }
        block(*function.body, {});
        for (const Value* parameter : function.parameters)
            isVisible_[parameter->id] = false;
        for (const Variable* variable : function.pointerParameters)
            isReachable_[variable->id] = false;
        for (const Variable* variable : *function.locals)
            isReachable_[variable->id] = false;
    }

    struct Inside {
        bool loop = false;       // continue_ has a target
        bool breakable = false;  // break_ has one
        bool continuing = false; // directly in a continuing block, where no terminator may stand
    };

    void block(const Block& block, Inside inside) {
        std::vector<std::uint32_t> defined;
        this->instructions(block, inside, defined);
        for (const std::uint32_t id : defined)
            isVisible_[id] = false;
    }

    void instructions(const Block& block, Inside inside, std::vector<std::uint32_t>& defined) {
        const Instruction* previous = nullptr;
        for (const Instruction* at = block.first; at != nullptr && fault_.empty(); at = at->next) {
            if (at->previous != previous) {
                fail(*at, "the block's links are broken");
                return;
            }
            previous = at;
            instruction(*at, inside);
            if (at->result != nullptr) {
                if (at->result->definition != at) fail(*at, "its result does not know it");
                isVisible_[at->result->id] = true;
                defined.push_back(at->result->id);
            }
        }
        if (fault_.empty() && block.last != previous) fail("the block's last instruction is not its last");
    }

    static bool isValueType(TypeRef type) {
        return type->isNumeric() || type->is(TypeKind::struct_) || (type->is(TypeKind::array) && type->count != 0);
    }

    bool use(const Instruction& instruction, const Value* value) {
        if (value == nullptr) return fail(instruction, "an operand is missing");
        if ((value->kind == Value::Kind::parameter || value->kind == Value::Kind::result) && !isVisible_[value->id])
            return fail(instruction, "uses a value before or outside of where it is defined");
        if (value->kind == Value::Kind::undefined) return fail(instruction, "uses an undefined value");
        if (!isValueType(value->type)) return fail(instruction, "a value of type '" + typeName(value->type) + "'");
        return true;
    }

    static bool isWritable(const Variable& variable) {
        switch (variable.kind) {
        case Variable::Kind::local:
        case Variable::Kind::pointerParameter:
        case Variable::Kind::output:
        case Variable::Kind::threadgroup:
        case Variable::Kind::address: return true;
        case Variable::Kind::buffer: return variable.isWritable;
        default: return false;
        }
    }

    static bool isOutside(const Step& step, TypeRef container) {
        if (step.value != nullptr && !step.value->isConstant()) return false;
        const std::int64_t index = step.value != nullptr ? Module::intValue(step.value) : step.number;
        if (container->is(TypeKind::array) && container->count == 0) return index < 0;
        return index < 0 || static_cast<std::uint64_t>(index) >= partCount(container);
    }

    bool checkPlace(const Instruction& instruction, const Place* place) {
        if (place == nullptr || place->root == nullptr) return fail(instruction, "it has no place");
        if (!isReachable_[place->root->id])
            return fail(instruction,
                        "its variable '" + std::string(place->root->name) + "' belongs to another function");
        TypeRef type = place->root->type;
        for (const Step& step : place->steps) {
            if (step.kind == Step::Kind::member) {
                if (!type->is(TypeKind::struct_) || step.number >= type->record->fields.size())
                    return fail(instruction, "a member step into '" + typeName(type) + "'");
                type = type->record->fields[step.number].type;
                continue;
            }
            if (!type->is(TypeKind::array) && !type->isVector() && !type->isMatrix() &&
                !type->is(TypeKind::packedVector))
                return fail(instruction, "an index step into '" + typeName(type) + "'");
            if (step.isChecked && isOutside(step, type)) return fail(instruction, "a checked index that is outside");
            if (step.value != nullptr) {
                use(instruction, step.value);
                const bool isAddress = &step == place->steps.data() && place->root->kind == Variable::Kind::address;
                if (isAddress ? step.value->type != module_.types.scalar(ScalarKind::ulong)
                              : !step.value->type->isScalar() || (step.value->type->scalar != ScalarKind::int_ &&
                                                                  step.value->type->scalar != ScalarKind::uint))
                    return fail(instruction, "an index of type '" + typeName(step.value->type) + "'");
            }
            type = type->is(TypeKind::array) ? type->element : partType(module_.types, type, 0);
        }
        if (valueType(module_.types, type) != valueType(module_.types, place->type))
            return fail(instruction,
                        "its place says '" + typeName(place->type) + "' and leads to '" + typeName(type) + "'");
        return true;
    }

    bool count(const Instruction& instruction, std::size_t operands) {
        if (instruction.operands.size() != operands)
            return fail(instruction, "it has " + std::to_string(instruction.operands.size()) + " operands");
        return true;
    }

    bool same(const Instruction& instruction, TypeRef left, TypeRef right) {
        if (left != right) return fail(instruction, "'" + typeName(left) + "' and '" + typeName(right) + "' differ");
        return true;
    }

    void instruction(const Instruction& in, Inside inside) {
        if (in.op != Op::loop) // a loop's operand is made inside of it
            for (const Value* operand : in.operands)
                use(in, operand);
        if (!fault_.empty()) return;
        const TypeRef result = in.result != nullptr ? in.result->type : nullptr;
        switch (in.op) {
        case Op::load:
            if (checkPlace(in, in.place) && count(in, 0)) same(in, result, valueType(module_.types, in.place->type));
            break;
        case Op::store:
            if (checkPlace(in, in.place) && count(in, 1) &&
                same(in, in.operands[0]->type, valueType(module_.types, in.place->type)) &&
                !isWritable(*in.place->root))
                fail(in, "'" + std::string(in.place->root->name) + "' is never written");
            break;
        case Op::add:
        case Op::sub:
        case Op::mul:
        case Op::div:
        case Op::rem:
        case Op::shl:
        case Op::shr:
        case Op::bitAnd:
        case Op::bitOr:
        case Op::bitXor:
        case Op::logicalAnd:
        case Op::logicalOr:
            if (count(in, 2) && same(in, in.operands[0]->type, result)) same(in, in.operands[1]->type, result);
            if (fault_.empty()) family(in, result);
            break;
        case Op::neg:
        case Op::bitNot:
        case Op::logicalNot:
            if (count(in, 1) && same(in, in.operands[0]->type, result)) family(in, result);
            break;
        case Op::equal:
        case Op::notEqual:
        case Op::less:
        case Op::lessEqual:
        case Op::greater:
        case Op::greaterEqual:
            if (in.op >= Op::less && count(in, 2) && in.operands[0]->type->scalar == ScalarKind::bool_)
                fail(in, "of bools");
            if (count(in, 2) && same(in, in.operands[0]->type, in.operands[1]->type) &&
                (result->scalar != ScalarKind::bool_ || result->columns != in.operands[0]->type->columns))
                fail(in, "gives '" + typeName(result) + "'");
            break;
        case Op::matrixTimesMatrix:
        case Op::matrixTimesVector:
        case Op::vectorTimesMatrix:
        case Op::matrixTimesScalar:
        case Op::vectorTimesScalar:
            if (count(in, 2)) product(in, in.operands[0]->type, in.operands[1]->type, result);
            break;
        case Op::convert:
            if (count(in, 1) &&
                (result->columns != in.operands[0]->type->columns || result->isMatrix() ||
                 in.operands[0]->type->isMatrix() || !result->isNumeric() || !in.operands[0]->type->isNumeric()))
                fail(in, "from '" + typeName(in.operands[0]->type) + "' to '" + typeName(result) + "'");
            break;
        case Op::bitcast:
            if (count(in, 1) && layoutOf(result).size != layoutOf(in.operands[0]->type).size &&
                byteSize(result->scalar) * result->columns !=
                    byteSize(in.operands[0]->type->scalar) * in.operands[0]->type->columns)
                fail(in, "changes the size");
            break;
        case Op::construct: construct(in, result); break;
        case Op::extract:
        case Op::insert: {
            if (!count(in, in.op == Op::extract ? 1 : 2)) return;
            TypeRef type = in.operands[0]->type;
            for (const std::uint32_t index : in.indices) {
                if (index >= partCount(type)) {
                    fail(in, "takes part " + std::to_string(index) + " of '" + typeName(type) + "'");
                    return;
                }
                type = partType(module_.types, type, index);
            }
            if (same(in, type, in.op == Op::extract ? result : in.operands[1]->type) && in.op == Op::insert)
                same(in, result, in.operands[0]->type);
            break;
        }
        case Op::extractDynamic:
            if (!count(in, 2)) break;
            if (!in.operands[0]->type->isVector())
                fail(in, "indexes '" + typeName(in.operands[0]->type) + "'");
            else if (!in.operands[1]->type->isScalar() || !in.operands[1]->type->isIntegerNumeric())
                fail(in, "by '" + typeName(in.operands[1]->type) + "'");
            else
                same(in, result, module_.types.scalar(in.operands[0]->type->scalar));
            break;
        case Op::shuffle: {
            std::uint32_t width = 0;
            for (const Value* operand : in.operands)
                width += operand->type->columns;
            if (in.operands.empty() || std::ranges::any_of(in.indices, [&](std::uint32_t i) { return i >= width; }) ||
                result->columns != in.indices.size() || result->scalar != in.operands[0]->type->scalar)
                fail(in, "chooses components that are not there");
            break;
        }
        case Op::select:
            if (count(in, 3) && same(in, in.operands[1]->type, result) && same(in, in.operands[2]->type, result) &&
                !in.operands[0]->type->isBool() &&
                (!result->isVector() || in.operands[0]->type != module_.types.withScalar(result, ScalarKind::bool_)))
                fail(in, "chooses by '" + typeName(in.operands[0]->type) + "'");
            if (fault_.empty() && result->isMatrix()) fail(in, "of a matrix");
            break;
        case Op::call:
            if (in.callee == nullptr || std::ranges::find(known_, in.callee) == known_.end()) {
                fail(in, "its function does not stand before it");
                return;
            }
            if (in.operands.size() != in.callee->parameters.size() ||
                in.variables.size() != in.callee->pointerParameters.size()) {
                fail(in, "the arguments of '" + std::string(in.callee->name) + "' do not match its parameters");
                return;
            }
            for (std::size_t i = 0; i < in.operands.size(); ++i)
                same(in, in.operands[i]->type, in.callee->parameters[i]->type);
            if ((result == nullptr) != in.callee->returnType->is(TypeKind::void_))
                fail(in, "its result is not its function's");
            else if (result != nullptr)
                same(in, result, in.callee->returnType);
            for (std::size_t i = 0; i < in.variables.size(); ++i) {
                same(in, in.variables[i]->type, in.callee->pointerParameters[i]->type);
                const Variable::Kind kind = in.variables[i]->kind;
                if (kind != Variable::Kind::local && kind != Variable::Kind::pointerParameter)
                    fail(in, "passes '" + std::string(in.variables[i]->name) + "', which is no thread's variable");
                if (!isReachable_[in.variables[i]->id]) fail(in, "passes a variable of another function");
            }
            break;
        case Op::builtin:
            if (in.place == nullptr || checkPlace(in, in.place)) {
                const std::string fault = builtinFault(module_, in);
                if (!fault.empty()) fail(in, fault);
            }
            break;
        case Op::arrayLength:
            if (checkPlace(in, in.place) && (!in.place->type->is(TypeKind::array) || in.place->type->count != 0))
                fail(in, "asks '" + typeName(in.place->type) + "' for its length");
            else if (fault_.empty())
                same(in, result, module_.types.uint());
            break;
        case Op::if_:
            if (count(in, 1) && !in.operands[0]->type->isBool())
                fail(in, "its condition is '" + typeName(in.operands[0]->type) + "'");
            else if (in.blocks.size() == 2) {
                block(*in.blocks[0], inside);
                block(*in.blocks[1], inside);
            } else
                fail(in, "it has no blocks");
            break;
        case Op::loop: loop(in); break;
        case Op::switch_: {
            unsigned defaults = 0;
            std::vector<std::int64_t> labels;
            if (!count(in, 1) || !in.operands[0]->type->isScalar() || !in.operands[0]->type->isIntegerNumeric()) {
                fail(in, "it does not choose by an integer");
                return;
            }
            for (const SwitchCase& one : in.cases) {
                defaults += one.isDefault ? 1 : 0;
                labels.insert(labels.end(), one.values.begin(), one.values.end());
                if (!one.block->isTerminated()) fail(in, "a case runs on into the next");
                block(*one.block, {.loop = inside.loop, .breakable = true});
            }
            if (defaults > 1) fail(in, "it has two defaults");
            std::ranges::sort(labels);
            if (std::ranges::adjacent_find(labels) != labels.end()) fail(in, "two cases of one value");
            break;
        }
        case Op::break_:
            if (!inside.breakable) fail(in, "nothing to leave");
            terminator(in);
            break;
        case Op::continue_:
            if (!inside.loop) fail(in, "no loop to continue");
            terminator(in);
            break;
        case Op::return_:
            if (inside.continuing) fail(in, "it stands in a continuing block");
            if (in.operands.empty() != function_->returnType->is(TypeKind::void_))
                fail(in, "it returns something or nothing against its function's type");
            else if (!in.operands.empty())
                same(in, in.operands[0]->type, function_->returnType);
            terminator(in);
            break;
        case Op::unreachable: terminator(in); break;
        default: break;
        }
    }

    // What an operator of numbers works on.
    void family(const Instruction& in, TypeRef type) {
        const bool isPlain = type->isScalar() || type->isVector();
        const bool isBool = type->scalar == ScalarKind::bool_;
        bool fits = isPlain;
        switch (in.op) {
        case Op::logicalAnd:
        case Op::logicalOr:
        case Op::logicalNot: fits = isPlain && isBool; break;
        case Op::shl:
        case Op::shr:
        case Op::bitNot: fits = isPlain && isInteger(type->scalar) && !isBool; break;
        case Op::bitAnd:
        case Op::bitOr:
        case Op::bitXor: fits = isPlain && isInteger(type->scalar); break;
        default: fits = isPlain && !isBool; break;
        }
        if (!fits) fail(in, "of type '" + typeName(type) + "'");
    }

    void product(const Instruction& in, TypeRef left, TypeRef right, TypeRef result) {
        bool fits = left->scalar == right->scalar && left->scalar == result->scalar && isFloating(result->scalar);
        switch (in.op) {
        case Op::matrixTimesMatrix:
            fits = fits && left->isMatrix() && right->isMatrix() && result->isMatrix() &&
                   left->columns == right->rows && result->columns == right->columns && result->rows == left->rows;
            break;
        case Op::matrixTimesVector:
            fits = fits && left->isMatrix() && right->isVector() && result->isVector() &&
                   left->columns == right->columns && result->columns == left->rows;
            break;
        case Op::vectorTimesMatrix:
            fits = fits && left->isVector() && right->isMatrix() && result->isVector() &&
                   left->columns == right->rows && result->columns == right->columns;
            break;
        case Op::matrixTimesScalar: fits = fits && left->isMatrix() && right->isScalar() && result == left; break;
        default: fits = fits && left->isVector() && right->isScalar() && result == left; break;
        }
        if (!fits) fail(in, "'" + typeName(left) + "' by '" + typeName(right) + "' gives '" + typeName(result) + "'");
    }

    void terminator(const Instruction& in) {
        if (in.next != nullptr) fail(in, "something follows it in its block");
    }

    void construct(const Instruction& in, TypeRef result) {
        if (result->isVector()) {
            std::uint32_t components = 0;
            for (const Value* operand : in.operands) {
                if ((!operand->type->isScalar() && !operand->type->isVector()) ||
                    operand->type->scalar != result->scalar)
                    fail(in, "'" + typeName(operand->type) + "' in '" + typeName(result) + "'");
                components += operand->type->columns;
            }
            if (components != result->columns)
                fail(in, "has " + std::to_string(components) + " components for '" + typeName(result) + "'");
            return;
        }
        if (!count(in, partCount(result))) return;
        for (std::uint32_t i = 0; i < in.operands.size(); ++i)
            same(in, in.operands[i]->type, partType(module_.types, result, i));
    }

    void loop(const Instruction& in) {
        if (in.blocks.size() != 2) {
            fail(in, "it has no blocks");
            return;
        }
        block(*in.blocks[0], {.loop = true, .breakable = true});
        std::vector<std::uint32_t> defined;
        instructions(*in.blocks[1], {.continuing = true}, defined);
        for (const Value* operand : in.operands) // breakIf, made in the continuing block
            use(in, operand);
        for (const std::uint32_t id : defined)
            isVisible_[id] = false;
    }

    const Module& module_;
    const Function* function_ = nullptr;
    std::vector<const Function*> known_;
    std::vector<bool> isVisible_;   // by Value::id
    std::vector<bool> isReachable_; // by Variable::id
    std::string fault_;
};

} // namespace

std::string verify(const Module& module) {
    return Verifier(module).run();
}

} // namespace msl::ir
