#include "GlassHob/tests/ModelTestSupport.h"

#include <cmath>

namespace glasshob {
namespace {

TEST_F(AppModelTest, TheAmountOfAnEpisodeComesBackWithItsDocument) {
    const QString one = file("one.metal", shader("// @param s 1 0 2")), two = file("two.metal", shader(""));
    EpisodeAmount* amount = &model->episodeAmount();
    model->open(one);
    EXPECT_EQ(amount->value(), EpisodeAmount::usual);
    amount->set(0.254F);
    EXPECT_EQ(amount->value(), 0.25F) << "whole hundredths";
    for (const float nonsense : {std::nanf(""), 0.25F}) {
        amount->set(nonsense);
        EXPECT_EQ(amount->value(), 0.25F);
    }
    int changes = 0;
    QObject::connect(amount, &EpisodeAmount::changed, amount, [&] { ++changes; });
    model->open(two);
    EXPECT_EQ(amount->value(), EpisodeAmount::usual);
    amount->set(7);
    EXPECT_EQ(amount->value(), 1);
    model->open(one);
    EXPECT_EQ(amount->value(), 0.25F);
    EXPECT_EQ(changes, 3);

    // Under another name it goes on, and the file before keeps its own.
    questions.path = folder.filePath("three.metal");
    model->saveAs();
    EXPECT_EQ(amount->value(), 0.25F);
    amount->set(0.5F);
    makeModel();
    amount = &model->episodeAmount();
    for (const auto& [path, kept] : {std::pair(one, 0.25F), {two, 1.0F}, {folder.filePath("three.metal"), 0.5F}}) {
        model->open(path);
        EXPECT_EQ(amount->value(), kept) << path.toStdString();
    }
    // The usual one is not kept.
    amount->set(EpisodeAmount::usual);
    model->close();
    EXPECT_EQ(contents(folder.filePath("episodes.json")).find("three.metal"), std::string::npos);
}

TEST_F(AppModelTest, AnAmountThatMakesNoSenseOnDiskIsTheUsualOne) {
    const QString path = file("one.metal", shader(""));
    model->open(path);
    const std::string key = model->presetKey().toStdString();
    for (const auto& [written, value] : {std::pair(R"({"amount": -3})", 0.0F),
                                         {R"({"amount": "much"})", EpisodeAmount::usual},
                                         {R"({"other": 0.3})", EpisodeAmount::usual}}) {
        file("episodes.json", R"({")" + key + R"(": {"episode": )" + written + "}}");
        makeModel();
        model->open(path);
        EXPECT_EQ(model->episodeAmount().value(), value) << written;
    }
}

} // namespace
} // namespace glasshob
