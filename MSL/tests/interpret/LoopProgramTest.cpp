// Random loops that try to get an index past the index checks; see MSL/fuzz/LoopPrograms.h.
#include "MSL/fuzz/LoopPrograms.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace msl::fuzz;

TEST(LoopPrograms, StayInsideOfWhatTheyIndex) {
    const char* given = std::getenv("MSL_LOOP_SEEDS"); // "first count", to look further
    std::uint64_t first = 1;
    std::uint64_t count = 1500;
    if (given != nullptr) {
        char* end = nullptr;
        first = std::strtoull(given, &end, 10);
        count = std::strtoull(end, nullptr, 10);
    }
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const std::string text = loopProgram(seed);
        const std::string fault = checkProgram(text);
        ASSERT_EQ(fault, "") << "seed " << seed << "\n" << text;
    }
}
