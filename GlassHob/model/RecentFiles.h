// The shaders that were opened last, newest first, kept in the settings. It follows the document by itself; the
// bundled sample and shaders that wait for Run are left out. Main thread; owned by the window.
#pragma once

#include <QObject>
#include <QStringList>

namespace glasshob {

class Document;

class RecentFiles : public QObject {
    Q_OBJECT
  public:
    static constexpr qsizetype most = 12;

    explicit RecentFiles(Document& document, QObject* parent = nullptr);
    // Absolute paths, without those whose file is gone; these come back when their file does.
    QStringList existing() const;
    bool isEmpty() const { return paths_.isEmpty(); }
    void clear();

  signals:
    void changed();

  private:
    void follow();
    void keep();

    Document& document_;
    QStringList paths_;
};

} // namespace glasshob
