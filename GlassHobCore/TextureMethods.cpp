#include "GlassHobCore/TextureMethods.h"

#include "MSL/types/TextureTraits.h"

#include <QStringList>

namespace glasshob {

namespace {

enum class Access : std::uint8_t { sample, read, write, readWrite };

struct Texture {
    msl::TextureShape shape;
    msl::TextureTraits traits;
    QString element;
    Access access = Access::sample;
};

std::optional<Texture> textureOf(const QString& type) {
    const qsizetype angle = type.indexOf(u'<');
    if (angle < 0) return std::nullopt;
    const auto shape = msl::textureShapeNamed(type.left(angle).trimmed().toStdString());
    if (!shape) return std::nullopt;
    QString arguments = type.mid(angle + 1);
    arguments.truncate(arguments.lastIndexOf(u'>'));
    Texture made{*shape, msl::textureTraits(*shape), arguments.section(u',', 0, 0).trimmed(), Access::sample};
    const QString access = arguments.section(u',', 1).section(QLatin1String("::"), -1).trimmed();
    const bool isRead = made.traits.isMultisample || *shape == msl::TextureShape::buffer; // unless it says otherwise
    made.access = access == u"read_write"                             ? Access::readWrite
                  : access == u"write"                                ? Access::write
                  : access == u"read" || (isRead && access.isEmpty()) ? Access::read
                                                                      : Access::sample;
    return made;
}

QString sized(const char* scalar, unsigned size) {
    return QString::fromLatin1(scalar) + (size > 1 ? QString::number(size) : QString());
}

// What stands before the brackets and in them; nothing where the texture has no such method.
struct Signature {
    QString result;
    QStringList parameters;
};

std::optional<Signature> signatureOf(const Texture& texture, std::string_view method) {
    const msl::TextureTraits& traits = texture.traits;
    const QString value = traits.isDepth ? texture.element : texture.element + u'4';
    const QString number = QStringLiteral("uint");
    const bool isSampled = traits.sampleDimensions > 0 && texture.access == Access::sample;
    const bool hasLevels = !traits.isMultisample && texture.shape != msl::TextureShape::buffer;

    if (method.starts_with("sample") || method.starts_with("gather") || method.starts_with("calculate")) {
        const bool compares = method.ends_with("_compare");
        if (!isSampled || (compares && !traits.isDepth)) return std::nullopt;
        // Four texels lie round a place of a plane only.
        if (method.starts_with("gather") && traits.readDimensions != 2) return std::nullopt;
        Signature made{
            value, {QStringLiteral("sampler s"), sized("float", traits.sampleDimensions) + QLatin1String(" coord")}};
        if (method.starts_with("calculate")) {
            made.result = QStringLiteral("float");
            return made;
        }
        if (traits.isArray) made.parameters << QStringLiteral("uint array");
        if (compares) made.parameters << QStringLiteral("float compare_value");
        if (method.starts_with("gather")) made.result = texture.element + u'4';
        return made;
    }
    if (method == "read" || method == "write") {
        const bool isRead = method == "read";
        if (isRead ? texture.access == Access::write
                   : texture.access != Access::write && texture.access != Access::readWrite)
            return std::nullopt;
        Signature made{isRead ? value : QStringLiteral("void"), {}};
        if (!isRead) made.parameters << value + QLatin1String(" color");
        made.parameters << sized("uint", traits.readDimensions) + QLatin1String(" coord");
        if (traits.isCube) made.parameters << QStringLiteral("uint face");
        if (traits.isArray) made.parameters << QStringLiteral("uint array");
        if (traits.isMultisample) made.parameters << QStringLiteral("uint sample");
        return made;
    }
    if (method == "fence") {
        if (texture.access != Access::readWrite) return std::nullopt;
        return Signature{QStringLiteral("void"), {}};
    }
    if (method == "get_array_size") return traits.isArray ? std::optional(Signature{number, {}}) : std::nullopt;
    if (method == "get_num_samples") return traits.isMultisample ? std::optional(Signature{number, {}}) : std::nullopt;
    if (method == "get_num_mip_levels") return hasLevels ? std::optional(Signature{number, {}}) : std::nullopt;
    // The sizes.
    const unsigned needed = method == "get_depth" ? 3 : method == "get_height" ? 2 : 1;
    if (traits.readDimensions < needed) return std::nullopt;
    return Signature{number, hasLevels ? QStringList{QStringLiteral("uint lod = 0")} : QStringList()};
}

const char* noteOn(std::string_view method) {
    struct Note {
        std::string_view method;
        const char* text;
    };
    static constexpr Note notes[] = {
        {"sample", "The colour at a place, filtered as the sampler says."},
        {"sample_compare", "Compares the depths round a place with a value."},
        {"gather", "One component of the four texels round a place."},
        {"gather_compare", "Compares each of the four texels round a place with a value."},
        {"read", "One texel, without a filter."},
        {"write", "Writes one texel."},
        {"get_array_size", "How many layers it has."},
        {"get_num_mip_levels", "How many levels of detail it has."},
        {"get_num_samples", "How many samples a pixel has."},
        {"fence", "What this thread has written is read by it from here on."},
        {"calculate_clamped_lod", "The level of detail that sampling there takes."},
        {"calculate_unclamped_lod", "The level of detail that sampling there would take if there were any number."},
    };
    for (const Note& note : notes)
        if (note.method == method) return note.text;
    return "";
}

} // namespace

std::optional<std::vector<Symbol>> textureMethods(const QString& type) {
    const auto texture = textureOf(type);
    if (!texture) return std::nullopt;
    std::vector<Symbol> methods;
    for (const std::string_view method : msl::textureMethods()) {
        const auto signature = signatureOf(*texture, method);
        if (!signature) continue;
        Symbol made;
        made.kind = Symbol::Kind::function;
        made.name = QString::fromLatin1(method.data(), qsizetype(method.size()));
        made.type = signature->result;
        made.declaration =
            QStringLiteral("%1 %2(%3)").arg(made.type, made.name, signature->parameters.join(QLatin1String(", ")));
        made.note = QString::fromLatin1(noteOn(method));
        made.parts.resize(std::size_t(signature->parameters.size()));
        methods.push_back(std::move(made));
    }
    return methods;
}

} // namespace glasshob
