#include "GlassHobCore/episode/VariationsLine.h"

#include "GlassHobCore/episode/EpisodeMeta.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace glasshob;

namespace {

using Change = VariationsLine::Change;

struct Line {
    std::string text, end;
};

std::vector<Line> linesOf(const std::string& source) {
    std::vector<Line> lines(1);
    for (std::size_t i = 0; i < source.size(); ++i) {
        const bool isPair = source.compare(i, 2, "\r\n") == 0;
        if (source[i] != '\n' && source[i] != '\r') {
            lines.back().text += source[i];
            continue;
        }
        lines.back().end = source.substr(i, isPair ? 2 : 1);
        i += isPair ? 1 : 0;
        lines.emplace_back();
    }
    return lines;
}

// What an editor makes of it, whose line end is that of the first line.
std::string applied(const std::string& source, const VariationsLine& change) {
    const std::string mark = source.starts_with("\xEF\xBB\xBF") ? source.substr(0, 3) : "";
    std::vector<Line> lines = linesOf(source.substr(mark.size()));
    const std::string usual = lines.front().end.empty() ? "\n" : lines.front().end;
    if (change.edit) {
        std::string& line = lines[change.edit->line - 1].text;
        std::string replacement = change.edit->replacement;
        if (replacement.starts_with('\n')) replacement = usual + replacement.substr(1);
        line.replace(std::min<std::size_t>(change.edit->column - 1, line.size()), change.edit->length, replacement);
    }
    if (change.change == Change::remove)
        for (auto number = change.numbers.rbegin(); number != change.numbers.rend(); ++number)
            lines.erase(lines.begin() + (*number - 1));
    std::string text = mark;
    for (const Line& line : lines)
        text += line.text + line.end;
    return text;
}

struct Case {
    const char* name;
    std::string before;
    std::vector<std::int64_t> indices;
    std::string after;
    Change change;
    std::vector<std::int64_t> numbers;
    std::string line;
};

} // namespace

TEST(VariationsLine, IsWrittenWithoutTouchingAnotherLine) {
    const std::string head = "// Rings\n// @episode 7 Rings\n", code = "float x;\n";
    const std::vector<Case> cases = {
        {"an existing one",
         head + "// @variations 2, 5\n" + code,
         {10, 2, 99999999999},
         head + "// @variations 10, 2, 99999999999\n" + code,
         Change::rewrite,
         {3},
         "// @variations 10, 2, 99999999999"},
        {"as it is written",
         head + "  //@variations\t 2,5  \n" + code,
         {3},
         head + "  //@variations\t 3  \n" + code,
         Change::rewrite,
         {3},
         "//@variations 3"},
        {"under its neighbour",
         head + "\t//  @variation 20\n// @length 3\n" + code,
         {4, 1},
         head + "\t//  @variation 20\n\t//  @variations 4, 1\n// @length 3\n" + code,
         Change::add,
         {4},
         "//  @variations 4, 1"},
        {"no neighbour", head + code, {4}, head + "// @variations 4\n" + code, Change::add, {3}, "// @variations 4"},
        {"at the end of the text",
         "// @episode 1 A\n// @variation 3",
         {4},
         "// @episode 1 A\n// @variation 3\n// @variations 4",
         Change::add,
         {3},
         "// @variations 4"},
        {"the last one counts",
         head + "// @variations 1\n" + code + "// @variations 2",
         {7},
         head + "// @variations 1\n" + code + "// @variations 7",
         Change::rewrite,
         {5},
         "// @variations 7"},
        {"one without a value",
         head + "// @variations\n" + code,
         {7},
         head + "// @variations 7\n" + code,
         Change::rewrite,
         {3},
         "// @variations 7"},
        {"nonsense in it",
         head + "// @variations x, -2, 5 and so on\n",
         {7},
         head + "// @variations 7\n",
         Change::rewrite,
         {3},
         "// @variations 7"},
        {"none chosen", head + "// @variations 2\n" + code, {}, head + code, Change::remove, {3}, ""},
        {"none of several",
         "// @variations 1\n" + head + "// @variations\n" + code + "// @variations 3\n",
         {},
         head + code,
         Change::remove,
         {1, 4, 6},
         ""},
        {"none chosen and none there", head + code, {}, head + code, Change::none, {}, ""},
        {"it says so",
         head + "// @variations 2,x,5 \n",
         {2, 5},
         head + "// @variations 2,x,5 \n",
         Change::none,
         {3},
         "// @variations 2,x,5"},
        {"no header", code, {2}, code, Change::none, {}, ""},
        {"pairs",
         "// @episode 1 A\r\n// @variation 3\r\n// B\r\n",
         {4},
         "// @episode 1 A\r\n// @variation 3\r\n// @variations 4\r\n// B\r\n",
         Change::add,
         {3},
         "// @variations 4"},
        {"pairs, rewritten",
         "\xEF\xBB\xBF// @variations 3\r\n// @episode 1 \xC3\x84\r\n",
         {4},
         "\xEF\xBB\xBF// @variations 4\r\n// @episode 1 \xC3\x84\r\n",
         Change::rewrite,
         {1},
         "// @variations 4"},
        {"a lone return before",
         "// @episode 1 A\n// \xC3\x84\r\n\r// @variations 3\n",
         {4},
         "// @episode 1 A\n// \xC3\x84\r\n\r// @variations 4\n",
         Change::rewrite,
         {4},
         "// @variations 4"},
        {"another word",
         head + "// @variationsx 1\n/* @variations 2 */\n",
         {4},
         head + "// @variations 4\n// @variationsx 1\n/* @variations 2 */\n",
         Change::add,
         {3},
         "// @variations 4"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const VariationsLine made = VariationsLine::write(c.before, c.indices);
        EXPECT_EQ(made.change, c.change);
        EXPECT_EQ(made.numbers, c.numbers);
        EXPECT_EQ(made.text, c.line);
        EXPECT_EQ(applied(c.before, made), c.after);
        if (c.before != code) {
            EXPECT_EQ(EpisodeMeta::parse(applied(c.before, made)).variations, c.indices);
        }
    }
    EXPECT_EQ(VariationsLine::write(head, std::vector<std::int64_t>{1}).under, "@episode");
    EXPECT_EQ(VariationsLine::write(head + "// @variation 9", std::vector<std::int64_t>{1}).under, "@variation");
}
