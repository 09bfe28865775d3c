#include "GlassHobCore/code/TextSearch.h"

#include <gtest/gtest.h>

using namespace glasshob;

namespace {

// The text with every match in bars.
QString marked(QString text, const QString& pattern, TextSearch::Options options) {
    const auto search = TextSearch::make(pattern, options);
    if (!search) return QStringLiteral("refused");
    const auto matches = search->matches(text);
    for (auto match = matches.rbegin(); match != matches.rend(); ++match)
        text.insert(match->end(), u'|').insert(match->location, u'|');
    return text;
}

} // namespace

TEST(TextSearch, FindsWhatTheOptionsSay) {
    const TextSearch::Options plain, exact{.isCaseSensitive = true}, word{.isWholeWord = true},
        expression{.isExpression = true}, wordExpression{.isWholeWord = true, .isExpression = true};
    struct Case {
        const char *text, *pattern;
        TextSearch::Options options;
        const char* expected;
    };
    const Case cases[] = {
        {"Ray ray gray", "ray", plain, "|Ray| |ray| g|ray|"},
        {"Ray ray gray", "ray", exact, "Ray |ray| g|ray|"},
        {"Ray ray gray ray_2", "ray", word, "|Ray| |ray| gray ray_2"},
        {"a += b; a+=b", "+= b", word, "a |+= b|; a+=b"},
        {"a.b ab", "a.b", plain, "|a.b| ab"},
        {"a.b aab", "a.b", expression, "|a.b| |aab|"},
        {"one\ntwo\nthree", "^t\\w+$", expression, "one\n|two|\n|three|"},
        {"one\ntwo", "one\\ntwo", expression, "|one\ntwo|"},
        {"ab a b", "a|b", wordExpression, "ab |a| |b|"},
        {"xx", "y*", expression, "xx"},
        {"aaaa", "aa", plain, "|aa||aa|"},
        {"text", "", plain, "text"},
        {"text", "(", expression, "refused"},
        {"f(x)", "(", plain, "f|(|x)"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(marked(QString::fromUtf8(c.text), QString::fromUtf8(c.pattern), c.options).toStdString(), c.expected)
            << c.pattern;
    EXPECT_TRUE(TextSearch::make("ab(c", expression).error().contains("at character 5"));
}

TEST(TextSearch, ReplacementsTakeGroups) {
    const QString text = QStringLiteral("float2(1, 2) float2(a, b)");
    const auto search = TextSearch::make(QStringLiteral("float2\\((\\w), (\\w)\\)"), {.isExpression = true});
    ASSERT_TRUE(search);
    const auto matches = search->matches(text);
    ASSERT_EQ(matches.size(), 2u);
    const std::pair<const char*, const char*> cases[] = {
        {"f($2, \\1)", "f(b, a)"},   {"[$0]", "[float2(a, b)]"}, {"$9|", "|"},
        {"\\n\\t$$\\\\", "\n\t$\\"}, {"end\\", "end\\"},         {"$x\\q", "$x\\q"},
    };
    for (const auto& [replacement, expected] : cases)
        EXPECT_EQ(search->replacement(text, matches[1], replacement).toStdString(), expected);
    const auto plain = TextSearch::make("a", {});
    EXPECT_EQ(plain->replacement("a", {0, 1}, "$0\\n"), "$0\\n") << "only an expression has groups";
}
