#include "GlassHobRender/formats/ByteOutput.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glasshob {

namespace {

constexpr int pipeSize = 1 << 20; // a frame in few pieces; the system's usual 64 KB means many turns of both programs
constexpr int pollMilliseconds = 50;

} // namespace

std::expected<ByteOutput, std::string> ByteOutput::file(const std::string& path, std::string name) {
    ByteOutput made(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666), std::move(name));
    if (made.descriptor_ < 0) return made.failure(errno);
    return made;
}

std::expected<ByteOutput, std::string> ByteOutput::descriptor(int number, std::string name) {
    struct stat status = {};
    // A pipe is opened once more, so that waiting for room in it can be ended, and whoever else has it sees no
    // difference.
    if (fstat(number, &status) == 0 && S_ISFIFO(status.st_mode)) {
        (void)fcntl(number, F_SETPIPE_SZ, pipeSize);
        const std::string again = "/proc/self/fd/" + std::to_string(number);
        const int own = open(again.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (own >= 0) return ByteOutput(own, std::move(name));
    }
    ByteOutput made(fcntl(number, F_DUPFD_CLOEXEC, 3), std::move(name));
    if (made.descriptor_ < 0) return made.failure(errno);
    return made;
}

ByteOutput::~ByteOutput() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::unexpected<std::string> ByteOutput::failure(int error) const {
    if (error == EPIPE)
        return std::unexpected(name_ + " could not be written: the program that was to read it has ended.");
    if (error == ENOSPC || error == EDQUOT)
        return std::unexpected(name_ + " could not be written: the disk is full. Make room, or choose another place.");
    return std::unexpected(name_ + " could not be written (" + strerrordesc_np(error) + "): choose another place.");
}

std::expected<void, std::string> ByteOutput::write(std::span<const std::byte> bytes, const std::stop_token& stop) {
    while (!bytes.empty()) {
        if (stop.stop_requested()) return std::unexpected("The writing of " + name_ + " was ended.");
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(std::size_t(count));
        } else if (errno == EAGAIN) {
            pollfd waited = {descriptor_, POLLOUT, 0};
            (void)poll(&waited, 1, pollMilliseconds);
        } else if (errno != EINTR) {
            return failure(errno);
        }
    }
    return {};
}

std::expected<void, std::string> ByteOutput::close() {
    if (::close(std::exchange(descriptor_, -1)) != 0 && errno != EINTR) return failure(errno);
    return {};
}

} // namespace glasshob
