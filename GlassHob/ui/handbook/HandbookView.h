// One page of the handbook as one reads it: Markdown in the program's fonts and colours, shaders coloured as in the
// editor, with a link under each whole one that tries it. Main thread; owned by its window.
#pragma once

#include "GlassHobCore/code/Handbook.h"

#include <QTextBrowser>

namespace glasshob {

class HandbookView : public QTextBrowser {
    Q_OBJECT
  public:
    explicit HandbookView(QWidget* parent);

    // Shows the page of the place and scrolls to it.
    void show(const handbook::Place& place);
    const handbook::Place& place() const { return place_; }

  signals:
    void linkPicked(const glasshob::handbook::Place& place);
    void examplePicked(const glasshob::handbook::Example& example);

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void load();
    void dress();
    void frameCode();
    void scrollTo(const handbook::Place& place);
    void follow(const QUrl& link);

    handbook::Place place_{.page = -1, .heading = {}, .text = {}};
};

} // namespace glasshob
