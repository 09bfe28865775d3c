// The pages of a walkthrough, stage by stage, each with a small picture. Main thread; owned by its parent.
#pragma once

#include "GlassHob/model/WalkthroughPictures.h"

#include <QListWidget>

#include <map>
#include <vector>

namespace glasshob {

class WalkthroughList : public QListWidget {
    Q_OBJECT
  public:
    static constexpr QSize smallSize{80, 45};

    WalkthroughList(WalkthroughPictures& pictures, QWidget* parent);

    // Keeps the place where it is scrolled to.
    void setStages(const std::vector<WalkthroughStage>& stages);
    void setCurrent(PagePlace place);
    // Small pictures of what is in sight, where they are not there yet: those in sight first, then those a screen away.
    void wantPictures();
    int stageCount() const { return stages_; }
    // "15 lines"; empty where there is no such page.
    QString linesOf(PagePlace place) const;
    QImage pictureOf(PagePlace place) const { return pictures_.smallPicture(place); }
    // Of a row, in the viewport; for who looks at it.
    QRect rowRect(PagePlace place) const;

  signals:
    // By the person.
    void picked(glasshob::PagePlace place);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

  private:
    WalkthroughPictures& pictures_;
    std::map<PagePlace, QListWidgetItem*> rows_;
    int stages_ = 0;
};

} // namespace glasshob
