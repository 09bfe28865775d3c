#pragma once

// The two fonts of everything that is painted: Manrope for words, JetBrains Mono for code. They are installed beside
// the program (Debian's fonts-manrope and fonts-jetbrains-mono) and found by their names; where one is missing, Qt
// takes another, so painters measure, and may say what is missing. Characters that neither has (Chinese, Arabic,
// emoji) come from the Noto fonts, which are installed with them.
//
// Text can be painted on any thread, in a process with a QGuiApplication: a window has one, hob makes a TextPainting.

#include <QFont>
#include <QStringList>

#include <memory>

class QGuiApplication;

namespace glasshob {

namespace paintFonts {

inline constexpr const char* wordFamily = "Manrope";
inline constexpr const char* codeFamily = "JetBrains Mono";

// For pictures: `size` is in units of the painter, whatever its scale; letters are not fitted to pixels.
QFont words(int size, QFont::Weight weight = QFont::Medium);
// The same for code: no ligatures, every cell has one width.
QFont code(int size, QFont::Weight weight = QFont::Normal);

// The families of the two that this machine does not have.
QStringList missing();

} // namespace paintFonts

// What Qt wants before it paints text in a process without a window: made before the first font is used and kept to
// the end of painting. Does nothing where the process has an application already. Main thread.
class TextPainting {
  public:
    TextPainting();
    ~TextPainting();
    TextPainting(const TextPainting&) = delete;
    TextPainting& operator=(const TextPainting&) = delete;

  private:
    std::unique_ptr<QGuiApplication> application_;
};

} // namespace glasshob
