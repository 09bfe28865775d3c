// The main of the window's test programs. Under a display the real platform is used, so that the picture has a Vulkan
// surface; without one Qt's offscreen platform, where frames are read back.

#include "GPU/PipelineWarmer.h"
#include "GPU/tests/ValidationListener.h"
#include "GlassHob/model/BesideWork.h"

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
    // What a test has left to threads of its own may go on still; the driver must not be unloaded under it.
    const QDeadlineTimer deadline(120000);
    while (glasshob::besideWorkGoesOn() || gpu::PipelineWarmer::isAnyAtWork()) {
        if (deadline.hasExpired()) {
            std::fputs("A driver is still at work two minutes after the tests.\n", stderr);
            std::fflush(nullptr);
            std::_Exit(1);
        }
        QCoreApplication::processEvents(); // what has not been told yet keeps its device
        QThread::msleep(5);
    }
    return status;
}
