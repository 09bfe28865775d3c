// Program-scope variables: constants, which become values or tables, constexpr samplers, and threadgroup memory.
#include "MSL/lower/Lowering.h"

#include <algorithm>

namespace msl {

using ir::Value;

Access Lowering::globalAccess(VarDecl* variable, SourceLocation at) {
    VariableFacts& facts = this->facts(variable);
    if (facts.isBound) return facts.access;
    const TypeRef type = variable->type;
    if (variable->space == AddressSpace::threadgroup) {
        facts.access = placeAccess(builder_.place(threadgroupVariable(variable)), type);
        facts.isBound = true;
        return facts.access;
    }
    if (type->is(TypeKind::sampler)) {
        if (variable->samplerState == nullptr)
            return variable->initializer != nullptr ? lvalue(variable->initializer) : errorAccess(type);
        ir::Variable* sampler = module_.newVariable(ir::Variable::Kind::sampler, type, nameOf(variable));
        sampler->bindingKind = BindingKind::constexprSampler;
        sampler->isConstexprSampler = true;
        sampler->samplerState = *variable->samplerState;
        facts.access = heldAccess(resourceOperand(sampler, type));
        facts.isBound = true;
        return facts.access;
    }
    if (type->is(TypeKind::reference))
        return variable->initializer != nullptr ? lvalue(variable->initializer) : errorAccess(type->element);
    if (facts.isEvaluating) {
        diagnostics_.error(at, "the initialiser of '" + std::string(nameOf(variable)) + "' depends on itself");
        return errorAccess(type);
    }
    facts.isEvaluating = true;
    // Into a block that nobody keeps first: most initialisers fold to a constant. The others are computed where they
    // are used.
    ir::Block* outer = builder_.block;
    const std::size_t locals = context_->function->locals->size();
    ir::Block scratch;
    builder_.block = &scratch;
    Operand first = variable->initializer != nullptr ? rvalue(variable->initializer) : defaultValue(type, true);
    builder_.block = outer;
    if (first.kind == Operand::Kind::value && first.value->isConstant()) {
        context_->function->locals->resize(locals);
        facts.access = heldAccess(Operand::ofValue(first.value, type));
        facts.isBound = true;
        facts.isEvaluating = false;
        return facts.access;
    }
    context_->function->locals->resize(locals);
    if (variable->initializer != nullptr) first = rvalue(variable->initializer);
    facts.isEvaluating = false;
    first.type = type;
    return heldAccess(first);
}

ir::Variable* Lowering::threadgroupVariable(VarDecl* variable) {
    ir::Variable*& made = threadgroups_[variable];
    if (made != nullptr) return made;
    made = module_.newVariable(ir::Variable::Kind::threadgroup, variable->type, nameOf(variable));
    constexpr std::uint64_t most = 32768;
    const std::uint64_t size = layoutOf(variable->type).size;
    if (threadgroupBytes_ <= most && (size > most || threadgroupBytes_ + size > most))
        diagnostics_.error(variable->location, "the threadgroup variables take more than 32768 bytes");
    threadgroupBytes_ += std::min(size, most + 1);
    return made;
}

} // namespace msl
