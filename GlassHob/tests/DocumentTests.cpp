// What happens to a document when files, disks and other programs do not do what one hopes, and that a shader from
// elsewhere never runs unread.

#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <csignal>
#include <sys/resource.h>

namespace glasshob {
namespace {

class DocumentTest : public AppModelTest {};

TEST_F(DocumentTest, AFileThatVanishesComesBackByASave) {
    QDir(folder.path()).mkdir("sub");
    const QString path = file("sub/a.metal", shader(""));
    model->open(path);
    const auto program = model->program();
    QFile::remove(path);
    ASSERT_TRUE(comesTrue([&] { return model->isDirty(); })) << "its text is nowhere else";
    EXPECT_EQ(model->program(), program);
    EXPECT_EQ(model->windowTitle(), "a.metal (edited)");
    EXPECT_EQ(drafts().size(), 1);
    questions.choice = 1;
    model->confirmDiscard([](bool goesOn) { EXPECT_FALSE(goesOn); });
    EXPECT_EQ(questions.asked.size(), 1);
    model->save();
    EXPECT_EQ(contents(path), shader(""));
    EXPECT_FALSE(model->isDirty());
    EXPECT_TRUE(drafts().isEmpty());

    // Put back by another program: nothing is unsaved any more.
    QFile::remove(path);
    ASSERT_TRUE(comesTrue([&] { return model->isDirty(); }));
    file("sub/a.metal", shader("// theirs"));
    ASSERT_TRUE(comesTrue([&] { return !model->isDirty(); }));
    EXPECT_EQ(model->currentText(), shader("// theirs"));

    model->textChanged(shader("// more"));
    QFile::remove(path);
    model->save();
    EXPECT_EQ(contents(path), shader("// more"));

    QDir(folder.filePath("sub")).removeRecursively();
    model->textChanged(shader("// even more"));
    bool saved = true;
    model->save([&](bool ok) { saved = ok; });
    EXPECT_FALSE(saved);
    EXPECT_TRUE(model->isDirty());
    ASSERT_EQ(questions.warnings.size(), 1);
    EXPECT_TRUE(questions.warnings[0].startsWith("Can't save a.metal|")) << questions.warnings[0].toStdString();
}

TEST_F(DocumentTest, AFullDiskKeepsTheOldContent) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    model->textChanged(shader("// a line too much for the disk"));
    rlimit before{}, tiny{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    tiny = {.rlim_cur = 40, .rlim_max = before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tiny), 0);
    bool saved = true;
    model->save([&](bool ok) { saved = ok; });
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(saved);
    EXPECT_EQ(questions.warnings.size(), 1);
    EXPECT_TRUE(model->isDirty());
    EXPECT_EQ(contents(path), shader(""));
    EXPECT_EQ(QDir(folder.path()).entryList({"*a.metal*"}, QDir::Files | QDir::Hidden), QStringList{"a.metal"});
    model->save();
    EXPECT_EQ(contents(path), shader("// a line too much for the disk"));
}

TEST_F(DocumentTest, AShaderThatNeverCompilesIsStillADocument) {
    const QString path = file("a.metal", "not a shader");
    model->open(path);
    EXPECT_EQ(model->program(), nullptr);
    EXPECT_EQ(model->state(), AppModel::State::errorWithoutPicture);
    EXPECT_FALSE(model->statusText().isEmpty());
    EXPECT_FALSE(model->statusText().contains(u'\n'));
    model->saveStill();
    model->textChanged("not a shader either");
    delay_->elapse();
    model->save();
    EXPECT_EQ(contents(path), "not a shader either");
}

TEST_F(DocumentTest, WhatChangesOnDiskWhileAQuestionIsUpIsNotOverwritten) {
    const QString path = file("a.metal", shader(""));
    model->open(path);
    model->textChanged("// mine");
    questions.holds = true;
    std::optional<bool> goesOn;
    model->confirmDiscard([&](bool on) { goesOn = on; });
    file("a.metal", "// theirs");
    const auto answer = std::exchange(questions.held, {});
    answer(0); // Save, before the watcher has looked
    EXPECT_EQ(goesOn, false);
    EXPECT_EQ(contents(path), "// theirs");
    ASSERT_EQ(questions.asked.last(), "a.metal changed on disk");
    questions.held(0); // Keep My Edits: now it is known what goes
    questions.holds = false;
    model->save();
    EXPECT_EQ(contents(path), "// mine");

    // The file goes while the question about it is up.
    model->textChanged("// mine again");
    file("a.metal", "// theirs again");
    questions.holds = true;
    model->diskChanged();
    QFile::remove(path);
    questions.held(1);
    EXPECT_EQ(model->currentText(), "// theirs again");
    EXPECT_EQ(shown, "// theirs again");
}

TEST_F(DocumentTest, ANewerWishTakesOverTheQuestionAboutUnsavedEdits) {
    model->open(file("a.metal", shader("")));
    const QString other = file("b.metal", shader(""));
    model->textChanged("// mine");
    questions.holds = true;
    std::optional<bool> quits;
    model->confirmDiscard([&](bool on) { quits = on; });
    model->openAfterQuestion(other);
    EXPECT_EQ(questions.asked.size(), 1);
    EXPECT_EQ(quits, false);
    questions.held(2);
    EXPECT_EQ(model->filePath(), other);
}

TEST_F(DocumentTest, AShaderFromTheGalleryWaitsForRun) {
    model->open(file("mine.metal", shader("")));
    const QString path = file("s-ab12.metal", shader("// @param s 1 0 2"));
    const QUrl link("https://www.example.com/s/ab12/source.metal");
    int compiles = 0;
    model->openDownloaded(path, link);
    QObject::connect(model.get(), &AppModel::compiled, [&] { ++compiles; });
    EXPECT_EQ(model->program(), nullptr) << "the shader before it has stopped too";
    EXPECT_EQ(model->downloadedFrom(), link);
    EXPECT_EQ(model->state(), AppModel::State::waitingForRun);
    EXPECT_EQ(model->statusText(), "Not running: press Run when you have read it");
    EXPECT_EQ(shown, shader("// @param s 1 0 2"));

    model->textChanged(shader("// @param s 1 0 3"));
    delay_->elapse();
    model->compileNow();
    file("s-ab12.metal", shader("// @param s 1 0 4"));
    questions.choice = 1;
    model->diskChanged();
    model->saveStill();
    EXPECT_EQ(shown, shader("// @param s 1 0 4"));
    EXPECT_EQ(model->program(), nullptr);
    EXPECT_EQ(compiles, 0);
    questions.path = folder.filePath("copy.metal");
    model->saveAs();
    EXPECT_TRUE(model->needsRun());
    EXPECT_EQ(model->program(), nullptr);
    model->tick(1);
    model->tick(2);
    EXPECT_FALSE(QSettings().contains("lastShaderPath")) << "the next start would compile it unread";

    model->run();
    EXPECT_FALSE(model->needsRun());
    EXPECT_EQ(model->downloadedFrom(), std::nullopt);
    ASSERT_NE(model->program(), nullptr);
    EXPECT_EQ(model->program()->params().at(0).max, 4.0f);
    model->close();
    EXPECT_EQ(QSettings().value("lastShaderPath"), questions.path);
    const auto running = model->program();
    model->run();
    EXPECT_EQ(model->program(), running);
}

} // namespace
} // namespace glasshob
