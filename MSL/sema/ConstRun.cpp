#include "MSL/sema/ConstRun.h"

#include <utility>

namespace msl {

using constant::Scalar;

Analyzer::ConstantRun::ConstantRun(Analyzer& analyzer)
    : analyzer_(analyzer), state_(*analyzer.constants_), store_(state_.store), start_(store_.mark()),
      constantsStart_(state_.constants.mark()) {
    if (state_.runs++ == 0)
        state_.steps = 0;
    else
        outerFault_ = std::move(state_.fault);
    state_.fault = {};
}

Analyzer::ConstantRun::~ConstantRun() {
    if (--state_.runs > 0) state_.fault = std::move(outerFault_);
    store_.release(start_);
    state_.constants.release(constantsStart_);
}

ConstantValue Analyzer::ConstantRun::scalar(Expr* expr) {
    Scalar made;
    if (!expr->type || !isNumber(expr->type) || state_.runs > maxRuns || !value(expr, {&made, 1})) return std::nullopt;
    return made;
}

bool Analyzer::ConstantRun::hasValue(Expr* expr) {
    if (!expr->type || state_.runs > maxRuns) return false;
    const Numbers made = take(expr->type);
    return !made.empty() && value(expr, made);
}

bool Analyzer::ConstantRun::step(std::size_t units) {
    state_.steps += units;
    if (state_.steps > maxSteps) return limit("constexpr evaluation hit maximum step limit; possible infinite loop?");
    return analyzer_.limit_.step(static_cast<std::uint32_t>(units));
}

bool Analyzer::ConstantRun::isTooDeep() {
    if (state_.depth < maxDepth) return false;
    return !limit("constexpr evaluation exceeded maximum depth");
}

bool Analyzer::ConstantRun::fails(SourceLocation at, std::string why) {
    if (state_.fault.text.empty()) state_.fault = {at, std::move(why), false, {}};
    return false;
}

bool Analyzer::ConstantRun::limit(std::string why) {
    if (state_.fault.text.empty()) state_.fault = {{}, std::move(why), true, {}};
    return false;
}

Analyzer::ConstantRun::Numbers Analyzer::ConstantRun::take(TypeRef type) {
    const std::size_t count = store_.count(type);
    Scalar* made = count > 0 && step(1 + count / numbersPerStep) ? store_.take(count) : nullptr;
    return made ? Numbers(made, count) : Numbers();
}

void Analyzer::ConstantRun::bind(const VarDecl* var, Scalar* numbers) {
    Scalar*& bound = bound_[var];
    undone_.emplace_back(var, bound);
    bound = numbers;
}

void Analyzer::ConstantRun::unbindTo(std::size_t count) {
    for (; undone_.size() > count; undone_.pop_back())
        bound_[undone_.back().first] = undone_.back().second;
}

} // namespace msl
