// All named slider settings of all shaders, in one JSON file: shader's key -> preset's name -> parameter -> number.
//
// A value that holds only the file's path: every call reads the file and, where something changes, replaces it whole.
// Main thread; blocks for as long as the disk takes. Nothing is ever reported: a file that is missing or broken reads
// as no presets, and a write that fails leaves the file as it was. A broken file that a write would replace is kept
// beside it under another name, and where even that fails nothing is written.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <QString>

#include <map>

namespace glasshob {

// Whether two preset names are the same text, however their accents are encoded.
bool isSamePresetName(const QString& a, const QString& b);

class PresetStore {
  public:
    using Presets = std::map<QString, SliderValues>;

    explicit PresetStore(QString path = standardPath());

    // "presets.json" in the application's folder of the user's data.
    static QString standardPath();

    const QString& path() const { return path_; }

    Presets presets(const QString& key) const;
    // Replaces a preset of that name. Nothing happens when a value is not finite: the file could not hold it.
    void save(const SliderValues& values, const QString& name, const QString& key) const;
    void delete_(const QString& name, const QString& key) const;

  private:
    QString path_;
};

} // namespace glasshob
