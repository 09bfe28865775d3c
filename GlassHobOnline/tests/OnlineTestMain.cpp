#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int count, char** words) {
    testing::InitGoogleTest(&count, words);
    // No keyring but that of the program that runs under one.
    if (qEnvironmentVariableIsEmpty("GLASSHOB_TEST_KEYRING"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    QCoreApplication application(count, words);
    QCoreApplication::setOrganizationName("GlassHobTests");
    QCoreApplication::setApplicationName("Glass Hob online tests");
    return RUN_ALL_TESTS();
}
