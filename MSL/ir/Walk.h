// Going through the instructions of a function.
#pragma once

#include "MSL/ir/Ir.h"

#include <type_traits>

namespace msl::ir {

// The blocks inside of an if, loop or switch, in order.
template <typename Visit>
void forEachInnerBlock(const Instruction& instruction, const Visit& visit) {
    for (Block* inner : instruction.blocks)
        visit(*inner);
    for (const SwitchCase& item : instruction.cases)
        visit(*item.block);
}

// Every instruction of a block in the order of the text: those of inner blocks follow the instruction that holds them.
// A visitor that returns a bool ends the walk with false, and then the answer is false. It must not remove the
// instruction it is given.
template <typename Visit>
bool forEachInstruction(const Block& block, const Visit& visit) {
    for (Instruction* at = block.first; at != nullptr; at = at->next) {
        if constexpr (std::is_same_v<std::invoke_result_t<Visit, Instruction&>, bool>) {
            if (!visit(*at)) return false;
        } else {
            visit(*at);
        }
        bool goesOn = true;
        forEachInnerBlock(*at, [&](const Block& inner) { goesOn = goesOn && forEachInstruction(inner, visit); });
        if (!goesOn) return false;
    }
    return true;
}

} // namespace msl::ir
