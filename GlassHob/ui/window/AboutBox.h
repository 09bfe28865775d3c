// "About Glass Hob": the version and what draws the pictures, with a button that copies both for a report.
// Main thread; the box deletes itself when it is closed.
#pragma once

#include <QDialog>

namespace glasshob {

class AppModel;

class AboutBox : public QDialog {
    Q_OBJECT
  public:
    AboutBox(const AppModel& model, QWidget* window);
    // Version, graphics device, driver, toolkit and desktop, a line each.
    QString details() const { return details_; }

  private:
    QString details_;
};

} // namespace glasshob
