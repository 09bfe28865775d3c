#include "GlassHobCore/code/CodeCompletion.h"

#include "GlassHobCore/code/ExpressionType.h"
#include "GlassHobCore/code/LibraryNames.h"
#include "GlassHobCore/code/Words.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace glasshob::CodeCompletion {

namespace {

using Context = Completions::Context;
using Kind = Symbol::Kind;

constexpr int lettersByItself = 2;

// The coloured part that a caret at a column stands in, if any.
std::optional<SyntaxToken> colouredAt(const CodeLine& line, int column) {
    std::vector<SyntaxToken> tokens;
    MSLSyntax::tokenizeLine(line.text, line.before, tokens);
    for (const SyntaxToken& token : tokens) {
        const bool runsOn = token.kind == SyntaxKind::comment || token.kind == SyntaxKind::header ||
                            token.kind == SyntaxKind::preprocessor;
        const bool isOpenEnd =
            runsOn && token.range.end() == line.text.size() && !QStringView(line.text).endsWith(u"*/");
        if (token.range.location < column && (column < token.range.end() || (isOpenEnd && column == token.range.end())))
            return token;
        // A string or an attribute that has not been closed.
        if (token.range.end() == column && token.range.end() == line.text.size()) {
            const QStringView text = QStringView(line.text).mid(token.range.location, token.range.length);
            if (token.kind == SyntaxKind::attribute && !text.endsWith(u"]]")) return token;
            if (token.kind == SyntaxKind::string && (text.size() == 1 || !text.endsWith(u'"'))) return token;
        }
    }
    return std::nullopt;
}

// The kind of shader that the directives of a text ask for.
ShaderKind kindOf(const SymbolIndex& index) {
    bool particles = false;
    for (const CodeLine& line : index.lines()) {
        if (!line.isDirective) continue;
        const std::string text = line.text.toStdString();
        if (ShaderAssembler::gridCells(text) > 0) return ShaderKind::grid;
        particles = particles || ShaderAssembler::particleCount(text) > 0;
    }
    return particles ? ShaderKind::particles : ShaderKind::fragment;
}

// Gathers what fits; a name that came before hides a later one.
class Gatherer {
  public:
    explicit Gatherer(Completions& list) : list_(list) {}

    void add(const Symbol& symbol, int nearness) {
        if (symbol.name.isEmpty() || symbol.name.startsWith(QLatin1String("operator"))) return;
        auto found = fit(list_.typed, symbol.name);
        if (!found) return;
        const auto [place, isNew] = places_.try_emplace(symbol.name, list_.items.size());
        if (!isNew) {
            if (symbol.kind == Kind::function && list_.items[place->second].symbol.kind == Kind::function)
                ++list_.items[place->second].others;
            return;
        }
        list_.items.push_back({symbol, std::move(found->matched), found->rank + nearness, 0});
    }
    void addAll(const std::vector<Symbol>& symbols, int nearness) {
        for (const Symbol& symbol : symbols)
            add(symbol, nearness);
    }

  private:
    struct Hash {
        std::size_t operator()(const QString& text) const { return qHash(text); }
    };
    Completions& list_;
    std::unordered_map<QString, std::size_t, Hash> places_;
};

struct Before {
    CodeCursor cursor;
    bool exists = false;
};

void completeNames(const SymbolIndex& index, int line, int column, const Before& before, Gatherer& gather) {
    const bool isInside = index.isInBody(line, column);
    const bool isStatement = !before.exists || before.cursor.is(u';') || before.cursor.is(u'{') ||
                             before.cursor.is(u'}') || (!isInside && before.cursor.line() < line);
    const int forTypes = isStatement ? 60 : 15, forValues = isStatement ? 10 : 30;
    if (isInside) {
        std::vector<Symbol> locals = index.locals(line, column);
        std::ranges::reverse(locals); // the nearest hides the others
        gather.addAll(locals, 90);
    } else if (isStatement) {
        // At file scope one writes the functions that the host calls.
        for (Symbol entry : libraryNames::entryFunctions(kindOf(index))) {
            if (index.find(entry.name)) continue;
            entry.note = QStringLiteral("entry"); // asks for the whole function to be written
            gather.add(entry, 80);
        }
    }
    const bool takesValues = isInside || !isStatement;
    for (const Symbol& symbol : index.declarations()) {
        const bool isType =
            symbol.kind == Kind::structure || symbol.kind == Kind::alias || symbol.kind == Kind::enumeration;
        if (isType || takesValues) gather.add(symbol, isType ? forTypes + 15 : 60);
    }
    gather.addAll(libraryNames::hostTypes(), forTypes);
    if (takesValues) {
        for (const Symbol& function : libraryNames::functions())
            gather.add(function, function.name.contains(u'_') ? forValues - 40 : forValues);
        gather.addAll(libraryNames::constants(), 0);
        gather.addAll(libraryNames::spaces(), -20);
    }
    for (const Symbol& type : libraryNames::types())
        gather.add(type, type.name.contains(u'_') ? forTypes - 40 : forTypes);
    gather.addAll(libraryNames::keywords(), isStatement ? 60 : 10);
}

} // namespace

namespace {

// Which letters a text has, whichever their case; all others but digits and the underscore count as one.
std::uint64_t lettersOf(QStringView text) {
    std::uint64_t letters = 0;
    for (const QChar c : text) {
        const char16_t code = c.unicode();
        const char16_t small = code | 32U;
        letters |= std::uint64_t{1} << (small >= u'a' && small <= u'z' ? small - u'a'
                                        : code >= u'0' && code <= u'9' ? 26 + code - u'0'
                                        : code == u'_'                 ? 36
                                                                       : 37);
    }
    return letters;
}

} // namespace

std::optional<Fit> fit(QStringView typed, QStringView name) {
    Fit found;
    if (typed.size() > name.size() || (lettersOf(typed) & ~lettersOf(name)) != 0) return std::nullopt;
    const int length = int(std::min<qsizetype>(name.size(), 60));
    auto run = [&](int from) {
        for (int i = 0; i < int(typed.size()); ++i)
            found.matched.push_back(from + i);
    };
    if (name.startsWith(typed, Qt::CaseInsensitive)) {
        run(0);
        const bool isSame = name.startsWith(typed);
        found.rank = typed.isEmpty() ? 0 : (isSame ? 1000 : 950) - length;
        if (isSame && typed.size() == name.size()) found.rank += 400;
        return found;
    }
    // The first letters of the name's words, or more of each: "tpg", "smstep".
    if (typed[0].toLower() == name[0].toLower()) {
        found.matched.push_back(0);
        int at = 0;
        bool fits = true;
        for (int i = 1; i < int(typed.size()) && fits; ++i) {
            const QChar wanted = typed[i].toLower();
            if (at + 1 < int(name.size()) && name[at + 1].toLower() == wanted) {
                found.matched.push_back(++at);
                continue;
            }
            fits = false;
            for (int next = at + 2; next < int(name.size()); ++next) {
                const QChar c = name[next], previous = name[next - 1];
                const bool isStart =
                    previous == u'_' || (c.isUpper() && !previous.isUpper()) || (c.isDigit() && !previous.isDigit());
                if (!isStart || c.toLower() != wanted) continue;
                found.matched.push_back(at = next);
                fits = true;
                break;
            }
        }
        if (fits) {
            found.rank = 600 - length;
            return found;
        }
    }
    if (typed.size() >= 3) {
        const qsizetype at = name.indexOf(typed, 0, Qt::CaseInsensitive);
        if (at > 0) {
            found.matched.clear();
            run(int(at));
            found.rank = 300 - length - int(at);
            return found;
        }
    }
    return std::nullopt;
}

Completions complete(const SymbolIndex& index, int line, int column, bool isAsked) {
    Completions list;
    if (line < 0 || line >= index.lineCount()) return list;
    const CodeLine& here = index.lines()[std::size_t(line)];
    const QString& text = here.text;
    column = std::clamp(column, 0, int(text.size()));
    const int from = int(wordAt(text, column).location);
    list.from = from;
    list.to = column;
    const QStringView before = QStringView(text).left(column);

    Gatherer gather(list);
    const auto coloured = colouredAt(here, column);
    if (coloured && (coloured->kind == SyntaxKind::comment || coloured->kind == SyntaxKind::header)) {
        static const QRegularExpression form(QStringLiteral(R"(^\s*//\s*@([\w-]*)$)"));
        const QRegularExpressionMatch match = form.match(before.toString());
        if (!match.hasMatch()) return list;
        list.context = Context::directive;
        list.typed = match.captured(1);
        list.from = int(match.capturedStart(1));
        int nearness = 0;
        for (const Symbol& directive : libraryNames::directives())
            gather.add(directive, nearness--);
        list.comesByItself = true;
    } else if (coloured && coloured->kind == SyntaxKind::preprocessor) {
        static const QRegularExpression form(QStringLiteral(R"(^\s*#\s*(\w*)$)"));
        const QRegularExpressionMatch match = form.match(before.toString());
        if (!match.hasMatch()) return list;
        list.context = Context::preprocessor;
        list.typed = match.captured(1);
        gather.addAll(libraryNames::preprocessorWords(), 0);
        list.comesByItself = list.typed.size() > 0;
    } else if (coloured && coloured->kind == SyntaxKind::attribute) {
        list.context = Context::attribute;
        list.typed = text.mid(from, column - from);
        const QStringView opened = before.mid(coloured->range.location);
        const QStringView last = opened.left(from - coloured->range.location).trimmed();
        if (!last.endsWith(u"[[") && !last.endsWith(u',')) return list; // inside its argument
        gather.addAll(libraryNames::attributes(), 0);
        list.comesByItself = true;
    } else {
        list.typed = text.mid(from, column - from);
        if (coloured && coloured->kind == SyntaxKind::string) return list;
        if (!list.typed.isEmpty() && list.typed[0].isDigit()) return list;
        Before at{CodeCursor(index.lines(), line, from), false};
        at.exists = at.cursor.previous();
        // 1.x is a number, and so is the word behind it.
        if (at.exists && at.cursor.line() == line && at.cursor.isKind(CodeToken::Kind::number) &&
            at.cursor.token().end() == from)
            return list;
        CodeCursor sign = at.cursor;
        const bool isDot = at.exists && sign.is(u'.');
        const bool isArrow = at.exists && sign.is(u'>') && sign.previous() && sign.is(u'-');
        CodeCursor colon = at.cursor;
        const bool isSpace = at.exists && colon.is(u':') && colon.previous() && colon.is(u':');
        if (isDot || isArrow) {
            list.context = Context::member;
            const std::vector<Symbol> locals = index.locals(line, column);
            const ExpressionType types(index, locals);
            int nearness = 50;
            // In their order, which is that of the declaration.
            for (const Symbol& member : types.members(types.before(sign.line(), sign.token().start)))
                gather.add(member, nearness--);
            list.comesByItself = true;
        } else if (isSpace) {
            list.context = Context::space;
            if (!colon.previous()) return list;
            const QStringView name = colon.text();
            int nearness = 30;
            if (const Symbol* declared = index.find(name))
                for (const Symbol& part : declared->parts)
                    gather.add(part, nearness--);
            for (const Symbol& space : libraryNames::spaces())
                if (space.name == name) gather.addAll(space.parts, 0);
            list.comesByItself = true;
        } else {
            list.context = Context::name;
            completeNames(index, line, from, at, gather);
            // Behind a type a new name is written: nobody wants another one for it.
            const bool declares = at.exists && at.cursor.line() == line &&
                                  (at.cursor.isName() || ((at.cursor.is(u'&') || at.cursor.is(u'*')) && [&] {
                                       CodeCursor type = at.cursor;
                                       return type.previous() && type.isKind(CodeToken::Kind::type);
                                   }()));
            list.comesByItself = list.typed.size() >= lettersByItself && !declares;
        }
    }
    std::ranges::sort(list.items, [](const Completion& a, const Completion& b) {
        return a.rank != b.rank ? a.rank > b.rank : a.symbol.name < b.symbol.name;
    });
    if (list.items.size() > mostItems) list.items.resize(mostItems);
    // The whole name stands there already: nothing is left to offer.
    if (!isAsked && !list.items.empty() && list.items.front().symbol.name == list.typed) list.comesByItself = false;
    if (list.items.empty()) list.comesByItself = false;
    return list;
}

Insertion insertion(const Symbol& symbol, Completions::Context context, QStringView after) {
    Insertion made;
    made.text = symbol.name;
    const bool isCalled = after.trimmed().startsWith(u'(');
    if (context == Context::directive && (after.isEmpty() || !after[0].isSpace())) {
        made.text += u' ';
    } else if (context == Context::attribute) {
        // "[[buffer(0)]]": the number is what one goes on typing.
        const QString form = symbol.declaration.mid(2, symbol.declaration.size() - 4);
        const qsizetype bracket = form.indexOf(u'(');
        if (bracket >= 0 && !isCalled) {
            made.text = form;
            made.caret = int(form.size()) - 1;
            if (!after.contains(QLatin1String("]]"))) made.text += QLatin1String("]]");
            return made;
        }
        if (!after.contains(QLatin1String("]]"))) made.text += QLatin1String("]]");
    } else if (symbol.kind == Kind::function && symbol.note == u"entry") {
        made.text = symbol.declaration + QStringLiteral(" {\n    \n}");
        made.caret = int(made.text.size()) - 2;
        return made;
    } else if (symbol.kind == Kind::function && !isCalled) {
        made.text += QStringLiteral("()");
        made.caret = int(made.text.size()) - (symbol.parts.empty() ? 0 : 1);
        made.closes = !symbol.parts.empty();
        return made;
    } else if (symbol.kind == Kind::space) {
        if (!after.startsWith(u"::")) made.text += QStringLiteral("::");
    }
    made.caret = int(made.text.size());
    return made;
}

std::vector<Symbol> describe(const SymbolIndex& index, int line, int column) {
    std::vector<Symbol> found;
    if (line < 0 || line >= index.lineCount()) return found;
    const CodeLine& here = index.lines()[std::size_t(line)];
    int from = std::clamp(column, 0, int(here.text.size())), to = from;
    const auto coloured = colouredAt(here, column + 1);
    const bool isDirective = coloured && coloured->kind == SyntaxKind::header;
    auto isPart = [&](QChar c) { return isWordPart(c) || (isDirective && c == u'-'); };
    while (from > 0 && isPart(here.text[from - 1]))
        --from;
    while (to < here.text.size() && isPart(here.text[to]))
        ++to;
    if (from == to) return found;
    const QString name = here.text.mid(from, to - from);
    auto take = [&](const std::vector<Symbol>& symbols) {
        for (const Symbol& symbol : symbols)
            if (symbol.name == name) found.push_back(symbol);
        return !found.empty();
    };
    if (coloured && coloured->kind != SyntaxKind::keyword && coloured->kind != SyntaxKind::type) {
        if (isDirective && from > 0 && here.text[from - 1] == u'@') take(libraryNames::directives());
        if (coloured->kind == SyntaxKind::attribute) take(libraryNames::attributes());
        return found;
    }
    CodeCursor cursor(index.lines(), line, from);
    if (cursor.atEnd() || cursor.token().start != from || cursor.line() != line) return found;
    CodeCursor before = cursor;
    const std::vector<Symbol> locals = index.locals(line, to + 1);
    if (before.previous()) {
        CodeCursor sign = before;
        const bool isArrow = sign.is(u'>') && sign.previous() && sign.is(u'-');
        if (before.is(u'.') || isArrow) {
            const ExpressionType types(index, locals);
            take(types.members(types.before(sign.line(), sign.token().start)));
            return found;
        }
        if (before.is(u':')) {
            CodeCursor space = before;
            if (space.previous() && space.is(u':') && space.previous()) {
                for (const Symbol& each : libraryNames::spaces())
                    if (each.name == space.text() && take(each.parts)) return found;
                if (const Symbol* declared = index.find(space.text()); declared && take(declared->parts)) return found;
            }
        }
    }
    const auto local = std::ranges::find(locals.rbegin(), locals.rend(), name, &Symbol::name);
    if (local != locals.rend()) {
        found.push_back(*local);
        return found;
    }
    if (take(index.declarations()) || take(libraryNames::hostTypes()) || take(libraryNames::functions()) ||
        take(libraryNames::constants()))
        return found;
    return found;
}

std::optional<Call> callAround(const SymbolIndex& index, int line, int column) {
    CodeCursor cursor(index.lines(), line, column);
    int depth = 0, argument = 0;
    // Calls are short: a place far from any bracket is in none.
    for (int count = 0; count < 400 && cursor.previous(); ++count) {
        if (cursor.is(u';') || cursor.is(u'{') || cursor.is(u'}')) return std::nullopt;
        if (cursor.is(u')') || cursor.is(u']')) ++depth;
        if (cursor.is(u'[')) --depth;
        if (depth == 0 && cursor.is(u',')) ++argument;
        if (!cursor.is(u'(')) continue;
        if (--depth >= 0) continue;
        Call call;
        call.argument = argument;
        call.opening = {cursor.line(), cursor.token().start};
        if (!cursor.previous()) return std::nullopt;
        if (!cursor.isName()) {
            // Brackets round an expression, or an if: the call may lie further out.
            depth = argument = 0;
            cursor.next();
            continue;
        }
        std::vector<Symbol> named = describe(index, cursor.line(), cursor.token().start);
        std::erase_if(named, [](const Symbol& symbol) { return symbol.kind != Kind::function; });
        // The place where a function is declared is no call of it.
        const bool isDeclaration = std::ranges::any_of(named, [&](const Symbol& symbol) {
            return symbol.line == cursor.line() && !index.isInBody(cursor.line(), cursor.token().start);
        });
        if (named.empty() || isDeclaration) return std::nullopt;
        call.functions = std::move(named);
        return call;
    }
    return std::nullopt;
}

} // namespace glasshob::CodeCompletion
