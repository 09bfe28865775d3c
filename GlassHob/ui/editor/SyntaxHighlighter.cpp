#include "GlassHob/ui/editor/SyntaxHighlighter.h"

#include "GlassHob/ui/controls/Theme.h"

namespace glasshob {

SyntaxHighlighter::SyntaxHighlighter(QTextDocument* document) : QSyntaxHighlighter(document) {
    makeFormats();
}

void SyntaxHighlighter::makeFormats() {
    for (std::size_t kind = 0; kind < formats_.size(); ++kind) {
        formats_[kind] = {};
        formats_[kind].setForeground(themed(codeRole(SyntaxKind(kind))));
    }
    formats_[std::size_t(SyntaxKind::headerKey)].setFontWeight(QFont::DemiBold);
}

void SyntaxHighlighter::followTheme() {
    makeFormats();
    rehighlight();
}

void SyntaxHighlighter::highlightBlock(const QString& text) {
    // Each colour is a piece of its own to the layout: a line of millions of letters, which is no code, has none.
    constexpr qsizetype longestColoured = 20'000;
    tokens_.clear();
    const int before = previousBlockState();
    const auto state = before < 0 ? MSLSyntax::LineState::plain : MSLSyntax::LineState(before);
    const auto after = MSLSyntax::tokenizeLine(text, state, tokens_);
    const bool isColoured = text.size() <= longestColoured;
    for (const SyntaxToken& token : tokens_)
        if (isColoured)
            setFormat(int(token.range.location), int(token.range.length), formats_[std::size_t(token.kind)]);
    setCurrentBlockState(int(after));
}

} // namespace glasshob
