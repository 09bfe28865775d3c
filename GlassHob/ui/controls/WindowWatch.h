// Whether anything of a window can be seen, as far as the platform tells: not while it is on another desktop or, on X11
// without a compositor, wholly under other windows. Where the platform tells nothing it counts as seen.
// Main thread; owned by who asks.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QPointer>

class QWindow;

namespace glasshob {

class WindowWatch : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
  public:
    explicit WindowWatch(QObject* parent);
    ~WindowWatch() override;
    // A top-level window that has been created; another one takes its place.
    void setWindow(QWindow* window);
    bool isSeen() const;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

  signals:
    void changed();

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void setCovered(bool covered);

    QPointer<QWindow> window_;
    bool covered_ = false;
    bool filters_ = false;
};

} // namespace glasshob
