#include "GlassHobRender/episode/CodeRows.h"

#include <gtest/gtest.h>

#include <random>

using namespace glasshob;

using Kind = WalkthroughLine::Kind;

namespace {

constexpr double columnWidth16by9 = 1092;

std::vector<WalkthroughLine> added(const std::vector<std::string>& texts) {
    std::vector<WalkthroughLine> lines;
    for (const std::string& text : texts)
        lines.push_back({text, text.empty() ? Kind::blank : Kind::added});
    return lines;
}

std::vector<std::string> texts(const CodeRows& rows) {
    std::vector<std::string> made;
    for (const CodeRow& row : rows.rows) {
        const int before = row.runs.empty() ? 0 : row.runs.front().column;
        made.push_back(std::string(std::size_t(before), ' ') + row.text().toStdString());
    }
    return made;
}

} // namespace

TEST(CodeRows, TakesTheLargestSizeThatFits) {
    struct Case {
        std::size_t lines;
        std::size_t length;
        int size;
        int rowHeight;
    };
    for (const Case& each : std::vector<Case>{{3, 41, 44, 69},
                                              {3, 42, 40, 63},
                                              {13, 41, 44, 69},
                                              {14, 41, 40, 63},
                                              {16, 50, 36, 57},
                                              {17, 50, 32, 51},
                                              {16, 56, 32, 51},
                                              {16, 62, 29, 45},
                                              {16, 70, 26, 42},
                                              {22, 70, 26, 42},
                                              {24, 70, 26, 39},
                                              {26, 70, 26, 36}}) {
        const CodeRows rows = codeRows(added(std::vector(each.lines, std::string(each.length, 'x'))), columnWidth16by9);
        EXPECT_EQ(rows.size, each.size) << each.lines << " of " << each.length;
        EXPECT_EQ(rows.rowHeight, each.rowHeight);
        EXPECT_EQ(rows.rows.size(), each.lines);
        EXPECT_EQ(rows.wrappedLines + rows.cutLines, 0);
    }
}

TEST(CodeRows, OneLineInEightMayBeWrapped) {
    std::vector<std::string> lines(7, "short;");
    lines.push_back("float value = first(one, two) + second(three);");
    const CodeRows rows = codeRows(added(lines), columnWidth16by9);
    EXPECT_EQ(rows.size, 44);
    EXPECT_EQ(rows.wrappedLines, 1);
    lines.pop_back();
    lines.back() = "float value = first(one, two) + second(three);";
    EXPECT_EQ(codeRows(added(lines), columnWidth16by9).size, 36);
}

TEST(CodeRows, BreaksLinesWhereOneWouldByHand) {
    // A line and what becomes of it in rows of 62 columns, the tenth of which tells the size.
    const std::vector<std::vector<std::string>> cases = {
        {"float3 sea(float2 x, float far, int waves, float time, constant Params& p) {",
         "float3 sea(float2 x, float far, int waves, float time,", "    constant Params& p) {"},
        {"        float kept = saturate(1.8 * length / (0.0038 * far * far + 0.1) - 0.4) * height;",
         "        float kept = saturate(1.8 * length", "            / (0.0038 * far * far + 0.1) - 0.4) * height;"},
        {"        float t = 2.0 * fract((dot(x, way) + 1.25 * sqrt(length) * time) / length) - 1.0;",
         "        float t = 2.0 * fract((dot(x, way)", "            + 1.25 * sqrt(length) * time) / length) - 1.0;"},
        {"        sum += kept * float3(crest * crest - 0.38, 2.0 * crest * slope * way);",
         "        sum += kept * float3(crest * crest - 0.38,", "            2.0 * crest * slope * way);"},
        {"float heat = saturate(0.47 + 0.34 * h.x + 0.16 * h.y * push.x + 0.4 * (p.warmth - 0.5));",
         "float heat = saturate(0.47 + 0.34 * h.x + 0.16 * h.y * push.x", "    + 0.4 * (p.warmth - 0.5));"},
        // Nothing to break at but a blank, and nothing at all.
        {"// " + std::string(40, 'a') + " " + std::string(40, 'b'), "// " + std::string(40, 'a'),
         "    " + std::string(40, 'b')},
        {std::string(70, 'c'), std::string(62, 'c'), "    " + std::string(8, 'c')},
        // Commas in a string are text.
        {"print(\"" + std::string(30, 'a') + ", " + std::string(20, 'b') + "\", more, andMore);",
         "print(\"" + std::string(30, 'a') + ", " + std::string(20, 'b') + "\",", "    more, andMore);"},
    };
    for (const auto& each : cases) {
        std::vector<std::string> page(15, std::string(62, 'x'));
        page.push_back(each[0]);
        const CodeRows rows = codeRows(added(page), columnWidth16by9);
        ASSERT_EQ(rows.size, 29);
        const auto all = texts(rows);
        EXPECT_EQ(std::vector(all.begin() + 15, all.end()), std::vector(each.begin() + 1, each.end()));
        EXPECT_EQ(rows.rows[15].hangingMark, -1);
        EXPECT_EQ(rows.rows[16].hangingMark, rows.rows[16].runs.front().column - 2);
    }
}

TEST(CodeRows, TakesSharedIndentationAway) {
    const std::vector<WalkthroughLine> lines = {{"        a;", Kind::context},
                                                {"⋯", Kind::gap},
                                                {"", Kind::blank},
                                                {"\tb;", Kind::added},
                                                {"      }", Kind::context}};
    EXPECT_EQ(texts(codeRows(lines, columnWidth16by9)), (std::vector<std::string>{"    a;", "", "", "b;", "  }"}));
}

TEST(CodeRows, KeepsRunsInTheirColumns) {
    const CodeRows rows = codeRows(added({"float x = f(\"那么\"); // 🔥 é"}), columnWidth16by9);
    ASSERT_EQ(rows.rows.size(), 1U);
    int column = 0;
    for (const CodeRow::Run& run : rows.rows[0].runs) {
        EXPECT_EQ(run.column, column) << run.text.toStdString();
        EXPECT_GE(run.columns, 1);
        column += run.columns;
    }
    EXPECT_EQ(rows.rows[0].runs.front().kind, SyntaxKind::type);
    EXPECT_EQ(rows.rows[0].runs.back().kind, SyntaxKind::comment);
    // Wide characters take two columns, an accented letter one.
    EXPECT_EQ(column, 13 + 4 + 7 + 2 + 1 + 1);
}

// Whatever the text, rows stay in their columns, and nothing but blanks is lost where there is room.
TEST(CodeRows, NeverRunOutOfTheColumn) {
    std::mt19937 random(11);
    const std::vector<QString> pieces = {
        "a",  "value", " ", " + ", ", ", "(",   ")", "\t",   "那么长",  "مرحبا", "🔥", "👩‍👩‍👧",
        "\"", " ? ",   "é", "/*",  "*/", "0.5", ".", " && ", "        "};
    for (int round = 0; round < 300; ++round) {
        std::vector<WalkthroughLine> lines;
        QString all;
        for (std::size_t i = 0; i < 1 + random() % 4; ++i) {
            QString text;
            for (std::size_t k = 0; k < random() % 60; ++k)
                text += pieces[random() % pieces.size()];
            all += text;
            lines.push_back({text.toStdString(), Kind::added});
        }
        const CodeRows rows = codeRows(lines, columnWidth16by9);
        QString shown;
        ASSERT_LE(rows.height(), 960);
        for (const CodeRow& row : rows.rows) {
            shown += row.text();
            for (const CodeRow::Run& run : row.runs)
                ASSERT_LE(run.column + run.columns, rows.columns) << row.text().toStdString();
        }
        if (rows.cutLines == 0) {
            const auto withoutBlanks = [](QString text) { return text.remove(u' ').remove(u'\t'); };
            ASSERT_EQ(withoutBlanks(shown).toStdString(), withoutBlanks(all).toStdString());
        }
    }
}

TEST(CodeRows, CutsWhatHasNoRoom) {
    std::string endless = "float x = 0.0";
    while (endless.size() < 5000)
        endless += " + value * 0.5";
    const CodeRows rows = codeRows(added({endless, "float y;"}), columnWidth16by9);
    EXPECT_EQ(rows.rows.size(), 26U);
    EXPECT_EQ(rows.cutLines, 2);
    EXPECT_TRUE(rows.rows.back().text().endsWith(u'…'));
    const CodeRows blind = codeRows(added({std::string(4U << 20, 'x')}), columnWidth16by9);
    EXPECT_EQ(blind.cutLines, 1);
    EXPECT_LE(blind.rows.back().runs.back().column + 1, blind.columns);
    const CodeRows deep = codeRows(added({"a;", std::string(5000, ' ') + "b;"}), columnWidth16by9);
    EXPECT_EQ(deep.rows.back().text().trimmed(), "b;");
    EXPECT_EQ(deep.cutLines, 0);
}
