#include "GlassHob/ui/share/SharePages.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHobOnline/ShareModel.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QToolTip>
#include <QVBoxLayout>

namespace glasshob {

// ---- Signed out -----------------------------------------------------------------------------------------------------

ShareSignInPage::ShareSignInPage(QWidget* parent) : DialogPage(parent) {
    message_ = new WrappedText(fonts::statement(), Role::text, besideSignWidth, ground());
    besideSign(ground(), Icon::account, Role::text2)->addWidget(message_);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    signIn_ = new TextButton(tr("Sign In…"), TextButton::Look::primary, footer());
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(cancel_);
    footer()->row()->addWidget(signIn_);
    connect(cancel_, &QAbstractButton::clicked, this, &ShareSignInPage::cancelled);
    connect(signIn_, &QAbstractButton::clicked, this, &ShareSignInPage::signInAsked);
}

void ShareSignInPage::tell(const QString& message) {
    message_->setText(message);
    setAccessibleName(message);
}

// ---- Without a handle -----------------------------------------------------------------------------------------------

ShareHandlePage::ShareHandlePage(ShareModel& share, const QString& site, QWidget* parent)
    : DialogPage(parent), model_(share) {
    message_ = new WrappedText(fonts::statement(), Role::text, dialogTextWidth, ground());
    auto* label = new TextLine(fonts::fieldLabel(), Role::text2, ground(), tr("Handle"));
    field_ = new SearchField(tr("Handle"), {}, ground());
    field_->setFont(fonts::body());
    field_->setFixedHeight(32);
    field_->setPrefix(QStringLiteral("%1/u/").arg(site));
    problem_ = new FieldMessage(dialogTextWidth, ground());
    auto* hint = new WrappedText(fonts::small(), Role::text3, dialogTextWidth, ground(),
                                 tr("3 to 24 lowercase letters, digits or -. It names you on everything you share."));
    auto* column = new QVBoxLayout(ground());
    column->setContentsMargins(dialogMargin, 20, dialogMargin, 20);
    column->setSpacing(8);
    column->addWidget(message_);
    column->addSpacing(4);
    column->addWidget(label);
    column->addWidget(field_);
    column->addWidget(problem_);
    column->addWidget(hint);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    set_ = new TextButton(tr("Set Handle and Share"), TextButton::Look::primary, footer());
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(cancel_);
    footer()->row()->addWidget(set_);
    connect(cancel_, &QAbstractButton::clicked, this, &ShareHandlePage::cancelled);
    connect(set_, &QAbstractButton::clicked, this, &ShareHandlePage::submit);
    connect(field_, &QLineEdit::textEdited, this, [this] {
        model_.handle = field_->text();
        field_->setRefused(false);
        problem_->retract();
        emit heightChanged();
    });
}

void ShareHandlePage::follow() {
    const auto* needs = std::get_if<ShareModel::NeedsHandle>(&model_.phase());
    if (!needs) return;
    message_->setText(needs->message);
    setAccessibleName(needs->message);
    if (field_->text() != model_.handle) field_->setText(model_.handle);
    const bool works = model_.isSettingHandle();
    field_->setEnabled(!works);
    set_->setEnabled(!works);
    field_->setRefused(!model_.handleProblem().isEmpty());
    if (model_.handleProblem().isEmpty()) {
        problem_->retract();
    } else {
        problem_->tell(model_.handleProblem());
        focusFirst();
    }
    emit heightChanged();
}

void ShareHandlePage::focusFirst() {
    field_->setFocus(Qt::OtherFocusReason);
    field_->selectAll();
}

void ShareHandlePage::submit() {
    if (set_->isEnabled()) model_.setHandleAndShare();
}

// ---- Shared ---------------------------------------------------------------------------------------------------------

ShareDonePage::ShareDonePage(QWidget* parent) : DialogPage(parent) {
    QVBoxLayout* text = besideSign(ground(), Icon::check, Role::accentText);
    heading_ = new TextLine(fonts::dialogHeading(), Role::text, ground(), tr("Shared. It is at:"));
    heading_->setFixedHeight(24);
    link_ = new TextButton({}, TextButton::Look::action, ground());
    text->addWidget(heading_);
    text->addSpacing(6);
    text->addWidget(link_, 0, Qt::AlignLeft);
    copy_ = new TextButton(tr("Copy Link"), TextButton::Look::dialog, footer(), Icon::copy);
    open_ = new TextButton(tr("Open"), TextButton::Look::dialog, footer(), Icon::ext);
    done_ = new TextButton(tr("Done"), TextButton::Look::primary, footer());
    footer()->row()->addWidget(copy_);
    footer()->row()->addWidget(open_);
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(done_);
    connect(link_, &QAbstractButton::clicked, this, &ShareDonePage::openPage);
    connect(open_, &QAbstractButton::clicked, this, &ShareDonePage::openPage);
    connect(copy_, &QAbstractButton::clicked, this, [this] {
        QGuiApplication::clipboard()->setText(url_.toString(QUrl::FullyEncoded));
        QToolTip::showText(copy_->mapToGlobal(QPoint(0, copy_->height())), tr("The link is on the clipboard"), copy_);
    });
    connect(done_, &QAbstractButton::clicked, this, &ShareDonePage::closed);
}

void ShareDonePage::tell(const QUrl& url) {
    url_ = url;
    const QString shown = url.toDisplayString();
    link_->setText(fontMetrics().elidedText(shown, Qt::ElideMiddle, besideSignWidth));
    link_->setToolTip(plainToolTip(shown));
    link_->setAccessibleName(shown);
    setAccessibleName(heading_->text());
    setAccessibleDescription(shown);
}

void ShareDonePage::openPage() {
    QDesktopServices::openUrl(url_);
}

} // namespace glasshob
