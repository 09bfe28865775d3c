#include "GlassHobCore/files/ShaderFile.h"

#include "GlassHobCore/text/Lines.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glasshob::ShaderFile {

namespace {

std::unexpected<Failure> fail(Problem problem, std::string sentence) {
    return std::unexpected(Failure{problem, std::move(sentence)});
}

std::unexpected<Failure> failReading(std::string_view name, int error) {
    std::string sentence(name);
    switch (error) {
    case ENOENT:
    case ENOTDIR: return fail(Problem::missing, "There is no file " + sentence + ": check its name and folder.");
    case EISDIR: return fail(Problem::folder, sentence + " is a folder: name a shader file inside it.");
    case EACCES:
    case EPERM: return fail(Problem::unreadable, sentence + " may not be read by you: check its permissions.");
    default:
        return fail(Problem::unreadable,
                    sentence + " could not be read (" + strerrordesc_np(error) + "): check the disk it lies on.");
    }
}

} // namespace

std::size_t lineCount(std::string_view text) {
    std::size_t count = 1;
    for (std::size_t i = 0; i < text.size(); ++i)
        count += text[i] == '\n' || (text[i] == '\r' && (i + 1 == text.size() || text[i + 1] != '\n'));
    return count;
}

bool fits(std::string_view text) {
    return text.size() <= sizeLimit && lineCount(text) <= lineLimit;
}

std::expected<std::string, Failure> readDescriptor(int descriptor, std::string_view name) {
    std::string text;
    struct stat status = {};
    if (fstat(descriptor, &status) == 0) {
        if (S_ISDIR(status.st_mode)) return failReading(name, EISDIR);
        if (S_ISREG(status.st_mode) && status.st_size > 0) {
            text.reserve(std::min(static_cast<std::size_t>(status.st_size), sizeLimit) + 1);
        }
    }
    char block[64 * 1024];
    while (true) {
        const ssize_t count = ::read(descriptor, block, sizeof block);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failReading(name, errno);
        if (count == 0) break;
        text.append(block, static_cast<std::size_t>(count));
        if (text.size() > sizeLimit) {
            return fail(Problem::tooLarge,
                        std::string(name) + " is larger than 4 MB, too large for a shader: it was not opened.");
        }
    }
    if (!fits(text)) {
        return fail(Problem::tooLarge,
                    std::string(name) + " has more than 200,000 lines, too many for a shader: it was not opened.");
    }
    if (!isValidUtf8(text)) {
        return fail(Problem::notText, std::string(name) + " is not UTF-8 text: it was not opened.");
    }
    return text;
}

std::expected<std::string, Failure> read(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return failReading(path.empty() ? "with an empty name" : path, errno);
    auto result = readDescriptor(descriptor, path);
    close(descriptor);
    return result;
}

} // namespace glasshob::ShaderFile
