// Which declarations are visible by their bare names. Each Identifier holds the innermost entry of its name, chained to
// those it hides, so that look-up is one load whatever the nesting. Depth 0 is the file; entries of one depth and name
// are the overloads of a function. Used by one Analyzer on one thread.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/lex/Identifier.h"
#include "MSL/source/Arena.h"

#include <cstdint>
#include <vector>

namespace msl {

struct ScopeEntry {
    Decl* decl = nullptr;
    const Identifier* name = nullptr;
    ScopeEntry* hidden = nullptr; // what the name meant before: an overload when the depths are equal
    std::uint32_t depth = 0;
};

class Scopes {
  public:
    explicit Scopes(Arena& arena) : arena_(arena) {}

    std::uint32_t depth() const { return static_cast<std::uint32_t>(starts_.size()); }
    void open() { starts_.push_back(static_cast<std::uint32_t>(entries_.size())); }
    void close();

    void add(const Identifier* name, Decl* decl);
    // Outermost of all and there for good: for library names, when they are first looked up.
    void addOutermost(const Identifier* name, Decl* decl);

    // Entries of the innermost scope, in order.
    std::span<ScopeEntry* const> innermost() const;

    // Every entry of the open scopes, outermost first.
    std::span<ScopeEntry* const> all() const { return entries_; }

    // The innermost entry of a name that the scope itself (not an outer one) declares, or null.
    ScopeEntry* findInInnermost(const Identifier* name) const;

    // Leaves every scope but the file's for a while, as the instantiation of a template needs.
    struct Suspended {
        std::vector<ScopeEntry*> entries;
        std::vector<std::uint32_t> starts;
    };
    Suspended suspend();
    void resume(Suspended&& suspended);

  private:
    Arena& arena_;
    ScopeEntry* make();

    std::vector<ScopeEntry*> entries_;
    std::vector<ScopeEntry*> free_;     // of closed scopes, to be used again
    std::vector<std::uint32_t> starts_; // where the entries of depth 1, 2 ... begin
};

} // namespace msl
