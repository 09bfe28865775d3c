// The open document: the file that it comes from and goes to, its text as edited and as saved, the questions before
// anything is lost, changes on disk, and the edits that a crash has left behind. Texts are the exact bytes of the file.
//
// It compiles nothing: what compiles listens to textLoaded() and edited(). Main thread; owned by the model.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/Drafts.h"
#include "GlassHobCore/shader/SampleShelf.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glasshob {

class FileWatcher;
class Questions;

class Document : public QObject {
    Q_OBJECT
  public:
    // Unsaved edits are kept against a crash when `draftDelay` elapses, a few seconds after the first of them, as well
    // as whenever keepDraft() is called.
    Document(Questions& questions, QString draftsFolder, std::unique_ptr<Delay> draftDelay);
    ~Document() override;
    // Keeps unsaved edits for the next start, unless the person has let them go.
    void close();

    // Opens the file after "--shader", else the last one if it still exists, else the sample. The last one is left out
    // when the start before ended while it was being opened.
    void start(const QStringList& arguments);
    // The document has been seen: the next start opens its file. Until then the file counts as one whose opening may
    // never end.
    void remember();

    const std::optional<QString>& filePath() const { return filePath_; } // absolute; none while the sample is shown
    const std::string& currentText() const { return currentText_; }
    const std::string& savedText() const { return savedText_; }
    bool isDirty() const { return isDirty_; }
    bool needsRun() const { return needsRun_; }
    const std::optional<QUrl>& downloadedFrom() const { return downloadedFrom_; }
    QString displayName() const;
    QString windowTitle() const;
    QString presetKey() const;

    // Installed by the editor's view: replaces its text with that of another document.
    std::function<void(const std::string&)> editorSink;
    // The same for a newer text of the same document: what was there can be undone. editorSink where there is none.
    std::function<void(const std::string&)> editorReload;

    void textChanged(std::string text);
    void setText(const std::string& text);
    void open(const QString& path);
    // A shader that has been fetched from the gallery into this file: shown, and not run before allowRun().
    void openDownloaded(const QString& path, const QUrl& from);
    void loadSample();
    // Each asks first when there are unsaved edits.
    void chooseAndOpen();
    void openAfterQuestion(const QString& path);
    void openSampleAfterQuestion();
    // A copy of the bundled sample, in the folder of new shaders: one that is unchanged still, else a new one.
    void newFromSample(const std::string& file);
    // A copy of a stage or of the finished shader of an episode (EpisodeShelf), in the same folder; always a new one.
    void newFromEpisode(const std::string& episode, const std::string& entry);
    void newFromText(const std::string& title, const std::string& text);
    void newShader();
    // `then` hears whether the text was saved.
    void save(std::function<void(bool)> then = {});
    void saveAs(std::function<void(bool)> then = {});
    void revert();
    // `then` hears whether to go on with what would replace the document.
    void confirmDiscard(std::function<void(bool)> then);
    // What would have replaced the document does not come: unsaved edits that might go are kept again.
    void keepEdits() { discardAgreed_ = false; }
    void diskChanged();
    // The file is not there any more: its text is unsaved, whatever has been edited.
    void fileGone();
    // The person has read the shader from the gallery.
    void allowRun();
    // Where new shaders live; made when first needed.
    static QString shadersFolder();
    // The same, whether it is there or not.
    static QString shadersPath();

    // Writes unsaved edits where the next start finds them.
    void keepDraft();
    struct DraftOffer {
        QString name;
        QDateTime when;
    };
    // The newest of the edits that a crash has left behind, found at the start. It waits for an answer, if need be to
    // the next start.
    std::optional<DraftOffer> draftOffer() const;
    // Opens its document with the edits, unsaved; asks first when there are unsaved edits already.
    void restoreDraft();
    // Deletes it; an older one may be offered next.
    void discardDraft();

  signals:
    void changed(); // file, dirty, needsRun
    // Another document is open from now on; its text comes next. `before` is what people call the one before: its name
    // without the ending.
    void replaced(const QString& before);
    // The whole text is another one, and is to be compiled at once.
    void textLoaded();
    void edited();
    // A sentence on what could not be read; the document stays.
    void unreadable(const QString& sentence);
    void draftOfferChanged();

  private:
    void setDirty();
    void takeText(const std::string& text);
    void show(std::optional<QString> path, bool needsRun, std::optional<QUrl> downloadedFrom);
    void watch();
    void openCopyOf(const SampleShelf::Sample& sample);
    void openAs(const QString& path, bool needsRun, std::optional<QUrl> downloadedFrom);
    void beginOpening();
    void takeDraft();
    bool diskIsAhead();
    void loadFromDisk(const std::string& text);
    void writeTo(const QString& path, std::function<void(bool)> then);

    Questions& questions_;
    std::optional<QString> filePath_;
    std::string currentText_;
    std::string savedText_;
    bool isDirty_ = false;
    bool isGone_ = false; // the file
    bool isOpening_ = false;
    bool needsRun_ = false;
    std::optional<QUrl> downloadedFrom_;
    std::unique_ptr<FileWatcher> watcher_;
    bool conflictShowing_ = false;
    // Who waits for the answer of the question about unsaved edits that is up.
    std::function<void(bool)> waitingForDiscard_;
    // The person has said that the edits as they are may go.
    bool discardAgreed_ = false;
    Drafts drafts_;
    std::unique_ptr<Delay> draftDelay_;
    std::vector<Drafts::Found> draftsFound_;
};

} // namespace glasshob
