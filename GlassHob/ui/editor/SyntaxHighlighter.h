// Colours the code of one document from the lexer's tokens, line by line: a line is coloured again only when it or the
// state before it has changed. Owned by its document; main thread.
#pragma once

#include "GlassHobCore/code/MSLSyntax.h"

#include <QSyntaxHighlighter>
#include <QTextCharFormat>

#include <array>
#include <vector>

namespace glasshob {

class SyntaxHighlighter : public QSyntaxHighlighter {
    Q_OBJECT
  public:
    explicit SyntaxHighlighter(QTextDocument* document);

    // Takes the colours of the theme in force and colours everything anew.
    void followTheme();

  protected:
    void highlightBlock(const QString& text) override;

  private:
    void makeFormats();

    std::array<QTextCharFormat, 9> formats_;
    std::vector<SyntaxToken> tokens_; // kept to save an allocation for each line
};

} // namespace glasshob
