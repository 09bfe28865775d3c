#include "GlassHobCore/site/Multipart.h"

#include <QUuid>

#include <utility>

namespace glasshob {

namespace {

void append(QByteArray& bytes, std::string_view text) {
    bytes.append(text.data(), qsizetype(text.size()));
}

} // namespace

std::string Multipart::freshBoundary() {
    return "GlassHob-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper().toStdString();
}

void Multipart::add(std::string_view name, std::string_view fileName, std::string_view type, QByteArray data) {
    std::string header = "Content-Disposition: form-data; name=\"" + std::string(name) + "\"";
    if (!fileName.empty()) header += "; filename=\"" + std::string(fileName) + "\"";
    header += "\r\nContent-Type: " + std::string(type) + "\r\n\r\n";
    parts.push_back({std::move(header), std::move(data)});
}

QByteArray Multipart::body() const {
    const std::string mark = "--" + boundary;
    auto size = qsizetype(mark.size()) + 4;
    for (const Part& part : parts)
        size += qsizetype(mark.size() + part.header.size()) + part.data.size() + 4;
    QByteArray bytes;
    bytes.reserve(size);
    for (const Part& part : parts) {
        append(bytes, mark);
        append(bytes, "\r\n");
        append(bytes, part.header);
        bytes.append(part.data);
        append(bytes, "\r\n");
    }
    append(bytes, mark);
    append(bytes, "--\r\n");
    return bytes;
}

std::string Multipart::contentType() const {
    return "multipart/form-data; boundary=" + boundary;
}

} // namespace glasshob
