#include "GlassHobCore/code/SymbolIndex.h"

#include "GlassHobCore/code/DeclarationReader.h"
#include "GlassHobCore/shader/Params.h"

#include <QStringList>

#include <algorithm>

namespace glasshob {

namespace {

// "#define NAME(x) text", if the line is one.
std::optional<Symbol> macro(const CodeLine& line, int number) {
    const QStringView text = QStringView(line.text).trimmed();
    const QStringView define = u"define";
    QStringView rest = text.mid(1).trimmed();
    if (!rest.startsWith(define)) return std::nullopt;
    rest = rest.mid(define.size());
    if (rest.isEmpty() || !rest[0].isSpace()) return std::nullopt;
    rest = rest.trimmed();
    qsizetype end = 0;
    while (end < rest.size() && (rest[end].isLetterOrNumber() || rest[end] == u'_'))
        ++end;
    if (end == 0) return std::nullopt;
    Symbol symbol;
    symbol.kind = Symbol::Kind::macro;
    symbol.name = rest.left(end).toString();
    symbol.declaration = text.toString().simplified();
    symbol.line = number;
    return symbol;
}

} // namespace

QString bareType(QStringView type) {
    QString bare = type.toString();
    for (const QLatin1String word : {QLatin1String("const "), QLatin1String("constant "), QLatin1String("device "),
                                     QLatin1String("threadgroup "), QLatin1String("thread ")})
        bare.replace(word, QLatin1String());
    while (bare.endsWith(u'&') || bare.endsWith(u'*') || bare.endsWith(u' '))
        bare.chop(1);
    if (bare.startsWith(QLatin1String("metal::"))) bare = bare.mid(7);
    return bare;
}

void SymbolIndex::setText(const QString& text) {
    lines_.clear();
    isListed_ = false;
    auto state = MSLSyntax::LineState::plain;
    for (const QString& line : text.split(u'\n')) {
        lines_.push_back(readCodeLine(line, state));
        state = lines_.back().after;
    }
}

void SymbolIndex::replaceLines(int first, int removed, const std::vector<QString>& lines) {
    first = std::clamp(first, 0, lineCount());
    removed = std::clamp(removed, 0, lineCount() - first);
    auto state = first > 0 ? lines_[std::size_t(first - 1)].after : MSLSyntax::LineState::plain;
    std::vector<CodeLine> read;
    read.reserve(lines.size());
    for (const QString& line : lines) {
        read.push_back(readCodeLine(line, state));
        state = read.back().after;
    }
    if (staysInBody(first, removed, read))
        moveDeclarations(first + removed, int(read.size()) - removed);
    else
        isListed_ = false;
    const auto at = lines_.begin() + first;
    const int common = std::min(removed, int(read.size()));
    std::move(read.begin(), read.begin() + common, at);
    if (removed > common)
        lines_.erase(at + common, at + removed);
    else
        lines_.insert(at + common, std::make_move_iterator(read.begin() + common), std::make_move_iterator(read.end()));
    if (lines_.empty()) lines_.push_back(readCodeLine({}, state));
    // A comment that was opened or closed goes on until the lines agree again.
    for (std::size_t next = std::size_t(first) + lines.size(); next < lines_.size(); ++next) {
        if (lines_[next].before == state) break;
        lines_[next] = readCodeLine(lines_[next].text, state);
        state = lines_[next].after;
        isListed_ = false;
    }
}

// What happens inside a body changes no declaration, unless it opens or closes a brace or a comment.
bool SymbolIndex::staysInBody(int first, int removed, const std::vector<CodeLine>& lines) const {
    if (!isListed_ || removed == 0 || lines.empty()) return false;
    struct Depth {
        int now = 0, lowest = 0;
        bool isPlain = true;
        void add(const CodeLine& line) {
            lowest = std::min(lowest, now + line.lowestDepth);
            now += line.depthChange;
            isPlain = isPlain && !line.isPreprocessor && !line.isDirective;
        }
    };
    Depth before, after;
    for (int i = first; i < first + removed; ++i) {
        if (!insideBody_[std::size_t(i)]) return false;
        before.add(lines_[std::size_t(i)]);
    }
    for (const CodeLine& line : lines)
        after.add(line);
    return before.isPlain && after.isPlain && after.now == before.now && after.lowest >= before.lowest &&
           lines.back().after == lines_[std::size_t(first + removed - 1)].after;
}

// Lines came or went before line `from`, inside of a body.
void SymbolIndex::moveDeclarations(int from, int by) {
    if (by == 0) return;
    const auto at = insideBody_.begin() + from;
    if (by > 0)
        insideBody_.insert(at, std::size_t(by), true);
    else
        insideBody_.erase(at + by, at);
    const auto move = [&](auto& self, Symbol& symbol) -> void {
        for (int* line : {&symbol.line, &symbol.bodyLine, &symbol.endLine})
            if (*line >= from) *line += by;
        for (Symbol& part : symbol.parts)
            self(self, part);
    };
    for (Symbol& symbol : declarations_)
        move(move, symbol);
}

void SymbolIndex::list() const {
    declarations_.clear();
    DeclarationReader(lines_, CodeCursor(lines_, 0)).readScope(declarations_, false);

    Symbol params;
    params.kind = Symbol::Kind::structure;
    params.name = params.type = QStringLiteral("Params");
    params.declaration = QStringLiteral("struct Params");
    for (int i = 0; i < lineCount(); ++i) {
        const CodeLine& line = lines_[std::size_t(i)];
        if (line.isPreprocessor) {
            if (auto symbol = macro(line, i)) declarations_.push_back(std::move(*symbol));
        } else if (line.isDirective) {
            for (const ParamDecl& declared : ParamParser::parse(line.text.toStdString())) {
                Symbol member;
                member.kind = Symbol::Kind::member;
                member.name = QString::fromStdString(declared.name);
                member.type = QStringLiteral("float");
                member.declaration = QStringLiteral("float %1, %2 to %3")
                                         .arg(member.name)
                                         .arg(double(declared.min))
                                         .arg(double(declared.max));
                member.note = QString::fromStdString(declared.detail);
                member.line = i;
                params.parts.push_back(std::move(member));
            }
        }
    }
    declarations_.push_back(std::move(params));

    insideBody_.assign(lines_.size(), false);
    auto markBody = [this](const Symbol& function) {
        if (function.kind != Symbol::Kind::function || function.bodyLine < 0) return;
        const CodeLine& last = lines_[std::size_t(function.endLine)];
        if (!last.text.contains(u'}')) return;
        for (int i = function.bodyLine + 1; i < function.endLine; ++i)
            insideBody_[std::size_t(i)] = true;
    };
    for (const Symbol& symbol : declarations_) {
        markBody(symbol);
        if (symbol.kind == Symbol::Kind::structure) std::ranges::for_each(symbol.parts, markBody);
    }
    isListed_ = true;
}

const std::vector<Symbol>& SymbolIndex::declarations() const {
    if (!isListed_) list();
    return declarations_;
}

const Symbol* SymbolIndex::find(QStringView name) const {
    const auto& all = declarations();
    const auto found = std::ranges::find(all.rbegin(), all.rend(), name, &Symbol::name);
    return found == all.rend() ? nullptr : &*found;
}

const Symbol* SymbolIndex::functionAround(int line, int column) const {
    const Symbol* around = nullptr;
    auto look = [&](const Symbol& symbol) {
        if (symbol.kind != Symbol::Kind::function || symbol.bodyLine < 0) return;
        if (line < symbol.bodyLine || line > symbol.endLine) return;
        if (line == symbol.bodyLine && column <= symbol.bodyColumn) return;
        const CodeLine& last = lines_[std::size_t(symbol.endLine)];
        if (line == symbol.endLine && line != symbol.bodyLine && !last.tokens.empty() &&
            last.of(last.tokens.front()) == u"}" && column > last.tokens.front().start)
            return;
        if (line == symbol.endLine && line == symbol.bodyLine && !last.tokens.empty() &&
            last.of(last.tokens.back()) == u"}" && column > last.tokens.back().start)
            return;
        around = &symbol;
    };
    for (const Symbol& symbol : declarations()) {
        look(symbol);
        if (symbol.kind == Symbol::Kind::structure) std::ranges::for_each(symbol.parts, look);
    }
    return around;
}

bool SymbolIndex::isInBody(int line, int column) const {
    return functionAround(line, column) != nullptr;
}

std::vector<Symbol> SymbolIndex::locals(int line, int column) const {
    std::vector<Symbol> names;
    const Symbol* function = functionAround(line, column);
    if (!function) return names;
    // A method sees its struct's members.
    for (const Symbol& symbol : declarations()) {
        if (symbol.kind != Symbol::Kind::structure || symbol.parts.empty()) continue;
        if (function >= &symbol.parts.front() && function <= &symbol.parts.back()) names = symbol.parts;
    }
    names.insert(names.end(), function->parts.begin(), function->parts.end());

    DeclarationReader reader(lines_, CodeCursor(lines_, function->bodyLine, function->bodyColumn));
    CodeCursor& cursor = reader.cursor();
    std::vector<std::size_t> scopes;
    bool isStatement = false;
    while (cursor.isBefore(line, column)) {
        if (cursor.is(u'{')) {
            scopes.push_back(names.size());
            isStatement = true;
        } else if (cursor.is(u'}')) {
            if (!scopes.empty()) {
                names.resize(std::min(names.size(), scopes.back()));
                scopes.pop_back();
            }
            isStatement = true;
        } else if (cursor.is(u';') || cursor.is(u':')) {
            isStatement = true;
        } else if (cursor.text() == u"for") {
            cursor.next();
            isStatement = true;
        } else if (isStatement && reader.readVariables(names, Symbol::Kind::variable)) {
            isStatement = false;
            continue;
        } else {
            isStatement = false;
        }
        cursor.next();
    }
    // What the statement at the place itself declares further on is not there yet.
    std::erase_if(names, [&](const Symbol& symbol) {
        return symbol.kind == Symbol::Kind::variable &&
               (symbol.line > line || (symbol.line == line && symbol.column + symbol.name.size() >= column));
    });
    return names;
}

std::optional<SymbolIndex::Place> SymbolIndex::partner(Place bracket) const {
    if (bracket.line < 0 || bracket.line >= lineCount()) return std::nullopt;
    const CodeLine& line = lines_[std::size_t(bracket.line)];
    const auto token = std::ranges::find(line.tokens, bracket.column, &CodeToken::start);
    if (token == line.tokens.end() || token->kind != CodeToken::Kind::sign) return std::nullopt;
    constexpr QStringView opening = u"([{", closing = u")]}";
    const QChar sign = line.text[token->start];
    const bool opens = opening.contains(sign);
    if (!opens && !closing.contains(sign)) return std::nullopt;
    const char16_t other = (opens ? closing[opening.indexOf(sign)] : opening[closing.indexOf(sign)]).unicode();

    CodeCursor cursor(lines_, bracket.line, bracket.column);
    int depth = 0;
    do {
        if (cursor.is(sign.unicode())) ++depth;
        if (cursor.is(other) && --depth == 0) return Place{cursor.line(), cursor.token().start};
        if (opens) cursor.next();
    } while (opens ? !cursor.atEnd() : cursor.previous());
    return std::nullopt;
}

} // namespace glasshob
