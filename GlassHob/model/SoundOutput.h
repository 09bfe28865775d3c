// Where sound goes: a stream of the desktop's audio service, or what a test puts in its place. Opened, used and closed
// on one thread, never the main one, since every call may block. Failures are sentences to show.
#pragma once

#include <QString>

#include <expected>
#include <functional>
#include <memory>
#include <span>

namespace glasshob {

class SoundOutput {
  public:
    virtual ~SoundOutput() = default;
    // Left and right in turn, 48000 of each a second. Blocks until there is room, which paces the caller. False when
    // the stream has ended, for example because its service has.
    virtual bool write(std::span<const float> samples) = 0;
    // Seconds between writing a sample now and hearing it.
    virtual double latency() = 0;
};

using OpenedSound = std::expected<std::unique_ptr<SoundOutput>, QString>;
using OpenSound = std::function<OpenedSound()>;

// A stream of PulseAudio, or of PipeWire in its place.
OpenedSound openDesktopSound();

} // namespace glasshob
