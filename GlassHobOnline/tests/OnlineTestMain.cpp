#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int count, char** words) {
    testing::InitGoogleTest(&count, words);
    QCoreApplication application(count, words);
    QCoreApplication::setOrganizationName("GlassHobTests");
    QCoreApplication::setApplicationName("Glass Hob online tests");
    return RUN_ALL_TESTS();
}
