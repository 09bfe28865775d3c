#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/http/Http.h"
#include "GlassHobGallery/site/Config.h"
#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/site/Log.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fstream>

namespace glasshob::gallery {
namespace {

TEST(Http, ReadsFormsAndCookies) {
    Request request;
    request.headers["content-type"] = "Application/x-www-form-urlencoded; charset=utf-8";
    request.headers["COOKIE"] = "a=1; session=abc; xsession=no";
    request.body = "name=Ada+W&text=a%26b%C3%A9&empty=&flag";
    EXPECT_EQ(request.form(), (Request::Fields{{"name", "Ada W"}, {"text", "a&bé"}, {"empty", ""}, {"flag", ""}}));
    EXPECT_EQ(request.cookie("session"), "abc");
    EXPECT_EQ(request.cookie("sessio"), "");
    for (const char* broken : {"a=%", "a=%4", "a=%zz"}) {
        request.body = broken;
        EXPECT_FALSE(request.form()) << broken;
    }
    EXPECT_EQ(urlDecoded(urlEncoded("a b&c=d/é?%")), "a b&c=d/é?%");
}

TEST(Http, OneWhoHasManyAddressesIsOneNetwork) {
    EXPECT_EQ(networkOf("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
    EXPECT_EQ(networkOf("2001:db8:1:2::"), networkOf("2001:db8:1:2:ffff::1"));
    EXPECT_NE(networkOf("2001:db8:1:3::1"), networkOf("2001:db8:1:2::1"));
    for (const char* address : {"192.0.2.1", "::ffff:192.0.2.1", "", "no address"})
        EXPECT_EQ(networkOf(address), address);
}

TEST(Secrets, TokensAreLongAndEachTheirOwn) {
    initSecrets();
    const std::string token = randomToken();
    EXPECT_EQ(token.size(), 43u);
    EXPECT_NE(token, randomToken());
    EXPECT_EQ(derivedToken(token, "form"), derivedToken(token, "form"));
    EXPECT_NE(derivedToken(token, "form"), derivedToken(token, "program"));
    const std::string hash = passwordHash("a few words");
    EXPECT_TRUE(hash.starts_with("$argon2id$")) << hash;
    EXPECT_TRUE(isPassword(hash, "a few words"));
    EXPECT_FALSE(isPassword(hash, "a few word"));
    EXPECT_FALSE(isPassword("", ""));
}

TEST(Texts, TimesAreTheWordsOfThePages) {
    const Moment noon = 1'795'176'000; // 20 November 2026, 12:00
    EXPECT_EQ(whenText(noon - 20, noon), "just now");
    EXPECT_EQ(whenText(noon - 60, noon), "1 minute ago");
    EXPECT_EQ(whenText(noon - 40 * 60, noon), "40 minutes ago");
    EXPECT_EQ(whenText(noon - 3 * 3600, noon), "3 hours ago");
    EXPECT_EQ(whenText(noon - 13 * 3600, noon), "yesterday");
    EXPECT_EQ(whenText(noon - 6 * 86400, noon), "6 days ago");
    EXPECT_EQ(whenText(noon - 7 * 86400, noon), dateText(noon - 7 * 86400));
    EXPECT_EQ(whenText(noon + 100, noon), "just now");
    EXPECT_EQ(isoText(noon), "2026-11-20T12:00Z");
}

TEST(Texts, RulesOfWhatPeopleType) {
    EXPECT_EQ(plainCode(" hk7q-m2xd "), "HK7QM2XD");
    EXPECT_EQ(shownCode("HK7QM2XD"), "HK7Q-M2XD");
    EXPECT_EQ(passwordProblem("three small words", "ada"), "");
    for (const char* bad : {"short", "aaaaaaaaaaaa", "ada-wilson12"})
        EXPECT_NE(passwordProblem(bad, "ada-wilson"), "") << bad;
    EXPECT_NE(passwordProblem(std::string(201, 'x') + "y", ""), "");
    EXPECT_EQ(emailProblem(""), "");
    EXPECT_EQ(emailProblem("a@b"), "");
    for (const char* bad : {"a", "@b", "a@", "a@b@c", "a b@c", "a@b\n"})
        EXPECT_NE(emailProblem(bad), "") << bad;
    EXPECT_EQ(pathForLog("/reset/secret"), "/reset/…");
    EXPECT_EQ(pathForLog("/s/abc"), "/s/abc");
}

TEST(Config, LaterWordsWinAndWrongOnesAreNamed) {
    QTemporaryDir folder;
    const std::string path = folder.filePath("gallery.conf").toStdString();
    std::ofstream(path) << "# a comment\n\nport = 9000\n url = https://www.example.org/ \nproxy = yes\n";
    Config config;
    config.takeFile(path);
    EXPECT_EQ(config.port, 9000);
    EXPECT_EQ(config.url, "https://www.example.org");
    EXPECT_TRUE(config.isBehindProxy);
    config.take({{"port", "0"}});
    EXPECT_EQ(config.port, 0);
    for (const std::map<std::string, std::string>& bad : {std::map<std::string, std::string>{{"port", "70000"}},
                                                          {{"port", "x"}},
                                                          {{"url", "ftp://x"}},
                                                          {{"proxy", "maybe"}},
                                                          {{"prot", "1"}}})
        EXPECT_THROW(config.take(bad), std::runtime_error) << bad.begin()->first;
}

} // namespace
} // namespace glasshob::gallery
