// Unsaved edits kept on disk against a crash: one file for the document that is open in this process, replaced as it is
// edited and removed when nothing is unsaved any more. What an earlier process left behind is found by the next.
//
// Main thread; each call blocks for a small write. Never waits for the disk itself: a draft outlives the process, not
// the machine. A draft that cannot be written is silently missing. A process that still runs is distinguished from one
// that has ended by a lock beside each draft.
#pragma once

#include <QDateTime>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class QLockFile;

namespace glasshob {

struct Draft {
    // None for the bundled sample.
    std::optional<QString> filePath;
    std::string text;
    // A shader from the gallery that has not been run yet must not run because of a crash.
    bool needsRun = false;
    std::optional<QUrl> downloadedFrom;
    // Set by keep().
    QDateTime when;
};

class Drafts {
  public:
    // With an empty folder nothing is kept and nothing is found.
    explicit Drafts(QString folder);
    ~Drafts();

    static QString standardFolder();

    void keep(const Draft& draft);
    // Nothing is unsaved any more.
    void remove();

    // A draft of a process that has ended; others do not see it while this object lives.
    struct Found {
        QString path;
        Draft draft;
        std::shared_ptr<QLockFile> lock;
    };
    // The newest first.
    std::vector<Found> leftBehind() const;
    static void discard(Found& found);

  private:
    QString folder_;
    QString path_; // of this process's draft; empty until there is one
    std::unique_ptr<QLockFile> lock_;
    std::optional<Draft> kept_;
};

} // namespace glasshob
