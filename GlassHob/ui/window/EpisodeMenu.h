// The submenu of the episodes that come with the program and of those in the person's folder, each with its stages and
// its finished shader. It is read anew whenever it opens, on a thread beside: where the disk is slow it says so until
// the episodes are there. One that cannot be read is there and says why. Main thread; owned by its parent.
#pragma once

#include "GlassHobCore/episode/EpisodeShelf.h"

#include <QMenu>

#include <memory>
#include <string>
#include <vector>

namespace glasshob {

class EpisodeMenu : public QMenu {
    Q_OBJECT
  public:
    // `ownFolder` is that of the person's shaders; it need not be there.
    EpisodeMenu(QString ownFolder, QWidget* parent);

    // Whether what is being read is not there yet.
    bool isReading() const { return reading_ != nullptr; }

  signals:
    // The episode's folder and the name of one of its shaders (EpisodeShelf::Entry).
    void chosen(const std::string& episode, const std::string& entry);

  private:
    struct Reading;
    void read();
    void take(const std::vector<EpisodeShelf::Shelved>& episodes);
    QMenu* menuOf(const EpisodeShelf::Shelved& episode);

    QString ownFolder_;
    std::shared_ptr<Reading> reading_;
    bool opensAgain_ = false;
};

} // namespace glasshob
