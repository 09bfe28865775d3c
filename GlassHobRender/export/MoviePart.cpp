#include "GlassHobRender/export/MoviePart.h"

#include "GlassHobCore/shader/ExportLimits.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace glasshob {

namespace {

constexpr int version = 1;
constexpr std::int64_t longestSide = 16384;

QString textOf(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

// Members come out sorted by their names, so that equal wholes give equal bytes.
QJsonObject wholeObject(const MoviePart& part) {
    QJsonObject values;
    for (const auto& [name, value] : part.values)
        if (std::isfinite(value)) values.insert(textOf(name), double(value)); // else its default, which is no number
    const ExportPreset& preset = part.plan.preset;
    return {{"version", version},
            {"frames", qint64(part.plan.frameCount())},
            {"width", qint64(preset.width)},
            {"height", qint64(preset.height)},
            {"fps", qint64(preset.fps)},
            {"bitrate", qint64(preset.bitrate)},
            {"codec", textOf(rawValue(preset.codec))},
            {"start", part.plan.start},
            {"duration", part.plan.duration},
            {"mark", part.hasMark},
            {"sound", part.hasSound},
            {"values", values},
            {"shader", textOf(part.shader)}};
}

} // namespace

MoviePart MoviePart::of(const ShaderProgram& program, std::string text, const SliderValues& values,
                        const ExportPlan& plan, bool hasMark, std::int64_t first, std::int64_t end) {
    MoviePart part;
    part.plan = plan;
    part.hasMark = hasMark;
    part.hasSound = program.soundPipeline() != nullptr;
    const std::vector<float> floats = program.parameterFloats(values);
    for (std::size_t i = 0; i < program.params().size(); ++i)
        part.values[program.params()[i].name] = floats[i];
    part.shader = std::move(text);
    part.first = first;
    part.end = end;
    return part;
}

std::string MoviePart::wholeIdentity() const {
    const QByteArray bytes = QJsonDocument(wholeObject(*this)).toJson(QJsonDocument::Compact);
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().toStdString();
}

std::string MoviePart::toText() const {
    QJsonObject object = wholeObject(*this);
    object.insert("whole", textOf(wholeIdentity()));
    object.insert("first", qint64(first));
    object.insert("end", qint64(end));
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

std::optional<MoviePart> MoviePart::fromText(std::string_view text) {
    const QJsonObject object = QJsonDocument::fromJson(QByteArray(text.data(), qsizetype(text.size()))).object();
    const auto number = [&](const char* name) { return object.value(QLatin1String(name)).toInteger(-1); };
    const auto codec = videoCodec(object.value("codec").toString().toStdString());
    const double start = object.value("start").toDouble(-1);
    const double duration = object.value("duration").toDouble(-1);
    if (number("version") != version || !codec || !(start >= 0 && start <= ExportLimits::latestStart) ||
        !(duration >= 0 && duration <= ExportLimits::longestDuration))
        return {};
    MoviePart part;
    part.plan = ExportPlan(
        {"part", "Part", number("width"), number("height"), number("fps"), number("bitrate"), *codec}, start, duration);
    const ExportPreset& preset = part.plan.preset;
    for (const std::int64_t side : {preset.width, preset.height})
        if (side < 1 || side > longestSide) return {};
    if (preset.fps < 1 || ShaderAssembler::soundSampleRate % preset.fps != 0 || preset.bitrate < 1) return {};
    part.hasMark = object.value("mark").toBool();
    part.hasSound = object.value("sound").toBool();
    const QJsonObject values = object.value("values").toObject();
    for (auto each = values.begin(); each != values.end(); ++each)
        part.values[each.key().toStdString()] = float(each.value().toDouble());
    part.shader = object.value("shader").toString().toStdString();
    part.first = number("first");
    part.end = number("end");
    const bool isInside = part.first >= 0 && part.first < part.end && part.end <= part.plan.frameCount();
    if (!isInside || object.value("whole").toString().toStdString() != part.wholeIdentity()) return {};
    return part;
}

std::string MoviePart::differenceFrom(const MoviePart& other) const {
    const ExportPreset& a = plan.preset;
    const ExportPreset& b = other.plan.preset;
    if (shader != other.shader) return "the shader's text";
    if (values != other.values) return "the values of the sliders";
    if (a.width != b.width || a.height != b.height) return "the size";
    if (a.fps != b.fps) return "the frames a second";
    if (a.codec != b.codec) return "the codec";
    if (a.bitrate != b.bitrate) return "the bit rate";
    if (plan.start != other.plan.start) return "the start";
    if (plan.duration != other.plan.duration) return "the duration";
    if (hasMark != other.hasMark) return "the Hob mark";
    return {};
}

} // namespace glasshob
