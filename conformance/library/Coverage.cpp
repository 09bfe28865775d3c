// When all tests of this program have run, a function of the library's table that stood in no text they executed is a
// failure.
#include "GlassHobRender/tests/Kernels.h"
#include "MSL/builtins/BuiltinTable.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <set>
#include <string>

namespace glasshob::testing {
namespace {

std::set<std::string, std::less<>>& executedWords() {
    static std::set<std::string, std::less<>> words;
    return words;
}

void note(std::string_view source) {
    const auto isWord = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    for (std::size_t at = 0; at < source.size();) {
        if (!isWord(source[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < source.size() && isWord(source[end]))
            ++end;
        if (end < source.size() && source[end] == '(') executedWords().emplace(source.substr(at, end - at));
        at = end;
    }
}

class EveryFunctionRan : public ::testing::Environment {
  public:
    void TearDown() override {
        // Only some tests, or no device.
        if (GTEST_FLAG_GET(filter) != "*" || std::getenv("GTEST_TOTAL_SHARDS") != nullptr || executedWords().empty())
            return;
        for (const msl::BuiltinFunction& function : msl::builtinFunctions())
            EXPECT_TRUE(executedWords().contains(function.name)) << function.name << " was run by no test";
    }
};

const auto* const everyFunctionRan = [] {
    onExecution = note;
    return ::testing::AddGlobalTestEnvironment(new EveryFunctionRan);
}();

} // namespace
} // namespace glasshob::testing
