#include "MSL/passes/LargeZeros.h"

#include <algorithm>

namespace msl {
namespace {

using ir::Block;
using ir::Instruction;
using ir::Op;
using ir::Place;
using ir::Value;
using ir::Variable;

constexpr std::uint64_t mostInOneStore = 32; // scalars, vectors and matrices

std::uint64_t scalarCount(TypeRef type) {
    if (type->is(TypeKind::array)) return type->count * scalarCount(type->element);
    return type->is(TypeKind::struct_) ? type->record->scalarCount : 1;
}

bool isNull(const Value* value) {
    return value->isConstant() && value->parts.empty() &&
           (value->type->is(TypeKind::array) || value->type->is(TypeKind::struct_));
}

class Clearer {
  public:
    explicit Clearer(ir::Module& module) : module_(module), builder_(module) {}

    void run(ir::Function& function) {
        function_ = &function;
        stores(*function.body);
        if (function.locals == nullptr) return;
        const std::vector<Variable*> locals = *function.locals;
        for (Variable* local : locals)
            if (local->initializer != nullptr && isNull(local->initializer) &&
                scalarCount(local->type) > mostInOneStore) {
                local->initializer = nullptr;
                builder_.location = function.body->first != nullptr ? function.body->first->location : SourceLocation();
                insert(*function.body, function.body->first, builder_.place(local));
            }
    }

  private:
    void stores(Block& block) {
        for (Instruction* at = block.first; at != nullptr;) {
            Instruction* next = at->next;
            for (Block* inner : at->blocks)
                stores(*inner);
            for (const ir::SwitchCase& item : at->cases)
                stores(*item.block);
            if (at->op == Op::store && isNull(at->operands[0]) && scalarCount(at->place->type) > mostInOneStore) {
                builder_.location = at->location;
                insert(block, at, at->place);
                block.remove(at);
            }
            at = next;
        }
    }

    void insert(Block& block, Instruction* before, Place* place) {
        Block made;
        builder_.block = &made;
        clear(place);
        block.moveBefore(before, made);
    }

    void clear(Place* place) {
        const TypeRef type = place->type;
        const std::uint64_t count = scalarCount(type);
        if (count <= mostInOneStore || (!type->is(TypeKind::array) && !type->is(TypeKind::struct_))) {
            builder_.store(place, module_.constantNull(ir::valueType(module_.types, type)));
            return;
        }
        if (type->is(TypeKind::struct_)) {
            for (std::uint32_t i = 0; i < type->record->fields.size(); ++i)
                clear(builder_.placeMember(place, i, type->record->fields[i].type));
            return;
        }
        // Several elements in each turn of a long loop, since a driver may count turns; but few enough turns of few
        // elements are unrolled, which is what must not happen.
        const std::uint64_t together =
            count >= 1024 ? std::max<std::uint64_t>(mostInOneStore / 2 / scalarCount(type->element), 1) : 1;
        const std::uint64_t turns = type->count / together;
        const TypeRef uint = module_.types.uint();
        const auto number = [&](std::uint64_t value) {
            return module_.constantInt(uint, static_cast<std::int64_t>(value));
        };
        Variable* counter = module_.newVariable(Variable::Kind::local, uint, "cleared");
        function_->locals->push_back(counter);
        builder_.store(builder_.place(counter), number(0));
        const Instruction* loop = builder_.loop();
        Block* outer = builder_.block;
        builder_.block = loop->blocks[0];
        Value* turn = builder_.load(builder_.place(counter));
        const Instruction* test = builder_.if_(builder_.binary(Op::less, module_.types.bool_(), turn, number(turns)));
        builder_.block = test->blocks[1];
        builder_.break_();
        builder_.block = loop->blocks[0];
        Value* first = builder_.binary(Op::mul, uint, turn, number(together));
        for (std::uint64_t i = 0; i < together; ++i)
            clear(element(place, builder_.binary(Op::add, uint, first, number(i))));
        builder_.block = loop->blocks[1];
        builder_.store(builder_.place(counter),
                       builder_.binary(Op::add, uint, builder_.load(builder_.place(counter)), number(1)));
        builder_.block = outer;
        for (std::uint64_t i = turns * together; i < type->count; ++i)
            clear(element(place, number(i)));
    }

    Place* element(Place* array, Value* index) {
        Place* place = builder_.placeIndex(array, index, array->type->element);
        place->steps.back().isChecked = true;
        return place;
    }

    ir::Module& module_;
    ir::Builder builder_;
    ir::Function* function_ = nullptr;
};

} // namespace

void clearInLoops(ir::Module& module) {
    Clearer clearer(module);
    for (ir::Function* function : module.functions)
        clearer.run(*function);
}

} // namespace msl
