// What a person does with presets, behind the inspector's column, its drop-down and the Shader menu: choosing one,
// saving, renaming, replacing and deleting, and taking the last deletion back for six seconds.
// Owned by the inspector; main thread. Whatever fails is silent, as the model's presets are.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHobCore/shader/Params.h"

#include <QObject>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

class QAction;
class QMenu;

namespace glasshob {

class AppModel;
class Presets;

class PresetActions : public QObject {
    Q_OBJECT
  public:
    explicit PresetActions(AppModel& model, QObject* parent,
                           std::unique_ptr<Delay> undoEnds = std::make_unique<TimerDelay>());
    ~PresetActions() override;

    Presets& presets() const { return presets_; }
    // "Save Settings as Preset…", with its shortcut; enabled while there are sliders.
    QAction* saveAction() const { return save_; }
    // The submenu of the menu bar. Its entries are made when it is about to be shown.
    QMenu* makeMenu(QWidget* parent);
    // Fills any menu: the presets with a check at the one that is applied, and what can be done with them.
    void fill(QMenu& menu);
    // What the menu of one preset offers.
    void fillFor(const QString& name, QMenu& menu);

    // The list as it is to be shown: the deleted preset keeps its place while it can come back.
    struct Row {
        QString name;
        bool isApplied = false;
        bool isDeleted = false;
        bool operator==(const Row&) const = default;
    };
    const std::vector<Row>& rows() const { return rows_; }
    // The applied preset's name, or nothing.
    std::optional<QString> applied() const;

    void apply(const QString& name);
    void deleteForNow(const QString& name);
    void undoDelete();

  signals:
    // rows() is another list.
    void changed();

  private:
    void follow();
    void followList();

    AppModel& model_;
    Presets& presets_;
    std::unique_ptr<Delay> undoEnds_;
    QAction* save_;
    std::vector<Row> rows_;
    struct Deleted {
        QString name;
        SliderValues values;
        QString document; // the key of the presets it belonged to
        std::size_t place;
    };
    std::optional<Deleted> deleted_;
};

} // namespace glasshob
