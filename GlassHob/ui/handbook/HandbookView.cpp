#include "GlassHob/ui/handbook/HandbookView.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobCore/code/MSLSyntax.h"

#include <QDesktopServices>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <QTimer>

#include <algorithm>
#include <ranges>

namespace glasshob {

namespace {

constexpr int margin = 32;
constexpr int codeLineHeight = 135; // percent
constexpr const char* exampleScheme = "example";

// The page with a link behind each whole shader.
QString withLinks(const handbook::Page& page) {
    QString text;
    bool isCode = false;
    bool isShader = false;
    int example = 0;
    for (const QString& line : page.text.split(u'\n')) {
        text += line + u'\n';
        if (!line.startsWith(QLatin1String("```"))) continue;
        isCode = !isCode;
        if (isCode) isShader = line == QLatin1String("```metal shader");
        if (!isCode && isShader)
            text += QStringLiteral("\n[%1](%2:%3)\n")
                        .arg(HandbookView::tr("Try this shader"), QLatin1String(exampleScheme))
                        .arg(example++);
    }
    return text;
}

bool isCodeBlock(const QTextBlock& block) {
    return block.blockFormat().hasProperty(QTextFormat::BlockCodeFence);
}

} // namespace

HandbookView::HandbookView(QWidget* parent) : QTextBrowser(parent) {
    setFrameShape(NoFrame);
    setOpenLinks(false);
    setUndoRedoEnabled(false);
    document()->setDocumentMargin(margin);
    setAccessibleName(tr("Handbook page"));
    connect(this, &QTextBrowser::anchorClicked, this, &HandbookView::follow);
    connect(&Theme::instance(), &Theme::changed, this, [this] {
        const int at = verticalScrollBar()->value();
        load();
        verticalScrollBar()->setValue(at);
    });
}

void HandbookView::show(const handbook::Place& place) {
    const bool isOther = place.page != place_.page;
    place_ = place;
    if (isOther) load();
    scrollTo(place);
}

void HandbookView::load() {
    if (place_.page < 0 || place_.page >= int(handbook::pages().size())) return;
    document()->setDefaultFont(fonts::ui(14));
    setMarkdown(withLinks(handbook::pages()[std::size_t(place_.page)]));
    dress();
}

// Markdown knows what things are; how they look is the theme's.
void HandbookView::dress() {
    QPalette colours = palette();
    colours.setColor(QPalette::Base, themed(Role::panel));
    colours.setColor(QPalette::Text, themed(Role::text));
    colours.setColor(QPalette::Link, themed(Role::accentText));
    setPalette(colours);
    QTextCursor edit(document());
    edit.beginEditBlock();
    MSLSyntax::LineState state = MSLSyntax::LineState::plain;
    std::vector<SyntaxToken> tokens;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        QTextBlockFormat shape = block.blockFormat();
        edit.setPosition(block.position());
        edit.setPosition(block.position() + block.length() - 1, QTextCursor::KeepAnchor);
        if (isCodeBlock(block)) {
            const bool isFirst = !isCodeBlock(block.previous());
            shape.setTopMargin(0);
            shape.setBottomMargin(0);
            shape.setNonBreakableLines(false);
            edit.setBlockFormat(shape);
            QTextCharFormat code;
            code.setFont(fonts::mono(12.5));
            code.setForeground(themed(CodeRole::plain));
            edit.setCharFormat(code);
            if (isFirst) state = MSLSyntax::LineState::plain;
            tokens.clear();
            const bool isShader = shape.stringProperty(QTextFormat::BlockCodeLanguage) == QLatin1String("metal");
            if (isShader) state = MSLSyntax::tokenizeLine(block.text(), state, tokens);
            for (const SyntaxToken& token : tokens) {
                QTextCharFormat part;
                part.setForeground(themed(CodeRole(int(CodeRole::plain) + 1 + int(token.kind))));
                edit.setPosition(block.position() + int(token.range.location));
                edit.setPosition(block.position() + int(token.range.end()), QTextCursor::KeepAnchor);
                edit.mergeCharFormat(part);
            }
            continue;
        }
        if (const int level = shape.headingLevel(); level > 0) {
            shape.setTopMargin(level == 1 ? 0 : 20);
            shape.setBottomMargin(level == 1 ? 12 : 6);
            edit.setBlockFormat(shape);
            QTextCharFormat heading;
            heading.setFont(fonts::ui(level == 1 ? 24 : 16, QFont::Bold));
            heading.setForeground(themed(Role::text));
            edit.setCharFormat(heading);
            continue;
        }
        const bool isInTable = edit.currentTable() != nullptr;
        shape.setLineHeight(isInTable ? 120 : 135, QTextBlockFormat::ProportionalHeight);
        if (!isInTable && !block.textList()) shape.setBottomMargin(10);
        edit.setBlockFormat(shape);
        for (auto at = block.begin(); !at.atEnd(); ++at) {
            const QTextFragment fragment = at.fragment();
            const QTextCharFormat was = fragment.charFormat();
            QTextCharFormat now;
            const bool isCode = was.fontFixedPitch();
            now.setFont(isCode ? fonts::mono(12.5)
                               : fonts::ui(14, was.fontWeight() > QFont::Medium ? QFont::Bold : QFont::Medium));
            now.setForeground(themed(was.isAnchor() ? Role::accentText : isCode ? Role::text : Role::text2));
            now.setFontUnderline(was.isAnchor());
            edit.setPosition(fragment.position());
            edit.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            edit.mergeCharFormat(now);
        }
    }
    frameCode();
    for (QTextFrame* frame : document()->rootFrame()->childFrames())
        if (auto* table = qobject_cast<QTextTable*>(frame)) {
            QTextTableFormat shape = table->format();
            shape.setBorder(1);
            shape.setBorderCollapse(true);
            shape.setBorderBrush(themed(Role::line));
            shape.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
            shape.setCellPadding(6);
            shape.setCellSpacing(0);
            shape.setTopMargin(4);
            shape.setBottomMargin(12);
            shape.setWidth(QTextLength(QTextLength::PercentageLength, 100));
            table->setFormat(shape);
        }
    edit.endEditBlock();
}

// Puts each piece of code into a box of its own.
void HandbookView::frameCode() {
    QTextFrameFormat box;
    box.setBackground(themed(Role::editor));
    box.setBorder(1);
    box.setBorderBrush(themed(Role::line));
    box.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    box.setPadding(10);
    box.setTopMargin(6);
    box.setBottomMargin(12);
    std::vector<std::pair<int, int>> pieces;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        if (!isCodeBlock(block)) continue;
        const int end = block.position() + block.length() - 1;
        if (isCodeBlock(block.previous()))
            pieces.back().second = end;
        else
            pieces.emplace_back(block.position(), end);
    }
    for (const auto& [from, to] : pieces | std::views::reverse) { // a frame moves what is behind it
        QTextCursor piece(document());
        piece.setPosition(from);
        piece.setPosition(to, QTextCursor::KeepAnchor);
        const QTextFrame* frame = piece.insertFrame(box);
        QTextBlockFormat code;
        code.setLineHeight(codeLineHeight, QTextBlockFormat::ProportionalHeight);
        piece = frame->firstCursorPosition();
        piece.setPosition(frame->lastPosition(), QTextCursor::KeepAnchor);
        piece.mergeBlockFormat(code);
        // What stays of the lines around it takes no room.
        QTextBlockFormat nothing;
        nothing.setLineHeight(1, QTextBlockFormat::FixedHeight);
        for (const int around : {frame->firstPosition() - 1, frame->lastPosition() + 1}) {
            piece.setPosition(around);
            if (piece.block().text().isEmpty()) piece.setBlockFormat(nothing);
        }
    }
}

void HandbookView::showEvent(QShowEvent* event) {
    QTextBrowser::showEvent(event);
    QTimer::singleShot(0, this, [this] { scrollTo(place_); }); // when it has its size
}

void HandbookView::scrollTo(const handbook::Place& place) {
    QTextBlock found = document()->begin();
    if (!place.heading.isEmpty())
        for (QTextBlock block = document()->begin(); block.isValid(); block = block.next())
            if (block.blockFormat().headingLevel() > 0 && block.text() == place.heading) {
                found = block;
                break;
            }
    QTextCursor at(found);
    if (!place.text.isEmpty()) {
        const QTextCursor hit = document()->find(place.text, at);
        if (!hit.isNull()) at = hit;
    }
    setTextCursor(at);
    QTextCursor top(at);
    top.setPosition(at.selectionStart());
    const QRect line = cursorRect(top);
    const bool isTop = place.heading.isEmpty() && place.text.isEmpty();
    verticalScrollBar()->setValue(
        isTop ? 0 : verticalScrollBar()->value() + line.top() - (at.hasSelection() ? height() / 3 : 16));
}

void HandbookView::follow(const QUrl& link) {
    if (link.scheme() == QLatin1String(exampleScheme)) {
        const auto all = handbook::examples(handbook::pages()[std::size_t(place_.page)]);
        const auto index = link.path().toULongLong();
        if (index < all.size()) emit examplePicked(all[index]);
        return;
    }
    const int page = link.path().isEmpty() ? place_.page : handbook::pageOf(link.path());
    if (page < 0) {
        QDesktopServices::openUrl(link);
        return;
    }
    handbook::Place target{page, {}, {}};
    for (const handbook::Heading& heading : handbook::headings(handbook::pages()[std::size_t(page)]))
        if (heading.anchor == link.fragment()) target.heading = heading.text;
    emit linkPicked(target);
}

} // namespace glasshob
