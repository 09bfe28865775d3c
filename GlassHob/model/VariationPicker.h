// Picking the variations of the open document's episode, without a window: what there is to pick from, what is picked
// in which order, their pictures, and the line that the header gets. Follows the document: its header, its sliders, the
// amount. What is picked of another document is kept for as long as the picker lives, and never written into this one.
//
// Main thread. Tiles are numbered from 0 on, variations from 1.
#pragma once

#include "GlassHob/model/ChosenVariations.h"
#include "GlassHob/model/Delay.h"
#include "GlassHob/model/VariationStills.h"
#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobCore/episode/Variations.h"
#include "GlassHobCore/episode/VariationsLine.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QString>

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace glasshob {

class AppModel;
class ShaderProgram;

class VariationPicker : public QObject {
    Q_OBJECT
  public:
    // Tiles at first, and how many more() makes.
    static constexpr int batch = 24;

    explicit VariationPicker(AppModel& model, std::unique_ptr<Delay> amountDelay = std::make_unique<TimerDelay>());
    ~VariationPicker() override;

    enum class State {
        ready,
        // The document is no episode.
        noHeader,
        // It waits to be read: nothing is drawn.
        waitsForRun,
        // None of its texts has compiled yet.
        noProgram,
        // There is nothing to vary.
        noSliders,
    };
    State state() const { return state_; }
    bool canWrite() const { return state_ == State::ready && line_.change != VariationsLine::Change::none; }
    // The text does not compile: what is seen is its last one that did.
    bool isBehind() const { return isBehind_; }
    const EpisodeMeta& meta() const { return meta_; }

    // ---- What there is ----
    int count() const { return count_; }
    void more();
    std::int64_t indexOf(int tile) const { return tile + 1; }
    // Of any index.
    const Variation& variation(std::int64_t index) const;
    // Null while it is not drawn yet.
    QImage still(std::int64_t index) const;
    // The still is of another amount.
    bool isStale(std::int64_t index) const;

    // ---- The pictures ----
    void setPictureSize(const QSize& pixels);
    // The first ones first; what is there already is not drawn again. Of very many the last ones are not drawn.
    void setWanted(std::vector<std::int64_t> indices);
    // This one runs; its frames come by ran().
    void setRunning(std::optional<std::int64_t> index);
    bool isDrawing() const { return stills_.isBusy(); }

    // ---- What is picked ----
    const ChosenVariations& chosen() const { return chosen_; }
    void setChosen(ChosenVariations chosen);
    // What writing it would do to the text as it is now.
    const VariationsLine& line() const { return line_; }

  signals:
    // Anything but what is picked and the pictures.
    void changed();
    void chosenChanged();
    void stillDrawn(qint64 index);
    void ran(qint64 index, const QImage& frame);

  private:
    void followDocument();
    void followText();
    void followProgram();
    void begin();
    void judge();
    void wish();
    VariationStills::Wish wishOf(std::int64_t index) const;

    // All that the pictures depend on.
    struct Scene {
        std::shared_ptr<const ShaderProgram> program;
        Episode episode;
        SliderValues kept; // of sliders that are not varied
        float amount = 0;
        bool operator==(const Scene&) const = default;
    };
    struct Still {
        QImage image;
        bool isDue = false;
        bool isStale = false;
    };

    AppModel& model_;
    std::unique_ptr<Delay> amountDelay_;
    VariationStills stills_;
    State state_ = State::noHeader;
    bool isBehind_ = false;
    EpisodeMeta meta_; // of the text as it is
    Scene scene_;
    int count_ = batch;
    QSize pictureSize_;
    std::vector<std::int64_t> wanted_;
    std::optional<std::int64_t> running_;
    mutable std::map<std::int64_t, Variation> variations_;
    std::map<std::int64_t, Still> drawn_;

    QString key_; // the document's
    std::vector<std::int64_t> headerList_;
    ChosenVariations chosen_;
    QHash<QString, ChosenVariations> kept_; // of other documents
    VariationsLine line_;
};

} // namespace glasshob
