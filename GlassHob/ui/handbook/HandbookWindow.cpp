#include "GlassHob/ui/handbook/HandbookWindow.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/handbook/HandbookView.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr QSize windowSize{1080, 700};
constexpr QSize least{560, 320};
constexpr int listWidth = 250;

} // namespace

HandbookWindow::HandbookWindow(QWidget* parent) : QWidget(parent, Qt::Window) {
    setWindowTitle(tr("Handbook"));
    setMinimumSize(least.boundedTo(roomFor(this)));
    resize(windowSize.boundedTo(roomFor(this)));

    auto* bar = new FilledPane(Role::bar, Qt::BottomEdge, this);
    back_ = new ToolButton(Icon::chevr, tr("Back (Alt+Left)"), bar);
    back_->setTurned(true);
    back_->setEnabled(false);
    field_ = new SearchField(tr("Search the handbook"), tr("Search the handbook"), bar);
    auto* across = new QHBoxLayout(bar);
    across->setContentsMargins(12, 8, 12, 8);
    across->setSpacing(8);
    across->addWidget(back_);
    across->addWidget(field_, 1);

    list_ = new QListWidget(this);
    list_->setFixedWidth(listWidth);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setTextElideMode(Qt::ElideRight);
    list_->setFont(fonts::body());
    list_->setAccessibleName(tr("Contents"));
    view_ = new HandbookView(this);
    auto* panes = new QHBoxLayout;
    panes->setSpacing(0);
    panes->addWidget(list_);
    panes->addWidget(view_, 1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(bar);
    column->addLayout(panes, 1);

    connect(back_, &QAbstractButton::clicked, this, &HandbookWindow::back);
    connect(field_, &QLineEdit::textChanged, this, &HandbookWindow::fillList);
    connect(field_, &QLineEdit::returnPressed, this, [this] { showRow(std::max(list_->currentRow(), 0)); });
    connect(list_, &QListWidget::currentRowChanged, this, &HandbookWindow::showRow);
    connect(view_, &HandbookView::linkPicked, this, &HandbookWindow::go);
    connect(view_, &HandbookView::examplePicked, this, &HandbookWindow::examplePicked);
    fillList();
    view_->show({});
    markRow();
}

void HandbookWindow::open(const QString& word) {
    if (!word.isEmpty()) {
        if (const auto place = handbook::placeOf(word)) {
            field_->clear();
            go(*place);
        } else if (!handbook::search(word, 1).empty()) {
            field_->setText(word);
            list_->setCurrentRow(0);
        }
    }
    showNormal();
    raise();
    activateWindow();
    if (word.isEmpty()) field_->setFocus();
}

void HandbookWindow::go(const handbook::Place& place) {
    if (place == view_->place()) {
        view_->show(place);
        return;
    }
    history_.push_back(view_->place());
    back_->setEnabled(true);
    view_->show(place);
    markRow();
}

void HandbookWindow::back() {
    if (history_.empty()) return;
    const handbook::Place place = history_.back();
    history_.pop_back();
    back_->setEnabled(!history_.empty());
    view_->show(place);
    markRow();
}

// The pages with their headings; while something is searched for, the places where it stands.
void HandbookWindow::fillList() {
    const QSignalBlocker quiet(list_);
    list_->clear();
    rows_.clear();
    const auto add = [&](const QString& text, const handbook::Place& place, const QFont& font) {
        auto* row = new QListWidgetItem(text, list_);
        row->setFont(font);
        row->setToolTip(plainToolTip(text));
        row->setSizeHint({listWidth - 20, 28});
        rows_.push_back(place);
    };
    const auto& pages = handbook::pages();
    if (field_->text().trimmed().isEmpty()) {
        field_->setCounter({});
        for (int i = 0; i < int(pages.size()); ++i) {
            add(i == 0 ? tr("Contents") : pages[std::size_t(i)].title, {i, {}, {}}, fonts::heading());
            for (const handbook::Heading& heading : handbook::headings(pages[std::size_t(i)]))
                if (heading.level == 2)
                    add(QStringLiteral("    ") + heading.text, {i, heading.text, {}}, fonts::body());
        }
        markRow();
        return;
    }
    for (const handbook::Hit& hit : handbook::search(field_->text()))
        add(hit.excerpt, hit.place, hit.place.text.isEmpty() ? fonts::heading() : fonts::body());
    field_->setCounter(rows_.empty() ? tr("Nothing") : QString::number(rows_.size()));
}

void HandbookWindow::showRow(int row) {
    if (row >= 0 && row < int(rows_.size())) go(rows_[std::size_t(row)]);
}

// The list follows the page.
void HandbookWindow::markRow() {
    const QSignalBlocker quiet(list_);
    int best = -1;
    for (int row = 0; row < int(rows_.size()); ++row) {
        const handbook::Place& place = rows_[std::size_t(row)];
        if (place == view_->place()) best = row;
        if (best < 0 && place.page == view_->place().page &&
            (place.heading == view_->place().heading || place.heading.isEmpty()))
            best = row;
        if (best >= 0 && place.page == view_->place().page && !place.heading.isEmpty() &&
            place.heading == view_->place().heading && rows_[std::size_t(best)].heading.isEmpty())
            best = row;
    }
    if (field_->text().trimmed().isEmpty()) list_->setCurrentRow(best);
}

void HandbookWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        if (field_->text().isEmpty())
            close();
        else
            field_->clear();
    } else if (event->key() == Qt::Key_Left && event->modifiers() == Qt::AltModifier) {
        back();
    } else if (event->matches(QKeySequence::Find)) {
        field_->setFocus();
        field_->selectAll();
    } else if (event->key() == Qt::Key_Down && field_->hasFocus()) {
        list_->setFocus();
        if (list_->currentRow() < 0) list_->setCurrentRow(0);
    } else if (!event->text().isEmpty() && event->text()[0].isLetterOrNumber() && !field_->hasFocus()) {
        field_->setFocus(); // typing searches
        field_->setText(event->text());
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace glasshob
