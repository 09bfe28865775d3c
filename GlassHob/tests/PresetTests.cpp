#include "GlassHob/model/Presets.h"
#include "GlassHob/tests/ModelTestSupport.h"

#include <QDir>

#include <limits>
#include <sys/stat.h>

namespace glasshob {
namespace {

class PresetStoreTest : public ::testing::Test {
  protected:
    void put(const QByteArray& bytes) const {
        QDir().mkpath(folder.filePath("data"));
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(bytes);
    }
    static QByteArray contents(const QString& file) {
        QFile in(file);
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray("(unreadable)");
    }
    QTemporaryDir folder;
    const QString path = folder.filePath("data/presets.json");
    const QString aside = folder.filePath("data/presets-broken.json");
    const PresetStore store{path};
};

TEST_F(PresetStoreTest, TheFileHasThreeLevelsSortedWithShortNumbers) {
    EXPECT_TRUE(store.presets("/a.metal").empty());
    store.save({{"speed", 0.1f}, {"count", 3.0f}, {"tiny", 1e-40f}}, "Slow", "/a.metal");
    store.save({{"speed", 16777216.0f}}, "B\"\u00e4", "/a.metal");
    store.save({}, "Slow", "bundled:01-flowing-color");
    EXPECT_EQ(contents(path).toStdString(), R"({
    "/a.metal": {
        "B\"ä": {
            "speed": 16777216
        },
        "Slow": {
            "count": 3,
            "speed": 0.1,
            "tiny": 1e-40
        }
    },
    "bundled:01-flowing-color": {
        "Slow": {
        }
    }
}
)");
    EXPECT_EQ(store.presets("/a.metal").at("Slow"), (SliderValues{{"speed", 0.1f}, {"count", 3.0f}, {"tiny", 1e-40f}}));
    store.save({{"speed", 2.0f}}, "Slow", "/a.metal");
    EXPECT_EQ(store.presets("/a.metal").at("Slow"), (SliderValues{{"speed", 2.0f}}));
    EXPECT_EQ(store.presets("/a.metal").size(), 2u);
}

TEST_F(PresetStoreTest, OneNameHoweverItsAccentsAreEncoded) {
    store.save({{"s", 1.0f}}, "Cafe\u0301", "k");
    store.save({{"s", 2.0f}}, "Caf\u00e9", "k");
    EXPECT_EQ(store.presets("k"), (PresetStore::Presets{{"Caf\u00e9", {{"s", 2.0f}}}}));
    store.delete_("Cafe\u0301", "k");
    EXPECT_TRUE(store.presets("k").empty());
}

TEST_F(PresetStoreTest, DeletingChangesNothingElse) {
    store.save({{"s", 1.0f}}, "one", "k");
    store.save({{"s", 1.0f}}, "two", "k");
    put(contents(path) + "\n\n"); // recognisable: a rewrite would drop the empty lines
    const QByteArray before = contents(path);
    store.delete_("three", "k");
    store.delete_("one", "other");
    EXPECT_EQ(contents(path), before);
    store.delete_("one", "k");
    EXPECT_EQ(store.presets("k"), (PresetStore::Presets{{"two", {{"s", 1.0f}}}}));
    store.delete_("two", "k");
    EXPECT_EQ(contents(path), "{\n}\n");
}

TEST_F(PresetStoreTest, ABrokenFileReadsAsNoneAndIsKeptWhenItIsReplaced) {
    const QByteArray brokenOnes[] = {"{\"k\": {\"mine\": {\"s\": 1}",
                                     "[1]",
                                     "{\"k\": 3}",
                                     "{\"k\": {\"n\": []}}",
                                     "{\"k\": {\"n\": {\"s\": \"1\"}}}",
                                     "{\"k\": {\"n\": {\"s\": 1e39}}}"};
    for (const QByteArray& broken : brokenOnes) {
        put(broken);
        QFile::remove(aside);
        EXPECT_TRUE(store.presets("k").empty()) << broken.toStdString();
        store.delete_("mine", "k");
        EXPECT_EQ(contents(path), broken) << "nothing to delete, nothing to write";
        store.save({{"s", 1.0f}}, "new", "k");
        EXPECT_EQ(store.presets("k"), (PresetStore::Presets{{"new", {{"s", 1.0f}}}}));
        EXPECT_EQ(contents(aside), broken);
    }
    put("broken again");
    store.save({}, "new", "k");
    EXPECT_EQ(contents(aside), brokenOnes[5]) << "the first one is still there";
    EXPECT_EQ(contents(folder.filePath("data/presets-broken-2.json")), "broken again");
    // Not even a file: a pipe that nobody writes to, or a folder.
    QFile::remove(path);
    ASSERT_EQ(mkfifo(qPrintable(path), 0600), 0);
    EXPECT_TRUE(store.presets("k").empty());
    store.save({{"s", 3.0f}}, "new", "k");
    EXPECT_EQ(store.presets("k"), (PresetStore::Presets{{"new", {{"s", 3.0f}}}}));
    QFile::remove(path);
    QDir().mkpath(path);
    store.save({{"s", 4.0f}}, "new", "k");
    EXPECT_EQ(store.presets("k"), (PresetStore::Presets{{"new", {{"s", 4.0f}}}}));
}

TEST_F(PresetStoreTest, WhatCannotBeEncodedLeavesTheFileAsItWas) {
    put("not presets");
    store.save({{"s", std::numeric_limits<float>::quiet_NaN()}}, "n", "k");
    EXPECT_EQ(contents(path), "not presets");
    EXPECT_FALSE(QFile::exists(aside));
    QFile::remove(path);
    store.save({{"s", 1.0f}}, "good", "k");
    const QByteArray before = contents(path);
    store.save({{"s", std::numeric_limits<float>::infinity()}}, "bad", "k");
    EXPECT_EQ(contents(path), before);
}

class PresetsTest : public AppModelTest {
  protected:
    void SetUp() override {
        AppModelTest::SetUp();
        QObject::connect(&model->presets(), &Presets::changed, [this] { ++changes; });
    }
    int changes = 0;
};

TEST_F(PresetsTest, SavingAsksForANameAndListsItSorted) {
    model->open(file("a.metal", shader("// @param s 1 0 2")));
    auto& presets = model->presets();
    ASSERT_TRUE(presets.canSave());
    const int version = presets.version();
    for (const char* blank : {"", " \t\n"}) {
        questions.typed = blank;
        presets.saveAfterQuestion();
    }
    questions.typed.reset();
    presets.saveAfterQuestion();
    EXPECT_EQ(presets.version(), version);
    EXPECT_EQ(questions.lastText.message, "Save these settings as a preset");
    EXPECT_EQ(questions.lastText.informativeText, "The slider values are kept for a.metal, under this name.");
    EXPECT_EQ(questions.lastText.placeholder, "Name");
    for (const char* name : {" b\n", "B", "a", "\U0001F600", "\uFFFD"}) {
        questions.typed = QString::fromUtf8(name);
        presets.saveAfterQuestion();
    }
    EXPECT_EQ(presets.names(), (QStringList{"B", "a", "b", "\uFFFD", QString::fromUtf8("\U0001F600")}));
    EXPECT_EQ(presets.version(), version + 5);
}

TEST_F(PresetsTest, ReplacingIsAskedForAndRenamingKeepsTheValues) {
    model->open(file("a.metal", shader("// @param s 1 0 2")));
    auto& presets = model->presets();
    auto value = [&](const char* name) {
        const auto values = presets.values(QString::fromUtf8(name));
        return values ? std::optional(values->at("s")) : std::nullopt;
    };
    presets.save("one", {{"s", 0.5f}});
    presets.save("two", {{"s", 1.5f}});
    questions.typed = " one ";
    questions.choice = 1;
    presets.saveAfterQuestion();
    EXPECT_EQ(questions.last.message, "Replace the preset one?");
    EXPECT_EQ(questions.last.buttons, (QStringList{"Replace", "Cancel"}));
    EXPECT_EQ(value("one"), 0.5f);
    questions.choice = 0;
    presets.saveAfterQuestion();
    EXPECT_EQ(value("one"), 1.0f);

    questions.asked.clear();
    questions.typed = "three";
    presets.renameAfterQuestion("one");
    EXPECT_EQ(questions.lastText.text, "one");
    EXPECT_EQ(presets.names(), (QStringList{"three", "two"}));
    EXPECT_EQ(value("three"), 1.0f);
    questions.typed = "two";
    questions.choice = 1;
    presets.renameAfterQuestion("three");
    EXPECT_EQ(presets.names(), (QStringList{"three", "two"}));
    EXPECT_EQ(value("two"), 1.5f);
    questions.choice = 0;
    presets.renameAfterQuestion("three");
    EXPECT_EQ(presets.names(), (QStringList{"two"}));
    EXPECT_EQ(value("two"), 1.0f);
    for (const char* same : {"two", " ", ""}) {
        questions.typed = same;
        presets.renameAfterQuestion("two");
    }
    EXPECT_EQ(presets.names(), (QStringList{"two"}));
    // The same text with its accent encoded another way is a change of spelling, not another preset.
    presets.save(QString::fromUtf8("e\xCC\x81"), {{"s", 0.25f}});
    questions.asked.clear();
    questions.typed = QString::fromUtf8("\xC3\xA9");
    presets.renameAfterQuestion(QString::fromUtf8("e\xCC\x81"));
    EXPECT_EQ(presets.names().size(), 2);
    EXPECT_EQ(value("\xC3\xA9"), 0.25f);
    EXPECT_EQ(questions.asked.size(), 1) << "nothing is replaced";
}

TEST_F(PresetsTest, ApplyingGivesTheSamePictureWhateverWasSet) {
    model->open(file("a.metal", shader("// @param s 1 0 2\n// @param t 1 0 9\n// @param gone 1 0 2")));
    model->setValue("s", 2);
    model->setValue("t", 8);
    model->presets().save("P", model->values());
    EXPECT_EQ(model->presets().applied(), "P");
    model->textChanged(shader("// @param s 1 0 2\n// @param t 1 0 5\n// @param late 3 0 4"));
    delay_->elapse();
    model->setValue("s", 0);
    model->setValue("late", 4);
    EXPECT_EQ(model->presets().applied(), std::nullopt);
    int resets = 0;
    QObject::connect(model.get(), &AppModel::valuesReset, [&] { ++resets; });
    model->presets().apply("P");
    EXPECT_EQ(model->values(), (SliderValues{{"s", 2.0f}, {"t", 5.0f}, {"late", 3.0f}}));
    EXPECT_EQ(model->presets().applied(), "P");
    EXPECT_EQ(resets, 1);
    model->presets().apply("unknown");
    EXPECT_EQ(resets, 1);
}

TEST_F(PresetsTest, EachDocumentHasItsOwn) {
    const QString a = file("a.metal", shader("// @param s 1 0 2")), b = file("b.metal", shader("// @param s 1 0 2"));
    model->open(a);
    model->presets().save("P", model->values());
    changes = 0;
    model->open(b);
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(model->presets().names().isEmpty());
    model->open(a);
    EXPECT_EQ(model->presets().names(), QStringList{"P"});
    const auto kept = model->presets().values("P");
    model->presets().delete_("P");
    EXPECT_TRUE(model->presets().names().isEmpty());
    model->presets().save("P", *kept);
    EXPECT_EQ(model->presets().values("P"), kept);
}

} // namespace
} // namespace glasshob
