#include "GlassHobGallery/site/Log.h"

#include "GlassHobCore/text/Text.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

namespace glasshob::gallery {

void logEvent(std::string_view event, LogFields fields) {
    QJsonObject line{{"time", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
                     {"event", asQString(event)}};
    for (const auto& [name, value] : fields)
        line[asQString(name)] = asQString(value);
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    // In one go, so that lines of several threads stay whole.
    [[maybe_unused]] const ssize_t written = write(2, text.data(), std::size_t(text.size()));
}

std::string pathForLog(std::string_view path) {
    for (const std::string_view secret : {"/reset/", "/join/"})
        if (path.starts_with(secret)) return std::string(secret) + "…";
    return std::string(path.substr(0, 200));
}

} // namespace glasshob::gallery
