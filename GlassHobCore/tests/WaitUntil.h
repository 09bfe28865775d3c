#pragma once

// Runs the event loop until something is so; fails the test when that does not come about.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>

template <class Condition>
void waitUntil(Condition condition) {
    const QDeadlineTimer deadline(60'000);
    while (!condition()) {
        ASSERT_FALSE(deadline.hasExpired()) << "What was waited for did not come about.";
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    }
}
