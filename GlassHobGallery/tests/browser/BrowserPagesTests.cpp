// Every page in a real browser, on a wide dark screen and a narrow light one: axe-core finds nothing on it, nothing
// reaches over the side, and the browser complains of nothing. GLASSHOB_PICTURES names a folder for a picture of each.

#include "GlassHobGallery/tests/TestServer.h"
#include "GlassHobGallery/tests/browser/WebBrowser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>

namespace glasshob::gallery {
namespace {

std::string contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

const char* picturesFolder() {
    return std::getenv("GLASSHOB_PICTURES");
}

// The samples as they would be shared. In a folder for pictures their films may lie as films/NAME.mp4 and .jpg; a small
// test film stands in for them.
Upload sample(const std::string& file, const std::string& title, const std::string& description,
              const std::string& tags) {
    Upload upload = Upload::fresh();
    upload.title = title;
    upload.description = description;
    upload.source = contents(std::string(SAMPLES) + "/" + file + ".metal");
    upload.source.insert(upload.source.find('\n') + 1, "// @tags " + tags + "\n");
    if (!picturesFolder()) return upload;
    const std::filesystem::path films = std::filesystem::path(picturesFolder()) / "films";
    if (!std::filesystem::exists(films / (file + ".jpg"))) return upload;
    upload.loop = contents(films / (file + ".mp4"));
    upload.thumb = contents(films / (file + ".jpg"));
    return upload;
}

class BrowserPages : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        axe = contents(AXE_SCRIPT);
        if (axe.empty())
            throw std::runtime_error("axe-core is not installed, so the pages cannot be checked. ./test installs it "
                                     "with npm; what npm said stands at the beginning of its output.");
        browser = std::make_unique<WebBrowser>(WebBrowser::Settings());
    }
    static void TearDownTestSuite() { browser.reset(); }

    // From now on the browser is this person's, or a visitor's.
    static void become(TestServer& at, const Browser* person) {
        browser->open(at.base() + "/healthz");
        browser->forgetCookies();
        if (!person) return;
        for (const auto& [name, value] : person->cookies())
            browser->addCookie(name, value);
    }
    // Opens a page, comes to one from it, and looks at that. `status` is that of the page.
    static void look(const std::string& name, const std::string& address,
                     const std::function<void(WebBrowser&)>& from = {}) {
        SCOPED_TRACE(name + ": " + address);
        browser->setView(1440, 900, "dark");
        browser->open(address);
        if (from) from(*browser);
        const std::string complaints = browser->complaints();
        // An error page is told of; nothing else may be.
        EXPECT_TRUE(complaints.empty() || (complaints.contains("the server responded with a status of ") &&
                                           std::ranges::count(complaints, '\n') == 1))
            << complaints;
        EXPECT_EQ(violations(axe), "") << "wide and dark";
        picture(name + "-wide-dark");
        if (picturesFolder()) {
            browser->setView(1440, 900, "light");
            picture(name + "-wide-light");
            browser->setView(390, 844, "dark");
            picture(name + "-narrow-dark");
        }
        browser->setView(390, 844, "light");
        // The rules that the colours and the width matter to.
        EXPECT_EQ(violations("",
                             "'color-contrast', 'link-in-text-block', 'target-size', 'scrollable-region-focusable', "
                             "'region', 'page-has-heading-one'"),
                  "")
            << "narrow and light";
        EXPECT_EQ(tooWide(), "") << "at 390";
        picture(name + "-narrow-light");
        browser->setView(320, 568, "light");
        EXPECT_EQ(tooWide(), "") << "at 320";
        EXPECT_EQ(browser->run("return performance.getEntriesByType('resource').map(one => one.name)"
                               ".filter(one => new URL(one).host !== location.host).join(' ')"),
                  "")
            << "nobody else is asked";
    }

  private:
    // What axe-core finds; with `rules`, only by these, in a page that has it already.
    static std::string violations(const std::string& script, const char* rules = nullptr) {
        const std::string only =
            rules ? rules : "'wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'";
        return browser
            ->run(script + ";return axe.run(document, {resultTypes: ['violations'], runOnly: [" + only +
                  "]}).then(result => result.violations.map(one => one.id + ': ' + one.help + ' ' + "
                  "one.nodes.map(node => node.html + ' ' + node.failureSummary).join(' | ')).join('\\n'))")
            .toString()
            .toStdString();
    }
    // What makes the page wider than its window.
    static std::string tooWide() {
        return browser
            ->run("if (document.documentElement.scrollWidth <= innerWidth) return '';"
                  "return [...document.querySelectorAll('body *')].filter(one => one.getBoundingClientRect().right > "
                  "innerWidth + 0.5).map(one => one.outerHTML.slice(0, 120)).slice(0, 4).join('\\n') || 'something'")
            .toString()
            .toStdString();
    }
    static void picture(const std::string& name) {
        if (!picturesFolder()) return;
        browser->run("return Promise.all([document.fonts.ready, ...[...document.images].map(one => { one.loading = "
                     "'eager'; return one.decode().catch(() => {}); })])");
        const QByteArray bytes = browser->picture();
        std::ofstream(std::filesystem::path(picturesFolder()) / (name + ".png"), std::ios::binary)
            .write(bytes.constData(), bytes.size());
    }

    static std::string axe;
    static std::unique_ptr<WebBrowser> browser;
};

std::string BrowserPages::axe;
std::unique_ptr<WebBrowser> BrowserPages::browser;

std::string codeOf(TestServer& at, const std::string& address) {
    return request(at.port(), "POST", "/api/app/link",
                   "Content-Type: application/json\r\nUser-Agent: GlassHob/1.4.0\r\nX-Forwarded-For: " + address +
                       "\r\n",
                   "{}")
        .json()["code"]
        .toString()
        .toStdString();
}

} // namespace

TEST_F(BrowserPages, OfAGalleryThatIsNew) {
    TestServer gallery;
    const std::string base = gallery.base();
    become(gallery, nullptr);
    look("first-start", base + "/setup?code=" + gallery.setupCode());
    look("first-start-refused", base + "/setup", [](WebBrowser& browser) {
        browser.type("#setup", "BBBB-BBBB-BBBB");
        browser.type("#site", "Hillside Shader Club");
        browser.type("#handle", "chef");
        browser.type("#new", "short");
        browser.follow("button.primary");
        browser.text(".refused");
    });
    Browser chef(gallery);
    chef.post("/setup", {{"setup", gallery.setupCode()},
                         {"site", "Hillside Shader Club"},
                         {"handle", "chef"},
                         {"new", goodPassword},
                         {"join", "invited"}});
    look("home-empty", base + "/");
    become(gallery, &chef);
    look("admin-reports-none", base + "/admin/reports");
    look("person-empty", base + "/u/chef");
    const std::string made = chef.post("/admin/invite", {{"uses", "40"}, {"days", "30"}}).body;
    const std::size_t at = made.find("/join/");
    ASSERT_NE(at, std::string::npos);
    become(gallery, nullptr);
    look("sign-up", base + made.substr(at, 49));
    look("sign-up-refused", base + made.substr(at, 49), [](WebBrowser& browser) {
        browser.type("#handle", "chef");
        browser.type("#new", goodPassword);
        browser.type("#email", "lena@mail.example");
        browser.follow("button.primary");
        browser.text(".refused");
    });
}

TEST_F(BrowserPages, OfAGalleryThatIsUsed) {
    TestServer gallery;
    const std::string base = gallery.base();
    Browser chef(gallery), ember(gallery), mira(gallery), joss(gallery);
    chef.post("/setup", {{"setup", gallery.setupCode()},
                         {"site", "Hillside Shader Club"},
                         {"handle", "chef"},
                         {"new", goodPassword},
                         {"join", "anyone"}});
    ember.join("low-ember");
    mira.join("mira-k");
    joss.join("joss");
    const std::string emberToken = programOf(ember, gallery), miraToken = programOf(mira, gallery);
    const auto put = [&](const std::string& token, const Upload& upload) {
        const Answer answer = share(token, upload, gallery);
        EXPECT_EQ(answer.status, 201) << answer.body;
        return answer.json()["id"].toString().toStdString();
    };
    const std::string first = put(emberToken, sample("01-flowing-color", "Flowing Colour", "", "colour"));
    put(miraToken, sample("02-blue-hour", "Blue Hour", "One evening.", "night, water, sound"));
    put(miraToken, sample("03-sunlit-glass", "Sunlit Glass", "", "glass, light"));
    put(emberToken, sample("04-quicksilver", "Quicksilver", "", "metal"));
    put(miraToken, sample("06-island-of-stars", "Island of Stars", "", "night, space"));
    put(emberToken, sample("07-open-sea", "Open Sea", "", "water, light, sound"));
    put(emberToken, sample("08-breathing-knot", "Breathing Knot", "", "metal"));
    Upload silk = sample("05-silk", "Silk", "Threads of light in a slow wind.\n\nTry the slider for the wind first.",
                         "wind, light, night");
    const std::string id = put(emberToken, silk);
    Upload fork = silk;
    fork.title = "Festival Silk";
    fork.source.insert(fork.source.find('\n') + 1, "// @forked-from s/" + id + "\n");
    put(miraToken, fork);
    Upload unlisted =
        sample("04-quicksilver", "A draft with a title that is as long as a title may be, or very nearly as long", "",
               "metal");
    unlisted.source += "// a draft\n";
    unlisted.visibility = "private";
    const std::string draft = put(emberToken, unlisted);
    const std::string gone = put(emberToken, Upload::fresh());
    ember.post("/s/" + gone + "/delete", {});

    become(gallery, nullptr);
    look("home", base + "/");
    look("home-filtered", base + "/?kind=fragment&tag=light");
    look("search", base + "/?q=silk");
    look("search-empty", base + "/?q=nothing+like+this&kind=grid");
    look("shader", base + "/s/" + id);
    look("source-line", base + "/s/" + id + "#L24");
    look("person", base + "/u/low-ember");
    look("sign-in", base + "/signin");
    look("sign-in-device", base + "/device?code=" + codeOf(gallery, "127.0.0.1"));
    const auto signIn = [](WebBrowser& browser) {
        browser.type("#name", "joss");
        browser.type("#password", "not my password");
        browser.follow("button.primary");
    };
    look("sign-in-refused", base + "/signin", [&](WebBrowser& browser) {
        signIn(browser);
        browser.text(".note.error");
    });
    look("error-429", base + "/signin", [&](WebBrowser& browser) {
        for (int i = 0; i < 4; ++i) {
            signIn(browser);
            browser.text(".note.error");
        }
        browser.complaints();
        signIn(browser);
        browser.text(".number");
    });
    look("sign-up-open", base + "/join");
    look("about", base + "/about");
    look("error-404", base + "/s/nothing");
    look("error-410", base + "/s/" + gone);

    become(gallery, &mira);
    look("report", base + "/s/" + id + "/report");
    look("report-sent", base + "/s/" + id + "/report", [](WebBrowser& browser) {
        browser.type("#text", "It flickers quickly when the wind is strong.");
        browser.follow("button.primary");
        browser.text(".answer h1");
    });

    become(gallery, &ember);
    look("shader-own", base + "/s/" + id + "?done=edit");
    look("shader-private", base + "/s/" + draft);
    look("person-own", base + "/u/low-ember");
    look("edit", base + "/s/" + id + "/edit");
    look("edit-refused", base + "/s/" + id + "/edit", [](WebBrowser& browser) {
        browser.type("#title", "  ");
        browser.follow("button.primary");
        browser.text(".note.error");
    });
    look("delete", base + "/s/" + id + "/delete");
    look("account", base + "/account?done=handle");
    look("account-refused", base + "/account", [](WebBrowser& browser) {
        browser.type("#handle", "mira-k");
        browser.follow("form[action='/account/handle'] button");
        browser.text(".refused");
    });
    look("account-delete", base + "/account/delete");
    look("device", base + "/device");
    look("device-allow", base + "/device?code=" + codeOf(gallery, "127.0.0.1"));
    look("device-elsewhere", base + "/device?code=" + codeOf(gallery, "203.0.113.24"));
    for (const std::string answer : {"allow", "refuse"})
        look("device-" + answer + "-answered", base + "/device?code=" + codeOf(gallery, "127.0.0.1"),
             [&](WebBrowser& browser) {
                 browser.follow("button[value=" + answer + "]");
                 browser.text(".answer h1");
             });
    look("device-expired", base + "/device?code=BCDF-GHJK");

    become(gallery, &chef);
    look("shader-as-administrator", base + "/s/" + id);
    look("admin-reports", base + "/admin/reports");
    look("admin-hide", base + "/admin/hide/" + id);
    look("admin-people", base + "/admin/people");
    look("admin-invite", base + "/admin/invite");
    look("admin-invitation", base + "/admin/invite", [](WebBrowser& browser) {
        browser.follow("button.primary");
        browser.text("label[for=invitation]");
    });
    look("admin-joining", base + "/admin/joining");
    look("admin-person", base + "/admin/people/joss");
    std::string reset;
    look("admin-person-link", base + "/admin/people/joss", [&](WebBrowser& browser) {
        browser.follow("button[value=reset]");
        browser.text("label[for=reset]");
        reset = browser.run("return document.querySelector('#reset').value").toString().toStdString();
    });
    chef.post("/admin/hide/" + id, {{"why", "It flashes more than three times a second."}});
    look("admin-hidden", base + "/admin/hidden");
    become(gallery, &ember);
    look("shader-hidden", base + "/s/" + id);

    become(gallery, nullptr);
    look("reset", reset);
    look("reset-refused", reset, [](WebBrowser& browser) {
        browser.type("#new", "joss");
        browser.follow("button.primary");
        browser.text(".refused");
    });
    look("reset-used", base + "/reset/nothing");
    std::filesystem::remove_all(gallery.folder() / "media"); // a gallery that lost its files
    look("error-500", base + "/s/" + first);
}

} // namespace glasshob::gallery
