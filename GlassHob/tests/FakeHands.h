// Keys and a mouse for a test: events that the X server sends out as if a keyboard and a mouse had made them, so that
// the window manager, focus, grabs and shortcuts all take part. For the X display of $DISPLAY. A call that moves or
// presses the mouse returns when the application has heard of it; after keys the event loop has run a little. What must
// come about is waited for by the test.
#pragma once

#include <QPoint>
#include <QString>

#include <memory>

class QWidget;
struct xcb_connection_t;

namespace glasshob::testing {

class FakeHands {
  public:
    FakeHands();
    ~FakeHands();
    FakeHands(const FakeHands&) = delete;
    FakeHands& operator=(const FakeHands&) = delete;

    bool isConnected() const;

    // "Ctrl+Shift+S", "F8", "Return", as QKeySequence spells them; letters of the keyboard's first group only.
    void press(const QString& keys);
    void type(const QString& text);
    // In the widget's coordinates.
    void moveTo(const QWidget* widget, QPoint place);
    void click(const QWidget* widget, QPoint place);
    void click(const QWidget* widget); // its middle
    // Along its middle line, between two parts of the width that it then has.
    void drag(const QWidget* widget, double from, double to);

  private:
    struct Stroke {
        unsigned char code = 0;
        bool needsShift = false;
    };
    Stroke strokeOf(unsigned symbol) const;
    void key(unsigned char code, bool isDown);
    void button(bool isDown);
    void fake(unsigned char type, unsigned char detail, QPoint place = {});
    // On the display, in its pixels, as the X server has it: the application hears of a window's moves later.
    QPoint onDisplay(const QWidget* widget, QPoint place) const;

    xcb_connection_t* connection_ = nullptr;
    unsigned root_ = 0;
    struct Mapping;
    std::unique_ptr<Mapping> mapping_;
};

} // namespace glasshob::testing
