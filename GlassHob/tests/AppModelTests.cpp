#include "GlassHob/model/SampleThumbnails.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobCore/files/FileWatcher.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <cmath>
#include <map>
#include <sys/stat.h>

namespace glasshob {
namespace {

TEST_F(AppModelTest, TheFirstDocumentIsTheArgumentTheLastOneOrTheSample) {
    const QString given = file("given.metal", shader("")), last = file("last.metal", shader(""));
    model->start({"glasshob", "--shader", given});
    EXPECT_EQ(model->filePath(), given);
    EXPECT_FALSE(QSettings().contains("lastShaderPath")) << "not before it has been seen";
    model->tick(1);
    model->tick(2);
    EXPECT_EQ(QSettings().value("lastShaderPath"), given);

    QSettings().setValue("lastShaderPath", last);
    model->start({"glasshob", "--shader"}); // without a path it is ignored
    EXPECT_EQ(model->filePath(), last);

    QFile::remove(last);
    model->start({"glasshob"});
    EXPECT_EQ(model->filePath(), std::nullopt);
    EXPECT_EQ(model->displayName(), "01-flowing-color.metal");
    EXPECT_EQ(model->windowTitle(), "01-flowing-color.metal (bundled sample)");
    EXPECT_EQ(model->presetKey(), "bundled:01-flowing-color");
    EXPECT_EQ(model->state(), AppModel::State::live) << model->errorText().value_or("").toStdString();
}

TEST_F(AppModelTest, AFileThatNeverCameToAFrameIsNotOpenedAgain) {
    const QString path = file("huge.metal", shader(""));
    model->open(path);
    model->tick(1);
    model->tick(2);
    // The next start ends while it opens the file; what the model does at its end does not happen.
    makeModel();
    model->start({"glasshob"});
    ASSERT_EQ(model->filePath(), path);
    const QString unfinished = QSettings().value("openingShaderPath").toString();
    EXPECT_EQ(unfinished, path);
    makeModel();
    QSettings().setValue("openingShaderPath", unfinished);
    model->start({"glasshob"});
    EXPECT_EQ(model->filePath(), std::nullopt) << "the sample";
    ASSERT_EQ(questions.warnings.size(), 1);
    EXPECT_TRUE(questions.warnings[0].startsWith("huge.metal was not opened this time|"));
    // Once only: it may have been chance.
    makeModel();
    model->start({"glasshob"});
    EXPECT_EQ(model->filePath(), path);
}

TEST_F(AppModelTest, WhatCannotBeOpenedLeavesTheDocument) {
    model->open(file("good.metal", shader("")));
    const auto program = model->program();
    const QString huge = file("huge.metal", ""), pipe = folder.filePath("pipe.metal");
    ASSERT_TRUE(QFile::resize(huge, qint64(50) << 20));
    ASSERT_EQ(mkfifo(qPrintable(pipe), 0600), 0);
    for (const QString& bad :
         {folder.filePath("missing.metal"), folder.path(), file("latin.metal", "caf\xE9"), huge, pipe}) {
        questions.warnings.clear();
        model->open(bad);
        ASSERT_EQ(questions.warnings.size(), 1);
        EXPECT_TRUE(questions.warnings[0].startsWith("Can't open " + QFileInfo(bad).fileName() + "|"));
        EXPECT_EQ(model->displayName(), "good.metal");
        EXPECT_EQ(model->program(), program);
    }
}

TEST_F(AppModelTest, ABurstOfTypingCompilesOnceWithTheLatestText) {
    model->open(file("a.metal", shader("")));
    const auto before = model->program();
    int compiles = 0;
    QObject::connect(model.get(), &AppModel::compiled, [&] { ++compiles; });
    for (const char* name : {"x", "xy", "xyz"})
        model->textChanged(shader("// @param " + std::string(name) + " 1 0 2"));
    EXPECT_EQ(compiles, 0);
    EXPECT_EQ(delay_->seconds_, 0.3);
    EXPECT_TRUE(model->isDirty());
    EXPECT_EQ(model->windowTitle(), "a.metal (edited)");
    delay_->elapse();
    EXPECT_EQ(compiles, 1);
    ASSERT_NE(model->program(), before);
    EXPECT_EQ(model->program()->params().at(0).name, "xyz");
    model->textChanged(model->savedText());
    EXPECT_FALSE(model->isDirty());
}

TEST_F(AppModelTest, AFailedCompileKeepsThePictureAndTheSliders) {
    model->open(file("a.metal", shader("// @param speed 0.6 0 3")));
    model->setValue("speed", 2.5f);
    const auto program = model->program();
    model->textChanged(shader("// @param speed 0.6 0 3", "float4(nowhere, 0.0, 0.0, 1.0)"));
    delay_->elapse();
    EXPECT_EQ(model->program(), program);
    EXPECT_EQ(model->values().at("speed"), 2.5f);
    ASSERT_FALSE(model->diagnostics().empty());
    EXPECT_EQ(model->diagnostics()[0].severity, Diagnostic::Severity::error);
    EXPECT_EQ(model->diagnostics()[0].line, 3);
    EXPECT_EQ(model->state(), AppModel::State::errorWithPicture);
    EXPECT_EQ(model->statusText(), "Compile error, showing the last good frame");
    EXPECT_EQ(model->compileMillis(), std::nullopt);
    model->textChanged(shader("// @param speed 0.6 0 3", "float4(0.5)"));
    delay_->elapse();
    EXPECT_NE(model->program(), program);
    EXPECT_EQ(model->values().at("speed"), 2.5f) << "the slider stays where it was";
    EXPECT_EQ(model->errorText(), std::nullopt);
    EXPECT_TRUE(model->statusText().startsWith("Live · compiled in ")) << model->statusText().toStdString();
}

TEST_F(AppModelTest, WarningsHaveAListOfTheirOwn) {
    const std::string body = "float4 shade(float2 uv) {\n    float spare = 1.0;\n    return float4(uv, 0.0, 1.0);\n}\n";
    const std::string host =
        "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return shade(uv); }\n";
    model->open(file("a.metal", body + host));
    EXPECT_EQ(model->state(), AppModel::State::live);
    EXPECT_TRUE(model->diagnostics().empty());
    ASSERT_EQ(model->warnings().size(), 1U);
    EXPECT_EQ(model->warnings()[0], (Diagnostic{Diagnostic::Severity::warning, 2, 11, "unused variable 'spare'"}));
    model->textChanged(body + host + "float late() { return nowhere; }\n");
    delay_->elapse();
    EXPECT_TRUE(model->warnings().empty()) << "a text that does not compile has no program to warn of";
    for (const Diagnostic& diagnostic : model->diagnostics())
        EXPECT_EQ(diagnostic.severity == Diagnostic::Severity::error, diagnostic.line == 6);
    model->textChanged(shader(""));
    delay_->elapse();
    EXPECT_TRUE(model->warnings().empty());
}

// What the compiler echoes of the text is not a message, whatever it looks like.
TEST_F(AppModelTest, ASourceLineCannotForgeAMessage) {
    const std::string forged = " // shader.metal:1:1: error: forged\n";
    const std::string begin = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n";
    model->open(file("a.metal", begin + "    return flot4(1.0);" + forged + "}\n"));
    ASSERT_EQ(model->diagnostics().size(), 1U);
    EXPECT_EQ(model->diagnostics()[0].line, 2);
    EXPECT_EQ(model->diagnostics()[0].length, 5);
    ASSERT_TRUE(model->diagnostics()[0].fixIt);
    EXPECT_EQ(model->diagnostics()[0].fixIt->replacement, "float4");
    EXPECT_TRUE(model->errorText()->contains("forged")) << "the line is shown as it is";
    model->textChanged(begin + "    float spare = 1.0;" + forged + "    return float4(1.0);\n}\n");
    delay_->elapse();
    ASSERT_EQ(model->warnings().size(), 1U);
    EXPECT_EQ(model->warnings()[0].message, "unused variable 'spare'");
}

TEST_F(AppModelTest, ValuesAreCarriedOverByNameWhileTheDefaultStays) {
    struct Case {
        const char* params;
        float value; // what a slider moved to 2.5 of "// @param s 0.6 0 3" becomes
    };
    const Case cases[] = {{"// @param s 0.6 0 3 other words", 2.5f},
                          {"// @param s 0.8 0 3", 0.8f},
                          {"// @param s 0.6 0 1", 1.0f},
                          {"// @param s 0.6 0 9\n// @param more 1 0 2", 2.5f}};
    for (const Case& c : cases) {
        model->open(file("a.metal", shader("// @param gone 1 0 2\n// @param s 0.6 0 3")));
        model->resetAllValues();
        model->setValue("s", 2.5f);
        model->textChanged(shader(c.params));
        delay_->elapse();
        EXPECT_EQ(model->values().at("s"), c.value) << c.params;
        EXPECT_FALSE(model->values().contains("gone"));
    }
    EXPECT_EQ(model->values().at("more"), 1.0f);
}

TEST_F(AppModelTest, SliderValuesStayInTheirRange) {
    model->open(file("a.metal", shader("// @param s 1 0 2\n// @param t 1 0 2")));
    EXPECT_EQ(model->changedValueCount(), 0);
    model->setValue("s", 9);
    model->setValue("t", std::nanf(""));
    model->setValue("unknown", 1);
    EXPECT_EQ(model->values(), (SliderValues{{"s", 2.0f}, {"t", 1.0f}}));
    EXPECT_EQ(model->changedValueCount(), 1);
    model->resetAllValues();
    EXPECT_EQ(model->changedValueCount(), 0);
    model->open(file("b.metal", shader("// @param n nan 0 2")));
    EXPECT_EQ(model->changedValueCount(), 0) << "a default that is no number is not a change";
}

TEST_F(AppModelTest, AStillHasASizeOfItsOwnAndTheNameOfTheMoment) {
    model->open(file("wave.v2.metal", shader("", "float4(u.resolution / 2048.0, u.time, 1.0)")));
    model->setExportChoices({.presetId = "main4k"});
    EXPECT_EQ(StillSaver::size(), (StillSaver::Size{1920, 1080}));
    StillSaver::setSize({1280, 720});
    model->tick(10);
    model->tick(10.75);
    questions.path = folder.filePath("still.png");
    std::optional<SavedStill> saved;
    QObject::connect(&model->stills(), &StillSaver::saved, [&](const SavedStill& still) { saved = still; });
    model->saveStill();
    model->tick(11.5); // the still is of the moment of the command
    EXPECT_EQ(questions.suggested, "wave.v2-t0.8.png");
    EXPECT_TRUE(comesTrue([&] { return saved.has_value(); }));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->path, *questions.path);
    EXPECT_EQ(saved->width, 1280);
    EXPECT_EQ(saved->bytes, QFileInfo(*questions.path).size());
    const QImage still(*questions.path);
    EXPECT_EQ(still.size(), QSize(1280, 720));
    EXPECT_EQ(still.pixelColor(5, 5), QColor(159, 90, 191));

    EXPECT_EQ(ExportChoices{.presetId = "no such"}.preset(), ExportPreset::web());
    questions.path = folder.filePath("still.bmp");
    model->saveStill();
    EXPECT_TRUE(comesTrue([&] { return !questions.warnings.isEmpty(); }));
    EXPECT_TRUE(questions.warnings.value(0).contains(".png, .jpg or .webp"));
    EXPECT_FALSE(QFile::exists(*questions.path));
    questions.warnings.clear();

    questions.path = folder.filePath("no/such/folder.png");
    model->saveStill();
    EXPECT_TRUE(comesTrue([&] { return !questions.warnings.isEmpty(); }));
    ASSERT_EQ(questions.warnings.size(), 1);
    EXPECT_TRUE(questions.warnings[0].startsWith("Can't save folder.png|")) << questions.warnings[0].toStdString();
}

TEST_F(AppModelTest, AnExportBeginsWithACleanFlagAndADate) {
    int changes = 0;
    QObject::connect(model.get(), &AppModel::exportChanged, [&] { ++changes; });
    const auto flag = model->cancelFlag();
    flag->set(true);
    EXPECT_EQ(model->exportStartedAt(), std::nullopt);
    model->setExportState(ExportRunning{0, 600});
    EXPECT_FALSE(flag->value());
    const auto started = model->exportStartedAt();
    ASSERT_TRUE(started);
    flag->set(true);
    model->setExportState(ExportRunning{1, 600});
    model->setExportState(ExportRunning{1, 600});
    EXPECT_TRUE(flag->value()) << "only the beginning takes it back";
    EXPECT_EQ(model->exportStartedAt(), started);
    model->setExportState(ExportFailed{"no"});
    EXPECT_EQ(changes, 3);
}

TEST_F(AppModelTest, SavingWritesExactBytesThroughALinkAndKeepsTheirMode) {
    const std::string bytes = "\xEF\xBB\xBF// caf\xC3\xA9\xC2\xA0\r\n" + shader("");
    const QString real = file("real.metal", bytes), link = folder.filePath("link.metal");
    QFile::setPermissions(real, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
    ASSERT_TRUE(QFile::link(real, link));
    model->open(link);
    EXPECT_EQ(model->filePath(), link) << "the link that was named, not its target";
    EXPECT_EQ(shown, bytes);
    EXPECT_EQ(model->state(), AppModel::State::live) << model->errorText().value_or("").toStdString();
    model->textChanged(bytes + "// more\r\n");
    bool saved = false;
    model->save([&](bool ok) { saved = ok; });
    EXPECT_TRUE(saved);
    EXPECT_FALSE(model->isDirty());
    EXPECT_EQ(contents(real), bytes + "// more\r\n");
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(QFile::permissions(real) & (QFile::ReadGroup | QFile::ReadOther), QFile::ReadGroup);
}

TEST_F(AppModelTest, ASampleIsCopiedToTheShadersFolderAndOpenedThere) {
    QDir folderOfShaders(AppModel::shadersFolder());
    folderOfShaders.removeRecursively();
    model->newFromSample("02-blue-hour.metal");
    const QString copy = folderOfShaders.filePath("Blue Hour.metal");
    ASSERT_EQ(model->filePath(), copy);
    const std::string text = shown;
    EXPECT_EQ(contents(copy), text);
    EXPECT_EQ(model->state(), AppModel::State::live) << model->errorText().value_or("").toStdString();

    // Unsaved edits are asked about first; Cancel keeps the document.
    model->textChanged(text + "// mine\n");
    questions.choice = 1;
    model->newFromSample("05-silk.metal");
    EXPECT_EQ(questions.asked.size(), 1);
    EXPECT_EQ(model->filePath(), copy);

    // Save: the changed copy keeps its text, and the sample comes under another name.
    questions.choice = 0;
    model->newFromSample("02-blue-hour.metal");
    EXPECT_EQ(contents(copy), text + "// mine\n");
    EXPECT_EQ(model->filePath(), folderOfShaders.filePath("Blue Hour 2.metal"));
    EXPECT_EQ(shown, text);

    model->newFromSample("no-such.metal");
    EXPECT_EQ(questions.warnings,
              QStringList{"Can't open the sample|The sample no-such.metal is missing from the app."});
    EXPECT_EQ(model->displayName(), "Blue Hour 2.metal");
    folderOfShaders.removeRecursively();
}

TEST_F(AppModelTest, SmallPicturesOfSamplesAreDrawnOnceAndKept) {
    const std::vector<SampleShelf::Sample> samples = {
        {"a.metal", "A", ShaderKind::fragment, false, shader("", "float4(1.0, 0.0, 0.0, 1.0)")},
        {"b.metal", "B", ShaderKind::fragment, false, "no shader"},
        {"c.metal", "C", ShaderKind::fragment, false, shader("", "float4(0.0, 0.0, u.time * 0.1, 1.0)")},
    };
    std::map<QString, QImage> pictures;
    const auto collect = [&](const QString& name, const QImage& picture) { pictures[name] = picture; };
    SampleThumbnails drawing(folder.path());
    QObject::connect(&drawing, &SampleThumbnails::drawn, collect);
    drawing.draw(samples);
    EXPECT_TRUE(pictures.empty());
    EXPECT_TRUE(comesTrue([&] { return pictures.size() == 2; }));
    ASSERT_EQ(pictures.size(), 2u);
    EXPECT_EQ(pictures["a.metal"].size(), SampleThumbnails::size);
    EXPECT_EQ(pictures["a.metal"].pixelColor(50, 50), QColor(255, 0, 0));
    EXPECT_EQ(pictures["c.metal"].pixelColor(50, 50), QColor(0, 0, 255)); // at 10 s, the still's usual time

    SampleThumbnails kept(folder.path());
    QObject::connect(&kept, &SampleThumbnails::drawn, collect);
    pictures.clear();
    kept.draw({samples[0], samples[2]});
    EXPECT_EQ(pictures.size(), 2u);
    EXPECT_EQ(pictures["a.metal"].pixelColor(50, 50), QColor(255, 0, 0));
}

TEST_F(AppModelTest, ATextThatCouldNotBeOpenedAgainIsNotSaved) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    model->textChanged(std::string((std::size_t(4) << 20) + 1, ' '));
    bool saved = true;
    model->save([&](bool ok) { saved = ok; });
    EXPECT_FALSE(saved);
    ASSERT_EQ(questions.warnings.size(), 1);
    EXPECT_TRUE(questions.warnings[0].startsWith("Can't save a.metal|The text has more than 4 MB or 200,000 lines"));
    EXPECT_EQ(contents(path), shader(""));
}

TEST_F(AppModelTest, SavingTheSampleAsksForAPlace) {
    model->loadSample();
    model->textChanged(shader(""));
    questions.path = folder.filePath("mine.metal");
    model->save();
    EXPECT_EQ(questions.suggested, "01-flowing-color.metal");
    EXPECT_EQ(model->filePath(), questions.path);
    EXPECT_EQ(contents(*questions.path), shader(""));
    EXPECT_FALSE(model->isDirty());

    model->textChanged("// lost?");
    questions.path = folder.filePath("no/such/folder/x.metal");
    bool saved = true;
    model->saveAs([&](bool ok) { saved = ok; });
    EXPECT_FALSE(saved);
    EXPECT_EQ(questions.warnings.size(), 1);
    EXPECT_EQ(model->displayName(), "mine.metal");
    EXPECT_TRUE(model->isDirty());
}

TEST_F(AppModelTest, UnsavedChangesAreAskedForBeforeTheyGo) {
    struct Case {
        int choice;
        bool goesOn;
        bool saved;
    };
    for (const Case& c : {Case{0, true, true}, Case{1, false, false}, Case{2, true, false}}) {
        const QString path = file("a.metal", shader(""));
        model->open(path);
        model->textChanged("// edited");
        questions.choice = c.choice;
        bool goesOn = !c.goesOn;
        model->confirmDiscard([&](bool on) { goesOn = on; });
        EXPECT_EQ(goesOn, c.goesOn);
        EXPECT_EQ(contents(path) == "// edited", c.saved);
    }
    EXPECT_EQ(questions.last.message, "Do you want to save the changes you made to a.metal?");
    EXPECT_EQ(questions.last.buttons, (QStringList{"Save", "Cancel", "Don't Save"}));
    EXPECT_EQ(questions.last.escapeButton, 1);
}

TEST_F(AppModelTest, ANewShaderGetsAFileOfItsOwn) {
    QDir(AppModel::shadersFolder()).removeRecursively();
    model->newShader();
    EXPECT_EQ(model->displayName(), "Untitled Shader.metal");
    model->newShader();
    EXPECT_EQ(model->displayName(), "Untitled Shader 2.metal");
    EXPECT_EQ(model->state(), AppModel::State::live) << model->errorText().value_or("").toStdString();
}

TEST_F(AppModelTest, AChangeOnDiskReloadsACleanDocument) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    file("a.metal", shader("// @param fresh 1 0 2"));
    model->diskChanged();
    EXPECT_TRUE(questions.asked.isEmpty());
    EXPECT_EQ(shown, shader("// @param fresh 1 0 2"));
    EXPECT_EQ(model->values().count("fresh"), 1u);
}

TEST_F(AppModelTest, AChangeOnDiskUnderUnsavedEditsAsksOnce) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    model->textChanged("// mine");
    file("a.metal", "// theirs");
    questions.holds = true;
    model->diskChanged();
    file("a.metal", "// theirs again");
    model->diskChanged();
    ASSERT_EQ(questions.asked, QStringList{"a.metal changed on disk"});
    questions.held(0); // keep mine
    EXPECT_EQ(model->currentText(), "// mine");
    EXPECT_EQ(model->savedText(), "// theirs again");
    EXPECT_TRUE(model->isDirty());
    file("a.metal", "// theirs at last");
    model->diskChanged();
    ASSERT_EQ(questions.asked.size(), 2);
    questions.held(1); // load theirs
    EXPECT_EQ(model->currentText(), "// theirs at last");
    EXPECT_FALSE(model->isDirty());
}

TEST_F(AppModelTest, RevertReadsTheFileAgain) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    model->textChanged("// edited");
    model->revert();
    EXPECT_EQ(questions.last.message, "Revert to the saved a.metal?");
    EXPECT_EQ(questions.last.defaultButton, 1) << "Return takes nothing away";
    EXPECT_EQ(model->currentText(), shader(""));
    EXPECT_FALSE(model->isDirty());
    QFile::remove(path);
    model->revert();
    EXPECT_TRUE(model->errorText()->startsWith("Can't read a.metal: "));
    EXPECT_TRUE(model->diagnostics().empty());
}

TEST_F(AppModelTest, TheClockFollowsTimeAndStopsWhilePaused) {
    EXPECT_EQ(model->tick(100).timeDelta, 0);
    const auto second = model->tick(100.5);
    EXPECT_FLOAT_EQ(second.time, 0.5f);
    EXPECT_FLOAT_EQ(second.timeDelta, 0.5f);
    EXPECT_EQ(second.frame, 2u);
    model->setPaused(true);
    const auto paused = model->tick(107);
    EXPECT_EQ(paused.timeDelta, 0);
    EXPECT_FLOAT_EQ(paused.time, 0.5f);
    EXPECT_EQ(paused.frame, 2u);
    model->setPaused(false);
    EXPECT_FLOAT_EQ(model->tick(107.25).time, 0.75f);
    EXPECT_FLOAT_EQ(model->tick(110.25).timeDelta, 3.0f) << "a long stall is one long step";
    model->forgetLastTick();
    EXPECT_EQ(model->tick(500).timeDelta, 0);
    model->backToStart();
    EXPECT_EQ(model->time(), 0);
    model->stepFrame();
    EXPECT_EQ(model->frame(), 0u) << "only while paused";
    model->setPaused(true);
    model->stepFrame();
    model->stepFrame();
    const auto stepped = model->tick(501);
    EXPECT_FLOAT_EQ(stepped.time, 2.0f / 60);
    EXPECT_FLOAT_EQ(stepped.timeDelta, 2.0f / 60) << "the shader hears of the steps once";
    EXPECT_EQ(stepped.frame, 2u);
    EXPECT_EQ(model->tick(502).timeDelta, 0);
    model->backToStart();
    EXPECT_EQ(model->time(), 0);
    EXPECT_EQ(model->frame(), 0u);
}

TEST(FileWatcherTest, TellsOfEveryChangeButADeletion) {
    QTemporaryDir folder;
    const QString path = folder.filePath("watched");
    auto write = [&](const char* text) {
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(text);
    };
    write("one");
    int calls = 0;
    FileWatcher watcher(QFile::encodeName(path), 1000, [&] { ++calls; });
    watcher.poll();
    EXPECT_EQ(calls, 0);
    write("three");
    watcher.poll();
    watcher.poll();
    EXPECT_EQ(calls, 1);
    QFile::remove(path);
    watcher.poll();
    EXPECT_EQ(calls, 1);
    write("three");
    watcher.poll();
    EXPECT_EQ(calls, 2);
    QFile other(folder.filePath("other"));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write("three");
    other.close();
    QFile::remove(path);
    other.rename(path);
    watcher.poll();
    EXPECT_EQ(calls, 3) << "a file of the same name in its place";
}

} // namespace
} // namespace glasshob
