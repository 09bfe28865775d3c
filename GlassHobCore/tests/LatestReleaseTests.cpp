#include "GlassHobCore/site/LatestRelease.h"

#include <gtest/gtest.h>

using namespace glasshob;
using namespace std::string_literals;

namespace {

// A feed with one more key; of two of a name the last counts.
std::string feed(const std::string& more = "") {
    return R"({"version": "1.4", "build": 42, "url": "https://a.example/b")" + (more.empty() ? "" : ", " + more) + "}";
}

std::string problem(const std::string& json) {
    const auto release = LatestRelease::parse(json);
    return release ? "none" : release.error();
}

std::string nested(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

} // namespace

TEST(LatestRelease, ReadsAFeed) {
    const LatestRelease plain{"1.4", 42, "https://a.example/b", {}, {}};
    EXPECT_EQ(LatestRelease::parse(feed()), plain);
    for (const std::string& more :
         {R"("sha256": null, "notes": null)"s, R"("other": )" + nested(50), R"("build": "42")"s, R"("build": "+42")"s,
          R"("build": 42.0)"s, R"("Build": 43)"s, R"("build": "x", "build": 42)"s})
        EXPECT_EQ(LatestRelease::parse(feed(more)), plain) << more;
    EXPECT_EQ(LatestRelease::parse("\xEF\xBB\xBF \r\n" + feed()), plain);

    LatestRelease full = plain;
    full.sha256 = "";
    full.notes = "Caf\xC3\xA9\n\"\xF0\x9F\x8E\xA8\"";
    EXPECT_EQ(LatestRelease::parse(feed(R"("sha256": "", "notes": "Caf\u00e9\n\"\ud83c\udfa8\"")")), full);

    for (const std::int64_t build : {std::int64_t(0), std::int64_t(-1), INT64_MAX, INT64_MIN})
        for (const std::string& quote : {""s, "\""s}) {
            const auto release = LatestRelease::parse(feed("\"build\": " + quote + std::to_string(build) + quote));
            EXPECT_EQ(release ? release->build : 7, build);
        }
}

TEST(LatestRelease, SaysWhatIsWrongWithAFeed) {
    const std::string notNumber = "build is not a number", notJson = "the answer is not JSON";
    const std::string notText = "the answer is not UTF-8 text";
    const std::pair<std::string, std::string> cases[] = {
        {"", notJson},
        {feed().substr(0, 60), notJson},
        {feed() + "x", notJson},
        {feed("\"notes\": 'x'"), notJson},
        {"<html></html>", notJson},
        {feed(R"("other": )" + nested(20000)), notJson},
        {feed() + "\0"s, notJson},
        {feed("\"notes\": \"caf\xE9\""), notText},
        {feed("\"notes\": \"\xED\xA0\x80\""), notText},
        {"[" + feed() + "]", "the answer is not an object"},
        {"{}", "version is not a text"},
        {feed(R"("version": 1.4)"), "version is not a text"},
        {feed(R"("version": null)"), "version is not a text"},
        {R"({"version": "1", "url": "https://a.example"})", notNumber},
        {feed(R"("build": "4x")"), notNumber},
        {feed(R"("build": "")"), notNumber},
        {feed(R"("build": " 42")"), notNumber},
        {feed(R"("build": "0x2A")"), notNumber},
        {feed(R"("build": "99999999999999999999")"), notNumber},
        {feed(R"("build": 99999999999999999999)"), notNumber},
        {feed(R"("build": 42.5)"), notNumber},
        {feed(R"("build": 1e300)"), notNumber},
        {feed(R"("build": true)"), notNumber},
        {feed(R"("build": [42])"), notNumber},
        {R"({"version": "1", "build": 1})", "url is not an address"},
        {feed(R"("url": 7)"), "url is not an address"},
        {feed(R"("url": "")"), "url is not an address"},
        {feed(R"("url": "https://a b.example/")"), "url is not an address"},
        {feed(R"("url": "https://a.example:port/")"), "url is not an address"},
        {feed(R"("sha256": 7)"), "sha256 is not a text"},
        {feed(R"("notes": {})"), "notes is not a text"},
    };
    for (const auto& [json, sentence] : cases)
        EXPECT_EQ(problem(json), sentence) << json.substr(0, 200);

    const std::string most = feed() + std::string(65535 - feed().size(), ' ');
    EXPECT_EQ(problem(most), "none");
    EXPECT_EQ(problem(most + " "), "the answer is too large");
}

TEST(LatestRelease, IsOfferedOnlyToLowerBuildsAndOverHttps) {
    LatestRelease release{"1.4", 42, "https://a.example/b", {}, {}};
    for (const char* build : {"41", "0", "-5", "+41", "0041"})
        EXPECT_TRUE(release.isNewer(build)) << build;
    for (const char* build : {"42", "43", "", " 41", "4x", "41.0", "+", "--1", "99999999999999999999"})
        EXPECT_FALSE(release.isNewer(build)) << build;
    release.build = INT64_MAX;
    EXPECT_TRUE(release.isNewer("9223372036854775806"));
    for (const char* url :
         {"http://a.example/b", "HTTPS://a.example/b", "https:a.example", "https:///b", "httpsx://a.example",
          "//a.example/b", "b", "", " https://a.example", "file:///etc/passwd"}) {
        release.url = url;
        EXPECT_FALSE(release.isNewer("1")) << url;
    }
}
