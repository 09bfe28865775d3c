#include "GlassHob/ui/Banners.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/Banner.h"
#include "GlassHobCore/Identity.h"

#include <QDir>
#include <QFileInfo>

namespace glasshob {

namespace {

QString siteName() {
    return QString::fromUtf8(Identity::siteHost.data(), qsizetype(Identity::siteHost.size()));
}

// The folder as a person calls it: "Documents/Glass Hob".
QString folderText(const QString& path) {
    const QString folder = QFileInfo(path).absolutePath(), home = QDir::homePath();
    return home.size() > 1 && folder.startsWith(home + u'/') ? folder.mid(home.size() + 1) : folder;
}

} // namespace

Banners::Banners(AppModel& model, QWidget* window)
    : QObject(window), model_(model), tall_(new Banner(Banner::Look::tall, window)),
      line_(new Banner(Banner::Look::line, window)) {
    connect(&model_, &AppModel::documentChanged, this, &Banners::follow);
    connect(&model_, &AppModel::compiled, this, &Banners::follow);
    follow();
}

void Banners::follow() {
    if (model_.needsRun()) {
        Banner::Contents contents;
        contents.icon = Icon::download;
        contents.title = tr("Shader from %1: read it, then press Run").arg(siteName());
        contents.detail =
            model_.filePath()
                ? tr("It is in the editor below and saved as %1 in %2. Nothing runs on your graphics chip until you "
                     "press Run.")
                      .arg(model_.displayName(), folderText(*model_.filePath()))
                : tr("It is in the editor below. Nothing runs on your graphics chip until you press Run.");
        contents.choices = {{tr("Run"), [this] { model_.run(); }, true, Icon::play}};
        if (!tall_->isTelling() || tall_->accessibleDescription() != contents.detail) tall_->tell(std::move(contents));
    } else {
        tall_->retract();
    }
}

} // namespace glasshob
