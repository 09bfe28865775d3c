#include "GlassHobGallery/data/Secrets.h"

#include <gtest/gtest.h>

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    glasshob::gallery::initSecrets();
    return RUN_ALL_TESTS();
}
