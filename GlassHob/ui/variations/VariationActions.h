// The command that opens the one window for choosing an episode's variations. Main thread; owned by the main window.
#pragma once

#include <QObject>
#include <QPointer>

#include <cstdint>
#include <vector>

class QAction;
class QWidget;

namespace glasshob {

class AppModel;
class VariationsWindow;

class VariationActions : public QObject {
    Q_OBJECT
  public:
    VariationActions(AppModel& model, QWidget* mainWindow);

    // Enabled while the document is an episode.
    QAction* choose;
    void open();
    // Null while it is closed.
    VariationsWindow* window() const;

  signals:
    // The open document's header is to name these.
    void writeWanted(const std::vector<std::int64_t>& indices);

  private:
    AppModel& model_;
    QWidget* mainWindow_;
    QPointer<VariationsWindow> window_;
};

} // namespace glasshob
