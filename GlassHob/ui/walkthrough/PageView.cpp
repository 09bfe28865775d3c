#include "GlassHob/ui/walkthrough/PageView.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobRender/episode/ProgressCells.h"

#include <QCursor>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr QSize phone{512, 288};
constexpr int cellHeight = 6, clickHeight = 24, widestStrip = 340;

// One of the cells; what it says is painted, the rest of its height is there to be clicked.
class Cell : public QAbstractButton {
  public:
    explicit Cell(QWidget* parent) : QAbstractButton(parent) {
        setFocusPolicy(Qt::NoFocus); // the keys of the window turn the pages
        setCursor(Qt::PointingHandCursor);
    }
    void show(const ProgressCell& cell) {
        cell_ = cell;
        const bool isCurrent = cell.state == ProgressCell::State::current;
        setAccessibleDescription(isCurrent ? PageCells::tr("current") : QString());
        update();
    }
    const ProgressCell& cell() const { return cell_; }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        QRectF box = cell_.box.translated(-x(), -y());
        const bool isBefore = cell_.state == ProgressCell::State::before;
        painter.setBrush(themed(isBefore ? Role::text3 : Role::track));
        painter.drawRoundedRect(box, 3, 3);
        if (cell_.state != ProgressCell::State::current) return;
        box.setWidth(std::max(box.width() * cell_.part, std::min(box.width(), box.height())));
        painter.setBrush(themed(Role::accent));
        painter.drawRoundedRect(box, 3, 3);
    }

  private:
    ProgressCell cell_;
};

} // namespace

PageView::PageView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(160, 90);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PageView::setSize(Size size) {
    if (size == size_) return;
    size_ = size;
    update();
    emit resized();
}

void PageView::setImage(const QImage& image) {
    image_ = image;
    update();
}

void PageView::setNote(const QString& note) {
    note_ = note;
    update();
}

QRect PageView::pageRect() const {
    const QSize most = size_ == Size::phone ? phone.boundedTo(size()) : size();
    QRect box(QPoint(), QSize(16, 9).scaled(most, Qt::KeepAspectRatio));
    box.moveCenter(rect().center());
    return box;
}

void PageView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), themed(Role::canvas));
    if (!image_.isNull()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(pageRect(), image_);
        return;
    }
    // On the dark ground of either theme.
    painter.setPen(colourOf(Role::text2, Shade::dark));
    painter.setFont(fonts::body());
    painter.drawText(rect().adjusted(24, 24, -24, -24), Qt::AlignCenter | Qt::TextWordWrap, note_);
}

void PageView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    emit resized();
}

PageCells::PageCells(QWidget* parent) : QWidget(parent) {
    setFixedHeight(clickHeight);
    setMaximumWidth(widestStrip);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(&Theme::instance(), &Theme::changed, this, QOverload<>::of(&QWidget::update));
}

QSize PageCells::sizeHint() const {
    return {widestStrip, clickHeight};
}

void PageCells::setStages(const std::vector<WalkthroughStage>& stages) {
    stages_.clear();
    for (const WalkthroughStage& stage : stages) {
        stages_.push_back({stage.number, {}, {}, {}});
        stages_.back().pages.resize(stage.pages.size());
    }
    layOut();
}

void PageCells::setCurrent(PagePlace place) {
    current_ = place;
    layOut();
}

void PageCells::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layOut();
}

void PageCells::pick(std::size_t cell) {
    std::size_t pages = 0, page = cell;
    for (const WalkthroughStage& stage : stages_)
        pages += stage.pages.size();
    if (cells_.size() != pages && cells_.size() == stages_.size()) { // a stage's: its first page
        emit picked({cell, 0});
        return;
    }
    // A single one for all of them: where it was clicked.
    if (cells_.size() != pages)
        page =
            std::size_t(std::clamp(double(mapFromGlobal(QCursor::pos()).x()) / width(), 0.0, 0.9999) * double(pages));
    for (std::size_t stage = 0; stage < stages_.size(); ++stage) {
        const std::size_t count = stages_[stage].pages.size();
        if (page < count) {
            emit picked({stage, page});
            return;
        }
        page -= count;
    }
}

void PageCells::layOut() {
    std::vector<ProgressCell> made;
    std::size_t pages = 0;
    for (const WalkthroughStage& stage : stages_)
        pages += stage.pages.size();
    if (pages > 0)
        made = progressCells(QRectF(0, (clickHeight - cellHeight) / 2.0, width(), cellHeight), stages_,
                             std::min(current_.stage, stages_.size() - 1), current_.page);
    while (cells_.size() > made.size()) {
        delete cells_.back();
        cells_.pop_back();
    }
    while (cells_.size() < made.size()) {
        auto* cell = new Cell(this);
        const std::size_t at = cells_.size();
        cells_.push_back(cell);
        connect(cell, &QAbstractButton::clicked, this, [this, at] { pick(at); });
        cell->setVisible(true);
    }
    const bool isOfPages = made.size() == pages, isOfStages = made.size() == stages_.size();
    std::size_t stage = 0, page = 0;
    for (std::size_t i = 0; i < made.size(); ++i) {
        // A little beyond its ends, so that there is no gap to miss it by.
        const int left = i == 0 ? 0 : int(std::floor((made[i - 1].box.right() + made[i].box.left()) / 2));
        const int right = i + 1 == made.size() ? int(std::ceil(made[i].box.right()))
                                               : int(std::floor((made[i].box.right() + made[i + 1].box.left()) / 2));
        auto* cell = static_cast<Cell*>(cells_[i]);
        cell->setGeometry(left, 0, right - left, clickHeight);
        cell->show(made[i]);
        QString name = tr("Pages");
        if (isOfPages) {
            name = tr("Stage %1, page %2").arg(stage + 1).arg(page + 1);
            if (++page == stages_[stage].pages.size()) ++stage, page = 0;
        } else if (isOfStages) {
            name = tr("Stage %1").arg(i + 1);
        }
        cell->setAccessibleName(name);
        cell->setToolTip(plainToolTip(name));
    }
}

} // namespace glasshob
