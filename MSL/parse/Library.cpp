#include "MSL/parse/Library.h"

#include "MSL/parse/Parser.h"

#include <vector>

namespace msl {
namespace {

constexpr std::string_view name = "initializer_list";

constexpr std::string_view text = R"(
template <typename T> class initializer_list {
  public:
    typedef T value_type;
    typedef size_t size_type;
    typedef const thread T* iterator;
    typedef const thread T* const_iterator;
    const thread T* __first;
    uint __count;
    const thread T* begin() const { return __first; }
    const thread T* end() const { return __first + __count; }
    size_t size() const { return __count; }
};
)";

void moveNowhere(std::span<Decl*> declarations) {
    for (Decl* decl : declarations) {
        decl->location = {};
        if (decl->kind == DeclKind::struct_) moveNowhere(static_cast<StructDecl*>(decl)->members);
    }
}

} // namespace

std::span<Decl*> parseLibrary(IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics, WorkLimit& limit) {
    if (identifiers.find(name) == nullptr) return {};
    // What the text made of these names is nothing to the library.
    struct Kept {
        Identifier* identifier;
        bool isMacro;
    };
    std::vector<Kept> kept;
    kept.reserve(identifiers.all().size());
    for (Identifier* identifier : identifiers.all()) {
        kept.push_back({identifier, identifier->isMacro});
        identifier->isMacro = false;
        identifier->nameClass = NameClass::unseen;
        identifier->declaredAs = NameClass::unseen;
    }
    SourceManager source(text, "metal_stdlib", 0, 0);
    const std::span<Decl*> declarations = parse(source, identifiers, arena, diagnostics, limit)->declarations;
    moveNowhere(declarations);
    for (const Kept& one : kept)
        one.identifier->isMacro = one.isMacro;
    return declarations;
}

} // namespace msl
