// Small pictures of the bundled samples, drawn one after another on a thread and a device of their own, so that the
// live picture is not held up, and kept as files in the user's cache folder: a text is drawn once.
//
// Main thread. Destroying the object stops the drawing and waits for the picture in work (its particle steps are cut
// short). What cannot be drawn is left out.
#pragma once

#include "GlassHobCore/shader/SampleShelf.h"

#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>

#include <thread>
#include <vector>

namespace glasshob {

class SampleThumbnails : public QObject {
    Q_OBJECT
  public:
    static constexpr QSize size{192, 108};

    // `folder` holds the files; the user's cache folder where it is empty.
    explicit SampleThumbnails(QString folder = {}, QObject* parent = nullptr);
    ~SampleThumbnails() override;

    // Announces the pictures that are there before it returns, the others as they are drawn. A second call replaces
    // the first.
    void draw(const std::vector<SampleShelf::Sample>& samples);

  signals:
    void drawn(const QString& file, const QImage& picture);

  private:
    QString pathOf(const SampleShelf::Sample& sample) const;

    QString folder_;
    std::jthread worker_;
};

} // namespace glasshob
