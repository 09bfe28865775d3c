#include "GlassHob/ui/export/StillWindow.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/ChoiceField.h"
#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/export/ExportOutcome.h"
#include "GlassHob/ui/export/ExportTexts.h"
#include "GlassHob/ui/export/OwnPicture.h"
#include "GlassHobCore/shader/ExportFormats.h"

#include <QPointer>
#include <QVBoxLayout>

namespace glasshob {

namespace {

QString nameOfFormat(const QString& path) {
    const auto format = StillFormats::ofPath(path.toStdString());
    if (!format) return {};
    const std::string_view name = StillFormats::entry(*format).name;
    return QString::fromLatin1(name.data(), qsizetype(name.size()));
}

} // namespace

StillWindow::StillWindow(AppModel& model, StillRequest moment, QWidget* parent)
    : PageDialog(parent), model_(model), moment_(std::move(moment)) {
    setWindowTitle(tr("Save Still"));
    form_ = new DialogPage(this);
    FilledPane* const ground = form_->ground();
    picture_ = new OwnPicture(OwnPicture::Asks::size, ground);
    message_ = new FieldMessage(dialogTextWidth, ground);
    message_->setContentsMargins(0, 8, 0, 0);
    auto* hint = new WrappedText(fonts::small(), Role::text3, dialogTextWidth, ground,
                                 tr("The picture at %1. The ending of its name says the format: .png, .jpg or .webp.")
                                     .arg(exportTexts::length(double(moment_.time))));
    auto* body = new QVBoxLayout(ground);
    body->setContentsMargins(dialogMargin, 20, dialogMargin, 20);
    body->setSpacing(0);
    body->addWidget(picture_);
    body->addWidget(message_);
    body->addSpacing(16);
    body->addWidget(hint);
    DialogFooter* const footer = form_->footer();
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer);
    save_ = new TextButton(tr("Save…"), TextButton::Look::primary, footer);
    footer->row()->addStretch(1);
    footer->row()->addWidget(cancel_);
    footer->row()->addWidget(save_);

    result_ = new ResultPage(model_.questions(), this);
    result_->play()->hide();
    result_->hide();
    column()->addWidget(form_);
    column()->addWidget(result_);

    picture_->setPicture(moment_.width, moment_.height);
    connect(picture_, &OwnPicture::edited, this, [this] { check(false); });
    connect(picture_, &OwnPicture::left, this, [this] { check(true); });
    connect(cancel_, &QAbstractButton::clicked, this, &QDialog::reject);
    connect(save_, &QAbstractButton::clicked, this, &StillWindow::submit);
    connect(result_, &ResultPage::closed, this, &QDialog::accept);
    connect(&model_.stills(), &StillSaver::saved, this, &StillWindow::tellSaved);
    connect(&model_.stills(), &StillSaver::ended, this, [this] { save_->setEnabled(true); });
    picture_->shapeField()->setFocus(Qt::OtherFocusReason);
}

bool StillWindow::check(bool all) {
    const auto width = exportTexts::readSide(picture_->widthField()->text());
    const auto height = exportTexts::readSide(picture_->heightField()->text());
    picture_->widthField()->setRefused(!width && (all || picture_->widthField()->isRefused()));
    picture_->heightField()->setRefused(!height && (all || picture_->heightField()->isRefused()));
    if (picture_->widthField()->isRefused())
        message_->tell(width.error());
    else if (picture_->heightField()->isRefused())
        message_->tell(height.error());
    else
        message_->retract();
    if (width && height) {
        moment_.width = *width;
        moment_.height = *height;
    }
    return width && height;
}

void StillWindow::submit() {
    if (!save_->isEnabled() || !check(true)) return;
    StillSaver::setSize({moment_.width, moment_.height});
    save_->setEnabled(false);
    model_.stills().chooseAndSave(moment_, [self = QPointer(this)](bool hasPlace) {
        if (self && !hasPlace) self->save_->setEnabled(true);
    });
}

void StillWindow::tellSaved(const SavedStill& still) {
    moment_.program.reset(); // which keeps its device
    form_->hide();
    result_->tell(tr("The still is saved"), still.path,
                  tr("%1×%2 · %3 · %4")
                      .arg(still.width)
                      .arg(still.height)
                      .arg(nameOfFormat(still.path), exportTexts::size(double(still.bytes))));
    result_->show();
    result_->done()->setFocus(Qt::OtherFocusReason);
}

void StillWindow::press(bool) {
    if (form_->isVisible())
        submit();
    else
        result_->done()->click();
}

} // namespace glasshob
