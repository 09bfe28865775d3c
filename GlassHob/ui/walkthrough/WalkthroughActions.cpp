#include "GlassHob/ui/walkthrough/WalkthroughActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/walkthrough/WalkthroughWindow.h"

#include <QAction>

namespace glasshob {

WalkthroughActions::WalkthroughActions(AppModel& model, QWidget* mainWindow)
    : QObject(mainWindow), preview(new QAction(tr("Preview &Walkthrough…"), this)), model_(model),
      mainWindow_(mainWindow) {
    mainWindow->addAction(preview);
    connect(preview, &QAction::triggered, this, &WalkthroughActions::open);
    connect(&model_.episode(), &OpenEpisode::hasHeaderChanged, this, &WalkthroughActions::follow);
    follow();
}

WalkthroughActions::~WalkthroughActions() {
    delete window_;
}

WalkthroughWindow* WalkthroughActions::window() const {
    return window_;
}

void WalkthroughActions::open() {
    if (!window_) {
        window_ = new WalkthroughWindow(model_, mainWindow_);
        if (exportEpisode_ != nullptr) window_->exportBy(exportEpisode_);
    }
    window_->comeForward();
}

void WalkthroughActions::follow() {
    preview->setEnabled(model_.episode().hasHeader());
}

} // namespace glasshob
