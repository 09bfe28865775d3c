#include "GlassHob/model/OpenEpisode.h"

#include "GPU/Device.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/BesideWork.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr double readDelay = 0.3; // seconds

QString stagesFolderOf(const QString& folder) {
    return folder + QStringLiteral("/stages");
}

OpenEpisode::StageFault faultOf(const ShaderError& error) {
    OpenEpisode::StageFault fault;
    const auto first = std::ranges::find(error.diagnostics, Diagnostic::Severity::error, &Diagnostic::severity);
    if (first == error.diagnostics.end()) {
        fault.message = asQString(error.raw).section(u'\n', 0, 0);
    } else {
        fault.line = first->line;
        fault.message = asQString(first->message);
    }
    return fault;
}

} // namespace

// Lets a thread that outlives the object know.
struct OpenEpisode::Life {
    OpenEpisode* object = nullptr; // for the main thread
    std::atomic<bool> hasEnded = false;
};

QString OpenEpisode::StageFault::text() const {
    if (hasNoCode) return message;
    return line > 0 ? tr("Stage %1, %2, does not compile: line %3: %4").arg(number).arg(name).arg(line).arg(message)
                    : tr("Stage %1, %2, does not compile: %3").arg(number).arg(name, message);
}

OpenEpisode::OpenEpisode(AppModel& model, std::unique_ptr<Delay> delay)
    : model_(model), delay_(std::move(delay)), life_(std::make_shared<Life>()) {
    life_->object = this;
    Document& document = model_.document();
    connect(&document, &Document::changed, this, &OpenEpisode::follow);
    connect(&document, &Document::textLoaded, this, &OpenEpisode::read);
    connect(&document, &Document::edited, this, &OpenEpisode::follow);
    connect(&model_, &AppModel::deviceReplaced, this, [this] {
        forgetPrograms();
        compileNext();
    });
}

OpenEpisode::~OpenEpisode() {
    life_->object = nullptr;
    life_->hasEnded = true;
}

OpenEpisode::Need OpenEpisode::greatestNeed() const {
    Need greatest = Need::nothing;
    for (const auto& [who, need] : needs_)
        greatest = std::max(greatest, need);
    return greatest;
}

void OpenEpisode::setNeed(QObject* who, Need need) {
    const Need before = greatestNeed();
    if (need == Need::nothing) {
        if (needs_.erase(who) > 0) disconnect(who, nullptr, this, nullptr);
    } else if (needs_.insert_or_assign(who, need).second) {
        // Told later: who goes may be listening still.
        connect(who, &QObject::destroyed, this, [this, who] {
            const Need had = greatestNeed();
            needs_.erase(who);
            QMetaObject::invokeMethod(this, [this, had] { followNeed(had); }, Qt::QueuedConnection);
        });
    }
    followNeed(before);
}

void OpenEpisode::followNeed(Need before) {
    const Need now = greatestNeed();
    if (now != Need::programs) forgetPrograms(); // a program keeps its device
    if ((before == Need::nothing) != (now == Need::nothing))
        read();
    else
        compileNext();
}

// A text that is typed is read when it rests.
void OpenEpisode::follow() {
    if (model_.filePath() != path_)
        read();
    else if (model_.currentText() != text_)
        delay_->start(readDelay, [this] { read(); });
    else
        compileNext(); // what waited to be run may run now
}

void OpenEpisode::lookAgain() {
    read();
}

QString OpenEpisode::folder() const {
    return model_.filePath() ? QFileInfo(*model_.filePath()).absolutePath() : QString();
}

bool OpenEpisode::looksForStages() const {
    return model_.filePath() && QFileInfo(*model_.filePath()).fileName() == QStringLiteral("source.metal");
}

QString OpenEpisode::advice() const {
    if (state_ == State::notSaved) return tr("Save the shader first: the stages are looked for beside its file.");
    if (state_ != State::noStages) return {};
    return looksForStages() ? tr("Put the earlier steps as .metal files into a folder “stages” beside the shader. They "
                                 "are shown in the order of their names.")
                            : tr("Save the shader as source.metal in a folder of its own, with the earlier steps as "
                                 ".metal files in a folder “stages” beside it.");
}

void OpenEpisode::read() {
    delay_->cancel();
    path_ = model_.filePath();
    text_ = model_.currentText();
    const bool hadHeader = std::exchange(hasHeader_, EpisodeFolder::hasHeader(text_));
    const auto before = std::tuple(state_, episode_, problem_, fault_, sourceFault_);
    episode_.reset();
    stages_.clear();
    problem_.clear();
    codeFault_.reset();
    if (hasHeader_ && greatestNeed() != Need::nothing) {
        if (path_) {
            auto found = EpisodeFolder::read(QFile::encodeName(*path_).toStdString(), text_);
            if (found)
                episode_ = std::move(*found);
            else
                problem_ = asQString(found.error().sentence);
        }
        // Its header is there, so this one never fails.
        if (!episode_) {
            auto alone = EpisodeFolder::ofText(model_.displayName().toStdString(), text_);
            if (alone) episode_ = std::move(*alone);
        }
    }
    if (episode_) {
        auto made = episode_->walkthrough(episodeLook::pageLines);
        if (made) {
            stages_ = std::move(*made);
        } else {
            const auto at = std::size_t(made.error().number) - 1;
            const EpisodeFile& file = at < episode_->stages.size() ? episode_->stages[at] : episode_->source;
            const QString path = QFile::decodeName(QByteArray::fromStdString(file.path));
            codeFault_ = StageFault{.number = made.error().number,
                                    .name = QFileInfo(path).fileName(),
                                    .path = path,
                                    .hasNoCode = true,
                                    .line = 0,
                                    .message = asQString(made.error().sentence)};
        }
    }
    std::erase_if(made_, [this](const auto& entry) {
        if (!episode_ || entry.first == episode_->source.text) return !episode_;
        return std::ranges::find(episode_->stages, entry.first, &EpisodeFile::text) == episode_->stages.end();
    });
    watch();
    judge();
    compileNext();
    if (hadHeader != hasHeader_) emit hasHeaderChanged();
    if (before != std::tuple(state_, episode_, problem_, fault_, sourceFault_)) emit changed();
}

// The state that follows from what has been read and compiled.
void OpenEpisode::judge() {
    fault_ = codeFault_;
    sourceFault_.reset();
    if (!episode_) {
        state_ = State::nothing;
        return;
    }
    for (std::size_t i = 0; i < episode_->stages.size(); ++i) {
        const EpisodeFile& stage = episode_->stages[i];
        const auto number = std::int64_t(i) + 1;
        const Made* made = madeOf(stage);
        if (made == nullptr || made->program != nullptr || (fault_ && fault_->number < number)) continue;
        fault_ = made->fault;
        fault_->number = number;
        fault_->path = QFile::decodeName(QByteArray::fromStdString(stage.path));
        fault_->name = QFileInfo(fault_->path).fileName();
        break;
    }
    if (const Made* made = madeOf(episode_->source); made != nullptr && made->program == nullptr) {
        sourceFault_ = made->fault;
        sourceFault_->number = std::int64_t(episode_->stages.size()) + 1;
        sourceFault_->path = path_.value_or(QString());
        sourceFault_->name = model_.displayName();
    }
    state_ = !path_                     ? State::notSaved
             : !problem_.isEmpty()      ? State::unreadable
             : episode_->stages.empty() ? State::noStages
             : fault_                   ? State::stageFault
                                        : State::ready;
}

// Folders as well as files: one that is replaced is another file, and stages come and go.
void OpenEpisode::watch() {
    if (!episode_ || !path_) {
        watcher_.reset();
        return;
    }
    if (watcher_ == nullptr) {
        watcher_ = std::make_unique<QFileSystemWatcher>();
        const auto later = [this] { delay_->start(readDelay, [this] { read(); }); };
        connect(watcher_.get(), &QFileSystemWatcher::fileChanged, this, later);
        connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, this, later);
    }
    QStringList wanted;
    if (looksForStages()) {
        wanted << folder();
        if (const QString stages = stagesFolderOf(folder()); QFileInfo(stages).isDir()) wanted << stages;
        for (const EpisodeFile& stage : episode_->stages)
            wanted << QFile::decodeName(QByteArray::fromStdString(stage.path));
    }
    QStringList stale = watcher_->files() + watcher_->directories();
    for (const QString& path : std::as_const(wanted))
        stale.removeAll(path);
    if (!stale.isEmpty()) watcher_->removePaths(stale);
    const QStringList known = watcher_->files() + watcher_->directories();
    wanted.removeIf([&](const QString& path) { return known.contains(path); });
    if (!wanted.isEmpty()) watcher_->addPaths(wanted);
}

// ---- Programs -------------------------------------------------------------------------------------------------------

const OpenEpisode::Made* OpenEpisode::madeOf(const EpisodeFile& file) const {
    const auto found = made_.find(file.text);
    return found == made_.end() ? nullptr : &found->second;
}

EpisodePrograms OpenEpisode::programs() const {
    EpisodePrograms programs;
    if (!episode_) return programs;
    const auto of = [this](const EpisodeFile& file) {
        const Made* made = madeOf(file);
        return made == nullptr ? nullptr : made->program;
    };
    programs.finished = of(episode_->source);
    if (episode_->stages.empty()) return programs;
    for (const EpisodeFile& stage : episode_->stages)
        programs.stages.push_back(of(stage));
    programs.stages.push_back(programs.finished);
    return programs;
}

bool OpenEpisode::hasAllPrograms() const {
    const EpisodePrograms made = programs();
    return made.finished != nullptr && std::ranges::find(made.stages, nullptr) == made.stages.end();
}

void OpenEpisode::forgetPrograms() {
    if (made_.empty()) return;
    made_.clear();
    judge();
}

void OpenEpisode::compileNext() {
    if (isCompiling_ || !episode_ || greatestNeed() != Need::programs || model_.needsRun()) return;
    const EpisodeFile* next = madeOf(episode_->source) == nullptr ? &episode_->source : nullptr;
    for (const EpisodeFile& stage : episode_->stages)
        if (next == nullptr && madeOf(stage) == nullptr) next = &stage;
    if (next == nullptr) return;
    std::shared_ptr<gpu::Device> device;
    try {
        device = model_.device();
    } catch (const std::exception&) {
        return; // the window tells of it
    }
    if (device == nullptr || device->lost()) return; // deviceReplaced() comes back here
    isCompiling_ = true;
    runBeside([text = next->text, device, life = life_]() mutable {
        Made made;
        try {
            made.program = std::make_shared<const ShaderProgram>(text, device);
        } catch (const ShaderError& error) {
            made.fault = faultOf(error);
        } catch (const std::exception& error) {
            made.fault.message = QString::fromUtf8(error.what());
        }
        if (life->hasEnded) return;
        QMetaObject::invokeMethod(
            qApp,
            [text = std::move(text), device = std::move(device), made = std::move(made), life] {
                if (life->object != nullptr) life->object->take(text, device, made);
            },
            Qt::QueuedConnection);
    });
}

void OpenEpisode::take(const std::string& text, const std::shared_ptr<gpu::Device>& device, Made made) {
    isCompiling_ = false;
    const bool isOf =
        episode_ && (text == episode_->source.text ||
                     std::ranges::find(episode_->stages, text, &EpisodeFile::text) != episode_->stages.end());
    // Not of a text that has been edited since, of a device that is left behind, or when nobody wants it any more.
    if (isOf && !device->lost() && greatestNeed() == Need::programs) {
        made_.insert_or_assign(text, std::move(made));
        judge();
    }
    compileNext();
    emit changed();
}

} // namespace glasshob
