// The members of a struct by name. A struct with few members is searched from the first to the last; of one with many,
// which a text made by a program may have, a sorted table is made at the first look-up.
#pragma once

#include "MSL/ast/Ast.h"

#include <span>
#include <unordered_map>
#include <vector>

namespace msl {

class MemberIndex {
  public:
    // Every member that bears this name or, as an unscoped enumeration, may hold it, in source order; others may be
    // among them. Good until the next call.
    std::span<Decl* const> candidates(const StructDecl* decl, const Identifier* name);

  private:
    struct Table {
        std::span<Decl* const> of;            // the members that it was made from
        std::vector<const Identifier*> names; // sorted by address
        std::vector<Decl*> sorted;            // their members; those of one name in source order
    };
    static void fill(Table& table, std::span<Decl* const> members);

    std::unordered_map<const StructDecl*, Table> tables_;
};

} // namespace msl
