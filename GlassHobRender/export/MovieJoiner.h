#pragma once

// Joins the parts of one export into the movie that it would have been: pictures are taken over as they are encoded,
// each at its own time, and the sound is rendered once.
//
// make() opens every part and finds out whether they are one whole; join() blocks its thread. Both fail with a
// sentence; a file that is not whole is removed. One thread at a time.

#include "GlassHobRender/export/MoviePart.h"
#include "GlassHobRender/formats/MovieWriter.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob {

class ExportThreads;
class MovieSink;

class MovieJoiner {
  public:
    // The parts may come in any order.
    static std::expected<MovieJoiner, std::string> make(const std::vector<std::string>& paths);

    // The first part; all but its frames is the whole's.
    const MoviePart& whole() const { return parts_.front().part; }

    // False cancels.
    using Progress = std::function<bool(std::int64_t done, std::int64_t total)>;

    // `segments` are the whole's (MoviePart::exportSegments()); their programs may be null where it has no sound. A
    // file at `path` is replaced.
    std::expected<void, std::string> join(const std::string& path, MovieContainer container,
                                          const std::vector<ExportSegment>& segments,
                                          const std::shared_ptr<gpu::Device>& device, const Progress& progress,
                                          const std::stop_token& stop = {}) const;

  private:
    struct Part {
        std::string path;
        MoviePart part;
        // The encoder's parameter sets, which one track has once.
        std::vector<std::uint8_t> parameterSets;
        // By how many frames decoding runs ahead of showing.
        std::int64_t delay = 0;
    };

    static std::expected<Part, std::string> read(const std::string& path);
    static std::expected<void, std::string> checkSequence(const std::vector<Part>& parts);
    // Fails where the part is damaged; other failures are the threads'.
    std::expected<void, std::string> copy(const Part& part, MovieSink& sink, ExportThreads& threads, std::int64_t delay,
                                          const Progress& progress) const;

    std::vector<Part> parts_; // in the order of their frames
};

} // namespace glasshob
