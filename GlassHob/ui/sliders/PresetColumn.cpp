#include "GlassHob/ui/sliders/PresetColumn.h"

#include "GlassHob/model/Presets.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/sliders/PresetActions.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int headingHeight = 40;
constexpr int rowHeight = 28;
constexpr int rowInset = 8; // of the rows from the column's edges
constexpr int textLeft = 33;
constexpr int pickerMost = 176;

void paintRound(QPainter& painter, const QRectF& box, const QColor& fill) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(box, 6, 6);
}

} // namespace

PresetRow::PresetRow(PresetActions& actions, QWidget* parent)
    : HoverButton(parent), actions_(actions), delete_(new ToolButton(Icon::close, {}, this, 24, 14)),
      undo_(new TextButton(tr("Undo Delete"), TextButton::Look::link, this)) {
    setFont(fonts::body());
    // The Delete key does what the cross does; Tab goes on to the next pane.
    delete_->setFocusPolicy(Qt::NoFocus);
    undo_->setFocusPolicy(Qt::NoFocus);
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (isDeleted_)
            actions_.undoDelete();
        else
            actions_.apply(name_);
    });
    connect(delete_, &QAbstractButton::clicked, this, [this] { actions_.deleteForNow(name_); });
    connect(undo_, &QAbstractButton::clicked, this, [this] { actions_.undoDelete(); });
    showDelete();
}

void PresetRow::setContents(const QString& name, bool isApplied, bool isDeleted) {
    name_ = name;
    isApplied_ = isApplied;
    isDeleted_ = isDeleted;
    setAccessibleName(isDeleted ? tr("Undo Delete of preset %1").arg(name) : tr("Preset %1").arg(name));
    setAccessibleDescription(isApplied ? tr("applied") : QString());
    delete_->setName(tr("Delete preset %1").arg(name));
    undo_->setAccessibleName(accessibleName());
    undo_->setVisible(isDeleted);
    const bool isElided = fontMetrics().horizontalAdvance(name) > width() - textLeft - 30;
    setToolTip(isElided ? plainToolTip(name) : QString());
    showDelete();
    show();
    update();
}

void PresetRow::showDelete() {
    delete_->setVisible(!isDeleted_ && (isApplied_ || underMouse() || hasFocus()));
}

void PresetRow::resizeEvent(QResizeEvent*) {
    delete_->move(width() - 28, (height() - 24) / 2);
    const QSize undo = undo_->sizeHint();
    undo_->setGeometry(width() - 10 - undo.width(), (height() - undo.height()) / 2, undo.width(), undo.height());
}

void PresetRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (isApplied_ || isDown()) {
        paintRound(painter, rect(), themed(isDown() && !isApplied_ ? Role::controlPressed : Role::accentTint));
    } else if (hover() > 0 && !isDeleted_) {
        QColor under = themed(Role::control);
        under.setAlphaF(float(hover()));
        paintRound(painter, rect(), under);
    }
    if (isApplied_) paintIcon(painter, Icon::check, QRectF(9, (height() - 16) / 2.0, 16, 16), themed(Role::accentText));
    painter.setFont(font());
    painter.setPen(themed(isDeleted_ ? Role::text3 : Role::text));
    const int right = isDeleted_ ? undo_->x() - 8 : delete_->isVisibleTo(this) ? delete_->x() - 4 : width() - 8;
    const QRect box(textLeft, 0, right - textLeft, height());
    painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(name_, Qt::ElideRight, box.width()));
}

void PresetRow::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Up: emit moveWanted(-1); return;
    case Qt::Key_Down: emit moveWanted(1); return;
    case Qt::Key_Home: emit moveWanted(-1000000); return;
    case Qt::Key_End: emit moveWanted(1000000); return;
    case Qt::Key_Return:
    case Qt::Key_Enter: click(); return;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (!isDeleted_) actions_.deleteForNow(name_);
        return;
    case Qt::Key_F2:
        if (!isDeleted_) actions_.presets().renameAfterQuestion(name_);
        return;
    case Qt::Key_Z:
        if (isDeleted_ && event->modifiers() == Qt::ControlModifier) {
            actions_.undoDelete();
            return;
        }
        [[fallthrough]];
    default: HoverButton::keyPressEvent(event);
    }
}

void PresetRow::contextMenuEvent(QContextMenuEvent* event) {
    if (isDeleted_) return;
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    actions_.fillFor(name_, *menu);
    menu->popup(event->reason() == QContextMenuEvent::Keyboard ? mapToGlobal(QPoint(textLeft, height()))
                                                               : event->globalPos());
}

void PresetRow::enterEvent(QEnterEvent* event) {
    HoverButton::enterEvent(event);
    showDelete();
}

void PresetRow::leaveEvent(QEvent* event) {
    HoverButton::leaveEvent(event);
    showDelete();
}

void PresetRow::focusInEvent(QFocusEvent* event) {
    HoverButton::focusInEvent(event);
    showDelete();
    emit focused();
}

void PresetRow::focusOutEvent(QFocusEvent* event) {
    HoverButton::focusOutEvent(event);
    showDelete();
}

PresetColumn::PresetColumn(PresetActions& actions, QWidget* parent)
    : FilledPane(Role::panel, Qt::LeftEdge, parent), actions_(actions) {
    title_ = new TextLine(fonts::heading(), Role::text, this, tr("Presets"));
    add_ = new ToolButton(Icon::plus, tr("Save these settings as a preset"), this, 28, 18);
    add_->setName(add_->accessibleName(), actions.saveAction()->shortcut().toString(QKeySequence::NativeText));
    connect(add_, &QAbstractButton::clicked, actions.saveAction(), &QAction::trigger);
    hint_ = new QWidget(this);
    auto* hintText = new TextLine(fonts::small(), Role::text3, hint_, tr("Save the sliders as a preset with +."));
    hintText->setElides(true);
    auto* head = new QHBoxLayout;
    head->setContentsMargins(17, 0, 8, 0);
    head->addWidget(title_);
    head->addStretch();
    head->addWidget(add_);
    auto* headBox = new QWidget(this);
    headBox->setFixedHeight(headingHeight);
    headBox->setLayout(head);

    list_ = new QWidget;
    scroll_ = makeScrollArea(list_, this);
    auto* hintRow = new QHBoxLayout(hint_);
    hintRow->setContentsMargins(16, 4, 8, 0);
    hintRow->addWidget(hintText);
    hintRow->addStretch();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(1, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(headBox);
    column->addWidget(hint_);
    column->addWidget(scroll_, 1);
    connect(&actions_, &PresetActions::changed, this, &PresetColumn::follow);
    connect(actions_.saveAction(), &QAction::changed, this, &PresetColumn::follow);
    follow();
}

void PresetColumn::follow() {
    const auto& wanted = actions_.rows();
    const bool hadFocus = current_ && current_->hasFocus();
    // Rows are kept and take on other names, so that the focus stays at its place.
    while (rows_.size() < wanted.size()) {
        auto* row = new PresetRow(actions_, list_);
        connect(row, &PresetRow::focused, this, [this, row] { setCurrent(row); });
        connect(row, &PresetRow::moveWanted, this, [this, row](int places) {
            const int at = int(std::ranges::find(rows_, row) - rows_.begin());
            PresetRow* to = rows_[std::size_t(std::clamp(at + places, 0, int(rows_.size()) - 1))];
            to->setFocus(Qt::TabFocusReason);
            scroll_->ensureWidgetVisible(to, 0, 0);
        });
        setTabOrder(rows_.empty() ? static_cast<QWidget*>(add_) : rows_.back(), row);
        rows_.push_back(row);
    }
    while (rows_.size() > wanted.size()) {
        PresetRow* last = rows_.back();
        rows_.pop_back();
        if (current_ == last) current_ = rows_.empty() ? nullptr : rows_.back();
        last->hide();
        last->deleteLater();
    }
    PresetRow* applied = nullptr;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i]->setContents(wanted[i].name, wanted[i].isApplied, wanted[i].isDeleted);
        if (wanted[i].isApplied) applied = rows_[i];
    }
    setCurrent(hadFocus ? current_ : applied ? applied : current_ ? current_ : rows_.empty() ? nullptr : rows_[0]);
    if (hadFocus && current_ && !current_->hasFocus()) current_->setFocus(Qt::TabFocusReason);
    const bool usable = actions_.saveAction()->isEnabled();
    title_->setRole(usable ? Role::text : Role::text3);
    add_->setEnabled(usable);
    hint_->setVisible(usable && rows_.empty());
    layOut();
}

void PresetColumn::setCurrent(PresetRow* row) {
    current_ = row;
    for (PresetRow* each : rows_)
        each->setFocusPolicy(each == row ? Qt::StrongFocus : Qt::ClickFocus);
}

PresetRow* PresetColumn::currentRow() const {
    return current_;
}

void PresetColumn::resizeEvent(QResizeEvent* event) {
    FilledPane::resizeEvent(event);
    layOut();
}

void PresetColumn::layOut() {
    if (layout()) layout()->activate();
    const int all = int(rows_.size()) * rowHeight + rowInset;
    const bool scrolls = all > scroll_->height();
    list_->resize(scroll_->width() - (scrolls ? 12 : 0), all);
    for (std::size_t i = 0; i < rows_.size(); ++i)
        rows_[i]->setGeometry(rowInset, int(i) * rowHeight, list_->width() - rowInset - (scrolls ? 2 : rowInset),
                              rowHeight);
}

PresetPicker::PresetPicker(PresetActions& actions, QWidget* parent) : HoverButton(parent), actions_(actions) {
    setFont(fonts::label());
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, &PresetPicker::open);
    connect(&actions_, &PresetActions::changed, this, &PresetPicker::follow);
    connect(actions_.saveAction(), &QAction::changed, this, &PresetPicker::follow);
    follow();
}

void PresetPicker::follow() {
    const auto applied = actions_.applied();
    setText(applied ? *applied : tr("Presets"));
    setAccessibleName(tr("Presets"));
    setAccessibleDescription(applied ? tr("%1 is applied").arg(*applied) : QString());
    setToolTip(applied ? plainToolTip(*applied) : QString());
    setEnabled(actions_.saveAction()->isEnabled());
    updateGeometry();
    update();
}

QSize PresetPicker::sizeHint() const {
    return QSize(std::min(pickerMost, 10 + fontMetrics().horizontalAdvance(text()) + 6 + 16 + 8), 26);
}

void PresetPicker::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(isEnabled() ? themed(isDown()        ? Role::controlPressed
                                          : hover() > 0.5 ? Role::controlHover
                                                          : Role::control)
                                 : QColor(Qt::transparent));
    painter.setPen(QPen(themed(isEnabled() ? Role::lineStrong : Role::line), 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    const QColor ink = themed(isEnabled() ? Role::text : Role::disabled);
    painter.setPen(ink);
    const QRect box(10, 0, width() - 10 - 6 - 16 - 8, height());
    painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, box.width() + 1));
    paintIcon(painter, Icon::chev, QRectF(width() - 24, (height() - 16) / 2.0, 16, 16), ink);
}

void PresetPicker::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Down || event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        open();
    else
        HoverButton::keyPressEvent(event);
}

void PresetPicker::open() {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    actions_.fill(*menu);
    menu->addSeparator();
    menu->addAction(actions_.saveAction());
    menu->popup(mapToGlobal(QPoint(0, height() + 4)));
}

} // namespace glasshob
