#include "GlassHobCore/code/DeclarationReader.h"

#include <QSet>

#include <algorithm>

namespace glasshob {

namespace {

using Kind = CodeToken::Kind;

constexpr int mostNoteLines = 4;
constexpr int deepestStructure = 32;

bool isOneOf(QStringView word, std::initializer_list<QStringView> words) {
    return std::ranges::find(words, word) != words.end();
}

// Words before a type that say nothing about it.
bool isSpecifier(QStringView word) {
    return isOneOf(word, {u"static", u"inline", u"constexpr", u"vertex", u"fragment", u"kernel", u"extern", u"volatile",
                          u"typename", u"struct", u"enum", u"class", u"restrict", u"mutable"});
}
// Words before a type that belong to it.
bool isQualifier(QStringView word) {
    return isOneOf(word, {u"const", u"constant", u"device", u"thread", u"threadgroup"});
}

// Whether something at the margin looks like a new declaration, or like the brace that ends one.
bool beginsDeclaration(CodeCursor cursor) {
    if (cursor.token().start != 0) return false;
    const QStringView word = cursor.text();
    if (word == u"}" || isSpecifier(word) || isQualifier(word) ||
        isOneOf(word, {u"template", u"using", u"typedef", u"namespace"}))
        return true;
    if (!cursor.isName()) return false;
    cursor.next();
    return cursor.isName();
}

QString joined(const std::vector<Symbol>& parameters) {
    QStringList texts;
    for (const Symbol& parameter : parameters)
        texts << parameter.declaration;
    return texts.join(QStringLiteral(", "));
}

} // namespace

QString DeclarationReader::noteAt(int line) const {
    const CodeLine& here = lines_[std::size_t(line)];
    const int end = here.tokens.empty() ? 0 : here.tokens.back().end();
    const qsizetype mark = here.text.indexOf(QLatin1String("//"), end);
    return mark < 0 ? QString() : here.text.mid(mark + 2).trimmed();
}

QString DeclarationReader::commentAbove(int line) const {
    QStringList notes;
    for (int above = line - 1; above >= 0 && notes.size() < mostNoteLines; --above) {
        const CodeLine& here = lines_[std::size_t(above)];
        const QString text = here.text.trimmed();
        if (here.isDirective || !text.startsWith(QLatin1String("//"))) break;
        const QString note = text.mid(2).trimmed();
        if (note.isEmpty()) break;
        notes.prepend(note);
    }
    return notes.join(u' ');
}

DeclarationReader::Written DeclarationReader::readType() {
    Written written;
    QString qualifiers;
    auto takeQualifiers = [&] {
        while (cursor_.isKind(Kind::keyword) || cursor_.isKind(Kind::attribute) || cursor_.isKind(Kind::word)) {
            const QStringView word = cursor_.text();
            if (isQualifier(word))
                qualifiers += word.toString() + u' ';
            else if (!isSpecifier(word) && !cursor_.isKind(Kind::attribute))
                break;
            cursor_.next();
        }
    };
    takeQualifiers();
    if (!cursor_.isName() && cursor_.text() != u"auto") return written;
    QString name = cursor_.text().toString();
    cursor_.next();
    // unsigned int, long long
    while (isOneOf(name, {u"unsigned", u"signed", u"long", u"short"}) && cursor_.isKind(Kind::type)) {
        name += u' ' + cursor_.text().toString();
        cursor_.next();
    }
    auto nextIsScope = [&] {
        if (!cursor_.is(u':')) return false;
        CodeCursor ahead = cursor_;
        ahead.next();
        return ahead.is(u':');
    };
    while (true) {
        if (cursor_.is(u'<')) {
            CodeCursor angle = cursor_;
            if (!cursor_.skipAngles()) break;
            while (!angle.atEnd() && (angle.line() != cursor_.line() || cursor_.atEnd() ||
                                      angle.token().start != cursor_.token().start)) {
                name += angle.text();
                if (angle.is(u',')) name += u' ';
                angle.next();
            }
            continue;
        }
        if (!nextIsScope()) break;
        cursor_.next();
        cursor_.next();
        if (!cursor_.isName()) return written;
        name += QLatin1String("::");
        name += cursor_.text();
        cursor_.next();
    }
    takeQualifiers();
    QString marks;
    while (cursor_.is(u'&') || cursor_.is(u'*')) {
        marks += cursor_.text();
        cursor_.next();
        takeQualifiers();
    }
    written.type = qualifiers + name + marks;
    written.isPlausible = true;
    return written;
}

bool DeclarationReader::readVariables(std::vector<Symbol>& into, Symbol::Kind kind) {
    const CodeCursor start = cursor_;
    const Written type = readType();
    if (!type.isPlausible || !cursor_.isKind(Kind::word)) {
        cursor_ = start;
        return false;
    }
    while (cursor_.isKind(Kind::word)) {
        Symbol symbol;
        symbol.kind = kind;
        symbol.name = cursor_.text().toString();
        symbol.type = type.type;
        symbol.line = cursor_.line();
        symbol.column = cursor_.token().start;
        cursor_.next();
        QString size;
        while (cursor_.is(u'[')) {
            CodeCursor part = cursor_;
            cursor_.skipGroup();
            for (; !part.atEnd() && part.isBefore(cursor_.atEnd() ? int(lines_.size()) : cursor_.line(),
                                                  cursor_.atEnd() ? 0 : cursor_.token().start);
                 part.next())
                size += part.text();
        }
        while (cursor_.isKind(Kind::attribute))
            cursor_.next();
        symbol.type += size;
        symbol.declaration = type.type + u' ' + symbol.name + size;
        if (kind == Symbol::Kind::member || kind == Symbol::Kind::constant) symbol.note = noteAt(symbol.line);
        if (cursor_.is(u'=')) {
            cursor_.next();
            if (!cursor_.atEnd()) {
                symbol.valueLine = cursor_.line();
                symbol.valueColumn = cursor_.token().start;
            }
        }
        into.push_back(std::move(symbol));
        // To the next variable of the same statement.
        while (!cursor_.atEnd() && !cursor_.is(u',') && !cursor_.is(u';') && !cursor_.is(u'}') && !cursor_.is(u')') &&
               !cursor_.is(u':')) {
            // What is half typed ends with its line when the next one begins a statement.
            if (cursor_.is(u'(') || cursor_.is(u'[') || cursor_.is(u'{'))
                cursor_.skipGroup();
            else
                cursor_.next();
        }
        if (!cursor_.is(u',')) break;
        do
            cursor_.next();
        while (cursor_.is(u'*') || cursor_.is(u'&'));
    }
    return true;
}

std::vector<Symbol> DeclarationReader::readParameters() {
    std::vector<Symbol> parameters;
    while (!cursor_.atEnd() && !cursor_.is(u')') && !cursor_.is(u'{') && !cursor_.is(u'}') && !cursor_.is(u';')) {
        const CodeCursor start = cursor_;
        const Written type = readType();
        if (type.isPlausible) {
            Symbol parameter;
            parameter.kind = Symbol::Kind::parameter;
            parameter.type = type.type;
            parameter.line = start.line();
            if (cursor_.isKind(Kind::word)) {
                parameter.name = cursor_.text().toString();
                parameter.line = cursor_.line();
                parameter.column = cursor_.token().start;
                cursor_.next();
            }
            parameter.declaration = parameter.name.isEmpty() ? type.type : type.type + u' ' + parameter.name;
            if (type.type != u"void" || !parameter.name.isEmpty()) parameters.push_back(std::move(parameter));
        }
        while (!cursor_.atEnd() && !cursor_.is(u',') && !cursor_.is(u')') && !cursor_.is(u'{') && !cursor_.is(u';')) {
            if (cursor_.is(u'(') || cursor_.is(u'['))
                cursor_.skipGroup();
            else
                cursor_.next();
        }
        if (cursor_.is(u',')) cursor_.next();
    }
    if (cursor_.is(u')')) cursor_.next();
    return parameters;
}

void DeclarationReader::readFunction(std::vector<Symbol>& into, const Written& type, const QString& name, int line,
                                     const QString& prefix) {
    Symbol function;
    function.kind = Symbol::Kind::function;
    function.name = name;
    function.type = type.type;
    function.line = line;
    cursor_.next();
    function.parts = readParameters();
    function.declaration =
        prefix + (type.type.isEmpty() ? QString() : type.type + u' ') + name + u'(' + joined(function.parts) + u')';
    function.note = commentAbove(line);
    while (!cursor_.atEnd() && !cursor_.is(u'{') && !cursor_.is(u';') && !cursor_.is(u'}'))
        cursor_.next();
    if (cursor_.is(u'{')) {
        function.bodyLine = cursor_.line();
        function.bodyColumn = cursor_.token().start;
        const CodeCursor body = cursor_;
        if (!cursor_.skipBraces()) {
            // A brace is missing. What stands at the margin is taken for the next declaration.
            cursor_ = body;
            cursor_.next();
            while (!cursor_.atEnd() && !(cursor_.line() > body.line() && beginsDeclaration(cursor_)))
                cursor_.next();
            if (cursor_.is(u'}')) cursor_.next();
        }
        CodeCursor last = cursor_;
        function.endLine = last.previous() ? last.line() : body.line();
        // Up to the next declaration the blank lines belong to it: one may be typing there.
        if (!last.is(u'}')) function.endLine = cursor_.atEnd() ? int(lines_.size()) - 1 : cursor_.line() - 1;
    } else if (cursor_.is(u';')) {
        cursor_.next();
    }
    into.push_back(std::move(function));
}

void DeclarationReader::readStructure(std::vector<Symbol>& into) {
    Symbol structure;
    structure.kind = Symbol::Kind::structure;
    const QString word = cursor_.text().toString();
    structure.line = cursor_.line();
    cursor_.next();
    structure.name = cursor_.text().toString();
    structure.type = structure.name;
    structure.declaration = word + u' ' + structure.name;
    structure.note = commentAbove(structure.line);
    while (!cursor_.atEnd() && !cursor_.is(u'{') && !cursor_.is(u';'))
        cursor_.next();
    if (cursor_.is(u'{')) {
        if (depth_ == deepestStructure) {
            cursor_.skipBraces();
        } else {
            cursor_.next();
            ++depth_;
            readScope(structure.parts, true);
            --depth_;
            if (cursor_.is(u'}')) cursor_.next();
        }
    }
    into.push_back(std::move(structure));
}

void DeclarationReader::readEnumeration(std::vector<Symbol>& into) {
    Symbol enumeration;
    enumeration.kind = Symbol::Kind::enumeration;
    enumeration.line = cursor_.line();
    cursor_.next();
    bool isScoped = false;
    if (cursor_.text() == u"class" || cursor_.text() == u"struct") {
        isScoped = true;
        cursor_.next();
    }
    if (cursor_.isName()) enumeration.name = cursor_.text().toString();
    enumeration.type = enumeration.name;
    enumeration.declaration = QStringLiteral("enum ") + enumeration.name;
    while (!cursor_.atEnd() && !cursor_.is(u'{') && !cursor_.is(u';'))
        cursor_.next();
    if (cursor_.is(u'{')) {
        cursor_.next();
        while (!cursor_.atEnd() && !cursor_.is(u'}')) {
            if (cursor_.isName()) {
                Symbol name;
                name.kind = Symbol::Kind::enumerator;
                name.name = cursor_.text().toString();
                name.type = enumeration.name;
                name.line = cursor_.line();
                name.declaration = enumeration.name + QStringLiteral("::") + name.name;
                if (!isScoped) into.push_back(name);
                enumeration.parts.push_back(std::move(name));
            }
            while (!cursor_.atEnd() && !cursor_.is(u',') && !cursor_.is(u'}'))
                cursor_.next();
            if (cursor_.is(u',')) cursor_.next();
        }
        if (cursor_.is(u'}')) cursor_.next();
    }
    if (!enumeration.name.isEmpty()) into.push_back(std::move(enumeration));
}

void DeclarationReader::readAlias(std::vector<Symbol>& into) {
    const bool isUsing = cursor_.text() == u"using";
    Symbol alias;
    alias.kind = Symbol::Kind::alias;
    alias.line = cursor_.line();
    cursor_.next();
    if (isUsing && cursor_.isKind(Kind::word)) {
        alias.name = cursor_.text().toString();
        cursor_.next();
        if (cursor_.is(u'=')) {
            cursor_.next();
            alias.type = readType().type;
        }
    } else if (!isUsing) {
        alias.type = readType().type;
        if (cursor_.isKind(Kind::word)) alias.name = cursor_.text().toString();
    }
    alias.declaration = QStringLiteral("using %1 = %2").arg(alias.name, alias.type);
    if (!alias.name.isEmpty() && !alias.type.isEmpty()) into.push_back(std::move(alias));
    skipStatement();
}

void DeclarationReader::skipStatement() {
    while (!cursor_.atEnd() && !cursor_.is(u';') && !cursor_.is(u'}')) {
        if (cursor_.is(u'{'))
            cursor_.skipBraces();
        else
            cursor_.next();
    }
    if (cursor_.is(u';')) cursor_.next();
}

void DeclarationReader::readScope(std::vector<Symbol>& into, bool isStruct) {
    QString prefix;
    while (!cursor_.atEnd()) {
        const QStringView word = cursor_.text();
        if (cursor_.is(u'}')) {
            if (isStruct) return;
            cursor_.next();
            continue;
        }
        // A struct that nobody closed ends where something else stands at the margin.
        if (isStruct && beginsDeclaration(cursor_)) return;
        if (word == u"template") {
            cursor_.next();
            CodeCursor angle = cursor_;
            if (cursor_.skipAngles()) {
                prefix = QStringLiteral("template <");
                QString inside;
                for (angle.next();
                     !angle.atEnd() && !cursor_.atEnd() && angle.isBefore(cursor_.line(), cursor_.token().start);
                     angle.next()) {
                    if (!inside.isEmpty() && !angle.is(u',') && !angle.is(u'>')) inside += u' ';
                    inside += angle.text();
                }
                prefix += inside + u' ';
            }
            continue;
        }
        if (word == u"struct" || word == u"class" || word == u"union") {
            CodeCursor ahead = cursor_;
            ahead.next();
            const bool isNamed = ahead.isName();
            ahead.next();
            if (isNamed && !ahead.isName() && !ahead.is(u'&') && !ahead.is(u'*')) {
                readStructure(into);
                prefix.clear();
                continue;
            }
        }
        if (word == u"enum") {
            readEnumeration(into);
            continue;
        }
        if (word == u"using" || word == u"typedef") {
            readAlias(into);
            prefix.clear();
            continue;
        }
        if (word == u"namespace") {
            // Its names are listed as if they stood outside.
            while (!cursor_.atEnd() && !cursor_.is(u'{') && !cursor_.is(u';'))
                cursor_.next();
            cursor_.next();
            continue;
        }
        const CodeCursor start = cursor_;
        const Written type = readType();
        if (!type.isPlausible) {
            cursor_ = start;
            if (cursor_.is(u'{'))
                cursor_.skipBraces();
            else
                cursor_.next();
            continue;
        }
        if (cursor_.is(u'(') && isStruct) { // a constructor
            readFunction(into, {}, type.type, start.line(), prefix);
        } else if (cursor_.isKind(Kind::word)) {
            QString name = cursor_.text().toString();
            const int line = cursor_.line();
            CodeCursor ahead = cursor_;
            ahead.next();
            if (name == u"operator") {
                while (!ahead.atEnd() && ahead.isKind(Kind::sign) && !ahead.is(u'(')) {
                    name += ahead.text();
                    ahead.next();
                }
            }
            if (ahead.is(u'(')) {
                cursor_ = ahead;
                readFunction(into, type, name, line, prefix);
            } else {
                cursor_ = start;
                readVariables(into, isStruct ? Symbol::Kind::member : Symbol::Kind::constant);
                // Stands at what ended the statement; a brace is the scope's.
                if (cursor_.is(u';') || cursor_.is(u':') || cursor_.is(u')')) cursor_.next();
            }
        } else if (cursor_.is(u':') || cursor_.is(u';')) {
            cursor_.next(); // public:
        }
        prefix.clear();
    }
}

} // namespace glasshob
