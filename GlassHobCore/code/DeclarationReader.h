#pragma once

// Reads declarations from a place in the tokens of a text that may be half typed: at file scope, in a struct, in a list
// of parameters, at the start of a statement. A part of SymbolIndex.

#include "GlassHobCore/code/SymbolIndex.h"

namespace glasshob {

class DeclarationReader {
  public:
    DeclarationReader(const std::vector<CodeLine>& lines, CodeCursor cursor) : lines_(lines), cursor_(cursor) {}

    // Everything up to the end of the text or a closing brace without its opening one.
    void readScope(std::vector<Symbol>& into, bool isStruct);
    // From behind the opening bracket of a function's parameters to behind the closing one.
    std::vector<Symbol> readParameters();
    // One declaration at the start of a statement, if there is one: its variables are added. The cursor then stands
    // inside the first variable's initialiser or behind the name, so that the caller can continue there.
    bool readVariables(std::vector<Symbol>& into, Symbol::Kind kind);

    CodeCursor& cursor() { return cursor_; }

  private:
    struct Written {
        QString type;
        bool isPlausible = false;
    };
    Written readType();
    void readStructure(std::vector<Symbol>& into);
    void readEnumeration(std::vector<Symbol>& into);
    void readAlias(std::vector<Symbol>& into);
    void readFunction(std::vector<Symbol>& into, const Written& type, const QString& name, int line,
                      const QString& prefix);
    void skipStatement();
    QString noteAt(int line) const;
    QString commentAbove(int line) const;

    const std::vector<CodeLine>& lines_;
    CodeCursor cursor_;
    int depth_ = 0; // of structs inside structs
};

} // namespace glasshob
