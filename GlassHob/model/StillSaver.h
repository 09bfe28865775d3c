// Saves stills: in a size of their own, which is remembered, and in the format that the name's ending says. Asks where
// to, draws away from the main thread beside the live picture, and tells what was saved. Main thread; owned by the
// model.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace glasshob {

class AppModel;
class ShaderProgram;

// A moment of the picture, and where it goes.
struct StillRequest {
    std::shared_ptr<const ShaderProgram> program;
    SliderValues values;
    std::uint32_t frame = 0;
    float time = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    QString path = {};
};

struct SavedStill {
    QString path;
    std::int64_t width = 0;
    std::int64_t height = 0;
    qint64 bytes = 0;
};

class StillSaver : public QObject {
    Q_OBJECT
  public:
    struct Size {
        std::int64_t width = 1920;
        std::int64_t height = 1080;
        bool operator==(const Size&) const = default;
    };

    explicit StillSaver(AppModel& model) : model_(model) {}

    // What the next still has; kept in the settings.
    static Size size();
    static void setSize(Size size);

    // The moment as it is, in the size that is chosen; nothing while there is no picture.
    std::optional<StillRequest> now() const;
    // The document's name, the clock's time, ".png".
    QString suggestedName() const;
    // Asks where to put it, and saves it there. `answered` hears whether a place was given.
    void chooseAndSave(StillRequest request, std::function<void(bool)> answered = {});

  signals:
    void began();
    // After one that began; saved() or a warning comes next.
    void ended();
    void saved(const glasshob::SavedStill& still);

  private:
    void save(StillRequest request);

    AppModel& model_;
};

} // namespace glasshob
