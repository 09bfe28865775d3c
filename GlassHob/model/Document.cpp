#include "GlassHob/model/Document.h"

#include "GlassHob/model/Questions.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/episode/EpisodeShelf.h"
#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobCore/files/FileWatcher.h"
#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobCore/files/ShadersFolder.h"
#include "GlassHobCore/shader/SampleShelf.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <algorithm>

namespace glasshob {

namespace {

constexpr double watchInterval = 0.1;
// Seconds of typing that a crash may take away.
constexpr double draftInterval = 3;

std::string nativePath(const QString& path) {
    return QFile::encodeName(path).toStdString();
}
QString fileName(const QString& path) {
    return QFileInfo(path).fileName();
}
QString lastShaderKey() {
    return asQString(Identity::setting::lastShaderPath);
}
// The file that was being opened, until its first frame.
constexpr auto openingKey = "openingShaderPath";
// As given but absolute: a link stays the link that the user named.
QString absolutePath(const QString& path) {
    return QDir::cleanPath(QDir::current().absoluteFilePath(path));
}

// The text of a document, or a sentence on why there is none.
std::expected<std::string, QString> readShader(const QString& path) {
    const QFileInfo info(path);
    // Reading a pipe would wait for its writer.
    if (info.exists() && !info.isFile() && !info.isDir())
        return std::unexpected(Document::tr("%1 is a device or a pipe: open a shader file instead.").arg(path));
    auto text = ShaderFile::read(nativePath(path));
    if (!text) return std::unexpected(asQString(text.error().sentence));
    return std::move(*text);
}

std::expected<std::string, QString> readSample() {
    const std::string path = Identity::resourcePath("Shaders/" + std::string(Identity::sampleShader));
    return readShader(QFile::decodeName(path.c_str()));
}

} // namespace

Document::Document(Questions& questions, QString draftsFolder, std::unique_ptr<Delay> draftDelay)
    : questions_(questions), drafts_(std::move(draftsFolder)), draftDelay_(std::move(draftDelay)) {}

Document::~Document() = default;

void Document::close() {
    draftDelay_->cancel();
    remember();
    // Without an answer to the question about them, edits outlive the window.
    if (isDirty_ && !discardAgreed_)
        keepDraft();
    else
        drafts_.remove();
}

void Document::start(const QStringList& arguments) {
    const qsizetype option = arguments.indexOf(QStringLiteral("--shader"));
    const QString last = QSettings().value(lastShaderKey()).toString();
    const QString unfinished = QSettings().value(openingKey).toString();
    std::optional<QString> first;
    if (option >= 0 && option + 1 < arguments.size())
        first = arguments[option + 1];
    else if (!last.isEmpty() && last == unfinished)
        questions_.warn(tr("%1 was not opened this time").arg(fileName(last)),
                        tr("The last start with it ended before its first picture. It stands in File > Open Recent."));
    else if (!last.isEmpty() && QFileInfo(last).isFile())
        first = last;
    if (first) open(*first);
    // A path that could not be opened has been told; the window still needs a document.
    if (!first || !filePath_) loadSample();

    draftsFound_ = drafts_.leftBehind();
    // The process may have ended between saving the text and removing its draft.
    for (Drafts::Found& found : draftsFound_) {
        const auto saved = found.draft.filePath ? readShader(*found.draft.filePath) : readSample();
        if (saved && *saved == found.draft.text) Drafts::discard(found);
    }
    std::erase_if(draftsFound_, [](const Drafts::Found& found) { return !found.lock; });
    if (!draftsFound_.empty()) emit draftOfferChanged();
}

// ---- What is open ---------------------------------------------------------------------------------------------------

QString Document::displayName() const {
    return filePath_ ? fileName(*filePath_) : asQString(Identity::sampleShader);
}

QString Document::windowTitle() const {
    QString title = filePath_ ? displayName() : displayName() + QStringLiteral(" (bundled sample)");
    if (isDirty_) title += QStringLiteral(" (edited)");
    return title;
}

QString Document::presetKey() const {
    return filePath_ ? *filePath_ : QStringLiteral("bundled:01-flowing-color");
}

QString Document::shadersPath() {
    return QFile::decodeName(glasshob::shadersPath().c_str());
}

QString Document::shadersFolder() {
    return QFile::decodeName(glasshob::shadersFolder().c_str());
}

void Document::beginOpening() {
    QSettings settings;
    // A shader that waits to be read would be compiled unread by the next start, also where it was saved over the file
    // of the last one.
    isOpening_ = filePath_ && !needsRun_;
    if (needsRun_ && filePath_ && QFileInfo(settings.value(lastShaderKey()).toString()) == QFileInfo(*filePath_))
        settings.remove(lastShaderKey());
    if (isOpening_)
        settings.setValue(openingKey, *filePath_);
    else
        settings.remove(openingKey);
    settings.sync();
}

void Document::remember() {
    if (!std::exchange(isOpening_, false)) return;
    QSettings settings;
    settings.setValue(lastShaderKey(), *filePath_);
    settings.remove(openingKey);
}

void Document::setDirty() {
    discardAgreed_ = false;
    const bool dirty = isGone_ || currentText_ != savedText_;
    if (!dirty) drafts_.remove();
    if (dirty == isDirty_) return;
    isDirty_ = dirty;
    emit changed();
}

void Document::textChanged(std::string text) {
    currentText_ = std::move(text);
    setDirty();
    if (isDirty_ && !draftDelay_->isWaiting()) draftDelay_->start(draftInterval, [this] { keepDraft(); });
    emit edited();
}

void Document::takeText(const std::string& text) {
    currentText_ = text;
    savedText_ = text;
    isDirty_ = false;
    isGone_ = false;
    drafts_.remove();
}

void Document::setText(const std::string& text) {
    takeText(text);
    if (editorSink) editorSink(text);
    emit changed();
}

void Document::watch() {
    watcher_.reset();
    if (filePath_)
        watcher_ = std::make_unique<FileWatcher>(
            QFile::encodeName(*filePath_), watchInterval, [this] { diskChanged(); }, [this] { fileGone(); });
}

void Document::show(std::optional<QString> path, bool needsRun, std::optional<QUrl> downloadedFrom) {
    const QString before = QFileInfo(displayName()).completeBaseName();
    isGone_ = false;
    filePath_ = std::move(path);
    needsRun_ = needsRun;
    downloadedFrom_ = std::move(downloadedFrom);
    watch();
    beginOpening();
    emit replaced(before);
}

void Document::allowRun() {
    needsRun_ = false;
    downloadedFrom_.reset();
    beginOpening();
    emit changed();
}

// ---- Opening --------------------------------------------------------------------------------------------------------

void Document::openAs(const QString& path, bool needsRun, std::optional<QUrl> downloadedFrom) {
    const QString absolute = absolutePath(path);
    const auto text = readShader(absolute);
    if (!text) {
        questions_.warn(tr("Can't open %1").arg(fileName(absolute)), text.error());
        return;
    }
    show(absolute, needsRun, std::move(downloadedFrom));
    setText(*text);
    emit textLoaded();
}

void Document::open(const QString& path) {
    openAs(path, false, std::nullopt);
}

void Document::openDownloaded(const QString& path, const QUrl& from) {
    openAs(path, true, from);
}

void Document::loadSample() {
    const auto text = readSample();
    if (!text) {
        emit unreadable(tr("The bundled sample is missing from the app."));
        return;
    }
    show(std::nullopt, false, std::nullopt);
    setText(*text);
    emit textLoaded();
}

void Document::chooseAndOpen() {
    confirmDiscard([this](bool goOn) {
        if (!goOn) return;
        const QString folder = filePath_ ? QFileInfo(*filePath_).absolutePath() : shadersFolder();
        questions_.chooseFileToOpen(tr("Choose a shader (.metal) to edit and run"), folder,
                                    [this](std::optional<QString> path) {
                                        if (path)
                                            open(*path);
                                        else
                                            keepEdits();
                                    });
    });
}

void Document::openAfterQuestion(const QString& path) {
    confirmDiscard([this, path](bool goOn) {
        if (goOn) open(path);
    });
}

void Document::openSampleAfterQuestion() {
    confirmDiscard([this](bool goOn) {
        if (goOn) loadSample();
    });
}

void Document::newFromSample(const std::string& file) {
    confirmDiscard([this, file](bool goOn) {
        if (!goOn) return;
        const std::vector<SampleShelf::Sample> samples = SampleShelf::all();
        const auto sample = std::ranges::find(samples, file, &SampleShelf::Sample::file);
        if (sample == samples.end()) {
            questions_.warn(tr("Can't open the sample"),
                            tr("The sample %1 is missing from the app.").arg(asQString(file)));
            return;
        }
        openCopyOf(*sample);
    });
}

void Document::newFromText(const std::string& title, const std::string& text) {
    confirmDiscard([this, title, text](bool goOn) {
        if (goOn) openCopyOf({.file = {}, .title = title, .text = text});
    });
}

void Document::newFromEpisode(const std::string& episode, const std::string& entry) {
    confirmDiscard([this, episode, entry](bool goOn) {
        if (!goOn) return;
        const auto copy = EpisodeShelf::copyInto(nativePath(shadersFolder()), episode, entry);
        if (!copy)
            questions_.warn(tr("Can't copy %1").arg(fileName(QFile::decodeName(episode.c_str()))),
                            asQString(copy.error()));
        else
            open(QFile::decodeName(copy->c_str()));
    });
}

void Document::openCopyOf(const SampleShelf::Sample& sample) {
    const auto copy = SampleShelf::copyInto(nativePath(shadersFolder()), sample);
    if (!copy)
        questions_.warn(tr("Can't copy %1").arg(asQString(sample.title)), asQString(copy.error()));
    else
        open(QFile::decodeName(copy->c_str()));
}

void Document::newShader() {
    confirmDiscard([this](bool goOn) {
        if (!goOn) return;
        const QDir folder(shadersFolder());
        QString name = QStringLiteral("Untitled Shader");
        QString path = folder.filePath(name + QStringLiteral(".metal"));
        for (int number = 2; QFileInfo::exists(path) || QFileInfo(path).isSymLink(); ++number) {
            name = QStringLiteral("Untitled Shader %1").arg(number);
            path = folder.filePath(name + QStringLiteral(".metal"));
        }
        const auto written = AtomicFile::write(nativePath(path), ShaderTemplate::make("Untitled Shader"));
        if (!written)
            questions_.warn(tr("Can't create %1").arg(fileName(path)), asQString(written.error()));
        else
            open(path);
    });
}

// ---- Saving ---------------------------------------------------------------------------------------------------------

void Document::confirmDiscard(std::function<void(bool)> then) {
    if (!isDirty_) {
        then(true);
        return;
    }
    // The question is up already: its answer is for the newer wish, and the older one is given up.
    const bool isUp = bool(waitingForDiscard_);
    const auto older = std::exchange(waitingForDiscard_, std::move(then));
    if (isUp) {
        older(false);
        return;
    }
    Question question;
    question.message = tr("Do you want to save the changes you made to %1?").arg(displayName());
    question.informativeText = tr("Your changes will be lost if you don't save them.");
    question.buttons = {tr("Save"), tr("Cancel"), tr("Don't Save")};
    question.escapeButton = 1;
    questions_.ask(question, [this](int button) {
        auto answered = std::exchange(waitingForDiscard_, {});
        if (button == 0) {
            save(std::move(answered));
            return;
        }
        discardAgreed_ = button == 2;
        answered(button == 2);
    });
}

bool Document::diskIsAhead() {
    const auto onDisk = readShader(*filePath_);
    return onDisk && *onDisk != savedText_;
}

void Document::save(std::function<void(bool)> then) {
    if (!filePath_) {
        saveAs(std::move(then));
    } else if (diskIsAhead()) {
        // Changed since the watcher's last look, or a question about it is up: that comes first.
        diskChanged();
        if (then) then(false);
    } else {
        writeTo(*filePath_, std::move(then));
    }
}

void Document::writeTo(const QString& path, std::function<void(bool)> then) {
    const std::string written = currentText_;
    if (!ShaderFile::fits(written)) {
        questions_.warn(tr("Can't save %1").arg(fileName(path)),
                        tr("The text has more than 4 MB or 200,000 lines and could not be opened again. Make it "
                           "shorter, or copy what you need into another file."));
        if (then) then(false);
        return;
    }
    const auto result = AtomicFile::write(nativePath(path), written);
    if (!result) {
        questions_.warn(tr("Can't save %1").arg(fileName(path)), asQString(result.error()));
        if (then) then(false);
        return;
    }
    savedText_ = written;
    if (std::exchange(isGone_, false)) watch(); // it may go once more before the next look
    setDirty();
    if (then) then(true);
}

void Document::saveAs(std::function<void(bool)> then) {
    const QString folder = filePath_ ? QFileInfo(*filePath_).absolutePath() : shadersFolder();
    questions_.chooseShaderToSave(tr("Save the shader"), folder, displayName(),
                                  [this, then = std::move(then)](std::optional<QString> path) {
                                      if (!path) {
                                          if (then) then(false);
                                          return;
                                      }
                                      writeTo(*path, [this, path = *path, then](bool saved) {
                                          if (saved) {
                                              filePath_ = absolutePath(path);
                                              watch();
                                              beginOpening();
                                              remember();
                                              emit changed();
                                          }
                                          if (then) then(saved);
                                      });
                                  });
}

// ---- The disk -------------------------------------------------------------------------------------------------------

void Document::loadFromDisk(const std::string& text) {
    takeText(text);
    if (const auto& sink = editorReload ? editorReload : editorSink; sink) sink(text);
    emit changed();
    emit textLoaded();
}

void Document::fileGone() {
    isGone_ = true;
    setDirty();
    keepDraft();
}

void Document::revert() {
    Question question;
    question.message = tr("Revert to the saved %1?").arg(displayName());
    question.informativeText = tr("Your unsaved edits will be lost.");
    question.buttons = {tr("Revert"), tr("Cancel")};
    question.defaultButton = 1;
    question.escapeButton = 1;
    questions_.ask(question, [this, asked = filePath_](int button) {
        if (button != 0 || filePath_ != asked) return;
        const auto text = filePath_ ? readShader(*filePath_) : readSample();
        if (text)
            loadFromDisk(*text);
        else if (filePath_)
            emit unreadable(tr("Can't read %1: %2").arg(fileName(*filePath_), text.error()));
        else
            emit unreadable(tr("The bundled sample is missing from the app."));
    });
}

void Document::diskChanged() {
    if (!filePath_) return;
    const auto text = readShader(*filePath_);
    if (!text) return;
    if (std::exchange(isGone_, false)) setDirty();
    if (*text == savedText_) return;
    if (!isDirty_) {
        loadFromDisk(*text);
        return;
    }
    if (conflictShowing_) return;
    conflictShowing_ = true;
    Question question;
    question.message = tr("%1 changed on disk").arg(displayName());
    question.informativeText =
        tr("Another app saved this file while you have unsaved edits here. Keep your edits (saving "
           "will overwrite the file), or load the version on disk?");
    question.buttons = {tr("Keep My Edits"), tr("Load From Disk")};
    question.escapeButton = 0;
    questions_.ask(question, [this, asked = *filePath_, onDisk = *text](int button) {
        conflictShowing_ = false;
        if (filePath_ != asked) return; // another document has been opened since
        // The file may have changed again, or gone, while the question was up.
        const std::string disk = readShader(asked).value_or(onDisk);
        if (button == 1) {
            loadFromDisk(disk);
        } else {
            savedText_ = disk;
            setDirty();
        }
    });
}

// ---- Edits that a crash has left behind -----------------------------------------------------------------------------

void Document::keepDraft() {
    if (isDirty_)
        drafts_.keep({filePath_, currentText_, needsRun_, downloadedFrom_, {}});
    else
        drafts_.remove();
}

std::optional<Document::DraftOffer> Document::draftOffer() const {
    if (draftsFound_.empty()) return std::nullopt;
    const Draft& draft = draftsFound_.front().draft;
    return DraftOffer{draft.filePath ? fileName(*draft.filePath) : asQString(Identity::sampleShader),
                      draft.when.toLocalTime()};
}

void Document::restoreDraft() {
    if (draftsFound_.empty()) return;
    confirmDiscard([this](bool goOn) {
        if (goOn && !draftsFound_.empty()) takeDraft();
    });
}

void Document::takeDraft() {
    Drafts::Found found = std::move(draftsFound_.front());
    // Older ones wait for the next start: they would only ask for these edits to go.
    draftsFound_.clear();
    const Draft& draft = found.draft;
    // The file may have gone since: saving makes it again.
    const auto saved = draft.filePath ? readShader(*draft.filePath) : readSample();
    show(draft.filePath, draft.needsRun, draft.downloadedFrom);
    savedText_ = saved.value_or(std::string());
    currentText_ = draft.text;
    isDirty_ = currentText_ != savedText_;
    discardAgreed_ = false;
    if (editorSink) editorSink(currentText_);
    emit changed();
    // The draft of this process is kept before that of the last one goes.
    keepDraft();
    Drafts::discard(found);
    emit textLoaded();
    emit draftOfferChanged();
}

void Document::discardDraft() {
    if (draftsFound_.empty()) return;
    Drafts::discard(draftsFound_.front());
    draftsFound_.erase(draftsFound_.begin());
    emit draftOfferChanged();
}

} // namespace glasshob
