#pragma once

// Sharing one shader to the gallery: what a person tells of it, and the work: its loop and its thumbnail are rendered,
// everything is checked, and it is sent. The phase says how far that is. What is shared is the text as it was when this
// was made. What has been rendered is kept, so that another try begins with sending.
//
// Main thread, with an event loop; rendering is done on a thread of its own. One work at a time; it can be cancelled at
// any moment and is then over at once, also by the end of this object. Texts of phases are whole and to be shown.

#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/site/Cancellation.h"
#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobOnline/ShareRendering.h"

#include <QImage>
#include <QObject>
#include <QString>
#include <QUrl>

#include <qcoro/qcorotask.h>

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace glasshob {

class AccountModel;

class ShareModel : public QObject {
    Q_OBJECT
  public:
    // What is shared.
    struct Subject {
        // UTF-8.
        std::string source;
        // Of the document that it is the text of; names the shader where the text does not.
        std::string key;
        std::string fileName;
        // Whether the text came from the gallery and the person has not let it run: then it is not rendered.
        bool waitsForRun = false;
    };
    // What the work needs: what runs a function on another thread, and what renders there, the real one where that is
    // empty.
    struct Surroundings {
        using Renderer = std::function<std::expected<ShareRendering::Files, ShareRendering::Failure>(
            const ShareRendering::Order&, const ShareRendering::Progress&, const std::stop_token&)>;
        // The device at the time of asking; throws std::exception with a sentence where there is none.
        std::function<std::shared_ptr<gpu::Device>()> device;
        Renderer render = {};
        std::function<void(std::function<void()>)> beside = {};
    };

    struct Editing {
        // What the person should know of the work that was cancelled; empty as a rule.
        QString notice;
    };
    struct NeedsSignIn {
        QString message;
    };
    struct NeedsHandle {
        QString message;
    };
    struct Rendering {
        double progress = 0; // to 1
    };
    struct Uploading {
        double progress = 0; // to 1
    };
    struct Done {
        QUrl url;
    };
    struct Failed {
        QString message;
    };
    using Phase = std::variant<Editing, NeedsSignIn, NeedsHandle, Rendering, Uploading, Done, Failed>;

    // `account` outlives the model.
    ShareModel(AccountModel& account, Subject subject, Surroundings surroundings, QObject* parent = nullptr);
    ~ShareModel() override;

    // ---- What is told of the shader; may be changed while nothing is at work ----
    QString title, description;
    ShareUpload::Licence licence = ShareUpload::Licence::ccByNcSa;
    ShareUpload::Visibility visibility = ShareUpload::Visibility::public_;
    // Of the field for the account's name.
    QString handle;

    // ---- What is shared ----
    const Subject& subject() const { return subject_; }
    const std::optional<std::string>& forkedFrom() const { return forkedFrom_; }
    ShaderKind kind() const { return kind_; }
    // Seconds: the moment at which the loop begins, which is that of the thumbnail.
    double start() const { return start_; }

    // Whether there is nothing to make anew for this text: it is what is shared here, and not shared yet.
    bool mayContinue(const Subject& subject) const;
    // What a person has told of an earlier text of the same document.
    void takeTextsOf(const ShareModel& other);

    // ---- The work ----
    const Phase& phase() const { return phase_; }
    bool isRendering() const { return std::holds_alternative<Rendering>(phase_); }
    bool isWorking() const { return isRendering() || std::holds_alternative<Uploading>(phase_) || isSettingHandle_; }
    // What of the texts the gallery would refuse: asked before anything is rendered for them.
    std::vector<std::string> problemsOfTexts() const;
    // From the beginning, but for what has been rendered. Nothing while it is at work or done.
    void share();
    // Sets the name that stands in `handle`, then shares. Where it is refused, the phase stays, with handleProblem().
    void setHandleAndShare();
    bool isSettingHandle() const { return isSettingHandle_; }
    const QString& handleProblem() const { return handleProblem_; }
    // Back to editing.
    void cancel();
    // From an end that has been read (a failure, no account) back to editing.
    void edit();

    // The thumbnail; null until it is drawn. It is drawn once drawPicture() has been called.
    const QImage& picture() const { return picture_; }
    void drawPicture();

  signals:
    // The phase, or what belongs to it.
    void changed();
    void pictureChanged();

  private:
    static Phase signedOut();
    QString proposedTitle() const;
    ShareUpload upload() const;
    ShareRendering::Order order() const;
    // Each ends early, without a word, when its work is over.
    QCoro::Task<> work(std::stop_token stop);
    QCoro::Task<bool> render(std::stop_token stop);
    QCoro::Task<> send(ShareUpload upload, std::stop_token stop);
    QCoro::Task<> setHandle(std::stop_token stop);
    QCoro::Task<> draw(std::stop_token stop);
    void begin();
    void setPhase(Phase phase);
    void tellProgress(double progress, const std::stop_token& stop);

    AccountModel& account_;
    Subject subject_;
    Surroundings surroundings_;
    std::optional<std::string> forkedFrom_;
    ShaderKind kind_ = ShaderKind::fragment;
    double start_ = 0;
    Phase phase_;
    bool isSettingHandle_ = false;
    QString handleProblem_;
    std::optional<ShareRendering::Files> rendered_;
    QImage picture_;
    std::stop_source work_, drawing_;
    bool draws_ = false;
};

} // namespace glasshob
