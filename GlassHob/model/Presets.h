// The named slider settings of the document that is open: what the inspector and the menu list, apply, save and delete.
//
// Owned by the model and reads its sliders through it. Main thread. Nothing here fails visibly (see PresetStore).
// changed() tells that the list is another one: after saving, deleting, and when another document is open.
#pragma once

#include "GlassHob/model/PresetStore.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>

namespace glasshob {

class AppModel;
class Questions;

class Presets : public QObject {
    Q_OBJECT
  public:
    Presets(AppModel& model, Questions& questions, PresetStore store);

    // In the order of their code points: "B" before "a" before "b".
    const QStringList& names() const;
    // The preset whose values are those of the sliders now, the first where several are; none for a shader without
    // sliders.
    std::optional<QString> applied() const;
    // What the preset holds, to put it back after a deletion.
    std::optional<SliderValues> values(const QString& name) const;
    // Counts the changes of the list; a view that shows an older version asks again.
    int version() const { return version_; }
    // Whether there are sliders whose settings can be saved.
    bool canSave() const;

    // A parameter that the preset lacks takes its default, so that a preset always gives the same picture; a name that
    // the shader no longer declares is passed over; a value outside the range that the shader declares now is clamped.
    void apply(const QString& name);
    // Asks for a name and saves the values of this moment under it; asks once more before it replaces a preset.
    void saveAfterQuestion();
    // Asks, then gives the preset the values of this moment.
    void replaceAfterQuestion(const QString& name);
    // Asks for another name, and before it replaces a preset that has it.
    void renameAfterQuestion(const QString& name);
    // Replaces a preset of that name. A name of blanks saves nothing.
    void save(const QString& name, const SliderValues& values);
    void delete_(const QString& name);

  signals:
    void changed();

  private:
    void followDocument();
    void announce();
    bool has(const QString& name) const { return values(name).has_value(); }
    // Asks before `then` replaces the preset. The answer is dropped if another document has been opened by then.
    void askToReplace(const QString& name, const QString& informativeText, std::function<void()> then);

    AppModel& model_;
    Questions& questions_;
    PresetStore store_;
    QString key_;
    int version_ = 0;
    // What the file held when it was last asked, and the names in their order.
    struct Listing {
        PresetStore::Presets presets;
        QStringList names;
    };
    mutable std::optional<Listing> listing_;
    const Listing& listing() const;
};

} // namespace glasshob
