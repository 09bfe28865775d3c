// The whole way in a real browser, with hob on the other side: the first start, an invitation, an account, a device
// that is allowed, a shader that is shared, seen and handed over to the program, and signing out.

#include "GlassHobGallery/tests/TestServer.h"
#include "GlassHobGallery/tests/browser/WebBrowser.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace glasshob::gallery {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int patience = 120'000; // milliseconds

const std::string hearth = "// Slow Hearth\n// @tags warm, light\n// @param glow 0.5 0 1 How hot\n"
                           "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                           "    return float4(p.glow, 0.2 + 0.1 * sin(u.time), uv.x, 1.0);\n}\n";

std::string contents(const QString& path) {
    std::ifstream file(path.toStdString(), std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

void write(const QString& path, const std::string& text) {
    std::ofstream(path.toStdString(), std::ios::binary) << text;
}

class BrowserTour : public testing::Test {
  protected:
    // The desktop, as far as it opens links: the program's own entry, with a script in the program's place that keeps
    // the link it is given.
    void SetUp() override {
        ASSERT_TRUE(QDir(folder.path()).mkpath("data/applications") && QDir(folder.path()).mkpath("config"));
        const QString script = folder.filePath("glasshob");
        write(script, "#!/bin/sh\nprintf %s \"$1\" > '" + handed().toStdString() + ".part' && mv '" +
                          handed().toStdString() + ".part' '" + handed().toStdString() + "'\n");
        QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
        std::string entry = contents(QStringLiteral(DESKTOP_ENTRY));
        for (const std::string line : {"TryExec=glasshob", "Exec=glasshob"}) {
            const std::size_t at = entry.find("\n" + line);
            ASSERT_NE(at, std::string::npos) << entry;
            entry.replace(at + 1 + line.find('=') + 1, 8, script.toStdString());
        }
        write(folder.filePath("data/applications/org.glasshob.GlassHob.desktop"), entry);
        write(folder.filePath("config/mimeapps.list"),
              "[Default Applications]\nx-scheme-handler/glasshob=org.glasshob.GlassHob.desktop\n");
        write(folder.filePath("hearth.metal"), hearth);
    }
    QString handed() const { return folder.filePath("link"); }
    WebBrowser::Settings settings(const std::string& origin) const {
        return {origin, folder.filePath("data").toStdString(), folder.filePath("config").toStdString()};
    }
    void waitForLink() const {
        for (int waited = 0; !QFile::exists(handed()) && waited < patience; waited += 20)
            QThread::msleep(20);
    }

    // What hob printed; the test fails when it did.
    static std::string hob(const QStringList& words) {
        QProcess process;
        process.start(QStringLiteral(HOB_PROGRAM), words);
        EXPECT_TRUE(process.waitForFinished(patience)) << words.join(' ').toStdString();
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        return process.readAllStandardOutput().trimmed().toStdString();
    }
    // Signs hob in, as the person who is signed in in the browser.
    static void signHobIn(WebBrowser& browser, const QString& base) {
        QProcess hob;
        hob.start(QStringLiteral(HOB_PROGRAM), {"sign-in", "--site", base});
        QByteArray told;
        while (told.count('\n') < 2) {
            ASSERT_TRUE(hob.waitForReadyRead(patience))
                << told.toStdString() << hob.readAllStandardError().toStdString();
            told += hob.readAllStandardOutput();
        }
        const QList<QByteArray> lines = told.split('\n'); // the address and the code
        browser.open(lines[0].toStdString());
        EXPECT_EQ(browser.text("h1"), "Allow this device?");
        EXPECT_EQ(browser.run("return [...document.querySelectorAll('.code b')].map(one => one.textContent).join('')")
                      .toString(),
                  QString::fromUtf8(lines[1]).remove('-'));
        browser.follow("button[value=allow]");
        EXPECT_EQ(browser.text(".answer h1"), "Glass Hob is signed in");
        ASSERT_TRUE(hob.waitForFinished(patience));
        EXPECT_EQ(hob.exitCode(), 0) << hob.readAllStandardError().toStdString();
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(BrowserTour, FromTheFirstStartToTheOpenedLink) {
    TestServer gallery;
    const QString base = QString::fromStdString(gallery.base());
    WebBrowser browser(settings(gallery.base()));

    // The first start.
    browser.open(gallery.base() + "/");
    EXPECT_EQ(browser.text("h1"), "Make the first administrator");
    browser.open(gallery.base() + "/setup?code=" + gallery.setupCode());
    browser.type("#site", "Hillside Shader Club");
    browser.type("#handle", "chef");
    browser.type("#new", goodPassword);
    browser.follow("button.primary");
    EXPECT_EQ(browser.text("main h1"), "Nothing has been shared yet");
    EXPECT_EQ(browser.text(".brand"), "Hillside Shader Club");

    // An invitation, and an account made with it.
    browser.open(gallery.base() + "/admin/people");
    browser.follow("a[href='/admin/invite']");
    browser.follow("button.primary");
    const std::string invitation =
        browser.run("return document.querySelector('#invitation').value").toString().toStdString();
    EXPECT_THAT(invitation, StartsWith(gallery.base() + "/join/"));
    browser.open(gallery.base() + "/account");
    browser.follow("main li form button"); // of this browser
    EXPECT_EQ(browser.text("header a.button"), "Sign In");
    browser.open(invitation);
    EXPECT_THAT(browser.text(".lead"), HasSubstr("You were invited by chef."));
    browser.type("#handle", "low-ember");
    browser.type("#new", goodPassword);
    browser.click("[data-show=new]");
    EXPECT_EQ(browser.run("return document.querySelector('#new').type"), "text");
    browser.follow("button.primary");
    EXPECT_THAT(browser.text("header nav a[href='/account']"), HasSubstr("low-ember"));

    ASSERT_NO_FATAL_FAILURE(signHobIn(browser, base));
    const std::string page = hob({"share", folder.filePath("hearth.metal"), "--title", "Low Hearth", "--site", base});
    ASSERT_THAT(page, StartsWith(gallery.base() + "/s/"));

    // The shader's page: its loop plays, its slider and its source are there.
    browser.open(page);
    EXPECT_EQ(browser.text("h1"), "Low Hearth");
    browser.waitUntil("const video = document.querySelector('.stage video');"
                      "return !video.paused && video.currentTime > 0 && video.videoWidth === 1280");
    EXPECT_EQ(browser.text(".slider dt"), "glow\nHow hot");
    EXPECT_THAT(browser.text(".slider .value"), EndsWith("0.5"));
    EXPECT_EQ(browser.run("return document.querySelector('#code').textContent").toString().toStdString(), hearth);
    EXPECT_EQ(browser.text(".about .chip[href='/?tag=warm']"), "warm");
    EXPECT_EQ(browser.complaints(), "");

    // Its link, handed over to what the desktop opens such links with, and understood by hob.
    browser.click("a.primary");
    waitForLink();
    const std::string link = contents(handed());
    EXPECT_THAT(link, StartsWith("glasshob://open?src=http"));
    EXPECT_EQ(browser.address(), page) << "the page stays";
    const QString fetched = folder.filePath("fetched.metal");
    hob({"fetch", QString::fromStdString(link), "-o", fetched, "--site", base});
    EXPECT_EQ(contents(fetched),
              "// Slow Hearth\n// @forked-from " + page.substr(page.find("/s/") + 1) + "\n" + hearth.substr(15));

    // In the list it is found, and plays when it is pointed at.
    browser.open(gallery.base() + "/");
    browser.type("#q", "hearth");
    browser.enter();
    EXPECT_EQ(browser.text("main h1"), "Results");
    browser.run("document.querySelector('.card h2 a').focus({focusVisible: true})");
    browser.waitUntil("const video = document.querySelector('.card video'); return video && video.currentTime > 0");

    browser.open(gallery.base() + "/account");
    EXPECT_THAT(browser.text("main ul.list"), HasSubstr("Glass Hob"));
    browser.follow("main li form button");
    EXPECT_EQ(browser.text("header a.button"), "Sign In");
    browser.open(gallery.base() + "/account");
    EXPECT_EQ(browser.text("h1"), "Sign in");
    EXPECT_EQ(browser.complaints(), "");
}

TEST_F(BrowserTour, WithoutScriptsAndByKeyboard) {
    TestServer& gallery = server();
    Browser author;
    const std::string handle = newHandle("quiet");
    const std::string id = shared(programOf(author.join(handle)), Upload::fresh());

    WebBrowser browser(settings(gallery.base()));
    browser.setScripts(false);
    browser.open(gallery.base() + "/signin?next=/s/" + id);
    EXPECT_FALSE(browser.run("return [...document.querySelectorAll('[data-show]')].some(one => !one.hidden)").toBool())
        << "nothing is offered that does not work";
    // The keyboard alone: Tab to each field, Enter at the end.
    const auto tabTo = [&](const char* css) {
        for (int i = 0; i < 40; ++i) {
            browser.press("\uE004");
            if (browser.run("return document.activeElement.matches(arguments[0])", {css}).toBool()) return;
        }
        ADD_FAILURE() << "Tab does not reach " << css << " at " << browser.address();
    };
    const auto typeText = [&](const std::string& text) {
        for (const char c : text)
            browser.press(std::string(1, c));
    };
    tabTo("#name");
    typeText(handle);
    tabTo("#password");
    typeText(goodPassword);
    browser.enter();
    EXPECT_EQ(browser.text("h1"), "Open Sea");
    EXPECT_EQ(browser.address(), gallery.base() + "/s/" + id);
    EXPECT_TRUE(browser.run("return document.querySelector('.stage video').controls").toBool());
    tabTo("a[href$='/edit']");
    browser.enter();
    EXPECT_EQ(browser.text("h1"), "Change details");
    tabTo("#title");
    typeText("!");
    browser.enter();
    EXPECT_THAT(browser.text("h1"), testing::AnyOf("!", "Open Sea!"));
    EXPECT_EQ(browser.text(".note"), "The details are saved.");
    tabTo("a.primary");
    browser.press("\uE007");
    waitForLink();
    EXPECT_THAT(contents(handed()), EndsWith("%2Fs%2F" + id + "%2Fsource.metal"));
    EXPECT_EQ(browser.complaints(), "");
}

} // namespace glasshob::gallery
