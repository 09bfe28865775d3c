#include "MSL/passes/EntryFacts.h"

#include "MSL/ir/Walk.h"

#include <unordered_map>

namespace msl {
namespace {

using ir::Block;
using ir::Function;
using ir::Instruction;
using ir::Op;

struct Facts {
    bool mayDiscard = false;
    bool usesDerivatives = false;
};

class Finder {
  public:
    Facts of(const Function& function) {
        const auto known = facts_.find(&function);
        if (known != facts_.end()) return known->second;
        Facts found;
        look(*function.body, found);
        return facts_[&function] = found;
    }

  private:
    // A sample takes its level from derivatives unless it says where from.
    static bool takesDerivatives(const Instruction& at) {
        switch (at.builtinId) {
        case BuiltinId::dfdx:
        case BuiltinId::dfdy:
        case BuiltinId::fwidth:
        case BuiltinId::textureCalculateLod:
        case BuiltinId::textureCalculateUnclampedLod: return true;
        case BuiltinId::textureSample:
        case BuiltinId::textureSampleCompare:
            for (const std::uint32_t role : at.indices)
                if (role == static_cast<std::uint32_t>(ir::TextureOperand::level) ||
                    role == static_cast<std::uint32_t>(ir::TextureOperand::gradientX))
                    return false;
            return true;
        default: return false;
        }
    }

    void look(const Block& block, Facts& found) {
        ir::forEachInstruction(block, [&](const Instruction& at) {
            found.mayDiscard = found.mayDiscard || at.op == Op::discard;
            found.usesDerivatives = found.usesDerivatives || (at.op == Op::builtin && takesDerivatives(at));
            if (at.op == Op::call) {
                const Facts called = of(*at.callee);
                found.mayDiscard = found.mayDiscard || called.mayDiscard;
                found.usesDerivatives = found.usesDerivatives || called.usesDerivatives;
            }
        });
    }

    std::unordered_map<const Function*, Facts> facts_;
};

} // namespace

void findEntryFacts(ir::Module& module) {
    Finder finder;
    for (ir::Entry* entry : module.entries) {
        const Facts found = finder.of(*entry->function);
        entry->mayDiscard = entry->stage == Stage::fragment && found.mayDiscard;
        entry->usesDerivatives = entry->stage == Stage::fragment && found.usesDerivatives;
    }
}

} // namespace msl
