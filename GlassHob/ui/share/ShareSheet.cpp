#include "GlassHob/ui/share/ShareSheet.h"

#include "GlassHob/ui/controls/DialogParts.h"
#include "GlassHob/ui/controls/DialogPicture.h"
#include "GlassHob/ui/share/ShareForm.h"
#include "GlassHob/ui/share/SharePages.h"
#include "GlassHobOnline/ShareModel.h"

#include <QAccessible>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int pictureHeight = 216;
constexpr int leastPicture = 96; // a lower one shows nothing

} // namespace

ShareSheet::ShareSheet(std::shared_ptr<ShareModel> share, const QString& site, QWidget* parent)
    : PageDialog(parent), model_(std::move(share)) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(tr("Share to the Gallery"));
    picture_ = new DialogPicture(this);
    picture_->setCropped(true);
    picture_->setAccessibleName(tr("The thumbnail"));
    form_ = new ShareForm(*model_, this);
    signIn_ = new ShareSignInPage(this);
    handle_ = new ShareHandlePage(*model_, site, this);
    done_ = new ShareDonePage(this);
    column()->addWidget(picture_);
    for (DialogPage* page : {static_cast<DialogPage*>(form_), static_cast<DialogPage*>(signIn_),
                             static_cast<DialogPage*>(handle_), static_cast<DialogPage*>(done_)}) {
        column()->addWidget(page);
        page->hide();
    }

    connect(form_, &ShareForm::cancelled, this, &ShareSheet::reject);
    connect(form_, &ShareForm::heightChanged, this, &ShareSheet::fitScreen);
    connect(handle_, &ShareHandlePage::cancelled, this, &ShareSheet::reject);
    connect(handle_, &ShareHandlePage::heightChanged, this, &ShareSheet::fitScreen);
    connect(signIn_, &ShareSignInPage::cancelled, this, &ShareSheet::reject);
    connect(signIn_, &ShareSignInPage::signInAsked, this, [this] {
        disconnect(model_.get(), nullptr, this, nullptr); // what goes away does not turn back into the form
        model_->edit();
        QDialog::reject();
        emit signInAsked();
    });
    connect(done_, &ShareDonePage::closed, this, &QDialog::accept);
    connect(model_.get(), &ShareModel::changed, this, &ShareSheet::follow);
    connect(model_.get(), &ShareModel::pictureChanged, this, [this] { picture_->setImage(model_->picture()); });
    picture_->setImage(model_->picture());
    model_->drawPicture();
    follow();
}

void ShareSheet::follow() {
    const ShareModel::Phase& phase = model_->phase();
    if (const auto* needs = std::get_if<ShareModel::NeedsSignIn>(&phase)) {
        signIn_->tell(needs->message);
        turnTo(signIn_);
    } else if (std::holds_alternative<ShareModel::NeedsHandle>(phase)) {
        handle_->follow();
        turnTo(handle_);
    } else if (const auto* done = std::get_if<ShareModel::Done>(&phase)) {
        done_->tell(done->url);
        turnTo(done_);
    } else {
        form_->follow();
        turnTo(form_);
    }
}

void ShareSheet::turnTo(DialogPage* page) {
    const bool isOther = page != page_;
    if (isOther) {
        setUpdatesEnabled(false);
        if (page_) page_->hide();
        page_ = page;
        fitScreen();
        page->show();
        setUpdatesEnabled(true);
    }
    // The keyboard stays where it is, but for the button that cancelled what is at work no more.
    const QWidget* focused = focusWidget();
    const bool hasTurned = std::exchange(wasWorking_, model_->isWorking()) != model_->isWorking();
    if (!isOther && !hasTurned && focused && focused->isVisible() && focused->isEnabled()) return;
    if (page == form_)
        form_->focusFirst();
    else if (page == handle_)
        handle_->focusFirst();
    else if (page == signIn_)
        signIn_->signIn()->setFocus(Qt::OtherFocusReason);
    else
        done_->done()->setFocus(Qt::OtherFocusReason);
    if (!isOther || page == form_) return;
    QAccessibleEvent alert(page, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

// The picture gives way first, then the page scrolls.
void ShareSheet::fitScreen() {
    if (!page_) return;
    const int room = roomFor(this).height();
    const int high = std::min(pictureHeight, room - page_->wantedHeight());
    const bool hasPicture = page_ == form_ && high >= leastPicture;
    if (hasPicture) picture_->setFixedHeight(high);
    picture_->setVisible(hasPicture);
    page_->setMostHeight(room - (hasPicture ? high : 0));
}

void ShareSheet::reject() {
    if (model_->isWorking()) {
        model_->cancel();
        return;
    }
    disconnect(model_.get(), nullptr, this, nullptr);
    model_->edit(); // a message that has been read is not there again
    QDialog::reject();
}

bool ShareSheet::takesReturn() const {
    return !model_->isWorking(); // Return never stops what is at work
}

void ShareSheet::press(bool isForced) {
    auto* choice = qobject_cast<QAbstractButton*>(focusWidget());
    if (!isForced && choice && choice->isVisible())
        choice->click();
    else if (page_ == form_)
        form_->submit();
    else if (page_ == handle_)
        handle_->submit();
    else if (page_ == signIn_)
        signIn_->signIn()->click();
    else
        done_->done()->click();
}

} // namespace glasshob
