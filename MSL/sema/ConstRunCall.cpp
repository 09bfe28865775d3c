// Calls of constexpr functions, of constructors and of the library.
#include "MSL/sema/ConstRun.h"

#include <algorithm>

namespace msl {

using constant::Scalar;

// The definition of a function that a run may go into; null: there is none.
FunctionDecl* Analyzer::ConstantRun::runnable(FunctionDecl* function) {
    if (!function || !function->isConstexpr) return nullptr;
    if (function->definition) function = function->definition;
    analyzer_.resolveBodyNow(function);
    return function->body && !function->isInvalid && function->isResolved ? function : nullptr;
}

// Computes all arguments before it binds the first: they are the caller's expressions.
bool Analyzer::ConstantRun::bindArguments(FunctionDecl* function, std::span<Expr*> arguments) {
    if (arguments.size() < function->parameters.size()) return false;
    const std::size_t first = given_.size();
    bool isKnown = true;
    for (std::size_t i = 0; i < function->parameters.size() && isKnown; ++i) {
        Scalar* numbers = nullptr;
        if (function->parameters[i]->type->is(TypeKind::reference)) {
            numbers = place(arguments[i]);
        } else if (const Numbers made = take(function->parameters[i]->type); !made.empty()) {
            numbers = value(arguments[i], made) ? made.data() : nullptr;
        }
        isKnown = numbers != nullptr;
        given_.push_back(numbers);
    }
    for (std::size_t i = 0; i < function->parameters.size() && isKnown; ++i)
        bind(function->parameters[i], given_[first + i]);
    given_.resize(first);
    return isKnown;
}

// For the message about what went wrong inside of the function.
void Analyzer::ConstantRun::noteCaller(const Call* call, const FunctionDecl* function) {
    constexpr std::size_t most = 5;
    ConstantFault& fault = state_.fault;
    if (fault.text.empty() || fault.isLimit || fault.callers.size() >= most || !function->name) return;
    std::string text = std::string(function->name->text) + "(";
    for (const VarDecl* parameter : function->parameters) {
        const Scalar* given = bound_[parameter];
        if (parameter != function->parameters[0]) text += ", ";
        text += given && isNumber(parameter->type) ? constant::describe(*given) : "{...}";
    }
    fault.callers.push_back({call->begin ? call->begin : call->location, text + ")"});
}

bool Analyzer::ConstantRun::call(Call* call, Numbers out) {
    if (call->builtin != BuiltinId::none) return callLibrary(call, out);
    FunctionDecl* function = call->category == ValueCategory::rvalue ? runnable(call->function) : nullptr;
    if (!function || !function->returnType || store_.count(function->returnType) != out.size()) return false;
    const Scratch scratch(store_);
    const std::size_t bound = undone_.size();
    Frame frame = {.result = out.data()};
    if (call->object && function->owner && !function->isStatic) {
        frame.self = call->objectIsPointer ? placeOfTarget(call->object) : place(call->object);
        if (!frame.self) return false;
    }
    bool isKnown = bindArguments(function, call->arguments);
    if (isKnown) {
        const Frame outer = std::exchange(frame_, frame);
        const Flow flow = run(function->body);
        frame_ = outer;
        isKnown = flow == Flow::returns || (flow == Flow::next && function->returnType->is(TypeKind::void_));
        if (!isKnown) noteCaller(call, function);
    }
    unbindTo(bound);
    return isKnown;
}

bool Analyzer::ConstantRun::runConstructor(Construct* node, Numbers out) {
    FunctionDecl* function = runnable(node->constructor);
    if (!function || out.empty()) return false;
    const Scratch scratch(store_);
    const std::size_t bound = undone_.size();
    bool isKnown = bindArguments(function, node->arguments) && zero(node->type, out);
    const Frame outer = std::exchange(frame_, Frame{.self = out.data()});
    for (const FunctionDecl::MemberInit& init : function->memberInits) {
        if (!isKnown) break;
        // Without a field: a delegating constructor.
        const Numbers part = init.field ? out.subspan(store_.fieldOffset(node->type->structDecl, init.field->index),
                                                      store_.count(init.field->type))
                                        : out;
        isKnown = init.value && value(init.value, part);
    }
    if (isKnown) {
        const Flow flow = run(function->body);
        isKnown = flow == Flow::next || flow == Flow::returns;
    }
    frame_ = outer;
    unbindTo(bound);
    return isKnown;
}

namespace {

// What sincos and modf give through their second parameter is another function of the first.
BuiltinId secondResult(BuiltinId id) {
    switch (id) {
    case BuiltinId::sincos: return BuiltinId::cos;
    case BuiltinId::modf: return BuiltinId::trunc;
    case BuiltinId::frexp: return BuiltinId::frexp;
    default: return BuiltinId::none;
    }
}

} // namespace

bool Analyzer::ConstantRun::callLibrary(Call* call, Numbers out) {
    constexpr std::size_t maxArguments = 4;
    const std::size_t count = call->arguments.size();
    if (call->object || out.empty() || count == 0 || count > maxArguments || !call->type->isNumeric()) return false;
    const BuiltinId second = secondResult(call->builtin);
    const Scratch scratch(store_);
    constant::Operand operands[maxArguments];
    for (std::size_t i = 0; i < (second == BuiltinId::none ? count : 1); ++i) {
        const TypeRef type = call->arguments[i]->type;
        if (!type || (!type->isNumeric() && !type->is(TypeKind::enum_))) return false;
        const Numbers given = take(type);
        if (given.empty() || !value(call->arguments[i], given)) return false;
        operands[i] = {given, type->isMatrix() ? type->columns : 1U};
    }
    if (second == BuiltinId::none)
        return constant::call(call->builtin, call->precision, {operands, count}, kindOf(call->type), out);
    if (count != 2 || call->arguments[1]->category != ValueCategory::lvalue) return false;
    const TypeRef type = call->arguments[1]->type;
    Scalar* target = place(call->arguments[1]);
    const BuiltinId first = call->builtin == BuiltinId::sincos ? BuiltinId::sin : call->builtin;
    return target && store_.count(type) == out.size() &&
           constant::call(second, call->precision, {operands, 1}, kindOf(type), {target, out.size()}) &&
           constant::call(first, call->precision, {operands, 1}, kindOf(call->type), out);
}

} // namespace msl
