#include "GPU/tests/ValidationListener.h"

#include <gtest/gtest.h>

int main(int count, char** arguments) {
    ::testing::InitGoogleTest(&count, arguments);
    gpu::testing::failOnValidationMessages();
    return RUN_ALL_TESTS();
}
