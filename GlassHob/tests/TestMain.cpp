// The main of the window's test programs. Under a display the real platform is used, so that the picture has a Vulkan
// surface; without one Qt's offscreen platform, where frames are read back.

#include "GPU/tests/ValidationListener.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QStandardPaths>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    gpu::testing::failOnValidationMessages();
    qputenv("QT_QPA_PLATFORM", qEnvironmentVariableIsSet("DISPLAY") ? "xcb" : "offscreen");
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("GlassHobTests"));
    QApplication::setApplicationName(QStringLiteral("Glass Hob tests"));
    return RUN_ALL_TESTS();
}
