#include "GlassHob/ui/export/ExportOutcome.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/FileManager.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/export/ExportTexts.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QToolTip>
#include <QUrl>
#include <QVBoxLayout>

namespace glasshob {

namespace {

TextLine* addHeading(QVBoxLayout* column, QWidget* ground) {
    auto* heading = new TextLine(fonts::dialogHeading(), Role::text, ground);
    heading->setFixedHeight(24);
    column->addWidget(heading);
    return heading;
}

// "Videos"; the whole path where the name alone would say too little.
QString folderName(const QString& path) {
    const QString folder = QFileInfo(path).absolutePath();
    const QString name = QFileInfo(folder).fileName();
    return name.isEmpty() ? QDir::toNativeSeparators(folder) : name;
}

} // namespace

ResultPage::ResultPage(Questions& questions, QWidget* parent) : DialogPage(parent) {
    text_ = besideSign(ground(), Icon::check, Role::accentText);
    heading_ = addHeading(text_, ground());
    auto line = [&] {
        auto* text = new TextLine(fonts::body(), Role::text2, ground());
        text->setFixedHeight(20);
        text->setElides(true);
        text->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        return text;
    };
    file_ = line();
    companion_ = line();
    companion_->hide();
    figures_ = line();
    copyPath_ = new ToolButton(Icon::copy, tr("Copy path"), ground(), 28, 16);
    auto* lines = new QVBoxLayout;
    lines->setSpacing(0);
    lines->addWidget(file_);
    lines->addWidget(companion_);
    lines->addWidget(figures_);
    auto* row = new QHBoxLayout;
    row->addLayout(lines, 1);
    row->addWidget(copyPath_, 0, Qt::AlignVCenter);
    text_->addSpacing(4);
    text_->addLayout(row);

    play_ = new TextButton(tr("Play"), TextButton::Look::dialog, footer(), Icon::play);
    show_ = new TextButton(tr("Show in File Manager"), TextButton::Look::dialog, footer(), Icon::folder);
    done_ = new TextButton(tr("Done"), TextButton::Look::primary, footer());
    footer()->row()->addWidget(play_);
    footer()->row()->addWidget(show_);
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(done_);

    connect(done_, &QAbstractButton::clicked, this, &ResultPage::closed);
    connect(show_, &QAbstractButton::clicked, this, [this] { showInFileManager(path_); });
    connect(copyPath_, &QAbstractButton::clicked, this, [this] {
        QGuiApplication::clipboard()->setText(QDir::toNativeSeparators(path_));
        QToolTip::showText(copyPath_->mapToGlobal(QPoint(0, copyPath_->height())), tr("The path is on the clipboard"),
                           copyPath_);
    });
    connect(play_, &QAbstractButton::clicked, this, [this, &questions] {
        const QString name = exportTexts::nameOfResult(path_);
        if (!QFileInfo::exists(path_))
            questions.warn(tr("Can't play %1").arg(name),
                           tr("The file is not there any more: it has been moved or deleted."));
        else if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path_)))
            questions.warn(tr("Can't play %1").arg(name),
                           tr("This desktop names no program for videos: install or choose one."));
    });
}

void ResultPage::addUnderFigures(QWidget* part) {
    text_->addSpacing(8);
    text_->addWidget(part, 0, Qt::AlignLeft);
}

void ResultPage::tell(const QString& heading, const QString& path, const QString& figures, const QString& companion) {
    path_ = path.endsWith(u'/') ? path.chopped(1) : path;
    heading_->setText(heading);
    setAccessibleName(heading);
    file_->setText((companion.isEmpty() ? tr("%1 in %2") : tr("%1 in %2, with"))
                       .arg(exportTexts::nameOfResult(path_), folderName(path_)));
    companion_->setText(companion);
    companion_->setVisible(!companion.isEmpty());
    setAccessibleDescription(companion.isEmpty() ? file_->text() : file_->text() + u' ' + companion);
    file_->setToolTip(plainToolTip(QDir::toNativeSeparators(path_)));
    figures_->setText(figures);
}

ExportFinishedPage::ExportFinishedPage(AppModel& model, QWidget* parent)
    : ResultPage(model.questions(), parent), model_(model) {
    connect(&model_, &AppModel::exportChanged, this, &ExportFinishedPage::follow);
    follow();
}

void ExportFinishedPage::follow() {
    const auto* finished = std::get_if<ExportFinished>(&model_.exportState());
    const ExportJob& job = model_.exports();
    if (!finished || !job.order()) return;
    const ExportOrder& order = *job.order();
    play()->setVisible(order.format != ExportFormat::pngs);
    tell(exportTexts::ready(order), finished->path,
         exportTexts::result(exportTexts::length(order.seconds()), double(job.bytes()), job.secondsTaken()));
}

ExportFailedPage::ExportFailedPage(AppModel& model, QWidget* parent) : DialogPage(parent), model_(model) {
    QVBoxLayout* text = besideSign(ground(), Icon::error, Role::error);
    heading_ = addHeading(text, ground());
    message_ = new WrappedText(fonts::body(), Role::text2, besideSignWidth, ground());
    text->addSpacing(5);
    text->addWidget(message_);
    close_ = new TextButton(tr("Close"), TextButton::Look::dialog, footer());
    tryAgain_ = new TextButton(tr("Try Again"), TextButton::Look::primary, footer());
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(close_);
    footer()->row()->addWidget(tryAgain_);
    connect(close_, &QAbstractButton::clicked, this, &ExportFailedPage::closed);
    connect(tryAgain_, &QAbstractButton::clicked, this, [this] { model_.exports().tryAgain(); });
    connect(&model_, &AppModel::exportChanged, this, &ExportFailedPage::follow);
    connect(&model_, &AppModel::compiled, this, &ExportFailedPage::follow);
    follow();
}

void ExportFailedPage::follow() {
    const auto* failed = std::get_if<ExportFailed>(&model_.exportState());
    if (!failed) return;
    const auto& order = model_.exports().order();
    if (order) heading_->setText(exportTexts::notMade(*order));
    setAccessibleName(heading_->text());
    message_->setText(failed->message);
    setAccessibleDescription(failed->message);
    tryAgain_->setEnabled(model_.exports().canTryAgain());
}

} // namespace glasshob
