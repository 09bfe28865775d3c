#include "GlassHob/ui/sliders/PresetActions.h"

#include "GlassHob/model/AppModel.h"

#include <QAction>
#include <QMenu>

#include <algorithm>

namespace glasshob {

namespace {

constexpr double undoSeconds = 6;

// A name as a menu shows it: an ampersand is no mnemonic.
QString entryText(const QString& name) {
    return QString(name).replace(u'&', QStringLiteral("&&"));
}

} // namespace

PresetActions::PresetActions(AppModel& model, QObject* parent, std::unique_ptr<Delay> undoEnds)
    : QObject(parent), model_(model), presets_(model.presets()), undoEnds_(std::move(undoEnds)),
      save_(new QAction(tr("Sa&ve Settings as Preset…"), this)) {
    save_->setShortcut(QKeySequence(tr("Ctrl+Shift+P")));
    connect(save_, &QAction::triggered, &presets_, &Presets::saveAfterQuestion);
    connect(&presets_, &Presets::changed, this, &PresetActions::followList);
    connect(&model_, &AppModel::compiled, this, &PresetActions::follow);
    connect(&model_, &AppModel::documentChanged, this, &PresetActions::follow);
    connect(&model_, &AppModel::valueChanged, this, &PresetActions::follow);
    connect(&model_, &AppModel::valuesReset, this, &PresetActions::follow);
    follow();
}

PresetActions::~PresetActions() = default;

std::optional<QString> PresetActions::applied() const {
    const auto row = std::ranges::find_if(rows_, &Row::isApplied);
    return row == rows_.end() ? std::nullopt : std::optional(row->name);
}

void PresetActions::followList() {
    // What was deleted is forgotten once the list is another document's, or has that name again.
    if (deleted_ && (deleted_->document != model_.presetKey() || presets_.values(deleted_->name))) deleted_.reset();
    follow();
}

void PresetActions::follow() {
    const bool usable = presets_.canSave() && !model_.needsRun();
    save_->setEnabled(usable);
    const auto applied = usable ? presets_.applied() : std::nullopt;
    std::vector<Row> rows;
    if (usable) {
        for (const QString& name : presets_.names())
            rows.push_back({name, name == applied, false});
        if (deleted_)
            rows.insert(rows.begin() + std::ptrdiff_t(std::min(deleted_->place, rows.size())),
                        {deleted_->name, false, true});
    }
    if (rows == rows_) return;
    rows_ = std::move(rows);
    emit changed();
}

void PresetActions::apply(const QString& name) {
    presets_.apply(name);
}

void PresetActions::deleteForNow(const QString& name) {
    const auto values = presets_.values(name);
    const qsizetype place = presets_.names().indexOf(name);
    if (!values || place < 0) return;
    undoEnds_->cancel();
    deleted_ = Deleted{name, *values, model_.presetKey(), std::size_t(place)};
    presets_.delete_(name);
    if (!deleted_) return; // the file could not be written: it is still there
    undoEnds_->start(undoSeconds, [this] {
        deleted_.reset();
        follow();
    });
}

void PresetActions::undoDelete() {
    if (!deleted_) return;
    undoEnds_->cancel();
    const Deleted back = *deleted_;
    deleted_.reset();
    if (back.document == model_.presetKey()) presets_.save(back.name, back.values);
    follow();
}

QMenu* PresetActions::makeMenu(QWidget* parent) {
    auto* menu = new QMenu(tr("Pre&sets"), parent);
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        menu->clear();
        fill(*menu);
    });
    return menu;
}

void PresetActions::fill(QMenu& menu) {
    bool any = false;
    std::optional<QString> gone;
    for (const Row& row : rows_) {
        if (row.isDeleted) {
            gone = row.name;
            continue;
        }
        any = true;
        QAction* entry = menu.addAction(entryText(row.name), this, [this, name = row.name] { apply(name); });
        entry->setCheckable(true);
        entry->setChecked(row.isApplied);
    }
    if (!any) menu.addAction(save_->isEnabled() ? tr("No Presets Yet") : tr("No Sliders to Save"))->setEnabled(false);
    menu.addSeparator();
    if (gone) menu.addAction(tr("Undo Delete “%1”").arg(entryText(*gone)), this, &PresetActions::undoDelete);
    auto forEach = [&](const QString& title, auto&& run) {
        QMenu* sub = menu.addMenu(title);
        sub->setEnabled(any);
        for (const Row& row : rows_)
            if (!row.isDeleted) sub->addAction(entryText(row.name), this, [run, name = row.name] { run(name); });
    };
    forEach(tr("Replace"), [this](const QString& name) { presets_.replaceAfterQuestion(name); });
    forEach(tr("Rename"), [this](const QString& name) { presets_.renameAfterQuestion(name); });
    forEach(tr("Delete"), [this](const QString& name) { deleteForNow(name); });
}

void PresetActions::fillFor(const QString& name, QMenu& menu) {
    menu.addAction(tr("Apply"), this, [this, name] { apply(name); });
    menu.addSeparator();
    menu.addAction(tr("Replace with These Settings"), this, [this, name] { presets_.replaceAfterQuestion(name); });
    menu.addAction(tr("Rename…"), this, [this, name] { presets_.renameAfterQuestion(name); });
    menu.addAction(tr("Delete"), this, [this, name] { deleteForNow(name); });
}

} // namespace glasshob
