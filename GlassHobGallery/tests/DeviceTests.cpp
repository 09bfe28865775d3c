// Signing a program in by a code.

#include "GlassHobGallery/tests/TestServer.h"

#include <gtest/gtest.h>

namespace glasshob::gallery {
namespace {

struct Started {
    QJsonObject answer = apiPost("/api/app/link", {}).json();
    std::string code = answer["code"].toString().toStdString();
    std::string device = answer["device"].toString().toStdString();
    Answer poll() const { return apiPost("/api/app/link/poll", {{"device", device.c_str()}}); }
};

Answer decide(Browser& person, const std::string& code, const std::string& decision) {
    return person.postBare("/device",
                           {{"token", person.tokenOn("/device?code=" + code)}, {"code", code}, {"answer", decision}});
}

TEST(Device, IsSignedInOnceThePersonAllowsIt) {
    Browser person;
    const std::string handle = newHandle();
    person.join(handle);
    const Started link;
    EXPECT_EQ(link.answer["url"].toString().toStdString(), server().base() + "/device?code=" + link.code);
    EXPECT_EQ(link.poll().status, 202);
    const Answer page = person.get("/device?code=" + link.code);
    EXPECT_TRUE(page.body.contains("Glass Hob 1.4.0")) << page.body;
    EXPECT_TRUE(page.body.contains("not the address of this browser"));
    EXPECT_EQ(link.poll().status, 202) << "looking at the page allows nothing";
    EXPECT_EQ(decide(person, link.code, "allow").status, 200);

    const Answer approved = link.poll();
    ASSERT_EQ(approved.status, 200) << approved.body;
    const std::string token = approved.json()["token"].toString().toStdString();
    EXPECT_EQ(approved.json()["handle"].toString().toStdString(), handle);
    EXPECT_EQ(approved.json()["email"].toString().toStdString(), handle) << "the handle, where there is no address";
    EXPECT_EQ(link.poll().body, approved.body) << "an answer that was lost comes once more";
    EXPECT_EQ(apiGet("/api/me", token).json()["handle"].toString().toStdString(), handle);
    server().database().run("UPDATE link SET handed = handed - 200");
    EXPECT_EQ(link.poll().status, 410);
    EXPECT_EQ(apiGet("/api/me", token).status, 200);
    EXPECT_EQ(apiPost("/api/auth/signout", {}, token).status, 200);
    EXPECT_EQ(apiGet("/api/me", token).status, 401);
}

TEST(Device, ARefusedExpiredOrUsedCodeIsGone) {
    Browser person;
    person.join(newHandle());
    const Started refused, expired, used;
    EXPECT_TRUE(decide(person, refused.code, "refuse").body.contains("Refused"));
    EXPECT_EQ(refused.poll().status, 410);
    server().database().run("UPDATE link SET expires = 1 WHERE state = 'waiting'");
    EXPECT_EQ(expired.poll().status, 410);
    for (const std::string& code : {refused.code, expired.code})
        EXPECT_TRUE(person.get("/device?code=" + code).body.contains("That code does not work"));
    EXPECT_EQ(apiPost("/api/app/link/poll", {{"device", "x"}}).status, 410);
    EXPECT_EQ(apiPost("/api/app/link/poll", {{"device", 5}}).status, 410);
}

TEST(Device, WrongCodesAreCounted) {
    Browser person;
    person.join(newHandle());
    const Started link;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(person.get("/device?code=BBBB-BBBB").status, 200);
    EXPECT_EQ(person.get("/device?code=" + link.code).status, 429);
    EXPECT_EQ(link.poll().status, 202);
}

TEST(Device, SmallLettersWithoutTheDashAreTheCodeToo) {
    Browser person;
    person.join(newHandle());
    const Started link;
    std::string typed = link.code.substr(0, 4) + link.code.substr(5);
    for (char& c : typed)
        c = char(std::tolower(c));
    EXPECT_TRUE(person.get("/device?code=" + typed).body.contains("Allow this device?"));
}

TEST(Device, AsksForASignInFirst) {
    Browser nobody;
    const Answer answer = nobody.get("/device?code=HK7Q-M2XD");
    EXPECT_EQ(answer.status, 303);
    EXPECT_EQ(answer.header("location"), "/signin?next=%2Fdevice%3Fcode%3DHK7Q-M2XD");
    EXPECT_TRUE(nobody.get(answer.header("location")).body.contains("The next page shows the code"));
    const std::string handle = newHandle();
    Browser().join(handle);
    const Answer signedIn =
        nobody.post("/signin?next=%2Fdevice%3Fcode%3DHK7Q-M2XD",
                    {{"name", handle}, {"password", goodPassword}, {"next", "/device?code=HK7Q-M2XD"}});
    EXPECT_EQ(signedIn.header("location"), "/device?code=HK7Q-M2XD");
}

TEST(Device, HandlesAreSetByProgramsToo) {
    Browser person, other;
    const std::string mine = newHandle("mine"), wanted = newHandle("wanted");
    const std::string token = programOf(person.join(mine));
    other.join(newHandle("other"));
    EXPECT_EQ(
        apiPost("/api/account/handle", {{"handle", wanted.c_str()}}, token).json()["handle"].toString().toStdString(),
        wanted);
    const Answer moved = other.get("/u/" + mine);
    EXPECT_EQ(moved.status, 301);
    EXPECT_EQ(moved.header("location"), "/u/" + wanted);
    EXPECT_EQ(apiPost("/api/account/handle", {{"handle", "chef"}}, token).status, 409);
    EXPECT_FALSE(apiPost("/api/account/handle", {{"handle", "chef"}}, token).json().contains("needsHandle"));
    EXPECT_EQ(apiPost("/api/account/handle", {{"handle", "A_b"}}, token).error(),
              "A handle is 3 to 24 characters: lowercase letters, digits and -.");
    EXPECT_EQ(apiPost("/api/account/handle", {{"handle", "abc"}}, "").status, 401);
}

TEST(Device, AnAccountWithoutHandleIsAskedForOne) {
    Browser person;
    const std::string handle = newHandle();
    const std::string token = programOf(person.join(handle));
    server().database().run("UPDATE account SET handle = NULL, email = ? WHERE handle = ?", handle + "@mail.example",
                            handle);
    const QJsonObject me = apiGet("/api/me", token).json();
    EXPECT_FALSE(me.contains("handle"));
    EXPECT_EQ(me["email"].toString().toStdString(), handle + "@mail.example");
    const Answer answer = share(token, Upload::fresh());
    EXPECT_EQ(answer.status, 409);
    EXPECT_TRUE(answer.json()["needsHandle"].toBool());
}

} // namespace
} // namespace glasshob::gallery
