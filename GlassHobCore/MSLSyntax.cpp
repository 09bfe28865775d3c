#include "GlassHobCore/MSLSyntax.h"

#include <QSet>
#include <QString>

#include <array>

namespace glasshob::MSLSyntax {

namespace {

const QSet<QString>& keywords() {
    static const QSet<QString> words = {
        "if",      "else",    "for",    "while",     "do",       "return",  "break",       "continue", "switch",
        "case",    "default", "struct", "constant",  "device",   "thread",  "threadgroup", "const",    "constexpr",
        "static",  "inline",  "using",  "namespace", "true",     "false",   "kernel",      "vertex",   "fragment",
        "typedef", "enum",    "sizeof", "auto",      "template", "typename"};
    return words;
}

const QSet<QString>& types() {
    static const QSet<QString> words = [] {
        QSet<QString> names = {"void",      "bool",     "uint",        "int",       "float",  "half",
                               "short",     "ushort",   "char",        "uchar",     "long",   "ulong",
                               "size_t",    "Uniforms", "Params",      "Particle",  "Vertex", "Trails",
                               "texture2d", "sampler",  "atomic_uint", "atomic_int"};
        for (const char* element : {"bool", "int", "uint", "float", "half", "short", "ushort", "char", "uchar"}) {
            for (char size = '2'; size <= '4'; ++size)
                names.insert(QString::fromLatin1(element) + QLatin1Char(size));
        }
        for (const char* element : {"float", "half"}) {
            for (char columns = '2'; columns <= '4'; ++columns) {
                for (char rows = '2'; rows <= '4'; ++rows) {
                    names.insert(QString::fromLatin1(element) + QLatin1Char(columns) + QLatin1Char('x') +
                                 QLatin1Char(rows));
                }
            }
        }
        return names;
    }();
    return words;
}

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

bool isWordStart(QChar c) {
    if (c.unicode() < 0x80) return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_';
    return c.isLetter();
}

bool isWordPart(QChar c) {
    return isDigit(c) || isWordStart(c);
}

/// Reads one line from the left; every reader takes the position where its token starts and gives the one behind it.
class LineLexer {
  public:
    LineLexer(QStringView line, std::vector<SyntaxToken>& tokens) : line_(line), tokens_(tokens) {}

    LineState run(LineState state) {
        qsizetype at = 0;
        bool atLineStart = true;
        if (state == LineState::comment) {
            at = comment(0, 0);
            atLineStart = false;
        } else if (state == LineState::string) {
            at = string(0, 0);
            atLineStart = false;
        }
        while (at < line_.size()) {
            const QChar c = line_[at];
            if (c == u' ' || c == u'\t' || c == u'\r') {
                ++at;
                continue;
            }
            at = token(at, atLineStart);
            atLineStart = false;
        }
        return end_;
    }

  private:
    QChar peek(qsizetype at) const { return at < line_.size() ? line_[at] : QChar(u'\0'); }

    void add(SyntaxKind kind, qsizetype from, qsizetype to) {
        if (to > from) tokens_.push_back({kind, {from, to - from}});
    }

    qsizetype token(qsizetype at, bool atLineStart) {
        const QChar c = line_[at];
        const QChar next = peek(at + 1);
        if (c == u'"') return string(at, at + 1);
        if (c == u'#' && atLineStart) {
            add(SyntaxKind::preprocessor, at, line_.size());
            return line_.size();
        }
        if (c == u'/' && next == u'*') return comment(at, at + 2);
        if (c == u'/' && next == u'/') return lineComment(at);
        if (c == u'[' && next == u'[') return attribute(at);
        if (isDigit(c) || (c == u'.' && isDigit(next))) return number(at);
        if (isWordStart(c)) return word(at);
        return at + 1;
    }

    qsizetype string(qsizetype start, qsizetype at) {
        end_ = LineState::plain;
        while (at < line_.size()) {
            const QChar c = line_[at++];
            if (c == u'"') break;
            if (c == u'\\') {
                // Behind the last character it takes the line feed, and the string goes on.
                if (at == line_.size())
                    end_ = LineState::string;
                else
                    ++at;
            }
        }
        add(SyntaxKind::string, start, at);
        return at;
    }

    qsizetype comment(qsizetype start, qsizetype at) {
        const qsizetype close = line_.indexOf(u"*/", at);
        end_ = close < 0 ? LineState::comment : LineState::plain;
        at = close < 0 ? line_.size() : close + 2;
        add(SyntaxKind::comment, start, at);
        return at;
    }

    qsizetype lineComment(qsizetype start) {
        qsizetype mark = start + 2;
        while (peek(mark) == u' ' || peek(mark) == u'\t')
            ++mark;
        if (peek(mark) != u'@' || !isWordStart(peek(mark + 1))) {
            add(SyntaxKind::comment, start, line_.size());
            return line_.size();
        }
        qsizetype end = mark + 1;
        while (isWordPart(peek(end)) || peek(end) == u'-')
            ++end;
        add(SyntaxKind::header, start, line_.size());
        add(SyntaxKind::headerKey, mark, end);
        return line_.size();
    }

    qsizetype attribute(qsizetype start) {
        const qsizetype close = line_.indexOf(u"]]", start + 2);
        const qsizetype end = close < 0 ? line_.size() : close + 2;
        add(SyntaxKind::attribute, start, end);
        return end;
    }

    qsizetype number(qsizetype start) {
        qsizetype end = start + 1;
        while (end < line_.size()) {
            const QChar c = line_[end];
            const QChar before = line_[end - 1];
            const bool exponentSign = (c == u'+' || c == u'-') && (before == u'e' || before == u'E');
            if (!isWordPart(c) && c != u'.' && !exponentSign) break;
            ++end;
        }
        add(SyntaxKind::number, start, end);
        return end;
    }

    qsizetype word(qsizetype start) {
        qsizetype end = start + 1;
        while (isWordPart(peek(end)))
            ++end;
        // Looks the word up without copying it.
        const QString word = QString::fromRawData(line_.data() + start, end - start);
        if (keywords().contains(word))
            add(SyntaxKind::keyword, start, end);
        else if (types().contains(word))
            add(SyntaxKind::type, start, end);
        return end;
    }

    QStringView line_;
    std::vector<SyntaxToken>& tokens_;
    LineState end_ = LineState::plain;
};

} // namespace

LineState tokenizeLine(QStringView line, LineState state, std::vector<SyntaxToken>& tokens) {
    return LineLexer(line, tokens).run(state);
}

std::vector<SyntaxToken> tokens(QStringView text) {
    std::vector<SyntaxToken> all;
    std::vector<SyntaxToken> ofLine;
    LineState state = LineState::plain;
    for (qsizetype start = 0; start <= text.size();) {
        qsizetype end = text.indexOf(u'\n', start);
        if (end < 0) end = text.size();
        ofLine.clear();
        const LineState before = state;
        state = tokenizeLine(text.mid(start, end - start), before, ofLine);
        std::size_t first = 0;
        if (before != LineState::plain) {
            // What goes on from the line before is one token with it, line feed included.
            qsizetype continued = 0;
            if (!ofLine.empty() && ofLine.front().range.location == 0) {
                continued = ofLine.front().range.length;
                first = 1;
            }
            all.back().range.length = start + continued - all.back().range.location;
        }
        for (std::size_t i = first; i < ofLine.size(); ++i) {
            SyntaxToken token = ofLine[i];
            token.range.location += start;
            all.push_back(token);
        }
        start = end + 1;
    }
    return all;
}

} // namespace glasshob::MSLSyntax
