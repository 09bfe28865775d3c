#include "GlassHob/ui/EditorText.h"

#include <QStringConverter>

#include <bitset>

namespace glasshob {

namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";

// The noncharacters to choose stand-ins from; U+FDD0 and U+FDD1 have a meaning of their own inside Qt.
constexpr char16_t firstCandidate = 0xFDD2;
constexpr std::size_t candidateCount = 0xFDEF - firstCandidate + 1;

constexpr std::array<char16_t, 6> specialCharacters{u'\r', u'\n', 0x2028, 0x2029, 0xFDD0, 0xFDD1};

} // namespace

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
    // A second mark is a character like any other, so the decoder must not take it.
    QStringDecoder decoder(QStringConverter::Utf8,
                           QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom);
    const QString text = decoder.decode(QByteArrayView(utf8.data(), qsizetype(utf8.size())));

    qsizetype pairs = 0, feeds = 0;
    std::bitset<candidateCount> used;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c == u'\n') ++(i > 0 && text[i - 1] == u'\r' ? pairs : feeds);
        if (c >= firstCandidate && std::size_t(c - firstCandidate) < candidateCount) used.set(c - firstCandidate);
    }
    crlf_ = pairs > feeds;
    std::size_t next = 0;
    for (char16_t& standIn : standIns_) {
        while (next + 1 < candidateCount && used.test(next))
            ++next;
        standIn = char16_t(firstCandidate + next++);
    }

    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        const bool beforeFeed = i + 1 < text.size() && text[i + 1] == u'\n';
        if (c == u'\r' && crlf_ && beforeFeed) {
            result += u'\n';
            ++i;
        } else if (c == u'\n') {
            if (crlf_) result += QChar(standIns_[lineFeed]);
            result += u'\n';
        } else {
            char16_t kept = c;
            for (std::size_t s = 0; s < specialCharacters.size(); ++s)
                if (s != lineFeed && c == specialCharacters[s]) kept = standIns_[s];
            result += QChar(kept);
        }
    }
    return result;
}

char16_t EditorText::meaning(char16_t standIn, bool& isLineFeed) const {
    if (standIn < firstCandidate || standIn >= firstCandidate + candidateCount) return standIn;
    for (std::size_t s = 0; s < standIns_.size(); ++s)
        if (standIns_[s] == standIn) {
            isLineFeed = s == lineFeed;
            return specialCharacters[s];
        }
    return standIn;
}

std::string EditorText::encode(QStringView document) const {
    QString text;
    text.reserve(document.size() + document.size() / 16 + 1);
    for (qsizetype i = 0; i < document.size(); ++i) {
        const char16_t c = document[i].unicode();
        const bool lineEnd = c == u'\n' || c == QChar::ParagraphSeparator;
        if (lineEnd) {
            if (crlf_) text += u'\r';
            text += u'\n';
            continue;
        }
        bool isLineFeed = false;
        const char16_t plain = meaning(c, isLineFeed);
        if (!isLineFeed) {
            text += QChar(plain);
            continue;
        }
        // The mark of a bare line feed; it means nothing where its line end has been edited away.
        const bool stands =
            i + 1 < document.size() && (document[i + 1] == u'\n' || document[i + 1] == QChar::ParagraphSeparator);
        if (stands) {
            text += u'\n';
            ++i;
        }
    }
    std::string bytes;
    const QByteArray utf8 = text.toUtf8();
    bytes.reserve(std::size_t(utf8.size()) + utf8Mark.size());
    if (byteOrderMark_) bytes += utf8Mark;
    bytes.append(utf8.constData(), std::size_t(utf8.size()));
    return bytes;
}

QString EditorText::plain(QStringView document) const {
    QString text;
    text.reserve(document.size());
    for (const QChar c : document) {
        if (c == QChar::ParagraphSeparator) {
            text += u'\n';
            continue;
        }
        bool isLineFeed = false;
        const char16_t meant = meaning(c.unicode(), isLineFeed);
        if (!isLineFeed) text += QChar(meant);
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
