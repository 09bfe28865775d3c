// The submenu of the bundled samples, each with its title and a small picture. The menu is filled when it is first
// about to be shown; pictures that are not there yet appear when they have been drawn. Main thread; owned by its
// parent.
#pragma once

#include <QMenu>

#include <map>
#include <string>

namespace glasshob {

class SampleThumbnails;

class SampleMenu : public QMenu {
    Q_OBJECT
  public:
    // `thumbnails` may be null: titles only. It must outlive the menu.
    SampleMenu(SampleThumbnails* thumbnails, QWidget* parent);

    // Fills the menu as showing it does.
    void fill();

  signals:
    void chosen(const QString& file); // "02-blue-hour.metal"

  protected:
    void actionEvent(QActionEvent* event) override;

  private:
    void setPicture(const std::string& file, const QImage& picture);

    SampleThumbnails* thumbnails_;
    std::map<std::string, QAction*> entries_;
};

} // namespace glasshob
