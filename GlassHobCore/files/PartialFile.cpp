#include "GlassHobCore/files/PartialFile.h"

#include "GlassHobCore/files/AtomicFile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace glasshob {

namespace {

constexpr std::string_view ending = ".part";

} // namespace

PartialFile::PartialFile(std::string path, std::string place, std::string named)
    : path_(std::move(path)), place_(std::move(place)), named_(std::move(named)) {}

PartialFile::PartialFile(PartialFile&& other) noexcept
    : path_(std::exchange(other.path_, {})), place_(std::move(other.place_)), named_(std::move(other.named_)) {}

PartialFile& PartialFile::operator=(PartialFile&& other) noexcept {
    if (this != &other) {
        remove();
        path_ = std::exchange(other.path_, {});
        place_ = std::move(other.place_);
        named_ = std::move(other.named_);
    }
    return *this;
}

PartialFile::~PartialFile() {
    remove();
}

std::expected<PartialFile, std::string> PartialFile::beside(const std::string& place) {
    auto target = AtomicFile::target(place);
    if (!target) return std::unexpected(std::move(target.error()));
    struct stat status = {};
    if (stat(target->c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return std::unexpected(place +
                               " could not be written: it is a device or a pipe, so give the name of a plain file.");
    const std::size_t slash = target->rfind('/');
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    UnfinishedPaths::removeAbandoned(target->substr(0, name), ending);
    // The name's end gives way where the whole would be too long for the disk.
    std::string path = target->substr(0, name) + UnfinishedPaths::marked("." + target->substr(name, 200) + ".", ending);
    UnfinishedPaths::add(path);
    return PartialFile(std::move(path), std::move(*target), place);
}

std::expected<PartialFile, std::string> PartialFile::written(const std::string& place, std::string_view text) {
    auto file = beside(place);
    if (!file) return file;
    if (auto done = AtomicFile::write(file->path(), text); !done) {
        std::string sentence = std::move(done.error());
        if (sentence.starts_with(file->path())) sentence.replace(0, file->path().size(), place);
        return std::unexpected(std::move(sentence));
    }
    return file;
}

std::expected<void, std::string> PartialFile::moveAllIntoPlace(std::span<PartialFile> files) {
    std::vector<std::string> moved;
    for (PartialFile& file : files) {
        auto place = file.moveIntoPlace();
        if (!place) {
            for (const std::string& each : moved)
                std::remove(each.c_str());
            return std::unexpected(std::move(place.error()));
        }
        moved.push_back(std::move(*place));
    }
    return {};
}

int PartialFile::move(const std::string& from, const std::string& to, bool replaces) {
    if (replaces) return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // A file system that cannot: a second name is only given where there is none.
    if (link(from.c_str(), to.c_str()) != 0) {
        if (errno != EPERM && errno != EOPNOTSUPP) return errno;
        struct stat status = {};
        if (lstat(to.c_str(), &status) == 0) return EEXIST;
        return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    }
    unlink(from.c_str());
    return 0;
}

std::expected<std::string, std::string> PartialFile::moveIntoPlace(Existing existing) {
    struct stat status = {};
    const bool replaces = existing == Existing::replaced;
    if (replaces && stat(place_.c_str(), &status) == 0) (void)chmod(path_.c_str(), status.st_mode & 07777);
    std::string place = place_;
    int error = move(path_, place, replaces);
    const std::size_t dot = place_.rfind('.');
    const bool hasEnding = dot != std::string::npos && dot > place_.rfind('/') + 1;
    for (int number = 2; error == EEXIST && !replaces && number < 1000; ++number) {
        place = place_.substr(0, hasEnding ? dot : std::string::npos) + "-" + std::to_string(number) +
                (hasEnding ? place_.substr(dot) : "");
        error = move(path_, place, false);
    }
    if (error != 0)
        return std::unexpected(named_ + " could not be put in its place (" + strerrordesc_np(error) +
                               "): choose another.");
    UnfinishedPaths::forget(path_);
    path_.clear();
    return place;
}

void PartialFile::remove() {
    if (path_.empty()) return;
    UnfinishedPaths::forget(path_);
    std::remove(std::exchange(path_, {}).c_str());
}

namespace UnfinishedPaths {

namespace {

std::mutex lock;
struct Unfinished {
    std::string path;
    Removal removal;
};
std::vector<Unfinished> unfinished; // under the lock

// Eight digits for this machine, as its processes count: the machine's name and the kernel's space of process numbers.
const std::string& machineMark() {
    static const std::string mark = [] {
        utsname system = {};
        (void)uname(&system);
        struct stat space = {};
        (void)stat("/proc/self/ns/pid", &space);
        std::uint32_t hash = 2166136261U;
        for (const char letter : std::string(system.nodename) + std::to_string(space.st_ino))
            hash = (hash ^ std::uint8_t(letter)) * 16777619U;
        char text[9];
        std::snprintf(text, sizeof text, "%08x", hash);
        return std::string(text);
    }();
    return mark;
}

bool isGone(pid_t process) {
    return kill(process, 0) != 0 && errno == ESRCH;
}

} // namespace

std::string marked(std::string_view before, std::string_view after) {
    // Several of one process may be under way in one folder.
    static std::atomic<int> count = 0;
    return std::string(before) + machineMark() + "-" + std::to_string(getpid()) + "-" + std::to_string(++count) +
           std::string(after);
}

void removeAbandoned(const std::string& folder, std::string_view after) {
    std::error_code ignored;
    std::vector<std::filesystem::path> abandoned;
    const std::string mark = "." + machineMark() + "-";
    for (std::filesystem::directory_iterator each(folder.empty() ? "." : folder, ignored), none; each != none;
         each.increment(ignored)) {
        const std::string name = each->path().filename().native();
        const std::size_t at = name.rfind(mark);
        if (!name.starts_with('.') || !name.ends_with(after) || at == std::string::npos) continue;
        pid_t process = 0;
        const char* number = name.c_str() + at + mark.size();
        const auto [end, error] = std::from_chars(number, name.c_str() + name.size(), process);
        if (error == std::errc() && *end == '-' && process > 0 && isGone(process)) abandoned.push_back(each->path());
    }
    for (const auto& path : abandoned)
        std::filesystem::remove_all(path, ignored);
}

void add(const std::string& path, Removal removal) {
    const std::lock_guard guard(lock);
    unfinished.push_back({path, removal});
}

void forget(const std::string& path) {
    const std::lock_guard guard(lock);
    std::erase_if(unfinished, [&](const Unfinished& each) { return each.path == path; });
}

void removeAll() {
    const std::lock_guard guard(lock);
    std::error_code ignored;
    for (; !unfinished.empty(); unfinished.pop_back())
        if (unfinished.back().removal == Removal::whole)
            std::filesystem::remove_all(unfinished.back().path, ignored);
        else
            rmdir(unfinished.back().path.c_str());
}

} // namespace UnfinishedPaths
} // namespace glasshob
