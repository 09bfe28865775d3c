#pragma once

// A real browser, Chromium without a window, driven over WebDriver on the loopback. Every wait is for a state of the
// page. What goes wrong is thrown as std::runtime_error and says what was wanted and where the browser was.

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <functional>
#include <string>
#include <string_view>

namespace glasshob::gallery {

class WebBrowser {
  public:
    struct Settings {
        // The origin whose links to Glass Hob are handed over without a question.
        std::string openingOrigin;
        // Folders with what the desktop opens links with, when the system's are not meant.
        std::string dataHome, configHome;
    };
    explicit WebBrowser(const Settings& settings);
    ~WebBrowser();

    void open(const std::string& address);
    std::string address();
    // The text of an element as it is seen; of the first that fits, once there is one.
    std::string text(std::string_view css);
    void click(std::string_view css);
    // Clicks what leads to another page, and waits until that page is there: the page that is left may answer for a
    // moment longer.
    void follow(std::string_view css);
    // Return, where it leads to another page; that page is waited for.
    void enter();
    // Replaces what a field holds.
    void type(std::string_view css, std::string_view text);
    // A key such as "\uE004" (Tab), to whatever has the focus.
    void press(std::string_view key);
    // Whether there is such an element now.
    bool has(const std::string& css);
    // Runs a function's body in the page and gives what it returns; a promise is waited for.
    QJsonValue run(std::string_view body, const QJsonArray& arguments = {});
    // Runs it until it returns something true.
    void waitUntil(std::string_view body);

    void addCookie(const std::string& name, const std::string& value);
    void forgetCookies();
    // Pages' own scripts; run() works without them too.
    void setScripts(bool areOn);
    void setView(int width, int height, std::string_view colourScheme);
    // The whole page as a PNG.
    QByteArray picture();
    // What the browser complained about since the last call, a line each: refused by the page's policy, failed to load,
    // thrown.
    std::string complaints();

  private:
    QJsonValue ask(const QString& method, const QString& path, const QJsonObject& body = {});
    QString element(std::string_view css);
    void leavePage(const std::function<void()>& act);
    void command(const QString& name, const QJsonObject& parameters);
    QJsonValue commandAnswer(const QString& name, const QJsonObject& parameters);

    QTemporaryDir profile_;
    QProcess driver_;
    int port_ = 0;
    QString session_;
};

} // namespace glasshob::gallery
