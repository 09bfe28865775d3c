// Unsaved edits outlive a crash, and nothing else does.

#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobRender/program/ShaderProgram.h"

namespace glasshob {
namespace {

class DraftTest : public AppModelTest {
  protected:
    // The process ends without a word, and the next one starts.
    void crash() {
        makeModel();
        model->start({"glasshob"});
    }
};

TEST_F(DraftTest, IsThereWhileSomethingIsUnsaved) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    EXPECT_TRUE(drafts().isEmpty());
    model->textChanged("// one");
    EXPECT_TRUE(drafts().isEmpty()) << "not at every key";
    delay_->elapse();
    ASSERT_EQ(drafts().size(), 1);
    model->textChanged("// two");
    delay_->elapse();
    EXPECT_EQ(drafts().size(), 1);
    model->save();
    EXPECT_TRUE(drafts().isEmpty());
    model->textChanged("// three");
    delay_->elapse();
    model->textChanged("// two");
    EXPECT_TRUE(drafts().isEmpty()) << "undone as far as the file";

    // Don't Save, and the program ends.
    model->textChanged("// three");
    delay_->elapse();
    questions.choice = 2;
    bool goesOn = false;
    model->confirmDiscard([&](bool on) { goesOn = on; });
    EXPECT_TRUE(goesOn);
    EXPECT_EQ(drafts().size(), 1) << "until it really ends";
    model.reset();
    EXPECT_TRUE(drafts().isEmpty());
}

TEST_F(DraftTest, TypingWithoutAPauseIsKeptEveryFewSeconds) {
    model->open(file("a.metal", shader("")));
    model->textChanged("// one");
    EXPECT_TRUE(draftDelay_->isWaiting());
    model->textChanged("// two");
    EXPECT_EQ(draftDelay_->starts, 1) << "a key does not put it off";
    draftDelay_->elapse();
    ASSERT_EQ(drafts().size(), 1);
    EXPECT_NE(contents(folder.filePath("drafts/" + drafts()[0])).find("// two"), std::string::npos);
    model->textChanged("// three");
    EXPECT_TRUE(draftDelay_->isWaiting());
}

TEST_F(DraftTest, IsOfferedAtTheNextStartAndBringsTheEditsBack) {
    const std::string bytes = "\xEF\xBB\xBF// caf\xC3\xA9\xC2\xA0\xE2\x80\xA8\r\n" + shader("// @param s 1 0 2");
    const QString path = file("a.metal", shader(""));
    model->open(path);
    model->textChanged(bytes);
    crash();
    ASSERT_TRUE(model->draftOffer());
    EXPECT_EQ(model->draftOffer()->name, "a.metal");
    EXPECT_LT(std::abs(model->draftOffer()->when.secsTo(QDateTime::currentDateTime())), 60);
    EXPECT_EQ(model->currentText(), shader("")) << "an offer changes nothing";
    // Not answered: offered again.
    crash();
    ASSERT_TRUE(model->draftOffer());

    model->open(file("other.metal", shader("")));
    model->textChanged("// also unsaved");
    questions.choice = 1;
    model->restoreDraft();
    EXPECT_EQ(model->currentText(), "// also unsaved") << "cancelled";
    ASSERT_TRUE(model->draftOffer());
    questions.choice = 2;
    model->restoreDraft();
    EXPECT_EQ(model->draftOffer(), std::nullopt);
    EXPECT_EQ(model->filePath(), path);
    EXPECT_EQ(model->currentText(), bytes);
    EXPECT_EQ(shown, bytes);
    EXPECT_TRUE(model->isDirty());
    EXPECT_EQ(model->values().count("s"), 1u) << "it runs";
    EXPECT_EQ(contents(path), shader(""));
    EXPECT_EQ(drafts().size(), 1) << "still unsaved";
    model->save();
    EXPECT_EQ(contents(path), bytes);
    EXPECT_TRUE(drafts().isEmpty());
    crash();
    EXPECT_EQ(model->draftOffer(), std::nullopt);
}

TEST_F(DraftTest, WhatIsUnreadStaysUnrunAndWhatHasVanishedComesBack) {
    const QString path = file("s-ab12.metal", shader(""));
    const QUrl link("https://www.example.com/s/ab12/source.metal");
    model->openDownloaded(path, link);
    model->textChanged(shader("// @param s 1 0 2"));
    crash();
    QFile::remove(path);
    model->restoreDraft();
    EXPECT_TRUE(model->needsRun());
    EXPECT_EQ(model->downloadedFrom(), link);
    EXPECT_EQ(model->program(), nullptr);
    EXPECT_TRUE(model->isDirty());
    model->save();
    EXPECT_EQ(contents(path), shader("// @param s 1 0 2"));

    model->run();
    model->loadSample();
    model->textChanged("// of the sample");
    crash();
    model->restoreDraft();
    EXPECT_EQ(model->windowTitle(), "01-flowing-color.metal (bundled sample) (edited)");
    EXPECT_EQ(model->currentText(), "// of the sample");
}

TEST_F(DraftTest, OthersAreLeftAloneAndTheNewestComesFirst) {
    const QString a = file("a.metal", shader("")), b = file("b.metal", shader(""));
    {
        Drafts running(folder.filePath("drafts"));
        running.keep({a, "// being typed in another window", false, std::nullopt, {}});
        crash();
        EXPECT_EQ(model->draftOffer(), std::nullopt);
    }
    ASSERT_EQ(drafts().size(), 1);
    const QString older = folder.filePath("drafts/" + drafts()[0]);
    std::string text = contents(older);
    const std::size_t when = text.find("\"when\": \"20");
    ASSERT_NE(when, std::string::npos);
    file("drafts/" + drafts()[0], text.replace(when + 9, 4, "2001"));
    file("drafts/broken.json", "{");
    // What was saved just before the end is no draft.
    file("drafts/saved.json", contents(older));
    file("a.metal", "// being typed in another window");
    crash();
    EXPECT_EQ(model->draftOffer(), std::nullopt);
    EXPECT_EQ(drafts(), QStringList{"broken.json"});

    file("drafts/older.json", text);
    file("a.metal", shader(""));
    model->open(b);
    model->textChanged("// newer");
    crash();
    ASSERT_TRUE(model->draftOffer());
    EXPECT_EQ(model->draftOffer()->name, "b.metal");
    int offers = 0;
    QObject::connect(model.get(), &AppModel::draftOfferChanged, [&] { ++offers; });
    model->discardDraft();
    ASSERT_TRUE(model->draftOffer());
    EXPECT_EQ(model->draftOffer()->name, "a.metal");
    EXPECT_EQ(drafts(), (QStringList{"broken.json", "older.json"}));
    model->discardDraft();
    EXPECT_EQ(model->draftOffer(), std::nullopt);
    EXPECT_EQ(offers, 2);
}

} // namespace
} // namespace glasshob
