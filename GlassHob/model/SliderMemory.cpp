#include "GlassHob/model/SliderMemory.h"

#include <QFileInfo>

#include <utility>

namespace glasshob {

namespace {

constexpr double writeDelay = 1; // seconds
const QString valuesName = QStringLiteral("values"), defaultsName = QStringLiteral("defaults");

} // namespace

SliderMemory::SliderMemory(const PresetStore& presets, std::unique_ptr<Delay> delay)
    : store_(QFileInfo(presets.path()).path() + QStringLiteral("/sliders.json")), delay_(std::move(delay)) {}

SliderMemory::Positions SliderMemory::of(const QString& key) const {
    PresetStore::Presets kept = store_.presets(key);
    return {std::move(kept[valuesName]), std::move(kept[defaultsName])};
}

void SliderMemory::moved(const QString& key, std::function<Positions()> positions) {
    if (waiting_ && key != key_) flush();
    key_ = key;
    waiting_ = std::move(positions);
    delay_->start(writeDelay, [this] { flush(); });
}

void SliderMemory::flush() {
    delay_->cancel();
    if (!waiting_) return;
    const Positions positions = std::exchange(waiting_, {})();
    if (positions.values == positions.defaults) {
        store_.delete_(valuesName, key_);
        store_.delete_(defaultsName, key_);
    } else {
        store_.save(positions.values, valuesName, key_);
        store_.save(positions.defaults, defaultsName, key_);
    }
}

} // namespace glasshob
