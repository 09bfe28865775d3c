#include "GlassHob/ui/window/Banners.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Banner.h"
#include "GlassHob/ui/window/UpdateBox.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/UpdateChecker.h"

#include <QAction>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLocale>

#include <tuple>
#include <utility>

namespace glasshob {

namespace {

// The folder as a person calls it: "Documents/Glass Hob".
QString folderText(const QString& path) {
    const QString folder = QFileInfo(path).absolutePath(), home = QDir::homePath();
    return home.size() > 1 && folder.startsWith(home + u'/') ? folder.mid(home.size() + 1) : folder;
}

// A text of two sentences: what happened, and what to do.
std::pair<QString, QString> sentences(const QString& text) {
    const qsizetype end = text.indexOf(QLatin1String(". "));
    return end < 0 ? std::pair(text, QString()) : std::pair(text.left(end + 1), text.mid(end + 2));
}

QString whenText(const QDateTime& when) {
    const QLocale locale;
    const QString time = locale.toString(
        when.time(), locale.timeFormat(QLocale::ShortFormat).remove(QStringLiteral(":ss"))); // one locale has seconds
    return when.date() == QDate::currentDate()
               ? time
               : Banners::tr("%1, %2").arg(locale.toString(when.date(), QLocale::ShortFormat), time);
}

} // namespace

Banners::Banners(AppModel& model, QWidget* window)
    : QObject(window), model_(model), tall_(new Banner(Banner::Look::tall, window)),
      line_(new Banner(Banner::Look::line, window)), run_(new QAction(tr("&Run"), this)) {
    run_->setShortcut(QKeySequence(tr("Ctrl+Return")));
    connect(run_, &QAction::triggered, &model_, &AppModel::run);
    connect(&model_, &AppModel::documentChanged, this, &Banners::follow);
    connect(&model_, &AppModel::compiled, this, &Banners::follow);
    connect(&model_, &AppModel::deviceTroubleChanged, this, &Banners::follow);
    connect(&model_, &AppModel::draftOfferChanged, this, &Banners::follow);
    if (model_.updates()) connect(model_.updates(), &UpdateChecker::changed, this, &Banners::follow);
    follow();
}

void Banners::showUpdate() {
    closedUpdate_ = false;
    follow();
}

void Banners::follow() {
    if (model_.deviceTrouble().isEmpty()) closedTrouble_ = false;
    run_->setVisible(model_.needsRun());
    followAcrossWindow();
    followOverEditor();
}

void Banners::followAcrossWindow() {
    const auto trouble = sentences(model_.deviceTrouble());
    const bool isLost = !trouble.first.isEmpty() && !model_.shownProgram();
    const Telling telling = model_.needsRun()           ? Telling::waitsForRun
                            : isLost && !closedTrouble_ ? Telling::deviceLost
                                                        : Telling::nothing;
    // Another shader that waits is another message.
    const bool isOther = telling == Telling::waitsForRun
                             ? !tall_->accessibleDescription().contains(model_.displayName())
                             : telling == Telling::deviceLost && tall_->accessibleName() != trouble.first;
    if (telling == inTall_ && !isOther) return;
    inTall_ = telling;
    Banner::Contents contents;
    switch (telling) {
    case Telling::waitsForRun:
        contents.icon = Icon::download;
        contents.title = tr("Shader from %1: read it, then press Run").arg(asQString(model_.site().name));
        contents.detail =
            model_.filePath()
                ? tr("It is in the editor below and saved as %1 in %2. Nothing runs on your graphics chip until you "
                     "press Run.")
                      .arg(model_.displayName(), folderText(*model_.filePath()))
                : tr("It is in the editor below. Nothing runs on your graphics chip until you press Run.");
        contents.choices = {{tr("Run"), [this] { model_.run(); }, true, Icon::play}};
        break;
    case Telling::deviceLost:
        contents.tone = Banner::Tone::trouble;
        contents.icon = Icon::error;
        std::tie(contents.title, contents.detail) = trouble;
        contents.choices = {{tr("Compile Now"), [this] { model_.compileNow(); }}};
        contents.close = [this] {
            closedTrouble_ = true;
            follow();
        };
        break;
    default: tall_->retract(); return;
    }
    tall_->tell(std::move(contents));
}

void Banners::followOverEditor() {
    const auto draft = model_.draftOffer();
    const bool isSlow = !model_.deviceTrouble().isEmpty() && model_.shownProgram();
    const auto release = model_.updates() ? model_.updates()->available() : std::nullopt;
    // What waits for Run is enough to read.
    const bool tellsUpdate = release && !closedUpdate_ && !model_.needsRun();
    const Telling telling = isSlow && !closedTrouble_ ? Telling::slowFrame
                            : draft && !closedDraft_  ? Telling::draft
                            : tellsUpdate             ? Telling::update
                                                      : Telling::nothing;
    Banner::Contents contents;
    switch (telling) {
    case Telling::slowFrame:
        contents.tone = Banner::Tone::trouble;
        contents.icon = Icon::warning;
        std::tie(contents.title, contents.detail) = sentences(model_.deviceTrouble());
        contents.close = [this] {
            closedTrouble_ = true;
            follow();
        };
        // Its seconds go on counting in the same message.
        if (inLine_ == telling && line_->accessibleDescription() == contents.detail) {
            line_->reword(contents.title);
            return;
        }
        break;
    case Telling::draft:
        contents.icon = Icon::note;
        contents.title = tr("%1 has edits from %2 that were not saved.").arg(draft->name, whenText(draft->when));
        if (inLine_ == telling && contents.title == toldDraft_) return;
        toldDraft_ = contents.title;
        contents.choices = {{tr("Restore"), [this] { model_.restoreDraft(); }},
                            {tr("Discard"), [this] { model_.discardDraft(); }}};
        // Closing is no answer: it is offered again at the next start.
        contents.close = [this] {
            closedDraft_ = true;
            follow();
        };
        break;
    case Telling::update:
        contents.icon = Icon::download;
        contents.title = UpdateBox::title(*release);
        contents.detail = UpdateBox::line(*release);
        if (inLine_ == telling && toldUpdate_ == contents.title + contents.detail) return;
        toldUpdate_ = contents.title + contents.detail;
        contents.choices = {{tr("Details"), [this, release] { (new UpdateBox(*release, line_->window()))->open(); }},
                            {tr("Get It"), [release] { UpdateBox::get(*release); }}};
        contents.close = [this] {
            closedUpdate_ = true;
            follow();
        };
        break;
    default:
        inLine_ = telling;
        line_->retract();
        return;
    }
    inLine_ = telling;
    line_->tell(std::move(contents));
}

} // namespace glasshob
