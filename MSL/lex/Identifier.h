// Identifiers are interned: one Identifier per spelling and compile, compared by address. Each knows whether its
// spelling is a keyword or a macro and has a slot for the innermost declaration of its name, so that look-up is one
// load.
#pragma once

#include "MSL/source/Arena.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace msl {

struct ScopeEntry; // sema's: the innermost visible declaration of a name, chained to the ones it hides
struct Macro;      // the preprocessor's

// What the parser knows of a name; see parse/NameTracker.h.
enum class NameClass : std::uint8_t { unseen, unknown, value, type, templateType, templateFunction, namespace_ };

struct Identifier {
    std::string_view text;
    std::uint32_t hash = 0;
    std::uint16_t keyword = 0;                        // a TokenKind; 0 when the spelling is no keyword
    bool isMacro = false;                             // the preprocessor has a definition for it
    mutable NameClass nameClass = NameClass::unseen;  // the parser's: in the scopes that are open now
    mutable NameClass declaredAs = NameClass::unseen; // the parser's: the last type or template declared anywhere
    Macro* macro = nullptr;              // null with isMacro: a predefined macro that has not been used yet
    mutable ScopeEntry* scope = nullptr; // sema's slot
    mutable std::int32_t builtin =
        -1; // sema's cache: index into the built-in function table; -1 not looked up, -2 none
};

class IdentifierTable {
  public:
    explicit IdentifierTable(Arena& arena);
    const Identifier* get(std::string_view text) { return getMutable(text); }
    Identifier* getMutable(std::string_view text);
    // Null when there is none of this spelling.
    const Identifier* find(std::string_view text) const;
    // Every identifier seen so far (keywords included), for "did you mean".
    const std::vector<Identifier*>& all() const { return all_; }

  private:
    Identifier* add(std::string_view text, std::uint32_t hash);
    void grow();
    Arena& arena_;
    std::vector<Identifier*> slots_; // open addressing, a power of two
    std::vector<Identifier*> all_;
};

} // namespace msl
