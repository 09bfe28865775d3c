#include "GlassHob/ui/Inspector.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/Fonts.h"
#include "GlassHob/ui/ParameterRow.h"
#include "GlassHob/ui/ParameterSlider.h"
#include "GlassHob/ui/Theme.h"
#include "GlassHobRender/ShaderProgram.h"

#include <QHBoxLayout>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int headingHeight = 40;
constexpr int presetsWidth = 232;
constexpr int twoColumnsFrom = 900;
constexpr int presetsFrom = 640;
constexpr int columnGap = 32;
constexpr int sideMargin = 16;

} // namespace

void SliderRows::setRows(std::vector<ParameterRow*> rows) {
    rows_ = std::move(rows);
    layOut();
}

void SliderRows::setDense(bool dense) {
    dense_ = dense;
    layOut();
}

int SliderRows::heightFor(int width) const {
    const int columns = width >= twoColumnsFrom ? 2 : 1;
    const int lines = (int(rows_.size()) + columns - 1) / columns;
    return lines * (dense_ ? 36 : 64) + 8;
}

void SliderRows::resizeEvent(QResizeEvent*) {
    layOut();
}

void SliderRows::layOut() {
    const int columns = width() >= twoColumnsFrom ? 2 : 1;
    const int lines = (int(rows_.size()) + columns - 1) / columns;
    const int rowHeight = dense_ ? 36 : 64;
    const int inner = width() - 2 * sideMargin;
    const int columnWidth = columns == 1 ? inner : (inner - columnGap) / 2;
    int nameWidth = 72;
    for (const ParameterRow* row : rows_)
        nameWidth = std::max(nameWidth, row->wantedNameWidth());
    nameWidth = std::min(nameWidth, 120);
    for (int i = 0; i < int(rows_.size()); ++i) {
        ParameterRow* row = rows_[std::size_t(i)];
        const int column = i / std::max(1, lines), line = i % std::max(1, lines);
        row->setDensity(dense_ ? ParameterRow::Density::dense : ParameterRow::Density::tall, nameWidth);
        row->setGeometry(sideMargin + column * (columnWidth + columnGap), line * rowHeight, columnWidth, rowHeight);
        row->show();
    }
}

Inspector::Inspector(AppModel& model, QWidget* parent) : Ground(Role::panel, {}, parent), model_(model) {
    title_ = new TextLine(fonts::heading(), Role::text, this, tr("Sliders"));
    changed_ = new TextLine(fonts::small(), Role::text3, this);
    resetAll_ = new TextButton(tr("Reset All"), TextButton::Look::quiet, this, Icon::reset);
    rows_ = new SliderRows(nullptr);
    scroll_ = new QScrollArea(this);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->setWidget(rows_);
    scroll_->setWidgetResizable(false);
    auto follow = [this] {
        QPalette palette = scroll_->palette();
        palette.setColor(QPalette::Window, themed(Role::panel));
        palette.setColor(QPalette::Base, themed(Role::panel));
        scroll_->setPalette(palette);
    };
    follow();
    connect(&Theme::instance(), &Theme::changed, this, follow);

    empty_ = new QWidget(this);
    emptyText_ = new TextLine(fonts::body(), Role::text2, empty_);
    emptyExample_ = new TextLine(fonts::mono(12), Role::text, empty_,
                                 QStringLiteral("// @param speed 0.6 0.0 3.0 How fast the bands drift"));
    emptyInsert_ = new TextButton(tr("Insert"), TextButton::Look::bordered, empty_);
    emptyText_->setElides(true);
    emptyExample_->setElides(true);
    auto* emptyColumn = new QVBoxLayout(empty_);
    emptyColumn->setContentsMargins(sideMargin, 4, sideMargin, 12);
    emptyColumn->setSpacing(10);
    emptyColumn->addWidget(emptyText_);
    emptyColumn->addWidget(emptyExample_);
    emptyColumn->addWidget(emptyInsert_);
    emptyColumn->addStretch();

    auto* head = new QHBoxLayout;
    head->setContentsMargins(sideMargin, 0, 10, 0);
    head->setSpacing(9);
    head->addWidget(title_);
    head->addWidget(changed_);
    head->addStretch();
    head->addWidget(resetAll_);
    auto* headBox = new QWidget(this);
    headBox->setFixedHeight(headingHeight);
    headBox->setLayout(head);
    auto* sliders = new QVBoxLayout;
    sliders->setContentsMargins(0, 0, 0, 0);
    sliders->setSpacing(0);
    sliders->addWidget(headBox);
    sliders->addWidget(scroll_, 1);
    sliders->addWidget(empty_, 1);

    presets_ = new Ground(Role::panel, Qt::LeftEdge, this);
    presets_->setFixedWidth(presetsWidth);
    auto* presetsHead = new QHBoxLayout;
    presetsHead->setContentsMargins(17, 0, 8, 0);
    presetsHead->addWidget(new TextLine(fonts::heading(), Role::text, presets_, tr("Presets")));
    presetsHead->addStretch();
    auto* addPreset = new ToolButton(Icon::plus, tr("Save the sliders as a preset"), presets_, 28, 18);
    addPreset->setEnabled(false);
    presetsHead->addWidget(addPreset);
    auto* presetsHeadBox = new QWidget(presets_);
    presetsHeadBox->setFixedHeight(headingHeight);
    presetsHeadBox->setLayout(presetsHead);
    auto* presetsColumn = new QVBoxLayout(presets_);
    presetsColumn->setContentsMargins(0, 0, 0, 0);
    presetsColumn->setSpacing(0);
    presetsColumn->addWidget(presetsHeadBox);
    presetsColumn->addStretch();

    auto* all = new QHBoxLayout(this);
    all->setContentsMargins(0, 0, 0, 0);
    all->setSpacing(0);
    all->addLayout(sliders, 1);
    all->addWidget(presets_);

    connect(resetAll_, &QAbstractButton::clicked, &model_, &AppModel::resetAllValues);
    connect(emptyInsert_, &QAbstractButton::clicked, this, [this] { emit insertRequested(emptyExample_->text()); });
    connect(&model_, &AppModel::compiled, this, &Inspector::followProgram);
    connect(&model_, &AppModel::documentChanged, this, &Inspector::showHeading);
    connect(&model_, &AppModel::valueChanged, this, [this] { followValues(false); });
    connect(&model_, &AppModel::valuesReset, this, [this] { followValues(true); });
    followProgram();
}

ParameterRow* Inspector::row(const QString& name) const {
    for (ParameterRow* row : parameterRows_)
        if (QString::fromStdString(row->declaration().name) == name) return row;
    return nullptr;
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
        for (std::size_t i = 1; i < rows.size(); ++i)
            QWidget::setTabOrder(rows[i - 1], rows[i]);
        rows_->setRows(std::move(rows));
        fitRows();
    }
    followValues(false);
}

void Inspector::followValues(bool glides) {
    for (ParameterRow* row : parameterRows_) {
        const auto value = model_.values().find(row->declaration().name);
        if (value != model_.values().end()) row->setValue(value->second, glides);
    }
    showHeading();
}

void Inspector::showHeading() {
    const int changed = model_.changedValueCount();
    changed_->setText(changed ? tr("%1 of %2 changed").arg(changed).arg(parameterRows_.size()) : QString());
    changed_->setVisible(changed > 0);
    resetAll_->setVisible(changed > 0);
    const bool waits = model_.needsRun();
    const bool any = !parameterRows_.empty() && !waits;
    scroll_->setVisible(any);
    empty_->setVisible(!any);
    const bool running = model_.program() != nullptr;
    emptyText_->setText(waits || !running ? tr("The sliders appear when the shader runs.")
                                          : tr("This shader has no sliders. A line like this makes one:"));
    emptyExample_->setVisible(!waits && running);
    emptyInsert_->setVisible(!waits && running);
}

void Inspector::focusParameter(const QString& name) {
    if (ParameterRow* found = row(name)) {
        scroll_->ensureWidgetVisible(found);
        found->focusSlider();
    }
}

void Inspector::setDense(bool dense) {
    rows_->setDense(dense);
    fitRows();
}

void Inspector::fitRows() {
    const int available = width() - (presets_->isVisibleTo(this) ? presetsWidth : 0);
    int rowsWidth = available;
    if (rows_->heightFor(rowsWidth) > scroll_->height()) rowsWidth -= 12;
    rows_->resize(std::max(200, rowsWidth), rows_->heightFor(rowsWidth));
}

void Inspector::resizeEvent(QResizeEvent* event) {
    Ground::resizeEvent(event);
    presets_->setVisible(width() >= presetsFrom);
    if (layout()) layout()->activate();
    fitRows();
}

} // namespace glasshob
