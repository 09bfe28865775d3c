// The small functions of Gallery.h: times, codes, rules of what people type.

#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobCore/site/Handle.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace glasshob::gallery {

namespace {

std::chrono::sys_seconds timeOf(Moment moment) {
    return std::chrono::sys_seconds(std::chrono::seconds(moment));
}

std::chrono::sys_days dayOf(Moment moment) {
    return std::chrono::floor<std::chrono::days>(timeOf(moment));
}

} // namespace

Moment now() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string counted(std::int64_t count, std::string_view one, std::string_view many) {
    return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

std::string dateText(Moment moment) {
    static constexpr const char* months[] = {"January", "February", "March",     "April",   "May",      "June",
                                             "July",    "August",   "September", "October", "November", "December"};
    const std::chrono::year_month_day date(dayOf(moment));
    return std::to_string(unsigned(date.day())) + " " + months[unsigned(date.month()) - 1] + " " +
           std::to_string(int(date.year()));
}

std::string isoText(Moment moment) {
    const std::chrono::year_month_day date(dayOf(moment));
    const std::chrono::hh_mm_ss time(timeOf(moment) - dayOf(moment));
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02dZ", int(date.year()), unsigned(date.month()),
                  unsigned(date.day()), int(time.hours().count()), int(time.minutes().count()));
    return text;
}

std::string whenText(Moment moment, Moment now) {
    const std::int64_t minutes = std::max<std::int64_t>(0, (now - moment) / 60);
    if (minutes < 1) return "just now";
    if (minutes < 60) return counted(minutes, "minute ago", "minutes ago");
    const auto days = (dayOf(now) - dayOf(moment)).count();
    if (days <= 0) return counted(minutes / 60, "hour ago", "hours ago");
    if (days == 1) return "yesterday";
    return days <= 6 ? std::to_string(days) + " days ago" : dateText(moment);
}

Response jsonAnswer(int status, const QJsonObject& body) {
    Response answer;
    answer.status = status;
    answer.body = QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString();
    answer.with("Content-Type", "application/json").with("Cache-Control", "no-store");
    return answer;
}

Response jsonError(int status, std::string_view sentence) {
    return jsonAnswer(status, {{"error", asQString(sentence)}});
}

std::string programName(std::string_view agent) {
    constexpr std::string_view own = "GlassHob/";
    if (agent.starts_with(own)) return "Glass Hob " + std::string(agent.substr(own.size(), 20));
    return agent.empty() ? "A program that does not say its name" : std::string(agent);
}

std::string plainCode(std::string_view typed) {
    std::string plain;
    for (const char c : typed) {
        if (c == '-' || c == ' ') continue;
        plain += c >= 'a' && c <= 'z' ? char(c - 32) : c;
    }
    return plain;
}

std::string shownCode(std::string_view plain) {
    std::string shown;
    for (std::size_t i = 0; i < plain.size(); ++i) {
        if (i > 0 && i % 4 == 0) shown += '-';
        shown += plain[i];
    }
    return shown;
}

std::string handleProblem(std::string_view handle) {
    return Handle::isValid(handle) ? "" : "A handle is 3 to 24 characters: lowercase letters, digits and -.";
}

std::string passwordProblem(std::string_view password, std::string_view handle) {
    const QString text = asQString(password);
    if (text.size() < 10) return "A password has at least 10 characters.";
    if (password.size() > 800 || text.size() > 200) return "A password has at most 200 characters.";
    if (std::ranges::count(text, text[0]) == text.size())
        return "This password is one character again and again. Choose another.";
    if (!handle.empty() && text.toLower().contains(asQString(handle)) && text.size() < qsizetype(handle.size()) + 6)
        return "This password is little more than the handle. Choose another.";
    return "";
}

std::string emailProblem(std::string_view email) {
    if (email.empty()) return "";
    const std::size_t at = email.find('@');
    const bool isGood = email.size() <= 254 && at != std::string_view::npos && at > 0 && at + 1 < email.size() &&
                        email.find('@', at + 1) == std::string_view::npos &&
                        std::ranges::all_of(email, [](char c) { return std::uint8_t(c) > ' ' && c != 0x7f; });
    return isGood ? "" : "This is not an e-mail address.";
}

} // namespace glasshob::gallery
