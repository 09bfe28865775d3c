#include "GlassHob/model/SoundFeed.h"

#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glasshob {

namespace {

constexpr float gainStep = 1.0F / float(SoundFeed::fadeFrames);

} // namespace

void SoundFeed::setSource(std::optional<Source> source) {
    const std::scoped_lock lock(mutex_);
    source_ = std::move(source);
    ++version_;
}

void SoundFeed::setClock(double time, bool runs, double now) {
    const std::scoped_lock lock(mutex_);
    offset_ = time - now;
    // What is in the track would be heard again from where it stopped, or from somewhere else.
    if (!std::exchange(runs_, runs) && runs) ++version_;
}

SoundFeed::Frames SoundFeed::expected(double now) const {
    return Frames(std::llround((offset_ + now) * rate));
}

std::optional<SoundFeed::Job> SoundFeed::nextJob(double now) {
    const std::scoped_lock lock(mutex_);
    if (!audible() || failedVersion_ == version_) return std::nullopt;
    const Frames heard = expected(now + latency_);
    // A track that is there and of this version is continued.
    const std::optional<Track>& track = next_ && next_->version == version_ ? next_ : current_;
    if (track && track->version == version_ && track->end() > heard) {
        const Frames missing = heard + aheadFrames - track->end();
        if (missing < firstFrames) return std::nullopt;
        return Job{*source_, version_, track->end(), std::min(missing, firstFrames * 2)};
    }
    return Job{*source_, version_, std::max<Frames>(0, heard), firstFrames * 2};
}

void SoundFeed::deliver(const Job& job, std::vector<float> samples) {
    const std::scoped_lock lock(mutex_);
    if (Frames(samples.size() / 2) < job.frames) {
        if (job.version == version_) failedVersion_ = version_;
        return;
    }
    for (float& sample : samples)
        if (!std::isfinite(sample)) sample = 0;
    for (std::optional<Track>* track : {&next_, &current_}) {
        if (!*track || (*track)->version != job.version || (*track)->end() != job.start) continue;
        std::vector<float>& kept = (*track)->samples;
        kept.insert(kept.end(), samples.begin(), samples.end());
        return;
    }
    // A straggler of a source that has been replaced already.
    if ((next_ && job.version < next_->version) || (current_ && job.version < current_->version)) return;
    next_ = Track{job.version, job.start, std::move(samples)};
}

float SoundFeed::at(const std::optional<Track>& track, Frames frame, int channel) {
    if (!track || frame < track->start || frame >= track->end()) return 0;
    return track->samples[std::size_t(frame - track->start) * 2 + std::size_t(channel)];
}

bool SoundFeed::isSilent() {
    const std::scoped_lock lock(mutex_);
    return !audible();
}

bool SoundFeed::take(std::span<float> out, double now, double latency) {
    const std::scoped_lock lock(mutex_);
    latency_ = latency;
    const Frames count = Frames(out.size() / 2);
    const Frames wanted = expected(now + latency);

    if (audible()) {
        // A clock that was set elsewhere: what plays is out of step, and a new track takes its place.
        if (current_ && current_->version == version_ && std::abs(wanted - position_) > mostDriftFrames) ++version_;
        if (next_ && next_->version != version_ && next_->end() <= wanted) next_.reset();
    }
    // The new track takes over as soon as it covers the moment.
    std::optional<Track> old;
    Frames oldPosition = 0;
    const float oldGain = gain_;
    if (audible() && next_ && next_->start <= wanted && next_->end() >= wanted + count) {
        old = std::exchange(current_, std::exchange(next_, std::nullopt));
        oldPosition = std::exchange(position_, wanted);
        gain_ = 0;
    }
    for (Frames i = 0; i < count; ++i) {
        // Where nothing follows, the end is faded like everything else.
        const bool sounds = audible() && current_ && position_ + fadeFrames < current_->end();
        gain_ = std::clamp(gain_ + (sounds ? gainStep : -gainStep), 0.0F, 1.0F);
        const float before = std::max(0.0F, oldGain - gainStep * float(i));
        for (int channel = 0; channel < 2; ++channel)
            out[std::size_t(i * 2 + channel)] =
                at(current_, position_, channel) * gain_ + at(old, oldPosition, channel) * before;
        ++position_;
        ++oldPosition;
    }
    // What has been heard is let go of.
    if (current_ && position_ - current_->start > rate) {
        const Frames heard = std::min(position_, current_->end()) - current_->start;
        current_->samples.erase(current_->samples.begin(), current_->samples.begin() + heard * 2);
        current_->start += heard;
    }
    if (!audible() && gain_ <= 0) {
        current_.reset();
        next_.reset();
        return false;
    }
    return true;
}

} // namespace glasshob
