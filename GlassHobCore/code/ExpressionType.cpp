#include "GlassHobCore/code/ExpressionType.h"

#include "GlassHobCore/code/LibraryNames.h"

#include <algorithm>

namespace glasshob {

namespace {

using Kind = CodeToken::Kind;
constexpr int deepest = 24;

// From a closing sign to its opening one; false where there is none.
bool toOpening(CodeCursor& cursor, char16_t open, char16_t close) {
    int depth = 0;
    do {
        if (cursor.is(close)) ++depth;
        if (cursor.is(open) && --depth == 0) return true;
    } while (cursor.previous());
    return false;
}

bool isMemberSign(CodeCursor cursor) {
    if (cursor.is(u'.')) return true;
    return cursor.is(u'>') && cursor.previous() && cursor.is(u'-');
}

QString numberType(QStringView number) {
    if (number.startsWith(u"0x") || number.startsWith(u"0X"))
        return number.endsWith(u'u') || number.endsWith(u'U') ? QStringLiteral("uint") : QStringLiteral("int");
    if (number.endsWith(u'h')) return QStringLiteral("half");
    if (number.contains(u'.') || number.contains(u'e') || number.endsWith(u'f')) return QStringLiteral("float");
    return number.endsWith(u'u') ? QStringLiteral("uint") : QStringLiteral("int");
}

} // namespace

QString ExpressionType::resolved(QString type) const {
    for (int i = 0; i < deepest; ++i) {
        // A pointer keeps its mark: an index takes it off.
        while (type.endsWith(u'&') || type.endsWith(u' '))
            type.chop(1);
        const bool isPointer = type.endsWith(u'*');
        type = bareType(type);
        const Symbol* alias = index_.find(type);
        if (!alias || alias->kind != Symbol::Kind::alias || isPointer) return isPointer ? type + u'*' : type;
        type = alias->type;
    }
    return type;
}

const Symbol* ExpressionType::structure(const QString& type) const {
    const QString name = bareType(type);
    const Symbol* declared = index_.find(name);
    if (declared && declared->kind == Symbol::Kind::structure) return declared;
    const auto& host = libraryNames::hostTypes();
    const auto found = std::ranges::find(host, name, &Symbol::name);
    return found == host.end() ? nullptr : &*found;
}

std::vector<Symbol> ExpressionType::members(const QString& type) const {
    if (const Symbol* declared = structure(type)) {
        // A constructor is no member that one could name.
        std::vector<Symbol> parts = declared->parts;
        std::erase_if(parts, [&](const Symbol& part) {
            return part.name == declared->name || part.name.startsWith(QLatin1String("operator"));
        });
        return parts;
    }
    return libraryNames::membersOf(bareType(type));
}

QString ExpressionType::ofMember(const QString& type, QStringView member) const {
    if (const Symbol* declared = structure(type)) {
        for (const Symbol& part : declared->parts)
            if (part.name == member) return resolved(part.type);
        return {};
    }
    return libraryNames::memberType(bareType(type), member);
}

QString ExpressionType::ofName(QStringView name, int depth) const {
    const auto local = std::ranges::find(locals_.rbegin(), locals_.rend(), name, &Symbol::name);
    const Symbol* declared = local != locals_.rend() ? &*local : index_.find(name);
    if (!declared) return {};
    const QString type = resolved(declared->type);
    if (type != u"auto") return type;
    return declared->valueLine < 0
               ? QString()
               : starting(CodeCursor(index_.lines(), declared->valueLine, declared->valueColumn), depth + 1);
}

QString ExpressionType::ofCall(QStringView name, CodeCursor opening, int depth) const {
    if (const Symbol* declared = index_.find(name); declared && declared->kind != Symbol::Kind::macro)
        return resolved(declared->kind == Symbol::Kind::structure ? declared->name : declared->type);
    if (libraryNames::isBuiltinType(name)) return name.toString();
    std::vector<QString> arguments;
    CodeCursor cursor = opening;
    cursor.next();
    while (!cursor.atEnd() && !cursor.is(u')') && arguments.size() < 8) {
        arguments.push_back(starting(cursor, depth + 1));
        while (!cursor.atEnd() && !cursor.is(u',') && !cursor.is(u')') && !cursor.is(u';') && !cursor.is(u'}')) {
            if (cursor.is(u'(') || cursor.is(u'[') || cursor.is(u'{'))
                cursor.skipGroup();
            else
                cursor.next();
        }
        if (!cursor.is(u',')) break;
        cursor.next();
    }
    return libraryNames::resultType(name, arguments);
}

// The cursor stands at the last token; it goes to the first one.
QString ExpressionType::ending(CodeCursor& cursor, int depth) const {
    if (depth > deepest || cursor.atEnd() || --stepsLeft_ < 0) return {};
    if (cursor.is(u']')) {
        if (!toOpening(cursor, u'[', u']') || !cursor.previous()) return {};
        return libraryNames::elementType(ending(cursor, depth + 1));
    }
    if (cursor.is(u')') || cursor.is(u'}')) {
        const bool isBrace = cursor.is(u'}');
        if (!toOpening(cursor, isBrace ? u'{' : u'(', isBrace ? u'}' : u')')) return {};
        const CodeCursor opening = cursor;
        if (!cursor.previous()) return {};
        if (cursor.is(u'>')) {
            // as_type<float4>(x), vec<float, 3>(x)
            const CodeCursor close = cursor;
            if (!toOpening(cursor, u'<', u'>')) return {};
            CodeCursor inside = cursor;
            inside.next();
            QString argument = inside.text().toString();
            if (!cursor.previous()) return {};
            const QStringView name = cursor.text();
            if (name == u"vec") {
                inside.next();
                inside.next();
                argument += inside.text();
            }
            return close.atEnd() ? QString() : resolved(argument);
        }
        if (cursor.isName()) {
            const QStringView name = cursor.text();
            CodeCursor before = cursor;
            if (before.previous() && isMemberSign(before)) {
                if (before.is(u'>')) before.previous();
                before.previous();
                const QString object = ending(before, depth + 1);
                cursor = before;
                return ofMember(object, name);
            }
            return ofCall(name, opening, depth);
        }
        if (isBrace) return {};
        // Brackets round an expression; the cursor goes back to the bracket itself.
        cursor = opening;
        CodeCursor inside = opening;
        inside.next();
        return starting(inside, depth + 1);
    }
    if (cursor.isKind(Kind::number)) return numberType(cursor.text());
    if (cursor.text() == u"true" || cursor.text() == u"false") return QStringLiteral("bool");
    if (!cursor.isName()) return {};
    const QStringView name = cursor.text();
    CodeCursor before = cursor;
    if (before.previous()) {
        if (isMemberSign(before)) {
            if (before.is(u'>')) before.previous();
            if (!before.previous()) return {};
            const QString object = ending(before, depth + 1);
            cursor = before;
            return ofMember(object, name);
        }
        if (before.is(u':')) {
            if (before.previous() && before.is(u':') && before.previous() && before.isName()) {
                cursor = before;
                return before.text().toString();
            }
        }
    }
    return ofName(name, depth);
}

// An expression up to the sign that ends it: the widest of its operands.
QString ExpressionType::starting(CodeCursor cursor, int depth) const {
    if (depth > deepest || stepsLeft_ < 0) return {};
    QString type;
    bool isTruth = false;
    while (!cursor.atEnd()) {
        if (cursor.is(u',') || cursor.is(u';') || cursor.is(u')') || cursor.is(u']') || cursor.is(u'}')) break;
        if (cursor.is(u'?')) {
            // What was tested says nothing about the values.
            type.clear();
            isTruth = false;
        } else if (cursor.is(u'<') || cursor.is(u'>') || cursor.is(u'!')) {
            isTruth = !cursor.is(u'>') || isTruth;
        }
        const bool isOperand =
            cursor.isName() || cursor.isKind(Kind::number) || cursor.is(u'(') || cursor.text() == u"true";
        if (!isOperand) {
            cursor.next();
            continue;
        }
        // To the end of the operand: calls, members and elements belong to it.
        CodeCursor last = cursor;
        while (!cursor.atEnd()) {
            last = cursor;
            if (cursor.is(u'(') || cursor.is(u'[') || cursor.is(u'{')) {
                cursor.skipGroup();
                last = cursor;
                if (!last.previous()) return {};
            } else {
                cursor.next();
            }
            if (cursor.is(u'<')) {
                CodeCursor angles = cursor;
                if (angles.skipAngles() && angles.is(u'(')) cursor = angles;
            }
            if (cursor.is(u'.') || cursor.is(u':')) {
                const CodeCursor sign = cursor;
                cursor.next();
                if (sign.is(u':') && !cursor.is(u':')) {
                    cursor = sign;
                    break;
                }
                if (sign.is(u':')) cursor.next();
                if (!cursor.isName()) break;
                continue;
            }
            if (!cursor.is(u'(') && !cursor.is(u'[') && !cursor.is(u'{')) break;
        }
        CodeCursor end = last;
        type = libraryNames::combinedType(type, ending(end, depth + 1));
        if (cursor.is(u':')) cursor.next();
    }
    return isTruth && libraryNames::isBuiltinType(type) ? QStringLiteral("bool") : type;
}

QString ExpressionType::before(int line, int column) const {
    CodeCursor cursor(index_.lines(), line, column);
    if (!cursor.previous()) return {};
    return ending(cursor, 0);
}

} // namespace glasshob
