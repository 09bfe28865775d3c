#include "GPU/tests/ValidationListener.h"

#include <gtest/gtest.h>

// Instances beyond the first are kept to the end of the process, as the first one is, and what the validation layer
// made for them is found by nobody then. The HEVC encoder loses a little of its own with every movie.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libVkLayer_khronos_validation.so\nleak:libx265.so\n";
}

int main(int count, char** arguments) {
    ::testing::InitGoogleTest(&count, arguments);
    gpu::testing::failOnValidationMessages();
    return RUN_ALL_TESTS();
}
