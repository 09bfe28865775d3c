// Notices when another program changes a file, by looking at its metadata at an interval: this keeps working when an
// editor replaces the file by another of the same name and while the file is missing for a moment.
// Lives and calls back on the thread that made it, which needs an event loop; no call after its end.
#pragma once

#include <QBasicTimer>
#include <QByteArray>
#include <QObject>

#include <cstdint>
#include <functional>
#include <optional>

namespace glasshob {

class FileWatcher : public QObject {
  public:
    struct timespec_ {
        std::int64_t s = 0;
        std::int64_t ns = 0;
        bool operator==(const timespec_&) const = default;
    };
    struct Stamp {
        timespec_ mtime;
        std::int64_t size = 0;
        std::uint64_t inode = 0;
        bool operator==(const Stamp&) const = default;
    };

    // Takes the first stamp at once; `onChange` runs for each later change that a look finds. `path` is native bytes.
    // `onGone` runs once when a file that was there is missing at two looks in a row: who replaces a file by another
    // may leave a moment between them.
    FileWatcher(QByteArray path, double interval, std::function<void()> onChange, std::function<void()> onGone = {});

    // One look, as the timer takes it.
    void poll();

    static std::optional<Stamp> stamp(const QByteArray& path);

  protected:
    void timerEvent(QTimerEvent* event) override;

  private:
    QByteArray path_;
    std::function<void()> onChange_, onGone_;
    std::optional<Stamp> last_;
    bool isMissed_ = false; // was there, and not at the last look
    QBasicTimer timer_;
};

} // namespace glasshob
