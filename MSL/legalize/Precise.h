// The precise forms that a module calls. Used by one pass over one module.
#pragma once

#include "MSL/ir/Ir.h"

#include <cstddef>
#include <deque>
#include <span>
#include <vector>

namespace msl {

class PreciseForms {
  public:
    // A call of the precise form, emitted into the block that is being filled; null for a function that has none of
    // its own. Half forms compute in float and round once.
    ir::Value* call(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<ir::Value* const> operands);

    std::size_t count() const { return forms_.size(); }
    ir::Function* function(std::size_t index) const { return forms_[index].function; } // null: no form of its own
    void takeFunctions(std::vector<ir::Function*>& functions) const;

  private:
    struct Form {
        BuiltinId id;
        TypeRef type;
        ir::Function* function;
    };
    ir::Function* instance(ir::Builder& builder, BuiltinId id, TypeRef type, std::size_t parameterCount);
    ir::Value* length(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<ir::Value* const> operands);

    std::deque<Form> forms_;
};

} // namespace msl
