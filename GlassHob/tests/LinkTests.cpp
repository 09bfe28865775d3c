// Links that open shaders of the gallery: from the command line to the document that waits for Run.

#include "GlassHob/model/LinkOpener.h"
#include "GlassHob/model/StartArguments.h"
#include "GlassHob/tests/ModelTestSupport.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobRender/program/ShaderCompiler.h"

#include <QFileInfo>

namespace glasshob {
namespace {

using Answer = ScriptedServer::Answer;

TEST(StartArguments, AreFilesAndLinksAsPeopleAndDesktopsWriteThem) {
    const struct {
        QStringList words;
        QString path, link, mistake;
    } cases[] = {
        {{}, {}, {}, {}},
        {{"a.metal"}, "a.metal", {}, {}},
        {{"--shader", "-a.metal"}, "-a.metal", {}, {}},
        {{"--shader", "glasshob:a"}, "glasshob:a", {}, {}},
        {{"--shader"}, {}, {}, {}},
        {{"file:///home/me/B%C3%B6gen%20%26.metal"}, "/home/me/Bögen &.metal", {}, {}},
        {{"a file: or not.metal"}, "a file: or not.metal", {}, {}},
        {{"glasshob://open?src=x"}, {}, "glasshob://open?src=x", {}},
        {{"GlassHob:what"}, {}, "GlassHob:what", {}},
        {{"--shader", "a.metal", "glasshob://open"}, "a.metal", "glasshob://open", {}},
        {{"--what"}, {}, {}, "--what"},
        {{"a.metal", "b.metal"}, {}, {}, "b.metal"},
        {{"--site", "http://localhost:8080", "a.metal"}, "a.metal", {}, {}},
        {{"--site"}, {}, {}, "--site"},
    };
    for (const auto& each : cases) {
        const auto parsed = StartArguments::parse(each.words);
        const std::string name = each.words.join(' ').toStdString();
        ASSERT_EQ(parsed.has_value(), each.mistake.isNull()) << name;
        EXPECT_EQ(parsed ? parsed->path : parsed.error(), parsed ? each.path : each.mistake) << name;
        if (parsed) EXPECT_EQ(parsed->link, each.link) << name;
    }
}

class LinkTest : public AppModelTest {
  protected:
    void SetUp() override {
        site = Site::at(server.url({}, "localhost").toString().toStdString());
        QDir(AppModel::shadersFolder()).removeRecursively();
        AppModelTest::SetUp();
    }
    void TearDown() override { QDir(AppModel::shadersFolder()).removeRecursively(); }
    QString linkTo(const QString& path) const {
        return "glasshob://open?src=" + server.url(path, "localhost").toEncoded().toPercentEncoding();
    }
    LinkOpener& links() { return model->links(); }
    void follow(const QString& link) {
        links().open(link);
        EXPECT_TRUE(comesTrue([&] { return !links().downloading(); }));
    }
    static QStringList saved() { return QDir(Document::shadersPath()).entryList(QDir::Files | QDir::Hidden); }

    ScriptedServer server;
    const QString shared = "/s/ab12/source.metal";
    const std::string text = "// Slow Hearth\n// @param s 1 0 2\n" + shader("");
};

TEST_F(LinkTest, ASharedShaderIsSavedUnderAFreeNameAndWaits) {
    model->open(file("mine.metal", shader("")));
    ASSERT_NE(model->program(), nullptr);
    const std::uint64_t compiles = ShaderCompiler::count();
    server.script({ScriptedServer::answer(200, QByteArray::fromStdString(text))});
    links().open(linkTo(shared));
    EXPECT_EQ(links().downloading(), "s-ab12.metal");
    EXPECT_EQ(model->displayName(), "mine.metal") << "nothing has come yet";
    ASSERT_TRUE(comesTrue([&] { return !links().downloading(); }));
    EXPECT_EQ(model->filePath(), AppModel::shadersFolder() + "/s-ab12.metal");
    const std::string stamped = "// Slow Hearth\n// @forked-from s/ab12\n" + text.substr(15);
    EXPECT_EQ(contents(*model->filePath()), stamped);
    EXPECT_EQ(shown, stamped);
    EXPECT_TRUE(model->needsRun());
    EXPECT_EQ(model->downloadedFrom(), server.url(shared, "localhost"));
    EXPECT_FALSE(model->isDirty());
    EXPECT_EQ(server.requests().at(0).header("User-Agent"), "GlassHob/" + QByteArray(Identity::version.data()));

    follow(linkTo(shared));
    EXPECT_EQ(model->displayName(), "s-ab12 2.metal");
    follow(linkTo("/pictures/no item.metal"));
    EXPECT_EQ(model->displayName(), "no item.metal");
    EXPECT_EQ(contents(*model->filePath()), text);
    EXPECT_EQ(ShaderCompiler::count(), compiles);
    EXPECT_TRUE(questions.warnings.isEmpty());
    EXPECT_EQ(saved().size(), 3);
    model->run();
    EXPECT_NE(model->program(), nullptr);
}

TEST_F(LinkTest, WhatGoesWrongIsToldAndWritesNothing) {
    const std::string before = model->currentText();
    const auto told = [&](const QString& link) {
        questions.warnings.clear();
        follow(link);
        EXPECT_EQ(questions.warnings.size(), 1);
        return questions.warnings.value(0);
    };
    const QString refused = "Glass Hob can't open that link|", failed = "Glass Hob couldn't open the shader|";
    EXPECT_EQ(told("glasshob://edit?src=x"), refused + "This is not a Glass Hob open link.");
    EXPECT_EQ(told("glasshob://open"), refused + "The link does not say which shader to open.");
    EXPECT_EQ(told("glasshob://open?src=http%3A%2F%2F192.168.0.1%2Fx.metal"),
              refused + "Glass Hob only opens shaders from localhost: the address is not https");
    EXPECT_EQ(told("glasshob://open?src=" + QString(100'000, 'a')),
              refused + "Glass Hob only opens shaders from localhost: the address is not a full URL");
    EXPECT_TRUE(server.requests().empty());

    server.script({ScriptedServer::answer(404)});
    EXPECT_EQ(told(linkTo(shared)), failed + "localhost answered 404 for that shader.");
    server.script({ScriptedServer::answer(200, QByteArray(300'000, '\n'))});
    EXPECT_EQ(told(linkTo(shared)),
              failed + "That file has more than 200,000 lines, which no shader has: it was not opened.");
    EXPECT_EQ(saved(), QStringList());
    // No folder to save into.
    server.script({ScriptedServer::answer(200, QByteArray::fromStdString(text))});
    QDir(AppModel::shadersFolder()).removeRecursively();
    QFile in(Document::shadersPath());
    ASSERT_TRUE(in.open(QIODevice::WriteOnly));
    EXPECT_TRUE(told(linkTo(shared)).startsWith(failed + Document::shadersPath() + "/s-ab12.metal"));
    in.remove();
    EXPECT_EQ(model->currentText(), before);
    EXPECT_FALSE(model->needsRun());
}

TEST_F(LinkTest, UnsavedEditsAreAskedAboutFirst) {
    const QString mine = file("mine.metal", shader(""));
    server.script({ScriptedServer::answer(500)});
    model->open(mine);
    model->textChanged("// mine");
    questions.choice = 1; // Cancel
    links().open(linkTo(shared));
    EXPECT_FALSE(links().downloading());
    EXPECT_TRUE(server.requests().empty());

    questions.choice = 2; // Don't Save; but then nothing comes, and they are still there for the next start
    follow(linkTo(shared));
    EXPECT_EQ(model->currentText(), "// mine");
    model->close();
    EXPECT_EQ(drafts().size(), 1);

    // Agreed once is enough, unless there are more edits by the time that the shader is there.
    server.script({ScriptedServer::answer(200, QByteArray::fromStdString(text))});
    questions.asked.clear();
    links().open(linkTo(shared));
    model->textChanged("// more of mine");
    questions.choice = 1;
    ASSERT_TRUE(comesTrue([&] { return !links().downloading(); }));
    EXPECT_EQ(questions.asked.size(), 2);
    EXPECT_EQ(model->currentText(), "// more of mine");
    EXPECT_EQ(saved(), QStringList()) << "what nobody wants is not kept";
    questions.choice = 0; // Save
    follow(linkTo(shared));
    EXPECT_EQ(questions.asked.size(), 3);
    EXPECT_EQ(contents(mine), "// more of mine");
    EXPECT_EQ(model->displayName(), "s-ab12.metal");
}

TEST_F(LinkTest, ANewerLinkTakesThePlaceOfOneThatIsOnItsWay) {
    server.handler = [&](const ScriptedServer::Request& request) {
        if (request.target == shared.toUtf8())
            return Answer{.bytes = "HTTP/1.1 200 OK\r\n", .then = Answer::Then::stall};
        return ScriptedServer::answer(200, QByteArray::fromStdString(text));
    };
    links().open(linkTo(shared));
    ASSERT_TRUE(comesTrue([&] { return server.requests().size() == 1; }));
    links().open("glasshob://open"); // which is none
    EXPECT_EQ(links().downloading(), "s-ab12.metal");
    links().open(linkTo("/s/cd34/source.metal"));
    EXPECT_EQ(links().downloading(), "s-cd34.metal");
    ASSERT_TRUE(comesTrue([&] { return !links().downloading(); }));
    EXPECT_EQ(model->displayName(), "s-cd34.metal");
    EXPECT_EQ(questions.warnings.size(), 1) << "of the link that is none";
    EXPECT_TRUE(comesTrue([&] { return server.ended() >= 1; }));

    links().open(linkTo(shared));
    ASSERT_TRUE(comesTrue([&] { return server.requests().size() == 3; }));
    links().cancel();
    EXPECT_FALSE(links().downloading());
    EXPECT_EQ(questions.warnings.size(), 1) << "cancelled is no failure";

    // The program ends while one is on its way.
    links().open(linkTo(shared));
    ASSERT_TRUE(comesTrue([&] { return server.requests().size() == 4; }));
    model.reset();
    EXPECT_EQ(saved(), QStringList{"s-cd34.metal"});
}

} // namespace
} // namespace glasshob
