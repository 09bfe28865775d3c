#include "GlassHobRender/export/MovieJoiner.h"

#include "GlassHobRender/export/EpisodeVideo.h"
#include "GlassHobRender/export/ExportSound.h"
#include "GlassHobRender/export/ExportThreads.h"
#include "GlassHobRender/formats/FileChecksum.h"
#include "GlassHobRender/formats/MovieObjects.h"
#include "GlassHobRender/formats/MovieSink.h"

#include <algorithm>
#include <optional>
#include <sys/stat.h>

namespace glasshob {

using namespace movielibrary;

namespace {

std::unexpected<std::string> mistake(std::string sentence) {
    return std::unexpected(std::move(sentence));
}

// "frame 7", "frames 7 to 9": the last one included, as people count.
std::string framesText(std::int64_t first, std::int64_t end) {
    return end - first == 1 ? "frame " + std::to_string(first)
                            : "frames " + std::to_string(first) + " to " + std::to_string(end - 1);
}

std::string optionText(std::int64_t first, std::int64_t end) {
    return "--frames " + std::to_string(first) + ":" + std::to_string(end);
}

std::expected<Input, std::string> openFile(const std::string& path) {
    AVFormatContext* opened = nullptr;
    const int result = avformat_open_input(&opened, ("file:" + path).c_str(), nullptr, nullptr);
    if (result == AVERROR(ENOENT)) return mistake("There is no file " + path + ": check its name.");
    if (result == AVERROR(EISDIR)) return mistake(path + " is a folder: give the files in it.");
    if (result == AVERROR_INVALIDDATA || result == AVERROR_EOF)
        return mistake(path + " is no movie: give the parts of one export.");
    if (result < 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(result, text, sizeof text);
        return mistake(path + " could not be read (" + text + "): render that part again, or give another file.");
    }
    return Input(opened);
}

// Whether everything that the index speaks of is in the file, and as many pictures as there should be.
bool isWhole(const std::string& path, AVStream& stream, std::int64_t pictures) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || avformat_index_get_entries_count(&stream) != pictures) return false;
    for (int i = 0; i < int(pictures); ++i) {
        const AVIndexEntry* entry = avformat_index_get_entry(&stream, i);
        if (entry->pos < 0 || entry->pos + entry->size > status.st_size) return false;
    }
    return true;
}

bool readPicture(AVFormatContext& input, AVPacket& packet, std::int64_t fps) {
    if (av_read_frame(&input, &packet) < 0) return false;
    const AVStream& stream = *input.streams[packet.stream_index];
    av_packet_rescale_ts(&packet, stream.time_base, {1, int(fps)});
    return true;
}

} // namespace

std::expected<MovieJoiner::Part, std::string> MovieJoiner::read(const std::string& path) {
    const auto input = openFile(path);
    if (!input) return std::unexpected(input.error());
    const AVDictionaryEntry* entry = av_dict_get((*input)->metadata, MoviePart::metadataKey, nullptr, 0);
    if (entry == nullptr)
        return mistake(path + " is no part of an export: parts are made with hob export --frames A:B.");
    auto part = MoviePart::fromText(entry->value);
    if (!part || (*input)->nb_streams != 1)
        return mistake(path + " was changed, or made by another version of hob: render it again with this one.");
    const std::string again = " render it again with " + optionText(part->first, part->end) + ".";
    AVStream& stream = *(*input)->streams[0];
    const Packet packet(av_packet_alloc());
    if (!isWhole(path, stream, part->end - part->first) || !readPicture(**input, *packet, part->preset.fps) ||
        (packet->flags & AV_PKT_FLAG_KEY) == 0 || packet->dts == AV_NOPTS_VALUE)
        return mistake(path + " is not whole:" + again);
    const AVDictionaryEntry* sum = av_dict_get((*input)->metadata, FileChecksum::metadataKey, nullptr, 0);
    if (sum == nullptr || !FileChecksum::isIntact(path, sum->value))
        return mistake(path + " is damaged: its checksum is not that of its pictures, so" + again);
    const auto* sets = stream.codecpar->extradata;
    return Part{path, std::move(*part), {sets, sets + stream.codecpar->extradata_size}, -packet->dts};
}

std::expected<void, std::string> MovieJoiner::checkSequence(const std::vector<Part>& parts) {
    std::string gaps;
    std::string options;
    int count = 0;
    std::int64_t next = 0;
    const auto gap = [&](std::int64_t first, std::int64_t end) {
        if (first >= end) return;
        if (++count > 8) return;
        gaps += (count > 1 ? ", " : "") + framesText(first, end);
        options += (count > 1 ? ", " : "") + optionText(first, end);
    };
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const MoviePart& part = parts[i].part;
        if (i > 0 && part.first < next) {
            const Part& before = parts[i - 1];
            if (before.part.first == part.first && before.part.end == part.end)
                return mistake(before.path + " and " + parts[i].path + " hold the same " +
                               framesText(part.first, part.end) + ": leave one of them out.");
            return mistake(before.path + " and " + parts[i].path + " both hold " +
                           framesText(part.first, std::min(next, part.end)) + ": give parts that do not overlap.");
        }
        gap(next, part.first);
        next = part.end;
    }
    gap(next, parts.front().part.frameCount());
    if (count == 0) return {};
    if (count > 8) {
        gaps += " and " + std::to_string(count - 8) + " more stretches";
        options += " and so on";
    }
    gaps[0] = 'F';
    const bool isOneFrame = count == 1 && gaps.starts_with("Frame ");
    return mistake(gaps + (isOneFrame ? " is" : " are") + " missing: render what is not there with " + options + ".");
}

std::expected<MovieJoiner, std::string> MovieJoiner::make(const std::vector<std::string>& paths) {
    if (paths.empty()) return mistake("There are no parts to join.");
    if (const auto loaded = loadMovieLibrary(); !loaded) return std::unexpected(loaded.error());
    MovieJoiner joiner;
    for (const std::string& path : paths) {
        auto part = read(path);
        if (!part) return std::unexpected(part.error());
        if (!joiner.parts_.empty()) {
            const Part& first = joiner.parts_.front();
            if (part->part.wholeIdentity() != first.part.wholeIdentity()) {
                const std::string difference = part->part.differenceFrom(first.part);
                return mistake(first.path + " and " + path + " are parts of two different exports" +
                               (difference.empty() ? "" : ", which differ in " + difference) +
                               ": join parts of one export.");
            }
            if (part->parameterSets != first.parameterSets)
                return mistake(first.path + " and " + path +
                               " were encoded in two different ways: render one of them again with the --encoder and "
                               "--quality of the other.");
        }
        joiner.parts_.push_back(std::move(*part));
    }
    std::ranges::sort(joiner.parts_, {}, [](const Part& part) { return std::pair(part.part.first, part.part.end); });
    if (const auto checked = checkSequence(joiner.parts_); !checked) return std::unexpected(checked.error());
    return joiner;
}

std::expected<void, std::string> MovieJoiner::join(const std::string& path, MovieContainer container,
                                                   const std::vector<ExportSegment>& segments,
                                                   const std::shared_ptr<gpu::Device>& device, const Progress& progress,
                                                   const std::stop_token& stop) const {
    const auto input = openFile(parts_.front().path);
    if (!input) return std::unexpected(input.error());
    // The parameters in full: what the index alone does not tell stands in the first pictures.
    if (avformat_find_stream_info(input->get(), nullptr) < 0)
        return mistake(parts_.front().path + " could not be read.");
    const std::int64_t fps = whole().preset.fps;
    const ExportTimeline timeline(segments, fps);
    std::optional<ExportSound> sound;
    try {
        if (whole().hasSound()) sound.emplace(timeline, device);
    } catch (const ExportError& error) {
        return mistake(error.description);
    }
    MovieSink sink(path,
                   {.container = container,
                    .video = EncodedVideo{(*input)->streams[0]->codecpar, fps},
                    .hasSound = sound.has_value(),
                    .chapters = whole().chapters ? movieChapters(*whole().chapters) : std::vector<MovieChapter>()});
    if (const auto started = sink.start(); !started) return mistake(started.error().description);
    std::int64_t delay = 0;
    for (const Part& part : parts_)
        delay = std::max(delay, part.delay);
    {
        ExportThreads threads(stop);
        if (sound) threads.runSound(*sound, timeline.frameCount(), sink);
        for (const Part& part : parts_)
            if (auto copied = copy(part, sink, threads, delay, progress); !copied) return copied;
        threads.join();
        if (const auto failure = threads.failure()) return mistake(failure->description);
    }
    if (const auto finished = sink.finish(stop); !finished) return mistake(finished.error().description);
    (void)progress(timeline.frameCount(), timeline.frameCount());
    return {};
}

// Decoding times are made anew, a frame apart throughout: a short part may have begun with a smaller delay than others.
std::expected<void, std::string> MovieJoiner::copy(const Part& part, MovieSink& sink, ExportThreads& threads,
                                                   std::int64_t delay, const Progress& progress) const {
    const std::int64_t count = part.part.end - part.part.first;
    const auto input = openFile(part.path);
    if (!input) return std::unexpected(input.error());
    const Packet packet(av_packet_alloc());
    for (std::int64_t i = 0; i < count && !threads.hasFailed(); ++i) {
        const std::int64_t decoded = part.part.first + i;
        if (!progress(decoded, part.part.frameCount())) {
            threads.fail(ExportError::cancelled());
            return {};
        }
        if (!readPicture(**input, *packet, part.part.preset.fps) || packet->pts < 0 || packet->pts >= count ||
            packet->pts < i - delay) {
            return mistake(part.path + " is damaged at " + framesText(decoded, decoded + 1) +
                           ": render it again with " + optionText(part.part.first, part.part.end) + ".");
        }
        packet->pts += part.part.first;
        packet->dts = decoded - delay;
        packet->duration = 1;
        if (const auto written = sink.write(decoded, *packet, threads.ended()); !written) {
            threads.fail(written.error());
            return {};
        }
    }
    return {};
}

} // namespace glasshob
