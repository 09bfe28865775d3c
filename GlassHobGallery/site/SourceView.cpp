#include "GlassHobGallery/site/SourceView.h"

#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobCore/code/MSLSyntax.h"
#include "GlassHobCore/text/Text.h"

#include <QStringList>

#include <algorithm>

namespace glasshob::gallery {

namespace {

// Beyond this a page of coloured code is heavier than it is of use.
constexpr std::size_t colouredLimit = 60'000;

const char* className(SyntaxKind kind) {
    switch (kind) {
    case SyntaxKind::comment: return "c";
    case SyntaxKind::header: return "h";
    case SyntaxKind::headerKey: return "hk";
    case SyntaxKind::keyword: return "k";
    case SyntaxKind::type: return "t";
    case SyntaxKind::number: return "n";
    case SyntaxKind::string: return "s";
    case SyntaxKind::preprocessor: return "pp";
    case SyntaxKind::attribute: return "at";
    }
    return "c";
}

void addPiece(Values& line, QStringView text, const char* colour) {
    if (text.isEmpty()) return;
    Values piece = line.add("PIECE");
    piece.set("T", text.toString().toStdString());
    if (colour)
        piece.set("C", colour).show("COLOURED");
    else
        piece.show("PLAIN");
}

} // namespace

void addSource(Values& page, std::string_view source) {
    QString text = asQString(source);
    text.replace("\r\n", "\n").replace('\r', '\n');
    if (text.endsWith('\n')) text.chop(1);
    const QStringList lines = text.split('\n');
    MSLSyntax::LineState state = MSLSyntax::LineState::plain;
    std::int64_t number = 0;
    for (const QString& code : lines) {
        Values line = page.add("LINE");
        line.set("N", ++number);
        if (source.size() > colouredLimit) {
            addPiece(line, code, nullptr);
            continue;
        }
        std::vector<SyntaxToken> tokens;
        state = MSLSyntax::tokenizeLine(code, state, tokens);
        // A directive's word lies inside its comment: the colour of every character is that of the last token on it.
        std::vector<const char*> colours(std::size_t(code.size()), nullptr);
        for (const SyntaxToken& token : tokens) {
            const auto end = std::min<qsizetype>(token.range.end(), code.size());
            for (qsizetype i = std::max<qsizetype>(token.range.location, 0); i < end; ++i)
                colours[std::size_t(i)] = className(token.kind);
            if (token.kind == SyntaxKind::headerKey &&
                QStringView(code).mid(token.range.location, token.range.length) == u"@param")
                line.show("PARAM");
        }
        for (qsizetype begin = 0; begin < code.size();) {
            qsizetype end = begin + 1;
            while (end < code.size() && colours[std::size_t(end)] == colours[std::size_t(begin)])
                ++end;
            addPiece(line, QStringView(code).mid(begin, end - begin), colours[std::size_t(begin)]);
            begin = end;
        }
    }
    page.set("LINES", counted(number, "line", "lines"));
    page.set("SIZE", source.size() < 1000
                         ? counted(std::int64_t(source.size()), "byte", "bytes")
                         : QString::number(double(source.size()) / 1000, 'f', 1).toStdString() + " KB");
}

} // namespace glasshob::gallery
