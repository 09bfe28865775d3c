// Which names are types, templates or plain values in the scopes that are open, because the grammar depends on it. The
// answer stands in the Identifier; leaving a scope undoes what was declared in it. Types stay known after their scope
// (Identifier::declaredAs), since a qualified name or a using directive can still reach them.
#pragma once

#include "MSL/lex/Identifier.h"
#include "MSL/types/Types.h"

#include <vector>

namespace msl {

class NameTracker {
  public:
    using Mark = std::size_t;

    Mark open() const { return undo_.size(); }
    void close(Mark mark) {
        while (undo_.size() > mark) {
            undo_.back().identifier->nameClass = undo_.back().before;
            undo_.pop_back();
        }
    }

    void declare(const Identifier* identifier, NameClass as) {
        if (!identifier) return;
        NameClass now = classify(identifier);
        if (as == NameClass::type || as == NameClass::templateType || as == NameClass::templateFunction)
            identifier->declaredAs = as;
        if (now == as) return;
        undo_.push_back({identifier, identifier->nameClass});
        identifier->nameClass = as;
    }

    // A function does not take away that another of its name is a template.
    void declareFunction(const Identifier* identifier, bool isTemplate) {
        if (!identifier || (!isTemplate && classify(identifier) == NameClass::templateFunction)) return;
        declare(identifier, isTemplate ? NameClass::templateFunction : NameClass::value);
    }

    static NameClass classify(const Identifier* identifier) {
        if (identifier->nameClass == NameClass::unseen)
            identifier->nameClass = isBuiltinTemplateName(identifier->text) ? NameClass::templateType
                                    : isBuiltinTypeName(identifier->text)   ? NameClass::type
                                                                            : NameClass::unknown;
        if (identifier->nameClass == NameClass::unknown && identifier->declaredAs != NameClass::unseen)
            return identifier->declaredAs;
        return identifier->nameClass;
    }

    // The last part of a qualified name: what hides it in the open scopes does not count.
    static NameClass classifyQualified(const Identifier* identifier) {
        if (identifier->declaredAs != NameClass::unseen) return identifier->declaredAs;
        return isBuiltinTemplateName(identifier->text) ? NameClass::templateType
               : isBuiltinTypeName(identifier->text)   ? NameClass::type
                                                       : NameClass::unknown;
    }

  private:
    struct Undo {
        const Identifier* identifier;
        NameClass before;
    };
    std::vector<Undo> undo_;
};

} // namespace msl
