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

// One message; reads the list as it is now, and is invalid when the list has become shorter.
class MessageView : public QAccessibleInterface {
  public:
    MessageView(MessageRows* rows, int row) : rows_(rows), row_(row) {}
    bool isValid() const override { return rows_ && row_ < rows_->count(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override {
        return rows_ ? QAccessible::queryAccessibleInterface(rows_) : nullptr;
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text which) const override {
        return which == QAccessible::Name && isValid() ? rows_->spokenText(row_) : QString();
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override {
        if (!isValid()) return {};
        const QRect box = rows_->rowRect(row_);
        return QRect(rows_->viewport()->mapToGlobal(box.topLeft()), box.size());
    }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.selectable = state.focusable = true;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selected = rows_->current() == row_;
        state.focused = state.selected && rows_->hasFocus();
        return state;
    }

  private:
    QPointer<MessageRows> rows_;
    int row_;
};

class MessagesView : public QAccessibleWidget {
  public:
    explicit MessagesView(MessageRows* rows) : QAccessibleWidget(rows, QAccessible::List) {}
    ~MessagesView() override {
        for (const QAccessible::Id id : ids_)
            QAccessible::deleteAccessibleInterface(id);
    }
    int childCount() const override { return rows()->count(); }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= rows()->count()) return nullptr;
        while (int(ids_.size()) <= index)
            ids_.push_back(QAccessible::registerAccessibleInterface(new MessageView(rows(), int(ids_.size()))));
        return QAccessible::accessibleInterface(ids_[std::size_t(index)]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        for (int i = 0; i < int(ids_.size()); ++i)
            if (QAccessible::accessibleInterface(ids_[std::size_t(i)]) == child) return i;
        return -1;
    }
    QAccessibleInterface* focusChild() const override {
        return rows()->hasFocus() && rows()->current() >= 0 ? child(rows()->current()) : nullptr;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        return child(rows()->rowAtPlace(rows()->viewport()->mapFromGlobal(QPoint(x, y))));
    }

  private:
    MessageRows* rows() const { return static_cast<MessageRows*>(object()); }
    mutable std::vector<QAccessible::Id> ids_;
};

// One tile; reads the area as it is now, and is invalid when there are fewer.
class TileView : public QAccessibleInterface, public QAccessibleActionInterface {
  public:
    TileView(TileArea* area, int tile) : area_(area), tile_(tile) {}
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    bool isValid() const override { return area_ && tile_ < area_->tileCount(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override {
        return area_ ? QAccessible::queryAccessibleInterface(area_) : nullptr;
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text which) const override {
        if (!isValid()) return {};
        const TileArea::Speech speech = area_->speech(tile_);
        switch (which) {
        case QAccessible::Name: return speech.name;
        case QAccessible::Description: return speech.description;
        case QAccessible::Value: return speech.value;
        default: return {};
        }
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override {
        if (!isValid()) return {};
        const QRect box = area_->tileRect(tile_);
        return {area_->viewport()->mapToGlobal(box.topLeft()), box.size()};
    }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.selectable = state.focusable = true;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selected = area_->speech(tile_).isChosen;
        state.focused = area_->current() == tile_ && area_->hasFocus();
        return state;
    }
    QStringList actionNames() const override { return {toggleAction()}; }
    void doAction(const QString& name) override {
        if (isValid() && name == toggleAction()) area_->toggle(tile_);
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

  private:
    QPointer<TileArea> area_;
    int tile_;
};

class TilesView : public QAccessibleWidget {
  public:
    explicit TilesView(TileArea* area) : QAccessibleWidget(area, QAccessible::List) {}
    ~TilesView() override {
        for (const QAccessible::Id id : ids_)
            QAccessible::deleteAccessibleInterface(id);
    }
    int childCount() const override { return area()->tileCount(); }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= area()->tileCount()) return nullptr;
        while (int(ids_.size()) <= index)
            ids_.push_back(QAccessible::registerAccessibleInterface(new TileView(area(), int(ids_.size()))));
        return QAccessible::accessibleInterface(ids_[std::size_t(index)]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        for (int i = 0; i < int(ids_.size()); ++i)
            if (QAccessible::accessibleInterface(ids_[std::size_t(i)]) == child) return i;
        return -1;
    }
    QAccessibleInterface* focusChild() const override {
        return area()->hasFocus() && area()->current() >= 0 ? child(area()->current()) : nullptr;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        return child(area()->tileAt(area()->viewport()->mapFromGlobal(QPoint(x, y))));
    }

  private:
    TileArea* area() const { return static_cast<TileArea*>(object()); }
    mutable std::vector<QAccessible::Id> ids_;
};

QAccessibleInterface* makeView(const QString&, QObject* object) {
    if (auto* slider = qobject_cast<ParameterSlider*>(object)) return new SliderView(slider);
    if (auto* line = qobject_cast<TextLine*>(object)) return new TextLineView(line);
    if (auto* rows = qobject_cast<MessageRows*>(object)) return new MessagesView(rows);
    if (auto* tiles = qobject_cast<TileArea*>(object)) return new TilesView(tiles);
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
