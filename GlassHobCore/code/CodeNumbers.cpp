#include "GlassHobCore/code/CodeNumbers.h"

#include "GlassHobCore/code/MSLSyntax.h"
#include "GlassHobCore/code/Words.h"

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int mostDecimals = 9;

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

// Whether what begins at `at` goes on a number: a letter, a digit, a point, or the sign of an exponent.
bool isNumberPart(QStringView line, int at, int start) {
    const QChar c = line[at];
    if (isWordPart(c) || c == u'.') return true;
    const bool isHex =
        line.size() > start + 1 && line[start] == u'0' && (line[start + 1] == u'x' || line[start + 1] == u'X');
    return !isHex && at > start && (c == u'+' || c == u'-') && (line[at - 1] == u'e' || line[at - 1] == u'E');
}

bool beginsNumber(QStringView line, int at) {
    if (isDigit(line[at])) return true;
    return line[at] == u'.' && at + 1 < line.size() && isDigit(line[at + 1]);
}

bool isUnaryMinus(QStringView line, int at) {
    if (at < 0 || line[at] != u'-') return false;
    int before = at - 1;
    while (before >= 0 && line[before].isSpace())
        --before;
    if (before < 0) return true;
    const QChar c = line[before];
    if (isWordPart(c)) {
        // "return -1" and the names and numbers of a // @param line, which blanks separate
        return line.left(before + 1).endsWith(QLatin1String("return")) ||
               (line.contains(QLatin1String("@param")) && before + 1 < at);
    }
    return QStringView(u"(,=<>+-*/%?:{[!&|;").contains(c);
}

CodeNumber readNumber(QStringView line, int start) {
    CodeNumber number;
    number.start = start;
    int end = start + 1;
    while (end < line.size() && isNumberPart(line, end, start))
        ++end;
    number.length = end - start;
    int digits = start;
    while (digits < end && (isDigit(line[digits]) || line[digits] == u'.'))
        ++digits;
    const QStringView plain = line.mid(start, digits - start);
    const QStringView suffix = line.mid(digits, end - digits);
    const qsizetype point = plain.indexOf(u'.');
    if (point >= 0) number.decimals = int(plain.size() - point - 1);
    bool isRead = false;
    number.value = plain.toDouble(&isRead);
    number.isPlain = isRead && (suffix.isEmpty() || (suffix.size() == 1 && QStringView(u"fFhHuU").contains(suffix[0])));
    number.suffix = suffix.toString();
    if (isUnaryMinus(line, start - 1)) {
        number.isNegated = true;
        number.value = -number.value;
    }
    return number;
}

QString withDecimals(double value, int least, int most) {
    QString text = QString::number(value, 'f', most);
    const qsizetype point = text.indexOf(u'.');
    while (point >= 0 && text.endsWith(u'0') && text.size() - point - 1 > least)
        text.chop(1);
    if (text.endsWith(u'.')) text.chop(1);
    return text;
}

int stepDecimals(const CodeNumber& number) {
    if (number.decimals < 0) return 0;
    const int usual = std::abs(number.value) >= 100 ? 0 : std::abs(number.value) >= 10 ? 1 : 2;
    return std::min(std::max(number.decimals, usual), mostDecimals);
}

} // namespace

std::optional<CodeNumber> numberAt(QStringView line, int column) {
    if (column < 0 || column > line.size()) return std::nullopt;
    // From the beginning of everything that hangs together, signs of exponents included.
    int from = column;
    while (from > 0) {
        const QChar c = line[from - 1];
        const bool isSign = (c == u'+' || c == u'-') && from > 1 && (line[from - 2] == u'e' || line[from - 2] == u'E');
        if (!isWordPart(c) && c != u'.' && !isSign) break;
        --from;
    }
    for (int at = from; at <= column && at < line.size();) {
        if (beginsNumber(line, at)) {
            const CodeNumber number = readNumber(line, at);
            if (column <= number.end()) return number;
            at = number.end();
        } else if (isWordPart(line[at])) {
            while (at < line.size() && isWordPart(line[at]))
                ++at;
        } else {
            ++at;
        }
    }
    return std::nullopt;
}

double stepped(const CodeNumber& number, int steps) {
    const double step = std::pow(10.0, -stepDecimals(number));
    // Whole steps, so that going back gives the number one came from.
    return (std::round(number.value / step) + steps) * step;
}

QString writtenAs(const CodeNumber& number, double value) {
    if (value == 0) value = 0; // no minus
    if (number.decimals < 0) return QString::number(std::round(value), 'f', 0) + number.suffix;
    return withDecimals(value, std::max(number.decimals, 1), std::max(stepDecimals(number), 1)) + number.suffix;
}

std::vector<CodeColour> coloursIn(QStringView line) {
    std::vector<CodeColour> found;
    const bool isLikely = line.contains(QLatin1String("float3")) || line.contains(QLatin1String("float4")) ||
                          line.contains(QLatin1String("half3")) || line.contains(QLatin1String("half4"));
    if (!isLikely) return found;
    const qsizetype comment = line.indexOf(QLatin1String("//"));
    const QStringView code = comment < 0 ? line : line.left(comment);
    auto skipBlanks = [&](int at) {
        while (at < code.size() && code[at].isSpace())
            ++at;
        return at;
    };
    for (int at = 0; at < code.size();) {
        if (!isWordPart(code[at])) {
            ++at;
            continue;
        }
        const int start = at;
        while (at < code.size() && isWordPart(code[at]))
            ++at;
        const QStringView word = code.mid(start, at - start);
        if (word != u"float3" && word != u"float4" && word != u"half3" && word != u"half4") continue;
        const std::size_t wanted = word.endsWith(u'3') ? 3 : 4;
        int in = skipBlanks(at);
        if (in >= code.size() || code[in] != u'(') continue;
        CodeColour colour;
        colour.start = start;
        for (++in; colour.parts.size() < wanted; ++in) {
            in = skipBlanks(in);
            if (in >= code.size() || !beginsNumber(code, in)) break;
            const CodeNumber number = readNumber(code, in);
            if (!number.isPlain || number.value < 0 || number.value > 1) break;
            colour.parts.push_back(number);
            in = skipBlanks(number.end());
            const QChar ends = colour.parts.size() == wanted ? u')' : u',';
            if (in >= code.size() || code[in] != ends) {
                colour.parts.clear();
                break;
            }
        }
        if (colour.parts.size() != wanted) continue;
        colour.length = in - start;
        found.push_back(std::move(colour));
        at = in;
    }
    return found;
}

QString writtenAs(QStringView line, const CodeColour& colour, const std::vector<double>& values) {
    QString text;
    int at = colour.start;
    for (std::size_t i = 0; i < colour.parts.size() && i < values.size(); ++i) {
        const CodeNumber& part = colour.parts[i];
        text += line.mid(at, part.start - at);
        // A part that is as it was stays as it is written.
        if (std::abs(part.value - values[i]) < 0.0005)
            text += line.mid(part.start, part.length);
        else
            text += withDecimals(std::clamp(values[i], 0.0, 1.0), 1, 3) +
                    (part.suffix == u"u" || part.suffix == u"U" ? QString() : part.suffix);
        at = part.end();
    }
    text += line.mid(at, colour.end() - at);
    return text;
}

} // namespace glasshob
