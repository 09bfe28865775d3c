#include "GlassHobGallery/tests/browser/WebBrowser.h"

#include "GlassHobGallery/tests/Client.h"

#include <QJsonDocument>
#include <QStandardPaths>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include <sys/prctl.h>

namespace glasshob::gallery {

namespace {

constexpr int patience = 120; // seconds; a busy machine is given its time

QString asQString(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

QString program(const char* name) {
    const QString found = QStandardPaths::findExecutable(name);
    if (found.isEmpty())
        throw std::runtime_error(std::string(name) + " is not installed. ./test installs it, or: apt-get install " +
                                 "chromium chromium-driver xdg-utils");
    return found;
}

} // namespace

WebBrowser::WebBrowser(const Settings& settings) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", profile_.path());
    environment.insert("TMPDIR", profile_.path());
    if (!settings.dataHome.empty()) environment.insert("XDG_DATA_HOME", asQString(settings.dataHome));
    if (!settings.configHome.empty()) environment.insert("XDG_CONFIG_HOME", asQString(settings.configHome));
    // xdg-open asks no handler where it believes that there is no screen; nothing here draws on one.
    if (!environment.contains("DISPLAY")) environment.insert("DISPLAY", ":0");
    driver_.setProcessEnvironment(environment);
    driver_.setStandardErrorFile(profile_.filePath("driver.log"));
    driver_.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
    driver_.start(program("chromedriver"), {"--port=0"});
    QByteArray said;
    qsizetype at = -1;
    while ((at = said.indexOf("successfully on port ")) < 0 || said.indexOf('.', at) < 0) {
        if (!driver_.waitForReadyRead(patience * 1000))
            throw std::runtime_error("chromedriver did not start: " + said.toStdString());
        said += driver_.readAllStandardOutput();
    }
    port_ = said.mid(at + 21, said.indexOf('.', at) - at - 21).toInt();

    QJsonObject preferences{{"credentials_enable_service", false}};
    if (!settings.openingOrigin.empty())
        preferences["protocol_handler"] =
            QJsonObject{{"allowed_origin_protocol_pairs",
                         QJsonObject{{asQString(settings.openingOrigin), QJsonObject{{"glasshob", true}}}}}};
    const QJsonObject options{
        {"binary", program("chromium")},
        {"args",
         QJsonArray{"--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--disable-dev-shm-usage",
                    "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
                    "--mute-audio", "--hide-scrollbars", "--force-color-profile=srgb", "--window-size=1440,900",
                    "--remote-debugging-pipe", // it ends with its driver
                    // Nothing but this machine has a name or an address.
                    "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1",
                    "--user-data-dir=" + profile_.filePath("profile")}},
        {"prefs", preferences}};
    const QJsonObject capabilities{{"browserName", "chrome"},
                                   {"goog:chromeOptions", options},
                                   {"goog:loggingPrefs", QJsonObject{{"browser", "ALL"}}},
                                   {"timeouts", QJsonObject{{"implicit", patience * 500}}}};
    session_ = ask("POST", "/session", {{"capabilities", QJsonObject{{"alwaysMatch", capabilities}}}})
                   .toObject()["sessionId"]
                   .toString();
}

WebBrowser::~WebBrowser() {
    try {
        if (!session_.isEmpty()) ask("DELETE", "/session/" + session_);
    } catch (const std::exception&) {
    }
    driver_.terminate();
    driver_.waitForFinished();
}

QJsonValue WebBrowser::ask(const QString& method, const QString& path, const QJsonObject& body) {
    const std::string text =
        method == "POST" ? QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString() : std::string();
    Connection connection(port_, patience);
    connection.send(
        method.toStdString() + " " + path.toStdString() + " HTTP/1.1\r\nHost: localhost:" + std::to_string(port_) +
        "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text);
    const Answer answer = connection.receive();
    const QJsonValue value = answer.json()["value"];
    if (answer.status != 200)
        throw std::runtime_error(method.toStdString() + " " + path.toStdString() + " " + text.substr(0, 300) + ": " +
                                 value["message"].toString("chromedriver does not answer").toStdString());
    return value;
}

QString WebBrowser::element(std::string_view css) {
    try {
        const QJsonObject found =
            ask("POST", "/session/" + session_ + "/element", {{"using", "css selector"}, {"value", asQString(css)}})
                .toObject();
        return "/session/" + session_ + "/element/" + found.begin().value().toString();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + "\nat " + address() + ":\n" +
                                 run("return document.body.innerText").toString().toStdString());
    }
}

void WebBrowser::open(const std::string& address) {
    ask("POST", "/session/" + session_ + "/url", {{"url", asQString(address)}});
}

std::string WebBrowser::address() {
    return ask("GET", "/session/" + session_ + "/url").toString().toStdString();
}

std::string WebBrowser::text(std::string_view css) {
    return ask("GET", element(css) + "/text").toString().toStdString();
}

void WebBrowser::click(std::string_view css) {
    ask("POST", element(css) + "/click");
}

void WebBrowser::leavePage(const std::function<void()>& act) {
    run("window.isBeingLeft = true");
    act();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(patience);
    for (;; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
        const bool isLate = std::chrono::steady_clock::now() > end;
        try {
            if (run("return !window.isBeingLeft && document.readyState === 'complete'").toBool()) return;
        } catch (const std::runtime_error&) { // a script that runs while its page goes away has no answer
            if (isLate) throw;
        }
        if (isLate) throw std::runtime_error("The browser stays at " + address());
    }
}

void WebBrowser::follow(std::string_view css) {
    leavePage([&] { click(css); });
}

void WebBrowser::enter() {
    leavePage([&] { press("\uE007"); });
}

void WebBrowser::type(std::string_view css, std::string_view text) {
    const QString field = element(css);
    ask("POST", field + "/clear");
    ask("POST", field + "/value", {{"text", asQString(text)}});
}

void WebBrowser::press(std::string_view key) {
    const QJsonArray steps{QJsonObject{{"type", "keyDown"}, {"value", asQString(key)}},
                           QJsonObject{{"type", "keyUp"}, {"value", asQString(key)}}};
    ask("POST", "/session/" + session_ + "/actions",
        {{"actions", QJsonArray{QJsonObject{{"type", "key"}, {"id", "keys"}, {"actions", steps}}}}});
}

bool WebBrowser::has(const std::string& css) {
    return run("return document.querySelector(arguments[0]) !== null", {asQString(css)}).toBool();
}

QJsonValue WebBrowser::run(std::string_view body, const QJsonArray& arguments) {
    return ask("POST", "/session/" + session_ + "/execute/sync", {{"script", asQString(body)}, {"args", arguments}});
}

void WebBrowser::waitUntil(std::string_view body) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(patience);
    while (!run(body).toBool()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("It did not come true at " + address() + ": " + std::string(body));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void WebBrowser::addCookie(const std::string& name, const std::string& value) {
    ask("POST", "/session/" + session_ + "/cookie",
        {{"cookie", QJsonObject{{"name", asQString(name)}, {"value", asQString(value)}, {"httpOnly", true}}}});
}

void WebBrowser::forgetCookies() {
    ask("DELETE", "/session/" + session_ + "/cookie");
}

void WebBrowser::command(const QString& name, const QJsonObject& parameters) {
    commandAnswer(name, parameters);
}

QJsonValue WebBrowser::commandAnswer(const QString& name, const QJsonObject& parameters) {
    return ask("POST", "/session/" + session_ + "/goog/cdp/execute", {{"cmd", name}, {"params", parameters}});
}

void WebBrowser::setScripts(bool areOn) {
    command("Emulation.setScriptExecutionDisabled", {{"value", !areOn}});
}

void WebBrowser::setView(int width, int height, std::string_view colourScheme) {
    command("Emulation.setDeviceMetricsOverride",
            {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}});
    command("Emulation.setEmulatedMedia",
            {{"features", QJsonArray{QJsonObject{{"name", "prefers-color-scheme"}, {"value", asQString(colourScheme)}},
                                     // Colours change at once, so that what is measured is what they end as.
                                     QJsonObject{{"name", "prefers-reduced-motion"}, {"value", "reduce"}}}}});
}

QByteArray WebBrowser::picture() {
    return QByteArray::fromBase64(
        commandAnswer("Page.captureScreenshot", {{"captureBeyondViewport", true}})["data"].toString().toLatin1());
}

std::string WebBrowser::complaints() {
    std::string list;
    for (const QJsonValue& entry : ask("POST", "/session/" + session_ + "/se/log", {{"type", "browser"}}).toArray())
        if (const QString level = entry["level"].toString(); level == "SEVERE" || level == "WARNING")
            list += entry["message"].toString().toStdString() + "\n";
    return list;
}

} // namespace glasshob::gallery
