#include "GPU/tests/ValidationListener.h"

#include "GPU/Presenter.h"
#include "GPU/Validation.h"

#include <gtest/gtest.h>

namespace gpu::testing {
namespace {

class Listener : public ::testing::EmptyTestEventListener {
    void OnTestEnd(const ::testing::TestInfo&) override {
        const auto messages = validationMessages();
        for (; seen_ < messages.size(); ++seen_)
            ADD_FAILURE() << "The validation layer says: " << messages[seen_];
    }

    std::size_t seen_ = 0;
};

class LayerIsThere : public ::testing::Environment {
    void SetUp() override {
        if (!validationRequested()) return;
        const auto instance = nativeInstance();
        if (instance)
            ASSERT_TRUE(validationActive()) << "Install the package vulkan-validationlayers to run the tests.";
    }
};

} // namespace

void failOnValidationMessages() {
    ::testing::UnitTest::GetInstance()->listeners().Append(new Listener);
    ::testing::AddGlobalTestEnvironment(new LayerIsThere);
}

} // namespace gpu::testing
