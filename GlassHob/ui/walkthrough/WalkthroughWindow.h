// Export > Preview Walkthrough: pages through the code of the open episode as its film has it, plays them, and says
// what does not fit. It follows the document and the files of its stages; the page stays. Not modal.
//
// Main thread; pictures are drawn on a thread beside. Deletes itself when it is closed.
#pragma once

#include "GlassHob/model/EpisodeExport.h"
#include "GlassHob/model/WalkthroughPictures.h"
#include "GlassHobRender/episode/EpisodePlan.h"

#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QAction;

namespace glasshob {

class AppModel;
class PageCells;
class Segments;
class Sign;
class TextButton;
class TextLine;
class ToolButton;
class WalkthroughList;
class PageView;
class WalkthroughPainter;

class WalkthroughWindow : public QWidget {
    Q_OBJECT
  public:
    // A window of its own, over `parent` in the order of windows.
    WalkthroughWindow(AppModel& model, QWidget* parent);
    ~WalkthroughWindow() override;

    void comeForward();

    PagePlace place() const { return place_; }
    void turnTo(PagePlace place);
    bool isPlaying() const { return playTimer_.isActive(); }
    void setPlaying(bool plays);
    // Seconds, from any beginning; what pages are played by.
    std::function<double()> now;

    // Whether the picture of the page that is turned to is shown.
    bool hasPicture() const { return hasPages() && !waits_; }
    PageView* page() const { return page_; }
    WalkthroughList* list() const { return list_; }
    PageCells* cells() const { return cells_; }
    Segments* size() const { return size_; }
    // What the author should know: sentences, the worst first.
    const QStringList& messages() const { return messages_; }
    ToolButton* playButton() const { return play_; }
    TextButton* exportButton() const { return export_; }

    // The button for exporting does what the action does; there is none before.
    void exportBy(QAction* exportEpisode);

  signals:
    // The picture of a page has come.
    void pictureShown(glasshob::PagePlace place);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void makeParts();
    void makeKeys();
    void follow();
    // What is said of the page, and its picture where that is another one.
    void followPlace(bool wantsPicture);
    void want(WalkthroughPictures::Reason reason = WalkthroughPictures::Reason::turned);
    void followPageSize();
    void followMessages();
    void turn(int pages);
    void turnStage(int stages);
    void playOn();
    // When the page begins in the film, in seconds.
    double startOf(PagePlace place) const;
    // The first one where there are no pages.
    PagePlace last() const;
    bool hasPages() const { return plan_ && !plan_->stages().empty(); }
    // Why there are no pages.
    QString note() const;

    AppModel& model_;
    // What the plan was made of.
    std::optional<QString> path_;
    std::optional<Episode> episode_;
    EpisodeExportChoices choices_;
    std::optional<EpisodePlan> plan_;
    EpisodePrograms programs_;
    QString planFault_;
    std::unique_ptr<WalkthroughPainter> painter_; // of the film's frame, for what fits
    WalkthroughPictures pictures_;
    PagePlace place_;
    QStringList messages_;
    QTimer playTimer_, resizeTimer_;
    double playStart_ = 0; // seconds of the film, at which
    double playBegan_ = 0; // it was so late
    bool playedToEnd_ = false;
    double moment_ = 0;       // of the film, that is shown
    std::int64_t wanted_ = 0; // the number of its picture
    bool waits_ = false;      // for it
    QSize pageSize_;

    TextLine *heading_, *count_, *placeText_, *message_, *facts_, *summary_;
    Sign* sign_;
    TextButton *lookAgain_, *showFolder_, *close_, *export_;
    WalkthroughList* list_;
    PageView* page_;
    PageCells* cells_;
    ToolButton *back_, *play_, *on_;
    Segments* size_;
    QWidget* pane_;
};

} // namespace glasshob
