#include "GlassHob/ui/window/Panes.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/CodePointer.h"
#include "GlassHob/ui/editor/FindBar.h"
#include "GlassHob/ui/editor/GoToLineBar.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHob/ui/picture/Canvas.h"
#include "GlassHob/ui/picture/FrameRate.h"
#include "GlassHob/ui/picture/OverPicture.h"
#include "GlassHob/ui/picture/PictureActions.h"
#include "GlassHob/ui/picture/ResolutionButton.h"
#include "GlassHob/ui/picture/TimeBar.h"
#include "GlassHobCore/code/DirectiveNotes.h"
#include "GlassHobCore/code/Explanations.h"
#include "GlassHobCore/code/ParamEdits.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>
#include <utility>

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
    auto* strip = new FilledPane(Role::strip, Qt::BottomEdge, this);
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
    findBar_ = new FindBar(editor_, this);
    goToLineBar_ = new GoToLineBar(editor_, this);
    messages_ = new MessageList(this);
    auto* column = bareColumn(this);
    column->addWidget(strip);
    column->addWidget(findBar_);
    column->addWidget(goToLineBar_);
    column->addWidget(editor_, 1);
    column->addWidget(messages_);

    // A value that is dragged is seen at once, as far as compiling keeps up.
    auto* soon = new QTimer(this);
    soon->setSingleShot(true);
    connect(soon, &QTimer::timeout, this, [this] { model_.compileNow(); });
    connect(editor_->pointer(), &CodePointer::valueDragged, this, [this, soon] {
        constexpr int shortestPause = 40,
                      mostOften = 3; // milliseconds; of the time goes to compiling, one part in so many
        const int pause = std::max(shortestPause, int(model_.compileMillis().value_or(0) * mostOften));
        if (!soon->isActive()) soon->start(pause);
    });

    model_.editorSink = [this](const std::string& text) { editor_->loadText(text); };
    model_.editorReload = [this](const std::string& text) { editor_->reloadText(text); };
    connect(editor_, &CodeEditor::edited, this, [this] { model_.textChanged(editor_->fileText()); });
    connect(messages_, &MessageList::placePicked, editor_, &CodeEditor::goTo);
    connect(messages_, &MessageList::fixWanted, editor_, qOverload<std::size_t>(&CodeEditor::applyFix));
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
    showKind();
}

void EditorPane::followCompile() {
    showKind();
    showMessages();
}

void EditorPane::showKind() {
    const auto& program = model_.program();
    std::optional<ShaderKind> kind;
    bool hasSound = false;
    if (model_.needsRun()) { // all that is known of it is its text
        const AssembledShader waiting = ShaderAssembler::assemble(model_.currentText());
        kind = waiting.kind();
        hasSound = waiting.hasSound;
    } else if (program) {
        kind = program->kind();
        hasSound = program->soundPipeline() != nullptr;
    }
    kind_->setVisible(kind.has_value());
    sound_->setVisible(hasSound);
    if (kind) kind_->setText(asQString(rawValue(*kind)));
}

void EditorPane::writeSliderValues() {
    editor_->applyEdits(defaultEdits(model_.currentText(), model_.values()));
    editor_->setFocus();
}

void EditorPane::showMessages() {
    const std::string& source = model_.currentText();
    const bool isFailed = model_.errorText().has_value();
    std::vector<Diagnostic> messages = isFailed ? explain(model_.diagnostics(), source) : model_.warnings();
    std::vector<Diagnostic> notes = directiveNotes(source);
    for (Diagnostic& note : notes)
        note.severity = Diagnostic::Severity::note; // they stop nothing
    editor_->setDiagnostics(messages, notes);
    // A failure that is not about the text is one sentence, which stands alone.
    if (!isFailed || !messages.empty()) messages.insert(messages.end(), notes.begin(), notes.end());
    const QString text = QString::fromStdString(toText(messages, ShaderAssembler::userFileName));
    if (isFailed)
        messages_->setMessages(messages, messages.empty() ? *model_.errorText() : text);
    else
        messages_->setWarnings(messages, text);
    QStringList fixes;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const auto known = editor_->marks().fixesOf(i);
        fixes << (known.empty() ? QString() : known.front().title);
    }
    messages_->rows()->setFixes(fixes);
}

// The strip over the picture: while a compile has failed it is the banner, with an edge and an icon at its left.
class PreviewPane::Strip : public FilledPane {
  public:
    Strip(const Canvas& canvas, QMenu* resolutions, QWidget* parent) : FilledPane(Role::strip, Qt::BottomEdge, parent) {
        setFixedHeight(stripHeight);
        title = new TextLine(fonts::label(), Role::text, this);
        title->setElides(true);
        size = new ResolutionButton(canvas, resolutions, this);
        rate = new TextLine(fonts::small(), Role::text3, this);
        goTo = new TextButton({}, TextButton::Look::link, this);
        auto* row = stripRow(this);
        row->addWidget(title);
        row->addStretch(1);
        row->addWidget(size);
        row->addWidget(rate);
        row->addWidget(goTo);
    }
    void follow(const AppModel& model, std::int64_t line) {
        const AppModel::State state = model.state();
        error_ = AppModel::isError(state);
        setRole(error_ ? Role::errorTint : Role::strip);
        layout()->setContentsMargins(error_ ? stripMargin + 16 + 8 : stripMargin, 0, stripMargin, 1);
        switch (state) {
        case AppModel::State::errorWithPicture:
            title->setText(tr("Compile error, showing the last good picture"));
            break;
        case AppModel::State::errorWithOtherPicture:
            title->setText(tr("Compile error. %1").arg(model.shownOwnerText()));
            break;
        case AppModel::State::errorWithoutPicture: title->setText(tr("Compile error")); break;
        default:
            title->setText(!model.shownOwnerText().isEmpty()     ? model.shownOwnerText()
                           : state == AppModel::State::preparing ? tr("Preparing…")
                                                                 : tr("Preview"));
        }
        const bool runs = state == AppModel::State::live || (state == AppModel::State::preparing && model.program());
        size->setVisible(runs);
        rate->setVisible(runs);
        goTo->setVisible(error_ && line > 0);
        goTo->setText(tr("Go to Line %1").arg(line));
        goTo->updateGeometry();
    }

    TextLine* title;
    ResolutionButton* size;
    TextLine* rate;
    TextButton* goTo;

  protected:
    void paintEvent(QPaintEvent* event) override {
        FilledPane::paintEvent(event);
        if (!error_) return;
        QPainter painter(this);
        painter.fillRect(QRect(0, 0, 3, height()), themed(Role::error));
        paintIcon(painter, Icon::error, QRectF(stripMargin, (height() - 1 - 16) / 2.0, 16, 16), themed(Role::error));
    }

  private:
    bool error_ = false;
};

PreviewPane::PreviewPane(AppModel& model, Canvas* canvas, const PictureActions& actions, QWidget* parent)
    : QWidget(parent), model_(model), canvas_(canvas), actions_(actions),
      strip_(new Strip(*canvas, actions.resolutionMenu(), this)), timeBar_(new TimeBar(model, actions, this)) {
    auto* column = bareColumn(this);
    column->addWidget(strip_);
    canvas_->setParent(this);
    canvas_->installEventFilter(this);
    column->addWidget(canvas_, 1);
    column->addWidget(timeBar_);

    connect(strip_->goTo, &QAbstractButton::clicked, this, &PreviewPane::goToError);
    connect(&model_, &AppModel::compiled, this, &PreviewPane::follow);
    connect(&model_, &AppModel::preparingChanged, this, &PreviewPane::follow);
    auto* rate = new FrameRate(*canvas_, this);
    connect(rate, &FrameRate::changed, this, [this, rate] { strip_->rate->setText(rate->text()); });
    follow();
}

void PreviewPane::goToError() {
    emit goToRequested(firstErrorLine_, firstErrorColumn_);
}

void PreviewPane::follow() {
    firstErrorLine_ = firstErrorColumn_ = 0;
    for (const Diagnostic& diagnostic : model_.diagnostics())
        if (diagnostic.line > 0 && (firstErrorLine_ == 0) && diagnostic.severity == Diagnostic::Severity::error) {
            firstErrorLine_ = diagnostic.line;
            firstErrorColumn_ = diagnostic.column;
        }
    strip_->follow(model_, firstErrorLine_);
    placeStrip();
}

void PreviewPane::setBare(bool bare) {
    if (bare == bare_) return;
    bare_ = bare;
    placeStrip();
}

void PreviewPane::placeStrip() {
    strip_->setVisible(!bare_);
    timeBar_->setVisible(!bare_);
    const bool lies = bare_ && AppModel::isError(model_.state());
    if (lies && !over_) {
        over_ = new Strip(*canvas_, actions_.resolutionMenu(), window());
        new OverPicture(over_, canvas_, 0);
        over_->setAttribute(Qt::WA_NoMousePropagation);
        connect(over_, &QObject::destroyed, this, [this] { over_ = nullptr; });
        connect(over_->goTo, &QAbstractButton::clicked, this, &PreviewPane::goToError);
    }
    if (over_) {
        over_->follow(model_, firstErrorLine_);
        layout()->activate();
        over_->setGeometry(QRect(canvas_->mapTo(window(), QPoint(0, 0)), QSize(canvas_->width(), stripHeight)));
        over_->setVisible(lies);
        over_->raise();
    }
    const int covered = lies ? stripHeight : 0;
    if (covered != std::exchange(covered_, covered)) emit coveredHeightChanged(covered);
}

bool PreviewPane::eventFilter(QObject* object, QEvent* event) {
    if (object == canvas_ && over_ && bare_ && (event->type() == QEvent::Resize || event->type() == QEvent::Move))
        placeStrip();
    return QWidget::eventFilter(object, event);
}

} // namespace glasshob
