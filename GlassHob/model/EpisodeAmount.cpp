#include "GlassHob/model/EpisodeAmount.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr double writeDelay = 1; // seconds
const QString setName = QStringLiteral("episode");
constexpr auto amountName = "amount";

float hundredths(float value) {
    return std::round(std::clamp(value, 0.0F, 1.0F) * 100) / 100;
}

} // namespace

EpisodeAmount::EpisodeAmount(const PresetStore& presets, std::unique_ptr<Delay> delay)
    : store_(QFileInfo(presets.path()).path() + QStringLiteral("/episodes.json")), delay_(std::move(delay)) {}

EpisodeAmount::~EpisodeAmount() = default;

void EpisodeAmount::set(float value) {
    if (std::isnan(value) || hundredths(value) == value_) return;
    value_ = hundredths(value);
    delay_->start(writeDelay, [this] { flush(); });
    emit changed();
}

void EpisodeAmount::open(const QString& key) {
    flush();
    key_ = key;
    const PresetStore::Presets kept = store_.presets(key);
    float value = usual;
    if (const auto set = kept.find(setName); set != kept.end())
        if (const auto amount = set->second.find(amountName); amount != set->second.end())
            value = hundredths(amount->second);
    if (value == value_) return;
    value_ = value;
    emit changed();
}

void EpisodeAmount::rename(const QString& key) {
    if (key == key_) return;
    flush();
    key_ = key;
    delay_->start(writeDelay, [this] { flush(); });
}

void EpisodeAmount::flush() {
    if (!delay_->isWaiting()) return;
    delay_->cancel();
    if (value_ == usual)
        store_.delete_(setName, key_);
    else
        store_.save({{amountName, value_}}, setName, key_);
}

} // namespace glasshob
