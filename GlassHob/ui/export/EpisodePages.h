// The pages of the window in which an episode is exported: what is asked before, how far it is, and that it is ready.
// The first two have a picture with the options or the figures at the left, the parts and chapters at the right; on a
// screen that is too narrow for both, one column that scrolls. Main thread; owned by their window.
#pragma once

#include "GlassHob/ui/export/ExportOutcome.h"

#include <QSize>

#include <memory>

class QBoxLayout;
class QCheckBox;

namespace glasshob {

class AppModel;
class ChapterList;
class EpisodePlan;
class EpisodeParts;
class ExportFigures;
class DialogPicture;
class PresetCards;

class TwoColumnPage : public QWidget {
    Q_OBJECT
  public:
    static constexpr int bodyHeight = 584;

    explicit TwoColumnPage(QWidget* parent);

    // What the page may take of its screen.
    void setRoom(QSize room);
    DialogPicture* picture() const { return picture_; }
    ChapterList* chapters() const { return chapters_; }
    TextLine* chapterCount() const { return count_; }
    DialogFooter* footer() const { return footer_; }

  protected:
    // What stands under the picture, and over the chapters.
    void fill(QWidget* underPicture, QWidget* overChapters);
    void tellCount();
    bool eventFilter(QObject* object, QEvent* event) override;
    FilledPane* left() const { return left_; }
    FilledPane* right() const { return right_; }

  private:
    void fit();

    QSize room_;
    FilledPane *ground_, *left_, *right_;
    QBoxLayout* columns_;
    QScrollArea* scroll_;
    FilledPane* divider_;
    DialogPicture* picture_;
    QWidget* overChapters_ = nullptr;
    ChapterList* chapters_;
    TextLine* count_;
    DialogFooter* footer_;
};

class EpisodeForm : public TwoColumnPage {
    Q_OBJECT
  public:
    EpisodeForm(AppModel& model, QWidget* parent);

    // The export starts, unless something stands in its way.
    void submit();
    void focusFirst();
    // While the question where to put the video is up.
    void setAsking(bool asking);

    PresetCards* presets() const { return presets_; }
    QCheckBox* mark() const { return mark_; }
    QCheckBox* sound() const { return sound_; }
    QCheckBox* writesChapters() const { return writesChapters_; }
    EpisodeParts* parts() const { return parts_; }
    TextLine* foreseen() const { return foreseen_; }
    TextButton* exportButton() const { return export_; }

  signals:
    void submitted();
    void cancelled();

  private:
    void follow();
    void read();

    AppModel& model_;
    PresetCards* presets_;
    QCheckBox *mark_, *sound_, *writesChapters_;
    EpisodeParts* parts_;
    TextLine* foreseen_;
    TextButton *cancel_, *export_;
    bool asking_ = false;
};

class EpisodeProgress : public TwoColumnPage {
    Q_OBJECT
  public:
    EpisodeProgress(AppModel& model, QWidget* parent);
    void focusFirst();
    ExportFigures* figures() const { return figures_; }
    TextButton* cancelButton() const { return cancel_; }

  signals:
    void cancelled();

  private:
    void follow();

    AppModel& model_;
    ExportFigures* figures_;
    TextButton* cancel_;
    std::shared_ptr<const EpisodePlan> plan_; // that the rows are of
    int shown_ = -1;                          // the row that was brought into view last
};

class EpisodeFinishedPage : public ResultPage {
    Q_OBJECT
  public:
    EpisodeFinishedPage(AppModel& model, QWidget* parent);
    TextButton* copyChapters() const { return copyChapters_; }

  private:
    void follow();

    AppModel& model_;
    TextButton* copyChapters_;
};

} // namespace glasshob
