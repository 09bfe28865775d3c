#include "GlassHob/model/AppModel.h"

#include "GlassHob/model/StillSaver.h"
#include "GlassHobCore/AtomicFile.h"
#include "GlassHobCore/FileWatcher.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/SampleShelf.h"
#include "GlassHobCore/ShaderAssembler.h"
#include "GlassHobCore/ShaderFile.h"
#include "GlassHobRender/ShaderCompiler.h"
#include "GlassHobRender/ShaderProgram.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace glasshob {

namespace {

constexpr double compileDelay = 0.3;
constexpr double watchInterval = 0.1;

QString asQString(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}
std::string nativePath(const QString& path) {
    return QFile::encodeName(path).toStdString();
}
QString fileName(const QString& path) {
    return QFileInfo(path).fileName();
}
QString lastShaderKey() {
    return asQString(Identity::setting::lastShaderPath);
}

} // namespace

AppModel::AppModel(Surroundings surroundings, QObject* parent)
    : QObject(parent), device_(std::move(surroundings.device)), questions_(surroundings.questions),
      pendingCompile_(std::move(surroundings.compileDelay)),
      presets_(std::make_unique<Presets>(*this, *questions_, std::move(surroundings.presetStore))) {}

AppModel::~AppModel() {
    pendingCompile_->cancel();
}

void AppModel::start(const QStringList& arguments) {
    const qsizetype option = arguments.indexOf(QStringLiteral("--shader"));
    if (option >= 0 && option + 1 < arguments.size()) {
        open(arguments[option + 1]);
        // A path that could not be opened has been told; the window still needs a document.
        if (!filePath_) loadSample();
        return;
    }
    const QString last = QSettings().value(lastShaderKey()).toString();
    if (!last.isEmpty() && QFileInfo::exists(last)) {
        open(last);
        if (!filePath_) loadSample();
        return;
    }
    loadSample();
}

// ---- The document ---------------------------------------------------------------------------------------------------

QString AppModel::displayName() const {
    return filePath_ ? fileName(*filePath_) : asQString(Identity::sampleShader);
}

QString AppModel::windowTitle() const {
    QString title = filePath_ ? displayName() : displayName() + QStringLiteral(" (bundled sample)");
    if (isDirty_) title += QStringLiteral(" (edited)");
    return title;
}

QString AppModel::presetKey() const {
    return filePath_ ? *filePath_ : QStringLiteral("bundled:01-flowing-color");
}

QString AppModel::shadersFolder() {
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString folder = QDir(documents).filePath(asQString(Identity::folderName));
    QDir().mkpath(folder);
    return folder;
}

void AppModel::setDirty() {
    const bool dirty = currentText_ != savedText_;
    if (dirty == isDirty_) return;
    isDirty_ = dirty;
    emit documentChanged();
}

void AppModel::textChanged(std::string text) {
    currentText_ = std::move(text);
    setDirty();
    pendingCompile_->start(compileDelay, [this] { compile(currentText_); });
}

void AppModel::setText(const std::string& text) {
    pendingCompile_->cancel();
    currentText_ = text;
    savedText_ = text;
    isDirty_ = false;
    if (editorSink) editorSink(text);
    emit documentChanged();
}

void AppModel::open(const QString& path) {
    // As given but absolute: a link stays the link that the user named.
    const QString absolute = QDir::cleanPath(QDir::current().absoluteFilePath(path));
    const auto text = ShaderFile::read(nativePath(absolute));
    if (!text) {
        questions_->warn(tr("Can't open %1").arg(fileName(absolute)), asQString(text.error().sentence));
        return;
    }
    filePath_ = absolute;
    needsRun_ = false;
    downloadedFrom_.reset();
    setText(*text);
    watchFile();
    QSettings().setValue(lastShaderKey(), absolute);
    compile(currentText_);
}

void AppModel::watchFile() {
    watcher_ = std::make_unique<FileWatcher>(QFile::encodeName(*filePath_), watchInterval, [this] { diskChanged(); });
}

void AppModel::loadSample() {
    const std::string path = Identity::resourcePath("Shaders/" + std::string(Identity::sampleShader));
    filePath_.reset();
    watcher_.reset();
    needsRun_ = false;
    downloadedFrom_.reset();
    const auto text = path.empty() ? std::unexpected(ShaderFile::Failure{}) : ShaderFile::read(path);
    if (!text) {
        fail({}, tr("The bundled sample is missing from the app."));
        emit documentChanged();
        return;
    }
    setText(*text);
    compile(currentText_);
}

void AppModel::chooseAndOpen() {
    confirmDiscard([this](bool goOn) {
        if (!goOn) return;
        const QString folder = filePath_ ? QFileInfo(*filePath_).absolutePath() : shadersFolder();
        questions_->chooseFileToOpen(tr("Choose a shader (.metal) to edit and run"), folder,
                                     [this](std::optional<QString> path) {
                                         if (path) open(*path);
                                     });
    });
}

void AppModel::openAfterQuestion(const QString& path) {
    confirmDiscard([this, path](bool goOn) {
        if (goOn) open(path);
    });
}

void AppModel::openSampleAfterQuestion() {
    confirmDiscard([this](bool goOn) {
        if (goOn) loadSample();
    });
}

void AppModel::newFromSample(const std::string& file) {
    confirmDiscard([this, file](bool goOn) {
        if (!goOn) return;
        const std::vector<SampleShelf::Sample> samples = SampleShelf::all();
        const auto sample = std::ranges::find(samples, file, &SampleShelf::Sample::file);
        if (sample == samples.end()) {
            questions_->warn(tr("Can't open the sample"),
                             tr("The sample %1 is missing from the app.").arg(asQString(file)));
            return;
        }
        const auto copy = SampleShelf::copyInto(nativePath(shadersFolder()), *sample);
        if (!copy)
            questions_->warn(tr("Can't copy %1").arg(asQString(sample->title)), asQString(copy.error()));
        else
            open(QFile::decodeName(copy->c_str()));
    });
}

void AppModel::newShader() {
    confirmDiscard([this](bool goOn) {
        if (!goOn) return;
        const QDir folder(shadersFolder());
        QString name = QStringLiteral("Untitled Shader");
        QString path = folder.filePath(name + QStringLiteral(".metal"));
        for (int number = 2; QFileInfo::exists(path); ++number) {
            name = QStringLiteral("Untitled Shader %1").arg(number);
            path = folder.filePath(name + QStringLiteral(".metal"));
        }
        const auto written = AtomicFile::write(nativePath(path), ShaderTemplate::make(name.toStdString()));
        if (!written)
            questions_->warn(tr("Can't create %1").arg(fileName(path)), asQString(written.error()));
        else
            open(path);
    });
}

void AppModel::confirmDiscard(std::function<void(bool)> then) {
    if (!isDirty_) {
        then(true);
        return;
    }
    Question question;
    question.message = tr("Do you want to save the changes you made to %1?").arg(displayName());
    question.informativeText = tr("Your changes will be lost if you don't save them.");
    question.buttons = {tr("Save"), tr("Cancel"), tr("Don't Save")};
    question.escapeButton = 1;
    questions_->ask(question, [this, then = std::move(then)](int button) {
        if (button == 0)
            save(then);
        else
            then(button == 2);
    });
}

void AppModel::save(std::function<void(bool)> then) {
    if (filePath_)
        writeTo(*filePath_, std::move(then));
    else
        saveAs(std::move(then));
}

void AppModel::writeTo(const QString& path, std::function<void(bool)> then) {
    const std::string written = currentText_;
    const auto result = AtomicFile::write(nativePath(path), written);
    if (!result) {
        questions_->warn(tr("Can't save %1").arg(fileName(path)), asQString(result.error()));
        if (then) then(false);
        return;
    }
    savedText_ = written;
    setDirty();
    if (then) then(true);
}

void AppModel::saveAs(std::function<void(bool)> then) {
    const QString folder = filePath_ ? QFileInfo(*filePath_).absolutePath() : shadersFolder();
    questions_->chooseFileToSave(tr("Save the shader"), folder, displayName(),
                                 [this, then = std::move(then)](std::optional<QString> path) {
                                     if (!path) {
                                         if (then) then(false);
                                         return;
                                     }
                                     writeTo(*path, [this, path = *path, then](bool saved) {
                                         if (saved) {
                                             filePath_ = QDir::cleanPath(QDir::current().absoluteFilePath(path));
                                             watchFile();
                                             QSettings().setValue(lastShaderKey(), *filePath_);
                                             emit documentChanged();
                                         }
                                         if (then) then(saved);
                                     });
                                 });
}

void AppModel::revert() {
    Question question;
    question.message = tr("Revert to the saved %1?").arg(displayName());
    question.informativeText = tr("Your unsaved edits will be lost.");
    question.buttons = {tr("Revert"), tr("Cancel")};
    question.escapeButton = 1;
    questions_->ask(question, [this](int button) {
        if (button != 0) return;
        if (!filePath_) {
            loadSample();
            return;
        }
        const auto text = ShaderFile::read(nativePath(*filePath_));
        if (!text) {
            fail({}, tr("Can't read %1: %2").arg(fileName(*filePath_), asQString(text.error().sentence)));
            return;
        }
        setText(*text);
        compile(currentText_);
    });
}

void AppModel::diskChanged() {
    if (!filePath_) return;
    const auto text = ShaderFile::read(nativePath(*filePath_));
    if (!text || *text == savedText_) return;
    if (!isDirty_) {
        setText(*text);
        compile(currentText_);
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
    questions_->ask(question, [this, asked = *filePath_, onDisk = *text](int button) {
        conflictShowing_ = false;
        if (filePath_ != asked) return; // another document has been opened meanwhile
        // The file may have changed again while the question was up.
        const auto now = ShaderFile::read(nativePath(asked));
        const std::string& disk = now ? *now : onDisk;
        if (button == 1) {
            setText(disk);
            compile(currentText_);
        } else {
            savedText_ = disk;
            setDirty();
        }
    });
}

// ---- The compile ----------------------------------------------------------------------------------------------------

void AppModel::compile(const std::string& text) {
    sourceLines_.clear();
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find('\n', start);
        sourceLines_.push_back(text.substr(start, end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    if (needsRun_) return;
    const auto started = std::chrono::steady_clock::now();
    try {
        auto program = std::make_shared<const ShaderProgram>(text, device_, gpu::PixelFormat::bgra8Unorm,
                                                             ShaderCompiler::liveTimeLimit);
        compileMillis_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
        takeProgram(std::move(program));
    } catch (const ShaderError& error) {
        compileMillis_.reset();
        fail(error.diagnostics, asQString(error.raw));
    } catch (const std::exception& error) {
        fail({}, QString::fromUtf8(error.what()));
    }
}

void AppModel::fail(std::vector<Diagnostic> diagnostics, const QString& text) {
    diagnostics_ = std::move(diagnostics);
    warnings_.clear();
    errorText_ = text;
    emit compiled();
}

void AppModel::takeProgram(std::shared_ptr<const ShaderProgram> program) {
    program_ = std::move(program);
    diagnostics_.clear();
    warnings_ = DiagnosticParser::parse(program_->warnings());
    std::erase_if(warnings_, [](const Diagnostic& warning) { return warning.line <= 0; });
    errorText_.reset();
    SliderValues carried, defaults;
    for (const ParamDecl& declaration : program_->params()) {
        const float d = declaration.defaultValue;
        const auto before = declaredDefaults_.find(declaration.name);
        const auto value = values_.find(declaration.name);
        const bool kept = before != declaredDefaults_.end() && before->second == d && value != values_.end();
        carried[declaration.name] = kept ? std::min(std::max(value->second, declaration.min), declaration.max) : d;
        defaults[declaration.name] = d;
    }
    values_ = std::move(carried);
    declaredDefaults_ = std::move(defaults);
    emit compiled();
}

void AppModel::compileNow() {
    pendingCompile_->cancel();
    if (!needsRun_) compile(currentText_);
}

void AppModel::run() {
    if (!needsRun_) return;
    needsRun_ = false;
    downloadedFrom_.reset();
    emit documentChanged();
    compile(currentText_);
}

AppModel::State AppModel::state() const {
    if (needsRun_) return State::waitingForRun;
    if (errorText_) return program_ ? State::errorWithPicture : State::errorWithoutPicture;
    return program_ ? State::live : State::empty;
}

QString AppModel::statusText() const {
    switch (state()) {
    case State::waitingForRun: return tr("Not running: press Run when you have read it");
    case State::errorWithPicture: return tr("Compile error, showing the last good frame");
    case State::errorWithoutPicture:
        return diagnostics_.empty() ? errorText_->section(u'\n', 0, 0) : asQString(diagnostics_.front().message);
    case State::live: return tr("Live · compiled in %1 ms").arg(QString::number(compileMillis_.value_or(0), 'f', 0));
    case State::empty: break;
    }
    return {};
}

// ---- The sliders ----------------------------------------------------------------------------------------------------

bool AppModel::takeValue(const std::string& name, float value) {
    if (!program_ || !std::isfinite(value)) return false;
    const auto& params = program_->params();
    const auto declaration = std::ranges::find(params, name, &ParamDecl::name);
    if (declaration == params.end()) return false;
    value = std::min(std::max(value, declaration->min), declaration->max);
    auto [place, added] = values_.try_emplace(name, value);
    if (!added && place->second == value) return false;
    place->second = value;
    return true;
}

void AppModel::setValue(const std::string& name, float value) {
    if (takeValue(name, value)) emit valueChanged(asQString(name));
}

void AppModel::setValues(const SliderValues& values) {
    bool any = false;
    for (const auto& [name, value] : values)
        any = takeValue(name, value) || any;
    if (any) emit valuesReset();
}

void AppModel::resetAllValues() {
    if (changedValueCount() == 0) return;
    values_ = declaredDefaults_;
    emit valuesReset();
}

int AppModel::changedValueCount() const {
    return int(std::ranges::count_if(values_, [this](const auto& entry) {
        const auto declared = declaredDefaults_.find(entry.first);
        return declared != declaredDefaults_.end() && declared->second != entry.second;
    }));
}

// ---- The clock ------------------------------------------------------------------------------------------------------

AppModel::Tick AppModel::tick(double now) {
    const double elapsed = lastTick_ ? now - *lastTick_ : 0;
    lastTick_ = now;
    if (!paused_) {
        time_ += elapsed;
        ++frame_;
    }
    const auto tenth = std::int64_t(time_ * 10);
    if (tenth != shownTenth_) {
        shownTenth_ = tenth;
        emit clockChanged();
    }
    return {float(time_), paused_ ? 0.0f : float(elapsed), frame_};
}

void AppModel::setPaused(bool paused) {
    if (paused == paused_) return;
    paused_ = paused;
    emit clockChanged();
}

void AppModel::backToStart() {
    time_ = 0;
    frame_ = 0;
    lastTick_.reset();
    emit clockChanged();
}

QString AppModel::stillName() const {
    return QStringLiteral("%1-t%2.png")
        .arg(QFileInfo(displayName()).completeBaseName(), QString::number(time_, 'f', 1));
}

void AppModel::saveStill() {
    if (!program_ || needsRun_) return;
    // The moment of the command, not that of the answer.
    StillRequest request{.program = program_, .values = values_, .frame = frame_, .time = float(time_), .path = {}};
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    questions_->chooseFileToSave(
        tr("Save the still"), pictures, stillName(),
        [this, request = std::move(request)](std::optional<QString> path) mutable {
            if (!path) return;
            request.path = *path;
            glasshob::saveStill(std::move(request), this, [this, path = *path](const auto& saved) {
                if (!saved) questions_->warn(tr("Can't save %1").arg(fileName(path)), saved.error());
            });
        });
}

void AppModel::setShowsEditor(bool shows) {
    if (shows == showsEditor_) return;
    showsEditor_ = shows;
    emit showsEditorChanged();
}

} // namespace glasshob
