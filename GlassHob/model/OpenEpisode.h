// The episode that the open document is the finished shader of: its text as edited, the stages from the folder of its
// file, and the programs of all of them. It is read again when the text, the file or the stages change. What stands in
// the way of its walkthrough is a state with what to tell a person.
//
// Main thread; owned by the model. Follows the files only while somebody needs it, and compiles, on a thread beside the
// main one, only while somebody needs programs. Programs are those of exactly the texts in `episode()`: they come one
// after another and are null until then.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobRender/export/EpisodeVideo.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QFileSystemWatcher;

namespace gpu {
class Device;
}

namespace glasshob {

class AppModel;
class ShaderProgram;

class OpenEpisode : public QObject {
    Q_OBJECT
  public:
    explicit OpenEpisode(AppModel& model, std::unique_ptr<Delay> delay = std::make_unique<TimerDelay>());
    ~OpenEpisode() override;

    enum class Need { nothing, texts, programs };
    // Ends with `who`. The first one who needs something has it when this returns.
    void setNeed(QObject* who, Need need);

    // Whether the document is an episode; known without anybody's need.
    bool hasHeader() const { return hasHeader_; }

    enum class State {
        // Not an episode, or nobody needs it.
        nothing,
        // The document has no file: there is no place to look for stages.
        notSaved,
        // None beside its file.
        noStages,
        // Something is wrong with their folder or a file in it: problem().
        unreadable,
        // fault()
        stageFault,
        // So far: programs may still be missing, and a stage turn out to have a fault.
        ready,
    };
    State state() const { return state_; }
    // There in every state but `nothing`; with stages in `stageFault` and `ready` only.
    const std::optional<Episode>& episode() const { return episode_; }
    // Its walkthrough, for pages of the usual length; empty without stages, and where one has no code to show.
    const std::vector<WalkthroughStage>& stages() const { return stages_; }
    // A whole sentence.
    const QString& problem() const { return problem_; }
    // In the states `notSaved` and `noStages`: what the author can do.
    QString advice() const;

    struct StageFault {
        // From 1; one more than there are stages for the finished shader.
        std::int64_t number = 1;
        // "03-fold-the-plane.metal"
        QString name;
        QString path;
        // It compiles, and has nothing to show on a page.
        bool hasNoCode = false;
        // From 1; 0 when the message is about no line.
        std::int64_t line = 0;
        // A whole sentence where there is no code, else the compiler's words.
        QString message;
        // "Stage 3, 03-fold-the-plane.metal, does not compile: line 24: use of undeclared identifier 'wavee'"
        QString text() const;
        bool operator==(const StageFault&) const = default;
    };
    // The first stage that does not compile or has no code to show.
    const std::optional<StageFault>& fault() const { return fault_; }
    // What the compiler says of the finished shader.
    const std::optional<StageFault>& sourceFault() const { return sourceFault_; }

    // As far as they are there; none of a text that does not compile or waits to be run.
    EpisodePrograms programs() const;
    // The finished one, and with stages all of theirs.
    bool hasAllPrograms() const;
    bool isCompiling() const { return isCompiling_; }
    // The folder in which the stages' folder belongs; empty while the document is not saved.
    QString folder() const;
    // Whether stages would be found there: beside a file that is called source.metal.
    bool looksForStages() const;

    // Reads the files again now.
    void lookAgain();

  signals:
    void changed();
    void hasHeaderChanged();

  private:
    // What became of a text.
    struct Made {
        std::shared_ptr<const ShaderProgram> program;
        StageFault fault;
    };
    struct Life;

    Need greatestNeed() const;
    void followNeed(Need before);
    void follow();
    void read();
    void judge();
    void watch();
    void compileNext();
    void take(const std::string& text, const std::shared_ptr<gpu::Device>& device, Made made);
    void forgetPrograms();
    const Made* madeOf(const EpisodeFile& file) const;

    AppModel& model_;
    std::unique_ptr<Delay> delay_;
    std::map<const QObject*, Need> needs_;
    bool hasHeader_ = false;
    State state_ = State::nothing;
    std::optional<Episode> episode_;
    std::vector<WalkthroughStage> stages_;
    QString problem_;
    std::optional<StageFault> codeFault_; // of the walkthrough, before any compile
    std::optional<StageFault> fault_, sourceFault_;
    std::optional<QString> path_; // that was read
    std::string text_;
    std::unique_ptr<QFileSystemWatcher> watcher_;

    std::map<std::string, Made> made_; // by text
    bool isCompiling_ = false;
    std::shared_ptr<Life> life_;
};

} // namespace glasshob
