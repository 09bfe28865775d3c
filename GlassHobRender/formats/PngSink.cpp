#include "GlassHobRender/formats/PngSink.h"

#include "GlassHobCore/files/PartialFile.h"
#include "GlassHobRender/formats/ByteOutput.h"
#include "GlassHobRender/output/StillRenderer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace glasshob {

namespace {

constexpr std::string_view unfinishedEnding = ".unfinished";

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string orHere(const std::string& folder) {
    return folder.empty() ? "." : folder;
}

// Makes a folder, or takes the one that is there; whether it was made.
std::expected<bool, std::string> makeFolder(const std::string& folder) {
    if (mkdir(orHere(folder).c_str(), 0777) == 0) return true;
    const int error = errno;
    struct stat status = {};
    if (stat(orHere(folder).c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return false;
    if (error == ENOENT)
        return std::unexpected("The folder " + folder +
                               " could not be made: the one around it is not there. Make that first.");
    if (error == EEXIST || error == ENOTDIR)
        return std::unexpected(folder + " cannot be a folder: there is a file in its place. Choose another.");
    return std::unexpected("The folder " + folder + " could not be made (" + strerrordesc_np(error) +
                           "): choose another place.");
}

} // namespace

std::expected<FrameNames, std::string> FrameNames::parse(const std::string& text) {
    FrameNames names;
    names.folder_ = folderOf(text);
    const std::string name = text.substr(names.folder_.size());
    if (name.empty()) {
        names.after_ = ".png";
        return names;
    }
    const std::unexpected wrong(text + " cannot name the frames: give one place for the number in the file's name, "
                                       "such as %05d, or a folder with a slash at its end.");
    if (names.folder_.find('%') != std::string::npos) return wrong;
    std::string* part = &names.before_;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] != '%') {
            *part += name[i];
        } else if (i + 1 < name.size() && name[i + 1] == '%') {
            *part += '%';
            ++i;
        } else {
            const std::size_t d = name.find('d', i);
            if (d == std::string::npos || part == &names.after_) return wrong;
            const std::string digits = name.substr(i + 1, d - i - 1);
            const bool isPlain = digits.empty();
            const bool isPadded = digits.size() == 2 && digits[0] == '0' && digits[1] >= '1' && digits[1] <= '9';
            if (!isPlain && !isPadded) return wrong;
            names.digits_ = isPlain ? 1 : digits[1] - '0';
            part = &names.after_;
            i = d;
        }
    }
    if (part != &names.after_) return wrong;
    return names;
}

std::string FrameNames::name(std::int64_t number) const {
    std::string digits = std::to_string(number);
    if (digits.size() < std::size_t(digits_)) digits.insert(0, std::size_t(digits_) - digits.size(), '0');
    return before_ + digits + after_;
}

PngSink::PngSink(FrameNames names, std::int64_t width, std::int64_t height, bool replaces)
    : names_(std::move(names)), width_(width), height_(height), replaces_(replaces) {}

std::expected<std::unique_ptr<PngSink>, std::string> PngSink::make(FrameNames names, std::int64_t width,
                                                                   std::int64_t height, bool replaces) {
    std::unique_ptr<PngSink> sink(new PngSink(std::move(names), width, height, replaces));
    const std::string& folder = sink->names_.folder();
    const auto made = makeFolder(folder);
    if (!made) return std::unexpected(made.error());
    sink->madeFolder_ = *made;
    if (*made) UnfinishedPaths::add(folder, UnfinishedPaths::Removal::whenEmpty);
    UnfinishedPaths::removeAbandoned(folder, unfinishedEnding);
    const std::string unfinished = folder + UnfinishedPaths::marked(".frames.", unfinishedEnding);
    if (mkdir(unfinished.c_str(), 0700) != 0)
        return std::unexpected("Nothing can be written into the folder " + orHere(folder) + " (" +
                               strerrordesc_np(errno) + "): choose another.");
    UnfinishedPaths::add(unfinished);
    sink->unfinished_ = unfinished + "/";
    return sink;
}

PngSink::~PngSink() {
    if (!unfinished_.empty()) {
        for (const std::int64_t number : written_)
            std::remove((unfinished_ + names_.name(number)).c_str());
        forgetUnfinished();
    }
    if (madeFolder_) UnfinishedPaths::forget(names_.folder());
    if (madeFolder_) rmdir(names_.folder().c_str()); // which does nothing where others have put something in
}

void PngSink::forgetUnfinished() const {
    rmdir(unfinished_.c_str());
    UnfinishedPaths::forget(unfinished_.substr(0, unfinished_.size() - 1));
}

unsigned PngSink::threadCount() const {
    return std::clamp(std::thread::hardware_concurrency(), 1U, 16U);
}

std::expected<void, ExportError> PngSink::write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                                const std::stop_token& stop) {
    const std::string bytes =
        StillRenderer::png(reinterpret_cast<const std::uint8_t*>(pixels), rowBytes, width_, height_);
    if (bytes.empty()) return std::unexpected(ExportError("There is no memory for a picture: choose a smaller size."));
    {
        const std::lock_guard guard(lock_);
        written_.push_back(number);
    }
    const std::string name = names_.name(number);
    auto output = ByteOutput::file(unfinished_ + name, names_.folder() + name);
    if (!output) return std::unexpected(ExportError(output.error()));
    if (auto written = output->write(std::as_bytes(std::span(bytes)), stop); !written)
        return std::unexpected(ExportError(std::move(written.error())));
    if (auto closed = output->close(); !closed) return std::unexpected(ExportError(std::move(closed.error())));
    return {};
}

std::expected<void, ExportError> PngSink::finish(const std::stop_token&) {
    while (!written_.empty()) {
        const std::string name = names_.name(written_.back());
        const std::string place = names_.folder() + name;
        const auto moved = PartialFile::move(unfinished_ + name, place, replaces_);
        if (moved == EEXIST)
            return std::unexpected(ExportError(place + " is there by now: another program has made it. Choose another "
                                                       "place, or replace such files."));
        if (moved != 0)
            return std::unexpected(ExportError("The frames could not be moved to their place: " + place +
                                               " cannot be written (" + strerrordesc_np(moved) + ")."));
        UnfinishedPaths::forget(names_.folder());
        madeFolder_ = false;
        written_.pop_back();
    }
    forgetUnfinished();
    unfinished_.clear();
    return {};
}

} // namespace glasshob
