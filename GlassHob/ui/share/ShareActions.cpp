#include "GlassHob/ui/share/ShareActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/BesideWork.h"
#include "GlassHob/ui/share/ShareSheet.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/AccountModel.h"

#include <QAction>

namespace glasshob {

ShareActions::ShareActions(AppModel& model, QWidget* mainWindow)
    : QObject(mainWindow), share(new QAction(tr("&Share to the Gallery…"), this)), model_(model),
      mainWindow_(mainWindow) {
    share->setShortcut(QKeySequence(tr("Ctrl+Shift+U")));
    mainWindow->addAction(share);
    connect(share, &QAction::triggered, this, &ShareActions::open);
    connect(&model_, &AppModel::documentChanged, this, &ShareActions::follow);
    connect(&model_, &AppModel::sheetChanged, this, &ShareActions::followSheet);
    follow();
}

ShareActions::~ShareActions() {
    delete sheet_;
}

ShareSheet* ShareActions::sheet() const {
    return sheet_;
}

void ShareActions::follow() {
    share->setEnabled(model_.account() != nullptr && !model_.needsRun());
    share->setToolTip(model_.needsRun() ? tr("Read the shader and press Run before you share it") : QString());
}

void ShareActions::open() {
    if (!model_.account() || model_.needsRun()) return;
    ShareModel::Subject subject{.source = model_.currentText(),
                                .key = model_.presetKey().toStdString(),
                                .fileName = model_.displayName().toStdString()};
    if (const std::shared_ptr<ShareModel> last = model_.share(); !last || !last->mayContinue(subject)) {
        auto made = std::make_shared<ShareModel>(
            *model_.account(), std::move(subject),
            ShareModel::Surroundings{[&model = model_] { return model.device(); }, renderer, runBeside});
        if (last) made->takeTextsOf(*last);
        model_.setShare(std::move(made));
    }
    model_.setSheet(AppModel::Sheet::share);
}

void ShareActions::followSheet() {
    if (model_.sheet() == AppModel::Sheet::share && model_.share() && !sheet_) {
        waitsForSignIn_ = false;
        sheet_ = new ShareSheet(model_.share(), asQString(model_.account()->site().name), mainWindow_);
        connect(sheet_, &QDialog::finished, this, [this] {
            sheet_ = nullptr;
            if (model_.sheet() == AppModel::Sheet::share) model_.setSheet(std::nullopt);
        });
        connect(sheet_, &ShareSheet::signInAsked, this, [this] {
            waitsForSignIn_ = true;
            model_.setSheet(AppModel::Sheet::account);
        });
        sheet_->show();
    } else if (!model_.sheet() && waitsForSignIn_) {
        waitsForSignIn_ = false;
        if (model_.account()->signedIn()) open();
    }
}

} // namespace glasshob
