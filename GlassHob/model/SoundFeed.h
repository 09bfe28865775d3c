// The sound of a shader as a stream that keeps in step with the picture's clock. One thread takes samples for the audio
// device, another renders them a little ahead; the window tells what is to be heard and what time it is.
//
// Samples are kept as tracks: stretches that were rendered from one source (a program and its slider values). A change
// of the source, a pause, a start from the beginning or a clock that has run away each call for a new track; the old
// one sounds on until the new one is there, and the two are crossfaded, so that nothing clicks and no slider leaves a
// hole.
//
// Any thread: every call takes a lock for a moment. The time of the machine is an argument, so that tests need no
// waiting. What could not be rendered is silence.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace glasshob {

class ShaderProgram;

class SoundFeed {
  public:
    static constexpr int rate = 48000;
    // Samples are counted in frames, a left and a right one, from the shader's time 0.
    using Frames = std::int64_t;
    static constexpr Frames fadeFrames = rate / 100;
    static constexpr Frames aheadFrames = rate / 2;      // rendered ahead of what is heard
    static constexpr Frames firstFrames = rate / 8;      // the first piece of a track: it is waited for
    static constexpr Frames mostDriftFrames = rate / 16; // from here on the sound jumps after the picture

    struct Source {
        std::shared_ptr<const ShaderProgram> program;
        SliderValues values;
    };
    // What is to be heard from now on; nothing for silence.
    void setSource(std::optional<Source> source);
    // At the machine's time `now` the shader's time is `time`, and runs or stands.
    void setClock(double time, bool runs, double now);

    // A stretch to be rendered.
    struct Job {
        Source source;
        std::uint64_t version = 0;
        Frames start = 0;
        Frames frames = 0;
    };
    // What is needed most; nothing while there is enough.
    std::optional<Job> nextJob(double now);
    // Whether nothing is to be heard, so that there will be no job before the next source or clock.
    bool isSilent();
    // Left and right in turn, job.frames of each; fewer is a failure: that source is silent then.
    void deliver(const Job& job, std::vector<float> samples);

    // Fills `out` (left and right in turn) with what will be heard `latency` seconds after `now`. False when there is
    // silence from here on: the device may rest until a new source or clock is set.
    bool take(std::span<float> out, double now, double latency);

  private:
    struct Track {
        std::uint64_t version = 0;
        Frames start = 0;
        std::vector<float> samples;
        Frames end() const { return start + Frames(samples.size() / 2); }
    };
    Frames expected(double now) const;
    bool audible() const { return runs_ && source_; }
    static float at(const std::optional<Track>& track, Frames frame, int channel);

    std::mutex mutex_;
    std::optional<Source> source_;
    // Counts what has to be rendered anew; a track of an older version is on its way out.
    std::uint64_t version_ = 1;
    std::uint64_t failedVersion_ = 0;
    double offset_ = 0; // the shader's time less the machine's
    bool runs_ = false;
    double latency_ = 0;

    std::optional<Track> current_;
    std::optional<Track> next_;
    Frames position_ = 0; // the next frame of current_ to be heard
    float gain_ = 0;      // of what is heard: 1, or on its way to 0 or 1
};

} // namespace glasshob
