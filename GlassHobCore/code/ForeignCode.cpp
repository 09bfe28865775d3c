#include "GlassHobCore/code/ForeignCode.h"

#include "GlassHobCore/code/CodeLines.h"

#include <algorithm>
#include <array>

namespace glasshob {

namespace {

using Kind = CodeToken::Kind;

// A text tells what it is in its first lines.
constexpr std::int64_t mostLines = 3000;
constexpr qsizetype longestLine = 2000;

// What the words of a text say about where it is from.
struct Evidence {
    int glslWords = 0;
    std::int64_t glslLine = 0;
    bool isSurelyGlsl = false;
    std::int64_t entryLine = 0; // of a Metal entry point
    bool hasShade = false;

    void glsl(std::int64_t line, bool surely = false) {
        ++glslWords;
        if (glslLine == 0 || (surely && !isSurelyGlsl)) glslLine = line;
        isSurelyGlsl = isSurelyGlsl || surely;
    }
};

bool isOneOf(QStringView word, std::initializer_list<QLatin1String> words) {
    return std::ranges::any_of(words, [&](QLatin1String each) { return word == each; });
}

void readLine(const CodeLine& line, std::int64_t number, Evidence& evidence) {
    if (line.isPreprocessor) {
        if (line.text.trimmed().startsWith(QLatin1String("#version"))) evidence.glsl(number, true);
        return;
    }
    for (std::size_t i = 0; i < line.tokens.size(); ++i) {
        const QStringView word = line.of(line.tokens[i]);
        auto next = [&](std::size_t by) {
            return i + by < line.tokens.size() ? line.of(line.tokens[i + by]) : QStringView();
        };
        if (word == u"float4" && next(1) == u"shade" && next(2) == u"(") evidence.hasShade = true;
        if (isOneOf(word, {QLatin1String("vertex"), QLatin1String("fragment"), QLatin1String("kernel")}) && i == 0 &&
            line.tokens.size() > 2 && evidence.entryLine == 0)
            evidence.entryLine = number;
        if (word == u"mainImage" || word.startsWith(QLatin1String("gl_Frag")) ||
            (i == 0 && word == u"precision" &&
             isOneOf(next(1), {QLatin1String("lowp"), QLatin1String("mediump"), QLatin1String("highp")})) ||
            (i == 0 && isOneOf(word, {QLatin1String("uniform"), QLatin1String("varying")}) && !next(2).isEmpty()) ||
            (word == u"void" && next(1) == u"main" && next(2) == u"("))
            evidence.glsl(number, true);
        else if (isOneOf(word, {QLatin1String("vec2"), QLatin1String("vec3"), QLatin1String("vec4"),
                                QLatin1String("mat2"), QLatin1String("mat3"), QLatin1String("mat4"),
                                QLatin1String("iTime"), QLatin1String("iResolution")}))
            evidence.glsl(number);
    }
}

// Of the names of other programs.
struct ForeignName {
    std::string_view name;
    std::string_view hint;
    std::string_view replacement = {};
};

constexpr std::string_view timeHint = "the time in seconds is u.time here";
constexpr std::string_view sizeHint = "the size of the picture in pixels is u.resolution here, a float2";
constexpr std::string_view mouseHint = "the pointer's place in pixels is u.mouse here";
constexpr std::string_view pixelHint = "the pixel's place is uv * u.resolution here; uv runs from 0 to 1";
constexpr std::string_view colourHint = "the colour is what shade() returns here";
constexpr std::string_view pictureHint = "there are no pictures to read here: compute the colour from uv and u.time";
constexpr std::string_view modHint =
    "mod(x, y) is x - y * floor(x / y) here; fmod(x, y) is another number where x is below 0";

constexpr auto foreignNames = std::to_array<ForeignName>({
    {"iTime", timeHint, "u.time"},
    {"iGlobalTime", timeHint, "u.time"},
    {"u_time", timeHint, "u.time"},
    {"time", timeHint, "u.time"},
    {"iTimeDelta", "the seconds since the last frame are u.timeDelta here", "u.timeDelta"},
    {"iFrame", "the number of the frame is u.frame here", "u.frame"},
    {"iResolution", sizeHint, "u.resolution"},
    {"u_resolution", sizeHint, "u.resolution"},
    {"resolution", sizeHint, "u.resolution"},
    {"iMouse", mouseHint, "u.mouse"},
    {"u_mouse", mouseHint, "u.mouse"},
    {"mouse", mouseHint, "u.mouse"},
    {"gl_FragCoord", pixelHint, "(uv * u.resolution)"},
    {"fragCoord", pixelHint, "(uv * u.resolution)"},
    {"gl_FragColor", colourHint},
    {"fragColor", colourHint},
    {"mod", modHint},
    {"texture", pictureHint},
    {"texture2D", pictureHint},
    {"textureLod", pictureHint},
    {"texelFetch", pictureHint},
    {"iChannel0", pictureHint},
    {"iChannel1", pictureHint},
    {"iChannel2", pictureHint},
    {"iChannel3", pictureHint},
});

} // namespace

std::optional<ForeignCode> recogniseForeignCode(std::string_view source) {
    Evidence evidence;
    auto state = MSLSyntax::LineState::plain;
    std::int64_t number = 1;
    for (std::size_t at = 0; at < source.size() && number <= mostLines; ++number) {
        const std::size_t end = std::min(source.find('\n', at), source.size());
        const auto length = std::min(qsizetype(end - at), longestLine);
        const CodeLine line = readCodeLine(QString::fromUtf8(source.data() + at, length), state);
        readLine(line, number, evidence);
        state = line.after;
        at = end + 1;
    }
    if (evidence.hasShade) return std::nullopt;
    ForeignCode found;
    found.row.severity = Diagnostic::Severity::note;
    found.row.column = 1;
    constexpr int enoughWords = 3;
    if (evidence.isSurelyGlsl || evidence.glslWords >= enoughWords) {
        found.kind = ForeignKind::glsl;
        found.row.line = evidence.glslLine;
        found.row.message = "This is GLSL: Glass Hob reads Metal's language\n"
                            "Let float4 shade(float2 uv, constant Uniforms& u,\n"
                            "                 constant Params& p) return the colour.\n"
                            "vec2, vec3, vec4 are float2, float3, float4.";
        return found;
    }
    if (evidence.entryLine > 0) {
        found.kind = ForeignKind::metalProgram;
        found.row.line = evidence.entryLine;
        found.row.message = "This is a whole Metal program: Glass Hob calls shade()\n"
                            "Put what its fragment function computes into\n"
                            "float4 shade(float2 uv, constant Uniforms& u,\n"
                            "             constant Params& p); time and size are in u.";
        return found;
    }
    return std::nullopt;
}

std::string_view undeclaredName(const Diagnostic& message) {
    const std::string_view text = message.message;
    for (const std::string_view before : {"use of undeclared identifier '", "unknown type name '"}) {
        if (!text.starts_with(before)) continue;
        const std::string_view name = text.substr(before.size());
        return name.substr(0, name.find('\''));
    }
    return {};
}

std::optional<Diagnostic> foreignNameHint(const Diagnostic& message) {
    if (message.line <= 0 || message.severity != Diagnostic::Severity::error) return std::nullopt;
    Diagnostic hint;
    hint.severity = Diagnostic::Severity::note;
    hint.line = message.line;
    hint.column = message.column;
    hint.length = message.length;
    auto replaceBy = [&](std::string_view text) {
        if (!text.empty() && message.length > 0)
            hint.fixIt = msl::FixIt{std::uint32_t(message.line), std::uint32_t(message.column),
                                    std::uint32_t(message.length), std::string(text)};
    };
    if (message.message == "no matching function for call to 'atan'") {
        hint.message = "the angle of two coordinates is atan2(y, x) here";
        replaceBy("atan2");
        return hint;
    }
    const auto known = std::ranges::find(foreignNames, undeclaredName(message), &ForeignName::name);
    if (known == foreignNames.end()) return std::nullopt;
    hint.message = known->hint;
    replaceBy(known->replacement);
    return hint;
}

} // namespace glasshob
