#include "GlassHobCore/site/ShareUpload.h"

#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextBoundaryFinder>

#include <cmath>
#include <utility>

namespace glasshob {

namespace {

// The shortest decimals of the 32-bit number. JSON has no number that is none, and none without an end.
QJsonValue number(float value) {
    if (!std::isfinite(value)) return QJsonValue::Null;
    return parseDouble(shortestText(value)).value_or(value);
}

} // namespace

std::size_t characterCount(std::string_view text) {
    const QString characters = asQString(text);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, characters);
    std::size_t count = 0;
    while (finder.toNextBoundary() >= 0)
        ++count;
    return count;
}

std::vector<std::string> ShareUpload::problemsOfTexts() const {
    std::vector<std::string> found;
    const std::size_t titleLength = characterCount(trimmed(title));
    if (titleLength == 0 || titleLength > titleLimit) found.emplace_back("The title must be 1 to 80 characters.");
    if (characterCount(description) > descriptionLimit)
        found.emplace_back("The description must be at most 500 characters.");
    if (source.size() > sourceLimit) found.emplace_back("The source is over 200 KB.");
    return found;
}

std::vector<std::string> ShareUpload::problems() const {
    const auto sizeOf = [](const QByteArray& bytes) { return std::size_t(bytes.size()); };
    std::vector<std::string> found = problemsOfTexts();
    const auto check = [&](bool isGood, const char* sentence) {
        if (!isGood) found.emplace_back(sentence);
    };
    check(sizeOf(loop) <= loopLimit, "The loop video is over 20 MB.");
    check(sizeOf(thumb) <= thumbLimit, "The thumbnail is over 1 MB.");
    check(loop.size() >= 8 && loop.sliced(4, 4) == "ftyp", "The loop is not an MP4 file.");
    check(thumb.startsWith("\xFF\xD8\xFF"), "The thumbnail is not a JPEG.");
    check(source.size() + sizeOf(loop) + sizeOf(thumb) <= totalLimit, "The upload is over 25 MB.");
    return found;
}

QByteArray ShareUpload::meta() const {
    QJsonArray list;
    for (const ParamDecl& param : params)
        list.append(QJsonObject{{"name", asQString(param.name)},
                                {"default", number(param.defaultValue)},
                                {"min", number(param.min)},
                                {"max", number(param.max)},
                                {"detail", asQString(param.detail)}});
    QJsonObject told{{"title", asQString(trimmed(title))},
                     {"description", asQString(description)},
                     {"licence", asQString(rawValue(licence))},
                     {"visibility", asQString(rawValue(visibility))},
                     {"kind", asQString(rawValue(ShaderAssembler::kind(source)))},
                     {"params", list}};
    if (const auto item = ForkedFrom::parse(source)) told["forkedFrom"] = asQString(*item);
    return QJsonDocument(told).toJson(QJsonDocument::Compact);
}

Multipart ShareUpload::multipart(std::string boundary) const {
    Multipart made{std::move(boundary), {}};
    made.add("meta", "", "application/json", meta());
    made.add("source", "source.metal", "text/plain; charset=utf-8", QByteArray::fromStdString(source));
    made.add("loop", "loop.mp4", "video/mp4", loop);
    made.add("thumb", "thumb.jpg", "image/jpeg", thumb);
    return made;
}

std::string_view rawValue(ShareUpload::Licence licence) {
    using enum ShareUpload::Licence;
    switch (licence) {
    case ccByNcSa: return "cc-by-nc-sa-4.0";
    case ccBy: return "cc-by-4.0";
    case mit: return "mit";
    case allRightsReserved: break;
    }
    return "arr";
}

std::string_view title(ShareUpload::Licence licence) {
    using enum ShareUpload::Licence;
    switch (licence) {
    case ccByNcSa: return "CC BY-NC-SA 4.0";
    case ccBy: return "CC BY 4.0";
    case mit: return "MIT";
    case allRightsReserved: break;
    }
    return "All rights reserved";
}

std::string_view rawValue(ShareUpload::Visibility visibility) {
    using enum ShareUpload::Visibility;
    switch (visibility) {
    case public_: return "public";
    case unlisted: return "unlisted";
    case private_: break;
    }
    return "private";
}

} // namespace glasshob
