#include "GlassHob/ui/export/ChapterList.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/EpisodePlan.h"

#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr int inset = 6;     // of a row's ground
constexpr int timeLeft = 16; // from the list's edge
constexpr int titleGap = 16;
constexpr int leastTime = 30; // "0:00"
constexpr int signSide = 14;
constexpr int signRoom = 22;

class ChapterPainter : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override {
        return {100, ChapterList::rowHeight};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const auto& model = static_cast<const ChapterModel&>(*index.model());
        const ChapterRow& row = model.rows()[std::size_t(index.row())];
        const auto& progress = model.progress();
        const bool isCurrent = progress ? index.row() == progress->row : bool(option.state & QStyle::State_Selected);
        const bool isLater = progress && index.row() > progress->row;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect box = option.rect.adjusted(inset, 0, -inset, 0);
        if (isCurrent || (!progress && option.state & QStyle::State_MouseOver)) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(themed(isCurrent ? Role::accentTint : Role::controlHover));
            painter->drawRoundedRect(box, 6, 6);
        }
        int left = option.rect.left() + timeLeft;
        if (progress) {
            if (index.row() < progress->row)
                paintIcon(*painter, Icon::check,
                          QRectF(left, box.center().y() - signSide / 2.0 + 0.5, signSide, signSide),
                          themed(Role::accentText), 2);
            left += signRoom;
        }
        const auto write = [&](const QFont& font, Role role, int at, int width, const QString& text,
                               Qt::Alignment where = Qt::AlignLeft) {
            painter->setFont(font);
            painter->setPen(themed(role));
            painter->drawText(QRect(at, box.top(), width, box.height()), where | Qt::AlignVCenter,
                              QFontMetrics(font).elidedText(text, Qt::ElideRight, width));
        };
        // One column for the times of a list, as wide as the longest.
        int timeWidth = leastTime;
        for (const ChapterRow& each : model.rows())
            timeWidth = std::max(timeWidth, QFontMetrics(fonts::value()).horizontalAdvance(each.time));
        write(fonts::value(), isLater ? Role::text3 : Role::text2, left, timeWidth, row.time);
        left += timeWidth + titleGap;
        int right = box.right() - 9;
        if (progress && isCurrent) {
            const QString percent = QStringLiteral("%1%").arg(progress->percent);
            const int width = QFontMetrics(fonts::value()).horizontalAdvance(percent);
            write(fonts::value(), Role::text, right - width, width + 1, percent);
            right -= width + 8;
        }
        write(row.isCode ? fonts::value() : fonts::menu(), isLater ? Role::text3 : Role::text, left, right - left,
              row.title);
        painter->restore();
    }
};

} // namespace

std::vector<ChapterRow> chapterRows(const EpisodePlan& plan) {
    std::vector<ChapterRow> rows;
    const VideoChapters chapters = plan.chapters();
    for (const EpisodePart& part : plan.parts()) {
        ChapterRow row{exportTexts::place(part.at), asQString(part.title), asQString(part.title)};
        if (part.kind == EpisodePart::Kind::variation) {
            row.isCode = !plan.shownVariations()[part.number].highlights.empty();
            for (const VideoChapters::Chapter& chapter : chapters.chapters)
                if (chapter.settings && chapter.at == part.at)
                    row.toolTip += QStringLiteral("\n") + asQString(*chapter.settings);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

void ChapterModel::setRows(std::vector<ChapterRow> rows) {
    if (rows == rows_) return;
    if (rows.size() == rows_.size()) {
        rows_ = std::move(rows);
        emit dataChanged(index(0), index(rowCount() - 1));
        return;
    }
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

void ChapterModel::setProgress(std::optional<Progress> progress) {
    if (progress == progress_ || rows_.empty()) return;
    progress_ = progress;
    emit dataChanged(index(0), index(rowCount() - 1));
}

int ChapterModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.size());
}

QVariant ChapterModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const ChapterRow& row = rows_[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole: return row.title;
    case Qt::ToolTipRole: return plainToolTip(row.toolTip);
    case Qt::AccessibleTextRole:
        return QStringLiteral("%1, %2").arg(row.time,
                                            QString(row.title).replace(QStringLiteral(" · "), QStringLiteral(", ")));
    case Qt::AccessibleDescriptionRole:
        if (!progress_ || index.row() > progress_->row) return QString();
        return index.row() < progress_->row ? tr("done") : tr("%1 percent").arg(progress_->percent);
    default: return {};
    }
}

ChapterList::ChapterList(QWidget* parent) : QListView(parent), model_(new ChapterModel(this)) {
    setAccessibleName(tr("Chapters"));
    setModel(model_);
    setItemDelegate(new ChapterPainter(this));
    setFrameShape(QFrame::NoFrame);
    setUniformItemSizes(true);
    setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_Hover);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(ScrollPerPixel);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    const auto follow = [this] {
        QPalette colours = palette();
        colours.setColor(QPalette::Base, themed(Role::panel));
        setPalette(colours);
    };
    follow();
    connect(&Theme::instance(), &Theme::changed, this, follow);
}

void ChapterList::setRows(std::vector<ChapterRow> rows) {
    model_->setRows(std::move(rows));
    if (model_->rowCount() > 0 && chosen() < 0) choose(std::min(last_, model_->rowCount() - 1));
}

void ChapterList::choose(int row) {
    setCurrentIndex(model_->index(row));
}

void ChapterList::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    if (!current.isValid()) return;
    last_ = current.row();
    emit chose(last_);
}

} // namespace glasshob
