// Draws the pictures of a walkthrough on a thread beside: the page that is looked at, at any moment of the film, and
// small ones of all pages. The page goes first; what is not wanted any more is given up. A page whose stage has no
// program, or whose picture fails, is drawn without the shader's picture.
//
// Main thread; destruction waits for nothing.
#pragma once

#include "GlassHobCore/episode/Walkthrough.h"
#include "GlassHobRender/export/EpisodePicture.h"

#include <QImage>
#include <QObject>
#include <QSize>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace glasshob {

// A page of a walkthrough; both count from 0.
struct PagePlace {
    std::size_t stage = 0;
    std::size_t page = 0;

    auto operator<=>(const PagePlace&) const = default;
};

class WalkthroughPictures : public QObject {
    Q_OBJECT
  public:
    explicit WalkthroughPictures(QObject* parent = nullptr);
    ~WalkthroughPictures() override;

    // None: nothing is drawn. Small pictures stay until the new ones are there.
    void setPlan(const std::optional<EpisodePlan>& plan, const EpisodePrograms& programs);
    // Pixels.
    void setPageSize(QSize size);
    void setSmallSize(QSize size);

    enum class Reason { turned, played };
    // The picture of so many seconds of the film, on the page at that time. Replaces what was wanted before; gives the
    // number that drawn() tells. Another page that is turned to does not wait for the picture in work; one that is
    // played does unless that one is slow, as the way of particles up to a moment would begin anew.
    std::int64_t wantMoment(double seconds, PagePlace place, Reason reason);
    // Small pictures in this order. Those that are there for the same page and program are not drawn again.
    void wantSmall(const std::vector<PagePlace>& places);
    // Null while there is none.
    QImage smallPicture(PagePlace place) const;

  signals:
    // Number 0: the page alone, while its picture takes long.
    void drawn(const QImage& picture, glasshob::PagePlace place, std::int64_t number);
    void smallDrawn(glasshob::PagePlace place);

  private:
    struct Work;
    // What a picture follows from, and the picture.
    struct Small {
        std::shared_ptr<const ShaderProgram> program;
        std::shared_ptr<const WalkthroughStage> stage;
        std::size_t stages = 0, pages = 0;
        double moment = 0;
        bool hasMark = false;
        QImage picture;

        bool operator==(const Small&) const = default;
    };
    // Without the picture.
    Small whatIs(PagePlace place) const;
    void begin();
    void takeSmall(PagePlace place, const Small& drawn);

    std::shared_ptr<Work> work_;
    std::optional<EpisodePlan> plan_;
    EpisodePrograms programs_;
    // Of the plan; one that has not changed stays the same object.
    std::vector<std::shared_ptr<const WalkthroughStage>> stages_;
    std::size_t pages_ = 0;
    std::int64_t asked_ = 0;
    std::map<PagePlace, Small> small_;
};

} // namespace glasshob
