#include "GlassHob/ui/editor/CompletionPopup.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAbstractListModel>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int rowHeight = 24, mostRows = 8, fewestRows = 3;
constexpr int edge = 5, signWidth = 28, rightPadding = 10, detailGap = 20;
constexpr int narrowest = 300, widest = 460;
constexpr int footerPadding = 8, footerRoom = 90;
constexpr int gap = 3; // to the word
constexpr int mostDeclaration = 300;

struct Sign {
    const char* letter;
    CodeRole role;
};

Sign signOf(Symbol::Kind kind) {
    using enum Symbol::Kind;
    switch (kind) {
    case function: return {"ƒ", CodeRole::string};
    case structure:
    case enumeration:
    case alias:
    case type: return {"T", CodeRole::type};
    case enumerator:
    case constant: return {"c", CodeRole::number};
    case macro: return {"#", CodeRole::preprocessor};
    case parameter:
    case variable: return {"x", CodeRole::plain};
    case member: return {".", CodeRole::plain};
    case keyword: return {"k", CodeRole::keyword};
    case attribute: return {"[", CodeRole::attribute};
    case directive: return {"@", CodeRole::headerKey};
    case space: return {":", CodeRole::type};
    }
    return {"", CodeRole::plain};
}

// What stands at the right of a row.
QString detailOf(const Completion& item) {
    const Symbol& symbol = item.symbol;
    using enum Symbol::Kind;
    switch (symbol.kind) {
    case parameter:
    case variable:
    case member:
    case constant: return symbol.type;
    case function: return item.others > 0 ? CompletionPopup::tr("%n more", nullptr, item.others) : symbol.type;
    case alias: return symbol.type;
    case directive: return symbol.declaration.section(u' ', 2, -1).left(24);
    default: return {};
    }
}

} // namespace

class CompletionPopup::Model : public QAbstractListModel {
  public:
    Model(std::vector<Completion>& items, QObject* parent) : QAbstractListModel(parent), items_(items) {}
    int rowCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : int(items_.size()); }
    QVariant data(const QModelIndex& index, int role) const override {
        const Completion& item = items_[std::size_t(index.row())];
        if (role == Qt::DisplayRole) return item.symbol.name;
        if (role == Qt::AccessibleDescriptionRole) return item.symbol.declaration;
        return {};
    }
    void replace(std::vector<Completion> items) {
        beginResetModel();
        items_ = std::move(items);
        endResetModel();
    }

  private:
    std::vector<Completion>& items_;
};

class CompletionPopup::Delegate : public QStyledItemDelegate {
  public:
    Delegate(const std::vector<Completion>& items, QObject* parent) : QStyledItemDelegate(parent), items_(items) {}
    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override { return {narrowest, rowHeight}; }
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const Completion& item = items_[std::size_t(index.row())];
        const QRect row = option.rect;
        const bool isChosen = option.state & QStyle::State_Selected;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (isChosen) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(themed(Role::accentTint));
            painter->drawRoundedRect(QRectF(row), 4, 4);
        }
        const Sign sign = signOf(item.symbol.kind);
        painter->setFont(fonts::mono(12, QFont::DemiBold));
        painter->setPen(themed(sign.role));
        painter->drawText(QRect(row.left(), row.top(), signWidth, row.height()), Qt::AlignCenter,
                          QString::fromUtf8(sign.letter));

        const QString detail = detailOf(item);
        const QFont small = fonts::mono(11);
        int right = row.right() - rightPadding;
        if (!detail.isEmpty()) {
            const QFontMetrics metrics(small);
            const int room = std::min(metrics.horizontalAdvance(detail) + 2, row.width() / 2);
            painter->setFont(small);
            painter->setPen(themed(isChosen ? Role::text2 : Role::text3));
            painter->drawText(QRect(right - room, row.top(), room + 1, row.height()), Qt::AlignVCenter | Qt::AlignLeft,
                              metrics.elidedText(detail, Qt::ElideRight, room));
            right -= room + detailGap;
        }
        // The name letter by letter: what was typed stands out.
        const QFont plain = fonts::mono(12.5), bold = fonts::mono(12.5, QFont::Bold);
        const QFontMetricsF metrics(plain);
        const double cell = metrics.horizontalAdvance(u'x');
        const int left = row.left() + signWidth;
        QString name = item.symbol.name;
        if (left + cell * double(name.size()) > right) name = metrics.elidedText(name, Qt::ElideRight, right - left);
        const double base =
            row.top() + std::floor((row.height() - metrics.height()) / 2) + std::round(metrics.ascent());
        const QColor rest = themed(item.matched.empty() || isChosen ? Role::text : Role::text2);
        auto typed = item.matched.begin();
        for (int from = 0, to = 0; from < int(name.size()); from = to) {
            const bool isTyped = typed != item.matched.end() && *typed == from;
            for (to = from; to < int(name.size()) && isTyped == (typed != item.matched.end() && *typed == to); ++to)
                if (isTyped) ++typed;
            painter->setFont(isTyped ? bold : plain);
            painter->setPen(isTyped ? themed(Role::text) : rest);
            painter->drawText(QPointF(left + cell * from, base), name.mid(from, to - from));
        }
        painter->restore();
    }

  private:
    const std::vector<Completion>& items_;
};

CompletionPopup::CompletionPopup(QAbstractScrollArea* editor) : EditorBox(editor) {
    setAccessibleName(tr("Completions"));
    model_ = new Model(items_, this);
    rows_ = new QListView(this);
    rows_->setModel(model_);
    rows_->setItemDelegate(new Delegate(items_, this));
    rows_->setFocusPolicy(Qt::NoFocus);
    rows_->setFrameShape(QFrame::NoFrame);
    rows_->setUniformItemSizes(true);
    rows_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    rows_->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    rows_->setAccessibleName(tr("Completions"));
    connect(rows_, &QListView::clicked, this, [this](const QModelIndex& index) { emit picked(index.row()); });
    connect(rows_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
        if (!isFilling_) layOut();
    });
    followTheme();
    connect(&Theme::instance(), &Theme::changed, this, &CompletionPopup::followTheme);
}

void CompletionPopup::followTheme() {
    QPalette palette = rows_->palette();
    palette.setColor(QPalette::Base, themed(Role::tooltip));
    palette.setColor(QPalette::Window, themed(Role::tooltip));
    rows_->setPalette(palette);
    update();
}

int CompletionPopup::current() const {
    return rows_->currentIndex().row();
}

void CompletionPopup::step(int rows) {
    const int count = int(items_.size());
    if (count == 0) return;
    int next = current() + rows;
    if (next < 0) next = rows == -1 ? count - 1 : 0;
    if (next >= count) next = rows == 1 ? 0 : count - 1;
    rows_->setCurrentIndex(model_->index(next));
}

QString CompletionPopup::declarationOf(int item) const {
    const Symbol& symbol = items_[std::size_t(item)].symbol;
    using enum Symbol::Kind;
    const bool saysNoMore = symbol.kind == type || symbol.kind == keyword || symbol.kind == space;
    return saysNoMore && symbol.note.isEmpty() ? QString() : symbol.declaration.left(mostDeclaration);
}

void CompletionPopup::showFor(std::vector<Completion> items, const QRect& word) {
    model_->replace(std::move(items));
    word_ = inPane(word);
    isFilling_ = true;
    rows_->setCurrentIndex(model_->index(0));
    isFilling_ = false;
    rows_->scrollToTop();
    layOut();
}

void CompletionPopup::moveTo(const QRect& word) {
    if (inPane(word) == word_) return;
    word_ = inPane(word);
    layOut();
}

void CompletionPopup::layOut() {
    if (items_.empty()) return;
    // Wide enough for the rows that are there, whichever of them is chosen.
    static const double name = QFontMetricsF(fonts::mono(12.5, QFont::Bold)).horizontalAdvance(u'x');
    static const double detail = QFontMetricsF(fonts::mono(11)).horizontalAdvance(u'x');
    int width = narrowest;
    for (std::size_t i = 0; i < std::min<std::size_t>(items_.size(), 40); ++i) {
        const QString text = detailOf(items_[i]);
        const int right = text.isEmpty() ? 0 : detailGap + int(std::ceil(detail * double(text.size())));
        const int left = signWidth + int(std::ceil(name * double(items_[i].symbol.name.size())));
        width = std::max(width, left + right + rightPadding);
    }
    // Which side is taken, and how many rows fit there, does not depend on the chosen row's footer.
    const int count = int(items_.size());
    const QRect area = room();
    const int above = word_.top() - gap - area.top(), below = area.bottom() - word_.bottom() - gap;
    isAbove_ = std::min(count, mostRows) * rowHeight + 2 * edge + footerRoom > below && above > below;
    const int space = (isAbove_ ? above : below) - 2 * edge;
    const int shown = std::min(count, std::clamp((space - footerRoom) / rowHeight, fewestRows, mostRows));
    const int bar = count > shown ? 12 : 0;
    width = std::min({width + bar, widest, area.width() - 2 * edge}) + 2 * edge;
    const int listHeight = shown * rowHeight;
    rows_->setGeometry(edge, edge, width - 2 * edge, listHeight);

    const int chosen = std::max(0, current());
    const QRect most(0, 0, width - 2 * edge - 2 * footerPadding, 400);
    footerHeight_ = 0;
    if (const QString text = declarationOf(chosen); !text.isEmpty())
        footerHeight_ += QFontMetrics(fonts::mono(12)).boundingRect(most, Qt::TextWordWrap, text).height();
    const QString& note = items_[std::size_t(chosen)].symbol.note;
    if (!note.isEmpty() && note != u"entry")
        footerHeight_ += QFontMetrics(fonts::small()).boundingRect(most, Qt::TextWordWrap, note).height() + 2;
    if (footerHeight_ > 0) footerHeight_ += 2 * footerPadding - 2;
    footerHeight_ = std::clamp(space - listHeight, 0, footerHeight_);

    resize(width, listHeight + 2 * edge + footerHeight_);
    showAt(word_.left() - edge - signWidth, isAbove_ ? word_.top() - gap - height() : word_.bottom() + gap);
}

void CompletionPopup::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintGround(painter);
    if (footerHeight_ == 0 || items_.empty()) return;
    const int chosen = std::max(0, current());
    int y = height() - footerHeight_;
    painter.fillRect(QRectF(1, y, width() - 2, 1), themed(Role::lineStrong));
    y += footerPadding - 1;
    const QString declaration = declarationOf(chosen);
    const QRect footer(edge + footerPadding, y, width() - 2 * edge - 2 * footerPadding, height() - y);
    QRect used(footer.topLeft(), QSize(0, 0));
    if (!declaration.isEmpty()) {
        painter.setFont(fonts::mono(12));
        painter.setPen(themed(Role::text));
        painter.drawText(footer, Qt::TextWordWrap, declaration, &used);
    }
    const QString& note = items_[std::size_t(chosen)].symbol.note;
    if (note.isEmpty() || note == u"entry") return;
    painter.setFont(fonts::small());
    painter.setPen(themed(Role::text2));
    painter.drawText(footer.adjusted(0, used.height() + 2, 0, 0), Qt::TextWordWrap, note);
}

} // namespace glasshob
