#include "GlassHob/ui/sliders/Inspector.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/sliders/ParameterRow.h"
#include "GlassHob/ui/controls/ParameterSlider.h"
#include "GlassHob/ui/sliders/PresetActions.h"
#include "GlassHob/ui/sliders/PresetColumn.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QHBoxLayout>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int headingHeight = 40;
constexpr int presetsWidth = 232;
constexpr int twoColumnsFrom = 900 - presetsWidth; // of the rows: an inspector of 900 px
constexpr int presetsFrom = 640;                   // the inspector's width
constexpr int presetsFromWindow = 1100;            // and the window's
constexpr int changedFrom = 520;
constexpr int resetTextFrom = 420;
constexpr int tallBoxRow = 60;
constexpr int emptyHeight = 108, waitingHeight = 64;
constexpr int columnGap = 32;
constexpr int sideMargin = 16;

} // namespace

void SliderRows::setRows(std::vector<ParameterRow*> rows) {
    rows_ = std::move(rows);
    layOut();
}

void SliderRows::setDense(bool dense, int tallHeight) {
    if (dense == dense_ && tallHeight == tallHeight_) return;
    dense_ = dense;
    tallHeight_ = tallHeight;
    layOut();
}

int SliderRows::heightFor(int width) const {
    const int columns = width >= twoColumnsFrom ? 2 : 1;
    const int lines = (int(rows_.size()) + columns - 1) / columns;
    return lines * rowHeight() + 8;
}

void SliderRows::resizeEvent(QResizeEvent*) {
    layOut();
}

void SliderRows::layOut() {
    const int columns = width() >= twoColumnsFrom ? 2 : 1;
    const int lines = (int(rows_.size()) + columns - 1) / columns;
    const int inner = width() - 2 * sideMargin;
    const int columnWidth = columns == 1 ? inner : (inner - columnGap) / 2;
    int nameWidth = 72;
    for (const ParameterRow* row : rows_)
        nameWidth = std::max(nameWidth, row->wantedNameWidth());
    nameWidth = std::min(nameWidth, std::clamp(columnWidth * 28 / 100, 72, 120));
    for (int i = 0; i < int(rows_.size()); ++i) {
        ParameterRow* row = rows_[std::size_t(i)];
        const int column = i / std::max(1, lines), line = i % std::max(1, lines);
        row->setDensity(dense_ ? ParameterRow::Density::dense : ParameterRow::Density::tall, nameWidth);
        row->setGeometry(sideMargin + column * (columnWidth + columnGap) - ParameterRow::leftRoom, line * rowHeight(),
                         columnWidth + ParameterRow::leftRoom, rowHeight());
        row->show();
    }
}

Inspector::Inspector(AppModel& model, QWidget* parent)
    : FilledPane(Role::panel, {}, parent), model_(model), presetActions_(new PresetActions(model, this)) {
    heading_ = new QWidget(this);
    heading_->setFixedHeight(headingHeight);
    title_ = new TextLine(fonts::heading(), Role::text, heading_, tr("Sliders"));
    changed_ = new TextLine(fonts::small(), Role::text3, heading_);
    picker_ = new PresetPicker(*presetActions_, heading_);
    resetAll_ = new TextButton(tr("Reset All"), TextButton::Look::quiet, heading_, Icon::reset);
    resetAll_->setAccessibleName(tr("Reset all sliders"));
    resetIcon_ = new ToolButton(Icon::reset, tr("Reset all sliders"), heading_, 28, 16);
    close_ = new ToolButton(Icon::close, tr("Hide the sliders"), heading_, 28, 16);
    auto* head = new QHBoxLayout(heading_);
    head->setContentsMargins(sideMargin, 0, 10, 0);
    head->setSpacing(9);
    head->addWidget(title_);
    head->addWidget(changed_);
    head->addStretch();
    for (QWidget* control : {static_cast<QWidget*>(picker_), static_cast<QWidget*>(resetAll_),
                             static_cast<QWidget*>(resetIcon_), static_cast<QWidget*>(close_)})
        head->addWidget(control);

    rows_ = new SliderRows(nullptr);
    scroll_ = makeScrollArea(rows_, this);

    waiting_ = new QWidget(this);
    auto* waitingText =
        new TextLine(fonts::body(), Role::text3, waiting_, tr("The sliders appear when the shader runs."));
    waitingText->setElides(true);
    empty_ = new QWidget(nullptr);
    emptyScroll_ = makeScrollArea(empty_, this);
    emptyScroll_->setWidgetResizable(true);
    emptyText_ =
        new TextLine(fonts::body(), Role::text2, empty_, tr("This shader has no sliders. A line like this makes one:"));
    emptyExample_ = new TextLine(fonts::mono(12), Role::text, empty_,
                                 QStringLiteral("// @param speed 0.6 0.0 3.0 How fast the bands drift"));
    emptyInsert_ = new TextButton(tr("Insert"), TextButton::Look::bordered, empty_);
    emptyInsert_->setAccessibleName(tr("Insert a line that makes a slider"));
    emptyText_->setElides(true);
    emptyExample_->setElides(true);
    auto* emptyColumn = new QVBoxLayout(empty_);
    emptyColumn->setContentsMargins(sideMargin, 4, sideMargin, 12);
    emptyColumn->setSpacing(10);
    emptyColumn->addWidget(emptyText_);
    emptyColumn->addWidget(emptyExample_);
    emptyColumn->addWidget(emptyInsert_);
    emptyColumn->addStretch();
    auto* waitingRow = new QHBoxLayout(waiting_);
    waitingRow->setContentsMargins(sideMargin, 0, sideMargin, headingHeight / 2);
    waitingRow->addStretch();
    waitingRow->addWidget(waitingText);
    waitingRow->addStretch();

    auto* sliders = new QVBoxLayout;
    sliders->setContentsMargins(0, 0, 0, 0);
    sliders->setSpacing(0);
    sliders->addWidget(heading_);
    sliders->addWidget(scroll_, 1);
    sliders->addWidget(emptyScroll_, 1);
    sliders->addWidget(waiting_, 1);

    presets_ = new PresetColumn(*presetActions_, this);
    presets_->setFixedWidth(presetsWidth);
    auto* all = new QHBoxLayout(this);
    all->setContentsMargins(0, 0, 0, 0);
    all->setSpacing(0);
    all->addLayout(sliders, 1);
    all->addWidget(presets_);

    connect(resetAll_, &QAbstractButton::clicked, &model_, &AppModel::resetAllValues);
    connect(resetIcon_, &QAbstractButton::clicked, &model_, &AppModel::resetAllValues);
    connect(close_, &QAbstractButton::clicked, this, &Inspector::closeRequested);
    connect(emptyInsert_, &QAbstractButton::clicked, this, [this] { emit insertRequested(emptyExample_->text()); });
    connect(&model_, &AppModel::compiled, this, &Inspector::followProgram);
    connect(&model_, &AppModel::documentChanged, this, &Inspector::showHeading);
    connect(&model_, &AppModel::valueChanged, this, [this](const QString& name) {
        ParameterRow* changed = row(name);
        const auto value = model_.values().find(name.toStdString());
        if (changed && value != model_.values().end()) changed->setValue(value->second);
        showHeading();
    });
    connect(&model_, &AppModel::valuesReset, this, [this] { followValues(true); });
    followProgram();
}

ParameterRow* Inspector::row(const QString& name) const {
    const std::string wanted = name.toStdString();
    const auto found = std::ranges::find(
        parameterRows_, wanted, [](const ParameterRow* row) -> const std::string& { return row->declaration().name; });
    return found == parameterRows_.end() ? nullptr : *found;
}

void Inspector::followProgram() {
    const auto& program = model_.program();
    const std::vector<ParamDecl> declared = program ? program->params() : std::vector<ParamDecl>();
    // Rows of parameters that stay are kept, with their focus and a drag that is going on.
    std::vector<ParameterRow*> rows;
    for (const ParamDecl& declaration : declared) {
        ParameterRow* kept = row(QString::fromStdString(declaration.name));
        if (kept) {
            if (kept->declaration() != declaration) kept->setDeclaration(declaration);
        } else {
            kept = new ParameterRow(declaration, rows_);
            connect(kept, &ParameterRow::valueEdited, &model_,
                    [this](const QString& name, float value) { model_.setValue(name.toStdString(), value); });
            connect(kept, &ParameterRow::editEnded, &model_, &AppModel::endSliderStep);
            connect(kept, &ParameterRow::undoRequested, &model_, &AppModel::undoSliders);
            connect(kept, &ParameterRow::redoRequested, &model_, &AppModel::redoSliders);
        }
        rows.push_back(kept);
    }
    for (ParameterRow* old : parameterRows_)
        if (!std::ranges::count(rows, old)) {
            old->hide();
            old->deleteLater();
        }
    if (rows != parameterRows_) {
        parameterRows_ = rows;
        rows_->setRows(std::move(rows));
        orderKeyboard();
        fitRows();
    }
    followValues(false);
    emit wantedHeightChanged();
}

void Inspector::followValues(bool glides) {
    for (ParameterRow* row : parameterRows_) {
        const auto value = model_.values().find(row->declaration().name);
        if (value != model_.values().end()) row->setValue(value->second, glides);
    }
    showHeading();
}

void Inspector::orderKeyboard() {
    QWidget* before = close_;
    for (const ParameterRow* row : parameterRows_)
        for (QWidget* control : row->controls()) {
            setTabOrder(before, control);
            before = control;
        }
}

void Inspector::showHeading() {
    const int changed = model_.changedValueCount();
    changed_->setText(changed ? tr("%1 of %2 changed").arg(changed).arg(parameterRows_.size()) : QString());
    const bool runs = model_.program() != nullptr && !model_.needsRun();
    scroll_->setVisible(runs && !parameterRows_.empty());
    emptyScroll_->setVisible(runs && parameterRows_.empty());
    waiting_->setVisible(!runs);
    arrange();
}

void Inspector::arrange() {
    const bool inPane = form_ == Form::pane;
    const bool column = inPane && width() >= presetsFrom && window()->width() >= presetsFromWindow;
    presets_->setVisible(column);
    picker_->setVisible(!column && !parameterRows_.empty());
    const bool changed = model_.changedValueCount() > 0 && !model_.needsRun();
    changed_->setVisible(changed && (column || width() >= changedFrom));
    const bool text = inPane && width() >= resetTextFrom;
    // The button that was pressed hides with the last change: the keyboard goes on to the first slider.
    const bool hadFocus = resetAll_->hasFocus() || resetIcon_->hasFocus();
    resetAll_->setVisible(changed && text);
    resetIcon_->setVisible(changed && !text);
    if (hadFocus && !changed && !parameterRows_.empty()) parameterRows_.front()->focusSlider();
    close_->setVisible(!inPane);
    heading_->setCursor(inPane ? Qt::ArrowCursor : Qt::SizeAllCursor);
    for (QWidget* control : {static_cast<QWidget*>(picker_), static_cast<QWidget*>(resetAll_),
                             static_cast<QWidget*>(resetIcon_), static_cast<QWidget*>(close_)})
        control->setCursor(Qt::ArrowCursor);
}

void Inspector::setForm(Form form) {
    if (form == form_) return;
    form_ = form;
    setDense(dense_);
    arrange();
}

int Inspector::wantedHeight(int width) const {
    const bool runs = model_.program() != nullptr && !model_.needsRun();
    return headingHeight + (!runs ? waitingHeight : parameterRows_.empty() ? emptyHeight : rows_->heightFor(width));
}

void Inspector::focusFirst() {
    if (!parameterRows_.empty() && scroll_->isVisibleTo(this))
        parameterRows_.front()->focusSlider();
    else if (emptyScroll_->isVisibleTo(this))
        emptyInsert_->setFocus(Qt::TabFocusReason);
}

void Inspector::focusParameter(const QString& name) {
    if (ParameterRow* found = row(name)) {
        scroll_->ensureWidgetVisible(found);
        found->focusSlider();
    }
}

void Inspector::setDense(bool dense) {
    dense_ = dense;
    rows_->setDense(form_ == Form::box || (form_ == Form::pane && dense), form_ == Form::tallBox ? tallBoxRow : 64);
    fitRows();
    emit wantedHeightChanged();
}

void Inspector::fitRows() {
    if (layout()) layout()->activate();
    int rowsWidth = width() - (presets_->isVisibleTo(this) ? presetsWidth : 0);
    if (rows_->heightFor(rowsWidth) > scroll_->height()) rowsWidth -= 12;
    rows_->resize(std::max(200, rowsWidth), rows_->heightFor(rowsWidth));
}

void Inspector::resizeEvent(QResizeEvent* event) {
    FilledPane::resizeEvent(event);
    arrange();
    fitRows();
}

} // namespace glasshob
