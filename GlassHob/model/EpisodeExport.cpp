#include "GlassHob/model/EpisodeExport.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/model/OpenEpisode.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/export/EpisodeVideo.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr auto chaptersSuffix = ".chapters.json";

bool isHeard(const std::shared_ptr<const ShaderProgram>& program) {
    return program != nullptr && program->soundPipeline() != nullptr;
}

} // namespace

ExportPreset EpisodeExportChoices::preset() const {
    const ExportPreset* found = ExportPreset::find(presetId);
    return found != nullptr ? *found : ExportPreset::web();
}

EpisodeExport::EpisodeExport(AppModel& model) : model_(model) {
    connect(&model_.episode(), &OpenEpisode::changed, this, [this] {
        // A program that has come, one of many, changes no plan.
        if (model_.episode().episode() == read_)
            emit changed();
        else
            follow();
    });
    const auto followKept = [this] {
        if (model_.episode().episode()) follow();
    };
    connect(&model_, &AppModel::valueChanged, this, [followKept](const QString& name) {
        if (Variations::excluded().contains(name.toStdString())) followKept();
    });
    connect(&model_, &AppModel::valuesReset, this, followKept);
    connect(&model_.episodeAmount(), &EpisodeAmount::changed, this, followKept);
    const auto tell = [this] { emit changed(); };
    connect(&model_, &AppModel::documentChanged, this, tell);
    connect(&model_, &AppModel::compiled, this, tell);
    // Not each report of a running one.
    connect(&model_, &AppModel::exportChanged, this, [this] {
        if (std::exchange(wasExporting_, isExporting()) != isExporting()) emit changed();
    });
}

bool EpisodeExport::isExporting() const {
    return model_.exports().isRunning() || std::holds_alternative<ExportRunning>(model_.exportState());
}

void EpisodeExport::setChoices(EpisodeExportChoices choices) {
    choices.pageSeconds = std::clamp(choices.pageSeconds, episodeLook::leastPageSeconds, episodeLook::mostPageSeconds);
    if (choices == choices_) return;
    choices_ = std::move(choices);
    follow();
}

EpisodeChoices EpisodeExport::planChoices() const {
    EpisodeChoices choices;
    choices.hasCards = choices_.hasCards;
    choices.hasShow = choices_.hasShow;
    choices.hasWalkthrough = choices_.hasWalkthrough && stages_ > 0;
    choices.hasVariations = choices_.hasVariations && variations_ > 0;
    choices.amount = model_.episodeAmount().value();
    choices.pageSeconds = choices_.pageSeconds;
    choices.soundThroughout = choices_.soundThroughout;
    choices.hasMark = choices_.hasMark;
    // The shader is shown as it is declared, whatever the sliders are at; only how loud it is remains.
    for (const std::string& name : Variations::excluded())
        if (const auto kept = model_.values().find(name); kept != model_.values().end())
            choices.values[name] = kept->second;
    return choices;
}

void EpisodeExport::follow() {
    plan_.reset();
    planToShow_.reset();
    planFault_.clear();
    stages_ = pages_ = variations_ = 0;
    read_ = model_.episode().episode();
    if (const auto& episode = model_.episode().episode()) {
        if (!episode->stages.empty()) {
            stages_ = std::int64_t(episode->stages.size()) + 1;
            for (const WalkthroughStage& stage : model_.episode().stages())
                pages_ += std::int64_t(stage.pages.size());
        }
        const auto params = ParamParser::parse(episode->source.text);
        hasSliders_ = std::ranges::any_of(
            params, [](const ParamDecl& param) { return !Variations::excluded().contains(param.name); });
        if (hasSliders_) variations_ = std::int64_t(episode->meta.variations.size());
        const std::vector<WalkthroughStage>& stages = model_.episode().stages();
        const auto make = [&](const EpisodeChoices& choices) -> std::shared_ptr<const EpisodePlan> {
            auto plan = EpisodePlan::make(*episode, choices_.preset(), choices, pages_ > 0 ? &stages : nullptr);
            if (plan) return std::make_shared<const EpisodePlan>(std::move(*plan));
            planFault_ = asQString(plan.error().sentence);
            return nullptr;
        };
        EpisodeChoices choices = planChoices();
        plan_ = planToShow_ = make(choices);
        if (plan_ == nullptr && choices.hasWalkthrough && pages_ == 0) {
            choices.hasWalkthrough = false;
            planToShow_ = make(choices);
        }
    }
    emit changed();
}

double EpisodeExport::cardSeconds() const {
    return choices_.hasCards ? 2 * episodeLook::cardSeconds : 0;
}

double EpisodeExport::showSeconds() const {
    const auto& episode = model_.episode().episode();
    return choices_.hasShow && episode ? episode->meta.length : 0;
}

std::optional<double> EpisodeExport::walkthroughSeconds() const {
    if (!choices_.hasWalkthrough || stages_ == 0) return 0;
    if (model_.episode().fault()) return std::nullopt;
    return double(pages_) * choices_.pageSeconds;
}

double EpisodeExport::variationSeconds() const {
    const auto& episode = model_.episode().episode();
    return choices_.hasVariations && episode ? double(variations_) * episode->meta.variationLength : 0;
}

QString EpisodeExport::obstacle() const {
    const OpenEpisode& episode = model_.episode();
    if (!episode.episode()) return tr("The shader has no line @episode");
    if (model_.needsRun()) return tr("Press Run in the window first");
    if (isExporting()) return tr("Another export is running");
    if (episode.sourceFault()) return tr("The finished shader does not compile: repair it first.");
    const bool walks = choices_.hasWalkthrough && stages_ > 0;
    if (walks && episode.fault())
        return tr("Repair stage %1 or leave the walkthrough out.").arg(episode.fault()->number);
    if (!choices_.hasShow && !walks && !(choices_.hasVariations && variations_ > 0))
        return tr("Choose at least one part.");
    if (plan_ == nullptr) return planFault_;
    const EpisodePrograms programs = episode.programs();
    if (programs.finished == nullptr) return tr("Preparing the shader…");
    for (std::size_t i = 0; walks && i < programs.stages.size(); ++i)
        if (programs.stages[i] == nullptr) return tr("Preparing stage %1 of %2…").arg(i + 1).arg(stages_);
    return {};
}

bool EpisodeExport::hasSound() const {
    const EpisodePrograms programs = model_.episode().programs();
    if (isHeard(programs.finished)) return true;
    return plan_ != nullptr && !plan_->stages().empty() && !choices_.soundThroughout &&
           std::ranges::any_of(programs.stages, isHeard);
}

std::optional<ExportOrder> EpisodeExport::order() const {
    if (!canStart()) return std::nullopt;
    ExportOrder order{.segments = episodeSegments(*plan_, model_.episode().programs()), .preset = choices_.preset()};
    order.episode = plan_;
    if (choices_.writesChapters)
        order.companions.push_back({QString::fromLatin1(chaptersSuffix), plan_->chapters().json()});
    return order;
}

QString EpisodeExport::suggestedName() const {
    const auto& episode = model_.episode().episode();
    QString name = episode ? asQString(episode->meta.title).simplified() : QString();
    // What no file can be called, and what hides one.
    static const QRegularExpression refused(QStringLiteral("[/\\\\:*?\"<>|\\x00-\\x1f]"));
    name.replace(refused, QStringLiteral("-"));
    while (name.startsWith(u'.'))
        name.remove(0, 1);
    name = name.left(100).trimmed();
    return (name.isEmpty() ? tr("Episode") : name) + QStringLiteral(".mp4");
}

} // namespace glasshob
