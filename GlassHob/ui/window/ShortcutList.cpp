#include "GlassHob/ui/window/ShortcutList.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>

#include <map>

namespace glasshob {

namespace {

constexpr QSize listSize{520, 620};

QString withoutMnemonic(QString text) {
    text = text.section(u'\t', 0, 0);
    text.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
    text.remove(u'&');
    text.replace(u'\x01', u'&');
    if (text.endsWith(u'…')) text.chop(1);
    return text;
}

void collect(const QMenu& menu, ShortcutGroup& group) {
    for (const QAction* action : menu.actions()) {
        if (const QMenu* below = action->menu()) {
            collect(*below, group);
            continue;
        }
        // Some keys belong to the editor, and the menu only names them.
        QString keys = action->text().section(u'\t', 1);
        if (!action->shortcut().isEmpty()) keys = action->shortcut().toString(QKeySequence::NativeText);
        if (!keys.isEmpty()) group.rows.push_back({withoutMnemonic(action->text()), keys});
    }
}

} // namespace

std::vector<ShortcutGroup> allShortcuts(const QMenuBar& menus) {
    std::vector<ShortcutGroup> groups;
    for (const QAction* action : menus.actions()) {
        if (!action->menu()) continue;
        ShortcutGroup group{withoutMnemonic(action->text()), {}};
        collect(*action->menu(), group);
        if (!group.rows.empty()) groups.push_back(std::move(group));
    }
    auto tr = [](const char* text) { return ShortcutList::tr(text); };
    groups.push_back({tr("Window"),
                      {{tr("Next pane"), tr("F6")},
                       {tr("Previous pane"), tr("Shift+F6")},
                       {tr("Leave the editor"), tr("Ctrl+Tab")}}});
    groups.push_back({tr("In the editor"),
                      {{tr("Indent"), tr("Tab")},
                       {tr("Outdent"), tr("Shift+Tab")},
                       {tr("Change a number"), tr("Ctrl+Drag")},
                       {tr("Go to a definition"), tr("Ctrl+Click")},
                       {tr("Select all matches"), tr("Alt+Return in Find")}}});
    groups.push_back({tr("On a slider"),
                      {{tr("One step"), tr("Left, Right")},
                       {tr("A small step"), tr("Shift+Left, Shift+Right")},
                       {tr("A large step"), tr("Page Up, Page Down")},
                       {tr("Least and greatest"), tr("Home, End")},
                       {tr("Back to the default"), tr("Backspace")},
                       {tr("Undo, redo"), tr("Ctrl+Z, Ctrl+Shift+Z")}}});
    groups.push_back({tr("In the walkthrough"),
                      {{tr("Previous page, next page"), tr("Left, Right")},
                       {tr("First page, last page"), tr("Home, End")},
                       {tr("Previous stage, next stage"), tr("Ctrl+Up, Ctrl+Down")},
                       {tr("Play or pause"), tr("Space")},
                       {tr("Whole or Phone"), tr("P")}}});
    groups.push_back({tr("Among the variations"),
                      {{tr("Choose, or give back"), tr("Space")},
                       {tr("Choose as the first to ninth"), tr("1 to 9")},
                       {tr("Earlier, later in the episode"), tr("Ctrl+Left, Ctrl+Right")},
                       {tr("Give back"), tr("Delete")},
                       {tr("Write the line"), tr("Return")}}});
    groups.push_back({tr("In full screen"),
                      {{tr("Pause or play"), tr("Space")},
                       {tr("Back to start"), tr("Home")},
                       {tr("One frame further, while paused"), tr(".")},
                       {tr("Hear the sound"), tr("M")},
                       {tr("Show the controls"), tr("Tab")},
                       {tr("Leave full screen"), tr("Esc")}}});
    return groups;
}

ShortcutList::ShortcutList(const QMenuBar& menus, QWidget* window) : QDialog(window) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Keyboard Shortcuts"));
    auto* field = new QLineEdit(this);
    field->setPlaceholderText(tr("Find a command or a key"));
    field->setAccessibleName(field->placeholderText());
    field->setClearButtonEnabled(true);
    field->setFixedHeight(32);
    field->setTextMargins(6, 0, 6, 0);

    auto* contents = new QWidget;
    auto* list = new QVBoxLayout(contents);
    list->setContentsMargins(24, 4, 24, 20);
    list->setSpacing(0);
    for (const ShortcutGroup& group : allShortcuts(menus)) {
        auto* title = new TextLine(fonts::heading(), Role::text, contents, group.title);
        title->setFixedHeight(40);
        list->addWidget(title);
        for (const ShortcutGroup::Row& row : group.rows) {
            auto* line = new QWidget(contents);
            line->setFixedHeight(28);
            auto* across = new QHBoxLayout(line);
            across->setContentsMargins(0, 0, 0, 0);
            auto* text = new TextLine(fonts::body(), Role::text2, line, row.text);
            text->setElides(true);
            across->addWidget(text);
            across->addStretch(1);
            across->addWidget(new Chip(row.keys, line));
            line->setAccessibleName(tr("%1: %2").arg(row.text, row.keys));
            list->addWidget(line);
            rows_.push_back({row.text + u' ' + row.keys + u' ' + group.title, line, title});
        }
    }
    none_ = new TextLine(fonts::small(), Role::text3, contents, tr("No command and no key is called that."));
    none_->setFixedHeight(40);
    none_->hide();
    list->addWidget(none_);
    list->addStretch(1);

    QScrollArea* area = makeScrollArea(contents, this);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::StrongFocus);
    area->setAccessibleName(windowTitle());
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto* ground = new FilledPane(Role::panel, {}, this);
    auto* top = new QHBoxLayout(ground);
    top->setContentsMargins(24, 20, 24, 8);
    top->addWidget(field);
    column->addWidget(ground);
    column->addWidget(area, 1);
    connect(field, &QLineEdit::textChanged, this, &ShortcutList::narrow);
    // The list scrolls while the keyboard stays in the field.
    for (const auto& [key, action] :
         std::map<Qt::Key, QAbstractSlider::SliderAction>{{Qt::Key_Down, QAbstractSlider::SliderSingleStepAdd},
                                                          {Qt::Key_Up, QAbstractSlider::SliderSingleStepSub},
                                                          {Qt::Key_PageDown, QAbstractSlider::SliderPageStepAdd},
                                                          {Qt::Key_PageUp, QAbstractSlider::SliderPageStepSub}})
        connect(new QShortcut(key, this), &QShortcut::activated, area,
                [area, step = action] { area->verticalScrollBar()->triggerAction(step); });
    resize(listSize.boundedTo(roomFor(this)));
    field->setFocus();
}

void ShortcutList::narrow(const QString& text) {
    std::map<QWidget*, bool> titles;
    bool any = false;
    for (const Shown& shown : rows_) {
        const bool fits = shown.text.contains(text.trimmed(), Qt::CaseInsensitive);
        shown.row->setVisible(fits);
        titles[shown.title] |= fits;
        any |= fits;
    }
    for (const auto& [title, fits] : titles)
        title->setVisible(fits);
    none_->setVisible(!any);
}

} // namespace glasshob
