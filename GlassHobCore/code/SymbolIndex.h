#pragma once

// The names that a shader declares, as an editor offers and explains them: functions with their parameters, structs
// with their members, constants, macros, and the parameters and local variables in force at a place. It reads text that
// is being typed, so it guesses where a compiler would refuse, and never fails.
//
// An edit reads again only the lines that it changed; the declarations are listed again when somebody asks and
// something outside a function's body has changed. One thread; owned by what holds the text.

#include "GlassHobCore/code/CodeLines.h"

#include <memory>
#include <optional>
#include <vector>

namespace glasshob {

struct Symbol {
    enum class Kind : std::uint8_t {
        function,
        structure,
        enumeration,
        enumerator,
        constant,
        alias,
        macro,
        parameter,
        variable,
        member,
        // What no text declares:
        type,
        keyword,
        attribute,
        directive,
        space, // a namespace, or an enumeration of the library
    };
    Kind kind = Kind::variable;
    QString name;
    // As it is written, with its address space: "float3", "constant Params &". Of a function what it returns.
    QString type;
    // The whole declaration on one line: "float3 hobRamp(float x)".
    QString declaration;
    // What a comment says about it.
    QString note;
    // From 0; -1 for a name that is not in the text.
    int line = -1, column = -1;
    // Of a function its parameters, of a struct its members and methods, of an enumeration its names.
    std::vector<Symbol> parts;
    // For a variable of type auto: where its value begins.
    int valueLine = -1, valueColumn = -1;
    // Of a function's body, both braces included; -1 where there is none.
    int bodyLine = -1, bodyColumn = -1, endLine = -1;
};

// A type without its address space, const, & and *: "constant Params &" is "Params".
QString bareType(QStringView type);

class SymbolIndex {
  public:
    SymbolIndex() { setText({}); }
    explicit SymbolIndex(const QString& text) { setText(text); }

    // Lines are separated by \n.
    void setText(const QString& text);
    // The lines [first, first + removed) have become these.
    void replaceLines(int first, int removed, const std::vector<QString>& lines);

    const std::vector<CodeLine>& lines() const { return lines_; }
    int lineCount() const { return int(lines_.size()); }

    // The declarations of the file in their order. Valid until the next change.
    const std::vector<Symbol>& declarations() const;
    // The last declaration of a name at file scope, if any.
    const Symbol* find(QStringView name) const;
    // What is declared inside functions and can be used at a place: the function's parameters, then the variables, in
    // their order; a later one hides an earlier one of its name.
    std::vector<Symbol> locals(int line, int column) const;
    // Whether a place lies inside a function's body.
    bool isInBody(int line, int column) const;

    struct Place {
        int line = 0, column = 0;
        bool operator==(const Place&) const = default;
    };
    // The bracket that pairs with the one at a place: ( ) [ ] { }. Nothing where there is none, or it has no partner.
    std::optional<Place> partner(Place bracket) const;

  private:
    friend class DeclarationReader;

    void list() const;
    bool staysInBody(int first, int removed, const std::vector<CodeLine>& lines) const;
    void moveDeclarations(int from, int by);
    const Symbol* functionAround(int line, int column) const;

    std::vector<CodeLine> lines_;
    mutable std::vector<Symbol> declarations_;
    mutable std::vector<bool> insideBody_; // lines wholly inside a function's body
    mutable bool isListed_ = false;
};

} // namespace glasshob
