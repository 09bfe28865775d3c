#include "GlassHob/ui/window/RecentMenu.h"

#include "GlassHob/model/Document.h"
#include "GlassHob/model/RecentFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QFontMetrics>

namespace glasshob {

namespace {

constexpr int mostFolderWidth = 320;

// "~/Pictures/Shaders" for a folder in the home folder.
QString folderText(const QString& folder) {
    const QString home = QDir::homePath();
    return folder == home || folder.startsWith(home + u'/') ? u'~' + folder.mid(home.size()) : folder;
}

QString literal(QString text) {
    return text.replace(u'&', QStringLiteral("&&")).replace(u'\t', u' ');
}

} // namespace

RecentMenu::RecentMenu(Document& document, QWidget* parent)
    : QMenu(tr("Open &Recent"), parent), document_(document), files_(new RecentFiles(document, this)) {
    connect(this, &QMenu::aboutToShow, this, &RecentMenu::fill);
    auto follow = [this] { menuAction()->setEnabled(!files_->isEmpty()); };
    connect(files_, &RecentFiles::changed, this, follow);
    follow();
}

void RecentMenu::fill() {
    clear();
    const QStringList paths = files_->existing();
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const QFileInfo file(paths[i]);
        // The folder stands where other menus have the keys.
        const QString folder =
            QFontMetrics(font()).elidedText(folderText(file.absolutePath()), Qt::ElideMiddle, mostFolderWidth);
        const QString digit = i < 9 ? QStringLiteral("&%1  ").arg(i + 1) : QString();
        QAction* entry = addAction(digit + literal(file.fileName()) + u'\t' + literal(folder), this,
                                   [this, path = paths[i]] { document_.openAfterQuestion(path); });
        entry->setStatusTip(paths[i]);
    }
    if (paths.isEmpty()) addAction(tr("The files are not there any more"))->setEnabled(false);
    addSeparator();
    addAction(tr("&Clear This List"), files_, &RecentFiles::clear);
}

} // namespace glasshob
