// Fails the running test when the Vulkan validation layer has said anything during it, and the whole program when the
// layer was asked for and is not at work.
#pragma once

namespace gpu::testing {

// After InitGoogleTest, before RUN_ALL_TESTS.
void failOnValidationMessages();

} // namespace gpu::testing
