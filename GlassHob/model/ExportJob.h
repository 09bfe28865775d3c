// The video export of a window: asks where to, runs it on a thread of its own while everything else goes on, and keeps
// the model's export state. The program and the values are those of the command; what is edited meanwhile does not
// touch them. The video appears in its place when it is whole; cancelled or failed, nothing is left and an older file
// is as it was.
//
// Main thread. The end of the object cancels and waits for its thread, at most a frame long.
#pragma once

#include "GlassHob/model/ExportPace.h"
#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/shader/Params.h"

#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QString>

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace glasshob {

class AppModel;
class ShaderProgram;

struct ExportOrder {
    std::shared_ptr<const ShaderProgram> program;
    SliderValues values;
    ExportPlan plan;
    bool watermark = true;
    QString path;
};

class ExportJob : public QObject {
    Q_OBJECT
  public:
    // What a maker writes to and tells, on the export's thread.
    struct Desk {
        std::string path;
        // How many frames are written; false when the person has cancelled.
        std::function<bool(std::int64_t done, std::int64_t total)> progress;
        // A frame that has been drawn: rows of blue, green, red, alpha.
        std::function<void(const std::byte* pixels, std::size_t rowBytes)> show;
        std::stop_token stop;
    };
    // Makes the whole movie before it returns; throws std::exception with the sentence to show.
    using Maker = std::function<void(const ExportOrder&, const Desk&)>;

    // The video exporter where no other maker is handed in.
    explicit ExportJob(AppModel& model, Maker maker = {});
    ~ExportJob() override;

    // Whether there is something to export now.
    bool canStart() const;
    // The document's name, ".mp4".
    QString suggestedName() const;
    // Asks where to put the video of the choices as they are, and starts it. `answered` hears when the question is
    // gone.
    void chooseAndStart(std::function<void()> answered = {});
    void start(ExportOrder order);
    // The same once more, after a failure. Asks for another place where it was the place's fault, and takes what the
    // model has now where the old program's device is lost.
    void tryAgain();
    bool canTryAgain() const;
    void cancel();
    // Finished or failed is read and over: back to the beginning.
    void dismiss();
    // Removes what is written so far, for a process that ends without waiting for the export.
    void abandon();

    // Its thread is at work, perhaps to end after cancel().
    bool isRunning() const { return thread_.joinable(); }
    bool isCancelling() const { return isRunning() && stop_.stop_requested(); }
    // Of the export that runs, or ran last; without its program when that is not needed any more.
    const std::optional<ExportOrder>& order() const { return order_; }
    // The frame written last, small; null before the first.
    const QImage& picture() const { return picture_; }
    // Seconds since the start, up to the end.
    double secondsTaken() const;
    std::optional<double> secondsLeft() const;
    // Of the finished file.
    qint64 bytes() const { return bytes_; }

  signals:
    void pictureChanged();
    // The thread is gone, and the model's state tells how it went.
    void ended();

  private:
    struct Shared;
    struct Failure {
        QString message;
        bool isThePlaces = false;
    };
    using Outcome = std::expected<void, Failure>;

    bool hasUsableProgram() const;
    void choose(ExportOrder order, const QString& folder, const QString& name, std::function<void()> answered);
    static Outcome work(const Maker& maker, const ExportOrder& order, const std::string& place, Shared& shared);
    void takeProgress();
    void takePicture();
    void finish(const Outcome& outcome);

    AppModel& model_;
    Maker maker_;
    std::optional<ExportOrder> order_;
    std::shared_ptr<Shared> shared_;
    std::stop_source stop_{std::nostopstate};
    std::thread thread_;
    QElapsedTimer clock_;
    ExportPace pace_;
    double secondsTaken_ = 0;
    QImage picture_;
    qint64 bytes_ = 0;
    bool placeIsAtFault_ = false;
};

} // namespace glasshob
