#include "GlassHobCore/shader/ShaderAssembler.h"

#include "GlassHobCore/shader/HostText.h"
#include "GlassHobCore/text/LineMatcher.h"
#include "GlassHobCore/text/Numbers.h"

#include <algorithm>

namespace glasshob {

std::string_view rawValue(ShaderKind kind) {
    switch (kind) {
    case ShaderKind::fragment: return "fragment";
    case ShaderKind::particles: return "particles";
    case ShaderKind::grid: return "grid";
    }
    return "";
}

std::optional<ShaderKind> shaderKind(std::string_view rawValue) {
    if (rawValue == "fragment") return ShaderKind::fragment;
    if (rawValue == "particles") return ShaderKind::particles;
    if (rawValue == "grid") return ShaderKind::grid;
    return std::nullopt;
}

ShaderKind AssembledShader::kind() const {
    if (grid >= 1) return ShaderKind::grid;
    return particles >= 1 ? ShaderKind::particles : ShaderKind::fragment;
}

namespace {

// ^\s*//\s*@word\s+(\d+)\s*$ with a number that fits 64 bits.
std::optional<std::int64_t> directiveOnLine(std::string_view line, std::string_view word) {
    LineMatcher matcher(line);
    if (!matcher.directiveMark() || !matcher.literal(word) || matcher.whiteSpace() == 0) return std::nullopt;
    const std::string_view digits = matcher.digits();
    matcher.whiteSpace();
    if (digits.empty() || !matcher.atEnd()) return std::nullopt;
    return parseInteger(digits);
}

// ^\s*type\s+name\s*\(
bool definesOnLine(std::string_view line, std::string_view type, std::string_view name) {
    LineMatcher matcher(line);
    matcher.whiteSpace();
    if (!matcher.literal(type) || matcher.whiteSpace() == 0 || !matcher.literal(name)) return false;
    matcher.whiteSpace();
    return matcher.literal("(");
}

std::int64_t directive(std::string_view source, std::string_view word, std::int64_t limit) {
    LineReader lines(source);
    while (const auto line = lines.next()) {
        if (const auto value = directiveOnLine(*line, word)) return std::min(*value, limit);
    }
    return 0;
}

// Everything that `assemble` wants to know about the user's lines, found in one pass over them.
struct Features {
    std::optional<std::int64_t> particles;
    std::optional<std::int64_t> grid;
    bool sound = false;
    bool background = false;
    bool fade = false;

    explicit Features(std::string_view source) {
        LineReader lines(source);
        while (const auto line = lines.next()) {
            if (!grid) grid = directiveOnLine(*line, "grid");
            if (!particles) particles = directiveOnLine(*line, "particles");
            sound = sound || definesOnLine(*line, "float2", "sound");
            background = background || definesOnLine(*line, "float4", "background");
            fade = fade || definesOnLine(*line, "float4", "fade");
        }
    }
};

void appendHostText(std::string& source, const AssembledShader& shader) {
    switch (shader.kind()) {
    case ShaderKind::fragment: source += hostText::fragmentKind; break;
    case ShaderKind::grid:
        source += hostText::gridMesh;
        if (shader.hasBackground) source += hostText::gridBackground;
        source += hostText::gridPicture;
        break;
    case ShaderKind::particles:
        source += hostText::particlesBeforeFade;
        source += shader.hasFade ? hostText::fadeByUser : hostText::fadeToNothing;
        source += hostText::particlesAfterFade;
        break;
    }
    if (shader.hasSound) source += hostText::sound;
}

} // namespace

namespace ShaderAssembler {

const std::string_view particleHelp = R"text(struct Particle { ... };
Particle spawn(uint id, constant Params& p)
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p)
float3 place(Particle q, constant Uniforms& u, constant Params& p)
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p)
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails)
and optionally float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p))text";

const std::string_view gridHelp = R"text(struct Vertex { float4 position [[position]]; ... };
Vertex corner(float2 grid, constant Uniforms& u, constant Params& p)
float4 shade(Vertex v, constant Uniforms& u, constant Params& p)
and optionally float4 background(float2 uv, constant Uniforms& u, constant Params& p))text";

AssembledShader assemble(std::string_view source) {
    AssembledShader shader;
    shader.params = ParamParser::parse(source);
    const Features features(source);
    shader.hasSound = features.sound;
    shader.grid = std::min(features.grid.value_or(0), gridLimit);
    if (shader.grid >= 1) {
        shader.hasBackground = features.background;
    } else {
        shader.particles = std::min(features.particles.value_or(0), particleLimit);
        shader.hasFade = shader.particles >= 1 && features.fade;
    }

    std::string& text = shader.source;
    text.reserve(source.size() + 4096 + shader.params.size() * 32);
    text += hostText::prelude;
    if (shader.params.empty()) {
        text += "    float unused;";
    } else {
        std::string_view separator;
        for (const ParamDecl& param : shader.params) {
            text += separator;
            text += "    float ";
            text += param.name;
            text += ';';
            separator = "\n";
        }
    }
    text += hostText::vertexEntry;
    if (shader.kind() == ShaderKind::particles) text += hostText::trails;
    text += hostText::userLineMark;
    text += source;
    if (!source.ends_with('\n')) text += '\n';
    appendHostText(text, shader);
    return shader;
}

ShaderKind kind(std::string_view source) {
    if (particleCount(source) > 0) return ShaderKind::particles;
    return gridCells(source) >= 1 ? ShaderKind::grid : ShaderKind::fragment;
}

std::optional<std::int64_t> definitionLine(std::string_view source, std::string_view type, std::string_view name) {
    LineReader lines(source);
    while (const auto line = lines.next()) {
        if (definesOnLine(*line, type, name)) return 1 + std::count(source.data(), line->data(), '\n');
    }
    return std::nullopt;
}

std::int64_t particleCount(std::string_view source) {
    return directive(source, "particles", particleLimit);
}

std::int64_t gridCells(std::string_view source) {
    return directive(source, "grid", gridLimit);
}

} // namespace ShaderAssembler

namespace ShaderTemplate {

namespace {

const std::string_view body = R"text(
//
// @still 4
//
// A Glass Hob shader. shade() runs once for every pixel; uv runs 0...1 from the bottom left, u.time is in seconds.
// Each @param line below becomes a slider: // @param name default min max description

// @param speed 0.6 0.0 3.0 How fast the bands drift
// @param bands 5.0 1.0 20.0 How many bands of colour cross the picture
// @param volume 0.4 0.0 1.0 Loudness of the sound

// The hob ramp: near-black, ember, gold, white-hot.
float3 hobRamp(float x) {
    x = saturate(x);
    float3 c = mix(float3(0.035, 0.027, 0.030), float3(0.88, 0.26, 0.05), smoothstep(0.0, 0.45, x));
    c = mix(c, float3(1.0, 0.69, 0.38), smoothstep(0.4, 0.8, x));
    return mix(c, float3(1.0, 0.95, 0.87), smoothstep(0.8, 1.0, x));
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = uv - 0.5;
    q.x *= u.resolution.x / u.resolution.y;
    float r = length(q);
    float wave = 0.5 + 0.5 * sin(r * p.bands * 6.2831853 - u.time * p.speed * 3.0);
    float glow = exp(-2.5 * r);
    return float4(hobRamp(glow * (0.35 + 0.65 * wave)), 1.0);
}

// A quiet hum that rises and falls with the bands. sound() is a pure function of t: no state between samples.
float2 sound(float t, constant Params& p) {
    float swell = 0.5 + 0.5 * sin(t * p.speed * 3.0);
    float tone = sin(6.2831853 * 110.0 * t) * 0.6 + sin(6.2831853 * 165.0 * t) * 0.4;
    float v = 0.08 * p.volume * swell * tone;
    return float2(v, v);
})text";

} // namespace

std::string make(std::string_view title) {
    std::string text = "// ";
    text += title;
    text += body;
    text += '\n';
    return text;
}

} // namespace ShaderTemplate
} // namespace glasshob
