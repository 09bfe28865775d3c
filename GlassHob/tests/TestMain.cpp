// The main of the window's test programs. Under a display the real platform is used, so that the picture has a Vulkan
// surface; without one Qt's offscreen platform, where frames are read back.

#include "GPU/tests/ValidationListener.h"
#include "GlassHob/model/RetiredDevice.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QStandardPaths>
#include <QThread>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    gpu::testing::failOnValidationMessages();
    if (qgetenv("QT_QPA_PLATFORM") != "wayland")
        qputenv("QT_QPA_PLATFORM", qEnvironmentVariableIsSet("DISPLAY") ? "xcb" : "offscreen");
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("GlassHobTests"));
    QApplication::setApplicationName(QStringLiteral("Glass Hob tests"));
    const int status = RUN_ALL_TESTS();
    // A device that a test has made the model let go of may still be ending on its own thread; the driver must not be
    // unloaded under it.
    const QDeadlineTimer deadline(20000);
    while (glasshob::retiredDeviceIsBusy()) {
        if (deadline.hasExpired()) {
            std::fputs("A retired device is still busy 20 seconds after the tests.\n", stderr);
            std::fflush(nullptr);
            std::_Exit(1);
        }
        QThread::msleep(5);
    }
    return status;
}
