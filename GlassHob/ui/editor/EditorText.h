// Carries a file's exact bytes through Qt's text document and back.
//
// A QTextDocument knows one kind of line end, turns some other characters into it and forgets a byte-order mark. Here
// its line end stands for the file's usual one (LF, CR LF or CR, each of which ends a line for the compiler too);
// before one of another kind there is a stand-in, and every other character that would be changed is replaced by one. A
// stand-in is a Unicode noncharacter that the text does not use. An unedited text gives the same bytes; an edited one
// differs only where it was edited. Plain value; any thread. Input that is not UTF-8 does not reach it.
#pragma once

#include <QString>
#include <QStringView>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob {

class EditorText {
  public:
    EditorText();

    // Reads a file's text; from now on encode() uses its conventions. The result has \n between lines.
    QString load(std::string_view utf8);

    // A newer text of the same file under the conventions that are in use; nothing where they cannot carry its bytes.
    std::optional<QString> read(std::string_view utf8) const;

    // The bytes for a document's raw text (lines ended by \n or by U+2029).
    std::string encode(QStringView document) const;

    // The same for a part of it that begins and ends at a line, without the byte-order mark.
    std::string encodeLines(QStringView lines) const;
    // What stands before the first line.
    std::string_view mark() const;

    // Shown text for the clipboard: stand-ins become what they stand for, lines end in \n.
    QString plain(QStringView document) const;

    // Text from elsewhere, made fit for the document: every kind of line break becomes \n, nothing else changes.
    static QString foreign(const QString& text);

  private:
    enum LineEnd { lineFeed, pair, carriageReturn };
    // What a stand-in is for. The first three precede a line end of that kind in a text whose usual one is another.
    enum Special {
        unusualLineFeed,
        unusualPair,
        unusualReturn,
        lineSeparator,
        paragraphSeparator,
        frameBegin,
        frameEnd,
        specialCount
    };

    // The kind of the line end at a place of a file's text; nothing where no line ends.
    static std::optional<LineEnd> lineEndAt(const QString& text, qsizetype i);
    // A file's text as the document has it.
    QString toDocument(const QString& text) const;

    // Which special a character of the document stands for; specialCount for none.
    Special special(char16_t c) const;

    bool byteOrderMark_ = false;
    LineEnd usual_ = lineFeed;
    std::array<char16_t, specialCount> standIns_;
};

} // namespace glasshob
