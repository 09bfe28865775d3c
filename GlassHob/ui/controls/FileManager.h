// Shows a file in the desktop's file manager, selected in its folder; a desktop without the interface for that at least
// opens the folder. Main thread; returns at once.
#pragma once

#include <QString>

namespace glasshob {

void showInFileManager(const QString& path);

} // namespace glasshob
