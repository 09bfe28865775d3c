#include "GlassHobCore/site/OpenLink.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/shader/GalleryNames.h"
#include "GlassHobCore/site/Handle.h"

#include <QByteArray>
#include <QUrl>
#include <gtest/gtest.h>

#include <chrono>

using namespace glasshob;
using namespace std::string_literals;

namespace {

const std::string site(Identity::siteHost);
const std::string web = "https://" + std::string(Identity::webHost);

std::string linkTo(const std::string& address) {
    return "glasshob://open?src=" + QByteArray::fromStdString(address).toPercentEncoding().toStdString();
}

// The source, or the sentence of the refusal.
std::string opened(const std::string& link, const Site& gallery = Site::builtIn()) {
    const auto result = OpenLink::parse(link, gallery);
    return result ? result->source : result.error().description();
}

std::string refusal(const std::string& reason) {
    return "Glass Hob only opens shaders from " + site + ": " + reason;
}
const std::string notFull = refusal("the address is not a full URL");

} // namespace

TEST(OpenLink, NamesWhatThePathSays) {
    const struct {
        std::string path, item, file;
    } cases[] = {
        {"/s/ab12/source.metal", "s/ab12", "s-ab12.metal"},
        {"/s/" + std::string(32, 'z') + "/source.metal", "s/" + std::string(32, 'z'),
         "s-" + std::string(32, 'z') + ".metal"},
        {"/s/" + std::string(33, 'z') + "/source.metal", "", "source.metal"},
        {"/s/AB/source.metal", "", "source.metal"},
        {"/episode-007-sky/source.metal", "episode-07", "episode-007-sky.metal"},
        {"/episode-07-sky/source.metal", "episode-07", "episode-07-sky.metal"},
        {"/episode-123-sky-2/source.metal", "episode-123", "episode-123-sky-2.metal"},
        {"/episode-7-x/source.metal", "", "source.metal"},
        {"/episode-1234-x/source.metal", "", "source.metal"},
        {"/episode-07-/source.metal", "", "source.metal"},
        {"/episode-07/source.metal", "", "source.metal"},
        {"/episode-07-Sky/source.metal", "", "source.metal"},
        {"/a/episode-07-sky/source.metal", "", "source.metal"},
        {"/episode-07-sky/stages/2-many-rings.metal", "episode-07/2-many-rings", "episode-07-sky-2-many-rings.metal"},
        {"/episode-07-sky/stages/-rings.metal", "", "rings.metal"},
        {"/episode-07-sky/stages/a/b.metal", "", "b.metal"},
        {"/episode-07-sky/source.METAL", "", "source.metal"},
        {"/Blue Hour.METAL", "", "Blue Hour.metal"},
        {"/.metal", "", "shader.metal"},
        {"/x/.metal", "", "shader.metal"},
    };
    for (const auto& [path, item, file] : cases) {
        // The second encoding is that of the address itself.
        const std::string address = QUrl(QString::fromStdString(web + path)).toEncoded().toStdString();
        const auto result = OpenLink::parse(linkTo(address), Site::builtIn());
        ASSERT_TRUE(result) << path << ": " << result.error().description();
        EXPECT_EQ(result->source, address);
        EXPECT_EQ(result->item.value_or(""), item) << path;
        EXPECT_EQ(result->fileName, file) << path;
        if (result->item) EXPECT_TRUE(GalleryNames::isItem(*result->item)) << path;
    }
}

TEST(OpenLink, TakesTheLinkAsItsSenderWroteIt) {
    const std::string source = web + "/s/a/source.metal";
    const std::string encoded = linkTo(source).substr(linkTo("").size());
    for (const std::string& link : {
             "GLASSHOB://OPEN?src=" + encoded,
             "glasshob://open/?src=" + encoded,
             "glasshob://open?src=" + source,
             "glasshob://open?source=x&SRC=y&src=" + encoded + "&src=z",
             "glasshob://open?s%72c=" + encoded + "#src=z",
             linkTo("HTTPS://WWW." + QString::fromStdString(site).toUpper().toStdString() + "/s/a/source.metal"),
             linkTo(source + "?token=1#/x.txt"),
             linkTo(web + "/%73/a/source%2emetal"),
         })
        EXPECT_EQ(opened(link), source) << link;

    const std::string notALink = "This is not a Glass Hob open link.";
    for (const std::string& link :
         {""s, "glasshob"s, "glasshob:open?src=" + encoded, "glasshob://edit?src=" + encoded, "glasshob://?src=x"s,
          "https://open?src=" + encoded, "glasshob://open:1?src=" + encoded, "glasshob://me@open?src=" + encoded,
          " " + linkTo(source), linkTo(source) + "\n", linkTo(source) + "%", linkTo(source) + "%4",
          linkTo(source) + "%4g", linkTo(source) + "\0"s, "glasshob://open\\?src=" + encoded,
          "glass\nhob://open?src=" + encoded, "glasshob://\xEF\xBD\x8Fpen?src=" + encoded})
        EXPECT_EQ(opened(link), notALink) << link;

    for (const std::string& link : {"glasshob://open"s, "glasshob://open?"s, "glasshob://open?src"s,
                                    "glasshob://open?src="s, "glasshob://open?src=&src=" + encoded,
                                    "glasshob://open#?src=" + encoded, "glasshob://open?&&=&Src=" + encoded})
        EXPECT_EQ(opened(link), "The link does not say which shader to open.") << link;
}

TEST(OpenLink, RefusesEveryOtherAddress) {
    const std::string path = "/s/a/source.metal";
    const auto elsewhere = [](const std::string& host) {
        return refusal("the address is on " + host + ", not " + std::string(Identity::webHost));
    };
    const std::string user = refusal("the address carries a user name");
    const std::string port = refusal("the address names a port");
    const std::string notHttps = refusal("the address is not https");
    const std::string notMetal = refusal("the address is not a .metal file");
    const struct {
        std::string address, sentence;
    } cases[] = {
        {"http://www." + site + path, notHttps},
        {"file://www." + site + path, notHttps},
        {"http://localhost:8080" + path, notHttps},
        {"https://localhost:8080" + path, elsewhere("localhost")},
        {"https://" + site + path, elsewhere(site)},
        {"https://www." + site + ".evil.example" + path, elsewhere("www." + site + ".evil.example")},
        {"https://www." + site + "." + path, elsewhere("www." + site + ".")},
        {"https://EVIL.example" + path, elsewhere("evil.example")},
        {"https://xn--www-abc." + site + path, elsewhere("xn--www-abc." + site)},
        {"https://[::1]:443" + path, elsewhere("[::1]")},
        {"https://127.0.0.1" + path, elsewhere("127.0.0.1")},
        {web + ":443" + path, port},
        {"https://WWW." + site + ":8080" + path, port},
        {web + "@evil.example" + path, user},
        {"https://@www." + site + path, user},
        {"https://me:pw@www." + site + path, user},
        {"https://a@b@www." + site + path, user},
        {"http://me@evil.example" + path, user}, // the first that fails decides
        {web + "?" + path, notMetal},
        {web + "#" + path, notMetal},
        {web, notMetal},
        {web + "/x.txt", notMetal},
        {web + "/x.metal/", notMetal},
        {web + "/x.txt?y.metal", notMetal},
        {web + "/s/a/../../x.metal", notFull},
        {web + "/s/%2e%2E/x.metal", notFull},
        {web + "/s/.%2e/x.metal", notFull},
        {web + "/a%2f..%2fx.metal", notFull},
        {web + "/a%2Fx.metal", notFull},
        {web + "/a%5cx.metal", notFull},
        {web + "/a%00.metal", notFull},
        {web + "/a%0d%0aX: y.metal", notFull},
        {web + "/a%0aX.metal", notFull},
        {web + "/a%7f.metal", notFull},
        {web + "/a%ff.metal", notFull},
        {web + "/a%c0%ae.metal", notFull},
        {web + "/a%zz.metal", notFull},
        {web + "/a\0.metal"s, notFull},
        {web + "/a\n.metal", notFull},
        {web + "\t" + path, notFull},
        {web + "\\@evil.example" + path, notFull},
        {web + "/a b.metal", notFull},
        {web + "/caf\xC3\xA9.metal", notFull},
        {" " + web + path, notFull},
        {"\xEF\xBB\xBF" + web + path, notFull},
        {"ht\ntps://www." + site + path, notFull},
        {"https://\xEF\xBD\x97\xEF\xBD\x97\xEF\xBD\x97." + site + path, notFull}, // full-width letters
        {"https://www.gl\xD0\xB0sshob.example" + path, notFull},                  // a letter of another script
        {"https://www%2e" + site + path, notFull},
        {"https://" + path, notFull},
        {"https:" + path, notFull},
        {"https:/www." + site + path, notFull},
        {"//www." + site + path, notFull},
        {"://www." + site + path, notFull},
        {"1https://www." + site + path, notFull},
        {path, notFull},
        {web + ":" + path, notFull},
        {web + ":0" + path, notFull},
        {web + ":65536" + path, notFull},
        {web + ":443:443" + path, notFull},
        {web + ":-443" + path, notFull},
        {"https://[::1" + path, notFull},
        {"https://[www." + site + "]" + path, notFull},
        {"https://::1" + path, notFull},
        {"https://" + std::string(300, 'a') + path, notFull},
    };
    for (const auto& [address, sentence] : cases)
        EXPECT_EQ(opened(linkTo(address)), sentence) << address;
}

TEST(OpenLink, KeepsToTheGalleryThatTheSettingsName) {
    const std::string path = "/s/a/source.metal";
    const auto refused = [](const std::string& name, const std::string& reason) {
        return "Glass Hob only opens shaders from " + name + ": " + reason;
    };
    const Site school = Site::at("https://www.School.example:8443/art");
    const auto elsewhere = [&](const std::string& where) {
        return refused("school.example", "the address is on " + where + ", not www.school.example:8443");
    };
    const std::string itself = "https://www.school.example:8443" + path;
    EXPECT_EQ(opened(linkTo(itself), school), itself);
    EXPECT_EQ(opened(linkTo("https://www.school.example" + path), school), elsewhere("www.school.example"));
    EXPECT_EQ(opened(linkTo("https://www.school.example:443" + path), school), elsewhere("www.school.example:443"));
    EXPECT_EQ(opened(linkTo("https://www.school.example:08443" + path), school), elsewhere("www.school.example:08443"));
    EXPECT_EQ(opened(linkTo(web + path), school), elsewhere("www." + site));
    EXPECT_EQ(opened(linkTo("http://localhost:8443" + path), school),
              refused("school.example", "the address is not https"));
    EXPECT_EQ(opened(linkTo("https://school.example:80" + path), Site::at("https://school.example:443")),
              refused("school.example", "the address names a port"));
    EXPECT_EQ(opened(linkTo("https://[fd00::1]" + path), Site::at("https://[FD00::1]")), "https://[fd00::1]" + path);
    EXPECT_EQ(opened(linkTo("https://xn--glsshob-6wa.example" + path), Site::at("https://gl\u00e4sshob.example")),
              "https://xn--glsshob-6wa.example" + path);
}

TEST(OpenLink, TakesLocalAddressesOnlyForALocalGallery) {
    const std::string path = "/s/a/source.metal";
    const Site local = Site::at("http://127.0.0.1:8080");
    for (const std::string& address : {"http://localhost:8080" + path, "https://localhost" + path,
                                       "http://localhost:3000" + path, "https://127.0.0.1:8080" + path})
        EXPECT_EQ(opened(linkTo(address), local), address);
    EXPECT_EQ(opened(linkTo("http://LOCALHOST" + path), Site::at("http://localhost")), "http://localhost" + path);
    const auto refused = [](const std::string& reason) {
        return "Glass Hob only opens shaders from 127.0.0.1: " + reason;
    };
    const std::pair<std::string, std::string> cases[] = {
        {"ftp://localhost" + path, refused("the address is not http or https")},
        {"http://me@localhost" + path, refused("the address carries a user name")},
        {"http://localhost/../x.metal", refused("the address is not a full URL")},
        {"http://localhost/x.txt", refused("the address is not a .metal file")},
        {"http://localhost.evil.example" + path, refused("the address is not https")},
        {"http://127.0.0.1:8080" + path, refused("the address is not https")},
        {"http://localhost:99999" + path, refused("the address is not a full URL")},
        {web + path, refused("the address is on www." + site + ", not 127.0.0.1:8080")},
    };
    for (const auto& [address, sentence] : cases)
        EXPECT_EQ(opened(linkTo(address), local), sentence) << address;
}

// A step that went over all of the rest for each character would take minutes for these.
TEST(OpenLink, IsQuickWithLongLinks) {
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& part : {"a"s, "/"s, "%41"s, "%"s, "@"s, ":"s, "&src"s, "episode-07-"s, "\xC3\xA9"s, "["s}) {
        std::string text;
        while (text.size() < 1000000)
            text += part;
        for (const std::string& link : {text, "glasshob://" + text, "glasshob://open?" + text, linkTo(text),
                                        linkTo("https://" + text + "/x.metal"), linkTo(web + "/" + text + ".metal")}) {
            const auto result = OpenLink::parse(link, Site::at("http://localhost"));
            if (result)
                EXPECT_LE(result->fileName.size(), 106u);
            else
                EXPECT_LT(result.error().description().size(), 1000u);
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(SafeFileName, KeepsWhatIsSafeInAnyFolder) {
    const std::string hundred(100, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"rings.metal", "rings.metal"},
        {"Blue Hour_2-b.v1.METAL", "Blue Hour_2-b.v1.metal"},
        {"rings", "rings.metal"},
        {"rings.txt", "rings.txt.metal"},
        {"rings.metal.metal", "rings.metal.metal"},
        {"", "shader.metal"},
        {".metal", "shader.metal"},
        {"-. .-.metal", "shader.metal"},
        {"..metal", "shader.metal"},
        {".hidden.metal", "hidden.metal"},
        {"- -rf.metal", "rf.metal"},
        {"../../etc/passwd", "etc-passwd.metal"},
        {"a/b\\c:d*e?f\"g<h>i|j.metal", "a-b-c-d-e-f-g-h-i-j.metal"},
        {"a\0b\nc\td\x7F.metal"s, "a-b-c-d-.metal"},
        {"caf\xC3\xA9 \xF0\x9F\x8E\xA8.metal", "caf- -.metal"}, // one for each character
        {"\xC3\xA9t\xC3\xA9.metal", "t-.metal"},
        {"a\xFF\xC3.metal", "a--.metal"},
        {hundred + ".metal", hundred + ".metal"},
        {hundred + "x.metal", hundred + ".metal"},
        {"--" + hundred + "y", hundred + ".metal"},
    };
    for (const auto& [name, safe] : cases) {
        EXPECT_EQ(safeFileName(name), safe) << name;
        EXPECT_EQ(safeFileName(safe), safe) << name;
    }
}

TEST(Handle, IsOfSmallLettersDigitsAndDashes) {
    for (const std::string& text : {"abc"s, "ab-1"s, "---"s, "123"s, std::string(24, 'z')})
        EXPECT_TRUE(Handle::isValid(text)) << text;
    for (const std::string& text : {""s, "ab"s, std::string(25, 'z'), "a_b"s, "Abc"s, "a b"s, "abc\n"s, "abc\0"s,
                                    "caf\xC3\xA9"s, "ab\xD0\xB0"s, "a/b"s})
        EXPECT_FALSE(Handle::isValid(text)) << text;
}
