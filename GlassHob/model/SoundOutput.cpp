#include "GlassHob/model/SoundOutput.h"

#include "GlassHob/model/SoundFeed.h"
#include "GlassHobCore/Identity.h"

#include <QCoreApplication>

#include <pulse/error.h>
#include <pulse/simple.h>

#include <cstdint>
#include <string>

namespace glasshob {

namespace {

constexpr pa_usec_t buffered = 120'000; // microseconds that the service keeps: late writes up to this are not heard

class PulseStream : public SoundOutput {
  public:
    explicit PulseStream(pa_simple* stream) : stream_(stream) {}
    ~PulseStream() override {
        int error = 0;
        pa_simple_drain(stream_, &error); // the fade at the end is to be heard
        pa_simple_free(stream_);
    }

    bool write(std::span<const float> samples) override {
        int error = 0;
        return pa_simple_write(stream_, samples.data(), samples.size_bytes(), &error) >= 0;
    }
    double latency() override {
        int error = 0;
        const pa_usec_t latency = pa_simple_get_latency(stream_, &error);
        return latency == pa_usec_t(-1) ? 0 : double(latency) * 1e-6;
    }

  private:
    pa_simple* stream_;
};

} // namespace

OpenedSound openDesktopSound() {
    const pa_sample_spec format{.format = PA_SAMPLE_FLOAT32NE, .rate = SoundFeed::rate, .channels = 2};
    constexpr auto byDefault = std::uint32_t(-1);
    const pa_buffer_attr buffer{.maxlength = byDefault,
                                .tlength = std::uint32_t(pa_usec_to_bytes(buffered, &format)),
                                .prebuf = byDefault,
                                .minreq = byDefault,
                                .fragsize = byDefault};
    int error = 0;
    pa_simple* stream = pa_simple_new(nullptr, std::string(Identity::applicationName).c_str(), PA_STREAM_PLAYBACK,
                                      nullptr, "Shader", &format, nullptr, &buffer, &error);
    if (!stream)
        return std::unexpected(
            QCoreApplication::translate("SoundOutput",
                                        "No sound service answers on this desktop (%1). Start PipeWire or PulseAudio, "
                                        "check that a sound device is connected, and turn the sound on again.")
                .arg(QString::fromUtf8(pa_strerror(error))));
    return std::make_unique<PulseStream>(stream);
}

} // namespace glasshob
