#include "GlassHob/ui/walkthrough/WalkthroughList.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/walkthrough/WalkthroughTexts.h"
#include "GlassHobCore/text/Text.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStyledItemDelegate>

#include <algorithm>
#include <iterator>

namespace glasshob {

namespace {

constexpr int headingHeight = 28, rowHeight = 61, margin = 16, inset = 8;
enum Data { stageData = Qt::UserRole, pageData, linesData }; // a stage's own row has no page

PagePlace placeOf(const QModelIndex& index) {
    return {std::size_t(index.data(stageData).toULongLong()), std::size_t(index.data(pageData).toULongLong())};
}

class RowPainter : public QStyledItemDelegate {
  public:
    RowPainter(const WalkthroughPictures& pictures, QObject* parent)
        : QStyledItemDelegate(parent), pictures_(pictures) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override {
        return {0, index.data(pageData).isValid() ? rowHeight : headingHeight};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (index.data(pageData).isValid())
            paintPage(*painter, option, index);
        else
            paintStage(*painter, option.rect, index);
        painter->restore();
    }

  private:
    static void paintStage(QPainter& painter, const QRect& box, const QModelIndex& index) {
        const QString number = QString::number(index.data(stageData).toULongLong() + 1);
        painter.setFont(fonts::mono(12.5));
        painter.setPen(themed(Role::text3));
        painter.drawText(box.adjusted(margin, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, number);
        const int left = margin + std::max(15, QFontMetrics(painter.font()).horizontalAdvance(number) + 7);
        painter.setFont(fonts::label());
        painter.setPen(themed(Role::text));
        const QRect room = box.adjusted(left, 0, -inset, 0);
        painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter,
                         QFontMetrics(painter.font())
                             .elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, room.width()));
    }

    void paintPage(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
        const bool isChosen = (option.state & QStyle::State_Selected) != 0;
        const QRect box = option.rect.adjusted(inset, 0, -inset, 0);
        painter.setPen(Qt::NoPen);
        if (isChosen || (option.state & QStyle::State_MouseOver) != 0) {
            painter.setBrush(themed(isChosen ? Role::accentTint : Role::controlHover));
            painter.drawRoundedRect(box, 6, 6);
        }
        if ((option.state & QStyle::State_HasFocus) != 0 && (option.state & QStyle::State_KeyboardFocusChange) != 0) {
            painter.setPen(QPen(themed(Role::accentText), 2));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(box.adjusted(1, 1, -1, -1), 6, 6);
        }
        const QRect still(
            QPoint(option.rect.left() + margin, box.top() + (rowHeight - WalkthroughList::smallSize.height()) / 2),
            WalkthroughList::smallSize);
        QPainterPath corners;
        corners.addRoundedRect(still, 2, 2);
        painter.setClipPath(corners);
        painter.fillRect(still, themed(Role::canvas));
        if (const QImage picture = pictures_.smallPicture(placeOf(index)); !picture.isNull()) {
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawImage(still, picture);
        }
        painter.setClipping(false);
        const int left = still.right() + 11;
        painter.setFont(fonts::small());
        const auto line = [&](const QString& text, int top, Role role) {
            const QRect room(left, top, box.right() - left - 4, 17);
            painter.setPen(themed(role));
            painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter,
                             QFontMetrics(painter.font()).elidedText(text, Qt::ElideRight, room.width()));
        };
        line(index.data(Qt::DisplayRole).toString(), still.top() + 6, isChosen ? Role::text : Role::text2);
        line(index.data(linesData).toString(), still.top() + 23, isChosen ? Role::text2 : Role::text3);
    }

    const WalkthroughPictures& pictures_;
};

} // namespace

WalkthroughList::WalkthroughList(WalkthroughPictures& pictures, QWidget* parent)
    : QListWidget(parent), pictures_(pictures) {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(ScrollPerPixel);
    setItemDelegate(new RowPainter(pictures, this));
    setMouseTracking(true);
    setAccessibleName(tr("Pages"));
    const auto ground = [this] {
        QPalette palette = this->palette();
        palette.setColor(QPalette::Base, themed(Role::panel));
        setPalette(palette);
    };
    ground();
    connect(&Theme::instance(), &Theme::changed, this, ground);
    connect(this, &QListWidget::currentItemChanged, this, [this](const QListWidgetItem* row) {
        if (row && row->data(pageData).isValid()) emit picked(placeOf(indexFromItem(row)));
    });
    connect(&pictures_, &WalkthroughPictures::smallDrawn, this, [this](PagePlace place) {
        if (const auto row = rows_.find(place); row != rows_.end()) viewport()->update(visualItemRect(row->second));
    });
}

void WalkthroughList::setStages(const std::vector<WalkthroughStage>& stages) {
    const QSignalBlocker quiet(this);
    const int scrolled = verticalScrollBar()->value();
    clear();
    rows_.clear();
    stages_ = int(stages.size());
    for (std::size_t stage = 0; stage < stages.size(); ++stage) {
        const QString title = asQString(stages[stage].title);
        auto* heading = new QListWidgetItem(title, this);
        heading->setFlags(Qt::ItemIsEnabled);
        heading->setData(stageData, qulonglong(stage));
        heading->setToolTip(plainToolTip(title));
        heading->setData(Qt::AccessibleTextRole, tr("Stage %1, %2").arg(stage + 1).arg(title));
        for (std::size_t page = 0; page < stages[stage].pages.size(); ++page) {
            auto* row = new QListWidgetItem(tr("Page %1").arg(page + 1), this);
            row->setData(stageData, qulonglong(stage));
            row->setData(pageData, qulonglong(page));
            row->setData(linesData, walkthroughTexts::lineCount(stages[stage].pages[page]));
            row->setData(Qt::AccessibleTextRole, tr("Page %1 of stage %2, %3").arg(page + 1).arg(stage + 1).arg(title));
            rows_[{stage, page}] = row;
        }
    }
    verticalScrollBar()->setValue(scrolled);
    wantPictures();
}

void WalkthroughList::setCurrent(PagePlace place) {
    const auto row = rows_.find(place);
    if (row == rows_.end()) return;
    const QSignalBlocker quiet(this);
    setCurrentItem(row->second);
    scrollToItem(row->second);
    // A stage's title with its first page.
    if (place.page == 0) scrollToItem(item(this->row(row->second) - 1));
    viewport()->update();
}

QString WalkthroughList::linesOf(PagePlace place) const {
    const auto row = rows_.find(place);
    return row == rows_.end() ? QString() : row->second->data(linesData).toString();
}

QRect WalkthroughList::rowRect(PagePlace place) const {
    const auto row = rows_.find(place);
    return row == rows_.end() ? QRect() : visualItemRect(row->second);
}

void WalkthroughList::keyPressEvent(QKeyEvent* event) {
    // The other keys are the window's.
    const bool isStep = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down;
    if (!isStep || event->modifiers() != Qt::NoModifier) {
        event->ignore();
        return;
    }
    // Over the titles, which are no pages.
    const int step = event->key() == Qt::Key_Up ? -1 : 1;
    for (int at = currentRow() + step; at >= 0 && at < count(); at += step) {
        if (!item(at)->data(pageData).isValid()) continue;
        setCurrentRow(at);
        return;
    }
}

void WalkthroughList::resizeEvent(QResizeEvent* event) {
    QListWidget::resizeEvent(event);
    wantPictures();
}

void WalkthroughList::scrollContentsBy(int dx, int dy) {
    QListWidget::scrollContentsBy(dx, dy);
    wantPictures();
}

void WalkthroughList::wantPictures() {
    const QRect sight = viewport()->rect(), around = sight.adjusted(0, -sight.height(), 0, sight.height());
    std::vector<PagePlace> inSight, beside;
    for (const auto& [place, row] : rows_) {
        const QRect box = visualItemRect(row);
        if (box.intersects(around)) (box.intersects(sight) ? inSight : beside).push_back(place);
    }
    std::ranges::copy(beside, std::back_inserter(inSight));
    pictures_.wantSmall(inSight);
}

} // namespace glasshob
