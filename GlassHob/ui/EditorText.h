// Carries a file's exact bytes through Qt's text document and back.
//
// A QTextDocument turns CR LF, a lone CR and some other characters into plain line ends and forgets a byte-order mark.
// Here the document's ordinary line end stands for the file's usual one, and every character that would be changed is
// replaced by a stand-in (a Unicode noncharacter that the text does not use), one for one, so that positions agree.
// An unedited text gives the same bytes; an edited one differs only where it was edited.
// Plain value; any thread. Input that is not UTF-8 does not reach it.
#pragma once

#include <QString>
#include <QStringView>

#include <array>
#include <string>
#include <string_view>

namespace glasshob {

class EditorText {
  public:
    EditorText();

    // Reads a file's text; from now on encode() uses its conventions. The result has \n between lines.
    QString load(std::string_view utf8);

    // The bytes for a document's raw text (lines ended by \n or by U+2029).
    std::string encode(QStringView document) const;

    // Shown text for the clipboard: stand-ins become what they stand for, lines end in \n.
    QString plain(QStringView document) const;

    // Text from elsewhere, made fit for the document: every kind of line break becomes \n, nothing else changes.
    static QString foreign(const QString& text);

    bool usesCarriageReturns() const { return crlf_; }

  private:
    // What a stand-in is for. `lineFeed` precedes a line end that is LF alone in a text whose lines end in CR LF.
    enum Special { carriageReturn, lineFeed, lineSeparator, paragraphSeparator, frameBegin, frameEnd, specialCount };

    char16_t meaning(char16_t standIn, bool& isLineFeed) const;

    bool byteOrderMark_ = false;
    bool crlf_ = false;
    std::array<char16_t, specialCount> standIns_;
};

} // namespace glasshob
