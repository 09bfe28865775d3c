#include "GlassHob/ui/account/AccountPages.h"

#include "GlassHob/ui/account/CodeField.h"
#include "GlassHob/ui/account/Spinner.h"
#include "GlassHob/ui/controls/AppIcon.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLocale>
#include <QPainter>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr int textWidth = dialogTextWidth;
constexpr int iconSide = 56;
constexpr int badgeSide = 44;

QVBoxLayout* columnOn(FilledPane* ground) {
    auto* column = new QVBoxLayout(ground);
    column->setContentsMargins(dialogMargin, 24, dialogMargin, 24);
    column->setSpacing(0);
    return column;
}

TextLine* heading(const QString& text, QWidget* parent) {
    auto* line = new TextLine(fonts::dialogHeading(), Role::text, parent, text);
    line->setFixedHeight(24);
    return line;
}

QString signInHeading() {
    return SignedOutPage::tr("Sign in to Glass Hob");
}

// A spinner and what is waited for, at the left of the footer.
void addWait(DialogFooter* footer, const QString& text) {
    footer->row()->addWidget(new Spinner(footer));
    footer->row()->addWidget(new TextLine(fonts::small(), Role::text2, footer, text));
    footer->row()->addStretch(1);
}

class PageIcon : public QWidget {
  public:
    explicit PageIcon(QWidget* parent) : QWidget(parent) { setFixedSize(iconSide, iconSide); }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        QImage image = applicationIconImage(int(iconSide * devicePixelRatioF()));
        image.setDevicePixelRatio(devicePixelRatioF());
        painter.drawImage(0, 0, image);
    }
};

} // namespace

SignedOutPage::SignedOutPage(const QString& siteName, bool isStarting, const QString& notice, QWidget* parent)
    : AccountPage(parent) {
    QVBoxLayout* column = columnOn(ground());
    column->addWidget(new PageIcon(ground()));
    column->addSpacing(16);
    column->addWidget(heading(signInHeading(), ground()));
    column->addSpacing(4);
    column->addWidget(new WrappedText(fonts::body(), Role::text2, textWidth, ground(),
                                      tr("Signing in lets you share shaders to the gallery on %1. The app shows a "
                                         "code; you allow it in your browser, where you are signed in.")
                                          .arg(siteName)));
    if (!notice.isEmpty()) {
        auto* message = new FieldMessage(textWidth, ground());
        column->addSpacing(8);
        column->addWidget(message);
        message->tell(notice);
    }
    if (isStarting)
        addWait(footer(), tr("Asking %1 for a code").arg(siteName));
    else
        footer()->row()->addStretch(1);
    cancel_ = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    signIn_ = new TextButton(tr("Sign In"), TextButton::Look::primary, footer());
    footer()->row()->addWidget(cancel_);
    footer()->row()->addWidget(signIn_);
    signIn_->setEnabled(!isStarting);
    signIn_->setVisible(!isStarting);
    connect(cancel_, &QAbstractButton::clicked, this, &AccountPage::cancelled);
    connect(signIn_, &QAbstractButton::clicked, this, &AccountPage::signInAsked);
}

WaitingPage::WaitingPage(const QString& siteName, const QString& code, const QUrl& page,
                         std::optional<QDateTime> expires, const QString& state, QWidget* parent)
    : AccountPage(parent) {
    QVBoxLayout* column = columnOn(ground());
    column->addWidget(heading(signInHeading(), ground()));
    column->addSpacing(4);
    column->addWidget(new WrappedText(fonts::body(), Role::text2, textWidth, ground(),
                                      tr("Open %1 in your browser and allow this code:").arg(siteName)));
    column->addSpacing(16);
    column->addWidget(new CodeField(code, dialogWidth - 2 * dialogMargin, ground()));
    column->addSpacing(16);
    QString check = tr("Check that the browser shows the same code before you press Allow.");
    if (expires) {
        // The date as well, where it is not today.
        const QLocale locale;
        const bool isToday = expires->date() == QDate::currentDate();
        const QString until = isToday ? locale.toString(expires->time(), QLocale::ShortFormat)
                                      : locale.toString(*expires, QLocale::ShortFormat);
        check += tr(" It works until %1.").arg(until);
    }
    column->addWidget(new WrappedText(fonts::body(), Role::text2, textWidth, ground(), check));
    column->addSpacing(16);
    open_ = new TextButton(tr("Open the Browser"), TextButton::Look::primary, ground(), Icon::ext);
    open_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    column->addWidget(open_);
    addWait(footer(), state);
    auto* cancel = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    footer()->row()->addWidget(cancel);
    connect(open_, &QAbstractButton::clicked, this, [page] { QDesktopServices::openUrl(page); });
    connect(cancel, &QAbstractButton::clicked, this, &AccountPage::cancelled);
}

SignInFailedPage::SignInFailedPage(const QString& message, QWidget* parent) : AccountPage(parent) {
    besideSign(ground(), Icon::error, Role::error)
        ->addWidget(new WrappedText(fonts::statement(), Role::text, besideSignWidth, ground(), message));
    setAccessibleName(message);
    auto* cancel = new TextButton(tr("Cancel"), TextButton::Look::dialog, footer());
    again_ = new TextButton(tr("Start Again"), TextButton::Look::primary, footer());
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(cancel);
    footer()->row()->addWidget(again_);
    connect(cancel, &QAbstractButton::clicked, this, &AccountPage::cancelled);
    connect(again_, &QAbstractButton::clicked, this, &AccountPage::signInAsked);
}

// The first letter of the name in a disc.
class SignedInPage::Badge : public QWidget {
  public:
    explicit Badge(QWidget* parent) : QWidget(parent) { setFixedSize(badgeSide, badgeSide); }
    void setName(const QString& name) {
        letter_ = name.left(1).toUpper();
        update();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(themed(Role::accentTint));
        painter.drawEllipse(rect());
        painter.setPen(themed(Role::accentText));
        painter.setFont(fonts::dialogHeading());
        painter.drawText(rect(), Qt::AlignCenter, letter_);
    }

  private:
    QString letter_;
};

SignedInPage::SignedInPage(const QString& siteName, QWidget* parent) : AccountPage(parent) {
    QVBoxLayout* column = columnOn(ground());
    column->addWidget(heading(tr("Your Glass Hob account"), ground()));
    column->addSpacing(20);
    auto line = [this](const QFont& font, Role role) {
        auto* made = new TextLine(font, role, ground());
        made->setFixedHeight(20);
        made->setElides(true);
        made->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        return made;
    };
    auto* who = new QHBoxLayout;
    who->setSpacing(14);
    badge_ = new Badge(ground());
    who->addWidget(badge_);
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    name_ = line(fonts::heading(), Role::text);
    email_ = line(fonts::small(), Role::text3);
    names->addStretch(1);
    names->addWidget(name_);
    names->addWidget(email_);
    names->addStretch(1);
    who->addLayout(names, 1);
    column->addLayout(who);
    column->addSpacing(24);

    auto* label = new TextLine(fonts::fieldLabel(), Role::text2, ground(), tr("Handle"));
    label->setFixedHeight(17);
    column->addWidget(label);
    column->addSpacing(6);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    field_ = new SearchField(tr("Handle"), {}, ground());
    field_->setFont(fonts::body());
    field_->setFixedHeight(32);
    setHandle_ = new TextButton(tr("Set Handle"), TextButton::Look::dialog, ground());
    row->addWidget(field_, 1);
    row->addWidget(setHandle_);
    column->addLayout(row);
    column->addSpacing(8);
    hint_ =
        new WrappedText(fonts::small(), Role::text3, textWidth, ground(),
                        tr("Your handle is public: it names you on shaders you share, at %1/u/handle.").arg(siteName));
    message_ = new FieldMessage(textWidth, ground());
    column->addWidget(hint_);
    column->addWidget(message_);

    auto* signOut = new TextButton(tr("Sign Out"), TextButton::Look::dialog, footer());
    done_ = new TextButton(tr("Done"), TextButton::Look::primary, footer());
    footer()->row()->addWidget(signOut);
    footer()->row()->addStretch(1);
    footer()->row()->addWidget(done_);

    connect(field_, &QLineEdit::textEdited, this, [this] {
        end(std::nullopt);
        follow();
    });
    connect(field_, &QLineEdit::returnPressed, this, &SignedInPage::submit);
    connect(setHandle_, &QAbstractButton::clicked, this, &SignedInPage::submit);
    connect(signOut, &QAbstractButton::clicked, this, &AccountPage::signOutAsked);
    connect(done_, &QAbstractButton::clicked, this, &AccountPage::closed);
    follow();
}

QWidget* SignedInPage::first() const {
    return handle_.isEmpty() ? static_cast<QWidget*>(field_) : done_;
}

void SignedInPage::tell(const std::optional<QString>& email, const std::optional<QString>& handle) {
    const QString mail = email.value_or(QString());
    name_->setText(handle.value_or(mail));
    email_->setText(mail);
    // A gallery without addresses gives the handle in its place.
    email_->setVisible(handle.has_value() && !mail.isEmpty() && mail != *handle);
    badge_->setName(name_->text());
    const bool isTyping = field_->text() != handle_;
    handle_ = handle.value_or(QString());
    if (!isTyping) field_->setText(handle_);
    follow();
}

void SignedInPage::begin() {
    isSetting_ = true;
    field_->setReadOnly(true);
    follow();
}

void SignedInPage::end(const std::optional<QString>& problem) {
    isSetting_ = false;
    field_->setReadOnly(false);
    field_->setRefused(problem.has_value());
    if (problem)
        message_->tell(*problem);
    else
        message_->retract();
    hint_->setVisible(!problem);
    follow();
}

void SignedInPage::follow() {
    const QString typed = field_->text().trimmed();
    setHandle_->setEnabled(!isSetting_ && !typed.isEmpty() && typed != handle_);
}

void SignedInPage::submit() {
    if (setHandle_->isEnabled()) Q_EMIT handleAsked(field_->text());
}

} // namespace glasshob
