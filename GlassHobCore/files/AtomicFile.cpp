#include "GlassHobCore/files/AtomicFile.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace glasshob::AtomicFile {

namespace {

using Outcome = std::expected<void, std::string>;

std::unexpected<std::string> fail(const std::string& path, int error) {
    const std::string name = path.empty() ? "A file without a name" : path;
    const auto because = [&](const char* reason) { return std::unexpected(name + " could not be written: " + reason); };
    switch (error) {
    case EISDIR: return because("it is a folder, so give the name of a file.");
    case ENOENT: return because("its folder does not exist, so make the folder first or choose another.");
    case ENOTDIR: return because("a part of its path is not a folder, so choose another place.");
    case EACCES:
    case EPERM: return because("you have no permission to write there, so choose another place.");
    case EROFS: return because("the disk is read-only, so choose another place.");
    case ENOSPC:
    case EDQUOT: return because("the disk is full, so make room or choose another place.");
    case ENAMETOOLONG: return because("its name is too long, so choose a shorter one.");
    case ELOOP: return because("its symbolic links lead in a circle, so choose another place.");
    default:
        return std::unexpected(name + " could not be written (" + strerrordesc_np(error) + "): choose another place.");
    }
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Where the bytes must go once every symbolic link of the path's last part is followed, also one whose end does not
// exist yet.
struct Target {
    std::string path;
    bool exists = false;
    struct stat status = {};
};

std::expected<Target, int> resolve(const std::string& path) {
    if (path.empty()) return std::unexpected(ENOENT);
    Target target;
    target.path = path;
    for (int links = 0; links < 40; ++links) {
        struct stat status = {};
        if (lstat(target.path.c_str(), &status) != 0) {
            if (errno != ENOENT) return std::unexpected(errno);
            // A name that ends in a slash would have to be a folder.
            if (target.path.ends_with('/')) return std::unexpected(ENOENT);
            return target;
        }
        if (!S_ISLNK(status.st_mode)) {
            target.exists = true;
            target.status = status;
            return target;
        }
        std::array<char, PATH_MAX> link = {};
        const ssize_t length = readlink(target.path.c_str(), link.data(), link.size());
        if (length < 0) return std::unexpected(errno);
        const std::string end(link.data(), static_cast<std::size_t>(length));
        target.path = end.starts_with('/') ? end : folderOf(target.path) + "/" + end;
    }
    return std::unexpected(ELOOP);
}

// What stands against writing the target, as an error number; 0 when nothing does.
int obstacle(const Target& target) {
    if (target.exists) {
        if (S_ISDIR(target.status.st_mode)) return EISDIR;
        // A protected file stays protected although its folder would let it be replaced.
        if (access(target.path.c_str(), W_OK) != 0) return errno;
        if (!S_ISREG(target.status.st_mode)) return 0;
    }
    const std::string folder = folderOf(target.path);
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0) return errno;
    if (!S_ISDIR(status.st_mode)) return ENOTDIR;
    if (nameOf(target.path).size() > NAME_MAX) return ENAMETOOLONG;
    return access(folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

int writeDirectly(const Target& target, std::string_view bytes) {
    const int descriptor = open(target.path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) return errno;
    const int error = writeAll(descriptor, bytes);
    return close(descriptor) != 0 && error == 0 ? errno : error;
}

std::string temporaryPath(const std::string& path) {
    static constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::string name = folderOf(path) + "/." + nameOf(path).substr(0, 200) + ".";
    for (int i = 0; i < 8; ++i)
        name += letters[random() % letters.size()];
    return name;
}

int fillTemporary(int descriptor, const Target& target, std::string_view bytes, Outlives outlives) {
    if (target.exists) {
        // The owner first: changing it clears bits of the mode. Only root may give a file away, so failure is usual.
        if (fchown(descriptor, target.status.st_uid, target.status.st_gid) != 0) errno = 0;
        if (fchmod(descriptor, target.status.st_mode & 07777) != 0) return errno;
    }
    if (const int error = writeAll(descriptor, bytes)) return error;
    return outlives == Outlives::process || fsync(descriptor) == 0 ? 0 : errno;
}

int replace(const Target& target, std::string_view bytes, Outlives outlives) {
    for (int attempt = 0; attempt < 16; ++attempt) {
        const std::string temporary = temporaryPath(target.path);
        const int descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor < 0 && errno == EEXIST) continue;
        if (descriptor < 0) return errno;
        int error = fillTemporary(descriptor, target, bytes, outlives);
        if (close(descriptor) != 0 && error == 0) error = errno;
        if (error == 0 && rename(temporary.c_str(), target.path.c_str()) != 0) error = errno;
        if (error != 0) unlink(temporary.c_str());
        return error;
    }
    return EEXIST;
}

} // namespace

Outcome write(const std::string& path, std::string_view bytes, Outlives outlives) {
    const auto target = resolve(path);
    if (!target) return fail(path, target.error());
    if (const int error = obstacle(*target)) return fail(path, error);
    const bool direct = target->exists && !S_ISREG(target->status.st_mode);
    const int error = direct ? writeDirectly(*target, bytes) : replace(*target, bytes, outlives);
    if (error != 0) return fail(path, error);
    return {};
}

std::expected<std::string, std::string> target(const std::string& path) {
    auto target = resolve(path);
    if (!target) return fail(path, target.error());
    if (const int error = obstacle(*target)) return fail(path, error);
    return std::move(target->path);
}

Outcome check(const std::string& path) {
    if (auto found = target(path); !found) return std::unexpected(std::move(found.error()));
    return {};
}

} // namespace glasshob::AtomicFile
