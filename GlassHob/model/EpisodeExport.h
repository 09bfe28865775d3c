// What is chosen for the video of the open document's episode, and what comes of it: the plan with its parts and
// chapters, what stands in the way of the export, and the order for it.
//
// Main thread; owned by the model. Follows the episode as long as somebody needs that (OpenEpisode::setNeed).
#pragma once

#include "GlassHob/model/ExportJob.h"
#include "GlassHobRender/episode/EpisodePlan.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace glasshob {

class AppModel;

struct EpisodeExportChoices {
    std::string presetId = ExportPreset::web().id;
    bool hasCards = true;
    bool hasShow = true;
    bool hasWalkthrough = true;
    bool hasVariations = true;
    // Between the least and the most of episodeLook.
    double pageSeconds = episodeLook::pageSeconds;
    bool hasMark = true;
    bool soundThroughout = true;
    bool writesChapters = true;
    bool operator==(const EpisodeExportChoices&) const = default;

    ExportPreset preset() const;
};

class EpisodeExport : public QObject {
    Q_OBJECT
  public:
    explicit EpisodeExport(AppModel& model);

    const EpisodeExportChoices& choices() const { return choices_; }
    void setChoices(EpisodeExportChoices choices);

    // The video as chosen. Null while there is none: no episode, no part, or a stage without code.
    const std::shared_ptr<const EpisodePlan>& plan() const { return plan_; }
    // The same without the walkthrough where a stage without code is all that is wrong with it.
    const std::shared_ptr<const EpisodePlan>& planToShow() const { return planToShow_; }

    // What the plan is made with. The walkthrough is only in it where there are stages.
    EpisodeChoices planChoices() const;

    // What the parts hold, whether they are chosen or not.
    bool hasStages() const { return stages_ > 0; }
    std::int64_t stageCount() const { return stages_; }
    // 0 while they cannot be counted.
    std::int64_t pageCount() const { return pages_; }
    // Those that the header names; none where the shader has nothing to vary.
    std::int64_t variationCount() const { return variations_; }
    bool hasSliders() const { return hasSliders_; }
    // Of what the video holds, as chosen and possible; seconds.
    double cardSeconds() const;
    double showSeconds() const;
    std::optional<double> walkthroughSeconds() const; // not while a stage is at fault
    double variationSeconds() const;

    // Why it cannot be exported now, in a sentence; empty when it can.
    QString obstacle() const;
    bool canStart() const { return obstacle().isEmpty(); }
    bool hasSound() const;
    // Null while it cannot start.
    std::optional<ExportOrder> order() const;
    // "Flowing Colour.mp4"
    QString suggestedName() const;

  signals:
    // Any of it.
    void changed();

  private:
    void follow();
    bool isExporting() const; // anything

    AppModel& model_;
    EpisodeExportChoices choices_;
    // What the plans are of.
    std::optional<Episode> read_;
    std::shared_ptr<const EpisodePlan> plan_, planToShow_;
    QString planFault_;
    std::int64_t stages_ = 0, pages_ = 0, variations_ = 0;
    bool hasSliders_ = false;
    bool wasExporting_ = false;
};

} // namespace glasshob
