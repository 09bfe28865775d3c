#include "GlassHob/ui/account/AccountActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/account/AccountSheet.h"
#include "GlassHobOnline/AccountModel.h"

#include <QAction>
#include <QEvent>
#include <QMenu>
#include <QWidget>

namespace glasshob {

AccountActions::AccountActions(AppModel& model, QWidget* mainWindow)
    : QObject(mainWindow), open(new QAction(this)), signOut(new QAction(tr("Sign &Out"), this)), model_(model),
      mainWindow_(mainWindow) {
    connect(open, &QAction::triggered, this, [this] { model_.setSheet(AppModel::Sheet::account); });
    connect(&model_, &AppModel::sheetChanged, this, &AccountActions::followSheet);
    if (AccountModel* account = model_.account()) {
        connect(signOut, &QAction::triggered, account, [account] { account->signOut(); });
        connect(account, &AccountModel::changed, this, &AccountActions::follow);
        mainWindow_->installEventFilter(this);
    }
    follow();
}

QMenu* AccountActions::makeMenu(QWidget* parent) const {
    auto* menu = new QMenu(tr("&Account"), parent);
    menu->addActions({open, signOut});
    return menu;
}

AccountSheet* AccountActions::sheet() const {
    return sheet_;
}

bool AccountActions::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::Show) {
        object->removeEventFilter(this);
        model_.account()->refresh();
    }
    return false;
}

void AccountActions::follow() {
    const AccountModel* account = model_.account();
    const bool isIn = account != nullptr && account->signedIn();
    open->setText(isIn ? tr("Your &Account…") : tr("&Sign In…"));
    open->setEnabled(account != nullptr);
    signOut->setEnabled(isIn);
}

void AccountActions::followSheet() {
    const bool isWanted = model_.sheet() == AppModel::Sheet::account && model_.account() != nullptr;
    if (!isWanted || sheet_) return;
    sheet_ = new AccountSheet(*model_.account(), mainWindow_);
    connect(sheet_, &QDialog::finished, this, [this] {
        if (model_.sheet() == AppModel::Sheet::account) model_.setSheet(std::nullopt);
    });
    sheet_->show();
}

} // namespace glasshob
