#include "hob/Arguments.h"
#include "hob/Values.h"

#include <gtest/gtest.h>

using namespace hob;

namespace {

constexpr Option options[] = {{"--output", "-o", "OUT", ""}, {"--set", "", "N=V", ""}, {"--json", "", "", ""}};

auto parse(const std::vector<std::string>& words, Operands operands = Operands::oneOrMore) {
    return Arguments::parse("hob test", options, operands, words);
}

const std::vector<glasshob::ParamDecl> params = {{"speed", 1, 0, 2, ""}, {"glow", 0.5f, -1, 1, ""}};

} // namespace

TEST(Arguments, TakeValuesInEveryForm) {
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{{"-o", "x", "a"},
                                                                                       {"-ox", "a"},
                                                                                       {"--output", "x", "a"},
                                                                                       {"a", "--output=x"},
                                                                                       {"-o", "y", "a", "-o", "x"}}) {
        const auto arguments = parse(words);
        ASSERT_TRUE(arguments) << arguments.error();
        EXPECT_EQ(arguments->value("--output"), "x");
        EXPECT_EQ(arguments->operands(), (std::vector<std::string>{"a"}));
    }
    const auto several = parse({"--set", "a=1", "--json", "-", "--set=b==2", "--", "-o", "--help"});
    ASSERT_TRUE(several) << several.error();
    EXPECT_EQ(several->values("--set"), (std::vector<std::string>{"a=1", "b==2"}));
    EXPECT_EQ(several->operands(), (std::vector<std::string>{"-", "-o", "--help"}));
    EXPECT_TRUE(several->has("--json"));
    EXPECT_FALSE(several->wantsHelp());
    EXPECT_EQ(parse({"-o", "-1", "a"})->value("--output"), "-1") << "a value may begin with a dash";
}

TEST(Arguments, TellWhatIsWrong) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"a", "--otput", "x"}, "There is no option --otput: did you mean --output?"},
        {{"a", "-z"}, "There is no option -z: hob test --help lists the options."},
        {{"a", "--json=1"}, "The option --json takes no value."},
        {{"a", "-o"}, "The option -o needs a value: -o OUT."},
        {{}, "No shader file was given: hob test --help shows how."},
    };
    for (const auto& [words, sentence] : cases) {
        const auto arguments = parse(words);
        ASSERT_FALSE(arguments) << sentence;
        EXPECT_EQ(arguments.error(), sentence);
    }
    EXPECT_FALSE(parse({"a", "b"}, Operands::one));
    EXPECT_FALSE(parse({"a"}, Operands::none));
}

TEST(Values, ReadSizes) {
    EXPECT_EQ(readSize("1x16384"), (Size{1, 16384}));
    for (const char* text : {"0x8", "8x0", "16385x8", "100000x100000", "8", "x8", "8x", "-8x8", "8x8x8", "8.5x8",
                             " 8x8", "+8x8", "99999999999999999999x1", "", "0", "100000"}) {
        const auto size = readSize(text);
        ASSERT_FALSE(size) << text;
        EXPECT_TRUE(size.error().ends_with('.'));
    }
}

TEST(Values, ReadNumbersThatMakeSense) {
    EXPECT_EQ(readTime("--time", "-1.5"), -1.5);
    for (const char* text : {"nan", "inf", "-inf", "1e39", "", "1s", "1,5", " 1"}) {
        EXPECT_FALSE(readTime("--time", text)) << text;
    }
    EXPECT_EQ(readDuration("--duration", "0", 10), 0.0);
    for (const char* text : {"-1", "10.1", "nan"})
        EXPECT_FALSE(readDuration("--duration", text, 10)) << text;
    EXPECT_EQ(readFrame("4294967295"), 4294967295u);
    for (const char* text : {"-1", "4294967296", "1.5", ""})
        EXPECT_FALSE(readFrame(text)) << text;
}

TEST(Values, ReadSliderSettings) {
    const auto settings = readSettings(std::vector<std::string>{"speed=1.5", "glow=-9", "speed=0x1p-2"}, params);
    ASSERT_TRUE(settings) << settings.error();
    EXPECT_EQ(settings->values, (glasshob::SliderValues{{"speed", 0.25f}, {"glow", -1.0f}}));
    EXPECT_EQ(settings->notes, (std::vector<std::string>{"The slider glow goes from -1 to 1, so -1 was taken."}));

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"sped=1", "The shader has no slider sped: it has speed and glow."},
        {"speed", "--set speed sets nothing: give a slider's name and its value, such as speed=0.5."},
        {"=1", "--set =1 sets nothing: give a slider's name and its value, such as speed=0.5."},
        {"speed=", "--set speed= gives no number: speed takes a value from 0 to 2."},
        {"speed=nan", "--set speed=nan gives no number: speed takes a value from 0 to 2."},
    };
    for (const auto& [text, sentence] : cases) {
        const auto refused = readSettings(std::vector<std::string>{text}, params);
        ASSERT_FALSE(refused) << text;
        EXPECT_EQ(refused.error(), sentence);
    }
    EXPECT_EQ(readSettings(std::vector<std::string>{"a=1"}, {}).error(), "The shader has no slider a: it has none.");
}
