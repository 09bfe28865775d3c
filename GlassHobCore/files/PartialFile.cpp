#include "GlassHobCore/files/PartialFile.h"

#include "GlassHobCore/files/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace glasshob {

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
    // Two of one process may be under way for the same place.
    static std::atomic<int> count = 0;
    const std::string mark = "." + std::to_string(getpid()) + "-" + std::to_string(++count) + ".part";
    const std::size_t slash = target->rfind('/');
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    // The name's end gives way where the whole would be too long for the disk.
    std::string path = target->substr(0, name) + "." + target->substr(name, 200) + mark;
    return PartialFile(std::move(path), std::move(*target), place);
}

std::expected<void, std::string> PartialFile::moveIntoPlace() {
    struct stat status = {};
    if (stat(place_.c_str(), &status) == 0) (void)chmod(path_.c_str(), status.st_mode & 07777);
    if (std::rename(path_.c_str(), place_.c_str()) != 0) {
        const int error = errno;
        return std::unexpected(named_ + " could not be put in its place (" + strerrordesc_np(error) +
                               "): choose another.");
    }
    path_.clear();
    return {};
}

void PartialFile::remove() {
    if (!path_.empty()) std::remove(std::exchange(path_, {}).c_str());
}

} // namespace glasshob
