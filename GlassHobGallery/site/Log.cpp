#include "GlassHobGallery/site/Log.h"

#include "GlassHobCore/text/Text.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

#include <unistd.h>

namespace glasshob::gallery {

namespace {

// As JSON writes it between quotes.
void addText(std::string& line, std::string_view text) {
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
    if (std::ranges::all_of(text, isPlain)) {
        line += text;
        return;
    }
    // With everything that strangers send: Qt knows what is no UTF-8 and what is escaped.
    const QByteArray list = QJsonDocument(QJsonArray{asQString(text)}).toJson(QJsonDocument::Compact);
    line.append(list.data() + 2, std::size_t(list.size()) - 4); // without [" and "]
}

std::string timeText() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[40];
    const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + size, sizeof text - size, ".%03dZ", int(milliseconds % 1000));
    return text;
}

} // namespace

void logEvent(std::string_view event, LogFields fields) {
    std::string line = "{\"time\":\"" + timeText() + "\",\"event\":\"";
    addText(line, event);
    for (const auto& [name, value] : fields) {
        ((line += "\",\"") += name) += "\":\"";
        addText(line, value);
    }
    line += "\"}\n";
    // In one go, so that lines of several threads stay whole.
    [[maybe_unused]] const ssize_t written = write(2, line.data(), line.size());
}

std::string pathForLog(std::string_view path) {
    for (const std::string_view secret : {"/reset/", "/join/"})
        if (path.starts_with(secret)) return std::string(secret) + "…";
    return std::string(path.substr(0, 200));
}

} // namespace glasshob::gallery
