#include "MSL/mslc/Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <optional>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

namespace mslc {

namespace {

constexpr std::size_t sizeLimit = 64U << 20;

std::unexpected<std::string> sentence(std::string_view name, std::string_view rest) {
    return std::unexpected((name.empty() ? "A file without a name" : std::string(name)) + std::string(rest));
}

std::unexpected<std::string> cannotRead(std::string_view name, int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR: return sentence(name, " is not there: check its name and folder.");
    case EISDIR: return sentence(name, " is a folder: name a shader file inside it.");
    case EACCES:
    case EPERM: return sentence(name, " may not be read by you: check its permissions.");
    default:
        return sentence(name, " could not be read (" + std::string(strerrordesc_np(error)) + "): give another file.");
    }
}

std::unexpected<std::string> cannotWrite(std::string_view name, int error) {
    const auto because = [&](std::string_view reason) {
        return sentence(name, " could not be written: " + std::string(reason));
    };
    switch (error) {
    case EISDIR: return because("it is a folder, so give the name of a file.");
    case ENOENT: return because("its folder does not exist, so make the folder first or choose another.");
    case ENOTDIR: return because("a part of its path is not a folder, so choose another place.");
    case EACCES:
    case EPERM: return because("you have no permission to write there, so choose another place.");
    case EROFS: return because("the disk is read-only, so choose another place.");
    case EFBIG:
    case ENOSPC:
    case EDQUOT: return because("the disk is full, so make room or choose another place.");
    case ENAMETOOLONG: return because("its name is too long, so choose a shorter one.");
    case ELOOP: return because("its symbolic links lead in a circle, so choose another place.");
    default:
        return sentence(name,
                        " could not be written (" + std::string(strerrordesc_np(error)) + "): choose another place.");
    }
}

FileIdentity identityOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, S_ISREG(status.st_mode)};
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }
    operator int() const { return number_; }
    int close() {
        const int number = std::exchange(number_, -1);
        return number >= 0 && ::close(number) != 0 ? errno : 0;
    }

  private:
    int number_;
};

std::expected<Source, std::string> readDescriptor(int descriptor, const std::string& name) {
    const auto tooLarge = [&] { return sentence(name, " is larger than 64 MB, too large for a shader."); };
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) return cannotRead(name, errno);
    if (S_ISDIR(status.st_mode)) return cannotRead(name, EISDIR);
    Source source{name, {}, identityOf(status)};
    if (S_ISREG(status.st_mode)) {
        if (status.st_size > static_cast<off_t>(sizeLimit)) return tooLarge();
        source.text.reserve(static_cast<std::size_t>(status.st_size) + 1);
    }
    std::array<char, 64 * 1024> block;
    while (true) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return cannotRead(name, errno);
        if (count == 0) return source;
        source.text.append(block.data(), static_cast<std::size_t>(count));
        if (source.text.size() > sizeLimit) return tooLarge();
    }
}

// A named pipe would wait for a writer that may never come. The nameless one that a shell makes for <(command) has one.
bool isNamedPipe(int descriptor) {
    struct stat status = {};
    struct statfs system = {};
    return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode) &&
           (fstatfs(descriptor, &system) != 0 || system.f_type != PIPEFS_MAGIC);
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

// Where the bytes must go: the end of the path's symbolic links, which need not exist yet.
struct Target {
    std::string path;
    std::optional<struct stat> status; // nothing when no file is there
    bool isReplaced = true;            // a device, a pipe and an open descriptor are written to as they are
};

std::expected<Target, int> resolve(const std::string& path) {
    if (path.empty()) return std::unexpected(ENOENT);
    Target target{.path = path, .status = {}};
    for (int links = 0; links < 40; ++links) {
        struct stat status = {};
        if (lstat(target.path.c_str(), &status) != 0) {
            // A name that ends in a slash would have to be a folder.
            if (errno != ENOENT || target.path.ends_with('/')) return std::unexpected(errno);
            return target;
        }
        const bool isDescriptor = S_ISLNK(status.st_mode) && target.path.starts_with("/proc/");
        if (isDescriptor && stat(target.path.c_str(), &status) != 0) return std::unexpected(errno);
        if (isDescriptor || !S_ISLNK(status.st_mode)) {
            target.status = status;
            target.isReplaced = !isDescriptor && S_ISREG(status.st_mode);
            return target;
        }
        std::array<char, PATH_MAX> link;
        const ssize_t length = readlink(target.path.c_str(), link.data(), link.size());
        if (length < 0) return std::unexpected(errno);
        const std::string end(link.data(), static_cast<std::size_t>(length));
        target.path = end.starts_with('/') ? end : folderOf(target.path) + "/" + end;
    }
    return std::unexpected(ELOOP);
}

// What stands against writing the target, as an error number; 0 when nothing does.
int obstacle(const Target& target) {
    if (target.status) {
        if (S_ISDIR(target.status->st_mode)) return EISDIR;
        // A protected file stays protected although its folder would let it be replaced.
        if (access(target.path.c_str(), W_OK) != 0) return errno;
        if (!target.isReplaced) return 0;
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
    Descriptor descriptor(open(target.path.c_str(), O_WRONLY | O_CLOEXEC));
    if (descriptor < 0) return errno;
    const int error = writeAll(descriptor, bytes);
    const int closing = descriptor.close();
    return error != 0 ? error : closing;
}

int replace(const Target& target, std::string_view bytes) {
    // The name's end gives way where the whole would be too long for the disk.
    const std::string beside =
        folderOf(target.path) + "/." + nameOf(target.path).substr(0, 200) + "." + std::to_string(getpid()) + ".part";
    Descriptor descriptor(open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (descriptor < 0) return errno;
    int error = 0;
    if (target.status) {
        // The owner first: changing it clears bits of the mode. Only root may give a file away.
        if (fchown(descriptor, target.status->st_uid, target.status->st_gid) != 0) errno = 0;
        if (fchmod(descriptor, target.status->st_mode & 07777) != 0) error = errno;
    }
    if (error == 0) error = writeAll(descriptor, bytes);
    const int closing = descriptor.close();
    if (error == 0) error = closing;
    if (error == 0 && std::rename(beside.c_str(), target.path.c_str()) != 0) error = errno;
    if (error != 0) unlink(beside.c_str());
    return error;
}

} // namespace

std::expected<Source, std::string> readSource(const std::string& path) {
    if (path == "-") return readDescriptor(STDIN_FILENO, "Standard input");
    const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (descriptor < 0) return cannotRead(path, errno);
    if (isNamedPipe(descriptor)) return sentence(path, " is a pipe: send its text to standard input, and name \"-\".");
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) < 0) return cannotRead(path, errno);
    return readDescriptor(descriptor, path);
}

bool isStandardOutput(const Source& source) {
    struct stat status = {};
    return fstat(STDOUT_FILENO, &status) == 0 && source.identity.isSameFile(identityOf(status));
}

std::expected<void, std::string> checkOutput(const std::string& path, const Source& source) {
    struct stat status = {};
    if (path == "-") {
        if (isatty(STDOUT_FILENO) == 1)
            return std::unexpected("A module is no text, and standard output is a terminal: give a file, or send it on "
                                   "with a pipe.");
        return {};
    }
    if (stat(path.c_str(), &status) == 0 && source.identity.isSameFile(identityOf(status)))
        return sentence(path, " is the source itself: give another file for the result.");
    const auto target = resolve(path);
    if (!target) return cannotWrite(path, target.error());
    if (const int error = obstacle(*target); error != 0) return cannotWrite(path, error);
    return {};
}

std::expected<void, std::string> writeFile(const std::string& path, std::string_view bytes) {
    const auto target = resolve(path);
    if (!target) return cannotWrite(path, target.error());
    if (const int error = obstacle(*target); error != 0) return cannotWrite(path, error);
    const int error = target->isReplaced ? replace(*target, bytes) : writeDirectly(*target, bytes);
    if (error != 0) return cannotWrite(path, error);
    return {};
}

bool writeOutput(std::string_view bytes) {
    return writeAll(STDOUT_FILENO, bytes) == 0;
}

bool writeError(std::string_view bytes) {
    return writeAll(STDERR_FILENO, bytes) == 0;
}

} // namespace mslc
