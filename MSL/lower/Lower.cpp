#include "MSL/lower/Lower.h"
#include "MSL/lower/Lowering.h"

#include <algorithm>
#include <string>

namespace msl {

namespace {
// A call runs on the stack of its caller here, so that depth is bounded over the whole chain of calls; and calls are
// specialised, so that a small text may ask for a large module.
constexpr unsigned maxNesting = 1200;
constexpr std::uint32_t maxValues = 250'000;
constexpr std::uint32_t maxEntered = 1'500'000; // statements and expressions, also those that make no value
// What the variables of one thread may take: a driver keeps them on a stack, many threads side by side.
constexpr std::uint64_t maxVariableBytes = 64 * 1024;
constexpr std::uint64_t maxLocalBytes = 512 * 1024;
} // namespace

void lower(const TranslationUnit& unit, ir::Module& module, Diagnostics& diagnostics, WorkLimit& limit,
           const LowerOptions& options) {
    Lowering(module, diagnostics, limit, options).run(unit);
}

Lowering::Lowering(ir::Module& module, Diagnostics& diagnostics, WorkLimit& limit, const LowerOptions& options)
    : module_(module), diagnostics_(diagnostics), limit_(limit), allowsAddresses_(options.allowsAddresses),
      builder_(module) {
    variables_.push_back(nullptr); // id 0: not numbered yet
    functions_.push_back(nullptr);
}

void Lowering::run(const TranslationUnit& unit) {
    for (const StructDecl* decl : unit.structs)
        if (decl->name != nullptr && decl->location) module_.structs.push_back(decl->type); // not the library's
    assignLocations(unit);
    for (FunctionDecl* function : unit.entryPoints)
        if (!diagnostics_.isFull() && !isTooDeep_) entry(function);
    listSamplers();
}

bool Lowering::enter(SourceLocation at) {
    if (++depth_ <= maxNesting && ++entered_ < maxEntered && module_.valueCount() < maxValues && limit_.step())
        return true;
    if (!isTooDeep_ && !limit_.exceeded())
        diagnostics_.error(at, depth_ > maxNesting ? "the program is nested too deeply"
                                                   : "the program is too large after its functions are specialised");
    isTooDeep_ = true;
    return false;
}

void Lowering::unsupported(SourceLocation at, std::string_view what) {
    diagnostics_.error(at, std::string(what) + " not supported here");
}

Operand Lowering::errorOperand(TypeRef type) {
    if (type->is(TypeKind::void_)) return {};
    if (isOpaque(type)) return {.kind = Operand::Kind::pointer, .type = type};
    return Operand::ofValue(module_.constantNull(valueType(type)), type);
}

Access Lowering::errorAccess(TypeRef type) {
    return heldAccess(errorOperand(type));
}

Lowering::VariableFacts& Lowering::facts(VarDecl* variable) {
    if (variable->loweringId == 0 || variable->loweringId >= variables_.size()) {
        variable->loweringId = static_cast<std::uint32_t>(variables_.size());
        variables_.push_back(&variableStore_.emplace_back());
    }
    return *variables_[variable->loweringId];
}

Lowering::FunctionFacts& Lowering::facts(FunctionDecl* function) {
    if (function->loweringId == 0 || function->loweringId >= functions_.size()) {
        function->loweringId = static_cast<std::uint32_t>(functions_.size());
        functions_.push_back(&functionStore_.emplace_back());
    }
    return *functions_[function->loweringId];
}

bool Lowering::isOpaque(TypeRef type) {
    switch (type->kind) {
    case TypeKind::pointer:
    case TypeKind::reference:
    case TypeKind::texture:
    case TypeKind::interpolant:
    case TypeKind::sampler: return true;
    case TypeKind::array: return isOpaque(type->element);
    case TypeKind::struct_:
    case TypeKind::lambda: {
        if (type->structDecl == nullptr) return false;
        const auto [at, isNew] = opaqueStructs_.try_emplace(type->structDecl, false);
        if (!isNew) return at->second;
        bool result = type->structDecl->isLambdaClosure; // its captures are handed over one by one
        for (const VarDecl* field : type->structDecl->fields)
            result = result || isOpaque(field->type);
        return opaqueStructs_[type->structDecl] = result;
    }
    default: return false;
    }
}

std::string_view Lowering::nameOf(const Decl* decl) {
    return decl->name != nullptr ? decl->name->text : std::string_view();
}

ir::Variable* Lowering::newLocal(TypeRef type, std::string_view name) {
    const std::uint64_t size = layoutOf(type).size;
    localBytes_ += std::min(size, maxLocalBytes);
    if ((size > maxVariableBytes || localBytes_ > maxLocalBytes) && !isTooDeep_) {
        diagnostics_.error(builder_.location, size > maxVariableBytes
                                                  ? "a variable of " + std::to_string(size) +
                                                        " bytes is too large: a thread's variable can take 65536"
                                                  : std::string("the program's variables take too much memory"));
        isTooDeep_ = true;
    }
    ir::Variable* variable = module_.newVariable(ir::Variable::Kind::local, type, name);
    context_->function->locals->push_back(variable);
    return variable;
}

} // namespace msl
