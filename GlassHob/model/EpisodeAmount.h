// How far the variations of an episode stray from the sliders' defaults: chosen where variations are picked, used where
// the episode is made, and kept on disk for each document, in a file of the presets' form beside it. The header has no
// line for it.
//
// Main thread; a write blocks for as long as the disk takes. Nothing is ever reported, as with presets.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/PresetStore.h"

#include <QObject>

#include <memory>

namespace glasshob {

class EpisodeAmount : public QObject {
    Q_OBJECT
  public:
    // Of a document that has none of its own yet.
    static constexpr float usual = 0.6F;

    // In the folder of `presets`. A change is written when `delay` elapses after the last one.
    EpisodeAmount(const PresetStore& presets, std::unique_ptr<Delay> delay);
    ~EpisodeAmount() override;

    // From 0 to 1, in whole hundredths.
    float value() const { return value_; }
    // Clamped; what is not a number changes nothing.
    void set(float value);

    // Another document is open: its own amount, or the usual one.
    void open(const QString& key);
    // The document goes by another key from now on, and keeps its amount.
    void rename(const QString& key);
    // Writes what still waits.
    void flush();

  signals:
    void changed();

  private:
    PresetStore store_;
    std::unique_ptr<Delay> delay_;
    QString key_;
    float value_ = usual;
};

} // namespace glasshob
