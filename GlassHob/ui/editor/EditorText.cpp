#include "GlassHob/ui/editor/EditorText.h"

#include <QStringConverter>

#include <algorithm>
#include <bitset>
#include <iterator>
#include <optional>

namespace glasshob {

namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";

// The noncharacters to choose stand-ins from; U+FDD0 and U+FDD1 have a meaning of their own inside Qt.
constexpr char16_t firstCandidate = 0xFDD2;
constexpr std::size_t candidateCount = 0xFDEF - firstCandidate + 1;

constexpr char16_t firstPlainSpecial[] = {0x2028, 0x2029, 0xFDD0, 0xFDD1}; // from lineSeparator on
constexpr const char16_t* lineEndText[] = {u"\n", u"\r\n", u"\r"};

QString decode(std::string_view utf8) {
    // A second mark is a character like any other, so the decoder must not take it.
    QStringDecoder decoder(QStringConverter::Utf8,
                           QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom);
    return decoder.decode(QByteArrayView(utf8.data(), qsizetype(utf8.size())));
}

bool isLineEnd(char16_t c) {
    return c == u'\n' || c == 0x2029;
} // in a document's raw text

} // namespace

std::optional<EditorText::LineEnd> EditorText::lineEndAt(const QString& text, qsizetype i) {
    if (text[i] == u'\n') return lineFeed;
    if (text[i] != u'\r') return std::nullopt;
    return i + 1 < text.size() && text[i + 1] == u'\n' ? pair : carriageReturn;
}

EditorText::EditorText() {
    for (std::size_t i = 0; i < standIns_.size(); ++i)
        standIns_[i] = char16_t(firstCandidate + i);
}

QString EditorText::load(std::string_view utf8) {
    *this = EditorText();
    if (utf8.starts_with(utf8Mark)) {
        byteOrderMark_ = true;
        utf8.remove_prefix(utf8Mark.size());
    }
    const QString text = decode(utf8);

    qsizetype counts[3] = {};
    std::bitset<candidateCount> used;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (const auto end = lineEndAt(text, i)) {
            ++counts[*end];
            i += *end == pair;
        }
        if (c >= firstCandidate && std::size_t(c - firstCandidate) < candidateCount) used.set(c - firstCandidate);
    }
    usual_ = LineEnd(std::ranges::max_element(counts) - std::begin(counts));
    std::size_t next = 0;
    for (char16_t& standIn : standIns_) {
        while (next + 1 < candidateCount && used.test(next))
            ++next;
        standIn = char16_t(firstCandidate + next++);
    }

    return toDocument(text);
}

std::optional<QString> EditorText::read(std::string_view utf8) const {
    if (utf8.starts_with(utf8Mark) != byteOrderMark_) return std::nullopt;
    const QString text = toDocument(decode(utf8.substr(mark().size())));
    return encode(text) == utf8 ? std::optional(text) : std::nullopt;
}

QString EditorText::toDocument(const QString& text) const {
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (const auto end = lineEndAt(text, i)) {
            if (*end != usual_) result += QChar(standIns_[*end]);
            result += u'\n';
            i += *end == pair;
            continue;
        }
        const auto* plain = std::ranges::find(firstPlainSpecial, text[i].unicode());
        result += plain == std::end(firstPlainSpecial)
                      ? text[i]
                      : QChar(standIns_[std::size_t(lineSeparator + (plain - std::begin(firstPlainSpecial)))]);
    }
    return result;
}

EditorText::Special EditorText::special(char16_t c) const {
    if (c < firstCandidate || c >= firstCandidate + candidateCount) return specialCount;
    return Special(std::ranges::find(standIns_, c) - standIns_.begin());
}

std::string EditorText::encode(QStringView document) const {
    return std::string(mark()) + encodeLines(document);
}

std::string_view EditorText::mark() const {
    return byteOrderMark_ ? utf8Mark : std::string_view();
}

std::string EditorText::encodeLines(QStringView document) const {
    QString text;
    text.reserve(document.size() + document.size() / 16 + 1);
    // What needs no care is copied in stretches: this runs at every key.
    qsizetype copied = 0;
    for (qsizetype i = 0; i < document.size(); ++i) {
        const char16_t c = document[i].unicode();
        const bool endsLine = isLineEnd(c);
        const Special which = endsLine ? specialCount : special(c);
        if (!endsLine && which == specialCount) continue;
        text += document.mid(copied, i - copied);
        if (endsLine) {
            text += QStringView(lineEndText[usual_]);
        } else if (which >= lineSeparator) {
            text += QChar(firstPlainSpecial[which - lineSeparator]);
        } else if (i + 1 < document.size() && isLineEnd(document[i + 1].unicode())) {
            // The mark of an unusual line end; it means nothing where that has been edited away.
            text += QStringView(lineEndText[which]);
            ++i;
        }
        copied = i + 1;
    }
    text += document.mid(copied);
    return text.toUtf8().toStdString();
}

QString EditorText::plain(QStringView document) const {
    QString text;
    text.reserve(document.size());
    for (const QChar c : document) {
        const Special which = special(c.unicode());
        if (isLineEnd(c.unicode()))
            text += u'\n';
        else if (which == specialCount)
            text += c;
        else if (which >= lineSeparator)
            text += QChar(firstPlainSpecial[which - lineSeparator]);
    }
    return text;
}

QString EditorText::foreign(const QString& text) {
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c == u'\r') {
            if (i + 1 < text.size() && text[i + 1] == u'\n') ++i;
            result += u'\n';
        } else if (c == 0x2028 || c == 0x2029 || c == 0xFDD0 || c == 0xFDD1) {
            result += u'\n';
        } else {
            result += QChar(c);
        }
    }
    return result;
}

} // namespace glasshob
