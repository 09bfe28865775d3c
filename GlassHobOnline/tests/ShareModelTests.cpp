#include "GlassHobOnline/ShareModel.h"

#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/WaitUntil.h"
#include "GlassHobOnline/AccountModel.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <semaphore>
#include <thread>

using namespace glasshob;
using Request = ScriptedServer::Request;
using Answer = ScriptedServer::Answer;
using testing::ElementsAre;

namespace {

const std::string source = "// Slow Hearth\n// @still 4\n// @forked-from s/ab12\n"
                           "// @param glow 0.1 0 1 How hot\n// caf\xC3\xA9\r\n";
const QByteArray shared = R"({"id":"k3v9x2","url":"https://www.glasshob.example/s/k3v9x2"})";

// A share with a server that says what it is told, and a renderer that a test holds up.
class ShareModelTests : public testing::Test {
  protected:
    void SetUp() override {
        QSettings().clear();
        tokens.token = "secret";
        server.handler = [this](const Request& request) {
            if (request.target == "/api/me") return ScriptedServer::answer(200, me);
            if (request.target == "/api/auth/signout") return ScriptedServer::answer(204);
            if (!script.empty()) {
                const Answer answer = script.front();
                if (script.size() > 1) script.erase(script.begin());
                return answer;
            }
            return ScriptedServer::answer(201, shared);
        };
        session = std::make_unique<HttpSession>("GlassHob/test");
        account = std::make_unique<AccountModel>(Site::at(server.url().toString().toStdString()), *session, tokens);
        signIn();
        open({source, "file", "hearth.metal"});
    }
    void TearDown() override {
        share.reset();
        for (std::jthread& thread : threads)
            thread.join();
        account.reset();
    }
    void signIn() {
        QSettings().setValue("accountSite", server.url().toString());
        QCoro::waitFor(account->refresh());
    }
    void open(ShareModel::Subject subject) {
        auto renderer = [this](const ShareRendering::Order& order, const ShareRendering::Progress& progress,
                               const std::stop_token& stop) {
            ordered.push_back(order);
            progress(0.25);
            const std::stop_callback stopped(stop, [this] { go.release(); });
            if (holds) go.acquire();
            return stop.stop_requested() ? std::unexpected(ShareRendering::Failure{}) : outcome;
        };
        share = std::make_unique<ShareModel>(
            *account, std::move(subject),
            ShareModel::Surroundings{[] { return nullptr; }, renderer,
                                     [this](std::function<void()> work) { threads.emplace_back(std::move(work)); }});
        QObject::connect(share.get(), &ShareModel::changed, share.get(), [this] { seen.push_back(nameOf()); });
    }

    // The phase in a word, for lists of them.
    std::string nameOf() const {
        static const char* const names[] = {"editing",   "needsSignIn", "needsHandle", "rendering",
                                            "uploading", "done",        "failed"};
        return names[share->phase().index()];
    }
    std::vector<std::string> phases() const {
        std::vector<std::string> different = seen;
        different.erase(std::unique(different.begin(), different.end()), different.end());
        return different;
    }
    // The message of the phase that it is now.
    std::string message() const {
        return std::visit(
            [](const auto& phase) -> std::string {
                if constexpr (requires { phase.message; }) return phase.message.toStdString();
                if constexpr (requires { phase.url; }) return phase.url.toString().toStdString();
                return {};
            },
            share->phase());
    }
    std::string shareToTheEnd() {
        share->share();
        waitUntil([&] { return !share->isWorking() && nameOf() != "editing"; });
        return nameOf() + ": " + message();
    }
    template <class Phase>
    void waitFor() {
        waitUntil([&] { return std::holds_alternative<Phase>(share->phase()); });
    }
    std::size_t uploads() const {
        return std::size_t(std::ranges::count(server.requests(), "/api/shaders", &Request::target));
    }

    ScriptedServer server;
    QByteArray me = R"({"email":"lena@mail.example","handle":"low-ember"})";
    std::vector<Answer> script;
    MemoryTokenStore tokens;
    std::unique_ptr<HttpSession> session;
    std::unique_ptr<AccountModel> account;
    std::unique_ptr<ShareModel> share;
    std::vector<std::string> seen;
    // Of the renderer.
    std::vector<ShareRendering::Order> ordered;
    std::expected<ShareRendering::Files, ShareRendering::Failure> outcome =
        ShareRendering::Files{QByteArray("\0\0\0\x18"
                                         "ftypmp42\r\n--\0",
                                         17),
                              QByteArray("\xFF\xD8\xFF\xE0\r\n")};
    bool holds = false;
    std::counting_semaphore<16> go{0};
    std::vector<std::jthread> threads;
};

} // namespace

TEST_F(ShareModelTests, SendsWhatWasToldAndRendered) {
    EXPECT_EQ(share->title, "Slow Hearth");
    EXPECT_EQ(share->forkedFrom(), "s/ab12");
    EXPECT_EQ(share->start(), 4);
    share->title = " Slow Hearth 2 ";
    share->description = "Rings\nof heat";
    share->licence = ShareUpload::Licence::allRightsReserved;
    share->visibility = ShareUpload::Visibility::unlisted;
    EXPECT_EQ(shareToTheEnd(), "done: https://www.glasshob.example/s/k3v9x2");
    EXPECT_THAT(phases(), ElementsAre("rendering", "uploading", "done"));
    ASSERT_EQ(ordered.size(), 1U);
    EXPECT_EQ(ordered[0].source, source);
    EXPECT_EQ(ordered[0].start, 4);

    const Request& request = server.requests().back();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/api/shaders");
    EXPECT_EQ(request.header("Authorization"), "Bearer secret");
    EXPECT_EQ(request.header("Accept"), "application/json");
    const QByteArray type = request.header("Content-Type").value_or("");
    ASSERT_TRUE(type.startsWith("multipart/form-data; boundary=GlassHob-")) << type.toStdString();
    const QByteArray mark = "--" + type.mid(type.indexOf('=') + 1);
    const QByteArray meta =
        R"({"description":"Rings\nof heat","forkedFrom":"s/ab12","kind":"fragment","licence":"arr","params":[)"
        R"({"default":0.1,"detail":"How hot","max":1,"min":0,"name":"glow"}],"title":"Slow Hearth 2",)"
        R"("visibility":"unlisted"})";
    EXPECT_EQ(request.body.toStdString(),
              (mark + "\r\nContent-Disposition: form-data; name=\"meta\"\r\nContent-Type: application/json\r\n\r\n" +
               meta + "\r\n" + mark +
               "\r\nContent-Disposition: form-data; name=\"source\"; filename=\"source.metal\"\r\n"
               "Content-Type: text/plain; charset=utf-8\r\n\r\n" +
               QByteArray::fromStdString(source) + "\r\n" + mark +
               "\r\nContent-Disposition: form-data; name=\"loop\"; filename=\"loop.mp4\"\r\n"
               "Content-Type: video/mp4\r\n\r\n" +
               outcome->loop + "\r\n" + mark +
               "\r\nContent-Disposition: form-data; name=\"thumb\"; filename=\"thumb.jpg\"\r\n"
               "Content-Type: image/jpeg\r\n\r\n" +
               outcome->thumb + "\r\n" + mark + "--\r\n")
                  .toStdString());
    share->share(); // what is shared is not shared again
    EXPECT_EQ(nameOf(), "done");
}

TEST_F(ShareModelTests, TakesTheMomentFromTheText) {
    const std::pair<const char*, double> starts[] = {
        {"void f();", 0},        {"// @still 7.5\n", 7.5}, {"  //  @still  3\n", 3},   {"// @still\n", 0},
        {"// @still soon\n", 0}, {"/* @still 4 */\n", 0},  {"int x; // @still 4\n", 0}};
    for (const auto& [text, start] : starts) {
        open({text, "", "a.metal"});
        EXPECT_EQ(share->start(), start) << text;
        EXPECT_FALSE(share->forkedFrom());
    }
}

TEST_F(ShareModelTests, AsksForTheAccountFirst) {
    share->title.clear(); // nothing is looked at before
    QCoro::waitFor(account->signOut());
    EXPECT_EQ(shareToTheEnd(), "needsSignIn: Sign in to share to the gallery.");
    EXPECT_TRUE(ordered.empty());

    open({source, "", "a.metal", true});
    EXPECT_EQ(shareToTheEnd().substr(0, 7), "failed:");
    share->drawPicture();
    EXPECT_TRUE(ordered.empty() && threads.empty());
    EXPECT_EQ(uploads(), 0U);
}

TEST_F(ShareModelTests, SetsAHandleAndShares) {
    me = R"({"email":"lena@mail.example"})";
    signIn();
    EXPECT_EQ(shareToTheEnd(), "needsHandle: Choose a handle before you share: it names you on the gallery.");
    share->handle = "a_b";
    share->setHandleAndShare();
    waitUntil([&] { return !share->isSettingHandle(); });
    EXPECT_EQ(nameOf(), "needsHandle");
    EXPECT_EQ(share->handleProblem(), "A handle is 3 to 24 characters: lowercase letters, digits and -.");

    script = {ScriptedServer::answer(409, R"({"error":"low-ember is taken."})"),
              ScriptedServer::answer(200, R"({"handle":"low-ember"})"), ScriptedServer::answer(201, shared)};
    share->handle = " Low-Ember ";
    share->setHandleAndShare();
    EXPECT_TRUE(share->isSettingHandle());
    waitUntil([&] { return !share->isSettingHandle(); });
    EXPECT_EQ(share->handleProblem(), "low-ember is taken.");
    share->setHandleAndShare();
    waitFor<ShareModel::Done>();
    EXPECT_EQ(account->handle(), "low-ember");
    EXPECT_EQ(share->handleProblem(), "");
}

TEST_F(ShareModelTests, ChecksEverythingBeforeAByteIsSent) {
    share->title = QString(81, 'x');
    share->description = QString(501, 'x');
    EXPECT_THAT(share->problemsOfTexts(), ElementsAre("The title must be 1 to 80 characters.",
                                                      "The description must be at most 500 characters."));
    outcome->loop = "no film";
    EXPECT_EQ(shareToTheEnd(), "failed: The title must be 1 to 80 characters. The description must be at most 500 "
                               "characters. The loop is not an MP4 file.");
    EXPECT_EQ(uploads(), 0U);

    open({source, "", "a.metal"});
    outcome = std::unexpected(ShareRendering::Failure{"the thumbnail could not be drawn"});
    EXPECT_EQ(shareToTheEnd(), "failed: the thumbnail could not be drawn");
    EXPECT_EQ(uploads(), 0U);
}

TEST_F(ShareModelTests, AFailureIsTriedAgainWithoutRenderingAgain) {
    const std::string site = account->site().name;
    const std::pair<Answer, std::string> failures[] = {
        {ScriptedServer::answer(413), "failed: " + site + " answered 413."},
        {ScriptedServer::answer(429, R"({"error":"Slow\ndown."})"), "failed: Slowdown."},
        {ScriptedServer::answer(429), "failed: Too many requests. Try again later."},
        {ScriptedServer::answer(503, "<html>"), "failed: " + site + " answered 503."},
        {ScriptedServer::answer(202, shared), "failed: " + site + " answered 202."},
        {ScriptedServer::answer(201, "{}"), "failed: " + site + " sent an answer the app could not read."},
        {ScriptedServer::answer(409, R"({"error":"Pick one","needsHandle":true})"), "needsHandle: Pick one"},
        {ScriptedServer::answer(409, R"({"error":"Twice"})"), "failed: Twice"},
    };
    for (const auto& [answer, told] : failures) {
        script = {answer};
        EXPECT_EQ(shareToTheEnd(), told);
    }
    script = {Answer{.then = Answer::Then::close}};
    EXPECT_EQ(shareToTheEnd(), "failed: Connection closed.");
    EXPECT_EQ(ordered.size(), 1U);
    EXPECT_TRUE(account->signedIn());

    script = {ScriptedServer::answer(401, R"({"error":"Signed out elsewhere."})")};
    EXPECT_EQ(shareToTheEnd(), "needsSignIn: Signed out elsewhere.");
    EXPECT_FALSE(account->signedIn());
    EXPECT_FALSE(tokens.token);
    EXPECT_EQ(shareToTheEnd(), "needsSignIn: Sign in to share to the gallery.");

    tokens.token = "another";
    signIn();
    script = {ScriptedServer::answer(200, shared)};
    EXPECT_EQ(shareToTheEnd(), "done: https://www.glasshob.example/s/k3v9x2");
    EXPECT_EQ(ordered.size(), 1U);
    EXPECT_EQ(server.requests().back().target, "/api/shaders");
    EXPECT_EQ(server.requests().back().header("Authorization"), "Bearer another");
}

TEST_F(ShareModelTests, TellsHowFarItIs) {
    holds = true;
    outcome->loop += QByteArray(8'000'000, 'x'); // more than any buffer on the way takes
    std::vector<double> sent;
    QObject::connect(share.get(), &ShareModel::changed, share.get(), [&] {
        if (const auto* uploading = std::get_if<ShareModel::Uploading>(&share->phase()))
            sent.push_back(uploading->progress);
    });
    share->share();
    waitUntil([&] { return share->isRendering() && std::get<ShareModel::Rendering>(share->phase()).progress == 0.25; });
    go.release();
    waitFor<ShareModel::Done>();
    EXPECT_TRUE(std::ranges::is_sorted(sent));
    EXPECT_EQ(sent.front(), 0);
    EXPECT_EQ(sent.back(), 1);
}

TEST_F(ShareModelTests, AServerThatAnswersBeforeTheEndOfTheUploadIsHeard) {
    outcome->loop += QByteArray(400'000, 'x');
    server.answersEarly = true;
    script = {ScriptedServer::answer(413, R"({"error":"Too large."})")};
    // From one that closes at once as well it may be lost with the rest of the upload, and is a failure still.
    script[0].then = Answer::Then::close;
    EXPECT_EQ(shareToTheEnd().substr(0, 8), "failed: ");
    script[0].then = Answer::Then::stall; // reads on what nobody needs
    EXPECT_EQ(shareToTheEnd(), "failed: Too large.");
}

TEST_F(ShareModelTests, IsCancelledAtEveryStage) {
    holds = true;
    share->share();
    waitUntil([&] { return share->isRendering() && !ordered.empty(); });
    share->cancel();
    EXPECT_EQ(nameOf(), "editing");
    waitUntil([&] { return threads.size() == 1; });
    EXPECT_EQ(nameOf(), "editing");
    EXPECT_EQ(uploads(), 0U);

    holds = false;
    outcome->loop += QByteArray(19'000'000, 'x'); // more than the system's buffers take
    script = {Answer{.then = Answer::Then::stall}};
    server.answersEarly = true; // and reads no more
    share->share();
    waitUntil([&] { return nameOf() == "uploading" && server.begun() > 1; });
    share->cancel();
    EXPECT_EQ(nameOf(), "editing");
    EXPECT_EQ(std::get<ShareModel::Editing>(share->phase()).notice, "");
    waitUntil([&] { return server.ended() == server.connections(); });

    // All is sent, and the answer does not come: the gallery may have it.
    server.answersEarly = false;
    share->share();
    waitUntil([&] {
        const auto* uploading = std::get_if<ShareModel::Uploading>(&share->phase());
        return uploading && uploading->progress == 1;
    });
    share->cancel();
    EXPECT_NE(std::get<ShareModel::Editing>(share->phase()).notice, "");
    EXPECT_EQ(ordered.size(), 2U) << "what has been rendered is kept";

    // Waiting for a handle.
    me = R"({"email":"lena@mail.example"})";
    script = {Answer{.then = Answer::Then::stall}};
    signIn();
    EXPECT_EQ(shareToTheEnd().substr(0, 11), "needsHandle");
    share->handle = "low-ember";
    share->setHandleAndShare();
    share->cancel();
    EXPECT_EQ(nameOf(), "editing");
    EXPECT_FALSE(share->isWorking());
}

TEST_F(ShareModelTests, MayGoInTheMiddleOfItsWork) {
    holds = true;
    share->share();
    waitUntil([&] { return share->isRendering() && !ordered.empty(); });
    share.reset();
    threads.clear();
    QCoreApplication::processEvents();

    holds = false;
    open({source, "", "a.metal"});
    script = {Answer{.then = Answer::Then::stall}};
    share->share();
    waitFor<ShareModel::Uploading>();
    share.reset();
    waitUntil([&] { return server.ended() == server.connections(); });
}

TEST_F(ShareModelTests, KeepsWhatWasToldOfAnEarlierText) {
    share->title = "Hearth";
    share->description = "Rings";
    share->visibility = ShareUpload::Visibility::private_;
    share->handle = "low-ember";
    const ShareModel::Subject same = share->subject(), later{"// Another\n", "file", "hearth.metal"},
                              other{"// Another\n", "other", "a.metal"};
    EXPECT_TRUE(share->mayContinue(same));
    EXPECT_FALSE(share->mayContinue(later));
    const auto made = [&](const ShareModel::Subject& subject) {
        auto next = std::make_unique<ShareModel>(*account, subject, ShareModel::Surroundings{});
        next->takeTextsOf(*share);
        return next;
    };
    EXPECT_EQ(made(later)->title, "Hearth");
    EXPECT_EQ(made(later)->description, "Rings");
    EXPECT_EQ(made(later)->visibility, ShareUpload::Visibility::private_);
    EXPECT_EQ(made(other)->title, "Another");
    EXPECT_EQ(made(other)->description, "");
    EXPECT_EQ(made(other)->handle, "low-ember");
    share->title = "Slow Hearth";
    EXPECT_EQ(made(later)->title, "Another") << "nobody has changed the proposal";
}
