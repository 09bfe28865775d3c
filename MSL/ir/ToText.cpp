#include "MSL/ir/Ir.h"

#include <charconv>

namespace msl::ir {

namespace {

// In the order of enum class Op.
constexpr std::string_view opNames[] = {"load",
                                        "store",
                                        "add",
                                        "sub",
                                        "mul",
                                        "div",
                                        "rem",
                                        "neg",
                                        "bitNot",
                                        "logicalNot",
                                        "shl",
                                        "shr",
                                        "bitAnd",
                                        "bitOr",
                                        "bitXor",
                                        "logicalAnd",
                                        "logicalOr",
                                        "equal",
                                        "notEqual",
                                        "less",
                                        "lessEqual",
                                        "greater",
                                        "greaterEqual",
                                        "matrixTimesMatrix",
                                        "matrixTimesVector",
                                        "vectorTimesMatrix",
                                        "matrixTimesScalar",
                                        "vectorTimesScalar",
                                        "convert",
                                        "bitcast",
                                        "construct",
                                        "extract",
                                        "extractDynamic",
                                        "insert",
                                        "shuffle",
                                        "select",
                                        "builtin",
                                        "call",
                                        "arrayLength",
                                        "if",
                                        "loop",
                                        "switch",
                                        "break",
                                        "continue",
                                        "return",
                                        "discard",
                                        "unreachable"};

class Printer {
  public:
    explicit Printer(const Module& module) : module_(module) {}

    std::string print() {
        for (const Variable* variable : module_.globals)
            global(*variable);
        for (const Function* function : module_.functions)
            this->function(*function);
        for (const Entry* entry : module_.entries) {
            constexpr std::string_view stages[] = {"vertex", "fragment", "kernel"};
            out_ += "entry ";
            out_ += stages[static_cast<unsigned>(entry->stage)];
            out_ += ' ';
            out_ += entry->name;
            out_ += " = ";
            out_ += functionName(*entry->function);
            out_ += '\n';
        }
        return std::move(out_);
    }

  private:
    void number(std::uint64_t value) { out_ += std::to_string(value); }

    void value(const Value* value) {
        if (value == nullptr) {
            out_ += "nothing";
            return;
        }
        switch (value->kind) {
        case Value::Kind::undefined: out_ += "undefined"; return;
        case Value::Kind::parameter:
        case Value::Kind::result:
            out_ += '%';
            number(local(value->id));
            return;
        case Value::Kind::specialization:
            out_ += "specialization ";
            number(value->bits);
            return;
        case Value::Kind::constant: break;
        }
        if (value->parts.empty() && !value->type->isScalar()) {
            out_ += typeName(value->type) + "{}";
            return;
        }
        if (!value->parts.empty()) {
            out_ += typeName(value->type) + "{";
            for (std::size_t i = 0; i < value->parts.size(); ++i) {
                if (i > 0) out_ += ", ";
                this->value(value->parts[i]);
            }
            out_ += '}';
            return;
        }
        if (value->type->isBool()) {
            out_ += value->bits != 0 ? "true" : "false";
        } else if (isFloating(value->type->scalar)) {
            char text[32];
            const auto end = std::to_chars(text, text + sizeof text, static_cast<float>(Module::floatValue(value)));
            const std::string_view digits(text, static_cast<std::size_t>(end.ptr - text));
            out_ += digits;
            if (digits.find_first_of(".einf") == std::string_view::npos) out_ += ".0";
            if (value->type->scalar == ScalarKind::half) out_ += 'h';
            if (value->type->scalar == ScalarKind::bfloat) out_ += "bf";
        } else {
            out_ +=
                isSigned(value->type->scalar) ? std::to_string(Module::intValue(value)) : std::to_string(value->bits);
            if (!isSigned(value->type->scalar)) out_ += 'u';
        }
    }

    // Values and variables are numbered in the order in which a function shows them, so that the text does not change
    // when an unrelated part of the module does.
    std::uint32_t local(std::uint32_t id) {
        const auto [at, isNew] = numbers_.try_emplace(id, static_cast<std::uint32_t>(numbers_.size()));
        return at->second;
    }
    std::string variableName(const Variable& variable) {
        std::string name(variable.name.empty() ? std::string_view("v") : variable.name);
        const bool isLocal =
            variable.kind == Variable::Kind::local || variable.kind == Variable::Kind::pointerParameter;
        if (!isLocal) return "@" + name;
        const auto [at, isNew] =
            variableNumbers_.try_emplace(variable.id, static_cast<std::uint32_t>(variableNumbers_.size()));
        return name + "." + std::to_string(at->second);
    }
    std::string functionName(const Function& function) {
        return std::string(function.name) + "#" + std::to_string(function.id);
    }

    void place(const Place& place) {
        out_ += variableName(*place.root);
        TypeRef type = place.root->type;
        for (const Step& step : place.steps) {
            if (step.kind == Step::Kind::member) {
                out_ += '.';
                if (type->is(TypeKind::struct_) && step.number < type->record->fields.size() &&
                    !type->record->fields[step.number].name.empty())
                    out_ += type->record->fields[step.number].name;
                else
                    number(step.number);
                type = partType(module_.types, type, step.number);
            } else {
                out_ += '[';
                if (step.value != nullptr)
                    value(step.value);
                else
                    number(step.number);
                out_ += step.isChecked ? "!]" : "]";
                type = partType(module_.types, type, 0);
            }
        }
    }

    void global(const Variable& variable) {
        constexpr std::string_view kinds[] = {"local", "pointer", "table",      "buffer",      "texture", "sampler",
                                              "input", "output",  "attachment", "threadgroup", "address"};
        out_ += kinds[static_cast<unsigned>(variable.kind)];
        out_ += ' ';
        out_ += variableName(variable);
        out_ += ": " + typeName(variable.type);
        switch (variable.kind) {
        case Variable::Kind::buffer:
        case Variable::Kind::texture:
        case Variable::Kind::sampler:
            if (variable.argumentBuffer >= 0) out_ += " of buffer " + std::to_string(variable.argumentBuffer);
            out_ += " index " + std::to_string(variable.metalIndex);
            if (variable.kind == Variable::Kind::buffer) {
                out_ += ' ';
                out_ += spaceName(variable.space);
            }
            if (variable.isWritable) out_ += " writable";
            break;
        case Variable::Kind::input:
        case Variable::Kind::output:
            out_ += variable.systemValue == SystemValue::none
                        ? " location " + std::to_string(variable.location)
                        : " system " + std::to_string(static_cast<unsigned>(variable.systemValue));
            if (variable.interpolation == Interpolation::flat) out_ += " flat";
            break;
        default: break;
        }
        if (variable.initializer != nullptr) {
            out_ += " = ";
            value(variable.initializer);
        }
        out_ += '\n';
    }

    void function(const Function& function) {
        numbers_.clear();
        variableNumbers_.clear();
        out_ += "function " + functionName(function) + "(";
        bool isFirst = true;
        for (const Value* parameter : function.parameters) {
            out_ += isFirst ? "" : ", ";
            isFirst = false;
            value(parameter);
            out_ += ": " + typeName(parameter->type);
        }
        for (const Variable* parameter : function.pointerParameters) {
            out_ += isFirst ? "&" : ", &";
            isFirst = false;
            out_ += variableName(*parameter) + ": " + typeName(parameter->type);
        }
        out_ += ") -> " + typeName(function.returnType) + " {\n";
        for (const Variable* variable : *function.locals) {
            out_ += "  local " + variableName(*variable) + ": " + typeName(variable->type);
            if (variable->initializer != nullptr) {
                out_ += " = ";
                value(variable->initializer);
            }
            out_ += '\n';
        }
        block(*function.body, 1);
        out_ += "}\n";
    }

    void block(const Block& block, unsigned depth) {
        for (const Instruction* at = block.first; at != nullptr; at = at->next)
            instruction(*at, depth);
    }

    void nested(std::string_view label, const Block& block, unsigned depth) {
        out_.append(depth * 2, ' ');
        out_ += label;
        out_ += " {\n";
        this->block(block, depth + 1);
        out_.append(depth * 2, ' ');
        out_ += "}\n";
    }

    void instruction(const Instruction& instruction, unsigned depth) {
        out_.append(depth * 2, ' ');
        if (instruction.result != nullptr) {
            value(instruction.result);
            out_ += ": " + typeName(instruction.result->type) + " = ";
        }
        out_ += opNames[static_cast<unsigned>(instruction.op)];
        if (instruction.op == Op::builtin) out_ += " " + std::to_string(static_cast<unsigned>(instruction.builtinId));
        if (instruction.callee != nullptr) out_ += " " + functionName(*instruction.callee);
        bool isFirst = true;
        const auto separate = [&] {
            out_ += isFirst ? " " : ", ";
            isFirst = false;
        };
        if (instruction.place != nullptr) {
            separate();
            place(*instruction.place);
        }
        for (const Value* operand : instruction.operands) {
            separate();
            value(operand);
        }
        for (const Variable* variable : instruction.variables) {
            separate();
            out_ += "&" + variableName(*variable);
        }
        if (!instruction.indices.empty()) {
            out_ += " [";
            for (std::size_t i = 0; i < instruction.indices.size(); ++i)
                out_ += (i > 0 ? " " : "") + std::to_string(instruction.indices[i]);
            out_ += ']';
        }
        out_ += '\n';
        if (instruction.op == Op::if_) {
            nested("then", *instruction.blocks[0], depth);
            if (!instruction.blocks[1]->isEmpty()) nested("else", *instruction.blocks[1], depth);
        } else if (instruction.op == Op::loop) {
            nested("body", *instruction.blocks[0], depth);
            if (!instruction.blocks[1]->isEmpty()) nested("continuing", *instruction.blocks[1], depth);
        }
        for (const SwitchCase& one : instruction.cases) {
            std::string label;
            for (const std::int64_t number : one.values)
                label += (label.empty() ? "case " : ", ") + std::to_string(number);
            if (one.isDefault) label += label.empty() ? "default" : ", default";
            nested(label, *one.block, depth);
        }
    }

    const Module& module_;
    std::string out_;
    std::unordered_map<std::uint32_t, std::uint32_t> numbers_;
    std::unordered_map<std::uint32_t, std::uint32_t> variableNumbers_;
};

} // namespace

std::string_view opName(Op op) {
    return opNames[static_cast<unsigned>(op)];
}

std::string toText(const Module& module) {
    return Printer(module).print();
}

} // namespace msl::ir
