#include "GlassHob/ui/editor/MessageList.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SeverityLook.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobCore/text/Text.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QToolTip>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int headingHeight = 36;
constexpr int rowHeightOne = 28;
constexpr int lineHeight = 18;
constexpr int mostRows = 5;
constexpr int bottomMargin = 6;

// The compiler's text where it holds no message that could be read.
constexpr int plainMargin = 16;
constexpr int plainFlags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;

} // namespace

MessageRows::MessageRows(QWidget* parent) : QAbstractScrollArea(parent) {
    setFrameShape(NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setMouseTracking(true);
    setAccessibleName(tr("Compiler messages"));
    auto follow = [this] {
        QPalette palette = this->palette();
        palette.setColor(QPalette::Base, themed(Role::panel));
        setPalette(palette);
    };
    follow();
    connect(&Theme::instance(), &Theme::changed, this, follow);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, viewport(), qOverload<>(&QWidget::update));
}

void MessageRows::setMessages(const std::vector<Diagnostic>& messages, const QString& plainText) {
    const QString before =
        current_ >= 0 && current_ < count() ? asQString(rows_[std::size_t(current_)].message.id()) : QString();
    rows_.clear();
    plainText_ = plainText;
    current_ = hovered_ = -1;
    isOverFix_ = false;
    for (const Diagnostic& message : messages) {
        Row row{message, asQString(message.message), {}, {}};
        row.firstLine = row.text.section(u'\n', 0, 0);
        row.unfolds = row.firstLine.size() != row.text.size();
        // What stands on top is about all the others.
        row.isHeading = rows_.empty() && row.unfolds && message.severity == Diagnostic::Severity::note;
        row.unfolded = row.isHeading;
        if (asQString(message.id()) == before) current_ = count();
        rows_.push_back(std::move(row));
    }
    updateScrolling();
    viewport()->update();
}

void MessageRows::setFixes(const QStringList& titles) {
    for (int i = 0; i < std::min(count(), int(titles.size())); ++i)
        rows_[std::size_t(i)].fix = titles[i];
    viewport()->update();
}

QString MessageRows::placeText(const Row& row) {
    if (row.message.line <= 0) return {};
    return QStringLiteral("%1:%2").arg(row.message.line).arg(row.message.column);
}

QRect MessageRows::fixRect(const Row& row, int top) const {
    if (row.fix.isEmpty()) return {};
    constexpr int leastMessage = 200; // beside it the message can still be read
    const int right = viewport()->width() - 13 - QFontMetrics(fonts::value()).horizontalAdvance(placeText(row)) - 12;
    const int width = std::min(QFontMetrics(fonts::label()).horizontalAdvance(row.fix) + 2, right - leastMessage);
    return width < 40 ? QRect() : QRect(right - width, top, width, rowHeightOne);
}

bool MessageRows::isOnFix(const QPoint& place) const {
    const int row = rowAt(place.y());
    return row >= 0 && fixRect(rows_[std::size_t(row)], rowTop(row) - verticalScrollBar()->value()).contains(place);
}

int MessageRows::rowHeight(const Row& row) const {
    return row.unfolded ? rowHeightOne + int(row.text.count(u'\n')) * lineHeight : rowHeightOne;
}

int MessageRows::rowTop(int row) const {
    int top = 0;
    for (int i = 0; i < row; ++i)
        top += rowHeight(rows_[std::size_t(i)]);
    return top;
}

int MessageRows::rowAt(int y) const {
    y += verticalScrollBar()->value();
    for (int i = 0; i < count(); ++i) {
        y -= rowHeight(rows_[std::size_t(i)]);
        if (y < 0) return i;
    }
    return -1;
}

int MessageRows::contentHeight() const {
    if (rows_.empty() && !plainText_.isEmpty()) {
        const QRect width(0, 0, std::max(1, viewport()->width() - plainMargin * 2), 0);
        return QFontMetrics(fonts::value()).boundingRect(width, plainFlags, plainText_).height() + 8;
    }
    return rowTop(count());
}

void MessageRows::updateScrolling() {
    verticalScrollBar()->setRange(0, std::max(0, contentHeight() - viewport()->height()));
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setSingleStep(rowHeightOne);
}

void MessageRows::resizeEvent(QResizeEvent*) {
    updateScrolling();
}

QString MessageRows::spokenText(int row) const {
    const Row& said = rows_[std::size_t(row)];
    QString what = said.message.severity == Diagnostic::Severity::error     ? tr("Error")
                   : said.message.severity == Diagnostic::Severity::warning ? tr("Warning")
                                                                            : tr("Note");
    if (said.message.line > 0)
        what = tr("%1, line %2, column %3").arg(what).arg(said.message.line).arg(said.message.column);
    const QString text = tr("%1: %2").arg(what, said.text);
    return said.fix.isEmpty() ? text : tr("%1. Alt+Return: %2").arg(text, said.fix);
}

QRect MessageRows::rowRect(int row) const {
    return QRect(0, rowTop(row) - verticalScrollBar()->value(), viewport()->width(),
                 rowHeight(rows_[std::size_t(row)]));
}

void MessageRows::setCurrent(int row) {
    const int before = std::exchange(current_, std::clamp(row, -1, count() - 1));
    if (current_ >= 0 && current_ != before && hasFocus()) {
        QAccessibleEvent focus(this, QAccessible::Focus);
        focus.setChild(current_);
        QAccessible::updateAccessibility(&focus);
    }
    if (current_ >= 0) {
        const int top = rowTop(current_), bottom = top + rowHeight(rows_[std::size_t(current_)]);
        if (top < verticalScrollBar()->value())
            verticalScrollBar()->setValue(top);
        else if (bottom > verticalScrollBar()->value() + viewport()->height())
            verticalScrollBar()->setValue(bottom - viewport()->height());
    }
    viewport()->update();
}

void MessageRows::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    painter.fillRect(viewport()->rect(), themed(Role::panel));
    int y = -verticalScrollBar()->value();
    if (rows_.empty() && !plainText_.isEmpty()) {
        painter.setFont(fonts::value());
        painter.setPen(themed(Role::text));
        painter.drawText(QRect(plainMargin, y, viewport()->width() - plainMargin * 2, contentHeight()), plainFlags,
                         plainText_);
        return;
    }
    for (int i = 0; i < count(); ++i) {
        const Row& row = rows_[std::size_t(i)];
        const QRect box(0, y, viewport()->width(), rowHeight(row));
        y += box.height();
        if (box.bottom() < 0 || box.top() > viewport()->height()) continue;
        paintRow(painter, row, box, i == current_ || i == hovered_);
    }
}

void MessageRows::paintRow(QPainter& painter, const Row& row, const QRect& box, bool current) const {
    if (current) painter.fillRect(box, themed(Role::controlHover));
    if (hasFocus() && &row == &rows_[std::size_t(std::max(0, current_))] && current_ >= 0)
        painter.fillRect(QRect(box.left(), box.top(), 2, box.height()), themed(Role::accentText));
    const int middle = box.top() + rowHeightOne / 2;
    paintIcon(painter, severityIcon(row.message.severity), QRectF(16, middle - 8, 16, 16),
              themed(severityRole(row.message.severity)));
    int right = box.right() - 12;
    if (row.message.line > 0) {
        const QString place = placeText(row);
        painter.setFont(fonts::value());
        painter.setPen(themed(Role::text3));
        const QRect where(0, box.top(), right, rowHeightOne);
        painter.drawText(where, Qt::AlignRight | Qt::AlignVCenter, place);
        right -= painter.fontMetrics().horizontalAdvance(place) + 12;
    }
    if (const QRect fix = fixRect(row, box.top()); !fix.isEmpty()) {
        QFont font = fonts::label();
        font.setUnderline(isOverFix_ && hovered_ >= 0 && &row == &rows_[std::size_t(hovered_)]);
        painter.setFont(font);
        painter.setPen(themed(Role::accentText));
        painter.drawText(fix, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine,
                         painter.fontMetrics().elidedText(row.fix, Qt::ElideRight, fix.width()));
        right = fix.left() - 16;
    }
    painter.setFont(fonts::body());
    const bool isNote = row.message.severity == Diagnostic::Severity::note && !row.isHeading;
    painter.setPen(themed(isNote ? Role::text2 : Role::text));
    const QRect textBox(42, box.top(), right - 42, rowHeightOne);
    const QString first = row.unfolds && !row.unfolded ? row.firstLine + QStringLiteral(" …") : row.firstLine;
    painter.drawText(textBox, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(first, Qt::ElideRight, textBox.width()));
    if (!row.unfolded) return;
    painter.setFont(fonts::value());
    painter.setPen(themed(Role::text2));
    painter.drawText(QRect(42, box.top() + rowHeightOne - 4, box.width() - 54, box.height() - rowHeightOne + 4),
                     Qt::AlignLeft | Qt::AlignTop, row.text.section(u'\n', 1));
}

void MessageRows::mousePressEvent(QMouseEvent* event) {
    const int row = rowAt(event->pos().y());
    if (row < 0 || event->button() != Qt::LeftButton) return;
    if (isOnFix(event->pos())) {
        emit fixWanted(row);
        return;
    }
    Row& picked = rows_[std::size_t(row)];
    if (picked.unfolds) {
        picked.unfolded = !picked.unfolded;
        emit heightWanted();
        updateScrolling();
    }
    setCurrent(row);
    emit activated(row);
}

void MessageRows::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Up: setCurrent(std::max(0, current_ - 1)); return;
    case Qt::Key_Down: setCurrent(current_ + 1); return;
    case Qt::Key_Home: setCurrent(0); return;
    case Qt::Key_End: setCurrent(count() - 1); return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (current_ < 0) return;
        if (event->modifiers() & Qt::AltModifier)
            emit fixWanted(current_);
        else
            emit activated(current_);
        return;
    default: QAbstractScrollArea::keyPressEvent(event);
    }
}

void MessageRows::focusInEvent(QFocusEvent* event) {
    if (current_ < 0 && count() > 0 && event->reason() != Qt::MouseFocusReason) setCurrent(0);
    viewport()->update();
}

void MessageRows::focusOutEvent(QFocusEvent*) {
    viewport()->update();
}

bool MessageRows::viewportEvent(QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseMove:
    case QEvent::Leave: {
        const int row = event->type() == QEvent::Leave ? -1 : rowAt(static_cast<QMouseEvent*>(event)->pos().y());
        const bool isOverFix = row >= 0 && isOnFix(static_cast<QMouseEvent*>(event)->pos());
        if (row != hovered_ || isOverFix != isOverFix_) {
            hovered_ = row;
            isOverFix_ = isOverFix;
            viewport()->setCursor(isOverFix ? Qt::PointingHandCursor : Qt::ArrowCursor);
            viewport()->update();
        }
        break;
    }
    case QEvent::ToolTip: {
        auto* help = static_cast<QHelpEvent*>(event);
        const int row = rowAt(help->pos().y());
        if (row >= 0) QToolTip::showText(help->globalPos(), plainToolTip(rows_[std::size_t(row)].text), viewport());
        return true;
    }
    default: break;
    }
    return QAbstractScrollArea::viewportEvent(event);
}

MessageList::MessageList(QWidget* parent) : FilledPane(Role::panel, Qt::TopEdge, parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    heading_ = new TextLine(fonts::label(), Role::text, this);
    auto* copy = new ToolButton(Icon::copy, tr("Copy messages"), this, 28, 16);
    collapse_ = new ToolButton(Icon::chev, tr("Collapse the messages"), this, 28, 16);
    rows_ = new MessageRows(this);
    rows_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored); // none is left when it is collapsed
    auto* head = new QHBoxLayout;
    head->setContentsMargins(16, 1, 8, 0);
    head->setSpacing(4);
    head->addWidget(heading_);
    head->addStretch();
    head->addWidget(copy);
    head->addWidget(collapse_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto* headBox = new QWidget(this);
    headBox->setFixedHeight(headingHeight);
    headBox->setLayout(head);
    column->addWidget(headBox);
    column->addWidget(rows_, 1);
    hide();

    connect(copy, &QAbstractButton::clicked, this, [this] { QApplication::clipboard()->setText(copyText_); });
    connect(collapse_, &QAbstractButton::clicked, this, [this] {
        collapsed() = !isCollapsed();
        followCollapsed();
        fit();
    });
    connect(rows_, &MessageRows::heightWanted, this, &MessageList::fit);
    connect(rows_, &MessageRows::activated, this, [this](int row) {
        const Diagnostic& message = rows_->message(row);
        if (message.line > 0) emit placePicked(message.line, message.column);
    });
    connect(rows_, &MessageRows::fixWanted, this, [this](int row) { emit fixWanted(std::size_t(row)); });
    connect(&height_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        setFixedHeight(value.toInt());
        if (value.toInt() == 0 && !hasMessages_) hide();
    });
    setFixedHeight(0);
    if (parent) parent->installEventFilter(this);
}

QString MessageList::summary(const std::vector<Diagnostic>& messages) {
    int counts[3] = {};
    for (const Diagnostic& message : messages)
        ++counts[int(message.severity)];
    const char* const one[] = {"1 error", "1 warning", "1 note"};
    const char* const many[] = {"%1 errors", "%1 warnings", "%1 notes"};
    QStringList parts;
    for (int i = 0; i < 3; ++i)
        if (counts[i])
            parts << (counts[i] == 1 ? QString::fromLatin1(one[i]) : QString::fromLatin1(many[i]).arg(counts[i]));
    return parts.join(QStringLiteral(", "));
}

void MessageList::setMessages(const std::vector<Diagnostic>& messages, const QString& plainText) {
    show(messages, plainText, false);
}

void MessageList::setWarnings(const std::vector<Diagnostic>& warnings, const QString& plainText) {
    show(warnings, warnings.empty() ? QString() : plainText, true);
}

void MessageList::followCollapsed() {
    collapse_->setToolTip(isCollapsed() ? tr("Show the messages") : tr("Collapse the messages"));
    collapse_->setAccessibleName(collapse_->toolTip());
    collapse_->setTurned(isCollapsed());
}

void MessageList::show(const std::vector<Diagnostic>& messages, const QString& plainText, bool areWarnings) {
    hasMessages_ = !messages.empty() || !plainText.isEmpty();
    if (hasMessages_) areWarnings_ = areWarnings;
    followCollapsed();
    // While it closes it goes on showing what it showed.
    if (hasMessages_) {
        rows_->setMessages(messages, plainText);
        heading_->setText(messages.empty() ? tr("The compiler says") : summary(messages));
        copyText_ = plainText;
        QWidget::show();
    }
    fit();
}

int MessageList::wantedHeight() const {
    if (!hasMessages_) return 0;
    if (isCollapsed()) return headingHeight;
    const int wanted = headingHeight + std::min(rows_->contentHeight(), mostRows * rowHeightOne) + bottomMargin;
    // In a low pane the code keeps half of the room.
    if (!parentWidget()) return wanted;
    return std::min(wanted, std::max(parentWidget()->height() / 2, headingHeight + rowHeightOne + bottomMargin));
}

void MessageList::fit() {
    const int wanted = wantedHeight();
    height_.stop();
    const int duration = window()->isVisible() ? motionDuration(this, 160) : 0;
    if (duration == 0 || height() == wanted) {
        setFixedHeight(wanted);
        if (!hasMessages_) hide();
        return;
    }
    height_.setDuration(duration);
    height_.setEasingCurve(QEasingCurve::OutCubic);
    height_.setStartValue(height());
    height_.setEndValue(wanted);
    height_.start();
}

bool MessageList::eventFilter(QObject* object, QEvent* event) {
    if (object == parentWidget() && event->type() == QEvent::Resize && hasMessages_ &&
        height_.state() != QVariantAnimation::Running)
        setFixedHeight(wantedHeight());
    return FilledPane::eventFilter(object, event);
}

void MessageList::step(int direction) {
    const int count = rows_->count();
    for (int tried = 1, row = rows_->current(); tried <= count; ++tried) {
        row = row < 0 && direction < 0 ? count - 1 : (row + direction + count) % count;
        if (rows_->message(row).line <= 0) continue;
        rows_->setCurrent(row);
        emit placePicked(rows_->message(row).line, rows_->message(row).column);
        return;
    }
}

} // namespace glasshob
