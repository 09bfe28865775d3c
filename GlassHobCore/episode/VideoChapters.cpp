#include "GlassHobCore/episode/VideoChapters.h"

#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <charconv>
#include <cmath>

namespace glasshob {

namespace {

// The shortest digits that read back as the same number.
std::string number(double value) {
    if (!std::isfinite(value)) return "0";
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return {text, result.ptr};
}

std::string quoted(std::string_view text) {
    // An array of one: an object of this library would put the keys in an order of its own.
    const QJsonArray one = {asQString(text)};
    const std::string written = QJsonDocument(one).toJson(QJsonDocument::Compact).toStdString();
    return written.substr(1, written.size() - 2);
}

std::unexpected<std::string> fail(std::string_view what) {
    return std::unexpected("These are no chapters of a video: " + std::string(what));
}

std::expected<VideoChapters::Chapter, std::string> chapter(const QJsonValue& value) {
    const QJsonObject object = value.toObject();
    const QJsonValue at = object["at"], title = object["title"], settings = object["settings"];
    if (!at.isDouble()) return fail("a chapter has no number \"at\".");
    if (!title.isString()) return fail("a chapter has no text \"title\".");
    VideoChapters::Chapter made{at.toDouble(), title.toString().toStdString(), {}};
    if (settings.isString()) {
        made.settings = settings.toString().toStdString();
    } else if (!settings.isUndefined() && !settings.isNull()) {
        return fail("the \"settings\" of a chapter are not a text.");
    }
    return made;
}

} // namespace

std::string VideoChapters::json() const {
    std::string text = "{\n    \"duration\": " + number(duration) + ",\n    \"chapters\": [";
    for (const Chapter& each : chapters) {
        text += &each == chapters.data() ? "\n" : ",\n";
        text += "        {\n            \"at\": " + number(each.at) + ",\n            \"title\": " + quoted(each.title);
        if (each.settings) text += ",\n            \"settings\": " + quoted(*each.settings);
        text += "\n        }";
    }
    return text + (chapters.empty() ? "]\n}\n" : "\n    ]\n}\n");
}

std::string VideoChapters::lines() const {
    std::string text;
    for (const Chapter& chapter : chapters)
        text += clockText(chapter.at) + " " + chapter.title + "\n";
    return text;
}

std::expected<VideoChapters, std::string> VideoChapters::fromJson(std::string_view text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(text.data(), qsizetype(text.size())), &error);
    if (document.isNull()) return fail(error.errorString().toStdString() + ".");
    const QJsonObject object = document.object();
    const QJsonValue seconds = object["duration"], list = object["chapters"];
    if (!seconds.isDouble()) return fail("there is no number \"duration\".");
    if (!list.isArray()) return fail("there is no list \"chapters\".");
    VideoChapters made;
    made.duration = seconds.toDouble();
    for (const QJsonValue& each : list.toArray()) {
        auto read = chapter(each);
        if (!read) return std::unexpected(std::move(read.error()));
        made.chapters.push_back(std::move(*read));
    }
    return made;
}

} // namespace glasshob
