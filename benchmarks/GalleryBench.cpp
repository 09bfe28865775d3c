// The gallery: how many home pages it serves, how long a share takes, and what 100,000 shaders cost. The load is made
// on the same machine, so only ratios are judged.
//
// Pages: the home page with 24 shaders that were shared over the API, their loops and pictures real, against nginx
// giving the same bytes as a file. Each has one processor, the same one, and the load another; both write a log of
// every request; they take turns. Judged is what a visitor gets who is not signed in. That page is kept for as long as
// nothing in the database changes, a second at most; the page of somebody who is signed in is made each time, and
// printed beside.
//
// A share of 8 MB: the time from the request to the answer, against writing the same three files with an fsync of each,
// and the checks of them alone. The checks are what the process without rights does with an upload: compile the shader,
// decode the film and the picture whole, and make the small film and picture for lists in that same pass; nothing is
// shared without those.
//
// 100,000 shaders: pages of a gallery with so many of 10,000 people against the same pages of one with 100 of 10, a few
// of each in turn, over one connection that stays open. The visitor is signed in, so that every page is made anew. A
// common word is in every third title, so that its page is full in both. Two common words that never meet in one
// title are printed and not judged: their lists must be gone through to the end.
//
// A crowd: pages beside hundreds of connections that do nothing or next to nothing, and uploads as large as they may
// be.
#include "GlassHobGallery/check/UploadCheck.h"
#include "GlassHobGallery/data/MediaStore.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/tests/Client.h"
#include "benchmarks/Common.h"
#include "benchmarks/GalleryCrowd.h"
#include "benchmarks/GallerySites.h"
#include "benchmarks/HttpLoad.h"

#include <cstring>
#include <exception>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace glasshob::gallery;
using bench::GallerySite;

constexpr int cards = 24;
constexpr int connections = 32;
constexpr int rounds = 7;
constexpr double roundSeconds = 1;
constexpr double pageTarget = 0.5;

constexpr int shareBytes = 8'000'000;
constexpr int shares = 5;
constexpr double shareTarget = 1.5;

constexpr int few = 100, many = 100'000;
constexpr int passes = 7; // minutes of other work on the machine then spoil some, not all
constexpr int pageRequests = 21;
constexpr double sizeTarget = 2;

const char* verdict(bool isGood) {
    return isGood ? "reached" : "MISSED";
}

// No two are the same content.
std::string freshSource() {
    static int number = 0;
    return "// Number " + std::to_string(++number) +
           "\n// @tags water, light\n// @param speed 0.5 0 2 How fast it is\n" +
           "float4 shade(float2 uv, constant "
           "Uniforms& u, constant Params& p) {\n\treturn float4(uv, p.speed * sin(u.time), 1.0);\n}\n";
}

Answer share(const GallerySite& site, const std::string& body) {
    return request(site.port(), "POST", "/api/shaders",
                   site.program() + "Content-Type: multipart/form-data; boundary=GlassHob-B\r\n", body);
}

bool measurePages() {
    bench::useProcessor(0);
    const GallerySite site;
    const std::string loop = bench::film("640x360", 2, 400'000), thumb = bench::picture();
    for (int i = 0; i < cards; ++i)
        if (const Answer answer =
                share(site, bench::shareBody("GlassHob-B", "Open Sea at Night, Number " + std::to_string(i),
                                             freshSource(), loop, thumb));
            answer.status != 201)
            throw std::runtime_error("A share failed: " + answer.body);
    const std::string page = request(site.port(), "GET", "/").body;
    const bench::Nginx nginx(page);
    bench::useProcessor(1);
    std::vector<double> pages, own, files, ratios;
    for (int round = 0; round < rounds; ++round) {
        const bench::Load ours = bench::load(site.port(), "/", connections, roundSeconds);
        const bench::Load theirs = bench::load(nginx.port(), "/", connections, roundSeconds);
        const bench::Load signedIn = bench::load(site.port(), "/", connections, roundSeconds / 2, site.browser());
        if (ours.failures + theirs.failures + signedIn.failures > 0) throw std::runtime_error("A request failed.");
        pages.push_back(ours.perSecond);
        files.push_back(theirs.perSecond);
        own.push_back(signedIn.perSecond);
        ratios.push_back(ours.perSecond / theirs.perSecond);
    }
    bench::useProcessor(-1);
    const double ratio = bench::median(ratios);
    const bool isGood = ratio >= pageTarget;
    std::printf(
        "pages    home with %d cards, %zu bytes: %.0f a second (made for one person: %.0f), nginx with the same "
        "bytes %.0f: %.2f times (at least %.1f): %s\n",
        cards, page.size(), bench::median(pages), bench::median(own), bench::median(files), ratio, pageTarget,
        verdict(isGood));
    return isGood;
}

// Written by what the gallery writes with, and left where nobody looks.
std::unique_ptr<MediaStore::Incoming> written(MediaStore& store, const std::string& bytes) {
    auto file = store.begin();
    if (!file->write(bytes) || fsync(file->file()) != 0) throw std::runtime_error("The disk refused a file.");
    return file;
}

bool measureShares() {
    const GallerySite site;
    const std::string thumb = bench::picture();
    const std::string loop = bench::film("1280x720", 8, shareBytes - int(thumb.size()));
    const bench::Folder folder;
    const auto store = openMediaFolder(folder.path());
    std::vector<double> whole, writing, checking, ratios;
    for (int i = 0; i < shares; ++i) {
        const std::string source = freshSource();
        const std::string body = bench::shareBody("GlassHob-B", "A Film", source, loop, thumb);
        whole.push_back(bench::milliseconds([&] {
            if (const Answer answer = share(site, body); answer.status != 201)
                throw std::runtime_error("A share failed: " + answer.body);
        }));
        std::vector<std::unique_ptr<MediaStore::Incoming>> files;
        writing.push_back(bench::milliseconds([&] {
            for (const std::string* bytes : {&source, &loop, &thumb})
                files.push_back(written(*store, *bytes));
        }));
        files.push_back(store->begin());
        files.push_back(store->begin());
        checking.push_back(bench::milliseconds([&] {
            const UploadFacts facts =
                checkUpload({files[0]->file(), files[1]->file(), files[2]->file(), files[3]->file(), files[4]->file()});
            if (!facts.problem.empty()) throw std::runtime_error(facts.problem);
        }));
        ratios.push_back(whole.back() / (writing.back() + checking.back()));
    }
    const double ratio = bench::median(ratios);
    const bool isGood = ratio <= shareTarget;
    std::printf(
        "share    %.1f MB in %.0f ms, written alone in %.0f ms and checked alone in %.0f ms: %.2f times (at most "
        "%.1f): %s\n",
        double(loop.size() + thumb.size()) / 1e6, bench::median(whole), bench::median(writing), bench::median(checking),
        ratio, shareTarget, verdict(isGood));
    return isGood;
}

// Word by word the same in both sizes: common ones in every third, a rare one in one alone,
// people with seven shaders each or six, and one with a third of all.
void fill(Database& database, int count) {
    static constexpr const char* common[] = {"Sea", "Night", "Harbour"};
    static constexpr const char* others[] = {"Meadow", "Lantern", "Copper", "Thistle", "Willow", "Ember", "Velvet"};
    database.write([&] {
        const Id busy = database.addAccount({0, "busy-person", "", "x", false, false, 1000, "", 0}).value();
        Id person = 0;
        for (int i = 0; i < count; ++i) {
            if (i % 10 == 0) {
                const std::string handle = "person-" + std::to_string(i / 10);
                person = database.addAccount({0, handle, "", "x", false, false, 1000, "", 0}).value();
            }
            const std::string number = std::to_string(i);
            Shader shader;
            shader.id = "item" + std::string(12 - number.size(), '0') + number;
            shader.account = i % 3 == 2 ? busy : person;
            shader.title = std::string(common[i % 3]) + " of " + others[i % 7] + (i == count / 2 ? " Zephyr" : "");
            shader.licence = "mit";
            shader.visibility = "public";
            shader.kind = i % 10 < 6 ? "fragment" : i % 10 < 9 ? "particles" : "grid";
            shader.tags = {"water", i % 2 ? "light" : "dark", i % 4 ? "slow" : "night sky"};
            shader.params = "[]";
            shader.content = hashOf(number);
            const std::string file = hexText(shader.content).substr(0, 63);
            shader.media = {file + "1", file + "2", file + "3", file + "4", file + "5"};
            shader.created = 1'700'000'000 + i;
            database.addShader(shader);
        }
    });
}

// Milliseconds to a page, over one connection.
class Reader {
  public:
    explicit Reader(const GallerySite& site) : connection_(site.port()), headers_(site.browser()) {}
    double read(const std::string& path) {
        Answer answer;
        const double time = bench::milliseconds([&] {
            connection_.send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers_ + "\r\n");
            answer = connection_.receive();
        });
        if (answer.status != 200) throw std::runtime_error(path + " is answered with " + std::to_string(answer.status));
        return time;
    }

  private:
    Connection connection_;
    std::string headers_;
};

bool measureSizes() {
    struct Case {
        const char* what;
        std::string path;
        bool isPaged = false; // also further back
        bool isJudged = true;
    };
    const std::vector<Case> cases = {
        {"home", "/", true},
        {"a common kind", "/?kind=fragment", true},
        {"a rare kind", "/?kind=grid"},
        {"a tag that all have", "/?tag=water", true},
        {"a tag and a rare kind", "/?tag=dark&kind=particles"},
        {"a common word", "/?q=harbour", true},
        {"the beginning of one", "/?q=har"},
        {"a letter", "/?q=h"},
        {"a rare word", "/?q=zephyr"},
        {"no such word", "/?q=nowhere"},
        {"two common words", "/?q=of+har"},
        {"a word and a kind", "/?q=of&kind=particles"},
        {"a word and a tag", "/?q=of&tag=night+sky"},
        {"a person with seven", "/u/person-3"},
        {"a person with a third", "/u/busy-person", true},
        {"words that seldom meet", "/?q=sea+mea&kind=particles", false, false},
        {"words that never meet", "/?q=sea+night+harbour", false, false},
    };
    const GallerySite small([](Database& database, Id) { fill(database, few); });
    std::unique_ptr<GallerySite> large;
    const double seconds =
        bench::milliseconds(
            [&] { large = std::make_unique<GallerySite>([](Database& database, Id) { fill(database, many); }); }) /
        1e3;
    std::printf("size     %d shaders against %d, filled in %.1f s\n", many, few, seconds);
    Reader smallReader(small), largeReader(*large);
    struct Comparison {
        std::string what, smallPath, largePath;
        bool isJudged;
        std::vector<double> smallTimes, largeTimes, ratios;
    };
    std::vector<Comparison> comparisons;
    const auto before = [](int number) {
        const std::string text = std::to_string(number / 3 * 3 + 2);
        return "before=item" + std::string(12 - text.size(), '0') + text;
    };
    for (const Case& one : cases) {
        comparisons.push_back({one.what, one.path, one.path, one.isJudged, {}, {}, {}});
        if (!one.isPaged) continue;
        const std::string what = one.what, path = one.path + (one.path.contains('?') ? "&" : "?");
        comparisons.push_back(
            {what + ", a fifth back", path + before(few * 4 / 5), path + before(many * 4 / 5), true, {}, {}, {}});
        comparisons.push_back(
            {what + ", near the end", path + before(few / 3), path + before(few / 3), true, {}, {}, {}});
    }
    for (int pass = 0; pass < passes; ++pass)
        for (Comparison& one : comparisons) {
            std::vector<double> smallTimes, largeTimes;
            for (int i = 0; i < pageRequests; ++i) {
                smallTimes.push_back(smallReader.read(one.smallPath));
                largeTimes.push_back(largeReader.read(one.largePath));
            }
            one.smallTimes.push_back(bench::median(smallTimes));
            one.largeTimes.push_back(bench::median(largeTimes));
            one.ratios.push_back(one.largeTimes.back() / one.smallTimes.back());
        }
    bool isGood = true;
    for (const Comparison& one : comparisons) {
        const double ratio = bench::median(one.ratios);
        isGood &= ratio <= sizeTarget || !one.isJudged;
        std::printf("  %-36s %6.2f ms, %6.2f ms with few: %.2f times", one.what.c_str(), bench::median(one.largeTimes),
                    bench::median(one.smallTimes), ratio);
        if (one.isJudged)
            std::printf(" (at most %.0f): %s\n", sizeTarget, verdict(ratio <= sizeTarget));
        else
            std::printf("\n");
    }
    return isGood;
}

} // namespace

int main(int count, char** arguments) {
    // As the gallery's own program: the second process of a check.
    if (count == 2 && std::strcmp(arguments[1], uploadCheckArgument) == 0) return runUploadCheck();
    try {
        const std::string_view only = count == 2 ? arguments[1] : ""; // "pages", "shares", "sizes" or "crowd"
        bool isGood = true;
        if (only.empty() || only == "pages") isGood &= measurePages();
        if (only.empty() || only == "shares") isGood &= measureShares();
        if (only.empty() || only == "sizes") isGood &= measureSizes();
        if (only.empty() || only == "crowd") bench::printCrowd();
        return isGood ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
