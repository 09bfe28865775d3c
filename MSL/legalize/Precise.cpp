// Calls of the precise forms. Each form is a function of the module, made once for every type that it is called with:
// its body is long.
#include "MSL/legalize/Precise.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"

#include <algorithm>
#include <string>

namespace msl {

using ir::Value;

ir::Function* PreciseForms::instance(ir::Builder& builder, BuiltinId id, TypeRef type, std::size_t parameterCount) {
    for (const Form& form : forms_)
        if (form.id == id && form.type == type) return form.function;
    ir::Module& module = builder.module;
    ir::Function* made = module.newFunction("precise::" + std::string(builtinName(id)), type);
    made->parameters = module.arena.makeArray<Value*>(parameterCount);
    for (Value*& parameter : made->parameters)
        parameter = module.newValue(Value::Kind::parameter, type);
    ir::Block* outer = builder.block;
    builder.block = made->body;
    Value* result = preciseFunction(builder, id, made->parameters);
    if (result != nullptr) builder.return_(result);
    builder.block = outer;
    if (result == nullptr) made = nullptr;
    forms_.push_back({id, type, made});
    return made;
}

Value* PreciseForms::call(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands) {
    if (!type->isScalar() && !type->isVector()) return nullptr;
    if (!isFloating(type->scalar) || operands.empty() || operands.size() > 3) return nullptr;
    const TypeTable& types = builder.module.types;
    if (id == BuiltinId::length || id == BuiltinId::distance || id == BuiltinId::normalize)
        return length(builder, id, type, operands);
    Value* values[3] = {};
    if (id == BuiltinId::fract) { // below one also where x - floor(x) rounds up to it
        const Number part = msl::call(id, {Number(builder, operands[0])});
        const double largest = type->scalar == ScalarKind::half     ? 0x1.FFCp-1
                               : type->scalar == ScalarKind::bfloat ? 0x1.FEp-1
                                                                    : 0x1.FFFFFEp-1;
        return msl::call(BuiltinId::fmin, {part, part.constant(largest)}).value;
    }
    if (type->scalar != ScalarKind::float_) { // computed in float and rounded once
        for (std::size_t i = 0; i < operands.size(); ++i)
            values[i] = builder.convert(types.withScalar(operands[i]->type, ScalarKind::float_), operands[i]);
        Value* made = call(builder, id, types.withScalar(type, ScalarKind::float_), {values, operands.size()});
        return made == nullptr ? nullptr : builder.convert(type, made);
    }
    for (std::size_t i = 0; i < operands.size(); ++i) {
        values[i] = operands[i];
        if (values[i]->type->isScalar() && type->isVector() && values[i]->type->scalar == ScalarKind::float_)
            values[i] = builder.splat(type, values[i]);
        if (values[i]->type != type) return nullptr;
    }
    ir::Function* function = instance(builder, id, type, operands.size());
    return function == nullptr ? nullptr : builder.call(function, {values, operands.size()}, {});
}

Value* PreciseForms::length(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands) {
    const TypeRef vector = operands[0]->type;
    if (!vector->isVector() || vector->scalar != ScalarKind::float_) return nullptr;
    const TypeRef scalar = builder.module.types.float_();
    Value* of = operands[0];
    if (id == BuiltinId::distance) of = (Number(builder, operands[0]) - Number(builder, operands[1])).value;
    Number sum = Number(builder, of)[0] * Number(builder, of)[0];
    for (unsigned i = 1; i < vector->columns; ++i)
        sum = sum + Number(builder, of)[i] * Number(builder, of)[i];
    Value* root = call(builder, BuiltinId::sqrt, scalar, {&sum.value, 1});
    if (id != BuiltinId::normalize || root == nullptr) return root;
    Value* quotient[] = {of, builder.splat(vector, root)};
    return call(builder, BuiltinId::divide, type, quotient);
}

void PreciseForms::takeFunctions(std::vector<ir::Function*>& functions) const {
    for (const Form& form : forms_)
        if (form.function != nullptr) functions.push_back(form.function);
}

} // namespace msl
