#include "GlassHob/model/RecentFiles.h"

#include "GlassHob/model/Document.h"

#include <QFileInfo>
#include <QSettings>

namespace glasshob {

namespace {

constexpr auto recentKey = "recentFiles";

} // namespace

RecentFiles::RecentFiles(Document& document, QObject* parent)
    : QObject(parent), document_(document), paths_(QSettings().value(recentKey).toStringList()) {
    connect(&document_, &Document::changed, this, &RecentFiles::follow);
    follow();
}

QStringList RecentFiles::existing() const {
    QStringList found;
    for (const QString& path : paths_)
        if (QFileInfo(path).isFile()) found << path;
    return found;
}

void RecentFiles::clear() {
    paths_.clear();
    keep();
}

void RecentFiles::follow() {
    const auto& path = document_.filePath();
    if (!path || document_.needsRun() || (!paths_.isEmpty() && paths_.first() == *path)) return;
    paths_.removeAll(*path);
    paths_.prepend(*path);
    while (paths_.size() > most)
        paths_.removeLast();
    keep();
}

void RecentFiles::keep() {
    QSettings().setValue(recentKey, paths_);
    emit changed();
}

} // namespace glasshob
