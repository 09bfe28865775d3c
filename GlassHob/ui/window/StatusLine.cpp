#include "GlassHob/ui/window/StatusLine.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int toldFor = 5000; // milliseconds

} // namespace

class StatusLine::Sign : public QWidget {
  public:
    explicit Sign(QWidget* parent) : QWidget(parent) { setState(AppModel::State::empty); }
    void setState(AppModel::State state) {
        state_ = state;
        setFixedSize(AppModel::isError(state) ? 22 : 16, 26); // with the gap before the text
        update();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QPointF middle(4, height() / 2.0);
        switch (state_) {
        case AppModel::State::live:
            painter.setPen(Qt::NoPen);
            painter.setBrush(themed(Role::ok));
            painter.drawEllipse(middle, 4, 4);
            return;
        case AppModel::State::errorWithPicture:
        case AppModel::State::errorWithOtherPicture:
        case AppModel::State::errorWithoutPicture:
            paintIcon(painter, Icon::error, QRectF(0, middle.y() - 7, 14, 14), themed(Role::error), 1.7);
            return;
        case AppModel::State::waitingForRun:
        case AppModel::State::preparing:
        case AppModel::State::empty:
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(themed(Role::text3), 1.5));
            painter.drawEllipse(middle, 3.75, 3.75);
            return;
        }
    }

  private:
    AppModel::State state_ = AppModel::State::empty;
};

StatusLine::StatusLine(AppModel& model, QWidget* parent) : FilledPane(Role::bar, Qt::TopEdge, parent), model_(model) {
    setFixedHeight(26);
    setAccessibleName(tr("Status"));
    sign_ = new Sign(this);
    text_ = new TextLine(fonts::small(), Role::text2, this);
    text_->setElides(true);
    download_ = new TextLine(fonts::small(), Role::text2, this);
    cancelDownload_ = new ToolButton(Icon::close, tr("Cancel the download"), this, 24, 12);
    connect(cancelDownload_, &QAbstractButton::clicked, this, [this] { model_.links().cancel(); });
    count_ = new TextLine(fonts::small(), Role::text3, this);
    place_ = new TextLine(fonts::small(), Role::text3, this);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 1, 12, 0);
    row->setSpacing(0);
    row->addWidget(sign_);
    row->addWidget(text_);
    row->addStretch(1);
    row->addSpacing(16);
    row->addWidget(download_);
    row->addWidget(cancelDownload_);
    row->addSpacing(16);
    row->addWidget(count_);
    row->addSpacing(24);
    row->addWidget(place_);
    connect(&model_, &AppModel::compiled, this, &StatusLine::follow);
    connect(&model_, &AppModel::preparingChanged, this, &StatusLine::follow);
    connect(&model_, &AppModel::documentChanged, this, &StatusLine::follow);
    connect(&model_, &AppModel::deviceTroubleChanged, this, &StatusLine::follow);
    connect(&model_.links(), &LinkOpener::changed, this, &StatusLine::followDownload);
    followDownload();
    told_.setSingleShot(true);
    connect(&told_, &QTimer::timeout, this, &StatusLine::follow);
    follow();
}

void StatusLine::tell(const QString& sentence) {
    text_->setText(sentence);
    setAccessibleDescription(sentence);
    QAccessibleEvent alert(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
    told_.start(toldFor);
}

void StatusLine::follow() {
    // Trouble with the device is shown as an error is, whatever the text compiles to.
    const bool isTrouble = !model_.needsRun() && !model_.deviceTrouble().isEmpty();
    sign_->setState(isTrouble ? AppModel::State::errorWithoutPicture : model_.state());
    const QString text = model_.statusText();
    if (text != text_->text()) {
        text_->setText(text);
        setAccessibleDescription(text);
        // Said aloud when it is another state, not for every compile.
        if (model_.state() != announced_) {
            announced_ = model_.state();
            QAccessibleEvent alert(this, QAccessible::Alert);
            QAccessible::updateAccessibility(&alert);
        }
    }
    int errors = 0;
    for (const Diagnostic& diagnostic : model_.diagnostics())
        errors += diagnostic.severity == Diagnostic::Severity::error;
    const std::size_t sliders = model_.program() ? model_.program()->params().size() : 0;
    if (model_.needsRun())
        count_->setText(tr("from %1").arg(asQString(model_.site().name)));
    else if (errors > 0)
        count_->setText(errors == 1 ? tr("1 error") : tr("%1 errors").arg(errors));
    else if (const auto warnings =
                 std::ranges::count(model_.warnings(), Diagnostic::Severity::warning, &Diagnostic::severity);
             warnings > 0)
        count_->setText(warnings == 1 ? tr("1 warning") : tr("%1 warnings").arg(warnings));
    else if (sliders > 0)
        count_->setText(sliders == 1 ? tr("1 slider") : tr("%1 sliders").arg(sliders));
    else
        count_->setText({});
}

void StatusLine::followDownload() {
    const auto& name = model_.links().downloading();
    download_->setText(name ? tr("Fetching %1").arg(*name) : QString());
    download_->setVisible(name.has_value());
    cancelDownload_->setVisible(name.has_value());
    if (!name) return;
    setAccessibleDescription(download_->text());
    QAccessibleEvent alert(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void StatusLine::setCaret(int line, int column) {
    caret_ = tr("Ln %1, Col %2").arg(line).arg(column);
    place_->setText(showsEditor_ ? caret_ : drawnSize_);
}

void StatusLine::setDrawnSize(const QSize& size) {
    drawnSize_ = tr("%1 × %2").arg(size.width()).arg(size.height());
    place_->setText(showsEditor_ ? caret_ : drawnSize_);
}

void StatusLine::setShowsEditor(bool shows) {
    showsEditor_ = shows;
    place_->setText(showsEditor_ ? caret_ : drawnSize_);
}

} // namespace glasshob
