#include "GlassHobRender/formats/MovieSink.h"

#include "GlassHobRender/formats/FileChecksum.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace glasshob {

namespace {

constexpr std::chrono::seconds stallDeadline{60};

} // namespace

MovieSink::MovieSink(std::string path, MovieSettings settings)
    : path_(std::move(path)), settings_(std::move(settings)) {}

MovieSink::~MovieSink() {
    if (writer_ == nullptr) return;
    if (writer_->status() == MovieWriter::Status::completed) return;
    writer_->cancelWriting();
    unlink(path_.c_str());
}

std::expected<void, ExportError> MovieSink::start() {
    unlink(path_.c_str()); // which spares a folder
    auto writer = MovieWriter::make(path_, settings_.container);
    if (!writer) return std::unexpected(ExportError(writer.error()));
    writer_ = std::move(*writer);
    video_ = std::visit([this](const auto& video) { return writer_->addVideo(video); }, settings_.video);
    if (video_ == nullptr) return std::unexpected(ExportError::setup("the writer rejected the video settings"));
    if (settings_.hasSound) sound_ = writer_->addAudio({});
    if (settings_.hasSound && sound_ == nullptr)
        return std::unexpected(ExportError::setup("the writer rejected the audio settings"));
    if (!settings_.descriptionKey.empty()) {
        writer_->describe(settings_.descriptionKey, settings_.description);
        writer_->describe(FileChecksum::metadataKey, FileChecksum::placeholder());
    }
    if (!writer_->addChapters(settings_.chapters))
        return std::unexpected(ExportError::setup("there is no memory for the chapters"));
    if (!writer_->startWriting()) return std::unexpected(writerError("startWriting"));
    return {};
}

ExportError MovieSink::writerError(const std::string& otherwise) const {
    const std::string told = writer_->error();
    return ExportError::writer(told.empty() ? otherwise : told);
}

std::expected<void, ExportError> MovieSink::waitFor(const MovieInput& input, const std::stop_token& stop) {
    if (input.isReadyForMoreMediaData()) return {};
    const auto deadline = std::chrono::steady_clock::now() + stallDeadline;
    while (true) {
        if (stop.stop_requested()) return std::unexpected(ExportError::cancelled());
        if (writer_->status() == MovieWriter::Status::failed) return std::unexpected(writerError("unknown"));
        if (std::chrono::steady_clock::now() >= deadline)
            return std::unexpected(
                ExportError::writer("the writer stalled waiting for the " + std::string(input.mediaType()) + " track"));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (input.isReadyForMoreMediaData()) return {};
    }
}

std::expected<void, ExportError> MovieSink::write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                                  const std::stop_token& stop) {
    if (auto ready = waitFor(*video_, stop); !ready) return ready;
    std::mutex lock;
    std::condition_variable changed;
    bool isRead = false;
    MovieFrame picture{pixels, rowBytes, {}};
    picture.release = [&] {
        const std::lock_guard guard(lock);
        isRead = true;
        changed.notify_all();
    };
    if (!writer_->append(*video_, std::move(picture)))
        return std::unexpected(writerError("append failed at frame " + std::to_string(number)));
    const auto isOver = [&] { return stop.stop_requested() || writer_->status() != MovieWriter::Status::writing; };
    std::unique_lock guard(lock);
    while (!isRead && !isOver())
        changed.wait_for(guard, std::chrono::milliseconds(20));
    if (isRead) return {};
    guard.unlock();
    writer_->cancelWriting(); // returns when nobody reads the pixels any more
    return std::unexpected(stop.stop_requested() ? ExportError::cancelled() : writerError("unknown"));
}

std::expected<void, ExportError> MovieSink::write(std::int64_t number, AVPacket& packet, const std::stop_token& stop) {
    if (auto ready = waitFor(*video_, stop); !ready) return ready;
    if (!writer_->append(*video_, packet))
        return std::unexpected(writerError("append failed at frame " + std::to_string(number)));
    return {};
}

std::expected<void, ExportError> MovieSink::writeSound(std::span<const float> samples, const std::stop_token& stop) {
    if (auto ready = waitFor(*sound_, stop); !ready) return ready;
    if (!writer_->append(*sound_, samples))
        return std::unexpected(writerError("audio failed at frame " + std::to_string(soundPieces_)));
    ++soundPieces_;
    return {};
}

void MovieSink::endSound() {
    sound_->markAsFinished();
}

std::expected<void, ExportError> MovieSink::finish(const std::stop_token& stop) {
    video_->markAsFinished();
    {
        // The encoder still holds dozens of frames, and the file is moved to make room for its index.
        const std::stop_callback whenStopped(stop, [this] { writer_->interrupt(); });
        if (!writer_->finishWriting())
            return std::unexpected(stop.stop_requested() ? ExportError::cancelled() : writerError("finishWriting"));
    }
    if (settings_.descriptionKey.empty()) return {};
    if (auto stamped = FileChecksum::stamp(path_); !stamped) {
        unlink(path_.c_str());
        return std::unexpected(ExportError(std::move(stamped.error())));
    }
    return {};
}

} // namespace glasshob
