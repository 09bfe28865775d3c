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
        sampler->isConstexprSampler = true;
        sampler->samplerState = *variable->samplerState;
        facts.access = heldAccess(resourceOperand(sampler, type));
        facts.isBound = true;
        return facts.access;
    }
    if (const auto index = functionConstantIndex(variable))
        return heldAccess(Operand::ofValue(functionConstant(variable, *index), type));
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
    TypeRef held = valueType(variable->type);
    if (!checkStorable(variable->type, variable->location)) held = module_.types.uint();
    made = module_.newVariable(ir::Variable::Kind::threadgroup, held, nameOf(variable));
    countThreadgroupBytes(variable->type, nameOf(variable), variable->location);
    return made;
}

namespace {

// What a device counts: a bool takes four bytes there.
std::uint64_t threadgroupSize(TypeRef type) {
    switch (type->kind) {
    case TypeKind::array: return type->count * threadgroupSize(type->element);
    case TypeKind::struct_: {
        std::uint64_t size = 0;
        for (const VarDecl* field : type->structDecl->fields)
            size += threadgroupSize(field->type);
        return std::max(size, layoutOf(type).size);
    }
    default: return type->scalar == ScalarKind::bool_ ? layoutOf(type).size * 4 : layoutOf(type).size;
    }
}

} // namespace

void Lowering::countThreadgroupBytes(TypeRef type, std::string_view name, SourceLocation at) {
    constexpr std::uint64_t most = 32768;
    const std::uint64_t size = threadgroupSize(type);
    if (threadgroupBytes_ <= most && size > most - threadgroupBytes_)
        diagnostics_.error(at, "the threadgroup variables of this kernel take too much memory: with '" +
                                   std::string(name) + "' they need " + std::to_string(threadgroupBytes_ + size) +
                                   " bytes, and 32768 fit");
    threadgroupBytes_ += std::min(size, most + 1);
}

std::optional<std::uint32_t> Lowering::functionConstantIndex(const VarDecl* variable) {
    if (variable->varKind != VarKind::global || variable->initializer != nullptr) return std::nullopt;
    for (const Attribute& attribute : variable->attributes) {
        if (attribute.name == nullptr || attribute.name->text != "function_constant" || attribute.arguments.empty() ||
            attribute.arguments[0]->kind != ExprKind::intLiteral)
            continue;
        const auto index = static_cast<std::uint32_t>(static_cast<const IntLiteral*>(attribute.arguments[0])->value);
        const auto known = std::ranges::find(module_.functionConstants, index, &ir::FunctionConstant::index);
        if (known == module_.functionConstants.end())
            module_.functionConstants.push_back({module_.arena.copyText(nameOf(variable)), variable->type, index});
        else if (known->name != nameOf(variable))
            diagnostics_.error(variable->location, "function constant " + std::to_string(index) + " is already '" +
                                                       std::string(known->name) + "'");
        return index;
    }
    return std::nullopt;
}

// Scalars are numbers that the host sets; a vector is made of them where it is used.
ir::Value* Lowering::functionConstant(const VarDecl* variable, std::uint32_t index) {
    const TypeRef scalar = module_.types.scalar(variable->type->scalar);
    Value* parts[4] = {};
    for (std::uint32_t i = 0; i < variable->type->columns && i < 4; ++i)
        parts[i] = module_.specialization(scalar, index, i);
    return variable->type->isVector() ? builder_.construct(variable->type, {parts, variable->type->columns}) : parts[0];
}

} // namespace msl
