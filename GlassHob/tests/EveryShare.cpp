#include "GlassHob/tests/EveryWindow.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/TextBox.h"
#include "GlassHob/ui/share/ShareActions.h"
#include "GlassHob/ui/share/ShareForm.h"
#include "GlassHob/ui/share/SharePages.h"
#include "GlassHob/ui/share/ShareSheet.h"

#include <QAction>
#include <QTest>

namespace glasshob {

void EveryWindow::signIn() {
    tokens_.token = "secret";
    QSettings().setValue(QStringLiteral("accountSite"), gallery_.url().toString());
    QCoro::waitFor(account_->refresh());
}

void EveryWindow::visitShare(const Visitor& visit) {
    using Answer = ScriptedServer::Answer;
    Answer answer;
    gallery_.handler = [&answer](const ScriptedServer::Request& request) {
        if (request.target == "/api/me")
            return ScriptedServer::answer(200, R"({"email":"lena@mail.example","handle":"low-ember"})");
        return request.target == "/api/shaders" ? answer : ScriptedServer::answer(204);
    };
    signIn();
    open(QStringLiteral("quicksilver.metal"), sample("04-quicksilver.metal"));
    window_->sharing()->renderer =
        [this](const auto&, const auto& progress,
               const auto&) -> std::expected<ShareRendering::Files, ShareRendering::Failure> {
        progress(0.41);
        go_.acquire();
        return ShareRendering::Files{QByteArray("\0\0\0\x18"
                                                "ftypmp42",
                                                12),
                                     QByteArray("\xFF\xD8\xFF\xE0")};
    };
    window_->sharing()->share->trigger();
    ShareSheet* sheet = window_->sharing()->sheet();
    ASSERT_NE(sheet, nullptr);
    (void)QTest::qWaitForWindowActive(sheet);
    ShareForm* form = sheet->form();
    ShareModel& share = sheet->model();
    EXPECT_TRUE(comesTrue([&] { return !share.picture().isNull(); }));
    const auto see = [&](const char* name) {
        settle();
        visit(QString::fromLatin1(name), sheet);
    };
    see("share");
    form->title()->clear();
    form->submit();
    see("share-refused");
    form->title()->setText(QStringLiteral("Slow Hearth"));
    form->description()->setText(
        QStringLiteral("Rings of heat spread from the middle of the hob, with a low hum that follows them."));
    form->submit();
    EXPECT_TRUE(comesTrue([&] { return form->percent()->text() == QLatin1String("41%"); }));
    QTest::qWait(250); // the bar moves up to its share
    see("share-rendering");
    answer.then = Answer::Then::stall;
    go_.release();
    EXPECT_TRUE(comesTrue([&] { return std::holds_alternative<ShareModel::Uploading>(share.phase()); }));
    see("share-uploading");
    EXPECT_TRUE(comesTrue([&] { return form->percent()->text() == QLatin1String("100%"); }));
    share.cancel();
    see("share-cancelled");
    const auto end = [&](Answer with) {
        answer = std::move(with);
        share.share();
        EXPECT_TRUE(comesTrue(
            [&] { return !share.isWorking() && !std::holds_alternative<ShareModel::Editing>(share.phase()); }));
    };
    end(ScriptedServer::answer(503,
                               R"({"error":"The gallery is being mended and takes nothing before the evening."})"));
    see("share-failed");
    end(ScriptedServer::answer(
        409, R"({"error":"Choose a handle before you share: it names you on the gallery.","needsHandle":true})"));
    sheet->handle()->field()->setText(QStringLiteral("low-ember"));
    see("share-handle");
    share.handle = QStringLiteral("low_ember");
    share.setHandleAndShare();
    EXPECT_TRUE(comesTrue([&] { return !share.isSettingHandle(); }));
    see("share-handle-refused");
    end(ScriptedServer::answer(401, R"({"error":"Sign in to share to the gallery."})"));
    see("share-signed-out");
    signIn();
    end(ScriptedServer::answer(201, R"({"id":"k3v9x2","url":"https://www.example.site/s/k3v9x2"})"));
    see("share-done");
    sheet->accept();
    settle();
    gallery_.handler = [](const ScriptedServer::Request&) { return ScriptedServer::answer(404); };
}

} // namespace glasshob
