#include "GlassHob/ui/variations/VariationActions.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHob/ui/variations/VariationsWindow.h"

#include <QAction>

namespace glasshob {

VariationActions::VariationActions(AppModel& model, QWidget* mainWindow)
    : QObject(mainWindow), choose(new QAction(tr("Choose Va&riations…"), this)), model_(model),
      mainWindow_(mainWindow) {
    mainWindow->addAction(choose);
    connect(choose, &QAction::triggered, this, &VariationActions::open);
    const auto follow = [this] { choose->setEnabled(model_.episode().hasHeader()); };
    connect(&model_.episode(), &OpenEpisode::hasHeaderChanged, this, follow);
    follow();
}

VariationsWindow* VariationActions::window() const {
    return window_;
}

void VariationActions::open() {
    if (!window_) {
        window_ = new VariationsWindow(model_, mainWindow_);
        connect(window_, &VariationsWindow::writeWanted, this, &VariationActions::writeWanted);
        connect(window_, &QDialog::finished, this, [this] { window_ = nullptr; });
    }
    window_->comeForward();
}

} // namespace glasshob
