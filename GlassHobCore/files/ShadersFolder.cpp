#include "GlassHobCore/files/ShadersFolder.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/Text.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace glasshob {

std::string shadersPath() {
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QFile::encodeName(QDir(documents).filePath(asQString(Identity::folderName))).toStdString();
}

std::string shadersFolder() {
    std::string folder = shadersPath();
    QDir().mkpath(QFile::decodeName(folder.c_str()));
    return folder;
}

} // namespace glasshob
