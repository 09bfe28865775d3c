#pragma once

// Guesses the type of an expression in a text that is being typed, from what the file, the host and the library
// declare: enough to say what may follow a dot. An unknown type is an empty text. A value for one question: it holds
// references to the index and the locals that it was made with.

#include "GlassHobCore/code/SymbolIndex.h"

namespace glasshob {

class ExpressionType {
  public:
    ExpressionType(const SymbolIndex& index, const std::vector<Symbol>& locals) : index_(index), locals_(locals) {}

    // Of what ends right before a place: a name, a call, a member, an element, something in brackets.
    QString before(int line, int column) const;
    // What may follow a dot behind a value of a type.
    std::vector<Symbol> members(const QString& type) const;

  private:
    QString ending(CodeCursor& cursor, int depth) const;
    QString starting(CodeCursor cursor, int depth) const;
    QString ofName(QStringView name, int depth) const;
    QString ofCall(QStringView name, CodeCursor opening, int depth) const;
    QString ofMember(const QString& type, QStringView member) const;
    QString resolved(QString type) const;
    const Symbol* structure(const QString& type) const;

    const SymbolIndex& index_;
    const std::vector<Symbol>& locals_;
    // Values of type auto that are made of one another twice over would take for ever.
    mutable int stepsLeft_ = 4000;
};

} // namespace glasshob
