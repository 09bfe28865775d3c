#include "GlassHob/ui/editor/LineRuler.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Icons.h"
#include "GlassHob/ui/controls/SeverityLook.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>

namespace glasshob {

namespace {

constexpr int baseWidth = 54; // the text's own margin of 6 makes it 60
constexpr int numberRight = 40;
constexpr int iconLeft = 8;
constexpr int notchLeft = 49;
constexpr int digitWidth = 8;

int extraDigits(int lines) {
    int digits = 1;
    for (; lines >= 10; lines /= 10)
        ++digits;
    return std::max(0, digits - 3);
}

} // namespace

LineRuler::LineRuler(CodeEditor* editor) : QWidget(editor), editor_(editor) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::NoFocus);
}

int LineRuler::widthForLines(int lines) const {
    return baseWidth + digitWidth * extraDigits(lines);
}

void LineRuler::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), themed(Role::editor));
    const int shift = width() - baseWidth;
    const int current = editor_->textCursor().blockNumber();
    painter.setFont(fonts::mono(std::max(9, editor_->codeSize() - 1)));
    const int row = editor_->codeLineHeight();
    for (const CodeEditor::VisibleLine& line : editor_->visibleLines()) {
        if (line.top > event->rect().bottom()) break;
        if (line.top + line.height <= event->rect().top()) continue;
        const auto severity = editor_->severityOfBlock(line.blockNumber);
        const bool isError = severity == Diagnostic::Severity::error;
        const bool isCurrent = line.blockNumber == current;
        const QRectF band(0, line.top, width(), line.height);
        if (isError)
            painter.fillRect(band, themed(Role::errorLine));
        else if (isCurrent)
            painter.fillRect(band, themed(Role::curLine));
        painter.setPen(themed(isError ? Role::error : isCurrent ? Role::lineNoCur : Role::lineNo));
        const QString number = QString::number(line.blockNumber + 1);
        painter.drawText(QRectF(0, line.top, numberRight + shift, row), Qt::AlignRight | Qt::AlignVCenter, number);
        if (severity) {
            // The icon makes room for a long number.
            const double numberLeft = numberRight + shift - painter.fontMetrics().horizontalAdvance(number);
            const double left = std::max(1.0, std::min(double(iconLeft), numberLeft - 14 - 2));
            paintIcon(painter, severityIcon(*severity), QRectF(left, line.top + (row - 14) / 2.0, 14, 14),
                      themed(severityRole(*severity)), 1.6);
        }
        if (!editor_->declaredParameter(line.blockNumber).isEmpty()) {
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(Qt::NoPen);
            painter.setBrush(themed(Role::accent));
            painter.drawRoundedRect(QRectF(notchLeft + shift, line.top + (row - 12) / 2.0, 2, 12), 1, 1);
        }
    }
}

void LineRuler::mousePressEvent(QMouseEvent* event) {
    const double y = event->position().y();
    for (const CodeEditor::VisibleLine& line : editor_->visibleLines()) {
        if (y < line.top || y >= line.top + line.height) continue;
        const QString parameter = editor_->declaredParameter(line.blockNumber);
        if (event->position().x() >= notchLeft + (width() - baseWidth) - 5 && !parameter.isEmpty())
            emit editor_->parameterPicked(parameter);
        else if (editor_->severityOfBlock(line.blockNumber))
            editor_->showMessages(line.blockNumber);
        else
            editor_->goTo(line.blockNumber + 1, 1);
        return;
    }
}

void LineRuler::wheelEvent(QWheelEvent* event) {
    QCoreApplication::sendEvent(editor_->viewport(), event);
}

} // namespace glasshob
