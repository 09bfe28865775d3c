#include "GlassHobCore/text/Numbers.h"

#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>

using namespace glasshob;

TEST(Numbers, ReadsIntegers) {
    EXPECT_EQ(parseInteger("+12"), 12);
    EXPECT_EQ(parseInteger("-9223372036854775808"), INT64_MIN);
    for (const char* text : {"", "+", "-", "+-1", "1 ", " 1", "1.0", "0x1", "9223372036854775808"}) {
        EXPECT_EQ(parseInteger(text), std::nullopt) << text;
    }
}

TEST(Numbers, ShortTextsReadBackAsTheSameFloat) {
    for (const float value : {0.6f, 0.1f, 1e-5f, 16777216.0f, -0.0f, 3.4028235e38f, INFINITY, -INFINITY}) {
        EXPECT_EQ(parseFloat(shortestText(value)), value);
    }
    EXPECT_EQ(shortestText(0.6f), "0.6");
    EXPECT_EQ(shortestText(-std::nanf("")), "nan");
}

TEST(Numbers, TwoDecimalsDropTrailingZeros) {
    EXPECT_EQ(twoDecimals(1.5f), "1.5");
    EXPECT_EQ(twoDecimals(2.0f), "2");
    EXPECT_EQ(twoDecimals(0.05f), "0.05");
    EXPECT_EQ(twoDecimals(-0.1f), "-0.1");
    EXPECT_EQ(twoDecimals(100.0f), "100");
}

TEST(Numbers, ReadAndWriteAPointUnderACommaLocale) {
    // A locale of the test's own, since a machine need not have any with a decimal comma.
    const QTemporaryDir folder;
    const QString locale = folder.filePath("de_DE.UTF-8");
    const int status = QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", locale});
    if (status != 0) GTEST_SKIP() << "localedef or the locale definitions are not installed";
    qputenv("LOCPATH", folder.path().toUtf8());
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    char text[16] = {};
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    EXPECT_STREQ(text, "1,5") << "the locale is in force";
    EXPECT_EQ(parseFloat("1.5"), 1.5f);
    EXPECT_EQ(parseDouble("1,5"), std::nullopt);
    EXPECT_EQ(shortestText(1.5f), "1.5");
    EXPECT_EQ(twoDecimals(1.5f), "1.5");
    std::setlocale(LC_ALL, "C");
}
