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

constexpr int version = 3;
constexpr std::int64_t longestSide = 16384;

// The texts of shaders, each once.
class Texts {
  public:
    int place(const std::string& text) {
        const auto found = std::ranges::find(texts_, text);
        if (found != texts_.end()) return int(found - texts_.begin());
        texts_.push_back(text);
        return int(texts_.size()) - 1;
    }
    QJsonArray array() const {
        QJsonArray made;
        for (const std::string& text : texts_)
            made.append(asQString(text));
        return made;
    }

  private:
    std::vector<std::string> texts_;
};

QJsonObject objectOf(const SliderValues& values) {
    QJsonObject made;
    for (const auto& [name, value] : values)
        if (std::isfinite(value)) made.insert(asQString(name), double(value)); // else its default, which is no number
    return made;
}

SliderValues valuesOf(const QJsonObject& object) {
    SliderValues values;
    for (auto each = object.begin(); each != object.end(); ++each)
        values[each.key().toStdString()] = float(each.value().toDouble());
    return values;
}

QJsonObject objectOf(const MoviePart::Segment& segment, Texts& texts) {
    QJsonObject made{
        {"start", segment.start},    {"duration", segment.duration},       {"mark", segment.hasMark},
        {"sound", segment.hasSound}, {"values", objectOf(segment.values)}, {"shader", texts.place(segment.shader)}};
    if (segment.heard)
        made.insert("heard", QJsonObject{{"start", segment.heard->start},
                                         {"values", objectOf(segment.heard->values)},
                                         {"shader", texts.place(segment.heard->shader)}});
    return made;
}

bool isStart(double seconds) {
    return seconds >= 0 && seconds <= ExportLimits::latestStart;
}

bool isDuration(double seconds) {
    return seconds >= 0 && seconds <= ExportLimits::longestDuration;
}

std::optional<std::string> textOf(const QJsonObject& object, const QJsonArray& texts) {
    const qint64 place = object.value("shader").toInteger(-1);
    if (place < 0 || place >= texts.size()) return {};
    return texts[place].toString().toStdString();
}

std::optional<MoviePart::Segment> segmentOf(const QJsonObject& object, const QJsonArray& texts) {
    MoviePart::Segment segment;
    segment.start = object.value("start").toDouble(-1);
    segment.duration = object.value("duration").toDouble(-1);
    auto text = textOf(object, texts);
    if (!isStart(segment.start) || !isDuration(segment.duration) || !text) return {};
    segment.hasMark = object.value("mark").toBool();
    segment.hasSound = object.value("sound").toBool();
    segment.values = valuesOf(object.value("values").toObject());
    segment.shader = std::move(*text);
    if (object.contains("heard")) {
        const QJsonObject heard = object.value("heard").toObject();
        auto heardText = textOf(heard, texts);
        const double start = heard.value("start").toDouble(-1);
        if (!isStart(start) || !heardText) return {};
        segment.heard = {start, valuesOf(heard.value("values").toObject()), std::move(*heardText)};
    }
    return segment;
}

// Members come out sorted by their names, so that equal wholes give equal bytes.
QJsonObject wholeObject(const MoviePart& part) {
    Texts texts;
    QJsonArray segments;
    for (const MoviePart::Segment& segment : part.segments)
        segments.append(objectOf(segment, texts));
    QJsonObject object{{"version", version},
                       {"frames", qint64(part.frameCount())},
                       {"width", qint64(part.preset.width)},
                       {"height", qint64(part.preset.height)},
                       {"fps", qint64(part.preset.fps)},
                       {"bitrate", qint64(part.preset.bitrate)},
                       {"codec", asQString(rawValue(part.preset.codec))},
                       {"look", asQString(part.look)},
                       {"shaders", texts.array()},
                       {"segments", segments}};
    if (part.chapters) object.insert("chapters", asQString(part.chapters->json()));
    return object;
}

// All of a program's sliders.
SliderValues allValues(const ShaderProgram& program, const SliderValues& values) {
    SliderValues all;
    const std::vector<float> floats = program.parameterFloats(values);
    for (std::size_t i = 0; i < program.params().size(); ++i)
        all[program.params()[i].name] = floats[i];
    return all;
}

} // namespace

MoviePart MoviePart::of(const std::vector<ExportSegment>& segments, const ExportPreset& preset, FrameRange frames,
                        const std::function<std::string(const ShaderProgram& program)>& text) {
    MoviePart part;
    part.preset = preset;
    part.first = frames.first;
    part.end = frames.end;
    for (const ExportSegment& segment : segments) {
        Segment made{.start = segment.start,
                     .duration = segment.duration,
                     .hasMark = segment.watermark,
                     .hasSound = segment.sound && segment.heard()->soundPipeline() != nullptr,
                     .values = allValues(*segment.program, segment.values),
                     .shader = text(*segment.program),
                     .heard = {}};
        if (segment.soundProgram || segment.soundValues || segment.soundStart)
            made.heard = {segment.soundStart.value_or(segment.start),
                          allValues(*segment.heard(), segment.soundValues.value_or(segment.values)),
                          text(*segment.heard())};
        part.segments.push_back(std::move(made));
    }
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
    made.reserve(segments.size());
    for (const Segment& segment : segments) {
        ExportSegment& one = made.emplace_back(program(segment.shader), segment.values, segment.start, segment.duration,
                                               segment.hasMark, segment.hasSound);
        if (!segment.heard) continue;
        one.soundProgram = program(segment.heard->shader);
        one.soundValues = segment.heard->values;
        one.soundStart = segment.heard->start;
    }
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
    part.look = object.value("look").toString().toStdString();
    if (const auto chapters = VideoChapters::fromJson(object.value("chapters").toString().toStdString()))
        part.chapters = *chapters;
    const QJsonArray texts = object.value("shaders").toArray();
    for (const auto& each : object.value("segments").toArray()) {
        auto segment = segmentOf(each.toObject(), texts);
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
    if (differs(&Segment::heard)) return "the sound";
    if (look != other.look) return "the pages";
    if (chapters != other.chapters) return "the chapters";
    return {};
}

} // namespace glasshob
