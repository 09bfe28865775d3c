#include "GlassHobRender/episode/TextBlock.h"

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

using namespace glasshob;

namespace {

const TextStyle prose{.size = 33, .line = 48, .colour = Qt::white};
const TextStyle smaller{.size = 27, .line = 39, .colour = Qt::white};

QString words(int count) {
    QStringList all;
    for (int i = 0; i < count; ++i)
        all += QStringLiteral("word%1").arg(i);
    return all.join(u' ');
}

QImage painted(const QString& text) {
    QImage image(600, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
    QPainter painter(&image);
    TextBlock(text, prose, 600).paint(painter, {0, 0});
    return image;
}

} // namespace

TEST(TextBlock, WrapsBalancesAndCuts) {
    TextBlock block(words(30), prose, 648);
    const qsizetype lines = block.lines().size();
    ASSERT_GT(lines, 3);
    EXPECT_EQ(block.lines().join(u' '), words(30));
    EXPECT_LE(block.inkWidth(), 648);
    const double greedy = block.inkWidth();
    block.balance();
    EXPECT_EQ(block.lines().size(), lines);
    EXPECT_LE(block.inkWidth(), greedy);
    EXPECT_EQ(block.lines().join(u' '), words(30));
    block.cut(2);
    EXPECT_EQ(block.lines().size(), 2);
    EXPECT_TRUE(block.isCut());
    EXPECT_TRUE(block.lines().back().endsWith(u'…'));
    EXPECT_LE(block.inkWidth(), 648);
    EXPECT_TRUE(TextBlock(" \n\t ", prose, 648).isEmpty());
    // A word that is wider than the line is broken within.
    TextBlock wide(QString(200, u'w'), prose, 648);
    EXPECT_LE(wide.inkWidth(), 648);
    EXPECT_TRUE(wide.breaksWords());
}

TEST(TextBlock, ProseGivesWayInSteps) {
    const QString text = words(12) + ". " + words(12) + ". " + words(60) + ".";
    EXPECT_EQ(fittedProse(text, {prose, smaller}, 648, 2000).style().size, 33);
    const TextBlock whole = fittedProse(words(20), {prose, smaller}, 648, 160);
    EXPECT_EQ(whole.style().size, 27);
    EXPECT_FALSE(whole.isCut());
    const TextBlock sentences = fittedProse(text, {prose, smaller}, 648, 240);
    EXPECT_TRUE(sentences.isCut());
    EXPECT_EQ(sentences.lines().join(u' '), words(12) + ". " + words(12) + ".");
    const TextBlock beginning = fittedProse(words(60) + ".", {prose, smaller}, 648, 80);
    EXPECT_EQ(beginning.lines().size(), 2);
    EXPECT_TRUE(beginning.lines().back().endsWith(u'…'));
    EXPECT_LE(fittedProse(QString(100000, u'永'), {prose, smaller}, 648, 400).height(), 400);
    EXPECT_TRUE(fittedProse({}, {prose, smaller}, 648, 400).isEmpty());
}

TEST(TextBlock, AvoidsALastLineOfOneWord) {
    for (int count = 5; count < 40; ++count) {
        const TextBlock block = fittedProse(words(count), {prose}, 648, 2000);
        EXPECT_TRUE(block.lines().size() == 1 || block.lines().back().contains(u' ')) << count;
        EXPECT_EQ(block.lines().join(u' '), words(count));
    }
}

// A character without a glyph is a box, and boxes are alike.
TEST(TextBlock, DrawsEveryScript) {
    const std::vector<std::pair<const char*, const char*>> pairs = {
        {"那么", "永远"}, {"ひか", "アイ"}, {"빛나", "파도"}, {"مرحبا", "شكرا"},
        {"🔥", "🌊"},     {"सूरज", "पानी"},  {"אור", "מים"}};
    for (const auto& [a, b] : pairs) {
        EXPECT_NE(painted(a), painted(b)) << a;
        EXPECT_EQ(painted(a), painted(a)) << a;
    }
}
