#include "GlassHobCore/files/FileWatcher.h"

#include <sys/stat.h>

namespace glasshob {

FileWatcher::FileWatcher(QByteArray path, double interval, std::function<void()> onChange, std::function<void()> onGone)
    : path_(std::move(path)), onChange_(std::move(onChange)), onGone_(std::move(onGone)), last_(stamp(path_)) {
    timer_.start(int(interval * 1000), Qt::PreciseTimer, this);
}

std::optional<FileWatcher::Stamp> FileWatcher::stamp(const QByteArray& path) {
    struct stat info{};
    if (::stat(path.constData(), &info) != 0) return std::nullopt;
    return Stamp{{info.st_mtim.tv_sec, info.st_mtim.tv_nsec}, info.st_size, info.st_ino};
}

void FileWatcher::timerEvent(QTimerEvent*) {
    poll();
}

void FileWatcher::poll() {
    const std::optional<Stamp> now = stamp(path_);
    const bool changed = now && now != last_;
    const bool isGone = !now && isMissed_;
    isMissed_ = !now && last_;
    last_ = now;
    // A callback may end this watcher; nothing of it is touched afterwards.
    if (changed)
        onChange_();
    else if (isGone && onGone_)
        onGone_();
}

} // namespace glasshob
