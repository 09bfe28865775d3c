// The chapters of an episode's video: when each begins, and its title. One is always chosen; during an export each says
// whether it is done instead. Up and Down move. Main thread; owned by its parent.
#pragma once

#include <QListView>

#include <cstddef>
#include <optional>
#include <vector>

namespace glasshob {

class EpisodePlan;

struct ChapterRow {
    QString time, title;
    // What is shown when the row has not said it all.
    QString toolTip;
    // Slider values: set as code.
    bool isCode = false;
    bool operator==(const ChapterRow&) const = default;
};

// One for each part of the plan. Without times behind the part whose length is not known.
std::vector<ChapterRow> chapterRows(const EpisodePlan& plan);

class ChapterModel : public QAbstractListModel {
    Q_OBJECT
  public:
    using QAbstractListModel::QAbstractListModel;

    // How far an export is: the row in work with its percentage; rows before it are done.
    struct Progress {
        int row = 0;
        int percent = 0;
        bool operator==(const Progress&) const = default;
    };
    void setRows(std::vector<ChapterRow> rows);
    void setProgress(std::optional<Progress> progress);
    const std::vector<ChapterRow>& rows() const { return rows_; }
    const std::optional<Progress>& progress() const { return progress_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

  private:
    std::vector<ChapterRow> rows_;
    std::optional<Progress> progress_;
};

class ChapterList : public QListView {
    Q_OBJECT
  public:
    static constexpr int rowHeight = 28;

    explicit ChapterList(QWidget* parent);

    ChapterModel* chapters() const { return model_; }
    // The chosen row stays where it is, as far as there are so many.
    void setRows(std::vector<ChapterRow> rows);
    // From 0; -1 without rows.
    int chosen() const { return currentIndex().row(); }
    void choose(int row);

  signals:
    void chose(int row);

  protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

  private:
    ChapterModel* model_;
    int last_ = 0; // chosen, also while there are no rows
};

} // namespace glasshob
