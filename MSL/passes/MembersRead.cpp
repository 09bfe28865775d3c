#include "MSL/passes/MembersRead.h"

#include "MSL/ir/Walk.h"

namespace msl {
namespace {

constexpr std::uint64_t everyMember = ~std::uint64_t(0);

std::uint64_t membersOf(const ir::Place& place) {
    const ir::Variable& variable = *place.root;
    if (!variable.type->is(TypeKind::struct_) || place.steps.empty() || place.steps[0].kind != ir::Step::Kind::member)
        return everyMember;
    const std::uint32_t member = place.steps[0].number;
    return member < 64 ? std::uint64_t(1) << member : everyMember;
}

} // namespace

std::unordered_map<const ir::Variable*, std::uint64_t> findMembersRead(const ir::Module& module) {
    std::unordered_map<const ir::Variable*, std::uint64_t> found;
    const auto look = [&](const ir::Function& function) {
        ir::forEachInstruction(*function.body, [&](const ir::Instruction& at) {
            if (at.place != nullptr && at.op != ir::Op::store && at.place->root->kind == ir::Variable::Kind::buffer)
                found[at.place->root] |= membersOf(*at.place);
            for (const ir::Variable* whole : at.variables)
                if (whole->kind == ir::Variable::Kind::buffer) found[whole] = everyMember;
        });
    };
    // What is read through another variable for the same memory has members of its own, or none.
    for (const ir::Variable* global : module.globals)
        if (global->kind == ir::Variable::Kind::buffer && (global->isAliased || global->isOpen))
            found[global] = everyMember;
    for (const ir::Function* function : module.functions)
        look(*function);
    for (const ir::Entry* entry : module.entries)
        look(*entry->function);
    return found;
}

} // namespace msl
