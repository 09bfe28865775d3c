#include "GlassHobRender/episode/TextBlock.h"

#include "GlassHobRender/paint/PaintFonts.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextBoundaryFinder>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr QChar ellipsis(0x2026);
// No frame has room for as many characters, and laying out takes time with every one.
constexpr qsizetype mostCharacters = 1500;

QString singleBlanks(const QString& text) {
    QString made = text.left(mostCharacters);
    for (QChar& c : made) {
        if (c.category() == QChar::Other_Control) c = u' ';
    }
    if (made.size() < text.size() && !made.isEmpty() && made.back().isHighSurrogate()) made.chop(1);
    return made.simplified();
}

QTextOption optionsFor(const QString& text) {
    QTextOption options;
    options.setTextDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    options.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    return options;
}

struct Wrapped {
    QStringList lines;
    // A word had no room in a line and goes on in the next.
    bool breaksWords = false;
};

Wrapped wrapped(const QString& text, const QFont& font, double width) {
    Wrapped made;
    QTextBoundaryFinder places(QTextBoundaryFinder::Line, text);
    QTextLayout layout(text, font);
    layout.setTextOption(optionsFor(text));
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        places.setPosition(line.textStart());
        made.breaksWords |= !places.isAtBoundary();
        made.lines += text.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return made;
}

QStringList sentences(const QString& text) {
    static const QString enders = QStringLiteral(".!?…"), wide = QStringLiteral("。！？।؟");
    QStringList made;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isEnd =
            i + 1 == text.size() || wide.contains(text[i]) || (enders.contains(text[i]) && text[i + 1].isSpace());
        if (!isEnd) continue;
        made += text.mid(start, i + 1 - start).trimmed();
        start = i + 1;
    }
    return made;
}

} // namespace

QFont TextStyle::font() const {
    QFont font = paintFonts::words(size, weight);
    font.setStyleStrategy(QFont::NoSubpixelAntialias);
    font.setWordSpacing(0.06 * size);
    font.setLetterSpacing(QFont::AbsoluteSpacing, letterSpacing * size);
    return font;
}

double baseline(const QFont& font, double rowHeight) {
    const QFontMetricsF metrics(font);
    return (rowHeight - metrics.ascent() - metrics.descent()) / 2 + metrics.ascent();
}

TextBlock::TextBlock(const QString& text, const TextStyle& style, double width)
    : style_(style), text_(singleBlanks(text)) {
    isCut_ = text.size() > mostCharacters;
    wrap(width);
}

void TextBlock::wrap(double width) {
    width_ = width;
    if (text_.isEmpty()) return;
    Wrapped made = wrapped(text_, style_.font(), width);
    lines_ = std::move(made.lines);
    breaksWords_ = made.breaksWords;
}

void TextBlock::balance() {
    if (lines_.size() < 2 || breaksWords_) return;
    const QFont font = style_.font();
    const double whole = width_;
    double narrow = width_ / double(lines_.size() + 1), wide = width_;
    while (wide - narrow > 1) {
        const double middle = (narrow + wide) / 2;
        const Wrapped tried = wrapped(text_, font, middle);
        (tried.lines.size() == lines_.size() && !tried.breaksWords ? wide : narrow) = middle;
    }
    if (wide < whole) wrap(wide);
    width_ = whole;
}

void TextBlock::avoidLoneWord() {
    if (lines_.size() < 2 || lines_.back().contains(u' ')) return;
    const double whole = width_;
    for (double width = whole - 12; width > 0.7 * whole; width -= 12) {
        QStringList tried = wrapped(text_, style_.font(), width).lines;
        if (tried.size() > lines_.size()) break;
        if (!tried.back().contains(u' ')) continue;
        lines_ = std::move(tried);
        return;
    }
}

void TextBlock::cut(int lines) {
    if (lines_.size() <= lines) return;
    isCut_ = true;
    const QFontMetricsF metrics(style_.font());
    QStringList kept = lines_.first(lines);
    QString last = kept.takeLast();
    // At a word, or within one that fills the line.
    while (!last.isEmpty() && metrics.horizontalAdvance(last + ellipsis) > width_) {
        const qsizetype blank = last.lastIndexOf(u' ');
        last.truncate(blank > 0 ? blank : last.size() - (last.back().isLowSurrogate() ? 2 : 1));
    }
    while (!last.isEmpty() && (last.back().isSpace() || last.back() == u',' || last.back() == u'.'))
        last.chop(1);
    lines_ = kept << last + ellipsis;
}

double TextBlock::inkWidth() const {
    const QFontMetricsF metrics(style_.font());
    double widest = 0;
    for (const QString& line : lines_)
        widest = std::max(widest, metrics.horizontalAdvance(line));
    return widest;
}

void TextBlock::paint(QPainter& painter, const QPointF& topLeft) const {
    const QFont font = style_.font();
    const double down = baseline(font, style_.line);
    // What is not aligned by its direction stands at the left as a whole.
    const double width = alignsByDirection_ ? width_ : inkWidth();
    painter.setPen(style_.colour);
    for (qsizetype i = 0; i < lines_.size(); ++i) {
        QTextLayout layout(lines_[i], font);
        QTextOption options = optionsFor(text_);
        options.setWrapMode(QTextOption::NoWrap);
        const bool isRightToLeft = options.textDirection() == Qt::RightToLeft;
        options.setAlignment(Qt::AlignAbsolute | (isRightToLeft ? Qt::AlignRight : Qt::AlignLeft));
        layout.setTextOption(options);
        layout.beginLayout();
        QTextLine line = layout.createLine();
        line.setLineWidth(width);
        layout.endLayout();
        // A fallback font may be higher: all lines stand on the baselines of the first font.
        const double top = topLeft.y() + double(i) * style_.line + down - line.ascent();
        layout.draw(&painter, {topLeft.x(), top});
    }
}

TextBlock fittedTitle(const QString& text, std::initializer_list<TextStyle> styles, double width, int mostLines) {
    TextBlock block;
    for (const TextStyle& style : styles) {
        block = TextBlock(text, style, width);
        if (block.lines().size() <= mostLines && !block.breaksWords()) break;
    }
    if (block.lines().size() > mostLines) {
        block.cut(mostLines);
    } else {
        block.balance();
    }
    return block;
}

TextBlock fittedProse(const QString& text, std::initializer_list<TextStyle> styles, double width, double height) {
    TextBlock block;
    for (const TextStyle& style : styles) {
        block = TextBlock(text, style, width);
        block.alignByDirection();
        if (block.height() > height || block.isCut()) continue;
        block.avoidLoneWord();
        return block;
    }
    const TextStyle& least = *(styles.end() - 1);
    const QString simple = singleBlanks(text);
    const QStringList all = sentences(simple);
    // As many sentences as have room, but not all of them.
    qsizetype fits = 0, tooMany = all.size();
    while (tooMany - fits > 1) {
        const qsizetype middle = (fits + tooMany) / 2;
        const TextBlock some(all.first(middle).join(u' '), least, width);
        (some.height() <= height ? fits : tooMany) = middle;
    }
    if (fits > 0) {
        TextBlock some(all.first(fits).join(u' '), least, width);
        some.alignByDirection();
        some.avoidLoneWord();
        some.markCut();
        return some;
    }
    block.cut(std::max(1, int(height / least.line)));
    return block;
}

void paintLine(QPainter& painter, const QString& text, const TextStyle& style, double x, double top) {
    const QFont font = style.font();
    painter.setFont(font);
    painter.setPen(style.colour);
    painter.drawText(QPointF(x, top + baseline(font, style.line)), text);
}

double widthOf(const QString& text, const TextStyle& style) {
    return QFontMetricsF(style.font()).horizontalAdvance(text);
}

QString elided(const QString& text, const QFont& font, double width) {
    return QFontMetricsF(font).elidedText(text, Qt::ElideRight, width);
}

} // namespace glasshob
