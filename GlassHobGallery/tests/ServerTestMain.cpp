#include "GlassHobGallery/data/Secrets.h"

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

namespace {
// What its end tells, and its log, fails the tests too.
struct SharedServer : testing::Environment {
    void TearDown() override { glasshob::gallery::endServer(); }
};
} // namespace

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    testing::AddGlobalTestEnvironment(new SharedServer);
    glasshob::gallery::initSecrets();
    return RUN_ALL_TESTS();
}
