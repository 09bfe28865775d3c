#include "GlassHobCore/code/CodeNumbers.h"

#include <gtest/gtest.h>

using namespace glasshob;

namespace {

// The number at the bar, which is taken out; "" for none.
std::string numberAtBar(QString line) {
    const int bar = int(line.indexOf(u'|'));
    line.remove(bar, 1);
    const auto number = numberAt(line, bar);
    return number ? line.mid(number->start, number->length).toStdString() : "";
}

QString dragged(const QString& line, int column, int steps) {
    const auto number = numberAt(line, column);
    if (!number) return {};
    const int start = number->start - (number->isNegated ? 1 : 0);
    return line.left(start) + writtenAs(*number, stepped(*number, steps)) + line.mid(number->end());
}

} // namespace

TEST(CodeNumbers, AreFoundWhole) {
    const std::pair<const char*, const char*> cases[] = {
        {"x = 0|.5;", "0.5"},
        {"x = |0.5;", "0.5"},
        {"x = 0.5|;", "0.5"},
        {"x = .|5;", ".5"},
        {"float|3(1)", ""},
        {"float3(|1)", "1"},
        {"a1|2 + b", ""},
        {"1.5e-|3 + 2", "1.5e-3"},
        {"1e-3|+2", "1e-3"},
        {"0x1e+|2", "2"},
        {"0x|1Fu", "0x1Fu"},
        {"uv.|x", ""},
        {"// @param a 0.|6 0 3", "0.6"},
        {"|", ""},
        {"1.0 |+ 2.0", ""},
        {"2.0|h", "2.0h"},
        {"0.5|+0.25", "0.5"},
        {"é 0.|5", "0.5"},
    };
    for (const auto& [line, number] : cases)
        EXPECT_EQ(numberAtBar(QString::fromUtf8(line)), number) << line;
    EXPECT_FALSE(numberAt(u"1", 2));
    EXPECT_FALSE(numberAt(u"1", -1));
}

TEST(CodeNumbers, StepAsFineAsTheyAreWritten) {
    struct Case {
        const char *before, *after;
        int column, steps;
    };
    const Case cases[] = {
        {"x = 0.5;", "x = 0.51;", 5, 1},
        {"x = 0.5;", "x = -0.5;", 5, -100},
        {"x = 0.125;", "x = 0.126;", 5, 1},
        {"x = 2.0;", "x = 2.0;", 5, 0},
        {"x = 1.99;", "x = 2.00;", 5, 1},
        {"x = 12.0;", "x = 12.1;", 5, 1},
        {"x = 250.0;", "x = 250.1;", 5, 1},
        {"x = 250.;", "x = 251.0;", 5, 1},
        {"x = 7;", "x = 9;", 4, 2},
        {"x = 7u;", "x = 8u;", 4, 1},
        {"x = 2.0h;", "x = 2.01h;", 5, 1},
        {"x = -0.5;", "x = 0.0;", 6, 50},
        {"return -1.0;", "return -0.99;", 9, 1},
        {"x = a - 0.5;", "x = a - 0.51;", 9, 1},
        {"x = a -0.5;", "x = a -0.51;", 8, 1},
        {"// @param a -1.0 -2 2", "// @param a -0.99 -2 2", 13, 1},
    };
    for (const Case& each : cases) {
        const QString line = QString::fromUtf8(each.before);
        EXPECT_EQ(dragged(line, each.column, each.steps).toStdString(), each.after) << each.before;
    }
    for (const char* odd : {"1e-3", "0x1F", "0.5q"})
        EXPECT_FALSE(numberAt(QString::fromUtf8(odd), 1)->isPlain) << odd;
}

TEST(CodeNumbers, ColoursAreConstantsBetweenZeroAndOne) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"c = float3(0.88, 0.26, 0.05);", 1},
        {"mix(float3( 0,0 ,1), half4(1.0h, .5h, 0.0h, 1.0h), x)", 2},
        {"float3(1.5, 0, 0)", 0},
        {"float3(-0.5, 0, 0)", 0},
        {"float3(x, 0, 0)", 0},
        {"float3(0.5)", 0},
        {"float3(1, 1)", 0},
        {"float4(1, 1, 1)", 0},
        {"float3(1, 1, 1, 1)", 0},
        {"float3(0.1, 0.2, 0.3 + x)", 0},
        {"myfloat3(1, 1, 1)", 0},
        {"// float3(1, 1, 1)", 0},
        {"float3(0.1, 0.2, 0.3", 0},
        {"float3 c(0.1, 0.2, 0.3)", 0},
    };
    for (const auto& [line, count] : cases)
        EXPECT_EQ(coloursIn(QString::fromUtf8(line)).size(), count) << line;

    const QString line = QStringLiteral("c = float4( 0.250, 1, 0.5f,1.0);");
    const auto colours = coloursIn(line);
    ASSERT_EQ(colours.size(), 1U);
    EXPECT_EQ(line.mid(colours[0].start, colours[0].length), QStringLiteral("float4( 0.250, 1, 0.5f,1.0)"));
    EXPECT_EQ(writtenAs(line, colours[0], {0.25, 0.12345, 2, 1}), QStringLiteral("float4( 0.250, 0.123, 1.0f,1.0)"));
}
