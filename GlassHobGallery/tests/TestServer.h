#pragma once

// The gallery's program on a free port with a folder of its own, started once for a test program or once more where a
// test needs a fresh one, and ways to make people and shaders through its pages and its API, as anybody would.

#include "GlassHobGallery/data/Sqlite.h"
#include "GlassHobGallery/tests/Client.h"

#include <QJsonObject>

#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include <sys/types.h>

namespace glasshob::gallery {

// Its end is a failure when it did not end well, or when its log tells what the tests know as secret.
class TestServer {
  public:
    // `url` is what it believes its own address to be.
    explicit TestServer(const std::string& url = "");
    ~TestServer();

    int port() const { return port_; }
    std::string base() const { return "http://localhost:" + std::to_string(port_); }
    const std::filesystem::path& folder() const { return folder_; }
    const std::string& setupCode() const { return setupCode_; }
    // What it wrote into its log so far.
    std::string log() const;
    // Its database, for what only time would do.
    SqliteConnection database() const { return SqliteConnection((folder_ / "gallery.db").string()); }
    pid_t process() const { return process_; }
    // Ends it with a signal and gives its exit status; -1 when the signal ended it.
    int stop(int signal);
    // As stop(), for one that ends by itself.
    int wait();
    // With a fault to order (FaultyGallery.cpp), or none.
    void start(const std::string& fault = "");

  private:
    std::filesystem::path folder_;
    std::string url_, setupCode_;
    int port_ = 0;
    pid_t process_ = 0;
};

// The one that the tests share; anyone can join, "chef" is the administrator.
TestServer& server();
void endServer();

// Runs the gallery's program to its end, with these words in a shell: its exit status, and all that it said.
struct Ended {
    int status = 0;
    std::string said;
};
Ended runGallery(const std::string& words);
// Its command "check" of a data folder: empty when all is well.
std::string checkOf(const std::filesystem::path& folder);

// How many rows a table of its database has, or a part of one: "shader WHERE ...".
std::int64_t countOf(TestServer& at, const std::string& table);
// The names of all files in a folder and those in it.
std::set<std::string> filesIn(const std::filesystem::path& folder);

// A gallery of its own with the administrator "chef", and the token of their program.
std::string setUp(TestServer& server);

// A browser with its cookies, at an address of its own.
class Browser {
  public:
    explicit Browser(TestServer& at = server());

    Answer get(const std::string& path);
    // Fills in the form of the page at `path`: fetches its token first.
    Answer post(const std::string& path, Fields form);
    // Without the token.
    Answer postBare(const std::string& path, const Fields& form, const std::string& headers = "");
    std::string tokenOn(const std::string& path);
    const std::string& address() const { return address_; }
    std::string cookie(const std::string& name) const { return cookies_.contains(name) ? cookies_.at(name) : ""; }
    std::string cookieHeader() const { return headers(); }
    const std::map<std::string, std::string>& cookies() const { return cookies_; }

    // Makes an account and stays signed in.
    Browser& join(const std::string& handle);
    Answer signIn(const std::string& handle, const std::string& password);

  private:
    Answer keep(Answer answer);
    std::string headers() const;

    TestServer* at_;
    std::string address_;
    std::map<std::string, std::string> cookies_;
};
inline const std::string goodPassword = "three small words";

// A handle that nobody has yet.
std::string newHandle(const std::string& stem = "person");
// The token of a program that this person allowed.
std::string programOf(Browser& person, TestServer& at = server());

Answer apiPost(const std::string& path, const QJsonObject& body, const std::string& token = "",
               TestServer& at = server());
Answer apiGet(const std::string& path, const std::string& token = "", TestServer& at = server());

// A small shader, and what goes with it: real, and made once.
struct Upload {
    std::string title = "Open Sea", description = "Waves.", licence = "mit", visibility = "public";
    std::string source, loop, thumb;
    std::string meta;

    // With a text of its own, so that no two are the same content.
    static Upload fresh();
    std::string body(const std::string& boundary) const;
};
Answer share(const std::string& token, const Upload& upload, TestServer& at = server());
// Shares, and gives the id.
std::string shared(const std::string& token, const Upload& upload);

// Films.cpp: made by ffmpeg.
const std::string& testLoop();
const std::string& testThumb();

} // namespace glasshob::gallery
