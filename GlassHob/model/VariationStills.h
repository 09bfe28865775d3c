// Draws small pictures of a program with other slider values, one at a time, on a thread beside the main one: stills in
// the order in which they are wanted, and one that runs. The frames have background priority and leave the device free
// for most of the time, so that the live picture keeps its pace.
//
// Main thread. Nothing waits for the thread: a drawing that is no longer wanted ends by itself, and is dropped. The
// thread is there only while there is something to draw. What cannot be drawn is left out.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <QImage>
#include <QObject>
#include <QSize>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace glasshob {

class ShaderProgram;

class VariationStills : public QObject {
    Q_OBJECT
  public:
    struct Wish {
        std::int64_t index = 0;
        SliderValues values;
        // Seconds of the shader's time.
        double start = 0;
        bool operator==(const Wish&) const = default;
    };

    VariationStills() = default;
    ~VariationStills() override;

    // Draws this one from now on, so many pixels large; nothing where it is null. What was wanted is forgotten.
    void begin(std::shared_ptr<const ShaderProgram> program, const QSize& size);
    // In this order, in the place of those of the call before that are not drawn yet.
    void want(std::vector<Wish> wishes);
    // Runs from its start on, at most thirty frames a second.
    void run(std::optional<Wish> wish);

    // Whether something is being drawn or waits for it.
    bool isBusy() const;

  signals:
    void drawn(qint64 index, const QImage& image);
    // The next frame of the one that runs.
    void ran(qint64 index, const QImage& image);

  private:
    struct Work;
    void wake();

    std::shared_ptr<Work> work_;
};

} // namespace glasshob
