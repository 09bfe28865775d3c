// The export of a window: what has been chosen for it, how far it is, and the flag that stops it. Asks where to, and
// runs on a thread of its own beside everything else. Programs and values are those of the command; what is
// edited later does not change them. The name's ending says the format. The result appears in its place when it is
// whole; cancelled or failed, nothing is left and an older file is as it was.
//
// Main thread. The end of the object cancels and waits for its thread, at most a frame long.
#pragma once

#include "GlassHob/model/ExportPace.h"
#include "GlassHob/model/ExportState.h"
#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/ExportSegment.h"

#include <QDateTime>
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
#include <vector>

namespace glasshob {

class AppModel;
class EpisodePlan;
class ShaderProgram;

// A text that belongs to an export and stands beside it: both are there in the end, or neither.
struct CompanionFile {
    // Behind the result's name without its ending: "-chapters.txt".
    QString suffix;
    std::string text;
    bool operator==(const CompanionFile&) const = default;
};

struct ExportOrder {
    std::vector<ExportSegment> segments;
    ExportPreset preset;
    // Taken from the path's ending when the export starts.
    ExportFormat format = ExportFormat::mp4;
    QString path = {};
    std::vector<CompanionFile> companions = {};
    // What the segments are the parts of, where they are an episode's; null for a shader's video. Its chapters are in
    // the movie.
    std::shared_ptr<const EpisodePlan> episode = {};

    std::int64_t frameCount() const;
    // Of shader time.
    double seconds() const;
    // Null without segments.
    std::shared_ptr<const ShaderProgram> program() const;
    bool hasSound() const;
    // Lets the programs go, which keep their device.
    void dropPrograms();
};

class ExportJob : public QObject {
    Q_OBJECT
  public:
    // Where an exporter writes and what it reports to, on the export's thread.
    struct Target {
        // The file, or of numbered pictures the folder, with a slash at its end.
        std::string path;
        // How many frames are written; false when the person has cancelled.
        std::function<bool(std::int64_t done, std::int64_t total)> progress;
        // A frame that has been drawn: rows of blue, green, red, alpha.
        std::function<void(const std::byte* pixels, std::size_t rowBytes)> show;
        std::stop_token stop;
    };
    // Writes the whole result before it returns; throws std::exception with the sentence to show.
    using Exporter = std::function<void(const ExportOrder&, const Target&)>;

    // The real one where no other exporter is handed in.
    explicit ExportJob(AppModel& model, Exporter exporter = {});
    ~ExportJob() override;

    const ExportChoices& choices() const { return choices_; }
    void setChoices(ExportChoices choices);
    const ExportState& state() const { return state_; }
    // The first running state after another one is the start of an export, and takes the flag back.
    void setState(ExportState state);
    // When the export began that runs, or ran last.
    const std::optional<QDateTime>& startedAt() const { return startedAt_; }
    // Shared with the thread of the export.
    const std::shared_ptr<CancelFlag>& cancelFlag() const { return cancelFlag_; }

    // Whether there is something to export now, in the format that is chosen.
    bool canStart() const;
    // The document's name with the ending of the chosen format.
    QString suggestedName() const;
    // Asks where to put the result of the choices as they are, and starts it. `answered` hears when the question is
    // gone.
    void chooseAndStart(std::function<void()> answered = {});
    // The same for an order that has no path yet.
    void chooseAndStart(ExportOrder order, const QString& name, std::function<void()> answered = {});
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
    bool isCancelling() const { return isRunning() && cancelFlag_->value(); }
    // Of the export that runs, or ran last; without its program when that is not needed any more.
    const std::optional<ExportOrder>& order() const { return order_; }
    // The frame written last, small; null before the first.
    const QImage& picture() const { return picture_; }
    // Seconds since the start, up to the end.
    double secondsTaken() const;
    std::optional<double> secondsLeft() const;
    // Of the finished file, or of all of them.
    qint64 bytes() const { return bytes_; }

  signals:
    // The choices, or the state.
    void changed();
    void pictureChanged();
    // The thread is gone, and the state tells how it went.
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
    static Outcome work(const Exporter& exporter, const ExportOrder& order, Shared& shared);
    void takeProgress();
    void takePicture();
    void finish(const Outcome& outcome);

    AppModel& model_;
    Exporter exporter_;
    ExportChoices choices_;
    ExportState state_;
    std::optional<QDateTime> startedAt_;
    std::shared_ptr<CancelFlag> cancelFlag_ = std::make_shared<CancelFlag>();
    std::optional<ExportOrder> order_;
    std::shared_ptr<Shared> shared_;
    std::thread thread_;
    QElapsedTimer clock_;
    ExportPace pace_;
    double secondsTaken_ = 0;
    QImage picture_;
    qint64 bytes_ = 0;
    bool placeIsAtFault_ = false;
};

} // namespace glasshob
