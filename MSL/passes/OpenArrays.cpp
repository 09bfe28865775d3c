#include "MSL/passes/OpenArrays.h"

#include "MSL/ir/Walk.h"

#include <algorithm>
#include <unordered_map>

namespace msl {
namespace {

using ir::Block;
using ir::Instruction;
using ir::Place;
using ir::Step;
using ir::Variable;

bool isZero(const Step& step) {
    return step.kind == Step::Kind::index &&
           (step.value == nullptr ? step.number == 0 : step.value->isConstant() && step.value->bits == 0);
}

class Opener {
  public:
    explicit Opener(ir::Module& module) : module_(module) {}

    unsigned run() {
        for (Variable* variable : module_.globals)
            if (variable->isOpen) buffers_[variable].isPointer = isPointer(*variable);
        if (buffers_.empty()) return 0;
        forEachPlace([&](Instruction& at, Buffer& buffer) { look(*at.place, buffer); });
        unsigned count = 0;
        for (std::size_t i = 0, end = module_.globals.size(); i < end; ++i) { // in an order that is always the same
            const auto found = buffers_.find(module_.globals[i]);
            if (found == buffers_.end() || !found->second.isOpened) continue;
            open(*module_.globals[i], found->second);
            ++count;
        }
        forEachPlace([&](Instruction& at, Buffer& buffer) {
            if (buffer.isOpened && entersBuffer(*at.place, buffer)) at.place = moved(*at.place, buffer);
        });
        return count;
    }

  private:
    struct Buffer {
        bool isPointer = false;
        bool isOpened = false;
        bool isCopied = false; // some access stays with the first variable
        Variable* opened = nullptr;
    };

    static bool isPointer(const Variable& variable) {
        return variable.type->is(TypeKind::array) && variable.type->count == 0;
    }

    void forEachPlace(const auto& visit) {
        for (ir::Function* function : module_.functions)
            ir::forEachInstruction(*function->body, [&](Instruction& at) {
                if (at.place == nullptr) return;
                const auto found = buffers_.find(at.place->root);
                if (found != buffers_.end()) visit(at, found->second);
            });
    }

    // The steps behind the pointer, and the type that they start from.
    static std::span<const Step> stepsOf(const Place& place, const Buffer& buffer) {
        return std::span<const Step>(place.steps).subspan(buffer.isPointer ? 1 : 0);
    }
    static TypeRef typeOf(const Place& place, const Buffer& buffer) {
        return buffer.isPointer ? place.root->type->element : place.root->type;
    }

    // How many of the steps lead to the last array, all but the index into it; as many as there are when they end in
    // something that holds it whole, and more when they go another way.
    static std::size_t stepsToArray(std::span<const Step> steps, TypeRef type) {
        std::size_t count = 0;
        for (; type->is(TypeKind::struct_) && count < steps.size(); ++count) {
            const auto fields = type->record->fields;
            if (steps[count].number + 1 != fields.size()) return steps.size() + 1;
            type = fields.back().type;
        }
        return count;
    }

    // Whether the access is to a part of the opened form.
    bool entersBuffer(const Place& place, const Buffer& buffer) const {
        if (buffer.isPointer && (place.steps.empty() || !isZero(place.steps[0]))) return false;
        const auto steps = stepsOf(place, buffer);
        return stepsToArray(steps, typeOf(place, buffer)) != steps.size();
    }

    void look(const Place& place, Buffer& buffer) const {
        if (!entersBuffer(place, buffer)) {
            buffer.isCopied = true;
            return;
        }
        const auto steps = stepsOf(place, buffer);
        const std::size_t toArray = stepsToArray(steps, typeOf(place, buffer));
        buffer.isOpened = buffer.isOpened || !buffer.isPointer || (toArray < steps.size() && !isZero(steps[toArray]));
    }

    // The members of all structs on the way to the last array, in one struct.
    void flatten(TypeRef type, std::uint64_t offset, std::vector<Field>& fields) {
        while (type->is(TypeKind::struct_)) {
            for (const Field& field : type->record->fields)
                fields.push_back({field.name, field.type, offset + field.offset});
            const Field last = fields.back();
            fields.pop_back();
            type = last.type;
            offset = last.offset;
            if (!type->is(TypeKind::array)) continue;
            fields.push_back({last.name, module_.types.array(type->element, 0), offset});
            return;
        }
    }

    TypeRef openedType(TypeRef type) {
        if (type->is(TypeKind::array)) return module_.types.array(type->element, 0);
        std::vector<Field> fields;
        flatten(type, 0, fields);
        Record* record = nullptr;
        const TypeRef made = module_.types.struct_(nullptr, type->name, record);
        *record = *type->record;
        record->fields = module_.arena.copy(fields);
        return made;
    }

    void open(Variable& variable, Buffer& buffer) {
        Variable* made =
            module_.newVariable(Variable::Kind::buffer,
                                openedType(buffer.isPointer ? variable.type->element : variable.type), variable.name);
        made->stage = variable.stage;
        made->space = variable.space;
        made->metalIndex = variable.metalIndex;
        made->argumentBuffer = variable.argumentBuffer;
        made->isWritable = variable.isWritable;
        made->isOpen = true;
        made->isAliased = variable.isAliased = variable.isAliased || buffer.isCopied;
        buffer.opened = made;
    }

    Place* moved(const Place& place, const Buffer& buffer) {
        std::vector<Step> steps;
        TypeRef type = typeOf(place, buffer);
        const auto old = stepsOf(place, buffer);
        std::uint32_t before = 0; // members of the structs around
        std::size_t next = 0;
        if (type->is(TypeKind::struct_)) {
            while (type->is(TypeKind::struct_) && old[next].number + 1 == type->record->fields.size()) {
                before += old[next].number;
                type = type->record->fields.back().type;
                ++next;
            }
            if (type->is(TypeKind::struct_)) before += old[next++].number;
            steps.push_back({.kind = Step::Kind::member, .number = before});
        }
        steps.insert(steps.end(), old.begin() + static_cast<std::ptrdiff_t>(next), old.end());
        auto* made = module_.arena.make<Place>();
        made->root = buffer.opened;
        made->steps = module_.arena.copy(steps);
        made->type = place.type;
        return made;
    }

    ir::Module& module_;
    std::unordered_map<const Variable*, Buffer> buffers_;
};

} // namespace

unsigned openArrays(ir::Module& module) {
    return Opener(module).run();
}

} // namespace msl
