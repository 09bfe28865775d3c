#include "GlassHob/tests/FakeHands.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QGuiApplication>
#include <QTest>
#include <QWidget>

#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

namespace glasshob::testing {

namespace {

// The key symbols of X that have a name here; printable ASCII is its own symbol.
const std::map<QString, unsigned>& namedKeys() {
    static const std::map<QString, unsigned> names = {
        {"Return", 0xFF0D}, {"Escape", 0xFF1B}, {"Tab", 0xFF09},   {"Backspace", 0xFF08}, {"Delete", 0xFFFF},
        {"Home", 0xFF50},   {"End", 0xFF57},    {"Left", 0xFF51},  {"Up", 0xFF52},        {"Right", 0xFF53},
        {"Down", 0xFF54},   {"Ctrl", 0xFFE3},   {"Shift", 0xFFE1}, {"Alt", 0xFFE9},       {"Space", 0x20}};
    return names;
}

constexpr int patience = 60000; // milliseconds before a wait is a failure

void settle() {
    QTest::qWait(15);
}

// Until the layouts that are on their way have come.
void waitForPlace(const QWidget* widget) {
    QRect before;
    const auto stands = [&] {
        QCoreApplication::sendPostedEvents();
        const QRect now(widget->mapToGlobal(QPoint(0, 0)), widget->size());
        return std::exchange(before, now) == now && widget->isVisible();
    };
    EXPECT_TRUE(QTest::qWaitFor(stands, patience));
}

} // namespace

struct FakeHands::Mapping {
    unsigned char first = 8;
    unsigned columns = 0;
    std::vector<unsigned> symbols;
};

FakeHands::FakeHands() : mapping_(std::make_unique<Mapping>()) {
    connection_ = xcb_connect(nullptr, nullptr);
    if (!isConnected()) return;
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    root_ = xcb_setup_roots_iterator(setup).data->root;
    const auto count = std::uint8_t(setup->max_keycode - setup->min_keycode + 1);
    auto* reply = xcb_get_keyboard_mapping_reply(
        connection_, xcb_get_keyboard_mapping(connection_, setup->min_keycode, count), nullptr);
    if (reply == nullptr) return;
    mapping_->first = setup->min_keycode;
    mapping_->columns = reply->keysyms_per_keycode;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(reply);
    mapping_->symbols.assign(symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply));
    std::free(reply);
}

FakeHands::~FakeHands() {
    if (connection_ != nullptr) xcb_disconnect(connection_);
}

bool FakeHands::isConnected() const {
    return connection_ != nullptr && xcb_connection_has_error(connection_) == 0;
}

FakeHands::Stroke FakeHands::strokeOf(unsigned symbol) const {
    for (unsigned column = 0; column < 2 && column < mapping_->columns; ++column)
        for (std::size_t at = column; at < mapping_->symbols.size(); at += mapping_->columns)
            if (mapping_->symbols[at] == symbol)
                return {static_cast<unsigned char>(mapping_->first + at / mapping_->columns), column == 1};
    ADD_FAILURE() << "the keyboard has no key for symbol " << symbol;
    return {};
}

void FakeHands::fake(unsigned char type, unsigned char detail, QPoint place) {
    xcb_test_fake_input(connection_, type, detail, XCB_CURRENT_TIME, root_, std::int16_t(place.x()),
                        std::int16_t(place.y()), 0);
    xcb_flush(connection_);
}

void FakeHands::key(unsigned char code, bool isDown) {
    fake(isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code);
}

void FakeHands::button(bool isDown) {
    fake(isDown ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, 1);
    const auto heard = [isDown] { return QGuiApplication::mouseButtons().testFlag(Qt::LeftButton) == isDown; };
    EXPECT_TRUE(QTest::qWaitFor(heard, patience)) << "the application does not hear of the mouse button";
}

void FakeHands::press(const QString& keys) {
    std::vector<unsigned char> held;
    for (QString name : keys.split(u'+', Qt::SkipEmptyParts)) {
        unsigned symbol = 0;
        bool isNumber = false;
        const unsigned number = name.mid(1).toUInt(&isNumber);
        if (namedKeys().contains(name))
            symbol = namedKeys().at(name);
        else if (name.size() > 1 && name[0] == u'F' && isNumber)
            symbol = 0xFFBE + number - 1;
        else
            symbol = name.toLower()[0].unicode();
        held.push_back(strokeOf(symbol).code);
        key(held.back(), true);
    }
    for (auto code = held.rbegin(); code != held.rend(); ++code)
        key(*code, false);
    settle();
}

void FakeHands::type(const QString& text) {
    const unsigned char shift = strokeOf(namedKeys().at("Shift")).code;
    for (const QChar c : text) {
        const Stroke stroke = strokeOf(c.unicode());
        if (stroke.needsShift) key(shift, true);
        key(stroke.code, true);
        key(stroke.code, false);
        if (stroke.needsShift) key(shift, false);
        QTest::qWait(3);
    }
    settle();
}

QPoint FakeHands::onDisplay(const QWidget* widget, QPoint place) const {
    const QWidget* window = widget->window();
    const QPoint inside = widget->mapTo(window, place) * widget->devicePixelRatio();
    auto* reply =
        xcb_translate_coordinates_reply(connection_,
                                        xcb_translate_coordinates(connection_, xcb_window_t(window->winId()), root_,
                                                                  std::int16_t(inside.x()), std::int16_t(inside.y())),
                                        nullptr);
    if (reply == nullptr) return {};
    const QPoint found(reply->dst_x, reply->dst_y);
    std::free(reply);
    return found;
}

void FakeHands::moveTo(const QWidget* widget, QPoint place) {
    waitForPlace(widget);
    fake(XCB_MOTION_NOTIFY, 0, onDisplay(widget, place));
    settle();
}

void FakeHands::click(const QWidget* widget, QPoint place) {
    moveTo(widget, place);
    button(true);
    button(false);
    settle();
}

void FakeHands::click(const QWidget* widget) {
    click(widget, widget->rect().center());
}

void FakeHands::drag(const QWidget* widget, double from, double to) {
    waitForPlace(widget);
    const auto at = [widget](double part) { return QPoint(qRound(part * widget->width()), widget->height() / 2); };
    moveTo(widget, at(from));
    button(true);
    constexpr int steps = 12;
    for (int step = 1; step <= steps; ++step)
        moveTo(widget, at(from + (to - from) * step / steps));
    button(false);
    settle();
}

} // namespace glasshob::testing
