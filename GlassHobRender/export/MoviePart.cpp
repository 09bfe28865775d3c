#include "GlassHobRender/export/MoviePart.h"

#include "GlassHobCore/shader/ExportLimits.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int version = 2;
constexpr std::int64_t longestSide = 16384;

QJsonObject objectOf(const MoviePart::Segment& segment) {
    QJsonObject values;
    for (const auto& [name, value] : segment.values)
        if (std::isfinite(value)) values.insert(asQString(name), double(value)); // else its default, which is no number
    return {{"start", segment.start},  {"duration", segment.duration},
            {"mark", segment.hasMark}, {"sound", segment.hasSound},
            {"values", values},        {"shader", asQString(segment.shader)}};
}

std::optional<MoviePart::Segment> segmentOf(const QJsonObject& object) {
    MoviePart::Segment segment;
    segment.start = object.value("start").toDouble(-1);
    segment.duration = object.value("duration").toDouble(-1);
    if (!(segment.start >= 0 && segment.start <= ExportLimits::latestStart) ||
        !(segment.duration >= 0 && segment.duration <= ExportLimits::longestDuration))
        return {};
    segment.hasMark = object.value("mark").toBool();
    segment.hasSound = object.value("sound").toBool();
    const QJsonObject values = object.value("values").toObject();
    for (auto each = values.begin(); each != values.end(); ++each)
        segment.values[each.key().toStdString()] = float(each.value().toDouble());
    segment.shader = object.value("shader").toString().toStdString();
    return segment;
}

// Members come out sorted by their names, so that equal wholes give equal bytes.
QJsonObject wholeObject(const MoviePart& part) {
    QJsonArray segments;
    for (const MoviePart::Segment& segment : part.segments)
        segments.append(objectOf(segment));
    return {{"version", version},
            {"frames", qint64(part.frameCount())},
            {"width", qint64(part.preset.width)},
            {"height", qint64(part.preset.height)},
            {"fps", qint64(part.preset.fps)},
            {"bitrate", qint64(part.preset.bitrate)},
            {"codec", asQString(rawValue(part.preset.codec))},
            {"segments", segments}};
}

} // namespace

MoviePart MoviePart::of(const ShaderProgram& program, std::string text, const SliderValues& values,
                        const ExportPlan& plan, bool hasMark, std::int64_t first, std::int64_t end) {
    Segment segment{.start = plan.start,
                    .duration = plan.duration,
                    .hasMark = hasMark,
                    .hasSound = program.soundPipeline() != nullptr,
                    .values = {},
                    .shader = std::move(text)};
    const std::vector<float> floats = program.parameterFloats(values);
    for (std::size_t i = 0; i < program.params().size(); ++i)
        segment.values[program.params()[i].name] = floats[i];
    MoviePart part;
    part.preset = plan.preset;
    part.segments.push_back(std::move(segment));
    part.first = first;
    part.end = end;
    return part;
}

std::int64_t MoviePart::frameCount() const {
    std::int64_t count = 0;
    for (const Segment& segment : segments)
        count += ExportPlan::frameCount(segment.duration, preset.fps);
    return count;
}

bool MoviePart::hasSound() const {
    return std::ranges::any_of(segments, &Segment::hasSound);
}

std::vector<ExportSegment> MoviePart::exportSegments(
    const std::function<std::shared_ptr<const ShaderProgram>(const std::string& text)>& program) const {
    std::vector<ExportSegment> made;
    for (const Segment& segment : segments)
        made.emplace_back(program(segment.shader), segment.values, segment.start, segment.duration, segment.hasMark,
                          segment.hasSound);
    return made;
}

std::string MoviePart::wholeIdentity() const {
    const QByteArray bytes = QJsonDocument(wholeObject(*this)).toJson(QJsonDocument::Compact);
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().toStdString();
}

std::string MoviePart::toText() const {
    QJsonObject object = wholeObject(*this);
    object.insert("whole", asQString(wholeIdentity()));
    object.insert("first", qint64(first));
    object.insert("end", qint64(end));
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

std::optional<MoviePart> MoviePart::fromText(std::string_view text) {
    const QJsonObject object = QJsonDocument::fromJson(QByteArray(text.data(), qsizetype(text.size()))).object();
    const auto number = [&](const char* name) { return object.value(QLatin1String(name)).toInteger(-1); };
    const auto codec = videoCodec(object.value("codec").toString().toStdString());
    if (number("version") != version || !codec) return {};
    MoviePart part;
    part.preset = {"part", "Part", number("width"), number("height"), number("fps"), number("bitrate"), *codec};
    for (const std::int64_t side : {part.preset.width, part.preset.height})
        if (side < 1 || side > longestSide) return {};
    if (part.preset.fps < 1 || ShaderAssembler::soundSampleRate % part.preset.fps != 0 || part.preset.bitrate < 1)
        return {};
    for (const auto& each : object.value("segments").toArray()) {
        auto segment = segmentOf(each.toObject());
        if (!segment) return {};
        part.segments.push_back(std::move(*segment));
    }
    part.first = number("first");
    part.end = number("end");
    const bool isInside = part.first >= 0 && part.first < part.end && part.end <= part.frameCount();
    if (!isInside || object.value("whole").toString().toStdString() != part.wholeIdentity()) return {};
    return part;
}

std::string MoviePart::differenceFrom(const MoviePart& other) const {
    const ExportPreset& a = preset;
    const ExportPreset& b = other.preset;
    if (a.width != b.width || a.height != b.height) return "the size";
    if (a.fps != b.fps) return "the frames a second";
    if (a.codec != b.codec) return "the codec";
    if (a.bitrate != b.bitrate) return "the bit rate";
    if (segments.size() != other.segments.size()) return "the number of shaders";
    const auto differs = [&](auto member) { return !std::ranges::equal(segments, other.segments, {}, member, member); };
    if (differs(&Segment::shader)) return "the shader's text";
    if (differs(&Segment::values)) return "the values of the sliders";
    if (differs(&Segment::start)) return "the start";
    if (differs(&Segment::duration)) return "the duration";
    if (differs(&Segment::hasMark)) return "the Hob mark";
    return {};
}

} // namespace glasshob
