#include "GlassHob/ui/window/Accessibility.h"

#include "GlassHob/ui/controls/Banner.h"
#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/sliders/ParameterRow.h"
#include "GlassHob/ui/variations/TileArea.h"

#include <QAccessibleWidget>
#include <QPointer>

#include <vector>

namespace glasshob {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("glasshob::Accessibility", text);
}

class SliderView : public QAccessibleWidget, public QAccessibleValueInterface {
  public:
    explicit SliderView(ParameterSlider* slider) : QAccessibleWidget(slider, QAccessible::Slider) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    QString text(QAccessible::Text which) const override {
        if (which != QAccessible::Value) return QAccessibleWidget::text(which);
        if (slider()->speech()) return slider()->speech()(slider()->value());
        auto shown = [this](float value) { return valueText(value, slider()->minimum(), slider()->maximum()); };
        QString text = translated("%1, from %2 to %3")
                           .arg(shown(slider()->value()), shown(slider()->minimum()), shown(slider()->maximum()));
        if (slider()->isChanged()) text += translated(", changed from %1").arg(shown(slider()->defaultValue()));
        return text;
    }
    QVariant currentValue() const override { return double(slider()->value()); }
    void setCurrentValue(const QVariant& value) override { slider()->enter(value.toDouble()); }
    QVariant minimumValue() const override { return double(slider()->minimum()); }
    QVariant maximumValue() const override { return double(slider()->maximum()); }
    QVariant minimumStepSize() const override {
        return (double(slider()->maximum()) - double(slider()->minimum())) / 100;
    }

  private:
    ParameterSlider* slider() const { return static_cast<ParameterSlider*>(object()); }
};

class TextLineView : public QAccessibleWidget {
  public:
    explicit TextLineView(TextLine* line) : QAccessibleWidget(line, QAccessible::StaticText) {}
    QString text(QAccessible::Text which) const override {
        const QString given = QAccessibleWidget::text(which);
        return which == QAccessible::Name && given.isEmpty() ? static_cast<TextLine*>(object())->text() : given;
    }
};

// ---- Lists whose rows are no widgets --------------------------------------------------------------------------------

// What a list tells of its rows.
template <class List>
struct RowsOf;

template <>
struct RowsOf<MessageRows> {
    static int count(const MessageRows& list) { return list.count(); }
    static int rowAt(const MessageRows& list, QPoint place) { return list.rowAtPlace(place); }
    static QRect rect(const MessageRows& list, int row) { return list.rowRect(row); }
    static bool isSelected(const MessageRows& list, int row) { return list.current() == row; }
    static QString text(const MessageRows& list, int row, QAccessible::Text which) {
        return which == QAccessible::Name ? list.spokenText(row) : QString();
    }
    static constexpr bool canToggle = false;
};

template <>
struct RowsOf<TileArea> {
    static int count(const TileArea& list) { return list.tileCount(); }
    static int rowAt(const TileArea& list, QPoint place) { return list.tileAt(place); }
    static QRect rect(const TileArea& list, int row) { return list.tileRect(row); }
    static bool isSelected(const TileArea& list, int row) { return list.speech(row).isChosen; }
    static QString text(const TileArea& list, int row, QAccessible::Text which) {
        const TileArea::Speech speech = list.speech(row);
        switch (which) {
        case QAccessible::Name: return speech.name;
        case QAccessible::Description: return speech.description;
        case QAccessible::Value: return speech.value;
        default: return {};
        }
    }
    static constexpr bool canToggle = true;
};

// One row; reads the list as it is now, and is invalid when the list has become shorter.
template <class List>
class RowView : public QAccessibleInterface, public QAccessibleActionInterface {
  public:
    RowView(List* list, int row) : list_(list), row_(row) {}
    void* interface_cast(QAccessible::InterfaceType type) override {
        const bool isAction = Rows::canToggle && type == QAccessible::ActionInterface;
        return isAction ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    bool isValid() const override { return list_ && row_ < Rows::count(*list_); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override {
        return list_ ? QAccessible::queryAccessibleInterface(list_) : nullptr;
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text which) const override {
        return isValid() ? Rows::text(*list_, row_, which) : QString();
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override {
        if (!isValid()) return {};
        const QRect box = Rows::rect(*list_, row_);
        return {list_->viewport()->mapToGlobal(box.topLeft()), box.size()};
    }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.selectable = state.focusable = true;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selected = Rows::isSelected(*list_, row_);
        state.focused = list_->current() == row_ && list_->hasFocus();
        return state;
    }
    QStringList actionNames() const override { return {toggleAction()}; }
    void doAction(const QString& name) override {
        if constexpr (Rows::canToggle)
            if (isValid() && name == toggleAction()) list_->toggle(row_);
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

  private:
    using Rows = RowsOf<List>;
    QPointer<List> list_;
    int row_;
};

template <class List>
class ListView : public QAccessibleWidget {
  public:
    explicit ListView(List* list) : QAccessibleWidget(list, QAccessible::List) {}
    ~ListView() override {
        for (const QAccessible::Id id : ids_)
            QAccessible::deleteAccessibleInterface(id);
    }
    int childCount() const override { return Rows::count(*list()); }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) return nullptr;
        while (int(ids_.size()) <= index)
            ids_.push_back(QAccessible::registerAccessibleInterface(new RowView<List>(list(), int(ids_.size()))));
        return QAccessible::accessibleInterface(ids_[std::size_t(index)]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        for (int i = 0; i < int(ids_.size()); ++i)
            if (QAccessible::accessibleInterface(ids_[std::size_t(i)]) == child) return i;
        return -1;
    }
    QAccessibleInterface* focusChild() const override {
        return list()->hasFocus() && list()->current() >= 0 ? child(list()->current()) : nullptr;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        return child(Rows::rowAt(*list(), list()->viewport()->mapFromGlobal(QPoint(x, y))));
    }

  private:
    using Rows = RowsOf<List>;
    List* list() const { return static_cast<List*>(object()); }
    mutable std::vector<QAccessible::Id> ids_;
};

QAccessibleInterface* makeView(const QString&, QObject* object) {
    if (auto* slider = qobject_cast<ParameterSlider*>(object)) return new SliderView(slider);
    if (auto* line = qobject_cast<TextLine*>(object)) return new TextLineView(line);
    if (auto* rows = qobject_cast<MessageRows*>(object)) return new ListView(rows);
    if (auto* tiles = qobject_cast<TileArea*>(object)) return new ListView(tiles);
    if (auto* banner = qobject_cast<Banner*>(object)) return new QAccessibleWidget(banner, QAccessible::AlertMessage);
    return nullptr;
}

} // namespace

void installAccessibleViews() {
    static const bool installed = [] {
        QAccessible::installFactory(makeView);
        return true;
    }();
    (void)installed;
}

} // namespace glasshob
