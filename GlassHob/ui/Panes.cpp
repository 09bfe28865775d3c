#include "GlassHob/ui/Panes.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/Canvas.h"
#include "GlassHob/ui/CodeEditor.h"
#include "GlassHob/ui/Fonts.h"
#include "GlassHob/ui/MessageList.h"
#include "GlassHob/ui/Theme.h"
#include "GlassHobRender/ShaderProgram.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr int stripHeight = 32;
constexpr int stripMargin = 12;

QVBoxLayout* bareColumn(QWidget* parent) {
    auto* column = new QVBoxLayout(parent);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    return column;
}

QHBoxLayout* stripRow(QWidget* strip) {
    auto* row = new QHBoxLayout(strip);
    row->setContentsMargins(stripMargin, 0, stripMargin, 1);
    row->setSpacing(8);
    return row;
}

} // namespace

class EditorPane::EditedDot : public QWidget {
  public:
    explicit EditedDot(QWidget* parent) : QWidget(parent) { setFixedSize(6, 6); }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(themed(Role::text2));
        painter.drawEllipse(rect());
    }
};

EditorPane::EditorPane(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    setMinimumWidth(320);
    auto* strip = new Ground(Role::strip, Qt::BottomEdge, this);
    strip->setFixedHeight(stripHeight);
    name_ = new TextLine(fonts::label(), Role::text, strip);
    name_->setElides(true);
    dot_ = new EditedDot(strip);
    kind_ = new Chip({}, strip);
    sound_ = new Chip(tr("sound"), strip);
    auto* row = stripRow(strip);
    row->addWidget(name_);
    row->addWidget(dot_);
    row->addStretch(1);
    row->addWidget(kind_);
    row->addWidget(sound_);

    editor_ = new CodeEditor(this);
    messages_ = new MessageList(this);
    auto* column = bareColumn(this);
    column->addWidget(strip);
    column->addWidget(editor_, 1);
    column->addWidget(messages_);

    model_.editorSink = [this](const std::string& text) { editor_->loadText(text); };
    connect(editor_, &CodeEditor::edited, this, [this] { model_.textChanged(editor_->fileText()); });
    connect(messages_, &MessageList::placePicked, editor_, &CodeEditor::goTo);
    connect(&model_, &AppModel::documentChanged, this, &EditorPane::followDocument);
    connect(&model_, &AppModel::compiled, this, &EditorPane::followCompile);
    followDocument();
    followCompile();
}

void EditorPane::followDocument() {
    name_->setText(model_.displayName());
    dot_->setVisible(model_.isDirty());
    editor_->setAccessibleDescription(model_.isDirty() ? tr("%1, edited").arg(model_.displayName())
                                                       : model_.displayName());
}

void EditorPane::followCompile() {
    const auto& program = model_.program();
    kind_->setVisible(program != nullptr);
    sound_->setVisible(program && program->soundPipeline());
    if (program) {
        const std::string_view kind = rawValue(program->kind());
        kind_->setText(QString::fromLatin1(kind.data(), qsizetype(kind.size())));
    }
    if (model_.errorText()) {
        editor_->setDiagnostics(model_.diagnostics());
        messages_->setMessages(model_.diagnostics(), *model_.errorText());
    } else {
        editor_->setDiagnostics(model_.warnings());
        messages_->setWarnings(model_.warnings(), program ? QString::fromStdString(program->warnings()) : QString());
    }
}

// The strip's own ground: while a compile has failed it is the banner, with an edge and an icon at its left.
class PreviewPane::Strip : public Ground {
  public:
    using Ground::Ground;
    void setError(bool error) {
        error_ = error;
        setRole(error ? Role::errorTint : Role::strip);
    }

  protected:
    void paintEvent(QPaintEvent* event) override {
        Ground::paintEvent(event);
        if (!error_) return;
        QPainter painter(this);
        painter.fillRect(QRect(0, 0, 3, height()), themed(Role::error));
        paintIcon(painter, Icon::error, QRectF(stripMargin, (height() - 1 - 16) / 2.0, 16, 16), themed(Role::error));
    }

  private:
    bool error_ = false;
};

PreviewPane::PreviewPane(AppModel& model, Canvas* canvas, QWidget* parent)
    : QWidget(parent), model_(model), canvas_(canvas) {
    strip_ = new Strip(Role::strip, Qt::BottomEdge, this);
    strip_->setFixedHeight(stripHeight);
    title_ = new TextLine(fonts::label(), Role::text, strip_);
    title_->setElides(true);
    size_ = new TextLine(fonts::small(), Role::text3, strip_);
    rate_ = new TextLine(fonts::small(), Role::text3, strip_);
    goTo_ = new TextButton({}, TextButton::Look::link, strip_);
    auto* row = stripRow(strip_);
    row->addWidget(title_);
    row->addStretch(1);
    row->addWidget(size_);
    row->addSpacing(6);
    row->addWidget(rate_);
    row->addWidget(goTo_);
    auto* column = bareColumn(this);
    column->addWidget(strip_);
    canvas_->setParent(this);
    column->addWidget(canvas_, 1);

    connect(goTo_, &QAbstractButton::clicked, this, [this] { emit goToRequested(firstErrorLine_, firstErrorColumn_); });
    connect(canvas_, &Canvas::pixelSizeChanged, this, &PreviewPane::showSize);
    connect(&model_, &AppModel::compiled, this, &PreviewPane::follow);
    connect(&rateTimer_, &QTimer::timeout, this, &PreviewPane::measureRate);
    rateTimer_.start(1000);
    rateClock_.start();
    follow();
    showSize();
}

void PreviewPane::follow() {
    const AppModel::State state = model_.state();
    const bool failed = state == AppModel::State::errorWithPicture || state == AppModel::State::errorWithoutPicture;
    firstErrorLine_ = firstErrorColumn_ = 0;
    for (const Diagnostic& diagnostic : model_.diagnostics())
        if (diagnostic.line > 0 && (firstErrorLine_ == 0) && diagnostic.severity == Diagnostic::Severity::error) {
            firstErrorLine_ = diagnostic.line;
            firstErrorColumn_ = diagnostic.column;
        }
    strip_->setError(failed);
    strip_->layout()->setContentsMargins(failed ? stripMargin + 16 + 8 : stripMargin, 0, stripMargin, 1);
    title_->setText(state == AppModel::State::errorWithPicture      ? tr("Compile error, showing the last good picture")
                    : state == AppModel::State::errorWithoutPicture ? tr("Compile error")
                                                                    : tr("Preview"));
    size_->setVisible(!failed);
    rate_->setVisible(!failed);
    goTo_->setVisible(failed && firstErrorLine_ > 0);
    goTo_->setText(tr("Go to Line %1").arg(firstErrorLine_));
    goTo_->updateGeometry();
}

void PreviewPane::showSize() {
    const QSize size = canvas_->pixelSize();
    size_->setText(tr("%1 × %2").arg(size.width()).arg(size.height()));
}

void PreviewPane::measureRate() {
    const double seconds = double(rateClock_.restart()) / 1000.0;
    const std::uint64_t frames = canvas_->shownFrames();
    rate_->setText(seconds > 0 ? tr("%1 fps").arg(qRound(double(frames - framesBefore_) / seconds)) : QString());
    framesBefore_ = frames;
}

} // namespace glasshob
