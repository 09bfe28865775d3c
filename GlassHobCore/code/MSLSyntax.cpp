#include "GlassHobCore/code/MSLSyntax.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace glasshob::MSLSyntax {

namespace {

// What a code unit can be for the lexer. Letters beyond ASCII are asked of Qt.
enum CharClass : std::uint8_t { other, blank, digit, letter };

constexpr std::array<CharClass, 128> charClasses = [] {
    std::array<CharClass, 128> classes{};
    for (const char c : {' ', '\t', '\r'})
        classes[std::size_t(c)] = blank;
    for (char c = '0'; c <= '9'; ++c)
        classes[std::size_t(c)] = digit;
    for (char c = 'a'; c <= 'z'; ++c)
        classes[std::size_t(c)] = classes[std::size_t(c - 'a' + 'A')] = letter;
    classes['_'] = letter;
    return classes;
}();

inline CharClass classOf(char16_t c) {
    if (c < 128) [[likely]]
        return charClasses[c];
    return QChar(c).isLetter() ? letter : other;
}

inline bool isDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}
inline bool isWordStart(char16_t c) {
    return classOf(c) == letter;
}
inline bool isWordPart(char16_t c) {
    return classOf(c) >= digit;
}

constexpr std::string_view keywords[] = {
    "if",      "else",    "for",    "while",     "do",       "return",  "break",       "continue", "switch",
    "case",    "default", "struct", "constant",  "device",   "thread",  "threadgroup", "const",    "constexpr",
    "static",  "inline",  "using",  "namespace", "true",     "false",   "kernel",      "vertex",   "fragment",
    "typedef", "enum",    "sizeof", "auto",      "template", "typename"};

constexpr std::string_view types[] = {"void",      "bool",     "uint",        "int",       "float",  "half",
                                      "short",     "ushort",   "char",        "uchar",     "long",   "ulong",
                                      "size_t",    "Uniforms", "Params",      "Particle",  "Vertex", "Trails",
                                      "texture2d", "sampler",  "atomic_uint", "atomic_int"};
// With 2, 3 or 4 behind them.
constexpr std::string_view vectorTypes[] = {"bool", "int", "uint", "float", "half", "short", "ushort", "char", "uchar"};
// With 2x2 to 4x4 behind them.
constexpr std::string_view matrixTypes[] = {"float", "half"};

// The words in a hash table without pointers. A word's hash is made while its letters are passed.
class WordTable {
  public:
    static constexpr std::uint32_t seed = 0x811C9DC5U;
    static constexpr std::uint32_t step(std::uint32_t hash, char16_t c) { return (hash ^ c) * 0x01000193U; }

    constexpr WordTable() {
        for (const std::string_view word : keywords)
            add(word, "", SyntaxKind::keyword);
        for (const std::string_view word : types)
            add(word, "", SyntaxKind::type);
        for (const std::string_view element : vectorTypes)
            for (const std::string_view size : {"2", "3", "4"})
                add(element, size, SyntaxKind::type);
        for (const std::string_view element : matrixTypes)
            for (const std::string_view size : {"2x2", "2x3", "2x4", "3x2", "3x3", "3x4", "4x2", "4x3", "4x4"})
                add(element, size, SyntaxKind::type);
    }

    // Null for other words.
    const SyntaxKind* find(const char16_t* word, std::size_t length, std::uint32_t hash) const {
        if (length > longest) return nullptr;
        for (std::size_t at = slot(hash); entries_[at].length != 0; at = (at + 1) % places) {
            const Entry& entry = entries_[at];
            if (entry.hash != hash || entry.length != length) continue;
            std::size_t i = 0;
            while (i < length && entry.letters[i] == word[i])
                ++i;
            if (i == length) return &entry.kind;
        }
        return nullptr;
    }

  private:
    static constexpr std::size_t places = 512;
    static constexpr std::size_t longest = 11; // "threadgroup"
    struct Entry {
        std::uint32_t hash = 0;
        std::uint8_t length = 0; // 0: free
        SyntaxKind kind = SyntaxKind::keyword;
        char letters[longest] = {};
    };

    static constexpr std::size_t slot(std::uint32_t hash) { return (hash ^ hash >> 15) % places; }

    constexpr void add(std::string_view word, std::string_view ending, SyntaxKind kind) {
        Entry entry{seed, 0, kind, {}};
        for (const std::string_view part : {word, ending})
            for (const char c : part) {
                entry.letters[entry.length++] = c;
                entry.hash = step(entry.hash, char16_t(c));
            }
        std::size_t at = slot(entry.hash);
        while (entries_[at].length != 0)
            at = (at + 1) % places;
        entries_[at] = entry;
    }

    std::array<Entry, places> entries_{};
};

constexpr WordTable words;

// Reads one line from the left; every reader takes the position where its token starts and gives the one behind it.
// Tokens count from `base` code units before the line.
class LineLexer {
  public:
    LineLexer(QStringView line, qsizetype base, std::vector<SyntaxToken>& tokens)
        : line_(line.utf16()), size_(line.size()), base_(base), tokens_(tokens) {}

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
        while (at < size_) {
            switch (classOf(line_[at])) {
            case blank: ++at; continue;
            case letter: at = word(at); break;
            case digit: at = number(at); break;
            case other: at = mark(at, atLineStart); break;
            }
            atLineStart = false;
        }
        return end_;
    }

  private:
    char16_t peek(qsizetype at) const { return at < size_ ? line_[at] : u'\0'; }

    void add(SyntaxKind kind, qsizetype from, qsizetype to) {
        if (to > from) tokens_.push_back({kind, {base_ + from, to - from}});
    }

    // Where a pair of marks begins; the line's end without one.
    qsizetype find(char16_t first, char16_t second, qsizetype at) const {
        while (at + 1 < size_ && (line_[at] != first || line_[at + 1] != second))
            ++at;
        return at + 1 < size_ ? at : size_;
    }

    qsizetype mark(qsizetype at, bool atLineStart) {
        const char16_t next = peek(at + 1);
        switch (line_[at]) {
        case u'"': return string(at, at + 1);
        case u'#':
            if (!atLineStart) break;
            add(SyntaxKind::preprocessor, at, size_);
            return size_;
        case u'/':
            if (next == u'*') return comment(at, at + 2);
            if (next == u'/') return lineComment(at);
            break;
        case u'[':
            if (next == u'[') return attribute(at);
            break;
        case u'.':
            if (isDigit(next)) return number(at);
            break;
        default: break;
        }
        return at + 1;
    }

    qsizetype string(qsizetype start, qsizetype at) {
        end_ = LineState::plain;
        while (at < size_) {
            const char16_t c = line_[at++];
            if (c == u'"') break;
            if (c == u'\\') {
                // Behind the last character it takes the line feed, and the string goes on.
                if (at == size_)
                    end_ = LineState::string;
                else
                    ++at;
            }
        }
        add(SyntaxKind::string, start, at);
        return at;
    }

    qsizetype comment(qsizetype start, qsizetype at) {
        const qsizetype close = find(u'*', u'/', at);
        end_ = close == size_ ? LineState::comment : LineState::plain;
        at = close == size_ ? size_ : close + 2;
        add(SyntaxKind::comment, start, at);
        return at;
    }

    qsizetype lineComment(qsizetype start) {
        qsizetype sign = start + 2;
        while (peek(sign) == u' ' || peek(sign) == u'\t')
            ++sign;
        if (peek(sign) != u'@' || !isWordStart(peek(sign + 1))) {
            add(SyntaxKind::comment, start, size_);
            return size_;
        }
        qsizetype end = sign + 1;
        while (isWordPart(peek(end)) || peek(end) == u'-')
            ++end;
        add(SyntaxKind::header, start, size_);
        add(SyntaxKind::headerKey, sign, end);
        return size_;
    }

    qsizetype attribute(qsizetype start) {
        const qsizetype close = find(u']', u']', start + 2);
        const qsizetype end = close == size_ ? size_ : close + 2;
        add(SyntaxKind::attribute, start, end);
        return end;
    }

    qsizetype number(qsizetype start) {
        qsizetype end = start + 1;
        while (end < size_) {
            const char16_t c = line_[end];
            const char16_t before = line_[end - 1];
            const bool exponentSign = (c == u'+' || c == u'-') && (before == u'e' || before == u'E');
            if (!isWordPart(c) && c != u'.' && !exponentSign) break;
            ++end;
        }
        add(SyntaxKind::number, start, end);
        return end;
    }

    qsizetype word(qsizetype start) {
        qsizetype end = start;
        std::uint32_t hash = WordTable::seed;
        do
            hash = WordTable::step(hash, line_[end++]);
        while (end < size_ && isWordPart(line_[end]));
        if (const SyntaxKind* kind = words.find(line_ + start, std::size_t(end - start), hash)) add(*kind, start, end);
        return end;
    }

    const char16_t* line_;
    qsizetype size_;
    qsizetype base_;
    std::vector<SyntaxToken>& tokens_;
    LineState end_ = LineState::plain;
};

} // namespace

LineState tokenizeLine(QStringView line, LineState state, std::vector<SyntaxToken>& tokens) {
    return LineLexer(line, 0, tokens).run(state);
}

QStringList keywordNames() {
    QStringList names;
    for (const std::string_view word : keywords)
        names << QString::fromLatin1(word.data(), qsizetype(word.size()));
    return names;
}

QStringList typeNames() {
    QStringList names;
    for (const std::string_view word : types)
        names << QString::fromLatin1(word.data(), qsizetype(word.size()));
    for (const std::string_view element : vectorTypes)
        for (char size = '2'; size <= '4'; ++size)
            names << QString::fromLatin1(element.data(), qsizetype(element.size())) + QLatin1Char(size);
    for (const std::string_view element : matrixTypes)
        for (char columns = '2'; columns <= '4'; ++columns)
            for (char rows = '2'; rows <= '4'; ++rows)
                names << QString::fromLatin1(element.data(), qsizetype(element.size())) + QLatin1Char(columns) +
                             QLatin1Char('x') + QLatin1Char(rows);
    return names;
}

std::vector<SyntaxToken> tokens(QStringView text) {
    std::vector<SyntaxToken> all;
    all.reserve(std::size_t(text.size() / 16));
    LineState state = LineState::plain;
    for (qsizetype start = 0; start <= text.size();) {
        qsizetype end = text.indexOf(u'\n', start);
        if (end < 0) end = text.size();
        const LineState before = state;
        const std::size_t first = all.size();
        state = LineLexer(text.mid(start, end - start), start, all).run(before);
        if (before != LineState::plain) {
            // What goes on from the line before is one token with it, line feed included.
            qsizetype continued = 0;
            const bool goesOn = first < all.size() && all[first].range.location == start;
            if (goesOn) continued = all[first].range.length;
            SyntaxToken& begun = all[first - 1];
            begun.range.length = start + continued - begun.range.location;
            if (goesOn) all.erase(all.begin() + std::ptrdiff_t(first));
        }
        start = end + 1;
    }
    return all;
}

} // namespace glasshob::MSLSyntax
