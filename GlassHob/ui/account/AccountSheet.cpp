#include "GlassHob/ui/account/AccountSheet.h"

#include "GlassHob/ui/account/AccountPages.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/AccountModel.h"

#include <QAccessible>
#include <QLineEdit>
#include <QPointer>
#include <QVBoxLayout>

namespace glasshob {

namespace {

using Phase = AccountModel::LinkState::Phase;

} // namespace

AccountSheet::AccountSheet(AccountModel& account, QWidget* parent) : PageDialog(parent), account_(account) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(tr("Account"));
    connect(&account_, &AccountModel::changed, this, &AccountSheet::follow);
    follow();
}

void AccountSheet::follow() {
    const AccountModel::LinkState& link = account_.link();
    const QString kind = link.phase != Phase::idle ? QString::number(int(link.phase))
                         : account_.signedIn()     ? QStringLiteral("in")
                                                   : QStringLiteral("out");
    const QString state = kind + link.code + link.message + QString::number(int(link.isAllowed));
    if (state != shown_) {
        shown_ = state;
        turnTo(makePage());
    }
    if (auto* in = qobject_cast<SignedInPage*>(page_)) in->tell(account_.email(), account_.handle());
}

AccountPage* AccountSheet::makePage() {
    const AccountModel::LinkState& link = account_.link();
    const QString site = asQString(account_.site().name);
    if (link.phase == Phase::waiting) {
        std::optional<QDateTime> expires;
        if (link.expires) expires = QDateTime::fromMSecsSinceEpoch(link.expires->time_since_epoch().count());
        return new WaitingPage(site, link.code, link.url, expires, account_.waitingText(), this);
    }
    if (link.phase == Phase::failed) return new SignInFailedPage(link.message, this);
    if (link.phase == Phase::idle && account_.signedIn()) return new SignedInPage(site, this);
    return new SignedOutPage(site, link.phase == Phase::starting, std::exchange(notice_, {}), this);
}

void AccountSheet::turnTo(AccountPage* page) {
    setUpdatesEnabled(false);
    if (page_ != nullptr) {
        page_->hide();
        page_->deleteLater(); // it may be what asked for this
    }
    page_ = page;
    column()->addWidget(page);
    connect(page, &AccountPage::signInAsked, &account_, &AccountModel::startLink);
    connect(page, &AccountPage::signOutAsked, this, [this] { account_.signOut(); });
    connect(page, &AccountPage::cancelled, this, &AccountSheet::reject);
    connect(page, &AccountPage::closed, this, &AccountSheet::accept);
    connect(page, &AccountPage::handleAsked, this, &AccountSheet::setHandle);
    if (auto* in = qobject_cast<SignedInPage*>(page)) in->tell(account_.email(), account_.handle());
    page->show();
    setUpdatesEnabled(true);
    page->first()->setFocus(Qt::OtherFocusReason);
    if (account_.link().phase != Phase::failed) return;
    QAccessibleEvent alert(page, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void AccountSheet::setHandle(const QString& handle) {
    const auto set = [](QPointer<AccountSheet> self, QPointer<SignedInPage> page, QString wanted) -> QCoro::Task<> {
        AccountModel& account = self->account_;
        page->begin();
        const auto problem = co_await account.setHandle(wanted);
        if (page && self && self->page_ == page) {
            page->end(problem);
        } else if (self && problem && !account.signedIn()) {
            // The gallery does not know this sign-in any more: the page that is shown says so.
            self->notice_ = *problem;
            self->shown_.clear();
            self->follow();
        }
    };
    set(this, qobject_cast<SignedInPage*>(page_), handle);
}

void AccountSheet::reject() {
    disconnect(&account_, nullptr, this, nullptr); // what goes away does not turn its page
    if (account_.link().phase != Phase::idle) account_.cancelLink();
    QDialog::reject();
}

void AccountSheet::press(bool) {
    const bool isTyping = qobject_cast<QLineEdit*>(focusWidget()) != nullptr;
    if (isTyping && qobject_cast<SignedInPage*>(page_) != nullptr) return; // the handle's field takes its own Return
    page_->primary()->click();
}

} // namespace glasshob
