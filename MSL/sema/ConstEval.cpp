// Values known while compiling: array sizes, case labels, template arguments, static assertions, constexpr numbers.
#include "MSL/sema/ConstRun.h"

namespace msl {

ConstantValue Analyzer::evaluate(Expr* typed) {
    constants_->fault = {};
    // What is plainly no constant is told apart at once: this runs for every subscript.
    if (typed->kind == ExprKind::call && !static_cast<Call*>(typed)->function)
        if (static_cast<Call*>(typed)->arguments.empty()) return std::nullopt;
    return ConstantRun(*this).scalar(typed);
}

bool Analyzer::isFaulty(Expr* typed) {
    constants_->fault = {};
    const bool isKnown = ConstantRun(*this).hasValue(typed);
    return !isKnown && !constants_->fault.text.empty() && !constants_->fault.isLimit;
}

void Analyzer::noteFault(SourceLocation at) {
    const ConstantFault& fault = constants_->fault;
    if (fault.text.empty()) return;
    note(fault.at ? fault.at : at, fault.text);
    for (const ConstantFault::Caller& caller : fault.callers)
        note(caller.at, "in call to '" + caller.text + "'");
}

std::optional<std::int64_t> Analyzer::integerConstant(Expr* unresolved, std::string_view what) {
    Expr* typed = toArithmetic(load(expression(unresolved)));
    if (typed->type->isError()) return std::nullopt;
    const SourceLocation at = typed->begin ? typed->begin : typed->location;
    if (typed->type->is(TypeKind::enum_)) typed = explicitConvert(typed, typed->type->element);
    if (!typed->type->isScalar() || isFloating(typed->type->scalar)) {
        error(at, std::string(what) + " must have integral type, not '" + typeName(typed->type) + "'");
        return std::nullopt;
    }
    const ConstantValue value = evaluate(typed);
    if (!value) {
        error(at, std::string(what) + " is not an integral constant expression");
        noteFault(at);
        return std::nullopt;
    }
    return value->asInteger();
}

} // namespace msl
