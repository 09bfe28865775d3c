#include "GlassHob/ui/picture/ResolutionButton.h"

#include "GlassHob/ui/picture/Canvas.h"

namespace glasshob {

ResolutionButton::ResolutionButton(const Canvas& canvas, QMenu* menu, QWidget* parent)
    : MenuButton(menu, parent), canvas_(canvas) {
    setToolTip(tr("At how much of its size the preview is drawn"));
    connect(&canvas, &Canvas::drawnSizeChanged, this, &ResolutionButton::follow);
    follow();
}

void ResolutionButton::follow() {
    const QSize size = canvas_.drawnSize();
    const QString figures = tr("%1 × %2").arg(size.width()).arg(size.height());
    const PreviewResolution resolution = canvas_.resolution();
    show(resolution == PreviewResolution::full ? figures : tr("%1, %2").arg(figures, titleOf(resolution).toLower()),
         tr("Preview resolution"));
}

} // namespace glasshob
