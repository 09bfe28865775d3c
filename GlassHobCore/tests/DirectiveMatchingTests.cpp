// The directives are matched by hand for speed. Here each matcher runs beside the regular expression that says what it
// must accept, over many lines put together from pieces that matter.

#include "GlassHobCore/code/Diagnostics.h"
#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/Numbers.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

#include <random>

using namespace glasshob;

namespace {

constexpr int lineCount = 20000;

QRegularExpression expression(const char* pattern) {
    QRegularExpression made(QString::fromLatin1(pattern), QRegularExpression::UseUnicodePropertiesOption);
    EXPECT_TRUE(made.isValid()) << pattern;
    return made;
}

// Usually the pieces in order, sometimes with one changed for a piece that disturbs.
std::string makeLine(std::mt19937& random, const std::vector<std::vector<std::string>>& shape) {
    static const std::vector<std::string> disturbing = {"",
                                                        " ",
                                                        "\t",
                                                        "/",
                                                        "//",
                                                        "@",
                                                        "\xC2\xA0",
                                                        "\xE2\x80\x83",
                                                        "\xE3\x80\x80",
                                                        "x",
                                                        "9",
                                                        "-",
                                                        "_",
                                                        "\xC3\xA9",
                                                        "(",
                                                        ":",
                                                        ": ",
                                                        "\xD9\xA3",
                                                        "\xE2\x80\x8B",
                                                        "\x1F",
                                                        "|",
                                                        ".",
                                                        "\xEF\xBB\xBF",
                                                        "\xF0\x9F\x94\xA5"};
    const auto pick = [&](const auto& list) -> const std::string& { return list[random() % list.size()]; };
    std::string line;
    for (const auto& choices : shape) {
        if (random() % 12 == 0) line += pick(disturbing);
        if (random() % 24 != 0) line += pick(choices);
    }
    return line;
}

const std::vector<std::string> anySpace = {"", " ", "\t ", "\xC2\xA0", "\xE2\x80\x83"};
const std::vector<std::string> someSpace = {" ", "  ", "\t", "\xC2\xA0", "\xE3\x80\x80 "};
const std::vector<std::string> numbers = {"1", "0.5", "-2", "3e2", "x", "1.5f", "nan", "12 ", "0x1p-2"};

} // namespace

TEST(DirectiveMatching, ParametersAgreeWithTheExpression) {
    const QRegularExpression pattern =
        expression(R"(^\s*//\s*@param\s+([A-Za-z_][A-Za-z0-9_]*)\s+(\S+)\s+(\S+)\s+(\S+)\s*(.*?)\s*$)");
    std::mt19937 random(1);
    int accepted = 0;
    for (int i = 0; i < lineCount; ++i) {
        const std::string line = makeLine(random, {anySpace,
                                                   {"//"},
                                                   anySpace,
                                                   {"@param"},
                                                   someSpace,
                                                   {"a", "_b9", "Cd"},
                                                   someSpace,
                                                   numbers,
                                                   someSpace,
                                                   {"0", "-inf"},
                                                   someSpace,
                                                   {"2", "1e9"},
                                                   anySpace,
                                                   {"", "text", "a  b"},
                                                   anySpace});
        const auto match = pattern.match(QString::fromStdString(line));
        std::vector<ParamDecl> expected;
        const auto group = [&](int n) { return match.captured(n).toStdString(); };
        if (match.hasMatch() && !line.starts_with("\xEF\xBB\xBF")) {
            const auto value = parseFloat(group(2));
            const auto min = parseFloat(group(3));
            const auto max = parseFloat(group(4));
            if (value && min && max && *min < *max && *value == *value) {
                expected.push_back({group(1), std::min(std::max(*value, *min), *max), *min, *max, group(5)});
            }
        }
        auto found = ParamParser::parse(line);
        std::erase_if(found, [](const ParamDecl& param) { return param.defaultValue != param.defaultValue; });
        if (line.starts_with("\xEF\xBB\xBF")) continue;
        ASSERT_EQ(found, expected) << line;
        accepted += static_cast<int>(found.size());
    }
    EXPECT_GT(accepted, lineCount / 20);
}

TEST(DirectiveMatching, CountsAndFunctionsAgreeWithTheExpressions) {
    const QRegularExpression grid = expression(R"(^\s*//\s*@grid\s+(\d+)\s*$)");
    const QRegularExpression sound = expression(R"(^\s*float2\s+sound\s*\()");
    std::mt19937 random(2);
    int grids = 0;
    int sounds = 0;
    for (int i = 0; i < lineCount; ++i) {
        const std::string line =
            makeLine(random, {anySpace, {"//"}, anySpace, {"@grid"}, someSpace, {"1", "64", "007", "12"}, anySpace});
        if (line.starts_with("\xEF\xBB\xBF")) continue;
        const auto match = grid.match(QString::fromStdString(line));
        const auto value = match.hasMatch() ? parseInteger(match.captured(1).toStdString()) : std::nullopt;
        ASSERT_EQ(ShaderAssembler::gridCells(line), std::min<std::int64_t>(value.value_or(0), 1024)) << line;
        grids += value.has_value();

        const std::string head =
            makeLine(random, {anySpace, {"float2"}, someSpace, {"sound"}, anySpace, {"("}, {"float t)", ""}});
        if (head.starts_with("\xEF\xBB\xBF")) continue;
        const bool expected = sound.match(QString::fromStdString(head)).hasMatch();
        ASSERT_EQ(ShaderAssembler::assemble(head).hasSound, expected) << head;
        sounds += expected;
    }
    EXPECT_GT(grids, lineCount / 20);
    EXPECT_GT(sounds, lineCount / 20);
}

TEST(DirectiveMatching, HeadersAndMessagesAgreeWithTheExpressions) {
    const QRegularExpression header =
        expression(R"(^\s*//\s*@(episode|length|variations|variation|still|teaches|category|tags|final)\s+(.*?)\s*$)");
    const QRegularExpression message =
        expression(R"((shader\.metal|gh_host|program_source):(\d+):(\d+): (error|warning|note): (.*))");
    std::mt19937 random(3);
    int headers = 0;
    int messages = 0;
    for (int i = 0; i < lineCount; ++i) {
        const std::string line = makeLine(random, {anySpace,
                                                   {"//"},
                                                   anySpace,
                                                   {"@tags", "@tag", "@variations", "@tagsx"},
                                                   someSpace,
                                                   {"a b", "c", ""},
                                                   anySpace});
        if (!line.starts_with("\xEF\xBB\xBF")) {
            const auto match = header.match(QString::fromStdString(line));
            const bool expected = match.hasMatch() && match.captured(1) == u"tags";
            ASSERT_EQ(EpisodeMeta::parse(line).tags, expected ? match.captured(2).toStdString() : "") << line;
            headers += expected;
        }

        const std::string text = makeLine(random, {{"", "x ", "gh_host:"},
                                                   {"shader.metal", "gh_host"},
                                                   {":"},
                                                   {"1", "22"},
                                                   {":"},
                                                   {"3"},
                                                   {": "},
                                                   {"error", "note", "remark"},
                                                   {": "},
                                                   {"m: 'x'", ""}});
        if (text.starts_with("\xEF\xBB\xBF")) continue;
        const auto match = message.match(QString::fromStdString(text));
        const auto found = DiagnosticParser::parse(text);
        ASSERT_EQ(found.size(), match.hasMatch() ? 1u : 0u) << text;
        if (!match.hasMatch()) continue;
        ++messages;
        ASSERT_EQ(found[0].message, match.captured(5).toStdString()) << text;
        ASSERT_EQ(found[0].column, parseInteger(match.captured(3).toStdString()).value_or(0)) << text;
    }
    EXPECT_GT(headers, lineCount / 20);
    EXPECT_GT(messages, lineCount / 20);
}
